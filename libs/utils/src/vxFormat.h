// The library's printf engine (internal).
//
// It speaks the wide printf language the library's format strings are written in: %s and %c take
// wide arguments, %S and %C (and %hs, %hc) narrow ones, %ls/%ws and %lc/%wc wide ones; the
// length modifiers I64, I32 and I are understood; %ld and %lu are 32 bits wide; %p prints 16
// upper-case hex digits. Output that does not fit is cut, never failed.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace vx::format {

// Formats into out, writing at most capacity characters and no terminator; returns how many were
// written. With args null no argument is read: every conversion that would read one is copied
// to the output as it stands, and "%%" still gives "%".
std::size_t formatInto(wchar_t* out, std::size_t capacity, const wchar_t* fmt, va_list* args);

// The largest capacity formatInto is made for.
constexpr std::size_t maxCapacity = 65536;

} // namespace vx::format
