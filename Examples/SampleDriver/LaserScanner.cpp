// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A driver to begin with: a laser scanner that is not there. It measures a gauge line by line, as a scanner on a slide would,
// with noise, and with gaps where a step stands in the way of the light. A real driver talks to its device in Measure.
#include "Scanner.h"

#include <hbtools/base/syException.h>
#include <hbtools/base/syResource.h>
#include <hbtools/operators/syParamDouble.h>
#include <hbtools/operators/syParamList.h>
#include <hbtools/operators/syParamLong.h>

#include <cmath>
#include <random>
#include <vector>

// What the build makes of LaserScanner.DEU.
extern KxN::SxStringResource const g_laserScannerTexts[];
extern std::size_t const g_laserScannerTextsCount;

namespace {

using namespace KxN;

// The driver's own texts. A language pack beside the module replaces them.
AFX_EXTENSION_MODULE g_state;
CDynLinkLibrary g_texts(g_state, g_laserScannerTexts, &g_laserScannerTextsCount);

constexpr unsigned short driverVersion = ScanLab::scannerInterface * 100 + 5;

enum Setting : unsigned short { Gauge = 100, Lines = 110, PointsPerLine = 120, Noise = 130, Tilt = 140, Start = 150 };
constexpr unsigned short noPower = 200;

constexpr double width = 120, length = 80;  // mm, across and along the slide

class LaserScanner : public ScanLab::Scanner {
public:
    KxString GetDescription() const override { return L"hbTools LS-0 (simulated)"; }

    KxTMem<KxParameter*> GetParameter() const override {
        KxTMem<KxParameter*> parameters(6);
        KxParameter* const all[] = {&m_gauge, &m_lines, &m_pointsPerLine, &m_noise, &m_tilt, &m_start};
        for (int i = 0; i < 6; ++i) parameters[static_cast<std::size_t>(i)] = all[i];
        return parameters;
    }
    void SetParameter(KxTMem<KxParameter*> const& parameters) override {
        for (KxParameter* const own : GetParameter())
            for (KxParameter* const other : parameters)
                if (other->GetFixName() == own->GetFixName()) own->SetValueFromString(other->GetValueAsString());
    }

    void Measure(ScanLab::PointSink& sink) override {
        if (m_start.GetValue() < 0) throw new KxException(KxString(KxResId(noPower, &g_texts)));
        std::mt19937_64 random(static_cast<std::uint64_t>(m_start.GetValue()));
        std::normal_distribution<double> noise(0, m_noise.GetValue() / 1000);
        double const slope = std::tan(m_tilt.GetValue() * 3.14159265358979323846 / 180);
        long const lines = m_lines.GetValue(), perLine = m_pointsPerLine.GetValue();
        std::vector<KxVec3d> line;
        for (long j = 0; j < lines; ++j) {
            line.clear();
            double const y = length * static_cast<double>(j) / static_cast<double>(lines);
            double shadow = -1e9;  // height that the light, which comes in slantwise from the left, does not reach
            for (long i = 0; i < perLine; ++i) {
                double const x = width * static_cast<double>(i) / static_cast<double>(perLine);
                double const z = HeightAt(x, y);
                shadow -= slope * width / static_cast<double>(perLine);
                if (z < shadow) continue;
                shadow = z;
                line.emplace_back(x, y, z + (m_noise.GetValue() > 0 ? noise(random) : 0.0));
            }
            sink.Take(line.data(), static_cast<int>(line.size()),
                      static_cast<double>(j + 1) / static_cast<double>(lines));
        }
    }

private:
    /// mm above the table.
    double HeightAt(double x, double y) const {
        KxString const gauge = m_gauge.GetSelectedEntry();
        if (gauge == L"steps") return 4.0 * (3 - std::floor(x / 30)) + 2.0 * std::floor(y / 40);
        if (gauge == L"cylinder") {
            constexpr double radius = 25;
            double const off = x - width / 2;
            return std::abs(off) < radius ? std::sqrt(radius * radius - off * off) : 0.0;
        }
        return 0.0;
    }

    mutable KxParameterList m_gauge{1, KxResId(Gauge, &g_texts), L"steps", L"plane", L"cylinder", L"steps", L"steps"};
    mutable KxParameterLong m_lines{2, KxResId(Lines, &g_texts), 200, 200, {1, 5000}, 1};
    mutable KxParameterLong m_pointsPerLine{3, KxResId(PointsPerLine, &g_texts), 400, 400, {10, 4096}, 1};
    mutable KxParameterDouble m_noise{4, KxResId(Noise, &g_texts), 3, 3, {0, 100}, 0.1, 1};
    mutable KxParameterDouble m_tilt{5, KxResId(Tilt, &g_texts), 60, 60, {0, 85}, 1, 1};
    mutable KxParameterLong m_start{6, KxResId(Start, &g_texts), 1, 1, {-1, 1000000}, 1};
};

}  // namespace

extern "C" {
[[gnu::visibility("default")]] unsigned short KxxModuleVersion();
[[gnu::visibility("default")]] KxDll* NewDll(KxString const& name);
[[gnu::visibility("default")]] KxDriverObject* NewObject(KxDriver& driver);

unsigned short KxxModuleVersion() {
    return driverVersion;
}
KxDll* NewDll(KxString const& name) {
    return new KxDll(name, driverVersion);
}
KxDriverObject* NewObject(KxDriver&) {
    return new LaserScanner;
}
}
