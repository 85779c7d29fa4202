// Processes, loaded modules and the version resources of executables (internal).
#pragma once

#include <cstdint>
#include <string>

namespace vx::platform {

// Whether a process of that id exists and has not ended.
bool processExists(unsigned long id);

// The handle of a module loaded into this process, found by its file name (either case; on
// POSIX systems the "lib" prefix and ".so" suffix with its version may be left out, on Windows
// the ".dll" suffix); null when no loaded module has that name. The empty name gives the
// handle of the executable.
void* loadedModule(const std::wstring& name);

// The full Windows-form file name of a loaded module; null stands for the executable. False for a
// handle that is not a module of this process.
bool moduleFileName(void* module, std::wstring& windowsForm);

// The fixed version numbers of an executable's version resource, each as its most and least
// significant 32-bit halves: fileVersion of the file, productVersion of the product. False when
// the file has no such resource; the executables of POSIX systems never have one.
bool fixedVersionInfo(const std::wstring& path, std::uint32_t (&fileVersion)[2],
                      std::uint32_t (&productVersion)[2]);

} // namespace vx::platform
