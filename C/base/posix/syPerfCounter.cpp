// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Every counter is one row of a table: where its number comes from under /proc, and how two readings make a value.
#include "hbtools/base/syPerfCounter.h"

#include "base/posix/syDescriptor.h"
#include "base/posix/syFolderNames.h"
#include "base/syTextIds.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syResource.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
#include <unistd.h>

namespace KxN {

namespace {

namespace fs = std::filesystem;

/// Empty if it cannot be read: a process may go between the opening of its file and the reading.
std::string ReadProc(std::string const& path) {
    constexpr std::size_t most = 64 << 20;
    std::string bytes;
    if (detail::ReadWholeFile("/proc/" + path, most, bytes) != 0) bytes.clear();
    return bytes;
}

double Number(std::string_view text) {
    double number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::vector<std::string> Words(std::string const& text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), {}};
}

/// The words behind `key` in its line of `text`; none if there is no such line.
std::vector<std::string> LineOf(std::string const& text, std::string_view key) {
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        if (line.starts_with(key) && line.size() > key.size() && (line[key.size()] == ' ' || line[key.size()] == ':'))
            return Words(line.substr(key.size() + 1));
    return {};
}

/// The number behind `key`, in bytes where the line says kB. False if there is none.
bool Value(std::string const& text, std::string_view key, double& value) {
    std::vector<std::string> const words = LineOf(text, key);
    if (words.empty()) return false;
    value = Number(words[0]) * (words.size() > 1 && words[1] == "kB" ? 1024 : 1);
    return true;
}

double Seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double TicksPerSecond() {
    static double const ticks = static_cast<double>(::sysconf(_SC_CLK_TCK));
    return ticks;
}

double ProcessorCount() {
    return static_cast<double>(std::max(1L, ::sysconf(_SC_NPROCESSORS_ONLN)));
}

// ---- processes ----

std::vector<int> AllProcesses() {
    std::vector<int> numbers;
    detail::FolderNames processes("/proc");
    while (char const* const name = processes.Next())
        if (int const number = static_cast<int>(Number(name))) numbers.push_back(number);
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

/// The program of a process without folder and extension; its short name where the program is not to be seen.
KxString ProgramOf(int process) {
    std::error_code error;
    std::string const folder = "/proc/" + std::to_string(process);
    fs::path program = fs::read_symlink(folder + "/exe", error);
    if (error) {
        std::string name = ReadProc(std::to_string(process) + "/comm");
        if (!name.empty()) name.pop_back();
        return KxxFromSystemPath(name);
    }
    std::string name = program.filename();
    constexpr std::string_view deleted = " (deleted)";
    if (name.ends_with(deleted)) name.resize(name.size() - deleted.size());
    return KxxFromSystemPath(fs::path(name).stem().native());
}

/// What `stat` says of a process behind its name, which may hold anything. Index 0 is the state.
std::vector<std::string> StatOf(int process) {
    std::string const text = ReadProc(std::to_string(process) + "/stat");
    std::size_t const behind = text.rfind(')');
    return behind == std::string::npos ? std::vector<std::string>() : Words(text.substr(behind + 1));
}

enum StatField {
    minorFaults = 7,
    majorFaults = 9,
    userTicks = 11,
    systemTicks = 12,
    threads = 17,
    startTicks = 19,
    virtualSize = 20,
    residentPages = 21
};

/// One process, recognised again by the moment it started.
struct Process {
    int number = 0;
    std::string start;
    double value = 0;  // as it was read last, of a total

    explicit Process(int process) : number(process) {
        std::vector<std::string> const stat = StatOf(process);
        if (stat.size() > startTicks) start = stat[startTicks];
    }
};

// ---- the counters ----

/// Where an instance of an object is found.
struct Instance {
    std::string processor;           // the line of /proc/stat
    std::vector<Process> processes;  // the one, or those that were there at the last reading
    bool isTotal = false;            // of processes: whichever there are
    double total = 0;                // what all processes have done since the first reading
};

/// One reading: a number, and for a ratio what it is related to.
struct Sample {
    double value = 0;
    double base = 0;
};

using Reader = long (*)(Instance& instance, int what, Sample& sample);

// Fields of a processor's line that count as busy, each a bit: user, nice, system, idle, iowait, irq, softirq, steal.
constexpr int userFields = 0x03, systemFields = 0x64, idleFields = 0x18, busyFields = 0xE7;

long ReadProcessor(Instance& instance, int fields, Sample& sample) {
    std::vector<std::string> const ticks = LineOf(ReadProc("stat"), instance.processor);
    if (ticks.size() < 8) return PERF_NO_INSTANCE;
    for (std::size_t i = 0; i < 8; ++i) {
        sample.base += Number(ticks[i]);
        if (fields >> i & 1) sample.value += Number(ticks[i]);
    }
    return PERF_SUCCESS;
}

enum MemoryField { memoryAvailable, memoryCached, memoryCommitted, memoryLimit, memoryCommittedShare, memoryFaults };

long ReadMemory(Instance&, int what, Sample& sample) {
    if (what == memoryFaults) {
        sample.base = Seconds();
        return Value(ReadProc("vmstat"), "pgfault", sample.value) ? PERF_SUCCESS : PERF_NO_DATA;
    }
    static constexpr char const* keys[] = {"MemAvailable", "Cached", "Committed_AS", "CommitLimit", "Committed_AS"};
    std::string const text = ReadProc("meminfo");
    if (!Value(text, keys[what], sample.value)) return PERF_NO_DATA;
    double limit = 1;
    if (what == memoryCommittedShare) {
        if (!Value(text, "CommitLimit", limit) || limit == 0) return PERF_NO_DATA;
        sample.value /= limit;
    }
    return PERF_SUCCESS;
}

enum SystemField { systemProcesses, systemThreads, systemUpTime, systemSwitches, systemQueue };

long ReadSystem(Instance&, int what, Sample& sample) {
    sample.base = Seconds();
    switch (what) {
        case systemProcesses: sample.value = static_cast<double>(AllProcesses().size()); return PERF_SUCCESS;
        case systemThreads: {
            std::string const load = ReadProc("loadavg");
            std::size_t const slash = load.find('/');
            if (slash == std::string::npos) return PERF_NO_DATA;
            sample.value = Number(std::string_view(load).substr(slash + 1));
            return PERF_SUCCESS;
        }
        case systemUpTime: {
            std::string const text = ReadProc("uptime");
            sample.value = Number(text);
            return text.empty() ? PERF_NO_DATA : PERF_SUCCESS;
        }
        case systemSwitches: return Value(ReadProc("stat"), "ctxt", sample.value) ? PERF_SUCCESS : PERF_NO_DATA;
        default: {
            double running = 0;
            if (!Value(ReadProc("stat"), "procs_running", running)) return PERF_NO_DATA;
            sample.value = std::max(0.0, running - ProcessorCount());  // those that run do not wait
            return PERF_SUCCESS;
        }
    }
}

enum ProcessField {
    processTicks,
    processUserTicks,
    processSystemTicks,
    processResident,
    processPeak,
    processPrivate,
    processVirtual,
    processFaults,
    processThreads,
    processHandles,
    processNumber,
    processAge,
    processBytesRead,
    processBytesWritten
};

/// The share of one process; false if it is gone or does not tell.
bool ReadOneProcess(Process const& process, int what, double& value) {
    std::vector<std::string> const stat = StatOf(process.number);
    if (stat.size() <= residentPages || stat[startTicks] != process.start) return false;
    auto const field = [&stat](StatField i) { return Number(stat[i]); };
    std::string const folder = std::to_string(process.number);
    switch (what) {
        case processTicks: value = field(userTicks) + field(systemTicks); return true;
        case processUserTicks: value = field(userTicks); return true;
        case processSystemTicks: value = field(systemTicks); return true;
        case processResident: value = field(residentPages) * static_cast<double>(::sysconf(_SC_PAGESIZE)); return true;
        case processPeak: return Value(ReadProc(folder + "/status"), "VmHWM", value);
        case processPrivate: {
            std::string const status = ReadProc(folder + "/status");
            double swapped = 0;
            Value(status, "VmSwap", swapped);
            if (!Value(status, "RssAnon", value)) return false;
            value += swapped;
            return true;
        }
        case processVirtual: value = field(virtualSize); return true;
        case processFaults: value = field(minorFaults) + field(majorFaults); return true;
        case processThreads: value = field(threads); return true;
        case processHandles: {
            detail::FolderNames open(("/proc/" + folder + "/fd").c_str());
            if (!open.IsOpen()) return false;
            int count = 0;
            while (open.Next()) ++count;
            value = count;
            return true;
        }
        case processNumber: value = process.number; return true;
        case processAge: value = Number(ReadProc("uptime")) - field(startTicks) / TicksPerSecond(); return true;
        case processBytesRead: return Value(ReadProc(folder + "/io"), "rchar", value);
        default: return Value(ReadProc(folder + "/io"), "wchar", value);
    }
}

/// Adds up what each process has done since the last reading, so that one that ends takes nothing back; numbers that do
/// not grow are those of the processes that are there.
void ReadAllProcesses(Instance& instance, int what, bool isGrowing, Sample& sample) {
    std::vector<Process> former = std::exchange(instance.processes, {});
    for (int const number : AllProcesses()) {
        Process process(number);
        if (!ReadOneProcess(process, what, process.value)) continue;
        auto const known = std::lower_bound(former.begin(), former.end(), number,
                                            [](Process const& p, int n) { return p.number < n; });
        bool const isKnown = known != former.end() && known->number == number && known->start == process.start;
        instance.total += process.value - (isKnown ? known->value : 0);
        sample.value += process.value;
        instance.processes.push_back(std::move(process));
    }
    if (isGrowing) sample.value = instance.total;
}

long ReadProcess(Instance& instance, int what, Sample& sample) {
    bool const isTime = what <= processSystemTicks;
    bool const isGrowing = isTime || what == processFaults || what >= processBytesRead;
    sample.base = Seconds() * (isTime ? TicksPerSecond() : 1);
    if (instance.isTotal) {
        ReadAllProcesses(instance, what, isGrowing, sample);
        return PERF_SUCCESS;
    }
    return ReadOneProcess(instance.processes.front(), what, sample.value) ? PERF_SUCCESS : PERF_NO_INSTANCE;
}

/// How readings make the value: the last one times a factor, or the change since the reading before it.
struct Row {
    wchar_t const* object;
    wchar_t const* counter;
    Reader read;
    int what;
    bool isRatio;
    double factor;
};

constexpr Row rows[] = {
    {L"Processor", L"% Processor Time", ReadProcessor, busyFields, true, 100},
    {L"Processor", L"% User Time", ReadProcessor, userFields, true, 100},
    {L"Processor", L"% Privileged Time", ReadProcessor, systemFields, true, 100},
    {L"Processor", L"% Idle Time", ReadProcessor, idleFields, true, 100},
    {L"Memory", L"Available Bytes", ReadMemory, memoryAvailable, false, 1},
    {L"Memory", L"Available KBytes", ReadMemory, memoryAvailable, false, 1.0 / 1024},
    {L"Memory", L"Available MBytes", ReadMemory, memoryAvailable, false, 1.0 / 1048576},
    {L"Memory", L"Cache Bytes", ReadMemory, memoryCached, false, 1},
    {L"Memory", L"Committed Bytes", ReadMemory, memoryCommitted, false, 1},
    {L"Memory", L"Commit Limit", ReadMemory, memoryLimit, false, 1},
    {L"Memory", L"% Committed Bytes In Use", ReadMemory, memoryCommittedShare, false, 100},
    {L"Memory", L"Page Faults/sec", ReadMemory, memoryFaults, true, 1},
    {L"System", L"Processes", ReadSystem, systemProcesses, false, 1},
    {L"System", L"Threads", ReadSystem, systemThreads, false, 1},
    {L"System", L"System Up Time", ReadSystem, systemUpTime, false, 1},
    {L"System", L"Context Switches/sec", ReadSystem, systemSwitches, true, 1},
    {L"System", L"Processor Queue Length", ReadSystem, systemQueue, false, 1},
    {L"Process", L"% Processor Time", ReadProcess, processTicks, true, 100},
    {L"Process", L"% User Time", ReadProcess, processUserTicks, true, 100},
    {L"Process", L"% Privileged Time", ReadProcess, processSystemTicks, true, 100},
    {L"Process", L"Working Set", ReadProcess, processResident, false, 1},
    {L"Process", L"Working Set Peak", ReadProcess, processPeak, false, 1},
    {L"Process", L"Private Bytes", ReadProcess, processPrivate, false, 1},
    {L"Process", L"Virtual Bytes", ReadProcess, processVirtual, false, 1},
    {L"Process", L"Page Faults/sec", ReadProcess, processFaults, true, 1},
    {L"Process", L"Thread Count", ReadProcess, processThreads, false, 1},
    {L"Process", L"Handle Count", ReadProcess, processHandles, false, 1},
    {L"Process", L"ID Process", ReadProcess, processNumber, false, 1},
    {L"Process", L"Elapsed Time", ReadProcess, processAge, false, 1},
    {L"Process", L"IO Read Bytes/sec", ReadProcess, processBytesRead, true, 1},
    {L"Process", L"IO Write Bytes/sec", ReadProcess, processBytesWritten, true, 1},
};

// ---- paths ----

bool IsSame(KxString const& a, KxString const& b) {
    return a.ICompare(b, 0x7FFFFFFF) == 0;
}

struct Path {
    KxString object, instance, counter;
    bool hasInstance = false;
};

/// Takes \object\counter or \object(instance)\counter apart, with \\machine in front of it if it is this one.
long Split(KxString const& text, Path& path) {
    std::wstring_view rest = text.View();
    if (rest.starts_with(L"\\\\")) {
        std::size_t const end = rest.find(L'\\', 2);
        if (end == std::wstring_view::npos) return PERF_BAD_PATH;
        char host[256] = {};
        ::gethostname(host, sizeof host - 1);
        if (!IsSame(KxString(rest.substr(2, end - 2)), KxxFromSystemPath(host))) return PERF_NO_MACHINE;
        rest.remove_prefix(end);
    }
    std::size_t const slash = rest.rfind(L'\\');
    if (slash == std::wstring_view::npos || slash < 2 || rest[0] != L'\\' || slash + 1 == rest.size())
        return PERF_BAD_PATH;
    path.counter = KxString(rest.substr(slash + 1));
    std::wstring_view object = rest.substr(1, slash - 1);
    std::size_t const open = object.find(L'(');
    path.hasInstance = open != std::wstring_view::npos;
    if (path.hasInstance) {
        if (object.back() != L')' || object.size() - open < 3) return PERF_BAD_PATH;
        path.instance = KxString(object.substr(open + 1, object.size() - open - 2));
        object = object.substr(0, open);
    }
    path.object = KxString(object);
    return PERF_SUCCESS;
}

long FindProcesses(KxString const& name, Instance& instance) {
    instance.isTotal = IsSame(name, L"_Total");
    if (instance.isTotal) return PERF_SUCCESS;
    std::wstring_view program = name.View();
    unsigned long wanted = 0;
    std::size_t const mark = program.rfind(L'#');
    if (mark != std::wstring_view::npos && KxString(program.substr(mark + 1)).IsIntNum()) {
        wanted = KxString(program.substr(mark + 1));
        program = program.substr(0, mark);
    }
    KxString const key(program);
    for (int const process : AllProcesses()) {
        if (!IsSame(ProgramOf(process), key) || wanted-- > 0) continue;
        instance.processes.emplace_back(process);
        return PERF_SUCCESS;
    }
    return PERF_NO_INSTANCE;
}

long FindInstance(Reader read, Path const& path, Instance& instance) {
    bool const needed = read == ReadProcessor || read == ReadProcess;
    if (needed != path.hasInstance) return needed ? PERF_NO_INSTANCE : PERF_BAD_PATH;
    if (read == ReadProcess) return FindProcesses(path.instance, instance);
    if (read == ReadProcessor) {
        bool const isTotal = IsSame(path.instance, L"_Total");
        if (!isTotal && !path.instance.IsIntNum()) return PERF_NO_INSTANCE;
        instance.processor = "cpu" + (isTotal ? std::string() : KxxToUtf8(path.instance.View()));
    }
    return PERF_SUCCESS;
}

}  // namespace

struct KxPerfQuery::Counters {
    struct Counter {
        Row const* row;
        Instance instance;
        Sample former, last;
        double value = 0;
        long status = PERF_NO_DATA;
    };
    std::vector<Counter> list;
};

KxPerfQuery::KxPerfQuery() : m_counters(std::make_unique<Counters>()) {}
KxPerfQuery::~KxPerfQuery() = default;

long KxPerfQuery::AddCounter(KxString const& text, int& handle) {
    Path path;
    if (long const status = Split(text, path)) return status;
    bool objectKnown = false;
    for (Row const& row : rows) {
        if (!IsSame(path.object, row.object)) continue;
        objectKnown = true;
        if (!IsSame(path.counter, row.counter)) continue;
        Counters::Counter counter{&row, {}, {}, {}};
        if (long const status = FindInstance(row.read, path, counter.instance)) return status;
        if (long const status = row.read(counter.instance, row.what, counter.last)) return status;
        handle = static_cast<int>(m_counters->list.size());
        m_counters->list.push_back(std::move(counter));
        return PERF_SUCCESS;
    }
    return objectKnown ? PERF_NO_COUNTER : PERF_NO_OBJECT;
}

long KxPerfQuery::Collect() {
    for (Counters::Counter& counter : m_counters->list) {
        Sample sample;
        counter.status = counter.row->read(counter.instance, counter.row->what, sample);
        if (counter.status != PERF_SUCCESS) continue;
        counter.former = std::exchange(counter.last, sample);
        if (counter.row->isRatio) {
            double const base = counter.last.base - counter.former.base;
            counter.value = base > 0 ? (counter.last.value - counter.former.value) / base * counter.row->factor : 0;
        } else {
            counter.value = counter.last.value * counter.row->factor;
        }
    }
    return m_counters->list.empty() ? PERF_NO_DATA : PERF_SUCCESS;
}

long KxPerfQuery::GetValue(int handle, double& value) const {
    if (handle < 0 || static_cast<std::size_t>(handle) >= m_counters->list.size()) return PERF_INVALID_HANDLE;
    Counters::Counter const& counter = m_counters->list[static_cast<std::size_t>(handle)];
    if (counter.status == PERF_SUCCESS) value = counter.value;
    return counter.status;
}

KxString KxxPerfStatusText(long status) {
    switch (status) {
        case PERF_NO_MACHINE: return KxString(KxResId(text::PerfNoMachine));
        case PERF_NO_INSTANCE: return KxString(KxResId(text::PerfNoInstance));
        case PERF_NO_OBJECT: return KxString(KxResId(text::PerfNoObject));
        case PERF_NO_COUNTER: return KxString(KxResId(text::PerfNoCounter));
        case PERF_INVALID_HANDLE: return KxString(KxResId(text::PerfInvalidHandle));
        case PERF_BAD_PATH: return KxString(KxResId(text::PerfBadPath));
        case PERF_NO_DATA: return KxString(KxResId(text::PerfNoData));
        default: return KxString();
    }
}

}  // namespace KxN
