// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/interchange/syDragSession.h"

#include "hbtools/base/syException.h"
#include "hbtools/persistence/syGeometryTags.h"
#include "hbtools/persistence/syTagArchive.h"

#include "../base/Support.h"

#include <optional>
#include <stdexcept>
#include <string>

using namespace KxN;

namespace {

UINT ScanFormat() {
    return RegisterClipboardFormat(L"Scan");
}

/// Ends its thread.
class End : public KxException {
public:
    End() : KxException(KxString(L"end")) {}
    bool EndsThread() const override { return true; }
};

/// A window with a scan, which it gives away and takes.
class View : public CWnd, public KxOleDragDropUser {
public:
    class DragDrop : public KxOleDragDrop {
    public:
        explicit DragDrop(View& view) : m_view(view) {}
        int OnRenderData(UINT, CFile& file) override {
            if (m_view.fails == "render") throw new KxException(KxString(L"no scan"));
            KxTagArchive archive(&file, 0);
            archive << KxVec3dArrayTag(1, m_view.points);
            return m_view.points.Size() > 0;
        }

    private:
        View& m_view;
    };

    View() { dragDrop.Init(this); }

    unsigned long OnDragEnter(CWnd*, COleDataObject* data, unsigned long, CPoint) override {
        Note("enter");
        return data->IsDataAvailable(ScanFormat()) ? effects : DROPEFFECT_NONE;
    }
    unsigned long OnDragOver(CWnd*, COleDataObject*, unsigned long keyState, CPoint point) override {
        Note("over" + std::to_string(point.x));
        return keyState ? DROPEFFECT_NONE : effects;
    }
    void OnDragLeave(CWnd*) override { Note("leave"); }
    int OnDrop(CWnd*, COleDataObject* data, unsigned long dropEffect, CPoint) override {
        Note("drop" + std::to_string(dropEffect));
        KxTArray<unsigned char> bytes = data->GetData(ScanFormat());
        if (bytes.Size() == 0) return 0;
        CMemFile file(bytes.Data(), static_cast<UINT>(bytes.Size()));
        KxTagArchive archive(&file, 0);
        archive >> KxVec3dArrayTag(1, points);
        return 1;
    }
    int OnBeginDrag(CWnd*) override {
        Note("begin");
        dragDrop.DelayRenderData(ScanFormat());
        return points.Size() > 0;
    }

    void Note(std::string const& what) {
        log += what + " ";
        if (what != fails) return;
        if (kind == "value") throw KxException(KxString(L"a value"));
        if (kind == "int") throw 5;
        if (kind == "end") throw new End;
        throw std::runtime_error("failed in " + what);
    }

