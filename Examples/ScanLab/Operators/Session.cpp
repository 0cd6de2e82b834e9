// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Session.h"

#include "TextIds.h"

#include <hbtools/base/syDirEntry.h>
#include <hbtools/base/syException.h>

#include <utility>

namespace ScanLab {

using namespace KxN;

/// The content on one side of a step. It takes the memory of what the other side does not hold: the other side is the
/// session's, or that of the step next to this one, as long as there is this one.
class Session::State : public KxState {
public:
    State(Session& session, Content beyond) : m_session(session), m_beyond(std::move(beyond)) {}

    void Read() override {
        m_size = m_session.m_content.SizeBeyond(m_beyond);
        m_content = m_session.m_content;
        m_beyond = Content();
    }
    void Write() override { m_session.m_content = m_content; }
    /// The other side of the step.
    KxState* Clone() override { return new State(m_session, m_content); }
    ULONGLONG GetSize() const override { return m_size; }

private:
    Session& m_session;
    Content m_content;
    Content m_beyond;  // until it is read
    ULONGLONG m_size = 0;
};

bool Session::Change(KxString const& step, Content next) {
    bool isKept = true;
    m_history.Begin(step);
    try {
        try {
            m_history.SaveState(new State(*this, next));
        } catch (KxException* tooLarge) {
            tooLarge->Delete();
            isKept = false;
        }
        m_history.End(L"");
    } catch (...) {
        m_history.Drop();
        throw;
    }
    if (!isKept) m_history.Clear();
    m_content = std::move(next);
    return isKept;
}

KxString Session::PathInFolder(KxString const& name) const {
    return KxString((KxDirEntry(m_folder) + KxDirEntry(name)).GetFull());
}

KxString Session::OutputPath(KxString const& name) const {
    if (name.Len() == 0) throw new KxException(L"Session", __LINE__, TextOf(Text::NoFileName));
    KxDirEntry const path(PathInFolder(name));
    KxDirEntry const folder(path.GetPath());
    if (folder.GetFull().Len() > 0 && !KxTools::FileStat(folder).GetKind() && !folder.MakeDir(1))
        throw new KxFileException(L"Session", __LINE__, FormatOf(Text::NoFolder, folder.GetFull()));
    return KxString(path.GetFull());
}

}  // namespace ScanLab
