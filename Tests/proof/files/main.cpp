// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Lets every call of the system that a scenario makes for its files fail, in each way that the call may, once and from then
// on; and lets it be interrupted or move one byte, which must change nothing.
//
//     proof_files [--long] [--self-check] [SCENARIO [CALL ERROR once|lasting|alternating NUMBER]]
//
// The ways of a call are each of the errors that it can give, once and from then on, and where it may an interruption, one
// at every second call, and one byte. With --long every call of every scenario fails in all of its ways. Without, the first
// calls and then some in strides fail in three ways each, which go round from call to call and from scenario to scenario;
// whatever way of a call has not come up by the end is tried at its first one: over all scenarios each call fails in each of
// its ways, or that is a finding. With a number that one run is made in this process, for a debugger; ERROR is a number, 0
// for one byte. One line for each scenario and call tells how many there are, how many failures were made, how many of these
// were refused, got over, or resumed after an interruption or one byte; a line "finding" follows for whatever must not be.
// The last line has the sum of all failures. Exit code 1 if there are findings.
//
// A step that fails has thrown an exception of the library that tells the file which failed by its whole path, as its
// scenario states it: the user's, and never the new one that was to take its place; or it has ended with a result that its
// scenario documents. What else must be stands in scenarios/Runner.h. No descriptor stays open.
#include "../FileState.h"
#include "../Program.h"
#include "Faults.h"
#include "Faulty.h"
#include "Runner.h"

#include "hbtools/base/syEncryption.h"
#include "hbtools/base/sySafeFile.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <set>

namespace proof {

namespace fs = std::filesystem;

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr int most = 8;  // a child takes ten times as long
constexpr std::size_t waysOfCall = 1;
#else
constexpr int most = 20;  // of the first calls and of those in strides behind them
constexpr std::size_t waysOfCall = 3;
#endif

iofaults::Plan g_plan;  // but for the number
bool g_mustSucceed = false;

void Arm(int number, bool) {
    iofaults::Plan plan = g_plan;
    plan.number = number;
    iofaults::Follow(plan);
}
int Disarm() {
    iofaults::Follow({});
    return 0;
}

/// Whether the text tells that path, and not only one that begins with it.
bool Tells(std::string const& text, std::string const& path) {
    constexpr std::string_view inNames = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_/";
    for (std::size_t at = 0; (at = text.find(path, at)) != text.npos; ++at) {
        std::string_view rest = std::string_view(text).substr(at + path.size());
        if (rest.starts_with('.')) rest.remove_prefix(1);  // of the sentence
        if (rest.empty() || inNames.find(rest.front()) == inNames.npos) return true;
    }
    return false;
}

/// The file of a call as the user knows it, below the folder: of a new file that is not in its place yet that place.
std::string Known(fs::path const& path, fs::path const& folder) {
    std::string name = path.filename().string();
    if (KxN::KxxIsTemporaryName(PathOf(name))) name = name.substr(1, name.size() - 1 - std::strlen(".hbtmp-12345678"));
    return (path.parent_path() / name).lexically_relative(folder).string();
}

/// Whether the error tells the file that failed, or one of them where several did.
std::string WhyNotTold(std::string const& text, Scenario const& scenario, fs::path const& folder, int step) {
    auto stated = scenario.told.find(step);
    if (stated == scenario.told.end()) stated = scenario.told.find(0);
    if (stated == scenario.told.end()) return ", but no file is stated that it tells: " + text;
    if (text.find(".hbtmp-") != text.npos) return ", which tells a file that nobody knows: " + text;
    std::string missing;
    for (int i = 0; i < iofaults::kept && iofaults::FailedPath(i); ++i) {
        std::string const known = Known(iofaults::FailedPath(i), folder);
        bool const isStated = std::ranges::find(stated->second, known) != stated->second.end();
        missing = (folder / (isStated ? known : stated->second.front())).lexically_normal().string();
        if (missing.ends_with('/')) missing.pop_back();
        if (Tells(text, missing)) return "";
    }
    return ", which does not tell " + missing + ": " + text;
}

std::string WhyNot(Thrown const& thrown, Scenario const& scenario, fs::path const& folder, int step) {
    if (g_mustSucceed) return ", which is no failure: " + thrown.text;
    bool const isStated = std::ranges::find(scenario.refusals, thrown.name) != scenario.refusals.end();
    if (!isStated && !thrown.isOfTheLibrary) return ", which is not documented";
    return isStated && thrown.text.empty() ? "" : WhyNotTold(thrown.text, scenario, folder, step);
}

constexpr Failures failures{Arm, Disarm, iofaults::HasFailed, WhyNot, true};

struct Plain {
    States states;
    std::array<int, iofaults::numCalls> calls{};
};

struct Way {
    int error;
    char const* times = "once";
    /// Nobody needs to be told of an interruption, of fewer bytes, or that names are not random.
    bool MustSucceed() const { return error == EINTR || error == 0 || error == ENOSYS; }
    std::string Name() const { return std::string(times) + " " + std::to_string(error); }
};

/// How a call may fail.
std::vector<Way> WaysOf(iofaults::Call call) {
    using enum iofaults::Call;
    std::vector<int> errors;
    switch (call) {
        case Open: errors = {EMFILE, EIO, EROFS, ENOSPC, EDQUOT}; break;
        case Read: errors = {EIO}; break;
        case Write:
        case Copy:
        case Close: errors = {ENOSPC, EIO, EDQUOT}; break;
        case Fsync: errors = {EIO, ENOSPC, EDQUOT, EROFS}; break;
        case Truncate: errors = {EIO, EROFS, ENOSPC}; break;
        case Rename:
        case Link:
        case Mkdir: errors = {ENOSPC, EIO, EDQUOT, EROFS}; break;
        case Chmod: errors = {EPERM, EIO, EROFS}; break;
        case Unlink:
        case Times: errors = {EIO, EROFS}; break;
        case Stat: errors = {EIO}; break;
        case List: errors = {EIO, EMFILE}; break;
        case Lock: errors = {ENOLCK}; break;
        case Dup: errors = {EMFILE}; break;
        case GetAttribute: errors = {EIO}; break;
        case SetAttribute: errors = {ENOSPC, EIO, EDQUOT, EROFS, EPERM}; break;
        case Seek: errors = {EIO, EOVERFLOW}; break;
        case FileSystem: errors = {EIO, ENOTSUP}; break;
        case EndList: errors = {EIO}; break;
        case Random: errors = {ENOSYS}; break;  // where the system does not know it, or a filter keeps it from us
        case Current: errors = {ENOENT, EACCES}; break;
    }
    std::vector<Way> ways;
    for (int const error : errors) ways.push_back({error});
    for (int const error : errors) ways.push_back({error, "lasting"});
    for (iofaults::Call const interruptible :
         {Open, Read, Write, Copy, Fsync, Close, Truncate, Lock, FileSystem, Random})
        if (call == interruptible) ways.insert(ways.end(), {{EINTR}, {EINTR, "alternating"}});
    for (iofaults::Call const moving : {Read, Write, Copy})
        if (call == moving) ways.push_back({0});
    return ways;
}

std::ptrdiff_t CountDescriptors() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

class Proof {
public:
    Proof(fs::path folder, bool isLong) : m_folder(std::move(folder)), m_isLong(isLong) {
        m_under = m_folder.string();
        g_plan.under = m_under;
    }

