// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Completion.h"

#include "Reference.h"

#include <hbtools/base/syEncoding.h>
#include <hbtools/operators/syOperator.h>
#include <hbtools/operators/syParamBool.h>
#include <hbtools/operators/syParamFile.h>
#include <hbtools/operators/syParamList.h>

#include <algorithm>
#include <filesystem>

namespace ScanLab {

using namespace KxN;

namespace {

struct Word {
    std::size_t begin;
    std::wstring text;  // without its quotes
};

/// The words of a line; the last is the one at its end, which may be empty.
std::vector<Word> WordsOf(std::wstring_view line) {
    std::vector<Word> words;
    bool isQuoted = false, isInWord = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if ((line[i] == L' ' && !isQuoted) || line[i] == L'\t') {
            isInWord = false;
            continue;
        }
        if (!isInWord) words.push_back({i, {}});
        isInWord = true;
        if (line[i] == L'"')
            isQuoted = !isQuoted;
        else
            words.back().text += line[i];
    }
    if (!isInWord) words.push_back({line.size(), {}});
    return words;
}

bool BeginsWith(std::wstring_view text, std::wstring_view begin, bool isExact) {
    return text.size() >= begin.size() &&
           std::equal(begin.begin(), begin.end(), text.begin(),
                      [&](wchar_t a, wchar_t b) { return a == b || (!isExact && KxxToLower(a) == KxxToLower(b)); });
}

class Collector {
public:
    Collector(Completion& completion, std::wstring_view begin) : m_completion(completion), m_begin(begin) {}

    void Offer(std::wstring_view text, bool isExact = false) {
        if (!BeginsWith(text, m_begin, isExact) || text.find(L'"') != text.npos) return;
        bool const needsQuotes = text.find(L' ') != text.npos;
        m_completion.candidates.push_back(needsQuotes ? KxString(L"\"" + std::wstring(text) + L"\"") : KxString(text));
    }
    void OfferOperators(KxOperatorMgr const& manager) {
        for (unsigned long i = 0; KxOperator const* const found = manager.GetOperatorIndexed(i); ++i)
            Offer(found->GetFixName().View());
    }
    /// Folders, and files of one of the extensions.
    void OfferFiles(KxTMem<SxFileFilter> const& filters) {
        namespace fs = std::filesystem;
        std::wstring const folder(m_begin.substr(0, m_begin.rfind(L'/') + 1));
        std::error_code error;
        fs::directory_iterator entry(folder.empty() ? fs::path(".") : fs::path(KxxToSystemPath(folder)), error), end;
        for (; !error && entry != end; entry.increment(error)) {
            std::wstring const name = KxxFromSystemPath(entry->path().filename().string());
            if (name.starts_with(L'.')) continue;
            bool const isFolder = entry->is_directory(error);
            auto const fits = [&name](SxFileFilter const& filter) {
                return filter.Extension == L"*" || name.ends_with(L"." + std::wstring(filter.Extension.View()));
            };
            if (isFolder || std::any_of(filters.begin(), filters.end(), fits))
                Offer(folder + name + (isFolder ? L"/" : L""), true);
        }
    }

private:
    Completion& m_completion;
    std::wstring_view m_begin;
};

}  // namespace

Completion Complete(KxOperatorMgr const& manager, Session const& session, std::wstring_view line) {
    std::vector<Word> const words = WordsOf(line);
    Completion completion;
    completion.begin = words.back().begin;
    Collector collector(completion, words.back().text);
    if (words.size() == 1) {
        collector.OfferOperators(manager);
        for (wchar_t const* const command : {L"help", L"quit", L"InteractiveOn", L"InteractiveOff"})
            collector.Offer(command);
    } else if (words[0].text == L"help") {
        collector.OfferOperators(manager);
    } else if (manager.Exists(words[0].text)) {
        KxParameter const* const parameter =
            manager.GetOperator(words[0].text)->GetParameterIndexed(static_cast<unsigned long>(words.size()) - 2);
        if (!parameter) return completion;
        completion.hint = ParameterHint(*parameter);
        if (dynamic_cast<KxParameterBool const*>(parameter))
            for (wchar_t const* const value : {L"TRUE", L"FALSE"}) collector.Offer(value);
        if (auto const* const list = dynamic_cast<KxParameterList const*>(parameter))
            for (KxString const& entry : list->GetList()) collector.Offer(entry.View());
        if (auto const* const file = dynamic_cast<KxParameterFile const*>(parameter))
            collector.OfferFiles(file->GetFilterList());
        for (wchar_t const* const name : {L"Scan", L"Moving", L"Fixed"})
            if (parameter->GetFixName() == name)
                for (auto const& entry : session.Entries()) collector.Offer(entry->name.View());
    }
    std::sort(completion.candidates.begin(), completion.candidates.end(),
              [](KxString const& a, KxString const& b) { return a.View() < b.View(); });
    return completion;
}

KxString CommonBegin(std::vector<KxString> const& candidates) {
    if (candidates.empty()) return {};
    std::wstring_view common = candidates[0].View();
    for (KxString const& candidate : candidates)
        while (!BeginsWith(candidate.View(), common, false)) common.remove_suffix(1);
    return KxString(common);
}

}  // namespace ScanLab
