// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "FaultTest.h"

#include "../base/Support.h"
#include "hbtools/base/syDelayLoad.h"

#include <cstdio>
#include <cstdlib>
#include <new>
#include <thread>
#include <sys/stat.h>

using namespace KxN;
using namespace test;

namespace {

template <int number>
[[noreturn]] void Throw(unsigned int, EXCEPTION_POINTERS*) {
    throw number;
}

/// What the translator in force throws; 0 for the library's.
int Translator() {
    try {
        return ClassThrown(ReadNull) == "KxAccessViolationException" ? 0 : -1;
    } catch (int number) {
        return number;
    }
}

TEST(SEHandler, Nesting) {
    KxSEHandler const outer(Throw<1>, FLOAT_ALL);
    {
        KxSEHandler inner(Throw<2>, FLOAT_ALL);
        {
            KxSEHandler const library(FLOAT_ALL);
            EXPECT_EQ(Translator(), 0);
            std::thread([] {
                KxSEHandler const own(Throw<3>, FLOAT_ALL);
                EXPECT_EQ(Translator(), 3);
            }).join();
            EXPECT_EQ(Translator(), 0);
        }
        EXPECT_EQ(Translator(), 2);
        KxSEHandler const third(FLOAT_ALL);
        inner = third;  // now it puts back what `third` replaced
    }
    EXPECT_EQ(KxxSetFaultTranslator(Throw<1>), Throw<2>);
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

/// What the exception says was asked for: 1 for std::bad_alloc, 0 if there is none.
template <class Call>
unsigned long SizeThrown(Call call) {
    try {
        auto* const memory = call();
        asm volatile("" ::"r"(memory));  // or the compiler leaves out a request that nobody uses
    } catch (KxMemoryException* exception) {
        unsigned long const size = exception->GetSize();
        exception->Delete();
        return size;
    } catch (std::bad_alloc const&) {
        return 1;
    }
    return 0;
}

TEST(NewHandler, TellsTheSize) {
    constexpr std::size_t size = std::size_t{1} << 62;
    std::size_t volatile const huge = size;
    std::align_val_t const wide{64};
    auto const plain = [&] { return ::operator new(huge); };
    EXPECT_EQ(SizeThrown(plain), 1u);
    {
        KxNewHandler const guard;
        EXPECT_EQ(SizeThrown(plain), size);
        EXPECT_EQ(SizeThrown([&] { return ::operator new[](huge + 1); }), size + 1);
        EXPECT_EQ(SizeThrown([&] { return ::operator new(huge, wide); }), size);
        EXPECT_EQ(SizeThrown([&] { return ::operator new[](huge + 1, wide); }), size + 1);
        EXPECT_EQ(SizeThrown([&] { return ::operator new(huge, std::nothrow); }), 0u);
        EXPECT_EQ(SizeThrown([&] { return ::operator new[](huge, wide, std::nothrow); }), 0u);
        static int calls;
        calls = 0;
        KxNewHandler const inner([](unsigned long long asked) { return asked == size && ++calls < 3 ? 1 : 0; });
        EXPECT_EQ(SizeThrown(plain), 1u);  // tried again twice, then given up
        EXPECT_EQ(calls, 3);
    }
    EXPECT_EQ(SizeThrown(plain), 1u);
    EXPECT_EQ(std::get_new_handler(), nullptr);
    std::new_handler const later = [] { throw std::bad_alloc(); };
    {
        KxNewHandler const guard;
        std::set_new_handler(later);
    }
    EXPECT_EQ(std::set_new_handler(nullptr), later);  // not ours to take away
    auto const help = [] {
        static rlimit former;
        ::getrlimit(RLIMIT_AS, &former);
        rlimit const little = {64 << 20, former.rlim_max};
        ::setrlimit(RLIMIT_AS, &little);
        KxNewHandler const guard([](unsigned long long) { return ::setrlimit(RLIMIT_AS, &former) == 0 ? 1 : 0; });
        void* const memory = ::operator new(512 << 20);
        std::_Exit(memory ? 7 : 1);
    };
    EXPECT_EXIT(help(), testing::ExitedWithCode(7), "");  // a handler that found some
    void* const aligned = ::operator new(1, wide);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aligned) % 64, 0u);
    ::operator delete(aligned, wide);
}

// No memory at all is left, not even for the exceptions.
[[noreturn]] void UseUpMemory() {
    PrepareDeath();
    KxNewHandler const guard;
    rlimit const limit = {64 << 20, RLIM_INFINITY};
    ::setrlimit(RLIMIT_AS, &limit);
    void* (*volatile take)(std::size_t) = std::malloc;
    for (std::size_t size = 1 << 20; size >= 16; size = size > 1024 ? size / 2 : size - 8)
        while (take(size)) {}
    int caught = 0;
    auto const request = [] { return ::operator new(100); };
    auto const nest = [&](auto const& self, int depth) -> void {  // exceptions that live at the same time
        try {
            auto* const memory = request();
            asm volatile("" ::"r"(memory));
        } catch (KxMemoryException* exception) {
            if (depth > 0) self(self, depth - 1);
            caught += exception->GetSize() == 100;
            exception->Delete();
        }
    };
    nest(nest, 39);
    for (int i = 0; i < 200; ++i) caught += SizeThrown(request) == 100;
    std::_Exit(caught == 240 ? 42 : 1);
}
TEST(NewHandlerDeathTest, Reserve) {
    EXPECT_EXIT(UseUpMemory(), testing::ExitedWithCode(42), "");
}

