// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The first byte chooses a kind, the rest is the payload of one record of it; and the same bytes as a whole chain.
#include "hbtools/base/syException.h"
#include "hbtools/persistence/syGeometryTags.h"
#include "hbtools/persistence/sySimpleTags.h"
#include "hbtools/persistence/syTagArchive.h"

#include "FuzzInput.h"

using namespace KxN;

namespace {

constexpr unsigned long id = 1;

template <class TAG, class VALUE>
void Read(CFile& file) {
    Survive([&] {
        VALUE value;
        KxTagArchive archive(&file, 1);
        archive >> TAG(id, value);
    });
}

void ReadKind(CFile& file, unsigned kind) {
    switch (kind % 14) {
        case 0: return Read<KxVec2sTag, KxVec2s>(file);
        case 1: return Read<KxVec2dTag, KxVec2d>(file);
        case 2: return Read<KxVec3dTag, KxVec3d>(file);
        case 3: return Read<KxVec3fTag, KxVec3f>(file);
        case 4: return Read<KxVec2sArrayTag, KxTArray<KxVec2s>>(file);
        case 5: return Read<KxVec3iArrayTag, KxTArray<KxVec3i>>(file);
        case 6: return Read<KxVec3fArrayTag, KxTArray<KxVec3f>>(file);
        case 7: return Read<KxVec3dArrayTag, KxTArray<KxVec3d>>(file);
        case 8: return Read<KxVec3dListTag, KxTList<KxVec3d>>(file);
        case 9: return Read<KxVec3f2dArrayTag, KxT2dArray<KxVec3f>>(file);
        case 10: return Read<KxVec3d2dArrayTag, KxT2dArray<KxVec3d>>(file);
        case 11: return Read<KxVec3fCompactArrayTag, KxCompactArray<KxVec3f>>(file);
        case 12: return Read<KxTBasicTypeArrayTag<int>, KxTArray<int>>(file);
        default: {
            Survive([&] {
                KxHistogram value(64);
                KxTagArchive archive(&file, 1);
                archive >> KxHistogramTag(id, value);
            });
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size == 0) return 0;
    FuzzInput whole(data + 1, size - 1);
    ReadKind(whole, data[0]);

    CMemFile framed;
    KxTagArchive(&framed, 0) << KxNullTag(id);
    framed.Write(data + 1, static_cast<UINT>(size - 1));
    framed.Seek(0, CFile::begin);
    ReadKind(framed, data[0]);
    return 0;
}
