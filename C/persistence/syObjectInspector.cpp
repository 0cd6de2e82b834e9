// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/persistence/syObjectInspector.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syLimits.h"
#include "persistence/syTagPayload.h"
#include "persistence/syTagRecord.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace KxN {

namespace {

constexpr std::wstring_view namePrefix = L"class ";  // of every class
constexpr std::wstring_view ownPrefix = L"class KxN::";
constexpr std::uint16_t ownVersion = 100;
constexpr std::uint32_t mostChildren = 65535;
constexpr std::uint32_t hiddenBit = 0x8000;
constexpr ULONGLONG longestClassName = 4096;  // characters that are looked at
constexpr ULONGLONG longestName = 65536;      // longer ones are not compared with each other
constexpr std::size_t blockSize = 8192;

struct NumberType {
    wchar_t const* name;
    UINT size;
    void (*append)(std::wstring& text, BYTE const* bytes);
};

template <class T>
constexpr NumberType TypeOf(wchar_t const* name) {
    return {name, sizeof(T),
            [](std::wstring& text, BYTE const* bytes) { detail::AppendNumber(text, detail::Load<T>(bytes)); }};
}

constexpr std::array<NumberType, 10> numberTypes = {
    TypeOf<signed char>(L"char"),  TypeOf<unsigned char>(L"unsigned char"),
    TypeOf<short>(L"short"),       TypeOf<unsigned short>(L"unsigned short"),
    TypeOf<int>(L"int"),           TypeOf<unsigned int>(L"unsigned int"),
    TypeOf<std::int32_t>(L"long"), TypeOf<std::uint32_t>(L"unsigned long"),
    TypeOf<float>(L"float"),       TypeOf<double>(L"double")};

/// True if the class cannot be somebody else's or of a later version: its name has characters that no name has, is of this
/// library, which has none of this name, or differs by one character from one that it has; or the version is too low.
bool IsDamagedClass(SxObject const& object) {
    std::wstring_view const name = object.className.View();
    auto const isControl = [](wchar_t c) { return c < 0x20 || (c >= 0x7f && c < 0xa0); };
    if (std::any_of(name.begin(), name.end(), isControl)) return true;
    bool isKnown = false, isNear = false;
    auto const compare = [&](std::wstring const& known) {
        isKnown = isKnown || name == known;
        if (name.size() != known.size()) return;
        int differing = 0;
        for (std::size_t i = 0; i < name.size(); ++i) differing += name[i] != known[i];
        isNear = isNear || differing == 1;
    };
    std::wstring const own(ownPrefix);
    compare(own + L"KxPropertyList");
    compare(own + L"KxStringProperty");
    for (NumberType const& type : numberTypes)
        for (wchar_t const* family : {L"KxTProperty<", L"KxTBuf1DProperty<"}) compare(own + family + type.name + L'>');
    if (isKnown) return object.version < ownVersion;
    return isNear || name.starts_with(ownPrefix);
}

// Fills in kind, element and short name by the class.
void TellClass(SxObject& object) {
    std::wstring_view name = object.className.View();
    if (object.version != ownVersion || !name.starts_with(ownPrefix)) return;
    name.remove_prefix(ownPrefix.size());
    if (name == L"KxPropertyList") {
        object.kind = ValueList;
        object.typeName = L"list";
    } else if (name == L"KxStringProperty") {
        object.kind = ValueText;
        object.typeName = L"text";
    } else if (name.ends_with(L'>')) {
        std::size_t const open = name.find(L'<');
        std::wstring_view const family = name.substr(0, open);
        if (family != L"KxTProperty" && family != L"KxTBuf1DProperty") return;
        std::wstring_view const inner = name.substr(open + 1, name.size() - open - 2);
        auto const type =
            std::find_if(numberTypes.begin(), numberTypes.end(), [&](NumberType const& t) { return inner == t.name; });
        if (type == numberTypes.end()) return;
        object.kind = family == L"KxTProperty" ? ValueNumber : ValueBuffer;
        object.element = static_cast<int>(type - numberTypes.begin());
        object.typeName = type->name;
    }
}

}  // namespace

