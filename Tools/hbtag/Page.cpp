// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Page.h"

#include "Objects.h"

#include <hbtools/math/syHistogram.h>
#include <hbtools/persistence/syGeometryTags.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <vector>

namespace hbtag {

using namespace KxN;

namespace {

constexpr int mostShown = 250000;  // points of one array: what a browser draws smoothly
constexpr int shownValues = 8;     // of other payloads
constexpr long long mostObjects = 50000;
constexpr int mostRecords = 50000;
constexpr int mostClouds = 32;

std::string Base64(void const* data, std::size_t size) {
    constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    auto const* bytes = static_cast<unsigned char const*>(data);
    std::string text;
    text.reserve((size + 2) / 3 * 4);
    for (std::size_t i = 0; i < size; i += 3) {
        unsigned const left = static_cast<unsigned>(std::min<std::size_t>(3, size - i));
        unsigned const group = static_cast<unsigned>(bytes[i]) << 16 | (left > 1 ? bytes[i + 1] : 0U) << 8 |
                               (left > 2 ? bytes[i + 2] : 0U);
        for (unsigned k = 0; k < 4; ++k) text += k <= left ? digits[group >> (18 - 6 * k) & 63] : '=';
    }
    return text;
}

constexpr double far = std::numeric_limits<float>::max();

/// Whether a browser can draw there: its numbers are floats.
bool IsDrawn(KxVec3d const& p) {
    return std::abs(p[0]) <= far && std::abs(p[1]) <= far && std::abs(p[2]) <= far;
}

/// The points of an array record as doubles. Where the record has a gap stands a point that is not drawn.
struct Points {
    std::vector<KxVec3d> list;

