// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "LocalisationTest.h"

#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace test;

/// What keeps a file from being loaded, in the loader's words or ours.
std::string Refused(KxString const& name, unsigned long code) {
    EXPECT_EQ(AfxLoadLibrary(name), nullptr) << U(name);
    EXPECT_EQ(KxxGetModuleError().code, code) << U(name);
    std::string const words = U(KxxGetModuleError().text);
    std::string const message = Thrown<KxDllLoadException>([&] { KxxLoadLibrary(name); });
    EXPECT_NE(message.find(words), std::string::npos) << message;
    return words;
}

class Modules : public ModuleTree {
protected:
    bool IsLoaded() const {
        void* const code = ::dlopen(File("libExtension.so").c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (code) ::dlclose(code);
        return code;
    }
};

TEST_F(Modules, WhatCannotBeLoaded) {
    std::string const whole = Get("libExtension.so");
    auto const changed = [&](std::size_t place, char byte) {
        std::string bytes = whole;
        bytes[place] = byte;
        return bytes;
    };
    Put("none.so", "no module at all, and longer than a header of one would be, which is sixty-four bytes");
    Put("empty.so", "");
    Put("cut.so", whole.substr(0, whole.size() / 2));
    Put("head.so", whole.substr(0, 40));
    Put("tail.so", whole.substr(0, whole.size() - 1));
    Put("foreign.so", changed(18, '\xB7'));  // machine
    Put("small.so", changed(4, 1));          // word size
    Put("unresolved.so", [&] {
        std::string bytes = whole;
        for (std::size_t at = 0; (at = bytes.find("_ZN3KxN15CDynLinkLibraryC", at)) != bytes.npos; ++at)
            bytes[at + 6] = 'X';
        return bytes;
    }());
    Put("lacking.so", [&] {
        std::string bytes = whole;
        bytes[bytes.find("libhbtools.so") + 3] = 'x';
        return bytes;
    }());
    ASSERT_EQ(::mkfifo(File("pipe.so").c_str(), 0600), 0);
    struct {
        char const* file;
        unsigned long code;
        char const* words;
    } const cases[] = {{"none.so", ENOEXEC, "invalid ELF header"},
                       {"empty.so", ENOEXEC, "file too short"},
                       {"cut.so", ENOEXEC, "die Datei ist abgeschnitten oder beschädigt"},
                       {"head.so", ENOEXEC, "die Datei ist abgeschnitten oder beschädigt"},
                       {"tail.so", ENOEXEC, "die Datei ist abgeschnitten oder beschädigt"},
                       {"foreign.so", ENOEXEC, "für einen anderen Prozessor gebaut"},
                       {"small.so", ENOEXEC, "wrong ELF class"},
                       {"unresolved.so", ENOEXEC, "undefined symbol"},
                       {"lacking.so", ENOEXEC, "libxbtools.so"},
                       {"pipe.so", ENOEXEC, "keine gewöhnliche Datei"},
                       {"none.so/x", ENOENT, "none.so/x"},
                       {"LanguagePacks", ENOEXEC, "keine gewöhnliche Datei"},
                       {"nothing.so", ENOENT, "nothing.so"}};
    for (auto const& c : cases) {
        std::string const words = Refused(Path(c.file), c.code);
        EXPECT_NE(words.find(c.words), std::string::npos) << words;
    }
    for (auto const& [place, size] : {std::pair<std::size_t, std::size_t>{0x28, 8}, {0x3C, 2}}) {
        std::string bytes = whole;  // without sections, which only tools need
        Put("stripped.so", bytes.replace(place, size, size, '\0'));
        HINSTANCE const module = AfxLoadLibrary(Path("stripped.so"));
        EXPECT_NE(module, nullptr) << U(KxxGetModuleError().text);
        EXPECT_EQ(AfxFreeLibrary(module), 1);
    }
    for (wchar_t const* name : {L"", L"./libExtension.so", L"bin/libExtension.so", L"NoSuch.dll"})
        Refused(name, ENOENT);
    KxString const cutName(std::wstring(L"a\0b", 3));
    EXPECT_NE(Thrown<KxDllLoadException>([&] { KxxLoadLibrary(cutName); }), "");
    EXPECT_TRUE(!KxxLoadSatellite(cutName) && KxxGetModuleError().code == ENOENT);
    if (::geteuid() == 0) {  // who may become somebody that must not read it
        std::filesystem::permissions(m_folder, std::filesystem::perms(0755));
        std::filesystem::permissions(File("none.so"), std::filesystem::perms::none);
        ASSERT_EQ(::seteuid(65534), 0);
        std::string const words = Refused(Path("none.so"), EACCES);
        ASSERT_EQ(::seteuid(0), 0);
        EXPECT_NE(words.find("none.so"), std::string::npos) << words;
    }
    EXPECT_EQ(AfxLoadLibrary(nullptr), nullptr);
    std::filesystem::path const former = std::filesystem::current_path();
    std::filesystem::current_path(m_folder);
    Refused(L"Extension.dll", ENOENT);  // the working directory is no place to look
    std::filesystem::current_path(former);
}

TEST_F(Modules, AreCounted) {
    std::filesystem::create_symlink(File("libExtension.so"), File("link.so"));
    HINSTANCE const module = AfxLoadLibrary(m_module);
    ASSERT_TRUE(module) << U(KxxGetModuleError().text);
    EXPECT_EQ(AfxLoadLibrary(Path("link.so")), module);
    EXPECT_EQ(AfxLoadLibrary(L"Extension.dll"), module);  // by its name, once it is there
    EXPECT_EQ(AfxFreeLibrary(module), 1);
    std::filesystem::rename(File("libExtension.so"), File("away.so"));
    EXPECT_EQ(AfxLoadLibrary(L"Extension.dll"), nullptr);
    EXPECT_EQ(KxxGetModuleError().code, static_cast<unsigned long>(ENOENT));
    std::filesystem::rename(File("away.so"), File("libExtension.so"));
    EXPECT_TRUE(!GetProcAddress(module, nullptr) && !GetProcAddress(nullptr, "no function of the program"));
    int onStack = 0;
    EXPECT_TRUE(!KxxGetModuleOf(nullptr) && !KxxGetModuleOf(&onStack) && !KxModuleHold(&onStack).GetModule());
    EXPECT_EQ(GetModuleFileName(module), m_module);
    EXPECT_EQ(KxxGetModuleOf(GetProcAddress(module, "Library")), module);
    EXPECT_EQ(GetProcAddress(module, "AfxLoadLibrary"), nullptr);
    EXPECT_EQ(GetProcAddress(module, "malloc"), nullptr);  // that of a library it needs
    EXPECT_EQ(LibraryOf(module)->GetModule(), module);
    EXPECT_EQ(AfxFreeLibrary(module), 1);
    EXPECT_TRUE(IsLoaded());
    {
        KxModuleHold hold(GetProcAddress(module, "Library"));  // as long as an object of the module lives
        EXPECT_EQ(AfxFreeLibrary(module), 1);
        EXPECT_TRUE(IsLoaded());
        KxModuleHold const other(std::move(hold));
        EXPECT_EQ(other.GetModule(), module);
    }
    EXPECT_FALSE(IsLoaded());
    EXPECT_EQ(AfxFreeLibrary(module), 0);
    EXPECT_EQ(GetProcAddress(module, "Library"), nullptr);
    EXPECT_EQ(GetModuleFileName(module), L"");
    EXPECT_EQ(AfxFreeLibrary(nullptr), 0);
    EXPECT_EQ(AfxFreeLibrary(KxxGetProgram()), 0);
    EXPECT_NE(Thrown<KxDllFreeException>([&] { KxxFreeLibrary(module); }), "");
    int listed = 0;
    CDynLinkLibrary::ForEach([&](CDynLinkLibrary&) { ++listed; });
    EXPECT_EQ(listed, 1);  // this library's own
}

TEST_F(Modules, FreedByOthersAnswerNothing) {
    void* const code = ::dlopen(File("libExtension.so").c_str(), RTLD_NOW);
    HINSTANCE const module = KxxGetModuleOf(::dlsym(code, "Library"));
    EXPECT_NE(GetProcAddress(module, "Library"), nullptr);
    ::dlclose(code);
    EXPECT_EQ(GetProcAddress(module, "Library"), nullptr);
    KxDll const dll(m_module, 205);
    EXPECT_EQ(AfxFreeLibrary(dll.GetModule()), 1);  // once too often
    EXPECT_EQ(KxDll(dll).GetModule(), nullptr);
}

TEST_F(Modules, StayAsLongAsTheirThreads) {
    // The thread sanitizer does not see the loader's lock, under which another module gets the memory of one that went.
    if (isThreadSanitized) GTEST_SKIP();
    for (int const isLaunched : {0, 1}) {
        HINSTANCE const module = AfxLoadLibrary(m_module);
        std::atomic<int>& isOver = *KxxGetFunction<std::atomic<int>*(int)>(module, "StartThread")(isLaunched);
        EXPECT_EQ(AfxFreeLibrary(module), 1);
        EXPECT_TRUE(IsLoaded());
        isOver = 1;
        Await([&] { return !IsLoaded(); });
    }
}

// The loader reads the variable at the start of a process.
TEST_F(Modules, NoneComesFromBelowTheWorkingDirectoryDeathTest) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const load = [&] {
        for (char const* kind : {"v2", "v3", "v4"}) {
            std::string const folder = std::string("glibc-hwcaps/x86-64-") + kind;
            std::filesystem::create_directories(File(folder));
            std::filesystem::copy(File("libExtension.so"), File(folder + "/libBelow.so"));
        }
        std::filesystem::current_path(m_folder);
        bool const isRefused = !AfxLoadLibrary(L"Below.dll");
        std::filesystem::current_path("/");
        std::filesystem::remove_all(m_folder);
        std::_Exit(isRefused ? 7 : 1);
    };
    char const* const former = std::getenv("LD_LIBRARY_PATH");
    std::string const value = former ? former : "";
    for (char const* path : {"", ".", "/usr/lib:"}) {
        ::setenv("LD_LIBRARY_PATH", path, 1);
        EXPECT_EXIT(load(), testing::ExitedWithCode(7), "") << path;
    }
    // Of several that are there and cannot be loaded the first is the reason.
    for (char const* name : {"libBroken.so", "Broken.so"}) Put(name, "no module");
    auto const loadBroken = [] {
        bool const isLoaded = AfxLoadLibrary(L"Broken.dll");
        bool const isFirst = KxxGetModuleError().text.View().find(L"/libBroken.so") != std::wstring_view::npos;
        std::_Exit(!isLoaded && isFirst && KxxGetModuleError().code == ENOEXEC ? 7 : 1);
    };
    ::setenv("LD_LIBRARY_PATH", m_folder.c_str(), 1);
    EXPECT_EXIT(loadBroken(), testing::ExitedWithCode(7), "");
    former ? ::setenv("LD_LIBRARY_PATH", value.c_str(), 1) : ::unsetenv("LD_LIBRARY_PATH");
}

