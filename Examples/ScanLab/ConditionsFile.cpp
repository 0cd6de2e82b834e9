// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "ConditionsFile.h"

#include "Operators/TextIds.h"

#include <hbtools/base/syEncoding.h>
#include <hbtools/base/syException.h>
#include <hbtools/base/syFile.h>
#include <hbtools/base/syTextEncoding.h>
#include <hbtools/interchange/syXmlParser.h>

#include <charconv>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace ScanLab {

using namespace KxN;

namespace {

constexpr wchar_t const* rootName = L"conditions";
constexpr wchar_t const* version = L"1";

/// The list of all, as it is named unless a document says otherwise.
KxPropertyList NoConditions() {
    return {L"Conditions", L"Conditions", 0};
}

/// Calls visit(name, T()) for the types of numbers until one says yes.
template <class Visit>
bool AnyType(Visit visit) {
    return visit(L"double", double()) || visit(L"int", int()) || visit(L"float", float()) ||
           visit(L"uint", unsigned()) || visit(L"long", long()) || visit(L"ulong", 0UL) || visit(L"short", short()) ||
           visit(L"ushort", static_cast<unsigned short>(0)) || visit(L"char", char()) ||
           visit(L"uchar", static_cast<unsigned char>(0));
}

template <class T>
std::wstring TextOfNumber(T value) {
    char text[64];
    return KxxWidenUtf8(std::string_view(text, std::to_chars(text, text + sizeof text, value).ptr));
}

/// With a decimal point, whatever the country; all of the text. False for anything else, and out of range.
template <class T>
bool ReadNumber(std::wstring_view text, T& value) {
    std::string bytes;
    for (wchar_t const c : text) bytes += c > 0 && c < 0x80 ? static_cast<char>(c) : '?';
    if (bytes.find('(') != bytes.npos) return false;  // of something that is no number
    auto const [end, error] = std::from_chars(bytes.data(), bytes.data() + bytes.size(), value);
    if (error != std::errc() || end != bytes.data() + bytes.size()) return false;
    // In a file of ours they have 32 bits.
    if constexpr (std::is_same_v<T, long>) return value == static_cast<int>(value);
    if constexpr (std::is_same_v<T, unsigned long>) return value == static_cast<unsigned>(value);
    return true;
}

template <class T>
bool ReadNumbers(std::wstring_view text, KxTBuf1D<T>& values) {
    constexpr wchar_t const* blanks = L" \t\r\n";
    std::vector<T> found;
    for (std::size_t at = 0; (at = text.find_first_not_of(blanks, at)) != text.npos;) {
        std::size_t const end = std::min(text.find_first_of(blanks, at), text.size());
        if (!ReadNumber(text.substr(at, end - at), found.emplace_back())) return false;
        at = end;
    }
    values = KxTBuf1D<T>(found.data(), static_cast<unsigned>(found.size()));
    return true;
}

/// The unit that a format names: the one word behind its conversion, if there is one word.
std::wstring UnitIn(std::wstring_view format) {
    std::size_t at = 0;
    while ((at = format.find(L'%', at)) != format.npos && format.substr(at, 2) == L"%%") at += 2;
    at = format.find_first_not_of(L"%-+ #.0123456789hl", at);
    std::wstring unit;
    for (std::size_t i = at == format.npos ? format.size() : at + 1; i < format.size(); ++i) {
        if (format.substr(i, 2) == L"%%") ++i;
        unit += format[i];
    }
    std::size_t const first = unit.find_first_not_of(L' ');
    if (first == unit.npos) return {};
    unit = unit.substr(first, unit.find_last_not_of(L' ') + 1 - first);
    return unit.find(L' ') == unit.npos ? unit : std::wstring();
}

std::wstring InFormat(std::wstring_view text) {
    std::wstring escaped;
    for (wchar_t const c : text) escaped.append(c == L'%' ? 2 : 1, c);
    return escaped;
}

/// A document that becomes the elements of properties.
class Writer {
public:
    void Write(KxPropertyList const& conditions, KxString const& path) {
        if (!m_xml.Add_FirstChildNode(rootName)) Fail(L"");
        m_xml.Set_Header(L"xml", L"encoding", L"UTF-8");
        Set(L"version", version);
        KxPropertyList const root = NoConditions();
        if (conditions.GetName() != root.GetName()) Set(L"name", conditions.GetName());
        if (conditions.GetMessageFormat() != root.GetMessageFormat()) Set(L"format", conditions.GetMessageFormat());
        SetGroup(conditions, root.GetPropertyGroup());
        // No recursion: lists may be deep.
        using Walk = std::pair<KxPropertyList::const_iterator, unsigned long>;
        std::vector<Walk> lists{{conditions.begin(), conditions.GetPropertyGroup()}};
        while (!lists.empty()) {
            auto& [next, group] = lists.back();
            if (next == conditions.end()) {
                lists.pop_back();
                m_xml.Go_to_Parent();
                continue;
            }
            KxProperty const& property = *next++;
            AddElement(property, group);
            if (auto const* const list = dynamic_cast<KxPropertyList const*>(&property))
                lists.emplace_back(list->begin(), list->GetPropertyGroup());
            else
                m_xml.Go_to_Parent();
        }
        if (!m_xml.Save_XML_Document(path))
            throw new KxFileException(L"ScanLab", __LINE__, path + L": " + m_xml.Get_LastError());
    }

private:
    [[noreturn]] static void Fail(KxString const& reason, KxString const& name = KxString()) {
        throw new KxException(L"ScanLab", __LINE__, FormatOf(Text::NotExportable, name, reason));
    }
    void Set(wchar_t const* attribute, KxString const& value) {
        if (!m_xml.Set_Attribute(attribute, value)) Fail(m_xml.Get_LastError(), m_name);
    }
    void AddElement(KxProperty const& property, unsigned long group) {
        m_name = property.GetName();
        std::wstring value;
        wchar_t const* element = nullptr;
        wchar_t const* type = nullptr;
        if (dynamic_cast<KxPropertyList const*>(&property)) {
            element = L"list";
        } else if (auto const* const text = dynamic_cast<KxStringProperty const*>(&property)) {
            element = L"text";
            value = text->Get().View();
        } else {
            AnyType([&](wchar_t const* name, auto zero) {
                using T = decltype(zero);
                if (auto const* const number = dynamic_cast<KxTProperty<T> const*>(&property)) {
                    element = L"number";
                    value = TextOfNumber(number->Get());
                } else if (auto const* const buffer = dynamic_cast<KxTBuf1DProperty<T> const*>(&property)) {
                    element = L"numbers";
                    for (T const one : buffer->Get()) value += (value.empty() ? L"" : L" ") + TextOfNumber(one);
                }
                type = name;
                return element != nullptr;
            });
        }
        if (!element) Fail(KxString(typeid(property).name()), m_name);
        if (!m_xml.Add_LastChildNode(element)) Fail(m_xml.Get_LastError(), m_name);
        Set(L"name", m_name);
        if (!property.IsList()) Set(L"value", KxString(value));
        std::wstring const unit = element == KxString(L"number") ? UnitIn(property.GetMessageFormat().View()) : L"";
        if (!unit.empty()) Set(L"unit", KxString(unit));
        if (type && !(KxString(type) == L"double")) Set(L"type", KxString(type));
        Set(L"format", property.GetMessageFormat());
        SetGroup(property, group);
    }
    void SetGroup(KxProperty const& property, unsigned long ofList) {
        if (property.GetPropertyGroup() != ofList) Set(L"group", KxString(TextOfNumber(property.GetPropertyGroup())));
    }

