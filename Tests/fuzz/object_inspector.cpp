// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The input is the image of one object, then of others. What the inspector says of the first one is what loading it does.
#include "hbtools/base/syException.h"
#include "hbtools/persistence/syObjectInspector.h"
#include "hbtools/properties/syPropertyList.h"

#include "FuzzInput.h"

#include <memory>

using namespace KxN;

namespace {

/// Where the first image ends; 0 if it is damaged or not known to the end.
ULONGLONG InspectAll(CFile& file) {
    KxObjectInspector inspector(&file);
    ULONGLONG const size = file.GetLength();
    ULONGLONG first = 0;
    inspector.IsImageAt(0, size);
    for (ULONGLONG position = 0; position < size; position = inspector.GetPosition()) {
        inspector.Begin(position, size);
        for (SxObject object; inspector.Next(object);) {
            inspector.Text(object.name, 80);
            inspector.Text(object.value, 80);
            inspector.Values(object, 0, 9, L" ");
        }
        if (inspector.HasFault() || inspector.IsUnknownBehind()) break;
        if (inspector.GetPosition() <= position || inspector.GetPosition() > size) Broken();
        if (position == 0) first = inspector.GetPosition();
    }
    return first;
}

ULONGLONG LoadFirst(CFile& file) {
    ULONGLONG end = 0;
    KxPersistentObject::InitializeReferenceMap();
    file.Seek(0, CFile::begin);
    Survive([&] {
        CArchive archive(&file, CArchive::load);
        std::unique_ptr<KxPersistentObject> const object(KxPersistentObject::Load(archive));
        archive.Close();
        end = file.GetPosition();
    });
    return end;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzInput file(data, size);
    ULONGLONG inspected = 0;
    Survive([&] { inspected = InspectAll(file); });
    if (inspected != LoadFirst(file)) Broken();
    return 0;
}
