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

// Lines that the other program tells by.
constexpr char stepMark = 's', failureMark = 'f', resultMark = 'r';

/// What is told on the way, in a file of its own: the driver may do with standard output what it likes.
class Marks {
public:
    explicit Marks(KxString const& path)
        : m_file(std::fopen(KxxToSystemPath(path.View()).c_str(), "ab"), &std::fclose) {
        if (!m_file) throw new KxException(TextOf(Text::NoTrial));
    }
    void Tell(char mark, KxString const& text) const {
        std::string line = KxxToUtf8(text.View());
        for (char& c : line)
            if (c == '\n' || c == '\r') c = ' ';
        std::fprintf(m_file.get(), "%c%s\n", mark, line.c_str());
        std::fflush(m_file.get());  // the next step may be the last
    }

private:
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_file;
};

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

Outcome ReadMarks(std::FILE* file, int status) {
    Outcome outcome;
    outcome.code = (status & 0x7f) != 0 ? 128 + (status & 0x7f) : status >> 8 & 0xff;
    std::rewind(file);
    std::string line;
    for (int c = 0; (c = std::fgetc(file)) != EOF;) {
        if (c != '\n') {
            line += static_cast<char>(c);
            continue;
        }
        KxString const text(KxxWidenUtf8(line.substr(line.empty() ? 0 : 1)));
        if (line[0] == stepMark) outcome.step = text;
        if (line[0] == failureMark) outcome.failure = text;
        if (line[0] == resultMark) outcome.result = text;
        line.clear();
    }
    return outcome;
}

/// Runs the other program until it ends, whatever the driver has started besides. @throws KxException if it does not run
Outcome RunTrial(KxString const& path, int seconds, KxString const& language) {
    // Without a name, so nothing is left of it however this ends; the other program inherits it.
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const marks(std::tmpfile(), &std::fclose);
    if (!marks) throw new KxException(TextOf(Text::NoTrial));
    std::string const command = "exec timeout -s KILL " + std::to_string(seconds) + " " + Quoted(GetModuleFileName()) +
                                " --language " + Quoted(language) + " --try-driver " + Quoted(path) +
                                " --marks /dev/fd/" + std::to_string(::fileno(marks.get())) +
                                " </dev/null >/dev/null 2>&1";
    std::FILE* const pipe = ::popen(command.c_str(), "r");
    if (!pipe) throw new KxException(TextOf(Text::NoTrial));
    Outcome outcome = ReadMarks(marks.get(), ::pclose(pipe));  // waits for the program alone
    if (outcome.step.Len() == 0)
        throw new KxException(TextOf(Text::NoTrial));  // not even begun: not the driver's fault
    return outcome;
}

}  // namespace

int TryDriver(KxString const& path, KxString const& marksFile) {
    Marks const marks(marksFile);
    auto const step = [&](Text text) { marks.Tell(stepMark, TextOf(text)); };
    try {
        step(Text::StepLoad);
        HINSTANCE const module = KxxLoadLibrary(path);  // stays with what is caught below
        KxString result;
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
            result = FormatOf(Text::DriverWorks, path, description, driver.GetVersion().GetText(), settings.Size());
            step(Text::StepUnload);
        }
        AfxFreeLibrary(module);
        marks.Tell(resultMark, result);
        return 0;
    } catch (CException* exception) {
        marks.Tell(failureMark, CException::TextOf(*exception));
        exception->Delete();
    } catch (std::exception const& exception) {
        marks.Tell(failureMark, KxString(exception.what()));
    } catch (...) {
        marks.Tell(failureMark, TextOf(Text::UnknownFailure));
    }
    return 2;
}

int CheckDriver(KxString const& path, int seconds, KxString const& language) {
    KxDirEntry absolute(path);
    absolute.ToAbs();
    KxString const full(absolute.GetFull());
    Outcome const outcome = RunTrial(full, seconds, language);
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
