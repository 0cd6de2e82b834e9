// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "FaultTest.h"

#include <atomic>
#include <cpuid.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace KxN;
using namespace test;

namespace {

// clang-format off
struct {
    unsigned int code;
    char const* className;
} const classes[] = {
    {0xC0000005, "KxAccessViolationException"},      {0x80000002, "KxDataMisalignmentException"},
    {0x80000003, "KxBreakPointException"},           {0x80000004, "KxSingleStepException"},
    {0xC0000025, "KxNoncontinuableException"},       {0xC000008C, "KxArrayBoundsException"},
    {0xC000008D, "KxFloatDenormalOperandException"}, {0xC000008E, "KxFloatDivideByZeroException"},
    {0xC000008F, "KxFloatInexactResException"},      {0xC0000090, "KxFloatInvalidOpException"},
    {0xC0000091, "KxFloatOverflowException"},        {0xC0000092, "KxFloatStackCheckException"},
    {0xC0000093, "KxFloatUnderflowException"},       {0xC0000094, "KxIntDivideByZeroException"},
    {0xC0000095, "KxIntOverflowException"},          {0xC0000096, "KxPrivateInstructionException"}};
// clang-format on
// No instruction of a 64-bit process here raises 0xC000008C and 0xC0000025. The others have no class.
unsigned int const codesWithout[] = {0, 1, 0xC000001D, 0xC00000FD, 0xC06D007E, 0xC06D007F};

double Divide(double a, double b) {
    asm volatile("divsd %1, %0" : "+x"(a) : "x"(b));
    return a;
}
void Multiply(double a, double b) {
    asm volatile("mulsd %1, %0" : "+x"(a) : "x"(b));
}

__attribute__((no_sanitize("undefined"))) void CallVirtual() {
    reinterpret_cast<CObject*>(Null())->GetRuntimeClass();
}

void ReadBehindEndOfFile() {
    FILE* const file = std::tmpfile();
    EXPECT_EQ(::ftruncate(::fileno(file), 4096), 0);
    void* const mapped = ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, ::fileno(file), 0);
    EXPECT_EQ(::ftruncate(::fileno(file), 0), 0);
    std::fclose(file);
    asm volatile("mov (%0), %%eax" ::"r"(mapped) : "rax");
}

#define ASM(TEXT) [] { asm volatile(TEXT::: "rax", "rcx", "rdx", "r8", "xmm0", "memory", "cc"); }
// Sets bits of the flags; the 128 bytes below the stack pointer may be in use.
#define FLAGS(BITS) "lea -128(%%rsp), %%rsp; pushf; orl $" BITS ", (%%rsp); popf; lea 128(%%rsp), %%rsp;"

constexpr std::uintptr_t unknown = ~std::uintptr_t{0}, somewhere = 1;

