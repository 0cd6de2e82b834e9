// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// All public headers of hbTools at once, for programs that prefer one line to a list. The library itself never
// includes this file. It is written by the target "umbrella"; do not edit it.
#pragma once

#include "hbtools/base/syArchive.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syFile.h"
#include "hbtools/base/syFormat.h"
#include "hbtools/base/syObject.h"
#include "hbtools/base/syResource.h"
#include "hbtools/base/syString.h"
#include "hbtools/base/syTypes.h"
