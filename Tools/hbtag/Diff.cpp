// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Two files by their content: which records there are by levels and ids, and what they hold. The form of the records, their
// places and their order among other ids are no content.
#include "Commands.h"

#include "Objects.h"

#include <hbtools/base/syEncoding.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <sstream>

namespace hbtag {

using namespace KxN;

namespace {

enum DiffCode { diffSame = 0, diffChanged = 1, diffTrouble = 2 };

struct Side {
    explicit Side(std::string const& systemPath)
        : path(PathOf(systemPath)),
          file(path, CFile::modeRead),
          inspector(&file),
          state(inspector.Inspect()),
          levels(inspector) {}
    SxTagRecord const& operator[](int record) const { return inspector.Records()[record]; }

    KxString path;
    CFile file;
    KxTagInspector inspector;
    TagFileState state;
    Levels levels;
};

struct Difference {
    char const* change;  // "added", "removed", "changed"
    std::string path;
    long long positions[2] = {-1, -1};
    std::string text;
    long long first = -1;      // element that differs
    long long differing = -1;  // how many do, of those that both have
    long long counts[2] = {-1, -1};
};

class Comparison {
public:
    Comparison(Side& a, Side& b, tool::Output& output, bool isJson)
        : m_a(a), m_b(b), m_output(output), m_isJson(isJson) {}

    void Run();
    long long NumDifferences() const { return m_numDifferences; }

private:
    void CompareHeaders();
    void CompareLevels(int parentA, int parentB);
    void Compare(int recordA, int recordB);
    bool CompareElements(Difference& difference, SxTagRecord const& a, SxTagRecord const& b);
    std::string CompareObjects(SxTagRecord const& a, SxTagRecord const& b);
    std::string Values(SxTagRecord const& a, SxTagRecord const& b, long long index);
    void ReportWhole(Side const& side, int record, bool isAdded);
    void Report(Difference const& difference);

