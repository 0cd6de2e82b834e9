// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syException.h"

#include "Support.h"
#include "hbtools/base/syClassName.h"

#include <cerrno>
#include <functional>
#include <type_traits>
#include <vector>

namespace {

using namespace KxN;
using test::U;

/// One class of the tree: how to make it, its one base, what it says.
struct Row {
    std::string name;
    std::function<void()> raise;
    std::function<bool(std::function<void()>)> isCaughtAsBase;
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
    static_assert(std::is_base_of_v<BASE, EXCEPTION>);
    return {KxxToUtf8(KxxClassName(typeid(EXCEPTION)).View()), [=] { throw new EXCEPTION(arguments...); },
            IsCaughtAs<BASE>, text};
}

/// The direct base is the last class of the chain: nothing that is derived from BASE lies between.
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
        EXPECT_TRUE(row.isCaughtAsBase(row.raise));
        EXPECT_TRUE(IsCaughtAs<KxException>(row.raise));
        EXPECT_TRUE(IsCaughtAs<CException>(row.raise));
        try {
            row.raise();
        } catch (KxException* exception) {
            EXPECT_NE(dynamic_cast<KxCompatibleException*>(exception), nullptr);
            EXPECT_EQ(U(exception->GetMessage()), row.text);
            EXPECT_EQ(U(exception->GetExtendedInfo()), row.name);
            EXPECT_EQ(exception->GetErrorLevel(), EXCEPT_UNKNOWN);
            // A copy of the root keeps what it says.
            KxException copy(*exception);
            EXPECT_EQ(U(copy.GetMessage()), row.text);
            EXPECT_EQ(copy.HasLocation(), exception->HasLocation());
            exception->Delete();
        }
    }
    // The branches are apart.
    EXPECT_FALSE(IsCaughtAs<KxRuntimeException>([] { throw new KxIntOverflowException; }));
    EXPECT_FALSE(IsCaughtAs<KxLogicException>([] { throw new KxArrayBoundsException; }));
    EXPECT_FALSE(IsCaughtAs<KxOperationException>([] { throw new KxArrayBoundsException; }));
    EXPECT_FALSE(IsCaughtAs<KxFloatMathException>([] { throw new KxIntOverflowException; }));
    EXPECT_FALSE(IsCaughtAs<KxFileException>([] { throw new KxDllLoadException(L"x", 1); }));
    EXPECT_FALSE(IsCaughtAs<KxMemoryException>([] { throw new KxAllocException; }));
}

// No class lies between an exception and the base that the tree names.
template <class EXCEPTION, class... OTHERS>
constexpr int Depth = (0 + ... + (std::is_base_of_v<OTHERS, EXCEPTION> ? 1 : 0));
template <class EXCEPTION>
constexpr int DepthOf =
    Depth<EXCEPTION, KxException, KxRuntimeException, KxLogicException, KxOperationException, KxRangeException,
          KxAllocException, KxMemoryException, KxFileException, KxFileNotExistException, KxDirEntryException,
          KxDllException, KxDllLoadException, KxDllFreeException, KxDllProcAddrException, KxNotImplementedException,
          KxReadKeywordException, KxVersionException, KxArrayBoundsException, KxAccessViolationException,
          KxMathException, KxFloatMathException, KxIntMathException, KxFloatOverflowException, KxIntOverflowException>;
static_assert(DepthOf<KxException> == 1 && DepthOf<KxRuntimeException> == 2 && DepthOf<KxLogicException> == 2);
static_assert(DepthOf<KxMemoryException> == 4 && DepthOf<KxDirEntryException> == 4 && DepthOf<KxDllFreeException> == 4);
static_assert(DepthOf<KxArrayBoundsException> == 4 && DepthOf<KxAccessViolationException> == 4);
static_assert(DepthOf<KxFloatOverflowException> == 5 && DepthOf<KxIntOverflowException> == 5);
static_assert(DepthOf<KxReadKeywordException> == 3 && DepthOf<KxVersionException> == 3);

