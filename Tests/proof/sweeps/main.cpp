// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Cuts every golden file at each byte and flips each of its bits, and reads what is left with the readers of its format and
// with the tools; the inputs that the fuzz targets start from besides.
//
//     proof_sweeps [--long] [--self-check] [TOOL | FILE READER cut|flip NUMBER]
//
// Without --long there are bounds for each file, the cuts and flips are taken in strides, and the tools see few of them, at
// both ends, in the middle and at borders of records and lines. Of files beyond 16 KiB windows are swept: the first, the last
// and some between. With a tool only those inputs are made that it reads. With a number that one input is read in this
// process, for a debugger. One line for each file and reader
// tells how many there were and how much memory the worst took; a line "finding" follows for whatever must not be. Exit code
// 1 if there are findings.
//
// No input may end the process, take longer than seconds, take memory beyond a constant and a small multiple of its size, or
// leak; a tool has its own size besides, and must not end by a signal or with a code that it does not document. No cut file
// may pass for whole, but for what its format cannot tell: Cuts.cc has the list. No file may be left out.
#include "../Program.h"
#include "../allocations/Memory.h"
#include "Cuts.h"
#include "Readers.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <new>
#include <string>
#include <utility>
#include <vector>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

int HbtagMain(int argc, char** argv);  // in a child: it is a whole program

// What a sanitizer finds must not look like a documented exit code. The names are the sanitizers'.
extern "C" char const* __asan_default_options() {  // NOLINT(bugprone-reserved-identifier)
    return "exitcode=99";
}
extern "C" char const* __ubsan_default_options() {  // NOLINT(bugprone-reserved-identifier)
    return "exitcode=99";
}

namespace proof {

namespace {

namespace fs = std::filesystem;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool isSanitized = true;
#else
constexpr bool isSanitized = false;
#endif

constexpr long long memoryConstant = 4 << 20;  // bytes
constexpr long long memoryFactor = 256;
constexpr std::size_t largestSwept = 16 << 10;  // bytes, without gaps
constexpr std::size_t window = 1 << 10;         // of a larger one
constexpr std::size_t numWindows = 6;
constexpr int deathsBeforeGivingUp = 5;  // of one file and reader
unsigned g_hangAfter = 20;               // seconds, of one input

/// What a file is swept with: lengths that it is cut to, and bits.
struct Plan {
    std::vector<std::size_t> cuts, flips;
    std::size_t Count() const { return cuts.size() + flips.size(); }
};

/// The bytes that are swept: all, or windows at both ends and between.
std::vector<std::size_t> SweptOf(std::size_t size) {
    std::vector<std::size_t> bytes;
    if (size <= largestSwept)
        for (std::size_t i = 0; i < size; ++i) bytes.push_back(i);
    else
        for (std::size_t w = 0; w < numWindows; ++w)
            for (std::size_t i = 0; i < window; ++i) bytes.push_back((size - window) * w / (numWindows - 1) + i);
    return bytes;
}

std::string Input(std::string const& bytes, bool isCut, std::size_t number) {
    std::string input = isCut ? bytes.substr(0, number) : bytes;
    if (!isCut) input[number / 8] = static_cast<char>(input[number / 8] ^ (1 << number % 8));
    return input;
}

/// In memory that parent and child share.
struct Progress {
    std::size_t next;       // input, by its place in the plan
    long long peak;         // bytes
    std::size_t greediest;  // input
    std::size_t numUnseen;  // cuts that pass for whole, and may
    std::size_t numMissed, firstMissed;
};

struct Sweep {
    std::string file, bytes;
    Reader reader;
    Plan plan;
    Format const& format;

