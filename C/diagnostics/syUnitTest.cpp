// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/diagnostics/syUnitTest.h"

#include "base/syCaught.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"

#include <cstdlib>

namespace KxN {

namespace {

KxString AsFolder(KxString const& path) {
    std::wstring_view const text = path.View();
    if (!text.empty() && (text.back() == L'\\' || text.back() == L'/')) return path;
    return path + KxString(text.starts_with(L'/') ? L"/" : L"\\");
}

}  // namespace

KxUnitTest::KxUnitTest(KxString const& name, KxString const& dataSubDir)
    : m_name(name), m_dataDir(AsFolder(GetUnitTestDir() + dataSubDir)) {}

KxUnitTest::~KxUnitTest() = default;

bool KxUnitTest::Execute() {
    m_errorMsg = KxString();
    try {
        return Body();
    } catch (CException* exception) {
        m_errorMsg = detail::TakeText(exception);
        return false;
    }
}

bool KxUnitTest::Body() {
    throw new KxNotImplementedException(L"syUnitTest", __LINE__, L"KxUnitTest::Body");
}

KxString KxUnitTest::GetUnitTestDir() {
    char const* const folder = std::getenv("UNITTESTDIR");
    return AsFolder(folder && *folder ? KxxFromSystemPath(folder) : KxString(L"X:\\TestData\\"));
}

}  // namespace KxN
