// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/undo.md: it stands here, so that it compiles, and does what is said there.
#include "hbtools/state/syUndoRedo.h"

#include "../base/Guide.h"

#include <memory>
#include <vector>

using namespace KxN;

namespace {

using Points = std::shared_ptr<std::vector<double> const>;

Points Filtered(Points const& scan) {
    return std::make_shared<std::vector<double> const>(scan->begin() + 1, scan->end());
}

// clang-format off
class ScanState : public KxState {
public:
    explicit ScanState(Points& live) : m_live(live) {}
    void Read() override { m_kept = m_live; }
    void Write() override { m_live = m_kept; }
    KxState* Clone() override { return new ScanState(m_live); }
    ULONGLONG GetSize() const override { return m_kept->size() * sizeof(double); }

private:
    Points& m_live;
    Points m_kept;
};

TEST(UndoGuide, CodeOfTheDocumentation) {
    Points const first = std::make_shared<std::vector<double> const>(std::vector<double>{1, 2, 3});
    Points scan = first;
    KxUndoRedo history;
    history.Begin(L"Filter");
    history.SaveState(new ScanState(scan));  // before the change, for each part of it
    scan = Filtered(scan);
    history.End(L"");
    if (history.CanUndo()) history.Undo();
    EXPECT_EQ(scan, first);
    history.Redo();
    EXPECT_EQ(*scan, (std::vector<double>{2, 3}));
}
// clang-format on

TEST(UndoGuide, ShowsWhatStandsHere) {
    test::ExpectGuideShows("/Doc/undo.md", "/Tests/state/TestGuide.cpp", 2);
}

}  // namespace
