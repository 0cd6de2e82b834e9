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

void KxParameterFile::SelectFilterFromExtension(KxString const& extension) {
    SxFileFilter const* const found = std::find_if(m_filters.begin(), m_filters.end(), [&](SxFileFilter const& filter) {
        return extension.ICompare(filter.Extension) == 0;
    });
    if (found != m_filters.end()) SelectFilter(found->Name);
}

void KxParameterFile::SetFileName(KxString const& name) {
    KxDirEntry const given(name);  // a slot that hears of the filter may change what was passed
    SelectFilterFromExtension(given.GetExtension());
    SetFileNameWithoutChangingFilter(given.GetFull());
}

void KxParameterFile::SetFileNameWithoutChangingFilter(KxString const& name) {
    KxDirEntry path(name);
    SxFileFilter const& filter = GetSelectedFilter();
    if (!path.GetExtension() && !!filter.Extension && !(filter.Extension == L"*")) path.SetExtension(filter.Extension);
    m_fileName = path.GetFull();
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
