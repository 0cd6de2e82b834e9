// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Graph.h"

#include <hbtools/base/syEncoding.h>

#include <fmt/format.h>

#include <utility>

namespace hbtag {

using namespace KxN;

namespace {

constexpr unsigned long typesId = 208002;
constexpr unsigned long addressId = 208003;
constexpr long long mostTypes = 64;  // shown

std::string Joined(std::vector<std::string> const& parts, char const* separator) {
    return fmt::format("{}", fmt::join(parts, separator));
}

}  // namespace

Graph::Graph(KxTagInspector& inspector) {
    auto const& records = inspector.Records();
    std::map<long long, unsigned long long> places;  // of objects, by their addresses
    std::vector<bool> isInside(static_cast<std::size_t>(records.Size()));
    for (int i = 0; i < records.Size(); ++i) {
        SxTagRecord const& record = records[i];
        int const parent = record.parent;
        if (record.kind == PayloadGraphObject) m_objects[i];
        if (parent < 0) continue;
        bool const isPart = records[parent].kind == PayloadGraphObject;
        isInside[static_cast<std::size_t>(i)] = isPart || isInside[static_cast<std::size_t>(parent)];
        if (!isPart) continue;
        Object& object = m_objects[parent];
        if (record.image.id == typesId && record.kind == PayloadIntArray && object.types.empty()) {
            for (long long k = 0; k < record.count && k < mostTypes; ++k)
                object.types.push_back(KxxToUtf8(inspector.PayloadText(record, k, 1, L"").View()));
            object.hasMoreTypes = record.count > mostTypes;
            m_remarks[i] = ", the types";
        } else if (record.image.id == addressId && inspector.ReadInteger(record, object.address)) {
            object.hasAddress = true;
            m_remarks[i] = ", the address";
            places.emplace(object.address, records[parent].position);
        }
    }
    for (int i = 0; i < records.Size() && !places.empty(); ++i) {
        SxTagRecord const& record = records[i];
        long long value = 0;
        if (!isInside[static_cast<std::size_t>(i)] || record.payloadSize != 8 || m_remarks.contains(i)) continue;
        if (!inspector.ReadInteger(record, value)) continue;
        auto const place = places.find(value);
        if (place != places.end()) m_references.emplace(i, place->second);
    }
}

std::string Graph::Describe(int record) const {
    Object const& object = m_objects.at(record);
    std::string text = "object of type " + (object.types.empty() ? "unknown" : Joined(object.types, " < "));
    if (object.hasMoreTypes) text += " < ...";
    if (object.hasAddress) text += fmt::format(", address {:#x}", static_cast<unsigned long long>(object.address));
    return text;
}

std::string Graph::Remark(int record) const {
    auto const remark = m_remarks.find(record);
    if (remark != m_remarks.end()) return remark->second;
    auto const reference = m_references.find(record);
    return reference == m_references.end() ? "" : fmt::format(", refers to the object at {}", reference->second);
}

std::string Graph::Json(int record) const {
    std::string text;
    auto const object = m_objects.find(record);
    if (object != m_objects.end()) {
        text = fmt::format(", \"types\": [{}]", Joined(object->second.types, ", "));
        // As text: numbers of scripts do not hold 64 bits.
        if (object->second.hasAddress)
            text +=
                fmt::format(", \"objectAddress\": \"{:#x}\"", static_cast<unsigned long long>(object->second.address));
    }
    auto const reference = m_references.find(record);
    if (reference != m_references.end()) text += fmt::format(", \"refersTo\": {}", reference->second);
    return text;
}

}  // namespace hbtag