struct {
    char const* name;
    void (*fault)();
    unsigned int code;  // 0: nothing happens
    std::uintptr_t access = 0, address = 0;
    unsigned int controlWord = FLOAT_INEXACT;
    // clang-format off
} const faults[] = {
    {"read", ReadNull, 0xC0000005},
    {"write", ASM("xor %%eax, %%eax; movl $1, 8(%%rax)"), 0xC0000005, 1, 8},
    {"no address", ASM("movabs $0x1234567812345678, %%rax; mov (%%rax), %%eax"), 0xC0000005, 0, unknown},
    {"wide", ASM("lea 1(%%rsp), %%rax; and $-16, %%rax; movaps 1(%%rax), %%xmm0"), 0xC0000005, 0, unknown},
    {"call null", [] { reinterpret_cast<void (*)()>(Null())(); }, 0xC0000005, 8, 0},
    {"call data", [] { reinterpret_cast<void (*)()>(Null() + 1024)(); }, 0xC0000005, 8, 4096},
    {"virtual call", CallVirtual, 0xC0000005, 0, 0},
    {"end of file", ReadBehindEndOfFile, 0xC0000005, 0, somewhere},
    {"misaligned", ASM(FLAGS("0x40000") "mov -7(%%rsp), %%eax"), 0x80000002},
    {"break point", ASM("int3"), 0x80000003},
    {"single step", ASM(FLAGS("0x100") "nop; nop"), 0x80000004},
    {"halt", ASM("hlt"), 0xC0000096},
    {"port", ASM("inb %%dx, %%al"), 0xC0000096},
    {"control register", ASM("mov %%cr0, %%rax"), 0xC0000096},
    {"rdmsr", ASM("rdmsr"), 0xC0000096},
    {"lldt", ASM("xor %%eax, %%eax; lldt %%ax"), 0xC0000096},
    {"lgdt", ASM("lgdt (%%rsp)"), 0xC0000096},
    {"xsetbv", ASM("xor %%ecx, %%ecx; xgetbv; xsetbv"), 0xC0000096},
    // Divisors of every form: register, high byte, wide register, base register, beside the code, stack, scaled index,
    // thread-local; prefixes that mean nothing there.
    {"idivl zero", ASM("xor %%ecx, %%ecx; idivl %%ecx"), 0xC0000094},
    {"idivl", ASM("mov $0x80000000, %%eax; cltd; mov $-1, %%ecx; idivl %%ecx"), 0xC0000095},
    {"divb high zero", ASM("mov $0x00ff, %%ecx; mov $1, %%eax; divb %%ch"), 0xC0000094},
    {"divb high", ASM("mov $0x0100, %%ecx; mov $0x0fff, %%eax; divb %%ch"), 0xC0000095},
    {"divw", ASM("mov $0x10000, %%ecx; divw %%cx"), 0xC0000094},
    {"divq", ASM("movabs $0x100000000, %%rcx; mov %%rcx, %%rdx; divq %%rcx"), 0xC0000095},
    {"divq r8", ASM("xor %%eax, %%eax; mov $1, %%r8d; mov %%r8, %%rdx; divq %%r8"), 0xC0000095},
    {"divl r8", ASM("lea 1f(%%rip), %%r8; mov $1, %%edx; divl (%%r8); 1: .long 1"), 0xC0000095},
    {"divl code", ASM("mov $1, %%edx; divl 1f(%%rip); 1: .long 1"), 0xC0000095},
    {"divl prefixes", ASM("xor %%ecx, %%ecx; .byte 0x2e, 0xf3; divl %%ecx"), 0xC0000094},
    {"divl stack", ASM("movl $0, -16(%%rsp); divl -16(%%rsp)"), 0xC0000094},
    {"divl index", ASM("lea -400(%%rsp), %%rcx; mov $3, %%eax; mov $1, %%edx; movl $1, 300(%%rcx,%%rax,8);"
                       "divl 300(%%rcx,%%rax,8)"), 0xC0000095},
    {"divl narrow address", ASM("xor %%ecx, %%ecx; .byte 0x67; divl %%ecx"), 0xC0000094},
    {"divl thread", ASM("mov $-1, %%edx; divl %%fs:0"), 0xC0000095},
    {"float zero", [] { Divide(1, 0); }, 0xC000008E},
    {"float invalid", [] { Divide(0, 0); }, 0xC0000090},
    {"float overflow", [] { Multiply(1e300, 1e300); }, 0xC0000091},
    {"float underflow", [] { Multiply(1e-300, 1e-300); }, 0xC0000093},
    {"float denormal", [] { Multiply(4.9406564584124654e-324, 1); }, 0xC000008D},
    {"float inexact masked", [] { Divide(1, 3); }, 0},
    {"float inexact", [] { Divide(1, 3); }, 0xC000008F, 0, 0, 0},
    {"float all masked", [] { Divide(1, 0); }, 0, 0, 0, FLOAT_ALL},
    {"x87 zero", ASM("fld1; fldz; fdivrp; fwait"), 0xC000008E},
    {"x87 invalid", ASM("fld1; fchs; fsqrt; fwait"), 0xC0000090},
    {"x87 overflow", ASM("movl $20000, -16(%%rsp); fildl -16(%%rsp); fld1; fscale; fwait"), 0xC0000091},
    {"x87 underflow", ASM("movl $-20000, -16(%%rsp); fildl -16(%%rsp); fld1; fscale; fwait"), 0xC0000093},
    {"x87 denormal", ASM("movq $1, -16(%%rsp); fldl -16(%%rsp); fwait"), 0xC000008D},
    {"x87 stack", ASM("fld1;fld1;fld1;fld1;fld1;fld1;fld1;fld1;fld1; fwait"), 0xC0000092},
};
// clang-format on

[[noreturn]] void ThrowPointers(unsigned int code, EXCEPTION_POINTERS* pointers) {
    EXPECT_EQ(code, pointers->record->code);
    KxxClearFloatStatus();
    throw std::pair(*pointers->record, *pointers->context);
}

