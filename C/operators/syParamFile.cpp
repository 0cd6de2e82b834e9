// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/operators/syParamFile.h"

#include "hbtools/base/syDirEntry.h"
#include "operators/syOperatorParts.h"

#include <algorithm>

namespace KxN {

namespace {

KxTMem<SxFileFilter> Listed(std::initializer_list<SxFileFilter> filters) {
    return {filters.begin(), filters.size()};
}

/// A name without extension gets that of the filter.
KxTools::String FullName(KxDirEntry path, SxFileFilter const& filter) {
    if (!path.GetExtension() && !!filter.Extension && !(filter.Extension == L"*")) path.SetExtension(filter.Extension);
    return path.GetFull();
}

}  // namespace

KxParameterFile::KxParameterFile(unsigned short id, KxTMem<SxFileFilter> const& filters, int isFileOpenDialog,
                                 KxString const& fileName, KxString const& defaultFileName)
    : KxParameter(id),
      m_fileName(fileName),
      m_defaultFileName(defaultFileName),
      m_filters(filters),
      m_isFileOpenDialog(isFileOpenDialog) {
    SetType(PARAMETER_FILE);
}

KxParameterFile::KxParameterFile(unsigned short id, KxResId const& resId, KxTMem<SxFileFilter> const& filters,
                                 int isFileOpenDialog, KxString const& fileName, KxString const& defaultFileName)
    : KxParameterFile(id, filters, isFileOpenDialog, fileName, defaultFileName) {
    SetId(id, resId);
}

KxParameterFile::KxParameterFile(unsigned short id, KxTMem<SxFileFilter> const& filters, KxString const& selectedFilter,
                                 KxString const& defaultFilter, int isFileOpenDialog, KxString const& fileName,
                                 KxString const& defaultFileName)
    : KxParameterFile(id, filters, isFileOpenDialog, fileName, defaultFileName) {
    m_selectedFilter = GetPosFilter(selectedFilter);
    m_defaultFilter = GetPosFilter(defaultFilter);
}

KxParameterFile::KxParameterFile(unsigned short id, KxResId const& resId, KxTMem<SxFileFilter> const& filters,
                                 KxString const& selectedFilter, KxString const& defaultFilter, int isFileOpenDialog,
                                 KxString const& fileName, KxString const& defaultFileName)
    : KxParameterFile(id, filters, selectedFilter, defaultFilter, isFileOpenDialog, fileName, defaultFileName) {
    SetId(id, resId);
}

KxParameterFile::KxParameterFile(unsigned short id, SxFileFilter const& filter, int isFileOpenDialog,
                                 KxString const& fileName, KxString const& defaultFileName)
    : KxParameterFile(id, Listed({filter}), isFileOpenDialog, fileName, defaultFileName) {}

KxParameterFile::KxParameterFile(unsigned short id, KxResId const& resId, SxFileFilter const& filter,
                                 int isFileOpenDialog, KxString const& fileName, KxString const& defaultFileName)
    : KxParameterFile(id, resId, Listed({filter}), isFileOpenDialog, fileName, defaultFileName) {}

KxParameterFile::KxParameterFile(unsigned short id, SxFileFilter const& selected, SxFileFilter const& second,
                                 int isFileOpenDialog, KxString const& fileName, KxString const& defaultFileName)
    : KxParameterFile(id, Listed({selected, second}), isFileOpenDialog, fileName, defaultFileName) {
    m_defaultFilter = 1;
}

KxParameterFile::KxParameterFile(unsigned short id, KxResId const& resId, SxFileFilter const& selected,
                                 SxFileFilter const& second, int isFileOpenDialog, KxString const& fileName,
                                 KxString const& defaultFileName)
    : KxParameterFile(id, selected, second, isFileOpenDialog, fileName, defaultFileName) {
    SetId(id, resId);
}

KxParameterFile::~KxParameterFile() = default;

unsigned long KxParameterFile::GetPosFilter(KxString const& name) const {
    unsigned long const count = std::min(m_filters.Size(), none);
    for (unsigned long i = 0; i < count; ++i)
        if (m_filters[i].Name == name) return i;
    return none;
}

SxFileFilter const& KxParameterFile::FilterAt(unsigned long index) const {
    static SxFileFilter const noFilter;
    return index < m_filters.Size() && index != none ? m_filters[index] : noFilter;
}

unsigned long KxParameterFile::Known(KxString const& name, KxString const& prefix, unsigned long line) const {
    unsigned long const position = GetPosFilter(name);
    if (position != none) return position;
    throw new KxException(
        L"syParamFile", line,
        detail::FormatOf(text::FilterUnknown, GetFixName(), detail::TextOf(text::WordFile), prefix, KxString()));
}

void KxParameterFile::SelectFilter(KxString const& name) {
    m_selectedFilter = Known(name, KxString(), __LINE__);
    SignalAttributesChanged.Emit(*this);
}

void KxParameterFile::SetDefaultFilter(KxString const& name) {
    // The number itself, as it always stood in this message.
    m_defaultFilter = Known(name, KxTools::String(text::FilterDefault), __LINE__);
}

void KxParameterFile::SetFilterList(KxTMem<SxFileFilter> const& filters) {
    unsigned long const oldCount = m_filters.Size();
    m_filters = filters;
    if (m_filters.Size() < oldCount) m_selectedFilter = 0;
    SignalAttributesChanged.Emit(*this);
}

/// The index of the filter that an extension selects; `none` if it selects none.
unsigned long KxParameterFile::FilterOf(KxString const& extension) const {
    SxFileFilter const* const found = std::find_if(m_filters.begin(), m_filters.end(), [&](SxFileFilter const& filter) {
        return extension.ICompare(filter.Extension) == 0;
    });
    return found == m_filters.end() ? none : Known(found->Name, KxString(), __LINE__);
}

void KxParameterFile::SelectFilterFromExtension(KxString const& extension) {
    unsigned long const filter = FilterOf(extension);
    if (filter == none) return;
    m_selectedFilter = filter;
    SignalAttributesChanged.Emit(*this);
}

// Both are in place before anybody hears of either: a slot that throws leaves them.
void KxParameterFile::SetFileName(KxString const& name) {
    KxDirEntry const path(name);
    unsigned long const filter = FilterOf(path.GetExtension());
    m_fileName = FullName(path, FilterAt(filter == none ? m_selectedFilter : filter));
    if (filter != none) {
        m_selectedFilter = filter;
        SignalAttributesChanged.Emit(*this);
    }
    SignalValueChanged.Emit(*this);
}

void KxParameterFile::SetFileNameWithoutChangingFilter(KxString const& name) {
    m_fileName = FullName(KxDirEntry(name), GetSelectedFilter());
    SignalValueChanged.Emit(*this);
}

void KxParameterFile::Save(KxString const& fileName, KxString const& group) {
    detail::ParameterSettings settings(fileName, group, GetFixName());
    settings.Write(L"", m_fileName);
    settings.Write(L"(default)", m_defaultFileName);
    if (m_filters.Size() > 0) {
        settings.Write(L"(filter)", GetSelectedFilter().Name);
        settings.Write(L"(defaultfilter)", GetSelectedDefaultFilter().Name);
    }
    settings.Store();
}

void KxParameterFile::Load(KxString const& fileName, KxString const& group) {
    detail::ParameterSettings const settings(fileName, group, GetFixName());
    m_defaultFileName = settings.Read(L"(default)", m_defaultFileName);
    m_fileName = settings.Read(L"", m_defaultFileName);
    if (m_filters.Size() == 0) return;
    unsigned long const position = GetPosFilter(settings.Read(L"(filter)", GetSelectedDefaultFilter().Name));
    if (position != none) m_selectedFilter = position;
}

}  // namespace KxN
