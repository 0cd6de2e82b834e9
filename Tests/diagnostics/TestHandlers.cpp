// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "FaultTest.h"

#include "hbtools/base/syDelayLoad.h"

#include <cerrno>
#include <limits>
#include <memory>
#include <new>
#include <thread>

using namespace KxN;
using namespace test;

namespace {

[[noreturn]] void ThrowOne(unsigned int, EXCEPTION_POINTERS*) {
    throw 1;
}
[[noreturn]] void ThrowTwo(unsigned int, EXCEPTION_POINTERS*) {
    throw 2;
}

/// What the translator in force throws; 0 for the library's.
int Translator() {
    try {
        ReadInt(Null());
    } catch (int number) {
        return number;
    } catch (KxException* exception) {
        exception->Delete();
        return 0;
    }
    return -1;
}

TEST(SEHandler, Nesting) {
    KxSEHandler const outer(ThrowOne, FLOAT_ALL);
    {
        KxSEHandler inner(ThrowTwo, FLOAT_ALL);
        EXPECT_EQ(Translator(), 2);
        {
            KxSEHandler const library(FLOAT_ALL);
            EXPECT_EQ(Translator(), 0);
            std::thread([] {
                KxSEHandler const own(ThrowTwo, FLOAT_ALL);
                EXPECT_EQ(Translator(), 2);
            }).join();
            EXPECT_EQ(Translator(), 0);
        }
        EXPECT_EQ(Translator(), 2);
        KxSEHandler const third(FLOAT_ALL);
        inner = third;  // now it puts back what `third` replaced
    }
    EXPECT_EQ(Translator(), 2);
    EXPECT_EQ(KxxSetFaultTranslator(ThrowOne), ThrowTwo);
}

TEST(SEHandler, ControlWord) {
    struct {
        unsigned int word, mxcsr, x87;
    } const cases[] = {{0, 0, 0},           {1, 0x1000, 0x20},       {2, 0x800, 0x10},
                       {4, 0x400, 0x08},    {8, 0x200, 0x04},        {16, 0x80, 0x01},
                       {0x80000, 0x100, 2}, {0x8001F, 0x1F80, 0x3F}, {0xFFF7FFFF & 0x1F, 0x1E80, 0x3D}};
    {
        KxSEHandler guard;
        EXPECT_EQ(KxxControlFloat(0, 0), 1u);
        for (auto const& c : cases) {
            guard.SetFloatingPointControlWord(c.word | 0x100);  // bits outside the mask change nothing
            unsigned int mxcsr = 0;
            unsigned short x87 = 0;
            asm volatile("stmxcsr %0; fnstcw %1" : "=m"(mxcsr), "=m"(x87));
            EXPECT_EQ(mxcsr, c.mxcsr) << c.word;
            EXPECT_EQ(x87, 0x340 | c.x87) << c.word;
            EXPECT_EQ(KxxControlFloat(0, 0), c.word);
        }
        guard.SetFloatingPointControlWord(3);
    }
    EXPECT_EQ(KxxControlFloat(0, 0), 3u);  // the end of the guard leaves it
    EXPECT_EQ(KxxControlFloat(FLOAT_INVALID, FLOAT_INVALID | FLOAT_INEXACT), 0x12u);
    KxxControlFloat(FLOAT_ALL, FLOAT_ALL);
    asm volatile("divsd %1, %0; fldz; fld1; fdivp; fstp %%st(0)" ::"x"(1.0), "x"(0.0));
    EXPECT_EQ(KxxClearFloatStatus() & ~FLOAT_INVALID, FLOAT_ZERO_DIVIDE);
    EXPECT_EQ(KxxClearFloatStatus(), 0u);
}

#if !HB_SANITIZED  // their own operator new never calls a handler

template <class Call>
unsigned long SizeThrown(Call call) {
    try {
        call();
    } catch (KxMemoryException* exception) {
        unsigned long const size = exception->GetSize();
        exception->Delete();
        return size;
    } catch (std::bad_alloc const&) {
        return 1;
    }
    return 0;
}

/// Keeps the compiler from leaving out a request whose memory is not used.
template <class T>
T* Used(T* memory) {
    asm volatile("" ::"r"(memory) : "memory");
    return memory;
}

struct alignas(64) Wide {
    char bytes[64];
};

TEST(NewHandler, TellsTheSize) {
    std::size_t volatile const huge = std::size_t{1} << 62;
    auto const plain = [&] { delete[] Used(new char[huge]); };
    EXPECT_EQ(SizeThrown(plain), 1u);  // std::bad_alloc
    static int calls;
    calls = 0;
    {
        KxNewHandler const guard;
        EXPECT_EQ(SizeThrown(plain), std::size_t{1} << 62);
        EXPECT_EQ(SizeThrown([&] { ::operator delete(Used(::operator new(huge + 1))); }), (std::size_t{1} << 62) + 1);
        EXPECT_EQ(SizeThrown([&] { delete[] Used(new Wide[huge / 64]); }), std::size_t{1} << 62);
        EXPECT_EQ(new (std::nothrow) char[huge], nullptr);
        EXPECT_EQ(new (std::nothrow) Wide[huge / 64], nullptr);
        {
            KxNewHandler const inner(
                [](unsigned long long size) { return size == (1ULL << 62) && ++calls < 3 ? 1 : 0; });
            EXPECT_EQ(SizeThrown(plain), 1u);  // tried again twice, then given up
            EXPECT_EQ(calls, 3);
        }
        EXPECT_EQ(SizeThrown(plain), std::size_t{1} << 62);
    }
    EXPECT_EQ(SizeThrown(plain), 1u);
    EXPECT_EQ(std::get_new_handler(), nullptr);
    std::unique_ptr<Wide[]> const wide(new Wide[3]);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(wide.get()) % 64, 0u);
}

