// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The verbs that write files or compare them, one source each. They return exit codes and throw what files throw.
#pragma once

#include "../common/Output.h"

#include <hbtools/base/syFile.h>
#include <hbtools/base/sySafeFile.h>
#include <hbtools/persistence/syTagInspector.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace hbtag {

struct FileArguments {
    std::string in;
    std::string out;  // the other file of a comparison
    bool force = false;
    bool json = false;
};

enum class ExportForm { ply, csv, npy };

/// What of a damaged file is whole, into a new one. 0 whole, 2 damaged, 3 foreign.
int Repair(FileArguments const& arguments);
/// All records in the form of 32 or 64 bits. 0, or 2 for a damaged file and 3 for a foreign one, which leave nothing.
int Convert(FileArguments const& arguments, int bits);
/// The numbers of one record. `record` is as ParseRecord takes it, or empty for the only one with numbers.
int Export(FileArguments const& arguments, ExportForm form, std::string const& record);
/// 0 the same, 1 different, 2 not comparable as a whole.
int Diff(FileArguments const& arguments);

/// For mistakes of the user: one line, exit code 1.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

KxN::KxString PathOf(std::string const& systemPath);

/// A file that is written beside the place where it goes, and is there whole or not at all.
class OutFile {
public:
    /// @throws UsageError if `out` is `in` by whatever name, or is there and must not be replaced; KxDirEntryException
    OutFile(std::string const& in, std::string const& out, bool isForced);
    KxN::CFile& File() { return m_file; }
    /// Bytes of the file so far.
    unsigned long long Size() const { return m_file.GetLength(); }
    void Commit();

private:
    std::unique_ptr<KxN::KxSafeFile> m_safe;
    KxN::CFile m_file;
};

/// A file with its records by level.
struct Levels {
    explicit Levels(KxN::KxTagInspector const& inspector);

    /// Which record of its id within its level this is, from 1.
    int NumberOf(int record) const { return m_numbers[static_cast<std::size_t>(record)]; }
    /// The records of a level in their order; -1 is the first level.
    std::vector<int> const& Of(int parent) const { return m_children[static_cast<std::size_t>(parent) + 1]; }
    /// Records nested in one, on all levels.
    int NumBelow(int record) const;
    /// "100/104[2]/105": ids from the first level on, with a number where a level has several of an id.
    std::string PathTo(int record) const;
    /// What ParseRecord takes for this record and no other: "4[2] (@224)"; "@224" alone where no path does that.
    std::string NameOf(int record) const;

private:
    KxN::KxTagInspector const& m_inspector;
    std::vector<std::vector<int>> m_children;
    std::vector<int> m_numbers;
    std::vector<bool> m_isOneOfSeveral;
};

/// The record that a text means: a path as PathTo gives it, "@64" for the one at a position, or an id that one record
/// has. @throws UsageError if it is none or more than one
int ParseRecord(Levels const& levels, KxN::KxTagInspector const& inspector, std::string const& text);

}  // namespace hbtag
