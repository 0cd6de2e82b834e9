// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "TextFile.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace {

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

void SkipBlanks(std::string_view& line) {
    while (!line.empty() && IsBlank(line.front())) line.remove_prefix(1);
}

/// "# fix", however many blanks are in it.
bool IsFixMark(std::string_view comment) {
    if (!comment.starts_with('#')) return false;
    comment.remove_prefix(1);
    SkipBlanks(comment);
    while (!comment.empty() && IsBlank(comment.back())) comment.remove_suffix(1);
    return comment == "fix";
}

bool IsUtf8(std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size();) {
        unsigned const lead = static_cast<unsigned char>(bytes[i++]);
        if (lead == 0) return false;
        if (lead < 0x80) continue;
        std::size_t const more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
        if (lead < 0xC2 || lead > 0xF4 || bytes.size() - i < more) return false;
        std::uint32_t code = lead & (0x3Fu >> more);
        for (std::size_t k = 0; k < more; ++k) {
            unsigned const next = static_cast<unsigned char>(bytes[i++]);
            if ((next & 0xC0) != 0x80) return false;
            code = (code << 6) | (next & 0x3F);
        }
        static constexpr std::uint32_t smallest[] = {0, 0x80, 0x800, 0x10000};
        if (code < smallest[more] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
    }
    return true;
}

}  // namespace

bool TextFile::Read() {
    std::error_code ignored;
    std::ifstream in;
    if (std::filesystem::is_regular_file(m_fileName, ignored))
        in.open(m_fileName, std::ios::binary);  // a pipe would wait
    std::string content;
    char block[4096];
    while (in.is_open() && (in.read(block, sizeof block) || in.gcount() > 0))
        content.append(block, static_cast<std::size_t>(in.gcount()));
    if (in.is_open() && !in.bad()) return Parse(content);
    std::cerr << m_fileName << ": error: cannot be read\n";
    return false;
}

bool TextFile::Parse(std::string_view content) {
    if (content.substr(0, 3) == "\xEF\xBB\xBF") content.remove_prefix(3);
    while (!content.empty()) {
        ++m_line;
        std::size_t const end = content.find('\n');
        std::string_view line = content.substr(0, end);
        content.remove_prefix(end == std::string_view::npos ? content.size() : end + 1);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        ParseLine(line);
    }
    return m_errors == 0;
}

void TextFile::Error(std::string const& message) {
    std::cerr << m_fileName << ':' << m_line << ": error: " << message << '\n';
    ++m_errors;
}

void TextFile::ParseLine(std::string_view line) {
    if (!IsUtf8(line)) return Error("invalid UTF-8");
    SkipBlanks(line);
    if (line.empty() || line.front() == '#' || line.front() == ';') return;

    unsigned id = 0;
    std::size_t digits = 0;
    while (digits < line.size() && line[digits] >= '0' && line[digits] <= '9') {
        if (id <= 65535) id = id * 10 + static_cast<unsigned>(line[digits] - '0');
        ++digits;
    }
    bool const idEnds = digits < line.size() && (IsBlank(line[digits]) || line[digits] == '"');
    if (digits == 0 || (digits < line.size() && !idEnds)) return Error("expected an id from 1 to 65535");
    if (id < 1 || id > 65535) return Error("id " + std::string(line.substr(0, digits)) + " is not from 1 to 65535");
    line.remove_prefix(digits);
    SkipBlanks(line);
    if (line.empty() || line.front() != '"') return Error("expected a text in double quotes");
    line.remove_prefix(1);

    std::string text;
    if (!ReadText(line, text)) return;
    SkipBlanks(line);
    if (!line.empty() && line.front() != '#' && line.front() != ';')
        return Error("unexpected characters behind the text");
    bool const isFix = IsFixMark(line);
    auto const [place, isNew] = m_entries.try_emplace(id, Entry{std::move(text), m_line, isFix});
    if (!isNew)
        Error("id " + std::to_string(id) + " was given in line " + std::to_string(place->second.line) + " already");
}

/// Takes the text and its closing quote off the line.
bool TextFile::ReadText(std::string_view& line, std::string& text) {
    while (!line.empty()) {
        char const c = line.front();
        line.remove_prefix(1);
        if (c == '"') return true;
        if (c != '\\') {
            text += c;
            continue;
        }
        char const escape = line.empty() ? '\0' : line.front();
        switch (escape) {
            case 'n': text += '\n'; break;
            case 'r': text += '\r'; break;
            case 't': text += '\t'; break;
            case '"': text += '"'; break;
            case '\\': text += '\\'; break;
            case '\0': Error("missing closing quote"); return false;
            default: Error(std::string("unknown escape \\") + escape); return false;
        }
        line.remove_prefix(1);
    }
    Error("missing closing quote");
    return false;
}

std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (char const c : text) {
        switch (c) {
            case '\n': quoted += "\\n"; break;
            case '\r': quoted += "\\r"; break;
            case '\t': quoted += "\\t"; break;
            case '"': quoted += "\\\""; break;
            case '\\': quoted += "\\\\"; break;
            default: quoted += c;
        }
    }
    return quoted + '"';
}