class __attribute__((visibility("hidden"))) KxObjectInspector::Walk {
public:
    explicit Walk(CFile& file) : m_file(file) {}

    bool IsImageAt(ULONGLONG position, ULONGLONG end);
    void Begin(ULONGLONG position, ULONGLONG end);
    bool Next(SxObject& object);
    KxString Text(SxObjectText const& text, ULONGLONG longest);
    KxString Values(SxObject const& object, ULONGLONG first, ULONGLONG count, wchar_t const* separator);

    ULONGLONG m_position = 0;
    SxTagFault m_fault;
    bool m_hasFault = false;
    bool m_isUnknownBehind = false;

private:
    /// A list whose children are being read. Ordered sets: no file can slow them down by its choice of keys.
    struct Level {
        std::uint32_t left;
        std::set<std::wstring> names;
    };

    UINT ReadAt(ULONGLONG position, void* target, std::size_t size);
    ULONGLONG Room() const { return m_end - std::min(m_position, m_end); }
    template <class... Arguments>
    bool Fault(TagFaultKind kind, wchar_t const* format, Arguments const&... arguments);
    bool Need(ULONGLONG size, wchar_t const* what);
    template <class T>
    bool Take(T& value, wchar_t const* what);
    bool TakeText(SxObjectText& text, wchar_t const* what);
    bool TakeLength(SxObjectText& text);
    bool IsClassName(ULONGLONG position);
    bool IsCutClassName(ULONGLONG position);
    bool TakeObject(SxObject& object);
    bool TakeHead(SxObject& object);
    bool TakeBody(SxObject& object);
    bool CheckName(SxObject const& object);
    bool CheckUnknown(SxObject const& object);

    CFile& m_file;
    ULONGLONG m_end = 0;
    bool m_isDone = true;
    bool m_hasRoot = false;
    ULONGLONG m_scanned = 0;  // bytes of bodies that were looked through
    std::vector<Level> m_open;
    std::set<std::uint32_t> m_numbers;     // of all images
    std::set<std::uint32_t> m_ownNumbers;  // of this one
    std::array<BYTE, blockSize> m_block;
    ULONGLONG m_blockPosition = 0;
    UINT m_blockSize = 0;
};

// Fields are small and follow each other: the file is read in blocks.
UINT KxObjectInspector::Walk::ReadAt(ULONGLONG position, void* target, std::size_t size) {
    auto const copy = [&] {
        std::memcpy(target, m_block.data() + (position - m_blockPosition), size);
        return static_cast<UINT>(size);
    };
    auto const isThere = [&] {
        return position >= m_blockPosition && position - m_blockPosition <= m_blockSize &&
               size <= m_blockSize - (position - m_blockPosition);
    };
    if (isThere()) return copy();
    m_file.Seek(static_cast<LONGLONG>(position), CFile::begin);
    if (size > blockSize) return m_file.Read(target, static_cast<UINT>(size));
    m_blockSize = 0;
    m_blockSize = m_file.Read(m_block.data(), blockSize);
    m_blockPosition = position;
    size = std::min<std::size_t>(size, m_blockSize);
    return copy();
}

template <class... Arguments>
bool KxObjectInspector::Walk::Fault(TagFaultKind kind, wchar_t const* format, Arguments const&... arguments) {
    m_fault = {};
    m_fault.kind = kind;
    m_fault.position = m_position;
    m_fault.lostBytes = Room();
    m_fault.text.SPrintf(format, arguments...);
    m_hasFault = m_isDone = true;
    return false;
}

bool KxObjectInspector::Walk::Need(ULONGLONG size, wchar_t const* what) {
    if (size <= Room()) return true;
    return Fault(FaultShortPayload, L"%s at %llu needs %llu bytes and %llu are there", what, m_position, size, Room());
}

template <class T>
bool KxObjectInspector::Walk::Take(T& value, wchar_t const* what) {
    if (!Need(sizeof value, what)) return false;
    if (ReadAt(m_position, &value, sizeof value) != sizeof value)
        return Fault(FaultShortPayload, L"%s at %llu is behind the end of the file", what, m_position);
    m_position += sizeof value;
    return true;
}

