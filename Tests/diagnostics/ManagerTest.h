// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the tests of the exception manager share: a folder with an ini file, exceptions of a given moment, and what is
// in a manager as text.
#pragma once

#include "../base/Support.h"
#include "hbtools/diagnostics/syExceptionMgr.h"

#include <memory>

namespace test {

class ManagerTest : public TempFolder {
protected:
    /// Writes app.ini with these lines in its group.
    KxN::KxString Ini(std::string const& lines) const {
        Put("app.ini", "[Initialization]\n" + lines);
        return Path("app.ini");
    }
    void Initialize(KxN::KxExceptionManager& manager, std::string const& lines) const {
        manager.Initialize(Ini(lines));
    }

    /// An entry of December 2024.
    static void Add(KxN::KxExceptionManager& manager, wchar_t const* group, KxN::ErrorLevel level,
                    KxN::KxString const& message, int day = 1, int hour = 12) {
        KxN::KxExceptionManagerException entry(KxN::KxDateTime(2024, 12, day, hour, 0, 0), group, level, message);
        manager.AddExceptionToLog(entry);
    }

    /// The messages of a queue, joined by blanks. The queue is freed.
    static std::string Messages(KxN::KxTSVQueue<KxN::KxException*>* queue) {
        std::unique_ptr<KxN::KxTSVQueue<KxN::KxException*>> const owner(queue);
        std::string text;
        for (KxN::KxException* entry : *queue) text += (text.empty() ? "" : " ") + U(entry->GetMessage());
        return text;
    }

    /// The text with each number as N.
    static std::string Masked(std::string const& text) {
        std::string masked;
        for (char const c : text) {
            if (c < '0' || c > '9')
                masked += c;
            else if (!masked.ends_with('N'))
                masked += 'N';
        }
        return masked;
    }

    /// The debug file with each date and time as D and T.
    std::string Debug() const {
        std::string text = Get("Debug.log");
        for (std::size_t at = 0; (at = text.find("DATUM: ", at)) != std::string::npos; ++at)
            if (Masked(text.substr(at, 33)) == "DATUM: N.N.N, ZEIT: N:N:N") text.replace(at + 7, 26, "D, ZEIT: T");
        return text;
    }
};

}  // namespace test