TEST(Exception, CarriesItsMembers) {
    KxDateTime const before = KxDateTime::Now();
    KxException plain(L"text");
    EXPECT_EQ(plain.HasLocation(), 0);
    EXPECT_EQ(U(plain.GetSrcFileName()), "");
    EXPECT_EQ(plain.GetSrcLine(), 0u);
    EXPECT_GE(plain.GetDateTime().GetDate(), before.GetDate());
    EXPECT_GT(before.GetDate(), 0u);

    KxException full(L"source.cpp", 12, L"text");
    full.SetErrorLevel(EXCEPT_FATAL);
    full.SetExceptionGroup(L"Scanner");
    KxException copy(full), assigned(L"other");
    assigned = full;
    KxException& self = assigned;
    assigned = self;
    for (KxException* exception : {&full, &copy, &assigned}) {
        EXPECT_EQ(U(exception->GetMessage()), "text");
        EXPECT_NE(exception->HasLocation(), 0);
        EXPECT_EQ(U(exception->GetSrcFileName()), "source.cpp");
        EXPECT_EQ(exception->GetSrcLine(), 12u);
        EXPECT_EQ(exception->GetErrorLevel(), EXCEPT_FATAL);
        EXPECT_EQ(U(exception->GetExceptionGroup()), "Scanner");
        EXPECT_EQ(exception->GetDateTime().GetTime(), full.GetDateTime().GetTime());
    }
    static_assert(!std::is_constructible_v<KxException, KxException const&>, "the copy completes its source first");
    static_assert(!std::is_assignable_v<KxException&, KxException const&>);
    static_assert(EXCEPT_UNKNOWN == 0 && EXCEPT_USER == 1 && EXCEPT_NONFATAL == 2 && EXCEPT_FATAL == 3);

    KxMemoryException memory(17);
    EXPECT_EQ(memory.GetSize(), 17u);
    KxDirEntryException entry(L"f", 1, L"path", 5);
    EXPECT_EQ(U(entry.GetPath()), "path");
    EXPECT_EQ(entry.GetCode(), 5u);
    KxDllProcAddrException address(L"module", L"function", 9);
    EXPECT_EQ(U(address.GetName()), "module");
    EXPECT_EQ(U(address.GetFunction()), "function");
    EXPECT_EQ(address.GetCode(), 9u);
    KxVersionException version(L"f", 1, L"name", KxVersion(3), KxVersion(4));
    EXPECT_EQ(version.GetFound(), KxVersion(3));
    EXPECT_EQ(version.GetNeeded(), KxVersion(4));
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
    try {
        try {
            AfxThrowFileException(CFileException::diskFull, ENOSPC, L"/data/m\u00fcller.scan");
        } catch (CException* exception) {
            auto* const wrapper = new KxException(*exception);
            exception->Delete();
            throw wrapper;
        }
    } catch (KxException* exception) {
        EXPECT_EQ(U(exception->GetMessage()),
                  "Der Datenträger ist voll; die Datei \"/data/müller.scan\" konnte nicht geschrieben werden "
                  "(Systemfehler 28: No space left on device)");
        EXPECT_EQ(exception->HasLocation(), 0);
        exception->Delete();
    }
    // One of the tree that is only known as a framework exception keeps its members.
    KxException inner(L"source.cpp", 3, L"inner");
    inner.SetExceptionGroup(L"group");
    inner.SetErrorLevel(EXCEPT_USER);
    CException& framework = inner;
    KxException outer(framework);
    EXPECT_EQ(U(outer.GetMessage()), "inner");
    EXPECT_EQ(outer.GetSrcLine(), 3u);
    EXPECT_EQ(U(outer.GetExceptionGroup()), "group");
    EXPECT_EQ(outer.GetErrorLevel(), EXCEPT_USER);
}

