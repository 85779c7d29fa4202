// Windows-form paths on Windows: the system takes them as they are, once "." and ".." are resolved.
#include "platform/paths.h"
#include "platform/win32/win32Shared.h"

#include <algorithm>
#include <vector>

namespace vx::platform {

namespace {

bool isDelimiter(wchar_t c) {
    return c == L'\\' || c == L'/';
}

wchar_t upperLetter(wchar_t c) {
    if (c >= L'a' && c <= L'z')
        return static_cast<wchar_t>(c - L'a' + L'A');
    return (c >= L'A' && c <= L'Z') ? c : 0;
}

// "\\?\C:\x" and "\\?\UNC\server\share\x" are the long forms of "C:\x" and "\\server\share\x".
std::wstring withoutLongPrefix(const std::wstring& path) {
    if (path.size() < 4 || !isDelimiter(path[0]) || !isDelimiter(path[1]) || path[2] != L'?' ||
        !isDelimiter(path[3]))
        return path;
    std::wstring rest = path.substr(4);
    if (rest.size() >= 4 && upperLetter(rest[0]) == L'U' && upperLetter(rest[1]) == L'N' &&
        upperLetter(rest[2]) == L'C' && isDelimiter(rest[3]))
        return L"\\\\" + rest.substr(4);
    return rest;
}

// Relative forms, as the POSIX side resolves them too: "\x" on the current directory's drive or
// share, "x" in the current directory, "D:x" in the current directory when D is its drive and at
// the root of D otherwise (the per-drive directories of the command shell play no part).
bool makeAbsolute(const std::wstring& text, std::wstring& absolute) {
    const bool share = text.size() >= 2 && isDelimiter(text[0]) && isDelimiter(text[1]);
    const bool driveQualified = text.size() >= 2 && text[1] == L':';
    if (share || (driveQualified && text.size() >= 3 && isDelimiter(text[2]))) {
        absolute = text;
        return true;
    }
    std::wstring current;
    if (!currentDirectory(current))
        return false;
    if (driveQualified) {
        const bool onCurrent =
            current.size() >= 2 && current[1] == L':' && upperLetter(current[0]) == upperLetter(text[0]);
        absolute = (onCurrent ? current : std::wstring{text[0], L':'}) + L"\\" + text.substr(2);
    } else if (isDelimiter(text[0])) {
        std::size_t rootLength = 2; // "X:"
        if (current.size() >= 2 && isDelimiter(current[0]) && isDelimiter(current[1])) {
            // "\\server\share"
            const std::size_t server = current.find(L'\\', 2);
            rootLength = server == std::wstring::npos ? current.size()
                                                      : std::min(current.find(L'\\', server + 1), current.size());
        }
        absolute = current.substr(0, rootLength) + text;
    } else {
        absolute = current + L"\\" + text;
    }
    return true;
}

} // namespace

bool currentDirectory(std::wstring& windowsForm) {
    std::vector<wchar_t> buffer(MAX_PATH + 1);
    for (;;) {
        const DWORD length = ::GetCurrentDirectoryW(static_cast<DWORD>(buffer.size()), buffer.data());
        if (length == 0)
            return false;
        if (length < buffer.size()) {
            windowsForm = withoutLongPrefix(std::wstring(buffer.data(), length));
            return !windowsForm.empty();
        }
        buffer.resize(length + 1); // the size asked for, with its null
    }
}

wchar_t currentDriveLetter() {
    std::wstring current;
    if (!currentDirectory(current) || current.size() < 2 || current[1] != L':')
        return 0;
    return upperLetter(current[0]);
}

bool driveExists(wchar_t letter) {
    letter = upperLetter(letter);
    return letter != 0 && (::GetLogicalDrives() & (1u << (letter - L'A'))) != 0;
}

bool toNativePath(const std::wstring& windowsForm, nativePath& native) {
    if (windowsForm.empty() || windowsForm.find(L'\0') != std::wstring::npos) {
        ::SetLastError(ERROR_INVALID_NAME);
        return false;
    }
    std::wstring absolute;
    if (!makeAbsolute(withoutLongPrefix(windowsForm), absolute))
        return false;

    // The root: "X:" of a drive that exists, or "\\server\share", which "." and ".." never leave.
    std::wstring root;
    std::size_t i = 0;
    std::size_t fixed = 0; // parts that ".." may not remove: server and share
    if (absolute.size() >= 2 && isDelimiter(absolute[0]) && isDelimiter(absolute[1])) {
        root = L"\\\\";
        i = 2;
        fixed = 2;
    } else {
        if (!driveExists(absolute[0])) {
            ::SetLastError(ERROR_PATH_NOT_FOUND);
            return false;
        }
        root = std::wstring{upperLetter(absolute[0]), L':'};
        i = 3;
    }

    std::vector<std::wstring> parts;
    while (i < absolute.size()) {
        while (i < absolute.size() && isDelimiter(absolute[i]))
            ++i;
        std::size_t end = i;
        while (end < absolute.size() && !isDelimiter(absolute[end]))
            ++end;
        std::wstring part = absolute.substr(i, end - i);
        i = end;
        if (parts.size() < fixed) {
            // A server or share named "." or ".." is no share: the device namespace ("\\.\")
            // stays closed.
            if (part.empty() || part == L"." || part == L"..") {
                ::SetLastError(ERROR_BAD_NETPATH);
                return false;
            }
            parts.push_back(part);
            continue;
        }
        if (part.empty() || part == L".")
            continue;
        if (part == L"..") {
            if (parts.size() > fixed)
                parts.pop_back();
            continue;
        }
        parts.push_back(part);
    }
    if (parts.size() < fixed) {
        ::SetLastError(ERROR_BAD_NETPATH);
        return false;
    }

    std::wstring text = root;
    for (std::size_t n = 0; n < parts.size(); ++n) {
        if (n > 0 || fixed == 0)
            text += L'\\';
        text += parts[n];
    }
    // The root of a drive or a share keeps its delimiter: "C:" alone is a relative form.
    if (parts.size() == fixed)
        text += L'\\';
    native = win32::longForm(text);
    return true;
}

} // namespace vx::platform
