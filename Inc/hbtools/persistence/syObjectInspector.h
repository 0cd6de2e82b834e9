// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxObjectInspector looks through images of persistent objects without making one: no factory runs. It knows the
// classes of properties; of others it tells name, version and how many bytes remain, and cannot go on, since nothing in
// an image says how long a body is. Memory is taken for the levels that are open and the names of their children, stack
// for none of them; what the file cannot hold is believed nowhere.
//
//     KxObjectInspector objects(&file);
//     objects.Begin(position, end);
//     for (SxObject object; objects.Next(object);) Show(object.depth, objects.Text(object.name, 80));
//     if (objects.HasFault()) Show(objects.Fault().position, objects.Fault().text);
//
// The file must stay open meanwhile; one thread. Only a failing medium makes it throw (CFileException).
#pragma once

#include "hbtools/persistence/syTagInspector.h"

namespace KxN {

/// What stands in an image behind name, format and group.
enum ObjectValueKind {
    ValueUnknown,    ///< The class, or this version of it, is none that the library writes.
    ValueReference,  ///< Nothing: the object came before, under the same number.
    ValueNumber,
    ValueBuffer,  ///< Numbers.
    ValueText,
    ValueList  ///< The images of the children, which follow one level deeper.
};

/// Where characters stand in the file: units of UTF-16, or bytes of a narrow text.
struct SxObjectText {
    ULONGLONG position = 0;
    ULONGLONG length = 0;
    bool isWide = false;
};

/// One object.
struct SxObject {
    ULONGLONG position = 0;  ///< Where its image begins.
    int depth = 0;           ///< 0 for the outermost one.
    bool isNumbered = false;
    unsigned int number = 0;  ///< Its identity in its run, if it is numbered.
    ObjectValueKind kind = ValueUnknown;
    KxString className;             ///< As it is stored, "class KxN::KxPropertyList"; empty for a reference.
    wchar_t const* typeName = L"";  ///< "double", "text", "list": the class in short; empty if it is unknown.
    unsigned short version = 0;
    SxObjectText name;
    SxObjectText format;
    unsigned int group = 0;  ///< Without the bit that hides.
    bool isHidden = false;
    ULONGLONG count = 0;          ///< Elements, characters or children; bytes that remain of an unknown body.
    SxObjectText value;           ///< Of a text.
    ULONGLONG valuePosition = 0;  ///< Of numbers, and of an unknown body.
    int element = 0;              ///< Which type of number: for KxObjectInspector::Values.
};

class KX_API KxObjectInspector {
public:
    explicit KxObjectInspector(CFile* file);
    KxObjectInspector(KxObjectInspector const&) = delete;
    KxObjectInspector& operator=(KxObjectInspector const&) = delete;
    ~KxObjectInspector();

    /// True if an image begins at the position, or, where `end` is that of the file, what a cut left of one. A
    /// reference counts if an object with its number was met before and nothing stands behind it in front of `end`.
    bool IsImageAt(ULONGLONG position, ULONGLONG end);
    /// Goes to an image that ends at `end` or before. The numbers of objects that were met stay known.
    void Begin(ULONGLONG position, ULONGLONG end);
    /// The next object of the image, parents in front of their children. False at its end, behind an unknown body,
    /// and at a fault: `object` is then what could be read of it.
    bool Next(SxObject& object);
    /// Behind what was read: the end of the image once Next gave false without a fault.
    ULONGLONG GetPosition() const;
    bool HasFault() const;
    /// Its position is that of the damage itself.
    SxTagFault const& Fault() const;
    /// True if the image went on in a body that only its class can read; the position is the end then.
    bool IsUnknownBehind() const;

    /// The first characters of a text, at most `longest`.
    KxString Text(SxObjectText const& text, ULONGLONG longest);
    /// The numbers `first` to `first + count - 1` of a number or a buffer, as many as there are.
    KxString Values(SxObject const& object, ULONGLONG first, ULONGLONG count, wchar_t const* separator);

private:
    class Walk;
    Walk* m_walk;
};

}  // namespace KxN
