#include "vxAssert.h"

#include "platform/console.h"
#include "platform/text.h"
#include "vxFormat.h"

#include <atomic>
#include <cstdarg>
#include <cstring>
#include <string>

namespace vx {

namespace {

constexpr std::size_t kShownLength = 511;     // assertMsg shows at most this many characters
constexpr std::size_t kAssertionBuffer = 1024; // the assertion text before it is shown
const wchar_t kCaption[] = L"Velmora";

std::atomic<assertPresenter> gPresenter{nullptr};

void present(const wchar_t* text) {
    const assertPresenter presenter = gPresenter.load(std::memory_order_acquire);
    if (presenter)
        presenter(kCaption, text);
    else
        platform::presentAssertion(kCaption, text);
}

std::size_t formatWithArguments(wchar_t* out, std::size_t capacity, const wchar_t* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    const std::size_t length = format::formatInto(out, capacity, fmt, &args);
    va_end(args);
    return length;
}

} // namespace

void assertMsg(const wchar_t* fmt, ...) {
    wchar_t text[kShownLength + 1];
    va_list args;
    va_start(args, fmt);
    const std::size_t length = format::formatInto(text, kShownLength, fmt, &args);
    va_end(args);
    text[length] = L'\0';
    present(text);
}

assertPresenter setAssertPresenter(assertPresenter presenter) {
    return gPresenter.exchange(presenter, std::memory_order_acq_rel);
}

const wchar_t* assertCaption() {
    return kCaption;
}

void assertionFailed(const wchar_t* expression, const char* file, int line) {
    const std::wstring wideFile =
        file ? platform::activeCodePageToWide(file, std::strlen(file)) : std::wstring();
    wchar_t text[kAssertionBuffer];
    const std::size_t length =
        formatWithArguments(text, kAssertionBuffer - 1, L"Assertion failed:\n%s\n\nFile: %s\nLine: %d",
                            expression ? expression : L"", wideFile.c_str(), line);
    text[length] = L'\0';
    // The finished text is formatted a second time, as assertMsg's format: "%%" becomes "%", and a
    // conversion that would need an argument stays as it is, since there is none to read.
    wchar_t shown[kShownLength + 1];
    const std::size_t shownLength = format::formatInto(shown, kShownLength, text, nullptr);
    shown[shownLength] = L'\0';
    present(shown);
    throw false;
}

} // namespace vx
