// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Objects whose classes are described nowhere, since neither the library nor this program is built for that.
#include <hbtools/properties/syPropertyTag.h>

using namespace KxN;

int main() {
    KxPropertyList conditions(L"Conditions", L"", 1);
    KxPropertyList* bound = &conditions;
    KxPropertyListTag const tag(1, bound);
    return conditions.GetCount() == 0 && tag.GetID() == 1 ? 0 : 1;
}
