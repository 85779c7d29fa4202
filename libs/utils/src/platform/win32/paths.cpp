// Windows-form paths on Windows: the system takes them as they are, once "." and ".." are resolved.
#include "platform/paths.h"
#include "platform/win32/win32Shared.h"

#include <algorithm>
#include <vector>

namespace vx::platform {

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
    return upperDriveLetter(current[0]);
}

bool driveExists(wchar_t letter) {
    letter = upperDriveLetter(letter);
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
    if (absolute.size() >= 2 && isPathDelimiter(absolute[0]) && isPathDelimiter(absolute[1])) {
        root = L"\\\\";
        i = 2;
        fixed = 2;
    } else {
        if (!driveExists(absolute[0])) {
            ::SetLastError(ERROR_PATH_NOT_FOUND);
            return false;
        }
        root = std::wstring{upperDriveLetter(absolute[0]), L':'};
        i = 3;
    }

    std::vector<std::wstring> parts;
    if (!splitComponents(absolute, i, fixed, parts)) {
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
