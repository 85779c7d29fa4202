#include "vxFormat.h"

#include "detail/decimal.h"
#include "platform/numericLocale.h"
#include "vxUnicode.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <type_traits>
#include <cwchar>
#include <string>
#include <vector>

namespace vx::format {

namespace {

// Widths and precisions beyond these are clamped. The visible (at most maxCapacity characters)
// start of any conversion stays the same: a clamped precision still produces more characters than
// fit, and a clamped width still pads more than a clamped body plus everything that fits.
constexpr long kPrecisionClamp = 65536;
constexpr long kWidthClamp = 3 * 65536;

class sink {
public:
    sink(wchar_t* out, std::size_t capacity) : mOut(out), mCapacity(capacity) {}

    std::size_t size() const { return mSize; }
    std::size_t room() const { return mCapacity - mSize; }
    bool full() const { return mSize >= mCapacity; }

    void put(wchar_t c) {
        if (mSize < mCapacity)
            mOut[mSize++] = c;
    }
    void put(const wchar_t* text, std::size_t length) {
        length = std::min(length, room());
        std::wmemcpy(mOut + mSize, text, length);
        mSize += length;
    }
    void repeat(wchar_t c, std::size_t count) {
        count = std::min(count, room());
        std::wmemset(mOut + mSize, c, count);
        mSize += count;
    }

private:
    wchar_t* mOut;
    std::size_t mCapacity;
    std::size_t mSize = 0;
};

enum class lengthModifier { none, hh, h, l, ll, L, j, z, t, w, i32, i64, iPtr };

struct conversionSpec {
    bool left = false, plus = false, space = false, alternate = false, zero = false;
    long width = -1;     // -1: none
    long precision = -1; // -1: none
    bool widthFromArgument = false;
    bool precisionFromArgument = false;
    lengthModifier length = lengthModifier::none;
    wchar_t conversion = 0;
};

bool isDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

long readNumber(const wchar_t*& p, long clamp) {
    long value = 0;
    while (isDigit(*p)) {
        if (value <= clamp)
            value = value * 10 + (*p - L'0');
        ++p;
    }
    return std::min(value, clamp);
}

// Parses the part of a conversion after '%'; p ends behind the conversion character, or at the
// terminating null if the format ends first (conversion stays 0).
conversionSpec parseSpec(const wchar_t*& p) {
    conversionSpec spec;
    for (;; ++p) {
        if (*p == L'-') spec.left = true;
        else if (*p == L'+') spec.plus = true;
        else if (*p == L' ') spec.space = true;
        else if (*p == L'#') spec.alternate = true;
        else if (*p == L'0') spec.zero = true;
        else break;
    }
    if (*p == L'*') {
        spec.widthFromArgument = true;
        ++p;
    } else if (isDigit(*p)) {
        spec.width = readNumber(p, kWidthClamp);
    }
    if (*p == L'.') {
        ++p;
        if (*p == L'*') {
            spec.precisionFromArgument = true;
            ++p;
        } else {
            spec.precision = readNumber(p, kPrecisionClamp);
        }
    }
    switch (*p) {
    case L'h':
        ++p;
        spec.length = lengthModifier::h;
        if (*p == L'h') { ++p; spec.length = lengthModifier::hh; }
        break;
    case L'l':
        ++p;
        spec.length = lengthModifier::l;
        if (*p == L'l') { ++p; spec.length = lengthModifier::ll; }
        break;
    case L'L': case L'q': ++p; spec.length = lengthModifier::L; break;
    case L'j': ++p; spec.length = lengthModifier::j; break;
    case L'z': ++p; spec.length = lengthModifier::z; break;
    case L't': ++p; spec.length = lengthModifier::t; break;
    case L'w': ++p; spec.length = lengthModifier::w; break;
    case L'I':
        ++p;
        if (p[0] == L'6' && p[1] == L'4') { p += 2; spec.length = lengthModifier::i64; }
        else if (p[0] == L'3' && p[1] == L'2') { p += 2; spec.length = lengthModifier::i32; }
        else spec.length = lengthModifier::iPtr;
        break;
    default: break;
    }
    if (*p != 0)
        spec.conversion = *p++;
    return spec;
}

bool isIntegerConversion(wchar_t c) {
    return c == L'd' || c == L'i' || c == L'u' || c == L'o' || c == L'x' || c == L'X';
}
bool isFloatConversion(wchar_t c) {
    return c == L'e' || c == L'E' || c == L'f' || c == L'F' || c == L'g' || c == L'G' ||
           c == L'a' || c == L'A';
}
bool isKnownConversion(wchar_t c) {
    return isIntegerConversion(c) || isFloatConversion(c) || c == L'c' || c == L'C' ||
           c == L's' || c == L'S' || c == L'p' || c == L'n' || c == L'%';
}

// Whether %c/%s (or %C/%S) reads a narrow argument under the given length modifier.
bool takesNarrowText(const conversionSpec& spec) {
    const bool upper = spec.conversion == L'C' || spec.conversion == L'S';
    switch (spec.length) {
    case lengthModifier::h: case lengthModifier::hh: return true;
    case lengthModifier::l: case lengthModifier::w: return false;
    default: return upper;
    }
}

long long readSigned(const conversionSpec& spec, va_list* args) {
    switch (spec.length) {
    case lengthModifier::hh: return static_cast<signed char>(va_arg(*args, int));
    case lengthModifier::h: return static_cast<short>(va_arg(*args, int));
    // long crosses a format as a 32-bit value.
    case lengthModifier::l: return static_cast<std::int32_t>(va_arg(*args, long));
    case lengthModifier::i32: return static_cast<std::int32_t>(va_arg(*args, int));
    case lengthModifier::ll: case lengthModifier::L: case lengthModifier::i64:
        return va_arg(*args, long long);
    case lengthModifier::j: return static_cast<long long>(va_arg(*args, std::intmax_t));
    case lengthModifier::z: case lengthModifier::t: case lengthModifier::iPtr:
        return static_cast<long long>(va_arg(*args, std::ptrdiff_t));
    default: return va_arg(*args, int);
    }
}

unsigned long long readUnsigned(const conversionSpec& spec, va_list* args) {
    switch (spec.length) {
    case lengthModifier::hh: return static_cast<unsigned char>(va_arg(*args, unsigned int));
    case lengthModifier::h: return static_cast<unsigned short>(va_arg(*args, unsigned int));
    case lengthModifier::l: return static_cast<std::uint32_t>(va_arg(*args, unsigned long));
    case lengthModifier::i32: return static_cast<std::uint32_t>(va_arg(*args, unsigned int));
    case lengthModifier::ll: case lengthModifier::L: case lengthModifier::i64:
        return va_arg(*args, unsigned long long);
    case lengthModifier::j: return static_cast<unsigned long long>(va_arg(*args, std::uintmax_t));
    case lengthModifier::z: case lengthModifier::t: case lengthModifier::iPtr:
        return static_cast<unsigned long long>(va_arg(*args, std::size_t));
    default: return va_arg(*args, unsigned int);
    }
}

// Writes body padded to the width of spec; zeros pad only where the conversion allows it.
void putPadded(sink& out, const conversionSpec& spec, const wchar_t* body, std::size_t length) {
    const std::size_t width = spec.width > 0 ? static_cast<std::size_t>(spec.width) : 0;
    const std::size_t pad = width > length ? width - length : 0;
    if (spec.left) {
        out.put(body, length);
        out.repeat(L' ', pad);
    } else {
        out.repeat(spec.zero ? L'0' : L' ', pad);
        out.put(body, length);
    }
}

// Appends the decimal digits of a non-negative value.
char* appendDecimal(char* out, long value) {
    char digits[3 * sizeof(long) + 2];
    char* const end = digits + sizeof digits;
    return std::copy(detail::writeDecimal(end, value), end, out);
}

// The most common conversions without flags or width are written directly: a decimal integer
// without precision, and a %f of a double of moderate size and precision (std::to_chars gives the
// digits printf gives, exactly rounded; the point is the one printf would use). Answers false,
// having read nothing, for every other conversion.
bool putPlainNumber(sink& out, const conversionSpec& spec, va_list* args) {
    if (spec.left || spec.plus || spec.space || spec.alternate || spec.zero || spec.width >= 0)
        return false;
    if ((spec.conversion == L'd' || spec.conversion == L'i' || spec.conversion == L'u') && spec.precision < 0) {
        wchar_t digits[3 * sizeof(long long) + 2];
        wchar_t* const end = digits + sizeof digits / sizeof digits[0];
        const wchar_t* const first = spec.conversion == L'u' ? detail::writeDecimal(end, readUnsigned(spec, args))
                                                              : detail::writeDecimal(end, readSigned(spec, args));
        out.put(first, static_cast<std::size_t>(end - first));
        return true;
    }
    constexpr int kMaxPlainPrecision = 17;
    if (spec.conversion != L'f' || spec.length == lengthModifier::L || spec.precision > kMaxPlainPrecision)
        return false;
    va_list peek;
    va_copy(peek, *args);
    const double value = va_arg(peek, double);
    va_end(peek);
    const char point = platform::currentDecimalPoint();
    // At most 17 digits before the point and kMaxPlainPrecision behind it; a point that is no
    // ASCII character goes through the decoder below.
    if (!(std::fabs(value) < 1e17) || point == 0 || static_cast<unsigned char>(point) >= 0x80)
        return false;
    (void)va_arg(*args, double);
    char text[64];
    const int precision = spec.precision < 0 ? 6 : static_cast<int>(spec.precision);
    const std::to_chars_result written =
        std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, precision);
    for (const char* c = text; c != written.ptr; ++c)
        out.put(static_cast<wchar_t>(*c == '.' ? point : *c));
    return true;
}

// Numbers go through the C library's narrow snprintf; the result is ASCII apart from a locale's
// decimal point, and only that case goes through the UTF-8 decoder.
void putNumber(sink& out, const conversionSpec& spec, va_list* args) {
    if (putPlainNumber(out, spec, args))
        return;
    char narrowFormat[48];
    char* f = narrowFormat;
    *f++ = '%';
    if (spec.left) *f++ = '-';
    if (spec.plus) *f++ = '+';
    if (spec.space) *f++ = ' ';
    if (spec.alternate) *f++ = '#';
    if (spec.zero) *f++ = '0';
    if (spec.width >= 0) f = appendDecimal(f, spec.width);
    if (spec.precision >= 0) {
        *f++ = '.';
        f = appendDecimal(f, spec.precision);
    }

    // Only the characters that still fit are needed; a UTF-8 character has at most 4 bytes.
    const std::size_t bytesNeeded = 4 * out.room() + 1;
    char stackBuffer[4 * 1024 + 1];
    std::vector<char> heapBuffer;
    char* buffer = stackBuffer;
    if (bytesNeeded > sizeof stackBuffer) {
        heapBuffer.resize(bytesNeeded);
        buffer = heapBuffer.data();
    }
    const char conversion = static_cast<char>(spec.conversion);
    int produced;
    if (isIntegerConversion(spec.conversion)) {
        *f++ = 'l';
        *f++ = 'l';
        *f++ = conversion;
        *f = 0;
        if (spec.conversion == L'd' || spec.conversion == L'i')
            produced = std::snprintf(buffer, bytesNeeded, narrowFormat, readSigned(spec, args));
        else
            produced = std::snprintf(buffer, bytesNeeded, narrowFormat, readUnsigned(spec, args));
    } else if (spec.length == lengthModifier::L) {
        *f++ = 'L';
        *f++ = conversion;
        *f = 0;
        produced = std::snprintf(buffer, bytesNeeded, narrowFormat, va_arg(*args, long double));
    } else {
        *f++ = conversion;
        *f = 0;
        produced = std::snprintf(buffer, bytesNeeded, narrowFormat, va_arg(*args, double));
    }
    if (produced <= 0)
        return;
    const std::size_t bytes = std::min(static_cast<std::size_t>(produced), bytesNeeded - 1);
    bool ascii = true;
    for (std::size_t i = 0; i < bytes && ascii; ++i)
        ascii = static_cast<unsigned char>(buffer[i]) < 0x80;
    if (ascii) {
        for (std::size_t i = 0; i < bytes; ++i)
            out.put(static_cast<wchar_t>(buffer[i]));
        return;
    }
    std::wstring wide;
    unicode::appendFromUtf8(wide, buffer, bytes);
    out.put(wide.data(), wide.size());
}

void putPointer(sink& out, const conversionSpec& spec, va_list* args) {
    const auto value = reinterpret_cast<std::uintptr_t>(va_arg(*args, void*));
    wchar_t digits[2 * sizeof(std::uintptr_t)];
    const std::size_t count = sizeof digits / sizeof digits[0];
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned nibble = (value >> (4 * (count - 1 - i))) & 0xF;
        digits[i] = static_cast<wchar_t>(nibble < 10 ? L'0' + nibble : L'A' + nibble - 10);
    }
    conversionSpec spaces = spec;
    spaces.zero = false;
    putPadded(out, spaces, digits, count);
}

