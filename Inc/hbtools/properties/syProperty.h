// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Properties: named, typed values that describe themselves as a line of text and store themselves. KxTProperty holds a
// number, KxTBuf1DProperty a buffer of numbers, KxStringProperty a text, and KxPropertyList (syPropertyList.h) further
// properties, so that they form trees.
//
//     KxTProperty<double> temperature(L"Temperature", L"Temperature: %.1f C", 20.5, 3);
//     temperature.GetMessageW();     // "Temperature: 20.5 C"
//
// A property may come from a hostile file: its format is formatted typed and bounded, see syFormat.h. Values: copies are
// deep and belong to no list. A property belongs to one thread at a time.
#pragma once

#include "hbtools/core/syBuf.h"
#include "hbtools/core/syMem.h"
#include "hbtools/persistence/syPersistentObject.h"

#include <memory>

namespace KxN {

class KxPropertyList;

class KX_API KxProperty : public KxPersistentObject {
public:
    /// Bit of the group that hides a property.
    static constexpr unsigned long hiddenBit = 0x8000;

    /// Empty texts, group 0.
    KxProperty() = default;
    /// `message`: the format of the property's line of text, in the notation of printf.
    KxProperty(KxString const& name, KxString const& message, unsigned long group) : m_name(name), m_group(group) {
        SetMessageFormat(message);
    }
    KxProperty(KxProperty const& other) : m_name(other.m_name), m_message(other.m_message), m_group(other.m_group) {}
    KxProperty& operator=(KxProperty const& other);
    /// A property that is deleted leaves the list that it stands in.
    ~KxProperty() override;

    /// Name and message as wide texts, group as 32 bits. Kinds add their values behind them.
    /// @throws CArchiveException, cause badIndex for a group beyond 32 bits, endOfFile
    void Serialize(CArchive& archive) override;
    KxVersion GetVersion() const override;
    /// Non-zero in lists.
    virtual int IsList() const;
    /// This object as a list; null if it is none.
    virtual KxPropertyList* GetList();
    /// The property's line of text.
    virtual KxString GetMessageW() const = 0;
    /// As below if the group, without its hidden bit, is one of `groups`; otherwise nothing.
    virtual void GetAllMessageBufResized(KxTBlockMem<KxString*>& messages, KxTMem<unsigned long> const& groups,
                                         unsigned long level, int showHidden, char fillChar, unsigned short indent);
    /// Adds the line to `messages`, behind level * indent times `fillChar`; nothing for a hidden property unless
    /// `showHidden` is non-zero. The text is new and belongs to the caller.
    virtual void GetAllMessageBufResized(KxTBlockMem<KxString*>& messages, unsigned long level, int showHidden,
                                         char fillChar, unsigned short indent);
    /// An independent copy, which is the caller's.
    virtual KxProperty* Clone() const = 0;

    KxString const& GetName() const { return m_name; }
    /// A list finds its child by the new name from now on. Nobody checks that no other child has it; a list that has a
    /// name twice finds the first of the two, and cannot be stored.
    void SetName(KxString const& name);
    KxString const& GetMessageFormat() const;
    void SetMessageFormat(KxString const& message);
    unsigned long GetPropertyGroup() const { return m_group; }
    void SetPropertyGroup(unsigned long group) { m_group = group; }
    int IsHidden() const { return (m_group & hiddenBit) != 0; }
    void SetHidden() { m_group |= hiddenBit; }
    void SetNotHidden() { m_group &= ~hiddenBit; }
    /// The list that owns this property; null if none does.
    KxPropertyList* GetParent() const { return m_links.list; }

private:
    friend class KxPropertyList;

    /// Its place in the list that owns it, and in that list's index of names.
    struct SLinks {
        KxPropertyList* list = nullptr;
        KxProperty* previous = nullptr;
        KxProperty* next = nullptr;
        KxProperty* nextInBucket = nullptr;
        std::size_t hash = 0;
        ULONGLONG number = 0;  // rises along the list
    };

