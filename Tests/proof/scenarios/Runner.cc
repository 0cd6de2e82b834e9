// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Runner.h"

#include "../FileState.h"

#include "hbtools/base/syException.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <typeinfo>
#include <cxxabi.h>

namespace proof {

namespace fs = std::filesystem;

KxN::KxString PathOf(fs::path const& path) {
    return KxN::KxxFromSystemPath(path.string());
}

void WriteFile(fs::path const& path, std::string const& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

std::string ReadFile(fs::path const& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::vector<Kind> const& Kinds() {
    static std::vector<Kind> const kinds = [] {
        std::vector<Kind> all = DataKinds();
        for (Kind const& kind : ProgramKinds()) all.push_back(kind);
        return all;
    }();
    return kinds;
}

bool g_isTalking = false;
bool g_areLeftPartsNoted = true;
bool g_areAttributesNoted = true;

std::uint64_t SumOf(std::string const& text) {
    std::uint64_t sum = 14695981039346656037u;
    for (char const c : text) sum = (sum ^ static_cast<unsigned char>(c)) * 1099511628211u;
    return sum;
}

namespace {

FileStates FilesIn(Scenario const& scenario, fs::path const& folder) {
    FileStates files = StatesBelow(folder);
    for (auto const& [name, meaning] : scenario.meaning)
        if (auto const file = files.find((folder / name).string()); file != files.end())
            file->second.bytes = meaning(folder / name);
    std::erase_if(files, [](auto const& file) {
        return !g_areLeftPartsNoted && fs::path(file.first).filename().string().find(".hbtmp-") != std::string::npos;
    });
    for (auto& [path, file] : files) {
        if (!g_areAttributesNoted) std::erase_if(file.attributes, [](auto& one) { return one.first != accessList; });
        std::string& bytes = file.bytes;
        if (fs::path(path).filename() == "log.txt") {  // but for the moment of saving
            std::size_t const entries = bytes.find("[0]"), moment = bytes.find("Date=");
            if (moment < entries && entries != std::string::npos) bytes.erase(moment, entries - moment);
        }
        if (fs::path(path).filename() == "debug.txt")  // the same of each entry
            for (char& c : bytes)
                if (c >= '0' && c <= '9') c = '0';
    }
    return files;
}

/// Looks without failures.
Seen Look(Scenario const& scenario, fs::path const& folder) {
    std::string objects;
    try {
        objects = scenario.observe();
    } catch (...) {
        objects = "cannot be seen";
    }
    Seen seen{SumOf(objects), 0, {}};
    std::string all;
    std::size_t number = 0;
    for (auto const& [name, state] : FilesIn(scenario, folder)) {
        std::string const file = name + ": " + state.All() + "\n";
        if (number == seen.each.size()) throw std::length_error("more files than can be looked at");
        seen.each[number++] = SumOf(file);
        all += file;
    }
    seen.files = SumOf(all);
    if (g_isTalking) std::printf("objects: %s\nfiles: %s\n", objects.c_str(), all.c_str());
    return seen;
}

std::string NameOf(std::type_info const& type) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> const name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                      std::free);
    return name ? name.get() : type.name();
}

/// Runs one step. Failures end with the step that throws.
Thrown Run(std::function<void()> const& step, Failures const& failures) {
    try {
        step();
        return {};
    } catch (KxN::CException* exception) {
        failures.disarm();
        Thrown thrown{NameOf(typeid(*exception)), "", true};
        if (g_isTalking || failures.needsText) thrown.text = U(KxN::CException::TextOf(*exception));
        if (g_isTalking) std::printf("%s\n", thrown.text.c_str());
        exception->Delete();
        return thrown;
    } catch (Refused const& refused) {
        failures.disarm();
        if (g_isTalking) std::printf("%s\n", refused.text.c_str());
        return {"proof::Refused " + refused.why, refused.text, false};
    } catch (std::exception const& exception) {
        failures.disarm();
        return {NameOf(typeid(exception)), "", false};
    }
}

Scenario MakeIn(Kind const& kind, fs::path const& folder) {
    fs::remove_all(folder);
    fs::create_directories(folder);
    Scenario scenario = kind.make(folder);
    for (auto const& entry : fs::recursive_directory_iterator(folder))
        if (!entry.is_symlink() && entry.is_regular_file() && entry.hard_link_count() == 1) MakeOdd(entry.path());
    return scenario;
}

/// What a save has not kept; empty if all is as it was, or as that which it was copied from.
std::string LostOf(Scenario const& scenario, fs::path const& folder, FileStates const& before) {
    for (auto const& [path, now] : StatesBelow(folder)) {
        auto const old = before.find(path);
        bool const isSame = old != before.end() && old->second == now;
        if (auto const copied = scenario.copies.find(path.substr(folder.string().size() + 1));
            copied != scenario.copies.end()) {
            FileState const copy = StateOf(path, true), source = StateOf(folder / copied->second, true);
            if (!isSame && (copy.mode != source.mode || copy.time != source.time))
                return path + " has not mode and time of what it was copied from: " + copy.Text();
        } else if (old != before.end() && !now.IsLike(old->second)) {
            return path + " has not what it had: " + now.Text() + "; it had " + old->second.Text();
        }
    }
    return "";
}

/// Whether each file is one of those before or behind.
bool AreSome(Seen const& now, Seen const& before, Seen const& behind) {
    return std::ranges::all_of(now.each, [&](std::uint64_t file) {
        return std::ranges::find(before.each, file) != before.each.end() ||
               std::ranges::find(behind.each, file) != behind.each.end();
    });
}

}  // namespace

void RunPlain(Kind const& kind, fs::path const& folder, Failures const& failures, States* states) {
    Scenario const scenario = MakeIn(kind, folder);
    FileStates const before = StatesBelow(folder);
    if (states) states->seen[0] = Look(scenario, folder);
    int number = 0;
    for (auto const& step : scenario.steps) {
        ++number;
        if (states) failures.arm(0, false);
        Thrown const thrown = Run(step, failures);
        if (states) states->calls += failures.disarm();
        if (!thrown.name.empty() && states)
            states->failure.Set("step " + std::to_string(number) + ": " + thrown.name + " " + thrown.text);
        else if (std::string const lost = states ? LostOf(scenario, folder, before) : ""; !lost.empty())
            states->failure.Set("step " + std::to_string(number) + ": " + lost);
        if (states) states->seen[static_cast<std::size_t>(number)] = Look(scenario, folder);
    }
    if (states) states->count = number;
}

void RunFailing(Kind const& kind, fs::path const& folder, Failures const& failures, int number, bool isLasting,
                States const& states, Outcome& outcome) {
    Scenario const scenario = MakeIn(kind, folder);
    bool isBroken = false;
    std::string finding;
    failures.arm(number, isLasting);
    for (std::size_t k = 0; k < scenario.steps.size(); ++k) {
        Thrown const thrown = Run(scenario.steps[k], failures);
        if (thrown.name.empty()) continue;
        std::string const where = "step " + std::to_string(k + 1) + " ended with " + thrown.name;
        if (isBroken) {
            finding = "after a failure " + where + " " + thrown.text;
            break;
        }
        isBroken = true;
        outcome.isReached = failures.hasFailed();
        outcome.error.Set(thrown.name);
        std::string const whyNot = failures.whyNot(thrown, scenario, folder, static_cast<int>(k + 1));
        if (!whyNot.empty()) finding = where + whyNot;
        if (!outcome.isReached) finding = "without a failure " + where;
        Seen const now = Look(scenario, folder), before = states.seen[k], behind = states.seen[k + 1];
        bool const isDocumented = now.objects == SumOf(scenario.documentedState);
        if (now.objects != before.objects && now.objects != behind.objects && !isDocumented)
            finding = where + ": objects changed";
        if (now.files != before.files && now.files != behind.files &&
            !(scenario.ofManyFiles.contains(static_cast<int>(k + 1)) && AreSome(now, before, behind)))
            finding = where + ": files changed";
        if (!finding.empty()) break;
        bool const isDone = before.objects != behind.objects
                                ? now.objects == behind.objects
                                : before.files != behind.files && now.files == behind.files;
        if (!isDone) --k;
    }
    failures.disarm();
    if (!isBroken) outcome.isReached = failures.hasFailed();
    if (finding.empty() && Look(scenario, folder) != states.seen[scenario.steps.size()]) {
        finding = isBroken ? "another result once it goes on after " + std::string(outcome.error.bytes.data())
                           : "another result without an error";
    }
    outcome.finding.Set(finding);
}

/// The numbers that are tried.
std::vector<int> NumbersOf(int count, bool isLong, int dense, int strided) {
    std::vector<int> numbers;
    int const stride = isLong ? 1 : std::max(1, (count - dense) / strided);
    for (int n = 1; n <= count; n += n < dense ? 1 : stride) numbers.push_back(n);
    return numbers;
}

}  // namespace proof
