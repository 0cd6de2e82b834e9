// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Lists the records of a tag file with nothing but the standard library, as Doc/formats/tags.md has them.
//   guide_plainreader [FILE]   without one: first.tag, which the first program leaves in its folder
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace {

struct Record {
    std::uint32_t id = 0;
    std::uint16_t version = 0;
    std::uint64_t size = 0, address = 0, next = 0;
};

template <class T>
T Number(char const* bytes) {
    T value = 0;
    for (unsigned i = 0; i < sizeof(T); ++i)
        value |= static_cast<T>(static_cast<T>(static_cast<std::uint8_t>(bytes[i])) << 8 * i);
    return value;
}

bool Read(std::ifstream& file, std::uint64_t position, Record& record) {
    char bytes[30];
    file.seekg(static_cast<std::streamoff>(position));
    if (!file.read(bytes, 18)) return false;
    record.id = Number<std::uint32_t>(bytes);
    record.version = Number<std::uint16_t>(bytes + 4);
    if (record.version & 0x8000) {  // the 64-bit form
        if (!file.read(bytes + 18, 12)) return false;
        record.version &= 0x3FFF;
        record.size = Number<std::uint64_t>(bytes + 6);
        record.address = Number<std::uint64_t>(bytes + 14);
        record.next = Number<std::uint64_t>(bytes + 22);
    } else {
        record.size = Number<std::uint32_t>(bytes + 6);
        record.address = Number<std::uint32_t>(bytes + 10);
        record.next = Number<std::uint32_t>(bytes + 14);
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    std::ifstream file(argc > 1 ? argv[1] : "first.tag", std::ios::binary | std::ios::ate);
    std::uint64_t const length = file ? static_cast<std::uint64_t>(file.tellg()) : 0;
    char head[4] = {};
    file.seekg(0);
    file.read(head, 4);
    file.clear();
    std::uint64_t position = std::memcmp(head, "II\x64\0", 4) == 0 ? 512 : 0;  // behind a file header
    Record record;
    for (std::uint64_t steps = 0; steps <= length / 18; ++steps) {  // a ring of records ends too
        if (position >= length || !Read(file, position, record)) break;
        std::printf("%6llu  id %lu, version %u, %llu bytes at %llu\n", static_cast<unsigned long long>(position),
                    static_cast<unsigned long>(record.id), record.version, static_cast<unsigned long long>(record.size),
                    static_cast<unsigned long long>(record.address));
        if (record.next == 0) return 0;
        position = record.next;
    }
    std::fputs(length > 0 ? "the chain breaks off\n" : "nothing to read: guide_plainreader FILE\n", stderr);
    return 1;
}
