// Text conversions on POSIX systems: the active code page is UTF-8.
#include "platform/text.h"
#include "vxUnicode.h"

#include <cwctype>
#include <locale.h>

namespace vx::platform {

std::string wideToActiveCodePage(const wchar_t* text, std::size_t length) {
    std::string out;
    unicode::appendUtf8(out, text, length);
    return out;
}

void appendFromActiveCodePage(std::wstring& out, const char* text, std::size_t length) {
    unicode::appendFromUtf8(out, text, length);
}

std::size_t activeCodePageWholePrefix(const char* text, std::size_t length) {
    return unicode::utf8WholePrefix(text, length);
}

wchar_t foldNonAsciiCase(wchar_t c) {
    // The Unicode tables of the C.UTF-8 locale, whatever locale the process runs in. Without it
    // (a system that lacks it) the character stays as it is.
    static const locale_t unicodeLocale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(0));
    if (!unicodeLocale)
        return c;
    return static_cast<wchar_t>(::towupper_l(static_cast<wint_t>(c), unicodeLocale));
}

} // namespace vx::platform
