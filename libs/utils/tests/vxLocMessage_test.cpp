#include "testSupport.h"

#include <vxException.h>
#include <vxLocMessage.h>

#include <new>

using vx::locMessage;

// Lets a test make the allocation of a message's state fail.
static bool gFailNothrowNew = false;

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try { return gFailNothrowNew ? nullptr : ::operator new(size); } catch (...) { return nullptr; }
}
void operator delete(void* p, const std::nothrow_t&) noexcept { ::operator delete(p); }

namespace {

std::wstring text(const locMessage& m) { return static_cast<const wchar_t*>(m); }

// The message after one insertion of value under name.
template <class T>
std::wstring filled(const std::wstring& message, T value, const wchar_t* name) {
    locMessage m(message.c_str());
    m.insertParameter(value, name);
    return text(m);
}

struct insertion { const wchar_t *message, *value, *expected; };
void expectAll(std::initializer_list<insertion> cases) {
    for (const insertion& c : cases)
        EXPECT_EQ(filled(c.message, c.value, L"N"), c.expected) << c.message << " <- " << c.value;
}

} // namespace

TEST(locMessagePrefix, prefixSetsStateAndIsRemovedWithLeadingBlanks) {
    const struct { const wchar_t* message; vx::eMsgState state; const wchar_t* text; } cases[] = {
        {L"E: File missing", vx::eMsgError, L"File missing"}, {L"w:x", vx::eMsgWarning, L"x"},
        {L"I: x", vx::eMsgInfo, L"x"}, {L"x: y", vx::eMsgNone, L"y"},
        {L"E:\t x", vx::eMsgError, L"\t x"}, // blanks only, not tabs
        {L"Hello", vx::eMsgNone, L"Hello"}, {L"A", vx::eMsgNone, L"A"}, {nullptr, vx::eMsgNone, L""},
    };
    for (const auto& c : cases)
        EXPECT_TRUE(locMessage(c.message).msgState() == c.state && text(locMessage(c.message)) == c.text)
            << (c.message ? c.message : L"null");
    // A new text starts with no state and with the first parameter.
    locMessage m(L"E: $1 $1");
    EXPECT_TRUE(m.insertParameter(L"a") && text(m) == L"a $1");
    m.setMessage(L"$1 and $2");
    EXPECT_TRUE(m.msgState() == vx::eMsgNone && m.insertParameter(L"b") && text(m) == L"b and $2");
    locMessage original(L"W: $1 $2");
    ASSERT_TRUE(original.insertParameter(L"a"));
    locMessage copy(original), assigned;
    assigned = original;
    original.setMessage(L"E: other");
    EXPECT_TRUE(copy.msgState() == vx::eMsgWarning && assigned.msgState() == vx::eMsgWarning);
    EXPECT_TRUE(copy.insertParameter(L"b") && text(copy) == L"a b");
    EXPECT_EQ(locMessage(std::move(original)).msgState(), vx::eMsgError);
}

#ifndef _WIN32 // a DLL keeps its own operator new: the test's replacement does not reach it
TEST(locMessagePrefix, stateThatCannotBeAllocatedThrowsOutOfMemory) {
    locMessage withState(L"E: x");
    gFailNothrowNew = true;
    locMessage m;
    EXPECT_THROW(m.setMessage(L"E: x"), vx::outOfMemoryException);
    EXPECT_THROW(locMessage copy(withState), vx::outOfMemoryException);
    m.setMessage(L"no prefix needs no state");
    gFailNothrowNew = false;
    EXPECT_EQ(text(m), L"no prefix needs no state");
}
#endif

