// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Reading scans: PLY (text, binary of both byte orders), PCD (text, binary) and plain text (XYZ, CSV) with commas,
// semicolons or blanks, with or without a header line, with further columns. The content decides, not the file's name.
#pragma once

#include "Operators/TextIds.h"
#include "Progress.h"
#include "Scan.h"

#include <hbtools/base/syFile.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ScanLab {

/// @throws KxFileException with one line that names file, place and reason; CFileException if the medium fails
Scan ReadScan(KxN::KxString const& path, Progress progress = {});

/// The bytes of a scan file: lines and blocks in one pass. Line ends are LF, CR or both; a line is at most 64 KiB.
class ScanSource {
public:
    explicit ScanSource(KxN::KxString const& path, Progress progress = {});

    /// The next line without its end; false at the end of the file. The view is valid until the next call.
    bool ReadLine(std::string_view& line);
    /// `count` bytes, or an error that says what is missing.
    void ReadBytes(void* target, std::size_t count);
    /// Only blank lines may follow.
    void CheckEnd();
    /// Bytes that are still to come.
    unsigned long long Remaining() const { return m_size - m_taken; }
    unsigned long long Size() const { return m_size; }
    unsigned long long LineNumber() const { return m_lineNumber; }
    void ShowProgress() const { m_progress.Show(m_taken, m_size); }
    /// Takes everything back to the begin of the file.
    void Rewind();

    /// Throws KxFileException with the file and the text; the second form with the line too.
    template <class... Arguments>
    [[noreturn]] void Fail(Text reason, Arguments const&... arguments) const {
        FailFor(FormatOf(reason, arguments...));
    }
    template <class... Arguments>
    [[noreturn]] void FailInLine(Text reason, Arguments const&... arguments) const {
        FailFor(FormatOf(Text::AtLine, static_cast<long>(m_lineNumber), FormatOf(reason, arguments...)));
    }

private:
    [[noreturn]] void FailFor(KxN::KxString const& reason) const;
    bool Fill();

    KxN::KxString m_path;
    KxN::CFile m_file;
    Progress m_progress;
    unsigned long long m_size;
    unsigned long long m_taken = 0;
    unsigned long long m_lineNumber = 0;
    std::vector<char> m_buffer;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    bool m_afterReturn = false;  // the last line ended in CR: a LF that follows belongs to it
    bool m_hasPairs = false;     // a line ended in CR LF
};

/// The number at the front of a field, which must be one whole: blanks around it, a sign, nan and inf are taken, also
/// "1.#IND" and its like. With `decimalComma` a comma is the point.
bool ParseNumber(std::string_view field, bool decimalComma, double& value);
/// The float with these bits as a double. What is no number keeps its sign, the bits that tell why, and whether it signals.
double Widened(std::uint32_t bits);
/// The text without blanks and tabs around it.
std::string_view Trimmed(std::string_view text);
/// Splits at blanks and tabs.
void SplitAtBlanks(std::string_view line, std::vector<std::string_view>& fields);
/// Part of a file's text for a message: at most 40 characters.
KxN::KxString Excerpt(std::string_view text);

/// Readers of one format each; the source stands at its begin.
void ReadPly(ScanSource& source, Scan& scan);
void ReadPcd(ScanSource& source, Scan& scan);
void ReadText(ScanSource& source, Scan& scan);

}  // namespace ScanLab
