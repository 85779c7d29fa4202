#include "vxString.h"

#include "detail/caseFolding.h"
#include "detail/wildcard.h"
#include "platform/text.h"
#include "vxFormat.h"
#include "vxUnicode.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <cwctype>

namespace vx {

namespace {

constexpr std::size_t kFormatBuffer = 1024; // at most 1023 characters come out

string formatToString(const wchar_t* fmt, va_list args) {
    if (!fmt)
        return string();
    wchar_t buffer[kFormatBuffer];
    va_list copy;
    va_copy(copy, args);
    const std::size_t length = format::formatInto(buffer, kFormatBuffer - 1, fmt, &copy);
    va_end(copy);
    // The text ends at its first null, as a C string would.
    const wchar_t* end = std::wmemchr(buffer, L'\0', length);
    return string(buffer, end ? static_cast<std::size_t>(end - buffer) : length);
}

bool isIn(const std::wstring& chars, wchar_t c) {
    return chars.find(c) != std::wstring::npos;
}

} // namespace

// --- construction and assignment ------------------------------------------------------------

string::string(wchar_t c) : base(1, c) {}

string::string(const wchar_t* p) : base(p ? p : L"") {}

string::string(const wchar_t* p, size_type count) {
    if (p)
        base::assign(p, count);
}

string& string::operator=(const string& other) {
    if (this != &other)
        base::operator=(other);
    return *this;
}

string& string::operator=(string&& other) noexcept {
    base::operator=(std::move(other));
    return *this;
}

string& string::operator=(const base& other) {
    if (static_cast<const base*>(this) != &other)
        base::operator=(other);
    return *this;
}

string& string::operator=(base&& other) noexcept {
    base::operator=(std::move(other));
    return *this;
}

string& string::operator=(const wchar_t* p) {
    if (p)
        base::operator=(p);
    return *this;
}

string& string::operator=(wchar_t c) {
    base::assign(1, c);
    return *this;
}

// --- formatting -------------------------------------------------------------------------------

string& string::format(const wchar_t* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    *this = formatToString(fmt, args);
    va_end(args);
    return *this;
}

string& string::vformat(const wchar_t* fmt, va_list args) {
    *this = formatToString(fmt, args);
    return *this;
}

string string::sformat(const wchar_t* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    string result = formatToString(fmt, args);
    va_end(args);
    return result;
}

string string::svformat(const wchar_t* fmt, va_list args) {
    return formatToString(fmt, args);
}

// --- matching and taking apart ----------------------------------------------------------------

bool string::matches(const base& pattern) const {
    // Both sides end at their first null.
    return detail::wildcardMatch(pattern.c_str(), std::wcslen(pattern.c_str()), c_str(), std::wcslen(c_str()));
}

bool string::splitAt(const string& separator, std::vector<string>& parts, bool onlyFirst) const {
    parts.clear();
    if (empty())
        return false;
    // An empty separator occurs at the start and nowhere else that could make progress: the
    // result is an empty element and the whole text, whether or not onlyFirst is set.
    if (separator.empty()) {
        parts.emplace_back();
        parts.emplace_back(*this);
        return true;
    }
    size_type start = 0;
    for (size_type hit = find(separator); hit != npos; hit = find(separator, start)) {
        parts.emplace_back(substr(start, hit - start));
        start = hit + separator.size();
        if (onlyFirst)
            break;
    }
    parts.emplace_back(substr(start));
    return true;
}

string string::substrBetween(wchar_t delimiter, unsigned int index) const {
    size_type start = 0;
    for (unsigned int i = 0; i < index; ++i) {
        const size_type hit = find(delimiter, start);
        if (hit == npos)
            return string();
        start = hit + 1;
    }
    const size_type end = find(delimiter, start);
    return string(substr(start, end == npos ? npos : end - start));
}

// --- removal and substitution -------------------------------------------------------------------

string& string::deleteAll(wchar_t c) {
    erase(std::remove(begin(), end(), c), end());
    return *this;
}

string& string::deleteAll(const base& chars) {
    if (!chars.empty())
        erase(std::remove_if(begin(), end(), [&](wchar_t c) { return isIn(chars, c); }), end());
    return *this;
}

string& string::deleteLeading(wchar_t c) {
    const size_type first = find_first_not_of(c);
    if (first != npos) // a text made only of c stays as it is
        erase(0, first);
    return *this;
}

string& string::deleteLeading(const base& chars) {
    if (chars.empty())
        return *this;
    const size_type first = find_first_not_of(chars);
    erase(0, first == npos ? npos : first);
    return *this;
}

string& string::deleteTrailing(wchar_t c) {
    const size_type last = find_last_not_of(c);
    if (last != npos) // a text made only of c stays as it is
        erase(last + 1);
    return *this;
}

string& string::deleteTrailing(const base& chars) {
    if (chars.empty())
        return *this;
    const size_type last = find_last_not_of(chars);
    erase(last == npos ? 0 : last + 1);
    return *this;
}

string& string::replace(const string& from, const string& to) {
    if (from.empty())
        return *this;
    const size_type fromLength = from.size();
    if (find(from) == npos)
        return *this;
    // Built in one pass; the search resumes behind each replaced occurrence, so inserted text is
    // never searched again.
    base result;
    result.reserve(size());
    size_type start = 0;
    for (size_type hit = find(from); hit != npos; hit = find(from, start)) {
        result.append(*this, start, hit - start);
        result.append(to);
        start = hit + fromLength;
    }
    result.append(*this, start, npos);
    base::swap(result);
    return *this;
}

string& string::replace(wchar_t from, wchar_t to) {
    // Written without a branch so that the compiler can vectorise it.
    for (wchar_t& c : *this)
        c = c == from ? to : c;
    return *this;
}

// --- case -----------------------------------------------------------------------------------------

string& string::toLower() {
    for (wchar_t& c : *this)
        c = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
    return *this;
}

string& string::toUpper() {
    for (wchar_t& c : *this)
        c = static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(c)));
    return *this;
}

