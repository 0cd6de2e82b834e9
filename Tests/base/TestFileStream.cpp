// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syFileStream.h"

#include "Support.h"

#include <sys/stat.h>

namespace {

using namespace KxN;
using namespace std::string_literals;
using test::U;

class FileStream : public test::TempFolder {};

TEST_F(FileStream, TextIsUtf8InEveryLocale) {
    struct Dots : std::numpunct<wchar_t> {
        wchar_t do_decimal_point() const override { return L','; }
        std::string do_grouping() const override { return "\3"; }
    };
    std::locale const former = std::locale::global(std::locale(std::locale::classic(), new Dots));
    {
        KxoFileStream out(Path("text"), KxFileModeOut);
        out.Proof(ProofOpen);
        out << L"Größe " << 12.5 << L' ' << 1234567 << L' ' << KxString(L"\U0001F600€") << std::endl;
        out.Proof(ProofWrite);
    }
    EXPECT_EQ(Get("text"), "Größe 12.5 1234567 \xF0\x9F\x98\x80\xE2\x82\xAC\n");
    KxiFileStream in(Path("text"));
    in.Proof(ProofOpen);
    KxString word, rest;
    double number = 0;
    in >> word >> number;
    EXPECT_TRUE(KxxGetLine(in, rest));
    in.Proof(ProofRead);
    EXPECT_EQ(U(word) + "|" + U(rest), "Größe| 1234567 \xF0\x9F\x98\x80\xE2\x82\xAC");
    EXPECT_EQ(number, 12.5);
    EXPECT_FALSE(KxxGetLine(in, rest));
    EXPECT_TRUE(in.eof());
    std::locale::global(former);
}

TEST_F(FileStream, InputTakesTheEncodingOfTheFile) {
    std::string const filler(16 * 1024 - 1, 'x');  // so that characters lie across the pieces that are read
    std::wstring const wide(filler.begin(), filler.end());
    std::string utf16 = "\xFF\xFE", big = "\xFE\xFF";
    for (char c : filler) utf16 += {c, '\0'};
    for (char c : filler.substr(8 * 1024)) big += {'\0', c};
    struct {
        std::string bytes;
        std::wstring text;
    } const cases[] = {
        {"", L""},
        {"\xEF\xBB\xBFä", L"ä"},
        {"\xE4", L"ä"},
        {"\xC3", L"Ã"},
        {filler + "ä€\U0001F600", wide + L"ä€\U0001F600"},
        {filler + "x" + filler + "\xE4ä", wide + L"x" + wide + L"äÃ¤"},
        {filler + "\xEF\xBB\xBF\xE4", wide + L"ï»¿ä"},
        {filler.substr(1) + "\U0001F600x", wide.substr(1) + L"\U0001F600x"},
        {filler.substr(3) + "\U0001F600x", wide.substr(3) + L"\U0001F600x"},
        {utf16 + "\x3D\xD8\x00\xDE"s, wide + L"\U0001F600"},
        {big + "\xD8\x3D\xDE\x00"s, wide.substr(8 * 1024) + L"\U0001F600"},
        {big + "\xFF\x01\0y"s, wide.substr(8 * 1024) + L"\uFF01y"},
        {"\xFE\xFF\x00\xE4\x0D"s, L"ä"},
        {"\xFF\xFEx", L""},
        {"a\r\nb\rc\0d"s, L"a\r\nb\rc\0d"s},
    };
    for (auto const& c : cases) {
        Put("in", c.bytes);
        KxiFileStream in(Path("in"));
        std::wstring const text(std::istreambuf_iterator<wchar_t>(in), {});
        EXPECT_TRUE(text == c.text) << c.bytes.size();
        in.clear();
        in.seekg(0);
        EXPECT_TRUE(std::wstring(std::istreambuf_iterator<wchar_t>(in), {}) == c.text) << c.bytes.size();
    }
}

TEST_F(FileStream, OpenModes) {
    struct {
        int mode;
        std::string before, after;
    } const cases[] = {
        {2, "12345", "x"},     {16, "12345", "x"},     {18, "12345", "x"},     {50, "12345", "x"},
        {34, "12345", "x"},    {6, "12345", "12345x"}, {8, "12345", "12345x"}, {10, "12345", "12345x"},
        {3, "12345", "x2345"}, {26, "12345", "x"},
    };
    for (auto const& c : cases) {
        Put("f", c.before);
        KxoFileStream out(Path("f"), c.mode);
        out << L"x";
        out.Proof(ProofWrite);
        EXPECT_EQ(Get("f"), c.after) << c.mode;
        out.open(Path("f"), 16);  // again, and emptied
        EXPECT_EQ(Get("f"), "") << c.mode;
    }
}

TEST_F(FileStream, BytesGoAsTheyAre) {
    std::string all;
    for (int i = 0; i < 40000; ++i) all += static_cast<char>(i * 7);
    {
        KxoFileStream out(Path("b"), 50);
        out << L'\xFF' << L'\x80';
        out.WriteBytes(all.data(), all.size());
        out.put(L'\n');
        out.Proof(ProofWrite);
        EXPECT_EQ(static_cast<long>(out.tellp()), 40003);
        out.seekp(1);
        out.put(L'\x81');
        out.close();
        EXPECT_TRUE(out.good());
    }
    std::string const written = Get("b");
    EXPECT_TRUE(written == "\xFF\x81" + all + "\n");
    KxiFileStream characters(Path("b"), 33);
    std::wstring const read(std::istreambuf_iterator<wchar_t>(characters), {});
    EXPECT_TRUE(std::equal(read.begin(), read.end(), written.begin(), written.end(),
                           [](wchar_t c, char byte) { return c == static_cast<unsigned char>(byte); }));
    KxiFileStream in(Path("b"), 33);
    EXPECT_EQ(in.get(), 0xFF);
    EXPECT_EQ(in.peek(), 0x81);
    EXPECT_EQ(static_cast<long>(in.tellg()), 1);
    in.seekg(2);
    std::string bytes(all.size(), '\0');
    EXPECT_EQ(in.ReadBytes(bytes.data(), bytes.size()), all.size());
    EXPECT_TRUE(bytes == all);
    in.Proof(ProofRead);
    EXPECT_EQ(in.ReadBytes(bytes.data(), 6), 1u);
    test::Thrown<KxFileException>([&] { in.Proof(ProofRead); });
    in.clear();
    in.seekg(-1, std::ios_base::end);
    EXPECT_EQ(in.get(), L'\n');
    in.seekg(0);
    EXPECT_EQ(in.get(), 0xFF);
    in.seekg(2, std::ios_base::cur);  // from what was taken, not from what was read ahead
    EXPECT_EQ(in.get(), static_cast<unsigned char>(all[1]));
    EXPECT_EQ(in.ReadBytes(bytes.data(), 3), 3u);
    EXPECT_EQ(bytes.substr(0, 3), all.substr(2, 3));
    EXPECT_TRUE(in.seekg(-1).fail());
    EXPECT_EQ(in.ReadBytes(bytes.data(), 3), 0u);
    void (*const works[])(KxoFileStream&) = {[](KxoFileStream& out) { out.Proof(ProofWrite); },
                                             [](KxoFileStream& out) { out.WriteBytes("x", 1), out.WriteBytes("x", 1); },
                                             [](KxoFileStream& out) { out.seekp(0); }};
    for (auto const& work : works)
        for (wchar_t const* noBytes : {L"€€", L"\x80000000"}) {
            KxoFileStream out(Path("b"), 50);
            out << noBytes;
            test::Thrown<KxFileException>([&] { work(out), out.Proof(ProofWrite); });
        }
}

TEST_F(FileStream, TheFirstFailureStays) {
    KxFileBuffer in(KxFileBuffer::Input), out(KxFileBuffer::Output);
    Put("f", "text");
    char byte = 0;
    bool isTorn = true;
    for (bool const isOpen : {false, true}) {
        if (isOpen) {
            ASSERT_TRUE(in.Open(Path("f"), KxFileModeIn) && out.Open(Path("out"), KxFileModeOut));
            EXPECT_EQ(in.pubseekoff(1, std::ios_base::beg),
                      std::streampos(-1));  // of a text there is but the beginning
        }
        EXPECT_EQ(in.ReadBytes(&byte, 1) + out.ReadBytes(&byte, 1), 0u);
        EXPECT_TRUE(!in.WriteBytes("x", 1) && !in.WriteWhole("x", 1, isTorn) && !isTorn);
        EXPECT_EQ(out.WriteBytes("x", 1) + out.WriteWhole("x", 1, isTorn), isOpen ? 2 : 0);
        EXPECT_EQ(in.GetError() * 1000 + out.GetError(), EBADF * 1001);
        EXPECT_EQ(in.pubsync() + out.pubsync(), 0);
        EXPECT_EQ(in.sgetc(), isOpen ? std::wint_t{L't'} : WEOF);
        EXPECT_EQ(out.sgetc(), WEOF);
        EXPECT_EQ(out.pubseekoff(0, std::ios_base::beg), std::streampos(isOpen ? 0 : -1));
    }
    EXPECT_TRUE(out.IsOpen() && out.Close());
    EXPECT_FALSE(out.IsOpen() || out.Close());
    ASSERT_TRUE(out.Open(Path("out"), KxFileModeOut | KxFileModeBinary));
    out.sputc(L'€');
    EXPECT_FALSE(out.WriteWhole("x", 1, isTorn));
    EXPECT_EQ(out.GetError(), EILSEQ);
    test::SizeLimit const limit(10);
    out.ForgetError();
    EXPECT_FALSE(out.WriteBytes("0123456789abc", 13));
    EXPECT_FALSE(in.WriteBytes("x", 1));
    EXPECT_EQ(out.GetError() * 1000 + in.GetError(), EFBIG * 1000 + EBADF);
    KxoFileStream closed(Path("f"), KxFileModeOut | KxFileModeAppend);
    closed.close();
    closed.Proof(ProofWrite);
    closed.setstate(std::ios_base::failbit);
    EXPECT_NE(test::Thrown<KxFileException>([&] { closed.Proof(ProofWrite); }), "");
    for (int const mode : {1, 33})
        for (bool const takesBytes : {false, true}) {  // a file whose first bytes nobody can read
            KxiFileStream memory(L"/proc/self/mem", mode);
            if (!takesBytes) {
                EXPECT_EQ(memory.get(), WEOF);
            }
            EXPECT_EQ(memory.ReadBytes(&byte, 1), 0u);
            test::Thrown<KxFileException>([&] { memory.Proof(ProofRead); });
        }
}

TEST_F(FileStream, FailuresNameTheFile) {
    ASSERT_EQ(::mkfifo(File("pipe").c_str(), 0600), 0);
    for (std::string const name : {"no", "pipe", ".", "missing/x"}) {
        auto const says = [&](auto call) { return test::Thrown<KxFileException>(call).find("/" + name) != name.npos; };
        EXPECT_TRUE(says([&] { KxiFileStream(Path(name)).Proof(ProofOpen); })) << name;
        EXPECT_EQ(std::filesystem::exists(File(name)), name == "pipe" || name == ".");
        if (name == "no") continue;
        EXPECT_TRUE(says([&] { KxoFileStream(Path(name)).Proof(ProofOpen); })) << name;
    }
    test::SizeLimit const limit(100);
    for (bool const closes : {false, true}) {
        KxoFileStream full(Path("full"));
        full << KxString(std::wstring(200, L'x'));
        if (closes) full.close();
        test::Thrown<KxFileException>([&] { full.Proof(ProofWrite); });
    }
}

}  // namespace
