// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxConfiguration reads and writes typed values of a configuration file that others may change at any time: each
// access sees the file as it is, and each write is in the file when it returns (see syConfig.h, whose operations it
// has too). What the values may be and how failures are told stands in syConfigValues.h.
//
//     KxConfiguration config(path, 1);
//     config.SetGroup(L"Scanner", 1);
//     double speed = 0;
//     config.Read(speed, L"Speed", KxTFloatRange<double>(0.1, 40));  // mm/s
//     config.Write(KxTPair<int>(640, 480), L"Size");
//
// Failure texts come from the string resources of the library. An object belongs to one thread at a time.
#pragma once

#include "hbtools/base/syConfig.h"
#include "hbtools/config/syConfigValues.h"

namespace KxN {

class KX_API KxConfiguration : public KxConfig, public KxConfigValues {
public:
    /// Binds to a file; does not touch it. With `throwOnError` failures throw KxConfigurationException.
    KxConfiguration(KxString const& path, int throwOnError) : KxConfig(path), KxConfigValues(throwOnError) {}
    ~KxConfiguration() override;

    using KxConfig::SetGroup;
    /// Sets the current group, also when it fails. 1 if it has at least `minKeys` keys.
    int SetGroup(KxString const& group, unsigned short minKeys);
    /// As Config::EndUpdate: 1, or a failure, which tells of the key that was noted last.
    int EndUpdate();

protected:
    KxString ValueOf(KxString const& key) const override;
    unsigned char Store(KxString const& key, KxString const& value) override;
    KxString PathName() const override;
    KxString GroupName() const override;
    KxString TooFewKeysMessage(unsigned short minKeys) const override;
    KxString NotStoredMessage(KxString const& key, KxString const& value) const override;
    KxString MessageFormat(unsigned short id) const override;
};

}  // namespace KxN
