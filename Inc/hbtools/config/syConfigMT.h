// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxConfigMT is KxConfiguration for worker threads: the same typed values, checks and exceptions on a file that is read
// once and held in memory (see syConfigFastMT.h, syConfigValues.h). It shares nothing with other objects. Its own
// failure texts, 6310 to 6317, are literals; those of exceptions that other rooms make, for a missing key, a number
// out of its range, a missing file, what cannot be written or decrypted, are string resources as everywhere. Each
// thread may have its own object on the same file, and sees what others write only with a new object; the last Flush
// wins. One object belongs to one thread.
#pragma once

#include "hbtools/config/syConfigFastMT.h"
#include "hbtools/config/syConfigValues.h"

namespace KxN {

class KX_API KxConfigMT : public KxConfigFastMT, public KxConfigValues {
public:
    /// Reads the file. With `throwOnError` failures throw KxConfigurationException. Whatever the flag, this, reading
    /// and writing @throw KxEncryptionException as KxConfigFastMT does.
    KxConfigMT(KxString const& path, int throwOnError) : KxConfigFastMT(path), KxConfigValues(throwOnError) {}
    ~KxConfigMT() override;

    using KxConfigFastMT::SetGroup;
    /// Sets the current group, also when it fails, and makes it if it does not exist. 1 if it has at least `minKeys`
    /// keys. The text of the failure has file and group in each other's place.
    int SetGroup(KxString const& group, unsigned short minKeys);

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
