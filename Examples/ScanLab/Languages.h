// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The language of all texts: those of the application, of the library and of drivers. German is built in; packs in the folder
// LanguagePacks beside a module bring others. Texts that are looked up again, as those of a message, follow at once; names and
// help of operators were taken at their start and follow by Relabel. The main thread.
#pragma once

#include <hbtools/localisation/syLocalizer.h>
#include <hbtools/operators/syOperatorMgr.h>

namespace ScanLab {

class Languages final : private KxN::KxGlobalLocalizer {
public:
    /// `settings`: a file whose group [Languages] names languages beside AUTO, GERMAN and ENGLISH, see KxLocalizer::Init; may
    /// be empty.
    explicit Languages(KxN::KxString const& settings);

    /// By its name or its three letters. @throws KxException if there is no such language; the present one stays
    void Use(KxN::KxString const& name);
    /// What may be named: "AUTO (DEU), ENGLISH (ENU), GERMAN (DEU)".
    KxN::KxString Known() const;
};

/// Loads the names and the help of all operators and their parameters again.
void Relabel(KxN::KxOperatorMgr& operators);

}  // namespace ScanLab