    void Rename(KxString const& name);
    bool IsListedIn(KxTMem<unsigned long> const& groups) const;

    KxString m_name;
    std::shared_ptr<KxString const> m_message;  // few formats serve many properties; null: the empty one
    unsigned long m_group = 0;
    mutable bool m_mayRepeat = false;  // of a list: a child of it, or of a list in it, was renamed since it was checked
    SLinks m_links;
};

/// A number: char, short, int, long, their unsigned forms, float or double. `long` is 4 bytes in the stream.
template <class T>
class KX_API KxTProperty : public KxProperty {
public:
    KxTProperty() = default;
    KxTProperty(KxString const& name, KxString const& message, T value, unsigned long group)
        : KxProperty(name, message, group), m_value(value) {}

    T Get() const { return m_value; }
    void Set(T value) { m_value = value; }

    /// @throws as KxProperty, and CArchiveException cause badIndex for a long beyond 32 bits
    void Serialize(CArchive& archive) override;
    KxString GetMessageW() const override;  ///< The message format with the value as its one argument.
    KxProperty* Clone() const override;

private:
    T m_value{};
};

/// A buffer of the same ten types.
template <class T>
class KX_API KxTBuf1DProperty : public KxProperty {
public:
    KxTBuf1DProperty() = default;
    KxTBuf1DProperty(KxString const& name, KxString const& message, KxTBuf1D<T> const& value, unsigned long group)
        : KxProperty(name, message, group), m_value(value) {}

    KxTBuf1D<T> const& Get() const { return m_value; }
    void Set(KxTBuf1D<T> const& value) { m_value = value; }

    /// @throws as KxTProperty; endOfFile, before anything is allocated, if the count promises more than there is
    void Serialize(CArchive& archive) override;
    /// The message format as it stands, then each element and "; ": six significant digits, char as a character.
    KxString GetMessageW() const override;
    KxProperty* Clone() const override;

private:
    KxTBuf1D<T> m_value;
};

#define HBTOOLS_PROPERTY_TYPES(USE) \
    USE(char)                       \
    USE(unsigned char)              \
    USE(short)                      \
    USE(unsigned short)             \
    USE(int)                        \
    USE(unsigned int)               \
    USE(long)                       \
    USE(unsigned long)              \
    USE(float)                      \
    USE(double)
#define HBTOOLS_PROPERTY_EXTERN(T)        \
    extern template class KxTProperty<T>; \
    extern template class KxTBuf1DProperty<T>;
HBTOOLS_PROPERTY_TYPES(HBTOOLS_PROPERTY_EXTERN)
#undef HBTOOLS_PROPERTY_EXTERN

/// A text.
class KX_API KxStringProperty : public KxProperty {
public:
    KxStringProperty() = default;
    KxStringProperty(KxString const& name, KxString const& message, KxString const& value, unsigned long group)
        : KxProperty(name, message, group), m_value(value) {}

    KxString const& Get() const { return m_value; }
    void Set(KxString const& value) { m_value = value; }

    void Serialize(CArchive& archive) override;
    KxString GetMessageW() const override;  ///< The message format with the value as its one argument.
    KxProperty* Clone() const override;

private:
    KxString m_value;
};

/// A list lacks a property, or has one of that name already. The text names the property.
class KX_API KxPropertyException : public KxRuntimeException {
public:
    KxPropertyException(KxString const& sourceFile, unsigned long line, KxString const& propertyName,
                        KxString const& specMsg);
    KxPropertyException(KxPropertyException& other) = default;
    KxPropertyException& operator=(KxPropertyException& other) = default;

    KxString GetPropertyName() const { return m_propertyName; }
    KxString GetSpecMsg() const { return m_specMsg; }  ///< What is wrong with it.

protected:
    void BuildMessage() override;

private:
    KxString m_propertyName;
    KxString m_specMsg;
};

}  // namespace KxN
