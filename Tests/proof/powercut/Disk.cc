// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Disk.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <functional>
#include <set>
#include <stdexcept>

namespace powercut {

namespace {

constexpr std::size_t block = 512;       // bytes that a disk writes whole
constexpr std::size_t mostSubsets = 10;  // changes of which all subsets are taken

std::string FolderOf(std::string const& path) {
    return path.substr(0, path.rfind('/'));
}

bool IsBytes(Call call) {
    return call == Call::write || call == Call::truncate;
}

/// What an inode holds besides bytes.
bool IsTrait(Call call) {
    return call == Call::mode || call == Call::owner || call == Call::attribute || call == Call::time;
}

void Set(proof::FileState& file, Call call, std::string const& name, std::size_t value, std::string const& bytes) {
    if (call == Call::mode) file.mode = static_cast<mode_t>(value);
    if (call == Call::owner) file.user = static_cast<uid_t>(value >> 32), file.group = static_cast<gid_t>(value);
    if (call == Call::time) file.time = static_cast<long long>(value);
    if (call == Call::attribute) file.attributes[name] = bytes;
}

proof::FileState MadeWith(std::string const& bytes) {
    Made made{};
    std::memcpy(&made, bytes.data(), sizeof made);
    return {"", made.mode, made.user, made.group, {}, 0};
}

char const* NameOf(Call call) {
    static constexpr char const* names[] = {"create",   "write",  "truncate",  "sync",   "sync bytes",  "sync folder",
                                            "sync all", "rename", "link",      "unlink", "make folder", "remove folder",
                                            "mode",     "owner",  "attribute", "time"};
    return names[static_cast<std::size_t>(call)];
}

bool IsName(Call call) {
    return call == Call::create || call == Call::rename || call == Call::link || call == Call::unlink ||
           call == Call::makeFolder || call == Call::removeFolder;
}

}  // namespace

History::History(std::filesystem::path const& record, Files const& files,
                 std::map<std::uint64_t, std::string> const& numbers) {
    std::map<std::string, int> nodeOf;
    for (auto const& [path, file] : files) {
        if (file.IsFolder()) {
            m_folders[path] = file;
            continue;
        }
        m_names[path] = static_cast<int>(m_nodes.size());
        nodeOf[path] = static_cast<int>(m_nodes.size());
        m_nodes.push_back(file);
    }
    std::map<std::uint64_t, int> current;  // the system uses a number again
    for (auto const& [number, path] : numbers)
        if (nodeOf.contains(path)) current[number] = nodeOf.at(path);
    std::ifstream in(record, std::ios::binary);
    Head head{};
    while (in.read(reinterpret_cast<char*>(&head), sizeof head)) {
        Change change{head.call, std::string(head.pathLength, 0),       std::string(head.otherLength, 0),
                      0,         static_cast<std::size_t>(head.offset), std::string(head.length, 0)};
        in.read(change.path.data(), head.pathLength);
        in.read(change.other.data(), head.otherLength);
        in.read(change.bytes.data(), static_cast<std::streamsize>(head.length));
        if (!in) throw std::runtime_error("the record is cut");
        if (head.call == Call::create) {
            current[head.file] = static_cast<int>(m_nodes.size());
            m_nodes.push_back(MadeWith(change.bytes));
        }
        if (head.call == Call::create || IsBytes(head.call) || IsTrait(head.call) || head.call == Call::sync ||
            head.call == Call::syncBytes) {
            auto const found = current.find(head.file);
            if (found == current.end()) throw std::runtime_error("a file that nobody made: " + change.path);
            change.node = found->second;
        }
        m_changes.push_back(std::move(change));
    }
}

bool History::IsSafeBy(Change const& change, Change const& sync) const {
    if (sync.call == Call::syncAll) return true;
    if (IsTrait(change.call)) return sync.call == Call::sync && sync.node == change.node;
    if (IsBytes(change.call))
        return (sync.call == Call::sync || sync.call == Call::syncBytes) && sync.node == change.node;
    if (sync.call != Call::syncFolder) return false;
    // A name that moves between folders is safe with the one that it came to.
    return FolderOf(change.other.empty() ? change.path : change.other) == sync.path;
}

std::vector<std::size_t> History::PendingAfter(std::size_t count) const {
    std::vector<std::size_t> pending;
    for (std::size_t i = 0; i < count; ++i) {
        if (!IsBytes(m_changes[i].call) && !IsName(m_changes[i].call) && !IsTrait(m_changes[i].call)) continue;
        bool isSafe = false;
        for (std::size_t k = i + 1; k < count && !isSafe; ++k) isSafe = IsSafeBy(m_changes[i], m_changes[k]);
        if (!isSafe) pending.push_back(i);
    }
    return pending;
}

Files History::Apply(Choice const& choice, std::size_t count) const {
    std::vector<proof::FileState> nodes = m_nodes;
    std::map<std::string, int> names = m_names;
    Files folders = m_folders;
    std::set<std::string> gone;  // folders whose names did not arrive
    for (std::size_t i = 0; i < count; ++i) {
        Change const& change = m_changes[i];
        proof::FileState none, &file = nodes.empty() ? none : nodes[static_cast<std::size_t>(change.node)];
        std::string& bytes = file.bytes;
        bool const isApplied = choice.isApplied[i];
        if (change.call == Call::write) {
            std::size_t const length = choice.torn == i ? choice.tornLength : change.bytes.size();
            std::size_t const end = change.offset + (isApplied ? length : 0);
            if ((isApplied && bytes.size() < end) ||
                (!isApplied && choice.hasHoles && bytes.size() < change.offset + change.bytes.size()))
                bytes.resize(isApplied ? end : change.offset + change.bytes.size());
            if (isApplied) bytes.replace(change.offset, length, change.bytes, 0, length);
            if (isApplied) file.time = 0;  // now
            continue;
        }
        if (change.call == Call::makeFolder && !isApplied) gone.insert(change.path);
        if (!isApplied) continue;
        switch (change.call) {
            case Call::truncate:
                bytes.resize(change.offset);
                file.time = 0;
                break;
            case Call::create: names[change.path] = change.node; break;
            case Call::rename:
            case Call::link: {
                // Where the former name did not arrive the new one may all the same.
                int node = -1;
                if (auto const found = names.find(change.path); found != names.end()) node = found->second;
                for (std::size_t k = i; node < 0 && k-- > 0;)
                    if (m_changes[k].call == Call::create && m_changes[k].path == change.path) node = m_changes[k].node;
                if (node >= 0) names[change.other] = node;
                if (change.call == Call::rename) names.erase(change.path);
                break;
            }
            case Call::unlink: names.erase(change.path); break;
            case Call::makeFolder:
                gone.erase(change.path);
                folders[change.path] = MadeWith(change.bytes);
                break;
            case Call::removeFolder: folders.erase(change.path); break;
            default: Set(file, change.call, change.other, change.offset, change.bytes); break;
        }
    }
    for (proof::FileState& node : nodes) proof::SettleMode(node);
    for (auto const& [path, node] : names) folders[path] = nodes[static_cast<std::size_t>(node)];
    std::erase_if(folders, [&](auto const& one) {
        return std::ranges::any_of(gone, [&](auto const& folder) { return one.first.starts_with(folder + "/"); });
    });
    return folders;
}

Files History::SeenAfter(std::size_t count) const {
    return Apply({std::vector<bool>(m_changes.size(), true), {}, 0, false}, count);
}

std::string History::TextOf(Choice const& choice, std::size_t count) const {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        Change const& change = m_changes[i];
        text += std::to_string(i + 1) + " " + NameOf(change.call) + " " + change.path + " " + change.other;
        if (change.call == Call::write)
            text += std::to_string(change.bytes.size()) + " bytes at " + std::to_string(change.offset);
        if (choice.torn == i) text += ", of which " + std::to_string(choice.tornLength) + " arrived";
        if (!choice.isApplied[i]) text += choice.hasHoles ? ": at most its length arrived" : ": did not arrive";
        text += "\n";
    }
    return text;
}

