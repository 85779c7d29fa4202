// File-system primitives on Windows: the wide file calls on the path as given, "." and ".."
// resolved.
#include "platform/fileSystem.h"
#include "platform/paths.h"
#include "platform/win32/win32Shared.h"

namespace vx::platform {

namespace {

constexpr int kWriteBit = 0x80; // _S_IWRITE

bool mapBoth(const std::wstring& first, const std::wstring& second, std::wstring& a, std::wstring& b) {
    return toNativePath(first, a) && toNativePath(second, b);
}

// The attributes of the entry itself (a link is not followed); false when it is missing.
bool ownAttributes(const std::wstring& native, DWORD& attributes) {
    attributes = ::GetFileAttributesW(native.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES;
}

// Sets the attributes the system lets a caller set, or none at all as FILE_ATTRIBUTE_NORMAL.
bool setAttributes(const std::wstring& native, DWORD attributes) {
    attributes &= win32::kSettableAttributes;
    return ::SetFileAttributesW(native.c_str(), attributes ? attributes : FILE_ATTRIBUTE_NORMAL) != 0;
}

// Volume serial number and file index: the identity of the entry behind a path, links followed.
bool identity(const std::wstring& native, BY_HANDLE_FILE_INFORMATION& info) {
    const win32::scopedHandle handle(win32::openEntry(native, 0));
    return handle.valid() && ::GetFileInformationByHandle(handle.get(), &info);
}

bool sameIdentity(const BY_HANDLE_FILE_INFORMATION& a, const BY_HANDLE_FILE_INFORMATION& b) {
    return a.dwVolumeSerialNumber == b.dwVolumeSerialNumber && a.nFileIndexHigh == b.nFileIndexHigh &&
           a.nFileIndexLow == b.nFileIndexLow;
}

bool sameNativeEntry(const std::wstring& a, const std::wstring& b) {
    BY_HANDLE_FILE_INFORMATION infoA, infoB;
    return identity(a, infoA) && identity(b, infoB) && sameIdentity(infoA, infoB);
}

// Sets the access and modification times of an entry and keeps its creation time.
bool setTimes(const std::wstring& native, const FILETIME* access, const FILETIME* modification) {
    const win32::scopedHandle handle(win32::openEntry(native, FILE_WRITE_ATTRIBUTES));
    return handle.valid() && ::SetFileTime(handle.get(), nullptr, access, modification);
}

// The name under which the directory lists the entry a path names: the case it really has.
bool listedName(const std::wstring& native, std::wstring& name) {
    WIN32_FIND_DATAW found;
    const HANDLE find = ::FindFirstFileW(native.c_str(), &found);
    if (find == INVALID_HANDLE_VALUE)
        return false;
    ::FindClose(find);
    name = found.cFileName;
    return true;
}

// Changes the case of an entry's name. Some file systems take the new name at once, others
// answer success and keep the old one, or refuse it as a clash of names: those get it in two
// steps, over a free name.
bool changeCase(const std::wstring& source, const std::wstring& target) {
    const std::wstring wanted = target.substr(target.find_last_of(L'\\') + 1);
    std::wstring listed;
    if (::MoveFileExW(source.c_str(), target.c_str(), 0) && listedName(target, listed) && listed == wanted)
        return true;
    for (unsigned n = 0; n < 100; ++n) {
        const std::wstring step = source + L".~" + std::to_wstring(::GetCurrentProcessId()) + L"_" + std::to_wstring(n);
        if (!::MoveFileExW(source.c_str(), step.c_str(), 0))
            continue;
        if (::MoveFileExW(step.c_str(), target.c_str(), 0))
            return true;
        const DWORD failure = ::GetLastError();
        ::MoveFileExW(step.c_str(), source.c_str(), 0);
        ::SetLastError(failure);
        return false;
    }
    return false;
}

// Moves an entry without replacing one of the target name; a file crosses volumes by copy and
// removal, a directory does not. The target may name the source itself in another case.
bool moveEntry(const std::wstring& from, const std::wstring& to) {
    std::wstring source, target;
    DWORD attributes;
    if (!mapBoth(from, to, source, target) || !ownAttributes(source, attributes))
        return false;
    if (source == target)
        return true;
    const bool sameButCase = ::CompareStringOrdinal(source.c_str(), static_cast<int>(source.size()), target.c_str(),
                                                    static_cast<int>(target.size()), TRUE) == CSTR_EQUAL;
    if (sameButCase && sameNativeEntry(source, target))
        return changeCase(source, target);
    return ::MoveFileExW(source.c_str(), target.c_str(), MOVEFILE_COPY_ALLOWED) != 0;
}

} // namespace

bool accessPath(const std::wstring& path, int mode) {
    if (mode != 0 && mode != 2 && mode != 4 && mode != 6) {
        ::SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    std::wstring native;
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!toNativePath(path, native) || !win32::entryData(native, data))
        return false;
    // Every entry can be read; a file that is read-only cannot be written. A directory can be
    // written whatever its attributes say, as _waccess answers.
    if ((mode & 2) && (data.dwFileAttributes & FILE_ATTRIBUTE_READONLY) &&
        !(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
        ::SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    return true;
}

bool statPath(const std::wstring& path, fileStatus& status) {
    std::wstring native;
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!toNativePath(path, native) || !win32::entryData(native, data))
        return false;
    fileStatus result;
    result.isDirectory = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (!result.isDirectory)
        result.size = (static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
    result.modificationTime = win32::secondsSince1970(data.ftLastWriteTime);
    result.creationTime = win32::secondsSince1970(data.ftCreationTime);
    result.accessTime = win32::secondsSince1970(data.ftLastAccessTime);
    // The link was followed: what is reported are the attributes of what it points to.
    result.attributes = data.dwFileAttributes & win32::kReportedAttributes & ~DWORD(FILE_ATTRIBUTE_REPARSE_POINT);
    status = result;
    return true;
}

bool changeMode(const std::wstring& path, int mode) {
    std::wstring native;
    DWORD attributes;
    if (!toNativePath(path, native) || !ownAttributes(native, attributes))
        return false;
    // As _wchmod: only the write bit counts, since every entry can be read.
    if (mode & kWriteBit)
        attributes &= ~DWORD(FILE_ATTRIBUTE_READONLY);
    else
        attributes |= FILE_ATTRIBUTE_READONLY;
    return setAttributes(native, attributes);
}

bool createNewFile(const std::wstring& path, int mode) {
    std::wstring native;
    if (!toNativePath(path, native))
        return false;
    const DWORD attributes = (mode & kWriteBit) ? FILE_ATTRIBUTE_NORMAL : FILE_ATTRIBUTE_READONLY;
    const HANDLE handle =
        ::CreateFileW(native.c_str(), GENERIC_WRITE, win32::kShareAll, nullptr, CREATE_NEW, attributes, nullptr);
    return handle != INVALID_HANDLE_VALUE && ::CloseHandle(handle);
}

int createLockFile(const std::wstring& path) {
    std::wstring native;
    if (!toNativePath(path, native))
        return ERROR_PATH_NOT_FOUND;
    // No sharing while it is being made; the file's existence is the lock.
    const HANDLE handle = ::CreateFileW(native.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                        FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        const DWORD error = ::GetLastError();
        return error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS ? kLockFileExists
                                                                            : static_cast<int>(error);
    }
    ::CloseHandle(handle);
    return 0;
}

bool removeFile(const std::wstring& path) {
    std::wstring native;
    DWORD attributes;
    if (!toNativePath(path, native) || !ownAttributes(native, attributes))
        return false;
    if (attributes & FILE_ATTRIBUTE_DIRECTORY) {
        // A link to a directory is removed itself; a directory is not a file.
        if (attributes & FILE_ATTRIBUTE_REPARSE_POINT)
            return ::RemoveDirectoryW(native.c_str()) != 0;
        ::SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    if (attributes & FILE_ATTRIBUTE_READONLY) {
        ::SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    return ::DeleteFileW(native.c_str()) != 0;
}

bool renamePath(const std::wstring& from, const std::wstring& to) {
    return moveEntry(from, to);
}

bool movePath(const std::wstring& from, const std::wstring& to) {
    return moveEntry(from, to);
}

bool copyFile(const std::wstring& from, const std::wstring& to, bool failIfExists) {
    std::wstring source, target;
    WIN32_FILE_ATTRIBUTE_DATA sourceData;
    if (!mapBoth(from, to, source, target) || !win32::entryData(source, sourceData))
        return false;
    WIN32_FILE_ATTRIBUTE_DATA targetData;
    if (win32::entryData(target, targetData)) {
        if (failIfExists) {
            ::SetLastError(ERROR_FILE_EXISTS);
            return false;
        }
        // Replacing the source itself would destroy it.
        if ((targetData.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)) ||
            sameNativeEntry(source, target)) {
            ::SetLastError(ERROR_ACCESS_DENIED);
            return false;
        }
    }
    if (::CopyFileW(source.c_str(), target.c_str(), failIfExists ? TRUE : FALSE))
        return true;
    // A copy that fails once it has made or cut the target takes the target away, so no partial
    // copy stays behind. Failures to open either file have touched nothing.
    const DWORD error = ::GetLastError();
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
    case ERROR_INVALID_NAME:
        break;
    default: {
        DWORD attributes;
        if (ownAttributes(target, attributes) && !(attributes & FILE_ATTRIBUTE_DIRECTORY)) {
            setAttributes(target, attributes & ~DWORD(FILE_ATTRIBUTE_READONLY));
            ::DeleteFileW(target.c_str());
        }
        break;
    }
    }
    ::SetLastError(error);
    return false;
}

bool setModificationTime(const std::wstring& path, std::int64_t seconds) {
    std::wstring native;
    DWORD attributes;
    FILETIME time;
    if (!toNativePath(path, native) || !ownAttributes(native, attributes))
        return false;
    if (attributes & FILE_ATTRIBUTE_READONLY) {
        ::SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    if (!win32::fileTimeOf(seconds, time)) {
        ::SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    return setTimes(native, nullptr, &time);
}

bool copyFileProperties(const std::wstring& from, const std::wstring& to) {
    std::wstring source, target;
    WIN32_FILE_ATTRIBUTE_DATA sourceData;
    DWORD targetAttributes;
    if (!mapBoth(from, to, source, target) || !win32::entryData(source, sourceData) ||
        !ownAttributes(target, targetAttributes))
        return false;
    bool ok = true;
    if (!(targetAttributes & FILE_ATTRIBUTE_READONLY))
        ok = setTimes(target, &sourceData.ftLastAccessTime, &sourceData.ftLastWriteTime);
    const DWORD readOnly = sourceData.dwFileAttributes & FILE_ATTRIBUTE_READONLY;
    return setAttributes(target, (targetAttributes & ~DWORD(FILE_ATTRIBUTE_READONLY)) | readOnly) && ok;
}

bool isRemoteDrive(wchar_t letter) {
    if (letter >= L'a' && letter <= L'z')
        letter = static_cast<wchar_t>(letter - L'a' + L'A');
    if (letter < L'A' || letter > L'Z')
        return false;
    const wchar_t root[] = {letter, L':', L'\\', 0};
    return ::GetDriveTypeW(root) == DRIVE_REMOTE;
}

bool sameFile(const std::wstring& first, const std::wstring& second) {
    std::wstring a, b;
    return mapBoth(first, second, a, b) && sameNativeEntry(a, b);
}

bool fileIdentity(const std::wstring& path, entryIdentity& id) {
    std::wstring native;
    BY_HANDLE_FILE_INFORMATION info;
    if (!toNativePath(path, native) || !identity(native, info))
        return false;
    id.volume = info.dwVolumeSerialNumber;
    id.index = (static_cast<std::uint64_t>(info.nFileIndexHigh) << 32) | info.nFileIndexLow;
    return true;
}

// ReplaceFileW keeps the attributes and security of the replaced file; a new name is a move.
bool replaceFile(const std::wstring& source, const std::wstring& target) {
    std::wstring from, to;
    if (!mapBoth(source, target, from, to))
        return false;
    DWORD attributes = 0;
    if (!ownAttributes(to, attributes))
        return ::MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_WRITE_THROUGH) != 0;
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return false;
    return ::ReplaceFileW(to.c_str(), from.c_str(), nullptr, REPLACEFILE_IGNORE_MERGE_ERRORS, nullptr, nullptr) != 0;
}

} // namespace vx::platform
