// Type conversion: turning a value of one type into another, chosen at compile time or at run time.
//
// Three layers:
//  - dtconvert<To, From>(to, from, flags, arguments): the free functions that hold every rule.
//    Each type with a text form offers the pair to and from vx::string; the numbers also convert
//    among themselves.
//  - typeConverter<From, To>: one small object per pair that makes its dtconvert reachable by
//    std::type_info. Converters are static objects beside the function they serve: each adds
//    itself to the manager when it is constructed and removes itself when it is destroyed.
//  - typeConversionManager: the process-wide registry. It finds the converter for two
//    std::type_info, and goes through vx::string when no direct converter exists.
//
// No conversion throws: every failure is a false result. After a text failure the target keeps
// its old value; after a range failure it holds the nearest limit of its type.
//
// long and unsigned long are 32 bits wide wherever they cross a text: their text forms read and
// print 32-bit values, saturating at the 32-bit limits. The 64-bit unsigned pair with a 64-bit
// text form is unsigned long long (on 64-bit Linux std::uint64_t is unsigned long, and so takes
// the unsigned long rules).
#pragma once

#include "vxExport.h"
#include "vxMutex.h"
#include "vxSharedPtr.h"
#include "vxString.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <typeinfo>

namespace vx {
class date;
class directory;
class file;
class guid;
class rgbColor;
class searchPath;
class time;
class timestamp;
class version;
} // namespace vx

namespace vx::typeconvert {

// --- flags and arguments -----------------------------------------------------------------------

// The flags say which arguments the cursor holds, in this order: a number base selector
// (convertBase), then a width for integers or a precision for floating point (convertWidth).
// convertLocale is a switch with no argument: floating point is printed with the user's decimal
// separator instead of ".".
enum conversionFlags : int {
    convertBase = 1,
    convertWidth = 4,
    convertLocale = 8,
};

// Values of the number base selector.
enum conversionBase : int {
    baseHexUpper = 3, // hexadecimal digits A-F, inserted in front of the target
    baseHexLower = 4, // hexadecimal digits a-f, inserted in front of the target
};

// The argument cursor of a conversion: one 8-byte cell per argument, each holding the argument
// as a 64-bit signed integer, in the order of the flags. A null cursor means no arguments: the
// flags that need one are then ignored.
class conversionArguments {
public:
    static constexpr int maxCells = 2;

    conversionArguments() = default;
    explicit conversionArguments(int first) { add(first); }
    conversionArguments(int first, int second) { add(first).add(second); }

    // Appends one argument; arguments beyond maxCells are dropped.
    conversionArguments& add(int value) {
        if (mCount < maxCells)
            mCells[mCount++] = value;
        return *this;
    }
    // The cursor to pass as the arguments of a conversion.
    char* cursor() { return reinterpret_cast<char*>(mCells); }

private:
    std::int64_t mCells[maxCells] = {0, 0};
    int mCount = 0;
};

// --- the conversion functions ---------------------------------------------------------------------

// The rules of one pair. Only the pairs declared below (and those an owner type declares beside
// itself) exist; using any other pair fails to link.
template <class To, class From>
bool dtconvert(To& to, const From& from, int flags = 0, char* arguments = nullptr);

// Text from a C string: a null pointer is success with the target untouched.
VX_API bool dtconvert(vx::string& to, const wchar_t* from, int flags = 0, char* arguments = nullptr);

} // namespace vx::typeconvert

// Declares the exported rules of one pair.
#define VX_DECLARE_DTCONVERT(To, From)                                                            \
    template <>                                                                                   \
    VX_API bool dtconvert<To, From>(To & to, std::add_const_t<From> & from, int flags,             \
                                    char* arguments)

// Declares the pairs between the numbers and one number type.
#define VX_DECLARE_DTCONVERT_FROM_NUMBERS(To)                                                     \
    VX_DECLARE_DTCONVERT(To, short);                                                              \
    VX_DECLARE_DTCONVERT(To, unsigned short);                                                     \
    VX_DECLARE_DTCONVERT(To, int);                                                                \
    VX_DECLARE_DTCONVERT(To, unsigned int);                                                       \
    VX_DECLARE_DTCONVERT(To, long);                                                               \
    VX_DECLARE_DTCONVERT(To, unsigned long);                                                      \
    VX_DECLARE_DTCONVERT(To, unsigned long long);                                                 \
    VX_DECLARE_DTCONVERT(To, float);                                                              \
    VX_DECLARE_DTCONVERT(To, double)

