// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxConfigValues: typed, checked values on top of a configuration file. KxConfiguration and KxConfigMT derive
// from it, and everything told here holds for both.
//
// Several numbers in one value are separated by ';': "a;b" is a pair, "left;top;right;bottom" a rectangle. Numbers do
// not depend on the locale. An integer is an optional sign and decimal digits, in 32 bits for `long`; one that does not
// fit is out of range. A floating-point value is the number that its text begins with, so "12mm" is 12; "nan",
// "inf" and hexadecimal are refused. A key with an empty value counts as missing.
//
// Every int result is 1 for success and 0 for failure. With the throw-on-error flag a failure throws
// KxConfigurationException instead, whose text names key, group and file. The target keeps its value on failure.
// An object belongs to one thread at a time.
#pragma once

#include "hbtools/base/syDirEntry.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syValues.h"
#include "hbtools/config/syEnum.h"

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <type_traits>

namespace KxN {

/// A value of a configuration is missing or bad, or could not be written. With a special message that is the text;
/// otherwise it is made of key, group and file.
class KX_API KxConfigurationException : public KxReadKeywordException {
public:
    explicit KxConfigurationException(KxString const& specMessage);
    KxConfigurationException(KxReadKeywordException& other) : KxReadKeywordException(other) {}
    KxConfigurationException(KxConfigurationException& other) = default;

    virtual KxString GetSpecMessage() const { return m_specMessage; }
    virtual int HasSpecMessage() const { return m_specMessage.Len() > 0; }
    /// Replaces the text; an empty one brings back that of key, group and file.
    virtual void SetSpecMessage(KxString const& message);

protected:
    void BuildMessage() override;

private:
    KxString m_specMessage;
};

namespace detail {

template <class T, class... TYPES>
concept OneOf = (std::same_as<T, TYPES> || ...);

}  // namespace detail

class KX_API KxConfigValues {
public:
    template <class T>
    static constexpr bool isInteger =
        detail::OneOf<T, long, unsigned long, int, unsigned int, short, unsigned short, char, unsigned char>;
    template <class T>
    static constexpr bool isFloat = detail::OneOf<T, double, float>;

    KxConfigValues(KxConfigValues const&) = delete;
    KxConfigValues& operator=(KxConfigValues const&) = delete;

    /// The text of a key of the current group. Until SetGroup has found a key, a missing file is a failure of its own.
    int Read(KxString& value, KxString const& key) const;
    KxString ReadString(KxString const& key) const;

    /// One number, in the whole range of the type or in a range to which both ends belong. A float is compared as the
    /// float that it becomes; what no finite float or double holds is in no range.
    template <class T>
    requires isInteger<T>
    int Read(T& value, KxString const& key, KxTRange<T> const& range = Whole<T>()) const {
        long long number = 0;
        if (!ReadInteger(number, key, Wide(range))) return 0;
        value = static_cast<T>(number);
        return 1;
    }
    template <class T>
    requires isFloat<T>
    int Read(T& value, KxString const& key, KxTFloatRange<T> const& range = WholeFloat<T>()) const {
        double number = 0;
        if (!ReadDouble(number, key, Wide(range), std::same_as<T, float>)) return 0;
        value = static_cast<T>(number);
        return 1;
    }
    /// The same with the other type of range, which is deduced, so that braces remain those of a KxTFloatRange.
    template <class T, std::same_as<KxTRange<T>> RANGE>
    requires isFloat<T>
    int Read(T& value, KxString const& key, RANGE const& range) const { return Read(value, key, Float(range)); }

    /// Two numbers; with `ordered` the first must not exceed the second.
    template <class T>
    requires isInteger<T>
    int Read(KxTPair<T>& value, KxString const& key, int ordered) const {
        return Read(value, key, Whole<T>(), Whole<T>(), ordered);
    }
    template <class T>
    requires isInteger<T>
    int Read(KxTPair<T>& value, KxString const& key, KxTRange<T> const& first, KxTRange<T> const& second,
             int ordered) const {
        KxTPair<long long> numbers;
        if (!ReadIntegers(numbers, key, Wide(first), Wide(second), ordered)) return 0;
        value = KxTPair<T>(static_cast<T>(numbers.first), static_cast<T>(numbers.second));
        return 1;
    }
    template <class T>
    requires isFloat<T>
    int Read(KxTPair<T>& value, KxString const& key, int ordered) const {
        return Read(value, key, WholeFloat<T>(), WholeFloat<T>(), ordered);
    }
    template <class T>
    requires isFloat<T>
    int Read(KxTPair<T>& value, KxString const& key, KxTFloatRange<T> const& first, KxTFloatRange<T> const& second,
             int ordered) const {
        KxTPair<double> numbers;
        if (!ReadDoubles(numbers, key, Wide(first), Wide(second), std::same_as<T, float>, ordered)) return 0;
        value = KxTPair<T>(static_cast<T>(numbers.first), static_cast<T>(numbers.second));
        return 1;
    }
    template <class T, std::same_as<KxTRange<T>> RANGE>
    requires isFloat<T>
    int Read(KxTPair<T>& value, KxString const& key, RANGE const& first, RANGE const& second, int ordered) const {
        return Read(value, key, Float(first), Float(second), ordered);
    }

