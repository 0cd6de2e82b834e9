// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Records what each saver does to its files, and looks at every state that the disk may hold if the power goes meanwhile.
//
//     proof_powercut [--long] [--self-check] [SCENARIO [NUMBER]]
//
// SCENARIO is the title of a line of the table, such as "safe, new". Its states are numbered; findings tell the number. With
// it, and the same options, that state alone is made again in this process, for a debugger, after a list of what has arrived
// on its disk and of what then stands there.
//
// In each state the file is the old one or the new one, whole, with mode, owner and attributes, which the library opens; a
// saver that saves several times names what else it may leave meanwhile. What else is there is known by its name as left
// over, and the next save removes it; once the saver has returned only the new one can be there. One line for each scenario
// tells the calls, the states, how many of them differ, and in how many the file was the old one and the new one; a line
// "finding" follows for whatever must not be. Exit code 1 if there are findings.
#include "../Program.h"
#include "Disk.h"
#include "Faulty.h"
#include "Scenarios.h"

#include "hbtools/base/syConfig.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syEncryption.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/sySafeFile.h"
#include "hbtools/config/syConfigFast.h"
#include "hbtools/diagnostics/syExceptionMgr.h"
#include "hbtools/interchange/syXmlParser.h"
#include "hbtools/interchange/syZipHelper.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <vector>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace KxN;
using powercut::Files;
using powercut::History;

KxString PathOf(fs::path const& path) {
    return KxxFromSystemPath(path.string());
}

// How the library opens a file; false if it is not what it should be.

bool OpensAny(KxString const&) {
    return true;
}
bool OpensScan(KxString const& path) {
    CFile file(path, CFile::modeRead);
    return faults::LoadScan(file, L"M\u00fcller 7");
}
bool OpensConfig(KxString const& path) {
    KxConfig config(path);
    config.ProofRead();
    config.SetGroup(L"Scanner");
    KxString const port = config.ReadKey(L"Port");
    return port == KxString(L"COM1") || port == KxString(L"COM2");
}
/// What it decrypts is one of both values.
bool OpensEncrypted(KxString const& path) {
    std::ifstream in(KxxToSystemPath(path.View()));
    std::string const bytes(std::istreambuf_iterator<char>(in), {});
    KxTools::SetEncryptionPassword("the password of the scenarios");
    KxTools::EncryptionOn();
    KxConfigFast config(path);
    config.ProofRead();
    config.SetGroup(L"Scanner");
    KxString const port = config.ReadKey(L"Port");
    KxTools::EncryptionOff();
    return (port == KxString(L"COM1") || port == KxString(L"COM2")) && bytes.find("COM") == bytes.npos;
}
bool OpensSettings(KxString const& path) {
    KxConfig config(path);
    config.SetGroup(L"Filter");
    return config.GetKeyCount() >= 2;
}
bool OpensXml(KxString const& path) {
    XML_PARSER xml;
    return xml.Load_XML_Document(path.GetStr()) != 0;
}
bool OpensZip(KxString const& path) {
    KxTMap<KxString, KxString> files;
    KxString const out = path + L".out";
    KxZipHelper::UncompressFiles(path, out, files);
    fs::remove_all(KxxToSystemPath(out.View()));
    return files.Count() >= 1;
}
bool OpensLog(KxString const& path) {
    KxString const ini = path + L".ini";
    KxxSaveFile(ini, "[Initialization]\nErrorCount=200\nBackupTiming=NEVER\nFileName=" + KxxToUtf8(path.View()) + "\n");
    bool isFilled = false;
    {
        KxExceptionManager manager;
        manager.Initialize(ini);
        isFilled = manager.GetTotalCount() >= 1;
        manager.ChangeBackupTiming(static_cast<BackupTiming>(3));
    }
    fs::remove(KxxToSystemPath(ini.View()));
    fs::remove(KxxToSystemPath((path.GetStr() + KxString(L".ini.Debug.log")).View()));
    return isFilled;
}

struct Saver {
    char const* scenario;
    char const* old;  // null: none; "@x": what scenario x makes of nothing
    bool (*opens)(KxString const&);
    char const* target = "scan.dat";  // below the folder; null: every file is one
    char const* between = nullptr;    // the scenario that leaves what this one may leave meanwhile
    char const* copied = nullptr;     // whose mode and time the target gets, below the folder or elsewhere
};

constexpr char ini[] = "[Scanner]\nPort = COM1\n; kept\n";
constexpr char log[] =
    "[General]\nFile=Quandelmeter Exceptions "
    "Log\nTotalCount=1\n[0]\nDate=20240101\nTime=1\nGroup=G\nLevel=EXCEPT_USER\nMessage=m\n";
