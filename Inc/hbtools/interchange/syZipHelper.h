// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxZipHelper puts files into zip archives and takes them out. An archive is replaced whole or not at all, and a file that
// comes out of one stands under its name only when it is whole and its checksum right. Names in an archive have backslashes
// between their folders, in the code page of the thread, or in UTF-8, marked as such, where that lacks a character.
//
//     KxZipHelper::CompressFile(L"plate.tag", L"results.zip", L"scans", L"Plate 7");
//     KxTMap<KxString, KxString> files;                    // name in the archive to path
//     KxZipHelper::UncompressFiles(L"results.zip", L"out", files);
//
// Nothing is ever written outside the target folder, and no more than KxLimits::zipTotal and zipRatio allow. All functions
// return true or throw a KxException, or std::bad_alloc. Its text begins with what failed and the path of the file, as "Failed to
// open file: /a/b", and may go on with a colon and the reason. They keep no state: any thread, but one call for an archive at
// a time.
//
// Names that neither go in nor come out: absolute ones and those that lead out of the folder; with a component that names a
// device of some system, that holds one of : * ? " < > |, a control character, one that shows nothing or turns the direction
// of writing, or half a character, that ends in a point or a blank, that takes more than 255 bytes, or that KxxIsTemporaryName
// knows; with more folders within one another than KxLimits::zipDepth, or longer with the target folder than a path may be
// (4075 bytes); a name that stands there in other letters too, as "a" and "A"; and a file's that is a folder of another name.
// The very same name may stand there several times: each is kept, and of those the last comes out.
#pragma once

#include "hbtools/base/syString.h"
#include "hbtools/core/syArray.h"
#include "hbtools/core/syMap.h"

#include <functional>

namespace KxN {

/// A file on its way into an archive, and its folder there as CompressFile has it.
struct SxZipSource {
    KxString file;
    KxString folderInZip;
};

class KX_API KxZipHelper {
public:
    /// Hears, on the caller's thread, how many bytes of all are done: never fewer than before, of files that are packed and of
    /// the archive that is added to, or of files that come out. `all` is 0 where all files are empty. What it throws ends the
    /// call as a failure does, and passes as it is.
    using Progress = std::function<void(ULONGLONG done, ULONGLONG all)>;
    enum class Mode { add, replace };

    /// Adds one file to an archive, which is made if it is missing. `folderInZip` may be empty and may have either separator;
    /// `globalComment` takes the place of the archive's own; it has at most 65535 bytes. Time and date are those of the file's
    /// last change, to two seconds. Files of any size. The archive must have room once more beside itself meanwhile. A name
    /// that is there already gets a second entry, and the first one is kept: to renew an archive, make it anew. Nothing is
    /// added to one with other bytes behind its end. Each call writes the whole archive anew: many files one by one cost as
    /// much as the square of their bytes, and CompressFiles takes them all at once.
    static bool CompressFile(KxString const& sourceFile, KxString const& zipFile, KxString const& folderInZip,
                             KxString const& globalComment);

    /// Puts several files into an archive, all or none: adds them as CompressFile does, or makes the archive anew in place of a
    /// former one. The same name twice among them is refused.
    static bool CompressFiles(KxTDynArray<SxZipSource> const& sources, KxString const& zipFile,
                              KxString const& globalComment, Mode mode, Progress const& progress = {});

    /// Unpacks all into a folder, which is made if it is missing, replacing files of the same names. `files` gets every file:
    /// its name in the archive, with backslashes, and its path; of several entries of one name the last. Up to 64 KiB of other
    /// bytes behind the archive are passed over, if they do not look like the end of one. An archive is refused before
    /// anything is written if its directory is not right in itself, if its entries overlap, or for a name that must not
    /// be. Links become files with their target as content. What is encrypted or packed in an unknown way, and a folder
    /// with content, is left out, and told by the exception once all others are out. An empty `targetFolder` is the
    /// current one.
    static bool UncompressFiles(KxString const& zipFile, KxString const& targetFolder,
                                KxTMap<KxString, KxString>& files);
    /// The same, watched. If it is ended the files that are whole stay, and stand in `files`. Files get their names in batches
    /// of up to 128 once the file system was flushed, which waits also for what others write there; where that cannot be done,
    /// file by file. Folders that are new, or got new files, are flushed at the end.
    static bool UncompressFiles(KxString const& zipFile, KxString const& targetFolder,
                                KxTMap<KxString, KxString>& files, Progress const& progress);

    /// The comment of an archive, which must have one.
    static bool GetGlobalComment(KxString const& zipFile, KxString& comment);
};

}  // namespace KxN
