// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "../../golden/Nodes.h"
#include "Case.h"
#include "Profile.h"

#include "hbtools/base/syConfig.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syEncryption.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syResource.h"
#include "hbtools/config/syConfigFast.h"
#include "hbtools/core/syHashFunction.h"
#include "hbtools/diagnostics/syExceptionMgr.h"
#include "hbtools/interchange/syXmlParser.h"
#include "hbtools/interchange/syZipHelper.h"
#include "hbtools/localisation/syLocalizer.h"
#include "hbtools/operators/syMacro.h"
#include "hbtools/operators/syOperatorMgr.h"
#include "hbtools/operators/syParamLong.h"
#include "hbtools/persistence/syGeometryTags.h"
#include "hbtools/persistence/syObjectInspector.h"
#include "hbtools/persistence/syTagCopier.h"
#include "hbtools/properties/syPropertyTag.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>

using namespace KxN;

namespace proof {

namespace {

std::string Lines(int n, std::function<std::string(int)> const& line) {
    std::string text;
    for (int i = 0; i < n; ++i) text += line(i) + "\n";
    return text;
}

// Tags

void StoreNumbers(CFile& file, int n) {
    KxTagArchive archive(&file, 0);
    for (int i = 0; i < n; ++i) {
        int value = 10000000 + i;  // with as many digits as any other
        archive << KxTTag<int>(static_cast<unsigned long>(1000 + i), value);
    }
}
std::function<void()> ReadNumbers(int n, bool isMixed) {
    auto file = std::make_shared<CountedFile>();
    StoreNumbers(*file, n);
    std::vector<int> order(static_cast<std::size_t>(n));
    std::iota(order.rbegin(), order.rend(), 0);
    if (isMixed) std::shuffle(order.begin(), order.end(), std::mt19937(7));
    return [file, order] {
        file->Seek(0, CFile::begin);
        KxTagArchive archive(file.get(), 1);
        for (int i : order) {
            int value = 0;
            archive >> KxTTag<int>(static_cast<unsigned long>(1000 + i), value);
            if (value != 10000000 + i) std::abort();
        }
    };
}
std::function<void()> ReplaceNumbers(int n) {
    auto file = std::make_shared<CountedFile>();
    StoreNumbers(*file, n);
    return [n, file] {
        file->Seek(0, CFile::begin);
        KxTagArchive archive(file.get(), 0);
        archive.SetReplaceMode();
        for (int i = 2 * n; i-- > 0;) archive << KxTTag<int>(static_cast<unsigned long>(1000 + i), i);
    };
}
std::function<void()> Inspecting(int n, bool isCut, void (*store)(CFile&, int)) {
    auto file = std::make_shared<CountedFile>();
    store(*file, n);
    if (isCut) {
        file->Seek(18 + 4 + 14, CFile::begin);  // the link of the second record
        file->Write("\xff\xff\xff\x7f", 4);
    }
    return [file, isCut] {
        KxTagInspector inspector(file.get());
        if ((inspector.Inspect() == TagFileDamaged) != isCut) std::abort();
        for (SxTagRecord const& record : inspector.Records()) inspector.PayloadText(record, 0, 4, L";");
        CountedFile copy;
        KxTagCopier(file.get()).Repair(copy);
    };
}
void StoreNested(CFile& file, int n) {
    KxTagArchive archive(&file, 0);
    for (int i = 0; i < std::min(n, 4000); ++i) {  // below the limit
        archive << KxNullTag(1);
        archive.LevelDown();
    }
    archive << KxNullTag(2);
}
void StoreLevels(CFile& file, int n) {
    KxTagArchive archive(&file, 0);
    for (int i = 0; i < n / 4; ++i) {
        archive << KxNullTag(static_cast<unsigned long>(1 + i));
        archive.LevelDown();
        StoreNumbers(file, 1);
        archive.LevelUp();
    }
}
void StoreDoubles(CFile& file, int n) {
    KxTArray<double> values(n);
    KxTagArchive archive(&file, 0);
    archive << KxTTagArrayTag<double, KxTTag<double>>(1, values);
}

void StoreConditions(CFile& file, int n) {
    KxPropertyList list(L"list", L"all of it", 0);
    for (int i = 0; i < n; ++i) list.Insert(new KxTProperty<int>(Name(L"a name ", i), L"%d", i, 0));
    KxPersistentObject::InitializeReferenceMap();
    KxPropertyList* all = &list;
    KxTagArchive archive(&file, 0);
    archive << KxPropertyListTag(300, all);
}
/// Lists within lists, a number in each.
void StoreTree(CFile& file, int n) {
    KxPropertyList list(L"list", L"all of it", 0);
    KxPropertyList* inner = &list;
    for (int i = 0; i < std::min(n, 4000); ++i) {  // below the limit
        auto* const next = new KxPropertyList(Name(L"list ", i), L"", 0);
        inner->Insert(new KxTProperty<int>(L"number", L"%d", i, 0));
        inner->Insert(next);
        inner = next;
    }
    KxPersistentObject::InitializeReferenceMap();
    KxPropertyList* all = &list;
    KxTagArchive archive(&file, 0);
    archive << KxPropertyListTag(300, all);
}
std::function<void()> LoadConditions(int n, void (*store)(CFile&, int)) {
    auto file = std::make_shared<CountedFile>();
    store(*file, n);
    return [file] {
        file->Seek(0, CFile::begin);
        KxPersistentObject::InitializeReferenceMap();
        KxPropertyList* list = nullptr;
        KxTagArchive archive(file.get(), 1);
        archive >> KxPropertyListTag(300, list);
        std::unique_ptr<KxPropertyList> const owner(list);
        KxPersistentObject::InitializeReferenceMap();
    };
}
std::function<void()> References(int n) {
    return [n] {
        CountedFile file;
        KxPersistentObject::InitializeReferenceMap();
        std::vector<std::unique_ptr<KxTProperty<int>>> all;
        for (int i = 0; i < n; ++i) all.push_back(std::make_unique<KxTProperty<int>>(Name(L"n", i), L"%d", i, 0));
        CArchive storing(&file, CArchive::store);
        for (int round = 0; round < 2; ++round)
            for (auto const& one : all) one->Store(storing);
        storing.Close();
        all.clear();
        KxPersistentObject::InitializeReferenceMap();
        file.Seek(0, CFile::begin);
        CArchive loading(&file, CArchive::load);
        for (int i = 0; i < 2 * n; ++i) {
            KxPersistentObject* const object = KxPersistentObject::Load(loading);
            if (i < n) all.emplace_back(dynamic_cast<KxTProperty<int>*>(object));
        }
        KxPersistentObject::InitializeReferenceMap();
    };
}
std::function<void()> Graph(int n) {
    return [n] {
        golden::Types const types;
        std::vector<golden::Node> nodes(static_cast<std::size_t>(n));
        CountedFile file;
        {
            KxTagArchive archive(&file, 0);
            for (int i = 0; i < n; ++i) {
                auto const next = static_cast<std::size_t>((i + 1) % n), here = static_cast<std::size_t>(i);
                nodes[here].nextAddress = static_cast<long long>(
                    reinterpret_cast<std::intptr_t>(static_cast<KxDynamicObject*>(&nodes[next])));
                archive << KxDynamicObjectTag(static_cast<unsigned long>(1 + i), &nodes[here]);
            }
        }
        KxAddressesMap const map;
        file.Seek(0, CFile::begin);
        KxTagArchive archive(&file, 1);
        std::vector<std::unique_ptr<golden::Node>> read;
        for (int i = 1; i <= n; ++i) {
            KxDynamicObjectTag tag(static_cast<unsigned long>(i), nullptr);
            archive >> tag;
            read.emplace_back(dynamic_cast<golden::Node*>(tag.DynamicObject()));
        }
        for (auto const& node : read)
            if (!KxAddressesMap::GetCurrentDynamicObject(node->nextAddress)) std::abort();
    };
}

/// Objects whose addresses in the file are the same modulo every prime that tables of so many have as their size.
std::function<void()> AlikeAddresses(int n) {
    constexpr long long step = 127LL * 257 * 541 * 1109 * 2357;
    auto const file = std::make_shared<CountedFile>();
    {
        golden::Types const types;
        std::vector<golden::Node> nodes(static_cast<std::size_t>(n));
        KxTagArchive archive(file.get(), 0);
        for (int i = 0; i < n; ++i)
            archive << KxDynamicObjectTag(static_cast<unsigned long>(1 + i), &nodes[static_cast<std::size_t>(i)]);
    }
    std::string bytes(static_cast<std::size_t>(file->GetLength()), '\0');
    file->Seek(0, CFile::begin);
    file->Read(bytes.data(), static_cast<UINT>(bytes.size()));
    std::string const head("\x83\x2c\x03\0\x64\0\x08\0\0\0", 10);  // of an address, 8 bytes, in either form
    int found = 0;
    for (std::size_t at = 0; (at = bytes.find(head, at)) != bytes.npos; ++at) {
        std::uint32_t place = 0;
        std::memcpy(&place, bytes.data() + at + 10, sizeof place);
        std::size_t const payload = at + (place == at + 18 ? 18 : 30);
        long long const address = ++found * step;
        file->Seek(static_cast<LONGLONG>(payload), CFile::begin);
        file->Write(&address, sizeof address);
    }
    if (found != n) std::abort();
    return [file, n] {
        golden::Types const types;
        KxAddressesMap const map;
        file->Seek(0, CFile::begin);
        KxTagArchive archive(file.get(), 1);
        std::vector<std::unique_ptr<golden::Node>> read;
        for (int i = 1; i <= n; ++i) {
            KxDynamicObjectTag tag(static_cast<unsigned long>(i), nullptr);
            archive >> tag;
            read.emplace_back(dynamic_cast<golden::Node*>(tag.DynamicObject()));
            if (KxAddressesMap::GetCurrentDynamicObject(i * step) != read.back().get()) std::abort();
        }
    };
}

// Configuration

/// What of them is many: keys, groups, or the same key.
std::string Ini(int n, char what) {
    if (what == 'g') return Lines(n, [](int i) { return "[group " + Digits(i) + "]\nkey=" + Digits(i); });
    return "[group]\n" +
           Lines(n, [what](int i) { return (what == 'k' ? "key " + Digits(i) : "key") + "=" + Digits(i); });
}
template <class Config>
std::function<void()> ReadConfig(int n, char what) {
    return [n, what, path = WriteFile(EmptyFolder() / "app.ini", Ini(n, what))] {
        Config config(path);
        if (what == 'g') {
            for (int i = 0; i < n; ++i) {
                config.SetGroup(Name(L"group ", i));
                if (config.ReadKey(KxString(L"key"), L"") != Name(L"", i)) std::abort();
                config.GetGroup(static_cast<unsigned short>(i));
            }
            return;
        }
        config.SetGroup(L"group");
        for (int i = 0; i < n; ++i) {
            config.ReadKey(what == 'k' ? Name(L"key ", i) : KxString(L"key"), L"");
            config.ReadKey(KxString(L"absent"), L"");
        }
        for (unsigned short i = 0; i < config.GetKeyCount(); ++i) config.GetKeyName(i), config.ReadKey(i);
    };
}
std::function<void()> WriteConfig(int n) {
    return [n, path = WriteFile(EmptyFolder() / "app.ini", Ini(n, 'k'))] {
        KxConfig config(path);
        config.BeginUpdate();
        config.SetGroup(L"group");
        for (int i = 0; i < 2 * n; ++i) config.WriteKey(Name(L"key ", i), L"new");
        for (int i = 0; i < n; ++i) {
            config.SetGroup(Name(L"new ", i));
            config.WriteKey(L"k", L"v");
        }
        config.EndUpdate();
    };
}
std::function<void()> WriteFast(int n, bool isEncrypted) {
    // A key of zeros, which need not be derived.
    if (isEncrypted) KxTools::SetEncryptionPassword(("{hbkey1}" + std::string(43, 'A')).c_str());
    return [n, isEncrypted, path = WriteFile(EmptyFolder() / "app.ini", Ini(n, 'k'))] {
        if (isEncrypted) KxTools::EncryptionOn();
        KxConfigFast config(path);
        config.SetGroup(L"group");
        for (int i = 0; i < 2 * n; ++i) config.WriteKey(Name(L"key ", i), L"new");
        config.Flush();
        KxTools::EncryptionOff();
    };
}

// Texts

constexpr SxStringResource operatorTexts[] = {{100, "Set"}, {110, "Number"}};
constinit CDynLinkLibrary g_operatorTexts{operatorTexts};
struct Set : KxOperator {
    Set() : KxOperator(100, KxResId(100, &g_operatorTexts)) {
        Insert(new KxParameterLong(1, KxResId(110, &g_operatorTexts), 0, 0, {0, 100000000}, 1));
    }
    KxOperator* Clone() const override { return new Set; }
    OperatorReturnCode DoExecute() override { return ++g_calls, OPERATOR_OK; }
};
std::function<void()> Macro(int n) {
    return [path = WriteFile(EmptyFolder() / "macro", Lines(n, [](int i) { return "Set " + Digits(i) + ";"; }))] {
        KxOperatorMgr manager;
        manager.Insert(new Set);
        pOperatorMgr = &manager;
        if (KxMacro(nullptr).Start(path) != OPERATOR_OK) std::abort();
        pOperatorMgr = nullptr;
    };
}

std::function<void()> Log(int n) {
    std::filesystem::path const folder = EmptyFolder();
    KxString const ini = WriteFile(folder / "app.ini",
                                   "[Initialization]\nErrorCount=4294967295\nBackupTiming=SAVE_ON_DEMAND\nFileName=" +
                                       (folder / "log").string() + "\n");
    return [n, ini, path = KxxFromSystemPath((folder / "log").string())] {
        for (int round = 0; round < 2; ++round) {
            KxExceptionManager manager;
            manager.SetOldestPurgeDateTime(KxDateTime());
            manager.Initialize(ini);
            for (int i = 0; i < n && round == 0; ++i) {
                KxExceptionManagerException entry(KxDateTime(2026, 11, 21, 12, 0, 0), Name(L"group ", i), EXCEPT_USER,
                                                  Name(L"a message ", i));
                manager.AddExceptionToLog(entry);
            }
            if (manager.GetTotalCount() != static_cast<unsigned long>(n)) std::abort();
            manager.SaveExcGrpLst();
            manager.ChangeBackupTiming(static_cast<BackupTiming>(3));
        }
        if (hblog::ReadLogFile(path).entries.size() != static_cast<std::size_t>(n)) std::abort();
    };
}

/// All calls are entered before the first of them is left.
std::function<void()> DebugFile(int n) {
    auto const line = [n](int i) {
        std::string const entry = "____\nDATUM: 21.11.2026, ZEIT: 12:00:00\nPROFILE;0x1;12:00:00;";
        return entry + (i < n ? "enter;N" + Digits(i) + ";;;;" : "leave;N" + Digits(i - n) + ";12:00:00;2;2;");
    };
    return [n, text = KxxWidenUtf8(Lines(2 * n, line))] {
        hblog::Profile const profile = hblog::ReadProfile(hblog::ParseDebugFile(text));
        if (profile.calls.size() != static_cast<std::size_t>(n) || profile.badLines > 0) std::abort();
        hblog::TraceJson(profile);
    };
}

std::function<void()> Languages(int n) {
    auto const line = [](int i) {
        return "Language" + Digits(i) + "=" + std::to_string(1024 + i % 60) + ";" + std::to_string(i % 60);
    };
    return [n, path = WriteFile(EmptyFolder() / "languages.ini", "[Languages]\n" + Lines(n, line))] {
        KxSingleDLLLocalizer localizer;
        localizer.Init(path, L"Languages");
        for (int i = 0; i < n; ++i) localizer.SetActiveLanguage(Name(L"Language", i));
    };
}

// XML

struct CountedXml : XML_PARSER {
    void Parse_XML_Document() override { ++g_calls; }
};
std::function<void()> Xml(int n, std::function<std::string(int)> const& text) {
    return [path = WriteFile(EmptyFolder() / "a.xml", text(n)), to = EmptyFolder() / "b.xml", bytes = text(n)] {
        KxString const from = WriteFile(to.parent_path() / "a.xml", bytes);
        CountedXml xml;
        if (!xml.Load_XML_Document(from.GetStr())) std::abort();
        int depth = 0;
        for (bool isMore = true; isMore;) {
            for (long long i = std::min<long long>(xml.Get_Attribute_Count(), 3); i-- > 0;)
                xml.Get_Attribute_Value(static_cast<int>(i));
            if (xml.Go_to_Child()) {
                ++depth;
                continue;
            }
            while (depth > 0 && !xml.Go_Forward()) xml.Go_to_Parent(), --depth;
            isMore = depth > 0;
        }
        xml.Save_XML_Document(KxString(KxxFromSystemPath(to.string())).GetStr());
    };
}
std::function<void()> EditXml(int n) {
    return [n, from = WriteFile(EmptyFolder() / "a.xml", "<r><a/></r>")] {
        CountedXml xml;
        if (!xml.Load_XML_Document(from.GetStr()) || !xml.Go_to_Child()) std::abort();
        for (int i = 0; i < n; ++i) {
            xml.Add_NodeAfter(L"n");
            xml.Go_Forward();
            xml.Set_TextValue(L"text");
        }
        for (int i = 0; i < n; ++i) xml.Set_Attribute(L"only", L"value");
        while (xml.Go_Backward()) {}
        xml.Go_to_Parent();
        for (int i = 0; i < n; ++i) xml.RemoveChild(L"n");
    };
}
std::function<void()> Attributes(int n) {
    return [n] {
        CountedXml xml;
        xml.Add_FirstChildNode(L"r");
        for (int round = 0; round < 2; ++round)  // new ones, then those that are there
            for (int i = 0; i < n; ++i)
                if (!xml.Set_Attribute(Name(L"a", i).GetStr(), Name(L"v", round).GetStr())) std::abort();
        for (int i = n; i-- > 0;) {
            if (!xml.Is_Having_Attribute(Name(L"a", i).GetStr())) std::abort();
            if (KxString(xml.Get_Attribute_Value()) != Name(L"v", 1)) std::abort();
            xml.Set_Attribute(Name(L"a", i).GetStr(), L"");
            if (xml.Is_Having_Attribute(L"absent")) std::abort();
        }
        if (xml.Get_Attribute_Count() != n) std::abort();
    };
}

// Archives

std::string Little(std::size_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 0xff);
    return text;
}
/// n empty files.
std::string Zip(int n) {
    std::string local, central;
    for (int i = 0; i < n; ++i) {
        std::string const name = "folder/" + Digits(i) + ".txt";
        std::string const rest =
            Little(0, 4) + Little(0x5a21, 4) + Little(0, 12) + Little(name.size(), 2) + Little(0, 2);
        central += "PK\1\2" + Little(20, 2) + Little(20, 2) + rest + Little(0, 10) + Little(local.size(), 4) + name;
        local += "PK\3\4" + Little(20, 2) + rest + name;
    }
    auto const count = static_cast<std::size_t>(n);
    return local + central + "PK\5\6" + Little(0, 4) + Little(count, 2) + Little(count, 2) + Little(central.size(), 4) +
           Little(local.size(), 4) + Little(0, 2);
}
std::function<void()> Unpack(int n) {
    std::filesystem::path const folder = EmptyFolder();
    return [n, from = WriteFile(folder / "a.zip", Zip(n)), to = KxxFromSystemPath((folder / "out").string())] {
        static struct : KxTHashFunction<KxString> {
            unsigned int Value(KxString const& key) const override {
                return ++g_calls, KxStringHashFunction().Value(CString(key.GetStr()));
            }
        } const hash;
        KxTMap<KxString, KxString> files(&hash, n);
        if (!KxZipHelper::UncompressFiles(from, to, files) || files.Count() != n) std::abort();
    };
}
std::function<void()> Pack(int n) {
    std::filesystem::path const folder = EmptyFolder();
    auto sources = std::make_shared<KxTDynArray<SxZipSource>>();
    for (int i = 0; i < n; ++i) sources->Add({WriteFile(folder / Digits(i), "points"), L"scans"});
    return [sources, to = KxxFromSystemPath((folder / "a.zip").string())] {
        KxZipHelper::CompressFiles(*sources, to, L"", KxZipHelper::Mode::add);
        KxZipHelper::CompressFile((*sources)[0].file, to, L"once more", L"");
    };
}

}  // namespace

