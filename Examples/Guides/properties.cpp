// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/properties.md: a tree of properties is shown, stored and loaded.
#include <cstdio>
#include <memory>
#include <hbtools/hbtools.h>

using namespace KxN;

namespace {

void Show(KxString const& line) {
    std::printf("%ls\n", line.GetStr());
}

}  // namespace

int main() {
    // clang-format off
    KxPropertyList conditions(L"Conditions", L"Conditions of the measurement", 1);
    conditions.Insert(new KxStringProperty(L"Operator", L"Operator: %s", L"Meier", 1));
    conditions.Insert(new KxTProperty<double>(L"Temperature", L"Temperature: %.1f C", 20.5, 2));

    KxTBlockMem<KxString*> lines;
    conditions.GetAllMessageBufResized(lines, 0, 0, ' ', 4);    // level, showHidden, fill character, indent
    for (KxString* line : lines) { Show(*line); delete line; }

    CMemFile file;
    {
        KxTagArchive archive(&file, 0);
        KxPropertyList* list = &conditions;
        KxPersistentObject::InitializeReferenceMap();
        archive << KxPropertyListTag(300, list);
    }
    file.Seek(0, CFile::begin);
    KxTagArchive archive(&file, 1);
    KxPropertyList* list = nullptr;
    KxPersistentObject::InitializeReferenceMap();
    archive >> KxPropertyListTag(300, list);        // a new list, which is the caller's
    std::unique_ptr<KxPropertyList> const owner(list);
    // clang-format on

    auto const& temperature = dynamic_cast<KxTProperty<double> const&>(*owner->GetProperty(L"Temperature"));
    std::printf("%d properties came back; %.1f\n", owner->GetCount(), temperature.Get());
}