string string::lower() const {
    string copy(*this);
    return copy.toLower();
}

string string::upper() const {
    string copy(*this);
    return copy.toUpper();
}

void string::lowercase(string& s) {
    s.toLower();
}

bool string::isEqualTo(const string& other, bool caseSensitive) const {
    if (caseSensitive)
        return static_cast<const base&>(*this) == static_cast<const base&>(other);
    if (empty() && other.empty())
        return true;
    return isEqualTo(other.c_str(), false);
}

bool string::isEqualTo(const wchar_t* other, bool caseSensitive) const {
    // A null text equals the empty string only, in both modes.
    if (!other)
        return empty();
    if (caseSensitive)
        return compare(other) == 0;
    // Both sides end at their first null; the one case folding of names and keys decides.
    return detail::equalIgnoringCase(c_str(), std::wcslen(c_str()), other, std::wcslen(other));
}

// --- multi-byte conversions --------------------------------------------------------------------

std::string string::getMBCS() const {
    // Nothing after the first null survives, so nothing after it is converted.
    return platform::wideToActiveCodePage(c_str(), std::wcslen(c_str()));
}

std::string string::getMBCS(const string& s) {
    return s.getMBCS();
}

string string::makeMBCS(const base& s) {
    const std::string narrow = platform::wideToActiveCodePage(s.c_str(), std::wcslen(s.c_str()));
    return string(platform::activeCodePageToWide(narrow.data(), narrow.size()));
}

namespace {

// Narrow text in the encoding of the C locale's LC_CTYPE to wide text, as mbstowcs does. A byte
// that does not start a valid character is taken as the character of the same value.
std::wstring localeMultiByteToWide(const char* text) {
    std::wstring out;
    if (!text)
        return out;
    const std::size_t length = std::strlen(text);
    out.reserve(length);
    // Every encoding a C locale can have keeps ASCII as it is, so a run of ASCII bytes needs no
    // conversion call (file and function names, the common case, are nothing else).
    std::size_t i = 0;
    while (i < length && static_cast<unsigned char>(text[i]) < 0x80)
        out.push_back(static_cast<wchar_t>(text[i++]));
    std::mbstate_t state{};
    while (i < length) {
        wchar_t c = 0;
        const std::size_t n = std::mbrtowc(&c, text + i, length - i, &state);
        if (n == static_cast<std::size_t>(-1) || n == static_cast<std::size_t>(-2) || n == 0) {
            // Not a character of the locale's encoding (or cut off at the end): the byte stands
            // for the character of its own value, as in the C locale of Windows.
            out.push_back(static_cast<wchar_t>(static_cast<unsigned char>(text[i])));
            state = std::mbstate_t{};
            ++i;
            continue;
        }
        out.push_back(c);
        i += n;
    }
    return out;
}

} // namespace

string string::fromMBCtoWC(const char* s) {
    return string(localeMultiByteToWide(s));
}

const string& string::emptyString() {
    static const string empty;
    return empty;
}

// --- scrambling -----------------------------------------------------------------------------------

string& string::bitwiseXor(const string& key) {
    if (key.empty())
        return *this;
    const size_type keyLength = key.size();
    for (size_type i = 0; i < size(); ++i)
        (*this)[i] = static_cast<wchar_t>((*this)[i] ^ key[i % keyLength]);
    return *this;
}

string string::bitwiseXor(const base& text, const base& key) {
    string result(text);
    return result.bitwiseXor(string(key));
}

} // namespace vx