std::size_t History::CutAfter(std::size_t count, bool isLong,
                              std::function<void(Files const&, Choice const&)> const& visit) const {
    // What is on its way, in units that arrive or do not. What stands in an inode besides bytes arrives with what was set
    // before it without anything between, but in the long form.
    std::vector<std::vector<std::size_t>> units;
    for (std::size_t const i : PendingAfter(count)) {
        Change const& change = m_changes[i];
        bool const isOfLast = !isLong && !units.empty() && IsTrait(change.call) &&
                              IsTrait(m_changes[units.back().back()].call) &&
                              m_changes[units.back().back()].node == change.node && units.back().back() + 1 == i;
        if (isOfLast)
            units.back().push_back(i);
        else
            units.push_back({i});
    }
    std::size_t const p = units.size();
    std::set<std::size_t> seen;
    std::size_t built = 0;
    auto const look = [&](Choice const& choice) {
        ++built;
        Files const files = Apply(choice, count);
        std::size_t sum = 0;
        for (auto const& [path, file] : files)
            sum = (sum * 1099511628211u) ^ std::hash<std::string>()(path) ^ (file.Hash() * 31);
        if (seen.insert(sum).second) visit(files, choice);
    };
    /// One selection, with holes for what is missing, and with each write that arrives last in its file torn.
    auto const take = [&](std::vector<bool> const& arrives, bool isTearing) {
        Choice choice{std::vector<bool>(m_changes.size(), true), {}, 0, false};
        for (std::size_t i = 0; i < p; ++i)
            for (std::size_t const one : units[i]) choice.isApplied[one] = arrives[i];
        look(choice);
        choice.hasHoles = true;
        look(choice);
        choice.hasHoles = false;
        if (!isTearing) return;
        std::set<int> torn;
        for (std::size_t i = p; i-- > 0;) {
            Change const& change = m_changes[units[i].front()];
            if (!arrives[i] || change.call != Call::write || !torn.insert(change.node).second) continue;
            choice.torn = units[i].front();
            std::size_t const blocks = change.bytes.size() / block;
            // All of a short one; of a long one those at both ends and some between.
            std::size_t const step = isLong || blocks < 16 ? 1 : blocks / 8;
            for (std::size_t b = 0; b <= blocks; b += b < 4 || b + 4 > blocks ? 1 : step) {
                choice.tornLength = b * block - (b > 0 ? change.offset % block : 0);
                if (choice.tornLength < change.bytes.size()) look(choice);
            }
        }
    };
    if (p <= mostSubsets) {
        for (std::size_t bits = 0; bits < std::size_t{1} << p; ++bits) {
            std::vector<bool> arrives(p);
            for (std::size_t i = 0; i < p; ++i) arrives[i] = (bits >> i & 1) != 0;
            take(arrives, true);
        }
        return built;
    }
    take(std::vector<bool>(p, false), false);
    for (std::size_t i = 0; i < p; ++i) {
        std::vector<bool> first(p), last(p), without(p, true), alone(p);
        for (std::size_t k = 0; k < p; ++k) first[k] = k <= i, last[k] = k > i;
        without[i] = false;
        alone[i] = true;
        take(first, i + 1 == p || isLong);
        for (auto const* const some : {&last, &without, &alone}) take(*some, false);
        // One arrives before another that was made first.
        for (std::size_t k = isLong ? 0 : i > 2 ? i - 2 : 0; k < i; ++k) {
            std::vector<bool> swapped = first;
            swapped[k] = false;
            take(swapped, false);
        }
    }
    // The names without any bytes, and the bytes without any names.
    for (bool const isOfNames : {true, false}) {
        std::vector<bool> some(p);
        for (std::size_t i = 0; i < p; ++i) some[i] = IsName(m_changes[units[i].front()].call) == isOfNames;
        take(some, false);
    }
    return built;
}

}  // namespace powercut
