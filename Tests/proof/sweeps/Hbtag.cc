// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The inspector of tag files as a function: starting it as a process takes longer than all that it does with a small file.
#define main HbtagMain
#include "hbtag.cpp"  // NOLINT(bugprone-suspicious-include): its entry has another name here
