// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Each element of n is looked for, or taken out. Where each call looks at all of them the reason stands here, and the
// documentation of the call says so.
#include "Case.h"

#include "hbtools/base/syCollections.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syResource.h"
#include "hbtools/config/syConfigFast.h"
#include "hbtools/core/syList.h"
#include "hbtools/core/syPList.h"
#include "hbtools/core/sySVQueue.h"
#include "hbtools/core/sySignal.h"
#include "hbtools/diagnostics/syExceptionMgr.h"
#include "hbtools/interchange/syXmlParser.h"
#include "hbtools/operators/syOperator.h"
#include "hbtools/operators/syOperatorMgr.h"
#include "hbtools/operators/syParamList.h"
#include "hbtools/operators/syParamLong.h"
#include "hbtools/persistence/syDynamicObject.h"
#include "hbtools/properties/syPropertyList.h"
#include "hbtools/threads/syMsgCommunicator.h"

#include <algorithm>
#include <memory>

using namespace KxN;

namespace proof {

namespace {

constexpr char const* noOrder = "values without an order or a hash; a map has both";
constexpr char const* fewOperators = "a manager lists them in their order, at most 65,536";

void Must(bool isTrue) {
    if (!isTrue) std::abort();
}

struct Slot {
    void Take(int) { ++g_calls; }
};
std::function<void()> Disconnect(int n, bool isFalling) {
    struct State {
        std::vector<Slot> slots;
        KxTSignal<int> signal;
    };
    auto state = std::make_shared<State>();
    state->slots.resize(static_cast<std::size_t>(n));
    for (Slot& slot : state->slots) state->signal.Connect(&slot, &Slot::Take);
    return [state, isFalling] {
        for (std::size_t i = 0; i < state->slots.size(); ++i)
            state->signal.Disconnect(&state->slots[isFalling ? state->slots.size() - 1 - i : i], &Slot::Take);
        Must(state->signal.NumSlots() == 0);
    };
}

std::function<void()> RemoveReceivers(int n) {
    std::shared_ptr<KxMsgCommunicator[]> const all = std::make_unique<KxMsgCommunicator[]>(static_cast<std::size_t>(n));
    return [all, n] {
        KxMsgCommunicator sender;
        for (int i = 0; i < n; ++i) sender.AddMsgReceiver(&all[i]);
        for (int i = n; i-- > 0;) {
            Must(sender.IsMsgReceiver(&all[i]) != 0);
            sender.RemoveMsgReceiver(&all[i]);
        }
    };
}

/// A module of n texts, from id 1 on.
struct Texts {
    explicit Texts(int n) {
        for (int i = 0; i < n; ++i) names.push_back("Name" + Digits(i));
        for (std::string const& name : names)
            texts.push_back({static_cast<unsigned short>(texts.size() + 1), name.c_str()});
        count = texts.size();
        module = std::make_unique<CDynLinkLibrary>(texts.data(), &count);
    }
    KxResId Id(int i) const { return KxResId(static_cast<unsigned short>(i), module.get()); }
    std::vector<std::string> names;
    std::vector<SxStringResource> texts;
    std::size_t count = 0;
    std::unique_ptr<CDynLinkLibrary> module;
};

struct Nothing : KxOperator {
    Nothing(unsigned short number, KxResId const& id) : KxOperator(number, id) {}
    KxOperator* Clone() const override { return nullptr; }
    OperatorReturnCode DoExecute() override { return OPERATOR_OK; }
    using KxOperator::Insert;
};
/// Ids are 16 bits.
int Bounded(int n) {
    return std::min(n, 60000);
}

std::function<void()> Operators(int n, bool isRemoving) {
    struct State : Texts {
        using Texts::Texts;
        KxOperatorMgr manager;
    };
    n = Bounded(n);
    auto state = std::make_shared<State>(n);
    for (int i = 1; i <= n; ++i) state->manager.Insert(new Nothing(static_cast<unsigned short>(i), state->Id(i)));
    return [n, state, isRemoving] {
        for (int i = n; i > 0; --i) {
            KxOperator* const one = state->manager.GetOperator(Name(L"Name", i - 1));
            Must(one == state->manager.GetOperator(static_cast<unsigned short>(i)));
            Must(!state->manager.Exists(L"absent") && !state->manager.Exists(65000));
            if (isRemoving) state->manager.Remove(static_cast<unsigned short>(i));
        }
    };
}

std::function<void()> Parameters(int n) {
    struct State : Texts {
        using Texts::Texts;
        std::unique_ptr<Nothing> owner;
    };
    auto state = std::make_shared<State>(n);
    state->owner = std::make_unique<Nothing>(static_cast<unsigned short>(1), state->Id(1));
    for (int i = 1; i <= n; ++i)
        state->owner->Insert(new KxParameterLong(static_cast<unsigned short>(i), state->Id(i), 0, 0, {0, 1}, 1));
    return [n, state] {
        for (int i = 1; i <= n; ++i)
            Must(state->owner->GetParameter(Name(L"Name", i - 1)) ==
                 state->owner->GetParameter(static_cast<unsigned short>(i)));
    };
}

std::function<void()> Entries(int n) {
    std::vector<KxString> names;
    for (int i = 0; i < n; ++i) names.push_back(Name(L"entry ", i));
    KxTMem<KxString> const entries(names.data(), names.size());
    return
        [names, list = std::make_shared<KxParameterList>(static_cast<unsigned short>(1), entries, names[0], names[0])] {
            for (KxString const& name : names) list->SelectEntry(name);
        };
}

class Pointers : public CPList {
public:
    using CPList::AddEntry, CPList::InsertEntry, CPList::RemoveByValue;
};

std::function<void()> FindValues(int n) {
    struct State {
        KxTList<int> list;
        KxTSVQueue<int> queue{16, 16, 16};
        CList<int, int> frameworkList;
        Pointers pointers;
        std::vector<char> places;
    };
    auto state = std::make_shared<State>();
    state->places.resize(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
        state->list.AddTail(i);
        state->queue.Append(i);
        state->frameworkList.AddTail(i);
        state->pointers.AddEntry(&state->places[static_cast<std::size_t>(i)]);
    }
    return [n, state] {
        for (int i = n; i-- > 0;) {
            Must(state->list.Find(i) == i && state->queue.Find(i) == i && state->frameworkList.Find(i));
            Must(state->pointers.RemoveByValue(&state->places[static_cast<std::size_t>(i)]) != 0);
        }
    };
}

std::function<void()> InsertInFront(int n) {
    return [n] {
        CArray<int, int> array;
        Pointers pointers;
        for (int i = 0; i < n; ++i) {
            array.InsertAt(0, i);
            pointers.InsertEntry(0, nullptr);
        }
        while (array.GetSize() > 0) array.RemoveAt(0);
    };
}

std::function<void()> ListByMixedIndex(int n) {
    auto list = std::make_shared<KxTList<int>>();
    for (int i = 0; i < n; ++i) list->AddTail(i);
    return [order = Numbers(n, Order::mixed), list] {
        for (int const i : order) Must((*list)[i] == i);
    };
}

struct Hooked : XML_PARSER {
    void Parse_XML_Document() override { ++g_calls; }
};
std::function<void()> RemoveAttributes(int n, bool isFalling) {
    auto xml = std::make_shared<Hooked>();
    xml->Add_FirstChildNode(L"r");
    for (int i = 0; i < n; ++i) xml->Set_Attribute(Name(L"a", i).GetStr(), L"v");
    return [n, xml, isFalling] {
        for (int i = 0; i < n; ++i) {
            int const place = isFalling ? n - 1 - i : 0;
            KxString const name = xml->Get_Attribute_Name(place);
            Must(xml->Is_Having_Attribute(name.GetStr()) && xml->Remove_Attribute(name.GetStr()));
            Must(xml->Get_Attribute_Count() == n - 1 - i);
        }
    };
}
std::function<void()> ChildrenByName(int n) {
    auto xml = std::make_shared<Hooked>();
    xml->Add_FirstChildNode(L"r");
    for (int i = 0; i < n; ++i) xml->Add_LastChildNode(Name(L"c", i).GetStr()), xml->Go_to_Parent();
    return [n, xml] {
        for (int i = 0; i < n; ++i) Must(xml->Go_to_Child(Name(L"c", i).GetStr()) && xml->Go_to_Parent());
        for (int i = n; i-- > 0;) Must(xml->RemoveChild(Name(L"c", i).GetStr()));
    };
}

std::function<void()> DeleteFromConfig(int n) {
    std::string text;
    for (int i = 0; i < n; ++i) text += "[group " + Digits(i) + "]\nkey=" + Digits(i) + "\n";
    for (int i = 0; i < n; ++i) text += "key " + Digits(i) + "=1\n";
    return [n, path = WriteFile(EmptyFolder() / "app.ini", text)] {
        KxConfigFast config(path);
        config.SetGroup(Name(L"group ", n - 1));
        for (int i = n; i-- > 0;) {
            config.FindKey(Name(L"key ", i));
            config.DeleteCurItem();
        }
        for (int i = n; i-- > 0;) config.DeleteGroup(Name(L"group ", i));
        Must(config.GetGroupCount() == 0);
    };
}

std::function<void()> RemoveFromLog(int n) {
    return [n] {
        KxExceptionManager manager;
        manager.ChangeBackupTiming(static_cast<BackupTiming>(3));  // no file
        manager.SetOldestPurgeDateTime(KxDateTime());
        manager.SetMaxErrorCount(static_cast<unsigned long>(n));
        for (int i = 0; i < n; ++i) {
            KxExceptionManagerException entry(KxDateTime(2026, 11, 21, 12, i % 60, 0), Name(L"group ", i % 20),
                                              EXCEPT_USER, L"m");
            manager.AddExceptionToLog(entry);
        }
        while (manager.GetTotalCount() > 0) manager.RemoveOldestException();
    };
}

/// An ini file that names groups to block.
std::function<void()> InitializeLog(int n) {
    std::filesystem::path const folder = EmptyFolder();
    std::string const groups(static_cast<std::size_t>(n), ',');
    KxString const path = WriteFile(
        folder / "app.ini", "[Initialization]\nBlockGroupReading=" + groups + "\nBlockGroupWriting=" + groups + "\n");
    return [path] {
        KxExceptionManager manager;
        manager.Initialize(path);
        Must(manager.BlockGroupNamesReading().Size() + manager.BlockGroupNamesWriting().Size() == 0);
    };
}

struct Made : KxDynamicObject {};
struct Maker final : KxAbstractFactory {
    KxDynamicObject* Create(KxString const&) override { return ++g_calls, new Made; }
};
std::function<void()> Factories(int n) {
    return [n] {
        Maker maker;
        std::vector<std::unique_ptr<KxFactoryListElement>> all;
        for (int i = 0; i < n; ++i) all.push_back(std::make_unique<KxFactoryListElement>(&maker, Name(L"Class", i)));
        for (int i = 0; i < n; ++i) Must(std::unique_ptr<KxDynamicObject>(CreateObject(Name(L"Class", i))) != nullptr);
        for (int i = n; i-- > 0;) all[static_cast<std::size_t>(i / 2 * 2 + 1 - i % 2)].reset();
    };
}

}  // namespace

std::vector<Case> LookUpCases() {
    int const xmlAttributes = static_cast<int>(KxN::KxxLimits().xmlAttributes);
    char const* const fewSlots = "a signal has few slots; an index would cost memory and time at each connection";
    return {
        {"signal: disconnect all, first to last", [](int n) { return Disconnect(n / 2, false); }, false, fewSlots},
        {"signal: disconnect all, last to first", [](int n) { return Disconnect(n / 2, true); }, false, fewSlots},
        {"receivers: remove each", RemoveReceivers, false, "a sender has few receivers"},
        {"operators: find each", [](int n) { return Operators(n, false); }},
        {"operators: find and remove each", [](int n) { return Operators(n, true); }, false, fewOperators},
        {"parameters: find each", [](int n) { return Parameters(n / 2); }, false, "an operator has few parameters"},
        {"entries of a list: select each", [](int n) { return Entries(n / 2); }, false,
         "a list to choose from is short"},
        {"lists: find each value", FindValues, false, noOrder},
        {"arrays: insert in front", InsertInFront, false, "what stands behind moves"},
        {"list: by mixed index", ListByMixedIndex, false, "its cursor walks; a queue takes any order"},
        {"xml: remove attributes, first to last", [](int n) { return RemoveAttributes(n, false); }, true, nullptr,
         xmlAttributes},
        {"xml: remove attributes, last to first", [](int n) { return RemoveAttributes(n, true); }, false,
         "the document walks to what it takes out; KxLimits bounds their number", xmlAttributes},
        {"xml: children by name", [](int n) { return ChildrenByName(n / 4); }, false,
         "names are looked for in the order of the document"},
        {"fast configuration: delete each", DeleteFromConfig},
        {"log: remove the oldest", RemoveFromLog, true},
        {"log: groups to block in the ini file", InitializeLog},
        {"factories: register, make, remove", Factories},
    };
}

}  // namespace proof
