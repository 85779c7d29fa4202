// UTF-8 and UTF-16 codecs of the library (internal).
//
// One wchar_t holds one code point. Units that are not characters (surrogates, values above
// U+10FFFF) encode as U+FFFD; invalid input decodes to one U+FFFD per maximal ill-formed part.
#pragma once

#include <cstddef>
#include <string>

namespace vx::unicode {

constexpr wchar_t replacementCharacter = 0xFFFD;

void appendUtf8(std::string& out, const wchar_t* text, std::size_t length);
void appendFromUtf8(std::wstring& out, const char* text, std::size_t length);

// UTF-16 little-endian bytes to code points: a surrogate pair gives one code point, an unpaired
// surrogate and an odd last byte give U+FFFD each.
void appendFromUtf16Le(std::wstring& out, const unsigned char* bytes, std::size_t length);

} // namespace vx::unicode