TEST(locMessageInsert, namedAndNumberedPlaceholdersConversionsTheBufferAndTheTypedOverloads) {
    expectAll({
        {L"\\[N] [N]", L"a", L"\\[N] a"}, {L"[N] and [N]", L"1", L"1 and [N]"}, // escaped bracket skipped; first only
        {L"[Nx] [N]", L"v", L"[Nx] v"}, {L"[N in mm%4.1f]", L"3", L" 3.0"}, // the name must end; free text after it
        {L"[n]", L"v", L"[n]"}, {L"[N and more", L"v", L"[N and more"},     // case-sensitive; no closing bracket
        {L"[N and %d", L"7", L"[N and 7"},                                   // ... falls back to the %d
        {L"Nothing [Other]", L"x", L"Nothing [Other]"},
        // printf conversions in a placeholder: the value text is read as the number asked for.
        {L"[N%5.2f]", L"2", L" 2.00"}, {L"[N%e]", L"1.5", L"1.500000e+00"}, {L"[N%.3Lf]", L"2", L"2.000"},
        {L"[N%05d]", L"42", L"00042"}, {L"[N%x]", L"255", L"ff"}, {L"[N%u]", L"-1", L"4294967295"},
        {L"[N%hd]", L"70000", L"4464"}, {L"[N%llx]", L"-1", L"ffffffffffffffff"}, {L"[N%d]", L"2.9", L"2"},
        {L"[N%d]", L"12abc", L"12"}, {L"[N%3c]", L"xyz", L"  x"}, {L"<[N%c]>", L"", L"<>"},
        {L"[N%.2s]", L"abcdef", L"ab"}, {L"[N%hs]", L"\u00e9t\u00e9", L"\u00e9t\u00e9"},
        {L"[N%s]", L"%d and [N]", L"%d and [N]"}, {L"<[N%S]>", L"abc", L"<>"}, {L"<[N%C]>", L"abc", L"<>"},
        // Integers are read 32 bits wide and saturate.
        {L"[N%d]", L"99999999999", L"2147483647"}, {L"[N%d]", L"-99999999999", L"-2147483648"},
        {L"[N%lld]", L"4294967296", L"2147483647"},
        // A value that is no number is inserted as it stands.
        {L"<[N%05d]>", L"many", L"<many>"}, {L"<[N%d]>", L"-", L"<->"}, {L"<[N%5.2f]>", L"n/a", L"<n/a>"},
        // What is no conversion is inserted as plain text.
        {L"<[N%%]>", L"x", L"<x>"}, {L"<[N%%%d]>", L"5", L"<5>"}, {L"<[N%]>", L"x", L"<x>"},
        {L"<[N%p]>", L"x", L"<x>"}, {L"<[N%n]>", L"x", L"<x>"},
        {L"[N%*d]", L"5", L"5"}, {L"[N%.*f]", L"2.5", L"2.500000"}, // an asterisk reads no argument
        // '%', twelve '0' flags, width 5, 'd' make fifteen characters; one more is too long.
        {L"[N%0000000000005d]", L"42", L"00042"}, {L"[N%00000000000005d]", L"42", L"42"},
    });
    EXPECT_EQ(filled(L"[A] [] [B]", L"v", L""), L"[A] v [B]");
    // The output is cut to the buffer; without the placeholder the text's first conversion takes the value.
    EXPECT_EQ(filled(L"[N%-600d]", 7, L"N"), L"7" + std::wstring(510, L' '));
    EXPECT_EQ(filled(L"[N%600d]", 7, L"N"), std::wstring(511, L' '));
    EXPECT_EQ(filled(L"[N%-900s]", std::wstring(256, L'a').c_str(), L"N").size(), 511u);
    EXPECT_EQ(filled(L"[N%-900s]", std::wstring(300, L'b').c_str(), L"N").size(), 555u);
    const std::wstring huge(70000, L'c');
    EXPECT_EQ(filled(L"<[N]>", huge.c_str(), L"N"), L"<" + huge + L">");
    EXPECT_EQ(filled(L"[N%ls]", huge.c_str(), L"N"), huge);
    EXPECT_EQ(filled(L"Count: %d items", 5, L"Missing") + L"|" + filled(L"100%%: %d", 5, L"X") + L"|" +
                  filled(L"100%, %d", 5, L"X"), L"Count: 5 items|100%%: 5|100%, 5");
    locMessage none(L"50%");
    EXPECT_TRUE(!none.insertParameter(1, L"A") && text(none) == L"50%");
    locMessage m(L"$2 then $1");
    EXPECT_TRUE(m.insertParameter(L"a") && m.insertParameter(L"b") && text(m) == L"b then a");
    EXPECT_EQ(filled(L"$3 $12", L"x", nullptr) + L"|" + filled(L"$01", L"x", nullptr), L"$3 x2|x");
    locMessage many(L"$1$2$3$4$5$6$7$8$9$10$11 [$12]");
    for (int i = 1; i <= 12; ++i)
        ASSERT_TRUE(many.insertParameter(i));
    EXPECT_EQ(text(many), L"1234567891011 [12]");
    // At most 63 digits are read.
    const std::wstring zeros62(62, L'0');
    EXPECT_EQ(filled(L"<$" + zeros62 + L"1>", L"x", nullptr), L"<x>");
    EXPECT_FALSE(locMessage((L"<$" + zeros62 + L"01>").c_str()).insertParameter(L"x"));
    locMessage missed(L"$2");
    EXPECT_TRUE(!missed.insertParameter(L"a") && missed.insertParameter(L"b") && text(missed) == L"b");
    EXPECT_EQ(filled(L"$ %x", 255, nullptr), L"$ ff");
    EXPECT_EQ(filled(L"[V]", static_cast<short>(-3), L"V") + L"|" + filled(L"[V]", 123456, L"V"), L"-3|123456");
    EXPECT_EQ(filled(L"[V]", static_cast<long>(5000000000LL), L"V"), L"705032704"); // 32 bits wide
    EXPECT_EQ(filled(L"[V]", 2.5, L"V"), L"2.500000");
    EXPECT_EQ(filled(L"[V] [W]", true, L"V") + filled(L"[V]", false, L"V"), L"True [W]False");
    EXPECT_EQ(filled(L"[V]", L'Z', L"V") + filled(L"<[V]>", static_cast<const wchar_t*>(nullptr), L"V"), L"Z<>");
    EXPECT_EQ(filled(L"[V]", locMessage(L"E: inner"), L"V"), L"inner");
    EXPECT_EQ(filled(L"[V%x]", static_cast<short>(-1), L"V") + filled(L"[V%c]", false, L"V"), L"ffffffffF");
    locMessage self(L"<[A]>");
    EXPECT_TRUE(self.insertParameter(self, L"A") && text(self) == L"<<[A]>>");
    locMessage line(L"x");
    EXPECT_TRUE(line.appendEndline() && line.prependEndline() && text(line) == L"\nx\n");
}
