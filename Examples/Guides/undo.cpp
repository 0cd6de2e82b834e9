// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/undo.md: a change of the data is taken back and done again.
#include <cstdio>
#include <memory>
#include <vector>
#include <hbtools/hbtools.h>

using namespace KxN;

namespace {

using Points = std::shared_ptr<std::vector<double> const>;

Points Filtered(Points const& scan) {
    return std::make_shared<std::vector<double> const>(scan->begin() + 1, scan->end());
}

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

}  // namespace

int main() {
    Points scan = std::make_shared<std::vector<double> const>(std::vector<double>{1, 2, 3});
    KxUndoRedo history;
    history.Begin(L"Filter");
    history.SaveState(new ScanState(scan));  // before the change, for each part of it
    scan = Filtered(scan);
    history.End(L"");
    if (history.CanUndo()) history.Undo();
    std::printf("undone: %zu values\n", scan->size());
    history.Redo();
    std::printf("done again: %zu values\n", scan->size());
}
