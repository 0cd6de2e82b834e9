// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Lines from somebody at a terminal, with editing, a history that outlives the program, and completion by the tab key.
// Built without the library for that, it reads plain lines. Ctrl-D on an empty line is the end, Ctrl-C clears a line.
#pragma once

#include "Completion.h"

#include <functional>
#include <memory>

namespace ScanLab {

class LineEditor {
public:
    /// What could stand at the end of the text.
    using Completer = std::function<Completion(std::wstring_view)>;

    /// `historyFile` may be empty or missing.
    LineEditor(KxN::KxString const& prompt, KxN::KxString const& historyFile, Completer completer);
    LineEditor(LineEditor const&) = delete;
    LineEditor& operator=(LineEditor const&) = delete;
    ~LineEditor();

    /// The next line without its end; false at the end of the input.
    bool Read(KxN::KxString& line);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace ScanLab
