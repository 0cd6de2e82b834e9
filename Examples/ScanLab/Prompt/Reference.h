// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the operators and their parameters are, from their own texts: a page for readers, and help for the prompt.
#pragma once

#include <hbtools/operators/syOperatorMgr.h>

namespace KxN {
class KxOperator;
class KxParameter;
}  // namespace KxN

namespace ScanLab {

/// The word for the type of a parameter.
KxN::KxString TypeOf(KxN::KxParameter const& parameter);
/// The values that it takes: a range, entries, extensions; empty if any text does.
KxN::KxString ValuesOf(KxN::KxParameter const& parameter);

/// All operators as Markdown.
KxN::KxString ReferencePage(KxN::KxOperatorMgr const& manager);
/// One line for each operator.
KxN::KxString OperatorsHelp(KxN::KxOperatorMgr const& manager);
/// One operator with its parameters and what they are now.
KxN::KxString OperatorHelp(KxN::KxOperator const& found);
/// Name, type, values and meaning of a parameter in one line, with its value.
KxN::KxString ParameterHint(KxN::KxParameter const& parameter);

}  // namespace ScanLab
