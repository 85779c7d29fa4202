// Base64 decoding: any bytes decode without fault, decoding stops at the first character
// outside the alphabet, the length follows from the characters taken, and whole groups encode
// back to the same text. The buffer form agrees with the free function.
//
// Input: the text, as bytes.
#include <vxBinaryBuffer.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

void check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "failed: %s\n", what);
        std::abort();
    }
}

bool inAlphabet(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::size_t taken = 0;
    while (taken < text.size() && inAlphabet(text[taken]))
        ++taken;
    const std::string prefix = text.substr(0, taken);

    std::string decoded = "kept:";
    vx::base64_decode(text, decoded);
    check(decoded.compare(0, 5, "kept:") == 0, "what out held stays in front");
    decoded.erase(0, 5);
    const std::size_t rest = taken % 4;
    check(decoded.size() == taken / 4 * 3 + (rest >= 2 ? rest - 1 : 0), "length follows the characters taken");

    std::string fromPrefix;
    vx::base64_decode(prefix, fromPrefix);
    check(fromPrefix == decoded, "only the characters before the first stop count");

    if (rest == 0) {
        std::string again;
        vx::base64_encode(reinterpret_cast<const unsigned char*>(decoded.data()),
                          static_cast<unsigned>(decoded.size()), again);
        check(again == prefix, "whole groups encode back to the same text");
    }

    // The buffer form reads up to the first null byte.
    vx::binaryBuffer buffer;
    buffer.write(text.data(), text.size());
    check(buffer.base64Decode(), "the buffer decodes");
    std::string upToNull;
    vx::base64_decode(std::string(text.c_str()), upToNull);
    check(buffer.logicalLength() == upToNull.size() &&
              (upToNull.empty() || std::memcmp(buffer.data(), upToNull.data(), upToNull.size()) == 0),
          "the buffer agrees with the free function");
    return 0;
}
