// Assertions: how the library reports a programming error.
//
// A failed assertion builds the text "Assertion failed:\n<expression>\n\nFile: <path>\nLine: <n>",
// shows it through assertMsg and throws a bool of value false. Handlers for vx::exception do not
// catch that bool, which is the point: it is not a failure of normal work.
#pragma once

#include "vxExport.h"

namespace vx {

// Formats fmt with its arguments (wide printf language: %s takes a wide string) into at most
// 511 characters and presents the text. Returns once the text has been presented.
VX_API void assertMsg(const wchar_t* fmt, ...);

// Receives the caption (the maker's display name) and the text of every assertion message.
using assertPresenter = void (*)(const wchar_t* caption, const wchar_t* text);

// Installs the presenter of assertion messages for the whole process and returns the one it
// replaces. A null presenter restores the default, which writes to standard error.
VX_API assertPresenter setAssertPresenter(assertPresenter presenter);

// The caption given to the presenter.
VX_API const wchar_t* assertCaption();

// Builds the assertion text for a failed condition, presents it through assertMsg and throws
// false. The text passes through assertMsg as its format, as every assertion text does.
[[noreturn]] VX_API void assertionFailed(const wchar_t* expression, const char* file, int line);

} // namespace vx

#define VX_WIDEN_TEXT_(text) L##text
#define VX_WIDEN_TEXT(text) VX_WIDEN_TEXT_(text)

// Checks a condition the caller guarantees; on failure reports it and throws false.
#define VX_ASSERT(condition)                                                                      \
    do {                                                                                          \
        if (!(condition))                                                                         \
            ::vx::assertionFailed(VX_WIDEN_TEXT(#condition), __FILE__, __LINE__);                 \
    } while (false)
