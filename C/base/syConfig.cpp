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
#include <optional>
#include <utility>
#include <vector>

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

    /// Reads the file if it is not the one that was read last; in an update, only if what was read is lost, or could not
    /// be read.
    void Refresh() {
        if (updates == 0 || !m_isRead || m_error != 0) Look();
    }

    /// Why the file could not be read at some time since this was asked last: a system error number, or 0.
    int TakeReadError() { return std::exchange(m_readError, 0); }

    int Write(KxN::KxString const& path, KxN::KxString const& group, String const& key, String const& value) {
        std::optional<KxN::detail::UpdateLock> lock;
        if (updates == 0) lock.emplace(m_systemPath);
        Refresh();
        Note const note{group, key, value};
        if (int const error = Check(note)) return error;
        if (updates > 0) m_notes.push_back(note);
        try {
            Apply(note);
        } catch (...) {
            // The lines may be half changed: the next access reads the file and repeats the earlier writes.
            if (updates > 0) m_notes.pop_back();
            m_isRead = false;
            throw;
        }
        return updates > 0 ? 0 : Save(path);
    }

    /// Stores what was noted, on top of what others have made of the file since. `last` becomes the last note.
    int End(KxN::KxString const& path, Note& last) {
        if (updates == 0 || --updates > 0 || m_notes.empty()) return 0;
        int error = 0;
        std::optional<KxN::detail::UpdateLock> lock;
        try {
            last = m_notes.back();
            lock.emplace(m_systemPath);
            Look();
            error = m_error != 0 ? m_error : m_noteError;
        } catch (...) {
            Forget();
            throw;
        }
        m_notes.clear();
        if (error == 0) return Save(path);
        Forget();
        return error;
    }

private:
    void Look() {
        KxN::detail::FileStamp const stamp = KxN::detail::StampOf(m_systemPath);
        if (m_isRead && m_error == 0 && !m_stamp.isYoung && stamp == m_stamp) return;  // else it may be readable now
        std::string bytes;
        int error = KxN::detail::ReadWholeFile(m_systemPath, KxN::KxxLimits().textFileBytes, bytes);
        if (error == ENOENT) error = 0;
        if (KxN::detail::ExceededLimit(bytes)) error = EFBIG;
        if (error != 0) {
            bytes = {};
            m_readError = error;
        }
        if (!m_isRead || error != m_error || bytes != lines.GetParsedBytes()) {
            m_isRead = false;
            m_isChanged = false;
            lines.Parse(std::move(bytes));
            m_error = error;
            m_noteError = 0;
            for (Note const& note : m_notes) {
                if (m_noteError == 0) m_noteError = Check(note);
                if (m_noteError == 0) Apply(note);
            }
            m_isRead = true;
        }
        m_stamp = stamp;
    }

    /// Why the file cannot take it: writing would replace what could not be read, or make what cannot be read again.
    int Check(Note const& note) const {
        if (m_error != 0) return m_error;
        if (!lines.CanHold(note.group.View(), note.key.View(), note.value.View())) return notStorable;
        std::size_t const added = lines.CountNewLines(note.group.View(), note.key.View());
        return added > 0 && lines.GetLineCount() + added > KxN::KxxLimits().configLines ? EFBIG : 0;
    }

    void Apply(Note const& note) {
        if (lines.Write(note.group.View(), note.key.View(), note.value.View())) m_isChanged = true;
    }

    int Save(KxN::KxString const& path) {
        if (!m_isChanged) return 0;
        Forget();  // whatever happens now, the file says what holds
        try {
            std::string const bytes = lines.GetBytes();
            if (bytes.size() > KxN::KxxLimits().textFileBytes) return EFBIG;
            KxN::KxxSaveFile(path, bytes);
        } catch (KxN::KxDirEntryException* exception) {
            int const error = static_cast<int>(exception->GetCode());
            exception->Delete();
            return error != 0 ? error : EIO;
        }
        return 0;
    }

    void Forget() {
        m_isRead = false;
        m_isChanged = false;
        m_notes.clear();
    }

    std::string m_systemPath;
    bool m_isRead = false;
    bool m_isChanged = false;
    int m_error = 0;
    int m_readError = 0;  // the last one, until it is asked for
    int m_noteError = 0;  // why the notes could not be repeated
    KxN::detail::FileStamp m_stamp;
    std::vector<Note> m_notes;  // the writes of the update
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
    return m_document->Write(m_path, m_group, key, value);
}

unsigned char Config::WriteKey(String const& key, String const& value) {
    return Store(key, value) == 0;
}

void Config::BeginUpdate() {
    m_document->Refresh();
    ++m_document->updates;
}

int Config::EndStore(Note& last) {
    return m_document->End(m_path, last);
}

unsigned char Config::EndUpdate() {
    Note last;
    return EndStore(last) == 0;
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
    int const error = Current().TakeReadError();
    if (error == 0) return;
    KxString message;
    message.SPrintf(KxString(KxResId(text::ReadFailed)), m_path, std::strerror(error));
    throw new KxFileException(L"syConfig", __LINE__, message);
}

void KxConfig::WriteKey(KxString const& key, KxString const& value) {
    if (int const error = Store(key, value)) ThrowNotStored(error, key, m_group, m_path);
}

void KxConfig::EndUpdate() {
    Note last;
    if (int const error = EndStore(last)) ThrowNotStored(error, last.key, last.group, m_path);
}

}  // namespace KxN
