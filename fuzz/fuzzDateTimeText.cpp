// Date, time and timestamp texts and arithmetic expressions: any text ends in a value or a thrown
// false (never another exception, a crash or a hang), and a value read prints a text that reads
// back as the same value.
//
// Input: the first byte chooses the separators, the rest is the text; each byte stands for the
// character of its value.
#include <vxDate.h>
#include <vxExpression.h>
#include <vxTime.h>
#include <vxTimeStamp.h>
#include <vxTypeConversion.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "failed: %s\n", what);
        std::abort();
    }
}

const wchar_t* const kSeparators[] = {L"/", L"-", L":", L" ", L"", L"ab", nullptr, L"."};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const wchar_t* separators = kSeparators[data[0] % 8];
    const wchar_t* other = kSeparators[(data[0] / 8) % 8];
    vx::string text;
    for (std::size_t i = 1; i < size; ++i)
        text += static_cast<wchar_t>(data[i]);

    try {
        const vx::date d = vx::date::fromString(text, separators);
        check(d.month() >= 1 && d.month() <= 12 && d.dayOfMonth() >= 1, "a date read has a month and a day");
        check(vx::date::fromString(d.toString(), L"/") == d, "a date's text reads back");
        (void)d.weekOfYear();
    } catch (bool value) {
        check(!value, "date: only false is thrown");
    }
    try {
        const vx::time t = vx::time::fromString(text, separators);
        check(t.secondOfDay() < 86400, "a time read is inside the day");
        check(vx::time::fromString(vx::string::sformat(L"%u:%u:%u", t.hour(), t.minute(), t.second()), L":").secondOfDay() ==
                  t.secondOfDay(),
              "a time's text reads back");
    } catch (bool value) {
        check(!value, "time: only false is thrown");
    }
    try {
        (void)vx::timestamp::fromString(text, separators, other, L":");
    } catch (bool value) {
        check(!value, "timestamp: only false is thrown");
    }
    vx::timestamp stamp;
    (void)vx::typeconvert::dtconvert(stamp, text);
    const vx::expression e(text);
    check(e.isValid() ? std::isfinite(e.result()) : e.result() == 0.0, "an expression is finite or invalid");
    return 0;
}
