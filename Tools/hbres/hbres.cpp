// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The compiler of string resources, whose format stands in TextFile.h.
//
//     hbres <text file> <symbol> <out.cpp>
//
// writes a source that defines, ordered by id, KxN::SxStringResource const <symbol>[] and std::size_t const
// <symbol>Count.
//
//     hbres --pack <language> <text file> <out.cpp>     the source of a satellite; the language is a code such as ENU
//     hbres --check [--strict] <text file> <pack>       compares a translation with what it translates
//     hbres --pseudo <text file> <out>                  makes a translation that shows what is not translated
//     hbres --version <out.cpp> <key=value>...          the source of a module's version block, see VersionBlock.h
//
// Mistakes are reported as file:line with exit code 1, and nothing is written then. A check reports texts that differ in
// their placeholders, that are surplus, or that must be the same in every language and are not, as errors; texts that are
// missing as warnings, unless it is strict.
#include "Sources.h"
#include "VersionBlock.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syPlaceholders.h"

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <random>
#include <vector>

namespace {

bool IsSymbol(std::string_view text) {
    for (char const c : text)
        if (!(c == '_' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'))) return false;
    return !text.empty() && !(text.front() >= '0' && text.front() <= '9');
}

bool IsLanguage(std::string_view text) {
    return text.size() == 3 && IsSymbol(text) && text.find('_') == text.npos;
}

/// Puts a new file in the place of the old one, and of what a link stands for; nothing but a file is replaced.
int Write(std::string const& outName, std::string const& content) {
    namespace fs = std::filesystem;
    std::error_code error, ignored;
    fs::path const target = fs::is_symlink(outName, ignored) ? fs::weakly_canonical(outName, error) : fs::path(outName);
    fs::file_status const old = fs::status(target, ignored);
    std::string const partName = target.string() + '.' + std::to_string(std::random_device()()) + ".part";
    // Nobody else's: it must be new.
    std::FILE* const out =
        !error && (!fs::exists(old) || fs::is_regular_file(old)) ? std::fopen(partName.c_str(), "wbx") : nullptr;
    if (out) {
        bool isWhole = std::fwrite(content.data(), 1, content.size(), out) == content.size();
        isWhole = std::fclose(out) == 0 && isWhole;
        if (fs::exists(old)) fs::permissions(partName, old.permissions(), error);
        if (isWhole && !error) fs::rename(partName, target, error);
        if (isWhole && !error) return 0;
        std::remove(partName.c_str());
    }
    std::cerr << outName << ": error: cannot be written\n";
    return 1;
}

class Checker {
public:
    Checker(TextFile const& base, TextFile const& pack, bool isStrict)
        : m_base(base), m_pack(pack), m_isStrict(isStrict) {}

    int Run() {
        for (auto const& [id, translated] : m_pack.GetEntries()) {
            auto const found = m_base.GetEntries().find(id);
            if (found == m_base.GetEntries().end()) {
                Report(translated.line, true, id, "is surplus: there is none in " + m_base.GetFileName());
            } else if (!KxN::KxxSamePlaceholders(found->second.text, translated.text)) {
                Report(translated.line, true, id,
                       "takes other arguments: \"" + KxN::KxxListPlaceholders(translated.text) + "\" instead of \"" +
                           KxN::KxxListPlaceholders(found->second.text) + "\" in " + Place(found->second.line));
            } else if (found->second.isFix && found->second.text != translated.text) {
                Report(translated.line, true, id,
                       "must be the same in every language, see " + Place(found->second.line));
            }
        }
        for (auto const& [id, entry] : m_base.GetEntries())
            if (!m_pack.GetEntries().contains(id) && !entry.isFix)
                Report(0, m_isStrict, id, "is missing, see " + Place(entry.line));
        return m_errors == 0 ? 0 : 1;
    }

private:
    std::string Place(std::size_t line) const { return m_base.GetFileName() + ':' + std::to_string(line); }

    void Report(std::size_t line, bool isError, unsigned id, std::string const& message) {
        std::cerr << m_pack.GetFileName() << ':';
        if (line > 0) std::cerr << line << ':';
        std::cerr << (isError ? " error: id " : " warning: id ") << id << ' ' << message << '\n';
        if (isError) ++m_errors;
    }

    TextFile const& m_base;
    TextFile const& m_pack;
    bool m_isStrict;
    int m_errors = 0;
};

/// Whether a program would take a pack of these texts.
bool CanBeLoaded(TextFile const& texts) {
    constexpr std::size_t headerSize = 24, entrySize = 8;
    KxN::KxLimits const limits;
    std::size_t size = headerSize;
    bool isFine = true;
    for (auto const& [id, entry] : texts.GetEntries()) {
        size += entrySize + entry.text.size() + 1;
        if (entry.text.size() <= limits.resourceTextBytes) continue;
        std::cerr << texts.GetFileName() << ':' << entry.line << ": error: id " << id << " has more than "
                  << limits.resourceTextBytes << " bytes, which no program loads\n";
        isFine = false;
    }
    if (size <= limits.satelliteBytes) return isFine;
    std::cerr << texts.GetFileName() << ": error: a pack of more than " << limits.satelliteBytes
              << " bytes, which no program loads\n";
    return false;
}

int Usage(std::ostream& out, int code) {
    out << "usage: hbres <text file> <symbol> <out.cpp>\n"
           "       hbres --pack <language> <text file> <out.cpp>\n"
           "       hbres --check [--strict] <text file> <pack>\n"
           "       hbres --pseudo <text file> <out>\n"
           "       hbres --version <out.cpp> <key=value>...\n"
           "       hbres --help\n";
    return code;
}

int Run(std::vector<std::string> arguments) {
    std::string const verb = arguments.empty() ? std::string() : arguments[0];
    bool const isStrict = verb == "--check" && arguments.size() > 1 && arguments[1] == "--strict";
    if (isStrict) arguments.erase(arguments.begin() + 1);
    if (verb == "--help") return Usage(std::cout, 0);
    if (verb == "--check" && arguments.size() == 3) {
        TextFile base(arguments[1]), pack(arguments[2]);
        bool const isRead = base.Read();
        return pack.Read() && isRead ? Checker(base, pack, isStrict).Run() : 1;
    }
    if (verb == "--pack" && arguments.size() == 4 && IsLanguage(arguments[1])) {
        TextFile texts(arguments[2]);
        return texts.Read() && CanBeLoaded(texts) ? Write(arguments[3], SatelliteSource(texts, arguments[1])) : 1;
    }
    if (verb == "--pseudo" && arguments.size() == 3) {
        TextFile texts(arguments[1]);
        return texts.Read() ? Write(arguments[2], PseudoTexts(texts)) : 1;
    }
    if (verb == "--version" && arguments.size() > 2) {
        std::string block, reason;
        if (MakeVersionBlock({arguments.begin() + 2, arguments.end()}, block, reason))
            return Write(arguments[1], SectionSource(".hbtools.version", "hbtoolsVersionBlock", block));
        std::cerr << arguments[1] << ": error: " << reason << '\n';
        return 1;
    }
    if (verb.starts_with("--") || arguments.size() != 3 || !IsSymbol(arguments[1])) return Usage(std::cerr, 1);
    TextFile texts(arguments[0]);
    return texts.Read() ? Write(arguments[2], TableSource(texts, arguments[1])) : 1;
}

}  // namespace

int main(int argc, char** argv) {
    return Run(std::vector<std::string>(argv + 1, argv + argc));
}
