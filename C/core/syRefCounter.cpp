// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/core/syRefCounter.h"

namespace KxN {

KxRefCounter::~KxRefCounter() = default;

void KxRefCounter::Ref() {
    ++m_count;
}

void KxRefCounter::Unref() {
    if (--m_count < 1) delete this;
}

}  // namespace KxN
