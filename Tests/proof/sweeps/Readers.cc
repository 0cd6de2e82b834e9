// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Readers.h"

#include "../../fuzz/ConfigFuzz.h"
#include "../../fuzz/FuzzFolder.h"
#include "../../fuzz/FuzzInput.h"

#include "ConditionsFile.h"
#include "ScanReader.h"

#include "hbtools/base/syEncryption.h"
#include "hbtools/config/syConfigFast.h"
#include "hbtools/interchange/syXmlParser.h"
#include "hbtools/interchange/syZipHelper.h"
#include "hbtools/persistence/syBinFileHeader.h"
#include "hbtools/persistence/syGeometryTags.h"
#include "hbtools/persistence/syObjectGraph.h"
#include "hbtools/persistence/sySimpleTags.h"
#include "hbtools/persistence/syTagArchive.h"
#include "hbtools/persistence/syTagInspector.h"
#include "hbtools/properties/syPropertyTag.h"

#include <memory>
#include <set>

#define SWEPT_TARGET(NAME) extern "C" int Sweep_##NAME(std::uint8_t const* bytes, std::size_t size);
#include "targets.inc"
#undef SWEPT_TARGET

using namespace KxN;

namespace proof {

namespace {

template <class Tag, class Value>
void Read(KxTagArchive& archive, unsigned long id) {
    Survive([&] {
        Value value{};
        archive >> Tag(id, value);
    });
}
template <class T>
void ReadNumber(KxTagArchive& archive, unsigned long id) {
    Read<KxTTag<T>, T>(archive, id);
}
/// Every record of the simple and composite golden files by its id and kind.
void ReadTags(KxTagArchive& archive) {
    Survive([&] { archive >> KxNullTag(100); });
    archive.LevelDown();
    ReadNumber<short>(archive, 101);
    for (unsigned long const id : {1UL, 2UL, 3UL, 4UL, 5UL, 102UL, 113UL}) ReadNumber<int>(archive, id);
    ReadNumber<float>(archive, 103);
    ReadNumber<double>(archive, 104);
    ReadNumber<long long>(archive, 105);
    archive.LevelUp();
    for (unsigned long const id : {111UL, 110UL}) Read<KxStringTag, KxString>(archive, id);
    for (unsigned long number : {8UL, 7UL}) Survive([&] { archive >> KxNumeratedTag(112, number); });
    for (unsigned long const id : {200UL, 201UL}) Read<KxTBasicTypeArrayTag<int>, KxTArray<int>>(archive, id);
    Read<KxTTagArrayTag<double, KxTTag<double>>, KxTArray<double>>(archive, 202);
    Read<KxVec3dTag, KxVec3d>(archive, 210);
    Read<KxVec3fTag, KxVec3f>(archive, 211);
    Read<KxVec2sTag, KxVec2s>(archive, 212);
    Read<KxVec2dTag, KxVec2d>(archive, 213);
    Read<KxHistogramTag, KxHistogram>(archive, 220);
    Read<KxVec2sArrayTag, KxTArray<KxVec2s>>(archive, 230);
    Read<KxVec3iArrayTag, KxTArray<KxVec3i>>(archive, 231);
    Read<KxVec3fArrayTag, KxTArray<KxVec3f>>(archive, 232);
    Read<KxVec3dArrayTag, KxTArray<KxVec3d>>(archive, 233);
    Read<KxVec3dListTag, KxTList<KxVec3d>>(archive, 235);
    Read<KxVec3f2dArrayTag, KxT2dArray<KxVec3f>>(archive, 240);
    Read<KxVec3d2dArrayTag, KxT2dArray<KxVec3d>>(archive, 241);
    Read<KxVec3fCompactArrayTag, KxCompactArray<KxVec3f>>(archive, 242);
}

template <class Tag, class Property>
void ReadProperty(KxTagArchive& archive, unsigned long id) {
    Survive([&] {
        KxPersistentObject::InitializeReferenceMap();
        Property* property = nullptr;
        archive >> Tag(id, property);
        std::unique_ptr<Property> const owner(property);
    });
}

// The objects of the graph, all of which go at the end, whoever refers to them.
struct Node : KxDynamicObject {
    Node() { all.insert(this); }
    ~Node() override { all.erase(this); }
    long long nextAddress = 0;
    static inline std::set<Node*> all;
};
struct Leaf : Node {};
/// A damaged type may be one that another reader of this program knows: what it made goes at the end too.
std::vector<std::unique_ptr<KxDynamicObject>> g_others;
void Keep(KxDynamicObject* object) {
    if (object && !dynamic_cast<Node*>(object)) g_others.emplace_back(object);
}
struct NodeSerializer : KxDynamicObjectSerializer {
    void Read(KxTagArchive& archive, KxDynamicObject* object) const override {
        int value = 0;
        KxDynamicObjectTag inner(3, nullptr);
        archive >> KxTTag<int>(1, value) >> KxTTag<long long>(2, dynamic_cast<Node&>(*object).nextAddress) >> inner;
        Keep(inner.DynamicObject());
    }
};
template <class T>
struct Maker : KxIDynamicObjectFactory {
    KxDynamicObject* Create() const override { return new T; }
};

int ReadGraph(std::uint8_t const* bytes, std::size_t size) {
    static NodeSerializer serializer;
    static KxDynamicObjectTypeCast<Node> isNode;
    static KxDynamicObjectTypeCast<Leaf> isLeaf;
    static Maker<Node> makesNodes;
    static Maker<Leaf> makesLeaves;
    static KxSerializableTypeInfo const node(10, -1, &isNode, &serializer, &makesNodes);
    static KxSerializableTypeInfo const leaf(20, 10, &isLeaf, &serializer, &makesLeaves);
    FuzzInput file(bytes, size);
    KxAddressesMap const map;
    KxTagArchive archive(&file, 1);
    for (unsigned long const id : {208001UL, 401UL, 402UL})
        Survive([&] {
            KxDynamicObjectTag tag(id, nullptr);
            archive >> tag;
            Keep(tag.DynamicObject());
        });
    for (Node const* object : Node::all)
        if (KxDynamicObject* const next = KxAddressesMap::GetCurrentDynamicObject(object->nextAddress))
            if (auto* const target = dynamic_cast<Node*>(next); target && !Node::all.contains(target))
                std::abort();  // one that was given up
    g_others.clear();
    Sweep_object_graph(nullptr, 0);  // whose objects may hold some of these; it lets go of them
    while (!Node::all.empty()) delete *Node::all.begin();
    return 0;
}

int ReadTagFile(std::uint8_t const* bytes, std::size_t size) {
    FuzzInput file(bytes, size);
    for (bool const hasHeader : {false, true}) {
        file.Seek(0, CFile::begin);
        KxTagArchive archive(&file, 1);
        if (hasHeader) {
            bool isRead = false;
            Survive([&] {
                KxBinHeader header(512);
                archive >> header;
                isRead = true;
            });
            if (!isRead) continue;
        }
        ReadTags(archive);
        ReadProperty<KxPropertyListTag, KxPropertyList>(archive, 300);
        ReadProperty<KxPropertyTag, KxProperty>(archive, 301);
    }
    KxPersistentObject::InitializeReferenceMap();
    return 0;
}

int ReadEncrypted(std::uint8_t const* bytes, std::size_t size) {
    ConfigFolder().Write("f", std::string(reinterpret_cast<char const*>(bytes), size));
    static bool const hasPassword = (KxTools::SetEncryptionPassword("Golden"), true);
    KxTools::EncryptionOn();
    if (hasPassword)
        Survive([] {
            KxConfigFast config(FuzzPath());
            DumpConfig(config);
        });
    KxTools::EncryptionOff();
    return 0;
}

template <class Action>
bool Succeeds(Action action) {
    bool isDone = false;
    Survive([&] { isDone = action(); });
    return isDone;
}
void WriteInput(std::string const& bytes) {
    ConfigFolder().Write("f", bytes);
}
bool OpensTag(std::string const& bytes) {
    FuzzInput file(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
    KxTagInspector inspector(&file);
    return inspector.Inspect() == TagFileWhole;
}
bool OpensConditions(std::string const& bytes) {
    WriteInput(bytes);
    return Succeeds([] { return ScanLab::LoadConditions(FuzzPath()), true; });
}
bool OpensScan(std::string const& bytes) {
    WriteInput(bytes);
    return Succeeds([] { return ScanLab::ReadScan(FuzzPath()), true; });
}
bool OpensXml(std::string const& bytes) {
    WriteInput(bytes);
    return Succeeds([] { return XML_PARSER().Load_XML_Document(FuzzPath().GetStr()) != 0; });
}
bool OpensZip(std::string const& bytes) {
    WriteInput(bytes);
    return Succeeds([] {
        KxTMap<KxString, KxString> files;
        return KxZipHelper::UncompressFiles(FuzzPath(), ConfigFolder().File("out"), files) != 0;
    });
}

}  // namespace

std::vector<Reader> const& Readers() {
    static std::vector<Reader> const readers = [] {
        std::vector<Reader> all = {
#define SWEPT_TARGET(NAME) {#NAME, Sweep_##NAME},
#include "targets.inc"
#undef SWEPT_TARGET
            {"tag_values", ReadTagFile, OpensTag},
            {"graph_values", ReadGraph},
            {"encrypted_values", ReadEncrypted},
            {"xml_whole", [](std::uint8_t const*, std::size_t) { return 0; }, OpensXml},
            {"zip_whole", [](std::uint8_t const*, std::size_t) { return 0; }, OpensZip},
        };
        for (Reader& reader : all) {
            if (std::string_view(reader.name) == "scans") reader.opens = OpensScan;
            if (std::string_view(reader.name) == "conditions") reader.opens = OpensConditions;
        }
        return all;
    }();
    return readers;
}

}  // namespace proof