[[noreturn]] void UseUpMemory() {
    PrepareDeath();
    KxNewHandler const guard;
    rlimit const limit = {64 << 20, RLIM_INFINITY};
    ::setrlimit(RLIMIT_AS, &limit);
    for (std::size_t size = 1 << 20; size >= 16; size = size > 1024 ? size / 2 : size - 8)  // all that was freed too
        while (Used(std::malloc(size))) {}
    int caught = 0;
    KxMemoryException* held[40];
    for (auto*& exception : held) {
        exception = nullptr;
        try {
            ::operator delete(Used(::operator new(100)));
        } catch (KxMemoryException* thrown) {
            exception = thrown;
            caught += thrown->GetSize() == 100;
        }
    }
    for (auto* exception : held)
        if (exception) exception->Delete();
    for (int i = 0; i < 200; ++i) caught += SizeThrown([] { ::operator delete(Used(::operator new(100))); }) == 100;
    std::_Exit(caught == 240 ? 42 : 1);
}

// No memory at all is left, not even for the exceptions.
TEST(NewHandlerDeathTest, Reserve) {
    EXPECT_EXIT(UseUpMemory(), testing::ExitedWithCode(42), "");
}

#endif

template <class EXCEPTION, class Call>
unsigned long CodeThrown(Call call, std::string* function = nullptr) {
    try {
        call();
    } catch (EXCEPTION* exception) {
        unsigned long const code = exception->GetCode();
        if constexpr (requires { exception->GetFunction(); })
            if (function) *function = KxxToUtf8(exception->GetFunction().View());
        exception->Delete();
        return code;
    }
    return 0;
}

TEST(DelayLoad, ModulesAndFunctions) {
    auto const all = [] {
        KxString const folder = KxxFromSystemPath(HBTOOLS_DELAYED_FOLDER);
        for (KxString const& name :
             {KxString(L"Delayed.dll"), KxString(L"libDelayed.so"), folder + L"/libDelayed.so"}) {
            KxDelayLoadedModule module(name);
            EXPECT_EQ(module.GetFunction<int(int)>("Twice")(21), 42);
            EXPECT_EQ(module.GetFunction<int()>(static_cast<unsigned short>(8))(), 8);
            std::string function;
            EXPECT_EQ(CodeThrown<KxDllProcAddrException>([&] { module.GetFunction("Thrice"); }, &function), ENOSYS);
            EXPECT_EQ(function, "Thrice");
            unsigned short const seven = 7;
            EXPECT_EQ(CodeThrown<KxDllProcAddrException>([&] { module.GetFunction(seven); }, &function), ENOSYS);
            EXPECT_EQ(function, "Ordinal 7");
        }
        struct {
            KxString name;
            unsigned long code;
        } const missing[] = {{L"NoSuch.dll", ENOENT},
                             {L"", ENOENT},
                             {L"bin/libDelayed.so", ENOENT},
                             {L"/nowhere/libDelayed.so", ENOENT},
                             {KxxFromSystemPath(HBTOOLS_SOURCE_DIR "/LICENSE"), ENOEXEC}};
        for (auto const& c : missing) {
            KxDelayLoadedModule module(c.name);
            EXPECT_EQ(CodeThrown<KxDllLoadException>([&] { module.GetFunction("Twice"); }), c.code);
        }
    };
    all();
    KxSEHandler const guard(FLOAT_ALL);
    all();
    // With a translator of the caller's the fault arrives there.
    KxxSetFaultTranslator([](unsigned int code, EXCEPTION_POINTERS* pointers) {
        auto const* record = reinterpret_cast<KxDelayLoadRecord const*>(pointers->record->parameters[0]);
        if (code == 0xC06D007F && !record->isByName && record->ordinal == 7) throw 7;
    });
    KxDelayLoadedModule module(L"Delayed.dll");
    EXPECT_THROW(module.GetFunction(static_cast<unsigned short>(7)), int);
}

}  // namespace
