// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/diagnostics/syPerfCheckPoint.h"

#include "hbtools/base/syConfig.h"
#include "hbtools/base/syDirEntry.h"
#include "hbtools/base/syException.h"

namespace KxN {

namespace {

constexpr wchar_t const* sourceName = L"syPerfCheckPoint";
constexpr std::wstring_view keyName = L"Counter";

bool IsCounterKey(KxString const& key) {
    std::wstring_view const text = key.View();
    if (KxString(text.substr(0, keyName.size())).ICompare(keyName.data(), 0x7FFFFFFF) != 0) return false;
    std::wstring_view const number = text.substr(keyName.size());
    return !number.empty() && number.find_first_not_of(L"0123456789") == std::wstring_view::npos;
}

}  // namespace

KxPerfCheckPoint::KxPerfCheckPoint() = default;
KxPerfCheckPoint::~KxPerfCheckPoint() = default;

void KxPerfCheckPoint::PDHOpen() {
    if (!m_query) m_query = std::make_unique<KxPerfQuery>();
}

void KxPerfCheckPoint::PDHClose() {
    m_query.reset();
    m_counters.RemoveAll();
}

void KxPerfCheckPoint::PDHCheckError(KxString const& call, long status) {
    if (status == PERF_SUCCESS) return;
    auto const number = static_cast<std::uint32_t>(status);
    KxString const meaning = KxxPerfStatusText(status);
    KxString text;
    if (!meaning)
        text.SPrintf(L"Error 0x%x in '%s'", number, call);
    else
        text.SPrintf(L"Error 0x%x in '%s': %s", number, call, meaning);
    throw new KxException(sourceName, __LINE__, text);
}

void KxPerfCheckPoint::PHDUpdateValue(SxPerfCounter& counter, double& value) {
    KxString call;
    call.SPrintf(L"PdhGetFormattedCounterValue for '%s'", counter.path);
    PDHCheckError(call, m_query ? m_query->GetValue(counter.handle, value) : PERF_INVALID_HANDLE);
}

void KxPerfCheckPoint::CreateCounter(KxString const& name, KxString const& path) {
    PDHOpen();
    SxPerfCounter counter;
    counter.path = path;
    counter.name = name;
    KxString call;
    call.SPrintf(L"PhdAddCounter '%s'", path);
    PDHCheckError(call, m_query->AddCounter(path, counter.handle));
    m_counters.AddTail(counter);
}

void KxPerfCheckPoint::CreateCounterFromINIFile(KxString const& file) {
    KxDirEntry entry(file);
    if (!entry.ToAbs() || !entry.Exists(1)) throw new KxFileNotExistException(sourceName, __LINE__, file);
    KxConfig config(file);
    config.BeginUpdate();  // one look at the file for all counters
    config.ProofRead();
    config.SetGroup(L"PerformanceCounter");
    unsigned short const count = config.GetKeyCount();
    for (unsigned short i = 0; i < count; ++i) {
        KxString const path = config.ReadKey(i);
        if (IsCounterKey(config.GetKeyName(i)) && path.Len() > 0) CreateCounter(path, path);
    }
}

void KxPerfCheckPoint::Collect() {
    PDHOpen();
    PDHCheckError(L"PdhCollectQueryData", m_query->Collect());
}

void KxPerfCheckPoint::Begin() {
    Collect();
    for (SxPerfCounter& counter : m_counters) PHDUpdateValue(counter, counter.begin);
}

void KxPerfCheckPoint::End() {
    Collect();
    for (SxPerfCounter& counter : m_counters) PHDUpdateValue(counter, counter.end);
}

KxString KxPerfCheckPoint::Difference() {
    KxString text(L"Performance Checkpoint Difference: \r\n");
    KxString line;
    for (SxPerfCounter const& counter : m_counters) {
        line.SPrintf(L"%s: Begin: %f,  End: %f,  Difference: %f\r\n", counter.name, counter.begin, counter.end,
                     counter.end - counter.begin);
        text += line;
    }
    return text;
}

}  // namespace KxN
