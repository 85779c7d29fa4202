// Wildcard matching of names (internal).
#pragma once

#include <cstddef>

namespace vx::detail {

// Whether text matches pattern, where '*' stands for any run of characters (none included) and
// '?' for any one character; everything else stands for itself. One pass with a single point
// of return: after a '*', a mismatch resumes the pattern behind it, one character further on in
// the text than the last attempt.
inline bool wildcardMatch(const wchar_t* pattern, std::size_t patternLength, const wchar_t* text,
                          std::size_t textLength) {
    std::size_t p = 0, t = 0;
    std::size_t star = patternLength, retry = 0;
    while (t < textLength) {
        if (p < patternLength && pattern[p] == L'*') { // a '*' is never a literal, even against '*'
            star = p++;
            retry = t;
        } else if (p < patternLength && (pattern[p] == L'?' || pattern[p] == text[t])) {
            ++p;
            ++t;
        } else if (star != patternLength) {
            p = star + 1;
            t = ++retry;
        } else {
            return false;
        }
    }
    while (p < patternLength && pattern[p] == L'*')
        ++p;
    return p == patternLength;
}

} // namespace vx::detail
