// The registry file format and the tree of keys it describes, alike on every system.
#include "platform/registry.h"

#include "platform/text.h"
#include "vxUnicode.h"

#include <algorithm>
#include <cwchar>

namespace vx::platform {

namespace {

constexpr const wchar_t* kHeader = L"Windows Registry Editor Version 5.00";
constexpr const wchar_t* kOldHeader = L"REGEDIT4";

bool isBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

bool hasLineBreak(const std::wstring& name) { return name.find_first_of(L"\r\n") != std::wstring::npos; }

std::wstring decodeFile(const std::string& bytes) {
    std::wstring text;
    const auto* b = reinterpret_cast<const unsigned char*>(bytes.data());
    std::size_t mark = 0;
    if (unicode::markAt(b, bytes.size(), mark) == unicode::byteOrderMark::utf16Le)
        unicode::appendFromUtf16Le(text, b + mark, bytes.size() - mark);
    else
        unicode::appendFromUtf8(text, bytes.data() + mark, bytes.size() - mark);
    return text;
}

std::vector<std::wstring> splitLines(const std::wstring& text) {
    std::vector<std::wstring> lines;
    std::size_t start = 0;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        if (i < text.size() && text[i] != L'\r' && text[i] != L'\n')
            continue;
        lines.push_back(text.substr(start, i - start));
        if (i + 1 < text.size() && text[i] == L'\r' && text[i + 1] == L'\n')
            ++i;
        start = i + 1;
    }
    return lines;
}

std::wstring trimmed(const std::wstring& text) {
    std::size_t begin = 0, end = text.size();
    while (begin < end && isBlank(text[begin]))
        ++begin;
    while (end > begin && isBlank(text[end - 1]))
        --end;
    return text.substr(begin, end - begin);
}

// A text in double quotes from pos, where a backslash takes the next character as it is; pos
// ends behind the closing quote. False when the quote is never closed.
bool readQuoted(const std::wstring& line, std::size_t& pos, std::wstring& out) {
    if (pos >= line.size() || line[pos] != L'"')
        return false;
    for (++pos; pos < line.size(); ++pos) {
        wchar_t c = line[pos];
        if (c == L'"') {
            ++pos;
            return true;
        }
        if (c == L'\\') {
            if (++pos == line.size())
                return false;
            c = line[pos];
        }
        out += c;
    }
    return false;
}

// One to eight hexadecimal digits, the whole text.
bool readHexNumber(const std::wstring& text, std::uint32_t& number) {
    if (text.empty() || text.size() > 8)
        return false;
    number = 0;
    for (const wchar_t c : text) {
        const int d = hexDigitValue(c);
        if (d < 0)
            return false;
        number = number << 4 | static_cast<std::uint32_t>(d);
    }
    return true;
}

// "aa,bb,..." (blanks allowed, empty items skipped) to bytes.
bool readHexBytes(const std::wstring& text, std::string& bytes) {
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = text.find(L',', start);
        if (end == std::wstring::npos)
            end = text.size();
        const std::wstring item = trimmed(text.substr(start, end - start));
        std::uint32_t byte = 0;
        if (!item.empty()) {
            if (item.size() > 2 || !readHexNumber(item, byte))
                return false;
            bytes += static_cast<char>(byte);
        }
        start = end + 1;
    }
    return true;
}

// The data behind "=" of a value line (continuations already joined).
bool readData(const std::wstring& text, registryValue& value) {
    std::size_t pos = 0;
    if (text == L"-") {
        value.remove = true;
        return true;
    }
    if (!text.empty() && text[0] == L'"') {
        std::wstring content;
        if (!readQuoted(text, pos, content) || !trimmed(text.substr(pos)).empty())
            return false;
        value.type = kRegistryString;
        value.data = registryStringData(content);
        return true;
    }
    if (text.compare(0, 6, L"dword:") == 0) {
        std::uint32_t number = 0;
        if (!readHexNumber(trimmed(text.substr(6)), number))
            return false;
        value.type = kRegistryDword;
        value.data = registryDwordData(number);
        return true;
    }
    if (text.compare(0, 4, L"hex:") == 0) {
        value.type = kRegistryBinary;
        return readHexBytes(text.substr(4), value.data);
    }
    if (text.compare(0, 4, L"hex(") == 0) {
        const std::size_t close = text.find(L"):", 4);
        return close != std::wstring::npos && readHexNumber(text.substr(4, close - 4), value.type) &&
               readHexBytes(text.substr(close + 2), value.data);
    }
    return false;
}

// A section line "[HIVE\key\...]" or "[-HIVE\key\...]"; false for one that names no hive or
// breaks the limits.
bool readSection(const std::wstring& line, registrySection& section) {
    const std::size_t close = line.rfind(L']');
    if (close == std::wstring::npos)
        return false;
    std::wstring content = line.substr(1, close - 1);
    if (!content.empty() && content[0] == L'-') {
        section.remove = true;
        content.erase(0, 1);
    }
    std::size_t start = 0;
    bool first = true;
    while (start <= content.size()) {
        std::size_t end = content.find(L'\\', start);
        if (end == std::wstring::npos)
            end = content.size();
        std::wstring name = content.substr(start, end - start);
        if (first)
            section.hive = std::move(name);
        else if (!name.empty()) {
            if (name.size() > kRegistryKeyNameMax || section.path.size() == kRegistryDepthMax)
                return false;
            section.path.push_back(std::move(name));
        }
        first = false;
        start = end + 1;
    }
    return isRegistryHive(section.hive);
}