TEST(Faults, Table) {
    for (auto const& c : faults) {
        SCOPED_TRACE(c.name);
        std::string expected = "none";
        for (auto const& known : classes)
            if (known.code == c.code) expected = known.className;
        {
            KxSEHandler const guard(c.controlWord);
            EXPECT_EQ(ClassThrown(c.fault), expected);
            EXPECT_EQ(KxxControlFloat(0, 0), c.controlWord);
            EXPECT_TRUE(KxxClearFloatStatus() == 0 || c.code == 0) << "nothing of it is left";
            // What handles the exception calculates without a second trap, in both units.
            EXPECT_EQ(Divide(6, 3), 2);
            int result = 0;
            asm volatile("fld1; fld1; faddp; fistpl %0; fwait" : "=m"(result));
            EXPECT_EQ(result, 2);
        }
        KxSEHandler const guard(ThrowPointers, c.controlWord);
        try {
            c.fault();
            EXPECT_EQ(c.code, 0u);
        } catch (std::pair<EXCEPTION_RECORD, CONTEXT> const& told) {
            EXPECT_EQ(told.first.code, c.code);
            EXPECT_EQ(told.first.parameters[0], c.access);
            EXPECT_TRUE(told.first.parameters[1] == c.address || c.address == somewhere) << told.first.parameters[1];
            EXPECT_EQ(told.second.floatControl, c.controlWord);
        }
    }
    KxxControlFloat(FLOAT_ALL, FLOAT_ALL);
}

TEST(Faults, ByCode) {
    KxSEHandler const guard(FLOAT_ALL);
    for (auto const& c : classes) EXPECT_EQ(ClassThrown([&] { KxxRaiseFault(c.code); }), c.className);
    for (auto const code : codesWithout) EXPECT_EQ(ClassThrown([&] { KxxRaiseFault(code); }), "none");
}

// Not every processor has them.
TEST(Faults, NewerPrivilegedInstructions) {
    KxSEHandler const guard(FLOAT_ALL);
    unsigned int a = 0, b = 0, c = 0, d = 0;
    bool const hasInvpcid = __get_cpuid_count(7, 0, &a, &b, &c, &d) && (b & 1U << 10);
    bool const hasXsaves = __get_cpuid_count(13, 1, &a, &b, &c, &d) && (a & 1U << 3);
    struct {
        bool isThere;
        void (*fault)();
    } const cases[] = {{hasInvpcid, ASM("xor %%eax, %%eax; invpcid -64(%%rsp), %%rax")},
                       {hasXsaves, ASM("xor %%eax, %%eax; cltd; xsaves (%%rax)")},
                       {hasXsaves, ASM("xor %%eax, %%eax; cltd; xrstors (%%rax)")}};
    for (auto const& instruction : cases)
        EXPECT_TRUE(!instruction.isThere || ClassThrown(instruction.fault) == "KxPrivateInstructionException");
}

// A translator calculates without traps, whoever raises the fault, and is not called for its own faults.
TEST(Faults, RaisedOnes) {
    static int calls;
    calls = 0;
    KxSEHandler const guard(
        [](unsigned int code, EXCEPTION_POINTERS*) {
            ++calls;
            Divide(1, 0);
            asm volatile("fld1; fldz; fdivrp; fwait; fstp %st");
            KxxRaiseFault(code);
            if (code == 7) throw 7;
        },
        FLOAT_INEXACT);
    KxxRaiseFault(1);
    EXPECT_THROW(KxxRaiseFault(7), int);
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(KxxControlFloat(0, 0), FLOAT_INEXACT);
    KxxControlFloat(FLOAT_ALL, FLOAT_ALL);
}

struct FaultsAtTheEnd {
    std::atomic<int>& count;
    ~FaultsAtTheEnd() { count += ClassThrown(ReadNull) == "KxAccessViolationException"; }
};

// The handler shares the stack of the thread when its own was taken away.
TEST(Faults, WithoutSignalStack) {
    KxSEHandler const guard(FLOAT_ALL);
    stack_t none{}, former{};
    none.ss_flags = SS_DISABLE;
    ::sigaltstack(&none, &former);
    EXPECT_EQ(ClassThrown(ReadNull), "KxAccessViolationException");
    ::sigaltstack(&former, nullptr);
}

// In loops of the library and while unwinding, again and again, on threads with small stacks.
TEST(Faults, InThreads) {
    static std::atomic<int> caught;
    caught = 0;
    auto const body = [](void*) -> void* {
        KxSEHandler const guard(FLOAT_ALL);
        std::wstring_view const bad(reinterpret_cast<wchar_t const*>(64), 100);
        for (int i = 0; i < 100; ++i) {
            std::string const name = ClassThrown([bad] {
                FaultsAtTheEnd const outer{caught}, inner{caught};
                KxxToUtf8(bad);
            });
            caught += name == "KxAccessViolationException";
        }
        return nullptr;
    };
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 65536);
    pthread_t threads[8];
    for (auto& thread : threads) ASSERT_EQ(pthread_create(&thread, &attributes, body, nullptr), 0);
    for (auto const thread : threads) pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    EXPECT_EQ(caught, 8 * 100 * 3);
}

}  // namespace