TEST(Exception, TextIsCutToTheBuffer) {
    KxException exception(L"Gr\u00f6\u00dfe");
    struct {
        unsigned size;
        wchar_t const* text;
    } const table[] = {
        {1, L""}, {3, L"Gr"}, {5, L"Gr\u00f6\u00df"}, {6, L"Gr\u00f6\u00dfe"}, {100, L"Gr\u00f6\u00dfe"}};
    for (auto const& row : table) {
        std::vector<wchar_t> buffer(row.size + 1, L'#');
        unsigned help = 99;
        EXPECT_NE(exception.GetErrorMessage(buffer.data(), row.size, &help), 0);
        EXPECT_EQ(std::wstring(buffer.data()), row.text);
        EXPECT_EQ(buffer[row.size], L'#');
        EXPECT_EQ(help, 0u);
        EXPECT_NE(exception.GetErrorMessage(buffer.data(), row.size), 0) << "nobody asks for help";
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
        EXPECT_EQ(alive, 1);
        (new Counted(standing))->Delete();  // the copy is an object of its own
        EXPECT_EQ(alive, 1);
        auto* const assigned = new Counted(true);
        *assigned = standing;
        assigned->Delete();
        EXPECT_EQ(alive, 1);
    }
    EXPECT_EQ(alive, 0);
    // Running out of memory takes none: the same object every time.
    CMemoryException* first = nullptr;
    for (int i = 0; i < 2; ++i) {
        try {
            AfxThrowMemoryException();
        } catch (CMemoryException* exception) {
            if (!first) first = exception;
            EXPECT_EQ(exception, first);
            exception->Delete();
            EXPECT_EQ(U(CException::TextOf(*exception)), "Der Speicher reicht nicht aus");
        }
    }
}

TEST(Exception, FrameworkExceptionsSpeak) {
    auto const text = [](CException&& exception) { return U(CException::TextOf(exception)); };
    EXPECT_EQ(text(CException()), "Ein Fehler ist aufgetreten");
    EXPECT_EQ(text(CInvalidArgException()), "Ein Argument ist unzulässig");
    EXPECT_EQ(text(COleException(-2147221040)),
              "Ein Fehler der Objektschnittstelle ist aufgetreten (Code -2147221040)");
    EXPECT_EQ(text(CFileException(CFileException::badSeek, -1, L"n")),
              "In der Datei \"n\" wurde auf eine unzulässige Position gesetzt");
    EXPECT_EQ(text(CFileException(99, -1, L"n")), "Beim Zugriff auf die Datei \"n\" ist ein Fehler aufgetreten");
    EXPECT_EQ(text(CFileException(-1)), "Beim Zugriff auf die Datei \"\" ist ein Fehler aufgetreten");
    EXPECT_EQ(text(CArchiveException(CArchiveException::readOnly, L"n")),
              "In das Archiv \"n\" kann nicht geschrieben werden: es ist zum Laden geöffnet");
    EXPECT_EQ(text(CArchiveException(CArchiveException::writeOnly, L"n")),
              "Aus dem Archiv \"n\" kann nicht gelesen werden: es ist zum Speichern geöffnet");
    EXPECT_EQ(text(CArchiveException(8)), "Beim Zugriff auf das Archiv \"\" ist ein Fehler aufgetreten");
    // Each cause has a text of its own.
    for (int cause = 0; cause <= 14; ++cause) EXPECT_GT(text(CFileException(cause)).size(), 20u) << cause;
    for (int cause = 0; cause <= 7; ++cause) EXPECT_GT(text(CArchiveException(cause)).size(), 20u) << cause;
    EXPECT_TRUE(IsCaughtAs<CFileException>([] { AfxThrowFileException(CFileException::hardIO, EIO, L"n"); }));
    EXPECT_TRUE(IsCaughtAs<CArchiveException>([] { AfxThrowArchiveException(CArchiveException::badClass); }));
    EXPECT_TRUE(IsCaughtAs<CInvalidArgException>([] { AfxThrowInvalidArgException(); }));
    EXPECT_TRUE(IsCaughtAs<COleException>([] { AfxThrowOleException(1); }));
}

