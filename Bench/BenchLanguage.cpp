// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Texts by number: of this library's own table and of a satellite, beside GNU gettext and a map of strings. And how long a
// process waits for the library to be loaded.
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syModule.h"
#include "hbtools/base/syResource.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <unordered_map>
#include <vector>
#include <dlfcn.h>
#include <libintl.h>
#include <link.h>
#include <locale.h>

namespace {

using namespace KxN;

constexpr unsigned short ids[] = {2001, 2010, 2016, 2054, 2106, 6040, 6311, 7211};
constexpr std::size_t idCount = std::size(ids);

/// The satellite that the build makes of the library's own texts.
HINSTANCE Pack() {
    static HINSTANCE const pack = KxxLoadSatellite(KxString(HBTOOLS_BENCH_PACK));
    return pack;
}

void FindOwn(benchmark::State& state) {
    std::size_t i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(g_pHbToolsModule->FindText(ids[i++ % idCount]));
}
BENCHMARK(FindOwn)->Name("text-built-in-view/hbtools");

void StringOwn(benchmark::State& state) {
    std::size_t i = 0;
    for (auto _ : state) {
        KxString const text{KxResId(ids[i++ % idCount])};
        benchmark::DoNotOptimize(text.GetStr());
    }
}
BENCHMARK(StringOwn)->Name("text-built-in/hbtools");

class Translated {
public:
    explicit Translated(benchmark::State& state) {
        g_pHbToolsModule->SetResourceHandle(Pack());
        if (g_pHbToolsModule->FindText(2001).substr(0, 1) != "[") state.SkipWithError("no language pack");
    }
    ~Translated() { g_pHbToolsModule->SetResourceHandle(nullptr); }
};

void FindPack(benchmark::State& state) {
    Translated const translated(state);
    std::size_t i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(g_pHbToolsModule->FindText(ids[i++ % idCount]));
}
BENCHMARK(FindPack)->Name("text-pack-view/hbtools");

void StringPack(benchmark::State& state) {
    Translated const translated(state);
    std::size_t i = 0;
    for (auto _ : state) {
        KxString const text{KxResId(ids[i++ % idCount])};
        benchmark::DoNotOptimize(text.GetStr());
    }
}
BENCHMARK(StringPack)->Name("text-pack/hbtools");

/// The texts of the pack by number, as an application without a library would keep them.
std::unordered_map<unsigned short, std::wstring> const& Map() {
    static std::unordered_map<unsigned short, std::wstring> const map = [] {
        std::unordered_map<unsigned short, std::wstring> made;
        for (unsigned id = 1; id < 65536; ++id) {
            KxString const text(KxResId(static_cast<unsigned short>(id)));
            if (text.Len() > 0) made.emplace(static_cast<unsigned short>(id), text.View());
        }
        return made;
    }();
    return map;
}

void FindMap(benchmark::State& state) {
    auto const& map = Map();
    std::size_t i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(std::wstring_view(map.find(ids[i++ % idCount])->second));
}
BENCHMARK(FindMap)->Name("text-pack-view/unordered_map");

void StringMap(benchmark::State& state) {
    auto const& map = Map();
    std::size_t i = 0;
    for (auto _ : state) {
        std::wstring const text = map.find(ids[i++ % idCount])->second;
        benchmark::DoNotOptimize(text.data());
    }
}
BENCHMARK(StringMap)->Name("text-pack/unordered_map");

/// A catalogue of the same texts, whose keys are the built-in ones as is usual there.
class Catalogue {
public:
    Catalogue() {
        std::string folder = (std::filesystem::temp_directory_path() / "hbbench-XXXXXX").string();
        if (!::mkdtemp(folder.data())) std::abort();
        m_folder = folder;
        std::filesystem::create_directories(m_folder / "en/LC_MESSAGES");
        std::vector<std::pair<std::string, std::string>> texts;
        for (unsigned id = 1; id < 65536; ++id) {
            std::string const own(g_pHbToolsModule->FindText(static_cast<unsigned short>(id)));
            if (!own.empty()) texts.emplace_back(own, "[" + own + "]");
        }
        std::sort(texts.begin(), texts.end());
        texts.erase(std::unique(texts.begin(), texts.end(), [](auto& a, auto& b) { return a.first == b.first; }),
                    texts.end());
        std::string index, values, strings;
        auto const number = [](std::size_t value) {
            std::string bytes(4, '\0');
            for (unsigned i = 0; i < 4; ++i) bytes[i] = static_cast<char>(value >> (8 * i));
            return bytes;
        };
        std::size_t const start = 28 + 16 * texts.size();
        for (auto const& [key, value] : texts) {
            index += number(key.size()) + number(start + strings.size());
            strings += key + '\0';
        }
        for (auto const& [key, value] : texts) {
            values += number(value.size()) + number(start + strings.size());
            strings += value + '\0';
        }
        std::ofstream(m_folder / "en/LC_MESSAGES/bench.mo", std::ios::binary)
            << number(0x950412de) << number(0) << number(texts.size()) << number(28) << number(28 + 8 * texts.size())
            << number(0) << number(start) << index << values << strings;
        ::setenv("LANGUAGE", "en", 1);
        ::setlocale(LC_MESSAGES, "C.UTF-8");
        ::bindtextdomain("bench", m_folder.c_str());
        for (unsigned short const id : ids) keys.emplace_back(g_pHbToolsModule->FindText(id));
    }
    ~Catalogue() {
        ::setlocale(LC_MESSAGES, "C");
        std::filesystem::remove_all(m_folder);
    }
    std::vector<std::string> keys;

private:
    std::filesystem::path m_folder;
};

void FindGettext(benchmark::State& state) {
    Catalogue const catalogue;
    if (std::strncmp(::dgettext("bench", catalogue.keys[0].c_str()), "[", 1) != 0) state.SkipWithError("no catalogue");
    std::size_t i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(::dgettext("bench", catalogue.keys[i++ % idCount].c_str()));
}
BENCHMARK(FindGettext)->Name("text-pack-view/gettext");

/// The libraries that the library itself needs.
std::string Needs() {
    Dl_info info{};
    link_map* map = nullptr;
    std::string needs;
    if (::dladdr1(g_pHbToolsModule, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) == 0) return needs;
    char const* names = nullptr;
    for (auto const* entry = map->l_ld; entry->d_tag != DT_NULL; ++entry)
        if (entry->d_tag == DT_STRTAB) names = reinterpret_cast<char const*>(entry->d_un.d_ptr);
    for (auto const* entry = map->l_ld; entry->d_tag != DT_NULL; ++entry)
        if (entry->d_tag == DT_NEEDED) needs += std::string(" ") + (names + entry->d_un.d_val);
    return needs;
}

/// A process loads the library, relocations and static initialisation included, and says how long that took.
void Load(benchmark::State& state, std::string const& needs) {
    std::string const library = KxxToSystemPath(GetModuleFileName(g_pHbToolsModule->GetModule()).View());
    std::string const command = std::string(HBTOOLS_BENCH_LOADER) + " " + library + needs;
    for (auto _ : state) {
        FILE* const out = ::popen(command.c_str(), "r");
        double nanoseconds = 0;
        bool const isRead = out && std::fscanf(out, "%lf", &nanoseconds) == 1;
        if (!out || ::pclose(out) != 0 || !isRead) return state.SkipWithError("not loaded");
        state.SetIterationTime(nanoseconds * 1e-9);
    }
}
void LoadAlone(benchmark::State& state) {
    Load(state, Needs());
}
void LoadWithNeeds(benchmark::State& state) {
    Load(state, "");
}
BENCHMARK(LoadAlone)->Name("load-library/hbtools")->UseManualTime()->Iterations(50);
BENCHMARK(LoadWithNeeds)->Name("load-library/with-all-it-needs")->UseManualTime()->Iterations(50);

}  // namespace
