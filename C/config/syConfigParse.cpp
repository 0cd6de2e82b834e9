// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// From bytes to lines.
#include "base/posix/syDescriptor.h"
#include "base/syCaught.h"
#include "base/syTextIds.h"
#include "config/syConfigLines.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syEncryption.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syResource.h"

#include <algorithm>
#include <cerrno>

namespace KxN::detail {

namespace {

bool IsUtf16(KxTextEncoding encoding) {
    return encoding == KxTextEncoding::Utf16LE || encoding == KxTextEncoding::Utf16BE;
}

std::wstring_view WithoutLeading(std::wstring_view text, std::wstring_view characters) {
    text.remove_prefix(std::min(text.find_first_not_of(characters), text.size()));
    return text;
}

std::wstring_view WithoutTrailing(std::wstring_view text, std::wstring_view characters) {
    return text.substr(0, text.find_last_not_of(characters) + 1);
}

}  // namespace

ConfigLines::ConfigLines(KxString const& path, ConfigTrim trim)
    : m_path(path), m_trim(trim), m_encryption(CurrentEncryption()) {
    m_error = ReadWholeFile(KxxToSystemPath(path.View()), KxxLimits().textFileBytes, m_bytes);
    if (m_error != 0) m_bytes.clear();
    if (m_error == ENOENT) m_error = 0;
    Parse();
}

void ConfigLines::Parse() {
    m_encoding = KxxDetectEncoding(m_bytes);
    std::string_view bytes = m_bytes;
    bytes.remove_prefix(KxxMarkLength(m_encoding));
    // How far the parse goes is known first, so that nothing of the rest is ever decoded.
    std::size_t const most = KxxLimits().configLines;
    std::size_t count = 0;
    std::size_t parsed = 0;
    for (; parsed < bytes.size() && count < most; ++count) {
        std::size_t const length = LineLength(bytes.substr(parsed));
        std::string_view const line = bytes.substr(parsed, length);
        if (length == 0 || length - LineEndLength(line) > longestLine) break;
        parsed += length;
    }
    m_rest = bytes.substr(parsed);
    bytes = bytes.substr(0, parsed);
    m_text = KxxDecodeText(bytes, m_encoding);
    m_heap.SetBlockSize(static_cast<int>(std::clamp<std::size_t>(count, 16, 1024)));
    m_sectionHeap.SetBlockSize(static_cast<int>(std::clamp<std::size_t>(count / 8, 16, 1024)));
    MakeTable(count);
    AddSection(m_sectionHeap.Alloc(), nullptr);
    std::wstring_view text = m_text;
    for (; !bytes.empty(); --count) {
        std::size_t const length = LineLength(bytes);
        std::size_t const end = std::min(text.find(L'\n'), text.size());
        ParseLine(bytes.substr(0, length), text.substr(0, end));
        bytes.remove_prefix(length);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    if (m_lineEnd.empty()) m_lineEnd = L"\n";
    m_current = FindSection({});
}

void ConfigLines::ParseLine(std::string_view bytes, std::wstring_view text) {
    ConfigLine* const line = m_heap.Alloc();
    line->bytes = bytes;
    if (m_lineEnd.empty() && LineEndLength(bytes) > 0) m_lineEnd = text.ends_with(L'\r') ? L"\r\n" : L"\n";
    Classify(*line, text);
    DecryptName(*line, m_lastSection->head ? m_lastSection->head->name : std::wstring_view());
    ReserveTable();
    if (line->kind == ConfigLine::Group) AddSection(m_sectionHeap.Alloc(), line);
    ConfigSection* const section = line->section = m_lastSection;
    Link(line, m_last);
    if (!line->isBlank) section->lastNotBlank = line;
    if (line->kind != ConfigLine::Key) return;
    ++section->keyCount;
    AddName(line, true);
}

/// Bytes of the first line, its line feed included; 0 for half a unit.
std::size_t ConfigLines::LineLength(std::string_view bytes) const {
    if (!IsUtf16(m_encoding)) {
        std::size_t const end = bytes.find('\n');
        return end == bytes.npos ? bytes.size() : end + 1;
    }
    std::size_t const low = m_encoding == KxTextEncoding::Utf16LE ? 0 : 1;
    std::size_t i = 0;
    for (; i + 1 < bytes.size(); i += 2)
        if (bytes[i + low] == '\n' && bytes[i + 1 - low] == '\0') return i + 2;
    return i;
}

/// Bytes of the line feed at the end of a line, 0 if it has none.
std::size_t ConfigLines::LineEndLength(std::string_view bytes) const {
    if (!IsUtf16(m_encoding)) return bytes.ends_with('\n') ? 1 : 0;
    std::string_view const end =
        m_encoding == KxTextEncoding::Utf16LE ? std::string_view("\n\0", 2) : std::string_view("\0\n", 2);
    return bytes.ends_with(end) ? 2 : 0;
}

std::string_view ConfigLines::EndOf(std::string_view bytes) const {
    std::size_t const feed = LineEndLength(bytes);
    if (feed == 0) return {};
    std::string_view const end = m_encoding == KxTextEncoding::Utf16LE   ? std::string_view("\r\0", 2)
                                 : m_encoding == KxTextEncoding::Utf16BE ? std::string_view("\0\r", 2)
                                                                         : std::string_view("\r");
    bool const hasReturn = bytes.substr(0, bytes.size() - feed).ends_with(end);
    return bytes.substr(bytes.size() - feed - (hasReturn ? end.size() : 0));
}

std::wstring_view ConfigLines::Trimmed(std::wstring_view text) const {
    if (m_trim == ConfigTrim::Mixed) return WithoutTrailing(WithoutLeading(text, L" \r\t"), L" \r\t");
    text = WithoutTrailing(WithoutLeading(text, L" "), L" ");
    return WithoutTrailing(WithoutTrailing(text, L"\r"), L"\t");
}

/// Sets kind, name and value, which are views into the text.
void ConfigLines::Classify(ConfigLine& line, std::wstring_view text) const {
    text = Trimmed(text);
    line.isBlank = text.empty();
    if (text.empty() || text[0] == L';') return;
    if (text[0] == L'[') {
        std::size_t const end = text.find(L']');
        if (end == text.npos) return;
        line.kind = ConfigLine::Group;
        line.name = text.substr(1, end - 1);
        return;
    }
    std::size_t const equals = text.find(L'=');
    if (equals == text.npos) return;
    line.kind = ConfigLine::Key;
    line.name = WithoutTrailing(text.substr(0, equals), L" ");
    line.value = WithoutLeading(text.substr(equals + 1), L" ");
}

std::wstring ConfigContext(std::wstring_view group, std::wstring_view key) {
    std::wstring context(group);
    context.append(1, L'\n').append(key);
    std::transform(context.begin(), context.end(), context.begin(), KxxToUpper);
    return context;
}

/// Puts the plain name in the place of an encrypted one; values stay until they are asked for, so that one that cannot be
/// decrypted keeps no other from being read.
void ConfigLines::DecryptName(ConfigLine& line, std::wstring_view group) {
    bool const hasName = IsEncryptedOrDamaged(line.name);
    line.isBound = IsEncryptedOrDamaged(line.value);
    line.isSealed = line.isBound && m_encryption.isOn;
    if (!hasName && !line.isBound) return;
    m_holdsEncrypted = true;
    if (!hasName || !m_encryption.isOn) return;
    try {
        auto own = std::make_unique<ConfigLine::Own>();
        own->name = m_encryption.DecryptName(line.name).View();
        line.own = std::move(own);
        line.name = line.own->name;
    } catch (KxEncryptionException* exception) {
        bool const isKey = line.kind == ConfigLine::Key;
        ThrowNotDecrypted(exception, isKey ? group : line.name, isKey ? line.name : std::wstring_view());
    }
}

std::wstring_view ConfigLines::Value(ConfigLine& line) const {
    if (!line.isSealed) return line.value;
    ConfigLine const* const head = line.section->head;
    std::wstring_view const group = head ? head->name : std::wstring_view();
    try {
        KxString const value = m_encryption.DecryptValue(line.value, ConfigContext(group, line.name));
        if (!line.own) line.own = std::make_unique<ConfigLine::Own>();
        line.own->value = value.View();
    } catch (KxEncryptionException* exception) {
        ThrowNotDecrypted(exception, group, line.name);
    }
    line.value = line.own->value;
    line.isSealed = false;
    return line.value;
}

KxString ConfigLines::ValueOrEmpty(ConfigLine& line) const {
    try {
        return KxString(Value(line));
    } catch (KxEncryptionException* exception) {
        exception->Delete();
        return {};
    }
}

void ConfigLines::ThrowNotDecrypted(KxException* reason, std::wstring_view group, std::wstring_view key) const {
    std::unique_ptr<CException, ExceptionReleaser> const owner(reason);
    KxString const cause = reason->GetMessage();
    KxString message;
    message.SPrintf(KxString(KxResId(text::DecryptionFailedInFile)), KxString(key), KxString(group), m_path, cause);
    throw new KxEncryptionException(L"syConfigParse", __LINE__, message);
}

}  // namespace KxN::detail
