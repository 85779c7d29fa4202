#include "vxUnicode.h"

#include <cstdint>

namespace vx::unicode {

namespace {

bool isCharacter(std::uint32_t c) {
    return c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF);
}

// The range the byte after a lead byte may take (the later ones are always 0x80 to 0xBF).
struct leadInfo {
    int length; // 0: not a lead byte
    unsigned char secondLow, secondHigh;
};

leadInfo infoOf(unsigned char lead) {
    if (lead < 0x80) return {1, 0, 0};
    if (lead < 0xC2) return {0, 0, 0};
    if (lead < 0xE0) return {2, 0x80, 0xBF};
    if (lead == 0xE0) return {3, 0xA0, 0xBF};
    if (lead == 0xED) return {3, 0x80, 0x9F};
    if (lead < 0xF0) return {3, 0x80, 0xBF};
    if (lead == 0xF0) return {4, 0x90, 0xBF};
    if (lead < 0xF4) return {4, 0x80, 0xBF};
    if (lead == 0xF4) return {4, 0x80, 0x8F};
    return {0, 0, 0};
}

} // namespace

char32_t nextCodePoint(const wchar_t* text, std::size_t length, std::size_t& i) {
    const std::uint32_t unit = static_cast<std::uint32_t>(text[i++]);
    if (kWideIsUtf16) {
        const std::uint32_t u = unit & 0xFFFF;
        if (u < 0xD800 || u > 0xDFFF)
            return u;
        if (u <= 0xDBFF && i < length) {
            const std::uint32_t low = static_cast<std::uint32_t>(text[i]) & 0xFFFF;
            if (low >= 0xDC00 && low <= 0xDFFF) {
                ++i;
                return 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00);
            }
        }
        return replacementCharacter;
    }
    return isCharacter(unit) ? unit : replacementCharacter;
}

void appendCodePoint(std::wstring& out, char32_t c) {
    if (!isCharacter(c))
        c = replacementCharacter;
    if (kWideIsUtf16 && c >= 0x10000) {
        out.push_back(static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10)));
        out.push_back(static_cast<wchar_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
    } else {
        out.push_back(static_cast<wchar_t>(c));
    }
}

void appendUtf8(std::string& out, const wchar_t* text, std::size_t length) {
    out.reserve(out.size() + length);
    for (std::size_t i = 0; i < length;) {
        if (static_cast<std::uint32_t>(text[i]) < 0x80) { // the common case first
            out.push_back(static_cast<char>(text[i++]));
            continue;
        }
        const std::uint32_t c = nextCodePoint(text, length, i);
        if (c < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (c >> 6)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else if (c < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (c >> 12)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (c >> 18)));
            out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
    }
}

void appendUtf16Le(std::string& out, const wchar_t* text, std::size_t length) {
    out.reserve(out.size() + 2 * length);
    const auto unit = [&out](std::uint32_t u) {
        out.push_back(static_cast<char>(u & 0xFF));
        out.push_back(static_cast<char>(u >> 8));
    };
    for (std::size_t i = 0; i < length;) {
        const std::uint32_t c = nextCodePoint(text, length, i);
        if (c >= 0x10000) {
            unit(0xD800 + ((c - 0x10000) >> 10));
            unit(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            unit(c);
        }
    }
}

void appendFromUtf8(std::wstring& out, const char* text, std::size_t length) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    out.reserve(out.size() + length);
    std::size_t i = 0;
    while (i < length) {
        const unsigned char lead = bytes[i];
        if (lead < 0x80) { // the common case first
            out.push_back(static_cast<wchar_t>(lead));
            ++i;
            continue;
        }
        const leadInfo info = infoOf(lead);
        if (info.length == 0) {
            out.push_back(replacementCharacter);
            ++i;
            continue;
        }
        std::uint32_t c = lead & (0xFF >> (info.length + 1));
        std::size_t taken = 1;
        bool complete = true;
        for (int k = 1; k < info.length; ++k) {
            if (i + taken >= length) {
                complete = false;
                break;
            }
            const unsigned char b = bytes[i + taken];
            const unsigned char low = k == 1 ? info.secondLow : 0x80;
            const unsigned char high = k == 1 ? info.secondHigh : 0xBF;
            if (b < low || b > high) {
                complete = false;
                break;
            }
            c = (c << 6) | (b & 0x3F);
            ++taken;
        }
        // A broken sequence is replaced as a whole, and decoding resumes at the byte that broke it.
        appendCodePoint(out, complete ? c : replacementCharacter);
        i += taken;
    }
}

void appendFromUtf16Le(std::wstring& out, const unsigned char* bytes, std::size_t length) {
    out.reserve(out.size() + length / 2 + 1);
    const std::size_t units = length / 2;
    const auto unitAt = [bytes](std::size_t i) {
        return static_cast<std::uint32_t>(bytes[2 * i]) | static_cast<std::uint32_t>(bytes[2 * i + 1]) << 8;
    };
    for (std::size_t i = 0; i < units; ++i) {
        const std::uint32_t unit = unitAt(i);
        if (unit < 0xD800 || unit > 0xDFFF) {
            out.push_back(static_cast<wchar_t>(unit));
        } else if (unit <= 0xDBFF && i + 1 < units && unitAt(i + 1) >= 0xDC00 && unitAt(i + 1) <= 0xDFFF) {
            appendCodePoint(out, 0x10000 + ((unit - 0xD800) << 10) + (unitAt(i + 1) - 0xDC00));
            ++i;
        } else {
            out.push_back(replacementCharacter);
        }
    }
    if (length % 2 != 0)
        out.push_back(replacementCharacter);
}

} // namespace vx::unicode
