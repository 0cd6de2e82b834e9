// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Interrupts.h"

#include <atomic>
#include <csignal>

namespace ScanLab {

namespace {

constexpr int signals[] = {SIGINT, SIGTERM};

std::atomic<bool> g_isPending = false;
static_assert(std::atomic<bool>::is_always_lock_free, "it is set by a signal handler");

int g_depth = 0;
struct sigaction g_former[2];

// Nothing here but what a handler may do: a flag, and two calls that are safe in it.
extern "C" void TakeSignal(int number) {
    if (!g_isPending.exchange(true)) return;
    std::signal(number, SIG_DFL);
    std::raise(number);  // comes when this handler is left
}

}  // namespace

Interrupts::Interrupts() {
    if (g_depth++ > 0) return;
    g_isPending = false;
    struct sigaction action = {};
    action.sa_handler = TakeSignal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (int i = 0; i < 2; ++i) {
        ::sigaction(signals[i], nullptr, &g_former[i]);
        if (g_former[i].sa_handler != SIG_IGN) ::sigaction(signals[i], &action, nullptr);
    }
}

Interrupts::~Interrupts() {
    if (--g_depth > 0) return;
    for (int i = 0; i < 2; ++i) ::sigaction(signals[i], &g_former[i], nullptr);
    g_isPending = false;
}

bool Interrupts::IsPending() {
    return g_isPending.load(std::memory_order_relaxed);
}

void Interrupts::Request() {
    g_isPending = true;
}

}  // namespace ScanLab
