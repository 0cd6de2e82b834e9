// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Data on their way from one window to another, in one or more formats. A COleDataSource offers them, as bytes that it keeps
// or makes when they are asked for; a COleDataObject is what the receiver sees of it.
//
//     UINT const format = RegisterClipboardFormat(L"ScanLab scan");
//     source.CacheData(format, bytes, size);                  // or DelayRenderData, and a class with OnRenderData
//     if (object.IsDataAvailable(format)) Read(object.GetData(format));
//
// An object whose source is gone offers nothing. Everything belongs to the thread of the windows.
#pragma once

#include "hbtools/base/syFile.h"
#include "hbtools/base/syWnd.h"
#include "hbtools/core/syArray.h"

#include <memory>
#include <vector>

namespace KxN {

/// The number that stands for the name of a format in this process; 0 if there are no more.
KX_API UINT RegisterClipboardFormat(wchar_t const* name);

class KX_API COleDataSource {
public:
    COleDataSource();
    COleDataSource(COleDataSource const&) = delete;
    COleDataSource& operator=(COleDataSource const&) = delete;
    virtual ~COleDataSource();

    /// Offers a copy of the bytes, in place of what it offered in that format. Formats count in the order in which they come.
    /// @throws CInvalidArgException from 2 GiB on
    void CacheData(UINT format, void const* bytes, std::size_t size);
    /// Offers data that OnRenderData makes.
    void DelayRenderData(UINT format);
    /// Offers nothing any more.
    void Empty();

    /// Writes the data of a format that was offered so. 0 if there are none after all.
    virtual int OnRenderData(UINT format, CFile& file);

private:
    friend class COleDataObject;
    struct SItem {
        UINT format;
        bool isDelayed;
        KxTArray<unsigned char> bytes;
    };

    SItem& ItemFor(UINT format);

    std::vector<SItem> m_items;
    std::shared_ptr<COleDataSource*> m_self;  // null inside once it is gone
};

class KX_API COleDataObject {
public:
    COleDataObject() = default;
    explicit COleDataObject(COleDataSource& source) : m_source(source.m_self) {}

    int IsAlive() const { return Source() != nullptr; }  ///< Whether the source is still there.
    int IsDataAvailable(UINT format) const;
    /// All formats, in their order.
    KxTArray<UINT> GetFormats() const;
    /// The bytes; none if the format is not offered, or if there are no data after all. Throws what makes the data throws.
    /// @throws CInvalidArgException if 2 GiB or more are made
    KxTArray<unsigned char> GetData(UINT format) const;

private:
    COleDataSource* Source() const { return m_source ? *m_source : nullptr; }

    std::shared_ptr<COleDataSource*> m_source;
};

}  // namespace KxN
