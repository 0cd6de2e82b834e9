// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Links that are lost: in each file of the released versions, one link at a time is set to 0, as if what stands behind had
// been appended and the link to it never been written.
#include "hbtools/persistence/syTagCopier.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <vector>

namespace {

using namespace KxN;
using Bytes = std::vector<char>;

TEST(GoldenLinks, OfRecordsBehindALostLinkNoneIsOutOfSight) {
    int numCases = 0;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(HBTOOLS_TEST_DATA "/golden")) {
        if (entry.path().extension() != ".tag") continue;
        std::ifstream in(entry.path(), std::ios::binary);
        Bytes const whole(std::istreambuf_iterator<char>(in), {});
        CMemFile file;
        file.Write(whole.data(), static_cast<UINT>(whole.size()));
        KxTagInspector inspector(&file);
        ASSERT_EQ(inspector.Inspect(), TagFileWhole);
        KxTDynArray<SxTagRecord> records(inspector.Records());
        for (SxTagRecord const& record : records) {
            if (record.image.nextTag == 0) continue;
            ++numCases;
            SCOPED_TRACE(entry.path().filename().string() + " record " + std::to_string(record.image.id) + " at " +
                         std::to_string(record.position));
            UINT const width = record.isLongForm ? 8 : 4;
            ULONGLONG const link = record.position + (record.isLongForm ? 22 : 14), none = 0;
            file.Seek(static_cast<LONGLONG>(link), CFile::begin);
            file.Write(&none, width);
            TagFileState const state = inspector.Inspect();
            for (SxTagRecord const& other : records) {
                bool isListed = false;
                for (SxTagRecord const& now : inspector.Records())
                    isListed |= now.position == other.position && now.kind == other.kind;
                EXPECT_TRUE(isListed) << "record " << other.image.id << " at " << other.position;
            }
            EXPECT_TRUE(state == TagFileDamaged || inspector.Remarks().Size() > 0);
            CMemFile copy;
            KxTagCopier copier(&file);
            copier.Repair(copy);
            EXPECT_EQ(copier.NumCopied(), records.Size());
            EXPECT_EQ(copier.Losses().Size(), 0);
            Bytes bytes(copy.GetLength());
            copy.Seek(0, CFile::begin);
            copy.Read(bytes.data(), static_cast<UINT>(bytes.size()));
            // Whether the link of a marker is lost, or that of the last record of its level, nothing tells.
            bool const isMarker = record.kind == PayloadNone || record.kind == PayloadGraphObject;
            EXPECT_TRUE(bytes == whole || state == TagFileWhole || isMarker);
            file.Seek(static_cast<LONGLONG>(link), CFile::begin);
            file.Write(whole.data() + link, width);
        }
    }
    EXPECT_GE(numCases, 66);
}

}  // namespace
