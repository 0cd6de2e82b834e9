// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// One scenario a run:  iofaults_scenarios <scenario> <file>
//
// Exit codes: as RunScenario, and 3 for an exception of the library, whose text is printed; anything else is a fault.
#include "Scenarios.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syObject.h"

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 3) return 5;
    try {
        return faults::RunScenario(argv[1], KxN::KxxFromSystemPath(argv[2]));
    } catch (KxN::CException* exception) {
        std::puts(KxN::KxxToUtf8(KxN::CException::TextOf(*exception).View()).c_str());
        exception->Delete();
        return 3;
    }
}
