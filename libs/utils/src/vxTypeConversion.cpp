#include "vxTypeConversion.h"

#include "detail/mutexHold.h"
#include "detail/numberText.h"
#include "platform/numericLocale.h"
#include "platform/text.h"
#include "platform/threads.h"
#include "vxAssert.h"
#include "vxCrc32.h"
#include "vxDate.h"
#include "vxDirectory.h"
#include "vxExpression.h"
#include "vxFile.h"
#include "vxFormat.h"
#include "vxGuid.h"
#include "vxMath.h"
#include "vxRgbColor.h"
#include "vxSearchPath.h"
#include "vxTime.h"
#include "vxTimeStamp.h"
#include "vxVersion.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdarg>
#include <cmath>
#include <cstring>
#include <cwchar>
#include <limits>
#include <memory>
#include <unordered_map>
#include <vector>

namespace vx::typeconvert {

using vx::detail::integerFromText;
using vx::detail::numberToNumber;
using vx::detail::readLong32;
using vx::detail::readResult;
using vx::detail::readUnsignedLong32;

namespace {

// --- arguments ------------------------------------------------------------------------------------

constexpr std::size_t kCellSize = 8;
// Integer widths beyond this count as this: the padding of a larger one only costs memory.
constexpr long long kMaxWidth = 65536;
constexpr int kDefaultPrecision = 8;
constexpr int kMaxPrecision = 10;

struct parsedArguments {
    bool hasBase = false;
    int base = 0;
    bool hasWidth = false;
    int width = 0;
};

int readCell(char*& cursor) {
    std::int64_t cell;
    std::memcpy(&cell, cursor, sizeof cell);
    cursor += kCellSize;
    // The low 32 bits are the int, whether the cell was written as int64 or as an int followed by
    // anything.
    return static_cast<int>(static_cast<std::uint32_t>(static_cast<std::uint64_t>(cell)));
}

parsedArguments readArguments(int flags, char* arguments) {
    parsedArguments parsed;
    if (!arguments)
        return parsed;
    char* cursor = arguments;
    if (flags & convertBase) {
        parsed.hasBase = true;
        parsed.base = readCell(cursor);
    }
    if (flags & convertWidth) {
        parsed.hasWidth = true;
        parsed.width = readCell(cursor);
    }
    return parsed;
}

// Prints an integer. With base 3 or 4 the hexadecimal digits (of the 64-bit two's complement)
// go in front of the target's old text, lowest digit first; otherwise the target becomes the
// decimal text, padded in front with '0' up to the width.
bool integerToText(vx::string& to, std::uint64_t bits, const wchar_t* printed, int flags,
                   char* arguments) {
    const parsedArguments args = readArguments(flags, arguments);
    if (args.hasBase && (args.base == baseHexUpper || args.base == baseHexLower)) {
        const wchar_t* digits = args.base == baseHexUpper ? L"0123456789ABCDEF" : L"0123456789abcdef";
        do {
            to.insert(to.begin(), digits[bits & 0xF]);
            bits >>= 4;
        } while (bits != 0);
        return true;
    }
    const std::size_t length = std::wcslen(printed);
    const long long width = args.hasWidth ? std::min<long long>(args.width, kMaxWidth) : 1;
    to.clear();
    if (width > 0 && length < static_cast<std::size_t>(width))
        to.append(static_cast<std::size_t>(width) - length, L'0');
    to.append(printed, length);
    return true;
}

// Integers print in a stack buffer through the library's format engine.
class printedInteger {
public:
    explicit printedInteger(const wchar_t* fmt, ...) {
        va_list args;
        va_start(args, fmt);
        const std::size_t length = format::formatInto(mText, kCapacity - 1, fmt, &args);
        va_end(args);
        mText[length] = 0;
    }
    const wchar_t* text() const { return mText; }

private:
    static constexpr std::size_t kCapacity = 32; // 20 digits and a sign at most
    wchar_t mText[kCapacity];
};

// --- floating point and text ------------------------------------------------------------------------------

// The decimal separator of the running locale, found once: 0.1 is printed with "%lf" and the text
// is walked back over digits, signs and exponent letters. All threads compute the same value,
// so a race only writes it twice.
wchar_t runningDecimalSeparator() {
    static std::atomic<wchar_t> cached{0};
    wchar_t separator = cached.load(std::memory_order_relaxed);
    if (separator != 0)
        return separator;
    const vx::string printed = vx::string::sformat(L"%lf", 0.1);
    separator = L'.';
    for (auto it = printed.rbegin(); it != printed.rend(); ++it) {
        const wchar_t c = *it;
        if ((c >= L'0' && c <= L'9') || c == L'+' || c == L'-' || c == L'E' || c == L'e')
            continue;
        separator = c;
        break;
    }
    cached.store(separator, std::memory_order_relaxed);
    return separator;
}

// Spaces and tabs do not count as a rest; anything else does.
bool onlyBlanksFrom(const wchar_t* rest) {
    for (; *rest; ++rest) {
        if (*rest != L' ' && *rest != L'\t')
            return false;
    }
    return true;
}

bool doubleFromText(double& to, const vx::string& text) {
    if (text.empty())
        return false;
    const bool allDigits =
        std::all_of(text.begin(), text.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
    vx::string copy(text);
    if (!allDigits) {
        // Both '.' and ',' become the running separator, so "1.5" and "1,5" read alike.
        const wchar_t separator = runningDecimalSeparator();
        for (wchar_t& c : copy) {
            if (c == L'.' || c == L',')
                c = separator;
        }
    }
    wchar_t* end = nullptr;
    const double value = std::wcstod(copy.c_str(), &end);
    if (!onlyBlanksFrom(end))
        return false;
    to = value;
    return true;
}

bool doubleToText(vx::string& to, double value, int flags, char* arguments) {
    const parsedArguments args = readArguments(flags, arguments);
    int precision = kDefaultPrecision;
    if (args.hasWidth)
        precision = std::max(0, std::min(args.width, kMaxPrecision));
    const bool userLocale = (flags & convertLocale) != 0;

    // The usual case, a number of moderate size in the C locale and without a width, written
    // directly: these are the digits the formatter's %.8lf takes from std::to_chars, trimmed
    // the same way, without switching the thread's locale.
    if (!userLocale && !args.hasWidth && std::fabs(value) < 1e17) {
        char digits[64];
        const std::to_chars_result written =
            std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, precision);
        const char* end = written.ptr;
        while (end[-1] == '0')
            --end;
        if (end[-1] == '.')
            --end;
        to.assign(static_cast<const char*>(digits), end);
        return true;
    }

    vx::string text;
    {
        platform::scopedNumericLocale numbers(userLocale);
        // The patterns are fixed text: formatting one for every number cost as much as the number.
        static const wchar_t* const patterns[kMaxPrecision + 1] = {
            L"%.0lf", L"%.1lf", L"%.2lf", L"%.3lf", L"%.4lf", L"%.5lf",
            L"%.6lf", L"%.7lf", L"%.8lf", L"%.9lf", L"%.10lf"};
        text = vx::string::sformat(patterns[precision], value);
    }
    if (!args.hasWidth) {
        const std::size_t last = text.find_last_not_of(L'0');
        text.erase(last == vx::string::npos ? 0 : last + 1);
        const std::wstring separator = userLocale ? platform::systemDecimalSeparator() : L".";
        if (!separator.empty() && text.size() >= separator.size() &&
            text.compare(text.size() - separator.size(), separator.size(), separator) == 0)
            text.erase(text.size() - separator.size());
    }
    to = std::move(text);
    return true;
}

// --- narrow text ------------------------------------------------------------------------------------------------

vx::string fromActiveCodePage(const char* text, std::size_t length) {
    return vx::string(platform::activeCodePageToWide(text, length));
}

// --- registry -------------------------------------------------------------------------------------------------

// The key of a type: the CRC-32 of its decorated name. A name that starts with '*' (a type local
// to one translation unit) is hashed without the mark.
std::uint32_t typeKey(const std::type_info& type) {
    const char* name = type.name();
    if (*name == '*')
        ++name;
    return ~detail::crc32Update(0xFFFFFFFFu, name, std::strlen(name));
}

} // namespace

// The converters by the key of their source type. Each entry keeps the two types of its
// converter, so that a lookup touches no converter but the one it uses (another may be in the
// middle of its destruction), and remembers when it was added, so that the newest of several
// converters for one pair wins. It also counts the conversions running with it: a removal waits
// for those of every table a conversion may still use, so that no converter dies under a
// conversion that found it.
class converterTable {
public:
    struct entry {
        typeConverterBase* converter;
        const std::type_info* from;
        const std::type_info* to;
        std::uint64_t order;
    };

