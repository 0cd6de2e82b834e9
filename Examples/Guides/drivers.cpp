// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/drivers.md: an application that knows the family of devices and loads the driver that it is told.
//   guide_drivers [MODULE]   without one: the sample driver, where the build puts it
#include "../ScanLab/Devices/Scanner.h"
#include <cstdio>
#include <filesystem>
#include <hbtools/hbtools.h>

using namespace KxN;
using namespace ScanLab;

namespace {

class ScannerDriver : public KxDriver {
public:
    using KxDriver::KxDriver;
    Scanner& NewScanner() { return dynamic_cast<Scanner&>(*NewDriverObject()); }
};

class Counter final : public PointSink {
public:
    void Take(KxVec3d const*, int count, double) override { m_count += count; }
    int m_count = 0;
};

}  // namespace

int main(int argc, char** argv) {
    try {
        std::filesystem::path const bin = std::filesystem::read_symlink("/proc/self/exe").parent_path();
        KxString const name = KxxFromSystemPath(argc > 1 ? argv[1] : (bin / "Drivers/LaserScanner.so").string());
        Counter sink;
        {
            ScannerDriver driver(name);
            driver.Init();  // loads the module
            Scanner& scanner = driver.NewScanner();
            for (KxParameter* const parameter : scanner.GetParameter())
                std::printf("%ls\n", parameter->GetFixName().GetStr());
            scanner.Measure(sink);
        }  // ends the scanner, then the module
        std::printf("%s\n", sink.m_count > 0 ? "measured" : "nothing came");
        return 0;
    } catch (CException* exception) {
        std::fprintf(stderr, "%ls\n", CException::TextOf(*exception).GetStr());
        exception->Delete();
        return 1;
    }
}
