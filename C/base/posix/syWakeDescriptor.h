// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A descriptor that an event loop polls: readable when it was signalled, or once a time has come.
#pragma once

#include "syFutex.h"

namespace KxN::detail {

class WakeDescriptor {
public:
    /// @throws CFileException if the system gives no descriptors
    WakeDescriptor();
    WakeDescriptor(WakeDescriptor const&) = delete;
    WakeDescriptor& operator=(WakeDescriptor const&) = delete;
    ~WakeDescriptor();

    int Get() const { return m_all; }
    void Signal() const;
    /// Takes the signal back and sets the time.
    void Rest(Deadline next) const;

private:
    void Close() const;

    int m_all = -1;  // watches the two
    int m_event = -1;
    int m_timer = -1;
};

}  // namespace KxN::detail
