// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// How a fault reaches the translator. The signal handler runs on an alternate stack with every signal blocked. It only
// decides: a fault that is not translated goes on to what the program had installed before. For one that is, it
// writes a FaultFrame below the stack of the thread, points the thread's registers at the trampoline and returns, so
// that the system itself ends the signal: the mask, the alternate stack and the floating-point units are in order
// before the translator runs, and no exception ever crosses the signal's frame. The trampoline's unwind information
// says that its caller is the instruction that faulted.
//
// If the translator returns, the trampoline runs into an illegal instruction of its own, which the handler knows: it
// puts back the whole state that the frame holds and goes on as for a fault that is not translated.
#include "hbtools/base/syFault.h"

#include "base/posix/syFaultCode.h"
#include "base/posix/syFloatControl.h"
#include "base/posix/syStopPoint.h"
#include "base/posix/syThreadObject.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <mutex>
#include <dlfcn.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>
#include <unwind.h>

namespace KxN::detail {

/// Below the stack of the thread while its translator runs. The trampoline knows where the registers are.
struct FaultFrame {
    std::uintptr_t unwindRegisters[17];  // as unwind information numbers them, the instruction last
    Fault fault;
    CONTEXT context;
    unsigned int mxcsr;
    unsigned short x87Control;
    // What is put back if the fault takes its course.
    siginfo_t info;
    mcontext_t registers;
    std::size_t stateSize;  // of the floating-point state, which follows the frame
};

}  // namespace KxN::detail

// Entered with the stack pointer at the frame. Every register of the caller is found there: number n at 8 * n.
// clang-format off
#define HB_SAVED(n) ".cfi_escape 0x10, " #n ", 3, 0x77, ((8*" #n ") & 0x7f) | 0x80, (8*" #n ") >> 7\n\t"
asm(".text\n\t"
    ".p2align 4\n\t"
    ".type hbFaultTrampoline, @function\n\t"
    ".hidden hbFaultTrampoline\n\t"
    ".globl hbFaultTrampoline\n"
    "hbFaultTrampoline:\n\t"
    ".cfi_startproc\n\t"
    ".cfi_signal_frame\n\t"
    ".cfi_escape 0x0f, 4, 0x77, (8*7) | 0x80, 0, 0x06\n\t"  // the caller's stack pointer is number 7
    HB_SAVED(0) HB_SAVED(1) HB_SAVED(2) HB_SAVED(3) HB_SAVED(4) HB_SAVED(5) HB_SAVED(6)
    HB_SAVED(8) HB_SAVED(9) HB_SAVED(10) HB_SAVED(11) HB_SAVED(12) HB_SAVED(13) HB_SAVED(14) HB_SAVED(15) HB_SAVED(16)
    "movq %rsp, %rdi\n\t"
    "call hbFaultTranslate\n"
    ".globl hbFaultDeclined\n\t"
    ".hidden hbFaultDeclined\n"
    "hbFaultDeclined:\n\t"
    "ud2\n\t"
    ".cfi_endproc\n\t"
    ".size hbFaultTrampoline, . - hbFaultTrampoline\n");
// clang-format on
extern "C" {
[[gnu::visibility("hidden")]] extern char hbFaultTrampoline[];
[[gnu::visibility("hidden")]] extern char hbFaultDeclined[];
[[gnu::visibility("hidden"), gnu::used]] void hbFaultTranslate(KxN::detail::FaultFrame* frame);
}

