// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Values of payloads as text, for the inspector's users.
#include "hbtools/base/syEncoding.h"
#include "persistence/syTagPayload.h"
#include "persistence/syTagRecord.h"

#include <algorithm>

namespace KxN::detail {

namespace {

template <class T>
T NumberAt(CFile& file, ULONGLONG position) {
    T value{};
    file.Seek(static_cast<LONGLONG>(position), CFile::begin);
    if (file.Read(&value, sizeof value) != sizeof value) ThrowEndOfFile(file);
    return value;
}

template <class T>
void AppendVector(std::wstring& text, CFile& file, ULONGLONG position, int components, ULONGLONG stride) {
    for (int i = 0; i < components; ++i) {
        if (i > 0) text += L' ';
        AppendNumber(text, NumberAt<T>(file, position + static_cast<ULONGLONG>(i) * stride));
    }
}

// The components of a single vector stand in records of their own.
template <class T>
void AppendInnerVector(std::wstring& text, CFile& file, ULONGLONG position, int components) {
    for (int i = 0; i < components; ++i) {
        STag record;
        ReadRecord(file, position, record);
        if (i > 0) text += L' ';
        AppendNumber(text, NumberAt<T>(file, record.dataAddress));
        position = NextInner(file, record);
    }
}

void AppendScalar(std::wstring& text, CFile& file, SxTagRecord const& record) {
    ULONGLONG const address = record.image.dataAddress;
    if (record.payloadSize == 2) {
        AppendNumber(text, NumberAt<short>(file, address));
    } else if (record.payloadSize == 4) {
        text += L"int ";
        AppendNumber(text, NumberAt<int>(file, address));
        text += L", float ";
        AppendNumber(text, NumberAt<float>(file, address));
    } else {
        text += L"int ";
        AppendNumber(text, NumberAt<long long>(file, address));
        text += L", double ";
        AppendNumber(text, NumberAt<double>(file, address));
    }
}

std::wstring NarrowText(CFile& file, SxTagRecord const& record) {
    std::string bytes(static_cast<std::size_t>(record.payloadSize), '\0');
    file.Seek(static_cast<LONGLONG>(record.image.dataAddress), CFile::begin);
    bytes.resize(file.Read(bytes.data(), static_cast<UINT>(bytes.size())));
    return KxxWidenNarrow(bytes.substr(0, bytes.find('\0')));
}

void AppendValue(std::wstring& text, CFile& file, ElementCursor& elements, SxTagRecord const& record, LONGLONG index) {
    ULONGLONG const address = record.image.dataAddress;
    ULONGLONG const number = static_cast<ULONGLONG>(index);
    ULONGLONG const last = address + record.payloadSize;  // arrays stand at the end of their payload
    ULONGLONG const count = static_cast<ULONGLONG>(record.count);
    switch (record.kind) {
        case PayloadText: text += NarrowText(file, record); break;
        case PayloadScalar: AppendScalar(text, file, record); break;
        case PayloadBytes:
        case PayloadUnknown: text += KxxFormat(L"%02x", NumberAt<BYTE>(file, address + number)); break;
        case PayloadVec2s: AppendInnerVector<short>(text, file, address, 2); break;
        case PayloadVec2d: AppendInnerVector<double>(text, file, address, 2); break;
        case PayloadVec3d: AppendInnerVector<double>(text, file, address, 3); break;
        case PayloadVec3f: AppendInnerVector<float>(text, file, address, 3); break;
        case PayloadIntArray: AppendNumber(text, NumberAt<int>(file, last - (count - number) * sizeof(int))); break;
        case PayloadDoubleTags: AppendNumber(text, elements.Value(file, address, index)); break;
        case PayloadHistogram: {
            STag inside;
            ReadRecord(file, address, inside);
            AppendNumber(text, elements.Value(file, inside.dataAddress, index));
            break;
        }
        case PayloadVec2sArray: AppendVector<short>(text, file, last - (count - number) * 4, 2, 2); break;
        case PayloadVec3iArray: AppendVector<int>(text, file, last - (count - number) * 12, 3, 4); break;
        case PayloadVec3fArray:
        case PayloadVec3f2dArray: AppendVector<float>(text, file, last - (count - number) * 12, 3, 4); break;
        case PayloadVec3dArray:
        case PayloadVec3d2dArray: AppendVector<double>(text, file, last - (count - number) * 24, 3, 8); break;
        case PayloadNone:
        case PayloadEmptyArray:
        case PayloadImage:
        case PayloadGraphObject: break;
    }
}

}  // namespace

KxString PayloadValues(CFile& file, ElementCursor& elements, SxTagRecord const& record, LONGLONG first, LONGLONG count,
                       wchar_t const* separator) {
    LONGLONG const end = first + std::min(count, KxTagInspector::NumValues(record) - first);
    std::wstring text;
    for (LONGLONG i = first; i < end; ++i) {
        if (i > first) text += separator;
        AppendValue(text, file, elements, record, i);
    }
    return KxString(std::move(text));
}

}  // namespace KxN::detail