namespace vx::typeconvert {

// Numbers to text and back. Integers print in decimal ("%hd", "%hu", "%ld", "%lu", "%llu"; int as
// long, unsigned int as unsigned long), padded with leading '0' up to the width of convertWidth
// (the padding stands before a minus sign: -5 with width 4 is "00-5"), or with convertBase 3 or 4
// as hexadecimal digits inserted in front of the old text (negative values as their 64-bit two's
// complement). bool prints "1" or "0" and reads a number (not zero is true) or, ignoring case,
// "true" or "false". Floating point prints "%.8lf" with trailing zeros and a trailing separator
// removed, or with convertWidth that many decimals (at most 10), kept; it reads "1.5" and "1,5"
// alike.
VX_DECLARE_DTCONVERT(vx::string, short);
VX_DECLARE_DTCONVERT(vx::string, unsigned short);
VX_DECLARE_DTCONVERT(vx::string, int);
VX_DECLARE_DTCONVERT(vx::string, unsigned int);
VX_DECLARE_DTCONVERT(vx::string, long);
VX_DECLARE_DTCONVERT(vx::string, unsigned long);
VX_DECLARE_DTCONVERT(vx::string, unsigned long long);
VX_DECLARE_DTCONVERT(vx::string, float);
VX_DECLARE_DTCONVERT(vx::string, double);
VX_DECLARE_DTCONVERT(vx::string, bool);

VX_DECLARE_DTCONVERT(short, vx::string);
VX_DECLARE_DTCONVERT(unsigned short, vx::string);
VX_DECLARE_DTCONVERT(int, vx::string);
VX_DECLARE_DTCONVERT(unsigned int, vx::string);
VX_DECLARE_DTCONVERT(long, vx::string);
VX_DECLARE_DTCONVERT(unsigned long, vx::string);
VX_DECLARE_DTCONVERT(unsigned long long, vx::string);
VX_DECLARE_DTCONVERT(float, vx::string);
VX_DECLARE_DTCONVERT(double, vx::string);
VX_DECLARE_DTCONVERT(bool, vx::string);

// Numbers among themselves: a value in the target's range is stored (floating point to integer
// truncates toward zero); a value outside stores the nearest limit and answers false. Negative
// to unsigned stores 0. To bool: not zero; from bool: 0 or 1. There is no conversion from float
// or double to bool, and none from bool to bool.
VX_DECLARE_DTCONVERT_FROM_NUMBERS(short);
VX_DECLARE_DTCONVERT(short, bool);
VX_DECLARE_DTCONVERT_FROM_NUMBERS(unsigned short);
VX_DECLARE_DTCONVERT(unsigned short, bool);
VX_DECLARE_DTCONVERT_FROM_NUMBERS(int);
VX_DECLARE_DTCONVERT(int, bool);
VX_DECLARE_DTCONVERT_FROM_NUMBERS(unsigned int);
VX_DECLARE_DTCONVERT(unsigned int, bool);
VX_DECLARE_DTCONVERT_FROM_NUMBERS(long);
VX_DECLARE_DTCONVERT(long, bool);
VX_DECLARE_DTCONVERT_FROM_NUMBERS(unsigned long);
VX_DECLARE_DTCONVERT(unsigned long, bool);
VX_DECLARE_DTCONVERT_FROM_NUMBERS(unsigned long long);
VX_DECLARE_DTCONVERT(unsigned long long, bool);
VX_DECLARE_DTCONVERT_FROM_NUMBERS(float);
VX_DECLARE_DTCONVERT(float, bool);
VX_DECLARE_DTCONVERT_FROM_NUMBERS(double);
VX_DECLARE_DTCONVERT(double, bool);
VX_DECLARE_DTCONVERT(bool, short);
VX_DECLARE_DTCONVERT(bool, unsigned short);
VX_DECLARE_DTCONVERT(bool, int);
VX_DECLARE_DTCONVERT(bool, unsigned int);
VX_DECLARE_DTCONVERT(bool, long);
VX_DECLARE_DTCONVERT(bool, unsigned long);
VX_DECLARE_DTCONVERT(bool, unsigned long long);

// Narrow text. std::string is in the active code page (UTF-8) both ways; a const char* is read
// the same way up to its first null, and a null pointer is success with the target untouched.
// A char becomes a text of one character (a byte of 0x80 or above alone is no character and
// becomes U+FFFD).
VX_DECLARE_DTCONVERT(vx::string, std::string);
VX_DECLARE_DTCONVERT(std::string, vx::string);
VX_DECLARE_DTCONVERT(vx::string, char);

// Small numbers as characters: signed char and unsigned char print one character whose code is
// the value's byte (so -1 is U+00FF), and read a text of exactly one character with a code up to
// 255; any other text answers false and leaves the target as it was. Every value but 0 survives
// the way there and back.
VX_DECLARE_DTCONVERT(vx::string, signed char);
VX_DECLARE_DTCONVERT(vx::string, unsigned char);
VX_DECLARE_DTCONVERT(signed char, vx::string);
VX_DECLARE_DTCONVERT(unsigned char, vx::string);
VX_DECLARE_DTCONVERT(vx::string, const char*);

// The library's value types, as their own text forms print and read them:
//  - date: "2024/02/29"; read with "/" between the parts, "today" and "tomorrow" too.
//  - time: "13:05:09:042" (the millisecond field); read with ":", missing parts are 0.
//  - timestamp: date text, a blank, time text; read with "/" and, failing that, "-" in the date.
//  - guid: 8-4-4-4-12 lower-case hex digits; "0" and "" read as the all-zero guid.
//  - version: "1.2.3.4"; one to four fields are read.
//  - rgbColor: the colour value 0x00BBGGRR in decimal; read as an unsigned long.
//  - file, directory: the full path name; an empty text does not read.
//  - searchPath: the directories' full names joined by ';'; reading keeps only directories that
//    exist, as searchPath::fromString does.
// A text that does not read answers false and leaves the target as it was.
VX_DECLARE_DTCONVERT(vx::string, vx::date);
VX_DECLARE_DTCONVERT(vx::date, vx::string);
VX_DECLARE_DTCONVERT(vx::string, vx::time);
VX_DECLARE_DTCONVERT(vx::time, vx::string);
VX_DECLARE_DTCONVERT(vx::string, vx::timestamp);
VX_DECLARE_DTCONVERT(vx::timestamp, vx::string);
VX_DECLARE_DTCONVERT(vx::string, vx::guid);
VX_DECLARE_DTCONVERT(vx::guid, vx::string);
VX_DECLARE_DTCONVERT(vx::string, vx::version);
VX_DECLARE_DTCONVERT(vx::version, vx::string);
VX_DECLARE_DTCONVERT(vx::string, vx::rgbColor);
VX_DECLARE_DTCONVERT(vx::rgbColor, vx::string);
VX_DECLARE_DTCONVERT(vx::string, vx::file);
VX_DECLARE_DTCONVERT(vx::file, vx::string);
VX_DECLARE_DTCONVERT(vx::string, vx::directory);
VX_DECLARE_DTCONVERT(vx::directory, vx::string);
VX_DECLARE_DTCONVERT(vx::string, vx::searchPath);
VX_DECLARE_DTCONVERT(vx::searchPath, vx::string);

// --- numbers a user typed ---------------------------------------------------------------------------

// The text is evaluated as an arithmetic expression (vxExpression.h), so "2*3" reads as 6 and
// both "1.5" and "1,5" as 1.5. False, with the target untouched, when it is not valid.
VX_API bool uiStringToDouble(double& value, const vx::string& text);
// The same, rounded to a whole number (round0) and cut to 32 bits.
VX_API bool uiStringToInt(long& value, const vx::string& text);
// Reads text as uiStringToDouble does and replaces it by the value printed with the user's
// decimal separator: with decimals below 0 as dtconvert prints it without a precision, otherwise
// with exactly that many decimals (at most 10). False, with text untouched, when it does not read.
VX_API bool formatUiDoubleString(vx::string& text, int decimals);
// Reads text as uiStringToInt does and replaces it by the whole number.
VX_API bool formatUiIntString(vx::string& text);

// --- run-time conversion ------------------------------------------------------------------------

// A converter reachable by type_info.
class VX_API typeConverterBase {
public:
    virtual const std::type_info& fromType() const = 0;
    virtual const std::type_info& toType() const = 0;
    // Converts *from into *to; false when the conversion fails.
    virtual bool convert(void* to, const void* from, int flags, char* arguments) const = 0;
    virtual ~typeConverterBase();

protected:
    typeConverterBase() = default;
    typeConverterBase(const typeConverterBase&) = default;
    typeConverterBase& operator=(const typeConverterBase&) = default;
};

class converterTable;

// The process-wide registry of converters. Readers work on a snapshot of the table and take no
// lock; writers copy the table, change the copy and swap it in under a mutex.
class VX_API typeConversionManager {
public:
    // The one instance, made on first use; it lives to the end of the process.
    static typeConversionManager& instance();