    converterTable() : mEntries(8) { mEntries.max_load_factor(1.0f); }
    converterTable(const converterTable& other)
        : mEntries(other.mEntries), mByIdentity(other.mByIdentity), mNextOrder(other.mNextOrder) {}
    converterTable& operator=(const converterTable&) = delete;

    const typeConverterBase* find(const std::type_info& to, const std::type_info& from) const {
        const auto known = mByIdentity.find(identity{&to, &from});
        return known != mByIdentity.end() ? known->second : findByName(to, from);
    }

    bool contains(const typeConverterBase* converter) const {
        return std::any_of(mEntries.begin(), mEntries.end(),
                           [converter](const auto& item) { return item.second.converter == converter; });
    }

    void insert(typeConverterBase* converter) {
        const std::type_info& from = converter->fromType();
        const std::type_info& to = converter->toType();
        const std::uint32_t key = typeKey(from);
        mEntries.emplace(key, entry{converter, &from, &to, mNextOrder++});
        // The newest converter serves every spelling of its pair that is known.
        const auto range = mEntries.equal_range(key);
        for (auto it = range.first; it != range.second; ++it)
            if (*it->second.to == to && *it->second.from == from)
                mByIdentity[identity{it->second.to, it->second.from}] = converter;
    }

    // Takes out every registration of the converters; the identity index is made anew from
    // those that stay, so that no key outlives the type objects of a module that goes with its
    // converters.
    void erase(typeConverterBase* const* converters, std::size_t count) {
        const auto removed = [converters, count](const typeConverterBase* c) {
            return std::find(converters, converters + count, c) != converters + count;
        };
        for (auto it = mEntries.begin(); it != mEntries.end();)
            it = removed(it->second.converter) ? mEntries.erase(it) : std::next(it);
        mByIdentity.clear();
        for (const auto& item : mEntries)
            mByIdentity[identity{item.second.to, item.second.from}] = findByName(*item.second.to, *item.second.from);
    }

