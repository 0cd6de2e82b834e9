// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The classes of this room by name, from the first line of main on. Their names stand in files.
#include "hbtools/properties/syPropertyList.h"

namespace KxN {

namespace {

template <class T>
struct Factories {
    KxTFactory<KxTProperty<T>> property;
    KxTFactory<KxTBuf1DProperty<T>> buffer;
};

Factories<char> const g_char;
Factories<unsigned char> const g_unsignedChar;
Factories<short> const g_short;
Factories<unsigned short> const g_unsignedShort;
Factories<int> const g_int;
Factories<unsigned int> const g_unsignedInt;
Factories<long> const g_long;
Factories<unsigned long> const g_unsignedLong;
Factories<float> const g_float;
Factories<double> const g_double;
KxTFactory<KxPropertyList> const g_list;
KxTFactory<KxStringProperty> const g_string;

}  // namespace

}  // namespace KxN