    // Registers a converter. When several converters serve the same pair, the one added last is
    // used. Adding a converter that is registered already, or a null pointer, changes nothing.
    void add(typeConverterBase* converter);
    // Unregisters every registration of the converter. Returns once every conversion that may
    // have found it has ended (except those the calling thread is itself inside), so the
    // converter may be destroyed right after.
    void remove(typeConverterBase* converter);
    // The same for several converters at once: the table is copied once for all of them.
    void add(typeConverterBase* const* converters, std::size_t count);
    void remove(typeConverterBase* const* converters, std::size_t count);

    // Converts *fromValue of type from into *toValue of type to. A direct converter is used if
    // there is one; otherwise, unless one side is vx::string, a converter to vx::string and one
    // from it are chained with the same flags and arguments. False when there is no way, when
    // the conversion fails, or when a value pointer is null.
    bool convert(const std::type_info& to, void* toValue, const std::type_info& from,
                 const void* fromValue, int flags, char* arguments) const;

    // Whether a direct converter for the pair is registered.
    bool hasConverter(const std::type_info& to, const std::type_info& from) const;

    typeConversionManager(const typeConversionManager&) = delete;
    typeConversionManager& operator=(const typeConversionManager&) = delete;

private:
    typeConversionManager();
    ~typeConversionManager();

