// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syConfig.h"

#include "base/posix/syDescriptor.h"
#include "base/syConfigDocument.h"
#include "base/syTextIds.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syResource.h"
#include "hbtools/base/sySafeFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace KxTools {

namespace {

constexpr int notStorable = -1;

unsigned short Counted(std::size_t count) {
    return static_cast<unsigned short>(std::min<std::size_t>(count, 65535));
}

}  // namespace

class Config::Document {
public:
    explicit Document(std::wstring_view path) : m_systemPath(KxN::KxxToSystemPath(path)) {}

    KxN::detail::ConfigDocument lines;
    int updates = 0;  // depth of updates

    /// Reads the file if it is not the one that was read last.
    void Refresh() {
        if (updates > 0) return;
        KxN::detail::FileStamp const stamp = KxN::detail::StampOf(m_systemPath);
        if (m_isRead && !m_stamp.isYoung && stamp == m_stamp) return;
        std::string bytes;
        m_error = KxN::detail::ReadWholeFile(m_systemPath, KxN::KxxLimits().textFileBytes, bytes);
        if (m_error == ENOENT) m_error = 0;
        // Each line takes many times the byte that it may consist of.
        auto const lineFeeds = static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n'));
        if (lineFeeds > KxN::KxxLimits().configLines) {
            m_error = EFBIG;
            bytes = {};
        }
        lines.Parse(std::move(bytes));
        m_stamp = stamp;
        m_isRead = true;
        m_isChanged = false;
    }

    /// Why the file could not be read: a system error number, or 0.
    int GetReadError() const { return m_error; }

    int Write(KxN::KxString const& path, std::wstring_view group, std::wstring_view key, std::wstring_view value) {
        Refresh();
        if (m_error != 0) return m_error;  // writing would replace what could not be read
        if (!KxN::detail::ConfigDocument::CanHold(group, key, value)) return notStorable;
        if (lines.Write(group, key, value)) m_isChanged = true;
        return updates > 0 ? 0 : Save(path);
    }

    int Save(KxN::KxString const& path) {
        if (!m_isChanged) return 0;
        m_isRead = false;  // whatever happens now, the file says what holds
        m_isChanged = false;
        try {
            KxN::KxxSaveFile(path, lines.GetBytes());
        } catch (KxN::KxDirEntryException* exception) {
            int const error = static_cast<int>(exception->GetCode());
            exception->Delete();
            return error != 0 ? error : EIO;
        }
        return 0;
    }

private:
    std::string m_systemPath;
    bool m_isRead = false;
    bool m_isChanged = false;
    int m_error = 0;
    KxN::detail::FileStamp m_stamp;
};

Config::Config(String const& path) : m_path(path), m_document(std::make_unique<Document>(path.View())) {}

Config::~Config() = default;

Config::Document& Config::Current() const {
    m_document->Refresh();
    return *m_document;
}

unsigned short Config::GetKeyCount() const {
    return Counted(Current().lines.GetKeyCount(m_group.View()));
}

int Config::Store(String const& key, String const& value) {
    return m_document->Write(m_path, m_group.View(), key.View(), value.View());
}

unsigned char Config::WriteKey(String const& key, String const& value) {
    return Store(key, value) == 0;
}

void Config::BeginUpdate() {
    m_document->Refresh();
    ++m_document->updates;
}

int Config::EndStore() {
    if (m_document->updates == 0 || --m_document->updates > 0) return 0;
    return m_document->Save(m_path);
}

unsigned char Config::EndUpdate() {
    return EndStore() == 0;
}

}  // namespace KxTools

namespace KxN {

namespace {

KxString TextOrEmpty(std::optional<std::wstring_view> text) {
    return KxString(text.value_or(std::wstring_view()));
}

[[noreturn]] void ThrowNotStored(int error, KxString const& key, KxString const& group, KxString const& path) {
    KxString const reason =
        error == KxTools::notStorable ? KxString(KxResId(text::KeyNotStorable)) : KxString(std::strerror(error));
    KxString message;
    message.SPrintf(KxString(KxResId(text::KeyNotStored)), key, group, path, reason);
    throw new KxFileException(L"syConfig", __LINE__, message);
}

}  // namespace

KxString KxConfig::ReadKey(KxString const& key) const {
    return ReadKey(key, KxString());
}

KxString KxConfig::ReadKey(KxString const& key, KxString const& defaultValue) const {
    std::optional<std::wstring_view> const value = Current().lines.FindValue(m_group.View(), key.View());
    return value ? KxString(*value) : defaultValue;
}

KxString KxConfig::ReadKey(unsigned short index) const {
    return TextOrEmpty(Current().lines.FindValue(m_group.View(), std::size_t{index}));
}

KxString KxConfig::GetKeyName(unsigned short index) const {
    return TextOrEmpty(Current().lines.FindName(m_group.View(), index));
}

unsigned short KxConfig::GetGroupCount() const {
    return KxTools::Counted(Current().lines.GetGroupCount());
}

KxString KxConfig::GetGroup(unsigned short index) const {
    auto const& lines = Current().lines;
    return index < lines.GetGroupCount() ? KxString(lines.GetGroupName(index)) : KxString();
}

void KxConfig::ProofRead() const {
    int const error = Current().GetReadError();
    if (error == 0) return;
    KxString message;
    message.SPrintf(KxString(KxResId(text::ReadFailed)), m_path, std::strerror(error));
    throw new KxFileException(L"syConfig", __LINE__, message);
}

void KxConfig::WriteKey(KxString const& key, KxString const& value) {
    if (int const error = Store(key, value)) ThrowNotStored(error, key, m_group, m_path);
}

void KxConfig::EndUpdate() {
    if (int const error = EndStore()) ThrowNotStored(error, KxString(), m_group, m_path);
}

}  // namespace KxN
