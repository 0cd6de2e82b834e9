// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Names of files as file systems that heed neither case nor composition compare them.
#pragma once

#include <string>
#include <string_view>

namespace KxN::detail {

/// The same UTF-8 text for all names that some file system takes for one: by compatible characters, without case.
std::string FoldedName(std::wstring_view name);

}  // namespace KxN::detail
