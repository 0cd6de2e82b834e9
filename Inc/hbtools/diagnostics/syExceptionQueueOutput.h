// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxExceptionQueueOutput prints entries of the exception log to a text file for people:
//
//     std::unique_ptr<KxTSVQueue<KxException*>> entries(pExceptionMgr->ExtractSpecifiedExceptions());
//     KxExceptionQueueOutput output;
//     output.Initialize(L"/etc/app/app.ini");  // group FileOutput, key FileName
//     output.LogView(entries.get());
//
// Failures are members of the exception tree. An object belongs to one thread at a time.
#pragma once

#include "hbtools/base/syException.h"
#include "hbtools/core/sySVQueue.h"

namespace KxN {

class KX_API KxExceptionQueueOutput {
public:
    /// Prints to "LogFile.txt" in the current directory.
    KxExceptionQueueOutput() = default;
    virtual ~KxExceptionQueueOutput();

    /// Takes the name of the output file from the ini file, against whose directory it is resolved; where the key is
    /// missing or empty the present name is, if it is not absolute. @throws KxFileNotExistException, KxFileException if
    /// the ini file cannot be read
    virtual void Initialize(KxString const& iniFile);
    /// Writes the file anew: for each entry a line of date, group and level, and its message. The queue and the entries
    /// stay the caller's; a null queue is an empty one. @throws KxFileException if the file cannot be written
    virtual void LogView(KxTSVQueue<KxException*>* queue) const;

    KxString GetFileName() const { return m_fileName; }

private:
    KxString m_fileName = L"LogFile.txt";
};

}  // namespace KxN