std::wstring escaped(const std::wstring& text) {
    std::wstring out;
    for (const wchar_t c : text) {
        if (c == L'\\' || c == L'"')
            out += L'\\';
        out += c;
    }
    return out;
}

// The text of string data that reads back as the same bytes in a quoted line: UTF-16LE with one
// terminating null, nothing that breaks a line or needs more than the two escapes.
bool quotableText(const std::string& data, std::wstring& text) {
    if (data.size() < 2 || data.size() % 2 != 0 || data[data.size() - 2] != 0 || data[data.size() - 1] != 0)
        return false;
    unicode::appendFromUtf16Le(text, reinterpret_cast<const unsigned char*>(data.data()), data.size() - 2);
    for (const wchar_t c : text)
        if (static_cast<std::uint32_t>(c) < 0x20 || c == 0x7F)
            return false;
    return registryStringData(text) == data;
}

void appendValueLine(std::wstring& out, const registryValue& value) {
    std::wstring line = value.name.empty() ? L"@=" : L"\"" + escaped(value.name) + L"\"=";
    std::wstring text;
    if (value.type == kRegistryString && quotableText(value.data, text)) {
        out += line + L"\"" + escaped(text) + L"\"\r\n";
        return;
    }
    wchar_t buffer[24];
    if (value.type == kRegistryDword && value.data.size() == 4) {
        const auto* b = reinterpret_cast<const unsigned char*>(value.data.data());
        std::swprintf(buffer, 24, L"dword:%02x%02x%02x%02x", b[3], b[2], b[1], b[0]);
        out += line + buffer + L"\r\n";
        return;
    }
    if (value.type == kRegistryBinary)
        line += L"hex:";
    else {
        std::swprintf(buffer, 24, L"hex(%x):", static_cast<unsigned>(value.type));
        line += buffer;
    }
    // Lines wrapped as the registry editor wraps them: a trailing backslash, then two blanks.
    std::size_t column = line.size();
    for (std::size_t i = 0; i < value.data.size(); ++i) {
        std::swprintf(buffer, 24, L"%02x", static_cast<unsigned>(static_cast<unsigned char>(value.data[i])));
        line += buffer;
        column += 2;
        if (i + 1 < value.data.size()) {
            line += L',';
            ++column;
            if (column > 76) {
                line += L"\\\r\n  ";
                column = 2;
            }
        }
    }
    out += line + L"\r\n";
}

void appendKey(std::wstring& out, const std::wstring& keyPath, const registryKey& key) {
    out += L"[" + keyPath + L"]\r\n";
    for (const registryValue* value : key.orderedValues())
        appendValueLine(out, *value);
    out += L"\r\n";
    for (const auto& entry : key.keys)
        appendKey(out, keyPath + L"\\" + entry.second->name, *entry.second);
}

} // namespace

bool isRegistryHive(const std::wstring& name) {
    for (const wchar_t* hive : {L"HKEY_CLASSES_ROOT", L"HKEY_CURRENT_USER", L"HKEY_LOCAL_MACHINE", L"HKEY_USERS",
                                L"HKEY_CURRENT_CONFIG"})
        if (name == hive)
            return true;
    return false;
}

std::wstring registryValueText(const registryValue& value) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(value.data.data());
    if (value.type == kRegistryDword) {
        // Fewer than four bytes are read as the low ones of the number; more are passed by.
        std::uint32_t number = 0;
        for (std::size_t i = 0; i < 4 && i < value.data.size(); ++i)
            number |= static_cast<std::uint32_t>(bytes[i]) << (8 * i);
        return std::to_wstring(number);
    }
    std::size_t length = 0;
    while (length + 1 < value.data.size() && (bytes[length] != 0 || bytes[length + 1] != 0))
        length += 2;
    if (length + 1 == value.data.size())
        ++length; // an odd last byte
    std::wstring text;
    unicode::appendFromUtf16Le(text, bytes, length);
    return text;
}

std::string registryStringData(const std::wstring& text) {
    std::string data;
    unicode::appendUtf16Le(data, text.data(), text.size());
    data.append(2, '\0');
    return data;
}

std::string registryDwordData(std::uint32_t number) {
    std::string data(4, '\0');
    for (int i = 0; i < 4; ++i)
        data[static_cast<std::size_t>(i)] = static_cast<char>(number >> (8 * i) & 0xFF);
    return data;
}

const registryValue* registryKey::findValue(const std::wstring& valueName) const {
    const auto found = values.find(foldedText(valueName));
    return found == values.end() ? nullptr : &found->second.second;
}