    // The copy that replaces this table. It takes over the earlier tables that conversions are
    // still using, and this one, so that the published table alone knows every table a removal
    // must wait for. Called by writers only, under their lock.
    static sharedPtr<converterTable> successor(const sharedPtr<converterTable>& current) {
        sharedPtr<converterTable> next(new converterTable(*current));
        for (sharedPtr<converterTable>& earlier : current->retired) {
            if (earlier->running.load() != 0)
                next->retired.push_back(std::move(earlier));
        }
        current->retired.clear();
        next->retired.push_back(current);
        return next;
    }

    mutable std::atomic<long> running{0};
    mutable std::vector<sharedPtr<converterTable>> retired;

private:
    // A pair of types as the objects that describe them. The same type may be described by more
    // than one object (one per module, or per translation unit for local types), so a pair not
    // found this way is looked up by name.
    struct identity {
        const std::type_info* to;
        const std::type_info* from;
        bool operator==(const identity& other) const { return to == other.to && from == other.from; }
    };
    struct identityHash {
        std::size_t operator()(const identity& k) const {
            const auto a = reinterpret_cast<std::uintptr_t>(k.to), b = reinterpret_cast<std::uintptr_t>(k.from);
            return static_cast<std::size_t>((a ^ (b * 0x9E3779B97F4A7C15ull)) >> 4);
        }
    };

    // The newest converter whose types have these names; compares names, so it is the slow way.
    const typeConverterBase* findByName(const std::type_info& to, const std::type_info& from) const {
        const auto range = mEntries.equal_range(typeKey(from));
        const entry* best = nullptr;
        for (auto it = range.first; it != range.second; ++it) {
            const entry& candidate = it->second;
            if (*candidate.to == to && *candidate.from == from && (!best || candidate.order > best->order))
                best = &candidate;
        }
        return best ? best->converter : nullptr;
    }

    std::unordered_multimap<std::uint32_t, entry> mEntries;
    // The pairs converters were registered with, each to what findByName answers for it: a
    // conversion between registered types compares no names. Tables are not changed once
    // published, so readers share it without a lock.
    std::unordered_map<identity, const typeConverterBase*, identityHash> mByIdentity;
    std::uint64_t mNextOrder = 0;
};

namespace {

// The conversions of this thread, innermost first, so that a converter which removes converters
// while it converts does not wait for itself.
struct runningConversion {
    const converterTable* table;
    const runningConversion* outer;
};
thread_local const runningConversion* tlsInnermostConversion = nullptr;

// Takes the published table and counts a conversion on it for as long as the scope lives. The
// count is raised before the table is checked to be still the published one: a writer that
// replaced it either sees the count or is seen here, and then the newer table is taken.
class conversionScope {
public:
    explicit conversionScope(const sharedPtr<converterTable>& published) {
        for (;;) {
            mTable = published;
            VX_ASSERT(!mTable.isNull());
            mTable->running.fetch_add(1);
            if (sharedPtr<converterTable>(published) == mTable)
                break;
            mTable->running.fetch_sub(1);
        }
        mNode = runningConversion{mTable.get(), tlsInnermostConversion};
        tlsInnermostConversion = &mNode;
    }
    ~conversionScope() {
        tlsInnermostConversion = mNode.outer;
        mTable->running.fetch_sub(1);
    }
    conversionScope(const conversionScope&) = delete;
    conversionScope& operator=(const conversionScope&) = delete;