Saver const savers[] = {
    {"safe", "old content", OpensAny},
    {"safe", nullptr, OpensAny},
    {"whole", "@whole", OpensScan},
    {"whole", nullptr, OpensScan},
    {"copy", "old content", OpensAny, "scan.dat", nullptr, HBTOOLS_SCENARIOS},
    {"config", ini, OpensConfig},
    {"config", nullptr, OpensConfig},
    {"update", ini, OpensConfig},
    {"fast", ini, OpensConfig},
    {"encrypted", "@encrypted", OpensEncrypted},
    {"encrypted", nullptr, OpensEncrypted},
    {"settings", "[Filter]\nRadius=1\nPasses=2\n", OpensSettings},
    {"settings", nullptr, OpensSettings},
    {"xml", "<?xml version=\"1.0\"?><conditions/>", OpensXml},
    {"xml", nullptr, OpensXml},
    {"log", log, OpensLog, "scan.dat", "log loaded"},
    {"log", nullptr, OpensLog, "scan.dat", "log loaded"},
    {"zip", "@zip", OpensZip},
    {"zip", nullptr, OpensZip},
    {"unzip", "@zip", OpensAny, nullptr},
    {"backup", "content", OpensAny, "scan.BAK", nullptr, "scan.dat"},
};

/// But for the moment in which a log was saved.
std::string WithoutMoment(std::string bytes) {
    std::size_t const entries = bytes.find("[0]"), moment = bytes.find("Date=");
    if (bytes.starts_with("[General]") && moment < entries && entries != std::string::npos)
        bytes.erase(moment, entries - moment);
    return bytes;
}

class Proof {
public:
    /// `only` is the number of the state that is looked at, 0 for all.
    Proof(fs::path folder, bool isLong, std::size_t only)
        : m_folder(std::move(folder)), m_isLong(isLong), m_only(only) {}

    void Run(Saver const& saver, bool isFaulty) {
        std::string const title = TitleOf(saver);
        m_state = 0;
        try {
            RunSaver(saver, isFaulty, title);
        } catch (std::exception const& exception) {
            Find(title, 0, exception.what());
        } catch (CException* exception) {
            Find(title, 0, KxxToUtf8(CException::TextOf(*exception).View()));
            exception->Delete();
        }
    }
    int CountFindings() const { return m_numFindings; }
    static std::string TitleOf(Saver const& saver) { return std::string(saver.scenario) + (saver.old ? "" : ", new"); }

private:
    fs::path Data() const { return m_folder / "data"; }
    fs::path Record() const { return m_folder / "record"; }

    void Find(std::string const& title, std::size_t calls, std::string const& what) {
        ++m_numFindings;
        if (!m_told.insert(title + what).second) return;
        if (m_state == 0)
            std::printf("finding: %s: %s\n", title.c_str(), what.c_str());
        else
            std::printf("finding: %s, state %zu, cut after call %zu: %s\n", title.c_str(), m_state, calls,
                        what.c_str());
    }

    /// Runs the scenario on what is there; recorded if `isRecorded`.
    int RunProgram(std::string const& scenario, bool isFaulty, bool isRecorded) {
        fs::remove(Record());
        std::fflush(stdout);
        pid_t const child = ::fork();
        if (child == 0) {
            if (isRecorded) {
                ::setenv("LD_PRELOAD", HBTOOLS_RECORDER, 1);
                char const* const options = std::getenv("ASAN_OPTIONS");
                ::setenv("ASAN_OPTIONS",
                         ((options ? options + std::string(":") : "") + "verify_asan_link_order=0").c_str(), 1);
            }
            ::setenv("HBTOOLS_RECORD_UNDER", Data().c_str(), 1);
            ::setenv("HBTOOLS_RECORD_TO", Record().c_str(), 1);
            int const null = ::open("/dev/null", O_WRONLY);
            ::dup2(null, 1);
            std::string const file = Data() / "scan.dat";
            if (isFaulty)
                ::execl("/proc/self/exe", "proof_powercut", "--save", scenario.c_str(), file.c_str(), nullptr);
            else
                ::execl(HBTOOLS_SCENARIOS, HBTOOLS_SCENARIOS, scenario.c_str(), file.c_str(), nullptr);
            ::_exit(127);
        }
        int status = 0;
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {}
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }

