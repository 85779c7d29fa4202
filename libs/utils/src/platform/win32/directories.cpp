// Directories, their listing and the system's folders on Windows.
#include "platform/directories.h"
#include "platform/fileSystem.h"
#include "platform/paths.h"
#include "platform/win32/win32Shared.h"

#include <shlobj.h>

#include <algorithm>
#include <vector>

namespace vx::platform {

namespace {

std::wstring withDelimiter(const std::wstring& path) {
    return !path.empty() && path.back() == L'\\' ? path : path + L'\\';
}

} // namespace

bool createDirectory(const std::wstring& path) {
    std::wstring native;
    return toNativePath(path, native) && ::CreateDirectoryW(native.c_str(), nullptr) != 0;
}

bool removeDirectory(const std::wstring& path) {
    std::wstring native;
    if (!toNativePath(path, native))
        return false;
    const DWORD attributes = ::GetFileAttributesW(native.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return false;
    // A link to a directory goes itself (RemoveDirectoryW never follows it); a read-only
    // directory stays, as Windows refuses it, also where the file system would let it go.
    if ((attributes & FILE_ATTRIBUTE_READONLY) && !(attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
        ::SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    return ::RemoveDirectoryW(native.c_str()) != 0;
}

bool changeCurrentDirectory(const std::wstring& path) {
    std::wstring native;
    return toNativePath(path, native) && ::SetCurrentDirectoryW(native.c_str()) != 0;
}

bool diskSpace(const std::wstring& path, std::uint64_t& freeToCaller, std::uint64_t& total, std::uint64_t& totalFree) {
    std::wstring native;
    ULARGE_INTEGER caller, all, free;
    // The call wants a directory, with its trailing delimiter where it is a share.
    if (!toNativePath(path, native) || !::GetDiskFreeSpaceExW(withDelimiter(native).c_str(), &caller, &all, &free))
        return false;
    freeToCaller = caller.QuadPart;
    total = all.QuadPart;
    totalFree = free.QuadPart;
    return true;
}

bool knownFolder(int csidl, std::wstring& windowsForm) {
    switch (csidl) {
    case csidlPersonal:
    case csidlDesktop:
    case csidlAppData:
    case csidlLocalAppData:
    case csidlCommonAppData:
    case csidlCommonDocuments:
        break;
    default:
        ::SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    wchar_t buffer[MAX_PATH + 1] = {};
    if (FAILED(::SHGetFolderPathW(nullptr, csidl, nullptr, SHGFP_TYPE_CURRENT, buffer)) || buffer[0] == 0)
        return false;
    windowsForm = buffer;
    return true;
}

bool systemTemporaryDirectory(std::wstring& windowsForm) {
    wchar_t buffer[MAX_PATH + 2];
    const DWORD length = ::GetTempPathW(MAX_PATH + 2, buffer);
    if (length == 0 || length > MAX_PATH + 1)
        return false;
    std::wstring text(buffer, length);
    // Without the trailing delimiter, but for a drive's root ("C:\").
    while (text.size() > 3 && (text.back() == L'\\' || text.back() == L'/'))
        text.pop_back();
    windowsForm = text;
    return true;
}

// --- listing ----------------------------------------------------------------------------------------

struct directoryListing::state {
    struct name {
        std::wstring text;
        entryKind kind;
        bool dots; // "." or ".."
    };
    std::wstring directory; // native, with a trailing '\'
    std::vector<name> names;
    std::size_t position = 0;
};

directoryListing::directoryListing() : mpState(nullptr) {}

directoryListing::~directoryListing() {
    delete mpState;
}

bool directoryListing::open(const std::wstring& path) {
    delete mpState;
    mpState = nullptr;
    std::wstring native;
    if (!toNativePath(path, native))
        return false;
    auto* s = new state;
    s->directory = withDelimiter(native);
    // The names are read at once, so removing entries while the listing goes on skips nothing.
    WIN32_FIND_DATAW found;
    const HANDLE find = ::FindFirstFileExW(win32::longForm(s->directory + L"*").c_str(), FindExInfoBasic, &found,
                                           FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH);
    if (find == INVALID_HANDLE_VALUE) {
        // The root of a drive lists neither "." nor "..": empty, it lists nothing at all.
        const DWORD error = ::GetLastError();
        const DWORD attributes = ::GetFileAttributesW(native.c_str());
        if (error != ERROR_FILE_NOT_FOUND || attributes == INVALID_FILE_ATTRIBUTES ||
            !(attributes & FILE_ATTRIBUTE_DIRECTORY)) {
            delete s;
            ::SetLastError(error);
            return false;
        }
    } else {
        do {
            const std::wstring name = found.cFileName;
            entryKind kind = kindOther;
            if (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT)
                kind = kindUnknown;
            else if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
                kind = kindDirectory;
            s->names.push_back({name, kind, name == L"." || name == L".."});
        } while (::FindNextFileW(find, &found));
        ::FindClose(find);
    }
    std::sort(s->names.begin(), s->names.end(), [](const state::name& a, const state::name& b) {
        // "." and ".." first, as the find functions give them.
        if (a.dots != b.dots)
            return a.dots;
        const int order = ::CompareStringOrdinal(a.text.c_str(), static_cast<int>(a.text.size()), b.text.c_str(),
                                                 static_cast<int>(b.text.size()), TRUE);
        if (order != CSTR_EQUAL)
            return order == CSTR_LESS_THAN;
        return a.text < b.text;
    });
    mpState = s;
    return true;
}

bool directoryListing::next(std::wstring& name, entryKind& kind) {
    if (!mpState || mpState->position >= mpState->names.size())
        return false;
    const state::name& n = mpState->names[mpState->position++];
    name = n.text;
    kind = n.kind;
    return true;
}

bool directoryListing::examine(std::uint32_t& attributes) {
    if (!mpState || mpState->position == 0)
        return false;
    const state::name& n = mpState->names[mpState->position - 1];
    const std::wstring path = win32::longForm(mpState->directory + n.text);
    const DWORD own = ::GetFileAttributesW(path.c_str());
    if (own == INVALID_FILE_ATTRIBUTES)
        return false;
    if (!(own & FILE_ATTRIBUTE_REPARSE_POINT)) {
        attributes = own & win32::kReportedAttributes;
        return true;
    }
    // A link: the attributes of what it points to beside the link bit; pointing nowhere, a
    // system entry.
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (win32::entryData(path, data))
        attributes = (data.dwFileAttributes & win32::kReportedAttributes) | kAttributeLink;
    else
        attributes = kAttributeSystem | kAttributeLink;
    return true;
}

} // namespace vx::platform
