// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "HistogramPicture.h"

#include "Deviations.h"
#include "Operators/TextIds.h"
#include "Print.h"

#include <hbtools/base/syEncoding.h>
#include <hbtools/base/syException.h>
#include <hbtools/base/syFormat.h>
#include <hbtools/base/sySafeFile.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace ScanLab {

using namespace KxN;

namespace {

// The drawing in its own units.
constexpr double width = 900, height = 520;
constexpr double left = 90, right = 860, top = 90, bottom = 430;
constexpr int columns = 60;
constexpr double shownSigmas = 4.5;
constexpr double limitSigmas = 3.0;

/// 1, 2 or 5 times a power of ten, so that about `parts` of them make `range`.
double NiceStep(double range, int parts) {
    double const rough = range / parts;
    double const power = std::pow(10.0, std::floor(std::log10(rough)));
    double const factor = rough / power;
    return power * (factor < 1.5 ? 1 : factor < 3.5 ? 2 : factor < 7.5 ? 5 : 10);
}

/// Digits that tell `value` from one that lies a `resolution` beside it; `least` at least.
int Digits(double value, double resolution, int least) {
    if (value == 0 || !(resolution > 0)) return least;
    double const digits = std::floor(std::log10(std::abs(value))) - std::floor(std::log10(resolution)) + 1;
    return static_cast<int>(std::clamp(digits, static_cast<double>(least), 17.0));
}

/// A value as it is told beside a sigma: to a hundredth of it.
std::wstring Told(double value, double sigma) {
    return std::wstring(KxxFormat(L"%.*g", Digits(value, sigma / 100, 4), value));
}

class Picture {
public:
    template <class... Arguments>
    void Add(wchar_t const* format, Arguments const&... arguments) {
        m_text += KxxFormat(format, arguments...);
    }
    void Line(double x0, double y0, double x1, double y1, wchar_t const* style) {
        Add(L"<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" %s/>\n", x0, y0, x1, y1, style);
    }
    void Text(double x, double y, wchar_t const* anchor, std::wstring const& text, wchar_t const* style = L"") {
        Add(L"<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"%s\" %s>%s</text>\n", x, y, anchor, style, text);
    }
    std::wstring const& Get() const { return m_text; }

private:
    std::wstring m_text;
};

}  // namespace

std::wstring HistogramPicture(KxHistogram const& values, KxString const& title, KxString const& unit,
                              HistogramColors const& colors, Progress progress) {
    KxHistogram deviations(4096);
    auto next = values.Values().begin();
    InBlocks(progress.Part(0, 0.2), values.Count(), [&](int begin, int end) {
        for (int i = begin; i < end; ++i, ++next)
            if (std::isfinite(*next)) deviations.Add(*next);
    });
    int const notFinite = values.Count() - deviations.Count();
    if (!deviations.IsValid()) throw new KxException(L"HistogramPicture", __LINE__, TextOf(Text::NothingToDraw));
    Core const core = CoreOf(deviations, 8, progress.Part(0.2, 0.8));
    double const sigma = core.sigma > 0 ? core.sigma : 1.0;
    double const low = core.mean - shownSigmas * sigma, high = core.mean + shownSigmas * sigma;
    KxRangeHistogram counts(low, high, columns);
    int outside = 0;
    next = deviations.Values().begin();
    InBlocks(progress.Part(0.8, 1), deviations.Count(), [&](int begin, int end) {
        for (int i = begin; i < end; ++i, ++next) {
            if (*next < low || *next > high)
                ++outside;
            else
                counts.AddValue(*next, 1);
        }
    });
    int highest = 1;
    for (int i = 0; i < columns; ++i) highest = std::max(highest, counts.NumColumnValues(i));
    // What a normal distribution with this mean and sigma would give is drawn above the columns.
    double const area = core.count * (high - low) / columns / (sigma * KxMath::Sqrt(KxMath::TwoPi));
    double const peak = 1.05 * std::max<double>(highest, area);
    auto const x = [&](double value) { return left + (value - low) / (high - low) * (right - left); };
    auto const y = [&](double count) { return bottom - count / peak * (bottom - top); };
    std::wstring const u = unit.Len() > 0 ? L" " + Escaped(unit) : std::wstring();

    Picture p;
    p.Add(
        L"<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %.0f %.0f\" font-family=\"sans-serif\" "
        L"font-size=\"13\">\n"
        L"<rect width=\"%.0f\" height=\"%.0f\" fill=\"white\"/>\n",
        width, height, width, height);
    p.Text(left, 26, L"start", Escaped(title), L"font-size=\"18\" font-weight=\"bold\"");
    p.Text(left, 46, L"start",
           KxxFormat(L"%d points; mean %s%s, \u03c3 %.4g%s (without what lies beyond 3\u03c3: %.2f %%)",
                     deviations.Count(), Told(core.mean, sigma), u, core.sigma, u,
                     100.0 * (deviations.Count() - core.count) / deviations.Count()));
    p.Text(left, 63, L"start",
           KxxFormat(L"from %s to %s%s", Told(deviations.Min(), sigma), Told(deviations.Max(), sigma), u));

    double const countStep = std::max(1.0, NiceStep(peak, 5));
    for (int i = 0; i < 20 && i * countStep <= peak; ++i) {
        double const count = i * countStep;
        p.Line(left, y(count), right, y(count), L"stroke=\"#ddd\"");
        p.Text(left - 8, y(count) + 4, L"end", KxxFormat(L"%.0f", count));
    }
    for (int i = 0; i < columns; ++i) {
        int const count = counts.NumColumnValues(i);
        if (count == 0) continue;
        bool const isInside = KxMath::Abs(counts.ColumnCenter(i) - core.mean) <= limitSigmas * sigma;
        double const x0 = x(low + (high - low) * i / columns), x1 = x(low + (high - low) * (i + 1) / columns);
        p.Add(L"<rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\" fill=\"%s\"/>\n", x0 + 0.5, y(count),
              x1 - x0 - 1.0, bottom - y(count), HtmlOf(isInside ? colors.inner : colors.outer));
    }
    p.Add(L"<polyline fill=\"none\" stroke=\"#333\" stroke-width=\"1.5\" points=\"");
    for (int i = 0; i <= 120; ++i) {
        double const value = low + (high - low) * i / 120;
        p.Add(L"%.1f,%.1f ", x(value), y(area * KxMath::Gaussian(value - core.mean, sigma)));
    }
    p.Add(L"\"/>\n");

    p.Line(left, bottom, right, bottom, L"stroke=\"black\"");
    double const step = NiceStep(high - low, 8);
    double const first = std::ceil(low / step);
    for (int i = 0; i < 20 && (first + i) * step <= high; ++i) {
        double const value = (first + i) * step;
        p.Line(x(value), bottom, x(value), bottom + 6, L"stroke=\"black\"");
        p.Text(x(value), bottom + 21, L"middle", KxxFormat(L"%.*g", Digits(value, step, 6), value));
    }
    p.Text((left + right) / 2, bottom + 46, L"middle",
           unit.Len() > 0 ? L"deviation [" + Escaped(unit) + L"]" : std::wstring(L"deviation [unit of the scan]"));
    p.Add(L"<text transform=\"translate(24 %.1f) rotate(-90)\" text-anchor=\"middle\">points</text>\n",
          (top + bottom) / 2);

    struct Mark {
        double sigmas;
        wchar_t const* name;
        wchar_t const* style;
    };
    for (Mark const& mark :
         {Mark{0, L"mean", L"stroke=\"#008000\" stroke-width=\"2\""},
          Mark{-1, L"\u22121\u03c3", L"stroke=\"#008000\" stroke-dasharray=\"3 3\""},
          Mark{1, L"+1\u03c3", L"stroke=\"#008000\" stroke-dasharray=\"3 3\""},
          Mark{-limitSigmas, L"\u22123\u03c3", L"stroke=\"#c00000\" stroke-width=\"1.5\" stroke-dasharray=\"8 4\""},
          Mark{limitSigmas, L"+3\u03c3", L"stroke=\"#c00000\" stroke-width=\"1.5\" stroke-dasharray=\"8 4\""}}) {
        double const value = core.mean + mark.sigmas * core.sigma;
        p.Line(x(value), top - 4, x(value), bottom, mark.style);
        p.Text(x(value), top - 10, L"middle", mark.name);
        if (mark.sigmas == limitSigmas || mark.sigmas == -limitSigmas)
            p.Text(x(value), bottom + 66, L"middle", KxxFormat(L"limit %s%s", Told(value, sigma), u),
                   L"fill=\"#c00000\"");
    }
    if (outside > 0)
        p.Text(right, bottom + 84, L"end", KxxFormat(L"%d points lie beyond the picture", outside),
               L"font-size=\"12\"");
    if (notFinite > 0)
        p.Text(left, bottom + 84, L"start", KxxFormat(L"%d values are no finite numbers", notFinite),
               L"font-size=\"12\"");
    p.Add(L"</svg>\n");

    return p.Get();
}

void SaveHistogramPicture(KxString const& path, KxHistogram const& deviations, KxString const& title,
                          KxString const& unit, HistogramColors const& colors, Progress progress) {
    progress = progress.Stage(L"drawing", 0, 1);
    std::string const text = KxxToUtf8(L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" +
                                       HistogramPicture(deviations, title, unit, colors, progress));
    progress.Done();
    KxxSaveFile(path, text);
}

}  // namespace ScanLab