void putCharacter(sink& out, const conversionSpec& spec, va_list* args) {
    wchar_t c;
    if (takesNarrowText(spec)) {
        const auto byte = static_cast<unsigned char>(va_arg(*args, int));
        c = byte < 0x80 ? static_cast<wchar_t>(byte) : unicode::replacementCharacter;
    } else {
        // A wint_t narrower than int (16-bit wide characters) arrives promoted to int.
        using promotedWint = std::conditional_t<(sizeof(std::wint_t) < sizeof(int)), int, std::wint_t>;
        c = static_cast<wchar_t>(va_arg(*args, promotedWint));
    }
    putPadded(out, spec, &c, 1);
}

void putText(sink& out, const conversionSpec& spec, va_list* args) {
    static const wchar_t nullText[] = L"(null)";
    const std::size_t limit =
        spec.precision >= 0 ? static_cast<std::size_t>(spec.precision) : static_cast<std::size_t>(-1);
    if (takesNarrowText(spec)) {
        const char* text = va_arg(*args, const char*);
        if (!text) {
            putPadded(out, spec, nullText, std::min(limit, std::wcslen(nullText)));
            return;
        }
        std::wstring wide;
        unicode::appendFromUtf8(wide, text, std::strlen(text));
        putPadded(out, spec, wide.data(), std::min(limit, wide.size()));
    } else {
        const wchar_t* text = va_arg(*args, const wchar_t*);
        if (!text)
            text = nullText;
        std::size_t length = 0;
        while (length < limit && text[length] != 0)
            ++length;
        putPadded(out, spec, text, length);
    }
}

} // namespace

