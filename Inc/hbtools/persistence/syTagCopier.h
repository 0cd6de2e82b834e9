// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxTagCopier writes what stands in a tag file into another one without knowing its application: in the other form of
// records, or, of a damaged file, all that is whole. Records are linked anew in the order of their chains; payloads keep
// their bits. What the copy holds is looked at again before it counts: each record must be of the kind that it was.
//
//     KxTagCopier copier(&file);
//     if (copier.Repair(copy) == TagFileDamaged)
//         for (SxTagLoss const& loss : copier.Losses()) Show(loss.begin, loss.end, loss.text);
//
// The source is only read and must stay open. Payloads pass in parts; memory is taken for the records, not for what they
// hold. One thread. A payload of a kind that the library does not know is carried along as it is: positions within it are
// not known for what they are, unless a chain of records begins right there.
#pragma once

#include "hbtools/persistence/syTagInspector.h"

#include <memory>

namespace KxN {

/// Bytes of a source that are not in its repaired copy.
struct SxTagLoss {
    ULONGLONG begin = 0;     ///< First byte.
    ULONGLONG end = 0;       ///< Behind the last one; the same as `begin` where only a count was wrong.
    bool isRecord = false;   ///< They are a record or a part of one; otherwise they belong to none.
    ULONGLONG position = 0;  ///< Of the record.
    unsigned long id = 0;    ///< Of the record.
    TagPayloadKind kind = PayloadNone;
    LONGLONG kept = 0;      ///< Elements of an array that are in the copy; 0 if the record is not.
    LONGLONG promised = 0;  ///< Elements that it had, as far as can be told.
    KxString text;          ///< One sentence.
};

class KX_API KxTagCopier {
public:
    /// `source` is inspected when it is copied.
    explicit KxTagCopier(CFile* source);
    KxTagCopier(KxTagCopier const&) = delete;
    KxTagCopier& operator=(KxTagCopier const&) = delete;
    ~KxTagCopier();

    /// Writes all records in one form, and a file header as it is but for the form that it tells. A source that is damaged
    /// or foreign is not copied: its state is returned, and Faults() tells why. A file that was written in order by an
    /// archive comes back with the same bytes when it is converted there and back.
    /// @throws KxException if the form does not hold it, before anything is written, or if a record would be read as another
    /// kind; CFileException
    TagFileState Convert(CFile& target, TagFormat format);

    /// Writes all that is whole, each record in its own form. Of arrays that are cut the whole elements are kept; missing
    /// ones of the last row of a 2-D array become gaps (points that are not valid). Where bytes are missing within the source,
    /// or too many, records behind are found all the same; positions are then those that their heads tell. An object of
    /// a graph that lost its address is given another one. Returns what the source was, damaged too if records cover
    /// one another so that not all can be kept; nothing is written if it is foreign. The target is whole, or empty if
    /// no record is.
    /// @throws CFileException; KxException if a 32-bit record cannot stand where it comes to stand
    TagFileState Repair(CFile& target);

    /// Records in the target.
    int NumCopied() const;
    /// What was damaged in the source.
    KxTDynArray<SxTagFault> const& Faults() const;
    /// What Repair left behind, in the order of the source.
    KxTDynArray<SxTagLoss> const& Losses() const;
    /// The source as it was found: after Repair as KxTagInspector::Recover finds it.
    KxTagInspector& Source();

private:
    class Plan;
    std::unique_ptr<Plan> m_plan;
};

}  // namespace KxN
