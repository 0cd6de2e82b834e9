// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxOperator: a named command of an application, with texts, pictures for a button and an ordered set of parameters,
// which it owns. An application derives from it, inserts the parameters in its constructor, supplies the body as
// DoExecute, and hands the object to a KxOperatorMgr, so that command lines and macros find it by its fix name.
//
// An operator takes three consecutive string resources: fix name, name for users, help. Errors are KxException; a call
// that throws leaves the operator as it was, but for Load and for slots that throw. An operator belongs to one thread
// at a time, and so do its parameters.
#pragma once

#include "hbtools/base/syBitmap.h"
#include "hbtools/core/sySVQueue.h"
#include "hbtools/operators/syParameter.h"

namespace KxN {

class CWnd;

/// How a run ended. Of these, a macro knows 0 and 2; it ends with whatever is not 0. Do not renumber.
enum OperatorReturnCode : int {
    OPERATOR_OK = 0,              ///< A macro may go on.
    OPERATOR_FAILED = 1,          ///< It did not do its work; an application may add numbers of its own.
    OPERATOR_PARAMETERS_SET = 2,  ///< The command line set parameters and did not run the operator.
    OPERATOR_CANCELLED = 3        ///< The user ended it.
};

/// The kind of button that shows an operator. The numbers are the application's.
enum ButtonType : int { BUTTON_DEFAULT = 0 };

class KX_API KxOperator {
public:
    KxOperator() = default;
    explicit KxOperator(unsigned short id) { SetId(id); }
    KxOperator(unsigned short id, KxResId const& resId) { SetId(id, resId); }
    KxOperator(KxOperator const&) = delete;  ///< See Clone.
    KxOperator& operator=(KxOperator const&) = delete;

    /// Destroys the parameters, first to last.
    virtual ~KxOperator() = 0;
    /// A new operator of the same class, which is the caller's. The library does not call it; what a clone takes over
    /// from its source is the derived class's decision.
    virtual KxOperator* Clone() const = 0;

protected:
    /// Two steps for a body to call before its work, if it wants to. They do nothing.
    virtual void InitParameters();
    virtual void CheckParameters();

public:
    /// For operators with a dialog: it has ended, and: show it. @throws KxNotImplementedException unless overridden
    virtual void ParameterDialogDone(CWnd* parent);
    virtual void ParameterDialog(CWnd* parent);

protected:
    /// The body. It reads its parameters, and IsInteractive and GetParentWindow if it shows something.
    virtual OperatorReturnCode DoExecute() = 0;

public:
    /// As KxParameter::SetId. A manager finds the operator by its new id and name from then on.
    void SetId(unsigned short id) { SetId(id, KxResId(id, nullptr)); }
    void SetId(unsigned short id, KxResId const& resId);
    unsigned short GetId() const { return m_id; }
    KxResId const& GetResId() const { return m_resId; }

    KxString const& GetFixName() const { return m_fixName; }
    KxString const& GetUIName() const { return m_uiName; }
    void SetUIName(KxString const& name) { m_uiName = name; }
    KxString const& GetHelpText() const { return m_helpText; }
    void SetHelpText(KxString const& text) { m_helpText = text; }
    unsigned char GetUserLevel() const { return m_userLevel; }  ///< Its meaning is the application's.
    void SetUserLevel(unsigned char level) { m_userLevel = level; }
    CBitmap const& GetSmallBitmap() const { return m_smallBitmap; }
    void SetSmallBitmap(CBitmap const& bitmap) { m_smallBitmap = bitmap; }
    CBitmap const& GetLargeBitmap() const { return m_largeBitmap; }
    void SetLargeBitmap(CBitmap const& bitmap) { m_largeBitmap = bitmap; }
    ButtonType GetButtonType() const { return m_buttonType; }
    void SetButtonType(ButtonType type) { m_buttonType = type; }

    /// Runs the body and returns its result. The first form keeps the parent window of the last run.
    OperatorReturnCode Execute(int interactive);
    OperatorReturnCode Execute(CWnd* parent, int interactive);
    int IsInteractive() const { return m_isInteractive; }     ///< As the last Execute said.
    CWnd* GetParentWindow() const { return m_parentWindow; }  ///< Not owned; null before an Execute with one.

    unsigned long GetNumParameters() const { return static_cast<unsigned long>(m_parameters.Count()); }
    /// In the order of insertion; null when the index is not below the count. The operator keeps what it returns.
    KxParameter* GetParameterIndexed(unsigned long index) const;
    /// The first parameter of that name, compared exactly, or the one of that id; all are looked at, here and below.
    /// @throws KxException if there is none
    KxParameter* GetParameter(KxString const& fixName) const;
    KxParameter* GetParameter(unsigned short id) const;

    // Short cuts to the value of a parameter by its id. @throws KxException if there is none of that id, and what
    // the setter of its class throws. @pre The parameter is of the class named: the caller answers for that.
    void SetParameterLong(unsigned short id, long value);
    long GetParameterLong(unsigned short id) const;
    void SetParameterDouble(unsigned short id, double value);
    double GetParameterDouble(unsigned short id) const;
    void SetParameterBool(unsigned short id, int status);
    int GetParameterBool(unsigned short id) const;
    void SetParameterString(unsigned short id, KxString const& value);
    KxString GetParameterString(unsigned short id) const;
    void SetParameterFile(unsigned short id, KxString const& fileName);
    KxString GetParameterFile(unsigned short id) const;
    void SetParameterList(unsigned short id, KxString const& entry);
    KxString GetParameterList(unsigned short id) const;

    /// Saves all parameters into the group of the operator's fix name, in one safe step: all of them or none.
    /// @throws KxFileException if they cannot be stored
    void Save(KxString const& fileName);
    /// Loads all parameters, then fires the three signals of each, so that a listener finds all values in place. A
    /// slot that throws keeps no other from being called; the first exception leaves at the end.
    /// @throws KxReadKeywordException as the first bad value does; those before it are loaded, no signal is fired
    void Load(KxString const& fileName);

protected:
    /// Takes the parameter over. @throws KxException if one of its id is there; it then remains the caller's
    void Insert(KxParameter* parameter);
    int Exists(KxParameter const* parameter) const;  ///< Asks for its id.
    int Exists(unsigned short id) const;
    int Exists(KxString const& fixName) const;

private:
    friend class KxOperatorMgr;
    template <class Match>
    KxParameter* Find(Match match) const;
    template <class T>
    T& Typed(unsigned short id) const;

    unsigned short m_id = 0;
    KxResId m_resId = KxResId(0);
    KxString m_fixName;
    KxString m_uiName;
    KxString m_helpText;
    unsigned char m_userLevel = 0;
    CBitmap m_smallBitmap;
    CBitmap m_largeBitmap;
    ButtonType m_buttonType = BUTTON_DEFAULT;
    KxTSVQueue<KxParameter*> m_parameters{1024, 16, 16};
    CWnd* m_parentWindow = nullptr;
    int m_isInteractive = 0;
    int m_managers = 0;  // that list it
};

}  // namespace KxN
