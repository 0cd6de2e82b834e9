// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <memory>
#include <new>
#include <string_view>
#include <dirent.h>

namespace KxN::detail {

/// The names in a folder, without "." and "..". The iterators of the standard library end the process when memory does.
class FolderNames {
public:
    /// @throws std::bad_alloc
    explicit FolderNames(char const* path) : m_folder(::opendir(path)) {
        if (!m_folder && errno == ENOMEM) throw std::bad_alloc();
    }

    /// False for a folder that is not there or may not be read.
    bool IsOpen() const { return m_folder != nullptr; }
    /// Stays until the next call. Null at the end, and where the folder cannot be read any further.
    char const* Next() {
        while (dirent const* const entry = m_folder ? ::readdir(m_folder.get()) : nullptr)
            if (std::string_view const name(entry->d_name); name != "." && name != "..") return entry->d_name;
        return nullptr;
    }

private:
    struct Closer {
        void operator()(DIR* folder) const { ::closedir(folder); }
    };
    std::unique_ptr<DIR, Closer> m_folder;
};

}  // namespace KxN::detail
