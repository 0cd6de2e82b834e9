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

    /// The same with other arguments; %1, %2 and so on are files with these contents.
    int Run(std::string command, std::vector<std::string> const& contents) {
        for (std::size_t i = 0; i < contents.size(); ++i) {
            std::string const name = std::to_string(i + 1);
            Put(name, contents[i]);
            command.replace(command.find('%' + name), 1 + name.size(), File(name).string());
        }
        int const status =
            std::system((HBTOOLS_BINARY_DIR "/bin/hbres " + command + " 2> " + File("errors").string()).c_str());
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

TEST_F(StringTables, TranslationsAreChecked) {
    std::string const base = "1 \"%s: %d\"\n\n2 \"a\"\n3 \"Import\"  #fix \n";
    struct {
        char const *options, *pack;
        int code;
        std::string message;  // the place of the pack, #, is put in front; none: nothing is said
    } const cases[] = {
        {"", "1 \"%2$d, %1$s\"\n2 \"b\"\n", 0, ""},
        {"--strict", "2 \"b\"\n1 \"%s %u\"\n3 \"Import\"\n", 0, ""},
        {"", "1 \"%s: %d\"\n", 0, ": warning: id 2 is missing, see @:3"},
        {"--strict", "1 \"%s: %d\"\n", 1, ": error: id 2 is missing, see @:3"},
        {"", "2 \"b\"\n\n1 \"%d: %s\"", 1,
         ":3: error: id 1 takes other arguments: \"%d, %s\" instead of \"%s, %d\" in @:1"},
        {"", "1 \"%s: %d\"\n2 \"b\"\n9 \"c\"", 1, ":3: error: id 9 is surplus: there is none in @"},
        {"", "1 \"%s: %d\"\n2 \"b\"\n3 \"Einlesen\"", 1, ":3: error: id 3 must be the same in every language, see @:4"},
        {"", "1 \"%s: %d", 1, ":1: error: missing closing quote"},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(Run(std::string("--check ") + c.options + " %1 %2", {base, c.pack}), c.code) << c.pack << m_errors;
        std::string expected = c.message.empty() ? "" : File("2").string() + c.message + "\n";
        if (std::size_t const at = expected.find('@'); at != expected.npos) expected.replace(at, 1, File("1").string());
        EXPECT_EQ(m_errors, expected);
    }
    EXPECT_EQ(Run("--pack EN %1 %2", {base, ""}), 1);
    EXPECT_EQ(Run("--pack ENU %1 %2", {"1 \"a\"\n2 \"" + std::string((1 << 20) + 1, 'x') + "\"\n", ""}), 1);
    EXPECT_EQ(m_errors, File("1").string() + ":2: error: id 2 has more than 1048576 bytes, which no program loads\n");
    EXPECT_EQ(Run("--pack ENU %1 %2", {base, ""}), 0);
    EXPECT_NE(Get("2").find("\".byte 104,98,84,101,120,116,115,0,1,0,0,0,3,0,0,0,64,0,0,0,69,78,85,0,1,0,0,0,48,0,0,0"),
              std::string::npos)
        << Get("2");
    EXPECT_EQ(Run("--pseudo %1 %2", {base, ""}), 0);
    EXPECT_NE(Get("2").find("\n1 \"[%s: %d~]\"\n2 \"[\xC3\xA1~]\"\n3 \"Import\"  # fix\n"), std::string::npos)
        << Get("2");
    for (auto [settings, message] : {std::pair{"FileVersion=1.2 Language=407", "no such setting: Language=407"},
                                     {"FileVersion=1.2.3.4.5", "FileVersion is no version of up to four numbers"},
                                     {"FileVersion=1 ProductVersion=x", "ProductVersion is no version"},
                                     {"FileVersion=1 CompanyName=\xE4", "a text is no UTF-8"}}) {
        EXPECT_EQ(Run(std::string("--version %1 ") + settings, {"former"}), 1);
        EXPECT_TRUE(m_errors.starts_with(File("1").string() + ": error: " + message)) << m_errors;
        EXPECT_EQ(Get("1"), "former");
    }
    EXPECT_EQ(Run("--check %1", {base}), 1);
    EXPECT_TRUE(m_errors.starts_with("usage: "));
}

}  // namespace