std::size_t formatInto(wchar_t* outBuffer, std::size_t capacity, const wchar_t* fmt, va_list* args) {
    sink out(outBuffer, std::min(capacity, maxCapacity));
    if (!fmt)
        return 0;
    const wchar_t* p = fmt;
    while (*p != 0 && !out.full()) {
        if (*p != L'%') {
            const wchar_t* literal = p;
            while (*p != 0 && *p != L'%')
                ++p;
            out.put(literal, static_cast<std::size_t>(p - literal));
            continue;
        }
        const wchar_t* specStart = p++;
        conversionSpec spec = parseSpec(p);
        const auto copySpecAsIs = [&] { out.put(specStart, static_cast<std::size_t>(p - specStart)); };

        if (spec.conversion == L'%') {
            out.put(L'%');
            continue;
        }
        // An unknown or unfinished conversion is copied as it stands and reads no argument.
        if (!isKnownConversion(spec.conversion)) {
            copySpecAsIs();
            continue;
        }
        if (!args) {
            copySpecAsIs();
            continue;
        }
        if (spec.widthFromArgument) {
            const long width = va_arg(*args, int);
            if (width < 0)
                spec.left = true;
            spec.width = std::min(width < 0 ? -width : width, kWidthClamp);
        }
        if (spec.precisionFromArgument) {
            const long precision = va_arg(*args, int);
            spec.precision = precision < 0 ? -1 : std::min(precision, kPrecisionClamp);
        }
        if (spec.left)
            spec.zero = false;

        switch (spec.conversion) {
        case L'c': case L'C': putCharacter(out, spec, args); break;
        case L's': case L'S': putText(out, spec, args); break;
        case L'p': putPointer(out, spec, args); break;
        case L'n': (void)va_arg(*args, void*); break; // counts are never written back
        default: putNumber(out, spec, args); break;
        }
    }
    return out.size();
}

} // namespace vx::format
