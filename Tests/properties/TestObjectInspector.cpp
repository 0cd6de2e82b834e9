// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "PropertyTest.h"

#include "hbtools/base/syLimits.h"
#include "hbtools/persistence/syObjectInspector.h"

using namespace test;

namespace {

struct Findings {
    std::string objects;  // "depth type name=value" and what else there is, each behind a bar
    std::string fault;    // "kind@position"
    bool isUnknownBehind = false;
    ULONGLONG end = 0;
};

Findings Inspect(std::string const& bytes, std::size_t keep = 100000) {
    CMemFile file(1 << 20);
    Append(file, bytes);
    KxObjectInspector inspector(&file);
    Findings findings;
    inspector.Begin(0, bytes.size());
    for (SxObject object; inspector.Next(object);) {
        if (findings.objects.size() > keep) continue;
        KxString line;
        line.SPrintf(L"|%d %s %s=%s%s", object.depth, object.typeName, inspector.Text(object.name, 99),
                     inspector.Values(object, 0, 9, L" "), inspector.Text(object.value, 99));
        findings.objects += U(line);
        if (object.kind == ValueReference) findings.objects += "->" + std::to_string(object.number);
        if (object.kind == ValueUnknown)
            findings.objects += U(object.className) + ' ' + std::to_string(object.version) + ' ' +
                                std::to_string(object.count) + '@' + std::to_string(object.valuePosition);
        if (object.group != 0 || object.isHidden)
            findings.objects += ';' + std::to_string(object.group) + (object.isHidden ? "h" : "");
    }
    if (inspector.HasFault())
        findings.fault = U(KxxTagFaultName(inspector.Fault().kind)) + '@' + std::to_string(inspector.Fault().position);
    findings.isUnknownBehind = inspector.IsUnknownBehind();
    findings.end = inspector.GetPosition();
    return findings;
}

bool Loads(std::string const& bytes) {
    KxPersistentObject::InitializeReferenceMap();
    try {
        LoadFrom(bytes);
        return true;
    } catch (CException* exception) {
        exception->Delete();
        return false;
    }
}

std::string Numbered(char number, std::string const& head) {
    return "\1\0\0\0"s + number + "\0\0\0"s + head.substr(4);
}

std::string const plain = Wide("n") + Wide("") + "\0\0\0\0"s;  // name, format, group
std::string const one = Head("KxTProperty<char>") + plain + "x"s;
std::string const list = Head("KxPropertyList") + plain;
std::string const tree =
    Head("KxPropertyList") + Wide("l") + Wide("m") + "\1\x80\0\0\4\0\0\0"s +                                 //
    Head("KxTProperty<unsigned long>") + Wide("a") + Wide("%d") + "\0\0\0\0\xFF\xFF\xFF\xFF"s +              //
    Head("KxPropertyList") + Wide("s") + Wide("") + "\2\0\0\0\1\0\0\0"s +                                    //
    Numbered(7, Head("KxTBuf1DProperty<short>")) + Wide("a") + Wide("") + "\0\0\0\0\2\0\0\0\1\0\xFE\xFF"s +  //
    Head("KxStringProperty") + "\1t"s + Wide("%s") + "\0\0\0\0\xFF\xFE\xFF\2\xE4\0\xAC\x20"s +               //
    "\0\0\0\0\x1C"s + "class KxN::KxTProperty<char>" + "\x64\0"s + Wide("c") + Wide("") + "\0\0\0\0\xFE"s;

}  // namespace

TEST(ObjectInspector, TellsWhatAnImageHolds) {
    struct Case {
        std::string bytes;
        std::string objects;
        std::string fault;
    };
    std::string const body = "\1\2\3"s, unknown = "\0\0\0\0"s + Wide("class Lab::Probe") + "\3\0"s + body;
    std::string newer = one;
    newer[Head("KxTProperty<char>").size() - 2] = 101;
    std::size_t const count = list.size(), child = count + 4;
    auto const at = [](char const* kind, std::size_t position) { return kind + std::to_string(position); };
    auto const behind = [](std::size_t bytes, std::size_t from) {
        return std::to_string(bytes) + '@' + std::to_string(from);
    };
    Case const cases[] = {
        {tree,
         "|0 list l=;1h|1 unsigned long a=4294967295|1 list s=;2|2 short a=1 -2|1 text t=\xC3\xA4\xE2\x82\xAC|"
         "1 char c=-2",
         ""},
        {unknown, "|0  =class Lab::Probe 3 " + behind(3, unknown.size() - 3), ""},
        {list + "\1\0\0\0"s + unknown, "|0 list n=|1  =class Lab::Probe 3 " + behind(3, child + unknown.size() - 3),
         ""},
        {list + "\2\0\0\0"s + unknown + one,
         "|0 list n=|1  =class Lab::Probe 3 " + behind(3 + one.size(), child + unknown.size() - 3), ""},
        {list + "\2\0\0\0"s + unknown, "|0 list n=", at("refused object@", child)},  // one more is promised
        {"\0\0\0\0"s + Wide("class Lab::\1robe") + "\3\0"s + body, "", "refused object@0"},
        {Head("KxTProperty<cher>") + plain + "x"s, "", "refused object@0"},
        {Head("KxTPropert") + plain + "x"s, "", "refused object@0"},
        {newer, "|0  =class KxN::KxTProperty<char> 101 " + behind(15, one.size() - 15), ""},
        {list + "\xFF\xFF\xFF\xFF"s + one, "", at("impossible count@", count)},
        {list + "\2\0\0\0"s + "\1\0\0\0\1\0\0\0"s, "|0 list n=", at("refused object@", child + 8)},         // nothing
        {Numbered(1, list) + "\1\0\0\0\1\0\0\0\1\0\0\0"s, "|0 list n=", at("refused object@", child + 4)},  // itself
        {list + "\2\0\0\0"s + one + one, "|0 list n=|1 char n=120", at("refused object@", child + one.size())},
        {list + "\1\0\0\0\0\0\0\0\xFF\xFE\xFF\xFF\xFF\xFF\xFE\xFF\xFF\xFF"s + "c\0l\0a\0s\0s\0 \0x\0"s,
         "|0 list n=", at("short payload@", child + 4)},
        {"\0\0\0\0\x05hello"s, "", "refused object@4"},
        {"\0\0\0\0\xFF\xFE\xFF\xFF\xFE\xFF\x01"s, "", "refused object@4"},  // wide twice
        {Head("KxTBuf1DProperty<double>") + plain + "\xFF\xFF\xFF\xFF"s + body, "",
         at("short payload@", Head("KxTBuf1DProperty<double>").size() + plain.size() + 4)},
    };
    for (Case const& c : cases) {
        Findings const findings = Inspect(c.bytes);
        EXPECT_EQ(findings.objects, c.objects);
        EXPECT_EQ(findings.fault, c.fault) << c.objects;
        EXPECT_EQ(Loads(c.bytes), findings.fault.empty() && !findings.isUnknownBehind) << c.objects;
    }
}

