// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Bytes as the conditions of a measurement. What is read is told line by line, and comes back bit by bit from a file that
// was saved.
#include "Conditions.h"
#include "ConditionsFile.h"
#include "Operators/TextIds.h"
#include "ScanFile.h"

#include "hbtools/base/syException.h"

#include "FuzzFolder.h"
#include "FuzzInput.h"

#include <optional>

using namespace KxN;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static FuzzFolder const folder;
    static bool const hasTexts = (ScanLab::UseTexts(), true);
    folder.Write("read.xml", std::string(reinterpret_cast<char const*>(data), size));
    std::optional<KxPropertyList> read;
    if (hasTexts) Survive([&] { read = ScanLab::LoadConditions(folder.File("read.xml")); });
    if (!read) return 0;
    ScanLab::StoredScan scan, again;
    scan.scan.conditions = *read;
    ScanLab::ConditionsText(scan.scan);
    ScanLab::SaveConditions(folder.File("saved.xml"), *read);
    again.scan.conditions = ScanLab::LoadConditions(folder.File("saved.xml"));
    if (!ScanLab::IsSame(scan, again)) Broken();
    return 0;
}
