// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Report.h"

#include "Conditions.h"
#include "HistogramPicture.h"
#include "Print.h"
#include "ReportPage.h"

#include <hbtools/base/sySafeFile.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace ScanLab {

using namespace KxN;

namespace {

class Page {
public:
    template <class... Arguments>
    void Add(wchar_t const* format, Arguments const&... arguments) {
        m_text += KxxFormat(format, arguments...);
    }
    void AddText(std::wstring_view text) { m_text += text; }
    std::wstring const& Get() const { return m_text; }

private:
    std::wstring m_text;
};

/// The deviation at the ends of the colours.
double LimitOf(DeviationSet const& set, ReportStyle const& style, Progress const& progress) {
    if (style.limit > 0) return style.limit;
    double const sigma = CoreOf(set.values, 8, progress).sigma;
    return sigma > 0 ? 3 * sigma : 1;
}

/// A bar with the colours and their numbers, from top to bottom.
void AddColorBar(Page& page, double limit, KxString const& unit, ReportStyle const& style, int index) {
    page.Add(
        L"<svg viewBox=\"0 0 120 400\" font-family=\"sans-serif\" font-size=\"12\">\n"
        L"<linearGradient id=\"bar%d\" x1=\"0\" y1=\"0\" x2=\"0\" y2=\"1\"><stop offset=\"0\" stop-color=\"%s\"/>"
        L"<stop offset=\"0.5\" stop-color=\"%s\"/><stop offset=\"1\" stop-color=\"%s\"/></linearGradient>\n"
        L"<rect x=\"4\" y=\"28\" width=\"24\" height=\"364\" fill=\"url(#bar%d)\" stroke=\"#888\"/>\n"
        L"<text x=\"4\" y=\"14\">%s</text>\n",
        index, HtmlOf(style.high), HtmlOf(style.middle), HtmlOf(style.low), index,
        unit.Len() > 0 ? L"[" + Escaped(unit) + L"]" : std::wstring(L"[unit of the scan]"));
    for (int i = 0; i <= 4; ++i)
        page.Add(L"<text x=\"34\" y=\"%d\">%s%.4g</text>\n", 32 + 91 * i, i < 2 ? L"+" : L"", limit * (2 - i) / 2);
    page.Add(L"</svg>\n");
}

void AddMapData(Page& page, DeviationSet const& set, double limit, ReportStyle const& style) {
    KxVec3d low(set.samples[0].point), high(low);
    for (DeviationSet::Sample const& sample : set.samples)
        for (int i = 0; i < 3; ++i) {
            low[i] = KxMath::Min(low[i], sample.point[i]);
            high[i] = KxMath::Max(high[i], sample.point[i]);
        }
    KxVec3d const middle = KxVec3d::Lerp(low, high, 0.5);
    double const diagonal = low.Distance(high) > 0 ? low.Distance(high) : 1;
    int order[] = {0, 1, 2};  // axes, the longest side first
    std::stable_sort(order, order + 3, [&](int a, int b) { return high[a] - low[a] > high[b] - low[b]; });
    // To the right and up, so that the shortest side comes towards the viewer.
    double axes[2][3] = {};
    axes[0][order[0]] = (order[0] + 1) % 3 == order[1] ? 1 : -1;
    axes[1][order[1]] = 1;
    page.Add(L"{all: %d, unit: \"%s\", limit: %.17g, size: [", set.values->Count(),
             set.unit.Len() > 0 && std::all_of(set.unit.View().begin(), set.unit.View().end(),
                                               [](wchar_t c) { return c >= 'a' && c <= 'z'; })
                 ? set.unit
                 : KxString(),
             limit);
    for (int i = 0; i < 3; ++i) {
        double const side = (high[i] - low[i]) / diagonal;
        page.Add(L"%.6g, ", std::isfinite(side) ? side : 0.0);  // scripts read no other numbers
    }
    page.Add(L"], axes: [[%.0f, %.0f, %.0f], [%.0f, %.0f, %.0f]], colors: [", axes[0][0], axes[0][1], axes[0][2],
             axes[1][0], axes[1][1], axes[1][2]);
    for (KxColor const& color : {style.low, style.middle, style.high})
        page.Add(L"[%d, %d, %d], ", color.GetRed(), color.GetGreen(), color.GetBlue());
    page.Add(L"], points: [");
    int const step = std::max(1, (set.samples.Size() + style.points - 1) / style.points);
    for (int block = 0; block * step < set.samples.Size(); ++block) {
        int const i = std::min(block * step + PlaceInBlock(block, step), set.samples.Size() - 1);
        KxVec3d place(set.samples[i].point);
        place -= middle;
        place /= diagonal;
        double const value = set.samples[i].value;
        // What overflows has no place and no colour; the page says how many points it shows.
        if (!std::isfinite(place[0] + place[1] + place[2] + value)) continue;
        page.Add(L"%.5g,%.5g,%.5g,%.5g,", place[0], place[1], place[2], value);
        if (block % 8 == 7) page.AddText(L"\n");
    }
    page.Add(L"]},\n");
}

void AddDeviations(Page& page, DeviationSet const& set, double limit, ReportStyle const& style, int index,
                   Progress const& progress) {
    page.Add(L"<h2>%s</h2>\n", Escaped(set.title));
    page.Add(L"<div class=\"map\"><canvas id=\"map%d\"></canvas>\n", index);
    AddColorBar(page, limit, set.unit, style, index);
    page.Add(
        L"</div>\n<p class=\"caption\"><span id=\"drawn%d\"></span>; drag to turn, wheel to zoom, double click to "
        L"reset. <span id=\"value%d\"></span></p>\n",
        index, index);
    page.AddText(HistogramPicture(set.values, set.title, set.unit, {}, progress));
}

void AddFits(Page& page, Session const& session) {
    page.Add(
        L"<h2>Fits</h2>\n<table id=\"fits\"><tr><th>scan</th><th>shape</th><th>mean</th><th>sigma</th>"
        L"<th>points</th></tr>\n");
    for (auto const& fit : session.Fits())
        page.Add(
            L"<tr><td>%s</td><td>%s</td><td class=\"number\">%.4g</td><td class=\"number\">%.4g</td>"
            L"<td class=\"number\">%d of %d</td></tr>\n",
            Escaped(fit->scan), Escaped(fit->shape), fit->mean, fit->sigma, fit->count, fit->all);
    page.Add(L"</table>\n");
}

}  // namespace

