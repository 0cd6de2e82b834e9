// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The record of tag files. A tag has an id, a version, the size and place of its payload and the place of the
// next record of its level, so that a reader walks a chain and steps over what it does not know. KxTag reads and
// writes one record; KxTagArchive decides where. The bytes are told in Doc/formats/tags.md.
//
// A tag is a short-lived object bound to a caller's value, which it does not own and which must outlive it. It
// belongs to one thread. Damaged input raises CFileException (end of file), KxVersionException or, from kinds
// that read in blocks, CArchiveException; a walk never visits more records than the file can hold.
#pragma once

#include "hbtools/base/syFile.h"
#include "hbtools/base/syVersion.h"

namespace KxN {

class KxTagArchive;
namespace detail {
class TagChain;
}

/// Form of the records that are written: 18 bytes with 32-bit positions, or 30 bytes with 64-bit ones. Readers take
/// both, also mixed in one chain.
enum TagFormat : int { TagFormat32 = 0, TagFormat64 = 1 };

/// The form in force in the process, TagFormat32 at start. Set it before any thread writes: there is no lock.
KX_API TagFormat GetGlobalTagFormat();
KX_API void SetGlobalTagFormat(TagFormat format);

/// Image of a record, 64-bit form. nextTag is 0 at the end of a chain; positions are bytes from the file's begin.
struct KX_API STag {
    static constexpr UINT fileSize = 30;

    STag() = default;
    STag(std::uint32_t tagId, KxVersion tagVersion, ULONGLONG size, ULONGLONG address, ULONGLONG next)
        : id(tagId), version(tagVersion.GetValue()), dataSize(size), dataAddress(address), nextTag(next) {}
    KxVersion GetVersion() const { return KxVersion(version); }
    void SetVersion(KxVersion value) { version = value.GetValue(); }

    std::uint32_t id = 0;
    std::uint16_t version = 100;
    ULONGLONG dataSize = 0;
    ULONGLONG dataAddress = 0;
    ULONGLONG nextTag = 0;
};

/// Image of a record, 32-bit form.
struct KX_API STag32 {
    static constexpr UINT fileSize = 18;

    STag32() = default;
    STag32(std::uint32_t tagId, KxVersion tagVersion, std::uint32_t size, std::uint32_t address, std::uint32_t next)
        : id(tagId), version(tagVersion.GetValue()), dataSize(size), dataAddress(address), nextTag(next) {}
    KxVersion GetVersion() const { return KxVersion(version); }
    void SetVersion(KxVersion value) { version = value.GetValue(); }

    std::uint32_t id = 0;
    std::uint16_t version = 100;
    std::uint32_t dataSize = 0;
    std::uint32_t dataAddress = 0;
    std::uint32_t nextTag = 0;
};

class KX_API KxTag {
public:
    /// Looks for the tag's id in the chain that begins at `position` and reads its payload into the bound value.
    /// Returns non-zero if it was found; the tag then shows the version, size and positions of the file.
    /// Not found: returns 0, tag and value as before.
    /// @throws CFileException cause endOfFile for a broken chain, KxVersionException for a version nobody reads
    virtual int Read(CFile* file, ULONGLONG position);
    /// Writes the record at the end of the file and links it to the chain that `lastTagPosition` belongs to; equal
    /// to the end of the file it begins a new chain. Returns the position behind the payload.
    /// @throws CFileException; KxException where the 32-bit form is exceeded, before the record is written
    virtual ULONGLONG Append(CFile* file, ULONGLONG lastTagPosition);
    /// Overwrites the payload of the tag's id in the chain from `position`, once all of the new one is there; the record's
    /// header stays. Returns 0 if the id is not there. Plain payloads overwrite whatever follows if they are longer than
    /// the old one; payloads with tags in them, and images of persistent objects, must fit where the old one stood. What
    /// stood there counts as far as both are made alike: they begin with a record of one id (behind equally many plain
    /// bytes), and so do the payloads of their last records, down to a value whose length is known. Plain bytes of a kind
    /// of the application's at the very end count only as far as their record declares them.
    /// @throws KxException, before a byte changes, if such a payload does not fit
    virtual int Replace(CFile* file, ULONGLONG position);
    virtual ~KxTag() = 0;

protected:
    /// @throws CArchiveException cause badIndex for an id that does not fit 32 bits, as a number or as a negative int, which
    /// stands for its 32 bits
    KxTag(unsigned long id, KxVersion version, unsigned long dataSize, unsigned long dataAddress, unsigned long nextTag)
        : m_image(IdOf(id), version, dataSize, dataAddress, nextTag) {}
    KxTag(KxTag const& other) : m_image(other.m_image), m_holdsObject(other.m_holdsObject) {}
    KxTag& operator=(KxTag const& other) {
        m_image = other.m_image;
        m_holdsObject = other.m_holdsObject;
        return *this;
    }

