// Helpers shared by the POSIX implementations (internal to the platform layer).
#pragma once

#include <cstddef>
#include <string>

namespace vx::platform::posix {

// Native names and texts are bytes. They are read as UTF-8; each byte of a sequence that is not
// valid UTF-8 becomes the code point U+DC80 + byte (those code points never come from valid
// UTF-8), so every byte string survives the trip to wide text and back unchanged.
std::wstring nativeToWide(const char* text, std::size_t length);
inline std::wstring nativeToWide(const std::string& text) { return nativeToWide(text.data(), text.size()); }

// The way back: U+DC80..U+DCFF become their byte again, everything else UTF-8. False for text
// that no native name can hold: a null character, another surrogate, or a value above U+10FFFF.
bool wideToNative(const wchar_t* text, std::size_t length, std::string& out);
inline bool wideToNative(const std::wstring& text, std::string& out) {
    return wideToNative(text.data(), text.size(), out);
}

// toNativePath; with lastAsGiven the last component keeps its name as given even where an entry
// differs from it only by case (the new name of a rename that changes case).
bool mapWindowsPath(const std::wstring& windowsForm, std::string& native, bool lastAsGiven);

// The value of a variable of the process environment, read under the library's environment
// lock (glibc's getenv races with setenv). False when it is not set.
bool readEnvironment(const char* name, std::string& value);

} // namespace vx::platform::posix
