// Case-insensitive comparison of names and keys, through the one case folding (internal).
#pragma once

#include "platform/text.h"

#include <cstddef>
#include <string>
#include <utility>

namespace vx::detail {

// Whether the two texts have the same length and fold to the same characters.
inline bool equalIgnoringCase(const wchar_t* a, std::size_t aLength, const wchar_t* b, std::size_t bLength) {
    if (aLength != bLength)
        return false;
    for (std::size_t i = 0; i < aLength; ++i)
        if (a[i] != b[i] && platform::foldCase(a[i]) != platform::foldCase(b[i]))
            return false;
    return true;
}

inline bool equalIgnoringCase(const std::wstring& a, const std::wstring& b) {
    return equalIgnoringCase(a.data(), a.size(), b.data(), b.size());
}

// The folded form of a text, as a key under which its spellings in any case meet.
inline std::wstring foldedCase(std::wstring text) { return platform::foldedText(std::move(text)); }

} // namespace vx::detail
