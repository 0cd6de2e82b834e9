// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Ratios.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <tuple>
#include <utility>

namespace KxN::bench {

namespace {

char const ours[] = "hbtools";

double Median(std::vector<double> values) {
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    if (values.size() % 2 != 0) return *middle;
    return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

std::string Number(double value, std::chars_format format, int precision) {
    std::array<char, 64> text{};
    auto const end = std::to_chars(text.data(), text.data() + text.size(), value, format, precision).ptr;
    return std::string(text.data(), end);
}

}  // namespace

std::string FormatSeconds(double seconds) {
    static constexpr struct {
        double scale;
        char const* name;
    } units[] = {{1, " s"}, {1e-3, " ms"}, {1e-6, " us"}, {1e-9, " ns"}};
    auto const* unit = units;
    while (unit != std::end(units) - 1 && seconds < unit->scale) ++unit;
    double const value = seconds / unit->scale;
    return Number(value, std::chars_format::fixed, value < 10 ? 2 : value < 100 ? 1 : 0) + unit->name;
}

Ratios::Cell* Ratios::Find(std::string const& name) {
    std::size_t const first = name.find('/');
    if (first == std::string::npos) return nullptr;
    std::size_t const second = std::min(name.find('/', first + 1), name.size());
    std::string const topic = name.substr(0, first);
    std::string const who = name.substr(first + 1, second - first - 1);
    std::string const size = second < name.size() ? name.substr(second + 1) : std::string();
    auto row =
        std::find_if(m_rows.begin(), m_rows.end(), [&](Row const& r) { return r.topic == topic && r.size == size; });
    if (row == m_rows.end()) row = m_rows.insert(m_rows.end(), Row{topic, size, {}});
    return &row->cells[who];
}

void Ratios::Add(std::string const& name, double seconds) {
    if (Cell* cell = Find(name)) cell->seconds.push_back(seconds);
}

void Ratios::AddError(std::string const& name) {
    if (Cell* cell = Find(name)) cell->failed = true;
}

std::string Ratios::Table() const {
    if (m_rows.empty()) return {};
    auto rows = m_rows;
    // Random interleaving shuffles the order in which rows first appear; a shorter size is the smaller number.
    std::sort(rows.begin(), rows.end(), [](Row const& a, Row const& b) {
        return std::forward_as_tuple(a.topic, a.size.size(), a.size) <
               std::forward_as_tuple(b.topic, b.size.size(), b.size);
    });
    // One line for each peer: what is measured differs from topic to topic, and so do the peers.
    std::vector<std::vector<std::string>> lines{{"ours/peer", "topic", "n", ours, "peer", "its time"}};
    for (auto const& row : rows) {
        auto const time = [](Cell const& cell) {
            return cell.failed || cell.seconds.empty() ? -1 : Median(cell.seconds);
        };
        auto const text = [&](Cell const& cell) {
            return time(cell) < 0 ? std::string("failed") : FormatSeconds(time(cell));
        };
        auto const own = row.cells.find(ours);
        std::string const ownText = own == row.cells.end() ? "" : text(own->second);
        bool const isAlone = own != row.cells.end() && row.cells.size() == 1;
        if (isAlone) lines.push_back({"", row.topic, row.size, ownText, "", ""});
        for (auto const& [who, cell] : row.cells) {
            if (who == ours) continue;
            bool const isRatio = own != row.cells.end() && time(own->second) >= 0 && time(cell) > 0;
            lines.push_back({isRatio ? Number(time(own->second) / time(cell), std::chars_format::fixed, 2) : "",
                             row.topic, row.size, ownText, who, text(cell)});
        }
    }

    std::vector<std::size_t> widths(lines[0].size());
    for (auto const& line : lines)
        for (std::size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
    auto const isText = [](std::size_t column) { return column == 1 || column == 2 || column == 4; };
    std::string table;
    for (std::size_t l = 0; l < lines.size(); ++l) {
        for (std::size_t i = 0; i < widths.size(); ++i) {
            std::string const gap(widths[i] - lines[l][i].size(), ' ');
            table += "| " + (isText(i) ? lines[l][i] + gap : gap + lines[l][i]) + " ";
        }
        table += "|\n";
        if (l > 0) continue;
        for (std::size_t i = 0; i < widths.size(); ++i)
            table += "|" + std::string(widths[i] + 1, '-') + (isText(i) ? "-" : ":");
        table += "|\n";
    }
    return table;
}

}  // namespace KxN::bench