// The length in front of a text, in any of its forms, and whether it is wide.
bool KxObjectInspector::Walk::TakeLength(SxObjectText& text) {
    wchar_t const* const what = L"the length of a text";
    BYTE byte = 0;
    std::uint16_t word = 0;
    std::uint32_t dword = 0;
    if (!Take(byte, what)) return false;
    text.length = byte;
    if (byte != 0xff) return true;
    if (!Take(word, what)) return false;
    if (word == 0xfffe) {
        text.isWide = true;
        if (!Take(byte, what)) return false;
        text.length = byte;
        if (byte != 0xff) return true;
        if (!Take(word, what)) return false;
        if (word == 0xfffe)
            return Fault(FaultObject, L"the text that ends at %llu is marked as wide twice", m_position);
    }
    text.length = word;
    if (word != 0xffff) return true;
    if (!Take(dword, what)) return false;
    text.length = dword;
    return dword != 0xffffffff || Take(text.length, what);
}

bool KxObjectInspector::Walk::TakeText(SxObjectText& text, wchar_t const* what) {
    ULONGLONG const begin = m_position;
    if (!TakeLength(text)) return false;
    text.position = m_position;
    ULONGLONG const room = text.isWide ? Room() / 2 : Room();
    if (text.length > room || text.length > static_cast<ULONGLONG>(std::numeric_limits<int>::max())) {
        m_position = begin;
        return Fault(FaultShortPayload, L"%s at %llu promises %llu characters and there is room for %llu", what, begin,
                     text.length, room);
    }
    m_position += text.isWide ? 2 * text.length : text.length;
    return true;
}

// True if a text stands at the position that begins as every class name does. Not all of it need be there.
bool KxObjectInspector::Walk::IsClassName(ULONGLONG position) {
    ULONGLONG const place = std::exchange(m_position, position);
    SxObjectText text;
    bool const hasLength = TakeLength(text);
    text.position = m_position;
    m_position = place;
    m_hasFault = m_isDone = false;
    if (!hasLength || text.length <= namePrefix.size()) return false;
    ULONGLONG const unit = text.isWide ? 2 : 1;
    if (text.position > m_end || m_end - text.position < namePrefix.size() * unit) return false;
    text.length = namePrefix.size();
    return Text(text, text.length).View() == namePrefix;
}

// True if the file ends within what the library writes in front of a class name.
bool KxObjectInspector::Walk::IsCutClassName(ULONGLONG position) {
    constexpr std::string_view front("\xff\xfe\xff\0c\0l\0a\0s\0s\0 \0", 16);
    if (m_end != m_file.GetLength() || position >= m_end || m_end - position >= front.size()) return false;
    std::array<char, front.size()> bytes;
    UINT const got = ReadAt(position, bytes.data(), static_cast<std::size_t>(m_end - position));
    for (UINT i = 0; i < got; ++i)
        if (i != 3 && bytes[i] != front[i]) return false;
    return got > 0;
}

bool KxObjectInspector::Walk::IsImageAt(ULONGLONG position, ULONGLONG end) {
    Begin(position, end);
    std::array<std::uint32_t, 2> head{};
    if (Room() < sizeof head || ReadAt(position, head.data(), sizeof head) != sizeof head)
        return Room() > 4 && ReadAt(position, head.data(), 4) == 4 && head[0] == 0 && IsCutClassName(position + 4);
    ULONGLONG const name = position + (head[0] == 1 ? 8 : 4);
    if (IsClassName(name) || (head[0] <= 1 && IsCutClassName(name))) return true;
    return head[0] == 1 && Room() == sizeof head && m_numbers.contains(head[1]);
}

void KxObjectInspector::Walk::Begin(ULONGLONG position, ULONGLONG end) {
    m_position = position;
    m_end = end;
    m_isDone = m_hasRoot = m_hasFault = m_isUnknownBehind = false;
    m_open.clear();
    m_ownNumbers.clear();
}

bool KxObjectInspector::Walk::Next(SxObject& object) {
    object = {};
    while (!m_open.empty() && m_open.back().left == 0) m_open.pop_back();
    if (m_isDone || (m_hasRoot && m_open.empty())) {
        m_isDone = true;
        return false;
    }
    m_hasRoot = true;
    return TakeObject(object);
}

