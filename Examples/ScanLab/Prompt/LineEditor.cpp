// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "LineEditor.h"

#include "../Print.h"
#include "Lines.h"

#include <hbtools/base/syException.h>
#include <hbtools/base/sySafeFile.h>

#include <clocale>

#ifdef SCANLAB_HAS_LIBEDIT
#include <histedit.h>
#endif

namespace ScanLab {

using namespace KxN;

#ifdef SCANLAB_HAS_LIBEDIT

namespace {
constexpr int historyLength = 500;
}

struct LineEditor::State {
    std::wstring prompt;
    std::string historyFile;
    Completer completer;
    EditLine* editor = nullptr;
    HistoryW* history = nullptr;

    static State& Of(EditLine* editor) {
        void* self = nullptr;
        el_wget(editor, EL_CLIENTDATA, &self);
        return *static_cast<State*>(self);
    }
    static wchar_t* Prompt(EditLine* editor) { return Of(editor).prompt.data(); }

    static unsigned char CompleteHere(EditLine* editor, int) {
        // What is thrown must not pass through the functions of the editor.
        try {
            return Of(editor).Complete();
        } catch (CException* exception) {
            exception->Delete();
        } catch (std::exception const&) {}
        return CC_ERROR;
    }

    /// Puts in what all candidates have in common. If that is nothing new, shows them, and what the parameter is.
    unsigned char Complete() {
        LineInfoW const* const info = el_wline(editor);
        std::wstring_view const before(info->buffer, static_cast<std::size_t>(info->cursor - info->buffer));
        Completion const completion = completer(before);
        std::wstring common(CommonBegin(completion.candidates).View());
        std::wstring_view const typed = before.substr(completion.begin);
        bool const isOne = completion.candidates.size() == 1;
        if (isOne && common.ends_with(L"/\""))
            common.pop_back();  // within the folder it goes on
        else if (isOne && !common.ends_with(L'/'))
            common += L' ';
        if (common.size() > typed.size() || isOne) {
            el_deletestr(editor, static_cast<int>(typed.size()));
            return el_winsertstr(editor, common.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
        }
        if (completion.candidates.empty() && completion.hint.Len() == 0) return CC_ERROR;
        Print(L"\n");
        for (KxString const& candidate : completion.candidates) Print(L"%s  ", candidate);
        if (!completion.candidates.empty()) Print(L"\n");
        if (completion.hint.Len() > 0) Print(L"%s\n", completion.hint);
        return CC_REDISPLAY;
    }

    ~State() {
        if (editor) el_end(editor);
        if (history) history_wend(history);
    }
};

LineEditor::LineEditor(KxString const& prompt, KxString const& historyFile, Completer completer)
    : m_state(std::make_unique<State>()) {
    // The editor takes and gives characters in the encoding of the locale; what everything else prints is UTF-8.
    char const* const locale = std::setlocale(LC_CTYPE, "");
    if (!locale || std::string_view(locale) == "C" || std::string_view(locale) == "POSIX")
        std::setlocale(LC_CTYPE, "C.UTF-8");
    State& s = *m_state;
    s.prompt = std::wstring(prompt.View());
    s.historyFile = KxxToSystemPath(historyFile.View());
    s.completer = std::move(completer);
    s.editor = el_init("scanlab", stdin, stdout, stderr);
    s.history = history_winit();
    if (!s.editor || !s.history) throw std::bad_alloc();
    HistEventW event;
    history_w(s.history, &event, H_SETSIZE, historyLength);
    history_w(s.history, &event, H_SETUNIQUE, 1);
    if (!s.historyFile.empty()) history_w(s.history, &event, H_LOAD, s.historyFile.c_str());
    el_wset(s.editor, EL_CLIENTDATA, &s);
    el_wset(s.editor, EL_PROMPT, &State::Prompt);
    el_wset(s.editor, EL_EDITOR, L"emacs");
    el_wset(s.editor, EL_SIGNAL, 1);
    el_wset(s.editor, EL_HIST, history_w, s.history);
    el_wset(s.editor, EL_ADDFN, L"scanlab-complete", L"complete or explain", &State::CompleteHere);
    el_wset(s.editor, EL_BIND, L"^I", L"scanlab-complete", nullptr);
    // Ctrl-C is a key here; while a command runs it cancels that.
    el_wset(s.editor, EL_SETTY, L"-d", L"-isig", nullptr);
    el_wset(s.editor, EL_BIND, L"^C", L"em-kill-line", nullptr);
}

bool LineEditor::Read(KxString& line) {
    State& s = *m_state;
    std::fflush(stdout);
    int count = 0;
    wchar_t const* const text = el_wgets(s.editor, &count);
    if (!text || count <= 0) return false;
    std::wstring_view view(text, static_cast<std::size_t>(count));
    while (!view.empty() && (view.back() == L'\n' || view.back() == L'\r')) view.remove_suffix(1);
    line.Assign(view);
    if (view.find_first_not_of(L" \t") == view.npos) return true;
    HistEventW event;
    history_w(s.history, &event, H_ENTER, std::wstring(view).c_str());
    if (s.historyFile.empty()) return true;
    try {
        KxSafeFile file(KxxFromSystemPath(s.historyFile));
        if (history_w(s.history, &event, H_SAVE, KxxToSystemPath(file.GetTemporaryPath().View()).c_str()) >= 0)
            file.Commit();
    } catch (CException* exception) {
        exception->Delete();  // a history that cannot be kept is no reason to stop
    }
    return true;
}

#else

struct LineEditor::State {
    std::wstring prompt;
    Lines lines;
};

LineEditor::LineEditor(KxString const& prompt, KxString const&, Completer)
    : m_state(new State{std::wstring(prompt.View()), {}}) {}

bool LineEditor::Read(KxString& line) {
    Print(L"%s", m_state->prompt);
    std::fflush(stdout);
    return m_state->lines.Next(line);
}

#endif

LineEditor::~LineEditor() = default;

}  // namespace ScanLab
