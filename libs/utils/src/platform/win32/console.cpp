// The console on Windows: the standard handles, or a message box where there are none.
#include "platform/console.h"
#include "platform/text.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#include <shellapi.h>

#include <cwchar>

namespace vx::platform {

namespace {

HANDLE standardHandle(int stream) {
    return stream == 1 ? GetStdHandle(STD_OUTPUT_HANDLE) : stream == 2 ? GetStdHandle(STD_ERROR_HANDLE) : nullptr;
}

// A handle that leads somewhere: a console, a file or a pipe.
bool leadsSomewhere(HANDLE handle) {
    return handle && handle != INVALID_HANDLE_VALUE && GetFileType(handle) != FILE_TYPE_UNKNOWN;
}

} // namespace

void presentAssertion(const wchar_t* caption, const wchar_t* text) {
    const HANDLE error = standardHandle(2);
    if (!leadsSomewhere(error)) {
        // A program without a console or a redirected standard error: nobody would see a line.
        MessageBoxW(nullptr, text, caption, MB_OK | MB_ICONERROR | MB_TASKMODAL | MB_SETFOREGROUND);
        return;
    }
    DWORD mode = 0;
    if (GetConsoleMode(error, &mode)) {
        std::wstring out = caption;
        out += L"\r\n";
        out += text;
        out += L"\r\n";
        DWORD written = 0;
        WriteConsoleW(error, out.data(), static_cast<DWORD>(out.size()), &written, nullptr);
        return;
    }
    // One write, so that the lines of two threads do not interleave.
    std::string out = wideToActiveCodePage(caption, std::wcslen(caption));
    out += '\n';
    out += wideToActiveCodePage(text, std::wcslen(text));
    out += '\n';
    DWORD written = 0;
    WriteFile(error, out.data(), static_cast<DWORD>(out.size()), &written, nullptr);
}

bool isTerminal(int stream) {
    DWORD mode = 0;
    const HANDLE handle = standardHandle(stream);
    return leadsSomewhere(handle) && GetConsoleMode(handle, &mode) != FALSE;
}

std::vector<std::wstring> programArguments(int, char**) {
    std::vector<std::wstring> arguments;
    int count = 0;
    wchar_t** list = CommandLineToArgvW(GetCommandLineW(), &count);
    if (!list)
        return arguments;
    for (int i = 1; i < count; ++i)
        arguments.emplace_back(list[i]);
    LocalFree(list);
    return arguments;
}

} // namespace vx::platform