TEST(ObjectInspector, AgreesWithTheLoaderOnEveryCutAndFlippedBit) {
    EXPECT_EQ(Inspect(tree).end, tree.size());
    ASSERT_TRUE(Loads(tree));
    for (std::size_t length = 0; length < tree.size(); ++length)
        EXPECT_NE(Inspect(tree.substr(0, length)).fault, "") << length;
    for (std::size_t length = 0; length < tree.size(); ++length) {  // what a power cut leaves on some file systems
        std::string const zeroed = tree.substr(0, length) + std::string(tree.size() - length, '\0');
        EXPECT_EQ(Loads(zeroed), Inspect(zeroed).fault.empty()) << length;
    }
    for (std::size_t i = 0; i < tree.size() * 8; ++i) {
        std::string flipped = tree;
        flipped[i / 8] = static_cast<char>(flipped[i / 8] ^ 1 << i % 8);
        Findings const findings = Inspect(flipped);
        EXPECT_EQ(Loads(flipped), findings.fault.empty() && !findings.isUnknownBehind) << i;
    }
}

TEST(ObjectInspector, DeepListsTakeNoStackAndEndAtTheLimit) {
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += list + "\1\0\0\0"s;
    std::size_t const levels = static_cast<std::size_t>(KxxLimits().nestingDepth);
    EXPECT_EQ(Inspect(deep, 0).fault, "nested too deep@" + std::to_string(levels * (list.size() + 4)));
}

namespace {

/// Records of a 32-bit chain around payloads; the last one is a scalar, so that every cut is seen.
std::string Chain(std::vector<std::string> const& payloads) {
    std::string bytes;
    auto const put = [&](std::size_t value, std::size_t size) {
        for (; size > 0; --size, value >>= 8) bytes += static_cast<char>(value);
    };
    for (std::size_t i = 0; i <= payloads.size(); ++i) {
        bool const isLast = i == payloads.size();
        std::string const payload = isLast ? "\7\0"s : payloads[i];
        std::size_t const behind = bytes.size() + 18;
        put(300 + i, 4);
        put(100, 2);
        put(isLast ? 2 : 0, 4);
        put(behind, 4);
        put(isLast ? 0 : behind + payload.size(), 4);
        bytes += payload;
    }
    return bytes;
}

std::string Records(std::string const& bytes, TagFileState& state) {
    CMemFile file(4096);
    Append(file, bytes);
    KxTagInspector inspector(&file);
    state = inspector.Inspect();
    std::string text;
    for (SxTagRecord const& record : inspector.Records())
        text += U(KxxPayloadKindName(record.kind)) + ':' + std::to_string(record.count) + ':' +
                std::to_string(record.extent - record.payloadSize) + ' ';
    for (SxTagFault const& fault : inspector.Faults())
        text += U(KxxTagFaultName(fault.kind)) + '>' + std::to_string(fault.target) + ' ';
    return text;
}

}  // namespace

TEST(ObjectInspector, RecordsWithImagesAreRecognisedAndEveryCutIsSeen) {
    TagFileState state;
    std::string const reference = "\1\0\0\0\7\0\0\0"s;
    // The object 7 stands in the tree: only behind it are these bytes a reference, and not an array of one vector.
    std::string const file = Chain({reference, tree, reference, tree + "left"});
    EXPECT_EQ(Records(file, state),
              "array of KxVec2s:1:0 persistent object:6:0 persistent object:1:0 persistent object:6:4 scalar:1:0 ");
    EXPECT_EQ(state, TagFileWhole);
    for (std::size_t length = 0; length < file.size(); ++length) {
        Records(file.substr(0, length), state);
        EXPECT_EQ(state, TagFileDamaged) << length;
    }
    EXPECT_EQ(Records(Chain({list + "\xFF\xFF\xFF\xFF"s}), state),
              "persistent object:0:0 scalar:1:0 impossible count>" + std::to_string(18 + list.size()) + ' ');
    // The last record of a file is cut within its image: nothing behind it tells.
    std::string const only = Chain({tree}).substr(0, 18 + tree.size());
    for (std::size_t length = 18 + 5; length < only.size(); ++length) {
        std::string cut = only.substr(0, length);
        cut.replace(14, 4, 4, '\0');
        Records(cut, state);
        EXPECT_EQ(state, TagFileDamaged) << length;
    }
}
