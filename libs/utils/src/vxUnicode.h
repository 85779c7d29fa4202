// UTF-8, UTF-16 and the wide text of the library (internal).
//
// This is the one place that knows how wide a wchar_t is. Where it is 32 bits (Linux), one
// wchar_t holds one code point; where it is 16 bits (Windows), wide text is UTF-16 and a code
// point above U+FFFF takes a surrogate pair. Every conversion between wide text and bytes goes
// through here. Units that are not characters (lone surrogates, values above U+10FFFF) encode as
// U+FFFD; invalid input decodes to one U+FFFD per maximal ill-formed part.
#pragma once

#include <cstddef>
#include <string>

namespace vx::unicode {

static_assert(sizeof(wchar_t) == 2 || sizeof(wchar_t) == 4, "wide text is UTF-16 or UTF-32");

// Whether wide text is UTF-16 on this system.
constexpr bool kWideIsUtf16 = sizeof(wchar_t) == 2;

constexpr wchar_t replacementCharacter = 0xFFFD;

// The code point that starts at text[i], advancing i past it: a surrogate pair where wide text is
// UTF-16; U+FFFD for a unit that is not a character.
char32_t nextCodePoint(const wchar_t* text, std::size_t length, std::size_t& i);

// Appends one code point (a character; others become U+FFFD) as wide text.
void appendCodePoint(std::wstring& out, char32_t c);

void appendUtf8(std::string& out, const wchar_t* text, std::size_t length);
void appendFromUtf8(std::wstring& out, const char* text, std::size_t length);

// Wide text to UTF-16 little-endian bytes, with surrogate pairs above U+FFFF.
void appendUtf16Le(std::string& out, const wchar_t* text, std::size_t length);

// UTF-16 little-endian bytes to wide text: a surrogate pair gives one code point, an unpaired
// surrogate and an odd last byte give U+FFFD each.
void appendFromUtf16Le(std::wstring& out, const unsigned char* bytes, std::size_t length);

} // namespace vx::unicode
