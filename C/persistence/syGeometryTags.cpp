// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/persistence/syGeometryTags.h"

#include "hbtools/persistence/sySimpleTags.h"
#include "hbtools/persistence/syTagArchive.h"
#include "persistence/syBlockArchive.h"
#include "persistence/syInnerTags.h"

#include <algorithm>
#include <limits>

namespace KxN {

constinit KxArrayElementMaskCalculation const g_aAEMC;

namespace {

KxVersion const version(100);

template <class VEC>
using ScalarOf = std::remove_reference_t<decltype(std::declval<VEC&>()[0])>;

template <class VEC>
constexpr int components = static_cast<int>(sizeof(VEC) / sizeof(ScalarOf<VEC>));

// A single vector: one inner tag for each component, from `firstId` on.
template <class VEC>
void WriteVector(CFile* file, VEC& value, std::uint32_t firstId) {
    KxTagArchive archive(file, 0);
    for (int i = 0; i < components<VEC>; ++i)
        archive << KxTTag<ScalarOf<VEC>>(firstId + static_cast<std::uint32_t>(i), value[i]);
}

template <class VEC>
int ReadVector(CFile* file, VEC& value, std::uint32_t firstId) {
    KxTagArchive archive(file, 1);
    archive.SetNecessaryTagsMode();
    VEC read;
    for (int i = 0; i < components<VEC>; ++i)
        archive >> KxTTag<ScalarOf<VEC>>(firstId + static_cast<std::uint32_t>(i), read[i]);
    value = read;
    return 1;
}

// A collection: its head, then the numbers as they lie in memory.
template <class VEC>
void WriteArray(CFile* file, KxTArray<VEC> const& values) {
    CArchive archive(file, CArchive::store, detail::blockArchiveSize);
    archive << values.Size();
    archive.WriteBlock(values.Data(), sizeof(VEC) * static_cast<ULONGLONG>(values.Size()));
    archive.Close();
}

template <class VEC>
int ReadArray(CFile* file, KxTArray<VEC>& values) {
    detail::BlockReader archive(file);
    int count = 0;
    archive >> count;
    archive.CheckCount(count, sizeof(VEC));
    if (values.Size() != count) values.Resize(0);  // the old values need not move along
    values.Resize(count);
    archive.ReadBlock(values.Data(), sizeof(VEC) * static_cast<ULONGLONG>(count));
    archive.Close();
    return 1;
}

template <class VEC>
void Write2dArray(CFile* file, KxT2dArray<VEC> const& values) {
    CArchive archive(file, CArchive::store, detail::blockArchiveSize);
    archive << values.Width() << values.Height();
    archive.WriteBlock(values.Data(), sizeof(VEC) * static_cast<ULONGLONG>(values.Size()));
    archive.Close();
}

template <class VEC>
int Read2dArray(CFile* file, KxT2dArray<VEC>& values) {
    detail::BlockReader archive(file);
    int width = 0;
    int height = 0;
    archive >> width >> height;
    // Each side for itself first: two negative ones have a positive product.
    archive.CheckCount(std::min(std::min(width, height), 0), sizeof(VEC));
    LONGLONG const count = static_cast<LONGLONG>(width) * height;
    archive.CheckCount(count > std::numeric_limits<int>::max() ? -1 : count, sizeof(VEC));
    values.Resize(width, height);
    archive.ReadBlock(values.Data(), sizeof(VEC) * static_cast<ULONGLONG>(count));
    archive.Close();
    return 1;
}

}  // namespace

// Constructor, destructor and the two operations of a kind, told by one reading and one writing expression over
// `file` and `m_value`.
#define HBTOOLS_DEFINE_TAG(NAME, VALUE, READ, WRITE)                                            \
    NAME::NAME(unsigned long id, VALUE& value) : KxTag(id, version, 0, 0, 0), m_value(value) {} \
    NAME::~NAME() = default;                                                                    \
    int NAME::ReadData(CFile* file, STag const&) {                                              \
        return READ;                                                                            \
    }                                                                                           \
    void NAME::WriteData(CFile* file) {                                                         \
        WRITE;                                                                                  \
    }

HBTOOLS_DEFINE_TAG(KxVec2sTag, KxVec2s, ReadVector(file, m_value, inner::vec2s),
                   WriteVector(file, m_value, inner::vec2s))
HBTOOLS_DEFINE_TAG(KxVec2dTag, KxVec2d, ReadVector(file, m_value, inner::vec2d),
                   WriteVector(file, m_value, inner::vec2d))
HBTOOLS_DEFINE_TAG(KxVec3dTag, KxVec3d, ReadVector(file, m_value, inner::vec3d),
                   WriteVector(file, m_value, inner::vec3d))
HBTOOLS_DEFINE_TAG(KxVec3fTag, KxVec3f, ReadVector(file, m_value, inner::vec3f),
                   WriteVector(file, m_value, inner::vec3f))

HBTOOLS_DEFINE_TAG(KxVec2sArrayTag, KxTArray<KxVec2s>, ReadArray(file, m_value), WriteArray(file, m_value))
HBTOOLS_DEFINE_TAG(KxVec3iArrayTag, KxTArray<KxVec3i>, ReadArray(file, m_value), WriteArray(file, m_value))
HBTOOLS_DEFINE_TAG(KxVec3fArrayTag, KxTArray<KxVec3f>, ReadArray(file, m_value), WriteArray(file, m_value))
HBTOOLS_DEFINE_TAG(KxVec3dArrayTag, KxTArray<KxVec3d>, ReadArray(file, m_value), WriteArray(file, m_value))
HBTOOLS_DEFINE_TAG(KxVec3f2dArrayTag, KxT2dArray<KxVec3f>, Read2dArray(file, m_value), Write2dArray(file, m_value))
HBTOOLS_DEFINE_TAG(KxVec3d2dArrayTag, KxT2dArray<KxVec3d>, Read2dArray(file, m_value), Write2dArray(file, m_value))

#undef HBTOOLS_DEFINE_TAG

KxVec3dListTag::KxVec3dListTag(unsigned long id, KxTList<KxVec3d>& value)
    : KxTag(id, version, 0, 0, 0), m_value(value) {}

KxVec3dListTag::~KxVec3dListTag() = default;

int KxVec3dListTag::ReadData(CFile* file, STag const&) {
    detail::BlockReader archive(file);
    int count = 0;
    archive >> count;
    archive.CheckCount(count, sizeof(KxVec3d));
    m_value.RemoveAll();
    for (int i = 0; i < count; ++i) {
        KxVec3d point;
        archive >> point[0] >> point[1] >> point[2];
        m_value.AddTail(point);
    }
    archive.Close();
    return 1;
}

void KxVec3dListTag::WriteData(CFile* file) {
    CArchive archive(file, CArchive::store, detail::blockArchiveSize);
    archive << m_value.Count();
    for (KxVec3d const& point : m_value) archive << point[0] << point[1] << point[2];
    archive.Close();
}

KxVec3fCompactArrayTag::KxVec3fCompactArrayTag(unsigned long id, KxCompactArray<KxVec3f>& value)
    : KxTag(id, version, 0, 0, 0), m_value(value) {}

KxVec3fCompactArrayTag::~KxVec3fCompactArrayTag() = default;

int KxVec3fCompactArrayTag::ReadData(CFile* file, STag const&) {
    detail::BlockReader archive(file);
    int count = 0;
    archive >> count;
    archive.CheckCount(count, sizeof(KxVec3f));
    m_value.Resize(count);
    m_value.Fill();
    archive.ReadBlock(m_value.Data(), sizeof(KxVec3f) * static_cast<ULONGLONG>(count));
    archive.Close();
    return 1;
}

void KxVec3fCompactArrayTag::WriteData(CFile* file) {
    m_value.Fill();
    CArchive archive(file, CArchive::store, detail::blockArchiveSize);
    archive << m_value.Size();
    archive.WriteBlock(m_value.Data(), sizeof(KxVec3f) * static_cast<ULONGLONG>(m_value.Size()));
    archive.Close();
}

KxHistogramTag::KxHistogramTag(unsigned long id, KxHistogram& value) : KxTag(id, version, 0, 0, 0), m_value(value) {}

KxHistogramTag::~KxHistogramTag() = default;

int KxHistogramTag::ReadData(CFile* file, STag const&) {
    KxTArray<double> values;
    KxTagArchive archive(file, 1);
    archive.SetNecessaryTagsMode();
    archive >> KxTTagArrayTag<double, KxTTag<double>>(inner::histogramValues, values);
    m_value.Clear();
    for (double value : values) m_value.Add(value);
    return 1;
}

void KxHistogramTag::WriteData(CFile* file) {
    KxTArray<double> values(m_value.Count());
    int next = 0;
    for (double value : m_value.Values()) values[next++] = value;
    KxTagArchive archive(file, 0);
    archive << KxTTagArrayTag<double, KxTTag<double>>(inner::histogramValues, values);
}

}  // namespace KxN
