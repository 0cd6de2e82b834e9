// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Numbers of the texts in ScanLab.DEU. That of an operator is its id too; its parameters, numbered from 1, take three
// texts each behind it.
#pragma once

#include <hbtools/base/syFormat.h>
#include <hbtools/base/syResource.h>
#include <hbtools/base/syString.h>

namespace ScanLab {

enum OperatorId : unsigned short {
    ImportId = 1000,
    SynthesizeId = 1050,
    LoadId = 1100,
    FilterId = 1150,
    TransformId = 1200,
    SplitId = 1250,
    FitPlaneId = 1300,
    FitSphereId = 1350,
    AlignId = 1400,
    DeviationsId = 1450,
    HistogramId = 1500,
    ReportId = 1550,
    SaveId = 1600,
    ExportId = 1650,
    ListId = 1700,
    RemoveId = 1750,
    MacroId = 1800,
    SaveSettingsId = 1850,
    LoadSettingsId = 1900,
    UndoId = 1950,
    RedoId = 1960,
    StepsId = 1970,
    ExportConditionsId = 2000,
    ImportConditionsId = 2030,
    PackId = 2060,
    UnpackId = 2090,
    DevicesId = 2200,
    SetDeviceId = 2250,
    MeasureId = 2300,
    LanguageId = 2350
};

enum class Text : unsigned short {
    OfParameter = 3000,
    ScanUnknown = 3001,
    NoScan = 3002,
    NoFit = 3003,
    NoDeviations = 3004,
    NoFileName = 3005,
    BoxUpsideDown = 3006,
    NothingLeft = 3007,
    NoAxis = 3008,
    NoFormat = 3009,
    TooFewPoints = 3010,
    NoSphere = 3011,
    CellsTooSmall = 3012,
    NoSettings = 3013,
    SameScan = 3014,
    NoFolder = 3015,
    Cancelled = 3016,
    NotUndoable = 3017,
    NothingToUndo = 3018,
    NothingToRedo = 3019,
    InElement = 3020,
    NoConditions = 3021,
    UnknownElement = 3022,
    UnknownAttribute = 3023,
    AttributeMissing = 3024,
    NameTwice = 3025,
    NoValue = 3026,
    BadContent = 3027,
    OtherUnit = 3028,
    NotExportable = 3029,
    NoFile = 3030,
    FolderNotEmpty = 3031,
    NoScanner = 3040,
    NoDriver = 3041,
    NoSetting = 3042,
    NoLanguage = 3043,
    DriverWorks = 3050,
    DriverFails = 3051,
    DriverHangs = 3052,
    DriverCrashes = 3053,
    DriverExits = 3054,
    UnknownFailure = 3055,
    NoTrial = 3056,
    StepLoad = 3060,
    StepInit = 3061,
    StepConstruct = 3062,
    StepSettings = 3063,
    StepDestruct = 3064,
    StepUnload = 3065,
    NoMotion = 3070,
    NothingInCommon = 3071,
    FewToAlign = 3072,
    NoExtent = 3073,
    NothingToDraw = 3074,
    LineTooLong = 3075,
    ReadingFails = 3076,
    AtLine = 3077,
    NoScanFile = 3078,
    NoPlace = 3079,
    WithoutSettings = 3080,
    NoSemicolon = 3081,
    NotPrinted = 3082,
    OfScan = 3083,
    Operators = 3100,
    Parameter = 3101,
    Type = 3102,
    Values = 3103,
    Default = 3104,
    Meaning = 3105,
    Color = 3106,
    Introduction = 3107,
    FromTo = 3108,
    NoParameters = 3109,
    Now = 3110,
    ScanLineTooLong = 3120,
    BytesMissing = 3121,
    BecameShorter = 3122,
    MoreBehind = 3123,
    NoPoint = 3124,
    PointsMissing = 3125,
    PointsInBytes = 3126,
    NoPointInLine = 3127,
    NoNumber = 3128,
    NoColumn = 3129,
    OtherColumns = 3130,
    NoCount = 3131,
    HeaderOpen = 3132,
    NoPlyFormat = 3133,
    PlyFormat = 3134,
    PlyProperty = 3135,
    PlyLine = 3136,
    NoPlyProperty = 3137,
    NoVertices = 3138,
    EndsBeforeVertices = 3139,
    PlyListTooLong = 3140,
    VertexLists = 3141,
    NoPcdNumber = 3142,
    PcdEntries = 3143,
    OneWord = 3144,
    SecondLine = 3145,
    TooManyPoints = 3146,
    PcdSides = 3147,
    PcdType = 3148,
    NoPcdField = 3149,
    PcdData = 3150
};

/// The text of the application's module.
inline KxN::KxString TextOf(Text id) {
    return KxN::KxString(KxN::KxResId(static_cast<unsigned short>(id), nullptr));
}

/// The same as a format.
template <class... Arguments>
KxN::KxString FormatOf(Text id, Arguments const&... arguments) {
    KxN::KxString text;
    text.Assign(KxN::KxxFormat(TextOf(id).View(), arguments...));
    return text;
}

/// Makes ScanLab's texts those of the application. For the start of a program.
void UseTexts();

}  // namespace ScanLab
