// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the sources of this room share: texts by number, what names the owner of a string resource, texts of other
// exceptions, and the settings file of a parameter.
#pragma once

#include "base/syCaught.h"
#include "hbtools/base/syConfig.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syResource.h"
#include "operators/syTextIds.h"

#include <memory>
#include <optional>

namespace KxN::detail {

inline KxString TextOf(unsigned short id) {
    return KxString(KxResId(id));
}

template <class... Arguments>
KxString FormatOf(unsigned short id, Arguments const&... arguments) {
    KxString text;
    text.SPrintf(TextOf(id), arguments...);
    return text;
}

/// The three texts of what stands under a number: its name, then the name for users and the help, empty behind the last
/// number there is.
void SetTexts(KxResId const& resId, KxString& fixName, KxString& uiName, KxString& helpText);

/// How often an operator that some manager lists got another id or name, in this process.
unsigned long long CountRenamings();

/// The text does not have the form of the parameter's type.
[[noreturn]] void ThrowWrongType(KxString const& value, KxString const& fixName, unsigned short typeWord);

/// The text of a caught exception, which is released whatever happens, behind a prefix. What ends the thread passes on
/// instead: for handlers only.
template <class... Arguments>
KxException* WithPrefix(CException* exception, unsigned short id, Arguments const&... arguments) {
    if (exception->EndsThread()) throw;
    std::unique_ptr<CException, ExceptionReleaser> const caught(exception);
    return new KxException(FormatOf(id, arguments...) + CException::TextOf(*caught));
}

/// The keys of one parameter in a group of a settings file. Within a SharedSettings of the same file they go through
/// that; otherwise what is written is stored by Store, in one safe step.
class ParameterSettings {
public:
    ParameterSettings(KxString const& fileName, KxString const& group, KxString const& fixName);

    /// The value of the key "<fix name><suffix>".
    KxString Read(wchar_t const* suffix, KxString const& fallback = KxString()) const;
    void Write(wchar_t const* suffix, KxString const& value);
    void Store();

    /// A value that is none of the parameter's type, or out of range.
    [[noreturn]] void ThrowBad(wchar_t const* sourceFile, unsigned long line) const;
    [[noreturn]] void ThrowOutOfRange(wchar_t const* sourceFile, unsigned long line, KxString const& value,
                                      KxString const& min, KxString const& max) const;

private:
    KxString m_fixName;
    std::optional<KxConfig> m_own;
    KxConfig* m_config;
};

/// While it lives, the parameters that this thread saves to or loads from the file share one update of it: it is read
/// once, and stored by Store as a whole.
class SharedSettings {
public:
    explicit SharedSettings(KxString const& fileName);
    SharedSettings(SharedSettings const&) = delete;
    SharedSettings& operator=(SharedSettings const&) = delete;
    ~SharedSettings();
    void Store() { m_config.EndUpdate(); }

    /// The one of this thread for that file, or null.
    static KxConfig* Find(KxString const& fileName);

private:
    KxConfig m_config;
    SharedSettings* m_outer;
};

}  // namespace KxN::detail
