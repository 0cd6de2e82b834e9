// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/operators/syMacro.h"

#include "hbtools/base/syFileStream.h"
#include "hbtools/base/syLimits.h"
#include "operators/syOperatorParts.h"

namespace KxN {

namespace {

constexpr std::size_t lineLength = 1023;

thread_local int t_depth = 0;  // of the macros that run in this thread

/// A macro that runs, as long as it does.
class Running {
public:
    Running() {
        if (t_depth >= KxxLimits().macroDepth)
            throw new KxException(L"syMacro", __LINE__, detail::FormatOf(text::MacroTooDeep, KxxLimits().macroDepth));
        ++t_depth;
    }
    Running(Running const&) = delete;
    Running& operator=(Running const&) = delete;
    ~Running() { --t_depth; }
};

/// Reads the lines of a macro, as the commands that they hold.
class Lines {
public:
    explicit Lines(KxString const& path) : m_stream(path), m_buffer(lineLength + 2, L'\0') {
        m_stream.Proof(ProofOpen);
        m_stream.exceptions(std::ios_base::badbit);  // what is thrown while a line is read passes out
    }

    /// False at the end of the file. A comment gives an empty command.
    bool Next(KxString& command) {
        if (m_isAtEnd) return false;
        m_stream.getline(m_buffer.data(), static_cast<std::streamsize>(m_buffer.size()));
        auto length = static_cast<std::size_t>(m_stream.gcount());
        bool isWhole = !m_stream.fail();
        if (m_stream.eof()) {
            m_stream.clear();
            m_stream.exceptions(std::ios_base::goodbit);
            m_stream.Proof(ProofRead);  // a medium that fails is no end, and what it cut off no command
            m_isAtEnd = true;
            isWhole = true;
            if (length == 0) return false;  // no line behind the last line end
        } else if (isWhole) {
            --length;  // the line feed
        }
        if (isWhole && length > 0 && m_buffer[length - 1] == L'\r') --length;
        if (!isWhole || length > lineLength)
            throw new KxException(L"syMacro", __LINE__, detail::FormatOf(text::MacroLineTooLong, lineLength));
        Squeeze(length);
        std::wstring_view const line(m_buffer.data(), length);
        if (line.find(L'\0') != line.npos)
            throw new KxException(L"syMacro", __LINE__, detail::TextOf(text::MacroLineWithNul));
        command.Assign(line.starts_with(L"//") ? std::wstring_view() : line);
        return true;
    }

private:
    /// Makes one blank of several blanks and tabs, and none at the begin of the line.
    void Squeeze(std::size_t& length) {
        std::size_t kept = 0;
        bool isBlank = true;
        for (std::size_t i = 0; i < length; ++i) {
            wchar_t const c = m_buffer[i] == L'\t' ? L' ' : m_buffer[i];
            if (c != L' ' || !isBlank) m_buffer[kept++] = c;
            isBlank = c == L' ';
        }
        length = kept;
    }

    KxiFileStream m_stream;
    bool m_isAtEnd = false;
    std::wstring m_buffer;  // a line, with a carriage return and the end that getline writes
};

}  // namespace

KxMacro::~KxMacro() = default;

OperatorReturnCode KxMacro::Start() {
    KxString const name = m_name;  // an operator may start this object with another file
    long number = 1;
    try {
        Running const running;
        Lines lines(name);
        KxString command;
        KxCmdLineParser parser;  // a slot may start this object meanwhile
        for (; lines.Next(command); ++number) {
            if (!command) continue;
            parser.Parse(command);
            OperatorReturnCode const result = m_interpreter.Interprete(
                parser.GetOperatorName(), parser.GetAllParameterStrings(), parser.IsWithExecution());
            if (result != OPERATOR_OK) return result;
        }
        return OPERATOR_OK;
    } catch (CException* exception) {
        throw detail::WithPrefix(exception, text::MacroFailed, name, number);
    }
}

OperatorReturnCode KxMacro::Start(KxString const& name) {
    SetName(name);
    return Start();
}

}  // namespace KxN