    void Write(Files const& files) const {
        fs::remove_all(Data());
        fs::create_directories(Data());
        for (auto const& [path, file] : files) {
            fs::create_directories(file.IsFolder() ? fs::path(path) : fs::path(path).parent_path());
            if (file.IsFile()) std::ofstream(path, std::ios::binary) << file.bytes;
        }
    }

    /// The files from which the saver starts. Empty if they could not be made.
    bool MakeOld(Saver const& saver) {
        fs::path const target = Data() / "scan.dat";
        Write({});
        if (saver.old && saver.old[0] == '@') {
            if (RunProgram(saver.old + 1, false, false) != 0) return false;
            if (saver.opens == OpensScan) std::ofstream(target, std::ios::binary | std::ios::app) << "of old";
        } else if (saver.old) {
            std::ofstream(target, std::ios::binary) << saver.old;
        }
        if (saver.target && std::strcmp(saver.target, "scan.BAK") == 0)
            std::ofstream(Data() / saver.target, std::ios::binary) << "former copy";
        for (auto const& entry : fs::recursive_directory_iterator(Data()))
            if (entry.is_regular_file()) proof::MakeOdd(entry.path());
        return true;
    }

    /// As it is compared: times count for copies alone.
    static proof::FileState Compared(Saver const& saver, proof::FileState file) {
        if (!saver.copied) file.time = 0;
        file.bytes = WithoutMoment(std::move(file.bytes));
        return file;
    }

    /// What the saver has lost of what was there besides bytes.
    std::string LostOf(Saver const& saver, Files const& before, Files const& after) const {
        for (auto const& [path, file] : after) {
            auto const old = before.find(path);
            if (saver.copied && fs::path(path).filename() == saver.target) {
                proof::FileState const source = proof::StateOf(Data() / saver.copied, true);
                if ((file.mode & 0777) != (source.mode & 0777) || file.time != source.time)
                    return "not mode and time of what it was copied from: " + file.Text();
            } else if (old != before.end() && !Compared(saver, file).IsLike(Compared(saver, old->second))) {
                return fs::path(path).filename().string() + " has not what it had: " + file.Text();
            }
        }
        return "";
    }

    void RunSaver(Saver const& saver, bool isFaulty, std::string const& title) {
        using Wholes = std::map<std::string, std::vector<proof::FileState>>;  // by path; no mode stands for none
        Wholes whole;
        auto const add = [&](Files const& files) {
            for (auto const& [path, file] : files) whole[path].push_back(Compared(saver, file));
        };
        if (saver.between) {
            if (!MakeOld(saver) || RunProgram(saver.between, false, false) != 0) return Find(title, 0, "none between");
            add(proof::StatesBelow(Data()));
        }
        if (!MakeOld(saver)) return Find(title, 0, "no old file");
        Files before = proof::StatesBelow(Data());
        std::map<std::uint64_t, std::string> numbers;
        for (auto& [path, file] : before) {
            struct stat status {};
            if (::stat(path.c_str(), &status) == 0) numbers[status.st_ino] = path;
            if (file.IsFile()) file = proof::StateOf(path, true);
        }
        if (int const code = RunProgram(saver.scenario, isFaulty, true))
            return Find(title, 0, "exit code " + std::to_string(code));
        History const history(Record(), before, numbers);
        std::size_t const calls = history.CountChanges();
        Files const after = history.SeenAfter(calls);
        Files real = proof::StatesBelow(Data());
        for (auto& [path, file] : real)
            if (auto const seen = after.find(path); seen != after.end() && seen->second.time != 0)
                file = proof::StateOf(path, true);
        if (after != real) return Find(title, 0, "the record does not tell all that happened");
        if (std::string const lost = LostOf(saver, before, after); !lost.empty()) Find(title, calls, lost);
        add(before);
        add(after);
        for (auto& [path, states] : whole)
            if (!before.contains(path)) states.emplace_back();

        std::size_t built = 0, numOld = 0, numNew = 0, numLeft = 0, numNexts = 0;
        std::set<std::string> shapes;  // of states from which the next save was made
        std::set<std::string> states;
        for (std::size_t k = 0; k <= calls; ++k) {
            built += history.CutAfter(k, m_isLong, [&](Files const& files, History::Choice const& choice) {
                ++m_state;
                if (m_only != 0 && m_state != m_only) return;
                if (m_only != 0) std::printf("%s", (history.TextOf(choice, k) + TextOf(files)).c_str());
                std::string shape, sum;
                bool hasLeft = false;
                for (auto const& [path, file] : files) {
                    sum += path + std::to_string(file.Hash()) + " ";
                    if (KxxIsTemporaryName(PathOf(fs::path(path).filename()))) {
                        hasLeft = true;
                        shape += "left ";
                        continue;
                    }
                    auto const found = whole.find(path);
                    if (found == whole.end() ||
                        std::ranges::find(found->second, Compared(saver, file)) == found->second.end()) {
                        return Find(title, k,
                                    fs::path(path).filename().string() +
                                        " is neither the old file nor the new one: " + file.Text());
                    }
                    shape += path + std::to_string(std::hash<std::string>()(file.bytes)) + " ";
                }
                for (auto const& [path, file] : before)
                    if (!files.contains(path)) return Find(title, k, fs::path(path).filename().string() + " is gone");
                bool isNew = true;
                for (auto const& [path, file] : after) {
                    auto const found = files.find(path);
                    isNew = isNew && found != files.end() && Compared(saver, found->second) == Compared(saver, file);
                }
                if (k == calls && !isNew) return Find(title, k, "the save has ended, and the new file may be lost");
                if (!states.insert(sum).second) return;
                ++(isNew ? numNew : numOld);
                numLeft += hasLeft;
                if (shapes.insert(shape).second) {
                    ++numNexts;
                    Write(files);
                    CheckOpen(saver, title, k, whole);
                }
            });
        }
        if (m_only > m_state) std::printf("there are %zu states\n", m_state);
        m_state = 0;
        if (m_only != 0) return;
        std::printf(
            "%-14s calls %4zu, states %7zu, different %5zu: old or between %5zu, new %4zu; with left-over files %5zu; "
            "opened and saved again %zu\n",
            title.c_str(), calls, built, states.size(), numOld, numNew, numLeft, numNexts);
        std::fflush(stdout);
    }

