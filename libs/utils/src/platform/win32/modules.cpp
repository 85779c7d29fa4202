// Processes, loaded modules and version resources on Windows.
#include "platform/modules.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <vector>

namespace vx::platform {

bool processExists(unsigned long id) {
    if (id == 0 || id > 0xFFFFFFFFUL)
        return false;
    const HANDLE process = OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(id));
    if (!process)
        // A process that exists but may not be opened by this user still runs.
        return GetLastError() == ERROR_ACCESS_DENIED;
    // The exit code cannot tell (a process may end with 259); the handle is signalled at the end.
    const bool running = WaitForSingleObject(process, 0) == WAIT_TIMEOUT;
    CloseHandle(process);
    return running;
}

void* loadedModule(const std::wstring& name) {
    if (name.find(L'\0') != std::wstring::npos)
        return nullptr;
    // The system compares without regard to case and supplies ".dll" to a name without a suffix.
    return GetModuleHandleW(name.empty() ? nullptr : name.c_str());
}

bool moduleFileName(void* module, std::wstring& windowsForm) {
    std::vector<wchar_t> buffer(MAX_PATH);
    for (;;) {
        const DWORD length = GetModuleFileNameW(static_cast<HMODULE>(module), buffer.data(), static_cast<DWORD>(buffer.size()));
        if (length == 0)
            return false;
        if (length < buffer.size()) {
            windowsForm.assign(buffer.data(), length);
            // The system may answer in the long-path form.
            if (windowsForm.compare(0, 8, L"\\\\?\\UNC\\") == 0)
                windowsForm.replace(0, 8, L"\\\\");
            else if (windowsForm.compare(0, 4, L"\\\\?\\") == 0)
                windowsForm.erase(0, 4);
            return true;
        }
        if (buffer.size() >= 32768)
            return false;
        buffer.resize(buffer.size() * 2);
    }
}

bool fixedVersionInfo(const std::wstring& path, std::uint32_t (&fileVersion)[2], std::uint32_t (&productVersion)[2]) {
    if (path.empty() || path.find(L'\0') != std::wstring::npos)
        return false;
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
    if (size == 0)
        return false;
    std::vector<unsigned char> data(size);
    if (!GetFileVersionInfoW(path.c_str(), 0, size, data.data()))
        return false;
    VS_FIXEDFILEINFO* info = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&info), &length) || !info ||
        length < sizeof(VS_FIXEDFILEINFO) || info->dwSignature != 0xFEEF04BD)
        return false;
    fileVersion[0] = info->dwFileVersionMS;
    fileVersion[1] = info->dwFileVersionLS;
    productVersion[0] = info->dwProductVersionMS;
    productVersion[1] = info->dwProductVersionLS;
    return true;
}

} // namespace vx::platform