    XML_PARSER m_xml;
    KxString m_name;  // of the property at hand
};

/// The line on which the element of that number, from 1 in the order of the document, begins. The document is well-formed.
int LineOf(std::wstring_view text, int element) {
    int line = 1;
    std::size_t at = 0;
    auto const goTo = [&](std::size_t place) {
        for (std::size_t const end = std::min(place, text.size()); at < end; ++at)
            if (text[at] == L'\n' || (text[at] == L'\r' && text.substr(at + 1, 1) != L"\n")) ++line;
        return at < text.size();
    };
    while (goTo(text.find(L'<', at))) {
        std::wstring_view const rest = text.substr(at);
        if (rest.starts_with(L"<!--")) {
            goTo(text.find(L"-->", at + 4));
        } else if (rest.starts_with(L"<![CDATA[")) {
            goTo(text.find(L"]]>", at));
        } else if (rest.starts_with(L"<?")) {
            goTo(text.find(L"?>", at));
        } else {
            if (!rest.starts_with(L"</") && --element == 0) return line;
            for (wchar_t quote = 0; goTo(at + 1) && (quote || text[at] != L'>');)
                if (quote ? text[at] == quote : text[at] == L'"' || text[at] == L'\'') quote = quote ? L'\0' : text[at];
        }
    }
    return line;
}

/// Properties from the elements of a document.
class Reader {
public:
    explicit Reader(KxString const& path) : m_path(path) {}

