// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "base/posix/syFaultCode.h"

#include "base/posix/syFloatControl.h"

#include <dlfcn.h>

namespace KxN::detail {

namespace {

enum Trap : long long {  // the processor's own numbers, which the system hands on
    divideError = 0,
    debugTrap = 1,
    breakPoint = 3,
    illegalInstruction = 6,
    generalProtection = 13,
    x87Error = 16,
    simdError = 19
};

constexpr long long errorWrite = 2;
constexpr long long errorFetch = 16;
constexpr std::uintptr_t unknownAddress = ~std::uintptr_t{0};

using Bytes = unsigned char const*;

std::uintptr_t Register(ucontext_t const& context, unsigned int number) {
    // The order of the registers in instructions.
    static constexpr int order[] = {REG_RAX, REG_RCX, REG_RDX, REG_RBX, REG_RSP, REG_RBP, REG_RSI, REG_RDI,
                                    REG_R8,  REG_R9,  REG_R10, REG_R11, REG_R12, REG_R13, REG_R14, REG_R15};
    return static_cast<std::uintptr_t>(context.uc_mcontext.gregs[order[number & 15]]);
}

/// What stands before the code of an operation.
struct Prefixes {
    bool isShort = false;        // 16-bit operand
    bool isAddress32 = false;    // addresses of 32 bits
    bool isThreadBased = false;  // relative to the thread's own block
    unsigned int rex = 0;
};

Prefixes SkipPrefixes(Bytes& code) {
    Prefixes prefixes;
    for (;; ++code) {
        switch (*code) {
            case 0x66: prefixes.isShort = true; continue;
            case 0x67: prefixes.isAddress32 = true; continue;
            case 0x64: prefixes.isThreadBased = true; continue;
            case 0x26:
            case 0x2E:
            case 0x36:
            case 0x3E:
            case 0x65:
            case 0xF0:
            case 0xF2:
            case 0xF3: continue;
            default: break;
        }
        break;
    }
    if ((*code & 0xF0) == 0x40) prefixes.rex = *code++;
    return prefixes;
}

/// A signed number of one or four bytes within the instruction.
std::uintptr_t Displacement(Bytes code, unsigned int bytes) {
    std::int32_t value = static_cast<std::int8_t>(*code);
    if (bytes == 4) CopyBytes(&value, code, sizeof value);
    return static_cast<std::uintptr_t>(static_cast<std::intptr_t>(value));
}

/// The address of the memory operand whose description starts at `code`, after an operation that has nothing behind it.
std::uintptr_t OperandAddress(ucontext_t const& context, Bytes code, Prefixes const& prefixes) {
    unsigned int const mode = *code >> 6;
    unsigned int base = *code & 7U;
    ++code;
    std::uintptr_t address = 0;
    unsigned int displacement = mode == 1 ? 1 : mode == 2 ? 4 : 0;
    if (base == 4) {  // a second byte names base and index
        unsigned int const index = (*code >> 3 & 7U) | (prefixes.rex & 2U) << 2;
        unsigned int const scale = *code >> 6;
        base = *code & 7U;
        ++code;
        if (index != 4) address += Register(context, index) << scale;
        if (base == 5 && mode == 0)
            displacement = 4;
        else
            address += Register(context, base | (prefixes.rex & 1U) << 3);
    } else if (base == 5 && mode == 0) {  // relative to the next instruction
        displacement = 4;
        address = reinterpret_cast<std::uintptr_t>(code) + 4;
    } else {
        address = Register(context, base | (prefixes.rex & 1U) << 3);
    }
    if (displacement) address += Displacement(code, displacement);
    if (prefixes.isAddress32) address &= 0xFFFFFFFF;
    if (prefixes.isThreadBased) {
        std::uintptr_t block = 0;
        asm("mov %%fs:0, %0" : "=r"(block));
        address += block;
    }
    return address;
}

/// The processor has one trap for a divisor of zero and for a quotient that is too large: the divisor tells.
unsigned int DecodeDivision(ucontext_t const& context, Bytes code) {
    Prefixes const prefixes = SkipPrefixes(code);
    unsigned int const operation = *code++;
    if (operation != 0xF6 && operation != 0xF7) return FAULT_INT_DIVIDE_BY_ZERO;
    unsigned int const bytes = operation == 0xF6 ? 1 : prefixes.rex & 8U ? 8 : prefixes.isShort ? 2 : 4;
    std::uint64_t divisor = 0;
    if (*code >> 6 == 3) {
        unsigned int const number = (*code & 7U) | (prefixes.rex & 1U) << 3;
        bool const isHighByte = bytes == 1 && !prefixes.rex && number >= 4;  // ah, ch, dh, bh
        divisor = isHighByte ? Register(context, number - 4) >> 8 : Register(context, number);
    } else {
        CopyBytes(&divisor, reinterpret_cast<void const*>(OperandAddress(context, code, prefixes)), bytes);
    }
    if (bytes < 8) divisor &= (std::uint64_t{1} << 8 * bytes) - 1;
    return divisor == 0 ? FAULT_INT_DIVIDE_BY_ZERO : FAULT_INT_OVERFLOW;
}

/// Whether the instruction is for the system alone. It is asked only after a protection fault.
bool IsPrivileged(Bytes code) {
    SkipPrefixes(code);
    unsigned int const operation = *code++;
    switch (operation) {
        case 0xF4:  // hlt
        case 0xFA:  // cli
        case 0xFB:  // sti
            return true;
        case 0x0F: break;
        default: return (operation & 0xFC) == 0x6C || (operation & 0xF4) == 0xE4;  // ins, outs, in, out
    }
    unsigned int const second = *code++;
    switch (second) {
        case 0x00: return (*code >> 4 & 3U) == 1;  // lldt, ltr
        case 0x01: {                               // lgdt, lidt, lmsw, invlpg, swapgs, xsetbv
            unsigned int const extension = *code >> 3 & 7U;
            if (*code >> 6 == 3) return extension == 6 || *code == 0xF8 || *code == 0xD1;
            return extension == 2 || extension == 3 || extension == 6 || extension == 7;
        }
        case 0x06:  // clts
        case 0x07:  // sysret
        case 0x08:  // invd
        case 0x09:  // wbinvd
        case 0x20:  // mov to and from control and debug registers
        case 0x21:
        case 0x22:
        case 0x23:
        case 0x30:  // wrmsr
        case 0x31:  // rdtsc, where the system forbids it
        case 0x32:  // rdmsr
        case 0x33:  // rdpmc
        case 0x35:  // sysexit
            return true;
        case 0x38: return *code == 0x82;  // invpcid
        case 0xC7:                        // xrstors, xsaves
            return *code >> 6 != 3 && ((*code >> 3 & 7U) == 3 || (*code >> 3 & 7U) == 5);
        default: return false;
    }
}

/// The flags of events that trap. What stood there before under a mask does not count.
unsigned int DecodeFloat(ucontext_t const& context) {
    auto const& state = *context.uc_mcontext.fpregs;
    bool const isX87 = context.uc_mcontext.gregs[REG_TRAPNO] == x87Error;
    unsigned int const flags =
        isX87 ? state.swd & ~static_cast<unsigned int>(state.cwd) : state.mxcsr & ~(state.mxcsr >> mxcsrMaskShift);
    if (isX87 && (flags & 1) && (state.swd & x87StackFault)) return FAULT_FLOAT_STACK_CHECK;
    // The operands are looked at before the result.
    unsigned int const events = FloatFlagsFromUnit(flags & unitFlags);
    if (events & FLOAT_INVALID) return FAULT_FLOAT_INVALID_OPERATION;
    if (events & FLOAT_ZERO_DIVIDE) return FAULT_FLOAT_DIVIDE_BY_ZERO;
    if (events & FLOAT_DENORMAL) return FAULT_FLOAT_DENORMAL_OPERAND;
    if (events & FLOAT_OVERFLOW) return FAULT_FLOAT_OVERFLOW;
    if (events & FLOAT_UNDERFLOW) return FAULT_FLOAT_UNDERFLOW;
    return FAULT_FLOAT_INEXACT_RESULT;
}

bool IsCanonical(std::uintptr_t address) {
    auto const high = static_cast<std::intptr_t>(address) >> 47;
    return high == 0 || high == -1;
}

void DecodeAccess(siginfo_t const& info, ucontext_t const& context, Fault& fault) {
    auto const& registers = context.uc_mcontext.gregs;
    auto const instruction = static_cast<std::uintptr_t>(registers[REG_RIP]);
    fault.record.code = FAULT_ACCESS_VIOLATION;
    fault.record.parameterCount = 2;
    // The processor does not tell the address of what its protection rules refuse, such as one that is no address.
    bool const isKnown = info.si_code != SI_KERNEL;
    auto const address = isKnown ? reinterpret_cast<std::uintptr_t>(info.si_addr) : unknownAddress;
    auto const error = registers[REG_ERR];
    fault.isCall = isKnown ? (error & errorFetch) && address == instruction : !IsCanonical(instruction);
    fault.record.parameters[0] = fault.isCall                      ? FAULT_EXECUTE
                                 : isKnown && (error & errorWrite) ? FAULT_WRITE
                                                                   : FAULT_READ;
    fault.record.parameters[1] = fault.isCall ? instruction : address;
}

std::int32_t ReadInt(std::uintptr_t address) {
    std::int32_t value = 0;
    CopyBytes(&value, reinterpret_cast<void const*>(address), sizeof value);
    return value;
}

std::uintptr_t Offset(std::uintptr_t base, std::int32_t offset) {
    return base + static_cast<std::uintptr_t>(static_cast<std::intptr_t>(offset));
}

/// The beginning of the function that the address lies in, from the sorted table that modules bring along for unwinding.
/// 0 if there is none. Takes no lock, and reads nothing but that table.
std::uintptr_t FunctionOf(std::uintptr_t address) {
    constexpr std::uint32_t sortedTable = 0x3B031B;  // how its numbers are written, in the only form that is in use
    constexpr unsigned int headSize = 12, entrySize = 8;
    dl_find_object module{};
    if (::_dl_find_object(reinterpret_cast<void*>(address), &module) != 0 || !module.dlfo_eh_frame) return 0;
    auto const table = reinterpret_cast<std::uintptr_t>(module.dlfo_eh_frame);
    if ((static_cast<std::uint32_t>(ReadInt(table)) >> 8) != sortedTable) return 0;
    std::uintptr_t first = 0, end = static_cast<std::uint32_t>(ReadInt(table + 8));
    while (first < end) {  // the last entry that does not begin behind the address
        std::uintptr_t const middle = first + (end - first) / 2;
        if (Offset(table, ReadInt(table + headSize + middle * entrySize)) <= address)
            first = middle + 1;
        else
            end = middle;
    }
    if (first == 0) return 0;
    std::uintptr_t const entry = table + headSize + (first - 1) * entrySize;
    std::uintptr_t const begin = Offset(table, ReadInt(entry)), record = Offset(table, ReadInt(entry + 4));
    // The record tells the same beginning, relative to itself, and then the length.
    if (Offset(record + 8, ReadInt(record + 8)) != begin) return 0;
    return address - begin < static_cast<std::uint32_t>(ReadInt(record + 12)) ? begin : 0;
}

}  // namespace

bool IsReturnAddress(std::uintptr_t address) {
    std::uintptr_t const begin = FunctionOf(address - 1);
    if (begin == 0) return false;
    auto const end = reinterpret_cast<Bytes>(address);
    std::uintptr_t const room = address - begin;
    if (room >= 5 && end[-5] == 0xE8) return true;  // to a fixed place
    for (std::uintptr_t length = 2; length <= 7 && length <= room; ++length) {
        Bytes const code = end - length;
        if (code[0] != 0xFF || (code[1] >> 3 & 7U) != 2) continue;  // to where a register or a word in memory points
        unsigned int const operandMode = code[1] >> 6;
        bool const hasIndex = operandMode != 3 && (code[1] & 7U) == 4;
        unsigned int const base = hasIndex ? code[2] & 7U : code[1] & 7U;
        unsigned int const displacement = operandMode == 1                                      ? 1
                                          : operandMode == 2 || (operandMode == 0 && base == 5) ? 4
                                                                                                : 0;
        if (length == 2U + (hasIndex ? 1 : 0) + displacement) return true;
    }
    return false;
}

bool DecodeFault(int signal, siginfo_t const& info, ucontext_t const& context, Fault& fault) {
    if (info.si_code <= 0) return false;  // sent by somebody
    auto const& registers = context.uc_mcontext.gregs;
    auto const instruction = static_cast<std::uintptr_t>(registers[REG_RIP]);
    auto const trap = registers[REG_TRAPNO];
    auto const code = reinterpret_cast<Bytes>(instruction);
    fault = {};
    fault.unwindFrom = instruction;
    switch (signal) {
        case SIGFPE:
            if (trap != divideError && trap != x87Error && trap != simdError) return false;
            fault.record.code = trap == divideError ? DecodeDivision(context, code) : DecodeFloat(context);
            break;
        case SIGILL:
            if (trap != illegalInstruction) return false;
            fault.record.code = FAULT_ILLEGAL_INSTRUCTION;
            break;
        case SIGTRAP:
            if (trap == breakPoint) {
                fault.record.code = FAULT_BREAK_POINT;
                --fault.unwindFrom;  // the processor stands behind it
            } else if (trap == debugTrap) {
                fault.record.code = FAULT_SINGLE_STEP;
            } else {
                return false;
            }
            break;
        case SIGBUS:
            if (info.si_code == BUS_MCEERR_AR || info.si_code == BUS_MCEERR_AO) return false;  // broken memory
            if (info.si_code == BUS_ADRALN)
                fault.record.code = FAULT_DATA_MISALIGNMENT;
            else
                DecodeAccess(info, context, fault);  // a page of a file that is not there any more
            break;
        case SIGSEGV:
            if (trap == generalProtection && IsCanonical(instruction) && IsPrivileged(code))
                fault.record.code = FAULT_PRIVILEGED_INSTRUCTION;
            else
                DecodeAccess(info, context, fault);
            break;
        default: return false;
    }
    fault.record.address = reinterpret_cast<void*>(fault.isCall ? instruction : fault.unwindFrom);
    return true;
}

}  // namespace KxN::detail
