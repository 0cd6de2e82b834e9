// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Scenarios of data: scans, property trees, graphs, configurations, XML documents, archives.
#include "Scenario.h"
#include "Scenarios.h"

#include "hbtools/base/syEncryption.h"
#include "hbtools/base/sySafeFile.h"
#include "hbtools/config/syConfigFast.h"
#include "hbtools/config/syConfiguration.h"
#include "hbtools/interchange/syXmlParser.h"
#include "hbtools/interchange/syZipHelper.h"
#include "hbtools/persistence/syObjectGraph.h"
#include "hbtools/persistence/sySimpleTags.h"
#include "hbtools/persistence/syTagArchive.h"
#include "hbtools/persistence/syTagInspector.h"
#include "hbtools/properties/syPropertyTag.h"

#include <array>
#include <iterator>
#include <memory>
#include <optional>

namespace proof {

namespace {

using namespace KxN;
namespace fs = std::filesystem;

KxString const& ScanName() {
    static KxString const name = L"M\u00fcller 7, a name beyond what a text holds without memory of its own";
    return name;
}

/// One with a single file.
Scenario Telling(Scenario scenario, char const* file) {
    scenario.told = {{0, {file}}};
    return scenario;
}

Scenario StoreScan(fs::path const& folder) {
    WriteFile(folder / "stored.tag", "old");
    fs::create_symlink("stored.tag", folder / "scan.tag");
    auto const store = [path = PathOf(folder / "scan.tag")] {
        KxSafeFile safe(path);
        CFile file;
        safe.Open(file);
        faults::StoreScan(file, ScanName());
        file.Close();
        safe.Commit();
    };
    return Telling({{store}, [] { return ""; }}, "scan.tag");
}

Scenario LoadScan(fs::path const& folder) {
    CMemFile image;
    faults::StoreScan(image, ScanName());
    std::string bytes(image.GetLength(), 0);
    image.Seek(0, CFile::begin);
    image.Read(bytes.data(), static_cast<unsigned>(bytes.size()));
    WriteFile(folder / "scan.tag", bytes);
    auto const load = [path = PathOf(folder / "scan.tag")] {
        CFile file(path, CFile::modeRead);
        Require(faults::LoadScan(file, ScanName()), "another scan");
    };
    auto const inspect = [path = PathOf(folder / "scan.tag")] {
        CFile file(path, CFile::modeRead);
        KxTagInspector inspector(&file);
        Require(inspector.Inspect() == TagFileWhole, "a damaged file");
    };
    return Telling({{load, inspect}, [] { return ""; }}, "scan.tag");
}

/// Stores what the function writes.
template <class Write>
void StoreTags(KxString const& path, Write write) {
    KxSafeFile safe(path);
    CFile file;
    safe.Open(file);
    KxTagArchive archive(&file, 0);
    write(archive);
    archive.Flush();
    file.Close();
    safe.Commit();
}

Scenario Properties(fs::path const& folder) {
    struct State {
        KxPropertyList tree{L"Conditions", L"Conditions of the measurement", 1};
        std::unique_ptr<KxPropertyList> read;
    };
    auto const s = std::make_shared<State>();
    KxString const path = PathOf(folder / "tree.tag");
    auto const insert = [s](KxProperty* property) {
        std::unique_ptr<KxProperty> owner(property);
        s->tree.Insert(property);
        static_cast<void>(owner.release());
    };
    auto const lines = [](KxPropertyList* list) {
        KxTBlockMem<KxString*> all;
        struct Deleting {
            KxTBlockMem<KxString*>& lines;
            ~Deleting() {
                for (KxString* line : lines) delete line;
            }
        } const deleting{all};
        std::string text;
        if (list) list->GetAllMessageBufResized(all, 0, 0, ' ', 4);
        for (KxString* line : all) text += U(*line) + "\n";
        return text;
    };
    return Telling({{
                        [insert] { insert(new KxStringProperty(L"Operator", L"Operator: %s", ScanName(), 1)); },
                        [insert] { insert(new KxTProperty<double>(L"Temperature", L"Temperature: %.1f C", 20.5, 2)); },
                        [insert] {
                            auto inner = std::make_unique<KxPropertyList>(L"Inner", L"Inner list of properties", 1);
                            for (int i = 0; i < 12; ++i) {
                                auto child = std::make_unique<KxTProperty<int>>(
                                    KxString(L"Number ") + KxString(std::to_wstring(i).c_str()), L"%d", i, 1);
                                inner->Insert(child.get());
                                static_cast<void>(child.release());
                            }
                            insert(inner.release());
                        },
                        [s, path] {
                            KxPropertyList* list = &s->tree;
                            KxPersistentObject::InitializeReferenceMap();
                            StoreTags(path, [&](KxTagArchive& archive) { archive << KxPropertyListTag(300, list); });
                        },
                        [s, path] {
                            CFile file(path, CFile::modeRead);
                            KxTagArchive archive(&file, 1);
                            KxPropertyList* list = nullptr;
                            KxPersistentObject::InitializeReferenceMap();
                            archive >> KxPropertyListTag(300, list);
                            s->read.reset(list);
                        },
                        [s, lines] { lines(&s->tree); },
                        [s] { std::unique_ptr<KxProperty> const clone(s->tree.Clone()); },
                        [s] { s->read->Remove(L"Temperature"); },
                        [s] { *s->read = s->tree; },
                        [s] { s->tree.Remove(L"Operator"); },
                    },
                    [s, lines] { return lines(&s->tree) + "|" + lines(s->read.get()); }},
                   "tree.tag");
}

struct Node : KxDynamicObject {
    int value = 0;
    KxString name;
    long long nextAddress = 0;
};
struct NodeFactory : KxIDynamicObjectFactory {
    KxDynamicObject* Create() const override { return new Node; }
};
struct NodeSerializer : KxDynamicObjectSerializer {
    void Read(KxTagArchive& archive, KxDynamicObject* object) const override {
        auto& node = dynamic_cast<Node&>(*object);
        archive >> KxTTag<int>(1, node.value) >> KxStringTag(2, node.name) >> KxTTag<long long>(3, node.nextAddress);
    }
    void Write(KxDynamicObject* object, KxTagArchive& archive) const override {
        auto& node = dynamic_cast<Node&>(*object);
        archive << KxTTag<int>(1, node.value) << KxStringTag(2, node.name) << KxTTag<long long>(3, node.nextAddress);
    }
};
KxDynamicObjectTypeCast<Node> g_nodeCast;
NodeSerializer g_nodeSerializer;
NodeFactory g_nodeFactory;
KxSerializableTypeInfo g_nodeType(4711, -1, &g_nodeCast, &g_nodeSerializer, &g_nodeFactory);

std::array<Node, 5> nodes;  // in the same place in every process: the file has their addresses

Scenario Graph(fs::path const& folder) {
    constexpr int count = std::ssize(nodes);
    struct State {
        std::vector<std::unique_ptr<Node>> read;
        std::string ring;
    };
    auto const s = std::make_shared<State>();
    KxString const path = PathOf(folder / "graph.tag");
    for (int i = 0; i < count; ++i) {
        Node& node = nodes[static_cast<std::size_t>(i)];
        node.value = i;
        node.name = ScanName();
        node.nextAddress = static_cast<long long>(reinterpret_cast<std::intptr_t>(
            static_cast<KxDynamicObject*>(&nodes[static_cast<std::size_t>((i + 1) % count)])));
    }
    auto const store = [path] {
        StoreTags(path, [&](KxTagArchive& archive) {
            unsigned long id = 1;
            for (Node& node : nodes) archive << KxDynamicObjectTag(id++, &node);
        });
    };
    auto const load = [s, path] {
        KxAddressesMap const map;
        CFile file(path, CFile::modeRead);
        KxTagArchive archive(&file, 1);
        std::vector<std::unique_ptr<Node>> read;
        for (unsigned long id = 1; id <= count; ++id) {
            KxDynamicObjectTag tag(id, nullptr);
            archive >> tag;
            std::unique_ptr<Node> node(dynamic_cast<Node*>(tag.DynamicObject()));
            Require(node != nullptr, "no node");
            read.push_back(std::move(node));
        }
        std::string ring;
        for (auto const& node : read) {
            auto* const next = dynamic_cast<Node*>(KxAddressesMap::GetCurrentDynamicObject(node->nextAddress));
            Require(next != nullptr, "no next node");
            ring += std::to_string(node->value) + ">" + std::to_string(next->value) + U(next->name) + "\n";
        }
        s->read.swap(read);
        s->ring.swap(ring);
    };
    return Telling({{store, load, load}, [s] { return s->ring; }}, "graph.tag");
}

constexpr char ini[] = "; kept\r\n[Scanner]\r\nPort = COM1\r\nSpeed = 1.25\r\nSize = 640;480\r\n\r\n[Other]\r\nx=1\r\n";

Scenario ReadConfig(fs::path const& folder) {
    WriteFile(folder / "app.ini", ini);
    fs::last_write_time(folder / "app.ini", fs::file_time_type{});  // it is not read again and again
    struct State {
        std::optional<KxConfiguration> config;
        double speed = 0;
        KxTPair<int> size;
        KxString port;
        std::string all;
    };
    auto const s = std::make_shared<State>();
    return Telling({{
                        [s, path = PathOf(folder / "app.ini")] {
                            KxConfiguration made(path, 1);
                            s->config.emplace(path, 1);
                        },
                        [s] { s->config->SetGroup(L"Scanner", 1); },
                        [s] { s->config->Read(s->speed, L"Speed", KxTFloatRange<double>(0.1, 40)); },
                        [s] { s->config->Read(s->size, L"Size", 0); },
                        [s] { s->config->Read(s->port, L"Port"); },
                        [s, path = PathOf(folder / "app.ini")] {
                            KxConfig config(path);
                            config.SetGroup(L"Scanner");
                            std::string all;
                            for (unsigned short g = 0; g < config.GetGroupCount(); ++g)
                                all += U(config.GetGroup(g)) + " ";
                            for (unsigned short k = 0; k < config.GetKeyCount(); ++k)
                                all += U(config.GetKeyName(k)) + "=" + U(config.ReadKey(k)) + " ";
                            config.ProofRead();
                            s->all = all;
                        },
                        [s] {  // a bad value is told by an exception that names it
                            try {
                                s->config->ReadLONG(L"Port");
                            } catch (KxReadKeywordException* exception) {
                                struct Deleting {
                                    CException* exception;
                                    ~Deleting() { exception->Delete(); }
                                } const deleting{exception};
                                CException::TextOf(*exception);
                                return;
                            }
                            throw Refused{"COM1 is a number"};
                        },
                    },
                    [s] {
                        return std::to_string(s->speed) + " " + std::to_string(s->size.first) + " " +
                               std::to_string(s->size.second) + " " + U(s->port) + " " + s->all;
                    }},
                   "app.ini");
}

Scenario WriteConfig(fs::path const& folder) {
    WriteFile(folder / "app.ini", ini);
    auto const s = std::make_shared<KxConfiguration>(PathOf(folder / "app.ini"), 1);
    auto const isOpen = std::make_shared<bool>();
    auto const one = [s] { s->Write(ScanName(), L"one"); };
    auto const two = [s] { s->Write(ScanName(), L"two"); };
    return Telling({{
                        [s] { s->SetGroup(L"Scanner", 1); },
                        [s] { s->Write(KxTPair<int>(800, 600), L"Size"); },
                        [s] { s->Write(2.5, L"Speed", 6); },
                        [s] { s->Write(ScanName(), L"A new key"); },
                        [s] { s->SetGroup(L"A new group"); },
                        [=] { s->BeginUpdate(), *isOpen = true; },
                        one,
                        two,
                        [=] {
                            if (!*isOpen) s->BeginUpdate(), one(), two();
                            *isOpen = false;
                            s->EndUpdate();
                        },
                    },
                    [s] { return U(s->GetGroup()) + U(s->ReadKey(L"two")); },
                    {},
                    {},
                    "A new group"},  // an update that cannot be stored is over
                   "app.ini");
}

struct Encrypting {
    explicit Encrypting(bool isWanted) {
        if (isWanted) KxTools::EncryptionOn();
    }
    Encrypting(Encrypting const&) = delete;
    Encrypting& operator=(Encrypting const&) = delete;
    ~Encrypting() { KxTools::EncryptionOff(); }
};

std::string AllOf(KxConfigFast& config) {
    std::string text;
    for (unsigned short k = 0; k < config.GetKeyCount(); ++k)
        text += U(config.GetKeyName(k)) + "=" + U(config.ReadKey(k)) + " ";
    return text;
}

/// The bytes of a file without what is encrypted, which differs each time, and what another reader makes of that.
std::string Decrypted(fs::path const& path) {
    constexpr std::string_view mark = "{hb1}",
                               letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::string text = ReadFile(path);
    for (std::size_t at = 0; (at = text.find(mark, at)) != text.npos; at += mark.size())
        text.erase(at + mark.size(), text.find_first_not_of(letters, at + mark.size()) - at - mark.size());
    try {
        Encrypting const scope(true);
        KxConfigFast config(PathOf(path));
        config.ProofRead();
        for (unsigned short g = 0; g < config.GetGroupCount(); ++g) {
            KxString const group = config.GetGroup(g);
            config.SetGroup(group);
            text += "[" + U(group) + "] " + AllOf(config);
        }
    } catch (CException* exception) {
        text += U(CException::TextOf(*exception)) + ReadFile(path);
        exception->Delete();
    }
    return text;
}

/// The fast class, with and without encryption.
template <bool isEncrypted>
Scenario FastConfig(fs::path const& folder) {
    WriteFile(folder / "app.ini", ini);
    auto const s = std::make_shared<std::unique_ptr<KxConfigFast>>();
    auto const switched = [](auto action) {
        return [action] {
            Encrypting const scope(isEncrypted);
            action();
        };
    };
    Scenario scenario = {{
                             switched([s, path = PathOf(folder / "app.ini")] {
                                 auto made = std::make_unique<KxConfigFast>(path);
                                 made->ProofRead();
                                 *s = std::move(made);
                             }),
                             switched([s] { (*s)->SetGroup(L"Scanner"); }),
                             switched([s] { (*s)->WriteKey(L"Port", ScanName()); }),
                             switched([s] {
                                 (*s)->FindKey(L"Port");  // moves the cursor, as looking at the keys does
                                 (*s)->InsertKey(L"Key", L"value");
                             }),
                             switched([s] { (*s)->WriteKey(L"A new key", ScanName()); }),
                             switched([s] { (*s)->DeleteGroup(L"Other"); }),
                             switched([s] { Require((*s)->ReadKey(L"Port") == ScanName(), "another value"); }),
                             switched([s] { (*s)->Flush(); }),
                             switched([path = PathOf(folder / "app.ini")] {
                                 KxConfigFast config(path);
                                 config.ProofRead();
                                 config.SetGroup(L"Scanner");
                                 Require(config.ReadKey(L"Port") == ScanName(), "another value in the file");
                             }),
                         },
                         [s, switched] {
                             std::string text;
                             switched([&] {
                                 if (!*s) return;
                                 KxString const group = (*s)->GetGroup();
                                 text = U(group) + ":" + AllOf(**s);
                                 for (unsigned short g = 0; g < (*s)->GetGroupCount(); ++g)
                                     text += U((*s)->GetGroup(g)) + " ";
                             })();
                             return text;
                         }};
    if (isEncrypted) scenario.meaning = {{"app.ini", Decrypted}};
    return Telling(std::move(scenario), "app.ini");
}

Scenario Xml(fs::path const& folder) {
    WriteFile(folder / "conditions.xml",
              "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><conditions><sensor unit=\"\xb0"
              "C\">20.3</sensor>"
              "<note><![CDATA[as <it> is]]></note></conditions>");
    struct State {
        XML_PARSER xml;
        KxString text;
    };
    auto const s = std::make_shared<State>();
    return Telling({{
                        [s, path = PathOf(folder / "conditions.xml")] {
                            if (!s->xml.Load_XML_Document(path.GetStr()))
                                throw Refused{"not loaded", U(s->xml.Get_LoadFailure())};
                        },
                        [s] { Require(s->xml.Go_to_Child(L"sensor"), "no sensor"); },
                        [s] { Require(s->xml.Set_Attribute(L"place", ScanName().GetStr()), "no attribute"); },
                        [s] { Require(s->xml.Set_TextValue(ScanName().GetStr()), "no text"); },
                        [s] { Require(s->xml.Add_NodeAfter(L"sensor"), "no node"); },
                        [s] { Require(s->xml.Add_FirstChildCData(ScanName().GetStr()), "no CDATA"); },
                        [s] { Require(s->xml.Go_to_Root(), "no root"); },
                        [s] { Require(s->xml.Go_to_Descendant(L"note"), "no note"); },
                        [s] { Require(s->xml.Remove(), "not removed"); },
                        [s] { Require(s->xml.Get_XML_Document(s->text), "no text"); },
                        [s, path = PathOf(folder / "conditions.xml")] {
                            if (!s->xml.Save_XML_Document(path.GetStr()))
                                throw Refused{"not saved", U(s->xml.Get_LastError())};
                        },
                        [s] { s->xml.Reset_XML_Document(); },  // what a load that fails leaves
                        [s] { s->xml.Load_XML_From_Buffer(s->text.GetStr()); },
                    },
                    [s] {
                        KxString now;
                        s->xml.Get_XML_Document(now);
                        return U(now) + "|" + U(s->xml.Get_CurrentTag()) + "|" + U(s->xml.Get_Chain()) + "|" +
                               U(s->text);
                    },
                    {},
                    {},
                    "nothing else",
                    {"proof::Refused not loaded", "proof::Refused not saved"}},
                   "conditions.xml");
}

Scenario Pack(fs::path const& folder) {
    auto const past = fs::file_time_type{};
    for (char const* const name : {"one.txt", "two.txt"}) {
        WriteFile(folder / name, std::string(3000, name[0]));
        fs::last_write_time(folder / name, past);
    }
    KxString const one = PathOf(folder / "one.txt"), two = PathOf(folder / "two.txt");
    KxString const archive = PathOf(folder / "scans.zip");
    return {{
                [=] { KxZipHelper::CompressFile(one, archive, L"scans", ScanName()); },
                [=] { KxZipHelper::CompressFile(two, archive, L"", ScanName()); },
                [=] {
                    KxString comment;
                    KxZipHelper::GetGlobalComment(archive, comment);
                    Require(comment == ScanName(), "another comment");
                },
            },
            [] { return ""; },
            {"KxN::KxException"},
            {},
            "nothing else",
            {},
            {},
            {{0, {"scans.zip"}}, {1, {"scans.zip", "one.txt"}}, {2, {"scans.zip", "two.txt"}}}};
}

Scenario Unpack(fs::path const& folder) {
    Scenario const pack = Pack(folder);
    for (auto const& step : pack.steps) step();
    KxString const archive = PathOf(folder / "scans.zip"), target = PathOf(folder / "out");
    auto const files = std::make_shared<KxTMap<KxString, KxString>>();
    return {{[=] {
                KxTMap<KxString, KxString> fresh;
                KxZipHelper::UncompressFiles(archive, target, fresh);
                *files = fresh;
            }},
            [files] { return std::to_string(files->Count()); },
            {"KxN::KxException"},
            {1},
            "nothing else",
            {},
            {},
            {{0, {"out", "out/scans", "out/scans/one.txt", "out/two.txt", "scans.zip", "."}}}};
}

}  // namespace

std::vector<Kind> DataKinds() {
    return {{"scan store", StoreScan},
            {"scan load", LoadScan},
            {"property tree", Properties},
            {"graph", Graph},
            {"config read", ReadConfig},
            {"config write", WriteConfig},
            {"config fast", FastConfig<false>},
            {"config encrypted", FastConfig<true>, false, true},
            {"xml", Xml},
            {"zip pack", Pack},
            {"zip unpack", Unpack}};
}

}  // namespace proof
