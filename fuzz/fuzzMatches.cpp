// Wildcard matching against a plain reference matcher.
//
// Input: the pattern, a line feed, the text. Every byte stands for the character of its value, so
// '*', '?' and nulls (where both sides end) come up on their own.
#include <vxString.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// Whether text[i..] matches pattern[j..]; memo holds -1 for unknown, else the answer.
class referenceMatcher {
public:
    referenceMatcher(const std::wstring& text, const std::wstring& pattern)
        : mText(text), mPattern(pattern), mMemo((text.size() + 1) * (pattern.size() + 1), -1) {}

    bool matches(std::size_t i, std::size_t j) {
        signed char& known = mMemo[i * (mPattern.size() + 1) + j];
        if (known < 0)
            known = compute(i, j);
        return known != 0;
    }

private:
    bool compute(std::size_t i, std::size_t j) {
        if (j == mPattern.size())
            return i == mText.size();
        if (mPattern[j] == L'*')
            return matches(i, j + 1) || (i < mText.size() && matches(i + 1, j));
        return i < mText.size() && (mPattern[j] == L'?' || mPattern[j] == mText[i]) &&
               matches(i + 1, j + 1);
    }

    const std::wstring& mText;
    const std::wstring& mPattern;
    std::vector<signed char> mMemo;
};

std::wstring widen(const std::uint8_t* data, std::size_t size) {
    return std::wstring(data, data + size);
}

// Up to the first null, as the matcher reads both sides.
std::wstring untilNull(const std::wstring& s) {
    return s.substr(0, s.find(L'\0'));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 4096)
        return 0;
    std::size_t cut = 0;
    while (cut < size && data[cut] != '\n')
        ++cut;
    const std::wstring pattern = widen(data, cut);
    const vx::string text(widen(data + (cut < size ? cut + 1 : size), size - (cut < size ? cut + 1 : size)));

    const std::wstring plainText = untilNull(text), plainPattern = untilNull(pattern);
    referenceMatcher reference(plainText, plainPattern);
    const bool expected = reference.matches(0, 0);
    const bool actual = text.matches(pattern);
    if (actual != expected) {
        std::fprintf(stderr, "matches gave %d, the reference %d\n", actual, expected);
        std::abort();
    }
    return 0;
}