    /// A rectangle inside the limit, edges included.
    template <detail::OneOf<long, int, short> T>
    int Read(KxTRectangle<T>& value, KxString const& key) const {
        KxTRange<T> const whole = Whole<T>();
        return Read(value, key, KxTRectangle<T>(whole.minimum, whole.minimum, whole.maximum, whole.maximum));
    }
    template <detail::OneOf<long, int, short> T>
    int Read(KxTRectangle<T>& value, KxString const& key, KxTRectangle<T> const& limit) const {
        KxTRectangle<long long> read;
        if (!ReadRectangle(read, key, Wide(KxTRange<T>(limit.left, limit.right)),
                           Wide(KxTRange<T>(limit.top, limit.bottom))))
            return 0;
        value = KxTRectangle<T>(static_cast<T>(read.left), static_cast<T>(read.top), static_cast<T>(read.right),
                                static_cast<T>(read.bottom));
        return 1;
    }

    /// The value of a label. Starts a search in the enumeration.
    int Read(int& value, KxString const& key, KxEnum const& labels, int caseSensitive) const;
    /// A path, made absolute from the current directory; with `mustExist` something must be there.
    int Read(KxDirEntry& value, KxString const& key, int mustExist) const;

    // The value itself, or 0 on failure.
    long ReadLONG(KxString const& key) const { return Value<long>(key); }
    long ReadLONG(KxString const& key, KxTRange<long> const& range) const { return Value<long>(key, range); }
    unsigned long ReadULONG(KxString const& key) const { return Value<unsigned long>(key); }
    unsigned long ReadULONG(KxString const& key, KxTRange<unsigned long> const& range) const {
        return Value<unsigned long>(key, range);
    }
    short ReadSHORT(KxString const& key) const { return Value<short>(key); }
    short ReadSHORT(KxString const& key, KxTRange<short> const& range) const { return Value<short>(key, range); }
    unsigned short ReadUSHORT(KxString const& key) const { return Value<unsigned short>(key); }
    unsigned short ReadUSHORT(KxString const& key, KxTRange<unsigned short> const& range) const {
        return Value<unsigned short>(key, range);
    }
    float ReadFLOAT(KxString const& key) const { return Value<float>(key); }
    float ReadFLOAT(KxString const& key, KxTFloatRange<float> const& range) const { return Value<float>(key, range); }
    /// 1 for "true", 0 for "false", in capitals or not.
    int ReadBOOL(KxString const& key) const;
    /// The ends of a range from a pair of 0 to 65535; both 0 on failure.
    KxTRange<unsigned short> ReadRangeUSHORT(KxString const& key, int ordered) const;

    /// Writes a value: mind the order, the value comes first. Fails for what no line can hold and for a file that cannot
    /// be written. Blanks around the value are lost, as in every plain file. @throws KxEncryptionException, in KxConfigMT,
    /// while encryption is on without a password, or not as the file was read
    int Write(KxString const& value, KxString const& key);
    int Write(wchar_t const* value, KxString const& key) { return Write(KxString(value), key); }
    template <class T>
    requires isInteger<T>
    int Write(T value, KxString const& key) { return WriteIntegers<T>({value}, key); }
    /// With `precision` significant digits, at most KxLimits::formatPrecision. NaN and infinities are
    /// refused, as reading would refuse them.
    int Write(double value, KxString const& key, unsigned short precision);
    /// With `precision` digits behind the point, at most KxLimits::formatPrecision.
    int Write(KxTPair<double> const& value, KxString const& key, unsigned short precision);
    int Write(KxTPair<float> const& value, KxString const& key, unsigned short precision) {
        return Write(KxTPair<double>(value.first, value.second), key, precision);
    }
    template <class T>
    requires isInteger<T>
    int Write(KxTPair<T> const& value, KxString const& key) {
        return WriteIntegers<T>({value.first, value.second}, key);
    }
    template <detail::OneOf<long, int, short> T>
    int Write(KxTRectangle<T> const& value, KxString const& key) {
        return WriteIntegers<T>({value.left, value.top, value.right, value.bottom}, key);
    }
    /// The full path, with a separator at its end if it is a directory.
    int Write(KxDirEntry const& value, KxString const& key);
    /// The first label of the value, in capitals with `upper`. Fails for a value without a label.
    int Write(int value, KxString const& key, KxEnum const& labels, int upper);