namespace KxN {

using namespace detail;

namespace {

constexpr std::uintptr_t redZone = 128;           // below the stack pointer, and still the function's
constexpr std::size_t roomForTranslator = 12288;  // what making, throwing and catching an exception takes
constexpr std::size_t signalStackSize = 65536;
constexpr unsigned int alignmentCheck = 0x40000;
constexpr long long flagsToClear = 0x100 | 0x400 | alignmentCheck;  // single step, direction

constexpr int signals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP};
struct sigaction g_former[std::size(signals)];

struct Thread {
    KxFaultTranslator translator;
    std::uintptr_t stackBegin, stackEnd;  // of the thread's own stack
    bool isTranslating;
};
// Reached from the handler, so it must be there without a call into the loader.
[[gnu::tls_model("initial-exec")]] constinit thread_local Thread t_thread = {};

/// The stack on which the handler runs. One that somebody else made for the thread will do.
class SignalStack {
public:
    SignalStack() {
        stack_t current{};
        ::sigaltstack(nullptr, &current);
        std::size_t const needed = std::max<std::size_t>(::getauxval(AT_MINSIGSTKSZ), 4096) + 8192;
        if (!(current.ss_flags & SS_DISABLE) && current.ss_size >= needed) return;
        auto const page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        m_size = page + std::max(needed, signalStackSize);
        void* const memory =
            ::mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
        if (memory == MAP_FAILED) return;  // the handler shares the stack of the thread then
        m_memory = memory;
        ::mprotect(memory, page, PROT_NONE);
        stack_t own{};
        own.ss_sp = static_cast<char*>(memory) + page;
        own.ss_size = m_size - page;
        ::sigaltstack(&own, nullptr);
    }
    SignalStack(SignalStack const&) = delete;
    SignalStack& operator=(SignalStack const&) = delete;
    ~SignalStack() {
        if (!m_memory) return;
        stack_t current{}, none{};
        none.ss_flags = SS_DISABLE;
        ::sigaltstack(nullptr, &current);
        bool const isOwn = current.ss_sp > m_memory && current.ss_sp < static_cast<char*>(m_memory) + m_size;
        if (isOwn && ::sigaltstack(&none, nullptr) != 0) return;  // the thread ends on it
        ::munmap(m_memory, m_size);
    }

private:
    void* m_memory = nullptr;
    std::size_t m_size = 0;
};
constinit thread_local detail::ThreadObject<SignalStack> t_signalStack;

/// Of the first thread without asking the system's list of mappings, which needs a free descriptor: the name of the
/// program stands at its end.
void FindMainStack(Thread& thread) {
    constexpr rlim_t usual = 8 << 20;
    rlimit limit{};
    if (::getrlimit(RLIMIT_STACK, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) limit.rlim_cur = usual;
    std::uintptr_t const end = ::getauxval(AT_EXECFN);
    if (end <= limit.rlim_cur) return;
    thread.stackEnd = end;
    thread.stackBegin = end - limit.rlim_cur;
}

void FindStack(Thread& thread) {
    pthread_attr_t attributes;
    if (::pthread_getattr_np(::pthread_self(), &attributes) != 0) {
        if (::getpid() == ::syscall(SYS_gettid)) FindMainStack(thread);
        return;
    }
    void* begin = nullptr;
    std::size_t size = 0, guard = 0;
    ::pthread_attr_getstack(&attributes, &begin, &size);
    ::pthread_attr_getguardsize(&attributes, &guard);
    ::pthread_attr_destroy(&attributes);
    thread.stackEnd = reinterpret_cast<std::uintptr_t>(begin) + size;
    thread.stackBegin = reinterpret_cast<std::uintptr_t>(begin) + guard;
}

/// Bytes of the floating-point state of a signal's context, wide registers included.
HB_PLAIN std::size_t StateSize(_libc_fpstate const& state) {
    constexpr std::size_t plain = 512;
    constexpr std::uint32_t isExtended = 0x46505853;
    std::uint32_t words[2];  // a mark and the size, in what the plain form leaves free
    CopyBytes(words, reinterpret_cast<char const*>(&state) + 464, sizeof words);
    return words[0] == isExtended ? words[1] : plain;
}

/// Where the frame goes, with the floating-point state behind it. Null if the stack at the fault is used up, or is none
/// of the thread's own.
HB_PLAIN FaultFrame* FindRoom(Thread const& thread, Fault const& fault, std::uintptr_t stack, std::size_t stateSize) {
    if (stack > thread.stackEnd || stack < thread.stackBegin) return nullptr;
    std::uintptr_t const address = fault.record.parameters[1];
    bool const isBelow = address < thread.stackBegin && address >= thread.stackBegin - signalStackSize;
    if (fault.record.code == FAULT_ACCESS_VIOLATION && isBelow) return nullptr;
    std::uintptr_t end = stack - redZone;
    auto const here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    if (here < end && here >= thread.stackBegin) end = here - 4096;  // somebody took the handler's stack away
    std::uintptr_t const place = (end - sizeof(FaultFrame) - stateSize) & ~std::uintptr_t{63};
    if (end < thread.stackBegin || place < thread.stackBegin + roomForTranslator) return nullptr;
    return reinterpret_cast<FaultFrame*>(place);
}

/// Takes the fault to the trampoline. False if the thread does not translate it.
HB_PLAIN bool Redirect(int signal, siginfo_t const& info, ucontext_t& context) {
    Thread const& thread = t_thread;
    if (!thread.translator || thread.isTranslating) return false;
    Fault fault;
    if (!DecodeFault(signal, info, context, fault)) return false;
    auto& registers = context.uc_mcontext.gregs;
    auto stack = static_cast<std::uintptr_t>(registers[REG_RSP]);
    _libc_fpstate& state = *context.uc_mcontext.fpregs;
    std::size_t const stateSize = StateSize(state);
    FaultFrame* const frame = FindRoom(thread, fault, stack, stateSize);
    if (!frame) return false;
    std::uintptr_t caller = 0;
    if (fault.isCall) {
        if (thread.stackEnd - stack < sizeof caller) return false;
        CopyBytes(&caller, reinterpret_cast<void const*>(stack), sizeof caller);
        if (!IsReturnAddress(caller)) return false;  // nobody knows where it came from
    }

    CopyBytes(&frame->info, &info, sizeof info);
    CopyBytes(&frame->registers, &context.uc_mcontext, sizeof frame->registers);
    frame->registers.fpregs = reinterpret_cast<_libc_fpstate*>(frame + 1);
    frame->stateSize = stateSize;
    CopyBytes(frame + 1, &state, stateSize);

    if (fault.isCall) {  // unwinding starts at the caller: nothing is known of where it went
        fault.unwindFrom = caller - 1;
        stack += sizeof caller;
    }
    static constexpr int order[] = {REG_RAX, REG_RDX, REG_RCX, REG_RBX, REG_RSI, REG_RDI, REG_RBP, REG_RSP,
                                    REG_R8,  REG_R9,  REG_R10, REG_R11, REG_R12, REG_R13, REG_R14, REG_R15};
    for (std::size_t i = 0; i < std::size(order); ++i)
        frame->unwindRegisters[i] = static_cast<std::uintptr_t>(registers[order[i]]);
    frame->unwindRegisters[7] = stack;
    frame->unwindRegisters[16] = fault.unwindFrom;
    CopyBytes(&frame->fault, &fault, sizeof fault);
    frame->mxcsr = state.mxcsr;
    frame->x87Control = state.cwd;
    frame->context = {reinterpret_cast<std::uintptr_t>(fault.record.address),
                      static_cast<std::uintptr_t>(registers[REG_RSP]),
                      FloatFlagsFromUnit(state.mxcsr >> mxcsrMaskShift & unitFlags),
                      FloatFlagsFromUnit((state.mxcsr | state.swd) & unitFlags), &frame->registers};

    // The translator starts as a function does: no single steps, an empty x87 stack. And nothing traps in it.
    registers[REG_EFL] &= ~flagsToClear;
    state.mxcsr |= unitFlags << mxcsrMaskShift;
    state.cwd |= unitFlags;
    state.swd &= unitFlags | x87StackFault;
    state.ftw = 0;
    registers[REG_RSP] = reinterpret_cast<greg_t>(frame);
    registers[REG_RIP] = reinterpret_cast<greg_t>(hbFaultTrampoline);
    return true;
}

/// Puts the thread back to where the fault happened. Returns the fault's signal.
HB_PLAIN int Restore(FaultFrame const& frame, siginfo_t& info, ucontext_t& context) {
    auto* const state = context.uc_mcontext.fpregs;
    std::size_t const size = std::min(frame.stateSize, StateSize(*state));
    CopyBytes(state, &frame + 1, size);
    CopyBytes(&context.uc_mcontext.gregs, &frame.registers.gregs, sizeof frame.registers.gregs);
    CopyBytes(&info, &frame.info, sizeof info);
    return info.si_signo;
}

/// What would have happened without us. The handler of old runs with the mask that it asked for; the default action
/// strikes when ours has returned, so that a core shows the fault itself.
HB_PLAIN void TakeItsCourse(int signal, siginfo_t& info, ucontext_t& context) {
    struct sigaction former {};
    for (std::size_t i = 0; i < std::size(signals); ++i)
        if (signals[i] == signal) former = g_former[i];
    bool const isSent = info.si_code <= 0;
    if (!(former.sa_flags & SA_SIGINFO)) {
        if (former.sa_handler == SIG_IGN && isSent) return;
        if (former.sa_handler == SIG_DFL || former.sa_handler == SIG_IGN) {
            former.sa_handler = SIG_DFL;
            ::sigaction(signal, &former, nullptr);
            ::syscall(SYS_rt_tgsigqueueinfo, ::getpid(), ::syscall(SYS_gettid), signal, &info);
            return;
        }
    }
    sigset_t mask = context.uc_sigmask, current;
    sigorset(&mask, &mask, &former.sa_mask);
    if (!(former.sa_flags & SA_NODEFER)) sigaddset(&mask, signal);
    ::pthread_sigmask(SIG_SETMASK, &mask, &current);
    if (former.sa_flags & SA_SIGINFO)
        former.sa_sigaction(signal, &info, &context);
    else
        former.sa_handler(signal);
    ::pthread_sigmask(SIG_SETMASK, &current, nullptr);
}

HB_PLAIN void OnSignal(int signal, siginfo_t* info, void* native) {
    // The system leaves the alignment check on, which compiled code does not stand.
    __builtin_ia32_writeeflags_u64(__builtin_ia32_readeflags_u64() & ~alignmentCheck);
    int const keep = errno;
    auto& context = *static_cast<ucontext_t*>(native);
    siginfo_t own;
    CopyBytes(&own, info, sizeof own);
    auto const& registers = context.uc_mcontext.gregs;
    if (registers[REG_RIP] == reinterpret_cast<greg_t>(hbFaultDeclined))
        signal = Restore(*reinterpret_cast<FaultFrame const*>(registers[REG_RSP]), own, context);
    else if (Redirect(signal, own, context))
        return;
    TakeItsCourse(signal, own, context);
    errno = keep;
}

void Install() {
    struct sigaction action {};
    action.sa_sigaction = OnSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    ::sigfillset(&action.sa_mask);  // a fault in the handler ends the process
    for (std::size_t i = 0; i < std::size(signals); ++i) {
        ::sigaction(signals[i], nullptr, &g_former[i]);  // known before the handler can run
        ::sigaction(signals[i], &action, nullptr);
    }
}

/// The entries of the allocator.
std::uintptr_t const g_allocator[] = {
    reinterpret_cast<std::uintptr_t>(&std::malloc),         reinterpret_cast<std::uintptr_t>(&std::free),
    reinterpret_cast<std::uintptr_t>(&std::realloc),        reinterpret_cast<std::uintptr_t>(&std::calloc),
    reinterpret_cast<std::uintptr_t>(&std::aligned_alloc),  reinterpret_cast<std::uintptr_t>(&::memalign),
    reinterpret_cast<std::uintptr_t>(&::posix_memalign),    reinterpret_cast<std::uintptr_t>(&::malloc_trim),
    reinterpret_cast<std::uintptr_t>(&::malloc_usable_size)};

/// Whether the fault lies within the allocator, whose lock may be held: the exception could not be made. Asked on the
/// stack of the thread. Takes no lock.
bool IsInAllocator(void* address) {
    dl_find_object module{};
    if (::_dl_find_object(reinterpret_cast<void*>(g_allocator[0]), &module) != 0) return false;
    if (address < module.dlfo_map_start || address >= module.dlfo_map_end) return false;  // as nearly always
    struct Search {
        int frames = 10;
        bool isFound = false;
    } search;
    ::_Unwind_Backtrace(
        [](_Unwind_Context* context, void* argument) {
            auto& state = *static_cast<Search*>(argument);
            std::uintptr_t const function = ::_Unwind_GetRegionStart(context);
            state.isFound =
                std::find(std::begin(g_allocator), std::end(g_allocator), function) != std::end(g_allocator);
            return state.isFound || --state.frames == 0 ? _URC_END_OF_STACK : _URC_NO_REASON;
        },
        &search);
    return search.isFound;
}

/// While the translator runs: another fault is not translated, nothing traps, and the thread's floating-point traps
/// come back at the end, unless the translator has set a word of its own. What happened meanwhile is forgotten then.
class Translating {
public:
    Translating(unsigned int mxcsr, unsigned short x87Control) : m_mxcsr(mxcsr), m_x87Control(x87Control) {
        t_thread.isTranslating = true;
    }
    Translating(Translating const&) = delete;
    Translating& operator=(Translating const&) = delete;
    ~Translating() {
        t_thread.isTranslating = false;
        unsigned int const masks = unitFlags << mxcsrMaskShift;
        unsigned int const mxcsr = ReadMxcsr() & ~unitFlags;
        WriteMxcsr((mxcsr & masks) == masks ? (mxcsr & ~masks) | (m_mxcsr & masks) : mxcsr);
        bool const isMasked = (ReadX87Control() & unitFlags) == unitFlags;
        WriteX87Control(isMasked ? m_x87Control : ReadX87Control());
    }

private:
    unsigned int const m_mxcsr;
    unsigned short const m_x87Control;
};

}  // namespace

KxFaultTranslator KxxSetFaultTranslator(KxFaultTranslator translator) noexcept {
    Thread& thread = t_thread;
    if (translator && thread.stackEnd == 0) {
        try {
            t_signalStack.Get();
        } catch (std::bad_alloc const&) {}  // the handler shares the stack of the thread then
        FindStack(thread);
        detail::Hold const hold;  // nobody else comes past one who is stopped in it
        static std::once_flag once;
        std::call_once(once, Install);
    }
    KxFaultTranslator const former = thread.translator;
    thread.translator = translator;
    return former;
}

void KxxRaiseFault(unsigned int code, std::initializer_list<std::uintptr_t> parameters) {
    KxFaultTranslator const translator = t_thread.translator;
    if (!translator || t_thread.isTranslating) return;
    EXCEPTION_RECORD record{};
    record.code = code;
    for (std::uintptr_t const parameter : parameters)
        if (record.parameterCount < std::size(record.parameters))
            record.parameters[record.parameterCount++] = parameter;
    EXCEPTION_POINTERS pointers = {&record, nullptr};
    Translating const translating(ReadMxcsr(), ReadX87Control());
    WriteMxcsr(ReadMxcsr() | unitFlags << mxcsrMaskShift);
    WriteX87Control(static_cast<unsigned short>(ReadX87Control() | unitFlags));
    translator(code, &pointers);
}

}  // namespace KxN

/// On the thread's own stack, called by the trampoline.
void hbFaultTranslate(KxN::detail::FaultFrame* frame) {
    using namespace KxN;
    Translating const translating(frame->mxcsr, frame->x87Control);
    if (IsInAllocator(frame->fault.record.address)) return;
    EXCEPTION_POINTERS pointers = {&frame->fault.record, &frame->context};
    t_thread.translator(frame->fault.record.code, &pointers);
}
