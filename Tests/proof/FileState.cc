// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "FileState.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>
#include <sys/xattr.h>
#include <unistd.h>

namespace proof {

namespace fs = std::filesystem;

namespace {

// An access list as the system keeps it: 4 bytes of version, then 8 for each entry.
struct Entry {
    std::uint16_t tag, rights;
    std::uint32_t id;
};
constexpr std::uint32_t listVersion = 2, noId = 0xffffffff;
constexpr std::uint16_t maskTag = 16;
constexpr uid_t stranger = 4711;

std::map<std::string, std::string> AttributesOf(std::string const& path) {
    std::map<std::string, std::string> attributes;
    std::vector<char> names(64 * 1024), value(64 * 1024);
    ssize_t const length = ::llistxattr(path.c_str(), names.data(), names.size());
    for (char const* name = names.data(); name < names.data() + length; name += std::strlen(name) + 1) {
        ssize_t const size = ::lgetxattr(path.c_str(), name, value.data(), value.size());
        if (size >= 0) attributes[name].assign(value.data(), static_cast<std::size_t>(size));
    }
    return attributes;
}

}  // namespace

bool FileState::IsLike(FileState const& other) const {
    return mode == other.mode && user == other.user && group == other.group && attributes == other.attributes &&
           time == other.time;
}

std::string FileState::Text() const {
    std::array<char, 100> text;
    std::snprintf(text.data(), text.size(), "%zu bytes, mode %o, owner %u:%u", bytes.size(), mode, user, group);
    std::string all = text.data();
    for (auto const& [name, value] : attributes) all += ", " + name;
    if (time != 0) all += ", time " + std::to_string(time);
    return all;
}

std::string FileState::All() const {
    std::string all = Text() + "\n" + bytes;
    for (auto const& [name, value] : attributes) all += "\n" + name + "=" + value;
    return all;
}

std::size_t FileState::Hash() const {
    constexpr std::hash<std::string> hash;
    std::size_t sum = hash(bytes) ^ (std::size_t{mode} << 40) ^ (std::size_t{user} << 20) ^ group ^
                      (static_cast<std::size_t>(time) * 31);
    for (auto const& [name, value] : attributes) sum = sum * 1099511628211u ^ hash(name) ^ (hash(value) << 1);
    return sum;
}

FileState StateOf(fs::path const& path, bool isTimed) {
    FileState state;
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) return state;
    state.mode = status.st_mode;
    state.user = status.st_uid;
    state.group = status.st_gid;
    state.attributes = AttributesOf(path.string());
    if (isTimed) state.time = status.st_mtim.tv_sec * 1'000'000'000LL + status.st_mtim.tv_nsec;
    if (S_ISLNK(status.st_mode)) state.bytes = fs::read_symlink(path).string();
    if (state.IsFile()) {
        std::ifstream in(path, std::ios::binary);
        state.bytes.assign(std::istreambuf_iterator<char>(in), {});
    }
    return state;
}

FileStates StatesBelow(fs::path const& folder) {
    FileStates states;
    for (auto const& entry : fs::recursive_directory_iterator(folder))
        states[entry.path().string()] = StateOf(entry.path());
    return states;
}

void MakeOdd(fs::path const& path) {
    ::chmod(path.c_str(), 0640);
    [[maybe_unused]] int const isRefused = ::chown(path.c_str(), stranger, stranger + 1);  // but to root
    ::setxattr(path.c_str(), "user.scanner", "seven", 5, 0);
    // The owner, a stranger, the group, the mask, all others.
    constexpr std::array<Entry, 5> entries = {
        {{1, 6, noId}, {2, 4, stranger + 2}, {4, 0, noId}, {maskTag, 4, noId}, {32, 0, noId}}};
    std::array<char, sizeof listVersion + sizeof entries> list;
    std::memcpy(list.data(), &listVersion, sizeof listVersion);
    std::memcpy(list.data() + sizeof listVersion, entries.data(), sizeof entries);
    ::setxattr(path.c_str(), accessList.data(), list.data(), list.size(), 0);
}

bool TellWhetherListsAreKnown(fs::path const& folder) {
    fs::path const file = folder / "odd";
    std::ofstream(file).close();
    MakeOdd(file);
    bool const areKnown = AttributesOf(file.string()).contains(std::string(accessList));
    fs::remove(file);
    if (!areKnown) std::printf("no access lists are known here\n");
    return areKnown;
}

void SettleMode(FileState& state) {
    auto const list = state.attributes.find(std::string(accessList));
    if (list == state.attributes.end()) return;
    Entry entry;
    for (std::size_t at = sizeof listVersion; at + sizeof entry <= list->second.size(); at += sizeof entry) {
        std::memcpy(&entry, list->second.data() + at, sizeof entry);
        if (entry.tag == maskTag) state.mode = (state.mode & ~070u) | static_cast<mode_t>(entry.rights << 3);
    }
}

}  // namespace proof
