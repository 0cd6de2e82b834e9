// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A section of a module's file, read without loading the module.
#pragma once

#include "hbtools/base/syString.h"

namespace KxN::detail {

/// The bytes of a section of a module in the system's format, of another processor's too. False if the file cannot be read,
/// is no such module, is cut, has no such section or one of more than `most` bytes.
KX_API bool ReadModuleSection(KxString const& path, std::string_view name, std::size_t most, std::string& bytes);

}  // namespace KxN::detail