bool KxObjectInspector::Walk::TakeObject(SxObject& object) {
    object.position = m_position;
    object.depth = static_cast<int>(m_open.size());
    if (object.depth >= KxxLimits().nestingDepth)
        return Fault(FaultDepth, L"the object at %llu is nested deeper than %d levels", m_position,
                     KxxLimits().nestingDepth);
    if (!TakeHead(object)) return false;
    if (object.kind == ValueReference) return true;
    TellClass(object);
    if (object.kind == ValueUnknown) {
        if (IsDamagedClass(object)) {
            m_position = object.position;
            return Fault(FaultObject, L"the object at %llu is of a class that cannot be: \"%s\", version %u",
                         object.position, object.className, object.version);
        }
        if (!CheckUnknown(object)) return false;
        object.valuePosition = m_position;
        object.count = Room();
        m_position = m_end;
        m_isUnknownBehind = m_isDone = true;
        return true;
    }
    if (!TakeBody(object)) return false;
    if (!m_open.empty()) --m_open.back().left;
    if (object.kind == ValueList) m_open.push_back({static_cast<std::uint32_t>(object.count), {}});
    return true;
}

bool KxObjectInspector::Walk::TakeHead(SxObject& object) {
    std::uint32_t flag = 0;
    if (!Take(flag, L"the flag of an object")) return false;
    object.isNumbered = flag == 1;
    if (object.isNumbered) {
        std::uint32_t number = 0;
        if (!Take(number, L"the number of an object")) return false;
        object.number = number;
        // Another run may have begun, and the number be another object's: then a class name follows.
        bool const isKnown = m_ownNumbers.contains(number) || (m_numbers.contains(number) && !IsClassName(m_position));
        if (isKnown && object.depth > 0) {
            m_position = object.position;
            return Fault(FaultObject, L"the list at this place holds a mere reference to object %u; readers refuse it",
                         number);
        }
        if (isKnown) {
            object.kind = ValueReference;
            return true;
        }
        m_ownNumbers.insert(number);
        m_numbers.insert(number);
    }
    SxObjectText className;
    ULONGLONG const begin = m_position;
    if (!IsClassName(begin) && !IsCutClassName(begin))
        return Fault(FaultObject, L"the object at %llu has no class name", object.position);
    if (!TakeText(className, L"a class name")) return false;
    object.className = Text(className, longestClassName);
    return Take(object.version, L"the version of an object");
}

bool KxObjectInspector::Walk::TakeBody(SxObject& object) {
    std::uint32_t group = 0;
    if (!TakeText(object.name, L"the name of a property") || !CheckName(object) ||
        !TakeText(object.format, L"the format of a property") || !Take(group, L"the group of a property"))
        return false;
    object.isHidden = (group & hiddenBit) != 0;
    object.group = group & ~hiddenBit;
    object.valuePosition = m_position;
    if (object.kind == ValueText) {
        if (!TakeText(object.value, L"a text")) return false;
        object.count = object.value.length;
        return true;
    }
    std::uint32_t count = 1;
    if (object.kind != ValueNumber && !Take(count, L"a count")) return false;
    object.count = count;
    if (object.kind == ValueList) {
        if (count <= mostChildren) return true;
        m_position = object.valuePosition;
        return Fault(FaultCount, L"the list at %llu promises %u properties; readers take %u at most", object.position,
                     count, mostChildren);
    }
    object.valuePosition = m_position;
    ULONGLONG const size = ULONGLONG{count} * numberTypes[static_cast<std::size_t>(object.element)].size;
    if (!Need(size, object.kind == ValueNumber ? L"a number" : L"a buffer")) return false;
    m_position += size;
    return true;
}

// Readers refuse a list with two children of one name.
bool KxObjectInspector::Walk::CheckName(SxObject const& object) {
    if (m_open.empty() || object.name.length > longestName) return true;
    KxString const name = Text(object.name, longestName);
    if (m_open.back().names.emplace(name.View()).second) return true;
    m_position = object.position;
    return Fault(FaultObject, L"the property at %llu has the name of one before it in its list; readers refuse it",
                 object.position);
}

