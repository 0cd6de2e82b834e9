// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Commands.h"

#include <hbtools/base/syEncoding.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>
#include <optional>
#include <string_view>

namespace hbtag {

using namespace KxN;
namespace fs = std::filesystem;

KxString PathOf(std::string const& systemPath) {
    return KxxFromSystemPath(systemPath);
}

OutFile::OutFile(std::string const& in, std::string const& out, bool isForced) {
    std::string const name = tool::Escaped(PathOf(out));
    std::error_code ignored;
    // By links, hard ones too, one file has many names.
    if (fs::equivalent(in, out, ignored))
        throw UsageError(fmt::format("{} is the file that is read; it is never written", name));
    if (!isForced && fs::symlink_status(out, ignored).type() != fs::file_type::not_found)
        throw UsageError(fmt::format("{} is there already; --force replaces it", name));
    m_safe = std::make_unique<KxSafeFile>(PathOf(out));
    m_safe->Open(m_file);
}

void OutFile::Commit() {
    m_file.Close();
    m_safe->Commit();
}

Levels::Levels(KxTagInspector const& inspector)
    : m_inspector(inspector),
      m_children(static_cast<std::size_t>(inspector.Records().Size()) + 1),
      m_numbers(static_cast<std::size_t>(inspector.Records().Size())),
      m_isOneOfSeveral(m_numbers.size()) {
    auto const& records = inspector.Records();
    std::map<std::pair<int, unsigned long>, int> numbers;  // by level and id; in the end how many there are
    for (int i = 0; i < records.Size(); ++i) {
        m_children[static_cast<std::size_t>(records[i].parent) + 1].push_back(i);
        m_numbers[static_cast<std::size_t>(i)] = ++numbers[{records[i].parent, records[i].image.id}];
    }
    for (int i = 0; i < records.Size(); ++i)
        m_isOneOfSeveral[static_cast<std::size_t>(i)] = numbers[{records[i].parent, records[i].image.id}] > 1;
}

int Levels::NumBelow(int record) const {
    int count = 0;
    std::vector<int> open{record};
    while (!open.empty()) {
        std::vector<int> const& children = Of(open.back());
        open.pop_back();
        count += static_cast<int>(children.size());
        open.insert(open.end(), children.begin(), children.end());
    }
    return count;
}

std::string Levels::PathTo(int record) const {
    constexpr std::size_t mostShown = 40;  // of a path: listings stay linear
    std::vector<int> steps;
    for (; record >= 0 && steps.size() < mostShown; record = m_inspector.Records()[record].parent)
        steps.push_back(record);
    std::string path = record >= 0 ? ".../" : "";
    for (std::size_t i = steps.size(); i-- > 0;) {
        path += std::to_string(m_inspector.Records()[steps[i]].image.id);
        if (m_isOneOfSeveral[static_cast<std::size_t>(steps[i])]) path += fmt::format("[{}]", NumberOf(steps[i]));
        if (i > 0) path += '/';
    }
    return path;
}

std::string Levels::NameOf(int record) const {
    auto const& records = m_inspector.Records();
    std::string const place = fmt::format("@{}", records[record].position), path = PathTo(record);
    bool isUnique = !path.starts_with('.');
    // A path of one step means records of any level.
    for (int i = 0; i < records.Size() && isUnique && records[record].parent < 0; ++i)
        isUnique = i == record || records[i].image.id != records[record].image.id ||
                   (m_isOneOfSeveral[static_cast<std::size_t>(record)] && NumberOf(i) != NumberOf(record));
    return isUnique ? fmt::format("{} ({})", path, place) : place;
}

namespace {

struct Step {
    unsigned long id;
    int number;  // 0 if none is given
};

template <class T>
bool TakeNumber(std::string_view& text, T& value) {
    auto const result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc()) return false;
    text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
    return true;
}

std::optional<std::vector<Step>> StepsOf(std::string_view text) {
    std::vector<Step> steps;
    for (;;) {
        Step step{0, 0};
        if (!TakeNumber(text, step.id)) return std::nullopt;
        if (text.starts_with('[')) {
            text.remove_prefix(1);
            if (!TakeNumber(text, step.number) || step.number < 1 || !text.starts_with(']')) return std::nullopt;
            text.remove_prefix(1);
        }
        steps.push_back(step);
        if (text.empty()) return steps;
        if (!text.starts_with('/') || text.size() == 1) return std::nullopt;
        text.remove_prefix(1);
    }
}

}  // namespace

int ParseRecord(Levels const& levels, KxTagInspector const& inspector, std::string const& text) {
    auto const& records = inspector.Records();
    std::string const name = tool::Escaped(PathOf(text));
    if (text.starts_with('@')) {
        std::string_view digits = std::string_view(text).substr(1);
        ULONGLONG position = 0;
        if (TakeNumber(digits, position) && digits.empty())
            for (int i = 0; i < records.Size(); ++i)
                if (records[i].position == position) return i;
        throw UsageError(fmt::format("no record stands at {}", name.substr(1)));
    }
    auto const steps = StepsOf(text);
    if (!steps)
        throw UsageError(fmt::format("{} is neither a path of ids, such as 100/104[2], nor a position, @64", name));
    std::vector<int> found;
    auto const take = [&](int record, Step const& step) {
        if (records[record].image.id == step.id && (step.number == 0 || levels.NumberOf(record) == step.number))
            found.push_back(record);
    };
    if (steps->size() == 1) {
        for (int i = 0; i < records.Size(); ++i) take(i, steps->front());
    } else {
        found.push_back(-1);
        for (Step const& step : *steps) {
            std::vector<int> const parents = std::exchange(found, {});
            for (int parent : parents)
                for (int child : levels.Of(parent)) take(child, step);
        }
    }
    if (found.empty()) throw UsageError(fmt::format("there is no record {}", name));
    if (found.size() == 1) return found.front();
    std::string paths;
    for (std::size_t i = 0; i < std::min<std::size_t>(found.size(), 5); ++i)
        paths += (i > 0 ? ", " : "") + levels.NameOf(found[i]);
    throw UsageError(
        fmt::format("{} records are {}: {}{}", found.size(), name, paths, found.size() > 5 ? ", ..." : ""));
}

}  // namespace hbtag
