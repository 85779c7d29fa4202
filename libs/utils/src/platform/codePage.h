// 8-bit text in a named encoding (internal).
//
// Documents may declare the encoding of their bytes by name ("ISO-8859-1", "windows-1250",
// "Shift_JIS", ...); the system knows the encodings and their names.
#pragma once

#include <cstddef>
#include <string>

namespace vx::platform {

// Decodes n bytes in the encoding called name (any case) and appends the characters to out as
// wide text. A name the system does not know decodes as Windows-1252. A byte sequence that is
// not valid in the encoding gives U+FFFD and decoding goes on behind it.
void appendFromNamedEncoding(std::wstring& out, const char* name, const char* bytes, std::size_t n);

} // namespace vx::platform
