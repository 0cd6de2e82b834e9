// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A step of the history beside the same kept by hand in a vector: 10 MB of state, of which each step changes a thousandth.
#include "hbtools/state/syUndoRedo.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <utility>
#include <vector>

using namespace KxN;

namespace {

constexpr std::size_t stateBytes = 10'000'000;
constexpr std::size_t partBytes = stateBytes / 1000;
constexpr int steps = 1000;

struct Part {
    std::size_t at;
    std::vector<char> bytes;
};

class PartState : public KxState {
public:
    PartState(std::vector<char>& data, std::size_t at) : m_data(data), m_at(at) {}
    void Read() override {
        auto const first = m_data.begin() + static_cast<std::ptrdiff_t>(m_at);
        m_bytes.assign(first, first + partBytes);
    }
    void Write() override { std::memcpy(m_data.data() + m_at, m_bytes.data(), m_bytes.size()); }
    KxState* Clone() override { return new PartState(m_data, m_at); }
    ULONGLONG GetSize() const override { return m_bytes.capacity(); }

private:
    std::vector<char>& m_data;
    std::size_t m_at;
    std::vector<char> m_bytes;
};

std::size_t PlaceOf(int step) {
    return static_cast<std::size_t>(step) * 7919 % 1000 * partBytes;
}

void UndoOurs(benchmark::State& state) {
    std::vector<char> data(stateBytes, 'x');
    KxUndoRedo undo;
    for (auto _ : state) {
        for (int i = 0; i < steps; ++i) {
            undo.Begin(L"Filter");
            undo.SaveState(new PartState(data, PlaceOf(i)));
            std::memset(data.data() + PlaceOf(i), i, partBytes);
            undo.End(L"");
        }
        state.counters["bytes"] = static_cast<double>(undo.GetSize());  // of the steps that are kept
        while (undo.CanUndo()) undo.Undo();
        undo.Clear();
    }
}
BENCHMARK(UndoOurs)->Name("undo history/hbtools")->Arg(steps)->UseRealTime();

void UndoByHand(benchmark::State& state) {
    std::vector<char> data(stateBytes, 'x');
    for (auto _ : state) {
        std::vector<Part> done, undone;
        for (int i = 0; i < steps; ++i) {
            auto const first = data.begin() + static_cast<std::ptrdiff_t>(PlaceOf(i));
            done.push_back({PlaceOf(i), std::vector<char>(first, first + partBytes)});
            std::memset(data.data() + PlaceOf(i), i, partBytes);
            if (done.size() > 20) done.erase(done.begin());
        }
        for (; !done.empty(); done.pop_back()) {
            Part const& part = done.back();
            auto const first = data.begin() + static_cast<std::ptrdiff_t>(part.at);
            undone.push_back({part.at, std::vector<char>(first, first + partBytes)});
            std::memcpy(data.data() + part.at, part.bytes.data(), partBytes);
        }
    }
}
BENCHMARK(UndoByHand)->Name("undo history/vectors by hand")->Arg(steps)->UseRealTime();

}  // namespace
