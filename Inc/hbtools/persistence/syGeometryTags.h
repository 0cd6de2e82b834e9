// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Tags of small vectors, of collections of them and of histograms. A single vector is one inner tag for each
// component; a collection is its count (32 bits; width and height for 2-D arrays) and the plain numbers, which
// move between file and memory in whole blocks. Coordinates are carried bit by bit, not-a-number included.
//
// Reading resizes the bound value. A count that is negative or promises more than the file holds raises
// CArchiveException before the value changes. A tag and its value belong to the thread of the archive.
#pragma once

#include "hbtools/core/syArray.h"
#include "hbtools/core/syList.h"
#include "hbtools/math/syHistogram.h"
#include "hbtools/math/syVec2.h"
#include "hbtools/math/syVec3.h"
#include "hbtools/persistence/sy2dArray.h"
#include "hbtools/persistence/syCompactArray.h"
#include "hbtools/persistence/syTag.h"

namespace KxN {

/// A tag bound to a value of type `VALUE`, version 100, whose payload is told by the class that derives from it.
#define HBTOOLS_GEOMETRY_TAG(NAME, VALUE)                       \
    class KX_API NAME : public KxTag {                          \
    public:                                                     \
        NAME(unsigned long id, VALUE& value);                   \
        ~NAME() override;                                       \
                                                                \
    protected:                                                  \
        int ReadData(CFile* file, STag const& header) override; \
        void WriteData(CFile* file) override;                   \
                                                                \
    private:                                                    \
        VALUE& m_value;                                         \
    }

HBTOOLS_GEOMETRY_TAG(KxVec2sTag, KxVec2s);  ///< Inner tags 208016, 208017.
HBTOOLS_GEOMETRY_TAG(KxVec2dTag, KxVec2d);  ///< Inner tags 208018, 208019.
HBTOOLS_GEOMETRY_TAG(KxVec3dTag, KxVec3d);  ///< Inner tags 208010 to 208012.
HBTOOLS_GEOMETRY_TAG(KxVec3fTag, KxVec3f);  ///< Inner tags 208013 to 208015.

HBTOOLS_GEOMETRY_TAG(KxVec2sArrayTag, KxTArray<KxVec2s>);
HBTOOLS_GEOMETRY_TAG(KxVec3iArrayTag, KxTArray<KxVec3i>);
HBTOOLS_GEOMETRY_TAG(KxVec3fArrayTag, KxTArray<KxVec3f>);
HBTOOLS_GEOMETRY_TAG(KxVec3dArrayTag, KxTArray<KxVec3d>);
HBTOOLS_GEOMETRY_TAG(KxVec3dListTag, KxTList<KxVec3d>);        ///< In list order.
HBTOOLS_GEOMETRY_TAG(KxVec3f2dArrayTag, KxT2dArray<KxVec3f>);  ///< Row after row.
HBTOOLS_GEOMETRY_TAG(KxVec3d2dArrayTag, KxT2dArray<KxVec3d>);  ///< Row after row.
/// Dense in the file: writing gives every position an element, with the marker where there was none.
HBTOOLS_GEOMETRY_TAG(KxVec3fCompactArrayTag, KxCompactArray<KxVec3f>);
/// The values in order of addition; reading clears the histogram and adds them again. Inner tag 208009.
HBTOOLS_GEOMETRY_TAG(KxHistogramTag, KxHistogram);

#undef HBTOOLS_GEOMETRY_TAG

}  // namespace KxN
