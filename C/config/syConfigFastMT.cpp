// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/config/syConfigFastMT.h"

#include "config/syConfigLines.h"
#include "config/syTextIds.h"
#include "hbtools/base/syDirEntry.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syResource.h"

namespace KxN {

KxConfigFastMT::KxConfigFastMT(KxString const& path)
    : m_file(std::make_unique<detail::ConfigFile<SConfigItem>>(path, detail::ConfigTrim::Passes)) {}

KxConfigFastMT::~KxConfigFastMT() {
    try {
        if (m_file->IsChanged()) Flush();
    } catch (...) {
        detail::ReportLoss(m_file->GetPath());
    }
}

KxString KxConfigFastMT::GetPathName() const {
    return m_file->GetPath();
}

KxString KxConfigFastMT::GetGroup() const {
    return m_file->GetGroup();
}

void KxConfigFastMT::SetGroup(KxString const& group) {
    m_file->SetGroup(group);
}

KxString KxConfigFastMT::ReadKey(KxString const& key) const {
    return m_file->ReadValue(m_file->Find(key.View()));
}

KxString KxConfigFastMT::ReadKey(KxString const& key, KxString const& defaultValue) const {
    detail::ConfigLine* const line = m_file->Find(key.View());
    return line ? m_file->ReadValue(line) : defaultValue;
}

KxString KxConfigFastMT::ReadKey(unsigned short index) const {
    return m_file->ReadValue(m_file->Find(std::size_t{index}));
}

KxString KxConfigFastMT::GetKeyName(unsigned short index) const {
    return detail::NameOrEmpty(m_file->Find(std::size_t{index}));
}

unsigned short KxConfigFastMT::GetKeyCount() const {
    return detail::Counted(m_file->GetKeyCount());
}

unsigned short KxConfigFastMT::GetGroupCount() const {
    return detail::Counted(m_file->GetGroupCount());
}

KxString KxConfigFastMT::GetGroup(unsigned short index) const {
    return index < m_file->GetGroupCount() ? KxString(m_file->GetGroupName(index)) : KxString();
}

KxConfigFastMT::SConfigItem* KxConfigFastMT::FindKey(KxString const& key) const {
    return m_file->Show(m_file->Find(key.View()));
}

KxConfigFastMT::SConfigItem* KxConfigFastMT::FindKey(unsigned short index) const {
    return m_file->Show(m_file->Find(std::size_t{index}));
}

int KxConfigFastMT::WriteKey(KxString const& key, KxString const& value) {
    m_file->Write(key, value);
    return 1;
}

void KxConfigFastMT::InsertKey(KxString const& key, KxString const& value) {
    m_file->Insert(key, value);
}

void KxConfigFastMT::DeleteCurItem() {
    if (m_file->DeleteCurrent()) m_file->Forget();
}

void KxConfigFastMT::DeleteGroup(KxString const& group) {
    if (m_file->DeleteGroup(group)) m_file->Forget();
}

void KxConfigFastMT::Update(KxConfigFastMT& other) {
    m_file->Update(*other.m_file);
}

void KxConfigFastMT::Flush() {
    KxTools::DirEntry const folder = KxDirEntry(m_file->GetPath()).GetPath();
    if (folder.IsValid() && !folder.Exists(1) && !folder.MakeDir(1)) {
        KxString message;
        message.SPrintf(KxString(KxResId(text::FolderNotMade)), m_file->GetPath());
        throw new KxFileException(L"syConfigFastMT", __LINE__, message);
    }
    m_file->Flush();
}

void KxConfigFastMT::ProofRead() const {
    m_file->ProofRead();
}

}  // namespace KxN