    Plain MakePlain(Kind const& kind, bool areAttributesNoted = true) {
        g_areAttributesNoted = areAttributesNoted;
        Plain plain;
        std::string dead = InChild(plain, [&](Plain& result) {
            RunPlain(kind, m_folder, failures, nullptr);
            for (int call = 0; call < iofaults::numCalls; ++call) result.calls[At(call)] = -Count(call);
            RunPlain(kind, m_folder, failures, &result.states);
            for (int call = 0; call < iofaults::numCalls; ++call) result.calls[At(call)] += Count(call);
        });
        if (dead.empty()) dead = plain.states.failure.bytes.data();
        if (!dead.empty()) Find(kind.name, "without failures: " + dead);
        return plain;
    }

    Outcome Run(Kind const& kind, iofaults::Call call, Way const& way, int number, States const& states) {
        g_plan.call = iofaults::names[call];
        g_plan.error = way.error;
        g_plan.times = way.times;
        g_mustSucceed = way.MustSucceed();
        g_areLeftPartsNoted = call != iofaults::Unlink;
        g_areAttributesNoted = !MayLoseAttributes(call, way);
        Outcome outcome;
        std::ptrdiff_t const open = CountDescriptors();
        RunFailing(kind, m_folder, failures, number, false, states, outcome);
        if (CountDescriptors() > open && outcome.finding.IsEmpty()) outcome.finding.Set("a descriptor stays open");
        return outcome;
    }

    void RunAll(Kind const& kind) {
        Plain const plain = MakePlain(kind);
        if (m_numFindings > 0 && !plain.states.failure.IsEmpty()) return;
        int total = 0;
        for (int k = 0; k < iofaults::numCalls; ++k) {
            int const count = plain.calls[At(k)];
            if (count == 0) continue;
            ++total;
            Series& series = m_series[At(k)];
            if (series.ways.empty()) series = {WaysOf(static_cast<iofaults::Call>(k)), {}, 0, &kind, plain};
            Tally tally;
            for (int const number : NumbersOf(count, m_isLong, most, most)) {
                std::size_t const few = m_isLong ? series.ways.size() : std::min(series.ways.size(), waysOfCall);
                for (std::size_t w = 0; w < few; ++w) {
                    Way const& way = series.ways[series.next++ % series.ways.size()];
                    if (way.error == ENOSYS && kind.isEncrypting) continue;  // which ends the process, as documented
                    Fail(kind, k, way, number, plain, tally);
                }
            }
            Tell(kind.name, k, count, tally);
        }
        if (total == 0) std::printf("%-16s touches no file\n", kind.name);
    }

