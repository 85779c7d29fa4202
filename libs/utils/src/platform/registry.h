// The registry: keys below a hive, holding named and typed values (internal).
//
// On Windows this is the system's registry. Elsewhere it is a store of one file per hive in the
// registry editor's export format (HKEY_CURRENT_USER.reg, ...), in $VX_REGISTRY_DIR, else
// $XDG_CONFIG_HOME/vxUtils/registry, else ~/.config/vxUtils/registry. The file format itself
// (reading, writing, applying its changes to a tree of keys) is alike on every system: the store
// keeps its hives in it, and the export and import of any registry speak it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vx::platform {

// Value types, as the registry numbers them.
enum : std::uint32_t {
    kRegistryString = 1,       // REG_SZ: UTF-16LE text and its terminating null
    kRegistryExpandString = 2, // REG_EXPAND_SZ
    kRegistryBinary = 3,       // REG_BINARY
    kRegistryDword = 4,        // REG_DWORD: 4 bytes, little-endian
};

// The limits of the registry itself, kept by the store too: a key name has at most 255
// characters, and keys nest at most 512 deep below their hive.
constexpr std::size_t kRegistryKeyNameMax = 255;
constexpr std::size_t kRegistryDepthMax = 512;

// Whether the text is one of the five hive names, compared exactly.
bool isRegistryHive(const std::wstring& name);

struct registryValue {
    std::wstring name; // empty for the default value
    std::uint32_t type = kRegistryString;
    std::string data;  // the bytes as the registry holds them
    bool remove = false; // in a change: the value goes ("name"=-)
};

// A value's bytes as text: a DWORD as its number in decimal, anything else read as UTF-16LE
// text up to its first null unit.
std::wstring registryValueText(const registryValue& value);
// The bytes of a text value, terminator included, and of a DWORD.
std::string registryStringData(const std::wstring& text);
std::string registryDwordData(std::uint32_t number);

// A key and what lies below it. Names compare without regard to case and keep the case in which
// they were first written; values keep the order in which they were first written.
struct registryKey {
    std::wstring name;
    // Values by their folded name: the order of first writing, and the value.
    std::map<std::wstring, std::pair<std::uint64_t, registryValue>> values;
    std::uint64_t nextOrder = 0;
    // Sub-keys by their folded name.
    std::map<std::wstring, std::unique_ptr<registryKey>> keys;

    const registryValue* findValue(const std::wstring& valueName) const;
    // False for a name holding a line break, which no registry file can hold.
    bool setValue(const registryValue& value);
    bool removeValue(const std::wstring& valueName);
    // The values in the order of first writing.
    std::vector<const registryValue*> orderedValues() const;
    registryKey* findKey(const std::wstring& keyName) const;
};

// One section of a registry file: the keys it names, below its hive, and its value lines, or the
// removal of the key with everything below it ("[-HKEY_...\key]").
struct registrySection {
    std::wstring hive;
    std::vector<std::wstring> path;
    bool remove = false;
    std::vector<registryValue> values;
};

// Reads a registry file: UTF-16LE with a byte-order mark, or UTF-8 with or without one; any line
// ends. False, with no sections, when the first line that is not empty is neither
// "Windows Registry Editor Version 5.00" nor "REGEDIT4". Lines that are not understood are
// skipped, and so are sections whose path breaks the registry's limits or names no hive.
bool parseRegistryFile(const std::string& bytes, std::vector<registrySection>& sections);

// The tree of one hive, and the sections of a registry file applied to it (sections of other
// hives are passed by).
class registryTree {
public:
    explicit registryTree(std::wstring hive);
    const std::wstring& hive() const { return mHive; }
    registryKey& root() { return mRoot; }
    const registryKey& root() const { return mRoot; }

    // False when a key or value of them could not be made (a name breaking the limits, or
    // holding a line break); the others are applied all the same.
    bool apply(const std::vector<registrySection>& sections);
    // The key at path; null when it is missing.
    registryKey* find(const std::vector<std::wstring>& path);
    // The key at path, made where it is missing; null when the path breaks the limits.
    registryKey* create(const std::vector<std::wstring>& path);
    // Removes the key at path with everything below it; false when it is missing (the hive
    // itself cannot be removed).
    bool removeTree(const std::vector<std::wstring>& path);

private:
    std::wstring mHive;
    registryKey mRoot;
};

// A registry file as the registry editor exports it: UTF-16LE with a byte-order mark, CRLF line
// ends, the header line, and a section for the key at path (below hive) and for every key below
// it, each followed by its values. Text values holding a control character, and values whose
// bytes do not fit their type's line form, are written as hex(n) lines so that they come back
// unchanged.
std::string formatRegistryFile(const std::wstring& hive, const std::vector<std::wstring>& path,
                               const registryKey& key);

// --- the registry of this system ------------------------------------------------------------
// Paths are the key names below the hive, none empty. Failures answer false (or nothing).

bool registryQueryValue(const std::wstring& hive, const std::vector<std::wstring>& path,
                        const std::wstring& name, registryValue& value);
// The names of the sub-keys, or of the values, of a key, appended to names.
bool registrySubKeyNames(const std::wstring& hive, const std::vector<std::wstring>& path,
                         std::vector<std::wstring>& names);
bool registryValueNames(const std::wstring& hive, const std::vector<std::wstring>& path,
                        std::vector<std::wstring>& names);
// The key at path, with its values and everything below it, into key.
bool registryReadTree(const std::wstring& hive, const std::vector<std::wstring>& path, registryKey& key);
// Applies the sections in order, making the keys they name; false when any part failed. The store
// applies all sections of a hive in one step, under the hive's lock, or none of them.
bool registryApply(const std::vector<registrySection>& sections);
// Removes the value name of the key at path, else the sub-key name of it when that has no
// sub-keys of its own.
bool registryRemove(const std::wstring& hive, const std::vector<std::wstring>& path, const std::wstring& name);

} // namespace vx::platform
