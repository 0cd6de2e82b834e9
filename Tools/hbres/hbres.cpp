// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// hbres <text file> <symbol> <out.cpp>
//
// Compiles a text file of string resources into a source that defines, ordered by id,
//
//     KxN::SxStringResource const <symbol>[];    std::size_t const <symbol>Count;
//
// The text file is UTF-8. Each line is blank, a comment behind # or ;, or an id (1 to 65535) and a text in
// double quotes, in which \n \r \t \" and \\ stand for what they stand for in C. Every mistake is reported as
// file:line with exit code 1; the source is written only if there was none.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>

namespace {

struct Entry {
    std::string text;
    std::size_t line;
};

class Compiler {
public:
    explicit Compiler(std::string fileName) : m_fileName(std::move(fileName)) {}

    /// Reads all lines, reports all mistakes; true if there was none.
    bool Compile(std::string_view content) {
        if (content.substr(0, 3) == "\xEF\xBB\xBF") content.remove_prefix(3);
        while (!content.empty()) {
            ++m_line;
            std::size_t const end = content.find('\n');
            std::string_view line = content.substr(0, end);
            content.remove_prefix(end == std::string_view::npos ? content.size() : end + 1);
            if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
            CompileLine(line);
        }
        return m_errors == 0;
    }

    std::map<unsigned, Entry> const& GetEntries() const { return m_entries; }

private:
    void Error(std::string const& message) {
        std::cerr << m_fileName << ':' << m_line << ": error: " << message << '\n';
        ++m_errors;
    }

    static bool IsBlank(char c) { return c == ' ' || c == '\t'; }

    static void SkipBlanks(std::string_view& line) {
        while (!line.empty() && IsBlank(line.front())) line.remove_prefix(1);
    }

    void CompileLine(std::string_view line) {
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
        auto const [place, isNew] = m_entries.try_emplace(id, Entry{std::move(text), m_line});
        if (!isNew)
            Error("id " + std::to_string(id) + " was given in line " + std::to_string(place->second.line) + " already");
    }

    /// Takes the text and its closing quote off the line.
    bool ReadText(std::string_view& line, std::string& text) {
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

    static bool IsUtf8(std::string_view bytes) {
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

    std::string m_fileName;
    std::size_t m_line = 0;
    std::size_t m_errors = 0;
    std::map<unsigned, Entry> m_entries;
};

/// A string literal; everything but plain ASCII becomes an octal escape, so that no source encoding matters.
std::string Literal(std::string_view text) {
    std::string literal = "\"";
    for (char const c : text) {
        unsigned const byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7F && c != '"' && c != '\\' && c != '?') {
            literal += c;
        } else {
            literal += '\\';
            for (unsigned shift : {6u, 3u, 0u}) literal += static_cast<char>('0' + ((byte >> shift) & 7));
        }
    }
    return literal + '"';
}

std::string Source(std::map<unsigned, Entry> const& entries, std::string const& symbol) {
    std::string source =
        "// Made by hbres. Do not edit.\n#include \"hbtools/base/syResource.h\"\n\n"
        "#define LOCAL __attribute__((visibility(\"hidden\")))\n"
        "LOCAL extern KxN::SxStringResource const " +
        symbol +
        "[];\n"
        "LOCAL extern std::size_t const " +
        symbol +
        "Count;\n\n"
        "KxN::SxStringResource const " +
        symbol + "[] = {\n";
    for (auto const& [id, entry] : entries)
        source += "    {" + std::to_string(id) + ", " + Literal(entry.text) + "},\n";
    if (entries.empty()) source += "    {0, \"\"},\n";  // an array has at least one element; the count says none
    return source + "};\nstd::size_t const " + symbol + "Count = " + std::to_string(entries.size()) + ";\n";
}

bool IsSymbol(std::string_view text) {
    for (char const c : text)
        if (!(c == '_' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'))) return false;
    return !text.empty() && !(text.front() >= '0' && text.front() <= '9');
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4 || !IsSymbol(argv[2])) {
        std::cerr << "usage: hbres <text file> <symbol> <out.cpp>\n";
        return 1;
    }
    std::string const inName = argv[1];
    std::string const outName = argv[3];
    std::ifstream in(inName, std::ios::binary);
    std::string content;
    if (in) content.assign(std::istreambuf_iterator<char>(in), {});
    if (!in || in.bad()) {
        std::cerr << inName << ": error: cannot be read\n";
        return 1;
    }
    Compiler compiler(inName);
    if (!compiler.Compile(content)) return 1;

    std::string const partName = outName + ".part";
    std::ofstream out(partName, std::ios::binary | std::ios::trunc);
    out << Source(compiler.GetEntries(), argv[2]);
    out.close();
    if (!out || std::rename(partName.c_str(), outName.c_str()) != 0) {
        std::remove(partName.c_str());
        std::cerr << outName << ": error: cannot be written\n";
        return 1;
    }
    return 0;
}