TEST(Exception, SystemErrorsHaveACause) {
    struct {
        long osError;
        int cause;
    } const table[] = {
        {0, CFileException::none},
        {ENOENT, CFileException::fileNotFound},
        {ENOTDIR, CFileException::badPath},
        {ENAMETOOLONG, CFileException::badPath},
        {ELOOP, CFileException::badPath},
        {EILSEQ, CFileException::badPath},
        {EMFILE, CFileException::tooManyOpenFiles},
        {ENFILE, CFileException::tooManyOpenFiles},
        {EACCES, CFileException::accessDenied},
        {EPERM, CFileException::accessDenied},
        {EROFS, CFileException::accessDenied},
        {EISDIR, CFileException::accessDenied},
        {EBADF, CFileException::invalidFile},
        {ENXIO, CFileException::invalidFile},
        {EMLINK, CFileException::directoryFull},
        {EINVAL, CFileException::badSeek},
        {EOVERFLOW, CFileException::badSeek},
        {EIO, CFileException::hardIO},
        {ESTALE, CFileException::hardIO},
        {EBUSY, CFileException::sharingViolation},
        {ETXTBSY, CFileException::sharingViolation},
        {EAGAIN, CFileException::lockViolation},
        {ENOLCK, CFileException::lockViolation},
        {ENOSPC, CFileException::diskFull},
        {EDQUOT, CFileException::diskFull},
        {EFBIG, CFileException::diskFull},
        {EXDEV, CFileException::genericException},
        {EEXIST, CFileException::genericException},
        {123456, CFileException::genericException},
        {-1, CFileException::genericException},
    };
    for (auto const& row : table) EXPECT_EQ(CFileException::CauseOfOsError(row.osError), row.cause) << row.osError;
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
        {{file, 1, key}, "Der Schlüssel 'Port' konnte nicht gelesen werden"},
        {{file, 1, key, group}, "Der Schlüssel 'Port' konnte in der Gruppe [Gerät] nicht gelesen werden"},
        {{file, 1, key, group, name},
         "Der Schlüssel 'Port' konnte in der Gruppe [Gerät] der Datei 'scan.ini' nicht gelesen werden"},
        {{file, 1, key, group, name, L"12", L"0", L"10"},
         "Der Schlüssel 'Port' der Gruppe [Gerät] in der Datei 'scan.ini' enthält den unzulässigen Wert '12'. Erlaubt "
         "ist der Bereich von 0 bis 10"},
    };
    for (auto& row : rows) {
        EXPECT_EQ(U(row.exception.GetMessage()), row.text);
        KxReadKeywordException copy(row.exception), assigned(L"", 0, L"");
        assigned = row.exception;
        for (KxReadKeywordException* other : {&copy, &assigned}) {
            EXPECT_EQ(U(other->GetMessage()), row.text);
            EXPECT_EQ(U(other->GetKey()), "Port");
            EXPECT_EQ(other->GetGroup(), row.exception.GetGroup());
            EXPECT_EQ(other->GetFileName(), row.exception.GetFileName());
            EXPECT_EQ(other->GetMax(), row.exception.GetMax());
            EXPECT_EQ(other->GetSrcLine(), 1u);
        }
    }
    EXPECT_EQ(U(rows[3].exception.GetValue()), "12");
    EXPECT_EQ(U(rows[3].exception.GetMin()), "0");
    static_assert(!std::is_constructible_v<KxReadKeywordException, KxReadKeywordException const&>);
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

TEST(RuntimeClass, KnowsItsBases) {
    CMemoryException exception(false);
    EXPECT_TRUE(exception.IsKindOf(&CObject::classCObject));
    EXPECT_STREQ(exception.GetRuntimeClass()->className, "CObject");
    CRuntimeClass const derived = {"Derived", &CObject::classCObject, nullptr};
    EXPECT_TRUE(derived.IsDerivedFrom(&CObject::classCObject));
    EXPECT_TRUE(derived.IsDerivedFrom(&derived));
    EXPECT_FALSE(CObject::classCObject.IsDerivedFrom(&derived));
}

}  // namespace
