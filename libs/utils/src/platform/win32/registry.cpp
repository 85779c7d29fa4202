// The registry of Windows, through the Reg...W calls.
#include "platform/registry.h"

#include "platform/text.h"
#include "platform/win32/win32Shared.h"

#include <algorithm>

namespace vx::platform {

namespace {

HKEY hiveHandle(const std::wstring& hive) {
    if (hive == L"HKEY_CLASSES_ROOT")
        return HKEY_CLASSES_ROOT;
    if (hive == L"HKEY_CURRENT_USER")
        return HKEY_CURRENT_USER;
    if (hive == L"HKEY_LOCAL_MACHINE")
        return HKEY_LOCAL_MACHINE;
    if (hive == L"HKEY_USERS")
        return HKEY_USERS;
    if (hive == L"HKEY_CURRENT_CONFIG")
        return HKEY_CURRENT_CONFIG;
    return nullptr;
}

// The keys of a path, opened one level at a time from the hive; closed in reverse order.
class keyChain {
public:
    ~keyChain() {
        for (auto h = mHandles.rbegin(); h != mHandles.rend(); ++h)
            ::RegCloseKey(*h);
    }
    keyChain() = default;
    keyChain(const keyChain&) = delete;
    keyChain& operator=(const keyChain&) = delete;

