// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Bytes as a macro, run on operators with parameters of every type, and each of its lines as a command line of its own.
// A line is taken apart as the grammar says it step by step, and what was set comes back from its settings file.
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syTextEncoding.h"
#include "hbtools/operators/syMacro.h"
#include "hbtools/operators/syOperatorMgr.h"
#include "hbtools/operators/syParamBool.h"
#include "hbtools/operators/syParamColor.h"
#include "hbtools/operators/syParamDouble.h"
#include "hbtools/operators/syParamFile.h"
#include "hbtools/operators/syParamList.h"
#include "hbtools/operators/syParamLong.h"
#include "hbtools/operators/syParamString.h"

#include "FuzzFolder.h"
#include "FuzzInput.h"

#include <algorithm>
#include <filesystem>

using namespace KxN;

namespace {

constexpr SxStringResource texts[] = {{10, "All"}, {20, "Value"}, {30, "Self"}, {40, "b"}, {50, "c"},
                                      {60, "d"},   {70, "e"},     {80, "f"},    {90, "g"}};
constinit CDynLinkLibrary module{texts};

FuzzFolder const& Folder() {
    static FuzzFolder const folder;
    return folder;
}
KxString const& MacroPath() {
    static KxString const path = Folder().File("macro");
    return path;
}

class All : public KxOperator {
public:
    All() : KxOperator(1, KxResId(10, &module)) {
        Insert(new KxParameterLong(20, KxResId(20, &module), 0, 0, {-1000, 100000}, 1));
        Insert(new KxParameterDouble(40, KxResId(40, &module), 0, 0, {-1e300, 1e300}, 1, 3));
        Insert(new KxParameterBool(50, KxResId(50, &module), 0, 0));
        Insert(new KxParameterList(60, KxResId(60, &module), L"red", L"two words", L"red", L"red"));
        Insert(new KxParameterFile(70, KxResId(70, &module), SxFileFilter{L"T", L"", L"txt"},
                                   SxFileFilter{L"A", L"", L"*"}, 0, KxString(), KxString()));
        Insert(new KxParameterColor(80, KxResId(80, &module), KxColor(), KxColor()));
        Insert(new KxParameterString(90, KxResId(90, &module), KxString(), KxString()));
    }
    KxOperator* Clone() const override { return new All; }

protected:
    OperatorReturnCode DoExecute() override { return OPERATOR_OK; }
};

/// Runs the macro from within itself.
class Self : public KxOperator {
public:
    Self() : KxOperator(2, KxResId(30, &module)) {}
    KxOperator* Clone() const override { return new Self; }

protected:
    OperatorReturnCode DoExecute() override { return KxMacro(nullptr).Start(MacroPath()); }
};

/// The grammar of a line as it is written down: step by step, each over the whole text.
std::wstring Normal(std::wstring line) {
    std::replace(line.begin(), line.end(), L'|', L'I');
    for (std::size_t first; (first = line.find(L'"')) != line.npos;) {
        std::size_t const second = line.find(L'"', first + 1);
        std::replace(line.begin() + static_cast<std::ptrdiff_t>(first),
                     line.begin() + static_cast<std::ptrdiff_t>(second), L' ', L'|');
        line.erase(second, 1).erase(first, 1);
    }
    std::replace(line.begin(), line.end(), L'\t', L' ');
    for (std::size_t pair; (pair = line.find(L"  ")) != line.npos;) line.erase(pair, 1);
    while (line.starts_with(L' ')) line.erase(0, 1);
    while (line.ends_with(L' ')) line.pop_back();
    if (line.ends_with(L';')) {
        line.pop_back();
        while (line.ends_with(L' ')) line.pop_back();
    }
    return line;
}

std::wstring Joined(KxCmdLineParser const& parser) {
    std::wstring line(parser.GetOperatorName().View());
    for (KxString const& parameter : parser.GetAllParameterStrings()) {
        std::wstring word(parameter.View());
        std::replace(word.begin(), word.end(), L' ', L'|');
        line += L' ' + word;
    }
    return line;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const bytes(reinterpret_cast<char const*>(data), size);
    Folder().Write("macro", bytes);
    KxOperatorMgr manager;
    All* all = nullptr;
    {
        memory::Safe const safe;
        manager.Insert(all = new All);
        manager.Insert(new Self);
    }
    struct Managing {
        explicit Managing(KxOperatorMgr& known) { pOperatorMgr = &known; }
        Managing(Managing const&) = delete;
        Managing& operator=(Managing const&) = delete;
        ~Managing() { pOperatorMgr = nullptr; }
    } const managing(manager);
    KxxLimits().macroDepth = 4;
    Survive([] { KxMacro(nullptr).Start(MacroPath()); });

    KxCmdLineParser parser;
    KxCmdLineInterpreter interpreter(nullptr);
    KxTextEncoding const encoding = KxxDetectEncoding(bytes);
    std::wstring text = KxxDecodeText(std::string_view(bytes).substr(KxxMarkLength(encoding)), encoding);
    text.resize(std::min<std::size_t>(text.size(), 4096));
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t const end = std::min(text.find(L'\n', begin), text.size());
        std::wstring const line = text.substr(begin, end - begin);
        begin = end + 1;
        Survive([&] {
            parser.Parse(line);
            if (Joined(parser) != Normal(line)) Broken();
            if (parser.GetOperatorName() == L"Self") return;
            interpreter.Interprete(parser.GetOperatorName(), parser.GetAllParameterStrings(), parser.IsWithExecution());
        });
    }

    Survive([&] {
        KxString const settings = MacroPath() + L".ini";
        std::filesystem::remove(KxxToSystemPath(settings.View()));
        all->Save(settings);
        // Texts that are free may lose blanks around them; the others come back.
        auto const values = [&] {
            std::wstring joined;
            for (unsigned long const i : {0UL, 1UL, 2UL, 3UL, 5UL})
                joined += std::wstring(all->GetParameterIndexed(i)->GetValueAsString().View()) + L'\n';
            return joined;
        };
        std::wstring const before = values();
        all->Load(settings);
        if (values() != before) Broken();
    });
    return 0;
}
