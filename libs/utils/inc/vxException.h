// The exceptions of the library, and the process exit codes.
//
// Failures a caller meets in normal work are thrown as members of vx::exception. An exception
// carries a localised message (a locString, resolved to text only when someone asks, in the
// language asked for) and the messages of the failures that caused it, flattened into one list
// with the immediate cause first and the root cause last. Programming errors are not
// exceptions: they are reported through assertMsg and throw a bool (vxAssert.h).
#pragma once

#include "vxAssert.h"
#include "vxExport.h"
#include "vxLocString.h"
#include "vxString.h"

#include <vector>

namespace vx {

class file;

class VX_API exception {
public:
    // Keeps a copy of message and of the messages of nested and its causes: nothing refers to
    // nested afterwards. nested may be null.
    exception(const locString& message, const exception* nested = nullptr);
    exception(const exception& other);
    exception& operator=(const exception& other);
    virtual ~exception();

    const locString& message() const { return mMessage; }
    // The messages of the causes, the immediate cause first.
    const std::vector<locString>& nestedMessages() const { return mNestedMessages; }

protected:
    // For constructors that fill in parameters after the base is built.
    locString& editableMessage() { return mMessage; }

private:
    locString mMessage;
    std::vector<locString> mNestedMessages;
};

// --- files ----------------------------------------------------------------------------------------
// The file exceptions name the file by its full name, in the parameter "File"; each takes the
// name as text or the file object itself.

class VX_API fileException : public exception {
public:
    // "Msg_EFileAccess": "Error accessing file [File]".
    explicit fileException(const vx::string& file, const exception* nested = nullptr);
    explicit fileException(const file& f, const exception* nested = nullptr);
    // For the file exceptions below, each with a message of its own.
    fileException(const locString& message, const exception* nested);
};

class VX_API fileNotFoundException : public fileException {
public:
    // "Msg_EFileNotFound": "File [File] not found!".
    explicit fileNotFoundException(const vx::string& file);
    explicit fileNotFoundException(const file& f);
};

class VX_API readFileException : public fileException {
public:
    // "Msg_EReadFile": "Error reading file [File]".
    explicit readFileException(const vx::string& file, const exception* nested = nullptr);
    explicit readFileException(const file& f, const exception* nested = nullptr);
};

class VX_API writeFileException : public fileException {
public:
    // "Msg_EWriteFile": "Error writing file [File]".
    explicit writeFileException(const vx::string& file, const exception* nested = nullptr);
    explicit writeFileException(const file& f, const exception* nested = nullptr);
};

class VX_API fileWriteProtectedException : public fileException {
public:
    // "Msg_EFileWriteProtected": "File [File] is write protected!".
    explicit fileWriteProtectedException(const vx::string& file, const exception* nested = nullptr);
    explicit fileWriteProtectedException(const file& f, const exception* nested = nullptr);
};

class VX_API invalidFileFormatException : public fileException {
public:
    // "Msg_EInvalidFileFormat": "Invalid file format in File [File]!".
    explicit invalidFileFormatException(const vx::string& file, const exception* nested = nullptr);
    explicit invalidFileFormatException(const file& f, const exception* nested = nullptr);
};

class VX_API invalidXmlException : public fileException {
public:
    // "Msg_EInvalidXml": "File [File] is not a valid XML-file!".
    explicit invalidXmlException(const vx::string& file);
    explicit invalidXmlException(const file& f);
};

class VX_API moduleLoadException : public fileException {
public:
    // "Msg_ELoadModule": "Error loading module [File]".
    explicit moduleLoadException(const vx::string& module, const exception* nested = nullptr);
    explicit moduleLoadException(const file& module, const exception* nested = nullptr);
};

// --- computation and internal failures ----------------------------------------------------------------

class VX_API divisionByZeryException : public exception {
public:
    // "Msg_EDivisionByZero": "Division by zero!".
    explicit divisionByZeryException(const exception* nested = nullptr);
};

class VX_API unexpectedErrorException : public exception {
public:
    // "EUnexpected": "Unexpected error occurred ([Details])". fmt and its arguments (printf
    // style, %s takes a wide text) give "Details", cut at 511 characters; a null fmt gives
    // empty details.
    explicit unexpectedErrorException(const wchar_t* fmt, ...);
    unexpectedErrorException(const exception* nested, const wchar_t* fmt, ...);

private:
    void setDetails(const wchar_t* fmt, va_list args);
};

class VX_API outOfMemoryException : public exception {
public:
    // "Msg_EOutOfMem": "Out of memory".
    outOfMemoryException();
};

// --- stored objects ------------------------------------------------------------------------------------

class VX_API attributeNotFoundException : public exception {
public:
    // "Msg_EDbAttribNotFound" in "vxDb.loc": "Attribute [Attrib]([Nth]) not found!" with the
    // attribute's name and the index of the occurrence that was asked for.
    attributeNotFoundException(const vx::string& attribute, int nth);
};

class VX_API invalidAttributeType : public exception {
public:
    // "Msg_EDbInvAttribFound" in "vxDb.loc": "Attribute [Attrib]([Nth]) with Value [Val] not
    // convertible to type [Type]!" with the attribute's name, the index of its occurrence, its
    // value as text and the name of the type asked for.
    invalidAttributeType(const vx::string& attribute, int nth, const vx::string& value,
                         const vx::string& typeName);
};

// --- licensing ---------------------------------------------------------------------------------------
// Each reports one kind of refusal by the licensing checks. The constructor without a message
// uses the standard one given; the licensing code may give a more precise message.

class VX_API readLicenseException : public exception {
public:
    // "Msg_EReadLicense": "Error reading the license".
    explicit readLicenseException(const exception* nested = nullptr);
    readLicenseException(const locString& message, const exception* nested);
};

class VX_API modifyLicenseException : public exception {
public:
    // "Msg_EModifyLicense": "Error modifying the license".
    explicit modifyLicenseException(const exception* nested = nullptr);
    modifyLicenseException(const locString& message, const exception* nested);
};

class VX_API missingLicenseException : public exception {
public:
    // "Msg_EMissingLicense": "No valid license found".
    explicit missingLicenseException(const exception* nested = nullptr);
    missingLicenseException(const locString& message, const exception* nested);
};

class VX_API multiSessionsException : public exception {
public:
    // "Msg_EMultiSessions": "The license allows no further session".
    explicit multiSessionsException(const exception* nested = nullptr);
    multiSessionsException(const locString& message, const exception* nested);
};

class VX_API manipulatedAppException : public exception {
public:
    // "Msg_EManipulatedApp": "The application has been manipulated".
    explicit manipulatedAppException(const exception* nested = nullptr);
    manipulatedAppException(const locString& message, const exception* nested);
};

// --- exit codes -----------------------------------------------------------------------------------------

// The process exit codes of the applications, and one process-wide last error code.
class VX_API exitCode {
public:
    exitCode() = delete;

    static int EC_OK() { return 0; }
    static int EC_SOFTWARE() { return 1; }
    static int EC_LICENSE() { return 2; }
    static int EC_PCONTEXT() { return 3; }
    static int EC_VERSION() { return 4; }
    static int EC_CONFIGDIR() { return 5; }
    static int EC_GSETTINGS() { return 6; }
    static int EC_CMDLINE() { return 7; }
    static int EC_MODULE() { return 8; }
    static int EC_INSTRUN() { return 9; }
    static int EC_MANIPULATION() { return 10; }

    // 0 (EC_OK) until set. Any thread may read or write it; the last write wins.
    static int lastErrorCode();
    static void setLastErrorCode(int code);
};

} // namespace vx