    template <class Array>
    void Take(Array const& array, int count) {
        constexpr double gap = std::numeric_limits<double>::quiet_NaN();
        list.reserve(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) {
            if (array[i].IsValid())
                list.emplace_back(array[i][0], array[i][1], array[i][2]);
            else
                list.emplace_back(gap, gap, gap);
        }
    }
};

template <class Tag, class Point>
Points ReadArray(CFile& file, SxTagRecord const& record) {
    KxTArray<Point> array;
    Points points;
    if (Tag(record.image.id, array).Read(&file, record.position)) points.Take(array, array.Size());
    return points;
}

template <class Tag, class Point>
Points ReadGrid(CFile& file, SxTagRecord const& record) {
    KxT2dArray<Point> grid(0, 0);
    Points points;
    if (Tag(record.image.id, grid).Read(&file, record.position)) points.Take(grid.Data(), grid.Width() * grid.Height());
    return points;
}

bool IsPoints(TagPayloadKind kind) {
    return kind == PayloadVec3fArray || kind == PayloadVec3iArray || kind == PayloadVec3dArray ||
           kind == PayloadVec3f2dArray || kind == PayloadVec3d2dArray;
}

Points ReadPoints(CFile& file, SxTagRecord const& record) {
    switch (record.kind) {
        case PayloadVec3fArray: return ReadArray<KxVec3fArrayTag, KxVec3f>(file, record);
        case PayloadVec3iArray: return ReadArray<KxVec3iArrayTag, KxVec3i>(file, record);
        case PayloadVec3dArray: return ReadArray<KxVec3dArrayTag, KxVec3d>(file, record);
        case PayloadVec3f2dArray: return ReadGrid<KxVec3f2dArrayTag, KxVec3f>(file, record);
        case PayloadVec3d2dArray: return ReadGrid<KxVec3d2dArrayTag, KxVec3d>(file, record);
        default: return {};
    }
}

/// The first histogram of each count: the one with a value for each point of an array of so many.
std::map<LONGLONG, int> FindDeviations(KxTagInspector const& inspector) {
    std::map<LONGLONG, int> found;
    auto const& records = inspector.Records();
    for (int i = 0; i < records.Size(); ++i)
        if (records[i].kind == PayloadHistogram) found.emplace(records[i].count, i);
    return found;
}

std::vector<double> ReadDeviations(CFile& file, SxTagRecord const& record) {
    KxHistogram histogram;
    std::vector<double> values;
    if (KxHistogramTag(record.image.id, histogram).Read(&file, record.position))
        values.assign(histogram.Values().begin(), histogram.Values().end());
    return values;
}

void PrintCloud(tool::Output& output, int number, SxTagRecord const& record, Points const& points,
                std::vector<double> const& deviations) {
    std::size_t const count = points.list.size();
    std::size_t const step = std::max<std::size_t>(1, (count + mostShown - 1) / mostShown);
    KxVec3d low(far, far, far), high(-far, -far, -far);
    std::size_t drawn = 0;
    for (KxVec3d const& point : points.list) {
        if (!IsDrawn(point)) continue;
        ++drawn;
        for (int i = 0; i < 3; ++i) {
            low[i] = KxMath::Min(low[i], point[i]);
            high[i] = KxMath::Max(high[i], point[i]);
        }
    }
    if (drawn == 0) return;
    KxVec3d const center = KxVec3d::Lerp(low, high, 0.5);
    std::vector<float> places, values;
    for (std::size_t i = 0; i < count; i += step) {
        KxVec3d const& point = points.list[i];
        if (!IsDrawn(point)) continue;
        for (int k = 0; k < 3; ++k) places.push_back(static_cast<float>(point[k] - center[k]));
        if (deviations.size() != count) continue;
        bool const isFloat = std::abs(deviations[i]) <= far;
        values.push_back(isFloat ? static_cast<float>(deviations[i]) : std::numeric_limits<float>::quiet_NaN());
    }
    auto const text = [](double value) { return tool::JsonNumber(fmt::format("{}", value)); };
    output.Print(
        "{{\"record\": {}, \"id\": {}, \"position\": {}, \"count\": {}, \"step\": {}, \"center\": [{}, {}, {}], "
        "\"low\": {}, \"high\": {}, \"gaps\": {}, \"points\": \"{}\", \"values\": \"{}\"}}",
        number, record.image.id, record.position, count, step, text(center[0]), text(center[1]), text(center[2]),
        text(low[2]), text(high[2]), count - drawn, Base64(places.data(), places.size() * sizeof(float)),
        Base64(values.data(), values.size() * sizeof(float)));
}

/// What could not be shown. Each one is a line, and not the end of the page.
class Notes {
public:
    void Add(std::string const& note) { m_html += "<div class=\"fault\">" + Html(note) + "</div>\n"; }
    /// False if `action` failed: then the reason is a note.
    template <class Action>
    bool Try(SxTagRecord const& record, Action action) {
        try {
            action();
            return true;
        } catch (CException* exception) {
            // The texts of many records must not make the page unreadable.
            if (++m_numFailures <= mostFailures)
                Add(fmt::format("record {} at {}: {}", record.image.id, record.position, tool::Reason(exception)));
            else
                exception->Delete();
        }
        return false;
    }
    std::string Take() {
        if (m_numFailures > mostFailures)
            Add(fmt::format("{} further records cannot be shown", m_numFailures - mostFailures));
        return std::move(m_html);
    }

private:
    static constexpr int mostFailures = 100;
    std::string m_html;
    int m_numFailures = 0;
};

/// The trees of objects. The script moves each one to its record.
void PrintTrees(tool::Output& output, Options const& options, KxTagInspector& inspector, Stream const* stream) {
    long long left = mostObjects, leftOut = 0;
    auto const print = [&](std::string const& title, int record, ImagePlace const& place) {
        if (left == 0 || record >= mostRecords) {
            ++leftOut;
            return;
        }
        output.Print("<div class=\"objects\" id=\"objects-{}\"><div class=\"small title\">{}</div>\n", record, title);
        PrintHtmlObjects(output, options, inspector.Objects(), place, left);
        output.Print("</div>\n");
    };
    if (stream) {
        for (ImagePlace const& place : stream->images) print(fmt::format("at {}", place.position), -1, place);
    }
    auto const& records = inspector.Records();
    for (int i = 0; i < records.Size(); ++i)
        if (records[i].kind == PayloadImage)
            print(fmt::format("record {} at {}", records[i].image.id, records[i].position), i, PlaceOf(records[i]));
    if (leftOut > 0) output.Print("<div class=\"small\">{} more trees of objects are left out</div>\n", leftOut);
}

}  // namespace

void PrintPage(tool::Output& output, KxString const& name, CFile& file, KxTagInspector& inspector, TagFileState state,
               Stream const* stream) {
    Options options;
    options.json = true;
    options.payloads = true;
    options.values = shownValues;
    options.objects = false;
    options.records = mostRecords;
    tool::Output json("hbtag", tool::Output::held);
    if (stream)
        PrintStream(json, options, name, inspector, *stream);
    else
        Print(json, options, name, inspector, state);
    auto const& records = inspector.Records();
    std::string clouds;
    Notes notes;
    std::map<LONGLONG, int> const allDeviations = FindDeviations(inspector);
    int numClouds = 0, numLeftOut = 0;
    for (int i = 0; i < records.Size(); ++i) {
        if (!IsPoints(records[i].kind)) continue;
        if (numClouds == mostClouds) {
            ++numLeftOut;
            continue;
        }
        Points points;
        notes.Try(records[i], [&] { points = ReadPoints(file, records[i]); });
        if (points.list.empty()) continue;
        auto const found = allDeviations.find(static_cast<LONGLONG>(points.list.size()));
        std::vector<double> deviations;
        if (found != allDeviations.end()) {
            SxTagRecord const& record = records[found->second];
            notes.Try(record, [&] { deviations = ReadDeviations(file, record); });
        }
        tool::Output cloud("hbtag", tool::Output::held);
        PrintCloud(cloud, i, records[i], points, deviations);
        std::string const text = cloud.Take();
        if (text.empty()) continue;
        clouds += (numClouds > 0 ? ",\n" : "") + text;
        ++numClouds;
    }
    if (numLeftOut > 0) notes.Add(fmt::format("the points of {} further records are left out", numLeftOut));
    if (records.Size() > mostRecords)
        notes.Add(fmt::format("{} records more are left out", records.Size() - mostRecords));
    // A text of the file must not end the script that holds it.
    std::string data = json.Take();
    for (std::size_t at = 0; (at = data.find('<', at)) != std::string::npos;) data.replace(at, 1, "\\u003c");
    output.Print("{}{}", pageHead, notes.Take());
    PrintTrees(output, options, inspector, stream);
    output.Print(
        "{}<script type=\"application/json\" id=\"file\">{}</script>\n"
        "<script type=\"application/json\" id=\"clouds\">[{}]</script>\n{}",
        pageMiddle, data, clouds, pageTail);
}

}  // namespace hbtag
