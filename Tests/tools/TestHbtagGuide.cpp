// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the page of hbtag shows is what the program prints: the session, and the keys of its JSON.
#include "Programs.h"

#include <hbtools/base/syArchive.h>
#include <hbtools/persistence/syGeometryTags.h>
#include <hbtools/persistence/syTagArchive.h>
#include <hbtools/properties/syPropertyList.h>

#include <map>
#include <set>
#include <sstream>

namespace {

using namespace KxN;
using namespace std::string_literals;
using Keys = std::set<std::string>;

/// The first cells of the tables, by the headings above them.
std::map<std::string, Keys> Tables(std::string const& path) {
    std::map<std::string, Keys> tables;
    std::ifstream page(path);
    std::string heading;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with('#')) heading = line;
        if (line.starts_with("| `")) tables[heading].insert(line.substr(3, line.find('`', 3) - 3));
    }
    return tables;
}

constexpr char const* keysProgram = R"(
import json, sys
keys = set()
def walk(value, path):
    for key, inner in value.items() if isinstance(value, dict) else ():
        keys.add(path + key)
        walk(inner, path + key + ".")
    for inner in value if isinstance(value, list) else ():
        walk(inner, path[:-1] + "[].")
text = sys.stdin.read().strip()
while text:
    value, end = json.JSONDecoder().raw_decode(text)
    walk(value, "")
    text = text[end:].strip()
# The images of a stream have the keys of objects in records.
print("\n".join(key.replace("images[][]", "records[].objects[]") for key in keys))
)";

}  // namespace

TEST_F(Programs, HbtagGuideShowsASessionThatCanBeMadeAgain) {
    std::string const begin = "cd " + Path(".") + " && PATH=" HBTOOLS_BINARY_DIR "/bin:$PATH && ";
    ASSERT_EQ(Call(begin + "firstprogram").code, 0);
    std::ifstream page(HBTOOLS_SOURCE_DIR "/Doc/hbtag.md");
    int numCommands = 0;
    std::string printed;
    bool isInside = false;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("    $ ")) {
            EXPECT_EQ(printed, "") << "is missing above " << line;
            printed = Call(begin + "(" + line.substr(6) + ")").output;
            isInside = true;
            ++numCommands;
        } else if (isInside && line.starts_with("    ")) {
            std::string const shown = line.substr(4) + '\n';
            EXPECT_EQ(printed.substr(0, shown.size()), shown);
            printed.erase(0, std::min(printed.size(), shown.size()));
        } else {
            EXPECT_EQ(printed, "") << "is missing above " << line;
            printed.clear();
            isInside = false;
        }
    }
    EXPECT_GT(numCommands, 1);
}

TEST_F(Programs, HbtagGuideNamesTheKeysOfItsJson) {
    if (!HasPython()) GTEST_SKIP() << "no python3 here";
    Write("keys.py", keysProgram);
    {
        CFile file(KxString((folder / "stream").wstring()), CFile::modeCreate | CFile::modeReadWrite);
        CArchive archive(&file, CArchive::store);
        KxTBuf1D<short> numbers(12);
        for (unsigned i = 0; i < 12; ++i) numbers[i] = static_cast<short>(i);
        KxPropertyList tree(L"tree", L"", 1);
        tree.Insert(new KxTBuf1DProperty<short>(L"buffer", L"", numbers, 2));
        tree.Insert(new KxStringProperty(L"text", L"%s", KxString(std::wstring(5000, L'x')), 2));
        KxPersistentObject::InitializeReferenceMap();
        KxPersistentObject::SupportCyclicReferences(1);
        tree.Store(archive);
        tree.Store(archive);
        KxPersistentObject::SupportCyclicReferences(0);
        KxPersistentObject::InitializeReferenceMap();
    }
    // An object of a class that nobody knows.
    std::ofstream(folder / "stream", std::ios::binary | std::ios::app) << "\0\0\0\0\x10"s
                                                                       << "class Lab::Probe\3\0"s
                                                                       << "12345";
    {
        CFile file(KxString((folder / "shorter.tag").wstring()), CFile::modeCreate | CFile::modeReadWrite);
        KxTArray<KxVec3d> two(2), one(1);
        two[0] = two[1] = one[0] = KxVec3d(1.5, 2.5, 3.5);
        KxTagArchive archive(&file, 0);
        archive << KxVec3dArrayTag(1, two) << KxVec3dArrayTag(2, two);
        archive.SetReplaceMode();
        archive << KxVec3dArrayTag(1, one);
    }
    // A record right behind a number.
    Write("number.tag",
          "\2\0\0\0\x64\0\4\0\0\0\x12\0\0\0\0\0\0\0\7\0\0\0"s + "\3\0\0\0\x64\0\0\0\0\0\x28\0\0\0\0\0\0\0"s);
    std::string const golden = HBTOOLS_SOURCE_DIR "/Tests/data/golden/3.01/";
    for (char const* name :
         {"composite-32.tag", "header.tag", "graph.tag", "mixed.tag", "properties.tag", "simple-64.tag"})
        fs::copy(golden + name, folder);
    fs::copy(golden + "composite-32.tag", folder / "cut.tag");
    fs::resize_file(folder / "cut.tag", fs::file_size(folder / "cut.tag") / 2);
    std::string const all = "*.tag stream";
    struct Case {
        char const* heading;
        std::string commands;  // of a shell; $f is each of the files
    };
    Case const cases[] = {
        {"### `verify`", "hbtag verify --json $f"},
        {"### `ls`, `tree` and `dump`", "hbtag ls --json $f; hbtag tree --json $f; hbtag dump --json $f"},
        {"### `repair`", "hbtag repair --json --force $f out"},
        {"### `convert`", "hbtag convert --form 64 --json --force $f out"},
        {"### `diff`", "hbtag diff --json composite-32.tag $f"},
    };
    std::map<std::string, Keys> tables = Tables(HBTOOLS_SOURCE_DIR "/Doc/hbtag.md");
    tables[cases[1].heading].merge(Keys(tables[cases[0].heading]));
    for (Case const& c : cases) {
        Outcome const outcome = Call("cd " + Path(".") + " && PATH=" HBTOOLS_BINARY_DIR "/bin:$PATH && for f in " +
                                     all + "; do " + c.commands + "; done 2>/dev/null | python3 keys.py");
        Keys& named = tables[c.heading];
        std::istringstream lines(outcome.output);
        std::string unnamed;
        Keys unprinted = named;
        for (std::string key; std::getline(lines, key); unprinted.erase(key))
            if (!named.contains(key)) unnamed += key + '\n';
        EXPECT_EQ(unnamed, "") << c.heading;
        EXPECT_EQ(unprinted, Keys()) << c.heading;
    }
}
