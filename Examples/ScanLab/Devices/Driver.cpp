// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Driver.h"

#include "../Caught.h"
#include "../Operators/TextIds.h"
#include "../Progress.h"

#include <hbtools/base/syDirEntry.h>
#include <hbtools/base/syException.h>
#include <hbtools/core/syFileSpec.h>
#include <hbtools/localisation/syLocalizer.h>
#include <hbtools/operators/syParamDouble.h>
#include <hbtools/operators/syParamList.h>
#include <hbtools/operators/syParamLong.h>

#include <algorithm>
#include <exception>

namespace ScanLab {

using namespace KxN;

namespace {

constexpr wchar_t const* extension = L".so";

KxString DriverFolder() {
    return KxString(KxDirEntry(GetModuleFileName()).GetPath().GetFull()) + L"/Drivers/";
}

bool IsPath(KxString const& name) {
    return name.View().find(L'/') != std::wstring_view::npos;
}

KxString PathOf(KxString const& name) {
    if (!IsPath(name)) return DriverFolder() + name + extension;
    KxDirEntry path(name);
    path.ToAbs();
    return path.GetFull();
}

}  // namespace

ScannerDriver::ScannerDriver(KxString const& name) : KxDriver(PathOf(name)) {}

void ScannerDriver::Init() {
    KxDriver::Init();
    constexpr unsigned short needed = scannerInterface * 100;
    if (GetVersion().GetValue() / 100 != scannerInterface)
        throw new KxVersionException(L"Driver", __LINE__, GetName(), GetVersion(), needed);
    // The module was not there when the language was chosen, and a device takes its texts when it is made.
    if (auto* const languages = KxGlobalLocalizer::GetLocalizer()) languages->DoLocalization(1);
}

void ScannerDriver::ThrowOwn() {
    KxString text;
    try {
        throw;
    } catch (Cancelled const&) {
        throw;
    } catch (CException* exception) {
        if (exception->EndsThread()) throw;
        text = TakeText(exception);
    } catch (std::exception const& exception) {
        text = KxString(exception.what());
    } catch (...) {
        text = TextOf(Text::UnknownFailure);
    }
    throw new KxException(text);
}

Scanner& ScannerDriver::NewScanner() {
    auto* const scanner = dynamic_cast<Scanner*>(NewDriverObject());
    if (!scanner) throw new KxException(FormatOf(Text::NoScanner, GetName()));
    return *scanner;
}

KxString ScannerDriver::ShortName() const {
    return KxxGetModuleBaseName(GetName());
}

std::vector<KxString> DriverNames() {
    std::vector<KxString> names;
    KxFileSpec files;
    for (int found = files.First(DriverFolder() + L"*" + extension); found; found = files.Next())
        names.push_back(KxxGetModuleBaseName(files.GetName()));
    std::sort(names.begin(), names.end(), [](KxString const& a, KxString const& b) { return a.View() < b.View(); });
    return names;
}

KxString SettingsGroup(ScannerDriver const& driver) {
    return KxString(L"Device ") + driver.ShortName();
}

KxString SettingText(KxParameter const& parameter) {
    KxString range;
    if (auto const* const whole = dynamic_cast<KxParameterLong const*>(&parameter)) {
        range.SPrintf(L"%ld - %ld", whole->GetRange().minimum, whole->GetRange().maximum);
    } else if (auto const* const number = dynamic_cast<KxParameterDouble const*>(&parameter)) {
        range.SPrintf(L"%g - %g", number->GetRange().minimum, number->GetRange().maximum);
    } else if (auto const* const list = dynamic_cast<KxParameterList const*>(&parameter)) {
        for (KxString const& entry : list->GetList()) range += (range.Len() > 0 ? L", " : L"") + entry;
    }
    KxString text;
    text.SPrintf(L"%-14s %-18s %-10s %s", parameter.GetFixName(), parameter.GetUIName(), parameter.GetValueAsString(),
                 range);
    return text;
}

}  // namespace ScanLab
