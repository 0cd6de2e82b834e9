// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Bytes as a tag file that is repaired: the copy is whole, and comes back
// from a conversion as it was.
#include "hbtools/base/syException.h"
#include "hbtools/persistence/syTagCopier.h"

#include "FuzzInput.h"

#include <string>

using namespace KxN;

namespace {

std::string BytesOf(CFile& file) {
    std::string bytes(static_cast<std::size_t>(file.GetLength()), '\0');
    file.Seek(0, CFile::begin);
    file.Read(bytes.data(), static_cast<UINT>(bytes.size()));
    return bytes;
}

void Require(bool isTrue) {
    if (!isTrue) Broken();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzInput input(data, size);
    CMemFile copy, other, back;
    KxTagCopier copier(&input);
    TagFileState const state = copier.Repair(copy);
    if (state == TagFileForeign) return 0;
    for (SxTagLoss const& loss : copier.Losses())
        Require(state == TagFileDamaged && loss.begin <= loss.end && loss.end <= size);
    if (copy.GetLength() <= 512) return 0;  // nothing but a header is left
    KxTagInspector inspector(&copy);
    Require(inspector.Inspect() == TagFileWhole);
    // A form may not hold a version, and a payload without a known shape may look like something else where it comes to stand.
    Survive([&] {
        KxTagCopier converter(&copy), backward(&other);
        Require(converter.Convert(other, TagFormat64) == TagFileWhole);
        Require(backward.Convert(back, TagFormat32) == TagFileWhole);
        KxTagCopier again(&back);
        CMemFile last;
        Require(again.Convert(last, TagFormat64) == TagFileWhole);
        Require(BytesOf(last) == BytesOf(other));
    });
    return 0;
}
