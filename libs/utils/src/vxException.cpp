#include "vxException.h"

#include "vxFile.h"

#include "detail/failures.h"

#include <atomic>
#include <cstdarg>

namespace vx {

namespace {

constexpr std::size_t kMaxDetails = 511;
const wchar_t kDbFile[] = L"vxDb.loc";

// Read and written from any thread without further coordination: the last write wins.
std::atomic<int> gLastErrorCode{0};

locString fileMessage(const wchar_t* id, const wchar_t* defaultText, const vx::string& file) {
    locString message(id, defaultText);
    message.params().set(file, L"File");
    return message;
}

} // namespace

// --- exception ----------------------------------------------------------------------------------

exception::exception(const locString& message, const exception* nested) : mMessage(message) {
    if (nested) {
        mNestedMessages.reserve(1 + nested->mNestedMessages.size());
        mNestedMessages.push_back(nested->mMessage);
        mNestedMessages.insert(mNestedMessages.end(), nested->mNestedMessages.begin(),
                               nested->mNestedMessages.end());
    }
    // Resolved once at the throw site with the default language; the text itself is not kept
    // for anyone, later readers resolve again in the language they want.
    (void)mMessage.string(nullptr);
}

exception::exception(const exception& other) = default;
exception& exception::operator=(const exception& other) = default;
exception::~exception() = default;

// --- files ----------------------------------------------------------------------------------------

fileException::fileException(const vx::string& file, const exception* nested)
    : exception(fileMessage(L"Msg_EFileAccess", L"Error accessing file [File]", file), nested) {}

fileException::fileException(const locString& message, const exception* nested)
    : exception(message, nested) {}

fileNotFoundException::fileNotFoundException(const vx::string& file)
    : fileException(fileMessage(L"Msg_EFileNotFound", L"File [File] not found!", file), nullptr) {}

readFileException::readFileException(const vx::string& file, const exception* nested)
    : fileException(fileMessage(L"Msg_EReadFile", L"Error reading file [File]", file), nested) {}

writeFileException::writeFileException(const vx::string& file, const exception* nested)
    : fileException(fileMessage(L"Msg_EWriteFile", L"Error writing file [File]", file), nested) {}

fileWriteProtectedException::fileWriteProtectedException(const vx::string& file,
                                                         const exception* nested)
    : fileException(fileMessage(L"Msg_EFileWriteProtected", L"File [File] is write protected!", file),
                    nested) {}

invalidFileFormatException::invalidFileFormatException(const vx::string& file,
                                                       const exception* nested)
    : fileException(
          fileMessage(L"Msg_EInvalidFileFormat", L"Invalid file format in File [File]!", file),
          nested) {}

invalidXmlException::invalidXmlException(const vx::string& file)
    : fileException(fileMessage(L"Msg_EInvalidXml", L"File [File] is not a valid XML-file!", file),
                    nullptr) {}

moduleLoadException::moduleLoadException(const vx::string& module, const exception* nested)
    : fileException(fileMessage(L"Msg_ELoadModule", L"Error loading module [File]", module), nested) {}

// The file forms name the file by its full name.
fileException::fileException(const file& f, const exception* nested) : fileException(f.fullName(), nested) {}
fileNotFoundException::fileNotFoundException(const file& f) : fileNotFoundException(f.fullName()) {}
readFileException::readFileException(const file& f, const exception* nested)
    : readFileException(f.fullName(), nested) {}
writeFileException::writeFileException(const file& f, const exception* nested)
    : writeFileException(f.fullName(), nested) {}
fileWriteProtectedException::fileWriteProtectedException(const file& f, const exception* nested)
    : fileWriteProtectedException(f.fullName(), nested) {}
invalidFileFormatException::invalidFileFormatException(const file& f, const exception* nested)
    : invalidFileFormatException(f.fullName(), nested) {}
invalidXmlException::invalidXmlException(const file& f) : invalidXmlException(f.fullName()) {}
moduleLoadException::moduleLoadException(const file& module, const exception* nested)
    : moduleLoadException(module.fullName(), nested) {}

// --- computation and internal failures ----------------------------------------------------------------

divisionByZeryException::divisionByZeryException(const exception* nested)
    : exception(locString(L"Msg_EDivisionByZero", L"Division by zero!"), nested) {}

unexpectedErrorException::unexpectedErrorException(const wchar_t* fmt, ...)
    : exception(locString(L"EUnexpected", L"Unexpected error occurred ([Details])"), nullptr) {
    va_list args;
    va_start(args, fmt);
    setDetails(fmt, args);
    va_end(args);
}

unexpectedErrorException::unexpectedErrorException(const exception* nested, const wchar_t* fmt, ...)
    : exception(locString(L"EUnexpected", L"Unexpected error occurred ([Details])"), nested) {
    va_list args;
    va_start(args, fmt);
    setDetails(fmt, args);
    va_end(args);
}

void unexpectedErrorException::setDetails(const wchar_t* fmt, va_list args) {
    vx::string details = vx::string::svformat(fmt, args);
    if (details.size() > kMaxDetails)
        details.resize(kMaxDetails);
    editableMessage().params().set(details, L"Details");
}

void detail::throwOutOfMemory() {
    throw outOfMemoryException();
}

outOfMemoryException::outOfMemoryException()
    : exception(locString(L"Msg_EOutOfMem", L"Out of memory"), nullptr) {}

// --- stored objects ------------------------------------------------------------------------------------

attributeNotFoundException::attributeNotFoundException(const vx::string& attribute, int nth)
    : exception(
          [&] {
              locString message(L"Msg_EDbAttribNotFound", L"Attribute [Attrib]([Nth]) not found!",
                                kDbFile, nullptr);
              message.params().set(attribute, L"Attrib");
              message.params().set(nth, L"Nth");
              return message;
          }(),
          nullptr) {}

invalidAttributeType::invalidAttributeType(const vx::string& attribute, int nth,
                                           const vx::string& value, const vx::string& typeName)
    : exception(
          [&] {
              locString message(
                  L"Msg_EDbInvAttribFound",
                  L"Attribute [Attrib]([Nth]) with Value [Val] not convertible to type [Type]!",
                  kDbFile, nullptr);
              message.params().set(attribute, L"Attrib");
              message.params().set(nth, L"Nth");
              message.params().set(value, L"Val");
              message.params().set(typeName, L"Type");
              return message;
          }(),
          nullptr) {}

// --- licensing ---------------------------------------------------------------------------------------

readLicenseException::readLicenseException(const exception* nested)
    : exception(locString(L"Msg_EReadLicense", L"Error reading the license"), nested) {}
readLicenseException::readLicenseException(const locString& message, const exception* nested)
    : exception(message, nested) {}

modifyLicenseException::modifyLicenseException(const exception* nested)
    : exception(locString(L"Msg_EModifyLicense", L"Error modifying the license"), nested) {}
modifyLicenseException::modifyLicenseException(const locString& message, const exception* nested)
    : exception(message, nested) {}

missingLicenseException::missingLicenseException(const exception* nested)
    : exception(locString(L"Msg_EMissingLicense", L"No valid license found"), nested) {}
missingLicenseException::missingLicenseException(const locString& message, const exception* nested)
    : exception(message, nested) {}

multiSessionsException::multiSessionsException(const exception* nested)
    : exception(locString(L"Msg_EMultiSessions", L"The license allows no further session"), nested) {}
multiSessionsException::multiSessionsException(const locString& message, const exception* nested)
    : exception(message, nested) {}

manipulatedAppException::manipulatedAppException(const exception* nested)
    : exception(locString(L"Msg_EManipulatedApp", L"The application has been manipulated"), nested) {}
manipulatedAppException::manipulatedAppException(const locString& message, const exception* nested)
    : exception(message, nested) {}

// --- exit codes -----------------------------------------------------------------------------------------

int exitCode::lastErrorCode() {
    return gLastErrorCode.load(std::memory_order_relaxed);
}

void exitCode::setLastErrorCode(int code) {
    gLastErrorCode.store(code, std::memory_order_relaxed);
}

} // namespace vx
