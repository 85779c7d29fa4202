// The Windows-form path text that both systems resolve alike.
#include "platform/paths.h"

#include <algorithm>

namespace vx::platform {

bool isPathDelimiter(wchar_t c) {
    return c == L'\\' || c == L'/';
}

wchar_t upperDriveLetter(wchar_t c) {
    if (c >= L'a' && c <= L'z')
        return static_cast<wchar_t>(c - L'a' + L'A');
    return (c >= L'A' && c <= L'Z') ? c : 0;
}

// "\\?\C:\x" and "\\?\UNC\server\share\x" are the long forms of "C:\x" and "\\server\share\x".
std::wstring withoutLongPrefix(const std::wstring& path) {
    if (path.size() < 4 || !isPathDelimiter(path[0]) || !isPathDelimiter(path[1]) || path[2] != L'?' ||
        !isPathDelimiter(path[3]))
        return path;
    std::wstring rest = path.substr(4);
    if (rest.size() >= 4 && upperDriveLetter(rest[0]) == L'U' && upperDriveLetter(rest[1]) == L'N' &&
        upperDriveLetter(rest[2]) == L'C' && isPathDelimiter(rest[3]))
        return L"\\\\" + rest.substr(4);
    return rest;
}

bool makeAbsolute(const std::wstring& text, std::wstring& absolute) {
    const bool share = text.size() >= 2 && isPathDelimiter(text[0]) && isPathDelimiter(text[1]);
    const bool driveQualified = text.size() >= 2 && text[1] == L':';
    if (share || (driveQualified && text.size() >= 3 && isPathDelimiter(text[2]))) {
        absolute = text;
        return true;
    }
    std::wstring current;
    if (!currentDirectory(current))
        return false;
    if (driveQualified) {
        const bool onCurrent =
            current.size() >= 2 && current[1] == L':' && upperDriveLetter(current[0]) == upperDriveLetter(text[0]);
        absolute = (onCurrent ? current : std::wstring{text[0], L':'}) + L"\\" + text.substr(2);
    } else if (isPathDelimiter(text[0])) {
        std::size_t rootLength = 2; // "X:"
        if (current.size() >= 2 && isPathDelimiter(current[0]) && isPathDelimiter(current[1])) {
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

bool splitComponents(const std::wstring& path, std::size_t start, std::size_t fixed,
                       std::vector<std::wstring>& parts) {
    parts.clear();
    std::size_t i = start;
    while (i < path.size()) {
        while (i < path.size() && isPathDelimiter(path[i]))
            ++i;
        std::size_t end = i;
        while (end < path.size() && !isPathDelimiter(path[end]))
            ++end;
        std::wstring part = path.substr(i, end - i);
        i = end;
        if (parts.size() < fixed) {
            if (part.empty() || part == L"." || part == L"..")
                return false;
            parts.push_back(std::move(part));
        } else if (part == L"..") {
            if (parts.size() > fixed)
                parts.pop_back();
        } else if (!part.empty() && part != L".") {
            parts.push_back(std::move(part));
        }
    }
    return parts.size() >= fixed;
}

} // namespace vx::platform
