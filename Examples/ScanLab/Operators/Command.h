// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the operators of ScanLab share. Each derives from CommandOf<itself>, adds its parameters in its constructor and
// does its work in Run. Parameters are numbered from 1 in the order of a command line; their texts follow on those of
// the operator (see TextIds.h).
//
// What may take long goes through InWorker, in two steps: the work makes something new of what the session holds, and what
// it returns goes into a new content of the session behind it, see Change. Work that is cancelled or fails so leaves the
// session as it was, and no step in its history.
//
// A failure names the operator, the parameter where one is to blame, and the scans if it is one of numbers. A cancelled
// operator says so on standard error and returns OPERATOR_CANCELLED; it does not begin if there is a wish to end already.
#pragma once

#include "../LongRun.h"
#include "Session.h"
#include "TextIds.h"

#include <hbtools/core/syColor.h>
#include <hbtools/operators/syOperator.h>
#include <hbtools/operators/syParamFile.h>

#include <initializer_list>
#include <optional>
#include <type_traits>
#include <utility>

namespace ScanLab {

class Command : public KxN::KxOperator {
protected:
    Command(OperatorId id, Session& session) : KxOperator(id, KxN::KxResId(id, nullptr)), m_session(session) {}

    /// The work. It may throw anything.
    virtual KxN::OperatorReturnCode Run() = 0;

    void AddSwitch(unsigned short parameter, bool value);
    void AddWhole(unsigned short parameter, long value, long min, long max);
    void AddNumber(unsigned short parameter, double value, double min, double max, long digits);
    /// Three numbers from `first` on, each between -largest and largest, with six digits.
    void AddVector(unsigned short first, KxN::KxVec3d const& value, double largest);
    void AddText(unsigned short parameter, wchar_t const* value);
    /// The first entry is selected.
    void AddChoice(unsigned short parameter, std::initializer_list<wchar_t const*> entries);
    /// The first extension is added to names that have none; "*" stands for any.
    void AddFile(unsigned short parameter, std::initializer_list<wchar_t const*> extensions, bool isToBeOpened,
                 wchar_t const* name = L"");
    void AddColor(unsigned short parameter, KxN::KxColor const& color);
    /// The parameter that every operator on one scan begins with.
    void AddScan(unsigned short parameter) { AddText(parameter, L"*"); }

    KxN::KxColor ColorOf(unsigned short parameter) const;
    KxN::KxVec3d VectorOf(unsigned short first) const;
    /// The scan that the parameter names.
    Entry const& ScanOf(unsigned short parameter);
    /// The path that the parameter names, for a file to be written.
    KxN::KxString OutputOf(unsigned short parameter);
    /// The path of a file to be read.
    KxN::KxString InputOf(unsigned short parameter);
    /// Makes the content of the session another one, in one step with the name of the operator and of what it changed. Says
    /// so on standard error if it cannot be undone.
    void Change(KxN::KxString const& about, Content next);
    [[noreturn]] void Refuse(unsigned short parameter, KxN::KxString const& reason);
    /// Returns work(Progress), run by a LongRun in the name of the operator. The work may read the session, and must not
    /// change it; a file that it writes comes last. @throws Cancelled, which DoExecute understands; what the work throws
    template <class Work>
    auto InWorker(Work work) {
        using Result = std::invoke_result_t<Work, Progress>;
        LongRun run(GetFixName(), m_session.progress);
        if constexpr (std::is_void_v<Result>) {
            run.Do(work);
        } else {
            std::optional<Result> result;
            run.Do([&](Progress progress) {
                struct Call {  // makes the result in its place: it may be large
                    Work& work;
                    Progress progress;
                    operator Result() const { return work(progress); }
                };
                result.emplace(Call{work, progress});
            });
            return std::move(*result);
        }
    }

    Session& m_session;

private:
    KxN::KxString m_scans;  // that this run has asked for, as a message names them
    KxN::OperatorReturnCode DoExecute() final;
    KxN::KxResId TextsOf(unsigned short parameter) const;
    template <class Call>
    auto About(unsigned short parameter, Call call);
};

/// The class T, which derives from it; `Base` holds what several operators have in common.
template <class T, class Base = Command>
class CommandOf : public Base {
public:
    /// A new one with the default values.
    KxN::KxOperator* Clone() const override { return new T(this->m_session); }

protected:
    using Base::Base;
};

}  // namespace ScanLab
