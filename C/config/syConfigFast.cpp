// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/config/syConfigFast.h"

#include "config/syConfigLines.h"

namespace KxN {

KxConfigFast::KxConfigFast(KxString const& path)
    : m_file(std::make_unique<detail::ConfigFile<SConfigItem>>(path, detail::ConfigTrim::Mixed)) {}

KxConfigFast::~KxConfigFast() {
    try {
        if (m_file->IsChanged()) Flush();
    } catch (...) {
        detail::ReportLoss(m_file->GetPath());
    }
}

KxString KxConfigFast::GetPathName() const {
    return m_file->GetPath();
}

KxString KxConfigFast::GetGroup() const {
    return m_file->GetGroup();
}

void KxConfigFast::SetGroup(KxString const& group) {
    m_file->SetGroup(group);
}

KxString KxConfigFast::ReadKey(KxString const& key) {
    return m_file->ReadValue(m_file->Find(key.View()));
}

KxString KxConfigFast::ReadKey(KxString const& key, KxString const& defaultValue) {
    detail::ConfigLine* const line = m_file->Find(key.View());
    return line ? m_file->ReadValue(line) : defaultValue;
}

KxString KxConfigFast::ReadKey(unsigned short index) {
    return m_file->ReadValue(m_file->Find(std::size_t{index}));
}

KxString KxConfigFast::GetKeyName(unsigned short index) {
    return detail::NameOrEmpty(m_file->Find(std::size_t{index}));
}

unsigned short KxConfigFast::GetKeyCount() {
    return detail::Counted(m_file->GetKeyCount());
}

unsigned short KxConfigFast::GetGroupCount() {
    return detail::Counted(m_file->GetGroupCount());
}

KxString KxConfigFast::GetGroup(unsigned short index) {
    return index < m_file->GetGroupCount() ? KxString(m_file->GetGroupName(index)) : KxString();
}

KxConfigFast::SConfigItem* KxConfigFast::FindKey(KxString const& key) {
    return m_file->Show(m_file->Find(key.View()));
}

KxConfigFast::SConfigItem* KxConfigFast::FindKey(unsigned short index) {
    return m_file->Show(m_file->Find(std::size_t{index}));
}

void KxConfigFast::WriteKey(KxString const& key, KxString const& value) {
    m_file->Write(key, value);
}

void KxConfigFast::InsertKey(KxString const& key, KxString const& value) {
    m_file->Insert(key, value);
}

void KxConfigFast::DeleteCurItem() {
    if (m_file->DeleteCurrent()) m_file->Forget();
}

void KxConfigFast::DeleteGroup(KxString const& group) {
    if (m_file->DeleteGroup(group)) m_file->Forget();
}

void KxConfigFast::Update(KxConfigFast& other) {
    m_file->Update(*other.m_file);
}

void KxConfigFast::Flush() {
    m_file->Flush();
}

void KxConfigFast::ProofRead() const {
    m_file->ProofRead();
}

}  // namespace KxN
