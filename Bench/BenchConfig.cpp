// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Configuration files beside GKeyFile and inih, on a file of n groups of 100 keys each; 200 groups are about 1 MB.
// "save" is the whole safe way, with the medium; the peer writes, syncs, renames and syncs the directory as we do.
// "save-unsynced" has both on a file system in memory, so that what is left is the making of the bytes and the
// system calls.
#include "hbtools/base/syConfig.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/config/syConfigFast.h"
#include "hbtools/config/syConfiguration.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#ifdef HBTOOLS_BENCH_GLIB
#include <glib.h>
#endif
#ifdef HBTOOLS_BENCH_INIH
#include <ini.h>
#endif

using namespace KxN;

namespace {

constexpr int keys = 100;

/// A folder that is gone at the end of the program.
class Folder {
public:
    explicit Folder(std::filesystem::path const& parent) {
        std::string name = (parent / "hbbench-XXXXXX").string();
        if (!::mkdtemp(name.data())) throw std::runtime_error("no folder for the benchmark");
        m_path = name;
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    /// A file of that many groups.
    std::string File(int groups) const {
        std::string path = (m_path / std::to_string(groups)).string();
        if (std::filesystem::exists(path)) return path;
        std::ofstream out(path);
        for (int g = 0; g < groups; ++g) {
            out << "# calibration of head " << g << "\n[Group" << g << "]\n";
            for (int k = 0; k < keys; ++k)
                out << "Parameter" << g << "-" << k << " = measured value " << g * k << ".25 mm\n";
        }
        return path;
    }

private:
    std::filesystem::path m_path;
};

Folder const& OnDisk() {
    static Folder const folder(std::filesystem::temp_directory_path());
    return folder;
}

Folder const& InMemory() {
    static Folder const folder(std::filesystem::exists("/dev/shm") ? "/dev/shm"
                                                                   : std::filesystem::temp_directory_path());
    return folder;
}

KxString Wide(std::string const& text) {
    return KxString(KxxWidenUtf8(text));
}

std::string KeyName(int group, int key) {
    return "Parameter" + std::to_string(group) + "-" + std::to_string(key);
}

/// Names of all keys of a group.
std::vector<std::string> KeyNames(int group) {
    std::vector<std::string> names;
    names.reserve(keys);
    for (int k = 0; k < keys; ++k) names.push_back(KeyName(group, k));
    return names;
}

std::vector<KxString> WideKeyNames(int group) {
    std::vector<KxString> names;
    names.reserve(keys);
    for (std::string const& name : KeyNames(group)) names.push_back(Wide(name));
    return names;
}

std::string ValueText(int group, int key) {
    return "measured value " + std::to_string(group * key) + ".25 mm";
}

void ParseOurs(benchmark::State& state) {
    int const groups = static_cast<int>(state.range(0));
    KxString const path = Wide(InMemory().File(groups));
    for (auto _ : state) {
        KxConfigFast config(path);
        if (config.GetGroupCount() != groups) state.SkipWithError("groups are missing");
        benchmark::DoNotOptimize(config);
    }
}
BENCHMARK(ParseOurs)->Name("config-parse/hbtools")->Arg(2)->Arg(200)->UseRealTime();

/// All keys of the last group, one after the other; n is the number of groups.
void LookUpOurs(benchmark::State& state) {
    int const group = static_cast<int>(state.range(0)) - 1;
    KxConfigFast config(Wide(InMemory().File(group + 1)));
    config.SetGroup(Wide("Group" + std::to_string(group)));
    std::vector<KxString> const names = WideKeyNames(group);
    if (config.ReadKey(names[7]).View() != Wide(ValueText(group, 7)).View()) state.SkipWithError("wrong value");
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(config.ReadKey(names[i]));
        i = (i + 1) % names.size();
    }
}
BENCHMARK(LookUpOurs)->Name("config-lookup/hbtools")->Arg(2)->Arg(200)->UseRealTime();

/// One value changes each time and the file is written.
void Save(benchmark::State& state, Folder const& folder) {
    std::string const file = folder.File(static_cast<int>(state.range(0)));
    KxConfigFast config(Wide(file));
    config.SetGroup(L"Group1");
    int i = 0;
    for (auto _ : state) {
        config.WriteKey(L"Parameter1-5", KxTools::String(++i));
        config.Flush();
    }
    KxConfigFast again(Wide(file));
    again.SetGroup(L"Group1");
    if (again.ReadKey(L"Parameter1-5").View() != std::to_wstring(i)) state.SkipWithError("the file is another");
}
void SaveOurs(benchmark::State& state) {
    Save(state, OnDisk());
}
void SaveOursInMemory(benchmark::State& state) {
    Save(state, InMemory());
}
BENCHMARK(SaveOurs)->Name("config-save/hbtools")->Arg(200)->UseRealTime();
BENCHMARK(SaveOursInMemory)->Name("config-save-unsynced/hbtools")->Arg(200)->UseRealTime();

/// 1000 reads of a file that nobody changes, opened before or in the time. The peer is our own class in memory: what
/// it costs to look at the file before each read.
template <class CONFIG>
void ReadThousand(benchmark::State& state, auto make, bool isOpenedInTime) {
    KxString const path = Wide(InMemory().File(200));
    std::vector<KxString> const names = WideKeyNames(100);
    auto const read = [&](CONFIG& config) {
        config.SetGroup(L"Group100");
        for (std::size_t i = 0; i < 1000; ++i) benchmark::DoNotOptimize(config.ReadKey(names[i % names.size()]));
    };
    auto held = make(path);
    if (held->ReadKey(L"none", L"x").View() != L"x") state.SkipWithError("wrong value");
    for (auto _ : state) {
        if (isOpenedInTime) {
            auto const fresh = make(path);
            read(*fresh);
        } else {
            read(*held);
        }
    }
}
void ReadKept(benchmark::State& state) {
    ReadThousand<KxConfiguration>(
        state, [](KxString const& path) { return std::make_unique<KxConfiguration>(path, 0); }, false);
}
void ReadKeptFast(benchmark::State& state) {
    ReadThousand<KxConfigFast>(
        state, [](KxString const& path) { return std::make_unique<KxConfigFast>(path); }, false);
}
void ReadOpened(benchmark::State& state) {
    ReadThousand<KxConfiguration>(
        state, [](KxString const& path) { return std::make_unique<KxConfiguration>(path, 0); }, true);
}
void ReadOpenedFast(benchmark::State& state) {
    ReadThousand<KxConfigFast>(
        state, [](KxString const& path) { return std::make_unique<KxConfigFast>(path); }, true);
}
BENCHMARK(ReadKept)->Name("config-read-current/hbtools")->Arg(1000)->UseRealTime();
BENCHMARK(ReadKeptFast)->Name("config-read-current/KxConfigFast")->Arg(1000)->UseRealTime();
BENCHMARK(ReadOpened)->Name("config-open-and-read/hbtools")->Arg(1000)->UseRealTime();
BENCHMARK(ReadOpenedFast)->Name("config-open-and-read/KxConfigFast")->Arg(1000)->UseRealTime();

#ifdef HBTOOLS_BENCH_GLIB

struct FreeKeyFile {
    void operator()(GKeyFile* file) const { g_key_file_free(file); }
};
using KeyFile = std::unique_ptr<GKeyFile, FreeKeyFile>;

KeyFile Load(benchmark::State& state, std::string const& path) {
    KeyFile file(g_key_file_new());
    // Comments are kept, as ours are.
    if (!g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_KEEP_COMMENTS, nullptr))
        state.SkipWithError("the peer cannot read the file");
    return file;
}

