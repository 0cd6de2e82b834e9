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

class ScannerDriver : public KxN::KxDriver {
public:
    /// `name`: of a driver in the folder, or a path.
    explicit ScannerDriver(KxN::KxString const& name);

    /// @throws as KxDriver::Init; KxVersionException if the driver was made for another interface
    void Init();
    /// A device, which stays the driver's. @throws KxException if the driver gives none
    Scanner& NewScanner();
    /// The name without folder and end.
    KxN::KxString ShortName() const;
};

/// The names of all drivers in the folder, in alphabetical order.
std::vector<KxN::KxString> DriverNames();
/// The group of the file of settings that keeps a driver's settings.
KxN::KxString SettingsGroup(ScannerDriver const& driver);
/// "Noise  Noise: 3.0 (0.0 to 100.0)"
KxN::KxString SettingText(KxN::KxParameter const& parameter);

}  // namespace ScanLab
