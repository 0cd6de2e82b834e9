// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The version block of a module: the bytes of its section ".hbtools.version" (Doc/formats/version.md).
#pragma once

#include <string>
#include <vector>

/// Makes the block of settings "key=value": the texts by their keys, such as CompanyName; FileVersion and ProductVersion,
/// which are numbers of up to four parts too; Language, a number, 0x0409 unless given. False with a reason if one is none.
bool MakeVersionBlock(std::vector<std::string> const& settings, std::string& block, std::string& reason);
