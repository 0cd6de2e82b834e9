// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/persistence/syTagArchive.h"

#include "hbtools/base/syClassName.h"
#include "hbtools/base/syResource.h"
#include "persistence/syTagChain.h"
#include "persistence/syTextIds.h"

#include <memory>

namespace KxN {

namespace {

constexpr wchar_t const* sourceName = L"syTagArchive";

// The block sizes of the list of levels: maximum, step, minimum.
constexpr int levelBlockMaximum = 16368;
constexpr int levelBlockStep = 16;

}  // namespace

KxTagArchiveException::KxTagArchiveException(KxString const& sourceFile, unsigned long line, KxString const& specMsg,
                                             KxString const& className, unsigned long tagID, KxString const& fileName)
    : KxRuntimeException(sourceFile, line),
      m_specMsg(specMsg),
      m_className(className),
      m_fileName(fileName),
      m_tagID(tagID) {}

void KxTagArchiveException::BuildMessage() {
    m_message.SPrintf(m_specMsg, m_className, m_tagID, m_fileName);
    KxRuntimeException::BuildMessage();
}

KxArchiveException::KxArchiveException(KxString const& sourceFile, unsigned long line, KxString const& specMsg,
                                       KxString const& fileName)
    : KxRuntimeException(sourceFile, line), m_specMsg(specMsg), m_fileName(fileName) {}

void KxArchiveException::BuildMessage() {
    m_message.SPrintf(m_specMsg, m_fileName);
    KxRuntimeException::BuildMessage();
}

KxTagArchive::STagLevel::STagLevel(ULONGLONG position, std::uint32_t levelMode)
    : startPosition(position), mode(levelMode), readPosition(position), lastTagPosition(position), chain(nullptr) {}

KxTagArchive::STagLevel::~STagLevel() {
    delete chain;
}

KxTagArchive::KxTagArchive(CFile* file, unsigned long mode)
    : m_mode(mode & 0xff), m_file(file), m_levels(levelBlockMaximum, levelBlockStep, levelBlockStep) {
    Push(OpenFile().GetPosition(), static_cast<std::uint32_t>(m_mode));
}

KxTagArchive::~KxTagArchive() {
    for (STagLevel* level : m_levels) delete level;
}

void KxTagArchive::Push(ULONGLONG position, std::uint32_t mode) {
    auto level = std::make_unique<STagLevel>(position, mode);
    m_levels.Append(level.get());
    m_top = level.release();
}

CFile& KxTagArchive::OpenFile() const {
    if (!m_file) AfxThrowFileException(CFileException::invalidFile);
    return *m_file;
}

/// Lends the level's knowledge to the tag for one call.
class KxTagArchive::Lending {
public:
    Lending(KxTag& tag, STagLevel& level) : m_tag(tag) {
        if (!level.chain) level.chain = new detail::TagChain(level.startPosition);
        tag.m_chain = level.chain;
    }
    Lending(Lending const&) = delete;
    Lending& operator=(Lending const&) = delete;
    ~Lending() { m_tag.m_chain = nullptr; }

private:
    KxTag& m_tag;
};

KxTagArchive& KxTagArchive::operator<<(KxTag& tag) {
    CFile& file = OpenFile();
    STagLevel& level = Top();
    if ((level.mode & replaceTags) && file.GetLength() > level.startPosition) {
        Lending const lending(tag, level);
        if (tag.Replace(&file, level.startPosition)) return *this;
    }
    ULONGLONG const position = file.Seek(0, CFile::end);
    tag.Append(&file, level.lastTagPosition);
    level.lastTagPosition = position;
    return *this;
}

KxTagArchive& KxTagArchive::operator>>(KxTag& tag) {
    STagLevel& level = Top();
    if (level.mode & skipReads) return *this;
    CFile& file = OpenFile();
    ULONGLONG const remembered = file.GetPosition();
    bool found;
    {
        Lending const lending(tag, level);
        found = tag.Read(&file, level.readPosition) != 0 || tag.Read(&file, level.startPosition) != 0;
    }
    if (!found) {
        level.mode &= ~lastReadFound;
        file.Seek(static_cast<LONGLONG>(remembered), CFile::begin);
        if (level.mode & optionalTags) return *this;
        throw new KxTagArchiveException(sourceName, __LINE__, KxString(KxResId(text::TagMissing)),
                                        KxxClassName(typeid(tag)), tag.GetID(), file.GetFileName());
    }
    level.mode |= lastReadFound;
    if (tag.GetNextTag() != 0) level.readPosition = tag.GetNextTag();
    return *this;
}

void KxTagArchive::LevelDown() {
    Push(OpenFile().GetPosition(), Top().mode);
    STagLevel& level = Top();
    level.mode &= ~optionalTags;
    if (!(level.mode & lastReadFound)) level.mode |= skipReads;
}

void KxTagArchive::LevelUp() {
    int const last = m_levels.Count() - 1;
    if (last < 1) return;
    delete m_levels.Remove(last);
    m_top = m_levels[last - 1];
}

void KxTagArchive::Flush() {
    OpenFile().Flush();
}

void KxTagArchive::Close() {
    OpenFile().Flush();
    m_file = nullptr;
}

void KxTagArchive::Abort() {
    m_file = nullptr;
}

}  // namespace KxN