    /// Throws the exception of a bad key, whatever the flag: for callers that judge a value bad themselves.
    /// @throws KxConfigurationException
    [[noreturn]] void ThrowInvalidKeyException(KxString const& key) const;

protected:
    explicit KxConfigValues(int throwOnError) : m_throwOnError(throwOnError) {}
    ~KxConfigValues() = default;

    // What the class with the file gives.
    virtual KxString ValueOf(KxString const& key) const = 0;
    virtual unsigned char Store(KxString const& key, KxString const& value) = 0;
    virtual KxString PathName() const = 0;
    virtual KxString GroupName() const = 0;

    // Its texts of the two failures whose arguments have an order of their own, and the formats of the others.
    virtual KxString TooFewKeysMessage(unsigned short minKeys) const = 0;
    virtual KxString NotStoredMessage(KxString const& key, KxString const& value) const = 0;
    virtual KxString MessageFormat(unsigned short id) const = 0;

    /// The rest of SetGroup once the group is set and its keys are counted.
    int CheckKeyCount(unsigned short count, unsigned short minKeys);
    /// 0, or throws KxConfigurationException with that message.
    int Failure(KxString const& message) const;

private:
    using Range = KxTRange<long long>;
    using FloatRange = KxTFloatRange<double>;

    template <class T>
    static constexpr KxTRange<T> Whole() {
        using STORED = std::conditional_t<std::same_as<T, long>, std::int32_t,
                                          std::conditional_t<std::same_as<T, unsigned long>, std::uint32_t, T>>;
        return {static_cast<T>(std::numeric_limits<STORED>::min()), static_cast<T>(std::numeric_limits<STORED>::max())};
    }
    template <class T>
    static constexpr KxTFloatRange<T> WholeFloat() {
        return {std::numeric_limits<T>::lowest(), std::numeric_limits<T>::max()};
    }
    template <class T>
    static constexpr KxTFloatRange<T> Float(KxTRange<T> const& range) {
        return {range.minimum, range.maximum};
    }
    /// In the widest type, within what the stored form holds.
    template <class T>
    static constexpr Range Wide(KxTRange<T> const& range) {
        constexpr KxTRange<T> whole = Whole<T>();
        return {Wider(range.minimum < whole.minimum ? whole.minimum : range.minimum),
                Wider(range.maximum > whole.maximum ? whole.maximum : range.maximum)};
    }
    template <class T>
    static constexpr long long Wider(T number) {
        constexpr auto most = std::numeric_limits<long long>::max();
        if constexpr (std::same_as<T, unsigned long>)
            if (number > static_cast<unsigned long>(most)) return most;
        return static_cast<long long>(number);
    }
    template <class T>
    static constexpr FloatRange Wide(KxTFloatRange<T> const& range) {
        constexpr KxTFloatRange<T> whole = WholeFloat<T>();
        return {static_cast<double>(range.minimum < whole.minimum ? whole.minimum : range.minimum),
                static_cast<double>(range.maximum > whole.maximum ? whole.maximum : range.maximum)};
    }
    template <class T, class... RANGE>
    T Value(KxString const& key, RANGE const&... range) const {
        T value = 0;
        Read(value, key, range...);
        return value;
    }
    template <class T>
    int WriteIntegers(std::initializer_list<T> numbers, KxString const& key) {
        constexpr KxTRange<T> whole = Whole<T>();
        KxString text;
        bool fits = true;
        for (T const number : numbers) {
            if (text.Len() > 0) text += L';';
            text += Text(Wider(number));
            fits = fits && number >= whole.minimum && number <= whole.maximum;
        }
        return fits ? Write(text, key) : FailStore(key, text);
    }
    static KxTools::String Text(long long number);

    int ReadInteger(long long& value, KxString const& key, Range const& range) const;
    int ReadDouble(double& value, KxString const& key, FloatRange const& range, bool narrows) const;
    int ReadIntegers(KxTPair<long long>& value, KxString const& key, Range const& first, Range const& second,
                     int ordered) const;
    int ReadDoubles(KxTPair<double>& value, KxString const& key, FloatRange const& first, FloatRange const& second,
                    bool narrows, int ordered) const;
    int ReadRectangle(KxTRectangle<long long>& value, KxString const& key, Range const& across,
                      Range const& down) const;
    template <class PARSED, class RANGE, class NUMBER>
    int StorePair(KxTPair<NUMBER>& value, KxString const& key, KxString const& text, PARSED const (&parsed)[2],
                  RANGE const& first, RANGE const& second, int ordered) const;

    template <class... ARGUMENTS>
    int Fail(unsigned short id, KxString const& key, ARGUMENTS const&... arguments) const;
    int FailRange(KxString const& key, KxString const& value, KxString const& minimum, KxString const& maximum) const;

    int FailStore(KxString const& key, KxString const& value) const { return Failure(NotStoredMessage(key, value)); }

    int m_throwOnError;
    int m_groupSeen = 0;
};

}  // namespace KxN
