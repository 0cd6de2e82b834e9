// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "DriverCheck.h"

#include "../Operators/TextIds.h"
#include "../Print.h"
#include "Driver.h"

#include <hbtools/base/syDirEntry.h>
#include <hbtools/base/syException.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

namespace ScanLab {

using namespace KxN;

namespace {

// Lines of the other program; whatever else the driver prints has no such beginning.
constexpr char stepMark = '\x1d', failureMark = '\x1e', resultMark = '\x1f';

void Tell(char mark, KxString const& text) {
    std::string line = KxxToUtf8(text.View());
    for (char& c : line)
        if (c == '\n' || c == '\r') c = ' ';
    std::printf("%c%s\n", mark, line.c_str());
    std::fflush(stdout);  // the next step may be the last
}

/// A word for the shell.
std::string Quoted(KxString const& text) {
    std::string quoted = "'";
    for (char const c : KxxToSystemPath(text.View())) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

struct Outcome {
    KxString step;  // the last one that was begun
    std::optional<KxString> failure, result;
    int code = 0;  // as the shell tells it: 128 and the signal, 137 also if time was up
};

/// Runs the other program and listens to it. False if it could not be started.
bool RunTrial(KxString const& path, int seconds, KxString const& language, Outcome& outcome) {
    std::string const command = "exec timeout -s KILL " + std::to_string(seconds) + " " + Quoted(GetModuleFileName()) +
                                " --language " + Quoted(language) + " --try-driver " + Quoted(path) + " 2>/dev/null";
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(::popen(command.c_str(), "r"), &::pclose);
    if (!pipe) return false;
    std::string line;
    constexpr std::size_t longest = 4096;
    for (int c = 0; (c = std::fgetc(pipe.get())) != EOF;) {
        if (c != '\n') {
            if (line.size() < longest) line += static_cast<char>(c);
            continue;
        }
        KxString const text(KxxWidenUtf8(line.substr(line.empty() ? 0 : 1)));
        if (line.starts_with(stepMark)) outcome.step = text;
        if (line.starts_with(failureMark)) outcome.failure = text;
        if (line.starts_with(resultMark)) outcome.result = text;
        line.clear();
    }
    int const status = ::pclose(pipe.release());
    outcome.code = (status & 0x7f) != 0 ? 128 + (status & 0x7f) : status >> 8 & 0xff;
    return true;
}

}  // namespace

int TryDriver(KxString const& path) {
    auto const step = [](Text text) { Tell(stepMark, TextOf(text)); };
    try {
        step(Text::StepLoad);
        HINSTANCE const module = KxxLoadLibrary(path);
        {
            step(Text::StepInit);
            ScannerDriver driver(path);
            driver.Init();
            step(Text::StepConstruct);
            Scanner& scanner = driver.NewScanner();
            step(Text::StepSettings);
            KxString const description = scanner.GetDescription();
            KxTMem<KxParameter*> const settings = scanner.GetParameter();
            for (KxParameter* const setting : settings) setting->SetValueFromString(setting->GetValueAsString());
            step(Text::StepDestruct);
            driver.DeleteObject(&scanner);
            Tell(resultMark,
                 FormatOf(Text::DriverWorks, path, description, driver.GetVersion().GetText(), settings.Size()));
            step(Text::StepUnload);
        }
        AfxFreeLibrary(module);
        return 0;
    } catch (CException* exception) {
        Tell(failureMark, CException::TextOf(*exception));
        exception->Delete();
    } catch (std::exception const& exception) {
        Tell(failureMark, KxString(exception.what()));
    } catch (...) {
        Tell(failureMark, TextOf(Text::UnknownFailure));
    }
    return 2;
}

int CheckDriver(KxString const& path, int seconds, KxString const& language) {
    KxDirEntry absolute(path);
    absolute.ToAbs();
    KxString const full(absolute.GetFull());
    Outcome outcome;
    if (!RunTrial(full, seconds, language, outcome)) throw new KxException(TextOf(Text::NoTrial));
    KxString reason;
    constexpr int bySignal = 128, killed = bySignal + 9;
    if (outcome.failure)
        reason = *outcome.failure;
    else if (outcome.code == killed)
        reason = FormatOf(Text::DriverHangs, seconds);
    else if (outcome.code > bySignal)
        reason = FormatOf(Text::DriverCrashes, outcome.code - bySignal);
    else if (outcome.code != 0 || !outcome.result)
        reason = FormatOf(Text::DriverExits, outcome.code);
    if (reason.Len() == 0) {
        Print(L"%s\n", *outcome.result);
        return 0;
    }
    Print(L"%s\n", FormatOf(Text::DriverFails, full, outcome.step, reason));
    return 2;
}

}  // namespace ScanLab