    // Opens the keys of path, the parents with parentAccess and the last with lastAccess; with
    // create, keys that are missing are made.
    bool open(const std::wstring& hive, const std::vector<std::wstring>& path, REGSAM parentAccess,
              REGSAM lastAccess, bool create = false) {
        mLast = hiveHandle(hive);
        if (!mLast)
            return false;
        for (std::size_t i = 0; i < path.size(); ++i) {
            const REGSAM access = i + 1 == path.size() ? lastAccess : parentAccess;
            HKEY next = nullptr;
            const LONG result = create ? ::RegCreateKeyExW(mLast, path[i].c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                                           access, nullptr, &next, nullptr)
                                       : ::RegOpenKeyExW(mLast, path[i].c_str(), 0, access, &next);
            if (result != ERROR_SUCCESS)
                return false;
            mHandles.push_back(next);
            mLast = next;
        }
        return true;
    }
    HKEY last() const { return mLast; }

private:
    std::vector<HKEY> mHandles;
    HKEY mLast = nullptr;
};

std::string bytesOf(const std::vector<BYTE>& buffer, DWORD size) {
    return std::string(reinterpret_cast<const char*>(buffer.data()), std::min<std::size_t>(size, buffer.size()));
}

bool queryValue(HKEY key, const std::wstring& name, registryValue& value) {
    std::vector<BYTE> buffer(256);
    for (int attempt = 0; attempt < 8; ++attempt) { // the value may grow between two calls
        DWORD type = 0, size = static_cast<DWORD>(buffer.size());
        const LONG result = ::RegQueryValueExW(key, name.c_str(), nullptr, &type, buffer.data(), &size);
        if (result == ERROR_MORE_DATA) {
            buffer.resize(std::max<std::size_t>(size, buffer.size() * 2));
            continue;
        }
        if (result != ERROR_SUCCESS)
            return false;
        value.name = name;
        value.type = type;
        value.data = bytesOf(buffer, size);
        return true;
    }
    return false;
}

// Every sub-key name, by rising index until the call fails.
std::vector<std::wstring> subKeyNames(HKEY key) {
    std::vector<std::wstring> names;
    std::vector<wchar_t> name(kRegistryKeyNameMax + 2);
    for (DWORD index = 0;; ++index) {
        DWORD length = static_cast<DWORD>(name.size());
        if (::RegEnumKeyExW(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            return names;
        names.emplace_back(name.data(), length);
    }
}

// Every value, by rising index until the call fails; with data false only the names.
std::vector<registryValue> values(HKEY key, bool withData) {
    std::vector<registryValue> found;
    DWORD nameMax = 0, dataMax = 0;
    ::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &nameMax, &dataMax, nullptr,
                       nullptr);
    std::vector<wchar_t> name(nameMax + 2);
    std::vector<BYTE> data(dataMax + 2);
    for (DWORD index = 0;;) {
        DWORD nameLength = static_cast<DWORD>(name.size()), type = 0, size = static_cast<DWORD>(data.size());
        const LONG result = ::RegEnumValueW(key, index, name.data(), &nameLength, nullptr, &type,
                                            withData ? data.data() : nullptr, withData ? &size : nullptr);
        if (result == ERROR_MORE_DATA && name.size() < 32769 && data.size() < (1u << 30)) {
            // Grown since the sizes were asked for: larger buffers, the same index again.
            name.resize(32769);
            data.resize(std::max<std::size_t>(size + 2, data.size() * 2));
            continue;
        }
        if (result != ERROR_SUCCESS)
            return found;
        registryValue value;
        value.name.assign(name.data(), nameLength);
        value.type = type;
        if (withData)
            value.data = bytesOf(data, size);
        found.push_back(std::move(value));
        ++index;
    }
}

bool readTree(HKEY handle, registryKey& key, std::size_t depth) {
    for (const registryValue& value : values(handle, true))
        key.setValue(value);
    if (depth == kRegistryDepthMax)
        return true;
    for (const std::wstring& name : subKeyNames(handle)) {
        HKEY sub = nullptr;
        if (::RegOpenKeyExW(handle, name.c_str(), 0, KEY_READ, &sub) != ERROR_SUCCESS)
            continue; // a key we may not read, or one removed meanwhile
        auto child = std::make_unique<registryKey>();
        child->name = name;
        readTree(sub, *child, depth + 1);
        ::RegCloseKey(sub);
        key.keys[foldedText(name)] = std::move(child);
    }
    return true;
}

bool applySection(const registrySection& section) {
    if (section.remove) {
        if (section.path.empty())
            return false;
        keyChain parent;
        const std::vector<std::wstring> parentPath(section.path.begin(), section.path.end() - 1);
        if (!parent.open(section.hive, parentPath, KEY_ENUMERATE_SUB_KEYS,
                         DELETE | KEY_ENUMERATE_SUB_KEYS | KEY_QUERY_VALUE | KEY_SET_VALUE))
            return true; // nothing there to remove
        const LONG result = ::RegDeleteTreeW(parent.last(), section.path.back().c_str());
        if (result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND)
            ::RegDeleteKeyW(parent.last(), section.path.back().c_str());
        return result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND;
    }
    keyChain chain;
    if (!chain.open(section.hive, section.path, KEY_CREATE_SUB_KEY, KEY_CREATE_SUB_KEY | KEY_SET_VALUE, true))
        return false;
    bool ok = true;
    for (const registryValue& value : section.values) {
        if (value.remove) {
            const LONG result = ::RegDeleteValueW(chain.last(), value.name.c_str());
            ok = ok && (result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND);
            continue;
        }
        if (value.data.size() > 0xFFFFFFFFu)
            return false;
        ok = ::RegSetValueExW(chain.last(), value.name.c_str(), 0, value.type,
                              reinterpret_cast<const BYTE*>(value.data.data()),
                              static_cast<DWORD>(value.data.size())) == ERROR_SUCCESS &&
             ok;
    }
    return ok;
}

} // namespace

bool registryQueryValue(const std::wstring& hive, const std::vector<std::wstring>& path,
                        const std::wstring& name, registryValue& value) {
    keyChain chain;
    return chain.open(hive, path, KEY_ENUMERATE_SUB_KEYS, KEY_QUERY_VALUE) && queryValue(chain.last(), name, value);
}

bool registrySubKeyNames(const std::wstring& hive, const std::vector<std::wstring>& path,
                         std::vector<std::wstring>& names) {
    keyChain chain;
    if (!chain.open(hive, path, KEY_ENUMERATE_SUB_KEYS, KEY_ENUMERATE_SUB_KEYS))
        return false;
    for (std::wstring& name : subKeyNames(chain.last()))
        names.push_back(std::move(name));
    return true;
}

bool registryValueNames(const std::wstring& hive, const std::vector<std::wstring>& path,
                        std::vector<std::wstring>& names) {
    keyChain chain;
    if (!chain.open(hive, path, KEY_ENUMERATE_SUB_KEYS, KEY_QUERY_VALUE))
        return false;
    for (registryValue& value : values(chain.last(), false))
        names.push_back(std::move(value.name));
    return true;
}

bool registryReadTree(const std::wstring& hive, const std::vector<std::wstring>& path, registryKey& key) {
    keyChain chain;
    if (!chain.open(hive, path, KEY_ENUMERATE_SUB_KEYS, KEY_READ))
        return false;
    key.name = path.empty() ? hive : path.back();
    return readTree(chain.last(), key, path.size());
}

bool registryApply(const std::vector<registrySection>& sections) {
    bool ok = true;
    for (const registrySection& section : sections)
        ok = applySection(section) && ok;
    return ok;
}

bool registryRemove(const std::wstring& hive, const std::vector<std::wstring>& path, const std::wstring& name) {
    keyChain chain;
    if (!chain.open(hive, path, KEY_ENUMERATE_SUB_KEYS, KEY_SET_VALUE))
        return false;
    if (::RegDeleteValueW(chain.last(), name.c_str()) == ERROR_SUCCESS)
        return true;
    // An empty name would name the key itself: only a value goes then.
    return !name.empty() && ::RegDeleteKeyW(chain.last(), name.c_str()) == ERROR_SUCCESS;
}

} // namespace vx::platform
