// Narrow text in the active code page. This program runs under the system's own code page (on
// Windows the test programs otherwise ask for UTF-8, as vxutil does), so the conversions are seen
// under a single-byte code page too.
#include <vxBinaryBuffer.h>
#include <vxString.h>

#include <gtest/gtest.h>

#include <string>

#ifdef _WIN32
#  include <windows.h>
#endif

namespace {

std::string bytesOf(const vx::binaryBuffer& b) {
    return std::string(b.data(), static_cast<std::size_t>(b.logicalLength()));
}

// The narrow form of wide text, its way back, and the UTF-16LE units made from the narrow form.
struct codePageCase {
    const wchar_t* wide;
    const char* narrow;
    const wchar_t* back;
    std::string utf16;
};

void expectCases(std::initializer_list<codePageCase> cases) {
    for (const codePageCase& c : cases) {
        EXPECT_EQ(vx::string(c.wide).getMBCS(), c.narrow) << vx::string(c.wide).getMBCS();
        EXPECT_EQ(vx::string::makeMBCS(c.wide), c.back);
        vx::binaryBuffer b(16);
        b.write(c.narrow, std::char_traits<char>::length(c.narrow));
        b.mbcsToWideChar();
        EXPECT_EQ(bytesOf(b), c.utf16);
    }
}

} // namespace

#ifdef _WIN32

TEST(activeCodePage, windows1252) {
    if (GetACP() != 1252)
        GTEST_SKIP() << "the active code page is " << GetACP();
    using namespace std::string_literals;
    expectCases({
        {L"abc", "abc", L"abc", "a\0b\0c\0"s},
        {L"caf\u00e9 \u20ac", "caf\xe9 \x80", L"caf\u00e9 \u20ac", "c\0a\0f\0\xe9\0 \0\xac\x20"s},
        // What the code page cannot hold becomes the system's default character.
        {L"\u4e2d", "?", L"?", "?\0"s},
    });
}

#else

TEST(activeCodePage, utf8) {
    using namespace std::string_literals;
    expectCases({
        {L"abc", "abc", L"abc", "a\0b\0c\0"s},
        {L"caf\u00e9 \u20ac", "caf\xc3\xa9 \xe2\x82\xac", L"caf\u00e9 \u20ac", "c\0a\0f\0\xe9\0 \0\xac\x20"s},
        {L"\U0001F600", "\xf0\x9f\x98\x80", L"\U0001F600", "\x3d\xd8\x00\xde"s},
    });
}

#endif
