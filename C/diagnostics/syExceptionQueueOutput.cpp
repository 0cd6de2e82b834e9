// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/diagnostics/syExceptionQueueOutput.h"

#include "diagnostics/syLogText.h"
#include "diagnostics/syTextIds.h"
#include "hbtools/base/syConfig.h"
#include "hbtools/base/syFileStream.h"
#include "hbtools/base/syResource.h"

namespace KxN {

KxExceptionQueueOutput::~KxExceptionQueueOutput() = default;

void KxExceptionQueueOutput::Initialize(KxString const& iniFile) {
    KxDirEntry const path = detail::ExistingIniFile(iniFile, L"syExceptionQueueOutput");
    KxConfig config(path.GetFull());
    config.BeginUpdate();
    config.ProofRead();
    config.SetGroup(L"FileOutput");
    m_fileName = detail::BesideIniFile(path, detail::FileNameKey(config, L"FileName", m_fileName));
}

void KxExceptionQueueOutput::LogView(KxTSVQueue<KxException*>* queue) const {
    KxString const datePrefix = KxResId(text::DatePrefix), timePrefix = KxResId(text::TimePrefix);
    KxoFileStream file(m_fileName, KxFileModeOut);
    file.Proof(ProofOpen);
    for (int i = 0; queue && i < queue->Count(); ++i) {
        KxException& entry = *(*queue)[i];
        KxString message = entry.GetMessage();
        message.ConvertLineEnd(KxTools::GetSystemLineEnd());
        file << datePrefix << entry.GetDateTime().GetDateText() << timePrefix << entry.GetDateTime().GetTimeText()
             << L"  Group: " << entry.GetExceptionGroup() << L"  Level: " << detail::LevelName(entry.GetErrorLevel())
             << L'\n' << message << L'\n';
    }
    file.Proof(ProofWrite);
}

}  // namespace KxN