    sharedPtr<converterTable> mpTable; // the published table; never changed once published
    mutable mutex mWriters;            // serialises add and remove
};

// The converter of one pair through a function. It does not register itself: a set of them is
// added with typeConversionManager::add(converters, count), which copies the table once.
template <class From, class To>
class functionConverter : public typeConverterBase {
public:
    using function = bool (*)(To&, const From&, int, char*);

    explicit functionConverter(function convertFunction) : mpFunction(convertFunction) {}
    functionConverter(const functionConverter&) = delete;
    functionConverter& operator=(const functionConverter&) = delete;

    const std::type_info& fromType() const override { return typeid(From); }
    const std::type_info& toType() const override { return typeid(To); }
    bool convert(void* to, const void* from, int flags, char* arguments) const override {
        if (!mpFunction || !to || !from)
            return false;
        return mpFunction(*static_cast<To*>(to), *static_cast<const From*>(from), flags, arguments);
    }

private:
    function mpFunction;
};

// The converter of one pair, registered for as long as it lives. Define it as a static object
// beside its function:
//     static typeConverter<date, vx::string> dateToText(&dtconvert<vx::string, date>);
// It registers itself on construction and unregisters on destruction; its destruction waits for
// the conversions running through it. A null function makes convert answer false.
template <class From, class To>
class typeConverter final : public functionConverter<From, To> {
public:
    using typename functionConverter<From, To>::function;

    explicit typeConverter(function convertFunction) : functionConverter<From, To>(convertFunction) {
        typeConversionManager::instance().add(this);
    }
    ~typeConverter() override { typeConversionManager::instance().remove(this); }
};

} // namespace vx::typeconvert
