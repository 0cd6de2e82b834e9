// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "base/posix/syElfFile.h"

#include "base/sySection.h"
#include "hbtools/base/syEncoding.h"

#include <algorithm>
#include <cstring>

namespace KxN::detail {

namespace {
#if defined(__x86_64__)
constexpr unsigned ownMachine = EM_X86_64;
#elif defined(__aarch64__)
constexpr unsigned ownMachine = EM_AARCH64;
#endif
constexpr std::size_t mostNames = 1u << 20;  // bytes of the names of all sections; real files have some hundred
}  // namespace

bool ElfFile::Read(void* buffer, unsigned long long offset, std::size_t size) const {
    std::size_t got = 0;
    return IsWithin(offset, size) && m_file->ReadAt(buffer, size, offset, got) == 0 && got == size;
}

int ElfFile::Open(Descriptor const& file) {
    m_file = &file;
    if (int const error = file.GetLength(m_length)) return error;
    Elf64_Ehdr header;
    std::size_t got = 0;
    if (int const error = file.ReadAt(&header, sizeof header, 0, got)) return error;
    unsigned char const kind[] = {ELFMAG0, ELFMAG1, ELFMAG2, ELFMAG3, ELFCLASS64, ELFDATA2LSB};
    if (got < sizeof kind || std::memcmp(header.e_ident, kind, sizeof kind) != 0) return 0;
    bool const isWhole = got == sizeof header && ReadTables(header);
    m_state = !isWhole ? State::isCut : header.e_machine == ownMachine ? State::whole : State::isForeign;
    return 0;
}

bool ElfFile::ReadTables(Elf64_Ehdr const& header) {
    if (header.e_phnum > 0) {
        if (header.e_phentsize != sizeof(Elf64_Phdr)) return false;
        std::vector<Elf64_Phdr> segments(header.e_phnum);
        if (!Read(segments.data(), header.e_phoff, segments.size() * sizeof(Elf64_Phdr))) return false;
        // The loader maps what the headers say and dies of what is not there.
        if (!std::all_of(segments.begin(), segments.end(), [&](Elf64_Phdr const& segment) {
                return segment.p_type == PT_NULL || IsWithin(segment.p_offset, segment.p_filesz);
            }))
            return false;
    }
    if (header.e_shoff == 0 || header.e_shnum == 0)
        return true;  // stripped of its sections, which the loader needs not
    if (header.e_shentsize != sizeof(Elf64_Shdr) || header.e_shstrndx >= header.e_shnum) return false;
    if (!IsWithin(header.e_shoff, header.e_shnum * sizeof(Elf64_Shdr))) return false;
    std::vector<Elf64_Shdr> sections(header.e_shnum);
    if (!Read(sections.data(), header.e_shoff, sections.size() * sizeof(Elf64_Shdr))) return false;
    Elf64_Shdr const& names = sections[header.e_shstrndx];
    if (names.sh_size > mostNames || !IsWithin(names.sh_offset, names.sh_size)) return false;
    std::string text(names.sh_size, '\0');
    if (!Read(text.data(), names.sh_offset, text.size())) return false;
    m_sections = std::move(sections);
    m_names = std::move(text);
    return std::all_of(m_sections.begin(), m_sections.end(), [&](Elf64_Shdr const& section) {
        bool const hasBytes = section.sh_type != SHT_NULL && section.sh_type != SHT_NOBITS;
        return !hasBytes || IsWithin(section.sh_offset, section.sh_size);
    });
}

bool ElfFile::FindSection(std::string_view name, unsigned long long& offset, unsigned long long& size) const {
    for (Elf64_Shdr const& section : m_sections) {
        if (section.sh_type != SHT_PROGBITS || section.sh_name >= m_names.size()) continue;
        // Not by its length: each of many sections may have all the names for its own.
        if (m_names.compare(section.sh_name, name.size(), name) != 0) continue;
        if (m_names.c_str()[section.sh_name + name.size()] != '\0') continue;
        offset = section.sh_offset;
        size = section.sh_size;
        return true;
    }
    return false;
}

bool ReadModuleSection(KxString const& path, std::string_view name, std::size_t most, std::string& bytes) {
    Descriptor file;
    ElfFile module;
    if (file.Open(KxxToSystemPath(path.View()), Descriptor::read) != 0 || module.Open(file) != 0) return false;
    unsigned long long offset = 0, size = 0;
    bool const isWhole = module.GetState() == ElfFile::State::whole || module.GetState() == ElfFile::State::isForeign;
    if (!isWhole || !module.FindSection(name, offset, size) || size > most) return false;
    bytes.resize(static_cast<std::size_t>(size));
    std::size_t got = 0;
    return file.ReadAt(bytes.data(), bytes.size(), offset, got) == 0 && got == bytes.size();
}

}  // namespace KxN::detail
