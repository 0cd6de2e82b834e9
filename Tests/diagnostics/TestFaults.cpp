// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "FaultTest.h"

#include "hbtools/base/syFile.h"

#include <cstring>
#include <thread>
#include <vector>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace KxN;
using namespace test;

namespace {

HB_UNSEEN double Divide(double a, double b) {
    asm volatile("divsd %1, %0" : "+x"(a) : "x"(b));
    return a;
}
HB_UNSEEN void Multiply(double a, double b) {
    asm volatile("mulsd %1, %0" : "+x"(a) : "x"(b));
}
HB_UNSEEN void DivideInt(int a, int b) {
    asm volatile("cltd\n\tidivl %1" : "+a"(a) : "r"(b) : "rdx", "cc");
}
HB_UNSEEN void CallAt(std::uintptr_t address) {
    reinterpret_cast<void (*)()>(address)();
    asm volatile("");  // so that it is a call and no jump
}
HB_UNSEEN void JumpTo(std::uintptr_t address) {
    return reinterpret_cast<void (*)()>(address)();
}
HB_UNSEEN int CallVirtual(CFile* file) {
    return static_cast<int>(file->GetLength());
}

int g_data[4];

void ReadBehindEndOfFile() {
    FILE* const file = std::tmpfile();
    ASSERT_EQ(::ftruncate(::fileno(file), 4096), 0);
    void* const mapped = ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, ::fileno(file), 0);
    ASSERT_EQ(::ftruncate(::fileno(file), 0), 0);
    struct Unmap {
        void* what;
        FILE* file;
        ~Unmap() {
            ::munmap(what, 4096);
            std::fclose(file);
        }
    } const unmap = {mapped, file};
    ReadInt(static_cast<int const*>(mapped));
}

#define ASM(TEXT) [] { asm volatile(TEXT::: "rax", "rcx", "rdx", "r8", "xmm0", "memory", "cc"); }
// Sets bits of the flags; the 128 bytes below the stack pointer may be in use.
#define FLAGS(BITS) "lea -128(%%rsp), %%rsp; pushf; orl $" BITS ", (%%rsp); popf; lea 128(%%rsp), %%rsp;"

constexpr std::uintptr_t unknown = ~std::uintptr_t{0}, somewhere = 1;

struct FaultCase {
    char const* name;
    void (*fault)();
    char const* className;
    unsigned int code;
    std::uintptr_t parameters[2] = {};
    unsigned int controlWord = FLOAT_INEXACT;
};

