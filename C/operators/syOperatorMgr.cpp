// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/operators/syOperatorMgr.h"

#include "hbtools/base/syObject.h"
#include "hbtools/operators/syOperator.h"
#include "operators/syOperatorParts.h"

#include <functional>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace KxN {

KxOperatorMgr* pOperatorMgr = nullptr;

namespace {

[[noreturn]] void Throw(unsigned long line, KxString const& operatorName, unsigned short textId) {
    throw new KxOperatorMgrException(L"syOperatorMgr", line, operatorName, detail::TextOf(textId));
}

}  // namespace

struct KxOperatorMgr::Index {
    struct NameHash : std::hash<std::wstring_view> {
        using is_transparent = void;  // looking up copies no name
    };

    // Those of one id, and of one name, in their order: SetId gives a listed one any of them.
    std::unordered_map<unsigned short, std::vector<KxOperator*>> byId;
    std::unordered_map<std::wstring, std::vector<KxOperator*>, NameHash, std::equal_to<>> byName;
    unsigned long long renamings = detail::CountRenamings();  // when it was made

    bool IsRight() const { return renamings == detail::CountRenamings(); }
    void Add(KxOperator* listed) {
        byId[listed->GetId()].push_back(listed);
        byName[std::wstring(listed->GetFixName().View())].push_back(listed);
    }
    void Remove(KxOperator* listed) {
        Remove(byId, byId.find(listed->GetId()), listed);
        Remove(byName, byName.find(listed->GetFixName().View()), listed);
    }

private:
    template <class MAP>
    static void Remove(MAP& map, typename MAP::iterator found, KxOperator* listed) {
        std::erase(found->second, listed);
        if (found->second.empty()) map.erase(found);
    }
};

KxOperatorMgr::KxOperatorMgr() = default;

KxOperatorMgr::KxOperatorMgr(KxOperatorMgr const& other) : m_operators(other.m_operators) {
    for (KxOperator* listed : m_operators) ++listed->m_managers;
}

KxOperatorMgr& KxOperatorMgr::operator=(KxOperatorMgr const& other) {
    KxOperatorMgr copy(other);
    m_operators.Swap(copy.m_operators);
    m_index.swap(copy.m_index);
    return *this;
}

KxOperatorMgr::~KxOperatorMgr() {
    m_index.reset();
    while (!m_operators.IsEmpty()) RemoveAt(0);
}

void KxOperatorMgr::RemoveAt(int index) {
    KxOperator* const removed = m_operators.Remove(index);
    UpdateIndex([&] { m_index->Remove(removed); });
    if (--removed->m_managers == 0) delete removed;
}

/// Runs what brings the index, if there is one, up to date; without memory for that there is none any more.
template <class Action>
void KxOperatorMgr::UpdateIndex(Action action) const {
    if (m_index && !m_index->IsRight()) m_index.reset();
    if (!m_index) return;
    try {
        action();
    } catch (std::bad_alloc const&) {
        m_index.reset();
    }
}

/// False where there is no memory for it: all are looked at then.
bool KxOperatorMgr::HasIndex() const {
    if (m_index && m_index->IsRight()) return true;
    m_index.reset(new (std::nothrow) Index);
    UpdateIndex([this] {
        for (KxOperator* listed : m_operators) m_index->Add(listed);
    });
    return m_index != nullptr;
}

KxOperator* KxOperatorMgr::Find(unsigned short id) const {
    if (HasIndex()) {
        auto const found = m_index->byId.find(id);
        return found == m_index->byId.end() ? nullptr : found->second.front();
    }
    for (KxOperator* listed : m_operators)
        if (listed->GetId() == id) return listed;
    return nullptr;
}

KxOperator* KxOperatorMgr::Find(KxString const& fixName) const {
    if (HasIndex()) {
        auto const found = m_index->byName.find(fixName.View());
        return found == m_index->byName.end() ? nullptr : found->second.front();
    }
    for (KxOperator* listed : m_operators)
        if (listed->GetFixName() == fixName) return listed;
    return nullptr;
}

void KxOperatorMgr::Insert(KxOperator* newOperator) {
    if (!newOperator) AfxThrowInvalidArgException();
    if (Find(newOperator->GetId())) Throw(__LINE__, newOperator->GetFixName(), text::OperatorKnown);
    m_operators.Append(newOperator);
    ++newOperator->m_managers;
    UpdateIndex([&] { m_index->Add(newOperator); });
}

void KxOperatorMgr::Remove(KxOperator* oldOperator) {
    if (!oldOperator) AfxThrowInvalidArgException();
    int const index = m_operators.Find(oldOperator);
    if (index < 0) Throw(__LINE__, oldOperator->GetFixName(), text::OperatorUnknown);
    RemoveAt(index);
}

void KxOperatorMgr::Remove(unsigned short id) {
    KxOperator* const found = Find(id);
    if (!found) Throw(__LINE__, detail::TextOf(id), text::OperatorUnknown);
    RemoveAt(m_operators.Find(found));
}

KxOperator* KxOperatorMgr::GetOperator(unsigned short id) const {
    KxOperator* const found = Find(id);
    if (!found) Throw(__LINE__, detail::TextOf(id), text::OperatorUnknown);
    return found;
}

KxOperator* KxOperatorMgr::GetOperator(KxString const& fixName) const {
    KxOperator* const found = Find(fixName);
    if (!found) Throw(__LINE__, fixName, text::OperatorUnknown);
    return found;
}

KxOperator* KxOperatorMgr::GetOperatorIndexed(unsigned long index) const {
    return index < static_cast<unsigned long>(m_operators.Count()) ? m_operators[static_cast<int>(index)] : nullptr;
}

int KxOperatorMgr::Exists(unsigned short id) const {
    return Find(id) != nullptr;
}

int KxOperatorMgr::Exists(KxString const& fixName) const {
    return Find(fixName) != nullptr;
}

void KxOperatorMgr::GetAllOperatorNames(KxTMem<KxString>& names) const {
    unsigned long index = 0;
    for (KxOperator const* listed : m_operators) {
        if (index == names.Size()) return;
        names[index++] = listed->GetFixName();
    }
}

KxOperatorMgrException::KxOperatorMgrException(KxString const& sourceFile, unsigned long line,
                                               KxString const& operatorName, KxString const& specificMessage)
    : KxRuntimeException(sourceFile, line), m_operatorName(operatorName), m_specificMessage(specificMessage) {}

void KxOperatorMgrException::BuildMessage() {
    m_message = detail::FormatOf(text::OperatorFault, m_operatorName) + m_specificMessage;
    KxRuntimeException::BuildMessage();
}

}  // namespace KxN
