// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syWinApp.h"

#include "base/syMessageQueue.h"
#include "base/syTextIds.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syResource.h"

#include <unicode/uloc.h>

#include <atomic>
#include <cstdlib>
#include <utility>

namespace KxN {

namespace {

constinit std::atomic<KxWinApp*> g_app = nullptr;

}  // namespace

KxWinApp* GetpApp() {
    return g_app.load(std::memory_order_acquire);
}

KxWinApp::KxWinApp() : CWinThread(CallingThread()) {
    KxWinApp* none = nullptr;
    if (!g_app.compare_exchange_strong(none, this))
        throw new KxException(KxString(L"syWinApp"), __LINE__, KxString(KxResId(text::SecondApplication)));
}

KxWinApp::~KxWinApp() {
    g_app = nullptr;
    GetQueue().DropCalls();
}

int KxWinApp::PostCallLink(KxTools::Link const& link, void* argument) {
    if (!link.IsSet()) return 0;
    detail::MessageQueue::Entry entry;
    entry.call = link;
    entry.lParam = reinterpret_cast<LPARAM>(argument);
    return GetQueue().Post(std::move(entry));
}

void KxWinApp::Reschedule() {
    if (AfxGetThread() == this) GetQueue().DispatchDue();
}

int KxWinApp::GetLoopDescriptor() {
    return GetQueue().GetDescriptor();
}

void KxWinApp::Abort() {
    std::abort();
}

unsigned short KxWinApp::GetPrimaryLanguage() const {
    return static_cast<unsigned short>(uloc_getLCID(uloc_getDefault()) & 0x3FF);
}

}  // namespace KxN
