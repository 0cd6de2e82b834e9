// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syWnd.h"

#include "base/posix/syDescriptor.h"
#include "base/syMessageQueue.h"
#include "hbtools/base/syEncoding.h"

#include <atomic>
#include <map>
#include <string>
#include <unordered_map>

namespace KxN {

using namespace detail;

namespace {

/// The windows that live.
struct Windows {
    Mutex mutex;
    std::unordered_map<unsigned long, std::shared_ptr<WindowState>> states;
    unsigned long lastNumber = 0;

    static Windows& Get() {
        static auto& windows = *new Windows;  // lives on for late destructors
        return windows;
    }
};

MessageQueue::Entry EntryFor(std::shared_ptr<WindowState> const& window, UINT message, WPARAM wParam, LPARAM lParam) {
    MessageQueue::Entry entry;
    entry.message = message;
    entry.wParam = wParam;
    entry.lParam = lParam;
    entry.window = window;
    return entry;
}

int ShowOnStandardError(wchar_t const* text, unsigned int, unsigned int) {
    // Not through the stream: its lock would be lost with a thread that is killed while nobody reads what it writes.
    WriteToStandardError(KxxToUtf8(text) + "\n");
    return IDOK;
}

constinit std::atomic<MessageBoxHandler> g_messageBox = &ShowOnStandardError;

}  // namespace

std::shared_ptr<WindowState> detail::FindWindow(unsigned long number) {
    Windows& windows = Windows::Get();
    std::lock_guard const lock(windows.mutex);
    auto const found = windows.states.find(number);
    return found == windows.states.end() ? nullptr : found->second;
}

CWnd::CWnd() : m_state(std::make_shared<WindowState>()) {
    m_state->window = this;
    m_state->queue = MessageQueue::OfThisThread();
    Windows& windows = Windows::Get();
    std::lock_guard const lock(windows.mutex);
    m_state->number = ++windows.lastNumber;
    windows.states.emplace(m_state->number, m_state);
}

CWnd::~CWnd() {
    Windows& windows = Windows::Get();
    {
        std::lock_guard const lock(windows.mutex);
        windows.states.erase(m_state->number);
    }
    m_state->window = nullptr;
}

int CWnd::PostMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    return m_state->queue->Post(EntryFor(m_state, message, wParam, lParam));
}

LRESULT CWnd::SendMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    if (MessageQueue::OfThisThread() == m_state->queue) return WindowProc(message, wParam, lParam);
    return MessageQueue::Send(*m_state->queue, EntryFor(m_state, message, wParam, lParam));
}

LRESULT CWnd::WindowProc(UINT, WPARAM, LPARAM) {
    return 0;
}

UINT RegisterWindowMessage(wchar_t const* name) {
    constexpr UINT first = 0xC000, end = 0x10000;
    if (!name || !*name) return 0;
    static Mutex mutex;
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
