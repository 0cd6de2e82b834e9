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
    Check({{"blanks", "1 2 3\n4\t5  6\n", "2,0: 4 5 6"},
           {"commas and a header", "x,y,z,nx,ny,nz\n1,2,3,0,0,1\n-3.5376 , 0.639553 , -1.37678 , 0,0,1\n",
            "2,0: -3.5376 0.639553 -1.37678"},
           {"columns by name", "i;z;y;x\n9;3;2;1\n", "1,0: 1 2 3"},
           {"units in the names", "X [mm],Y [mm],Z [mm]\n1,2,3\n", "1,0: 1 2 3"},
           {"decimal commas", "1,5;2,5;-3,25\n", "1,0: 1.5 2.5 -3.25"},
           {"no last line end, CR LF", "1 2 3\r\n4 5 6", "2,0: 4 5 6"},
           {"CR alone", "1 2 3\r4 5 6\r", "2,0: 4 5 6"},
           {"remarks, blank lines, byte order mark", "\xef\xbb\xbf# scan\n\n// more\n1 2 3\n\n", "1,0: 1 2 3"},
           {"a count in front", "2\n1 2 3\n4 5 6\n", "2,0: 4 5 6"},
           {"not finite", "nan 1 2\n1 2 3\n1 inf 2\n1.#IND 0 0\n-1.#INF 0 0\n", "1,4: 1 2 3"},
           {"plus signs and exponents", "+1.5e1 -2E-1 .5\n", "1,0: 15 -0.2 0.5"},
           {"a header without z", "x,y,i\n1,2,3\n", "line 1: there is no column z"},
           {"a count that lies", "999999\n1 2 3\n", "999999 points are promised and 1 are there"},
           {"a damaged first line", "12a 2 3\n4 5 6\n", "line 1: \"12a\" is not a number"},
           {"a word", "1 2 3\n4 five 6\n", "line 2: \"five\" is not a number"},
           {"hexadecimal", "1 2 3\n4 0x5 6\n", "line 2: \"0x5\" is not a number"},
           {"too large, and no header", "1 2 1e999\n1 2 3\n", "line 1: \"1e999\" is not a number"},
           {"a column missing", "1 2 3\n4 5\n", "line 2: 3 columns were expected, this is \"4 5\""},
           {"empty field", "1,2,3\n4,,6\n", "line 2: \"\" is not a number"},
           {"control characters", "1 2 3\n4 \x1b[31m 6\n", "line 2: \"?[31m\" is not a number"},
           {"empty", "", "there is no point in it"},
           {"only a header", "x,y,z\n", "there is no point in it"},
           {"a very long line", std::string(1 << 20, '7'), "line 1: the line is too long for a list of points"}});
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
    std::string carriage =
        "ply\nformat binary_little_endian 1.0\nelement vertex 1\nproperty char x\nproperty char y\n"
        "property char z\nend_header\n";
    std::replace(carriage.begin(), carriage.end(), '\n', '\r');
    Check({{"text", PlyHeader("ascii", "2") + values, "2,0: 4 5 6"},
           {"CR and a line feed", carriage + "\n\1\2", "1,0: 10 1 2"},
           {"surplus bytes", carriage + "\n\1\2\3", "there is more behind the last point that is promised"},
           {"little-endian", PlyHeader("binary_little_endian", "2") + binary(false), "1,1: 1.5 2.5 -3"},
           {"big-endian", PlyHeader("binary_big_endian", "2") + binary(true), "1,1: 1.5 2.5 -3"},
           {"more than promised", PlyHeader("ascii", "1") + "255 1.5 2.5 -3\n3 0 1 2\n", "1,0: 1.5 2.5 -3"},
           {"elements in front",
            skipped + std::string("\x01\x07\x07\x00", 4) + Bytes(1.0F, false) + Bytes(2.0F, false) + Bytes(3.0F, false),
            "1,0: 1 2 3"},
           {"text cut", PlyHeader("ascii", "4") + "0 1 2 3\n0 4 5 6\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n",
            "4 points are promised and 2 are there"},
           {"a count that lies", PlyHeader("ascii", "4000000000") + values,
            "4000000000 points are promised and 31 bytes are there"},
           {"binary cut", PlyHeader("binary_little_endian", "3") + binary(false),
            "3 points are promised and 30 bytes are there"},
           {"a count of 2^64-1", PlyHeader("binary_little_endian", "18446744073709551615") + binary(false),
            "18446744073709551615 points are promised and 30 bytes are there"},
           {"a list longer than the file", skipped + "\xff\x01", "a PLY list is longer than the file"},
           {"no format", "ply\nelement vertex 1\nend_header\n", "the PLY header tells no format"},
           {"unknown format", "ply\nformat zip 1.0\n", "line 2: unknown PLY format \"zip\""},
           {"unknown type", "ply\nformat ascii 1.0\nelement vertex 1\nproperty half x\n",
            "line 4: unknown PLY property \"property half x\""},
           {"no z", "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\nend_header\n1 2\n",
            "the PLY vertices have no property z"},
           {"no vertices", "ply\nformat ascii 1.0\nend_header\n", "the PLY file has no vertices"},
           {"no end", "ply\nformat ascii 1.0\n", "the PLY header has no end"},
           {"a negative count", PlyHeader("ascii", "-1") + values, "line 4: \"-1\" is not a count"}});
}

TEST(ScanReader, Pcd) {
    std::string const point = std::string(2, '\1') + Bytes(1.5F, false) + Bytes(2.5, false) + Bytes<short>(-3, false);
    Check({{"text", PcdHeader("2", "ascii") + "1 1 1.5 2.5 -3\n0 0 nan 5 6\n", "1,1: 1.5 2.5 -3"},
           {"binary", PcdHeader("2", "binary") + point + point, "2,0: 1.5 2.5 -3"},
           {"more than promised", PcdHeader("1", "binary") + point + point,
            "there is more behind the last point that is promised"},
           {"sides that contradict", "VERSION 0.7\nFIELDS x y z\nWIDTH 3\nHEIGHT 1\nPOINTS 2\nDATA ascii\n",
            "POINTS of the PCD header is not WIDTH times HEIGHT"},
           {"binary cut", PcdHeader("2", "binary") + point, "2 points are promised and 16 bytes are there"},
           {"a count that lies", PcdHeader("9000000000000000000", "binary") + point,
            "9000000000000000000 points are promised and 16 bytes are there"},
           {"compressed", PcdHeader("2", "binary_compressed") + point,
            "PCD data of the kind \"binary_compressed\" are not supported"},
           {"a size of 9", "VERSION 0.7\nFIELDS x y z\nSIZE 4 4 9\n",
            "line 3: \"9\" is no number that a PCD header has here"},
           {"sizes missing", "VERSION 0.7\nFIELDS x y z\nSIZE 4 4\n",
            "line 3: the PCD header has not as many entries as fields"},
           {"no z", "VERSION 0.7\nFIELDS x y\nPOINTS 1\nDATA ascii\n1 2\n", "the PCD points have no field z"},
           {"no end", "VERSION 0.7\nFIELDS x y z\n", "the PCD header has no end"},
           {"text cut", PcdHeader("3", "ascii") + "1 1 1.5 2.5 -3\n1 1 1.5 2.5 -3\n",
            "3 points are promised and 2 are there"}});
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
