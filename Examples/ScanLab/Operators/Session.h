// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the operators work on: a content, and the history of what it was. An operator makes a new content of the present one
// and hands it over when all is well, so that one that fails or is cancelled leaves no trace:
//
//     Content next = session.Now();
//     next.Edit(L"plate").stored.scan.points = std::move(points);
//     session.Change(L"Filter plate", std::move(next));
//
// One thread at a time.
#pragma once

#include "../LongRun.h"
#include "Content.h"

#include <hbtools/state/syUndoRedo.h>

namespace ScanLab {

class Languages;

class Session {
public:
    /// `folder`: where files with relative names are written.
    explicit Session(KxN::KxString const& folder) : m_folder(folder) {}
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;

    Content const& Now() const { return m_content; }
    // Of the present content.
    Entry const& Find(KxN::KxString const& name) const { return m_content.Find(name); }
    Content::List<Entry> const& Entries() const { return m_content.Entries(); }
    DeviationSet const& CurrentDeviations() const { return m_content.CurrentDeviations(); }
    Content::List<DeviationSet> const& Deviations() const { return m_content.Deviations(); }
    Content::List<FitRecord> const& Fits() const { return m_content.Fits(); }

    /// Makes `next` the content, as a step of that name. False if what went takes more memory than KxLimits::undoMemory:
    /// the change is made all the same, and the history begins anew behind it.
    [[nodiscard]] bool Change(KxN::KxString const& step, Content next);
    /// Only if the history can: ask it.
    void Undo() { m_history.Undo(); }
    void Redo() { m_history.Redo(); }
    KxN::KxUndoRedo const& History() const { return m_history; }

    /// The path of a name: in the folder of the session unless it is absolute.
    KxN::KxString PathInFolder(KxN::KxString const& name) const;
    /// Where a file of that name is to be written; its folder is made. @throws KxException if the name is empty,
    /// KxFileException if the folder cannot be made
    KxN::KxString OutputPath(KxN::KxString const& name) const;

    /// The configuration file of the application; empty if it runs without.
    KxN::KxString settingsFile;
    /// The application's; null without.
    Languages* languages = nullptr;
    /// How the progress of long operators is shown; not at all unless set.
    ProgressSettings progress;

private:
    class State;

    KxN::KxString m_folder;
    Content m_content;
    KxN::KxUndoRedo m_history;
};

}  // namespace ScanLab