bool registryKey::setValue(const registryValue& value) {
    if (hasLineBreak(value.name))
        return false;
    const std::wstring folded = foldedText(value.name);
    auto found = values.find(folded);
    if (found == values.end())
        found = values.emplace(folded, std::make_pair(++nextOrder, registryValue{value.name, 0, {}, false})).first;
    // The name keeps the case in which it was first written.
    found->second.second.type = value.type;
    found->second.second.data = value.data;
    return true;
}

bool registryKey::removeValue(const std::wstring& valueName) {
    return values.erase(foldedText(valueName)) > 0;
}

std::vector<const registryValue*> registryKey::orderedValues() const {
    std::vector<std::pair<std::uint64_t, const registryValue*>> ordered;
    for (const auto& entry : values)
        ordered.emplace_back(entry.second.first, &entry.second.second);
    std::sort(ordered.begin(), ordered.end());
    std::vector<const registryValue*> result;
    for (const auto& entry : ordered)
        result.push_back(entry.second);
    return result;
}

registryKey* registryKey::findKey(const std::wstring& keyName) const {
    const auto found = keys.find(foldedText(keyName));
    return found == keys.end() ? nullptr : found->second.get();
}

bool parseRegistryFile(const std::string& bytes, std::vector<registrySection>& sections) {
    sections.clear();
    const std::vector<std::wstring> lines = splitLines(decodeFile(bytes));
    std::size_t i = 0;
    while (i < lines.size() && trimmed(lines[i]).empty())
        ++i;
    if (i == lines.size() || (trimmed(lines[i]) != kHeader && trimmed(lines[i]) != kOldHeader))
        return false;
    bool inSection = false; // values go to the last section only while it is a valid one
    for (++i; i < lines.size(); ++i) {
        std::wstring line = trimmed(lines[i]);
        if (line.empty() || line[0] == L';')
            continue;
        if (line[0] == L'[') {
            registrySection section;
            inSection = readSection(line, section);
            if (inSection)
                sections.push_back(std::move(section));
            continue;
        }
        if (!inSection || sections.back().remove)
            continue;
        registryValue value;
        std::size_t pos = 0;
        if (line[0] == L'@')
            pos = 1;
        else if (!readQuoted(line, pos, value.name))
            continue;
        while (pos < line.size() && isBlank(line[pos]))
            ++pos;
        if (pos == line.size() || line[pos] != L'=')
            continue;
        std::wstring data = trimmed(line.substr(pos + 1));
        if (data.compare(0, 3, L"hex") == 0)
            while (!data.empty() && data.back() == L'\\' && i + 1 < lines.size()) {
                data.pop_back();
                data += trimmed(lines[++i]);
            }
        if (readData(data, value))
            sections.back().values.push_back(std::move(value));
    }
    return true;
}

registryTree::registryTree(std::wstring hive) : mHive(std::move(hive)) { mRoot.name = mHive; }

bool registryTree::apply(const std::vector<registrySection>& sections) {
    bool ok = true;
    for (const registrySection& section : sections) {
        if (section.hive != mHive)
            continue;
        if (section.remove) {
            removeTree(section.path); // a key that is not there is no failure
            continue;
        }
        registryKey* key = create(section.path);
        if (!key) {
            ok = false;
            continue;
        }
        for (const registryValue& value : section.values)
            if (value.remove)
                key->removeValue(value.name);
            else
                ok = key->setValue(value) && ok;
    }
    return ok;
}

registryKey* registryTree::find(const std::vector<std::wstring>& path) {
    registryKey* key = &mRoot;
    for (std::size_t i = 0; key && i < path.size(); ++i)
        key = key->findKey(path[i]);
    return key;
}

registryKey* registryTree::create(const std::vector<std::wstring>& path) {
    if (path.size() > kRegistryDepthMax)
        return nullptr;
    registryKey* key = &mRoot;
    for (const std::wstring& name : path) {
        if (name.empty() || name.size() > kRegistryKeyNameMax || hasLineBreak(name))
            return nullptr;
        auto& slot = key->keys[foldedText(name)];
        if (!slot) {
            slot = std::make_unique<registryKey>();
            slot->name = name;
        }
        key = slot.get();
    }
    return key;
}

bool registryTree::removeTree(const std::vector<std::wstring>& path) {
    if (path.empty())
        return false;
    registryKey* parent = find(std::vector<std::wstring>(path.begin(), path.end() - 1));
    return parent && parent->keys.erase(foldedText(path.back())) > 0;
}

std::string formatRegistryFile(const std::wstring& hive, const std::vector<std::wstring>& path,
                               const registryKey& key) {
    std::wstring text = std::wstring(kHeader) + L"\r\n\r\n";
    std::wstring keyPath = hive;
    for (const std::wstring& name : path)
        keyPath += L"\\" + name;
    appendKey(text, keyPath, key);
    std::string bytes = "\xFF\xFE";
    unicode::appendUtf16Le(bytes, text.data(), text.size());
    return bytes;
}

} // namespace vx::platform
