// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "UnpackedFolder.h"

#include "Operators/TextIds.h"

#include <hbtools/base/syEncoding.h>
#include <hbtools/base/syException.h>

#include <functional>
#include <system_error>

namespace ScanLab {

using namespace KxN;
namespace fs = std::filesystem;

namespace {

constexpr char const* ending = ".folder";

/// What is there must be an empty folder. A link stays, and what it names is filled.
KxString Checked(KxString const& target) {
    std::error_code error;
    fs::path path = KxxToSystemPath(target.View());
    if (!fs::exists(fs::symlink_status(path, error))) return target;
    if (!fs::is_directory(path, error) || !fs::is_empty(path, error))
        throw new KxException(L"ScanLab", __LINE__, FormatOf(Text::FolderNotEmpty, target));
    if (fs::is_symlink(path, error)) path = fs::canonical(path, error);
    return error ? target : KxxFromSystemPath(path.string());
}

/// Folders of that beginning without the file that stands beside each as long as somebody fills it.
void RemoveLeft(fs::path const& folder, std::string const& head) {
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        std::string const name = it->path().filename().string();
        if (!name.starts_with(head) || !name.ends_with(ending)) continue;
        std::error_code ignored;
        if (!fs::exists(fs::path(it->path()).replace_extension(), ignored)) fs::remove_all(it->path(), ignored);
    }
}

/// Without a separator at its end.
fs::path Plain(KxString const& target) {
    fs::path const path = KxxToSystemPath(target.View());
    return path.has_filename() ? path : path.parent_path();
}

/// A name beside the target that is short and of its own, the same each time unless somebody has it. No file ever gets it.
KxString PlaceOf(KxString const& target) {
    fs::path const path = Plain(target);
    std::size_t const number = std::hash<std::string>()(path.filename().string());
    for (int attempt = 0;; ++attempt) {
        fs::path const place =
            path.parent_path() / (".unpack-" + std::to_string(number) + (attempt ? "-" + std::to_string(attempt) : ""));
        std::error_code ignored;
        if (!fs::exists(fs::symlink_status(place, ignored))) return KxxFromSystemPath(place.string());
    }
}

}  // namespace

UnpackedFolder::UnpackedFolder(KxString const& target) : m_target(Checked(target)), m_place(PlaceOf(m_target)) {
    fs::path const place = KxxToSystemPath(m_place.GetTemporaryPath().View());
    std::string const name = place.filename().string();
    RemoveLeft(place.parent_path(), name.substr(0, name.rfind('-') + 1));
    m_path = place.string() + ending;
    std::error_code error;
    if (!fs::create_directory(m_path, error) || error)
        throw new KxFileException(L"ScanLab", __LINE__, FormatOf(Text::NoFolder, target));
}

UnpackedFolder::~UnpackedFolder() {
    std::error_code ignored;
    if (!m_path.empty()) fs::remove_all(m_path, ignored);
}

KxString UnpackedFolder::Path() const {
    return KxxFromSystemPath(m_path.string());
}

void UnpackedFolder::Commit() {
    std::error_code error;
    fs::rename(m_path, KxxToSystemPath(m_target.View()), error);  // takes the place of an empty one, and of no other
    if (error) throw new KxFileException(L"ScanLab", __LINE__, FormatOf(Text::NoFolder, m_target));
    m_path.clear();
    KxxFlushFolder(KxxFromSystemPath(Plain(m_target).parent_path().string()));
}

}  // namespace ScanLab
