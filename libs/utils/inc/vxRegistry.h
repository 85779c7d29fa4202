// Registry access: values and keys addressed by one path text.
//
// A path is a hive name, then key names, then (for a value) the value's name, separated by '\':
// "HKEY_CURRENT_USER\Software\Maker\App\Width". The hive names are HKEY_CLASSES_ROOT,
// HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_USERS and HKEY_CURRENT_CONFIG, compared exactly;
// key and value names compare without regard to case. An empty value name (a path ending in '\')
// is the key's default value. On Windows this is the system's registry; elsewhere a store of one
// file per hive in the registry editor's export format, in $VX_REGISTRY_DIR, else
// $XDG_CONFIG_HOME/vxUtils/registry, else ~/.config/vxUtils/registry.
//
// Nothing here throws: a failure is an empty text, nothing appended, or false.
#pragma once

#include "vxExport.h"
#include "vxString.h"

#include <string>
#include <vector>

namespace vx {

// The value as text: a DWORD as its number in decimal, anything else as the text its bytes hold
// up to the first null character. Empty when the value is missing.
VX_API string regGetValue(wchar_t const* path);

// Appends the names of the sub-keys, or of the values, of the key at path.
VX_API void regGetKeys(wchar_t const* path, std::vector<string>& keys);
VX_API void regGetValues(wchar_t const* path, std::vector<string>& values);

// Sets the value at path, making the keys that are missing: a text value (REG_SZ) or a DWORD.
// The number form refuses a number above 0xFFFFFFFF.
VX_API bool regSetValue(wchar_t const* path, wchar_t const* value);
VX_API bool regSetValue(wchar_t const* path, unsigned long value);

// Removes the value at path, else the key of that name when it has no sub-keys.
VX_API bool regRemoveValue(wchar_t const* path);

// The key at path (a hive, or a key below one) and everything below it as a registry file,
// as the registry editor exports it: UTF-16LE with a byte-order mark and CRLF line ends. False,
// with bytes empty, when the key is missing.
VX_API bool regExport(wchar_t const* path, std::string& bytes);

// Applies a registry file ("Windows Registry Editor Version 5.00" or "REGEDIT4", UTF-16LE with a
// byte-order mark or UTF-8): its keys are made, its values set, and "[-key]" and "name"=- remove
// keys and values. False when the bytes are no registry file or any part failed.
VX_API bool regImport(const std::string& bytes);

} // namespace vx
