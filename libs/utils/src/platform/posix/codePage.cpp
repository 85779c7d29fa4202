// Named encodings through the C library's iconv.
#include "platform/codePage.h"

#include "vxUnicode.h"

#include <cerrno>
#include <iconv.h>
#include <strings.h>

namespace vx::platform {

namespace {

// Windows-1252 at 0x80 to 0x9F; every other byte is the Latin-1 character of its value. The
// five bytes Windows leaves unassigned stand for the control characters of their value, as the
// system's own conversion gives them.
constexpr char16_t kWindows1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

void appendFromWindows1252(std::wstring& out, const char* bytes, std::size_t n) {
    out.reserve(out.size() + n);
    for (std::size_t i = 0; i < n; ++i) {
        const auto b = static_cast<unsigned char>(bytes[i]);
        out.push_back(static_cast<wchar_t>(b >= 0x80 && b < 0xA0 ? kWindows1252High[b - 0x80] : b));
    }
}

} // namespace

void appendFromNamedEncoding(std::wstring& out, const char* name, const char* bytes, std::size_t n) {
    // Windows-1252 is decoded here also when the system knows it, so that the five unassigned
    // bytes decode as they do on Windows rather than as invalid.
    const bool is1252 = ::strcasecmp(name, "windows-1252") == 0 || ::strcasecmp(name, "cp1252") == 0;
    const iconv_t converter = is1252 ? reinterpret_cast<iconv_t>(-1) : ::iconv_open("UTF-8", name);
    if (converter == reinterpret_cast<iconv_t>(-1)) {
        appendFromWindows1252(out, bytes, n);
        return;
    }
    // Through UTF-8, so that the one decoder of the library makes the wide text for either width.
    std::string utf8;
    char block[4096];
    char* in = const_cast<char*>(bytes);
    std::size_t inLeft = n;
    const auto flush = [&](char* end) { utf8.append(block, static_cast<std::size_t>(end - block)); };
    while (inLeft > 0) {
        char* to = block;
        std::size_t room = sizeof block;
        const std::size_t done = ::iconv(converter, &in, &inLeft, &to, &room);
        flush(to);
        if (done != static_cast<std::size_t>(-1))
            break;
        if (errno == E2BIG)
            continue;
        // An invalid sequence, or one cut by the end: one replacement, then on behind its first byte.
        utf8 += "\xEF\xBF\xBD";
        ++in;
        --inLeft;
        ::iconv(converter, nullptr, nullptr, nullptr, nullptr);
    }
    // Stateful encodings may owe bytes that return to the initial state.
    char* to = block;
    std::size_t room = sizeof block;
    ::iconv(converter, nullptr, nullptr, &to, &room);
    flush(to);
    ::iconv_close(converter);
    unicode::appendFromUtf8(out, utf8.data(), utf8.size());
}

} // namespace vx::platform
