// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What a first program does: store a scan's name and points under a marker, and read them back by id, in another
// order; and to speak another language. Needs C++20 and -fnon-call-exceptions, which it must get from the package alone.
#include <hbtools/hbtools.h>

#include <cstdio>

#if __cplusplus < 202002L
#error "the package does not ask for C++20"
#endif

#ifdef CONSUMER_HAS_PACKS
extern KxN::SxStringResource const g_consumerTexts[];
extern std::size_t const g_consumerTextsCount;
#endif

namespace {

enum TagId : unsigned long { scanId = 100, nameId, countId, pointsId };

bool StoreAndLoad(wchar_t const* path) {
    using namespace KxN;
    {
        CFile file(path, CFile::modeReadWrite | CFile::modeCreate);
        KxTagArchive archive(&file, 0);
        KxString name;
        name.SPrintf(L"%s %d, %.1f mm", L"plate", 7, 0.5);
        int count = 3;
        KxTArray<KxVec3f> points;
        points.Resize(count);
        for (int i = 0; i < count; ++i) points[i] = KxVec3f(static_cast<float>(i), 0.5F, -1);
        archive << KxNullTag(scanId);
        archive.LevelDown();
        archive << KxStringTag(nameId, name) << KxTTag<int>(countId, count) << KxVec3fArrayTag(pointsId, points);
        archive.LevelUp();
        file.Close();
    }
    CFile file(path, CFile::modeRead);
    KxTagArchive archive(&file, 1);
    KxString name;
    int count = 0;
    KxTArray<KxVec3f> points;
    archive >> KxNullTag(scanId);
    archive.LevelDown();
    archive >> KxVec3fArrayTag(pointsId, points) >> KxTTag<int>(countId, count) >> KxStringTag(nameId, name);
    archive.LevelUp();
    std::printf("%ls: %d points\n", name.GetStr(), count);
    return name == L"plate 7, 0.5 mm" && points.Size() == 3 && count == 3 && points[2] == KxVec3f(2, 0.5F, -1);
}

#ifdef CONSUMER_HAS_PACKS
/// The texts of this program, and those of the library, which were installed with it, in English.
bool SpeakEnglish() {
    using namespace KxN;
    CDynLinkLibrary own(g_consumerTexts, &g_consumerTextsCount);
    AfxSetResourceModule(&own);
    KxGlobalLocalizer localizer;
    localizer.Init(L"/nowhere/no.ini", L"Languages");
    localizer.SetActiveLanguage(L"English");
    localizer.DoLocalization(2);
    KxString const text(KxResId(1, nullptr)), error = KxRuntimeException().GetMessage();
    std::printf("%ls, %ls\n", text.GetStr(), error.GetStr());
    bool const isEnglish = text == L"%s: %d points" && error == L"A run-time error has occurred";
    AfxSetResourceHandle(KxxGetProgram());
    return isEnglish && KxString(KxResId(1, nullptr)) == L"%s: %d Punkte";
}
#else
bool SpeakEnglish() {
    return true;
}
#endif

}  // namespace

int main() {
    try {
        if (StoreAndLoad(L"consumer.tag") && SpeakEnglish()) return 0;
        std::printf("something else than was expected\n");
    } catch (KxN::CException* exception) {
        wchar_t text[256] = L"";
        exception->GetErrorMessage(text, 256);
        std::printf("%ls\n", text);
        exception->Delete();
    }
    return 1;
}
