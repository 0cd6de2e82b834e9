// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "sySystemThread.h"

#include "base/syAbandoned.h"
#include "syStopPoint.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <link.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

namespace KxN::detail {

[[gnu::tls_model("initial-exec")]] constinit thread_local int t_isAwaited = 0;
[[gnu::tls_model("initial-exec")]] constinit thread_local int t_numHeld = 0;

namespace {

// Counts of answers to the signal, one about every 0.25 ms.
constexpr int patience = 50;         // a thread that stands so often in one call of the system is blocked there
constexpr int stubbornness = 4000;   // one found so often where it should not be taken does not leave it by itself
constexpr int numUnsentMost = 4000;  // signals that the system does not take
constexpr std::chrono::seconds deafTime(1);     // without an answer while the signal is blocked
constexpr std::chrono::seconds silentTime(10);  // without one for no processor or in a call that nothing interrupts
constexpr long joinTime = 10000000;             // nanoseconds that the last steps of an ended thread may take

// Reached from the handler, so they must be there without a call into the loader.
[[gnu::tls_model("initial-exec")]] constinit thread_local SystemThread* t_current = nullptr;
[[gnu::tls_model("initial-exec")]] constinit thread_local unsigned long long t_identity = 0;
[[gnu::tls_model("initial-exec")]] constinit thread_local int t_numEndings = 0;

constinit std::atomic<unsigned long long> g_numIdentities = 0;
pthread_key_t g_endKey;
int const g_startNice = ::getpriority(PRIO_PROCESS, 0);  // of the process, when the library is loaded

struct Range {
    std::uintptr_t begin, end;
    bool Has(std::uintptr_t address) const { return begin <= address && address < end; }
};
std::array<Range, 24> g_busyCode;  // of libraries whose locks the thread may hold
std::size_t g_numBusyCode = 0;
Range g_ownCode{};  // whose locks are counted
// Of the C library's, but without locks, and with the address of the caller on top of the stack.
std::array<Range, 4> g_leafCode{};

bool IsBusyAt(std::uintptr_t instruction) {
    for (std::size_t i = 0; i < g_numBusyCode; ++i)
        if (g_busyCode[i].Has(instruction)) return true;
    return false;
}

int NoteBusyCode(dl_phdr_info* info, std::size_t, void*) {
    static constexpr char const* names[] = {"/libc.so", "/libstdc++.so", "/ld-linux",   "/libgcc_s.so",
                                            "/libicu",  "/libasan.so",   "/libtsan.so", "/libubsan.so"};
    auto const own = reinterpret_cast<std::uintptr_t>(&IsBusyAt);
    bool isBusy = false;
    for (char const* const name : names) isBusy = isBusy || std::strstr(info->dlpi_name, name);
    bool const isProgram = !*info->dlpi_name;  // which may hold this library, but also what is to be stopped
    for (int i = 0; i < info->dlpi_phnum && g_numBusyCode < g_busyCode.size(); ++i) {
        auto const& header = info->dlpi_phdr[i];
        if (header.p_type != PT_LOAD || !(header.p_flags & PF_X)) continue;
        Range const range{info->dlpi_addr + header.p_vaddr, info->dlpi_addr + header.p_vaddr + header.p_memsz};
        bool const isOwn = !isProgram && range.Has(own);
        if (isOwn) g_ownCode = range;
        if (isBusy || isOwn) g_busyCode[g_numBusyCode++] = range;
    }
    return 0;
}

/// On processors with wide registers these stand among their like, and none of those saves a register on the stack.
void NoteLeafCode() {
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // whose own ones do save registers
    if (!__builtin_cpu_supports("avx2")) return;
    constexpr std::uintptr_t length = 1024;
    std::uintptr_t const begins[] = {
        reinterpret_cast<std::uintptr_t>(&std::memset), reinterpret_cast<std::uintptr_t>(&std::memcpy),
        reinterpret_cast<std::uintptr_t>(&std::memmove), reinterpret_cast<std::uintptr_t>(&std::memcmp)};
    for (std::size_t i = 0; i < std::size(begins); ++i) g_leafCode[i] = {begins[i], begins[i] + length};
#endif
}

#ifdef __SANITIZE_THREAD__  // which does not see the other join
constexpr clockid_t joinClock = CLOCK_REALTIME;
int JoinUntil(pthread_t thread, timespec const& until) {
    return ::pthread_timedjoin_np(thread, nullptr, &until);
}
#else
constexpr clockid_t joinClock = CLOCK_MONOTONIC;
int JoinUntil(pthread_t thread, timespec const& until) {
    return ::pthread_clockjoin_np(thread, nullptr, joinClock, &until);
}
#endif

int SignalNumber() {
    return SIGRTMIN + 3;
}

void Pause(bool isShort) {
    timespec const moment{0, isShort ? 5000 : 200000};
    ::nanosleep(&moment, nullptr);
}

/// Whether the thread of that number keeps the signal from itself, as far as the system tells.
bool BlocksSignal(int id) {
    std::array<char, 48> path;
    std::snprintf(path.data(), path.size(), "/proc/self/task/%d/status", id);
    int const file = ::open(path.data(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return true;
    std::array<char, 4096> text;
    ssize_t const length = ::read(file, text.data(), text.size() - 1);
    ::close(file);
    text[static_cast<std::size_t>(std::max<ssize_t>(length, 0))] = 0;
    constexpr char key[] = "SigBlk:";
    char const* const found = std::strstr(text.data(), key);
    return !found || (std::strtoull(found + sizeof key - 1, nullptr, 16) >> (SignalNumber() - 1) & 1) != 0;
}

}  // namespace

struct ThreadSignal {
    static void Handle(int, siginfo_t*, void* context) {
        SystemThread* const thread = t_current;
        if (!thread) return;
        int const error = errno;
        auto const& registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
        bool const isHolding = t_numHeld > 0;
        bool const isBusy = isHolding || thread->IsBusy(static_cast<std::uintptr_t>(registers[REG_RIP]),
                                                        static_cast<std::uintptr_t>(registers[REG_RSP]));
        std::atomic<int>* const word = thread->m_sleepWord;
        if (thread->m_isDying) {
            int awake = 0;
            if (word)
                word->compare_exchange_strong(awake, SleepPlace::killed);
            else if (!isBusy)
                thread->Die();
        } else if (thread->m_suspensions > 0 && !isBusy) {
            thread->StopHere();
        }
        t_isAwaited = isBusy;
        thread->m_isHolding = isHolding;
        thread->m_numAnswers = thread->m_numAnswers + 1;
        errno = error;
    }

    static void StopOnTheWay() {
        t_isAwaited = 0;
        if (t_current->m_isDying) t_current->Die();
        if (t_current->m_suspensions > 0) t_current->StopHere();
    }

    static bool Install() {
        ::dl_iterate_phdr(&NoteBusyCode, nullptr);
        NoteLeafCode();
        struct sigaction action {};
        action.sa_sigaction = &Handle;
        action.sa_flags = SA_SIGINFO | SA_RESTART;
        ::sigfillset(&action.sa_mask);
        return ::sigaction(SignalNumber(), &action, nullptr) == 0;
    }

    /// The destructor of a key of thread-specific data: behind those of the thread's own objects. It lets those of other
    /// keys run first, and is done one round before the last, in which the sanitizers give up the thread.
    static void End(void* value) {
        if (++t_numEndings < PTHREAD_DESTRUCTOR_ITERATIONS - 1 && ::pthread_setspecific(g_endKey, value) == 0) return;
        if (t_identity != 0) Abandon(t_identity);
        SystemThread* const thread = t_current;
        t_current = nullptr;  // from here on no signal has a meaning
        if (thread) thread->Finish();
    }

    static bool PrepareEnds() {
        static bool const isPrepared = ::pthread_key_create(&g_endKey, &End) == 0;
        return isPrepared;
    }
};

void StopPoint(void const* caller) noexcept {
    if (!IsBusyAt(reinterpret_cast<std::uintptr_t>(caller))) StopNow();
}

void StopNow() noexcept {
    if (t_current && t_numHeld == 0 && !t_current->m_sleepWord) ThreadSignal::StopOnTheWay();
}

unsigned long long ThreadIdentity() {
    if (t_identity == 0) {
        t_identity = ++g_numIdentities;
        // The value need only be there.
        if (!t_current && ThreadSignal::PrepareEnds()) ::pthread_setspecific(g_endKey, &g_endKey);
    }
    return t_identity;
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
                         std::size_t stackSize, bool suspended, void const* code) {
    static bool const isInstalled = ThreadSignal::Install();
    if (!isInstalled || !ThreadSignal::PrepareEnds()) return false;
    auto thread = std::make_shared<SystemThread>();
    thread->m_body = body;
    thread->m_argument = argument;
    thread->m_module = KxModuleHold(code);  // not by the new thread: the caller may hold the loader's lock
    thread->m_suspensions = suspended ? 1 : 0;
    pthread_attr_t attributes;
    if (::pthread_attr_init(&attributes) != 0) return false;
    int error = 0;
    if (stackSize > 0) {
        std::size_t const least = static_cast<std::size_t>(::sysconf(_SC_THREAD_STACK_MIN)) + 16384, page = 4096;
        error = ::pthread_attr_setstacksize(&attributes, (std::max(stackSize, least) + page - 1) / page * page);
    }
    if (error == 0) {
        thread->m_self = thread;
        place = thread;  // before it runs, since the place may be gone then
        // The thread notes its handle itself: what stands here after a failure is no thread.
        pthread_t handle;
        error = ::pthread_create(&handle, &attributes, &Enter, thread.get());
        if (error != 0) {
            thread->m_self.reset();
            place.reset();
        }
    }
    ::pthread_attr_destroy(&attributes);
    return error == 0;
}

SystemThread::~SystemThread() {
    if (m_handle == pthread_t{}) return;
#ifdef __SANITIZE_THREAD__
    if (m_isKilled) return;  // it would wait for ever for one that did not end in its sight
#endif
    if (m_isKilled) {
        ::pthread_join(m_handle, nullptr);  // only the system has still to do with it
        return;
    }
    // What is left are steps of the C library, and perhaps other libraries' data of the thread, for which nobody waits.
    timespec until{};
    ::clock_gettime(joinClock, &until);
    until.tv_nsec += joinTime;
    if (until.tv_nsec >= 1000000000) {
        ++until.tv_sec;
        until.tv_nsec -= 1000000000;
    }
    if (::pthread_equal(m_handle, ::pthread_self()) || JoinUntil(m_handle, until) != 0) ::pthread_detach(m_handle);
}

bool SystemThread::IsCurrent() const {
    return t_current == this;
}

void* SystemThread::Enter(void* argument) {
    auto* const thread = static_cast<SystemThread*>(argument);
    thread->m_handle = ::pthread_self();
    ::pthread_setspecific(g_endKey, thread);
    sigset_t own;
    ::sigemptyset(&own);
    ::sigaddset(&own, SignalNumber());
    ::pthread_sigmask(SIG_UNBLOCK, &own, nullptr);  // whoever starts it may keep all signals from itself
    t_current = thread;
    thread->m_id = static_cast<int>(::gettid());
    WakeAll(&thread->m_id);
    if (thread->m_suspensions > 0) thread->StopHere();
    if (thread->m_isDying) thread->Die();
    thread->m_body(thread->m_argument);
    return nullptr;
}

void SystemThread::Finish() {
    // Let go at the very end: who waits for that of the thread may hold the loader's lock.
    KxModuleHold const module = std::move(m_module), launched = std::move(m_launched);
    std::shared_ptr<SystemThread> const self = std::move(m_self);
    m_ended = 1;
    WakeAll(&m_ended);
}

/// The end of a killed thread, by itself where it stands. It holds no lock of this library, so it can take some.
void SystemThread::Die() {
    t_current = nullptr;
    if (t_identity != 0) Abandon(t_identity);
    // The next thread on this stack would find what this one has left under the keys of thread-specific data.
    for (pthread_key_t key = 0; key < PTHREAD_KEYS_MAX; ++key) ::pthread_setspecific(key, nullptr);
    m_isKilled = 1;
    std::atomic<int>* const ended = &m_ended;
    *ended = 1;
    WakeAll(ended);
    // Ends this thread only. The system gives back the robust locks that it holds and wakes who joins it.
    for (;;) ::syscall(SYS_exit, 0);
}

/// A killed thread holds itself until somebody sees that it has ended.
void SystemThread::LetGo() {
    std::shared_ptr<SystemThread> self;
    std::lock_guard const lock(m_mutex);
    if (m_isKilled) self = std::move(m_self);
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
    if (m_isDying && !m_sleepWord) Die();
}

/// Whether it stands where it may hold a lock that others need. For its handler.
bool SystemThread::IsBusy(std::uintptr_t instruction, std::uintptr_t stack) {
    if (!IsBusyAt(instruction)) return false;
    for (Range const& leaf : g_leafCode)
        if (leaf.Has(instruction) && !IsBusyAt(*reinterpret_cast<std::uintptr_t const*>(stack))) return false;
    // One that never leaves this library holds none of its locks. Only a kill must come to an end elsewhere too.
    if (m_isForced && (m_isDying || g_ownCode.Has(instruction))) return false;
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

/// Whether there is nothing left to wait for: a thread to be killed has ended, one to be suspended runs no more of its own
/// code, or need not stop any more.
bool SystemThread::IsReached(bool isKill) const {
    return m_ended || (!isKill && (m_isStopped || m_sleepWord || m_suspensions == 0));
}

/// Waits for the answer to a signal. False if none will come.
bool SystemThread::AwaitAnswer(bool isKill, int numAnswers) const {
    Clock::time_point const start = Clock::now();
    Clock::time_point heard = start;
    for (int i = 1; !IsReached(isKill) && m_numAnswers == numAnswers; ++i) {
        if (i % 64 == 0) {
            Clock::time_point const now = Clock::now();
            if (!BlocksSignal(m_id)) heard = now;
            if (now - heard > deafTime || now - start > silentTime) return false;
        }
        Pause(i < 20);
    }
    return true;
}

/// Signals the thread until it is reached. False if it does not hear, or, to be suspended, never leaves the C library.
bool SystemThread::Reach(bool isKill) {
    for (int numRefusals = 0, numUnsent = 0; !IsReached(isKill);) {
        int const before = m_numAnswers;
        bool const isSent = ::pthread_kill(m_handle, SignalNumber()) == 0;
        if (isSent ? !AwaitAnswer(isKill, before) : ++numUnsent == numUnsentMost)
            break;  // too many wait in the process
        if (IsReached(isKill)) break;
        Pause(false);
        if (!isSent || m_isHolding) continue;  // what it holds comes to an end
        m_isForced = ++numRefusals >= stubbornness;
        if (!isKill && numRefusals >= 2 * stubbornness) break;
    }
    m_isForced = 0;
    return IsReached(isKill);
}

unsigned long SystemThread::CountSuspension() {
    Id();
    std::lock_guard const lock(m_mutex);
    if (m_ended || m_isDying) return failure;
    return static_cast<unsigned long>(m_suspensions.fetch_add(1));
}

bool SystemThread::Halt() {
    if (IsCurrent()) {
        if (m_suspensions > 0) StopHere();
        return true;
    }
    if (Reach(false)) return !m_ended;
    Resume();  // takes the count back
    return false;
}

unsigned long SystemThread::Suspend() {
    unsigned long const count = CountSuspension();
    return count != failure && Halt() ? count : failure;
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
    return ::setpriority(PRIO_PROCESS, static_cast<id_t>(id), std::clamp(g_startNice + nice, -20, 19)) == 0;
}

bool SystemThread::GetNice(unsigned long id, int& nice) {
    errno = 0;
    int const value = ::getpriority(PRIO_PROCESS, static_cast<id_t>(id));
    if (errno == 0) nice = value - g_startNice;
    return errno == 0;
}

bool SystemThread::WaitForEnd(unsigned long timeout) {
    if (!m_ended && timeout != 0) {
        Deadline const deadline = DeadlineAfter(timeout);
        while (!m_ended)
            if (!SleepWhile(m_ended, 0, deadline)) break;
    }
    if (!m_ended) return false;
    if (m_isKilled) LetGo();
    return true;
}

bool SystemThread::Kill() {
    Id();
    {
        std::lock_guard const lock(m_mutex);
        m_isDying = 1;
        m_suspensions = 0;
        WakeAll(&m_suspensions);
    }
    if (IsCurrent()) Die();
    return Reach(true) && WaitForEnd(0);
}

SleepPlace::SleepPlace(std::atomic<int>& word) : m_thread(t_numHeld == 0 ? t_current : nullptr) {
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
    t_current->Die();
}

}  // namespace KxN::detail
