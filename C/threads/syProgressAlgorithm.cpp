// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/threads/syProgressAlgorithm.h"

namespace KxN {

KxProgressAlgorithm::KxProgressAlgorithm() = default;

KxProgressAlgorithm::KxProgressAlgorithm(KxProgressAlgorithm const& other) {
    *this = other;
}

KxProgressAlgorithm& KxProgressAlgorithm::operator=(KxProgressAlgorithm const& other) {
    SignalProgress.ConnectAsIn(other.SignalProgress);
    m_from = other.m_from;
    m_to = other.m_to;
    return *this;
}

KxProgressAlgorithm::~KxProgressAlgorithm() = default;

void KxProgressAlgorithm::SendProgress(int progress) {
    if (m_from == 0 && m_to == 100) return SignalProgress.Emit(progress);
    // Without sign the product wraps at 32 bits without harm.
    auto const from = static_cast<unsigned>(m_from), length = static_cast<unsigned>(m_to) - from;
    int const share = static_cast<int>(length * static_cast<unsigned>(progress)) / 100;
    SignalProgress.Emit(static_cast<int>(from + static_cast<unsigned>(share)));
}

void KxProgressAlgorithm::SetProgressRange(int from, int to) {
    m_from = from;
    m_to = to;
}

}  // namespace KxN
