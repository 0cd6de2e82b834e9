// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Drivers of measuring devices: modules in the folder "Drivers" beside the program, or named by an absolute path. A name is
// that of the file without its end.
#pragma once

#include "Scanner.h"

#include <hbtools/operators/syDriver.h>

#include <vector>

namespace ScanLab {

/// One that is loaded, with what it hands out. What the module throws may be of a class that goes with it, so work on it
/// belongs into Guard.
class ScannerDriver : public KxN::KxDriver {
public:
    /// `name`: of a driver in the folder, or a path.
    explicit ScannerDriver(KxN::KxString const& name);

    /// Loads it, and its texts in the language of the application. On the main thread.
    /// @throws as KxDriver::Init; KxVersionException if the driver was made for another interface
    void Init();
    /// Returns work(). @throws KxException with the text of whatever it throws, made while the module is there; Cancelled, and
    /// what ends the thread, as they are
    template <class Work>
    static auto Guard(Work work) {
        try {
            return work();
        } catch (...) {
            ThrowOwn();
        }
    }
    /// A device, which stays the driver's. @throws KxException if the driver gives none
    Scanner& NewScanner();
    /// The name without folder and end.
    KxN::KxString ShortName() const;

private:
    /// What is thrown now as an exception of this program.
    [[noreturn]] static void ThrowOwn();
};

/// The names of all drivers in the folder, in alphabetical order.
std::vector<KxN::KxString> DriverNames();
/// The group of the file of settings that keeps a driver's settings.
KxN::KxString SettingsGroup(ScannerDriver const& driver);
/// A line of columns: fix name, name, value, and what values there are: "Noise  Rauschen  3.0  0 - 100".
KxN::KxString SettingText(KxN::KxParameter const& parameter);

}  // namespace ScanLab
