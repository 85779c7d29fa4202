// Number conventions of the calling thread (internal).
#pragma once

#include <string>

namespace vx::platform {

// Switches the number conventions of the calling thread, until the scope ends, to those of the
// "C" locale or to those of the user's locale (as the environment names it, read once on first
// use; "C" if it cannot be loaded). Only the calling thread is affected.
class scopedNumericLocale {
public:
    explicit scopedNumericLocale(bool userLocale);
    ~scopedNumericLocale();
    scopedNumericLocale(const scopedNumericLocale&) = delete;
    scopedNumericLocale& operator=(const scopedNumericLocale&) = delete;

private:
    void* mpPrevious; // what the thread had before the switch; null when nothing was switched
};

// The decimal separator of the user's locale, at most 16 characters; "." if it is unknown.
std::wstring systemDecimalSeparator();

// The decimal point the C library's number formatting uses on the calling thread now (the
// LC_NUMERIC of its locale); 0 when that is not a single byte.
char currentDecimalPoint();

} // namespace vx::platform
