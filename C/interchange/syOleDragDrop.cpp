// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/interchange/syOleDragDrop.h"

#include "hbtools/base/syObject.h"

#include <algorithm>
#include <limits>
#include <map>
#include <utility>

namespace KxN {

UINT RegisterClipboardFormat(wchar_t const* name) {
    return RegisterWindowMessage(name);  // one table of names serves both
}

COleDataSource::COleDataSource() : m_self(std::make_shared<COleDataSource*>(this)) {}

COleDataSource::~COleDataSource() {
    *m_self = nullptr;
}

COleDataSource::SItem& COleDataSource::ItemFor(UINT format) {
    for (SItem& item : m_items)
        if (item.format == format) return item;
    return m_items.emplace_back(SItem{format, false, {}});
}

void COleDataSource::CacheData(UINT format, void const* bytes, std::size_t size) {
    if (size > static_cast<std::size_t>(std::numeric_limits<int>::max())) AfxThrowInvalidArgException();
    KxTArray<unsigned char> copy(static_cast<unsigned char const*>(bytes), static_cast<int>(size));
    SItem& item = ItemFor(format);
    item.isDelayed = false;
    item.bytes = std::move(copy);
}

void COleDataSource::DelayRenderData(UINT format) {
    SItem& item = ItemFor(format);
    item.isDelayed = true;
    item.bytes = {};
}

void COleDataSource::Empty() {
    m_items.clear();
}

int COleDataSource::OnRenderData(UINT, CFile&) {
    return 0;
}

int COleDataObject::IsDataAvailable(UINT format) const {
    COleDataSource const* const source = Source();
    return source && std::any_of(source->m_items.begin(), source->m_items.end(),
                                 [&](COleDataSource::SItem const& item) { return item.format == format; });
}

KxTArray<UINT> COleDataObject::GetFormats() const {
    COleDataSource const* const source = Source();
    KxTArray<UINT> formats(source ? static_cast<int>(source->m_items.size()) : 0);
    for (int i = 0; i < formats.Size(); ++i) formats[i] = source->m_items[static_cast<std::size_t>(i)].format;
    return formats;
}

KxTArray<unsigned char> COleDataObject::GetData(UINT format) const {
    COleDataSource* const source = Source();
    if (!source || !IsDataAvailable(format)) return {};
    COleDataSource::SItem const& item = source->ItemFor(format);
    if (!item.isDelayed) return item.bytes;
    CMemFile file(65536);
    if (!source->OnRenderData(format, file)) return {};
    if (file.GetLength() > ULONGLONG{std::numeric_limits<int>::max()}) AfxThrowInvalidArgException();
    auto const size = static_cast<int>(file.GetLength());
    KxTArray<unsigned char> bytes(size);
    file.Seek(0, CFile::begin);
    file.Read(bytes.Data(), static_cast<UINT>(size));
    return bytes;
}

COleDropSource::~COleDropSource() = default;

int COleDropSource::OnBeginDrag(CWnd*) {
    return 1;
}

namespace {

std::map<CWnd const*, COleDropTarget*>& Targets() {
    static auto& targets = *new std::map<CWnd const*, COleDropTarget*>;  // lives on for late destructors
    return targets;
}

}  // namespace

COleDropTarget::~COleDropTarget() {
    Revoke();
}

int COleDropTarget::Register(CWnd* window) {
    if (!window || (m_window && m_window != window)) return 0;
    COleDropTarget* const registered = Targets().emplace(window, this).first->second;
    if (registered != this) return 0;
    m_window = window;
    return 1;
}

void COleDropTarget::Revoke() {
    if (m_window) Targets().erase(m_window);
    m_window = nullptr;
}

COleDropTarget* COleDropTarget::Of(CWnd const* window) {
    auto const found = Targets().find(window);
    return found == Targets().end() ? nullptr : found->second;
}

unsigned long COleDropTarget::OnDragEnter(CWnd*, COleDataObject*, unsigned long, CPoint) {
    return DROPEFFECT_NONE;
}

unsigned long COleDropTarget::OnDragOver(CWnd*, COleDataObject*, unsigned long, CPoint) {
    return DROPEFFECT_NONE;
}

void COleDropTarget::OnDragLeave(CWnd*) {}

int COleDropTarget::OnDrop(CWnd*, COleDataObject*, unsigned long, CPoint) {
    return 0;
}

KxOleDragDropUser::~KxOleDragDropUser() = default;

void KxOleDragDrop::Enable(CWnd* window, int& flag, int const& other) {
    if (!window)
        flag = 0;
    else if (other && !flag)
        flag = 1;  // the window is registered already
    else
        flag = Register(window);
    if (!flag && !other) Revoke();
}

unsigned long KxOleDragDrop::OnDragEnter(CWnd* window, COleDataObject* data, unsigned long keyState, CPoint point) {
    return m_user ? m_user->OnDragEnter(window, data, keyState, point) : DROPEFFECT_NONE;
}

unsigned long KxOleDragDrop::OnDragOver(CWnd* window, COleDataObject* data, unsigned long keyState, CPoint point) {
    return m_user ? m_user->OnDragOver(window, data, keyState, point) : DROPEFFECT_NONE;
}

void KxOleDragDrop::OnDragLeave(CWnd* window) {
    if (m_user) m_user->OnDragLeave(window);
}

int KxOleDragDrop::OnDrop(CWnd* window, COleDataObject* data, unsigned long dropEffect, CPoint point) {
    return m_isDropEnabled && m_user ? m_user->OnDrop(window, data, dropEffect, point) : 0;
}

int KxOleDragDrop::OnBeginDrag(CWnd* window) {
    return m_user && m_user->OnBeginDrag(window) ? COleDropSource::OnBeginDrag(window) : 0;
}

}  // namespace KxN
