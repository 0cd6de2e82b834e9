// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// All public headers of hbTools at once, for programs that prefer one line to a list. The library itself never
// includes this file. It is written by the target "umbrella"; do not edit it.
#pragma once

#include "hbtools/base/syArchive.h"
#include "hbtools/base/syClassName.h"
#include "hbtools/base/syCollections.h"
#include "hbtools/base/syConfig.h"
#include "hbtools/base/syDateTime.h"
#include "hbtools/base/syDirEntry.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syFile.h"
#include "hbtools/base/syFileStream.h"
#include "hbtools/base/syFormat.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syObject.h"
#include "hbtools/base/syResource.h"
#include "hbtools/base/sySafeFile.h"
#include "hbtools/base/syString.h"
#include "hbtools/base/sySync.h"
#include "hbtools/base/syTextEncoding.h"
#include "hbtools/base/syTypes.h"
#include "hbtools/base/syValues.h"
#include "hbtools/base/syVersion.h"

#include "hbtools/core/syArray.h"
#include "hbtools/core/syBlockHeap.h"
#include "hbtools/core/syBuf.h"
#include "hbtools/core/syGuid.h"
#include "hbtools/core/syHashFunction.h"
#include "hbtools/core/syList.h"
#include "hbtools/core/syMap.h"
#include "hbtools/core/syMem.h"
#include "hbtools/core/sySVQueue.h"

#include "hbtools/math/syHistogram.h"
#include "hbtools/math/syMath.h"
#include "hbtools/math/syRangeHistogram.h"
#include "hbtools/math/syVec2.h"
#include "hbtools/math/syVec3.h"
#include "hbtools/math/syVec4.h"
#include "hbtools/math/syVecParts.h"

#include "hbtools/persistence/sy2dArray.h"
#include "hbtools/persistence/syCompactArray.h"
#include "hbtools/persistence/syGeometryTags.h"
#include "hbtools/persistence/sySimpleTags.h"
#include "hbtools/persistence/syTag.h"
#include "hbtools/persistence/syTagArchive.h"
#include "hbtools/persistence/syTagInspector.h"