// Where a body of an unknown class ends is not known, but as many objects as the lists around it promise must stand behind its
// begin: each has a class name. Names are looked for in blocks; those of objects within such bodies count too.
bool KxObjectInspector::Walk::CheckUnknown(SxObject const& object) {
    std::uint64_t promised = 0;
    for (Level const& level : m_open) promised += level.left;
    if (promised > 0) --promised;  // this one
    if (promised == 0) return true;
    constexpr std::string_view wide("c\0l\0a\0s\0s\0 \0", 12), narrow("class ");
    std::uint64_t found = 0;
    std::string block(1 << 16, '\0');
    constexpr ULONGLONG mostPasses = 16;  // through the file, of all images together
    if (m_scanned / mostPasses >= m_file.GetLength()) return true;
    for (ULONGLONG position = m_position; position < m_end && found < promised;) {
        block.resize(static_cast<std::size_t>(std::min<ULONGLONG>(1 << 16, m_end - position)));
        block.resize(ReadAt(position, block.data(), block.size()));
        if (block.empty()) break;
        m_scanned += block.size();
        for (std::string_view const front : {wide, narrow})
            for (std::size_t at = block.find(front); at != std::string::npos; at = block.find(front, at + front.size()))
                ++found;
        if (position + block.size() >= m_end) break;
        position += block.size() - std::min(block.size() - 1, wide.size() - 1);  // one may stand across the end
    }
    if (found >= promised) return true;
    m_position = object.position;
    return Fault(FaultObject,
                 L"behind the object at %llu, whose class \"%s\" is unknown, %llu more are promised and %llu are there",
                 object.position, object.className, promised, found);
}

KxString KxObjectInspector::Walk::Text(SxObjectText const& text, ULONGLONG longest) {
    std::size_t const length = static_cast<std::size_t>(std::min(text.length, longest));
    if (text.isWide) {
        std::u16string units(length, u'\0');
        units.resize(ReadAt(text.position, units.data(), 2 * length) / 2);
        return KxString(KxxWidenUtf16(units));
    }
    std::string bytes(length, '\0');
    bytes.resize(ReadAt(text.position, bytes.data(), length));
    return KxString(KxxWidenNarrow(bytes));
}

KxString KxObjectInspector::Walk::Values(SxObject const& object, ULONGLONG first, ULONGLONG count,
                                         wchar_t const* separator) {
    std::wstring text;
    if (object.kind != ValueNumber && object.kind != ValueBuffer) return KxString();
    NumberType const& type = numberTypes[static_cast<std::size_t>(object.element)];
    for (ULONGLONG i = first; i < object.count && i - first < count; ++i) {
        std::array<BYTE, 8> bytes{};
        if (ReadAt(object.valuePosition + i * type.size, bytes.data(), type.size) != type.size) break;
        if (i > first) text += separator;
        type.append(text, bytes.data());
    }
    return KxString(std::move(text));
}

KxObjectInspector::KxObjectInspector(CFile* file) : m_walk(new Walk(*file)) {}

KxObjectInspector::~KxObjectInspector() {
    delete m_walk;
}

bool KxObjectInspector::IsImageAt(ULONGLONG position, ULONGLONG end) {
    return m_walk->IsImageAt(position, end);
}

void KxObjectInspector::Begin(ULONGLONG position, ULONGLONG end) {
    m_walk->Begin(position, end);
}

bool KxObjectInspector::Next(SxObject& object) {
    return m_walk->Next(object);
}

ULONGLONG KxObjectInspector::GetPosition() const {
    return m_walk->m_position;
}

bool KxObjectInspector::HasFault() const {
    return m_walk->m_hasFault;
}

SxTagFault const& KxObjectInspector::Fault() const {
    return m_walk->m_fault;
}

bool KxObjectInspector::IsUnknownBehind() const {
    return m_walk->m_isUnknownBehind;
}

KxString KxObjectInspector::Text(SxObjectText const& text, ULONGLONG longest) {
    return m_walk->Text(text, longest);
}

KxString KxObjectInspector::Values(SxObject const& object, ULONGLONG first, ULONGLONG count, wchar_t const* separator) {
    return m_walk->Values(object, first, count, separator);
}

}  // namespace KxN