void ParseGlib(benchmark::State& state) {
    std::string const path = InMemory().File(static_cast<int>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(Load(state, path));
}
BENCHMARK(ParseGlib)->Name("config-parse/GKeyFile")->Arg(2)->Arg(200)->UseRealTime();

void LookUpGlib(benchmark::State& state) {
    int const group = static_cast<int>(state.range(0)) - 1;
    KeyFile const file = Load(state, InMemory().File(group + 1));
    std::string const groupName = "Group" + std::to_string(group);
    std::vector<std::string> const names = KeyNames(group);
    std::size_t i = 0;
    for (auto _ : state) {
        char* const value = g_key_file_get_string(file.get(), groupName.c_str(), names[i].c_str(), nullptr);
        if (!value) state.SkipWithError("wrong value");
        benchmark::DoNotOptimize(value);
        g_free(value);
        i = (i + 1) % names.size();
    }
}
BENCHMARK(LookUpGlib)->Name("config-lookup/GKeyFile")->Arg(2)->Arg(200)->UseRealTime();

void SaveGlib(benchmark::State& state, Folder const& folder, GFileSetContentsFlags flags) {
    std::string const path = folder.File(static_cast<int>(state.range(0)));
    KeyFile const file = Load(state, path);
    int i = 0;
    for (auto _ : state) {
        g_key_file_set_string(file.get(), "Group1", "Parameter1-5", std::to_string(++i).c_str());
        gsize length = 0;
        char* const data = g_key_file_to_data(file.get(), &length, nullptr);
        if (!g_file_set_contents_full(path.c_str(), data, static_cast<gssize>(length), flags, 0644, nullptr))
            state.SkipWithError("the peer cannot write the file");
        g_free(data);
    }
}
void SaveGlibSynced(benchmark::State& state) {
    SaveGlib(state, OnDisk(),
             static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT | G_FILE_SET_CONTENTS_DURABLE));
}
void SaveGlibInMemory(benchmark::State& state) {
    SaveGlib(state, InMemory(), G_FILE_SET_CONTENTS_CONSISTENT);
}
BENCHMARK(SaveGlibSynced)->Name("config-save/GKeyFile")->Arg(200)->UseRealTime();
BENCHMARK(SaveGlibInMemory)->Name("config-save-unsynced/GKeyFile")->Arg(200)->UseRealTime();

#endif

#ifdef HBTOOLS_BENCH_INIH

// It keeps nothing: the callback counts, so this is the floor of reading a file rather than a rival.
void ParseInih(benchmark::State& state) {
    int const groups = static_cast<int>(state.range(0));
    std::string const path = InMemory().File(groups);
    for (auto _ : state) {
        int count = 0;
        ini_parse(
            path.c_str(), [](void* user, char const*, char const*, char const*) { return ++*static_cast<int*>(user); },
            &count);
        if (count != groups * keys) state.SkipWithError("keys are missing");
    }
}
BENCHMARK(ParseInih)->Name("config-parse/inih")->Arg(2)->Arg(200)->UseRealTime();

#endif

}  // namespace