#endif

/// The text and the system error number of what asking for the function throws.
template <class KEY>
std::string Asked(KxString const& name, KEY key) {
    KxDelayLoadedModule module(name);
    try {
        module.GetFunction(key);
    } catch (KxDllProcAddrException* exception) {
        std::string const text =
            KxxToUtf8(exception->GetFunction().View()) + " " + std::to_string(exception->GetCode());
        exception->Delete();
        return text;
    } catch (KxDllLoadException* exception) {
        EXPECT_EQ(exception->GetName(), name);
        std::string const text = std::to_string(exception->GetCode());
        exception->Delete();
        return text;
    }
    return "found";
}

TEST(DelayLoad, ModulesAndFunctions) {
    unsigned short const seven = 7, eight = 8;
    KxString const path = KxxFromSystemPath(HBTOOLS_DELAYED_FOLDER "/libDelayed.so");
    auto const all = [&] {
        for (KxString const& name : {KxString(L"Delayed.dll"), KxString(L"libDelayed.so"), path}) {
            KxDelayLoadedModule module(name);
            EXPECT_EQ(module.GetFunction<int(int)>("Twice")(21), 42);
            EXPECT_EQ(module.GetFunction<int()>(eight)(), 8);
            EXPECT_EQ(Asked(name, "Thrice"), "Thrice 38");  // ENOSYS
            EXPECT_EQ(Asked(name, seven), "Ordinal 7 38");
            EXPECT_EQ(Asked(name, 0), "Ordinal 0 38");
            EXPECT_EQ(Asked(name, -1), "Ordinal -1 38");
            EXPECT_EQ(Asked(name, 65544), "Ordinal 65544 38");  // 8 in 16 bits
            EXPECT_EQ(Asked(name, static_cast<char const*>(nullptr)), " 38");
        }
        for (wchar_t const* name : {L"NoSuch.dll", L"", L"bin/libDelayed.so", L"/nowhere/libDelayed.so"})
            EXPECT_EQ(Asked(name, "Twice"), "2");                                          // ENOENT
        EXPECT_EQ(Asked(KxxFromSystemPath(HBTOOLS_SOURCE_DIR "/LICENSE"), "Twice"), "8");  // ENOEXEC
    };
    all();
    KxSEHandler const guard(FLOAT_ALL);
    all();
    KxSEHandler const own(
        [](unsigned int code, EXCEPTION_POINTERS* pointers) {
            auto const* record = reinterpret_cast<KxDelayLoadRecord const*>(pointers->record->parameters[0]);
            if (code == 0xC06D007F && !record->isByName && record->ordinal == 7) throw 7;
        },
        FLOAT_ALL);
    EXPECT_THROW(Asked(path, seven), int);
}

KxDelayLoadedModule* g_module;

TEST(DelayLoad, ConstructorsOfTheModuleMayUseIt) {
    KxDelayLoadedModule module(L"Delayed.dll");
    g_module = &module;
    static int called;
    called = 0;
    void (*const function)() = [] { called = g_module->GetFunction<int(int)>("Twice")(4); };
    char place[32];
    std::snprintf(place, sizeof place, "%p", reinterpret_cast<void*>(function));
    ::setenv("HBTOOLS_DELAYED_CALLS", place, 1);
    EXPECT_EQ(module.GetFunction<int(int)>("Twice")(21), 42);
    ::unsetenv("HBTOOLS_DELAYED_CALLS");
    EXPECT_EQ(called, 8);
}

using DelayLoadDeathTest = test::TempFolder;

// Along the system's path: what is no module, what waits for a writer, and nothing at all. 8 is ENOEXEC.
TEST_F(DelayLoadDeathTest, SearchOfTheSystem) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // a new process, which takes the path
    char const* const folder = std::getenv("LD_LIBRARY_PATH");
    if (!std::getenv("HBTOOLS_DELAYED_PATH")) {
        Put("libText.so", "no module");
        ASSERT_EQ(::mkfifo(File("libPipe.so").c_str(), 0600), 0);
        ::setenv("LD_LIBRARY_PATH", m_folder.c_str(), 1);
        ::setenv("HBTOOLS_DELAYED_PATH", "1", 1);
    }
    auto const body = [] {
        PrepareDeath();
        std::string const told = Asked(L"Text.dll", 1) + Asked(L"Pipe.dll", 1) + Asked(L"Nothing.dll", 1);
        std::fputs(told.c_str(), stderr);
        std::_Exit(told == "882" ? 42 : 1);
    };
    EXPECT_EXIT(body(), testing::ExitedWithCode(42), "882");
    ::unsetenv("HBTOOLS_DELAYED_PATH");
    folder ? ::setenv("LD_LIBRARY_PATH", folder, 1) : ::unsetenv("LD_LIBRARY_PATH");
    EXPECT_EQ(Asked(Path("libPipe.so"), 1), "8");
}

}  // namespace