    DragDrop dragDrop{*this};
    KxTArray<KxVec3d> points;
    unsigned long effects = DROPEFFECT_COPY | DROPEFFECT_MOVE;
    std::string log, fails, kind;
};

TEST(DragDrop, OneRegistrationServesBoth) {
    View view;
    EXPECT_EQ(COleDropTarget::Of(&view), nullptr);
    view.dragDrop.EnableDrag(&view);
    view.dragDrop.EnableDrop(&view);
    view.dragDrop.EnableDrop(&view);  // once more
    EXPECT_TRUE(view.dragDrop.IsEnabledDrag() && view.dragDrop.IsEnabledDrop());
    EXPECT_EQ(COleDropTarget::Of(&view), &view.dragDrop);
    KxOleDragDrop other;
    other.EnableDrop(&view);  // the window has its target
    EXPECT_FALSE(other.IsEnabledDrop());
    view.dragDrop.EnableDrag(nullptr);
    EXPECT_EQ(COleDropTarget::Of(&view), &view.dragDrop);
    view.dragDrop.EnableDrop(nullptr);
    EXPECT_EQ(COleDropTarget::Of(&view), nullptr);
    other.EnableDrag(&view);
    EXPECT_EQ(other.OnDrop(&view, nullptr, DROPEFFECT_COPY, {}), 0);  // dropping is off, and there is no user
    EXPECT_EQ(view.dragDrop.OnDrop(&view, nullptr, DROPEFFECT_COPY, {}), 0);
    EXPECT_EQ(view.log, "");
    struct : COleDropTarget {
    } nobody;  // takes nothing
    EXPECT_EQ(nobody.OnDragEnter(&view, nullptr, DROPEFFECT_COPY, {}), DROPEFFECT_NONE);
    EXPECT_EQ(nobody.OnDragOver(&view, nullptr, DROPEFFECT_COPY, {}), DROPEFFECT_NONE);
    EXPECT_EQ(nobody.OnDrop(&view, nullptr, DROPEFFECT_COPY, {}), 0);
    nobody.OnDragLeave(&view);
    EXPECT_FALSE(nobody.Register(nullptr));
    CWnd window;
    KxOleDragDrop alone;  // with nobody behind it who could take anything
    alone.EnableDrop(&window);
    EXPECT_TRUE(alone.IsEnabledDrop() && !alone.Register(&view));  // each has one window
    for (unsigned long const effect :
         {alone.OnDragEnter(&window, nullptr, 0, {}), alone.OnDragOver(&window, nullptr, 0, {})})
        EXPECT_EQ(effect, DROPEFFECT_NONE);
    alone.OnDragLeave(&window);
    EXPECT_FALSE(alone.OnDrop(&window, nullptr, DROPEFFECT_COPY, {}) || alone.OnBeginDrag(&window));
}

class Drag : public testing::Test {
protected:
    void SetUp() override {
        source.points.Resize(3);
        for (int i = 0; i < 3; ++i) source.points[i] = KxVec3d(i, 0.1 * i, -1);
        target.dragDrop.EnableDrop(&target);
        source.dragDrop.EnableDrop(&source);
    }
    View source, target;
};

TEST_F(Drag, BringsAScanFromOneWindowToAnother) {
    KxDragSession session(source.dragDrop, source.dragDrop, &source, DROPEFFECT_COPY | DROPEFFECT_LINK);
    EXPECT_TRUE(session.IsActive());
    EXPECT_EQ(session.MoveTo(&source, 0, {1, 1}), DROPEFFECT_COPY);
    EXPECT_EQ(session.MoveTo(nullptr, 0, {2, 1}), DROPEFFECT_NONE);
    EXPECT_EQ(session.MoveTo(&target, 0, {3, 1}), DROPEFFECT_COPY);  // what the source does not allow is none
    EXPECT_EQ(session.MoveTo(&target, 4, {4, 1}), DROPEFFECT_NONE);
    EXPECT_EQ(session.Drop(0, {5, 1}), DROPEFFECT_COPY);
    EXPECT_FALSE(session.IsActive());
    EXPECT_EQ(session.Drop(0, {5, 1}), DROPEFFECT_NONE);
    EXPECT_EQ(source.log, "begin enter leave ");
    EXPECT_EQ(target.log, "enter over4 over5 drop1 ");
    ASSERT_EQ(target.points.Size(), 3);
    EXPECT_EQ(target.points[2], source.points[2]);
}

TEST_F(Drag, EndsWithoutEffectWhereItMust) {
    struct Case {
        std::string targetFails, sourceFails, log, failure, kind = "";
    };
    for (Case const& c :
         {Case{"enter", "", "enter leave ", "failed in enter"},
          Case{"over2", "", "enter over2 leave ", "failed in over2"},
          Case{"drop1", "", "enter over2 drop1 leave ", "failed in drop1"},
          Case{"drop1", "", "enter over2 drop1 leave ", "a value", "value"},
          Case{"over2", "", "enter over2 leave ", "class int", "int"}, Case{"leave", "", "enter leave ", "", "int"},
          Case{"", "render", "enter over2 drop1 leave ", "no scan"}}) {
        target.kind = c.kind;
        target.log.clear();
        target.fails = c.targetFails;
        source.fails = c.sourceFails;
        KxDragSession session(source.dragDrop, source.dragDrop, &source, DROPEFFECT_COPY);
        session.MoveTo(&target, 0, {1, 1});
        if (c.targetFails == "leave") session.Cancel();
        EXPECT_EQ(session.Drop(0, {2, 1}), DROPEFFECT_NONE);
        EXPECT_EQ(target.log, c.log);
        EXPECT_EQ(test::U(session.GetFailure()), c.failure);
        EXPECT_FALSE(session.IsActive());
        EXPECT_EQ(target.points.Size(), 0);
    }
    target.kind = "end";  // is not kept
    for (char const* fails : {"over2", "leave"}) {
        target.fails = fails;
        KxDragSession session(source.dragDrop, source.dragDrop, &source, DROPEFFECT_COPY);
        session.MoveTo(&target, 0, {1, 1});
        EXPECT_EQ(test::Thrown<End>([&] { session.MoveTo(*fails == 'o' ? &target : nullptr, 0, {2, 1}); }), "end");
        EXPECT_FALSE(session.IsActive());
    }
    source.fails = target.fails = target.kind = "";
    target.log.clear();
    {
        KxDragSession session(source.dragDrop, source.dragDrop, &source, DROPEFFECT_COPY);
        session.MoveTo(&target, 0, {1, 1});
        EXPECT_EQ(session.Drop(4, {1, 1}), DROPEFFECT_NONE);  // the target has changed its mind
        session.Cancel();
        EXPECT_EQ(target.log, "enter over1 leave ");
    }
    target.log.clear();
    {
        KxDragSession const cancelled(source.dragDrop, source.dragDrop, &source, DROPEFFECT_COPY);
        KxDragSession session(source.dragDrop, source.dragDrop, &source, DROPEFFECT_COPY);
        session.MoveTo(&target, 0, {1, 1});
    }
    EXPECT_EQ(target.log, "enter leave ");
    KxDragSession leaving(source.dragDrop, source.dragDrop, &source, DROPEFFECT_COPY);
    leaving.MoveTo(&target, 0, {1, 1});
    target.dragDrop.EnableDrop(nullptr);
    EXPECT_EQ(leaving.MoveTo(&source, 0, {1, 1}), DROPEFFECT_COPY);
    EXPECT_EQ(target.log, "enter leave enter ");  // it takes no part any more
    KxDragSession nowhere(source.dragDrop, source.dragDrop, &source, DROPEFFECT_COPY);
    EXPECT_EQ(nowhere.MoveTo(&target, 0, {1, 1}), DROPEFFECT_NONE);
    EXPECT_EQ(nowhere.Drop(0, {1, 1}), DROPEFFECT_NONE);
    source.effects = DROPEFFECT_MOVE;
    source.log.clear();
    KxDragSession itself(source.dragDrop, source.dragDrop, &source, DROPEFFECT_MOVE);
    EXPECT_EQ(itself.MoveTo(&source, 0, {1, 1}), DROPEFFECT_MOVE);
    EXPECT_EQ(itself.Drop(0, {2, 1}), DROPEFFECT_NONE);  // else it would remove what it has just taken back
    EXPECT_FALSE(itself.IsActive());
    EXPECT_EQ(source.log + test::U(itself.GetFailure()), "begin enter over2 drop2 ");
    EXPECT_EQ(source.points.Size(), 3);
    source.effects = DROPEFFECT_COPY;
    target.dragDrop.EnableDrop(&target);
    for (std::string const& bytes :
         {std::string("abc"), std::string("\1\0\0\0\x64\0\xff\xff\xff\x7f\x12\0\0\0\0\0\0\0", 18)}) {
        COleDataSource lying;
        lying.CacheData(ScanFormat(), bytes.data(), static_cast<unsigned long>(bytes.size()));
        KxDragSession session(lying, source.dragDrop, &source, DROPEFFECT_COPY);
        session.MoveTo(&target, 0, {1, 1});
        EXPECT_EQ(session.Drop(0, {1, 1}), DROPEFFECT_NONE);
        EXPECT_NE(test::U(session.GetFailure()), "");
        EXPECT_EQ(target.points.Size(), 0);
    }
    source.points.Resize(0);
    EXPECT_FALSE(KxDragSession(source.dragDrop, source.dragDrop, &source, DROPEFFECT_COPY).IsActive());
}

TEST_F(Drag, ASourceThatDiesEndsIt) {
    std::optional<COleDataSource> data(std::in_place);
    COleDropSource begin;
    data->CacheData(ScanFormat(), "abc", 3);
    KxDragSession session(*data, begin, &source, DROPEFFECT_COPY);
    EXPECT_EQ(session.MoveTo(&target, 0, {1, 1}), DROPEFFECT_COPY);
    COleDataObject const object(*data);
    data.reset();
    EXPECT_FALSE(object.IsDataAvailable(ScanFormat()));
    EXPECT_EQ(object.GetData(ScanFormat()).Size() + object.GetFormats().Size(), 0);
    EXPECT_EQ(session.Drop(0, {2, 1}), DROPEFFECT_NONE);
    EXPECT_EQ(target.log, "enter leave ");
}

TEST(OleData, KeepsFormatsInTheirOrder) {
    COleDataSource source;
    COleDataObject const object(source);
    source.CacheData(2, "two", 3);
    source.DelayRenderData(1);
    source.CacheData(2, "zwei", 4);
    KxTArray<UINT> const formats = object.GetFormats();
    ASSERT_EQ(formats.Size(), 2);
    EXPECT_EQ(formats[0] * 10 + formats[1], 21u);
    KxTArray<unsigned char> const bytes = object.GetData(2);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "zwei");
    EXPECT_EQ(object.GetData(1).Size() + object.GetData(3).Size(), 0);  // nobody makes it; nobody offers it
    EXPECT_NE(test::Thrown<CInvalidArgException>([&] { source.CacheData(2, "", std::size_t{1} << 31); }), "");
    source.Empty();
    EXPECT_FALSE(object.IsDataAvailable(2) || COleDataObject().IsAlive());
}

}  // namespace