    const converterTable& table() const { return *mTable; }

private:
    sharedPtr<converterTable> mTable;
    runningConversion mNode{};
};

// Returns when every conversion that may have found a converter of the retired table has ended,
// apart from those this thread is itself inside.
void waitForConversionsWith(const converterTable& retired) {
    long own = 0;
    for (const runningConversion* c = tlsInnermostConversion; c; c = c->outer)
        own += c->table == &retired;
    while (retired.running.load() > own)
        platform::yieldThread();
}

} // namespace

typeConverterBase::~typeConverterBase() = default;

typeConversionManager::typeConversionManager() : mpTable(new converterTable()) {}

typeConversionManager::~typeConversionManager() = default;

typeConversionManager& typeConversionManager::instance() {
    // Never destroyed: static converters remove themselves while the process ends, in any order.
    static typeConversionManager* const manager = new typeConversionManager();
    return *manager;
}

void typeConversionManager::add(typeConverterBase* converter) {
    add(&converter, 1);
}

void typeConversionManager::remove(typeConverterBase* converter) {
    remove(&converter, 1);
}

void typeConversionManager::add(typeConverterBase* const* converters, std::size_t count) {
    if (!converters || count == 0)
        return;
    detail::mutexHold lock(mWriters);
    const sharedPtr<converterTable> current(mpTable);
    std::vector<typeConverterBase*> added;
    for (std::size_t i = 0; i < count; ++i) {
        typeConverterBase* const converter = converters[i];
        if (converter && !current->contains(converter) &&
            std::find(added.begin(), added.end(), converter) == added.end())
            added.push_back(converter);
    }
    if (added.empty())
        return;
    sharedPtr<converterTable> changed(converterTable::successor(current));
    for (typeConverterBase* converter : added)
        changed->insert(converter);
    mpTable = std::move(changed);
}

void typeConversionManager::remove(typeConverterBase* const* converters, std::size_t count) {
    if (!converters || count == 0)
        return;
    std::vector<sharedPtr<converterTable>> retired;
    {
        detail::mutexHold lock(mWriters);
        const sharedPtr<converterTable> current(mpTable);
        if (std::none_of(converters, converters + count,
                         [&current](const typeConverterBase* c) { return c && current->contains(c); }))
            return;
        sharedPtr<converterTable> changed(converterTable::successor(current));
        changed->erase(converters, count);
        retired = changed->retired;
        mpTable = std::move(changed);
    }
    // Outside the lock, so that a running converter may itself add or remove converters. Every
    // table a conversion may still be using is waited for: tables replaced by additions too.
    for (const sharedPtr<converterTable>& table : retired)
        waitForConversionsWith(*table);
}

bool typeConversionManager::hasConverter(const std::type_info& to, const std::type_info& from) const {
    const sharedPtr<converterTable> table(mpTable);
    VX_ASSERT(!table.isNull());
    return table->find(to, from) != nullptr;
}

bool typeConversionManager::convert(const std::type_info& to, void* toValue,
                                    const std::type_info& from, const void* fromValue, int flags,
                                    char* arguments) const {
    if (!toValue || !fromValue)
        return false;
    // The scope keeps its table alive, and its converters registered, while the conversion runs.
    const conversionScope scope(mpTable);
    const converterTable* const table = &scope.table();
    if (const typeConverterBase* direct = table->find(to, from))
        return direct->convert(toValue, fromValue, flags, arguments);

    const std::type_info& text = typeid(vx::string);
    if (from == text || to == text)
        return false;
    const typeConverterBase* toText = table->find(text, from);
    const typeConverterBase* fromText = table->find(to, text);
    if (!toText || !fromText)
        return false;
    vx::string intermediate;
    if (!toText->convert(&intermediate, fromValue, flags, arguments))
        return false;
    return fromText->convert(toValue, &intermediate, flags, arguments);
}

// --- the rules ---------------------------------------------------------------------------------------------------

bool dtconvert(vx::string& to, const wchar_t* from, int, char*) {
    if (from)
        to = from;
    return true;
}

// Text from integers. long and unsigned long are 32 bits wide in text: a wider value prints its
// nearest 32-bit limit and answers false.
template <>
bool dtconvert<vx::string, short>(vx::string& to, const short& from, int flags, char* arguments) {
    return integerToText(to, static_cast<std::uint64_t>(static_cast<std::int64_t>(from)),
                         printedInteger(L"%hd", from).text(), flags, arguments);
}
template <>
bool dtconvert<vx::string, unsigned short>(vx::string& to, const unsigned short& from, int flags,
                                           char* arguments) {
    return integerToText(to, from, printedInteger(L"%hu", from).text(), flags, arguments);
}
template <>
bool dtconvert<vx::string, int>(vx::string& to, const int& from, int flags, char* arguments) {
    return integerToText(to, static_cast<std::uint64_t>(static_cast<std::int64_t>(from)),
                         printedInteger(L"%ld", static_cast<long>(from)).text(), flags, arguments);
}
template <>
bool dtconvert<vx::string, unsigned int>(vx::string& to, const unsigned int& from, int flags,
                                         char* arguments) {
    return integerToText(to, from, printedInteger(L"%lu", static_cast<unsigned long>(from)).text(),
                         flags, arguments);
}
template <>
bool dtconvert<vx::string, long>(vx::string& to, const long& from, int flags, char* arguments) {
    long value; // the nearest 32-bit value
    std::int32_t value32;
    const bool fits = numberToNumber(value32, from);
    value = value32;
    integerToText(to, static_cast<std::uint64_t>(static_cast<std::int64_t>(value)),
                  printedInteger(L"%ld", value).text(), flags, arguments);
    return fits;
}
template <>
bool dtconvert<vx::string, unsigned long>(vx::string& to, const unsigned long& from, int flags,
                                          char* arguments) {
    std::uint32_t value32;
    const bool fits = numberToNumber(value32, from);
    const unsigned long value = value32; // the nearest 32-bit value
    integerToText(to, value, printedInteger(L"%lu", value).text(), flags, arguments);
    return fits;
}
template <>
bool dtconvert<vx::string, unsigned long long>(vx::string& to, const unsigned long long& from,
                                               int flags, char* arguments) {
    return integerToText(to, from, printedInteger(L"%llu", from).text(), flags, arguments);
}
template <>
bool dtconvert<vx::string, float>(vx::string& to, const float& from, int flags, char* arguments) {
    return doubleToText(to, static_cast<double>(from), flags, arguments);
}
template <>
bool dtconvert<vx::string, double>(vx::string& to, const double& from, int flags, char* arguments) {
    return doubleToText(to, from, flags, arguments);
}
template <>
bool dtconvert<vx::string, bool>(vx::string& to, const bool& from, int, char*) {
    to = from ? L"1" : L"0";
    return true;
}

// Integers from text.
template <>
bool dtconvert<short, vx::string>(short& to, const vx::string& from, int, char*) {
    std::int32_t value;
    const readResult read = readLong32(from, value);
    // Outside the range of short the target keeps its value.
    if (read == readResult::none || value < std::numeric_limits<short>::min() ||
        value > std::numeric_limits<short>::max())
        return false;
    to = static_cast<short>(value);
    return read == readResult::ok;
}
template <>
bool dtconvert<unsigned short, vx::string>(unsigned short& to, const vx::string& from, int, char*) {
    std::int32_t value;
    const readResult read = readLong32(from, value);
    if (read == readResult::none)
        return false;
    const bool fits = numberToNumber(to, value);
    return fits && read == readResult::ok;
}
template <>
bool dtconvert<int, vx::string>(int& to, const vx::string& from, int, char*) {
    return integerFromText(to, from);
}
template <>
bool dtconvert<unsigned int, vx::string>(unsigned int& to, const vx::string& from, int, char*) {
    return integerFromText(to, from);
}
template <>
bool dtconvert<long, vx::string>(long& to, const vx::string& from, int, char*) {
    return integerFromText(to, from);
}
template <>
bool dtconvert<unsigned long, vx::string>(unsigned long& to, const vx::string& from, int, char*) {
    return integerFromText(to, from);
}
template <>
bool dtconvert<unsigned long long, vx::string>(unsigned long long& to, const vx::string& from, int,
                                               char*) {
    return integerFromText(to, from);
}
template <>
bool dtconvert<double, vx::string>(double& to, const vx::string& from, int, char*) {
    return doubleFromText(to, from);
}
template <>
bool dtconvert<float, vx::string>(float& to, const vx::string& from, int, char*) {
    double value;
    if (!doubleFromText(value, from))
        return false;
    return numberToNumber(to, value);
}
template <>
bool dtconvert<bool, vx::string>(bool& to, const vx::string& from, int, char*) {
    std::int32_t value;
    if (readLong32(from, value) != readResult::none) {
        to = value != 0;
        return true;
    }
    const vx::string word = from.lower();
    if (word == L"false") {
        to = false;
        return true;
    }
    if (word == L"true") {
        to = true;
        return true;
    }
    return false;
}

// Narrow text.
template <>
bool dtconvert<vx::string, std::string>(vx::string& to, const std::string& from, int, char*) {
    to = fromActiveCodePage(from.data(), from.size());
    return true;
}
template <>
bool dtconvert<std::string, vx::string>(std::string& to, const vx::string& from, int, char*) {
    to = platform::wideToActiveCodePage(from.data(), from.size());
    return true;
}
template <>
bool dtconvert<vx::string, char>(vx::string& to, const char& from, int, char*) {
    to = fromActiveCodePage(&from, 1);
    return true;
}
template <>
bool dtconvert<vx::string, const char*>(vx::string& to, const char* const& from, int, char*) {
    if (from)
        to = fromActiveCodePage(from, std::strlen(from));
    return true;
}

// Numbers among themselves.
#define VX_DEFINE_NUMBER_CONVERSION(To, From)                                                      \
    template <>                                                                                    \
    bool dtconvert<To, From>(To & to, const From& from, int, char*) {                             \
        return numberToNumber(to, from);                                                           \
    }

#define VX_DEFINE_NUMBER_CONVERSIONS_TO(To)                                                        \
    VX_DEFINE_NUMBER_CONVERSION(To, short)                                                         \
    VX_DEFINE_NUMBER_CONVERSION(To, unsigned short)                                                \
    VX_DEFINE_NUMBER_CONVERSION(To, int)                                                           \
    VX_DEFINE_NUMBER_CONVERSION(To, unsigned int)                                                  \
    VX_DEFINE_NUMBER_CONVERSION(To, long)                                                          \
    VX_DEFINE_NUMBER_CONVERSION(To, unsigned long)                                                 \
    VX_DEFINE_NUMBER_CONVERSION(To, unsigned long long)                                            \
    VX_DEFINE_NUMBER_CONVERSION(To, float)                                                         \
    VX_DEFINE_NUMBER_CONVERSION(To, double)                                                        \
    VX_DEFINE_NUMBER_CONVERSION(To, bool)

VX_DEFINE_NUMBER_CONVERSIONS_TO(short)
VX_DEFINE_NUMBER_CONVERSIONS_TO(unsigned short)
VX_DEFINE_NUMBER_CONVERSIONS_TO(int)
VX_DEFINE_NUMBER_CONVERSIONS_TO(unsigned int)
VX_DEFINE_NUMBER_CONVERSIONS_TO(long)
VX_DEFINE_NUMBER_CONVERSIONS_TO(unsigned long)
VX_DEFINE_NUMBER_CONVERSIONS_TO(unsigned long long)
VX_DEFINE_NUMBER_CONVERSIONS_TO(float)
VX_DEFINE_NUMBER_CONVERSIONS_TO(double)
VX_DEFINE_NUMBER_CONVERSION(bool, short)
VX_DEFINE_NUMBER_CONVERSION(bool, unsigned short)
VX_DEFINE_NUMBER_CONVERSION(bool, int)
VX_DEFINE_NUMBER_CONVERSION(bool, unsigned int)
VX_DEFINE_NUMBER_CONVERSION(bool, long)
VX_DEFINE_NUMBER_CONVERSION(bool, unsigned long)
VX_DEFINE_NUMBER_CONVERSION(bool, unsigned long long)

#undef VX_DEFINE_NUMBER_CONVERSIONS_TO
#undef VX_DEFINE_NUMBER_CONVERSION

// --- the library's value types ---------------------------------------------------------------------------------

template <>
bool dtconvert<vx::string, signed char>(vx::string& to, const signed char& from, int, char*) {
    to.assign(1, static_cast<wchar_t>(static_cast<unsigned char>(from)));
    return true;
}
template <>
bool dtconvert<vx::string, unsigned char>(vx::string& to, const unsigned char& from, int, char*) {
    to.assign(1, static_cast<wchar_t>(from));
    return true;
}
template <>
bool dtconvert<unsigned char, vx::string>(unsigned char& to, const vx::string& from, int, char*) {
    if (from.size() != 1 || static_cast<unsigned long>(from[0]) > 0xFF)
        return false;
    to = static_cast<unsigned char>(from[0]);
    return true;
}
template <>
bool dtconvert<signed char, vx::string>(signed char& to, const vx::string& from, int, char*) {
    unsigned char byte = 0;
    if (!dtconvert(byte, from, 0, nullptr))
        return false;
    to = static_cast<signed char>(byte);
    return true;
}
template <>
bool dtconvert<vx::string, vx::date>(vx::string& to, const vx::date& from, int, char*) {
    to = from.toString();
    return true;
}
template <>
bool dtconvert<vx::date, vx::string>(vx::date& to, const vx::string& from, int, char*) {
    try {
        to = vx::date::fromString(from, L"/");
        return true;
    } catch (bool) {
        return false;
    }
}
template <>
bool dtconvert<vx::string, vx::time>(vx::string& to, const vx::time& from, int, char*) {
    to = from.toString();
    return true;
}
template <>
bool dtconvert<vx::time, vx::string>(vx::time& to, const vx::string& from, int, char*) {
    try {
        to = vx::time::fromString(from, L":");
        return true;
    } catch (bool) {
        return false;
    }
}
template <>
bool dtconvert<vx::string, vx::timestamp>(vx::string& to, const vx::timestamp& from, int, char*) {
    to = from.toString();
    return true;
}
template <>
bool dtconvert<vx::timestamp, vx::string>(vx::timestamp& to, const vx::string& from, int, char*) {
    try {
        to = vx::timestamp::fromString(from, L" ", L"/", L":");
        return true;
    } catch (bool) {
    }
    try {
        to = vx::timestamp::fromString(from, L" ", L"-", L":");
        return true;
    } catch (bool) {
        return false;
    }
}
template <>
bool dtconvert<vx::string, vx::guid>(vx::string& to, const vx::guid& from, int, char*) {
    to = from.toString();
    return true;
}
template <>
bool dtconvert<vx::guid, vx::string>(vx::guid& to, const vx::string& from, int, char*) {
    vx::guid parsed;
    try {
        parsed.fromString(from);
    } catch (bool) {
        return false;
    }
    to = parsed;
    return true;
}
template <>
bool dtconvert<vx::string, vx::version>(vx::string& to, const vx::version& from, int, char*) {
    to = from.asString();
    return true;
}
template <>
bool dtconvert<vx::version, vx::string>(vx::version& to, const vx::string& from, int, char*) {
    return to.parse(from.c_str());
}
template <>
bool dtconvert<vx::string, vx::rgbColor>(vx::string& to, const vx::rgbColor& from, int, char*) {
    to = printedInteger(L"%lu", static_cast<unsigned long>(from.colorValue())).text();
    return true;
}
template <>
bool dtconvert<vx::rgbColor, vx::string>(vx::rgbColor& to, const vx::string& from, int, char*) {
    std::uint32_t value;
    if (readUnsignedLong32(from, value) != readResult::ok)
        return false;
    to = vx::rgbColor(value);
    return true;
}
template <>
bool dtconvert<vx::string, vx::file>(vx::string& to, const vx::file& from, int, char*) {
    to = from.fullName();
    return true;
}
template <>
bool dtconvert<vx::file, vx::string>(vx::file& to, const vx::string& from, int, char*) {
    if (from.empty())
        return false;
    to = vx::file(from);
    return true;
}
template <>
bool dtconvert<vx::string, vx::directory>(vx::string& to, const vx::directory& from, int, char*) {
    to = from.fullName();
    return true;
}
template <>
bool dtconvert<vx::directory, vx::string>(vx::directory& to, const vx::string& from, int, char*) {
    if (from.empty())
        return false;
    to = vx::directory(from);
    return true;
}
template <>
bool dtconvert<vx::string, vx::searchPath>(vx::string& to, const vx::searchPath& from, int, char*) {
    vx::string text;
    for (const vx::directory& dir : from.directories()) {
        if (!text.empty())
            text += L';';
        text += dir.fullName();
    }
    to = std::move(text);
    return true;
}
template <>
bool dtconvert<vx::searchPath, vx::string>(vx::searchPath& to, const vx::string& from, int, char*) {
    vx::searchPath parsed;
    vx::searchPath::fromString(from, parsed, L';');
    to = std::move(parsed);
    return true;
}

// --- numbers a user typed --------------------------------------------------------------------------------------

bool uiStringToDouble(double& value, const vx::string& text) {
    // A copy with the running separator made '.', as the library has always made it; the
    // expression reads both separators itself and gets the text as typed.
    vx::string normalised(text);
    normalised.replace(runningDecimalSeparator(), L'.');
    const vx::expression evaluated(text);
    if (!evaluated.isValid())
        return false;
    value = evaluated.result();
    return true;
}

bool uiStringToInt(long& value, const vx::string& text) {
    double number;
    if (!uiStringToDouble(number, text))
        return false;
    const double rounded = vx::round0(number);
    // Cut to 32 bits: the low 32 bits of the whole number (saturated to 64 bits first).
    std::int64_t whole = 0;
    numberToNumber(whole, rounded);
    value = static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::uint64_t>(whole)));
    return true;
}

