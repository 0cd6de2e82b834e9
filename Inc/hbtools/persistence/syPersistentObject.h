// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxPersistentObject: an object that stores itself in a CArchive with the name and the version of its class, so that Load
// makes the right one and lets it read itself. With SupportCyclicReferences a second reference to an object is stored as
// its number, and two pointers to one object are two pointers to one object again; a reader needs no setting.
//
//     KxPersistentObject::InitializeReferenceMap();       // before each run of storing, and of loading
//     plate.Store(archive);
//
// Damaged streams raise CArchiveException, KxArchiveException or KxVersionException; what a failed load had made is gone,
// unless another object that was read whole holds a reference to it. Objects within one another deeper than
// KxLimits::nestingDepth are refused with a CArchiveException, in storing and in loading; a load is a recursion, and one of
// lists that deep needs a stack of 1 MiB, classes of your own what their Serialize takes besides. An object that is deleted
// leaves the maps of the run. Objects must be deleted before the module of their class is unloaded. Switch, numbers and
// maps belong to the process: one run at a time; objects of no run may meanwhile die on any thread.
#pragma once

#include "hbtools/base/syArchive.h"
#include "hbtools/base/syVersion.h"
#include "hbtools/persistence/syDynamicObject.h"

namespace KxN {

class KX_API KxPersistentObject : public KxDynamicObject {
public:
    ~KxPersistentObject() override = 0;
    /// Reads or writes the object's own data, according to the archive's direction. The base does nothing.
    virtual void Serialize(CArchive& archive);
    /// Reads data of another version. @throws KxVersionException, with the stored version as the one found, unless it is
    /// overridden
    virtual void SerializeOldVersion(CArchive& archive, KxVersion version);
    virtual KxVersion GetVersion() const = 0;

    /// Non-zero: objects are numbered from now on when they are stored. 0 at the start.
    static void SupportCyclicReferences(int enable);
    /// Forgets all numbers and objects of former runs.
    static void InitializeReferenceMap();

    /// What fails midway leaves an archive with a part of the object; the run is worth nothing then.
    /// @throws CArchiveException cause readOnly if the archive loads, CFileException, what CheckStorable throws
    void Store(CArchive& archive) const;
    /// A new object, which is the caller's, or for a second reference the object that this run has made already.
    /// @throws CArchiveException cause writeOnly if the archive stores, endOfFile; KxArchiveException if nobody knows the
    /// class, or it is none of this kind; KxVersionException
    static KxPersistentObject* Load(CArchive& archive);

    /// Throws if the object is not wanted where it is being loaded. `isKnown`: this run made it already, and a second
    /// reference to it is about to be handed out; otherwise it is new, and its body was not read yet.
    using Check = void (*)(CArchive& archive, KxPersistentObject& object, bool isKnown);
    /// As Load, but asks `check` first. A new object that it refuses is gone. @throws as Load, and what `check` throws
    static KxPersistentObject* LoadChecked(CArchive& archive, Check check);
    /// The exception for an object that does not belong where it stands: KxArchiveException, naming the archive's file.
    [[noreturn]] static void ThrowWrongObject(CArchive& archive, unsigned long line);

    /// Storing to a place that is only valid when all went well, as a record: unless Done was called, the objects that
    /// were stored since lose their numbers again, so that a later store in the same run writes them whole.
    class KX_API Storing {
    public:
        Storing();
        Storing(Storing const&) = delete;
        Storing& operator=(Storing const&) = delete;
        ~Storing();
        void Done() { m_isDone = true; }

    private:
        int m_last;
        bool m_isDone = false;
    };

protected:
    KxPersistentObject() = default;
    KxPersistentObject(KxPersistentObject const&) = default;
    KxPersistentObject& operator=(KxPersistentObject const&) = default;

    /// Throws if the object cannot be stored as it is. Store asks before it writes anything of it. The base never throws.
    virtual void CheckStorable(CArchive& archive) const;
    /// True while SupportCyclicReferences is on.
    static bool GivesNumbers();
    /// True if Store would write no more than the number that the object got in this run.
    bool WouldBeReference() const;
};

}  // namespace KxN
