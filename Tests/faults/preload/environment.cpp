// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Preloaded into a program, this lets one of its calls of the system fail. The environment says which, as in Faults.h:
// HBTOOLS_IOFAULTS_UNDER, _CALL, _NUMBER, _ERROR, _TIMES and _MARK.
#include "Faults.h"

#include <cstdlib>

namespace {

char const* Setting(char const* name) {
    char const* const text = std::getenv(name);
    return text ? text : "";
}

struct Start {
    Start() {
        iofaults::Follow({Setting("HBTOOLS_IOFAULTS_UNDER"), Setting("HBTOOLS_IOFAULTS_CALL"),
                          std::atoi(Setting("HBTOOLS_IOFAULTS_NUMBER")), std::atoi(Setting("HBTOOLS_IOFAULTS_ERROR")),
                          Setting("HBTOOLS_IOFAULTS_TIMES"), std::getenv("HBTOOLS_IOFAULTS_MARK")});
    }
} const start;

}  // namespace
