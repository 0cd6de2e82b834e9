// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// ScanLab while it works: its progress on a pipe and at a terminal, and what Ctrl-C does.
#include "Programs.h"
#include "Terminal.h"

#include <map>

namespace {

std::string const program = std::string(HBTOOLS_BINARY_DIR) + "/bin/scanlab";

/// ScanLab with a pipe for its standard error.
class Running {
public:
    explicit Running(std::vector<std::string> const& arguments) {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) return;
        m_child = ::fork();
        if (m_child == 0) {
            ::dup2(ends[1], 2);
            ::dup2(::open("/dev/null", O_WRONLY), 1);
            std::vector<char*> words{const_cast<char*>(program.c_str())};
            for (std::string const& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
            words.push_back(nullptr);
            ::execv(words[0], words.data());
            ::_exit(127);
        }
        ::close(ends[1]);
        m_lines = ::fdopen(ends[0], "r");
    }
    Running(Running const&) = delete;
    Running& operator=(Running const&) = delete;
    ~Running() { std::fclose(m_lines); }

    /// Reads until that line has come.
    bool Await(std::string const& line) {
        while (Next())
            if (m_line == line) return true;
        return false;
    }
    void Send(int signal) const { ::kill(m_child, signal); }
    /// Its end, as waitpid has it; the last line is kept.
    int Wait() {
        while (Next()) {}
        int status = 0;
        ::waitpid(m_child, &status, 0);
        return status;
    }
    bool HasEnded() const {
        siginfo_t info{};
        return ::waitid(P_PID, static_cast<id_t>(m_child), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
    }
    std::string const& LastLine() const { return m_line; }

private:
    bool Next() {
        char text[1000];
        if (!std::fgets(text, sizeof text, m_lines)) return false;
        m_line = text;
        if (m_line.ends_with('\n')) m_line.pop_back();
        return true;
    }

    pid_t m_child = -1;
    FILE* m_lines = nullptr;
    std::string m_line;
};

class ScanlabCancel : public Programs {
protected:
    std::map<std::string, std::string> Files() const {
        std::map<std::string, std::string> files;
        if (fs::exists(folder / "out"))
            for (auto const& file : fs::directory_iterator(folder / "out")) {
                std::ifstream in(file.path(), std::ios::binary);
                files[file.path().filename().string()] = std::string(std::istreambuf_iterator<char>(in), {});
            }
        return files;
    }
    /// A macro with each kind of work, and much of it behind the last file.
    std::vector<std::string> Arguments() const {
        return {"--progress", "--out", (folder / "out").string(), (folder / "all.mac").string()};
    }
    void WriteMacro(int points) const {
        Write("all.mac", "Synthesize plate FALSE " + std::to_string(points) +
                             ";\nFitPlane;\nDeviations;\nHistogram deviations.svg;\nExport scan.ply;\nImport \"" +
                             (folder / "out/scan.ply").string() +
                             "\" again;\nFilter again strays 1 3;\nSplit;\nAlign second first FALSE aligned.svg;\nSave "
                             "scan plate 64 TRUE;\nReport report.html x 9000 0 (0,0,0) (9,9,9) (0,0,0) "
                             "FALSE;\nSynthesize plate FALSE 20000000;\n");
    }
};

TEST_F(ScanlabCancel, AtEveryStageFilesAreFormerOrNewAndTheMacroEnds) {
    WriteMacro(100000);
    auto const run = [this](char const* stage, auto interrupt) {
        Running running(Arguments());
        EXPECT_TRUE(running.Await(stage)) << stage;
        interrupt(running);
        int const status = running.Wait();
        return std::pair(status, running.LastLine());
    };
    auto const cancelled = [&](char const* stage, int signal) {
        auto const [status, said] = run(stage, [&](Running const& running) { running.Send(signal); });
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 130) << stage << ' ' << status;
        EXPECT_TRUE(said.starts_with("scanlab: Der Operator \"") && said.find("\" wurde abgebrochen") != said.npos)
            << stage << ' ' << said;
    };
    cancelled("Synthesize: measuring", SIGINT);
    EXPECT_TRUE(Files().empty());
    // Once to the last operator, so that all files are there; from then on the bytes of a file are always the same.
    for (int last = 0; last < 2; ++last) {
        Running running(Arguments());
        for (int i = 0; i < 2; ++i) EXPECT_TRUE(running.Await("Synthesize: measuring"));
        running.Send(SIGTERM);
        EXPECT_EQ(WEXITSTATUS(running.Wait()), 130);
    }
    auto former = Files();
    ASSERT_EQ(former.size(), 5u);
    std::string const& tag = former["scan.tag"];
    std::size_t const header = 512;  // with the time of writing
    auto const check = [&](char const* stage, bool hasLeft) {
        for (auto const& [name, bytes] : Files()) {
            if (hasLeft && name.starts_with('.')) continue;
            ASSERT_EQ(former.count(name), 1u) << stage << ' ' << name;
            EXPECT_TRUE(name == "scan.tag" ? bytes.substr(header) == tag.substr(header) : bytes == former[name])
                << stage << ' ' << name;
        }
    };
    for (char const* stage :
         {"FitPlane: deviations", "Histogram: drawing", "Export: writing", "Import: reading", "Filter: neighbours",
          "Align: preparing", "Align: aligning", "Save: writing", "Save: reading", "Report: page"}) {
        cancelled(stage, SIGINT);
        check(stage, false);
    }
    for (char const* stage : {"Export: writing", "Save: writing"}) {
        // Both are there when it goes on: it cannot be done with the first one before the second.
        auto const [status, said] = run(stage, [](Running const& running) {
            running.Send(SIGSTOP);
            running.Send(SIGINT);
            running.Send(SIGTERM);
            running.Send(SIGCONT);
        });
        EXPECT_TRUE(WIFSIGNALED(status) && (WTERMSIG(status) == SIGINT || WTERMSIG(status) == SIGTERM)) << status;
        check(stage, true);
        run(stage, [](Running const& running) {  // as fast as a key can repeat
            while (!running.HasEnded()) running.Send(SIGINT);
        });
        check(stage, true);
    }
    // What was left goes when the same files are written again.
    EXPECT_EQ(run("Report: page", [](Running const& running) { running.Send(SIGINT); }).first, 130 << 8);
    check("after it", false);
}

TEST_F(ScanlabCancel, ABarAtATerminalAndThePromptAgain) {
    std::string const work = "Synthesize plate FALSE 30000000;";
    auto const message = "Der Operator \"Synthesize\" wurde abgebrochen";
    for (bool hasColors : {true, false}) {
        ::setenv("NO_COLOR", hasColors ? "" : "1", 1);
        Terminal terminal({program, "do", work});
        ASSERT_TRUE(terminal.Await("\rSynthesize: measuring [")) << terminal.Seen();
        EXPECT_TRUE(terminal.Await("s left\x1b[K")) << terminal.Seen();
        EXPECT_EQ(terminal.Last().find("\x1b[32m") != std::string::npos, hasColors) << terminal.Last();
        terminal.Type("\x03");
        EXPECT_TRUE(terminal.Await(message)) << terminal.Seen();
        EXPECT_NE(terminal.Last().find("\r\x1b[K"), std::string::npos) << terminal.Last();
        EXPECT_EQ(terminal.Wait(), 130);
    }
    ::unsetenv("NO_COLOR");
    bool const hasEditor = Call("ldd ./scanlab | grep -q libedit").code == 0;
    Terminal terminal({program});
    ASSERT_TRUE(terminal.Await("scanlab> ") && (!hasEditor || terminal.AwaitEditor()));
    terminal.Type("Synthesize plate FALSE 1000;\r");
    ASSERT_TRUE(terminal.Await("scanlab> ") && (!hasEditor || terminal.AwaitEditor()));
    for (int i = 0; i < 2; ++i) {
        terminal.Type(work + "\r");
        ASSERT_TRUE(terminal.Await("\rSynthesize: measuring ["));
        terminal.Type("\x03");
        ASSERT_TRUE(terminal.Await(message)) << terminal.Seen();
        ASSERT_TRUE(terminal.Await("scanlab> ") && (!hasEditor || terminal.AwaitEditor()));
    }
    terminal.Type("List;\r");
    EXPECT_TRUE(terminal.Await("plate       1000 points")) << terminal.Seen();
    ASSERT_TRUE(terminal.Await("scanlab> ") && (!hasEditor || terminal.AwaitEditor()));
    terminal.Type("quit\r");
    EXPECT_EQ(terminal.Wait(), 0) << terminal.Seen();
}

}  // namespace
