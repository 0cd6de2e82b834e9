// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The commands of hbtag that write files or compare them: exit codes, what stands in OUT, and that IN is never touched.
#include "Programs.h"

#include "hbtools/persistence/syBinFileHeader.h"

#include "../persistence/TagSample.h"
#include "../persistence/TagTest.h"

#include <cmath>
#include <limits>

namespace {

using namespace KxN;
using namespace std::string_literals;

// Sanitizers need an address space of their own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
std::string const bounded;
#else
std::string const bounded = "ulimit -v 400000; ";  // KiB
#endif

class HbtagFiles : public Programs {
protected:
    void SetUp() override {
        Programs::SetUp();
        for (TagFormat const format : {TagFormat32, TagFormat64}) {
            FormatScope const scope(format);
            CMemFile file;
            WriteSample(file);
            std::vector<BYTE> const bytes = BytesOf(file);
            (format == TagFormat32 ? sample32 : sample64).assign(bytes.begin(), bytes.end());
        }
        Write("32.tag", sample32);
        Write("64.tag", sample64);
        Write("cut.tag", sample32.substr(0, 350));        // in the third of the four points of record 108
        Write("histogram.tag", sample32.substr(0, 680));  // in the third value of record 112
        Write("behind.tag", sample32 + "\xff\xff\xff\xff\xff\xff\xff\xff");
        Write("byte.tag", sample32 + "\xff");
        std::string mended = sample64;
        mended[625] = 2;  // in the link of the first number within record 111, which the links around it give again
        Write("mended.tag", mended);
        Write("letter", "This is a letter, and no tag file at all.");
        Write("empty", "");
        // Two records 6 of the first level, the first of them with two more within.
        Write("nested.tag",
              "\6\0\0\0\x64\0\0\0\0\0\x12\0\0\0\x36\0\0\0"s + "\6\0\0\0\x64\0\0\0\0\0\x24\0\0\0\x24\0\0\0"s +
                  "\6\0\0\0\x64\0\0\0\0\0\x36\0\0\0\0\0\0\0"s + "\6\0\0\0\x64\0\0\0\0\0\x48\0\0\0\0\0\0\0"s);
        Write("bytes.tag", "\1\0\0\0\x64\0\6\0\0\0\x12\0\0\0\0\0\0\0abcde\x1b"s);
        Write("bytes2.tag", "\1\0\0\0\x64\0\6\0\0\0\x12\0\0\0\0\0\0\0abcdx\x1b"s);
        WriteOdd("odd.tag", 300, 2);
        WriteOdd("odd2.tag", 301, 3);
        WriteGraph("graph.tag");
        Write("huge.tag", "\1\0\0\0\x64\0\0\0\0\0\x12\0\0\0\0\0\0\0\xff\xff\xff\x7f\1\2\3\4"s);
        std::string ring;  // links from everywhere to everywhere
        for (unsigned i = 0; i < 5000; ++i) {
            unsigned const heads[] = {18 * i + 18, 18 * (i * 7919 % 5000)};
            ring += "\1\0\0\0\x64\0\0\0\0\0"s + std::string(reinterpret_cast<char const*>(heads), 8);
        }
        Write("ring.tag", ring);
        std::string deep;  // each the first record within the one before
        for (unsigned i = 1; i <= 100'000; ++i) {
            unsigned const heads[] = {18 * i, 0};
            deep += "\1\0\0\0\x64\0\0\0\0\0"s + std::string(reinterpret_cast<char const*>(heads), 8);
        }
        Write("deep.tag", deep);
        // 5 with another 5 and two 6 within.
        Write("within.tag",
              "\5\0\0\0\x64\0\0\0\0\0\x12\0\0\0\0\0\0\0"s + "\5\0\0\0\x64\0\0\0\0\0\x24\0\0\0\x24\0\0\0"s +
                  "\6\0\0\0\x64\0\0\0\0\0\x36\0\0\0\x36\0\0\0"s + "\6\0\0\0\x64\0\0\0\0\0\x48\0\0\0\0\0\0\0"s);
        std::string const last = "\3\0\0\0\x64\0\0\0\0\0\x28\0\0\0\0\0\0\0"s,
                          number = "\2\0\0\0\x64\0\4\0\0\0\x12\0\0\0\0\0\0\0"s;
        Write("float.tag", number + "\0\0\x80\x3f"s + last);
        Write("number.tag", number + "\7\0\0\0"s + last);
        WriteMixed("mixed.tag", 2);
        WriteMixed("longer.tag", 3);
        fs::create_symlink(folder / "32.tag", folder / "link.tag");
        fs::create_hard_link(folder / "32.tag", folder / "hard.tag");
        fs::create_directory(folder / "folder");
    }
    /// Vectors, an array of so many numbers, and several records of one id.
    void WriteMixed(char const* name, int count) const {
        CFile file(KxString((folder / name).wstring()), CFile::modeCreate | CFile::modeReadWrite);
        KxVec2d pair(1.5, 2.5);
        KxVec3f triple(3, 4, 5);
        KxTArray<int> numbers(count);
        for (int& number : numbers) number = 7;
        KxTagArchive archive(&file, 0);
        archive << KxVec2dTag(1, pair) << KxVec3fTag(2, triple) << KxTBasicTypeArrayTag<int>(3, numbers);
        for (int i = 0; i < 6; ++i) archive << KxTTag<int>(4, i);
    }
    /// What is rare: gaps of one coordinate, no points, one element, bytes left over, no object, and
    /// texts and trees that differ by `length` and `count`.
    void WriteOdd(char const* name, unsigned length, int count) const {
        KxBinHeader(512).Write(KxString((folder / name).wstring()));
        CFile file(KxString((folder / name).wstring()), CFile::modeReadWrite);
        file.Seek(512, CFile::begin);
        KxT2dArray<KxVec3d> grid(2, 1), none(0, 0);
        grid.Data()[0] = KxVec3d(1, static_cast<double>(std::numeric_limits<float>::max()), 3);
        grid.Data()[1] = KxVec3d(1, 2, static_cast<double>(std::numeric_limits<float>::max()));
        KxTArray<KxVec3d> one(1), two(2);
        one[0] = two[0] = two[1] = KxVec3d(1, 2, 3);
        KxString text(std::wstring(300, length % 2 ? L'x' : L'y'));
        KxPropertyList tree(L"tree", L"", 0);
        for (int i = 0; i < count; ++i) tree.Insert(new KxTProperty<int>(KxxFormat(L"n%d", i), L"", i, 0));
        KxPropertyList* list = &tree;
        double number = 0.5;
        int half = 5;
        KxTagArchive archive(&file, 0);
        archive << KxVec3d2dArrayTag(1, grid) << KxVec3d2dArrayTag(2, none) << KxVec3dArrayTag(3, one)
                << KxVec3dArrayTag(4, two) << KxStringTag(5, text) << KxPropertyListTag(6, list) << KxNullTag(208001);
        if (count == 2)
            archive << KxTTag<double>(7, number);
        else
            archive << KxTTag<int>(7, half);
        tree.Remove(L"n0");
        archive.SetReplaceMode();
        archive << KxVec3dArrayTag(4, one) << KxPropertyListTag(6, list);
    }
    /// Objects of graphs: without types and address; with more types than are shown, and a reference deep within.
    void WriteGraph(char const* name) const {
        CFile file(KxString((folder / name).wstring()), CFile::modeCreate | CFile::modeReadWrite);
        KxTagArchive archive(&file, 0);
        KxTArray<int> types(70);
        int type = 7;
        long long address = 0x1000;
        KxString text(L"seven c");  // as long as an address
        archive << KxNullTag(208001);
        archive.LevelDown();
        archive << KxTTag<int>(208002, type) << KxStringTag(208003, text);
        archive.LevelUp();
        archive << KxNullTag(208001);
        archive.LevelDown();
        archive << KxTBasicTypeArrayTag<int>(208002, types) << KxTBasicTypeArrayTag<int>(208002, types)
                << KxTTag<long long>(208003, address) << KxStringTag(5, text) << KxNullTag(6);
        archive.LevelDown();
        archive << KxTTag<long long>(7, address);
        archive.LevelUp();
        archive.LevelUp();
    }
    std::string Read(char const* name) const {
        std::ifstream in(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    std::size_t NumFiles() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
    }
    /// "convert --form 64 {32.tag} {out}": names in braces are in the folder of the test.
    std::string Command(std::string text) const {
        for (std::size_t at; (at = text.find('{')) != std::string::npos;) {
            std::size_t const end = text.find('}', at);
            text.replace(at, end + 1 - at, Path(text.substr(at + 1, end - at - 1).c_str()));
        }
        return "./hbtag " + text;
    }

    std::string sample32, sample64;
};

struct Case {
    char const* arguments;
    int code;
    char const* output;  // part of it
    bool isWritten = false;
};

}  // namespace

TEST_F(HbtagFiles, WriteOutOrLeaveNothing) {
    Case const cases[] = {
        {"convert --form 64 {32.tag} {out}", 0, "records of 64 bits", true},
        {"convert --form 32 --json {64.tag} {out}", 0, "\"form\": 32,\n  \"records\": 24,\n  \"size\": 1464\n", true},
        {"convert --form 16 {32.tag} {out}", 1, "--form"},
        {"convert {32.tag} {out}", 1, "--form is required"},
        {"convert --form 64 {cut.tag} {out}", 2, "is damaged and was not converted"},
        {"convert --form 64 {letter} {out}", 3, "is not a tag file"},
        {"convert --form 64 {missing} {out}", 1, "wurde nicht gefunden"},
        {"convert --form 64 {32.tag} {no/out}", 1, "hbtag: "},
        {"convert --form 64 {32.tag} {folder}", 1, "is there already"},
        {"convert --form 64 --force {32.tag} {folder}", 1, "hbtag: "},
        {"convert --form 64 --force {32.tag} /dev/full", 1, "hbtag: "},
        {"convert --form 64 {32.tag} {64.tag}", 1, "64.tag is there already; --force replaces it"},
        {"convert --form 64 --force {32.tag} {32.tag}", 1, "is the file that is read; it is never written"},
        {"repair --force {32.tag} {link.tag}", 1, "is the file that is read; it is never written"},
        {"repair --force {link.tag} {32.tag}", 1, "is the file that is read; it is never written"},
        {"repair --force {32.tag} {hard.tag}", 1, "is the file that is read; it is never written"},
        {"repair {32.tag} {out}", 0,
         "24 of 24 records, 25 of 25 points and 11 of 11 values of their arrays, 0 bytes lost\n", true},
        {"repair {cut.tag} {out}", 2, "9 of 9 records, 1 of them cut, 10 of 12 points of their arrays, 14 bytes lost\n",
         true},
        {"repair {cut.tag} {out}", 2,
         "cut: record 108 at 266, array of KxVec3d, bytes 336 to 350, 2 of 4 elements kept: the record at 266: the "
         "array of KxVec3d promises 4 elements in 100 bytes, and 66 bytes are there\ndangling link: at 0: ",
         true},
        {"repair --json {cut.tag} {out}", 2,
         "{\"begin\": 336, \"end\": 350, \"position\": 266, \"id\": 108, \"kind\": \"array of KxVec3d\", \"kept\": 2, "
         "\"promised\": 4, \"text\": \"the record at 266: the array of KxVec3d promises 4 elements in 100 bytes, and "
         "66 bytes are there\"}\n  ],\n  \"faults\": [\n    {\"kind\": \"dangling link\", \"position\": 0, ",
         true},
        {"repair {histogram.tag} {out}", 2, "1 of them cut, 12 of 12 points and 8 of 9 values of their arrays, ", true},
        {"repair {mended.tag} {out}", 2,
         "24 of 24 records, 25 of 25 points and 11 of 11 values of their arrays, 0 bytes lost\nmended: record 111 at "
         "568, array of double tags, bytes 746 to 746, 3 of 3 elements kept: ",
         true},
        {"repair {huge.tag} {out}", 2, "lost: record 1 at 0, unknown, bytes 0 to 26"},
        {"repair {huge.tag} {out}", 2, "holds nothing that is whole; "},
        {"repair {ring.tag} {out}", 2, "5000 of 5000 records", true},
        {"ls {deep.tag}", 2, "(level 4095) marker\nnested too deep: "},
        {"tree --html {deep.tag}", 2, "</html>"},
        {"repair {deep.tag} {out}", 2, "4096 of 4096 records", true},
        {"repair {behind.tag} {out}", 2, "lost: bytes 1464 to 1472", true},
        {"repair {behind.tag} {out}", 2, "8 bytes lost; what stood in 8 of them is not known, and not counted\n", true},
        {"repair {byte.tag} {out}", 2, "1 bytes lost; what stood in 1 of them is not known, and not counted\n", true},
        {"repair --json {behind.tag} {out}", 2, "\"copied\": 24, \"lost\": 0, \"cut\": 0}", true},
        {"repair {64.tag} {out} > /dev/full", 1, "", true},
        {"convert --form 64 {64.tag} {out} > /dev/full", 1, "", true},
        {"verify {float.tag}", 2,
         "record without a link: at 22: no link leads to the record at 22, which stands right "
         "behind the one at 0; readers of its level do not come to it (18 bytes lost)\n"},
        {"repair {float.tag} {out}", 2, "2 of 2 records, 0 of 0 points of their arrays, 0 bytes lost\nrecord without",
         true},
        {"verify {number.tag}", 0, "whole\nremark: at 22: the record at 22 is taken for the first of a level below"},
        {"ls --json {number.tag}", 0, "\"remarks\": [\n    {\"position\": 22, \"target\": 0, \"text\": "},
        {"repair --json {number.tag} {out}", 0, "\"remarks\": [\n    {\"position\": 22, ", true},
        {"repair {letter} {out}", 3, "is not a tag file"},
        {"repair {32.tag}", 1, "OUT is required"},
        {"export --csv {32.tag} 103 {out}", 0, "", true},
        {"export --csv {32.tag} {out}", 1,
         "11 records hold arrays, name one of them: 100/103 (@64), 100/104/107 (@208), "},
        {"export --ply {32.tag} 110 {out}", 1, "no points of three coordinates"},
        {"export --ply {32.tag} 102 {out}", 1, "record 100/102 at 42 holds no numbers of a type that the file tells"},
        {"export --npy {32.tag} 999 {out}", 1, "there is no record 999"},
        {"export --npy {32.tag} @65 {out}", 1, "no record stands at 65"},
        {"export --npy {32.tag} 100/ {out}", 1, "neither a path of ids"},
        {"export --npy {32.tag} 100[0]/101 {out}", 1, "neither a path of ids"},
        {"export --npy {32.tag} x {out}", 1, "neither a path of ids"},
        {"export --npy {32.tag} 100x101 {out}", 1, "neither a path of ids"},
        {"export --npy {mixed.tag} 4[x] {out}", 1, "neither a path of ids"},
        {"export --npy {mixed.tag} 4[2 {out}", 1, "neither a path of ids"},
        {"export --npy {mixed.tag} 4[2] {out}", 1, "record 4[2] at "},
        {"export --npy {32.tag} @x {out}", 1, "no record stands at x"},
        {"export --npy {32.tag} @64x {out}", 1, "no record stands at 64x"},
        {"export --npy {nested.tag} 6 {out}", 1, "4 records are 6: @0, 6[1]/6[1] (@18), 6[1]/6[2] (@36), @54"},
        {"export --ply {32.tag} {out}", 1, "5 records hold arrays, name one of them: "},
        {"export --ply {number.tag} {out}", 1, "no record holds an array that this form takes\n"},
        {"export --ply {32.tag} 113 {out}", 1, "no points of three coordinates"},
        {"export --csv {empty} {out}", 3, "is not a tag file"},
        {"ls {64.tag}", 0, " 100   64 "},
        {"dump --values 1 {32.tag}", 0, "... 4 more\n"},
        {"dump --values -1 {32.tag}", 0, "4.8 14.9 25"},
        {"dump --values -1 --json {32.tag}", 0, "[4.8, 14.9, 25"},
        {"dump --json {huge.tag}", 2, "\"values\": [\""},
        {"dump --values 1 {bytes.tag}", 0, "61 62 63 64\n"},
        {"dump --values 1 {bytes.tag}", 0, "... 2 bytes more\n"},
        {"dump --values -1 {bytes.tag}", 0, "61 62 63 64 65 1b\n"},
        {"ls {odd.tag}", 0, "2-D array of KxVec3d, 2 x 1\n"},
        {"ls {odd.tag}", 0, ", 1 element, 24 bytes left over behind it\n"},
        {"ls {odd.tag}", 0, "  no object\n"},
        {"ls {odd.tag}", 0, "matrix identity"},
        {"ls --json {graph.tag}", 0, "\"types\": []"},
        {"dump --json {bytes.tag}", 0, "\"values\": [\"61\", \"62\""},
        {"ls {odd.tag}", 0, "list \"tree\", 2 objects, "},
        {"ls {ring.tag} > /dev/full", 1, ""},
        {"repair {number.tag} {out}", 0, "remark: at 22: ", true},
        {"repair --json {behind.tag} {out}", 2, "{\"begin\": 1464, \"end\": 1472, \"text\": ", true},
        {"ls {graph.tag}", 0, "object of type unknown\n"},
        {"ls {graph.tag}", 0, "object of type 0 < "},
        {"ls {graph.tag}", 0, " < ..., address 0x1000\n"},
        {"ls {graph.tag}", 0, "scalar, refers to the object at "},
        {"export --npy {mixed.tag} 4 {out}", 1, "6 records are 4: 4[1] (@"},
        {"export --npy {within.tag} 5 {out}", 1, "2 records are 5: @0, 5/5 (@18)\n"},
        {"export --npy {within.tag} 5/6 {out}", 1, "2 records are 5/6: 5/6[1] (@36), 5/6[2] (@54)\n"},
        {"export --npy {mixed.tag} 4 {out}", 1, "), ..."},
        {"ls {32.tag}", 0, "2-D array of KxVec3f, 3 x 2\n"},
        {"ls --json --id 102 {32.tag}", 0, "\"id\": 102,"},
        {"export --npy {cut.tag} 108 {out}", 2, "hbtag repair keeps what is whole"},
        {"export --npy --csv {32.tag} 103 {out}", 1, "[--ply,--csv,--npy] is required"},
        {"export {32.tag} 103 {out}", 1, "[--ply,--csv,--npy] is required"},
        {"export --csv {letter} 103 {out}", 3, "is not a tag file"},
    };
    for (Case const& c : cases) {
        std::size_t const before = NumFiles();
        Outcome const outcome = Call(bounded + Command(c.arguments));
        EXPECT_EQ(outcome.code, c.code) << c.arguments << '\n' << outcome.output;
        EXPECT_NE(outcome.output.find(c.output), std::string::npos) << c.arguments << '\n' << outcome.output;
        EXPECT_EQ(fs::exists(folder / "out"), c.isWritten) << c.arguments;
        fs::remove(folder / "out");
        EXPECT_EQ(NumFiles(), before) << c.arguments;
        EXPECT_TRUE(Read("32.tag") == sample32 && Read("64.tag") == sample64) << c.arguments;
    }
    // A medium that is full, in the middle of the file: the former OUT stays, and nothing beside it.
    Write("out", "former");
    std::size_t const before = NumFiles();
    for (char const* arguments : {"convert --form 64 --force {32.tag} {out}", "repair --force {64.tag} {out}",
                                  "export --csv --force {32.tag} 121 {out}"}) {
        // Blocks of 512 bytes; of 0 bytes for the text, which is shorter.
        std::string const limit = std::string(arguments).starts_with("export") ? "0" : "2";
        Outcome const outcome = Call("trap '' XFSZ; ulimit -f " + limit + "; " + Command(arguments));
        EXPECT_EQ(outcome.code, 1) << arguments << '\n' << outcome.output;
        EXPECT_TRUE(Read("out") == "former" && NumFiles() == before) << arguments;
        EXPECT_TRUE(outcome.output.find("/out") != std::string::npos &&
                    outcome.output.find(".hbtmp") == std::string::npos)
            << outcome.output;
    }
}

TEST_F(HbtagFiles, ConvertThereAndBackAndRepairWhole) {
    EXPECT_EQ(Call(Command("convert --form 64 {32.tag} {a}")).code, 0);
    EXPECT_EQ(Call(Command("convert --form 32 {a} {b}")).code, 0);
    EXPECT_EQ(Call(Command("repair --force {64.tag} {a}")).code, 0);
    EXPECT_TRUE(Read("a") == sample64 && Read("b") == sample32);
    EXPECT_EQ(Call(Command("repair {cut.tag} {c}")).code, 2);
    EXPECT_EQ(Call(Command("verify {c}")).code, 0);
    if (!HasPython()) return;
    for (char const* command : {"repair --force --json {cut.tag} {c}", "convert --form 32 --force --json {64.tag} {c}",
                                "diff --json {32.tag} {cut.tag}"})
        EXPECT_EQ(Call(Command(command) + " 2>/dev/null | python3 -m json.tool > /dev/null").code, 0) << command;
}

TEST_F(HbtagFiles, ExportWhatOthersRead) {
    KxTArray<KxVec3d> points(2);
    points[0] = KxVec3d(0.1, -2, 3e10);
    points[1].Invalidate();
    {
        CFile file(KxString((folder / "gaps.tag").wstring()), CFile::modeCreate | CFile::modeReadWrite);
        KxTagArchive(&file, 0) << KxVec3dArrayTag(1, points);
        file.Close();
    }
    std::string const ply =
        "ply\nformat binary_little_endian 1.0\ncomment record 103 at 64\nelement vertex 5\n"
        "property float x\nproperty float y\nproperty float z\nend_header\n";
    std::string const gridPly =
        "ply\nformat binary_little_endian 1.0\ncomment record 116 at 844\nobj_info num_cols 3\nobj_info num_rows 2\n"
        "element vertex 6\nproperty float x\nproperty float y\nproperty float z\nend_header\n";
    std::string const intPly =
        "ply\nformat binary_little_endian 1.0\ncomment record 107 at 208\nelement vertex 3\nproperty int x\n"
        "property int y\nproperty int z\nend_header\n";
    std::string const ints = "{'descr': '<i4', 'fortran_order': False, 'shape': (3,), }";
    std::string const grid = "{'descr': '<f4', 'fortran_order': False, 'shape': (2, 3, 3), }";
    auto const npy = [](std::string const& text, std::string const& numbers) {
        return "\x93NUMPY\1\0\x76\0"s + text + std::string(117 - text.size(), ' ') + "\n" + numbers;
    };
    struct Export {
        char const* arguments;
        std::string content;
    };
    Export const exports[] = {
        {"--csv {gaps.tag} {out}", "x,y,z\n0.1,-2,3e+10\nnan,nan,nan\n"},
        {"--csv {32.tag} 100/104/107 {out}", "x,y,z\n0,10,20\n1,11,21\n2,12,22\n"},
        {"--csv {64.tag} 117 {out}", "x,y\n0,-700\n1,-701\n2,-702\n"},
        {"--csv {64.tag} 112 {out}", "value\n0\n1.5\n3\n"},
        {"--csv {64.tag} 113 {out}", "x,y,z\n1,2,3\n"},
        {"--csv {mixed.tag} 1 {out}", "x,y\n1.5,2.5\n"},
        {"--csv {mixed.tag} 2 {out}", "x,y,z\n3,4,5\n"},
        {"--csv {odd.tag} 1 {out}", "x,y,z\nnan,nan,nan\nnan,nan,nan\n"},
        {"--ply {32.tag} 107 {out}", intPly + sample32.substr(208 + 18 + 4, 36)},
        {"--npy {32.tag} 112 {out}", npy("{'descr': '<f8', 'fortran_order': False, 'shape': (3,), }",
                                         "\0\0\0\0\0\0\0\0\0\0\0\0\0\0\xf8\x3f\0\0\0\0\0\0\x08\x40"s)},
        {"--npy {32.tag} 117 {out}",
         npy("{'descr': '<i2', 'fortran_order': False, 'shape': (3, 2), }", "\0\0\x44\xfd\1\0\x43\xfd\2\0\x42\xfd"s)},
        {"--npy {mixed.tag} 2 {out}",
         npy("{'descr': '<f4', 'fortran_order': False, 'shape': (3,), }", "\0\0\x40\x40\0\0\x80\x40\0\0\xa0\x40"s)},
        {"--ply {32.tag} 116 {out}", gridPly + sample32.substr(844 + 18 + 8, 72)},
        {"--npy {64.tag} 110 {out}", npy(ints, "\7\0\0\0\6\0\0\0\5\0\0\0"s)},
        {"--npy {32.tag} 116 {out}", npy(grid, sample32.substr(844 + 18 + 8, 72))},
        {"--ply {32.tag} @64 {out}", ply + sample32.substr(64 + 18 + 4, 60)},
    };
    for (Export const& e : exports) {
        Outcome const outcome = Call(Command("export --force "s + e.arguments));
        EXPECT_EQ(outcome.code, 0) << e.arguments << outcome.output;
        EXPECT_EQ(Read("out"), e.content) << e.arguments;
    }
    // The application reads them, and finds the same points: the plane through (0.3, 10.4, 20.5) and so on.
    ASSERT_EQ(Call(Command("export --ply {32.tag} 108 {points.ply}")).code, 0);
    ASSERT_EQ(Call(Command("export --ply {gaps.tag} {gaps.ply}")).code, 0);
    Outcome const read = Call("./scanlab --out " + Path("folder") + " do 'Import " + (folder / "points.ply").string() +
                              ";' 'Import " + (folder / "gaps.ply").string() + ";' 'List;'");
    EXPECT_EQ(read.code, 0) << read.output;
    EXPECT_NE(read.output.find("4 "), std::string::npos) << read.output;
}

TEST_F(HbtagFiles, DiffByLevelsAndIds) {
    std::string moved = sample32;
    moved[64 + 18 + 4 + 12 * 2] ^= 1;      // the third point of record 103
    moved[64 + 18 + 4 + 12 * 4 + 5] ^= 1;  // the fifth
    moved[42 + 18] = 43;                   // record 102
    moved.back() = 'x';                    // the end of the text 130: no text any more
    Write("moved.tag", moved);
    std::string tree = sample32;
    tree[1322 - 4] = 6;  // the number in the list
    Write("tree.tag", tree);
    std::string other = sample32, headed;
    other[42 + 4] = 101;                              // the version of record 102
    std::swap(other[844 + 18], other[844 + 18 + 4]);  // width and height of record 116
    Write("other.tag", other);
    {
        CMemFile file;
        WriteSample(file, 512);
        std::vector<BYTE> const bytes = BytesOf(file);
        headed.assign(bytes.begin(), bytes.end());
    }
    headed.replace(0, 6, "II\x64\0\0\2"s);
    Write("headed.tag", headed);
    headed[100] = 1;
    Write("headed2.tag", headed);
    Write("less.tag", "\x64\0\0\0\x64\0\0\0\0\0\x12\0\0\0\x12\0\0\0\x65\0\0\0\x64\0\2\0\0\0\x24\0\0\0\0\0\0\0\7\0"s);
    std::string const longest =
        "\"" + std::string(200, 'x') + "...\" instead of \"" + std::string(200, 'y') + "...\"\n";
    Case const cases[] = {
        {"{32.tag} {64.tag}", 0, ""},
        {"{32.tag} {link.tag}", 0, ""},
        {"{32.tag} {moved.tag}", 1, "changed 100/102: int 43, float 6e-44 instead of int 42, float 5.9e-44\n"},
        {"{32.tag} {moved.tag}", 1,
         "changed 100/103: 2 of 5 elements differ, the first is 2: 2.5499997 12.65 22.75 instead of 2.55 12.65 "
         "22.75\n"},
        {"{32.tag} {moved.tag}", 1, "changed 130: bytes instead of text\n"},
        {"--json {64.tag} {moved.tag}", 1,
         "\"path\": \"100/103\", \"a\": 100, \"b\": 64, \"first\": 2, \"differing\": 2, \"counts\": [5, 5]"},
        {"{32.tag} {other.tag}", 1, "changed 100/102: version 101 instead of 100\n"},
        {"{32.tag} {other.tag}", 1, "changed 116: 2 x 3 points instead of 3 x 2\n"},
        {"{mixed.tag} {longer.tag}", 1, "changed 3: 0 of 2 elements differ; 3 elements instead of 2\n"},
        {"{32.tag} {headed.tag}", 1, "added header\n"},
        {"{headed.tag} {32.tag}", 1, "removed header\n"},
        {"{headed.tag} {headed2.tag}", 1, "changed header: first at byte 100\n"},
        {"{32.tag} {tree.tag}", 1, "changed 120: object 2: n: int 6"},
        {"{32.tag} {less.tag}", 1, "removed 208001: object of a graph, with 3 records within\n"},
        {"{less.tag} {32.tag}", 1, "added 100/101: text\nadded 100/102: scalar\n"},
        {"--json {32.tag} {64.tag}", 0, "\"differences\": []"},
        {"--json {less.tag} {32.tag}", 1, "\"change\": \"added\", \"path\": \"100/101\", \"b\": "},
        {"{odd.tag} {odd2.tag}", 1, longest.c_str()},
        {"{odd.tag} {odd2.tag}", 1, "changed 6: object 1: tree: list of 2"},
        {"{odd.tag} {odd2.tag}", 1, "changed 7: scalar instead of scalar, 4 bytes instead of 8\n"},
        {"{bytes.tag} {bytes2.tag}", 1, "changed 1: 1 of 6 bytes differ, the first is 4: 78 instead of 65\n"},
        {"--bogus {32.tag} {64.tag}", 2, "bogus"},
        {"{32.tag} {cut.tag}", 2, "is damaged; what of it is whole is compared\n"},
        {"{deep.tag} {deep.tag}", 2, "is damaged; what of it is whole is compared\n"},
        {"{32.tag} {letter}", 2, "is not a tag file"},
        {"{32.tag} {missing}", 2, "wurde nicht gefunden"},
        {"{32.tag}", 2, "B is required"},
        {"{32.tag} {64.tag} > /dev/full", 0, ""},
        {"{32.tag} {less.tag} > /dev/full", 2, ""},
    };
    for (Case const& c : cases) {
        Outcome const outcome = Call(Command("diff "s + c.arguments));
        EXPECT_EQ(outcome.code, c.code) << c.arguments << '\n' << outcome.output;
        EXPECT_NE(outcome.output.find(c.output), std::string::npos) << c.arguments << '\n' << outcome.output;
        EXPECT_TRUE(c.code != 0 || *c.output || outcome.output.empty()) << c.arguments << outcome.output;
    }
}
