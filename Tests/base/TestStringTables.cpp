// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The compiler of string resources, run as the build runs it.
#include "Support.h"

#include <sys/wait.h>

namespace {

class StringTables : public test::TempFolder {
protected:
    /// Exit code of hbres; what it said is in m_errors.
    int Compile(std::string const& bytes, std::string const& symbol = "g_texts") {
        Put("in", bytes);
        std::string const command = HBTOOLS_BINARY_DIR "/bin/hbres " + File("in").string() + ' ' + symbol + ' ' +
                                    File("out.cpp").string() + " 2> " + File("errors").string();
        int const status = std::system(command.c_str());
        m_errors = Get("errors");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::string m_errors;
};

TEST_F(StringTables, OrderedTextsWithEscapes) {
    ASSERT_EQ(Compile("\xEF\xBB\xBF# comment\r\n\n ; comment\n 300 \"b\\n\\t\\r\\\"\\\\?\"\r\n7\"\xC3\xA4 # ;\" # "
                      "comment\n65535 \"\""),
              0)
        << m_errors;
    std::string const source = Get("out.cpp");
    std::size_t const first = source.find("{7, \"\\303\\244 # ;\"},\n");
    std::size_t const second = source.find("{300, \"b\\012\\011\\015\\042\\134\\077\"},\n");
    std::size_t const third = source.find("{65535, \"\"},\n");
    EXPECT_TRUE(first < second && second < third && third != std::string::npos) << source;
    EXPECT_NE(source.find("KxN::SxStringResource const g_texts[] ="), std::string::npos);
    EXPECT_NE(source.find("std::size_t const g_textsCount = 3;"), std::string::npos);
    EXPECT_EQ(Compile(""), 0);
    EXPECT_NE(Get("out.cpp").find("g_textsCount = 0;"), std::string::npos);
}

TEST_F(StringTables, MistakesAreNamedWithTheirLines) {
    struct {
        std::string bytes;
        int line;
        std::string message;
    } const cases[] = {
        {"1 \"a\"\n1 \"b\"\n", 2, "id 1 was given in line 1 already"},
        {"0 \"a\"", 1, "id 0 is not from 1 to 65535"},
        {"\n65536 \"a\"", 2, "id 65536 is not from 1 to 65535"},
        {"99999999999999999999 \"a\"", 1, "is not from 1 to 65535"},
        {"-1 \"a\"", 1, "expected an id"},
        {"1x \"a\"", 1, "expected an id"},
        {"1", 1, "expected a text in double quotes"},
        {"1 a", 1, "expected a text in double quotes"},
        {"1 \"a", 1, "missing closing quote"},
        {"1 \"a\\", 1, "missing closing quote"},
        {"1 \"a\\x\"", 1, "unknown escape \\x"},
        {"1 \"a\" b", 1, "unexpected characters"},
        {"1 \"\xE4\"", 1, "invalid UTF-8"},
        {"1 \"\xED\xA0\x80\"", 1, "invalid UTF-8"},
        {std::string("1 \"\0\"", 5), 1, "invalid UTF-8"},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(Compile(c.bytes), 1) << c.bytes;
        std::string const expected = File("in").string() + ':' + std::to_string(c.line) + ": error: ";
        EXPECT_TRUE(m_errors.starts_with(expected)) << m_errors;
        EXPECT_NE(m_errors.find(c.message), std::string::npos) << m_errors;
    }
    EXPECT_FALSE(std::filesystem::exists(File("out.cpp")));
    EXPECT_EQ(Compile("1 \"a\"", "7up"), 1);
    EXPECT_EQ(CountFiles(), 2u);
}

}  // namespace