void SaveReport(KxString const& path, Session const& session, ReportStyle const& style, Progress progress) {
    progress = progress.Stage(L"page", 0, 1);
    Page page;
    page.Add(L"<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>%s</title>\n",
             Escaped(style.title));
    page.AddText(reportHead);
    page.Add(L"</head><body>\n<h1>%s</h1>\n", Escaped(style.title));
    std::vector<DeviationSet const*> sets;
    for (auto const& set : session.Deviations())
        if (set->samples.Size() > 0) sets.push_back(set.get());
    std::vector<double> limits;
    for (DeviationSet const* const set : sets) {
        int const index = static_cast<int>(limits.size()), count = static_cast<int>(sets.size());
        Progress const part = progress.Part(0.9 * index / count, 0.9 * (index + 1) / count);
        limits.push_back(LimitOf(*set, style, part.Part(0, 0.4)));
        AddDeviations(page, *set, limits.back(), style, index, part.Part(0.4, 1));
    }
    if (!session.Fits().empty()) AddFits(page, session);
    if (style.hasConditions)
        for (auto const& entry : session.Entries()) {
            KxString const conditions = ConditionsText(entry->stored.scan);
            if (conditions.Len() == 0) continue;
            page.Add(L"<h2>Conditions of %s</h2>\n<pre>", Escaped(entry->name));
            // Line by line, as their ends are control characters too.
            std::wstring_view rest = conditions.View();
            for (std::size_t end = 0; (end = rest.find(L'\n')) != rest.npos; rest.remove_prefix(end + 1))
                page.AddText(Escaped(KxString(rest.substr(0, end))) + L"\n");
            page.Add(L"</pre>\n");
        }
    page.Add(L"<script>\nconst maps = [\n");
    for (std::size_t i = 0; i < sets.size(); ++i) {
        progress.Part(0.9, 1).Show(i, sets.size());
        AddMapData(page, *sets[i], limits[i], style);
    }
    page.Add(L"];\n</script>\n");
    page.AddText(reportScript);
    page.Add(L"</body></html>\n");
    std::string const text = KxxToUtf8(page.Get());
    progress.Done();
    KxxSaveFile(path, text);
}

}  // namespace ScanLab
