// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The peak of the memory where malloc is that of a sanitizer, which tells of each block.
#include "../allocations/Memory.h"

#include <atomic>
#include <cstddef>

// Of the run-time library; not every compiler brings its header.
extern "C" {
int __sanitizer_install_malloc_and_free_hooks(void (*taken)(void const volatile*, std::size_t),
                                              void (*given)(void const volatile*));
std::size_t __sanitizer_get_allocated_size(void const volatile*);
}

namespace memory {

namespace {

std::atomic<long long> g_bytes, g_peakFrom, g_peak;

void Taken(void const volatile*, std::size_t size) {
    long long const more = static_cast<long long>(size), bytes = g_bytes.fetch_add(more) + more;
    for (long long peak = g_peak; bytes > peak && !g_peak.compare_exchange_weak(peak, bytes);) {}
}

void Given(void const volatile* block) {
    if (block) g_bytes -= static_cast<long long>(__sanitizer_get_allocated_size(block));
}

int const g_areHooked = __sanitizer_install_malloc_and_free_hooks(&Taken, &Given);

}  // namespace

void StartPeak() {
    g_peak = g_peakFrom = g_areHooked ? g_bytes.load() : 0;
}

long long PeakBytes() {
    return g_peak - g_peakFrom;
}

}  // namespace memory
