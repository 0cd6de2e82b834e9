// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// All operators of ScanLab. What each does, and its parameters, is told by `scanlab --help-operators`.
#pragma once

#include "Session.h"

#include <hbtools/operators/syOperatorMgr.h>

namespace ScanLab {

/// The session must outlive the operators.
void InsertOperators(KxN::KxOperatorMgr& manager, Session& session);

// By topic.
void InsertInputOperators(KxN::KxOperatorMgr& manager, Session& session);
void InsertScanOperators(KxN::KxOperatorMgr& manager, Session& session);
void InsertFitOperators(KxN::KxOperatorMgr& manager, Session& session);
void InsertOutputOperators(KxN::KxOperatorMgr& manager, Session& session);
void InsertHistoryOperators(KxN::KxOperatorMgr& manager, Session& session);
void InsertConditionsOperators(KxN::KxOperatorMgr& manager, Session& session);
void InsertPackOperators(KxN::KxOperatorMgr& manager, Session& session);
void InsertDeviceOperators(KxN::KxOperatorMgr& manager, Session& session);
void InsertProgramOperators(KxN::KxOperatorMgr& manager, Session& session);

}  // namespace ScanLab