    KxPropertyList Read() {
        if (!m_xml.Load_XML_Document(m_path)) {
            KxString const& why = m_xml.Get_LoadFailure();
            throw new KxException(L"ScanLab", __LINE__, m_path + L": " + (why.Len() > 0 ? why : m_xml.Get_LastError()));
        }
        m_element = 1;
        TakeAttributes();
        if (m_xml.Get_CurrentName() != rootName || Take(L"version") != version) Fail(TextOf(Text::NoConditions));
        KxPropertyList conditions = NoConditions();
        conditions.SetName(Take(L"name", conditions.GetName()));
        conditions.SetMessageFormat(Take(L"format", conditions.GetMessageFormat()));
        conditions.SetPropertyGroup(TakeGroup(conditions.GetPropertyGroup()));
        CheckAttributes();
        std::vector<KxPropertyList*> lists{&conditions};
        if (!Enter()) return conditions;
        for (;;) {
            std::unique_ptr<KxProperty> property = ReadElement(lists.back()->GetPropertyGroup());
            if (lists.back()->Exists(property->GetName())) Fail(FormatOf(Text::NameTwice, property->GetName()));
            lists.back()->Insert(property.get());
            KxPropertyList* const list = property.release()->GetList();
            bool const hasContent = Enter();
            if (!list && hasContent) {
                m_xml.Go_to_Parent();
                Fail(TextOf(Text::BadContent));
            }
            if (hasContent) {
                lists.push_back(list);
                continue;
            }
            while (!m_xml.Go_Forward()) {
                if (lists.size() == 1) return conditions;
                lists.pop_back();
                m_xml.Go_to_Parent();
            }
        }
    }

private:
    [[noreturn]] void Fail(KxString const& reason) {
        std::string bytes;
        CFile file(m_path, CFile::modeRead);
        bytes.resize(static_cast<std::size_t>(file.GetLength()));
        bytes.resize(file.Read(bytes.data(), static_cast<UINT>(bytes.size())));
        KxTextEncoding encoding = KxxDetectEncoding(bytes);
        // UTF-16 without a mark is known by the zero in its first character, which is a bracket or a blank.
        if (bytes.size() > 1 && (!bytes[0] || !bytes[1]))
            encoding = bytes[0] ? KxTextEncoding::Utf16LE : KxTextEncoding::Utf16BE;
        int const line = LineOf(KxxDecodeText(bytes, encoding), m_element);
        throw new KxException(L"ScanLab", __LINE__,
                              FormatOf(Text::InElement, m_path, line, m_xml.Get_CurrentName()) + reason);
    }

    /// To the first thing in an element. One that holds but blanks is an empty one.
    bool Enter() {
        if (!m_xml.Go_to_Child()) return false;
        if (!m_xml.Is_TextNode()) return true;
        if (m_xml.Get_TextValue().View().find_first_not_of(L" \t\r\n") != std::wstring_view::npos) return true;
        if (m_xml.Go_Forward()) return true;
        m_xml.Go_to_Parent();
        return false;
    }

