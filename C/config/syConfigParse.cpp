// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// From bytes to lines.
#include "base/posix/syDescriptor.h"
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

ConfigLines::ConfigLines(KxString const& path, ConfigTrim trim) : m_path(path), m_trim(trim) {
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
    MakeTable(count);
    AddSection(nullptr);
    std::wstring_view text = m_text;
    for (; !bytes.empty(); --count) {
        std::size_t const length = LineLength(bytes);
        std::size_t const end = std::min(text.find(L'\n'), text.size());
        ParseLine(bytes.substr(0, length), text.substr(0, end));
        bytes.remove_prefix(length);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    if (m_lineEnd.empty()) m_lineEnd = L"\n";
    m_current = m_sections[0].get();
    m_current = FindSection({});
}

void ConfigLines::ParseLine(std::string_view bytes, std::wstring_view text) {
    ConfigLine* const line = m_heap.Alloc();
    line->bytes = bytes;
    if (m_lineEnd.empty() && LineEndLength(bytes) > 0) m_lineEnd = text.ends_with(L'\r') ? L"\r\n" : L"\n";
    Classify(*line, text);
    ConfigSection* section = m_sections.back().get();
    Decrypt(*line, section->head ? section->head->name : std::wstring_view());
    if (line->kind == ConfigLine::Group) section = AddSection(line);
    line->section = section;
    Link(line, m_last);
    if (!line->isBlank) section->lastNotBlank = line;
    if (line->kind == ConfigLine::Key) AddKey(line, section->keys.size());
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

/// Puts plain texts in the place of encrypted ones.
void ConfigLines::Decrypt(ConfigLine& line, std::wstring_view group) const {
    using namespace KxTools;
    bool const hasName = KxxIsEncryptedString(line.name);
    bool const hasValue = KxxIsEncryptedString(line.value);
    if (!hasName && !hasValue) return;
    CStringA const password = GetEncryptedEncryptionPassword();
    auto own = std::make_unique<ConfigLine::Own>();
    try {
        own->name = hasName ? KxxDecryptString(password, line.name, 1).View() : line.name;
        line.name = own->name;
        own->value = line.value;
        if (hasValue) own->value = KxxDecryptString(password, line.value, 0, ConfigContext(group, line.name)).View();
        line.value = own->value;
        line.own = std::move(own);
    } catch (KxEncryptionException* exception) {
        exception->Delete();
        KxString const place = line.kind == ConfigLine::Group ? KxString(line.name) : KxString(group);
        KxString message;
        message.SPrintf(KxString(KxResId(text::DecryptionFailedInFile)),
                        line.kind == ConfigLine::Key ? KxString(line.name) : KxString(), place, m_path);
        throw new KxEncryptionException(L"syConfigParse", __LINE__, message);
    }
}

}  // namespace KxN::detail
