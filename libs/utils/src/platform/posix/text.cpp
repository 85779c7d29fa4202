// Text conversions on POSIX systems: the active code page is UTF-8.
#include "platform/text.h"
#include "vxUnicode.h"


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

} // namespace vx::platform