TEST_F(Modules, DllOfAVersion) {
    {
        KxDll dll(m_module, 205);
        EXPECT_EQ(dll.GetVersion(), 205);
        std::filesystem::rename(File("libExtension.so"), File("moved.so"));
        KxDll copy(dll);
        std::filesystem::rename(File("moved.so"), File("libExtension.so"));
        KxDll other(L"hbtools.dll", 301);  // loaded already, under the name with its version
        EXPECT_EQ(other.GetVersion(), 301);
        EXPECT_EQ(other.GetModule(), g_pHbToolsModule->GetModule());
        other = copy;
        EXPECT_EQ(other.GetModule(), dll.GetModule());
        EXPECT_NE(dll.GetFunction("Library"), nullptr);
        EXPECT_NE(Thrown<KxDllProcAddrException>([&] { dll.GetFunction("Nothing"); }), "");
        EXPECT_NE(Thrown<KxDllProcAddrException>([&] { dll.GetFunction(nullptr); }), "");
        KxDll const texts(Path(Satellite("ENU")), 0), sameTexts(texts);  // of no version
        EXPECT_TRUE(texts.GetVersion() == 0 && texts.GetModule() && sameTexts.GetModule() == texts.GetModule());
    }
    KxxFreeLibrary(KxxLoadLibrary(m_module));
    EXPECT_FALSE(IsLoaded());
    try {
        KxDll const tooOld(m_module, 206);
        FAIL();
    } catch (KxVersionException* exception) {
        EXPECT_EQ(U(exception->GetMessage()).substr(0, 4) + U(exception->GetSrcFileName()), "Die syModule");
        exception->Delete();
    }
    EXPECT_FALSE(IsLoaded());
    EXPECT_NE(GetModuleFileName().View().find(L"test_localisation"), std::wstring_view::npos);
    struct {
        wchar_t const *path, *name;
    } const names[] = {{L"/usr/lib/libhbtools.so.3.01", L"libhbtools"},
                       {L"C/App.exe", L"App"},
                       {L"scanlab", L"scanlab"},
                       {L"libx.so", L"libx"},
                       {L"x.soft.so", L"x.soft"},
                       {L"a.sound.so.1", L"a.sound"},
                       {L".so", L".so"},
                       {L"", L""}};
    for (auto const& n : names) EXPECT_EQ(KxxGetModuleBaseName(n.path), KxString(n.name));
}

}  // namespace
