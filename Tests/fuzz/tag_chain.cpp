// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Bytes as a tag file: chains, levels and simple kinds in several orders, replacing, appending, and the inspector.
#include "hbtools/base/syException.h"
#include "hbtools/persistence/sySimpleTags.h"
#include "hbtools/persistence/syTagArchive.h"
#include "hbtools/persistence/syTagInspector.h"

#include "FuzzInput.h"

using namespace KxN;

namespace {

void ReadAll(CFile& file) {
    KxTagArchive archive(&file, 1);
    for (unsigned long id : {3UL, 1UL, 2UL, 3UL, 5UL, 4UL, 1UL}) {
        Survive([&] {
            KxString text;
            int number = 0;
            double value = 0;
            unsigned long serial = 7;
            archive.SetOptionalTagsMode();
            switch (id) {
                case 1: archive >> KxNullTag(1); break;
                case 2: archive >> KxStringTag(2, text); break;
                case 3: archive >> KxTTag<int>(3, number); break;
                case 4: archive >> KxTTag<double>(4, value); break;
                default: archive >> KxNumeratedTag(5, serial); break;
            }
            archive.LevelDown();
            archive.SetOptionalTagsMode();
            archive >> KxTTag<int>(3, number) >> KxNullTag(1);
            archive.LevelUp();
        });
    }
}

void ReplaceAndAppend(CFile& file) {
    KxTagArchive archive(&file, 0);
    archive.SetReplaceMode();
    KxString text(L"replaced");
    int number = 9;
    KxTArray<double> values(2);
    Survive([&] { archive << KxTTag<int>(3, number); });
    Survive([&] { archive << KxStringTag(2, text); });
    Survive([&] { archive << KxTTagArrayTag<double, KxTTag<double>>(6, values); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzInput input(data, size);
    Survive([&] {
        KxTagInspector inspector(&input);
        inspector.Inspect();
        for (SxTagRecord const& record : inspector.Records()) inspector.PayloadText(record, 0, 4, L";");
    });
    input.Seek(0, CFile::begin);
    Survive([&] { ReadAll(input); });
    input.Seek(0, CFile::begin);
    Survive([&] { ReplaceAndAppend(input); });
    return 0;
}
