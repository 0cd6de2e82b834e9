// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/config/syConfiguration.h"

#include "config/syTextIds.h"
#include "hbtools/base/syResource.h"

namespace KxN {

KxConfiguration::~KxConfiguration() = default;

int KxConfiguration::SetGroup(KxString const& group, unsigned short minKeys) {
    KxConfig::SetGroup(group);
    return CheckKeyCount(GetKeyCount(), minKeys);
}

int KxConfiguration::EndUpdate() {
    Note last;
    if (EndStore(last) == 0) return 1;
    return Failure(
        KxString().SPrintf(MessageFormat(text::ValueNotStored), last.key, last.group, GetPathName(), last.value));
}

KxString KxConfiguration::ValueOf(KxString const& key) const {
    return ReadKey(key);
}

unsigned char KxConfiguration::Store(KxString const& key, KxString const& value) {
    return KxTools::Config::WriteKey(key, value);
}

KxString KxConfiguration::PathName() const {
    return GetPathName();
}

KxString KxConfiguration::GroupName() const {
    return GetGroup();
}

KxString KxConfiguration::TooFewKeysMessage(unsigned short minKeys) const {
    return KxString().SPrintf(MessageFormat(text::TooFewKeys), GetGroup(), GetPathName(), minKeys);
}

KxString KxConfiguration::NotStoredMessage(KxString const& key, KxString const& value) const {
    return KxString().SPrintf(MessageFormat(text::ValueNotStored), key, GetGroup(), GetPathName(), value);
}

KxString KxConfiguration::MessageFormat(unsigned short id) const {
    return KxString(KxResId(id));
}

}  // namespace KxN
