// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syWnd.h"

#include "base/syMessageQueue.h"
#include "hbtools/base/syEncoding.h"

#include <atomic>
#include <cstdio>
#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace KxN {

using namespace detail;

namespace {

MessageQueue::Entry EntryFor(std::shared_ptr<WindowState> const& window, UINT message, WPARAM wParam, LPARAM lParam) {
    MessageQueue::Entry entry;
    entry.message = message;
    entry.wParam = wParam;
    entry.lParam = lParam;
    entry.window = window;
    return entry;
}

int ShowOnStandardError(wchar_t const* text, unsigned int, unsigned int) {
    std::fputs((KxxToUtf8(text) + "\n").c_str(), stderr);
    return IDOK;
}

constinit std::atomic<MessageBoxHandler> g_messageBox = &ShowOnStandardError;

}  // namespace

CWnd::CWnd() : m_queue(MessageQueue::OfThisThread()), m_state(std::make_shared<WindowState>()) {
    m_state->window = this;
}

CWnd::~CWnd() {
    m_state->window = nullptr;
}

int CWnd::PostMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    return m_queue->Post(EntryFor(m_state, message, wParam, lParam));
}

LRESULT CWnd::SendMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    if (MessageQueue::OfThisThread() == m_queue) return WindowProc(message, wParam, lParam);
    return MessageQueue::Send(*m_queue, EntryFor(m_state, message, wParam, lParam));
}

LRESULT CWnd::WindowProc(UINT, WPARAM, LPARAM) {
    return 0;
}

UINT RegisterWindowMessage(wchar_t const* name) {
    constexpr UINT first = 0xC000, end = 0x10000;
    static std::mutex mutex;
    static auto& numbers = *new std::map<std::wstring, UINT>;  // lives on for late destructors
    std::lock_guard const lock(mutex);
    auto const known = numbers.find(name);
    if (known != numbers.end()) return known->second;
    UINT const number = first + static_cast<UINT>(numbers.size());
    if (number >= end) return 0;
    numbers.emplace(name, number);
    return number;
}

int AfxMessageBox(wchar_t const* text, unsigned int type, unsigned int helpId) {
    return g_messageBox.load()(text ? text : L"", type, helpId);
}

MessageBoxHandler AfxSetMessageBoxHandler(MessageBoxHandler handler) {
    MessageBoxHandler const former = g_messageBox.exchange(handler ? handler : &ShowOnStandardError);
    return former == &ShowOnStandardError ? nullptr : former;
}

}  // namespace KxN
