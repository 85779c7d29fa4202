// Registry access over the registry of this system (platform/registry.h).
#include "vxRegistry.h"

#include "platform/registry.h"

#include <cstdint>

namespace vx {

namespace {

// The hive, and the names behind it split at '\'; false for a null path or an unknown hive.
bool splitPath(wchar_t const* path, std::wstring& hive, std::vector<std::wstring>& names) {
    if (!path)
        return false;
    const std::wstring text(path);
    std::size_t start = text.find(L'\\');
    hive = text.substr(0, start);
    while (start != std::wstring::npos) {
        const std::size_t end = text.find(L'\\', start + 1);
        names.push_back(text.substr(start + 1, end == std::wstring::npos ? end : end - start - 1));
        start = end;
    }
    return platform::isRegistryHive(hive);
}

// Empty names between two '\' open the same key again, as the registry opens "".
std::vector<std::wstring> keyNames(std::vector<std::wstring> names) {
    std::vector<std::wstring> keys;
    for (std::wstring& name : names)
        if (!name.empty())
            keys.push_back(std::move(name));
    return keys;
}

// A path to a value: the hive, the keys and the value's name (the last component, which may be
// empty for the default value); false when there is no component behind the hive.
bool splitValuePath(wchar_t const* path, std::wstring& hive, std::vector<std::wstring>& keys, std::wstring& name) {
    std::vector<std::wstring> names;
    if (!splitPath(path, hive, names) || names.empty())
        return false;
    name = names.back();
    names.pop_back();
    keys = keyNames(std::move(names));
    return true;
}

bool setValue(wchar_t const* path, std::uint32_t type, std::string data) {
    platform::registrySection section;
    platform::registryValue value;
    if (!splitValuePath(path, section.hive, section.path, value.name))
        return false;
    value.type = type;
    value.data = std::move(data);
    section.values.push_back(std::move(value));
    return platform::registryApply({section});
}

template <class List>
void listNames(wchar_t const* path, std::vector<string>& out, List list) {
    std::wstring hive;
    std::vector<std::wstring> names, found;
    if (!splitPath(path, hive, names) || !list(hive, keyNames(std::move(names)), found))
        return;
    for (std::wstring& name : found)
        out.push_back(string(std::move(name)));
}

} // namespace

string regGetValue(wchar_t const* path) {
    std::wstring hive, name;
    std::vector<std::wstring> keys;
    platform::registryValue value;
    if (!splitValuePath(path, hive, keys, name) || !platform::registryQueryValue(hive, keys, name, value))
        return string();
    return string(platform::registryValueText(value));
}

void regGetKeys(wchar_t const* path, std::vector<string>& keys) {
    listNames(path, keys, platform::registrySubKeyNames);
}

void regGetValues(wchar_t const* path, std::vector<string>& values) {
    listNames(path, values, platform::registryValueNames);
}

bool regSetValue(wchar_t const* path, wchar_t const* value) {
    return value && setValue(path, platform::kRegistryString, platform::registryStringData(value));
}

bool regSetValue(wchar_t const* path, unsigned long value) {
    if (value > 0xFFFFFFFFul)
        return false;
    return setValue(path, platform::kRegistryDword, platform::registryDwordData(static_cast<std::uint32_t>(value)));
}

bool regRemoveValue(wchar_t const* path) {
    std::wstring hive, name;
    std::vector<std::wstring> keys;
    return splitValuePath(path, hive, keys, name) && platform::registryRemove(hive, keys, name);
}

bool regExport(wchar_t const* path, std::string& bytes) {
    bytes.clear();
    std::wstring hive;
    std::vector<std::wstring> names;
    if (!splitPath(path, hive, names))
        return false;
    const std::vector<std::wstring> keys = keyNames(std::move(names));
    platform::registryKey key;
    if (!platform::registryReadTree(hive, keys, key))
        return false;
    bytes = platform::formatRegistryFile(hive, keys, key);
    return true;
}

bool regImport(const std::string& bytes) {
    std::vector<platform::registrySection> sections;
    return platform::parseRegistryFile(bytes, sections) && platform::registryApply(sections);
}

} // namespace vx
