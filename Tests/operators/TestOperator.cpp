// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "OperatorTest.h"

using namespace test;

namespace {

std::string g_destroyed;

class Number : public KxParameterLong {
public:
    explicit Number(unsigned short id) : KxParameterLong(id, Id(100), 0, 1, {0, 10}, 1) {}
    ~Number() override { g_destroyed += "p" + std::to_string(GetId()) + " "; }
};

class Operator : public KxOperator {
public:
    explicit Operator(unsigned short id, unsigned short resId = 200) : KxOperator(id, Id(resId)) {}
    ~Operator() override { g_destroyed += "o" + std::to_string(GetId()) + " "; }
    KxOperator* Clone() const override { return new Operator(GetId()); }
    using KxOperator::Exists;
    using KxOperator::Insert;

protected:
    OperatorReturnCode DoExecute() override { return static_cast<OperatorReturnCode>(GetNumParameters()); }
};

CWnd* Window(int number) {
    return reinterpret_cast<CWnd*>(std::uintptr_t{16} * static_cast<std::uintptr_t>(number));
}

TEST(Operator, TextsPicturesAndRuns) {
    Operator filter(5);
    EXPECT_EQ(U(filter.GetFixName()) + U(filter.GetUIName()) + U(filter.GetHelpText()), "FilterGlättenGlättet");
    EXPECT_TRUE(filter.GetSmallBitmap().IsEmpty());
    CBitmap::Pixel const pixels[] = {1, 2, 3, 4, 5, 6};
    {
        CBitmap const bitmap(3, 2, pixels);
        filter.SetLargeBitmap(bitmap);
    }
    EXPECT_EQ(filter.GetLargeBitmap(), CBitmap(3, 2, pixels));
    EXPECT_EQ(filter.GetLargeBitmap().GetBits()[5], 6U);
    for (auto const& [width, height] : {std::pair(0, 5), {5, -1}, {65536, 32768}}) {
        EXPECT_EQ(Thrown<CInvalidArgException>([w = width, h = height] { CBitmap(w, h); }), "(no text)");
    }

    EXPECT_TRUE(filter.GetParentWindow() == nullptr && !filter.IsInteractive());
    EXPECT_EQ(filter.Execute(Window(1), 1), 0);
    EXPECT_TRUE(filter.GetParentWindow() == Window(1) && filter.IsInteractive());
    EXPECT_EQ(filter.Execute(0), 0);
    EXPECT_TRUE(filter.GetParentWindow() == Window(1) && !filter.IsInteractive());
    EXPECT_EQ(Thrown<KxNotImplementedException>([&] { filter.ParameterDialog(nullptr); }),
              "KxOperator::ParameterDialog");
    EXPECT_EQ(Thrown<KxNotImplementedException>([&] { filter.ParameterDialogDone(nullptr); }),
              "KxOperator::ParameterDialogDone");
}

TEST(Operator, OwnsItsParameters) {
    g_destroyed.clear();
    {
        Operator filter(5);
        auto* const first = new Number(3);
        filter.Insert(first);
        filter.Insert(new Number(100));
        filter.Insert(new Number(1));  // of the same name: the first is found
        Number same(3);
        EXPECT_EQ(Thrown<KxException>([&] { filter.Insert(&same); }),
                  "Der Parameter \"Value\" ist dem Operator \"Filter\" schon bekannt");
        EXPECT_NE(Thrown<CInvalidArgException>([&] { filter.Insert(nullptr); }), "");
        EXPECT_EQ(filter.GetNumParameters(), 3U);
        EXPECT_EQ(filter.GetParameter(L"Value"), first);
        EXPECT_EQ(filter.GetParameterIndexed(2)->GetId(), 1);
        EXPECT_EQ(filter.GetParameterIndexed(3), nullptr);
        EXPECT_TRUE(filter.Exists(&same) && filter.Exists(100) && !filter.Exists(2) && !filter.Exists(L"value"));
        EXPECT_EQ(Thrown<KxException>([&] { filter.GetParameter(L"value"); }),
                  "Der Parameter \"value\" ist dem Operator \"Filter\" unbekannt");
        EXPECT_EQ(Thrown<KxException>([&] { filter.GetParameter(7231); }),  // the library's text of that number
                  "Der Parameter \"ist der Applikation unbekannt\" ist dem Operator \"Filter\" unbekannt");
        g_destroyed.clear();
    }
    EXPECT_EQ(g_destroyed, "p3 o5 p3 p100 p1 ");
}

TEST(Operator, ShortCuts) {
    Operator all(5);
    all.Insert(new KxParameterLong(1, Id(100), 0, 0, {0, 10}, 1));
    all.Insert(new KxParameterDouble(2, Id(110), 0, 0, {0, 10}, 1, 1));
    all.Insert(new KxParameterBool(3, Id(120), 0, 0));
    all.Insert(new KxParameterString(4, Id(120), KxString(), KxString()));
    all.Insert(new KxParameterFile(5, Id(120), SxFileFilter{L"T", L"", L"txt"}, 0, KxString(), KxString()));
    all.Insert(new KxParameterList(6, Id(120), L"a", L"b", L"a", L"a"));
    all.SetParameterLong(1, 7);
    all.SetParameterDouble(2, 0.5);
    all.SetParameterBool(3, 1);
    all.SetParameterString(4, L"text");
    all.SetParameterFile(5, L"file");
    all.SetParameterList(6, L"b");
    EXPECT_TRUE(all.GetParameterLong(1) == 7 && all.GetParameterDouble(2) == 0.5 && all.GetParameterBool(3) == 1);
    EXPECT_EQ(U(all.GetParameterString(4)) + U(all.GetParameterFile(5)) + U(all.GetParameterList(6)), "textfile.txtb");
    for (void (*call)(Operator&) :
         {+[](Operator& o) { o.SetParameterLong(9, 1); }, +[](Operator& o) { o.GetParameterList(9); }})
        EXPECT_EQ(Thrown<KxException>([&] { call(all); }), "Der Parameter \"\" ist dem Operator \"Filter\" unbekannt");
}

class OperatorFiles : public TempFolder {};

TEST_F(OperatorFiles, AllParametersOrNone) {
    Operator filter(5);
    filter.Insert(new KxParameterLong(1, Id(100), 3, 4, {0, 10}, 1));
    filter.Insert(new KxParameterString(2, Id(120), L"x", L"y"));
    Put("ini", "[Other]\na=b\n[filter]\nValue=1\n");
    filter.Save(Path("ini"));
    std::string const saved =
        "[Other]\na=b\n[filter]\nValue=3\nValue(default)=4\nValue(increment)=1\nMode=x\n"
        "Mode(default)=y\n";
    EXPECT_EQ(Get("ini"), saved);
    filter.SetParameterLong(1, 5);
    filter.SetParameterString(2, L"no\nvalue");
    EXPECT_NE(Thrown<KxFileException>([&] { filter.Save(Path("ini")); }), "");
    EXPECT_EQ(Get("ini"), saved);

    Listener first(*filter.GetParameterIndexed(0));
    struct Second : Listener {
        Second(KxOperator& theOperator) : Listener(*theOperator.GetParameterIndexed(1)), source(theOperator) {
            source.GetParameterIndexed(0)->SignalValueChanged.Connect(this, &Second::OnFirst);
        }
        void OnFirst(KxParameter&) {
            heard += "all of " + U(source.GetParameterString(2)) + " ";  // has its loaded value already
            throw std::runtime_error("a slot");
        }
        KxOperator& source;
    } second(filter);
    EXPECT_THROW(filter.Load(Path("ini")), std::runtime_error);
    EXPECT_EQ(first.Take(), "V:3 E1 A:3 ");
    EXPECT_EQ(second.Take(), "all of x V:x E1 A:x ");

    Put("ini", "[Filter]\nValue=11\nMode=z\n");
    EXPECT_NE(Thrown<KxReadKeywordException>([&] { filter.Load(Path("ini")); }).find("[Filter]"), std::string::npos);
    EXPECT_EQ(first.Take() + second.Take() + U(filter.GetParameterString(2)), "x");

    // What cannot be read is no file without parameters.
    KxString const folder(m_folder.wstring());
    EXPECT_NE(Thrown<KxFileException>([&] { filter.Load(folder); }).find(U(folder)), std::string::npos);
    EXPECT_NE(Thrown<KxFileException>([&] { filter.Save(folder); }), "");
    EXPECT_EQ(first.Take() + second.Take() + U(filter.GetParameterString(2)), "x");
}

TEST(OperatorMgr, InsertFindRemove) {
    g_destroyed.clear();
    {
        KxOperatorMgr manager;
        EXPECT_TRUE(manager.GetNumOperators() == 0 && !manager.Exists(5) && !manager.Exists(L"Filter"));
        auto* const first = new Operator(5);
        manager.Insert(first);
        manager.Insert(new Operator(6));
        manager.Insert(new Operator(7, 210));
        Operator stranger(5);
        EXPECT_EQ(Thrown<KxOperatorMgrException>([&] { manager.Insert(&stranger); }),
                  "Der Operator \"Filter\" ist der Applikation bereits bekannt");
        EXPECT_EQ(Thrown<KxOperatorMgrException>([&] { manager.Remove(&stranger); }),
                  "Der Operator \"Filter\" ist der Applikation unbekannt");
        EXPECT_EQ(Thrown<KxOperatorMgrException>([&] { manager.GetOperator(L"filter"); }),
                  "Der Operator \"filter\" ist der Applikation unbekannt");
        for (void (*call)(KxOperatorMgr&) :
             {+[](KxOperatorMgr& m) { m.Remove(6217); }, +[](KxOperatorMgr& m) { m.GetOperator(6217); }})
            EXPECT_EQ(Thrown<KxOperatorMgrException>([&] { call(manager); }).find("Der Operator \"Der Wert"), 0U);
        EXPECT_EQ(manager.GetOperator(L"Filter"), first);
        EXPECT_EQ(manager.GetOperator(6), manager.GetOperatorIndexed(1));
        EXPECT_EQ(manager.GetOperatorIndexed(3), nullptr);
        KxTMem<KxString> names(2);
        manager.GetAllOperatorNames(names);
        EXPECT_EQ(U(names[0]) + U(names[1]), "FilterFilter");
        KxTMem<KxString> more(4);  // than there are
        manager.GetAllOperatorNames(more);
        EXPECT_EQ(U(more[2]) + "," + U(more[3]), U(manager.GetOperatorIndexed(2)->GetFixName()) + ",");
        Thrown<CInvalidArgException>([&] { manager.Insert(nullptr); });
        Thrown<CInvalidArgException>([&] { manager.Remove(static_cast<KxOperator*>(nullptr)); });
        manager.GetOperator(6)->SetId(8, Id(220));
        EXPECT_EQ(manager.GetOperator(L"Self"), manager.GetOperator(8));
        g_destroyed.clear();
        manager.Remove(first);
        manager.Remove(8);
        EXPECT_EQ(g_destroyed, "o5 o8 ");
        manager.Insert(new Operator(1));
        auto* const changed = new Operator(2);
        manager.Insert(changed);
        changed->SetId(3, Id(220));
        manager.Remove(changed);
        EXPECT_FALSE(manager.Exists(2) || manager.Exists(3));
        g_destroyed.clear();
    }
    EXPECT_EQ(g_destroyed, "o5 o7 o1 ");  // the stranger is not the manager's
}

// A listed operator may get the id of another one: they are found in their order.
TEST(OperatorMgr, OperatorsOfOneId) {
    for (unsigned long const removed : {0UL, 1UL}) {
        KxOperatorMgr manager;
        KxOperator* const both[] = {new Operator(5), new Operator(6)};
        for (KxOperator* each : both) manager.Insert(each);
        both[1]->SetId(5, Id(200));
        EXPECT_EQ(manager.GetOperator(5), both[0]);
        manager.Remove(both[removed]);
        EXPECT_EQ(manager.GetOperator(5), both[1 - removed]);
        Operator third(5);
        EXPECT_NE(Thrown<KxOperatorMgrException>([&] { manager.Insert(&third); }), "");
        manager.Remove(5);
        EXPECT_FALSE(manager.Exists(5) || manager.Exists(L"Filter"));
    }
}

TEST(OperatorMgr, CopiesShareOperatorsThatDieOnce) {
    g_destroyed.clear();
    auto source = std::make_unique<KxOperatorMgr>();
    source->Insert(new Operator(1));
    source->Insert(new Operator(2));
    KxOperatorMgr copy(*source), assigned;
    assigned.Insert(new Operator(9));
    assigned = copy;
    KxOperatorMgr const& itself = assigned;
    assigned = itself;
    EXPECT_EQ(g_destroyed, "o9 ");
    source->Remove(1);
    EXPECT_EQ(copy.GetNumOperators(), 2);
    source.reset();
    copy.Remove(1);
    EXPECT_EQ(g_destroyed, "o9 ");
    EXPECT_EQ(assigned.GetOperator(1)->GetId(), 1);
    assigned = KxOperatorMgr();
    EXPECT_EQ(g_destroyed, "o9 o1 ");
    copy.Remove(2);
    EXPECT_EQ(g_destroyed, "o9 o1 o2 ");
}

TEST(OperatorMgr, ExceptionCopies) {
    KxOperatorMgrException original(L"file", 3, L"100%s", L"tail");
    KxOperatorMgrException copy(original), other(L"", 0, L"", L"");
    other = original;
    for (KxOperatorMgrException* each : {&copy, &other}) {
        EXPECT_EQ(U(each->GetMessage()), "Der Operator \"100%s\" tail");
        EXPECT_EQ(U(each->GetOperatorName()) + U(each->GetSpecMsg()) + U(each->GetSrcFileName()), "100%stailfile");
    }
}

}  // namespace