    /// What has not come up so far.
    void RunRest() {
        for (int k = 0; k < iofaults::numCalls; ++k) {
            Series& series = m_series[At(k)];
            if (series.ways.empty())
                std::printf("no scenario makes a call of the kind %s\n", iofaults::names[k].data());
            Tally tally;
            for (Way const& way : series.ways) {
                if (series.reached.contains(way.Name())) continue;
                for (int number = 1; number <= series.plain.calls[At(k)] && !series.reached.contains(way.Name());
                     ++number)
                    Fail(*series.kind, k, way, number, series.plain, tally);
                if (!series.reached.contains(way.Name()))
                    Find(std::string(iofaults::names[k]), "no such call was made to end with " + way.Name());
            }
            if (tally.made > 0) Tell("the rest", k, series.plain.calls[At(k)], tally);
        }
    }

    int CountFailures() const { return m_numFailures; }
    int CountFindings() const { return m_numFindings; }

private:
    struct Tally {
        int made = 0, refused = 0, resumed = 0;
    };
    /// The ways of a call, and what has come up of them over all scenarios.
    struct Series {
        std::vector<Way> ways;
        std::set<std::string> reached;
        std::size_t next = 0;
        Kind const* kind = nullptr;  // the first that makes such a call
        Plain plain;
    };

    void Fail(Kind const& kind, int k, Way const& way, int number, Plain const& plain, Tally& tally) {
        auto const call = static_cast<iofaults::Call>(k);
        Outcome outcome;
        // What may be lost is left out of what is compared.
        Plain const bare = MayLoseAttributes(call, way) ? MakePlain(kind, false) : Plain();
        States const& states = MayLoseAttributes(call, way) ? bare.states : plain.states;
        std::string dead = InChild(outcome, [&](Outcome& result) { result = Run(kind, call, way, number, states); });
        if (dead.empty()) dead = outcome.finding.bytes.data();
        if (!dead.empty())
            Find(std::string(kind.name) + ", " + std::string(iofaults::names[k]) + " " + std::to_string(number) + " " +
                     way.Name(),
                 dead);
        if (!outcome.isReached) return;
        m_series[At(k)].reached.insert(way.Name());
        ++tally.made;
        if (!outcome.error.IsEmpty()) ++tally.refused;
        if (outcome.error.IsEmpty() && way.MustSucceed()) ++tally.resumed;
    }
    void Tell(char const* title, int k, int count, Tally const& tally) {
        std::printf("%-16s %-9s calls %4d, failures %5d: refused %4d, got over %4d, resumed %4d\n", title,
                    iofaults::names[k].data(), count, tally.made, tally.refused,
                    tally.made - tally.refused - tally.resumed, tally.resumed);
        std::fflush(stdout);
        m_numFailures += tally.made;
    }
    /// Attributes that we may not set are left out of a save, but for access lists.
    static bool MayLoseAttributes(iofaults::Call call, Way const& way) {
        return call == iofaults::SetAttribute && way.error == EPERM;
    }
    static std::size_t At(int number) { return static_cast<std::size_t>(number); }
    static int Count(int call) { return iofaults::CountCalls(static_cast<iofaults::Call>(call)); }
    void Find(std::string const& title, std::string const& what) {
        ++m_numFindings;
        std::printf("finding: %s: %s\n", title.c_str(), what.c_str());
        std::fflush(stdout);
    }

    fs::path m_folder;
    std::string m_under;
    bool m_isLong;
    std::array<Series, iofaults::numCalls> m_series;
    int m_numFailures = 0;
    int m_numFindings = 0;
};

}  // namespace

}  // namespace proof

int main(int argc, char** argv) {
    using namespace proof;
    Options const options(argc, argv);

    std::error_code none;
    fs::path const folder = MakeFolder();
    if (folder.empty()) return 2;
    KxTools::SetEncryptionPassword("the password of the scenarios");
    Proof proof(folder / "data", options.isLong || options.isSelfCheck);
    std::vector<Kind> const kinds = options.isSelfCheck ? FaultyKinds() : Kinds();
    for (Kind const& kind : kinds) {
        if (!options.only.empty() && options.only != kind.name) continue;
        if (options.arguments.size() == 5) {
            Plain const plain = proof.MakePlain(kind);
            auto const call = std::find(std::begin(iofaults::names), std::end(iofaults::names), options.arguments[1]);
            g_isTalking = true;
            Outcome const outcome = proof.Run(kind, static_cast<iofaults::Call>(call - std::begin(iofaults::names)),
                                              {std::atoi(options.arguments[2].c_str()), options.arguments[3].c_str()},
                                              std::atoi(options.arguments[4].c_str()), plain.states);
            std::printf("%s; %s\n", outcome.error.bytes.data(), outcome.finding.bytes.data());
        } else {
            proof.RunAll(kind);
        }
    }
    if (options.only.empty() && !options.isSelfCheck) proof.RunRest();
    TellWhetherListsAreKnown(folder);
    std::printf("%d findings\nM = %d\n", proof.CountFindings(), proof.CountFailures());
    fs::remove_all(folder, none);
    return proof.CountFindings() > 0 ? 1 : 0;
}
