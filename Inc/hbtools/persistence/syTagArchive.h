// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxTagArchive stores tags on a CFile and gets them back by id, in any order, on nested levels.
//
//     KxTagArchive archive(&file, 0);            KxTagArchive archive(&file, 1);
//     archive << KxNullTag(100);                 archive >> marker;      // a KxNullTag of id 100
//     archive.LevelDown();                       archive.LevelDown();
//     archive << KxStringTag(101, name);         archive >> nameTag >> pointsTag;
//     archive.LevelUp();                         archive.LevelUp();
//
// The file is the caller's and must stay open for the archive's whole life; one archive serves one store or load
// run of one thread. An archive remembers the chain of a level as it walks it, so that reading in any order costs
// about the same as reading in order. After a KxTagArchiveException the file and the level stand as before the read.
#pragma once

#include "hbtools/base/syException.h"
#include "hbtools/core/sySVQueue.h"
#include "hbtools/persistence/syTag.h"

namespace KxN {

/// A tag that was needed is not there. The text names tag class, id and file.
class KX_API KxTagArchiveException : public KxRuntimeException {
public:
    KxTagArchiveException(KxString const& sourceFile, unsigned long line, KxString const& specMsg,
                          KxString const& className, unsigned long tagID, KxString const& fileName);
    KxTagArchiveException(KxTagArchiveException& other) = default;
    KxTagArchiveException& operator=(KxTagArchiveException& other) = default;

    KxString GetSpecMsg() const { return m_specMsg; }  ///< The format text.
    KxString GetClassNameW() const { return m_className; }
    KxString GetFileName() const { return m_fileName; }
    unsigned long GetTagID() const { return m_tagID; }

protected:
    void BuildMessage() override;

private:
    KxString m_specMsg;
    KxString m_className;
    KxString m_fileName;
    unsigned long m_tagID;
};

/// A stream of objects holds what does not belong there. The text names the file.
class KX_API KxArchiveException : public KxRuntimeException {
public:
    KxArchiveException(KxString const& sourceFile, unsigned long line, KxString const& specMsg,
                       KxString const& fileName);
    KxArchiveException(KxArchiveException& other) = default;
    KxArchiveException& operator=(KxArchiveException& other) = default;

    KxString GetSpecMsg() const { return m_specMsg; }
    KxString GetFileName() const { return m_fileName; }

protected:
    void BuildMessage() override;

private:
    KxString m_specMsg;
    KxString m_fileName;
};

class KxBinHeader;

class KX_API KxTagArchive {
public:
    /// Begins the first level at the file's position. Bit 0 of `mode` means loading, bit 2 is reported by
    /// IsByteSwapping; only the low 8 bits are kept.
    KxTagArchive(CFile* file, unsigned long mode);
    KxTagArchive(KxTagArchive const&) = delete;
    KxTagArchive& operator=(KxTagArchive const&) = delete;
    /// Neither flushes nor closes the file.
    ~KxTagArchive();

    int IsLoading() const { return (m_mode & 1) != 0; }
    int IsStoring() const { return (m_mode & 1) == 0; }
    int IsByteSwapping() const { return (m_mode & 4) == 0; }  ///< Reported only: nothing is swapped.
    CFile* GetFile() const { return m_file; }

    /// Stores: appends the tag to the level, or in replace mode overwrites the record of its id if there is one.
    KxTagArchive& operator<<(KxTag& tag);
    KxTagArchive& operator<<(KxTag&& tag) { return *this << tag; }
    /// Loads: seeks the tag's id from the level's read position to its end, then from its begin.
    /// @throws KxTagArchiveException if it is not there and the level is in necessary mode
    KxTagArchive& operator>>(KxTag& tag);
    KxTagArchive& operator>>(KxTag&& tag) { return *this >> tag; }
    KxTagArchive& operator<<(KxTagArchive& (*function)(KxTagArchive&)) { return function(*this); }
    KxTagArchive& operator>>(KxTagArchive& (*function)(KxTagArchive&)) { return function(*this); }

    /// Stores or loads GetLen bytes of a file's header at the file's position, see syBinFileHeader.h. The present level
    /// begins right behind it, its mode as of a new archive that stores (0) or loads (1): set modes afterwards. Neither
    /// byte order nor length are checked, and a missing end counts as zeros.
    KxTagArchive& operator<<(KxBinHeader& header);
    KxTagArchive& operator>>(KxBinHeader& header);

    /// Begins a level at the file's position, that is behind the marker just stored or read, in necessary mode. If
    /// the last read did not find its tag, all reads of the new level do nothing until LevelUp.
    void LevelDown();
    /// Ends the level. The first level never ends before the archive does.
    void LevelUp();

    void Flush();  ///< Flushes the file.
    void Close();  ///< Flushes the file and lets go of it; it stays open and is the caller's.
    void Abort();  ///< Lets go of the file.

    /// Modes of the present level.
    unsigned long GetMode() const { return Top().mode; }
    void SetMode(unsigned long mode) { Top().mode = static_cast<std::uint32_t>(mode); }
    void SetOptionalTagsMode() { Top().mode |= optionalTags; }
    void SetNecessaryTagsMode() { Top().mode &= ~optionalTags; }
    int IsOptionalTagsMode() const { return (Top().mode & optionalTags) != 0; }
    int IsNecessaryTagsMode() const { return !IsOptionalTagsMode(); }
    void SetReplaceMode() { Top().mode |= replaceTags; }
    void SetAppendMode() { Top().mode &= ~replaceTags; }
    int IsReplaceMode() const { return (Top().mode & replaceTags) != 0; }
    int IsAppendMode() const { return !IsReplaceMode(); }
    void SetLastReadTagFound() { Top().mode |= lastReadFound; }
    void SetLastReadTagNotFound() { Top().mode &= ~lastReadFound; }
    int LastReadTagFound() const { return (Top().mode & lastReadFound) != 0; }
    void SetSkipReadTagsFlag() { Top().mode |= skipReads; }
    void ResetSkipReadTagsFlag() { Top().mode &= ~skipReads; }
    int SkipReadTags() const { return (Top().mode & skipReads) != 0; }

private:
    static constexpr std::uint32_t optionalTags = 0x0100;
    static constexpr std::uint32_t replaceTags = 0x0200;
    static constexpr std::uint32_t lastReadFound = 0x1000;
    static constexpr std::uint32_t skipReads = 0x2000;

    struct STagLevel {
        STagLevel(ULONGLONG position, std::uint32_t levelMode);
        ~STagLevel();

        ULONGLONG startPosition;
        std::uint32_t mode;
        ULONGLONG readPosition;
        ULONGLONG lastTagPosition;
        detail::TagChain* chain;  // owned; what is known of the chain from startPosition on
    };

    class Lending;

    STagLevel& Top() const { return *m_top; }
    void Push(ULONGLONG position, std::uint32_t mode);
    void BeginChain(std::uint32_t mode);
    CFile& OpenFile() const;

    unsigned long m_mode;
    CFile* m_file;
    KxTSVQueue<STagLevel*> m_levels;
    STagLevel* m_top = nullptr;
};

}  // namespace KxN
