// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/properties/syProperty.h"

#include "base/posix/syThreadObject.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syResource.h"
#include "hbtools/properties/syPropertyList.h"
#include "properties/syTextIds.h"

#include <algorithm>
#include <array>
#include <memory>

namespace KxN {

namespace {

wchar_t Widened(char c) {
    if (c >= 0) return static_cast<wchar_t>(c);
    std::wstring const wide = KxxWidenNarrow(std::string_view(&c, 1));
    return wide.empty() ? L'?' : wide[0];
}

/// As a wide stream writes it: char as a character, unsigned char as a number.
template <class T>
void AppendElement(std::wstring& text, T value) {
    if constexpr (std::is_same_v<T, char>)
        text += Widened(value);
    else if constexpr (std::is_floating_point_v<T>)
        text += KxxFormat(L"%g", value);
    else
        text += std::to_wstring(value);
}

template <class T>
void StoreElements(CArchive& archive, KxTBuf1D<T> const& values) {
    if constexpr (sizeof(typename KxTStored<T>::Type) == sizeof(T))
        archive.WriteBlock(values.Data(), sizeof(T) * ULONGLONG{values.Size()});
    else
        for (T const value : values) archive << value;
}

template <class T>
void LoadElements(CArchive& archive, KxTBuf1D<T>& values) {
    if constexpr (sizeof(typename KxTStored<T>::Type) == sizeof(T))
        archive.ReadBlock(values.Data(), sizeof(T) * ULONGLONG{values.Size()});
    else
        for (T& value : values) archive >> value;
}

struct SFormat {
    std::string image;
    std::shared_ptr<KxString const> text;
};
/// On the heap: a program that loads this library later has next to no room for what threads have of their own.
struct SLately {
    std::unique_ptr<std::array<SFormat, 32>> formats = std::make_unique<std::array<SFormat, 32>>();
};
constinit thread_local detail::ThreadObject<SLately> t_lately;

/// A message format that the archive brings: one text for all properties that come with the same one.
std::shared_ptr<KxString const> LoadFormat(CArchive& archive) {
    auto& lately = *t_lately.Get().formats;
    std::string_view const image = archive.PeekShortText();
    SFormat& known = lately[std::hash<std::string_view>()(image) % lately.size()];
    if (!image.empty() && known.image == image) {
        archive.TakeReadAhead(image.size());
        return known.text;
    }
    std::string copy(image);
    KxString text;
    archive >> text;
    if (text.Len() == 0) return nullptr;
    auto shared = std::make_shared<KxString const>(std::move(text));
    if (!copy.empty()) known = {std::move(copy), shared};
    return shared;
}

}  // namespace

KxString const& KxProperty::GetMessageFormat() const {
    static KxString const none;
    return m_message ? *m_message : none;
}

void KxProperty::SetMessageFormat(KxString const& message) {
    m_message = message.Len() == 0 ? nullptr : std::make_shared<KxString const>(message);
}

KxProperty::~KxProperty() {
    if (m_links.list) m_links.list->Unlink(this);
}

KxProperty& KxProperty::operator=(KxProperty const& other) {
    if (this == &other) return *this;
    KxString name = other.m_name;
    m_message = other.m_message;
    Rename(name);
    m_group = other.m_group;
    return *this;
}

void KxProperty::SetName(KxString const& name) {
    Rename(name);
}

void KxProperty::Rename(KxString const& name) {
    KxString copy(name);
    if (m_links.list) m_links.list->Unindex(this);
    m_name = std::move(copy);
    if (!m_links.list) return;
    m_links.list->Index(this);
    m_links.list->MarkRenamed();
}

void KxProperty::Serialize(CArchive& archive) {
    if (archive.IsStoring()) {
        archive << m_name << GetMessageFormat() << m_group;
        return;
    }
    if (m_links.list) {
        KxString name;
        archive >> name;
        Rename(name);
    } else {
        archive >> m_name;
    }
    m_message = LoadFormat(archive);
    archive >> m_group;
}

KxVersion KxProperty::GetVersion() const {
    return KxVersion(100);
}

int KxProperty::IsList() const {
    return 0;
}

KxPropertyList* KxProperty::GetList() {
    return dynamic_cast<KxPropertyList*>(this);
}

bool KxProperty::IsListedIn(KxTMem<unsigned long> const& groups) const {
    unsigned long const* const end = groups.Data() + groups.Size();
    return std::find(groups.Data(), end, m_group & ~hiddenBit) != end;
}

void KxProperty::GetAllMessageBufResized(KxTBlockMem<KxString*>& messages, KxTMem<unsigned long> const& groups,
                                         unsigned long level, int showHidden, char fillChar, unsigned short indent) {
    if (IsHidden() && !showHidden) return;
    if (IsListedIn(groups)) GetAllMessageBufResized(messages, level, showHidden, fillChar, indent);
}

void KxProperty::GetAllMessageBufResized(KxTBlockMem<KxString*>& messages, unsigned long level, int showHidden,
                                         char fillChar, unsigned short indent) {
    if (IsHidden() && !showHidden) return;
    std::wstring text(level * indent, Widened(fillChar));
    text += GetMessageW().View();
    auto message = std::make_unique<KxString>(std::move(text));
    int const count = messages.Size();
    messages.Resize(count + 1);
    messages[count] = message.release();
}

template <class T>
void KxTProperty<T>::Serialize(CArchive& archive) {
    KxProperty::Serialize(archive);
    if (archive.IsStoring())
        archive << m_value;
    else
        archive >> m_value;
}

template <class T>
KxString KxTProperty<T>::GetMessageW() const {
    return KxxFormat(GetMessageFormat().View(), m_value);
}

template <class T>
KxProperty* KxTProperty<T>::Clone() const {
    return new KxTProperty(*this);
}

template <class T>
void KxTBuf1DProperty<T>::Serialize(CArchive& archive) {
    KxProperty::Serialize(archive);
    if (archive.IsStoring()) {
        archive << m_value.Size();
        StoreElements(archive, m_value);
        return;
    }
    unsigned int count = 0;
    archive >> count;
    if (count > 0 && count > archive.GetRemaining() / sizeof(typename KxTStored<T>::Type))
        AfxThrowArchiveException(CArchiveException::endOfFile, archive.GetFile()->GetFileName());
    KxTBuf1D<T> value(count);
    LoadElements(archive, value);
    m_value = std::move(value);
}

template <class T>
KxString KxTBuf1DProperty<T>::GetMessageW() const {
    std::wstring text(GetMessageFormat().View());
    for (T const value : m_value) {
        AppendElement(text, value);
        text += L"; ";
    }
    return text;
}

template <class T>
KxProperty* KxTBuf1DProperty<T>::Clone() const {
    return new KxTBuf1DProperty(*this);
}

#define HBTOOLS_PROPERTY_DEFINE(T) \
    template class KxTProperty<T>; \
    template class KxTBuf1DProperty<T>;
HBTOOLS_PROPERTY_TYPES(HBTOOLS_PROPERTY_DEFINE)
#undef HBTOOLS_PROPERTY_DEFINE

void KxStringProperty::Serialize(CArchive& archive) {
    KxProperty::Serialize(archive);
    if (archive.IsStoring())
        archive << m_value;
    else
        archive >> m_value;
}

KxString KxStringProperty::GetMessageW() const {
    return KxxFormat(GetMessageFormat().View(), m_value);
}

KxProperty* KxStringProperty::Clone() const {
    return new KxStringProperty(*this);
}

KxPropertyException::KxPropertyException(KxString const& sourceFile, unsigned long line, KxString const& propertyName,
                                         KxString const& specMsg)
    : KxRuntimeException(sourceFile, line), m_propertyName(propertyName), m_specMsg(specMsg) {}

void KxPropertyException::BuildMessage() {
    m_message.SPrintf(KxString(KxResId(text::PropertyFault)), m_propertyName);
    m_message += m_specMsg;
    KxRuntimeException::BuildMessage();
}

}  // namespace KxN
