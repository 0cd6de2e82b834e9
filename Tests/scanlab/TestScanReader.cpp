// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "ScanReader.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <unistd.h>

using namespace KxN;
using namespace ScanLab;

namespace {

class TemporaryFile {
public:
    explicit TemporaryFile(std::string const& bytes) : m_path(std::filesystem::temp_directory_path() / Name()) {
        std::ofstream(m_path, std::ios::binary) << bytes;
    }
    ~TemporaryFile() { std::filesystem::remove(m_path); }
    KxString Path() const { return KxString(m_path.c_str()); }

private:
    static std::string Name() {
        static int number = 0;
        return "hbtools-scan-" + std::to_string(::getpid()) + "-" + std::to_string(++number);
    }
    std::filesystem::path m_path;
};

/// "points,not finite: x y z of the last point", or the message without the path.
std::string Outcome(std::string const& bytes) {
    TemporaryFile const file(bytes);
    UseTexts();
    try {
        Scan const scan = ReadScan(file.Path());
        KxVec3d const& p = scan.points[scan.points->Size() - 1];
        return KxxToUtf8(KxxFormat(L"%d,%d: %g %g %g", scan.points->Size(), scan.notFinite->Size(), p[0], p[1], p[2]));
    } catch (CException* exception) {
        std::string const text = KxxToUtf8(CException::TextOf(*exception).View());
        exception->Delete();
        std::size_t const path = text.find(": ");
        return path == std::string::npos ? text : text.substr(path + 2);
    }
}

struct Case {
    char const* what;
    std::string bytes;
    char const* expected;
};

std::string Times(int count, std::string const& line) {
    std::string lines;
    for (; count > 0; --count) lines += line;
    return lines;
}

void Check(std::vector<Case> const& cases) {
    for (Case const& c : cases) EXPECT_EQ(Outcome(c.bytes), c.expected) << c.what;
}

template <class T>
std::string Bytes(T value, bool big) {
    std::string bytes(reinterpret_cast<char const*>(&value), sizeof value);
    if (big) std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

std::string PlyHeader(char const* format, char const* count) {
    return std::string("ply\nformat ") + format + " 1.0\ncomment made by hand\nelement vertex " + count +
           "\nproperty uchar red\nproperty float x\nproperty double y\nproperty short z\nelement face 1\n"
           "property list uchar int vertex_index\nend_header\n";
}

std::string PcdHeader(char const* points, char const* data) {
    return std::string(
               "# .PCD v0.7 - Point Cloud Data file format\nVERSION 0.7\nFIELDS intensity x y z\nSIZE 1 4 8 2\n"
               "TYPE U F F I\nCOUNT 2 1 1 1\nWIDTH ") +
           points + "\nHEIGHT 1\nVIEWPOINT 0 0 0 1 0 0 0\nPOINTS " + points + "\nDATA " + data + "\n";
}

}  // namespace

TEST(ScanReader, Text) {
    Check(
        {{"blanks", "1 2 3\n4\t5  6\n", "2,0: 4 5 6"},
         {"commas and a header", "x,y,z,nx,ny,nz\n1,2,3,0,0,1\n-3.5376 , 0.639553 , -1.37678 , 0,0,1\n",
          "2,0: -3.5376 0.639553 -1.37678"},
         {"columns by name", "i;z;y;x\n9;3;2;1\n", "1,0: 1 2 3"},
         {"units in the names", "X [mm],Y [mm],Z [mm]\n1,2,3\n", "1,0: 1 2 3"},
         {"decimal commas", "1,5;2,5;-3,25\n", "1,0: 1.5 2.5 -3.25"},
         {"no last line end, CR LF", "1 2 3\r\n4 5 6", "2,0: 4 5 6"},
         {"CR alone", "1 2 3\r4 5 6\r", "2,0: 4 5 6"},
         {"remarks, blank lines, byte order mark", "\xef\xbb\xbf# scan\n\n// more\n1 2 3\n\n", "1,0: 1 2 3"},
         {"a count in front", "2\n1 2 3\n4 5 6\n", "2,0: 4 5 6"},
         {"not finite", "nan 1 2\n1 2 3\n1 inf 2\n1 2 inf\n1.#IND 0 0\n-1.#INF 0 0\n", "1,5: 1 2 3"},
         {"names in quotes", "\"z\",\"y\",\"x\",\"~\"\n3,2,1,0\n", "1,0: 1 2 3"},
         {"half a quote", "\"ab,x,y,z\n0,1,2,3\n", "1,0: 1 2 3"},
         {"units right behind the names", "z[mm],y(mm),x,~\n3,2,1,0\n", "1,0: 1 2 3"},
         {"a header with y alone", "a,y,b\n1,2,3\n", "Zeile 1: es gibt keine Spalte x"},
         {"a header with z alone", "a,b,z\n1,2,3\n", "Zeile 1: es gibt keine Spalte x"},
         {"an endless decimal comma", "1,5;2,5;3,5\n1,5;2,5;" + std::string(70, '1') + ",5\n",
          "Zeile 2: \"1111111111111111111111111111111111111111...\" ist keine Zahl"},
         {"plus signs and exponents", "+1.5e1 -2E-1 .5\n", "1,0: 15 -0.2 0.5"},
         {"a header without z", "x,y,i\n1,2,3\n", "Zeile 1: es gibt keine Spalte z"},
         {"a count that lies", "999999\n1 2 3\n", "999999 Punkte sind angekündigt und 1 sind da"},
         {"a damaged first line", "12a 2 3\n4 5 6\n", "Zeile 1: \"12a\" ist keine Zahl"},
         {"a first point next to nothing", "1e-400 1e-400 1e-401\n4 5 6\n", "Zeile 1: \"1e-400\" ist keine Zahl"},
         {"one beyond all numbers", "1e400 2e400 3e400\n4 5 6\n", "Zeile 1: \"1e400\" ist keine Zahl"},
         {"one that is damaged", ".x -y +z\n4 5 6\n", "Zeile 1: \".x\" ist keine Zahl"},
         {"one that was not measured", "NA NA NA\n4 5 6\n", "Zeile 1: \"NA\" ist keine Zahl"},
         {"names with digits behind", "x1 y1 z1\n1 2 3\n", "1,0: 1 2 3"},
         {"a count below 0", "-1\n1 2 3\n", "Zeile 1: \"-1\" ist keine Anzahl"},
         {"a count that is not whole", "1.0\n1 2 3\n", "Zeile 1: \"1.0\" ist keine Anzahl"},
         {"a count that is no number", "nan\n1 2 3\n", "Zeile 1: \"nan\" ist keine Anzahl"},
         {"a count beyond all counts", "1e400\n1 2 3\n", "Zeile 1: \"1e400\" ist keine Anzahl"},
         {"no numbers as others write them", "1.#QNAN0 -1.#IND 1.#J\n1 2 3\n", "1,1: 1 2 3"},
         {"what looks like them", "1 2 3\nx.#IND 5 6\n", "Zeile 2: \"x.#IND\" ist keine Zahl"},
         {"half of one", "1 2 3\n4 1.# 6\n", "Zeile 2: \"1.#\" ist keine Zahl"},
         {"one with a tail", "1 2 3\n4 5 1.#INF;\n", "Zeile 2: \"1.#INF;\" ist keine Zahl"},
         {"a word", "1 2 3\n4 five 6\n", "Zeile 2: \"five\" ist keine Zahl"},
         {"hexadecimal", "1 2 3\n4 0x5 6\n", "Zeile 2: \"0x5\" ist keine Zahl"},
         {"too large, and no header", "1 2 1e999\n1 2 3\n", "Zeile 1: \"1e999\" ist keine Zahl"},
         {"a column missing", "1 2 3\n4 5\n", "Zeile 2: 3 Spalten werden erwartet, hier steht \"4 5\""},
         {"a column too many", "1 2 3\n4 5 6 7\n", "Zeile 2: 3 Spalten werden erwartet, hier steht \"4 5 6 7\""},
         {"decimal commas between commas", "x,y,z\n1,5,2,5,3,5\n",
          "Zeile 2: 3 Spalten werden erwartet, hier steht \"1,5,2,5,3,5\""},
         {"a column without a name", "x,y,z\n0,1,2,3\n", "Zeile 2: 3 Spalten werden erwartet, hier steht \"0,1,2,3\""},
         {"a line that was cut", "x,y,z,i\n1,2,3,4\n5,6,7", "Zeile 3: 4 Spalten werden erwartet, hier steht \"5,6,7\""},
         {"commas at the end", "x,y,z,\n1,2,3,\n4,5,6\n", "2,0: 4 5 6"},
         {"no last value", "x,y,z,i\n1,2,3,4\n4,5,6,\n", "2,0: 4 5 6"},
         {"a grid with sides and places", "2\n2\n0 0 0\n1 0 0\n",
          "Zeile 2: 3 Spalten werden erwartet, hier steht \"2\""},
         {"empty field", "1,2,3\n4,,6\n", "Zeile 2: \"\" ist keine Zahl"},
         {"control characters", "1 2 3\n4 \x1b[31m 6\n", "Zeile 2: \"?[31m\" ist keine Zahl"},
         {"what shows nothing", "1 2 3\n4 \xc2\x85\xd8\x9c\xe2\x80\x8e\xe2\x80\x8f\xe2\x81\xa6\xef\xbb\xbf 6\n",
          "Zeile 2: \"??????\" ist keine Zahl"},
         {"writing that is turned",
          "1 2 3\n4 \xe2\x80\xae"
          "5 6\n",
          "Zeile 2: \"?5\" ist keine Zahl"},
         {"the last byte alone behind a block", Times(174762, "1 2 3\n") + "4 5 6", "174763,0: 4 5 6"},
         {"empty", "", "es ist kein Punkt darin"},
         {"only a header", "x,y,z\n", "es ist kein Punkt darin"},
         {"a very long line", std::string(1 << 20, '7'), "Zeile 1: die Zeile ist zu lang für eine Liste von Punkten"}});
}

TEST(ScanReader, Ply) {
    std::string const values = "255 1.5 2.5 -3\n0 4 5 6\n3 0 1 2\n";
    auto const binary = [](bool big) {
        return Bytes<unsigned char>(255, big) + Bytes(1.5F, big) + Bytes(2.5, big) + Bytes<short>(-3, big) +
               Bytes<unsigned char>(0, big) + Bytes(4.0F, big) + Bytes(std::nan(""), big) + Bytes<short>(6, big);
    };
    std::string const skipped =
        "ply\nformat binary_little_endian 1.0\nelement camera 2\nproperty list uchar short a\n"
        "element vertex 1\nproperty float x\nproperty float y\nproperty float z\nend_header\n";
    // CR alone ends the header's lines, and the first byte of the data is a line feed.
    std::string const chars = "property char x\nproperty char y\nproperty char z\nend_header\n",
                      little = "ply\nformat binary_little_endian 1.0\n";
    std::string carriage = little + "element vertex 1\n" + chars, pairs;
    for (char const c : little + "element camera 1\nproperty char a\nelement vertex 1\n" + chars)
        pairs += c == '\n' ? "\r\n" : std::string(1, c);
    pairs.pop_back();
    std::replace(carriage.begin(), carriage.end(), '\n', '\r');
    auto const inFront = [&](char const* properties) {
        return little + "element camera 5\n" + properties + "element vertex 1\n" + chars;
    };
    Check(
        {{"text", PlyHeader("ascii", "2") + values, "2,0: 4 5 6"},
         {"a column too many", PlyHeader("ascii", "2") + "255 1.5 2.5 -3 9\n" + values,
          "Zeile 12: 4 Spalten werden erwartet, hier steht \"255 1.5 2.5 -3 9\""},
         {"a column missing behind z",
          "ply\nformat ascii 1.0\nelement vertex 1\nproperty int x\nproperty int y\nproperty int z\n"
          "property int i\nend_header\n1 2 3  \n",
          "Zeile 9: 4 Spalten werden erwartet, hier steht \"1 2 3  \""},
         {"CR and a line feed", carriage + "\n\1\2", "1,0: 10 1 2"},
         {"CR alone behind CR LF", pairs + "\7\1\2\3", "1,0: 1 2 3"},
         {"nothing behind it", pairs, "am Ende fehlen 1 Byte"},
         {"numbers in front", inFront("property char a\n") + "abcde\1\2\3", "1,0: 1 2 3"},
         {"nothing in what stands in front", inFront("") + "\1\2\3", "1,0: 1 2 3"},
         {"a list of less than nothing", inFront("property list char char a\n") + "\xff",
          "eine Liste ist länger als die PLY-Datei"},
         {"a list of unknown count", "ply\nformat ascii 1.0\nelement face 1\nproperty list half int a\n",
          "Zeile 4: unbekannte PLY-Eigenschaft \"property list half int a\""},
         {"a list for x", little + "element vertex 1\nproperty list char char x\n" + chars.substr(16),
          "die Punkte der PLY-Datei haben keine Eigenschaft x"},
         {"a list in a point", little + "element vertex 1\nproperty list char char a\n" + chars,
          "PLY-Punkte mit Listen werden nicht unterstützt"},
         {"a property of nothing", little + "\nobj_info none\n" + chars,
          "Zeile 5: unbekannte Zeile im Kopf der PLY-Datei: \"property char x\""},
         {"a count with a tail", little + "element vertex 1x\n", "Zeile 3: \"1x\" ist keine Anzahl"},
         {"no point", little + "element vertex 0\n" + chars, "es ist kein Punkt darin"},
         {"a word", PlyHeader("ascii", "1") + "255 1.5 x -3\n", "Zeile 12: kein Punkt: \"255 1.5 x -3\""},
         {"surplus bytes", carriage + "\n\1\2\3", "hinter dem letzten angekündigten Punkt steht noch mehr"},
         {"little-endian", PlyHeader("binary_little_endian", "2") + binary(false), "1,1: 1.5 2.5 -3"},
         {"big-endian", PlyHeader("binary_big_endian", "2") + binary(true), "1,1: 1.5 2.5 -3"},
         {"wider integers",
          "ply\nformat binary_big_endian 1.0\nelement vertex 1\nproperty ushort x\nproperty int y\nproperty uint z\n"
          "end_header\n" +
              Bytes<std::uint16_t>(0x1234, true) + Bytes<std::int32_t>(-5, true) + Bytes<std::uint32_t>(~0U, true),
          "1,0: 4660 -5 4.29497e+09"},
         {"text in front, with blank lines",
          "ply\nformat ascii 1.0\nelement camera 2\nproperty int a\nelement vertex 1\nproperty int x\nproperty int y\n"
          "property int z\nend_header\n7\n\n8\n1 2 3\n",
          "1,0: 1 2 3"},
         {"text that ends in front",
          "ply\nformat ascii 1.0\nelement camera 2\nproperty int a\nelement vertex 1\nproperty int x\nproperty int y\n"
          "property int z\nend_header\n7\n",
          "die PLY-Datei endet vor ihren Punkten"},
         {"behind CR LF",
          "ply\r\nformat binary_little_endian 1.0\r\nelement vertex 1\r\nproperty char x\r\n"
          "property char y\r\nproperty char z\r\nend_header\r\n\1\2\3",
          "1,0: 1 2 3"},
         {"more than promised", PlyHeader("ascii", "1") + "255 1.5 2.5 -3\n3 0 1 2\n", "1,0: 1.5 2.5 -3"},
         {"elements in front",
          skipped + std::string("\x01\x07\x07\x00", 4) + Bytes(1.0F, false) + Bytes(2.0F, false) + Bytes(3.0F, false),
          "1,0: 1 2 3"},
         {"text cut", PlyHeader("ascii", "4") + "0 1 2 3\n0 4 5 6\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n",
          "4 Punkte sind angekündigt und 2 sind da"},
         {"a count that lies", PlyHeader("ascii", "4000000000") + values,
          "4000000000 Punkte sind angekündigt und 31 Byte sind da"},
         {"binary cut", PlyHeader("binary_little_endian", "3") + binary(false),
          "3 Punkte sind angekündigt und 30 Byte sind da"},
         {"a count of 2^64-1", PlyHeader("binary_little_endian", "18446744073709551615") + binary(false),
          "18446744073709551615 Punkte sind angekündigt und 30 Byte sind da"},
         {"a list longer than the file", skipped + "\xff\x01", "eine Liste ist länger als die PLY-Datei"},
         {"no format", "ply\nelement vertex 1\nend_header\n", "der Kopf der PLY-Datei nennt kein Format"},
         {"unknown format", "ply\nformat zip 1.0\n", "Zeile 2: unbekanntes PLY-Format \"zip\""},
         {"unknown type", "ply\nformat ascii 1.0\nelement vertex 1\nproperty half x\n",
          "Zeile 4: unbekannte PLY-Eigenschaft \"property half x\""},
         {"no z", "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\nend_header\n1 2\n",
          "die Punkte der PLY-Datei haben keine Eigenschaft z"},
         {"no vertices", "ply\nformat ascii 1.0\nend_header\n", "die PLY-Datei hat keine Punkte"},
         {"no end", "ply\nformat ascii 1.0\n", "der Kopf der PLY-Datei hat kein Ende"},
         {"a negative count", PlyHeader("ascii", "-1") + values, "Zeile 4: \"-1\" ist keine Anzahl"}});
}

TEST(ScanReader, Pcd) {
    std::string const point = std::string(2, '\1') + Bytes(1.5F, false) + Bytes(2.5, false) + Bytes<short>(-3, false);
    std::string const fields = "VERSION 0.7\nFIELDS x y z\nSIZE 4 4 4\nTYPE F F F\n";
    for (char const* const number : {"x", "3x", "0", "-1", "99999999999999999999"})
        EXPECT_EQ(Outcome(fields + "WIDTH " + number + "\n"),
                  std::string("Zeile 5: \"") + number + "\" ist keine Zahl, die hier im Kopf einer PCD-Datei steht");
    Check(
        {{"text", PcdHeader("2", "ascii") + "1 1 1.5 2.5 -3\n0 0 nan 5 6\n", "1,1: 1.5 2.5 -3"},
         {"a column too many", PcdHeader("1", "ascii") + "1 1 1.5 2.5 -3 7\n",
          "Zeile 12: 5 Spalten werden erwartet, hier steht \"1 1 1.5 2.5 -3 7\""},
         {"binary", PcdHeader("2", "binary") + point + point, "2,0: 1.5 2.5 -3"},
         {"more than promised", PcdHeader("1", "binary") + point + point,
          "hinter dem letzten angekündigten Punkt steht noch mehr"},
         {"most are not finite", PcdHeader("68126", "ascii") + Times(68125, "0 0 nan nan nan\n") + "1 1 1.5 2.5 -3\n",
          "1,68125: 1.5 2.5 -3"},
         {"sides that contradict", "VERSION 0.7\nFIELDS x y z\nWIDTH 3\nHEIGHT 1\nPOINTS 2\nDATA ascii\n",
          "POINTS im Kopf der PCD-Datei ist nicht WIDTH mal HEIGHT"},
         {"binary cut", PcdHeader("2", "binary") + point, "2 Punkte sind angekündigt und 16 Byte sind da"},
         {"a count that lies", PcdHeader("9000000000000000000", "binary") + point,
          "9000000000000000000 Punkte sind angekündigt und 16 Byte sind da"},
         {"compressed", PcdHeader("2", "binary_compressed") + point,
          "PCD-Daten der Art \"binary_compressed\" werden nicht unterstützt"},
         {"a size of 9", "VERSION 0.7\nFIELDS x y z\nSIZE 4 4 9\n",
          "Zeile 3: \"9\" ist keine Zahl, die hier im Kopf einer PCD-Datei steht"},
         {"sizes missing", "VERSION 0.7\nFIELDS x y z\nSIZE 4 4\n",
          "Zeile 3: der Kopf der PCD-Datei hat nicht so viele Einträge wie Felder"},
         {"no z", "VERSION 0.7\nFIELDS x y\nPOINTS 1\nDATA ascii\n1 2\n", "die Punkte der PCD-Datei haben kein Feld z"},
         {"no count", fields + "WIDTH 1\n\nHEIGHT 2\nDATA ascii\n1 2 3\n\n4 5 6\n\n", "2,0: 4 5 6"},
         {"one side", fields + "WIDTH 7\nPOINTS 1\nDATA ascii\n1 2 3\n", "1,0: 1 2 3"},
         {"a side twice", fields + "WIDTH 1\nWIDTH 1\n", "Zeile 6: eine zweite Zeile mit WIDTH"},
         {"sides beyond all counts", fields + "WIDTH 9000000000000000000\nHEIGHT 2\n",
          "Zeile 6: das sind mehr Punkte, als in eine Datei passen"},
         {"text behind the points", fields + "POINTS 1\nDATA ascii\n1 2 3\nend\n",
          "hinter dem letzten angekündigten Punkt steht noch mehr"},
         {"a word", fields + "POINTS 1\nDATA ascii\n1 two 3\n", "Zeile 7: kein Punkt: \"1 two 3\""},
         {"no sign", "VERSION 0.7\nFIELDS x y z\nSIZE 1 1 1\nTYPE U U I\nPOINTS 1\nDATA binary\n\xff\1\xff",
          "1,0: 255 1 -1"},
         {"half a float", "VERSION 0.7\nFIELDS x y z\nSIZE 2 2 2\nTYPE F F F\nPOINTS 1\nDATA binary\n123456",
          "eine Koordinate der PCD-Datei hat einen unbekannten Typ"},
         {"no end", "VERSION 0.7\nFIELDS x y z\n", "der Kopf der PCD-Datei hat kein Ende"},
         {"text cut", PcdHeader("3", "ascii") + "1 1 1.5 2.5 -3\n1 1 1.5 2.5 -3\n",
          "3 Punkte sind angekündigt und 2 sind da"}});
}

TEST(ScanReader, EveryCutOfEveryFormatEndsInALineOrInPoints) {
    std::string const point = std::string(2, '\1') + Bytes(1.5F, false) + Bytes(2.5, false) + Bytes<short>(-3, false);
    for (std::string const& whole : {PlyHeader("ascii", "2") + "255 1.5 2.5 -3\n0 4 5 6\n",
                                     PcdHeader("2", "binary") + point + point, std::string("x,y,z\n1,2,3\n4,5,6\n")}) {
        for (std::size_t length = 0; length < whole.size(); ++length) {
            std::string const outcome = Outcome(whole.substr(0, length));
            EXPECT_FALSE(outcome.empty());
            EXPECT_EQ(outcome.find('\n'), std::string::npos);
        }
    }
}
