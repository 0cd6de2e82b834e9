// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxParameter: a typed, named value that an operator shows to users, to command lines and to settings files. Whoever
// holds one can set it by its text, save it and load it without knowing its type; the types are in syParam*.h.
//
// A parameter takes three consecutive string resources: its fix name, which is the same in every language and is its
// name in look-ups and files, its name for users, and its help. It tells of changes by three signals, each with
// the parameter as its argument, run on the caller's thread within the call that changes it; a slot that throws leaves
// the new value in place. A copy is connected to the same slots as its source.
//
// Errors: a refused value raises KxException and leaves the parameter as it was, without a signal. An object belongs to
// one thread at a time.
#pragma once

#include "hbtools/base/syResource.h"
#include "hbtools/base/syString.h"
#include "hbtools/core/sySignal.h"

namespace KxN {

/// What KxParameter::GetType returns. Do not renumber.
enum ParameterType {
    PARAMETER_UNKNOWN = 0,
    PARAMETER_BOOL = 1,
    PARAMETER_LONG = 2,
    PARAMETER_DOUBLE = 3,
    PARAMETER_STRING = 4,
    PARAMETER_LIST = 5,
    PARAMETER_FILE = 6,
    PARAMETER_AOI = 7,  ///< For applications; no class of this library.
    PARAMETER_COLOR = 8
};

class KX_API KxParameter {
public:
    KxParameter() = default;
    explicit KxParameter(unsigned short id) { SetId(id); }
    KxParameter(unsigned short id, KxResId const& resId) { SetId(id, resId); }
    /// Copies all fields, the slots of the signals included. An assignment that memory ends in is made in part.
    KxParameter(KxParameter const& other);
    KxParameter& operator=(KxParameter const& other);

    /// The text of the value, as SetValueFromString takes it.
    virtual KxString GetValueAsString() const = 0;
    /// Checks and stores the value that the text stands for, then fires SignalValueChanged.
    /// @throws KxException if the text has the wrong form or its value is refused
    virtual void SetValueFromString(KxString const& value) = 0;
    virtual ~KxParameter() = 0;
    /// Writes the parameter's keys, each beginning with the fix name, into a group of a configuration file, in one safe
    /// step (see syConfig.h). @throws KxFileException if they cannot be stored, as a text with a line end
    virtual void Save(KxString const& fileName, KxString const& group) = 0;
    /// Reads what Save wrote. A missing key or file gives the default value, which must be in range as its text. Fires
    /// no signal: KxOperator::Load does.
    /// @throws KxReadKeywordException naming key, group and file, if a value is none of the type or out of range; the
    /// parameter then keeps its value; KxFileException for a file that is there and cannot be read
    virtual void Load(KxString const& fileName, KxString const& group) = 0;

    /// Sets the id and loads the three texts by the default search of KxResId. No signal.
    void SetId(unsigned short id) { SetId(id, KxResId(id, nullptr)); }
    /// Sets the id and loads the fix name from `resId`, the name for users and the help from the two numbers behind it.
    void SetId(unsigned short id, KxResId const& resId);
    unsigned short GetId() const { return m_id; }
    KxResId const& GetResId() const { return m_resId; }
    int GetType() const { return m_type; }  ///< A ParameterType, 0 if the class says none.

    KxString const& GetFixName() const { return m_fixName; }
    KxString const& GetUIName() const { return m_uiName; }
    void SetUIName(KxString const& name) { m_uiName = name; }
    KxString const& GetHelpText() const { return m_helpText; }
    void SetHelpText(KxString const& text) { m_helpText = text; }
    /// The level of user that the parameter is meant for; its meaning is the application's.
    unsigned char GetUserLevel() const { return m_userLevel; }
    void SetUserLevel(unsigned char level) { m_userLevel = level; }

    void SetVisible() { m_isVisible = 1; }
    void SetInvisible() { m_isVisible = 0; }
    int IsVisible() const { return m_isVisible; }
    /// Not offered: visibility is changed by the two above. @throws KxNotImplementedException always
    [[noreturn]] void SetVisibility(unsigned char visibility);

    /// Each fires SignalEnabledChanged, also if nothing changes.
    void Enable();
    void Disable();
    int IsEnabled() const { return m_isEnabled; }

    KxTSignal<KxParameter&> SignalValueChanged;
    KxTSignal<KxParameter&> SignalEnabledChanged;
    /// Range, increment, precision, entries, filters or the selected filter have changed.
    KxTSignal<KxParameter&> SignalAttributesChanged;

protected:
    void SetType(ParameterType type) { m_type = type; }

private:
    int m_type = PARAMETER_UNKNOWN;
    unsigned short m_id = 0;
    KxResId m_resId = KxResId(0);
    KxString m_fixName;
    KxString m_uiName;
    KxString m_helpText;
    unsigned char m_userLevel = 0;
    int m_isVisible = 1;
    int m_isEnabled = 1;
};

}  // namespace KxN
