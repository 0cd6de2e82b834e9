// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxUnitTest, the base of a test with a name and a folder of data. A test derives from it and gives it a body; Execute
// runs the body and keeps the text of a failure. The data of all tests stand in one folder, told by the environment
// variable "UNITTESTDIR". A test belongs to one thread.
//
//     class TestPlane : public KxUnitTest {
//         bool Body() override { return Fit(GetTestDataDir() + L"plane.ply").IsValid(); }
//     };
#pragma once

#include "hbtools/base/syString.h"

namespace KxN {

class KX_API KxUnitTest {
public:
    /// Runs the body. A KxException or other framework exception of it gives false, with its text as the error message;
    /// any other passes through.
    virtual bool Execute();
    virtual ~KxUnitTest();

    /// `dataSubDir` is the folder of this test's data, below that of all tests.
    KxUnitTest(KxString const& name, KxString const& dataSubDir);
    KxUnitTest(KxUnitTest const&) = default;
    KxUnitTest& operator=(KxUnitTest const&) = default;

    KxString GetTestName() const { return m_name; }
    KxString GetTestDataDir() const { return m_dataDir; }  ///< With a separator at its end.
    KxString GetErrorMsg() const { return m_errorMsg; }    ///< Of the last run; empty after a good one.

    /// The folder of all tests with a separator at its end: "UNITTESTDIR", or "X:\TestData\" where that is empty.
    /// The separator is a backslash, behind a path that begins with a slash a slash.
    static KxString GetUnitTestDir();

protected:
    /// The test: true if all is well. @throws KxNotImplementedException unless it is overridden
    virtual bool Body();

private:
    KxString m_name;
    KxString m_dataDir;
    KxString m_errorMsg;
};

}  // namespace KxN