FaultCase const faultCases[] = {
    {"read", [] { ReadInt(Null()); }, "KxAccessViolationException", 0xC0000005, {0, 0}},
    {"write", [] { WriteInt(Null() + 2); }, "KxAccessViolationException", 0xC0000005, {1, 8}},
    {"no address",
     ASM("movabs $0x1234567812345678, %%rax; mov (%%rax), %%eax"),
     "KxAccessViolationException",
     0xC0000005,
     {0, unknown}},
    {"misaligned wide",
     ASM("lea 1(%%rsp), %%rax; and $-16, %%rax; movaps 1(%%rax), %%xmm0"),
     "KxAccessViolationException",
     0xC0000005,
     {0, unknown}},
    {"call null", [] { CallAt(0); }, "KxAccessViolationException", 0xC0000005, {8, 0}},
    {"jump to null", [] { JumpTo(0); }, "KxAccessViolationException", 0xC0000005, {8, 0}},
    {"call data",
     [] { CallAt(reinterpret_cast<std::uintptr_t>(g_data)); },
     "KxAccessViolationException",
     0xC0000005,
     {8, reinterpret_cast<std::uintptr_t>(g_data)}},
    {"virtual call", [] { CallVirtual(reinterpret_cast<CFile*>(Null())); }, "KxAccessViolationException", 0xC0000005},
    {"end of file", ReadBehindEndOfFile, "KxAccessViolationException", 0xC0000005, {0, somewhere}},
    {"misaligned", ASM(FLAGS("0x40000") "mov -7(%%rsp), %%eax"), "KxDataMisalignmentException", 0x80000002},
    {"break point", ASM("int3"), "KxBreakPointException", 0x80000003},
    {"single step", ASM("lea -128(%%rsp), %%rsp; pushf; orl $0x100, (%%rsp); popf; lea 128(%%rsp), %%rsp; nop; nop"),
     "KxSingleStepException", 0x80000004},
    {"halt", ASM("hlt"), "KxPrivateInstructionException", 0xC0000096},
    {"port", ASM("inb %%dx, %%al"), "KxPrivateInstructionException", 0xC0000096},
    {"control register", ASM("mov %%cr0, %%rax"), "KxPrivateInstructionException", 0xC0000096},
    {"rdmsr", ASM("rdmsr"), "KxPrivateInstructionException", 0xC0000096},
    // Divisors of every form: register, high byte, wide register, stack, scaled index, thread-local.
    {"idivl", [] { DivideInt(5, 0); }, "KxIntDivideByZeroException", 0xC0000094},
    {"idivl overflow", [] { DivideInt(-2147483647 - 1, -1); }, "KxIntOverflowException", 0xC0000095},
    {"divb high zero", ASM("mov $0x00ff, %%ecx; mov $1, %%eax; divb %%ch"), "KxIntDivideByZeroException", 0xC0000094},
    {"divb high", ASM("mov $0x0100, %%ecx; mov $0x0fff, %%eax; divb %%ch"), "KxIntOverflowException", 0xC0000095},
    {"divw", ASM("mov $0x10000, %%ecx; divw %%cx"), "KxIntDivideByZeroException", 0xC0000094},
    {"divq", ASM("movabs $0x100000000, %%rcx; mov %%rcx, %%rdx; divq %%rcx"), "KxIntOverflowException", 0xC0000095},
    {"divq r8", ASM("mov $1, %%r8d; mov %%r8, %%rdx; divq %%r8"), "KxIntOverflowException", 0xC0000095},
    {"divl stack", ASM("movl $0, -16(%%rsp); divl -16(%%rsp)"), "KxIntDivideByZeroException", 0xC0000094},
    {"divl index",
     ASM("lea -400(%%rsp), %%rcx; mov $3, %%eax; mov $1, %%edx; movl $1, 300(%%rcx,%%rax,8);"
         "divl 300(%%rcx,%%rax,8)"),
     "KxIntOverflowException", 0xC0000095},
    {"divl thread", ASM("mov $-1, %%edx; divl %%fs:0"), "KxIntOverflowException", 0xC0000095},
    {"float zero", [] { Divide(1, 0); }, "KxFloatDivideByZeroException", 0xC000008E},
    {"float invalid", [] { Divide(0, 0); }, "KxFloatInvalidOpException", 0xC0000090},
    {"float overflow", [] { Multiply(1e300, 1e300); }, "KxFloatOverflowException", 0xC0000091},
    {"float underflow", [] { Multiply(1e-300, 1e-300); }, "KxFloatUnderflowException", 0xC0000093},
    {"float denormal", [] { Multiply(4.9406564584124654e-324, 1); }, "KxFloatDenormalOperandException", 0xC000008D},
    {"float inexact masked", [] { Divide(1, 3); }, "none", 0},
    {"float inexact", [] { Divide(1, 3); }, "KxFloatInexactResException", 0xC000008F, {}, 0},
    {"float all masked", [] { Divide(1, 0); }, "none", 0, {}, FLOAT_ALL},
    {"x87 zero", ASM("fld1; fldz; fdivrp; fwait"), "KxFloatDivideByZeroException", 0xC000008E},
    {"x87 stack", ASM("fld1;fld1;fld1;fld1;fld1;fld1;fld1;fld1;fld1; fwait"), "KxFloatStackCheckException", 0xC0000092},
};

struct Told {
    unsigned int code;
    std::uintptr_t parameters[2];
    void* address;
    unsigned int controlWord;
};
[[noreturn]] void Tell(unsigned int code, EXCEPTION_POINTERS* pointers) {
    KxxClearFloatStatus();
    throw Told{code,
               {pointers->record->parameters[0], pointers->record->parameters[1]},
               pointers->record->address,
               pointers->context->floatControl};
}

