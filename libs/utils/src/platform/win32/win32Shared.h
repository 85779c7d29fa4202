// Helpers shared by the Win32 implementations of files, directories and paths (internal to the
// platform layer).
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <cstdint>
#include <limits>
#include <string>

namespace vx::platform {

// An event of events.h: a system event, or a thread's handle, which is set once the thread has
// ended (owned false: the thread closes it).
struct event {
    HANDLE handle;
    bool owned;
};

} // namespace vx::platform

namespace vx::platform::win32 {

// The attribute bits the platform interface reports (fileSystem.h): read-only, hidden, system,
// directory, archive and the reparse point, which is its link bit.
constexpr DWORD kReportedAttributes = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                                      FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_ARCHIVE |
                                      FILE_ATTRIBUTE_REPARSE_POINT;

// The attributes SetFileAttributesW accepts; the others belong to the system.
constexpr DWORD kSettableAttributes = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                                      FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED |
                                      FILE_ATTRIBUTE_OFFLINE | FILE_ATTRIBUTE_TEMPORARY;

// Every sharing mode: an open file may be read, written, renamed and removed by others, as a
// descriptor allows on POSIX systems.
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// A handle closed when the object ends.
class scopedHandle {
public:
    explicit scopedHandle(HANDLE handle) : mHandle(handle) {}
    ~scopedHandle() {
        if (valid())
            ::CloseHandle(mHandle);
    }
    scopedHandle(const scopedHandle&) = delete;
    scopedHandle& operator=(const scopedHandle&) = delete;

    bool valid() const { return mHandle != INVALID_HANDLE_VALUE && mHandle != nullptr; }
    HANDLE get() const { return mHandle; }

private:
    HANDLE mHandle;
};

// FILETIME counts 100 ns since 1601; the interface counts seconds since 1970.
constexpr std::int64_t kSecondsFrom1601To1970 = 11644473600LL;
constexpr std::int64_t kTicksPerSecond = 10000000LL;

inline std::int64_t secondsSince1970(const FILETIME& time) {
    const std::uint64_t ticks = (static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
    return static_cast<std::int64_t>(ticks / kTicksPerSecond) - kSecondsFrom1601To1970;
}

// False for a time before 1601 or beyond what a FILETIME holds.
inline bool fileTimeOf(std::int64_t seconds, FILETIME& time) {
    if (seconds < -kSecondsFrom1601To1970 ||
        seconds > std::numeric_limits<std::int64_t>::max() / kTicksPerSecond - kSecondsFrom1601To1970)
        return false;
    const std::uint64_t ticks = static_cast<std::uint64_t>(seconds + kSecondsFrom1601To1970) * kTicksPerSecond;
    time.dwLowDateTime = static_cast<DWORD>(ticks & 0xFFFFFFFFu);
    time.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return true;
}

// A full path ("C:\x", "\\server\share\x") in the form the wide calls take at any length: from
// the length where the classic limit of 260 characters (248 for a directory being made) would
// bite, "\\?\" or "\\?\UNC\" goes in front. A path that has a prefix keeps it.
inline std::wstring longForm(const std::wstring& path) {
    constexpr std::size_t kClassicLimit = MAX_PATH - 12;
    if (path.size() < kClassicLimit || path.compare(0, 4, L"\\\\?\\") == 0)
        return path;
    if (path.size() >= 2 && path[0] == L'\\' && path[1] == L'\\')
        return L"\\\\?\\UNC\\" + path.substr(2);
    return L"\\\\?\\" + path;
}

// Opens an existing entry, a directory too, with the access given (0 to ask for its identity
// only); links are followed. Never opens an entry for reading or writing its data.
inline HANDLE openEntry(const std::wstring& native, DWORD access) {
    return ::CreateFileW(native.c_str(), access, kShareAll, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS,
                         nullptr);
}

// What GetFileAttributesExW gives, for the entry a link points to where the path names a link.
// False for a missing entry and for a link that points nowhere.
inline bool entryData(const std::wstring& native, WIN32_FILE_ATTRIBUTE_DATA& data) {
    if (!::GetFileAttributesExW(native.c_str(), GetFileExInfoStandard, &data))
        return false;
    if ((data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0)
        return true;
    const scopedHandle target(openEntry(native, FILE_READ_ATTRIBUTES));
    BY_HANDLE_FILE_INFORMATION info;
    if (!target.valid() || !::GetFileInformationByHandle(target.get(), &info))
        return false;
    data.dwFileAttributes = info.dwFileAttributes;
    data.ftCreationTime = info.ftCreationTime;
    data.ftLastAccessTime = info.ftLastAccessTime;
    data.ftLastWriteTime = info.ftLastWriteTime;
    data.nFileSizeHigh = info.nFileSizeHigh;
    data.nFileSizeLow = info.nFileSizeLow;
    return true;
}

} // namespace vx::platform::win32
