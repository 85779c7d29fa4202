// Splitting: the parts joined by the separator give the text back, in both forms.
//
// Input: one byte for the length of the separator (1 to 4), the separator, the text. Every byte
// stands for the character of its value.
#include <vxString.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

void check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "failed: %s\n", what);
        std::abort();
    }
}

vx::string join(const std::vector<vx::string>& parts, const vx::string& separator) {
    vx::string text;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i > 0)
            text += separator;
        text += parts[i];
    }
    return text;
}

// Occurrences of separator in text, without overlap.
std::size_t occurrences(const vx::string& text, const vx::string& separator) {
    std::size_t count = 0;
    for (std::size_t at = text.find(separator); at != vx::string::npos;
         at = text.find(separator, at + separator.size()))
        ++count;
    return count;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    const std::size_t separatorLength = 1 + data[0] % 4;
    if (size < 1 + separatorLength)
        return 0;
    const vx::string separator(data + 1, data + 1 + separatorLength);
    const vx::string text(data + 1 + separatorLength, data + size);

    std::vector<vx::string> parts{L"stale"};
    const bool all = text.splitAt(separator, parts, false);
    if (text.empty()) {
        check(!all && parts.empty(), "an empty text has no parts");
    } else {
        check(all && join(parts, separator) == text, "the parts joined give the text");
        check(parts.size() == occurrences(text, separator) + 1, "one part more than separators");
        for (const vx::string& part : parts)
            check(part.find(separator) == vx::string::npos, "no part holds the separator");
    }

    parts.assign(1, L"stale");
    const bool first = text.splitAt(separator, parts, true);
    if (text.empty()) {
        check(!first && parts.empty(), "an empty text has no parts");
    } else {
        check(first && join(parts, separator) == text, "the parts joined give the text");
        const bool found = text.find(separator) != vx::string::npos;
        check(parts.size() == (found ? 2u : 1u), "two parts at most");
        check(parts[0].find(separator) == vx::string::npos, "cut at the first separator");
    }
    return 0;
}
