// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What hbtag makes of property trees, object graphs and persistent streams: text, JSON and the page.
#include "Programs.h"

#include "../persistence/FormatExamples.h"

#include "hbtools/properties/syPropertyList.h"

namespace {

using namespace std::string_literals;

std::string Bytes(std::string const& hex) {
    std::vector<KxN::BYTE> const bytes = KxN::FromHex(hex);
    return {bytes.begin(), bytes.end()};
}

// Sanitizers need an address space of their own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
std::string const bounded;
#else
std::string const bounded = "ulimit -v 400000; ";  // KiB
#endif

/// The examples of the page: a list with one number, and an object of a graph.
std::string Example(std::size_t index) {
    std::vector<std::string> const examples = KxN::Examples("objects.md");
    return index < examples.size() ? Bytes(examples[index]) : "";
}

/// The list as record 300, of 164 bytes, and a scalar behind it.
std::string ListFile() {
    return Bytes("2C010000 6400 00000000 12000000 B6000000") + Example(0) +
           Bytes("07000000 6400 02000000 C8000000 00000000 0500");
}

/// Any image, as the one record of a file.
std::string RecordOf(std::string const& image) {
    return Bytes("2C010000 6400 00000000 12000000 00000000") + image;
}

std::string Listed(std::string const& bytes, std::string const& part, std::string const& by) {
    std::string changed = bytes;
    return changed.replace(changed.find(part), part.size(), by);
}

TEST_F(Programs, HbtagListsObjects) {
    std::string const list = Example(0), probe = "\0\0\0\0\x10"s + "class Lab::Probe" + "\3\0"s + "12345";
    std::string const count = list.substr(0, 0x4a) + "\xff\xff\xff\xff"s + list.substr(0x4e);
    Write("list.tag", ListFile());
    Write("probe.tag", RecordOf(probe));
    Write("hostile.tag", RecordOf(Listed(list, "l\0\xff\xfe\xff\0"s, "\x1b\0\xff\xfe\xff\0"s)));
    Write("count.tag", RecordOf(count));
    Write("graph.tag", Example(1));
    // The object refers to itself; and has no address.
    Write("self.tag", Listed(Example(1), "\0\x20\0\0\0\0\0\0"s, "\0\x10\0\0\0\0\0\0"s));
    Write("lost.tag", Listed(Example(1), "\x83\x2c\3\0"s, "\x84\x2c\3\0"s));
    Write("stream", list + probe);
    Write("cut", list.substr(0, 100));
    {
        using namespace KxN;
        KxPropertyList tree(L"tree", L"", 0);
        KxTBuf1D<short> numbers(12);
        for (unsigned i = 0; i < 12; ++i) numbers[i] = static_cast<short>(i);
        tree.Insert(new KxTBuf1DProperty<short>(L"buffer", L"", numbers, 0));
        CFile file(KxString((folder / "twice").wstring()), CFile::modeCreate | CFile::modeReadWrite);
        CArchive archive(&file, CArchive::store);
        KxPersistentObject::SupportCyclicReferences(1);
        tree.Store(archive);
        tree.Store(archive);
        KxPersistentObject::SupportCyclicReferences(0);
        KxPersistentObject::InitializeReferenceMap();
    }
    // A tree with a hidden property, an empty list, one without a name, and texts and buffers of any length.
    auto const store = [&](char const* name, std::initializer_list<KxN::KxProperty*> properties) {
        KxN::CFile file(KxN::KxString((folder / name).wstring()), KxN::CFile::modeCreate | KxN::CFile::modeReadWrite);
        KxN::CArchive archive(&file, KxN::CArchive::store);
        for (KxN::KxProperty* const property : properties) property->Store(archive);
    };
    {
        using namespace KxN;
        KxPropertyList tree(L"", L"", 0), many(L"many", L"", 0);
        tree.Insert(new KxTProperty<int>(L"a&b>c", L"", 1, KxProperty::hiddenBit));
        KxPropertyList* inner = &tree;
        for (int i = 0; i < 250; ++i) {
            inner->Insert(new KxPropertyList(L"in", L"", 0));
            inner = inner->GetProperty(L"in")->GetList();
        }
        tree.Insert(new KxStringProperty(L"text", L"", KxString(std::wstring(5000, L'x')), 0));
        for (int i = 0; i < 50002; ++i) many.Insert(new KxTProperty<int>(KxxFormat(L"n%d", i), L"", i, 0));
        KxTBuf1DProperty<short> none(L"none", L"", KxTBuf1D<short>(), 0);
        store("tree", {&tree});
        store("many", {&many, &none});
        store("none", {&none});
    }
    Write("x<y.tag", RecordOf(list));
    Write("probe1.tag", RecordOf(probe.substr(0, probe.size() - 4)));
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += list.substr(0, 0x4e);
    Write("deep.tag", RecordOf(deep));
    struct Case {
        std::string arguments;
        int code;
        char const* output;  // part of it
    };
    std::string const below = "l: list of 1, group 3\n" + std::string(66, ' ') + "n: int -2, ";
    Case const cases[] = {
        {"dump " + Path("list.tag"), 0, below.c_str()},
        {"ls " + Path("list.tag"), 0, "  list \"l\", 2 objects\n"},
        {"dump " + Path("list.tag"), 0, " n: int -2, shown as \"%d\"\n"},
        {"verify " + Path("list.tag"), 0, "2 records, whole\n"},
        {"dump " + Path("probe.tag"), 0, "Lab::Probe, version 3: 5 bytes that only this class can read"},
        {"dump " + Path("hostile.tag"), 0, "\\x1b: list of 1"},
        {"dump " + Path("count.tag"), 2, "impossible count at 92: the list at 18 promises 4294967295 properties"},
        {"verify " + Path("count.tag"), 2, "impossible count: at 0: the record at 0: "},
        {"verify " + Path("deep.tag"), 2, "deeper than 4096 levels"},
        {"dump " + Path("deep.tag"), 2, "(level 4095) l: list of 1"},
        {"dump " + Path("graph.tag"), 0, "  object of type 10 < 20, address 0x1000\n"},
        {"ls " + Path("self.tag"), 0, "  scalar, refers to the object at 0\n"},
        {"verify " + Path("lost.tag"), 2, "refused object: at 0: the object in the record at 0 has no address"},
        {"dump " + Path("stream"), 0, "no records but a stream of 3 objects, whole\n"},
        {"dump " + Path("stream"), 0, "         164  Lab::Probe\n"},
        {"dump " + Path("twice"), 0, "reference to object 1\n"},
        {"dump " + Path("twice"), 0, "buffer: short[12] 0 1 2 3"},
        {"dump --values 2 " + Path("twice"), 0, "buffer: short[12] 0 1 ... 10 more"},
        {"dump --values -1 " + Path("twice"), 0, "buffer: short[12] 0 1 2 3 4 5 6 7 8 9 10 11, object 2\n"},
        {"dump --values -1 --json " + Path("twice"), 0, "8, 9, 10, 11]"},
        {"dump --values 0 " + Path("twice"), 0, "buffer: short[12] ... 12 more"},
        {"dump " + Path("tree"), 0, "a&b>c: int 1, hidden\n"},
        {"dump " + Path("tree"), 0, "xxx... 904 characters more\""},
        {"dump " + Path("probe1.tag"), 0, "Lab::Probe, version 3: 1 byte that only"},
        {"dump --values -1 " + Path("tree"), 0, "xxx\"\n"},
        {"ls " + Path("none"), 0, "           0  short[] \"none\"\n"},
        {"tree --html " + Path("tree"), 0, "a&amp;b&gt;c: "},
        {"tree --html " + Path("tree"), 0, "(no name): "},
        {"tree --html " + Path("tree"), 0, "level 250: "},
        {"tree --html " + Path("many"), 0, "<div class=\"leaf small\">... 3 objects more</div>"},
        {"tree --html " + Path("many"), 0, "<div class=\"small\">1 more trees of objects are left out</div>"},
        {"tree --html " + Path("count.tag"), 2, "<div class=\"fault\">impossible count at 92"},
        {"tree --html " + Path("x<y.tag"), 0, "x\\u003cy.tag"},
        {"verify " + Path("cut"), 2,
         "a stream of 1 object, damaged\nshort payload: at 82: a class name at 82 promises"},
    };
    for (Case const& c : cases) {
        Outcome const outcome = Call(bounded + "./hbtag " + c.arguments);
        EXPECT_EQ(outcome.code, c.code) << c.arguments << '\n' << outcome.output.substr(0, 2000);
        EXPECT_NE(outcome.output.find(c.output), std::string::npos) << c.arguments << " lacks " << c.output << '\n'
                                                                    << outcome.output.substr(0, 2000);
        EXPECT_EQ(outcome.output.find('\x1b'), std::string::npos) << c.arguments;
    }
    for (std::size_t length = 1; length < ListFile().size(); length += 9) {
        Write("cut.tag", ListFile().substr(0, length));
        EXPECT_EQ(Call("./hbtag dump " + Path("cut.tag")).code, 2) << length;
    }
    if (!HasPython()) return;
    auto const json = [&](char const* file, std::string const& expression) {
        return Call("./hbtag dump --json " + Path(file) +
                    " | python3 -c 'import json, sys; f = json.load(sys.stdin); " + "print(" + expression + ")'")
            .output;
    };
    EXPECT_EQ(json("list.tag",
                   "[[o[k] for k in (\"depth\", \"class\", \"name\", \"group\")] "
                   "for o in f[\"records\"][0][\"objects\"]], f[\"records\"][0][\"objects\"][1][\"value\"]"),
              "[[0, 'class KxN::KxPropertyList', 'l', 3], [1, 'class KxN::KxTProperty<int>', 'n', 0]] -2\n");
    EXPECT_EQ(json("self.tag",
                   "f[\"records\"][0][\"types\"], f[\"records\"][0][\"objectAddress\"], "
                   "f[\"records\"][-1][\"refersTo\"]"),
              "[10, 20] 0x1000 0\n");
    EXPECT_EQ(json("stream", "len(f[\"images\"]), f[\"images\"][1][0][\"remaining\"]"), "2 5\n");
    EXPECT_EQ(json("count.tag", "f[\"faults\"][0][\"target\"]"), "92\n");
    EXPECT_EQ(json("deep.tag", "len(f[\"records\"][0][\"objects\"])"), "4096\n");
}

TEST_F(Programs, HbtagPageFoldsPropertiesWithAndWithoutAScript) {
    std::string const list = Example(0);
    Write("list.tag", RecordOf(Listed(list, "l\0\xff\xfe\xff\0"s, "<\0\xff\xfe\xff\0"s)));
    Write("stream", list);
    std::string const page = (folder / "page.html").string(), tree = "<details open><summary><span class=\"id\">";
    std::string const leaf = "<div class=\"leaf\"><span class=\"id\">n: </span><span class=\"kind\">int -2</span>";
    bool const hasBrowser = HasBrowser();
    for (auto const& [file, title] : {std::pair{"list.tag", "&lt;: "}, std::pair{"stream", "l: "}}) {
        ASSERT_EQ(Call("./hbtag tree --html " + Path(file) + " > '" + page + "'").code, 0);
        std::ifstream in(page, std::ios::binary);
        std::string const text(std::istreambuf_iterator<char>(in), {});
        EXPECT_NE(text.find(tree + title), std::string::npos);
        EXPECT_NE(text.find(leaf), std::string::npos);
        if (!hasBrowser) continue;
        for (bool const hasScript : {true, false}) {
            if (!hasScript) Write("page.html", text.substr(0, text.rfind("<script>")));
            std::string const dom = InBrowser(page);
            std::size_t const begin = dom.find(Listed(tree, " open", " open=\"\"") + title),
                              record = dom.find(">300</span>");
            EXPECT_LT(begin, dom.find(leaf)) << dom.substr(0, 4000);
            EXPECT_NE(dom.find(leaf), std::string::npos);
            // The script puts the tree of a record below it.
            EXPECT_EQ(dom.find("<td>whole</td>") != std::string::npos, hasScript);
            EXPECT_EQ(record < begin, hasScript && file == "list.tag"s);
        }
    }
    if (!hasBrowser) GTEST_SKIP() << "no chromium here";
}

}  // namespace
