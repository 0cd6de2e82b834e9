// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The table at the end of a benchmark run: one line for each topic and size, ours beside each peer, and how many times
// our time the peer's is. It is fed with the single repetitions and shows their medians, in wall-clock time, since much
// of what is measured waits for a file.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace KxN::bench {

class Ratios {
public:
    /// One repetition. `name` is "topic/who/n...", where who is "hbtools" or a peer; other names are left out of the
    /// table. Time in seconds for one iteration.
    void Add(std::string const& name, double seconds);
    /// A benchmark that reported an error: its cell says so.
    void AddError(std::string const& name);

    /// The table in Markdown; empty if nothing was added. A ratio below 1 means that ours is the faster one.
    std::string Table() const;

private:
    struct Cell {
        std::vector<double> seconds;
        bool failed = false;
    };
    struct Row {
        std::string topic;
        std::string size;
        std::map<std::string, Cell> cells;  // by who
    };
    Cell* Find(std::string const& name);

    std::vector<Row> m_rows;
};

/// A time with the unit that suits it: "12.3 us".
std::string FormatSeconds(double seconds);

}  // namespace KxN::bench
