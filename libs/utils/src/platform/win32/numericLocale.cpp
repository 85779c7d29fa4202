// Numeric locale services on Windows: the C runtime's per-thread locale and the decimal separator
// of the user's locale settings.
#include "platform/numericLocale.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <clocale>
#include <locale.h>
#include <new>
#include <string>

namespace vx::platform {

namespace {

// What the thread had before the switch.
struct previousLocale {
    int mode;               // _configthreadlocale's setting
    std::string numeric;    // the LC_NUMERIC name
};

} // namespace

scopedNumericLocale::scopedNumericLocale(bool userLocale) : mpPrevious(nullptr) {
    // From here on setlocale changes the calling thread only.
    const int mode = _configthreadlocale(_ENABLE_PER_THREAD_LOCALE);
    if (mode == -1)
        return;
    const char* current = std::setlocale(LC_NUMERIC, nullptr);
    auto* previous = new (std::nothrow) previousLocale{mode, current ? current : "C"};
    if (!previous || !std::setlocale(LC_NUMERIC, userLocale ? "" : "C")) {
        delete previous;
        _configthreadlocale(mode);
        return;
    }
    mpPrevious = previous;
}

scopedNumericLocale::~scopedNumericLocale() {
    auto* previous = static_cast<previousLocale*>(mpPrevious);
    if (!previous)
        return;
    std::setlocale(LC_NUMERIC, previous->numeric.c_str());
    _configthreadlocale(previous->mode);
    delete previous;
}

std::wstring systemDecimalSeparator() {
    static const std::wstring separator = [] {
        wchar_t buffer[16 + 1] = {};
        const int length = GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, buffer, 16 + 1);
        std::wstring text = length > 1 ? std::wstring(buffer, static_cast<std::size_t>(length - 1)) : std::wstring();
        return text.empty() ? std::wstring(L".") : text;
    }();
    return separator;
}

char currentDecimalPoint() {
    // With a per-thread locale (scopedNumericLocale) the C runtime answers for the calling thread.
    const std::lconv* conventions = std::localeconv();
    const char* point = conventions ? conventions->decimal_point : nullptr;
    return point && point[0] != 0 && point[1] == 0 ? point[0] : 0;
}

} // namespace vx::platform