bool formatUiDoubleString(vx::string& text, int decimals) {
    double value;
    if (!uiStringToDouble(value, text))
        return false;
    text.clear();
    if (decimals < 0) {
        dtconvert(text, value, convertLocale, nullptr);
    } else {
        conversionArguments precision(decimals);
        dtconvert(text, value, convertLocale | convertWidth, precision.cursor());
    }
    return true;
}

bool formatUiIntString(vx::string& text) {
    long value;
    if (!uiStringToInt(value, text))
        return false;
    dtconvert(text, value, 0, nullptr);
    return true;
}

// --- the library's converters --------------------------------------------------------------------------------

namespace {

// Every converter of the library, added to the manager in one step when the library is loaded
// and removed in one step when it is unloaded.
class libraryConverters {
public:
    libraryConverters() {
        addNumbersAndText();
        addValueTypes();
        std::vector<typeConverterBase*> pointers;
        for (const auto& converter : mConverters)
            pointers.push_back(converter.get());
        mPointers = std::move(pointers);
        typeConversionManager::instance().add(mPointers.data(), mPointers.size());
    }
    ~libraryConverters() { typeConversionManager::instance().remove(mPointers.data(), mPointers.size()); }
    libraryConverters(const libraryConverters&) = delete;
    libraryConverters& operator=(const libraryConverters&) = delete;

private:
    template <class To, class From>
    void add() {
        mConverters.emplace_back(new functionConverter<From, To>(&dtconvert<To, From>));
    }
    template <class To>
    void addFromNumbers() {
        add<To, short>();
        add<To, unsigned short>();
        add<To, int>();
        add<To, unsigned int>();
        add<To, long>();
        add<To, unsigned long>();
        add<To, unsigned long long>();
        add<To, float>();
        add<To, double>();
        add<To, bool>();
    }
    template <class T>
    void addTextPair() {
        add<vx::string, T>();
        add<T, vx::string>();
    }

