// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// One object of each kind that the debugger shows; Shown.gdb prints them where Here is called.
#include <cstring>
#include <hbtools/hbtools.h>

using namespace KxN;

namespace {

[[gnu::noinline]] void Here() {
    asm volatile("" ::: "memory");
}

class Defect : public KxException {
public:
    Defect() : KxException(L"no light returns") {}
};

void Show() {
    KxString const text = L"Gr\u00f6\u00dfe";
    CString const framework(L"a \"b\"");
    KxDirEntry const path(L"/tmp/scan.tag");
    KxDateTime const moment(2024, 12, 31, 23, 59, 58), old(1899, 12, 28, 6, 30, 0), unset;
    [[maybe_unused]] KxVersion const version(301);
    KxAngle const angle(short(90));

    KxTArray<int> array(3);
    array[0] = 7;
    array[1] = array[2] = -1;
    KxTDynArray<KxString> dynamic;
    dynamic.Add(text);
    KxTMem<short> memory(2);
    memory[0] = memory[1] = 3;
    KxTBuf1D<double> buffer(1);
    buffer[0] = 0.25;
    KxTBlockMem<int> blockMemory(1);
    blockMemory[0] = 9;
    KxSparseMatrix const sparse(KxMatrix(2, 2));
    KxTList<KxVec3d> list;
    list.AddTail(KxVec3d(1, -2.5, 3));
    KxTBlockList<double> blockList;
    blockList.AddTail(0.5);
    KxTSVQueue<int> queue(4, 2, 2);
    for (int i = 0; i < 6; ++i) queue.Append(i);
    KxTMap<int, KxString> map;
    map[7] = L"seven";
    KxT2dArray<float> grid(2, 3);
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 2; ++column) grid(column, row) = static_cast<float>(10 * row + column);
    KxTBlockHeap<int> heap(4);
    int* const first = heap.Construct(1);
    for (int i = 2; i < 6; ++i) heap.Construct(i);
    heap.Free(first);
    CArray<int> frameworkArray;
    frameworkArray.Add(4);
    CList<int> frameworkList;
    frameworkList.AddTail(5);

    [[maybe_unused]] KxVec2s const flat(short(1), short(2));
    [[maybe_unused]] KxMatrix3 const matrix;
    KxMatrix wide(3, 2);
    wide[1][2] = 8;
    KxHistogram histogram;
    histogram.Add(1.5);

    KxCompactArray<KxVec3f> compact(100);
    compact[40] = KxVec3f(1, 2, 3);
    [[maybe_unused]] KxGuid const guid(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11);

    KxPropertyList conditions(L"Conditions", L"", 1);
    conditions.Insert(new KxTProperty<double>(L"Temperature", L"%g", 20.5, 1));
    conditions.Insert(new KxStringProperty(L"Operator", L"%s", L"Meier", 1));
    double value = 12.5;
    KxTTag<double> tag(100, value);
    KxTArray<KxVec3d> points(2);
    KxVec3dArrayTag const arrayTag(101, points);
    unsigned long number = 3;
    KxNumeratedTag const numeratedTag(102, number);
    KxTBasicTypeArrayTag<int> const numbersTag(103, array);
    KxHistogramTag const histogramTag(104, histogram);
    KxPropertyList *bound = &conditions, *unbound = nullptr;
    KxPropertyListTag const listTag(105, bound), noListTag(106, unbound);
    KxDynamicObjectTag const objectTag(107, nullptr);
    KxVersionException const exception(L"x.cpp", 7, L"KxCircleTag", KxVersion(200), KxVersion(100));
    Defect const defect;
    KxRangeException const plain(L"a.cpp", 1);
    [[maybe_unused]] CMemoryException const noMemory;
    [[maybe_unused]] COleException const ole(5);
    KxTList<int> const whole;  // of a class that is only referred to nothing is known
    KxTMap<int, int> const wholeMap;
    alignas(16) unsigned char noise[256];
    std::memset(noise, 0x7f, sizeof noise);
    [[maybe_unused]] auto const& damagedList = reinterpret_cast<KxTList<int> const&>(noise);
    [[maybe_unused]] auto const& damagedMap = reinterpret_cast<KxTMap<int, int> const&>(noise);
    [[maybe_unused]] auto const& damagedText = reinterpret_cast<KxString const&>(noise);
    Here();
}

}  // namespace

int main() {
    Show();
}