    Side& m_a;
    Side& m_b;
    tool::Output& m_output;
    bool m_isJson;
    long long m_numDifferences = 0;
    std::vector<std::pair<int, int>> m_open;  // records to be compared; -1 where there is none
};

void Comparison::Report(Difference const& difference) {
    if (!m_isJson) {
        m_output.Print("{} {}{}{}\n", difference.change, difference.path, difference.text.empty() ? "" : ": ",
                       difference.text);
    } else {
        m_output.Print("{}\n    {{\"change\": \"{}\", \"path\": \"{}\"", m_numDifferences > 0 ? "," : "",
                       difference.change, difference.path);
        if (difference.positions[0] >= 0) m_output.Print(", \"a\": {}", difference.positions[0]);
        if (difference.positions[1] >= 0) m_output.Print(", \"b\": {}", difference.positions[1]);
        if (difference.first >= 0) m_output.Print(", \"first\": {}", difference.first);
        if (difference.differing >= 0) m_output.Print(", \"differing\": {}", difference.differing);
        if (difference.counts[0] >= 0)
            m_output.Print(", \"counts\": [{}, {}]", difference.counts[0], difference.counts[1]);
        m_output.Print(", \"text\": {}}}", tool::Quoted(KxString(KxxWidenUtf8(difference.text))));
    }
    ++m_numDifferences;
}

void Comparison::ReportWhole(Side const& side, int record, bool isAdded) {
    Difference difference;
    difference.change = isAdded ? "added" : "removed";
    difference.path = side.levels.PathTo(record);
    difference.positions[isAdded] = static_cast<long long>(side[record].position);
    difference.text = KxxToUtf8(KxxPayloadKindName(side[record].kind));
    if (int const below = side.levels.NumBelow(record))
        difference.text += fmt::format(", with {} records within", below);
    Report(difference);
}

// But for the form of the records, which is no content.
void Comparison::CompareHeaders() {
    constexpr std::size_t formPosition = 30;
    std::string bytes[2];
    Side* const sides[] = {&m_a, &m_b};
    for (int i = 0; i < 2; ++i) {
        bytes[i].resize(static_cast<std::size_t>(sides[i]->inspector.GetStartPosition()));
        sides[i]->file.Seek(0, CFile::begin);
        bytes[i].resize(sides[i]->file.Read(bytes[i].data(), static_cast<UINT>(bytes[i].size())));
        if (bytes[i].size() > formPosition + 1) bytes[i][formPosition] = bytes[i][formPosition + 1] = 0;
    }
    if (bytes[0] == bytes[1]) return;
    Difference difference;
    difference.path = "header";
    difference.change = bytes[0].empty() ? "added" : bytes[1].empty() ? "removed" : "changed";
    if (!bytes[0].empty() && !bytes[1].empty()) {
        difference.first =
            std::mismatch(bytes[0].begin(), bytes[0].end(), bytes[1].begin(), bytes[1].end()).first - bytes[0].begin();
        difference.text = fmt::format("first at byte {}", difference.first);
    }
    Report(difference);
}

void Comparison::Run() {
    CompareHeaders();
    CompareLevels(-1, -1);
    while (!m_open.empty()) {
        auto const [a, b] = m_open.back();
        m_open.pop_back();
        if (b < 0) {
            ReportWhole(m_a, a, false);
        } else if (a < 0) {
            ReportWhole(m_b, b, true);
        } else {
            Compare(a, b);
            CompareLevels(a, b);
        }
    }
}

void Comparison::CompareLevels(int parentA, int parentB) {
    std::map<std::pair<unsigned long, int>, int> others;
    for (int b : m_b.levels.Of(parentB)) others[{m_b[b].image.id, m_b.levels.NumberOf(b)}] = b;
    std::vector<std::pair<int, int>> pairs;
    for (int a : m_a.levels.Of(parentA)) {
        auto const other = others.find({m_a[a].image.id, m_a.levels.NumberOf(a)});
        pairs.emplace_back(a, other == others.end() ? -1 : other->second);
        if (other != others.end()) others.erase(other);
    }
    for (int b : m_b.levels.Of(parentB))
        if (others.contains({m_b[b].image.id, m_b.levels.NumberOf(b)})) pairs.emplace_back(-1, b);
    m_open.insert(m_open.end(), pairs.rbegin(), pairs.rend());
}

std::string Comparison::Values(SxTagRecord const& a, SxTagRecord const& b, long long index) {
    auto const value = [&](Side& side, SxTagRecord const& record) {
        std::string text = tool::Escaped(side.inspector.PayloadText(record, index, 1, L""));
        constexpr std::size_t longest = 200;
        if (text.size() > longest) text = text.substr(0, longest) + "...";
        return record.kind == PayloadText ? '"' + text + '"' : text;
    };
    return fmt::format("{} instead of {}", value(m_b, b), value(m_a, a));
}

// The first line of the listings that differs: an object with its name and value.
std::string Comparison::CompareObjects(SxTagRecord const& a, SxTagRecord const& b) {
    Options options;
    options.values = -1;
    tool::Output texts[2] = {tool::Output("hbtag", tool::Output::held), tool::Output("hbtag", tool::Output::held)};
    PrintObjects(texts[0], options, m_a.inspector.Objects(), PlaceOf(a), "");
    PrintObjects(texts[1], options, m_b.inspector.Objects(), PlaceOf(b), "");
    std::istringstream linesA(texts[0].Take()), linesB(texts[1].Take());
    std::string lineA, lineB;
    for (int number = 1;; ++number) {
        bool const hasA = !!std::getline(linesA, lineA), hasB = !!std::getline(linesB, lineB);
        if (!hasA && !hasB) return "bytes that no listing shows";
        if (hasA && hasB && lineA == lineB) continue;
        auto const shown = [](bool has, std::string const& line) {
            std::size_t const begin = std::min(line.find_first_not_of(' '), line.size());
            return has ? line.substr(begin, 200) : std::string("nothing");
        };
        return fmt::format("object {}: {} instead of {}", number, shown(hasB, lineB), shown(hasA, lineA));
    }
}

// True if the elements that both have, and their number, are the same.
bool Comparison::CompareElements(Difference& difference, SxTagRecord const& a, SxTagRecord const& b) {
    long long const countA = KxTagInspector::NumElements(a), countB = KxTagInspector::NumElements(b);
    UINT const each = KxTagInspector::ElementSize(a);
    long long const both = std::min(countA, countB);
    constexpr long long atOnce = 1 << 16;
    std::vector<BYTE> bytesA(static_cast<std::size_t>(std::min(both, atOnce)) * each), bytesB(bytesA.size());
    long long differing = 0, first = -1;
    for (long long begin = 0; begin < both; begin += atOnce) {
        long long const count = std::min(atOnce, both - begin);
        m_a.inspector.ReadElements(a, begin, count, bytesA.data());
        m_b.inspector.ReadElements(b, begin, count, bytesB.data());
        if (std::memcmp(bytesA.data(), bytesB.data(), static_cast<std::size_t>(count) * each) == 0) continue;
        for (long long i = 0; i < count; ++i) {
            std::size_t const at = static_cast<std::size_t>(i) * each;
            if (std::memcmp(bytesA.data() + at, bytesB.data() + at, each) == 0) continue;
            if (differing++ == 0) first = begin + i;
        }
    }
    if (differing == 0 && countA == countB) return true;
    difference.first = differing > 0 ? first : both;
    difference.differing = differing;
    difference.counts[0] = countA;
    difference.counts[1] = countB;
    return false;
}

void Comparison::Compare(int recordA, int recordB) {
    SxTagRecord const &a = m_a[recordA], &b = m_b[recordB];
    Difference difference;
    difference.change = "changed";
    difference.path = m_a.levels.PathTo(recordA);
    difference.positions[0] = static_cast<long long>(a.position);
    difference.positions[1] = static_cast<long long>(b.position);
    if (a.image.version != b.image.version) {
        difference.text = fmt::format("version {} instead of {}", b.image.version, a.image.version);
    } else if (a.kind != b.kind || KxTagInspector::ElementSize(a) != KxTagInspector::ElementSize(b)) {
        difference.text = fmt::format("{} instead of {}", KxxToUtf8(KxxPayloadKindName(b.kind)),
                                      KxxToUtf8(KxxPayloadKindName(a.kind)));
        if (a.kind == b.kind) difference.text += fmt::format(", {} bytes instead of {}", b.payloadSize, a.payloadSize);
    } else if (a.width != b.width) {
        difference.text = fmt::format("{} x {} points instead of {} x {}", b.width, b.count / std::max(1, b.width),
                                      a.width, a.count / std::max(1, a.width));
    } else if (!CompareElements(difference, a, b)) {
        if (a.kind == PayloadImage) {
            difference.text = CompareObjects(a, b);
        } else if (a.kind == PayloadText || a.kind == PayloadScalar) {
            difference.text = Values(a, b, 0);
        } else {
            char const* const what = KxTagInspector::ElementSize(a) == 1 ? "bytes" : "elements";
            difference.text = fmt::format("{} of {} {} differ", difference.differing,
                                          std::min(difference.counts[0], difference.counts[1]), what);
            if (difference.differing > 0)
                difference.text +=
                    fmt::format(", the first is {}: {}", difference.first, Values(a, b, difference.first));
            if (difference.counts[0] != difference.counts[1])
                difference.text +=
                    fmt::format("; {} {} instead of {}", difference.counts[1], what, difference.counts[0]);
        }
    } else {
        return;
    }
    Report(difference);
}

}  // namespace

int Diff(FileArguments const& arguments) {
    Side a(arguments.in), b(arguments.out);
    bool isTrouble = false;
    for (Side const* side : {&a, &b}) {
        if (side->state == TagFileWhole) continue;
        isTrouble = true;
        tool::Complain("hbtag: {} is {}\n", tool::Escaped(side->path),
                       side->state == TagFileForeign ? "not a tag file" : "damaged; what of it is whole is compared");
        if (side->state == TagFileForeign) return diffTrouble;
    }
    tool::Output output("hbtag");
    if (arguments.json)
        output.Print("{{\n  \"a\": {},\n  \"b\": {},\n  \"differences\": [", tool::Quoted(a.path),
                     tool::Quoted(b.path));
    Comparison comparison(a, b, output, arguments.json);
    comparison.Run();
    if (arguments.json) output.Print("{}]\n}}\n", comparison.NumDifferences() > 0 ? "\n  " : "");
    if (!output.Finish() || isTrouble) return diffTrouble;
    return comparison.NumDifferences() > 0 ? diffChanged : diffSame;
}

}  // namespace hbtag
