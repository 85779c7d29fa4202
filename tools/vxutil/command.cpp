#include "command.h"

#include <algorithm>
#include <cstring>
#include <cerrno>
#include <cstdio>
#include <cwchar>

namespace vxutil {

namespace {

std::vector<command>& registry() {
    static std::vector<command> commands;
    return commands;
}

// A whole number without sign; false if text is not one or it exceeds max.
bool readMagnitude(const wchar_t* p, unsigned long long max, unsigned long long& value) {
    unsigned base = 10;
    if (p[0] == L'0' && (p[1] == L'x' || p[1] == L'X')) {
        base = 16;
        p += 2;
    }
    if (*p == 0)
        return false;
    value = 0;
    for (; *p != 0; ++p) {
        unsigned digit;
        if (*p >= L'0' && *p <= L'9') digit = static_cast<unsigned>(*p - L'0');
        else if (base == 16 && *p >= L'a' && *p <= L'f') digit = static_cast<unsigned>(*p - L'a' + 10);
        else if (base == 16 && *p >= L'A' && *p <= L'F') digit = static_cast<unsigned>(*p - L'A' + 10);
        else return false;
        if (value > (max - digit) / base)
            return false;
        value = value * base + digit;
    }
    return true;
}

// "--" and a name of lower-case words joined by single hyphens, as in "--first" or "--dry-run".
bool looksLikeOption(const vx::string& arg) {
    if (arg.size() < 3 || arg.compare(0, 2, L"--") != 0 || !(arg[2] >= L'a' && arg[2] <= L'z'))
        return false;
    for (std::size_t i = 3; i < arg.size(); ++i) {
        const bool wordCharacter = (arg[i] >= L'a' && arg[i] <= L'z') || (arg[i] >= L'0' && arg[i] <= L'9');
        if (!wordCharacter && !(arg[i] == L'-' && arg[i - 1] != L'-' && i + 1 < arg.size()))
            return false;
    }
    return true;
}

[[noreturn]] void badNumber(const vx::string& text, const std::string& range) {
    throw usageError(quoted(text) + " is not a number from " + range);
}

template <class F>
auto toFloating(const vx::string& text, F convert) {
    wchar_t* end = nullptr;
    errno = 0;
    const auto value = convert(text.c_str(), &end);
    if (text.empty() || *end != 0 || errno == ERANGE)
        throw usageError(quoted(text) + " is not a floating-point number in range");
    return value;
}

} // namespace

registration::registration(std::initializer_list<command> commands) {
    auto& all = registry();
    all.insert(all.end(), commands.begin(), commands.end());
}

const std::vector<command>& allCommands() {
    // Sorted once, when first listed: every registration has run by then (they all run before
    // main), and a run that only looks one command up never pays for it.
    static const bool sorted = [] {
        std::sort(registry().begin(), registry().end(), [](const command& a, const command& b) {
            return std::strcmp(a.name, b.name) < 0;
        });
        return true;
    }();
    (void)sorted;
    return registry();
}

const command* findCommand(std::string_view name) {
    for (const command& c : registry())
        if (name == c.name)
            return &c;
    return nullptr;
}

bool options::has(std::string_view name) const {
    return std::find(given.begin(), given.end(), name) != given.end();
}

options takeOptions(arguments& args, std::initializer_list<std::string_view> known) {
    options result;
    for (auto it = args.begin(); it != args.end();) {
        if (*it == L"--") {
            args.erase(it);
            break;
        }
        if (!looksLikeOption(*it)) {
            ++it;
            continue;
        }
        const std::string name = it->getMBCS();
        if (std::find(known.begin(), known.end(), name) == known.end())
            throw usageError("unknown option " + quoted(*it));
        result.given.push_back(name);
        it = args.erase(it);
    }
    return result;
}

void expectCount(const arguments& args, std::size_t min, std::size_t max) {
    if (args.size() < min)
        throw usageError("missing arguments");
    if (args.size() > max)
        throw usageError("too many arguments");
}

long long toInteger(const vx::string& text, long long min, long long max) {
    const bool negative = !text.empty() && text[0] == L'-';
    const wchar_t* digits = text.c_str() + (!text.empty() && (text[0] == L'-' || text[0] == L'+'));
    // The magnitude of min, computed without overflow.
    const unsigned long long limit =
        negative ? 0ULL - static_cast<unsigned long long>(min) : static_cast<unsigned long long>(max);
    unsigned long long magnitude = 0;
    if ((negative && min >= 0) || !readMagnitude(digits, limit, magnitude) ||
        (!negative && min > 0 && magnitude < static_cast<unsigned long long>(min)))
        badNumber(text, std::to_string(min) + " to " + std::to_string(max));
    return negative ? static_cast<long long>(0ULL - magnitude) : static_cast<long long>(magnitude);
}

unsigned long long toUnsigned(const vx::string& text, unsigned long long max) {
    unsigned long long value = 0;
    const wchar_t* digits = text.c_str() + (!text.empty() && text[0] == L'+');
    if (!readMagnitude(digits, max, value))
        badNumber(text, "0 to " + std::to_string(max));
    return value;
}

double toDouble(const vx::string& text) {
    return toFloating(text, [](const wchar_t* s, wchar_t** end) { return std::wcstod(s, end); });
}

long double toLongDouble(const vx::string& text) {
    return toFloating(text, [](const wchar_t* s, wchar_t** end) { return std::wcstold(s, end); });
}

namespace {

bool isControl(wchar_t c) {
    return c < 0x20 || (c >= 0x7F && c <= 0x9F);
}

vx::string escaped(const vx::string& text, bool keepLayout) {
    vx::string out;
    out.reserve(text.size());
    for (const wchar_t c : text) {
        if (!isControl(c) || (keepLayout && (c == L'\t' || c == L'\n'))) {
            out += c;
            continue;
        }
        static const wchar_t digits[] = L"0123456789abcdef";
        const auto code = static_cast<unsigned>(c);
        out += L"\\x";
        out += digits[code >> 4];
        out += digits[code & 0xF];
    }
    return out;
}

// The bytes of text for standard output: UTF-8, except that on POSIX systems U+DC80 to U+DCFF,
// which stand for the bytes of a native name that are not UTF-8, become those bytes again, so
// that a name the tool prints can be given back to it as an argument.
std::string outputBytes(const vx::string& text) {
#ifdef _WIN32
    return text.getMBCS();
#else
    std::string out;
    vx::string run;
    for (const wchar_t c : text) {
        if (c < 0xDC80 || c > 0xDCFF) {
            run += c;
            continue;
        }
        out += run.getMBCS();
        run.clear();
        out += static_cast<char>(c - 0xDC00);
    }
    return out + run.getMBCS();
#endif
}

} // namespace

vx::string shown(const vx::string& text) {
    return escaped(text, false);
}

std::string quoted(const vx::string& text) {
    return "'" + shown(text).getMBCS() + "'";
}

int failure(const vx::string& subject, const std::string& what) {
    std::fprintf(stderr, "vxutil: %s: %s\n", quoted(subject).c_str(), what.c_str());
    return 1;
}

int failure(const vx::string& subject, const vx::exception& e) {
    return failure(subject, vx::string(e.message().string()).getMBCS());
}

void printLine(const vx::string& text) {
    const std::string bytes = outputBytes(escaped(text, true));
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    std::fputc('\n', stdout);
}

} // namespace vxutil
