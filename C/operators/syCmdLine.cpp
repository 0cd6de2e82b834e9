// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/operators/syCmdLine.h"

#include "hbtools/operators/syOperatorMgr.h"
#include "operators/syOperatorParts.h"

#include <algorithm>

namespace KxN {

namespace {

// In the words of a line, where blanks separate, it stands for a blank that was quoted.
constexpr wchar_t quotedBlank = L'|';

bool HasOpenQuote(std::wstring_view text) {
    bool isOpen = false;
    for (std::size_t at = 0; (at = text.find(L'"', at)) != text.npos; ++at) isOpen = !isOpen;
    return isOpen;
}

}  // namespace

KxCmdLineParser::~KxCmdLineParser() = default;

void KxCmdLineParser::Parse(KxString const& line) {
    std::wstring_view const text = line.View();
    if (HasOpenQuote(text)) throw new KxException(L"syCmdLine", __LINE__, detail::FormatOf(text::QuoteNotClosed, line));

    // The words, with one blank between two of them.
    m_words.resize(text.size());
    wchar_t* const begin = m_words.data();
    wchar_t* end = begin;
    bool isQuoted = false;
    bool isGap = false;  // blanks have been since the last word
    for (std::size_t i = 0; i < text.size(); ++i) {
        wchar_t c = text[i];
        if (c == L'"') {
            isQuoted = !isQuoted;
            continue;
        }
        if (c == L'\t' || (c == L' ' && !isQuoted)) {
            isGap = true;
            while (i + 1 < text.size() && text[i + 1] == c) ++i;  // many of them cost little
            continue;
        }
        if (c == quotedBlank) c = L'I';
        if (c == L' ') c = quotedBlank;
        if (isGap && end != begin) *end++ = L' ';
        isGap = false;
        *end++ = c;
    }
    bool const isWithExecution = end != begin && end[-1] == L';';
    if (isWithExecution) {
        --end;
        if (end != begin && end[-1] == L' ') --end;
    }

    std::wstring_view rest(begin, static_cast<std::size_t>(end - begin));
    m_parameters.Resize(static_cast<unsigned long>(std::count(rest.begin(), rest.end(), L' ')));
    m_isWithExecution = isWithExecution;
    auto const take = [&](KxString& word) {
        std::size_t const length = std::min(rest.find(L' '), rest.size());
        word.Assign(rest.substr(0, length));
        rest.remove_prefix(std::min(length + 1, rest.size()));
    };
    take(m_operatorName);
    for (KxString& parameter : m_parameters) {
        take(parameter);
        parameter.SearchAndReplace(quotedBlank, L' ', 0);
    }
    m_isParsed = 1;
}

KxCmdLineInterpreter::~KxCmdLineInterpreter() = default;

OperatorReturnCode KxCmdLineInterpreter::Interprete(KxString const& operatorName, KxTMem<KxString> const& parameters,
                                                    int withExecution) {
    if (operatorName == L"InteractiveOn") {
        m_isInteractive = 1;
        return OPERATOR_OK;
    }
    if (operatorName == L"InteractiveOff") {
        m_isInteractive = 0;
        return OPERATOR_OK;
    }
    try {
        if (!pOperatorMgr) {
            throw new KxOperatorMgrException(L"syCmdLine", __LINE__, operatorName,
                                             detail::TextOf(text::OperatorUnknown));
        }
        KxOperator* const found = pOperatorMgr->GetOperator(operatorName);
        auto const count = static_cast<unsigned short>(std::min(parameters.Size(), found->GetNumParameters()));
        m_operatorName = operatorName;
        for (unsigned short i = 0; i < count; ++i) {
            m_operatorName = operatorName;  // a slot may have interpreted another line
            SetParameter(found->GetParameterIndexed(i), parameters[i]);
        }
        return withExecution ? found->Execute(m_parentWindow, m_isInteractive) : OPERATOR_PARAMETERS_SET;
    } catch (CException* exception) {
        throw detail::WithPrefix(exception, text::CommandFailed);
    }
}

void KxCmdLineInterpreter::SetParameter(KxParameter* parameter, KxString const& value) {
    try {
        parameter->SetValueFromString(value);
    } catch (CException* exception) {
        throw detail::WithPrefix(exception, text::CommandOfOperator, m_operatorName);
    }
}

}  // namespace KxN
