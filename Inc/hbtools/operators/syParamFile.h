// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxParameterFile: the name of a file, with the filters that a dialog offers and one of them selected. A name selects
// the first filter of its extension, and a name without extension gets that of the selected filter. Names of filters
// are compared exactly, extensions without regard to case; at most 65535 filters can be selected, and index 65535
// stands for none. No file is touched but for Save and Load. Promises, errors and threads as in syParameter.h.
#pragma once

#include "hbtools/core/syMem.h"
#include "hbtools/operators/syParameter.h"

namespace KxN {

struct SxFileFilter {
    KxString Name;       ///< By which it is selected and stored.
    KxString Pattern;    ///< For dialogs; not read here.
    KxString Extension;  ///< Without its point; "*" for any.
};

class KX_API KxParameterFile : public KxParameter {
public:
    KxParameterFile() { SetType(PARAMETER_FILE); }
    /// `isFileOpenDialog` says whether the file is there to be opened, for dialogs. Names are stored as they are given,
    /// and an unknown name of a filter selects none.
    KxParameterFile(unsigned short id, KxTMem<SxFileFilter> const& filters, int isFileOpenDialog,
                    KxString const& fileName, KxString const& defaultFileName);
    KxParameterFile(unsigned short id, KxResId const& resId, KxTMem<SxFileFilter> const& filters, int isFileOpenDialog,
                    KxString const& fileName, KxString const& defaultFileName);
    KxParameterFile(unsigned short id, KxTMem<SxFileFilter> const& filters, KxString const& selectedFilter,
                    KxString const& defaultFilter, int isFileOpenDialog, KxString const& fileName,
                    KxString const& defaultFileName);
    KxParameterFile(unsigned short id, KxResId const& resId, KxTMem<SxFileFilter> const& filters,
                    KxString const& selectedFilter, KxString const& defaultFilter, int isFileOpenDialog,
                    KxString const& fileName, KxString const& defaultFileName);
    KxParameterFile(unsigned short id, SxFileFilter const& filter, int isFileOpenDialog, KxString const& fileName,
                    KxString const& defaultFileName);
    KxParameterFile(unsigned short id, KxResId const& resId, SxFileFilter const& filter, int isFileOpenDialog,
                    KxString const& fileName, KxString const& defaultFileName);
    /// The first filter is selected, the second the default.
    KxParameterFile(unsigned short id, SxFileFilter const& selected, SxFileFilter const& second, int isFileOpenDialog,
                    KxString const& fileName, KxString const& defaultFileName);
    KxParameterFile(unsigned short id, KxResId const& resId, SxFileFilter const& selected, SxFileFilter const& second,
                    int isFileOpenDialog, KxString const& fileName, KxString const& defaultFileName);

    KxString GetValueAsString() const override { return m_fileName; }
    void SetValueFromString(KxString const& value) override { SetFileName(value); }
    ~KxParameterFile() override;
    /// Keys: the name and "(default)", and if there are filters "(filter)" and "(defaultfilter)", which is not read back.
    void Save(KxString const& fileName, KxString const& group) override;
    /// Takes the default name, then the name, as they are; an unknown filter leaves the selection alone.
    void Load(KxString const& fileName, KxString const& group) override;

    KxString const& GetFileName() const { return m_fileName; }
    /// Selects the first filter of the name's extension, if there is one, and stores the name as below. Then fires
    /// SignalAttributesChanged if a filter was selected, and SignalValueChanged.
    void SetFileName(KxString const& name);
    /// Gives a name without extension that of the selected filter, unless that is "*", stores it and fires
    /// SignalValueChanged.
    void SetFileNameWithoutChangingFilter(KxString const& name);
    KxString const& GetDefaultFileName() const { return m_defaultFileName; }
    void SetDefaultFileName(KxString const& name) { m_defaultFileName = name; }

    KxTMem<SxFileFilter> const& GetFilterList() const { return m_filters; }
    /// Selects the first filter if the new list is shorter, replaces the filters, fires SignalAttributesChanged.
    void SetFilterList(KxTMem<SxFileFilter> const& filters);
    /// @pre one is selected; an empty filter otherwise
    SxFileFilter const& GetSelectedFilter() const { return FilterAt(m_selectedFilter); }
    unsigned long GetSelectedFilterIndex() const { return m_selectedFilter; }
    SxFileFilter const& GetSelectedDefaultFilter() const { return FilterAt(m_defaultFilter); }
    /// Looks at each. Fires SignalAttributesChanged, not SignalValueChanged. @throws KxException if there is no such one
    void SelectFilter(KxString const& name);
    void SetDefaultFilter(KxString const& name);  ///< No signal. @throws KxException if there is no such filter
    int IsFileOpenDialog() const { return m_isFileOpenDialog; }

protected:
    int ExistsFilter(KxString const& name) const { return GetPosFilter(name) != none; }
    /// Index of the first filter of that name, 65535 if there is none.
    unsigned long GetPosFilter(KxString const& name) const;
    /// Selects the first filter of that extension, if there is one.
    void SelectFilterFromExtension(KxString const& extension);

private:
    static constexpr unsigned long none = 65535;
    SxFileFilter const& FilterAt(unsigned long index) const;
    unsigned long FilterOf(KxString const& extension) const;
    unsigned long Known(KxString const& name, KxString const& prefix, unsigned long line) const;

    KxString m_fileName;
    KxString m_defaultFileName;
    KxTMem<SxFileFilter> m_filters;
    unsigned long m_selectedFilter = 0;
    unsigned long m_defaultFilter = 0;
    int m_isFileOpenDialog = 0;
};

}  // namespace KxN
