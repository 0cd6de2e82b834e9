// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What ties the records of object graphs together: types and addresses of the objects, and which numbers are references.
#pragma once

#include <hbtools/persistence/syTagInspector.h>

#include <map>
#include <string>
#include <vector>

namespace hbtag {

class Graph {
public:
    explicit Graph(KxN::KxTagInspector& inspector);

    /// Of the record of an object: "object of type 10 < 20, address 0x1000".
    std::string Describe(int record) const;
    /// What a record within an object is to the graph: ", the address", ", refers to the object at 18"; empty for most.
    std::string Remark(int record) const;
    /// Members for the JSON of a record, each behind a comma.
    std::string Json(int record) const;

private:
    struct Object {
        std::vector<std::string> types;  // numbers, from the root on
        bool hasMoreTypes = false;
        bool hasAddress = false;
        long long address = 0;
    };

    std::map<int, Object> m_objects;                 // by record
    std::map<int, unsigned long long> m_references;  // by record, to the position of an object's record
    std::map<int, char const*> m_remarks;
};

}  // namespace hbtag