    void TakeAttributes() {
        m_attributes.clear();
        int const count = static_cast<int>(m_xml.Get_Attribute_Count());
        for (int i = 0; i < count; ++i)
            m_attributes[m_xml.Get_Attribute_Name(i)] = static_cast<KxString const&>(m_xml.Get_Attribute_Value(i));
    }
    bool Has(wchar_t const* name) const { return m_attributes.contains(KxString(name)); }
    KxString Take(wchar_t const* name) {
        auto found = m_attributes.extract(KxString(name));
        if (found.empty()) Fail(FormatOf(Text::AttributeMissing, KxString(name)));
        return found.mapped();
    }
    KxString Take(wchar_t const* name, KxString const& otherwise) { return Has(name) ? Take(name) : otherwise; }
    void CheckAttributes() {
        if (!m_attributes.empty()) Fail(FormatOf(Text::UnknownAttribute, m_attributes.begin()->first));
    }
    unsigned long TakeGroup(unsigned long ofList) {
        return Has(L"group") ? Number<unsigned>(Take(L"group"), L"uint") : ofList;
    }
    template <class T>
    T Number(KxString const& text, wchar_t const* type) {
        T value{};
        if (!ReadNumber(text.View(), value)) Fail(FormatOf(Text::NoValue, text, KxString(type)));
        return value;
    }

    std::unique_ptr<KxProperty> ReadElement(unsigned long groupOfList) {
        if (m_xml.Is_TextNode() || m_xml.Is_CDataSection()) Fail(TextOf(Text::BadContent));
        ++m_element;
        TakeAttributes();
        KxString const kind = m_xml.Get_CurrentName();
        if (kind != L"list" && kind != L"text" && kind != L"number" && kind != L"numbers")
            Fail(TextOf(Text::UnknownElement));
        KxString const name = Take(L"name");
        unsigned long const group = TakeGroup(groupOfList);
        KxString const label(InFormat(name.View()));
        std::unique_ptr<KxProperty> property;
        if (kind == L"list") {
            property = std::make_unique<KxPropertyList>(name, Take(L"format", name), group);
        } else if (kind == L"text") {
            KxString const value = Take(L"value");
            property = std::make_unique<KxStringProperty>(name, Take(L"format", label + L"  %s"), value, group);
        } else {
            property = ReadNumeric(kind == L"numbers", name, label, group);
        }
        CheckAttributes();
        return property;
    }

    std::unique_ptr<KxProperty> ReadNumeric(bool isBuffer, KxString const& name, KxString const& label,
                                            unsigned long group) {
        KxString const value = Take(L"value"), type = Take(L"type", L"double");
        std::unique_ptr<KxProperty> property;
        bool const isKnown = AnyType([&](wchar_t const* typeName, auto zero) {
            using T = decltype(zero);
            if (type != typeName) return false;
            if (isBuffer) {
                KxTBuf1D<T> values;
                if (!ReadNumbers(value.View(), values)) Fail(FormatOf(Text::NoValue, value, type));
                property = std::make_unique<KxTBuf1DProperty<T>>(name, Take(L"format", label + L"  "), values, group);
            } else {
                KxString const other = label + (std::is_floating_point_v<T> ? L"  %g" : L"  %d");
                property =
                    std::make_unique<KxTProperty<T>>(name, FormatWithUnit(other), Number<T>(value, typeName), group);
            }
            return true;
        });
        if (!isKnown) Fail(FormatOf(Text::NoValue, type, KxString(L"type")));
        return property;
    }

    /// That of the element, which must agree with its unit; or a new one.
    KxString FormatWithUnit(KxString const& otherwise) {
        KxString const unit = Take(L"unit", KxString());
        if (!Has(L"format")) return unit.Len() > 0 ? otherwise + L" " + KxString(InFormat(unit.View())) : otherwise;
        KxString format = Take(L"format");
        if (unit.Len() > 0 && unit.View() != UnitIn(format.View())) Fail(FormatOf(Text::OtherUnit, unit, format));
        return format;
    }

    KxString m_path;
    XML_PARSER m_xml;
    int m_element = 0;                          // that the cursor is on, from 1
    std::map<KxString, KxString> m_attributes;  // of it, that nobody took yet
};

}  // namespace

void SaveConditions(KxString const& path, KxPropertyList const& conditions) {
    Writer().Write(conditions, path);
}

KxPropertyList LoadConditions(KxString const& path) {
    return Reader(path).Read();
}

}  // namespace ScanLab