    /// The library opens what is there, and the next save leaves nothing else behind.
    void CheckOpen(Saver const& saver, std::string const& title, std::size_t calls,
                   std::map<std::string, std::vector<proof::FileState>> const& whole) {
        for (auto const& [path, file] : proof::StatesBelow(Data())) {
            fs::path const name = fs::path(path).filename();
            bool const isTarget = file.IsFile() && (saver.target ? name == saver.target : whole.contains(path));
            if (isTarget && !saver.opens(PathOf(path))) Find(title, calls, name.string() + " does not open");
        }
        // A folder that did not arrive is made by whoever saves there.
        for (auto const& [path, contents] : whole) {
            if (saver.target && fs::path(path).filename() != saver.target) continue;
            if (std::ranges::any_of(contents, &proof::FileState::IsFolder)) continue;
            fs::create_directories(fs::path(path).parent_path());
            KxxSaveFile(PathOf(path), "the next");
            if (proof::StateOf(path).bytes != "the next") Find(title, calls, "the next save did not come through");
        }
        for (auto const& entry : fs::recursive_directory_iterator(Data()))
            if (KxxIsTemporaryName(PathOf(entry.path().filename())))
                Find(title, calls, "the next save leaves " + entry.path().filename().string().substr(0, 12) + "...");
    }

    std::string TextOf(Files const& files) const {
        std::string text;
        for (auto const& [path, file] : files)
            text += "there is " + fs::path(path).lexically_relative(Data()).string() + ": " + file.Text() + "\n";
        return text;
    }

    fs::path m_folder;
    bool m_isLong;
    std::size_t m_only;
    std::size_t m_state = 0;  // its number; 0 before the first and behind the last
    int m_numFindings = 0;
    std::set<std::string> m_told;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], "--save") == 0) return powercut::SaveFaultily(argv[2], argv[3]);
    proof::Options const options(argc, argv);
    std::error_code none;
    fs::path const folder = proof::MakeFolder();
    if (folder.empty()) return 2;
    int findings = 0;
    {
        std::size_t const number =
            options.arguments.size() > 1 ? std::strtoul(options.arguments[1].c_str(), nullptr, 10) : 0;
        Proof proof(folder, options.isLong, number);
        auto const run = [&](auto const& all) {
            for (Saver const& saver : all)
                if (options.only.empty() || options.only == Proof::TitleOf(saver) ||
                    (number == 0 && options.only == saver.scenario))
                    proof.Run(saver, options.isSelfCheck);
        };
        if (options.isSelfCheck)
            for (char const* const name : powercut::faultySavers) run(std::array{Saver{name, "old content", OpensAny}});
        else
            run(savers);
        findings = proof.CountFindings();
    }
    proof::TellWhetherListsAreKnown(folder);
    std::printf("%d findings\n", findings);
    fs::remove_all(folder, none);
    return findings > 0 ? 1 : 0;
}