    void addNumbersAndText() {
        addTextPair<short>();
        addTextPair<unsigned short>();
        addTextPair<int>();
        addTextPair<unsigned int>();
        addTextPair<long>();
        addTextPair<unsigned long>();
        addTextPair<unsigned long long>();
        addTextPair<float>();
        addTextPair<double>();
        addTextPair<bool>();
        addFromNumbers<short>();
        addFromNumbers<unsigned short>();
        addFromNumbers<int>();
        addFromNumbers<unsigned int>();
        addFromNumbers<long>();
        addFromNumbers<unsigned long>();
        addFromNumbers<unsigned long long>();
        addFromNumbers<float>();
        addFromNumbers<double>();
        add<bool, short>();
        add<bool, unsigned short>();
        add<bool, int>();
        add<bool, unsigned int>();
        add<bool, long>();
        add<bool, unsigned long>();
        add<bool, unsigned long long>();
        addTextPair<std::string>();
        add<vx::string, char>();
        addTextPair<signed char>();
        addTextPair<unsigned char>();
        add<vx::string, const char*>();
    }

    void addValueTypes() {
        addTextPair<vx::date>();
        addTextPair<vx::time>();
        addTextPair<vx::timestamp>();
        addTextPair<vx::guid>();
        addTextPair<vx::version>();
        addTextPair<vx::rgbColor>();
        addTextPair<vx::file>();
        addTextPair<vx::directory>();
        addTextPair<vx::searchPath>();
    }

    std::vector<std::unique_ptr<typeConverterBase>> mConverters;
    std::vector<typeConverterBase*> mPointers;
};

const libraryConverters registered;

} // namespace

} // namespace vx::typeconvert
