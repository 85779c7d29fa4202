#include "vxLocMessage.h"

#include "detail/failures.h"
#include "vxFormat.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cwchar>
#include <new>
#include <vector>

namespace vx {

namespace {

constexpr std::size_t kMaxConversionLength = 15;  // '%' and conversion included
constexpr std::size_t kMaxDollarDigits = 63;
constexpr std::size_t kDefaultBuffer = 512;
constexpr std::size_t kLongValue = 256;     // longer values get their length plus this

enum class valueKind { character, integer, floating, text, none };

// Length modifiers, reduced to what decides the argument's width.
enum class lengthClass { plain, half, quarter, wide64, longDouble };

struct printfConversion {
    std::size_t begin = 0; // position of the '%'
    std::size_t end = 0;   // behind the conversion character
    string flags;
    string width;
    bool hasPrecision = false;
    string precision;
    lengthClass length = lengthClass::plain;
    wchar_t letter = 0; // the conversion character
    valueKind kind = valueKind::text;
};

bool isDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

bool isNameCharacter(wchar_t c) {
    return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || isDigit(c) || c == L'_' ||
           c > 0x7F;
}

bool kindOf(wchar_t conversion, valueKind& kind) {
    switch (conversion) {
    case L'c': kind = valueKind::character; return true;
    case L'd': case L'i': case L'o': case L'u': case L'x': case L'X':
        kind = valueKind::integer; return true;
    case L'e': case L'E': case L'f': case L'g': case L'G':
        kind = valueKind::floating; return true;
    case L's': kind = valueKind::text; return true;
    case L'C': case L'S': kind = valueKind::none; return true;
    default: return false;
    }
}

// Reads a printf conversion starting at the '%' at position at, not reaching limit. An
// asterisk width or precision is accepted but dropped: there is no argument to take it from.
bool parseConversionAt(const string& text, std::size_t at, std::size_t limit, printfConversion& conv) {
    limit = std::min(limit, at + kMaxConversionLength);
    conv = printfConversion();
    conv.begin = at;
    std::size_t p = at + 1;
    const auto peek = [&](std::size_t offset = 0) -> wchar_t {
        return p + offset < limit ? text[p + offset] : L'\0';
    };
    while (peek() != 0 && std::wcschr(L"-+ #0", peek()))
        conv.flags += text[p++];
    if (peek() == L'*') {
        ++p;
    } else {
        while (isDigit(peek()))
            conv.width += text[p++];
    }
    if (peek() == L'.') {
        ++p;
        if (peek() == L'*') {
            ++p;
        } else {
            conv.hasPrecision = true;
            while (isDigit(peek()))
                conv.precision += text[p++];
        }
    }
    switch (peek()) {
    case L'h':
        ++p;
        conv.length = lengthClass::half;
        if (peek() == L'h') { ++p; conv.length = lengthClass::quarter; }
        break;
    case L'l':
        ++p;
        if (peek() == L'l') { ++p; conv.length = lengthClass::wide64; }
        break;
    case L'L': ++p; conv.length = lengthClass::longDouble; break;
    case L'j': case L'z': case L't': ++p; conv.length = lengthClass::wide64; break;
    case L'w': ++p; break;
    case L'I':
        ++p;
        if (peek() == L'6' && peek(1) == L'4') { p += 2; conv.length = lengthClass::wide64; }
        else if (peek() == L'3' && peek(1) == L'2') { p += 2; }
        else conv.length = lengthClass::wide64;
        break;
    default: break;
    }
    if (peek() == 0 || !kindOf(peek(), conv.kind))
        return false;
    conv.letter = text[p++];
    conv.end = p;
    return true;
}

// The first printf conversion in [from, to); "%%" is a literal percent sign and is skipped.
bool findConversion(const string& text, std::size_t from, std::size_t to, printfConversion& conv) {
    for (std::size_t i = from; i < to; ++i) {
        if (text[i] != L'%')
            continue;
        if (i + 1 < to && text[i + 1] == L'%') {
            ++i;
            continue;
        }
        if (parseConversionAt(text, i, to, conv))
            return true;
    }
    return false;
}

// Reads the value text as "%ld" does, 32 bits wide; out-of-range values give the nearest limit.
bool readInteger(const string& value, std::int32_t& out) {
    const wchar_t* p = value.c_str();
    while (*p == L' ' || (*p >= L'\t' && *p <= L'\r'))
        ++p;
    bool negative = false;
    if (*p == L'+' || *p == L'-')
        negative = *p++ == L'-';
    if (!isDigit(*p))
        return false;
    long long magnitude = 0;
    for (; isDigit(*p); ++p)
        magnitude = std::min(magnitude * 10 + (*p - L'0'), static_cast<long long>(INT32_MAX) + 1);
    const long long signedValue = negative ? -magnitude : magnitude;
    out = static_cast<std::int32_t>(
        std::clamp<long long>(signedValue, INT32_MIN, INT32_MAX));
    return true;
}

bool readFloating(const string& value, double& out) {
    const wchar_t* start = value.c_str();
    wchar_t* end = nullptr;
    out = std::wcstod(start, &end);
    return end != start;
}

string formatValue(std::size_t capacity, const wchar_t* fmt, ...) {
    capacity = std::min(capacity, format::maxCapacity);
    std::vector<wchar_t> buffer(capacity + 1);
    va_list args;
    va_start(args, fmt);
    const std::size_t length = format::formatInto(buffer.data(), capacity, fmt, &args);
    va_end(args);
    // The output is a C string: it ends at its first null.
    const wchar_t* end = std::wmemchr(buffer.data(), L'\0', length);
    return string(buffer.data(), end ? static_cast<std::size_t>(end - buffer.data()) : length);
}

string upToNull(const string& value) {
    const std::size_t nul = value.find(L'\0');
    return nul == string::npos ? value : string(value.substr(0, nul));
}

// The text that replaces the placeholder.
string convert(const string& value, const printfConversion* conv) {
    const string cValue = upToNull(value);
    if (!conv)
        return cValue;
    const std::size_t capacity =
        (cValue.size() > kLongValue ? cValue.size() + kLongValue : kDefaultBuffer) - 1;
    string fmt = L"%" + conv->flags + conv->width;
    const string precision = conv->hasPrecision ? L"." + conv->precision : string();
    const bool isUnsigned = conv->letter != L'd' && conv->letter != L'i';
    switch (conv->kind) {
    case valueKind::none:
        return string();
    case valueKind::text:
        if (conv->width.empty() && !conv->hasPrecision)
            return cValue; // what "%s" gives, for values of any length
        return formatValue(capacity, (fmt + precision + L"s").c_str(), cValue.c_str());
    case valueKind::character:
        return formatValue(capacity, (fmt + L"c").c_str(), static_cast<std::wint_t>(cValue.c_str()[0]));
    case valueKind::integer: {
        std::int32_t number = 0;
        if (!readInteger(cValue, number))
            return cValue;
        fmt += precision;
        switch (conv->length) {
        case lengthClass::wide64:
        case lengthClass::longDouble: {
            const string f = fmt + L"ll" + conv->letter;
            return isUnsigned
                       ? formatValue(capacity, f.c_str(), static_cast<unsigned long long>(
                                                             static_cast<long long>(number)))
                       : formatValue(capacity, f.c_str(), static_cast<long long>(number));
        }
        case lengthClass::half: fmt += L"h"; break;
        case lengthClass::quarter: fmt += L"hh"; break;
        case lengthClass::plain: break;
        }
        fmt += conv->letter;
        return isUnsigned ? formatValue(capacity, fmt.c_str(), static_cast<unsigned int>(number))
                          : formatValue(capacity, fmt.c_str(), static_cast<int>(number));
    }
    case valueKind::floating: {
        double number = 0;
        if (!readFloating(cValue, number))
            return cValue;
        fmt += precision;
        if (conv->length == lengthClass::longDouble)
            return formatValue(capacity, (fmt + L"L" + conv->letter).c_str(),
                              static_cast<long double>(number));
        return formatValue(capacity, (fmt + conv->letter).c_str(), number);
    }
    }
    return cValue;
}

eMsgState* allocateState(eMsgState value) {
    eMsgState* state = new (std::nothrow) eMsgState(value);
    if (!state)
        detail::throwOutOfMemory();
    return state;
}

} // namespace

// --- construction -------------------------------------------------------------------------------

locMessage::locMessage() : mParameterCount(0), mpState(nullptr) {}

locMessage::locMessage(const wchar_t* text) : mParameterCount(0), mpState(nullptr) {
    setMessage(text);
}

locMessage::locMessage(const locMessage& other)
    : string(other), mParameterCount(other.mParameterCount), mpState(nullptr) {
    if (other.mpState)
        mpState = allocateState(*other.mpState);
}

locMessage::locMessage(locMessage&& other) noexcept
    : string(std::move(other)), mParameterCount(other.mParameterCount), mpState(other.mpState) {
    other.mpState = nullptr;
    other.mParameterCount = 0;
}

locMessage& locMessage::operator=(const locMessage& other) {
    if (this == &other)
        return *this;
    eMsgState* state = other.mpState ? allocateState(*other.mpState) : nullptr;
    string::operator=(other);
    mParameterCount = other.mParameterCount;
    delete mpState;
    mpState = state;
    return *this;
}

locMessage& locMessage::operator=(locMessage&& other) noexcept {
    if (this == &other)
        return *this;
    string::operator=(std::move(other));
    mParameterCount = other.mParameterCount;
    delete mpState;
    mpState = other.mpState;
    other.mpState = nullptr;
    other.mParameterCount = 0;
    return *this;
}

locMessage::~locMessage() {
    delete mpState;
}

// --- the message ----------------------------------------------------------------------------------

void locMessage::setMessage(const wchar_t* text) {
    mParameterCount = 0;
    if (!text)
        text = L"";
    if (text[0] != L'\0' && text[1] == L':') {
        eMsgState state = eMsgNone;
        switch (text[0]) {
        case L'I': case L'i': state = eMsgInfo; break;
        case L'W': case L'w': state = eMsgWarning; break;
        case L'E': case L'e': state = eMsgError; break;
        default: break;
        }
        if (mpState)
            *mpState = state;
        else
            mpState = allocateState(state);
        text += 2;
    } else {
        delete mpState;
        mpState = nullptr;
    }
    while (*text == L' ')
        ++text;
    string::operator=(text);
}

eMsgState locMessage::msgState() const {
    return mpState ? *mpState : eMsgNone;
}

bool locMessage::appendEndline() {
    push_back(L'\n');
    return true;
}

bool locMessage::prependEndline() {
    insert(begin(), L'\n');
    return true;
}

// --- placeholders -----------------------------------------------------------------------------------

bool locMessage::findNamed(const wchar_t* name, size_type& regionBegin, size_type& regionEnd) const {
    const size_type nameLength = std::wcslen(name);
    for (size_type open = find(L'['); open != npos; open = find(L'[', open + 1)) {
        if (open > 0 && (*this)[open - 1] == L'\\')
            continue;
        const size_type afterName = open + 1 + nameLength;
        if (afterName >= size() || compare(open + 1, nameLength, name) != 0)
            continue;
        if ((*this)[afterName] != L']' && isNameCharacter((*this)[afterName]))
            continue;
        const size_type close = find(L']', afterName);
        if (close == npos)
            return false; // no later "[" can be closed either
        regionBegin = open;
        regionEnd = close + 1;
        return true;
    }
    return false;
}

bool locMessage::findNumbered(int number, size_type& regionBegin, size_type& regionEnd) const {
    for (size_type dollar = find(L'$'); dollar != npos; dollar = find(L'$', dollar + 1)) {
        long long value = 0;
        for (size_type digits = 1; digits <= kMaxDollarDigits; ++digits) {
            const size_type at = dollar + digits;
            if (at >= size() || !isDigit((*this)[at]))
                break;
            value = value * 10 + ((*this)[at] - L'0');
            if (value == number) {
                regionBegin = dollar;
                regionEnd = at + 1;
                return true;
            }
            if (value > number)
                break; // more digits only make it larger
        }
    }
    return false;
}

bool locMessage::insertText(const string& value, const wchar_t* name) {
    size_type regionBegin = 0;
    size_type regionEnd = 0;
    bool found;
    if (name) {
        found = findNamed(name, regionBegin, regionEnd);
    } else {
        if (mParameterCount < INT_MAX)
            ++mParameterCount;
        found = findNumbered(mParameterCount, regionBegin, regionEnd);
    }
    printfConversion conv;
    bool hasConversion;
    if (found) {
        hasConversion = findConversion(*this, regionBegin, regionEnd, conv);
    } else {
        if (!findConversion(*this, 0, size(), conv))
            return false;
        hasConversion = true;
        regionBegin = conv.begin;
        regionEnd = conv.end;
    }
    const string output = convert(value, hasConversion ? &conv : nullptr);
    string::replace(regionBegin, regionEnd - regionBegin, output);
    return true;
}

bool locMessage::insertParameter(const wchar_t* value, const wchar_t* name) {
    return insertText(string(value), name);
}

bool locMessage::insertParameter(const locMessage& value, const wchar_t* name) {
    // Copied first: value may be this message itself.
    const string text(value);
    return insertText(text, name);
}

bool locMessage::insertParameter(short value, const wchar_t* name) {
    return insertText(string::sformat(L"%hd", value), name);
}

bool locMessage::insertParameter(int value, const wchar_t* name) {
    return insertText(string::sformat(L"%d", value), name);
}

bool locMessage::insertParameter(long value, const wchar_t* name) {
    return insertText(string::sformat(L"%ld", value), name);
}

bool locMessage::insertParameter(double value, const wchar_t* name) {
    return insertText(string::sformat(L"%lf", value), name);
}

bool locMessage::insertParameter(bool value, const wchar_t* name) {
    return insertText(string(value ? L"True" : L"False"), name);
}

bool locMessage::insertParameter(wchar_t value, const wchar_t* name) {
    return insertText(string(value), name);
}

} // namespace vx
