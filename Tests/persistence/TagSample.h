// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A file with every kind of payload on several levels, as an archive writes it in order.
#pragma once

#include "hbtools/math/syHistogram.h"
#include "hbtools/persistence/syGeometryTags.h"
#include "hbtools/persistence/sySimpleTags.h"
#include "hbtools/persistence/syTagArchive.h"
#include "hbtools/properties/syPropertyList.h"
#include "hbtools/properties/syPropertyTag.h"

namespace KxN {

template <class Point>
KxTArray<Point> SamplePoints(int count) {
    KxTArray<Point> points(count);
    for (int i = 0; i < count; ++i)
        for (int k = 0; k < 3; ++k) {
            auto const value = i * 1.125 + k * 10.1 + 0.3;
            points[i][k] = static_cast<std::remove_reference_t<decltype(points[i][k])>>(value);
        }
    return points;
}

inline void WriteSample(CFile& file, ULONGLONG start = 0) {
    file.SetLength(start);
    file.Seek(0, CFile::end);
    KxTagArchive archive(&file, 0);
    auto floats = SamplePoints<KxVec3f>(5);
    auto doubles = SamplePoints<KxVec3d>(4);
    auto whole = SamplePoints<KxVec3i>(3);
    KxTArray<KxVec2s> pixels(3);
    for (int i = 0; i < 3; ++i) pixels[i] = KxVec2s(static_cast<short>(i), static_cast<short>(-i - 700));
    KxT2dArray<KxVec3f> grid(3, 2);
    for (int i = 0; i < 6; ++i) grid.Data()[i] = floats[i % 5];
    KxTArray<int> numbers(3), types(2), none(0);
    KxTArray<double> values(3);
    KxHistogram histogram;
    for (int i = 0; i < 3; ++i) {
        numbers[i] = 7 - i;
        values[i] = 0.1 * i;
        histogram.Add(1.5 * i);
    }
    types[0] = 10;
    types[1] = 20;
    KxVec3d vector3(1, 2, 3);
    KxVec2s vector2(4, 5);
    KxString text(L"plate");
    int number = 42;
    double value = 0.25;
    long long address = 0x1000, other = 0x2000;
    KxPropertyList tree(L"tree", L"", 3);
    tree.Insert(new KxTProperty<int>(L"n", L"%d", 0, 5));
    KxPropertyList* list = &tree;

    archive << KxNullTag(100);
    archive.LevelDown();
    archive << KxStringTag(101, text) << KxTTag<int>(102, number) << KxVec3fArrayTag(103, floats) << KxNullTag(104);
    archive.LevelDown();
    archive << KxTTag<double>(105, value) << KxNullTag(106) << KxVec3iArrayTag(107, whole);
    archive.LevelUp();
    archive << KxVec3dArrayTag(108, doubles);
    archive.LevelUp();
    archive << KxTBasicTypeArrayTag<int>(110, numbers) << KxTTagArrayTag<double, KxTTag<double>>(111, values)
            << KxHistogramTag(112, histogram) << KxVec3dTag(113, vector3) << KxVec2sTag(114, vector2)
            << KxVec3f2dArrayTag(116, grid) << KxVec2sArrayTag(117, pixels) << KxTBasicTypeArrayTag<int>(118, none)
            << KxNullTag(208001);
    archive.LevelDown();
    archive << KxTBasicTypeArrayTag<int>(208002, types) << KxTTag<long long>(208003, address)
            << KxTTag<long long>(2, other);
    archive.LevelUp();
    archive << KxPropertyListTag(120, list) << KxVec3dArrayTag(121, doubles) << KxStringTag(130, text);
}

}  // namespace KxN