    std::string InputAt(std::size_t place) const {
        bool const isCut = place < plan.cuts.size();
        return Input(bytes, isCut, isCut ? plan.cuts[place] : plan.flips[place - plan.cuts.size()]);
    }
    std::string NameOf(std::size_t place) const {
        if (place < plan.cuts.size()) return "cut " + std::to_string(plan.cuts[place]);
        return "flip " + std::to_string(plan.flips[place - plan.cuts.size()]);
    }
    long long Allowed() const { return memoryConstant + memoryFactor * static_cast<long long>(bytes.size()); }
};

/// What the child does, from `progress.next` on.
void Run(Sweep const& sweep, Progress& progress) {
    for (; progress.next < sweep.plan.Count(); ++progress.next) {
        std::string const input = sweep.InputAt(progress.next);
        ::alarm(g_hangAfter);
        memory::StartPeak();
        sweep.reader.read(reinterpret_cast<std::uint8_t const*>(input.data()), input.size());
        if (long long const peak = memory::PeakBytes(); peak > progress.peak) {
            progress.peak = peak;
            progress.greediest = progress.next;
        }
        if (!sweep.reader.opens || progress.next >= sweep.plan.cuts.size() || !sweep.reader.opens(input)) continue;
        if (sweep.format.MayPass(sweep.bytes, input.size()))
            ++progress.numUnseen;
        else if (progress.numMissed++ == 0)
            progress.firstMissed = progress.next;
    }
    ::alarm(0);
}

std::string EndOf(int status) {
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM) return "no end";
    if (WIFSIGNALED(status)) return std::string("ended by ") + ::strsignal(WTERMSIG(status));
    return "ended with code " + std::to_string(WEXITSTATUS(status));
}

std::string ReadFile(fs::path const& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::vector<fs::path> FilesIn(fs::path const& folder) {
    std::vector<fs::path> files;
    for (auto const& entry : fs::directory_iterator(folder)) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

/// What stands in a file, or in all files of a folder.
std::string Written(fs::path const& path) {
    if (!fs::is_directory(path)) return path.empty() ? "" : ReadFile(path);
    std::string all;
    for (fs::path const& file : FilesIn(path)) all += Written(file);
    return all;
}

/// The readers of a golden file.
std::vector<std::string> ReadersOf(fs::path const& file) {
    std::map<std::string, std::vector<std::string>> const byExtension = {
        {".tag", {"tag_values", "tag_chain", "tag_repair"}},
        {".stream", {"persistent_stream", "object_inspector"}},
        {".ini", {"config", "config_fast"}},
        {".ENU", {"language_pack", "version_info"}},
        {".bas", {"exception_log"}},
        {".macro", {"command_lines"}},
        {".xml", {"conditions", "xml", "xml_whole"}},
        {".zip", {"zip", "zip_whole"}},
    };
    auto const known = byExtension.find(file.extension());
    std::vector<std::string> readers = known == byExtension.end() ? std::vector<std::string>{} : known->second;
    if (file.filename() == "header.tag") readers.emplace_back("bin_header");
    if (file.filename() == "graph.tag") readers.emplace_back("graph_values");
    if (file.filename() == "encrypted.ini") readers.emplace_back("encrypted_values");
    return readers;
}

Reader const* FindReader(std::string const& name) {
    for (Reader const& reader : Readers())
        if (name == reader.name) return &reader;
    return nullptr;
}

class Proof {
public:
    explicit Proof(bool isLong, std::string onlyTool = {}) : m_isLong(isLong), m_onlyTool(std::move(onlyTool)) {
        void* const shared =
            ::mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (shared == MAP_FAILED) throw std::bad_alloc();
        m_progress = static_cast<Progress*>(shared);
    }
    Proof(Proof const&) = delete;
    Proof& operator=(Proof const&) = delete;
    ~Proof() { ::munmap(m_progress, sizeof(Progress)); }

    Plan PlanOf(std::size_t size, std::size_t cuts, std::size_t flips) const {
        if (isSanitized) cuts /= 2, flips /= 2;
        std::vector<std::size_t> const swept = SweptOf(size);
        std::size_t const count = swept.size();
        std::size_t const cutStride = m_isLong ? 1 : std::max<std::size_t>(1, (count + cuts - 1) / cuts);
        // An odd stride comes to each of the eight bits.
        std::size_t const flipStride = m_isLong ? 1 : ((count * 8 + flips - 1) / flips) | 1;
        Plan plan;
        for (std::size_t i = 0; i < count; i += cutStride) plan.cuts.push_back(swept[i]);
        if (count > 0 && plan.cuts.back() + 1 != size) plan.cuts.push_back(size - 1);
        for (std::size_t i = 0; i < count * 8; i += flipStride) plan.flips.push_back(swept[i / 8] * 8 + i % 8);
        return plan;
    }

    void Golden(fs::path const& file) {
        std::vector<std::string> const readers = ReadersOf(file);
        std::string const name = file.parent_path().filename().string() + "/" + file.filename().string();
        if (readers.empty() && file.extension() != ".md") Find(name + ": no reader is known");
        std::string const bytes = ReadFile(file);
        for (std::string const& reader : readers) {
            Total total;
            RunSweep({name, bytes, *FindReader(reader), PlanOf(bytes.size(), 250, 500), FormatOf(file)}, total);
            Tell(name + " by " + reader, total);
        }
    }

    /// All files of a folder with the reader of its name, in one line.
    void Seeds(fs::path const& folder) {
        std::string const name = folder.filename();
        Reader const* const reader = FindReader(name);
        if (!reader) return Find(name + ": no reader is known");
        Total total;
        for (fs::path const& file : FilesIn(folder)) {
            std::string const bytes = ReadFile(file);
            RunSweep(
                {name + "/" + file.filename().string(), bytes, *reader, PlanOf(bytes.size(), 30, 60), FormatOf(file)},
                total);
        }
        Tell("seeds of " + name, total);
    }

    /// One reader that may be at fault, over a few bytes.
    void Faulty(Reader const& reader) {
        Total total;
        m_isLong = true;
        RunSweep({reader.name, "abcdefgh", reader, PlanOf(8, 8, 64), FormatOf("")}, total);
        Tell(reader.name, total);
    }

    /// The inputs as files for a tool; `arguments` has a % where their path stands.
    /// What it writes goes to `out`, and with exit code 0 is what it writes of the whole file.
    void Tool(fs::path const& file, std::vector<std::string> const& arguments, fs::path const& folder,
              fs::path const& out = {}) {
        if (isSanitized && arguments.front() == HBTAG_PY) return;  // whose interpreter is not
        if (!m_onlyTool.empty() && fs::path(arguments.front()).filename() != m_onlyTool) return;
        std::string const bytes = ReadFile(file);
        std::string name = file.filename().string() + " by";
        if (bytes.empty()) return Find(name + " " + arguments.front() + ": there is nothing to sweep");
        for (std::string const& argument : arguments)
            if (argument.find('/') == std::string::npos || argument == arguments.front())
                name += " " + fs::path(argument).filename().string();
        std::size_t const few = isSanitized ? 4 : 6;
        Sweep sweep{name, bytes, {}, PlanOf(bytes.size(), few, few), FormatOf(file)};
        if (std::vector<std::size_t> const borders = BordersOf(bytes); !m_isLong) sweep.plan.cuts = borders;
        if (!m_isLong && isSanitized) {  // a start takes ten times as long
            sweep.plan.cuts = {0, sweep.plan.cuts[sweep.plan.cuts.size() / 2], bytes.size() - 1};
            sweep.plan.flips.resize(1);
        }
        fs::path const input = folder / ("input" + file.extension().string());
        std::vector<std::string> words = arguments;
        for (std::string& word : words)
            if (std::size_t const at = word.find('%'); at != std::string::npos) word.replace(at, 1, input.string());
        Total total{sweep.plan.cuts.size(), sweep.plan.flips.size(), bytes.size(), 0, 0};
        struct rusage used {};
        auto const run = [&](std::string const& content) {
            std::ofstream(input, std::ios::binary | std::ios::trunc) << content;
            if (!out.empty()) fs::remove_all(out);
            return RunTool(words, used);
        };
        run("");
        long const least = used.ru_maxrss;  // KiB, of the program itself
        if (int const status = run(bytes)) Find(name + ", whole: " + EndOf(status));
        std::string const written = Written(out);
        for (std::size_t place = 0; place < sweep.plan.Count(); ++place) {
            int const status = run(sweep.InputAt(place));
            long const memory = used.ru_maxrss - least;
            total.peak = std::max(total.peak, static_cast<long long>(memory) << 10);
            if (!WIFEXITED(status) || WEXITSTATUS(status) > 3)
                Find(name + ", " + sweep.NameOf(place) + ": " + EndOf(status));
            if (!isSanitized && static_cast<long long>(memory) << 10 > sweep.Allowed())
                Find(name + ", " + sweep.NameOf(place) + ": " + std::to_string(memory) + " KiB of memory");
            if (place >= sweep.plan.cuts.size() || status != 0) continue;
            std::size_t const length = sweep.plan.cuts[place];
            if (!sweep.format.MayPass(bytes, length) && (out.empty() || Written(out) != written))
                Find(name + ", " + sweep.NameOf(place) + ": passes for whole");
            ++total.unseen;
        }
        Tell(name, total);
    }

    static int RunTool(std::vector<std::string> const& words, struct rusage& used) {
        std::vector<char*> arguments;
        for (std::string const& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        pid_t const child = ::fork();
        if (child == 0) {
            int const null = ::open("/dev/null", O_RDWR);
            for (int i = 0; i < 3; ++i) ::dup2(null, i);
            ::alarm(g_hangAfter);
            if (words[0] == "hbtag") std::exit(HbtagMain(static_cast<int>(words.size()), arguments.data()));
            std::string const program = words[0].starts_with('/') ? words[0] : HBTOOLS_TOOLS "/" + words[0];
            ::execv(program.c_str(), arguments.data());
            ::_exit(127);
        }
        int status = 0;
        while (::wait4(child, &status, 0, &used) < 0 && errno == EINTR) {}
        return status;
    }

    int TellAll() const {
        std::printf("K = %zu cuts and %zu flips, %d findings\n", m_all.cuts, m_all.flips, m_numFindings);
        return m_numFindings;
    }

private:
    struct Total {
        std::size_t cuts = 0, flips = 0, bytes = 0;
        long long peak = 0;
        std::size_t unseen = 0;
    };

    void RunSweep(Sweep const& sweep, Total& total) {
        *m_progress = {};
        for (int deaths = 0; m_progress->next < sweep.plan.Count();) {
            std::fflush(stdout);
            pid_t const child = ::fork();
            if (child == 0) {
                int const null = ::open("/dev/null", O_WRONLY);
                ::dup2(null, 1);
                if (!isSanitized) ::dup2(null, 2);
                Run(sweep, *m_progress);
                std::exit(0);  // with all that looks for leaks then
            }
            int status = 0;
            while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {}
            if (status == 0) break;
            bool const isBehind = m_progress->next >= sweep.plan.Count();
            Find(sweep.file + " by " + sweep.reader.name + ", " +
                 (isBehind ? "at the end" : sweep.NameOf(m_progress->next)) + ": " + EndOf(status));
            ++m_progress->next;
            if (++deaths == deathsBeforeGivingUp) break;
        }
        if (m_progress->peak > sweep.Allowed())
            Find(sweep.file + " by " + sweep.reader.name + ", " + sweep.NameOf(m_progress->greediest) + ": " +
                 std::to_string(m_progress->peak) + " bytes of memory");
        if (m_progress->numMissed > 0)
            Find(sweep.file + " by " + sweep.reader.name + ", " + sweep.NameOf(m_progress->firstMissed) +
                 ": passes for whole");
        if (sweep.plan.cuts.empty() && !sweep.bytes.empty()) Find(sweep.file + ": is not swept");
        total.cuts += sweep.plan.cuts.size();
        total.flips += sweep.plan.flips.size();
        total.bytes += sweep.bytes.size();
        total.peak = std::max(total.peak, m_progress->peak);
        total.unseen += m_progress->numUnseen;
    }

    void Find(std::string const& what) {
        ++m_numFindings;
        std::printf("finding: %s\n", what.c_str());
        std::fflush(stdout);
    }
    void Tell(std::string const& title, Total const& total) {
        m_all.cuts += total.cuts;
        m_all.flips += total.flips;
        std::printf("%-46s %7zu bytes: %6zu cuts, %6zu flips, at most %6lld KiB", title.c_str(), total.bytes,
                    total.cuts, total.flips, (total.peak + 1023) >> 10);
        if (total.unseen > 0) std::printf(", %zu cuts look whole", total.unseen);
        std::printf("\n");
        std::fflush(stdout);
    }

    bool m_isLong;
    std::string m_onlyTool;  // empty: all
    Progress* m_progress;
    Total m_all;
    int m_numFindings = 0;
};

/// Faults that must be found.
std::vector<Reader> FaultyReaders() {
    struct Local {
        static int Dying(std::uint8_t const* bytes, std::size_t size) {
            if (size == 8 && bytes[3] == 'l') std::abort();  // d with one bit more
            return 0;
        }
        static int Greedy(std::uint8_t const*, std::size_t size) {
            if (size == 5) std::string(100 << 20, 'x').find('y');
            return 0;
        }
        static int Endless(std::uint8_t const*, std::size_t size) {
            for (bool volatile isOver = size != 3; !isOver;) {}
            return 0;
        }
        static int Leaking(std::uint8_t const*, std::size_t size) {
            [[maybe_unused]] static std::size_t volatile lost;
            if (size == 4) lost = ~reinterpret_cast<std::size_t>(new std::string(100, 'x'));
            return 0;
        }
        static int Throwing(std::uint8_t const*, std::size_t size) {
            if (size == 0) throw 1;
            return 0;
        }
        static int Reading(std::uint8_t const*, std::size_t) { return 0; }
        static bool IsShort(std::string const& bytes) { return bytes.size() < 3; }
    };
    return {{"dying", Local::Dying},     {"greedy", Local::Greedy},     {"endless", Local::Endless},
            {"leaking", Local::Leaking}, {"throwing", Local::Throwing}, {"believing", Local::Reading, Local::IsShort}};
}

void RunTools(Proof& proof, fs::path const& golden) {
    fs::path const folder = test::MakeOwnFolder();
    if (folder.empty()) throw std::bad_alloc();
    ::setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
    ::setenv("ASAN_OPTIONS", "exitcode=99:allocator_may_return_null=1", 1);
    ::setenv("UBSAN_OPTIONS", "halt_on_error=1:exitcode=99", 1);
    fs::path const out = folder / "out", made = folder / "made";
    fs::create_directory(made);
    auto const scanlab = [&](fs::path const& file, std::vector<std::string> const& lines,
                             fs::path const& written = {}) {
        std::vector<std::string> words = {"scanlab", "--out", folder, "do"};
        words.insert(words.end(), lines.begin(), lines.end());
        proof.Tool(file, words, folder, written);
    };
    for (fs::path const& file : FilesIn(golden)) {
        std::string const extension = file.extension();
        if (extension == ".tag") {
            for (char const* const verb : {"ls", "dump", "verify", "tree"})
                proof.Tool(file, {"hbtag", verb, "%"}, folder);
            proof.Tool(file, {"hbtag", "tree", "--html", "%"}, folder);
            proof.Tool(file, {"hbtag", "repair", "%", out}, folder, out);
            proof.Tool(file, {"hbtag", "convert", "--form", "64", "%", out}, folder, out);
            proof.Tool(file, {"hbtag", "diff", file, "%"}, folder);
            if (file.filename() == "composite-64.tag") {
                for (char const* const form : {"--csv", "--npy", "--ply"})
                    proof.Tool(file, {"hbtag", "export", form, "%", "233", out}, folder, out);
                proof.Tool(file, {HBTAG_PY, "dump", "%"}, folder);
            }
        }
        if (extension == ".stream") proof.Tool(file, {"hbtag", "dump", "%"}, folder);
        if (extension == ".stream") proof.Tool(file, {HBTAG_PY, "dump", "%"}, folder);
        if (extension == ".bas") proof.Tool(file, {"hblog", "log", "%"}, folder);
        if (extension == ".ENU") proof.Tool(file, {HBTAG_PY, "dump", "%"}, folder);
        if (extension == ".zip") scanlab(file, {"Unpack % out;"}, out);
        if (extension == ".xml") scanlab(file, {"Synthesize plate FALSE 50;", "ImportConditions %;"});
    }
    fs::copy_file(HBTOOLS_GOLDEN_TEXTS, made / "golden.texts");
    proof.Tool(made / "golden.texts", {"hbres", "--check", "--strict", HBTOOLS_GOLDEN_TEXTS, "%"}, folder);
    fs::copy_file(HBTOOLS_GOLDEN_TEXTS, made / "golden.txt");
    proof.Tool(made / "golden.txt", {"hbres", "--pack", "ENU", "%", out}, folder);
    for (fs::path const& file : FilesIn(golden.parent_path().parent_path() / "scans")) scanlab(file, {"Import %;"});

    std::ofstream(made / "lines.debug")
        << "DATE: 31.12.2024, TIME: 12:00:00\r\nPROFILE;0x1A2B;12:00:00;enter;Load;;;;\r\n"
           "DATE: 31.12.2024, TIME: 12:00:02\r\n"
           "PROFILE;0x1A2B;12:00:02;leave;Load;12:00:00;1650;838;\r\n";
    for (char const* const verb : {"debug", "profile"}) proof.Tool(made / "lines.debug", {"hblog", verb, "%"}, folder);
    struct rusage used {};
    std::ofstream(made / "a.macro") << "Synthesize plate FALSE 40 plate;\nList;\n";
    Proof::RunTool({"scanlab", "--out", made, "do", "Synthesize plate FALSE 40;", "FitPlane;", "Deviations;",
                    "Save " + (made / "c.tag").string() + ";", "SaveSettings " + (made / "c.ini").string() + ";"},
                   used);
    scanlab(made / "c.tag", {"Load %;"});
    scanlab(made / "c.ini", {"LoadSettings %;"});
    proof.Tool(made / "a.macro", {"scanlab", "--out", folder, "run", "%"}, folder);
    fs::remove_all(folder);
}

}  // namespace

}  // namespace proof

int main(int argc, char** argv) {
    using namespace proof;
    Options const options(argc, argv);
    auto const& arguments = options.arguments;
    fs::path const data = HBTOOLS_TEST_DATA;
    if (arguments.size() == 4) {
        Reader const* const reader = FindReader(arguments[1]);
        if (!reader) return 2;
        std::string const input = Input(ReadFile(data / arguments[0]), arguments[2] == "cut",
                                        std::strtoul(arguments[3].c_str(), nullptr, 10));
        memory::StartPeak();
        reader->read(reinterpret_cast<std::uint8_t const*>(input.data()), input.size());
        std::printf("%lld bytes of memory\n", memory::PeakBytes());
        return 0;
    }
    Proof proof(options.isLong, arguments.size() == 1 ? arguments[0] : "");
    if (options.isSelfCheck) {
        g_hangAfter = 1;
        for (Reader const& reader : FaultyReaders()) proof.Faulty(reader);
        return proof.TellAll() > 0 ? 1 : 0;
    }
    if (arguments.empty()) {
        for (fs::path const& version : FilesIn(data / "golden"))
            for (fs::path const& file : FilesIn(version)) proof.Golden(file);
        for (fs::path const& folder : FilesIn(data))
            if (fs::is_directory(folder) && folder.filename() != "golden") proof.Seeds(folder);
    }
    for (fs::path const& version : FilesIn(data / "golden")) RunTools(proof, version);
    return proof.TellAll() > 0 ? 1 : 0;
}
