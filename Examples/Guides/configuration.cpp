// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/configuration.md: settings are read with their ranges, changed, and all else in the file stays.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <hbtools/hbtools.h>

int main() {
    char const path[] = "scanner.ini";
    std::ofstream(path) << "; comment\n[Scanner]\nPort = COM1\nSpeed = 12.5\nSize = 640;480\n";
    KxN::KxxLimits().textFileBytes = 1u << 30;  // configuration files up to 1 GiB
    try {
        // clang-format off
        KxN::KxConfiguration config(path, 1);                             // 1: failures throw
        config.SetGroup(L"Scanner", 1);                                   // at least one key
        double speed = 0;
        config.Read(speed, L"Speed", KxN::KxTFloatRange<double>(0.1, 40));  // mm/s
        config.BeginUpdate();
        config.Write(KxN::KxTPair<int>(800, 600), L"Size");               // the value comes first
        config.EndUpdate();                                               // one write of the file
        // clang-format on
        std::cout << "speed " << speed << " mm/s\n" << std::ifstream(path).rdbuf();
        config.Read(speed, L"Speed", KxN::KxTFloatRange<double>(0.1, 10));
    } catch (KxN::CException* exception) {
        std::printf("%ls\n", KxN::CException::TextOf(*exception).GetStr());
        exception->Delete();
    }
}
