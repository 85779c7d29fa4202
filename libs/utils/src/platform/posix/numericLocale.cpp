// Numeric locale services on POSIX systems: per-thread locales (newlocale/uselocale) and the
// radix character of the user's locale.
#include "platform/numericLocale.h"
#include "platform/text.h"

#include <clocale>
#include <cstring>
#include <langinfo.h>
#include <locale.h>

namespace vx::platform {

namespace {

// Both locale objects are made once and kept for the life of the process: threads may be using
// them at any time, so they are never freed.
locale_t cNumericLocale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
    return locale;
}

locale_t userNumericLocale() {
    static const locale_t locale = [] {
        // Only the numbers follow the user; every other category stays "C".
        const locale_t user = newlocale(LC_NUMERIC_MASK, "", static_cast<locale_t>(0));
        return user ? user : cNumericLocale();
    }();
    return locale;
}

} // namespace

scopedNumericLocale::scopedNumericLocale(bool userLocale) : mpPrevious(nullptr) {
    const locale_t target = userLocale ? userNumericLocale() : cNumericLocale();
    if (target)
        mpPrevious = uselocale(target);
}

scopedNumericLocale::~scopedNumericLocale() {
    if (mpPrevious)
        uselocale(static_cast<locale_t>(mpPrevious));
}

std::wstring systemDecimalSeparator() {
    static const std::wstring separator = [] {
        std::wstring text;
        const char* radix = nl_langinfo_l(RADIXCHAR, userNumericLocale());
        if (radix)
            text = activeCodePageToWide(radix, std::strlen(radix));
        if (text.size() > 16)
            text.resize(16);
        return text.empty() ? std::wstring(L".") : text;
    }();
    return separator;
}

char currentDecimalPoint() {
    const locale_t current = ::uselocale(static_cast<locale_t>(0));
    // nl_langinfo_l takes no LC_GLOBAL_LOCALE: a thread without a locale of its own reads the
    // global one.
    const char* point = current == LC_GLOBAL_LOCALE ? ::nl_langinfo(RADIXCHAR) : ::nl_langinfo_l(RADIXCHAR, current);
    return point && point[0] != 0 && point[1] == 0 ? point[0] : 0;
}

} // namespace vx::platform
