// Open files on Windows: a file handle, with SetFilePointerEx, GetFileSizeEx and SetEndOfFile for
// positions.
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/win32/win32Shared.h"

#include <cstdint>
#include <limits>

namespace vx::platform {

namespace {

HANDLE asHandle(std::intptr_t value) {
    return reinterpret_cast<HANDLE>(value);
}

// ReadFile and WriteFile count in DWORD: larger requests go in pieces.
constexpr std::size_t kPiece = 1u << 30;

// LARGE_INTEGER is signed: an offset above its maximum has no position.
bool toOffset(std::uint64_t offset, LARGE_INTEGER& value) {
    if (offset > static_cast<std::uint64_t>(std::numeric_limits<LONGLONG>::max())) {
        ::SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    value.QuadPart = static_cast<LONGLONG>(offset);
    return true;
}

} // namespace

bool fileHandle::open(const std::wstring& path, openMode mode) {
    close();
    std::wstring native;
    if (!toNativePath(path, native))
        return false;
    // Writing never replaces the file (CREATE_ALWAYS would refuse a hidden one and drop its
    // attributes): it is opened or made, and cut to nothing once it is known to be a file.
    // Appending asks for the right to append alone, so every write lands at the end.
    DWORD access = GENERIC_READ;
    DWORD disposition = OPEN_EXISTING;
    if (mode == openWrite) {
        access = GENERIC_WRITE;
        disposition = OPEN_ALWAYS;
    } else if (mode == openAppend) {
        access = FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE;
        disposition = OPEN_ALWAYS;
    }
    // The read-only attribute is honoured for every user, as Windows does: a system that lets a
    // privileged user write anyway (Wine run by the superuser) is not asked.
    const DWORD attributes = ::GetFileAttributesW(native.c_str());
    if (mode != openRead && attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) &&
        !(attributes & FILE_ATTRIBUTE_DIRECTORY)) {
        ::SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    const HANDLE handle =
        ::CreateFileW(native.c_str(), access, win32::kShareAll, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return false;
    // A directory does not open without backup semantics; a pipe, a console or another device
    // does, and is refused here before anything reads from it or writes to it.
    if (::GetFileType(handle) != FILE_TYPE_DISK || (mode == openWrite && !::SetEndOfFile(handle))) {
        const DWORD error = ::GetLastError() == NO_ERROR ? ERROR_INVALID_HANDLE : ::GetLastError();
        ::CloseHandle(handle);
        ::SetLastError(error);
        return false;
    }
    mHandle = reinterpret_cast<std::intptr_t>(handle);
    return true;
}

bool fileHandle::read(void* buffer, std::size_t size, std::size_t& done) {
    done = 0;
    if (!isOpen()) {
        ::SetLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    char* p = static_cast<char*>(buffer);
    while (done < size) {
        const std::size_t want = size - done < kPiece ? size - done : kPiece;
        DWORD got = 0;
        if (!::ReadFile(asHandle(mHandle), p + done, static_cast<DWORD>(want), &got, nullptr))
            return false;
        if (got == 0)
            break; // the end of the file
        done += got;
    }
    return true;
}

bool fileHandle::write(const void* data, std::size_t size) {
    if (!isOpen()) {
        ::SetLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    const char* p = static_cast<const char*>(data);
    while (size > 0) {
        const std::size_t want = size < kPiece ? size : kPiece;
        DWORD written = 0;
        if (!::WriteFile(asHandle(mHandle), p, static_cast<DWORD>(want), &written, nullptr) || written == 0)
            return false;
        p += written;
        size -= written;
    }
    return true;
}

bool fileHandle::close() {
    if (mHandle == kClosed)
        return true;
    const HANDLE handle = asHandle(mHandle);
    mHandle = kClosed;
    return ::CloseHandle(handle) != 0;
}

bool fileHandle::seek(std::uint64_t offset) {
    LARGE_INTEGER position;
    if (!isOpen()) {
        ::SetLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    return toOffset(offset, position) && ::SetFilePointerEx(asHandle(mHandle), position, nullptr, FILE_BEGIN);
}

bool fileHandle::length(std::uint64_t& bytes) const {
    if (!isOpen()) {
        ::SetLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    LARGE_INTEGER size;
    if (!::GetFileSizeEx(asHandle(mHandle), &size))
        return false;
    bytes = static_cast<std::uint64_t>(size.QuadPart);
    return true;
}

bool fileHandle::lengthAndRemoved(std::uint64_t& bytes, bool& removed) const {
    if (!isOpen()) {
        ::SetLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    // A file deleted while open (shared for deletion) stays until its last handle closes, with
    // its deletion pending.
    FILE_STANDARD_INFO info;
    if (!::GetFileInformationByHandleEx(asHandle(mHandle), FileStandardInfo, &info, sizeof info))
        return false;
    bytes = static_cast<std::uint64_t>(info.EndOfFile.QuadPart);
    removed = info.DeletePending != FALSE || info.NumberOfLinks == 0;
    return true;
}

bool fileHandle::truncate(std::uint64_t bytes) {
    LARGE_INTEGER end;
    if (!isOpen()) {
        ::SetLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    if (!toOffset(bytes, end))
        return false;
    // SetEndOfFile cuts at the position: go there, cut, and come back.
    const HANDLE handle = asHandle(mHandle);
    LARGE_INTEGER zero, position;
    zero.QuadPart = 0;
    if (!::SetFilePointerEx(handle, zero, &position, FILE_CURRENT) ||
        !::SetFilePointerEx(handle, end, nullptr, FILE_BEGIN))
        return false;
    const bool cut = ::SetEndOfFile(handle) != 0;
    const DWORD error = ::GetLastError();
    const bool back = ::SetFilePointerEx(handle, position, nullptr, FILE_BEGIN) != 0;
    if (!cut)
        ::SetLastError(error);
    return cut && back;
}

} // namespace vx::platform
