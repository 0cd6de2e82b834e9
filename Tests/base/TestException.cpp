// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syException.h"

#include "Support.h"
#include "hbtools/base/syClassName.h"

#include <cerrno>
#include <functional>
#include <set>
#include <type_traits>
#include <vector>

namespace {

using namespace KxN;
using test::U;

/// One class of the tree: how it is thrown, whether its one base catches it, what it says.
struct Row {
    std::string name;
    std::function<void()> raise;
    bool (*isCaughtAsBase)(std::function<void()> const&);
    std::string text;
};

/// True if a catch of EXCEPTION* takes what the call throws.
template <class EXCEPTION>
bool IsCaughtAs(std::function<void()> const& call) {
    try {
        try {
            call();
        } catch (EXCEPTION* exception) {
            exception->Delete();
            return true;
        }
    } catch (CException* exception) {
        exception->Delete();
    }
    return false;
}

template <class EXCEPTION, class BASE, class... Arguments>
Row Of(std::string text, Arguments... arguments) {
    return {KxxToUtf8(KxxClassName(typeid(EXCEPTION)).View()), [=] { throw new EXCEPTION(arguments...); },
            &IsCaughtAs<BASE>, text};
}

std::vector<Row> Tree() {
    KxString const file = L"source.cpp", name = L"n\u00e4me";
    return {
        Of<KxException, CException>(""),
        Of<KxException, KxException>("Überlauf", KxString(L"\u00dcberlauf")),
        Of<KxRuntimeException, KxException>("Ein Laufzeitfehler ist aufgetreten"),
        Of<KxRuntimeException, KxException>("Ein Laufzeitfehler ist aufgetreten", file, 7UL),
        Of<KxLogicException, KxException>("Ein Programmlogikfehler ist aufgetreten"),
        Of<KxOperationException, KxRuntimeException>("Eine unzulässige Operation wurde ausgeführt"),
        Of<KxRangeException, KxRuntimeException>("Ein Wert liegt außerhalb des zulässigen Bereichs"),
        Of<KxAllocException, KxRuntimeException>("Eine Speicheranforderung ist fehlgeschlagen"),
        Of<KxMemoryException, KxAllocException>("Der Speicher reicht nicht aus: 5000000000 Bytes wurden angefordert",
                                                5'000'000'000UL),
        Of<KxFileException, KxRuntimeException>("näme", file, 7UL, name),
        Of<KxFileNotExistException, KxFileException>("Die Datei \"näme\" existiert nicht", file, 7UL, name),
        Of<KxDirEntryException, KxFileException>(
            "Der Zugriff auf \"näme\" ist fehlgeschlagen: No space left on device (Systemfehler 28)", file, 7UL, name,
            28UL),
        Of<KxDllException, KxRuntimeException>("Ein Fehler ist im Modul \"näme\" aufgetreten (Code 3)", name, 3UL),
        Of<KxDllLoadException, KxDllException>("Das Modul \"näme\" konnte nicht geladen werden (Code 3)", name, 3UL),
        Of<KxDllFreeException, KxDllException>("Das Modul \"näme\" konnte nicht freigegeben werden (Code 3)", name,
                                               3UL),
        Of<KxDllProcAddrException, KxDllException>(
            "Die Funktion \"function\" wurde im Modul \"näme\" nicht gefunden (Code 3)", name, KxString(L"function"),
            3UL),
        Of<KxNotImplementedException, KxRuntimeException>("näme", file, 7UL, name),
        Of<KxReadKeywordException, KxRuntimeException>("Der Schlüssel 'näme' konnte nicht gelesen werden", file, 7UL,
                                                       name),
        Of<KxVersionException, KxRuntimeException>(
            "Die Version von \"näme\" ist falsch: gefunden wurde 300, benötigt wird 301", file, 7UL, name,
            KxVersion(300), KxVersion(301)),
        Of<KxArrayBoundsException, KxRangeException>("Ein Feldindex liegt außerhalb der Grenzen"),
        Of<KxAccessViolationException, KxOperationException>("Auf eine ungültige Speicheradresse wurde zugegriffen"),
        Of<KxBreakPointException, KxOperationException>("Ein Haltepunkt wurde erreicht"),
        Of<KxDataMisalignmentException, KxOperationException>("Auf nicht ausgerichtete Daten wurde zugegriffen"),
        Of<KxNoncontinuableException, KxOperationException>(
            "Nach einer nicht fortsetzbaren Ausnahme wurde fortgesetzt"),
        Of<KxPrivateInstructionException, KxOperationException>("Ein privilegierter Maschinenbefehl wurde ausgeführt"),
        Of<KxSingleStepException, KxOperationException>("Ein Einzelschritt wurde ausgeführt"),
        Of<KxMathException, KxLogicException>("Ein Rechenfehler ist aufgetreten"),
        Of<KxFloatMathException, KxMathException>("Ein Gleitkommafehler ist aufgetreten"),
        Of<KxIntMathException, KxMathException>("Ein Ganzzahlfehler ist aufgetreten"),
        Of<KxFloatDenormalOperandException, KxFloatMathException>("Ein Gleitkommaoperand ist denormalisiert"),
        Of<KxFloatDivideByZeroException, KxFloatMathException>("Eine Gleitkommazahl wurde durch null geteilt"),
        Of<KxFloatInexactResException, KxFloatMathException>("Ein Gleitkommaergebnis ist ungenau"),
        Of<KxFloatInvalidOpException, KxFloatMathException>("Eine Gleitkommaoperation ist ungültig"),
        Of<KxFloatOverflowException, KxFloatMathException>("Ein Gleitkommaergebnis ist zu groß"),
        Of<KxFloatStackCheckException, KxFloatMathException>(
            "Der Stapel der Gleitkommaeinheit ist über- oder untergelaufen"),
        Of<KxFloatUnderflowException, KxFloatMathException>("Ein Gleitkommaergebnis ist zu klein"),
        Of<KxIntDivideByZeroException, KxIntMathException>("Eine ganze Zahl wurde durch null geteilt"),
        Of<KxIntOverflowException, KxIntMathException>("Ein Ganzzahlergebnis ist zu groß"),
    };
}

TEST(Exception, TreeIsCaughtByItsBasesAndSpeaks) {
    for (Row const& row : Tree()) {
        SCOPED_TRACE(row.name);
        EXPECT_TRUE(row.isCaughtAsBase(row.raise) && IsCaughtAs<CException>(row.raise));
        try {
            row.raise();
        } catch (KxException* exception) {
            EXPECT_NE(dynamic_cast<KxCompatibleException*>(exception), nullptr);
            EXPECT_EQ(U(exception->GetMessage()), row.text);
            EXPECT_EQ(U(exception->GetExtendedInfo()), row.name);
            EXPECT_EQ(U(KxException(*exception).GetMessage()), row.text) << "a copy of the root keeps what it says";
            exception->Delete();
        }
    }
    // The branches are apart.
    EXPECT_FALSE(IsCaughtAs<KxRuntimeException>([] { throw new KxIntOverflowException; }));
    EXPECT_FALSE(IsCaughtAs<KxLogicException>([] { throw new KxArrayBoundsException; }));
    EXPECT_FALSE(IsCaughtAs<KxOperationException>([] { throw new KxArrayBoundsException; }));
    EXPECT_FALSE(IsCaughtAs<KxMemoryException>([] { throw new KxAllocException; }));
}

TEST(Exception, CarriesItsMembers) {
    KxDateTime const before = KxDateTime::Now();
    KxException plain(L"text");
    EXPECT_EQ(plain.HasLocation(), 0);
    EXPECT_GE(plain.GetDateTime().GetDate(), before.GetDate());

    KxException full(L"source.cpp", 12, L"text");
    full.SetErrorLevel(EXCEPT_FATAL);
    full.SetExceptionGroup(L"Scanner");
    CException& framework = full;  // known as a framework exception only, it keeps its members all the same
    KxException copy(full), wrapped(framework), assigned(L"other");
    assigned = full;
    KxException& self = assigned;
    assigned = self;
    for (KxException* exception : {&full, &copy, &wrapped, &assigned}) {
        EXPECT_EQ(U(exception->GetMessage()) + U(exception->GetSrcFileName()), "textsource.cpp");
        EXPECT_NE(exception->HasLocation(), 0);
        EXPECT_EQ(exception->GetSrcLine(), 12u);
        EXPECT_EQ(exception->GetErrorLevel(), EXCEPT_FATAL);
        EXPECT_EQ(U(exception->GetExceptionGroup()), "Scanner");
        EXPECT_EQ(exception->GetDateTime().GetTime(), full.GetDateTime().GetTime());
    }
    static_assert(!std::is_constructible_v<KxException, KxException const&>, "the copy completes its source first");
    // A text that looks like a format is a text.
    KxFileNotExistException odd(L"f", 1, L"%s%n%d");
    EXPECT_EQ(U(odd.GetMessage()), "Die Datei \"%s%n%d\" existiert nicht");
}

/// Counts how often its text is composed.
class LazyException : public KxException {
public:
    int built = 0;

protected:
    void BuildMessage() override {
        ++built;
        m_message = L"built";
        KxException::BuildMessage();
    }
};

TEST(Exception, ComposesItsTextOnceAndWhenItIsWanted) {
    LazyException lazy;
    EXPECT_EQ(lazy.built, 0);
    EXPECT_EQ(U(lazy.GetMessage()), "built");
    EXPECT_EQ(U(CException::TextOf(lazy)), "built");
    EXPECT_EQ(lazy.built, 1);
    LazyException fresh;
    KxException copy(fresh);
    EXPECT_EQ(U(copy.GetMessage()), "built") << "the copy completes its source first";
    EXPECT_EQ(fresh.built, 1);
}

TEST(Exception, WrapsAFrameworkException) {
    CFileException inner(CFileException::diskFull, ENOSPC, L"/data/m\u00fcller.scan");
    EXPECT_EQ(U(KxException(inner).GetMessage()),
              "Der Datenträger ist voll; die Datei \"/data/müller.scan\" konnte nicht geschrieben werden "
              "(Systemfehler 28: No space left on device)");
    EXPECT_EQ(KxException(inner).HasLocation(), 0);
}

TEST(Exception, TextIsCutToTheBuffer) {
    KxException exception(L"Gr\u00f6\u00dfe");
    for (unsigned const size : {1u, 3u, 5u, 6u, 100u}) {
        std::vector<wchar_t> buffer(size + 1, L'#');
        unsigned help = 99;
        EXPECT_NE(exception.GetErrorMessage(buffer.data(), size, &help), 0);
        EXPECT_EQ(std::wstring(buffer.data()), std::wstring(L"Gr\u00f6\u00dfe").substr(0, size - 1));
        EXPECT_EQ(buffer[size], L'#');
        EXPECT_EQ(help, 0u);
    }
    wchar_t untouched = L'#';
    EXPECT_EQ(exception.GetErrorMessage(&untouched, 0), 0);
    EXPECT_EQ(untouched, L'#');
    EXPECT_EQ(exception.GetErrorMessage(nullptr, 10), 0);
    EXPECT_EQ(KxException().GetErrorMessage(&untouched, 1), 0) << "there is no text";
}

TEST(Exception, DeleteReleasesHeapObjectsOnly) {
    static int alive;
    alive = 0;
    struct Counted : CException {
        explicit Counted(bool autoDelete) : CException(autoDelete) { ++alive; }
        Counted(Counted const& other) : CException(other) { ++alive; }
        Counted& operator=(Counted const&) = default;
        ~Counted() override { --alive; }
    };
    {
        Counted standing(false);
        standing.Delete();
        (new Counted(standing))->Delete();  // the copy is an object of its own
        auto* const assigned = new Counted(true);
        *assigned = standing;
        assigned->Delete();
        EXPECT_EQ(alive, 1);
    }
    EXPECT_EQ(alive, 0);
    // Running out of memory takes none: the same object every time.
    CMemoryException* objects[2] = {};
    for (CMemoryException*& object : objects) {
        try {
            AfxThrowMemoryException();
        } catch (CMemoryException* exception) {
            exception->Delete();
            object = exception;
            EXPECT_EQ(U(CException::TextOf(*exception)), "Der Speicher reicht nicht aus");
        }
    }
    EXPECT_EQ(objects[0], objects[1]);
}

TEST(Exception, FrameworkExceptionsSpeak) {
    auto const text = [](CException&& exception) { return U(CException::TextOf(exception)); };
    EXPECT_EQ(text(CException()), "Ein Fehler ist aufgetreten");
    EXPECT_EQ(text(CInvalidArgException()), "Ein Argument ist unzulässig");
    EXPECT_EQ(text(COleException(-2147221040)),
              "Ein Fehler der Objektschnittstelle ist aufgetreten (Code -2147221040)");
    EXPECT_EQ(text(CFileException(CFileException::badSeek, -1, L"n")),
              "In der Datei \"n\" wurde auf eine unzulässige Position gesetzt");
    for (int const unknown : {99, -1})
        EXPECT_EQ(text(CFileException(unknown, -1, L"n")),
                  "Beim Zugriff auf die Datei \"n\" ist ein Fehler aufgetreten");
    EXPECT_EQ(text(CArchiveException(CArchiveException::readOnly, L"n")),
              "In das Archiv \"n\" kann nicht geschrieben werden: es ist zum Laden geöffnet");
    EXPECT_EQ(text(CArchiveException(CArchiveException::writeOnly, L"n")),
              "Aus dem Archiv \"n\" kann nicht gelesen werden: es ist zum Speichern geöffnet");
    for (int const unknown : {8, -1})
        EXPECT_EQ(text(CArchiveException(unknown)), "Beim Zugriff auf das Archiv \"\" ist ein Fehler aufgetreten");
    // Each cause has a text of its own.
    std::set<std::string> texts;
    for (int cause = 1; cause <= 14; ++cause) texts.insert(text(CFileException(cause)));
    for (int cause = 1; cause <= 7; ++cause) texts.insert(text(CArchiveException(cause)));
    EXPECT_EQ(texts.size(), 21u);
    EXPECT_TRUE(IsCaughtAs<CFileException>([] { AfxThrowFileException(CFileException::hardIO, EIO, L"n"); }));
    EXPECT_TRUE(IsCaughtAs<CArchiveException>([] { AfxThrowArchiveException(CArchiveException::badClass); }));
    EXPECT_TRUE(IsCaughtAs<CInvalidArgException>([] { AfxThrowInvalidArgException(); }));
    EXPECT_TRUE(IsCaughtAs<COleException>([] { AfxThrowOleException(1); }));
}

TEST(Exception, SystemErrorsHaveACause) {
    struct {
        int cause;
        std::vector<long> errors;
    } const table[] = {
        {CFileException::none, {0}},
        {CFileException::fileNotFound, {ENOENT}},
        {CFileException::badPath, {ENOTDIR, ENAMETOOLONG, ELOOP, EILSEQ}},
        {CFileException::tooManyOpenFiles, {EMFILE, ENFILE}},
        {CFileException::accessDenied, {EACCES, EPERM, EROFS, EISDIR}},
        {CFileException::invalidFile, {EBADF, ENXIO, ENODEV, ESPIPE}},
        {CFileException::directoryFull, {EMLINK}},
        {CFileException::badSeek, {EINVAL, EOVERFLOW}},
        {CFileException::hardIO, {EIO, EREMOTEIO, ESTALE, ETIMEDOUT}},
        {CFileException::sharingViolation, {EBUSY, ETXTBSY}},
        {CFileException::lockViolation, {EAGAIN, EDEADLK, ENOLCK}},
        {CFileException::diskFull, {ENOSPC, EDQUOT, EFBIG}},
        {CFileException::genericException, {EXDEV, EEXIST, 123456, -1}},
    };
    for (auto const& [cause, errors] : table)
        for (long const error : errors) EXPECT_EQ(CFileException::CauseOfOsError(error), cause) << error;
    // The numbers stand in the logs of applications.
    static_assert(CFileException::fileNotFound == 2 && CFileException::accessDenied == 5 &&
                  CFileException::badSeek == 9 && CFileException::hardIO == 10 && CFileException::diskFull == 13);
}

TEST(Exception, KeywordFormsNameWhatTheyKnow) {
    KxString const file = L"f", key = L"Port", group = L"Ger\u00e4t", name = L"scan.ini";
    struct {
        KxReadKeywordException exception;
        std::string text;
    } rows[] = {
        {{file, 1, key, group}, "Der Schlüssel 'Port' konnte in der Gruppe [Gerät] nicht gelesen werden"},
        {{file, 1, key, group, name},
         "Der Schlüssel 'Port' konnte in der Gruppe [Gerät] der Datei 'scan.ini' nicht gelesen werden"},
        {{file, 1, key, group, name, L"12", L"0", L"10"},
         "Der Schlüssel 'Port' der Gruppe [Gerät] in der Datei 'scan.ini' enthält den unzulässigen Wert '12'. Erlaubt "
         "ist der Bereich von 0 bis 10"},
    };
    for (auto& row : rows) {
        KxReadKeywordException copy(row.exception), assigned(L"", 0, L"");
        assigned = row.exception;
        for (KxReadKeywordException* other : {&row.exception, &copy, &assigned}) {
            EXPECT_EQ(U(other->GetMessage()), row.text);
            EXPECT_EQ(U(other->GetKey()) + U(other->GetGroup()), "PortGerät");
            EXPECT_EQ(other->GetFileName(), row.exception.GetFileName());
            EXPECT_EQ(other->GetMax(), row.exception.GetMax());
            EXPECT_EQ(other->GetSrcLine(), 1u);
        }
    }
}

template <class T>
struct Holder {};

TEST(ClassName, IsTheTextThatFilesHold) {
    EXPECT_EQ(U(KxxClassName(typeid(KxException))), "class KxN::KxException");
    EXPECT_EQ(U(KxxClassName(typeid(KxTools::String))), "class KxTools::String");
    EXPECT_EQ(U(KxxClassName(typeid(CStringT<char>))), "class KxN::CStringT<char>");
    EXPECT_EQ(U(KxxClassName(typeid(CStringT<wchar_t>))), "class KxN::CStringT<wchar_t>");
    EXPECT_NE(U(KxxClassName(typeid(Holder<unsigned long>))).find("Holder<unsigned long>"), std::string::npos);
    EXPECT_EQ(&KxxClassName(typeid(KxException)), &KxxClassName(typeid(KxException))) << "made once";
}

}  // namespace

TEST(Exceptions, RuntimeClassesKnowTheirAncestors) {
    CRuntimeClass const derived = {"Derived", &CObject::classCObject, nullptr};
    EXPECT_TRUE(derived.IsDerivedFrom(&CObject::classCObject) && derived.IsDerivedFrom(&derived));
    EXPECT_FALSE(CObject::classCObject.IsDerivedFrom(&derived));
    EXPECT_TRUE(CException().IsKindOf(&CObject::classCObject));
}