std::vector<Case> FileCases() {
    auto const siblings = [](int n) {
        return "<r>" + Lines(n, [](int i) { return "<a b='" + Digits(i) + "'>t</a>"; }) + "</r>";
    };
    auto const attributes = [](int n) {
        return "<r " + Lines(n, [](int i) { return "a" + Digits(i) + "='v'"; }) + "/>";
    };
    auto const texts = [](int n) { return "<r>" + Lines(n, [](int) { return "t&lt;<![CDATA[c]]>"; }) + "</r>"; };
    auto const nested = [](int n) {
        std::string open, close;
        for (int i = 0; i < std::min(n, 4000); ++i) open += "<a>", close += "</a>";
        return open + close;
    };
    constexpr int properties = KxN::KxPropertyList::maximumCount;
    int const xmlAttributes = static_cast<int>(KxN::KxxLimits().xmlAttributes);
    return {
        {"tags: store",
         [](int n) {
             return [n] {
                 CountedFile file;
                 StoreNumbers(file, n);
             };
         }},
        {"tags: read backward", [](int n) { return ReadNumbers(n, false); }, true},
        {"tags: read mixed", [](int n) { return ReadNumbers(n, true); }, true},
        {"tags: replace and append backward", ReplaceNumbers, true},
        {"tags: inspect and repair", [](int n) { return Inspecting(n, false, StoreNumbers); }},
        {"tags: the same, damaged", [](int n) { return Inspecting(n, true, StoreNumbers); }},
        {"tags: the same, of many levels", [](int n) { return Inspecting(n, false, StoreLevels); }},
        {"tags: the same, of nested levels", [](int n) { return Inspecting(n / 2, false, StoreNested); }},
        {"tags: the same, of an array of tags", [](int n) { return Inspecting(n, false, StoreDoubles); }},
        {"tags: the same, of properties", [](int n) { return Inspecting(n, false, StoreConditions); }, false, nullptr,
         properties},
        {"tags: the same, of lists in lists", [](int n) { return Inspecting(n / 4, false, StoreTree); }},
        {"property list: load", [](int n) { return LoadConditions(n, StoreConditions); }, false, nullptr, properties},
        {"property list: load lists in lists", [](int n) { return LoadConditions(n / 4, StoreTree); }},
        {"objects: store, refer, load", References},
        {"graph: store and load", Graph},
        {"graph: addresses of one bucket", AlikeAddresses},
        {"configuration: keys", [](int n) { return ReadConfig<KxConfig>(n, 'k'); }},
        {"configuration: groups", [](int n) { return ReadConfig<KxConfig>(n, 'g'); }},
        {"configuration: one key many times", [](int n) { return ReadConfig<KxConfig>(n, 'd'); }},
        {"configuration: write", WriteConfig},
        {"fast configuration: keys", [](int n) { return ReadConfig<KxConfigFast>(n, 'k'); }},
        {"fast configuration: groups", [](int n) { return ReadConfig<KxConfigFast>(n, 'g'); }},
        {"fast configuration: one key", [](int n) { return ReadConfig<KxConfigFast>(n, 'd'); }},
        {"fast configuration: write", [](int n) { return WriteFast(n, false); }},
        {"fast configuration: write encrypted", [](int n) { return WriteFast(n / 10, true); }},
        {"macro: lines", Macro},
        {"log: add, save, load", Log},
        {"debug file: parse and add up", DebugFile},
        {"languages: look up", Languages},
        {"xml: siblings", [siblings](int n) { return Xml(n, siblings); }},
        {"xml: attributes", [attributes](int n) { return Xml(n, attributes); }, false, nullptr, xmlAttributes},
        {"xml: attributes that are set", Attributes, true, nullptr, xmlAttributes},
        {"xml: texts", [texts](int n) { return Xml(n, texts); }},
        {"xml: levels", [nested](int n) { return Xml(n / 2, nested); }},
        {"xml: edit", EditXml},
        {"zip: unpack", Unpack},
        {"zip: pack", Pack},
    };
}

}  // namespace proof
