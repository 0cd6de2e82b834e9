// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/config/syConfigMT.h"

#include "config/syTextIds.h"

namespace KxN {

KxConfigMT::~KxConfigMT() = default;

int KxConfigMT::SetGroup(KxString const& group, unsigned short minKeys) {
    KxConfigFastMT::SetGroup(group);
    return CheckKeyCount(GetKeyCount(), minKeys);
}

KxString KxConfigMT::ValueOf(KxString const& key) const {
    return ReadKey(key);
}

unsigned char KxConfigMT::Store(KxString const& key, KxString const& value) {
    try {
        return WriteKey(key, value) != 0;
    } catch (KxFileException* exception) {  // no line can hold it
        exception->Delete();
        return 0;
    }
}

KxString KxConfigMT::PathName() const {
    return GetPathName();
}

KxString KxConfigMT::GroupName() const {
    return GetGroup();
}

// In these two the arguments stand in an order that callers know; the texts are what they are.

KxString KxConfigMT::TooFewKeysMessage(unsigned short minKeys) const {
    return KxString().SPrintf(MessageFormat(text::TooFewKeys), GetPathName(), GetGroup(), minKeys);
}

KxString KxConfigMT::NotStoredMessage(KxString const& key, KxString const& value) const {
    return KxString().SPrintf(MessageFormat(text::ValueNotStored), GetGroup(), key, GetPathName(), value);
}

// The same texts as in Resources/hbtools.DEU, which a test compares.
KxString KxConfigMT::MessageFormat(unsigned short id) const {
    switch (id) {
        case text::TooFewKeys: return L"Gruppe [%s] in der Datei '%s' enthält weniger als die notwendigen %lu Einträge";
        case text::LabelUnknown:
            return L"Schlüssel '%s' von Gruppe [%s] in der Datei '%s' enthält unzulässigen Parameter '%s'!\n"
                   L"Erlaubt sind:\n%s";
        case text::TooFewNumbers:
            return L"Schlüssel '%s' von Gruppe [%s] in der Datei '%s' enthält zu wenig Parameter!\n"
                   L"Es werden %lu mit Semikolon getrennte Zahlen erwartet";
        case text::NumbersRefused:
            return L"Schlüssel '%s' von Gruppe [%s] in der Datei '%s' enthält unzulässige Parameter!\n"
                   L"Die erste Zahl darf nicht größer als die zweite sein";
        case text::PathRefused:
            return L"Schlüssel '%s' von Gruppe [%s] in der Datei '%s' enthält den unzulässigen Pfad '%s'";
        case text::PathMissing:
            return L"Schlüssel '%s' von Gruppe [%s] in der Datei '%s' verweist auf '%s'; Das Ziel existiert nicht";
        case text::ValueNotStored:
            return L"Schlüssel '%s' von Gruppe [%s] in der Datei '%s' konnte nicht auf den Wert '%s' gesetzt werden. "
                   L"Möglicherweise ist die Datei schreibgeschützt";
        default: return {};
    }
}

}  // namespace KxN
