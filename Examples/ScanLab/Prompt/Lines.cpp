// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Lines.h"

#include "../Operators/TextIds.h"

#include <hbtools/base/syEncoding.h>
#include <hbtools/base/syException.h>

#include <cstdio>
#include <string>

namespace ScanLab {

using namespace KxN;

bool Lines::Next(KxString& line) {
    std::string bytes;
    int c = 0;
    while ((c = std::getc(stdin)) != EOF && c != '\n') {
        if (bytes.empty()) ++m_number;
        if (bytes.size() == longest) throw new KxException(L"Lines", __LINE__, TextOf(Text::LineTooLong));
        bytes += static_cast<char>(c);
    }
    if (c == EOF && std::ferror(stdin)) throw new KxException(L"Lines", __LINE__, TextOf(Text::ReadingFails));
    if (c == EOF && bytes.empty()) return false;
    if (bytes.empty()) ++m_number;
    if (bytes.ends_with('\r')) bytes.pop_back();
    line.Assign(KxxWidenText(bytes));
    return true;
}

}  // namespace ScanLab
