// UTF-8 and UTF-16 codecs of the library (internal).
//
// This is the one place that knows how wide a wchar_t is. Wide text is UTF-32 where wchar_t has 32 bits (one code point per unit) and UTF-16 where it has
// 16 bits (code points above U+FFFF as surrogate pairs). Units that are not characters (unpaired
// surrogates, values above U+10FFFF) encode as U+FFFD; invalid input decodes to one U+FFFD per
// maximal ill-formed part.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vx::unicode {

static_assert(sizeof(wchar_t) == 2 || sizeof(wchar_t) == 4, "wide text is UTF-16 or UTF-32");

// Whether wide text is UTF-16 on this system.
constexpr bool kWideIsUtf16 = sizeof(wchar_t) == 2;

constexpr wchar_t replacementCharacter = 0xFFFD;

void appendUtf8(std::string& out, const wchar_t* text, std::size_t length);
void appendFromUtf8(std::wstring& out, const char* text, std::size_t length);
// Decodes into out, which has room for length units (never more are needed); answers the
// position behind the units written.
wchar_t* writeFromUtf8(wchar_t* out, const char* text, std::size_t length);
// Writes one code point (a character) as wide units at out, which has room for two; answers
// the units written.
std::size_t putCodePoint(wchar_t* out, std::uint32_t c);
// The code point of the UTF-8 sequence at text, of which length (at least 1) bytes may be read,
// as writeFromUtf8 decodes it: U+FFFD for a broken sequence. taken is the bytes it spans.
std::uint32_t decodeUtf8At(const char* text, std::size_t length, std::size_t& taken);
// The longest beginning of UTF-8 text that does not end inside a sequence: text decoded in
// blocks cut there decodes as the whole does, whatever the bytes are.
std::size_t utf8WholePrefix(const char* text, std::size_t length);
// The bytes of the UTF-8 form of text, and that form written at out, which has room for them;
// answers the position behind the bytes written.
std::size_t utf8Length(const wchar_t* text, std::size_t length);
char* writeUtf8(char* out, const wchar_t* text, std::size_t length);

// Wide text to UTF-16 little-endian bytes, surrogate pairs above U+FFFF, no terminator.
void appendUtf16Le(std::string& out, const wchar_t* text, std::size_t length);
// The bytes of the UTF-16LE form of text, and that form written at out as writeUtf8 does.
std::size_t utf16LeLength(const wchar_t* text, std::size_t length);
char* writeUtf16Le(char* out, const wchar_t* text, std::size_t length);
// UTF-16 little-endian bytes to wide text: a surrogate pair gives one character, an unpaired
// surrogate and an odd last byte give U+FFFD each.
void appendFromUtf16Le(std::wstring& out, const unsigned char* bytes, std::size_t length);
// The longest beginning of UTF-16LE bytes that ends on a whole unit and not between the two
// units of a pair, as utf8WholePrefix for UTF-8.
std::size_t utf16LeWholePrefix(const unsigned char* bytes, std::size_t length);

// The byte-order mark at the start of bytes, if any, and its length in bytes: EF BB BF for
// UTF-8 and FF FE for UTF-16LE, the two marks the library's text files may carry.
enum class byteOrderMark { none, utf8, utf16Le };
inline byteOrderMark markAt(const unsigned char* bytes, std::size_t length, std::size_t& markLength) {
    if (length >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF) {
        markLength = 3;
        return byteOrderMark::utf8;
    }
    if (length >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE) {
        markLength = 2;
        return byteOrderMark::utf16Le;
    }
    markLength = 0;
    return byteOrderMark::none;
}

} // namespace vx::unicode
