// Text conversions on POSIX systems: the active code page is UTF-8.
#include "platform/text.h"
#include "vxUnicode.h"

#include <cstring>
#include <cwchar>

namespace vx::platform {

std::string wideToActiveCodePage(const wchar_t* text, std::size_t length) {
    std::string out;
    unicode::appendUtf8(out, text, length);
    return out;
}

std::wstring activeCodePageToWide(const char* text, std::size_t length) {
    std::wstring out;
    unicode::appendFromUtf8(out, text, length);
    return out;
}

std::wstring localeMultiByteToWide(const char* text) {
    std::wstring out;
    if (!text)
        return out;
    const std::size_t length = std::strlen(text);
    out.reserve(length);
    std::mbstate_t state{};
    std::size_t i = 0;
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

} // namespace vx::platform
