// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Settings.h"

#include "../TemporaryName.h"

#include <hbtools/base/syDirEntry.h>
#include <hbtools/base/syException.h>
#include <hbtools/base/sySafeFile.h>
#include <hbtools/operators/syOperator.h>

#include <vector>

namespace ScanLab {

using namespace KxN;

namespace {

template <class Visit>
void ForEachOperator(KxOperatorMgr const& manager, Visit visit) {
    for (unsigned long i = 0; KxOperator* const found = manager.GetOperatorIndexed(i); ++i) visit(*found);
}

/// A file beside another, under a name that is nobody else's, which is gone at the end.
class Draft {
public:
    explicit Draft(KxString const& path) : m_place(path), m_path(m_place.GetTemporaryPath() + L".draft") {}
    Draft(Draft const&) = delete;
    Draft& operator=(Draft const&) = delete;
    ~Draft() { m_path.Kill(); }
    KxDirEntry const& Path() const { return m_path; }

private:
    KxSafeFile m_place;  // keeps the name
    KxDirEntry m_path;
};

[[noreturn]] void ThrowFailed(KxString const& path, unsigned long code) {
    throw new KxDirEntryException(L"Settings", __LINE__, path, code);
}

}  // namespace

// Each operator saves its group on its own; so that the file has all of them or none, they go into a copy.
void SaveSettings(KxOperatorMgr const& manager, KxString const& path) {
    Draft const draft(path);
    if (KxDirEntry(path).Exists())
        if (unsigned long const code = KxDirEntry(path).CopyTo(draft.Path(), 1)) ThrowFailed(path, code);
    KxString const draftPath(draft.Path().GetFull());
    UnderName(path, draftPath, [&] { ForEachOperator(manager, [&](KxOperator& found) { found.Save(draftPath); }); });
    if (unsigned long const code = draft.Path().CopyTo(KxDirEntry(path), 1)) ThrowFailed(path, code);
}

void LoadSettings(KxOperatorMgr const& manager, KxString const& path) {
    std::vector<KxString> former;
    ForEachOperator(manager, [&](KxOperator& found) {
        for (unsigned long i = 0; i < found.GetNumParameters(); ++i)
            former.push_back(found.GetParameterIndexed(i)->GetValueAsString());
    });
    try {
        ForEachOperator(manager, [&](KxOperator& found) { found.Load(path); });
    } catch (CException*) {
        auto value = former.begin();
        ForEachOperator(manager, [&](KxOperator& found) {
            for (unsigned long i = 0; i < found.GetNumParameters(); ++i)
                found.GetParameterIndexed(i)->SetValueFromString(*value++);
        });
        throw;
    }
}

}  // namespace ScanLab
