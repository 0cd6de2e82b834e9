// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Case.h"

#include "Operators/TextIds.h"
#include "ScanReader.h"

#include "hbtools/base/syException.h"

using namespace KxN;

namespace proof {

namespace {

/// The kinds of points of one file.
enum class Points { plain, withColumns, notFinite };

std::string Lines(int n, Points points, char separator) {
    std::string text;
    for (int i = 0; i < n; ++i) {
        std::string const x = Digits(i);
        text += x + separator + (points == Points::notFinite && i > 0 ? "nan" : x) + separator + x;
        if (points == Points::withColumns) text.append(1, separator).append(x);
        text += '\n';
    }
    return text;
}
std::string Binary(int n) {
    std::string bytes;
    for (int i = 0; i < 3 * n; ++i) {
        float const value = static_cast<float>(i);
        bytes.append(reinterpret_cast<char const*>(&value), sizeof value);
    }
    return bytes;
}
std::string Ply(int n, char const* form, int elements = 0) {
    std::string head = "ply\nformat " + std::string(form) + " 1.0\n";
    for (int i = 0; i < elements; ++i) head += "element e" + Digits(i) + " 0\nproperty int p\n";
    head += "element vertex " + std::to_string(n) + "\n";
    for (char const axis : {'x', 'y', 'z'}) head += std::string("property float ") + axis + "\n";
    return head + "end_header\n";
}
std::string Pcd(int n, char const* data) {
    return "VERSION 0.7\nFIELDS x y z\nSIZE 4 4 4\nTYPE F F F\nCOUNT 1 1 1\nPOINTS " + std::to_string(n) + "\nDATA " +
           data + "\n";
}

/// Scans are large, and a reader's buffer alone takes a million steps.
constexpr int pointsOfOne = 10;

Case Reading(char const* name, std::string (*bytes)(int n)) {
    return {name, [bytes](int n) -> std::function<void()> {
                n *= pointsOfOne;
                ScanLab::UseTexts();
                return [n, path = WriteFile(EmptyFolder() / "scan", bytes(n))] {
                    ScanLab::Scan const scan = ScanLab::ReadScan(path);
                    if (scan.points->Size() + scan.notFinite->Size() != n) std::abort();
                };
            }};
}

/// Of what is refused at its end.
Case Refusing(char const* name, std::string (*bytes)(int n)) {
    return {name, [bytes](int n) -> std::function<void()> {
                n *= pointsOfOne;
                ScanLab::UseTexts();
                return [path = WriteFile(EmptyFolder() / "scan", bytes(n))] {
                    try {
                        ScanLab::ReadScan(path);
                        std::abort();
                    } catch (CException* exception) {
                        exception->Delete();
                    }
                };
            }};
}

}  // namespace

std::vector<Case> ScanCases() {
    return {
        Reading("scans: lines", [](int n) { return Lines(n, Points::plain, ' '); }),
        Reading("scans: lines of columns", [](int n) { return "a;b;c;d\n" + Lines(n, Points::withColumns, ';'); }),
        Reading("scans: lines of no numbers", [](int n) { return Lines(n, Points::notFinite, ','); }),
        Reading("scans: lines and blank ones",
                [](int n) { return Lines(n, Points::plain, '\t') + std::string(static_cast<std::size_t>(n), '\r'); }),
        Reading("scans: PLY text", [](int n) { return Ply(n, "ascii") + Lines(n, Points::plain, ' '); }),
        Reading("scans: PLY binary", [](int n) { return Ply(n, "binary_little_endian") + Binary(n); }),
        Reading("scans: PCD text", [](int n) { return Pcd(n, "ascii") + Lines(n, Points::plain, ' '); }),
        Reading("scans: PCD binary", [](int n) { return Pcd(n, "binary") + Binary(n); }),
        Refusing("scans: PLY of many elements", [](int n) { return Ply(2, "binary_big_endian", n) + Binary(1); }),
        Refusing("scans: the last line is damaged", [](int n) { return Lines(n, Points::plain, ' ') + "1 2 x\n"; }),
    };
}

}  // namespace proof
