// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxRefCounter counts the references to an object and deletes it with the last of them. Objects of classes derived
// from it are made with new and held by KxTSmartPointer (see sySmartPointer.h), or by whoever calls Ref and Unref in
// pairs. The count begins at 0, so an object that nobody referenced yet is still its maker's. Nothing throws.
// Threads: the count is a plain number; references to one object stay within one thread or under its owner's lock.
#pragma once

#include "hbtools/base/syTypes.h"

namespace KxN {

class KX_API KxRefCounter {
public:
    KxRefCounter() = default;
    /// References are to one object: a copy begins with none, and assignment leaves the count alone.
    KxRefCounter(KxRefCounter const&) {}
    KxRefCounter& operator=(KxRefCounter const&) { return *this; }  // NOLINT(bugprone-unhandled-self-assignment)
    virtual ~KxRefCounter();

    virtual void Ref();
    /// Takes one reference away; deletes the object when the count is then below 1, also if it never had one.
    virtual void Unref();

    int GetRefCounterValue() const { return m_count; }

protected:
    /// For classes whose copies stand for the object itself, or begin anew.
    void SetRefCounterValue(int count) { m_count = count; }

private:
    int m_count = 0;
};

}  // namespace KxN