    /// For constructors: the payload is the image of a persistent object, and so is what Replace writes over.
    void SetHoldsObject() { m_holdsObject = true; }

    /// Reads the payload into the bound value; the file stands at its first byte. Returns non-zero on success.
    virtual int ReadData(CFile* file, STag const& header) = 0;
    /// The same for a payload of another version. The base throws KxVersionException.
    virtual int ReadOldVersionData(CFile* file, STag const& header);
    /// Writes the payload at the file's position.
    virtual void WriteData(CFile* file) = 0;

    /// Walks the chain from `position` to the tag's id. Found: returns 1, `header` is the record and the file stands
    /// at its payload. Otherwise 0.
    int ReadTagHeader(CFile* file, ULONGLONG position, STag& header);
    /// Reads `size` bytes of the payload; nothing if `buffer` is null. @throws CFileException cause endOfFile
    void ReadTagData(CFile* file, STag const& header, void* buffer, ULONGLONG size);
    /// Writes this tag's header at the file's position, which must be `position`, in the global form.
    void WriteTagHeader(CFile* file, ULONGLONG position);
    /// Writes dataSize (its low 32 bits) bytes; nothing if `buffer` is null.
    void WriteTagData(CFile* file, void const* buffer);
    /// Sets the link of the last record of the chain from `firstPosition` to `newTag`. A chain in which an 18-byte
    /// record was met gets an 18-byte image.
    void ChangeLastTagAddress(CFile* file, ULONGLONG firstPosition, ULONGLONG newTag);

public:
    unsigned long GetID() const { return m_image.id; }
    void SetID(unsigned long id) { m_image.id = IdOf(id); }  ///< @throws as the constructor, the id as before
    KxVersion GetVersion() const { return m_image.GetVersion(); }
    void SetVersion(KxVersion version) { m_image.SetVersion(version); }
    ULONGLONG GetDataSize() const { return m_image.dataSize; }
    void SetDataSize(ULONGLONG size) { m_image.dataSize = size; }
    ULONGLONG GetNextTag() const { return m_image.nextTag; }
    void SetNextTag(ULONGLONG position) { m_image.nextTag = position; }
    ULONGLONG GetDataAddress() const { return m_image.dataAddress; }

private:
    friend class KxTagArchive;
    friend class KxNumeratedTag;

    /// Ids are often given as int: negative ones arrive here with their sign in the upper half.
    static std::uint32_t IdOf(unsigned long id) {
        auto const stored = static_cast<std::uint32_t>(id);
        if (stored != id && static_cast<unsigned long>(static_cast<std::int32_t>(stored)) != id) [[unlikely]]
            ThrowBadId();
        return stored;
    }
    [[noreturn]] static void ThrowBadId();

    STag m_image;
    bool m_holdsObject = false;
    detail::TagChain* m_chain = nullptr;  // what the archive remembers of the level, while it calls Read or Replace
};

inline KxTag::~KxTag() = default;

}  // namespace KxN
