#include "testSupport.h"

namespace {

using vxtest::failedAssertion;

std::wstring gCaption;
void recordCaption(const wchar_t* caption, const wchar_t*) { gCaption = caption; }

// assertMsg formats, cuts at 511 characters and hands the caption and the text to the presenter; without one,
// both go to standard error.
TEST(Assert, AssertMsgFormatsCutsAt511CharactersAndPresentsWithCaption) {
    const std::wstring x2000(2000, L'x'), x509(509, L'x');
    vxtest::assertionCapture capture;
    vx::assertMsg(L"%s=%d, %S %c %%", L"x", 5, "n\xC3\xA4", L'\u00e9');
    vx::assertMsg(nullptr);
    vx::assertMsg(L"%s", x2000.c_str());
    vx::assertMsg(L"%s%05d", x509.c_str(), 42); // the cut falls inside a conversion
    EXPECT_EQ(capture.texts(), (std::vector<std::wstring>{L"x=5, n\u00e4 \u00e9 %", L"", std::wstring(511, L'x'),
                                                          x509 + L"00"}));
    const auto previous = vx::setAssertPresenter(&recordCaption);
    vx::assertMsg(L"t");
    EXPECT_TRUE(gCaption == L"Velmora" && std::wstring(vx::assertCaption()) == L"Velmora");
    EXPECT_EQ(vx::setAssertPresenter(nullptr), &recordCaption);
    testing::internal::CaptureStderr();
    vx::assertMsg(L"to %s \u00e9", L"stderr");
    const std::string written = testing::internal::GetCapturedStderr();
    vx::setAssertPresenter(previous);
    EXPECT_EQ(written, "Velmora\nto stderr \xC3\xA9\n");
}

// A failed assertion formats its report a second time, presents it and throws false.
TEST(Assert, AssertionFailedFormatsItsTextASecondTimeAndTheMacroNamesItsSite) {
    const std::wstring longExpression(600, L'e'), percents(600, L'%');
    const struct { const wchar_t* expression; const char* file; int line; std::wstring expected; } rows[] = {
        {L"pObj", "src/a.cpp", 12, L"Assertion failed:\npObj\n\nFile: src/a.cpp\nLine: 12"},
        // "%%" collapses, conversions without arguments stay as they are.
        {L"a %% b %d %s %5.2f %", "dir%%x/%n.cpp", -3,
         L"Assertion failed:\na % b %d %s %5.2f %\n\nFile: dir%x/%n.cpp\nLine: -3"},
        {L"x", "/tmp/d\xC3\xA9j\xC3\xA0.cpp", 1, L"Assertion failed:\nx\n\nFile: /tmp/d\u00e9j\u00e0.cpp\nLine: 1"},
        // The shown text is cut at 511 characters, after "%%" has collapsed.
        {longExpression.c_str(), "f.cpp", 1, L"Assertion failed:\n" + std::wstring(511 - 18, L'e')},
        {percents.c_str(), "f.cpp", 1, L"Assertion failed:\n" + std::wstring(300, L'%') + L"\n\nFile: f.cpp\nLine: 1"},
    };
    for (const auto& r : rows)
        EXPECT_EQ(failedAssertion([&] { vx::assertionFailed(r.expression, r.file, r.line); }), r.expected);
    vxtest::assertionCapture capture;
    int n = 4;
    VX_ASSERT(n % 2 == 0 && "even");
    EXPECT_TRUE(capture.texts().empty());
    const std::wstring text = failedAssertion([&] { VX_ASSERT(n % 3 == 0); }), line = std::to_wstring(__LINE__);
    const std::wstring file = vx::string::fromMBCtoWC(__FILE__);
    EXPECT_EQ(text, L"Assertion failed:\nn % 3 == 0\n\nFile: " + file + L"\nLine: " + line);
}

} // namespace
