// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Command.h"

#include "../Application.h"
#include "../Caught.h"
#include "../Interrupts.h"

#include <hbtools/base/syException.h>
#include <hbtools/diagnostics/syProfile.h>
#include <hbtools/operators/syParamBool.h>
#include <hbtools/operators/syParamColor.h>
#include <hbtools/operators/syParamDouble.h>
#include <hbtools/operators/syParamList.h>
#include <hbtools/operators/syParamLong.h>
#include <hbtools/operators/syParamString.h>

namespace ScanLab {

using namespace KxN;

namespace {

constexpr unsigned short operatorPrefix = 7211;  // of the library's texts: Operator "%s":

/// A new exception with the text in front of that of the caught one, which is destroyed.
KxException* WithPrefix(KxString const& prefix, CException* exception) {
    if (exception->EndsThread()) throw;
    return new KxException(L"ScanLab", __LINE__, prefix + TakeText(exception));
}

KxTMem<KxString> Listed(std::initializer_list<wchar_t const*> texts) {
    KxTMem<KxString> list(static_cast<unsigned long>(texts.size()));
    unsigned long i = 0;
    for (wchar_t const* const text : texts) list[i++] = text;
    return list;
}

}  // namespace

KxResId Command::TextsOf(unsigned short parameter) const {
    return KxResId(static_cast<unsigned short>(GetId() + 3 * parameter), nullptr);
}

void Command::AddSwitch(unsigned short parameter, bool value) {
    Insert(new KxParameterBool(parameter, TextsOf(parameter), value, value));
}

void Command::AddWhole(unsigned short parameter, long value, long min, long max) {
    Insert(new KxParameterLong(parameter, TextsOf(parameter), value, value, {min, max}, 1));
}

void Command::AddNumber(unsigned short parameter, double value, double min, double max, long digits) {
    Insert(new KxParameterDouble(parameter, TextsOf(parameter), value, value, {min, max}, 1, digits));
}

void Command::AddVector(unsigned short first, KxVec3d const& value, double largest) {
    for (int axis = 0; axis < 3; ++axis)
        AddNumber(static_cast<unsigned short>(first + axis), value[axis], -largest, largest, 6);
}

void Command::AddText(unsigned short parameter, wchar_t const* value) {
    Insert(new KxParameterString(parameter, TextsOf(parameter), value, value));
}

void Command::AddChoice(unsigned short parameter, std::initializer_list<wchar_t const*> entries) {
    Insert(new KxParameterList(parameter, TextsOf(parameter), Listed(entries), *entries.begin(), *entries.begin()));
}

void Command::AddFile(unsigned short parameter, std::initializer_list<wchar_t const*> extensions, bool isToBeOpened,
                      wchar_t const* name) {
    KxTMem<SxFileFilter> filters(static_cast<unsigned long>(extensions.size()));
    unsigned long i = 0;
    for (KxString const extension : extensions) filters[i++] = {extension, KxString(L"*.") + extension, extension};
    Insert(new KxParameterFile(parameter, TextsOf(parameter), filters, isToBeOpened, name, name));
}

void Command::AddColor(unsigned short parameter, KxColor const& color) {
    Insert(new KxParameterColor(parameter, TextsOf(parameter), color, color));
}

KxColor Command::ColorOf(unsigned short parameter) const {
    return dynamic_cast<KxParameterColor&>(*GetParameter(parameter)).GetColor();
}

KxVec3d Command::VectorOf(unsigned short first) const {
    auto const number = [&](int axis) { return GetParameterDouble(static_cast<unsigned short>(first + axis)); };
    return KxVec3d(number(0), number(1), number(2));
}

template <class Call>
auto Command::About(unsigned short parameter, Call call) {
    try {
        return call();
    } catch (CException* exception) {
        throw WithPrefix(FormatOf(Text::OfParameter, GetParameter(parameter)->GetFixName()), exception);
    }
}

Entry const& Command::ScanOf(unsigned short parameter) {
    Entry const& entry = *About(parameter, [&] { return &m_session.Find(GetParameterString(parameter)); });
    m_scans += (m_scans.Len() > 0 ? L"\", \"" : L"") + entry.name;
    return entry;
}

KxString Command::OutputOf(unsigned short parameter) {
    return About(parameter, [&] { return m_session.OutputPath(GetParameterFile(parameter)); });
}

KxString Command::InputOf(unsigned short parameter) {
    KxString path = GetParameterFile(parameter);
    if (path.Len() == 0) Refuse(parameter, TextOf(Text::NoFileName));
    return path;
}

void Command::Change(KxString const& about, Content next) {
    if (!m_session.Change(GetFixName() + L" " + about, std::move(next)))
        PrintError(FormatOf(Text::NotUndoable, GetFixName()));
}

void Command::Refuse(unsigned short parameter, KxString const& reason) {
    throw new KxException(L"ScanLab", __LINE__,
                          FormatOf(Text::OfParameter, GetParameter(parameter)->GetFixName()) + reason);
}

OperatorReturnCode Command::DoExecute() {
    KxProfileLogger const profile(GetFixName());
    Interrupts const interrupts;
    m_scans = L"";
    try {
        if (Interrupts::IsPending()) throw Cancelled();
        return Run();
    } catch (Cancelled const&) {
        PrintError(FormatOf(Text::Cancelled, GetFixName()));
        return OPERATOR_CANCELLED;
    } catch (CException* exception) {
        KxString prefix;
        prefix.Assign(KxxFormat(KxString(KxResId(operatorPrefix)).View(), GetFixName()));
        if (m_scans.Len() > 0 && dynamic_cast<KxFloatMathException*>(exception))
            prefix += FormatOf(Text::OfScan, m_scans);
        throw WithPrefix(prefix, exception);
    }
}

}  // namespace ScanLab
