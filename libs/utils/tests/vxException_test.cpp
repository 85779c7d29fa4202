#include "testSupport.h"

#include <vxException.h>

namespace {

using ids = std::vector<std::wstring>;

std::wstring textOf(const vx::exception& e) { return e.message().string(); }

std::wstring persistentIdOf(const vx::exception& e) {
    vx::string out;
    e.message().stringId().getPersistentId(out);
    return out;
}

// The ids of the nested messages, or with texts their texts.
ids nested(const vx::exception& e, bool texts = false) {
    ids out;
    for (const vx::locString& m : e.nestedMessages())
        out.push_back(texts ? std::wstring(m.string()) : std::wstring(m.stringId().id()));
    return out;
}

} // namespace

TEST(exceptionChain, causesAreFlattenedCopiesThatOutliveTheCause) {
    vx::exception root(vx::locString(L"Root", L"root"), nullptr);
    vx::exception middle(vx::locString(L"Middle", L"middle"), &root), upper(vx::locString(L"Upper", L"upper"), &middle);
    vx::exception top(vx::locString(L"Top", L"top"), &upper);
    EXPECT_TRUE(root.nestedMessages().empty() && std::wstring(top.message().stringId().id()) == L"Top");
    EXPECT_EQ(nested(top), (ids{L"Upper", L"Middle", L"Root"}));
    auto* cause = new vx::readFileException(L"C:\\in.txt");
    vx::exception e(vx::locString(L"Outer", L"outer"), cause);
    delete cause;
    EXPECT_EQ(nested(e, true), ids{L"Error reading file C:\\in.txt"});
    const vx::exception copy(vx::writeFileException(L"out.dat", &e)); // the base part alone
    EXPECT_TRUE(textOf(copy) == L"Error writing file out.dat" && nested(copy) == (ids{L"Outer", L"Msg_EReadFile"}));
}

TEST(exceptionClasses, fileExceptionsNameTheFileAndUnexpectedErrorsCutTheirDetailsAt511Characters) {
    const vx::string f = L"C:\\data\\plan.vx";
    const vx::outOfMemoryException oom;
    // Each names its id and its default text, and inserts the file for [File] where there is one.
    const struct { vx::exception e; const wchar_t *id, *text; std::size_t nested; } cases[] = {
        {vx::fileException(f, &oom), L"Msg_EFileAccess", L"Error accessing file [File]", 1},
        {vx::fileNotFoundException(f), L"Msg_EFileNotFound", L"File [File] not found!", 0},
        {vx::readFileException(f, &oom), L"Msg_EReadFile", L"Error reading file [File]", 1},
        {vx::writeFileException(f, &oom), L"Msg_EWriteFile", L"Error writing file [File]", 1},
        {vx::fileWriteProtectedException(f, &oom), L"Msg_EFileWriteProtected", L"File [File] is write protected!", 1},
        {vx::invalidFileFormatException(f, &oom), L"Msg_EInvalidFileFormat", L"Invalid file format in File [File]!", 1},
        {vx::invalidXmlException(f), L"Msg_EInvalidXml", L"File [File] is not a valid XML-file!", 0},
        {vx::moduleLoadException(f, &oom), L"Msg_ELoadModule", L"Error loading module [File]", 1},
        {vx::outOfMemoryException(), L"Msg_EOutOfMem", L"Out of memory", 0},
        {vx::divisionByZeryException(), L"Msg_EDivisionByZero", L"Division by zero!", 0},
        {vx::readLicenseException(), L"Msg_EReadLicense", L"Error reading the license", 0},
        {vx::manipulatedAppException(), L"Msg_EManipulatedApp", L"The application has been manipulated", 0},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(persistentIdOf(c.e), vx::string(c.id) + L"|" + c.text + L"|");
        EXPECT_EQ(textOf(c.e), vx::string(c.text).replace(L"[File]", f));
        EXPECT_EQ(c.e.nestedMessages().size(), c.nested) << c.id;
    }
    // The file name is inserted as it stands.
    EXPECT_EQ(textOf(vx::readFileException(L"C:\\100%d [File].txt")), L"Error reading file C:\\100%d [File].txt");
    EXPECT_EQ(textOf(vx::readFileException(nullptr)), L"Error reading file ");
    // An unexpected error formats its details, cut at 511 characters.
    vx::unexpectedErrorException e(L"%s at %d", L"index", 3);
    EXPECT_EQ(textOf(e) + L"|" + persistentIdOf(e),
              L"Unexpected error occurred (index at 3)|EUnexpected|Unexpected error occurred ([Details])|");
    EXPECT_EQ(textOf(vx::unexpectedErrorException(nullptr)), L"Unexpected error occurred ()");
    vx::fileNotFoundException missingFile(L"x.cfg");
    vx::unexpectedErrorException inner(&missingFile, L"reading %s", L"settings");
    EXPECT_TRUE(textOf(inner) == L"Unexpected error occurred (reading settings)" &&
                nested(inner) == ids{L"Msg_EFileNotFound"});
    const std::wstring long600(600, L'x'), expected = L"Unexpected error occurred (" + std::wstring(511, L'x') + L")";
    EXPECT_EQ(textOf(vx::unexpectedErrorException(L"%s", long600.c_str())), expected);
    EXPECT_EQ(textOf(vx::unexpectedErrorException(&missingFile, L"%s", long600.c_str())), expected);
    vx::attributeNotFoundException notFound(L"Width", 2);
    EXPECT_EQ(textOf(notFound) + L"=" + persistentIdOf(notFound),
              L"Attribute Width(2) not found!=Msg_EDbAttribNotFound|Attribute [Attrib]([Nth]) not found!|,vxDb.loc");
    vx::invalidAttributeType invalid(L"Width", 0, L"abc", L"double");
    EXPECT_EQ(textOf(invalid) + L"=" + persistentIdOf(invalid),
              L"Attribute Width(0) with Value abc not convertible to type double!=Msg_EDbInvAttribFound|Attribute "
              L"[Attrib]([Nth]) with Value [Val] not convertible to type [Type]!|,vxDb.loc");
    vx::readLicenseException license;
    vx::missingLicenseException custom(vx::locString(L"Msg_EKey", L"Key missing"), &license);
    EXPECT_EQ(nested(custom), (ids{L"Msg_EReadLicense"}));
}

TEST(exitCode, lastErrorCodeStartsAtOkAndKeepsTheLastWrite) {
    using e = vx::exitCode;
    EXPECT_EQ(e::lastErrorCode(), e::EC_OK());
    e::setLastErrorCode(e::EC_LICENSE());
    e::setLastErrorCode(e::EC_MODULE());
    EXPECT_EQ(e::lastErrorCode(), 8);
    EXPECT_EQ((std::vector<int>{e::EC_OK(), e::EC_SOFTWARE(), e::EC_LICENSE(), e::EC_PCONTEXT(), e::EC_VERSION(),
                                e::EC_CONFIGDIR(), e::EC_GSETTINGS(), e::EC_CMDLINE(), e::EC_MODULE(), e::EC_INSTRUN(),
                                e::EC_MANIPULATION()}),
              (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
}
