// scString: a name that exists once per process.
//
// Every text handed to createFrom is kept once in a process-wide table; an scString holds
// nothing but a pointer to that copy. Two scStrings of equal text hold the same pointer, so
// they are one word to store, and comparing or copying them touches that word only. A null
// pointer stands for the empty text. Interned texts are never changed or removed: they live
// as long as the process.
#pragma once

#include "vxExport.h"
#include "vxString.h"

#include <cstddef>
#include <functional>

namespace vx {

class scString;

} // namespace vx

template <>
struct std::hash<vx::scString>;

namespace vx {

class VX_API scString {
public:
    // The empty text.
    constexpr scString() noexcept = default;
    scString(const scString&) noexcept = default;
    scString& operator=(const scString&) noexcept = default;
    // Clears the pointer and releases nothing: the interned text stays in the table.
    ~scString() { mpText = nullptr; }

    // The interned form of text. Safe from any thread; equal texts give the same pointer in
    // every thread. The empty text gives the null pointer, the same as a default scString.
    static scString createFrom(const vx::string& text);
    // A null pText is an assertion: it is reported and false is thrown.
    static scString createFrom(const wchar_t* pText);

    // The text; string::emptyString() for the empty text. Needs no lock.
    const vx::string& string() const { return mpText ? *mpText : vx::string::emptyString(); }
    const wchar_t* c_str() const { return string().c_str(); }

    // By pointer, which is the same as by text.
    bool operator==(const scString& other) const noexcept { return mpText == other.mpText; }
    bool operator!=(const scString& other) const noexcept { return mpText != other.mpText; }
    // An ordering for sorted containers: by address, not alphabetical, and stable for the
    // life of the process.
    bool operator<(const scString& other) const noexcept {
        return std::less<const vx::string*>()(mpText, other.mpText);
    }

private:
    friend struct std::hash<scString>;
    explicit scString(const vx::string* pText) noexcept : mpText(pText) {}

    const vx::string* mpText = nullptr;
};

} // namespace vx

// Hashing by the interned pointer, for unordered containers.
template <>
struct std::hash<vx::scString> {
    std::size_t operator()(const vx::scString& s) const noexcept {
        return std::hash<const vx::string*>()(s.mpText);
    }
};
