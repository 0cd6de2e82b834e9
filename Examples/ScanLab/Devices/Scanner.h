// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What a driver of a measuring device for ScanLab hands out: all that a maker of devices has to include. Examples/SampleDriver
// is a driver to begin with. Its module exports
//
//     unsigned short KxxModuleVersion()              hundreds: scannerInterface below; the rest is the driver's own
//     KxN::KxDll* NewDll(KxN::KxString const& name)
//     KxN::KxDriverObject* NewObject(KxN::KxDriver& driver)
//
// `scanlab --check-driver FILE` tries it out.
#pragma once

#include <hbtools/math/syVec3.h>
#include <hbtools/operators/syDriver.h>
#include <hbtools/operators/syParameter.h>

namespace ScanLab {

/// Changes with the classes of this file.
constexpr unsigned short scannerInterface = 1;

/// What takes the points that a device measures.
class PointSink {
public:
    /// Takes `count` points in mm, in the order of measuring, which stay the caller's; `part` of the whole is done, 0 to 1.
    /// Leaves by an exception of any kind if the measurement is to end: the device must come to rest and let it pass.
    virtual void Take(KxN::KxVec3d const* points, int count, double part) = 0;

protected:
    ~PointSink() = default;
};

/// A device. Its settings are its parameters: ScanLab shows, sets and stores them by their fix names.
class Scanner : public KxN::KxDriverObject {
public:
    /// Maker and model.
    virtual KxN::KxString GetDescription() const = 0;
    /// Measures once with the present settings, on any thread. @throws KxException with a text for the user
    virtual void Measure(PointSink& sink) = 0;

    /// Take the file of settings and the group in it that is the device's.
    void SaveParameter(KxN::KxString const& file, KxN::KxString const& group) const override {
        for (KxN::KxParameter* const parameter : GetParameter()) parameter->Save(file, group);
    }
    void LoadParameter(KxN::KxString const& file, KxN::KxString const& group) override {
        for (KxN::KxParameter* const parameter : GetParameter()) parameter->Load(file, group);
    }
};

}  // namespace ScanLab
