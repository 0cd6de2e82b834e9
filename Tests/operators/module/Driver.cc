// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Driver modules for tests: a whole one, which tells in DriverLog what happens, and others that are wrong in one way each. The
// build makes them of this source with HBTOOLS_DRIVER set to one of the names below.
#include "../../../Examples/ScanLab/Devices/Scanner.h"

#include "hbtools/base/syException.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <unistd.h>

using namespace KxN;

namespace {

enum Kind {
    whole,
    empty,
    noObject,
    throwing,
    throwingInt,
    crashing,
    hanging,
    ending,
    foreign,
    noScanner,
    unresolved,
    hangingLoad,
    throwingOwn,
    throwingStandard,
    noisy,
    endingLate
};

std::string g_log;
[[maybe_unused]] std::uintptr_t volatile g_nowhere = 64;  // not every kind crashes

class Device : public ScanLab::Scanner {
public:
    explicit Device(char name) : m_name(name) { g_log += name; }
    ~Device() override { (g_log += '-') += m_name; }
    KxString GetDescription() const override { return L"device"; }
    void Measure(ScanLab::PointSink&) override { throw std::runtime_error("no such line"); }

private:
    char m_name;
};

/// Its code goes with the module.
class Failure : public KxException {
    KxString ComposeText() override { return L"a failure of the module's own"; }
};

/// Ends the program as if all were well, when the module goes.
struct AtTheEnd {
    ~AtTheEnd() {
        if (HBTOOLS_DRIVER_KIND == endingLate) std::_Exit(0);
    }
} const g_atTheEnd;

class Plain : public KxDriverObject {};

class Module : public KxDll {
public:
    using KxDll::KxDll;
    ~Module() override { g_log += "-dll"; }
};

#if HBTOOLS_DRIVER_KIND == 11
[[maybe_unused]] int const g_hang = [] {
    for (volatile bool isOn = true; isOn;) {}
    return 0;
}();
#endif

}  // namespace

extern "C" {
#define ENTRY [[gnu::visibility("default")]]
ENTRY unsigned short KxxModuleVersion();
unsigned short KxxModuleVersion() {
    return HBTOOLS_DRIVER_KIND == foreign ? 900 : 107;
}
ENTRY std::string* DriverLog();
std::string* DriverLog() {
    return &g_log;
}
#if HBTOOLS_DRIVER_KIND == 10
void NobodyHasThis();
#endif
#if HBTOOLS_DRIVER_KIND != 1
ENTRY KxDll* NewDll(KxString const& name);
KxDll* NewDll(KxString const& name) {
#if HBTOOLS_DRIVER_KIND == 10
    NobodyHasThis();
#endif
    return new Module(name, 107);
}
#if HBTOOLS_DRIVER_KIND != 2
ENTRY KxDriverObject* NewObject(KxDriver& driver);
KxDriverObject* NewObject(KxDriver&) {
    static char next = 'a';
    volatile bool isOn = true;
    switch (HBTOOLS_DRIVER_KIND) {
        case throwing: throw new KxException(KxString(L"the device is switched off"));
        case throwingInt: throw 5;
        case throwingOwn: throw new Failure;
        case throwingStandard: throw std::runtime_error("no such port");
        case noisy:  // half a line, and a helper that keeps standard output open
            if (::fork() == 0) ::execl("/bin/sleep", "sleep", "30", nullptr);
            std::fputs("bye", stdout);
            std::fflush(stdout);
            break;
        case crashing: *reinterpret_cast<int volatile*>(g_nowhere) = 1; break;
        case hanging:
            while (isOn) {}
            break;
        case ending: std::_Exit(7);
        case noScanner: return new Plain;
        default: break;
    }
    return new Device(next++);
}
#endif
#endif
}
