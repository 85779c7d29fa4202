// Commands over vx::string: wildcards, splitting, fields, trimming, substitution, case, formatting
// and the UTF-8 form of text.
#include "command.h"

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <string>

namespace {

using vxutil::arguments;
using vxutil::expectCount;
using vxutil::printLine;
using vxutil::takeOptions;
using vxutil::usageError;

constexpr std::size_t kAny = SIZE_MAX;

int runMatch(arguments args) {
    takeOptions(args);
    expectCount(args, 2, kAny);
    bool all = true;
    for (std::size_t i = 1; i < args.size(); ++i) {
        const bool yes = args[i].matches(args[0]);
        all = all && yes;
        printLine((yes ? L"yes " : L"no  ") + args[i]);
    }
    return all ? 0 : 1;
}

int runSplit(arguments args) {
    const vxutil::options opts = takeOptions(args, {"--first"});
    expectCount(args, 2, 2);
    if (args[0].empty())
        throw usageError("the separator must not be empty");
    std::vector<vx::string> parts;
    const bool any = args[1].splitAt(args[0], parts, opts.has("--first"));
    for (const vx::string& part : parts)
        printLine(L"[" + part + L"]");
    return any ? 0 : 1;
}

int runField(arguments args) {
    takeOptions(args);
    expectCount(args, 3, 3);
    if (args[0].size() != 1)
        throw usageError("the delimiter must be one character");
    const auto index = static_cast<unsigned int>(vxutil::toUnsigned(args[1], UINT_MAX));
    printLine(args[2].substrBetween(args[0][0], index));
    return 0;
}

int runTrim(arguments args) {
    const vxutil::options opts = takeOptions(args, {"--leading", "--trailing", "--set"});
    expectCount(args, 2, 2);
    const bool set = opts.has("--set");
    const vx::string& chars = args[0];
    if (!set && chars.size() != 1)
        throw usageError("CHARS must be one character, or a set with --set");
    vx::string text = args[1];
    if (opts.has("--leading") || !opts.has("--trailing"))
        set ? text.deleteLeading(chars) : text.deleteLeading(chars[0]);
    if (opts.has("--trailing") || !opts.has("--leading"))
        set ? text.deleteTrailing(chars) : text.deleteTrailing(chars[0]);
    printLine(text);
    return 0;
}

int runReplace(arguments args) {
    takeOptions(args);
    expectCount(args, 3, 3);
    vx::string text = args[2];
    printLine(text.replace(args[0], args[1]));
    return 0;
}

int runLower(arguments args) {
    takeOptions(args);
    expectCount(args, 1, 1);
    printLine(args[0].lower());
    return 0;
}

int runUpper(arguments args) {
    takeOptions(args);
    expectCount(args, 1, 1);
    printLine(args[0].upper());
    return 0;
}

int runBytes(arguments args) {
    takeOptions(args);
    expectCount(args, 1, 1);
    std::string hex;
    for (const unsigned char byte : args[0].getMBCS()) {
        char cell[4];
        std::snprintf(cell, sizeof cell, hex.empty() ? "%02x" : " %02x", byte);
        hex += cell;
    }
    std::printf("%s\n", hex.c_str());
    return 0;
}

// --- format ------------------------------------------------------------------------------------

constexpr std::size_t kMaxConversions = 8;

// What a conversion reads from the argument list.
enum class argType {
    none, intArg, uintArg, longArg, ulongArg, llongArg, ullongArg,
    doubleArg, ldoubleArg, wideText, narrowText, wideChar, narrowChar
};

// The argument a conversion with the given length modifier reads; none if the tool does not
// support the combination.
argType typeOf(wchar_t conversion, const std::wstring& length) {
    const bool plain = length.empty() || length == L"h" || length == L"hh" || length == L"I32";
    const bool wide = length == L"ll" || length == L"I64";
    switch (conversion) {
    case L'd': case L'i':
        return plain ? argType::intArg : length == L"l" ? argType::longArg
                                       : wide           ? argType::llongArg : argType::none;
    case L'u': case L'o': case L'x': case L'X':
        return plain ? argType::uintArg : length == L"l" ? argType::ulongArg
                                        : wide           ? argType::ullongArg : argType::none;
    case L'e': case L'E': case L'f': case L'F': case L'g': case L'G': case L'a': case L'A':
        return length.empty() || length == L"l" ? argType::doubleArg
               : length == L"L"                 ? argType::ldoubleArg : argType::none;
    case L's': case L'S': case L'c': case L'C': {
        // %s and %c are wide, %S and %C narrow; l or w makes either wide, h narrow.
        bool narrow = conversion == L'S' || conversion == L'C';
        if (length == L"h") narrow = true;
        else if (length == L"l" || length == L"w") narrow = false;
        else if (!length.empty()) return argType::none;
        if (conversion == L's' || conversion == L'S')
            return narrow ? argType::narrowText : argType::wideText;
        return narrow ? argType::narrowChar : argType::wideChar;
    }
    default:
        return argType::none; // %n and %p among them
    }
}

struct piece {
    vx::string format; // literal text, then at most one conversion
    argType type = argType::none;
};

void skipNumber(const wchar_t*& p) {
    if (*p == L'*')
        throw usageError("'*' widths and precisions are not supported");
    while (*p >= L'0' && *p <= L'9')
        ++p;
}

// Cuts the format behind each conversion; the last piece holds no conversion.
std::vector<piece> parseFormat(const vx::string& format) {
    std::vector<piece> pieces(1);
    const wchar_t* p = format.c_str();
    while (*p != 0) {
        if (*p != L'%' || p[1] == L'%') {
            const std::size_t n = *p == L'%' ? 2 : 1;
            pieces.back().format.append(p, n);
            p += n;
            continue;
        }
        const wchar_t* start = p++;
        while (*p != 0 && std::wcschr(L"-+ #0", *p))
            ++p;
        skipNumber(p);
        if (*p == L'.')
            skipNumber(++p);
        const wchar_t* lengthStart = p;
        for (const wchar_t* modifier : {L"hh", L"h", L"ll", L"l", L"I64", L"I32", L"L", L"w"}) {
            const std::size_t n = std::wcslen(modifier);
            if (std::wcsncmp(p, modifier, n) == 0) {
                p += n;
                break;
            }
        }
        if (*p == 0)
            throw usageError("the format ends inside a conversion");
        const argType type = typeOf(*p, std::wstring(lengthStart, p));
        ++p;
        if (type == argType::none)
            throw usageError(vxutil::quoted(vx::string(start, p)) + " is not a supported conversion");
        if (pieces.size() > kMaxConversions)
            throw usageError("the format has more than " + std::to_string(kMaxConversions) + " conversions");
        pieces.back().format.append(start, p);
        pieces.back().type = type;
        pieces.emplace_back();
    }
    return pieces;
}

// The piece formatted with its argument, converted to the type its conversion reads.
vx::string formatPiece(const piece& pc, const vx::string& arg) {
    using vx::string;
    using namespace vxutil;
    const wchar_t* f = pc.format.c_str();
    if ((pc.type == argType::wideChar || pc.type == argType::narrowChar) && arg.empty())
        throw usageError("%c needs a character, not the empty text");
    switch (pc.type) {
    case argType::none: return string::sformat(f);
    case argType::intArg: return string::sformat(f, static_cast<int>(toInteger(arg, INT_MIN, INT_MAX)));
    case argType::uintArg: return string::sformat(f, static_cast<unsigned>(toUnsigned(arg, UINT_MAX)));
    // long crosses a format as a 32-bit value.
    case argType::longArg: return string::sformat(f, static_cast<long>(toInteger(arg, INT32_MIN, INT32_MAX)));
    case argType::ulongArg: return string::sformat(f, static_cast<unsigned long>(toUnsigned(arg, UINT32_MAX)));
    case argType::llongArg: return string::sformat(f, toInteger(arg, LLONG_MIN, LLONG_MAX));
    case argType::ullongArg: return string::sformat(f, toUnsigned(arg, ULLONG_MAX));
    case argType::doubleArg: return string::sformat(f, toDouble(arg));
    case argType::ldoubleArg: return string::sformat(f, toLongDouble(arg));
    case argType::wideText: return string::sformat(f, arg.c_str());
    case argType::narrowText: return string::sformat(f, arg.getMBCS().c_str());
    case argType::wideChar: return string::sformat(f, static_cast<wint_t>(arg[0]));
    case argType::narrowChar:
        return string::sformat(f, static_cast<int>(static_cast<unsigned char>(arg.getMBCS()[0])));
    }
    return string();
}

int runFormat(arguments args) {
    takeOptions(args);
    expectCount(args, 1, kAny);
    const std::vector<piece> pieces = parseFormat(args[0]);
    const std::size_t conversions = pieces.size() - 1;
    if (args.size() - 1 != conversions)
        throw usageError("the format needs " + std::to_string(conversions) + " argument(s), " +
                         std::to_string(args.size() - 1) + " given");
    // Each piece is formatted with the one argument it reads, so every argument has the type its
    // conversion expects; one more call joins the pieces, and cuts the whole text at 1023.
    vx::string text[kMaxConversions + 1];
    for (std::size_t i = 0; i < pieces.size(); ++i)
        text[i] = formatPiece(pieces[i], i < conversions ? args[i + 1] : vx::string());
    static_assert(kMaxConversions + 1 == 9, "one %s per piece below");
    printLine(vx::string::sformat(L"%s%s%s%s%s%s%s%s%s", text[0].c_str(), text[1].c_str(),
                                  text[2].c_str(), text[3].c_str(), text[4].c_str(), text[5].c_str(),
                                  text[6].c_str(), text[7].c_str(), text[8].c_str()));
    return 0;
}

const vxutil::registration registered{
    {"match", "test texts against a wildcard pattern",
     "PATTERN TEXT...\n\n"
     "Tests each TEXT against PATTERN, where * stands for any run of characters and ? for one.\n"
     "The comparison is case-sensitive. Prints \"yes\" or \"no\" and the text, one per line;\n"
     "exits with 0 if every TEXT matches, 1 otherwise.",
     runMatch},
    {"split", "cut a text at a separator",
     "SEPARATOR TEXT [--first]\n\n"
     "Prints the parts of TEXT between occurrences of SEPARATOR, one per line in brackets, so\n"
     "that empty parts show. --first cuts at the first occurrence only. SEPARATOR must not be\n"
     "empty. An empty TEXT has no parts and exits with 1.",
     runSplit},
    {"field", "one field of a delimited text",
     "DELIMITER INDEX TEXT\n\n"
     "Prints field number INDEX (from 0) of TEXT, whose fields are separated by the one\n"
     "character DELIMITER. A field beyond the last is empty.",
     runField},
    {"trim", "remove characters from the ends of a text",
     "[--leading|--trailing] [--set] CHARS TEXT\n\n"
     "Removes the character CHARS from both ends of TEXT, or only from the start (--leading) or\n"
     "the end (--trailing). A TEXT made only of that character stays as it is. With --set, CHARS\n"
     "is a set of characters, any of which is removed, and a TEXT made only of them becomes empty.",
     runTrim},
    {"replace", "replace every occurrence of a text",
     "FROM TO TEXT\n\n"
     "Replaces each occurrence of FROM in TEXT by TO, scanning on behind each replacement. An\n"
     "empty FROM changes nothing.",
     runReplace},
    {"lower", "a text in lower case", "TEXT\n\nPrints TEXT in lower case, character by character.", runLower},
    {"upper", "a text in upper case", "TEXT\n\nPrints TEXT in upper case, character by character.", runUpper},
    {"format", "printf-style formatting",
     "FORMAT ARG...\n\n"
     "Formats the ARGs as FORMAT says, in the library's printf language: %d %i integers,\n"
     "%u %o %x %X unsigned integers (length modifiers hh h l ll I32 I64), %e %f %g %a floating-point\n"
     "numbers (L for long double), %s a text, %c the first character of a text (%S and %C the\n"
     "narrow forms), %% a percent sign. At most 8 conversions, one ARG each; no * widths, %n or %p.\n"
     "Numbers are decimal or 0x hexadecimal. The result is cut at 1023 characters.",
     runFormat},
    {"bytes", "the UTF-8 bytes of a text",
     "TEXT\n\nPrints the bytes of TEXT in the library's multi-byte form (UTF-8), in hex.", runBytes},
};

} // namespace
