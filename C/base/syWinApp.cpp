// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syWinApp.h"

#include "base/posix/syThread.h"
#include "base/syTextIds.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syResource.h"

#include <unicode/uloc.h>

#include <atomic>
#include <cstdlib>

namespace KxN {

namespace {

constinit thread_local CWinThread* t_thread = nullptr;
constinit std::atomic<KxWinApp*> g_app = nullptr;

}  // namespace

CWinThread::CWinThread() : m_threadId(detail::CurrentThreadId()), m_former(t_thread) {
    t_thread = this;
}

CWinThread::~CWinThread() {
    if (t_thread == this) t_thread = m_former;
}

CWinThread* AfxGetThread() {
    return t_thread;
}

KxWinApp* GetpApp() {
    return g_app.load(std::memory_order_acquire);
}

KxWinApp::KxWinApp() {
    KxWinApp* none = nullptr;
    if (!g_app.compare_exchange_strong(none, this))
        throw new KxException(KxString(L"syWinApp"), __LINE__, KxString(KxResId(text::SecondApplication)));
}

KxWinApp::~KxWinApp() {
    g_app = nullptr;
}

int KxWinApp::PostCallLink(KxTools::Link const& link, void* argument) {
    if (!link.IsSet()) return 0;
    std::lock_guard const lock(m_mutex);
    if (m_posted.size() >= KxxLimits().postedCalls) return 0;
    m_posted.push_back({link, argument, m_numPosted});
    ++m_numPosted;
    return 1;
}

void KxWinApp::Reschedule() {
    if (t_thread != this) return;
    std::unique_lock lock(m_mutex);
    // A call that reschedules takes from the same queue; what is posted meanwhile has a later number.
    unsigned long long const end = m_numPosted;
    while (!m_posted.empty() && m_posted.front().number < end) {
        PostedCall const call = m_posted.front();
        m_posted.pop_front();
        lock.unlock();
        call.link.Call(call.argument);
        lock.lock();
    }
}

void KxWinApp::Abort() {
    std::abort();
}

unsigned short KxWinApp::GetPrimaryLanguage() const {
    return static_cast<unsigned short>(uloc_getLCID(uloc_getDefault()) & 0x3FF);
}

}  // namespace KxN
