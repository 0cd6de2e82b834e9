// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the tests of the exception manager share: a folder with an ini file, exceptions of a given moment, and what is
// in a manager as text.
#pragma once

#include "../base/Support.h"
#include "hbtools/diagnostics/syExceptionMgr.h"

#include <memory>
#include <regex>

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

    /// The debug file with each date and time as D and T.
    std::string Debug() const {
        return std::regex_replace(Get("Debug.log"), std::regex("\\d\\d\\.\\d\\d\\.\\d{4}, ZEIT: \\d\\d:\\d\\d:\\d\\d"),
                                  "D, ZEIT: T");
    }
};

}  // namespace test
