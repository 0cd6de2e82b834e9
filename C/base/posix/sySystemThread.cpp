// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "sySystemThread.h"

#include "base/syAbandoned.h"
#include "syStopPoint.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <link.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

namespace KxN::detail {

[[gnu::tls_model("initial-exec")]] constinit thread_local int t_isAwaited = 0;

namespace {

constexpr int patience = 50;    // a thread that stands so often in one call of the system is blocked there
constexpr int deafness = 5000;  // pauses before a thread is taken for one that never answers

// Reached from the handler, so it must be there without a call into the loader.
[[gnu::tls_model("initial-exec")]] constinit thread_local SystemThread* t_current = nullptr;

struct Range {
    std::uintptr_t begin, end;
};
std::array<Range, 16> g_busyCode;  // of libraries whose locks the thread may hold
std::size_t g_numBusyCode = 0;

bool IsBusyAt(std::uintptr_t instruction) {
    for (std::size_t i = 0; i < g_numBusyCode; ++i)
        if (g_busyCode[i].begin <= instruction && instruction < g_busyCode[i].end) return true;
    return false;
}

int NoteBusyCode(dl_phdr_info* info, std::size_t, void*) {
    static constexpr char const* names[] = {"/libc.so",    "/libstdc++.so", "/ld-linux",   "/libgcc_s.so",
                                            "/libasan.so", "/libtsan.so",   "/libubsan.so"};
    auto const own = reinterpret_cast<std::uintptr_t>(&IsBusyAt);
    bool isBusy = false;
    for (char const* const name : names) isBusy = isBusy || std::strstr(info->dlpi_name, name);
    bool const isProgram = !*info->dlpi_name;  // which may hold this library, but also what is to be stopped
    for (int i = 0; i < info->dlpi_phnum && g_numBusyCode < g_busyCode.size(); ++i) {
        auto const& header = info->dlpi_phdr[i];
        if (header.p_type != PT_LOAD || !(header.p_flags & PF_X)) continue;
        Range const range{info->dlpi_addr + header.p_vaddr, info->dlpi_addr + header.p_vaddr + header.p_memsz};
        if (isBusy || (!isProgram && range.begin <= own && own < range.end)) g_busyCode[g_numBusyCode++] = range;
    }
    return 0;
}

int SignalNumber() {
    return SIGRTMIN + 3;
}

void Pause(bool isShort) {
    timespec const moment{0, isShort ? 5000 : 200000};
    ::nanosleep(&moment, nullptr);
}

[[noreturn]] void ExitAtOnce() {
    // The next thread on this stack would find what this one has left under the keys of thread-specific data.
    for (pthread_key_t key = 0; key < PTHREAD_KEYS_MAX; ++key) ::pthread_setspecific(key, nullptr);
    // Ends this thread only. The system marks the robust locks it holds and wakes who joins it.
    for (;;) ::syscall(SYS_exit, 0);
}

}  // namespace

struct ThreadSignal {
    static void Handle(int, siginfo_t*, void* context) {
        SystemThread* const thread = t_current;
        if (!thread) return;
        int const error = errno;
        auto const& registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
        bool const isBusy = thread->IsBusy(static_cast<std::uintptr_t>(registers[REG_RIP]),
                                           static_cast<std::uintptr_t>(registers[REG_RSP]));
        std::atomic<int>* const word = thread->m_sleepWord;
        if (thread->m_isDying) {
            int awake = 0;
            if (word)
                word->compare_exchange_strong(awake, SleepPlace::killed);
            else if (!isBusy)
                ExitAtOnce();
        } else if (thread->m_suspensions > 0 && !isBusy) {
            thread->StopHere();
        }
        t_isAwaited = isBusy;
        thread->m_numAnswers = thread->m_numAnswers + 1;
        errno = error;
    }

    static void StopOnTheWay() {
        t_isAwaited = 0;
        if (t_current->m_isDying) ExitAtOnce();
        if (t_current->m_suspensions > 0) t_current->StopHere();
    }

