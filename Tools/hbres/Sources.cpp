// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Sources.h"

#include "hbtools/base/syPlaceholders.h"

#include <cstdio>

namespace {

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

/// The section byte for byte.
std::string Section(TextFile const& texts, std::string const& language) {
    constexpr std::size_t headerSize = 24, entrySize = 8;
    std::size_t const start = headerSize + texts.GetEntries().size() * entrySize;
    std::string index, all;
    for (auto const& [id, entry] : texts.GetEntries()) {
        index += Bytes(id, 4) + Bytes(start + all.size(), 4);
        all += entry.text;
        all += '\0';
    }
    std::string code = language;
    code.resize(4);
    return std::string("hbTexts\0", 8) + Bytes(1, 4) + Bytes(texts.GetEntries().size(), 4) +
           Bytes(start + all.size(), 4) + code + index + all;
}

}  // namespace

std::string Bytes(std::size_t number, unsigned size) {
    std::string bytes;
    for (unsigned i = 0; i < size; ++i) bytes += static_cast<char>(number >> 8 * i & 0xFF);
    return bytes;
}

std::string SectionSource(std::string const& name, std::string const& symbol, std::string const& bytes) {
    // As assembler text no option of the compiler changes the section; the symbol keeps it from being left out.
    std::string source = "// Made by hbres. Do not edit.\nasm(\".pushsection " + name +
                         ",\\\"a\\\",%progbits\\n\"\n    \".balign 8\\n.globl " + symbol + "\\n.type " + symbol +
                         ",%object\\n.hidden " + symbol + "\\n" + symbol + ":\\n\"\n";
    constexpr std::size_t perLine = 32;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        source += i % perLine == 0 ? "    \".byte " : ",";
        source += std::to_string(static_cast<unsigned char>(bytes[i]));
        if (i % perLine == perLine - 1 || i + 1 == bytes.size()) source += "\\n\"\n";
    }
    return source + "    \".size " + symbol + ",.-" + symbol + "\\n.popsection\");\n";
}

std::string TableSource(TextFile const& texts, std::string const& symbol) {
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
    for (auto const& [id, entry] : texts.GetEntries())
        source += "    {" + std::to_string(id) + ", " + Literal(entry.text) + "},\n";
    if (texts.GetEntries().empty())
        source += "    {0, \"\"},\n";  // an array has at least one element; the count says none
    return source + "};\nstd::size_t const " + symbol + "Count = " + std::to_string(texts.GetEntries().size()) + ";\n";
}

std::string SatelliteSource(TextFile const& texts, std::string const& language) {
    return SectionSource(".hbtools.texts", "hbtoolsTexts", Section(texts, language));
}

std::string PseudoTexts(TextFile const& texts) {
    std::string file = "# Made by hbres from " + texts.GetFileName() + ". Do not edit.\n";
    for (auto const& [id, entry] : texts.GetEntries()) {
        std::string const text = entry.isFix ? entry.text : KxN::KxxPseudoTranslate(entry.text);
        file += std::to_string(id) + ' ' + Quoted(text) + (entry.isFix ? "  # fix\n" : "\n");
    }
    return file;
}
