// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxOperatorMgr: the operators of an application, in the order of insertion, which it owns. The application makes one
// and sets pOperatorMgr, by which command lines and macros find it; both stay the application's affair.
//
// A copy lists the same operators. Each is destroyed once, by the last manager that lets go of it: a copy never leaves
// a pointer that dangles. Errors are KxOperatorMgrException, a null pointer CInvalidArgException, thrown before
// anything changes. A manager belongs to one thread at a time, and so do its operators.
#pragma once

#include "hbtools/base/syException.h"
#include "hbtools/core/syMem.h"
#include "hbtools/core/sySVQueue.h"

#include <memory>

namespace KxN {

class KxOperator;

class KX_API KxOperatorMgr {
public:
    KxOperatorMgr();
    KxOperatorMgr(KxOperatorMgr const& other);
    /// Lists the operators of the other, then lets go of those it had, first to last.
    KxOperatorMgr& operator=(KxOperatorMgr const& other);
    /// Destroys the operators, first to last.
    virtual ~KxOperatorMgr();

    /// Takes the operator over. Only ids are compared: of operators with one name the first is found.
    /// @throws KxOperatorMgrException if one of its id is there; it then remains the caller's
    void Insert(KxOperator* newOperator);
    /// Takes an operator out and destroys it. Looks at those in front of it, of at most 65,536.
    /// @throws KxOperatorMgrException if it is not there; nothing is destroyed
    void Remove(KxOperator* oldOperator);
    void Remove(unsigned short id);

    /// The operator of that id, or the first of that name, which is compared exactly. The manager keeps it. How many there are
    /// makes no difference, but for the first call, and the first after an operator got another id.
    /// @throws KxOperatorMgrException if there is none
    KxOperator* GetOperator(unsigned short id) const;
    KxOperator* GetOperator(KxString const& fixName) const;
    /// In the order of insertion; null when the index is not below the count.
    KxOperator* GetOperatorIndexed(unsigned long index) const;
    int Exists(unsigned short id) const;
    int Exists(KxString const& fixName) const;
    unsigned short GetNumOperators() const { return static_cast<unsigned short>(m_operators.Count()); }
    /// Writes the names into the array from index 0 on. It is not resized: names beyond its end are left out.
    void GetAllOperatorNames(KxTMem<KxString>& names) const;

private:
    struct Index;

    bool HasIndex() const;
    template <class Action>
    void UpdateIndex(Action action) const;
    KxOperator* Find(unsigned short id) const;
    KxOperator* Find(KxString const& fixName) const;
    void RemoveAt(int index);

    KxTSVQueue<KxOperator*> m_operators{1024, 16, 16};
    mutable std::unique_ptr<Index> m_index;  // made when something is looked for
};

/// The manager that command lines use; null until the application sets it, and never owned by the library.
extern KX_API KxOperatorMgr* pOperatorMgr;

/// An operator is unknown, or known already.
class KX_API KxOperatorMgrException : public KxRuntimeException {
public:
    /// `specificMessage` follows on the operator's name in the text.
    KxOperatorMgrException(KxString const& sourceFile, unsigned long line, KxString const& operatorName,
                           KxString const& specificMessage);
    KxOperatorMgrException(KxOperatorMgrException& other) = default;
    KxOperatorMgrException& operator=(KxOperatorMgrException& other) = default;

    KxString GetOperatorName() const { return m_operatorName; }
    KxString GetSpecMsg() const { return m_specificMessage; }

protected:
    void BuildMessage() override;

private:
    KxString m_operatorName;
    KxString m_specificMessage;
};

}  // namespace KxN
