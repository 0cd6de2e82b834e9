// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the tests of this room share: links to lambdas, and the message boxes of a test.
#pragma once

#include "../base/Support.h"
#include "hbtools/base/sySync.h"
#include "hbtools/base/syWnd.h"

#include <atomic>
#include <thread>
#include <vector>

namespace test {

/// A link that calls a lambda with the argument of Call; the lambda lives as long.
template <class Call>
KxTools::Link LinkTo(Call& call) {
    return KxTools::Link(&call, [](void* object, void* argument) -> long long {
        (*static_cast<Call*>(object))(argument);
        return 0;
    });
}

/// Collects what is shown to the user, from any thread, while it lives.
class Boxes {
public:
    Boxes() {
        Texts().clear();
        m_former = KxN::AfxSetMessageBoxHandler([](wchar_t const* text, unsigned type, unsigned) {
            KxN::CSingleLock const lock(&Lock(), 1);
            Texts().push_back(std::to_string(type) + " " + U(KxN::KxString(text)));
            return KxN::IDOK;
        });
    }
    ~Boxes() { KxN::AfxSetMessageBoxHandler(m_former); }
    std::vector<std::string> Get() const {
        KxN::CSingleLock const lock(&Lock(), 1);
        return Texts();
    }

private:
    static KxN::CCriticalSection& Lock() {
        static KxN::CCriticalSection lock;
        return lock;
    }
    static std::vector<std::string>& Texts() {
        static std::vector<std::string> texts;
        return texts;
    }
    KxN::MessageBoxHandler m_former;
};

}  // namespace test