    static bool Install() {
        ::dl_iterate_phdr(&NoteBusyCode, nullptr);
        struct sigaction action {};
        action.sa_sigaction = &Handle;
        action.sa_flags = SA_SIGINFO | SA_RESTART;
        ::sigfillset(&action.sa_mask);
        return ::sigaction(SignalNumber(), &action, nullptr) == 0;
    }
};

void StopPoint(void const* caller) noexcept {
    if (!t_current || t_current->m_sleepWord || IsBusyAt(reinterpret_cast<std::uintptr_t>(caller))) return;
    ThreadSignal::StopOnTheWay();
}

unsigned long CurrentThreadId() {
    return static_cast<unsigned long>(::gettid());
}

unsigned long CurrentProcessId() {
    return static_cast<unsigned long>(::getpid());
}

void ExitThread() {
    ::pthread_exit(nullptr);
}

void Yield() {
    ::sched_yield();
}

bool SystemThread::Start(std::shared_ptr<SystemThread>& place, void (*body)(void*), void* argument,
                         std::size_t stackSize, bool suspended) {
    static bool const isInstalled = ThreadSignal::Install();
    static_cast<void>(isInstalled);
    auto thread = std::make_shared<SystemThread>();
    thread->m_body = body;
    thread->m_argument = argument;
    thread->m_suspensions = suspended ? 1 : 0;
    thread->m_self = thread;
    pthread_attr_t attributes;
    if (::pthread_attr_init(&attributes) != 0) return false;
    place = thread;  // before it runs, since the place may be gone then
    if (stackSize > 0) {
        std::size_t const least = static_cast<std::size_t>(::sysconf(_SC_THREAD_STACK_MIN)) + 16384, page = 4096;
        ::pthread_attr_setstacksize(&attributes, (std::max(stackSize, least) + page - 1) / page * page);
    }
    int const error = ::pthread_create(&thread->m_handle, &attributes, &Enter, thread.get());
    ::pthread_attr_destroy(&attributes);
    if (error == 0) return true;
    thread->m_ended = 1;
    thread->m_self.reset();
    place.reset();
    return false;
}

SystemThread::~SystemThread() {
    if (m_handle == pthread_t{}) return;
#ifdef __SANITIZE_THREAD__
    if (m_isKilled) return;  // it would wait for ever for one that did not end in its sight
#endif
    if (::pthread_equal(m_handle, ::pthread_self()))
        ::pthread_detach(m_handle);
    else
        ::pthread_join(m_handle, nullptr);  // it holds itself until its last step
}

std::shared_ptr<SystemThread> SystemThread::Current() {
    return t_current ? t_current->m_self : nullptr;
}

void* SystemThread::Enter(void* argument) {
    auto* const thread = static_cast<SystemThread*>(argument);
    t_current = thread;
    thread->m_id = static_cast<int>(::gettid());
    WakeAll(&thread->m_id);
    if (thread->m_suspensions > 0) thread->StopHere();
    if (thread->m_isDying) ExitAtOnce();
    pthread_cleanup_push(&End, thread);  // runs when the thread is unwound too
    thread->m_body(thread->m_argument);
    pthread_cleanup_pop(1);
    return nullptr;
}

void SystemThread::End(void* argument) {
    t_current = nullptr;  // from here on no signal has a meaning
    static_cast<SystemThread*>(argument)->Finish();
}

void SystemThread::Finish() {
    std::shared_ptr<SystemThread> const self = std::move(m_self);
    m_ended = 1;
    WakeAll(&m_ended);
}

unsigned long SystemThread::Id() {
    while (m_id == 0) SleepWhile(m_id, 0, std::nullopt);
    return static_cast<unsigned long>(m_id.load());
}

void SystemThread::StopHere() {
    // Who suspends it and sees that it has stopped can rely on it: it looks again before it goes on.
    do {
        m_isStopped = 1;
        for (int count; (count = m_suspensions) > 0;) SleepWhile(m_suspensions, count, std::nullopt);
        m_isStopped = 0;
    } while (m_suspensions > 0);
}

/// Whether it stands where it may hold a lock that others need. For its handler.
bool SystemThread::IsBusy(std::uintptr_t instruction, std::uintptr_t stack) {
    if (m_isForced || !IsBusyAt(instruction)) return false;
    // In a call of the system, which is about to be made again, and always the same one: who holds a lock of the allocator
    // is not there for long.
    constexpr unsigned char systemCall[] = {0x0f, 0x05};
    auto const* const code = reinterpret_cast<unsigned char const*>(instruction);
    bool const isCall = std::memcmp(code, systemCall, 2) == 0 || std::memcmp(code - 2, systemCall, 2) == 0;
    bool const isSame = isCall && instruction == m_instruction && stack == m_stack;
    m_instruction = instruction;
    m_stack = stack;
    m_numSame = isSame ? m_numSame + 1 : 0;
    return m_numSame < patience;
}

/// Whether a suspended thread runs no more of its own code.
bool SystemThread::IsHalted() const {
    return m_isStopped || m_sleepWord || m_ended;
}

/// Signals the thread until it halts. False if it has ended, or does not hear.
bool SystemThread::Halt() {
    for (int tries = 0; !IsHalted(); ++tries) {
        m_isForced = tries >= deafness;
        int const before = m_numAnswers;
        if (::pthread_kill(m_handle, SignalNumber()) != 0) break;
        for (int i = 0; !IsHalted() && m_numAnswers == before; ++i) {
            if (i == deafness) return false;
            Pause(i < 20);
        }
        if (!IsHalted()) Pause(false);
    }
    return !m_ended;
}

unsigned long SystemThread::Suspend() {
    if (t_current == this) {
        int const count = m_suspensions.fetch_add(1);
        StopHere();
        return static_cast<unsigned long>(count);
    }
    Id();
    std::lock_guard const lock(m_mutex);
    if (m_ended || m_isDying) return failure;
    int const count = m_suspensions.fetch_add(1);
    if (count > 0 || Halt()) return static_cast<unsigned long>(count);
    m_suspensions.fetch_sub(1);
    WakeAll(&m_suspensions);
    return failure;
}

unsigned long SystemThread::Resume() {
    std::lock_guard const lock(m_mutex);
    if (m_ended) return failure;
    int const count = m_suspensions;
    if (count > 0) {
        m_suspensions = count - 1;
        WakeAll(&m_suspensions);
    }
    return static_cast<unsigned long>(count);
}

bool SystemThread::SetNice(unsigned long id, int nice) {
    return ::setpriority(PRIO_PROCESS, static_cast<id_t>(id), nice) == 0;
}

bool SystemThread::GetNice(unsigned long id, int& nice) {
    errno = 0;
    int const value = ::getpriority(PRIO_PROCESS, static_cast<id_t>(id));
    if (errno == 0) nice = value;
    return errno == 0;
}

bool SystemThread::WaitForEnd(unsigned long timeout) {
    if (m_ended || timeout == 0) return m_ended;
    Deadline const deadline = DeadlineAfter(timeout);
    while (!m_ended)
        if (!SleepWhile(m_ended, 0, deadline)) break;
    return m_ended;
}

bool SystemThread::Kill() {
    if (t_current == this) ExitAtOnce();
    Id();
    std::unique_lock lock(m_mutex);
    m_isDying = 1;
    m_suspensions = 0;
    WakeAll(&m_suspensions);
    for (int tries = 0;; ++tries) {
        lock.unlock();  // it may be at its regular end
        if (m_ended) return true;
        m_isForced = tries >= deafness;
        ::pthread_kill(m_handle, SignalNumber());
        Pause(tries < 20);
        // Only one that was killed is gone without having said so.
        bool const isGone = ::syscall(SYS_tgkill, ::getpid(), m_id.load(), 0) != 0 && errno == ESRCH;
        lock.lock();
        if (m_ended) return true;
        if (isGone) break;
        if (tries >= deafness + patience) return false;
    }
    Abandon(std::thread::id(m_handle));
    m_isKilled = 1;
    m_ended = 1;
    WakeAll(&m_ended);
    lock.unlock();
    std::shared_ptr<SystemThread> const self = std::move(m_self);
    return true;
}

SleepPlace::SleepPlace(std::atomic<int>& word) : m_thread(t_current) {
    if (!m_thread) return;
    m_thread->m_sleepWord = &word;
    int awake = 0;
    if (m_thread->m_isDying) word.compare_exchange_strong(awake, killed);
}

SleepPlace::~SleepPlace() {
    if (!m_thread) return;
    m_thread->m_sleepWord = nullptr;
    if (m_thread->m_suspensions > 0) m_thread->StopHere();
}

void SleepPlace::EndKilled() {
    ExitAtOnce();
}

}  // namespace KxN::detail