TEST(Faults, Table) {
    for (FaultCase const& c : faultCases) {
        SCOPED_TRACE(c.name);
        {
            KxSEHandler const guard(c.controlWord);
            EXPECT_EQ(ClassThrown(c.fault), c.className);
            EXPECT_EQ(KxxControlFloat(0, 0), c.controlWord);  // as it was set, after the exception too
            // What handles the exception calculates without a second trap.
            EXPECT_EQ(Divide(6, 3), 2);
            long double volatile wide = 6;
            wide = wide / 3;
            EXPECT_EQ(static_cast<int>(wide), 2);
        }
        KxSEHandler const guard(Tell, c.controlWord);
        try {
            c.fault();
            EXPECT_EQ(c.code, 0u);
        } catch (Told const& told) {
            EXPECT_EQ(told.code, c.code);
            EXPECT_EQ(told.parameters[0], c.parameters[0]);
            EXPECT_TRUE(told.parameters[1] == c.parameters[1] || c.parameters[1] == somewhere) << told.parameters[1];
            EXPECT_EQ(told.controlWord, c.controlWord);
            EXPECT_EQ(told.address == nullptr, c.parameters[0] == 8 && c.parameters[1] == 0);
        }
    }
    KxxControlFloat(FLOAT_ALL, FLOAT_ALL);
}

// What no instruction raises in a process of 64 bits, or on this system: bounds, and going on after the impossible.
TEST(Faults, ByCodeAlone) {
    struct {
        unsigned int code;
        char const* className;
    } const cases[] = {{0xC000008C, "KxArrayBoundsException"},
                       {0xC0000025, "KxNoncontinuableException"},
                       {0xC000001D, "none"},
                       {0xC00000FD, "none"},
                       {0xC06D007E, "none"},
                       {0, "none"}};
    KxSEHandler const guard(FLOAT_ALL);
    for (auto const& c : cases)
        EXPECT_EQ(ClassThrown([&] { KxxRaiseFault(c.code); }), c.className) << std::hex << c.code;
}

// Faults deep in the library, with objects to be destroyed on the way, and again and again.
TEST(Faults, InTheLibrary) {
    KxSEHandler const guard(FLOAT_ALL);
    for (int i = 0; i < 1000; ++i) {
        auto const bad = std::wstring_view(reinterpret_cast<wchar_t const*>(64), 100);
        ASSERT_EQ(ClassThrown([&] { KxString(KxxWidenUtf8(KxxToUtf8(bad))); }), "KxAccessViolationException");
    }
}

struct FaultsAtTheEnd {
    int& count;
    ~FaultsAtTheEnd() {
        if (ClassThrown([] { ReadInt(Null()); }) == "KxAccessViolationException") ++count;
    }
};

TEST(Faults, WhileUnwinding) {
    KxSEHandler const guard(FLOAT_ALL);
    int count = 0;
    EXPECT_EQ(ClassThrown([&] {
                  FaultsAtTheEnd const outer{count}, inner{count};
                  DivideInt(1, 0);
              }),
              "KxIntDivideByZeroException");
    EXPECT_EQ(count, 2);
}

TEST(Faults, LeafKeepsItsStackAndRegisters) {
    KxSEHandler const guard(FLOAT_ALL);
    std::uintptr_t volatile below[8] = {1, 2, 3, 4, 5, 6, 7, 8};  // kept in what lies below the stack pointer
    std::uintptr_t sum = 0;
    try {
        ReadInt(Null());
    } catch (KxException* exception) {
        exception->Delete();
        for (auto const value : below) sum += value;
    }
    EXPECT_EQ(sum, 36u);
}

TEST(Faults, SmallStacks) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 65536);
    int caught = 0;
    auto const body = [](void* argument) -> void* {
        KxSEHandler const guard(FLOAT_ALL);
        for (int i = 0; i < 3; ++i)
            if (ClassThrown([] { ReadInt(Null()); }) == "KxAccessViolationException") ++*static_cast<int*>(argument);
        return nullptr;
    };
    for (int i = 0; i < 20; ++i) {
        pthread_t thread;
        ASSERT_EQ(pthread_create(&thread, &attributes, body, &caught), 0);
        pthread_join(thread, nullptr);
    }
    pthread_attr_destroy(&attributes);
    EXPECT_EQ(caught, 60);
}

TEST(Faults, ManyThreads) {
    std::vector<std::thread> threads;
    std::atomic<int> caught = 0;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&caught] {
            KxSEHandler const guard;
            for (int j = 0; j < 200; ++j)
                if (ClassThrown([] { Divide(1, 0); }) == "KxFloatDivideByZeroException") ++caught;
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(caught, 1600);
}

}  // namespace
