// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A file of the system by its descriptor, for the sources of this room: whole reads and writes that survive
// interruptions and short counts. Every operation returns a system error number, 0 when it went well.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace KxN::detail {

/// The same file under a number above those of standard input, output and error: a program may have been started without
/// them, and what is meant for them must not go into a file. Closes the given one; -1 and errno if there is no number left.
int AboveStandard(int number) noexcept;

class Descriptor {
public:
    /// How to open; the sum of what applies.
    enum Flags : unsigned { read = 1, write = 2, create = 4, truncate = 8, append = 16 };

    Descriptor() = default;
    explicit Descriptor(int number) : m_number(number) {}
    Descriptor(Descriptor&& other) noexcept : m_number(other.Release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor();

    /// Opens a regular file; anything else is refused without waiting for it.
    int Open(std::string const& path, unsigned flags);
    bool IsOpen() const { return m_number >= 0; }
    int GetNumber() const { return m_number; }
    int Release();

    /// Reads until `count` bytes or the end of the file; `got` is what was read, also when it fails.
    int Read(void* buffer, std::size_t count, std::size_t& got);
    /// Writes all of it.
    int Write(void const* data, std::size_t count);
    /// Writes all of it or nothing: of what fails, the part that was written is cut off again. `isTorn` says that even
    /// this failed and the part stands there. For files that nobody else writes.
    int WriteWhole(void const* data, std::size_t count, bool& isTorn);
    /// Reading and writing at a place of the file, whose position they leave alone. Nothing stands from 2^63 - 1 on.
    int ReadAt(void* buffer, std::size_t count, unsigned long long offset, std::size_t& got) const;
    int WriteAt(void const* data, std::size_t count, unsigned long long offset);
    /// Moves to `offset` from the beginning (0), the position (1) or the end (2).
    int Seek(long long offset, int from, long long& position);
    int GetLength(unsigned long long& length) const;
    int SetLength(unsigned long long length);
    int Sync();
    /// Waits until the bytes are written; they are not safe before the file system is flushed.
    int SyncBytes();
    /// Flushes all files where this one is. `isDone` false without an error: it cannot be done there, and each takes a Sync.
    int SyncFileSystem(bool& isDone);
    /// Lets the system begin to write a range, to its end if `count` is 0, so that Sync waits less. It need not; an error says
    /// that bytes were lost.
    int StartSync(unsigned long long offset, unsigned long long count);
    int Close();

private:
    int m_number = -1;
};

/// What tells one state of a file from the next. Times may be any: who may change a file may set them.
struct FileStamp {
    struct Moment {
        long long seconds = 0;  // since 1970
        long nanoseconds = 0;
        bool operator==(Moment const&) const = default;
    };
    bool exists = false;
    unsigned long long device = 0;
    unsigned long long number = 0;
    long long size = 0;
    Moment modified;
    Moment changed;
    /// So young that another write may leave the very same stamp.
    bool isYoung = false;

    bool operator==(FileStamp const&) const = default;
};

/// The stamp of what is there; one that does not exist if nothing is, with the reason in errno.
FileStamp StampOf(std::string const& path);

/// Reads a whole file. EFBIG if it is longer than `most` bytes.
int ReadWholeFile(std::string const& path, std::size_t most, std::string& bytes);

/// Part files that killed processes left behind. Each folder is looked through once, so that many files can be made in it.
class LeftParts {
public:
    /// Removes those of this target: files of our user, or the target's, with such a name on which no process holds a lock.
    void RemoveFor(std::string const& target);

private:
    std::map<std::string, std::multimap<std::string, std::string>> m_folders;  // names by what precedes the random end
};

/// A new file beside `target` that may take its place. What is not put in place is removed.
class PartFile {
public:
    PartFile() = default;
    PartFile(PartFile const&) = delete;
    PartFile& operator=(PartFile const&) = delete;
    ~PartFile() { Discard(); }

    /// Makes it, after what was left behind for this target is removed. `target` must be no link (see ResolveLinks). If
    /// there is a target, only we may read the new file.
    int Create(std::string const& target, LeftParts& left);
    int Create(std::string const& target) {
        LeftParts left;
        return Create(target, left);
    }
    std::string const& GetPath() const { return m_path; }
    Descriptor& GetFile() { return m_file; }
    /// Flushes it to the medium, closes it, gives it the target's name and flushes the directory. Without
    /// `replace` an existing target is left alone: EEXIST.
    int PutInPlace(bool replace);
    /// The same without flushing: for those that flush several files before, and their folder behind.
    int Place(bool replace);
    void Discard() noexcept;

private:
    std::string m_target;
    std::string m_path;
    Descriptor m_file;
};

/// While one lives, no other thread or process that asks for one too changes a file of that folder: for those that read a
/// file, change what they read and replace the file. Nobody is kept for ever: who gets no lock within two seconds, may not
/// read the folder, or is on a file system without locks goes on without.
class UpdateLock {
public:
    explicit UpdateLock(std::string const& target);

private:
    Descriptor m_folder;  // the lock ends with it
};

/// Renames a file unless the new name is taken: EEXIST.
int RenameNew(std::string const& from, std::string const& to);
/// The file that the path stands for once its last component is no symbolic link any more; it need not exist.
int ResolveLinks(std::string const& path, std::string& target);
/// 0 if the file may be replaced or is not there. A file without any write permission is protected, for root too.
int CheckReplaceable(std::string const& target);
/// Writes to the standard error of the process, behind the back of streams; what fails is dropped.
void WriteToStandardError(std::string_view text) noexcept;
/// Flushes the names in a directory, as far as it can be done.
int SyncDirectory(std::string const& path);
/// The directory part: "." where there is none.
std::string DirectoryOf(std::string const& path);

}  // namespace KxN::detail
