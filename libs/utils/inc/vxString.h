// vx::string: the wide text type of the library.
//
// It is std::wstring with a fixed set of additions and no data of its own, so a vx::string and
// a std::wstring are interchangeable by reference. One wchar_t holds one code unit; every
// position, length and count below is in wchar_t.
#pragma once

#include "vxExport.h"

#include <cstdarg>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace vx {

namespace detail {
// Selects the overloads that take an already started argument list, and only for one: a literal
// 0 or nullptr among the arguments of a format goes to the variadic form, never here.
void acceptsVaList(va_list args); // declared only, for the test below
template <class V>
using ifVaList = std::enable_if_t<!std::is_same<V, std::nullptr_t>::value,
                                  decltype(acceptsVaList(std::declval<V>()), 0)>;
} // namespace detail

class VX_API string : public std::wstring {
public:
    using base = std::wstring;

    // --- construction and assignment -------------------------------------------------------
    string() = default;
    string(wchar_t c);                         // length 1, also for L'\0'
    string(const wchar_t* p);                  // up to the first null; null gives empty
    string(const wchar_t* p, size_type count); // exactly count units; null gives empty
    string(size_type count, wchar_t c) : base(count, c) {}
    template <class InputIt, class = typename std::iterator_traits<InputIt>::iterator_category>
    string(InputIt first, InputIt last) : base(first, last) {}
    string(std::initializer_list<wchar_t> chars) : base(chars) {}
    string(const string&) = default;
    string(string&&) noexcept = default;
    string(const base& other) : base(other) {}
    string(base&& other) noexcept : base(std::move(other)) {}
    ~string() = default;

    string& operator=(const string& other);
    string& operator=(string&& other) noexcept;
    string& operator=(const base& other);
    string& operator=(base&& other) noexcept;
    string& operator=(const wchar_t* p); // null leaves the string as it was
    string& operator=(wchar_t c);

    // --- formatting --------------------------------------------------------------------------
    // printf-style formatting in the wide language of the library (%s and %c take wide
    // arguments, %S and %C narrow ones). The text is cut at 1023 characters; a null format
    // gives the empty string.
    string& format(const wchar_t* fmt, ...);
    // The same, taking an already started argument list.
    template <class V, detail::ifVaList<V> = 0>
    string& format(const wchar_t* fmt, V args) { return vformat(fmt, args); }
    string& vformat(const wchar_t* fmt, va_list args);

    static string sformat(const wchar_t* fmt, ...);
    template <class V, detail::ifVaList<V> = 0>
    static string sformat(const wchar_t* fmt, V args) { return svformat(fmt, args); }
    static string svformat(const wchar_t* fmt, va_list args);

    // --- matching and taking apart -------------------------------------------------------------
    // Wildcards: * any run, ? one unit; case-sensitive; both sides end at their first null.
    bool matches(const base& pattern) const;
    // Cuts at every occurrence of separator (only the first with onlyFirst). Empty elements are
    // kept. False, with no parts, for the empty string.
    bool splitAt(const string& separator, std::vector<string>& parts, bool onlyFirst = false) const;
    // The field with the given index, fields being separated by delimiter.
    string substrBetween(wchar_t delimiter, unsigned int index) const;

    // --- removal and substitution --------------------------------------------------------------
    string& deleteAll(wchar_t c);
    string& deleteAll(const base& chars);      // chars is a set
    string& deleteLeading(wchar_t c);          // leaves a string made only of c unchanged
    string& deleteLeading(const base& chars);  // empties a string made only of chars
    string& deleteTrailing(wchar_t c);         // leaves a string made only of c unchanged
    string& deleteTrailing(const base& chars); // empties a string made only of chars
    string& replace(const string& from, const string& to);
    string& replace(wchar_t from, wchar_t to);
    using base::replace;

    // --- case ----------------------------------------------------------------------------------
    string& toLower();
    string& toUpper();
    string lower() const;
    string upper() const;
    static void lowercase(string& s);

    bool isEqualTo(const string& other, bool caseSensitive) const;
    bool isEqualTo(const wchar_t* other, bool caseSensitive) const;

    // --- multi-byte conversions ------------------------------------------------------------------
    // To the active code page (UTF-8 on POSIX systems), up to the first null.
    std::string getMBCS() const;
    static std::string getMBCS(const string& s);
    // The text as the active code page can express it.
    static string makeMBCS(const base& s);
    // From the encoding of the C locale's LC_CTYPE; a null s gives the empty string.
    static string fromMBCtoWC(const char* s);

    static const string& emptyString();

    // --- scrambling ----------------------------------------------------------------------------
    // Each unit is combined by exclusive or with the key, repeated as often as needed. An empty
    // key leaves the text as it is. Applying the same key twice restores the text.
    string& bitwiseXor(const string& key);
    static string bitwiseXor(const base& text, const base& key);
};

} // namespace vx

template <>
struct std::hash<vx::string> {
    size_t operator()(const vx::string& s) const noexcept { return std::hash<std::wstring>()(s); }
};
