// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Debug entries that have reached the system when the call returns, beside spdlog with a flush after each and a bare
// write; and a save of the log in memory, which is the work without waiting for a medium, and on the disk of the
// temporary folder.
#include "hbtools/base/syEncoding.h"
#include "hbtools/diagnostics/syExceptionMgr.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#ifdef HBTOOLS_BENCH_SPDLOG
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

using namespace KxN;

namespace {

/// A folder of our own, in memory where there is such a file system.
class Folder {
public:
    explicit Folder(bool inMemory) {
        std::filesystem::path root = "/dev/shm";
        if (!inMemory || !std::filesystem::is_directory(root)) root = std::filesystem::temp_directory_path();
        std::string name = (root / "hbbench-XXXXXX").string();
        if (::mkdtemp(name.data())) m_path = name;
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    std::string File(char const* name) const { return (m_path / name).string(); }
    std::string Content(char const* name) const {
        std::ifstream in(File(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    void Initialize(KxExceptionManager& manager, char const* timing) const {
        std::ofstream(File("app.ini")) << "[Initialization]\nErrorCount=200\nBackupTiming=" << timing << '\n';
        manager.Initialize(KxxFromSystemPath(File("app.ini")));
    }

private:
    std::filesystem::path m_path;
};

constexpr char message[] = "Der Scanner antwortet nicht: Zeit abgelaufen nach 2500 ms";

bool EndsWithMessage(std::string const& content) {
    return content.find(message) != content.npos && content.find(message) + sizeof message + 2 > content.size();
}

void WriteOurs(benchmark::State& state) {
    Folder const folder(true);
    KxExceptionManager manager;
    folder.Initialize(manager, "none");
    KxString const text(message);
    manager.WriteToDebugFile(text, 1, 0);
    if (!EndsWithMessage(folder.Content("Debug.log"))) state.SkipWithError("the entry is not in the file");
    for (auto _ : state) manager.WriteToDebugFile(text, 1, 0);
}
BENCHMARK(WriteOurs)->Name("debug-entry/hbtools")->UseRealTime();

#ifdef HBTOOLS_BENCH_SPDLOG
void WriteSpdlog(benchmark::State& state) {
    Folder const folder(true);
    auto const logger = spdlog::basic_logger_mt(folder.File("spdlog.log"), folder.File("spdlog.log"));
    logger->set_pattern("DATUM: %d.%m.%Y, ZEIT: %H:%M:%S\r\n%v");
    logger->flush_on(spdlog::level::info);
    logger->info("{}", message);
    if (!EndsWithMessage(folder.Content("spdlog.log"))) state.SkipWithError("the entry is not in the file");
    for (auto _ : state) logger->info("{}", message);
    spdlog::drop_all();
}
BENCHMARK(WriteSpdlog)->Name("debug-entry/spdlog")->UseRealTime();
#endif

void WriteBare(benchmark::State& state) {
    Folder const folder(true);
    int const file = ::open(folder.File("bare.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    std::string const entry = std::string("DATUM: 31.12.2024, ZEIT: 23:59:58\r\n") + message + "\r\n";
    for (auto _ : state)
        if (::write(file, entry.data(), entry.size()) != static_cast<ssize_t>(entry.size()))
            state.SkipWithError("the entry is not in the file");
    ::close(file);
}
BENCHMARK(WriteBare)->Name("debug-entry/bare write")->UseRealTime();

void SaveLog(benchmark::State& state, bool inMemory) {
    Folder const folder(inMemory);
    KxExceptionManager manager;
    folder.Initialize(manager, "SAVE_ON_DEMAND");
    for (int i = 0; i < 200; ++i) {
        KxException exception(L"sensor.cpp", 120, KxString(message));
        exception.SetExceptionGroup(i % 3 == 0 ? L"Scanner" : L"Tisch");
        manager.AddExceptionToLog(exception);
    }
    for (auto _ : state) manager.SaveExcGrpLst();
    if (folder.Content("syexcmgr.bas").find("[199]\n") == std::string::npos) state.SkipWithError("no whole log");
}
BENCHMARK_CAPTURE(SaveLog, memory, true)->Name("save-log-in-memory/hbtools")->Arg(200)->UseRealTime();
BENCHMARK_CAPTURE(SaveLog, disk, false)->Name("save-log-on-disk/hbtools")->Arg(200)->UseRealTime();

}  // namespace
