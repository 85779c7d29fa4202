#include "vxXml.h"


#include "vxBinaryBuffer.h"
#include "vxDirectory.h"
#include "vxException.h"
#include "vxFile.h"
#include "vxUnicode.h"

#include "detail/cpuFeatures.h"
#include "detail/renderedElements.h"
#include "platform/codePage.h"
#include "platform/files.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <limits>
#include <memory>
#include <new>
#include <typeinfo>

#ifdef VX_HAVE_SSE2
#include <emmintrin.h>
#endif

namespace vx {

namespace {

const wchar_t kInvalidFormat[] = L"xmlNode::parseText: invalid xml-format";
const wchar_t kNullText[] = L"xmlNode::parseText: NULL specified for pText";
const wchar_t kNullNode[] = L"xmlNode::createXmlNode: NULL specified for pNode";

// Each level of the text form is indented by this many spaces.
constexpr std::size_t kIndentStepLength = 3;

[[noreturn]] void invalidFormat() {
    throw unexpectedErrorException(kInvalidFormat);
}

// iswspace, with ASCII answered without a call: nearly every character a parser meets is ASCII.
inline bool isSpace(wchar_t c) {
    const auto u = static_cast<std::uint32_t>(c);
    if (u < 0x80)
        return u == 0x20 || (u >= 0x09 && u <= 0x0D);
    return std::iswspace(static_cast<std::wint_t>(c)) != 0;
}

// --- entities ------------------------------------------------------------------------------------

// Replaces every occurrence of pattern at or behind from, left to right; replaced text is not
// searched again.
void replaceAllFrom(string& s, std::size_t from, const std::wstring& pattern, const std::wstring& by) {
    std::size_t hit = s.find(pattern, from);
    if (hit == string::npos)
        return;
    std::wstring result;
    result.reserve(s.size());
    result.append(s, 0, hit);
    std::size_t start = hit;
    for (; hit != string::npos; hit = s.find(pattern, start)) {
        result.append(s, start, hit - start);
        result.append(by);
        start = hit + pattern.size();
    }
    result.append(s, start, string::npos);
    s.std::wstring::swap(result);
}

// The number of hexadecimal digits of the numeric entity at p (1 to 3, by where its ';' stands,
// the longest form first), or 0 when there is no ';' in those places.
std::size_t numericDigits(const string& s, std::size_t p) {
    for (std::size_t digits = 3; digits >= 1; --digits)
        if (p + 3 + digits < s.size() && s[p + 3 + digits] == L';')
            return digits;
    return 0;
}

// One pass over the numeric forms "&#x" with one to three digits: the first that has its ';'
// decides the character, and every occurrence of that exact text becomes it.
void decodeNumericEntities(string& s) {
    static const std::wstring opening = L"&#x";
    std::size_t from = 0;
    for (;;) {
        const std::size_t p = s.find(opening, from);
        if (p == string::npos)
            return;
        const std::size_t digits = numericDigits(s, p);
        if (digits == 0) {
            // Without its ';' the form stays as it is, and the search goes on behind it.
            from = p + 1;
            continue;
        }
        wchar_t hex[4] = {};
        s.copy(hex, digits, p + 3);
        const long value = std::wcstol(hex, nullptr, 16);
        const auto unit = static_cast<wchar_t>(static_cast<std::uint16_t>(value));
        replaceAllFrom(s, p, s.substr(p, digits + 4), unit == 0 ? std::wstring() : std::wstring(1, unit));
        // Nothing in front of p changed, so a form that starts earlier than p - 6 is as it was;
        // the replacement may have completed one in that span, or opened a new one.
        from = p >= 6 ? p - 6 : 0;
    }
}

struct namedEntity {
    const wchar_t* text;
    std::size_t length;
    wchar_t character;
};
const namedEntity kNamedEntities[] = {
    {L"&amp;", 5, L'&'}, {L"&apos;", 6, L'\''}, {L"&quot;", 6, L'"'}, {L"&lt;", 4, L'<'}, {L"&gt;", 4, L'>'},
};

// Whether the text from `at` to `end` starts with the prefix of the given length. Compared in
// place: texts full of entities make this the decoder's inner loop, where a library call per
// entity costs.
bool startsWith(const wchar_t* at, const wchar_t* end, const wchar_t* prefix, std::size_t length) {
    if (at > end || static_cast<std::size_t>(end - at) < length)
        return false;
    for (std::size_t k = 0; k < length; ++k)
        if (at[k] != prefix[k])
            return false;
    return true;
}

// The named entity at `at`, or null.
const namedEntity* namedEntityAt(const wchar_t* at, const wchar_t* end) {
    for (const namedEntity& e : kNamedEntities)
        if (startsWith(at, end, e.text, e.length))
            return &e;
    return nullptr;
}

// The next '&' from `from`, or end.
const wchar_t* nextAmpersand(const wchar_t* from, const wchar_t* end) {
    const wchar_t* const found = std::wmemchr(from, L'&', static_cast<std::size_t>(end - from));
    return found ? found : end;
}

// Whether the text from the '&' at amp to end decodes in one scan, each named entity becoming its
// character, to what the passes below give. Not so for a numeric form, or for an "&amp;" whose '&'
// would start a new entity with what follows it.
bool decodesInOneScan(const wchar_t* amp, const wchar_t* end) {
    for (; amp != end; amp = nextAmpersand(amp + 1, end)) {
        if (startsWith(amp, end, L"&#x", 3))
            return false;
        const namedEntity* const found = namedEntityAt(amp, end);
        if (found && found->character == L'&') {
            const wchar_t* const behind = amp + found->length;
            if (startsWith(behind, end, L"#x", 2))
                return false;
            for (const namedEntity& e : kNamedEntities)
                if (startsWith(behind, end, e.text + 1, e.length - 1))
                    return false;
        }
    }
    return true;
}

// Resolves the entities of a text: the named ones, then the numeric ones, and again until a whole
// pass changes the length no more.
void decodeEntities(string& s) {
    static const std::wstring named[][2] = {
        {L"&amp;", L"&"}, {L"&apos;", L"'"}, {L"&quot;", L"\""}, {L"&lt;", L"<"}, {L"&gt;", L">"},
    };
    for (;;) {
        const std::size_t before = s.size();
        for (const auto& entity : named)
            replaceAllFrom(s, 0, entity[0], entity[1]);
        decodeNumericEntities(s);
        if (s.size() == before)
            return;
    }
}

// Sets target to the text from `from` to `to` with its entities resolved. The usual text, with no
// entity or with named ones only, is decoded while it is copied, in one scan.
void assignDecoded(string& target, const wchar_t* from, const wchar_t* to) {
    const wchar_t* amp = nextAmpersand(from, to);
    if (amp == to || !decodesInOneScan(amp, to)) {
        target.assign(from, to);
        if (amp != to)
            decodeEntities(target);
        return;
    }
    target.clear();
    target.reserve(static_cast<std::size_t>(to - from));
    target.append(from, amp);
    while (amp != to) {
        const namedEntity* const found = namedEntityAt(amp, to);
        target.push_back(found ? found->character : L'&');
        const wchar_t* const behind = amp + (found ? found->length : 1);
        amp = nextAmpersand(behind, to);
        target.append(behind, amp);
    }
}

// --- the writer --------------------------------------------------------------------------------------
//
// One writer serves every output; a sink decides what becomes of the text: wide text, or UTF-8 or
// UTF-16LE bytes written straight into the room of a buffer, reserved from an estimate.

// Wide text (the form getText gives), or the count of its units while out is null.
struct wideSink {
    string* out;
    std::size_t units = 0;
    void text(const wchar_t* p, std::size_t n) {
        if (out)
            out->append(p, n);
        else
            units += n;
    }
    void ascii(const char* s, std::size_t n) {
        if (out)
            out->append(s, s + n);
        else
            units += n;
    }
    void spaces(std::size_t n) {
        if (out)
            out->append(n, L' ');
        else
            units += n;
    }
    // Only trees without rendered elements are written as wide text.
    void raw(const char*, std::size_t) {}
};

// The entity that stands for a special character in the text form; a dropped newline is empty.
const char* entityOf(std::uint32_t c) {
    switch (c) {
    case '&': return "&amp;";
    case '\'': return "&apos;";
    case '"': return "&quot;";
    case '<': return "&lt;";
    case '>': return "&gt;";
    default: return "";
    }
}

// --- blocks of plain characters ------------------------------------------------------------------

// Nearly all of a document's characters are plain ASCII that the writer copies as it is; they are
// tested and narrowed in blocks, with SSE2 where the processor has it (every x86-64 does).
constexpr std::size_t kBlock = 16;

// The characters of the block that are not plain, as bits (bit k for p[k]): not ASCII, null, a
// special character or the given newline (pass '&' for none).
inline unsigned otherInBlock(const wchar_t* p, wchar_t newline) {
#ifdef VX_HAVE_SSE2
    const auto* const q = reinterpret_cast<const __m128i*>(p);
    if constexpr (sizeof(wchar_t) == 4) {
        const __m128i notAscii = _mm_set1_epi32(~0x7F), zero = _mm_setzero_si128();
        const __m128i amp = _mm_set1_epi32('&'), apos = _mm_set1_epi32('\''), quot = _mm_set1_epi32('"');
        const __m128i lt = _mm_set1_epi32('<'), gt = _mm_set1_epi32('>'), nl = _mm_set1_epi32(newline);
        unsigned mask = 0;
        for (unsigned k = 0; k < kBlock / 4; ++k) {
            const __m128i v = _mm_loadu_si128(q + k);
            __m128i other = _mm_cmpeq_epi32(_mm_cmpeq_epi32(_mm_and_si128(v, notAscii), zero), zero);
            other = _mm_or_si128(other, _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi32(v, zero), _mm_cmpeq_epi32(v, amp)),
                                                     _mm_or_si128(_mm_cmpeq_epi32(v, apos), _mm_cmpeq_epi32(v, quot))));
            other = _mm_or_si128(other, _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi32(v, lt), _mm_cmpeq_epi32(v, gt)),
                                                     _mm_cmpeq_epi32(v, nl)));
            mask |= static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(other))) << (4 * k);
        }
        return mask;
    } else {
        const __m128i notAscii = _mm_set1_epi16(~0x7F), zero = _mm_setzero_si128();
        const __m128i amp = _mm_set1_epi16('&'), apos = _mm_set1_epi16('\''), quot = _mm_set1_epi16('"');
        const __m128i lt = _mm_set1_epi16('<'), gt = _mm_set1_epi16('>');
        const __m128i nl = _mm_set1_epi16(static_cast<short>(newline));
        __m128i others[2];
        for (unsigned k = 0; k < 2; ++k) {
            const __m128i v = _mm_loadu_si128(q + k);
            __m128i other = _mm_cmpeq_epi16(_mm_cmpeq_epi16(_mm_and_si128(v, notAscii), zero), zero);
            other = _mm_or_si128(other, _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(v, zero), _mm_cmpeq_epi16(v, amp)),
                                                     _mm_or_si128(_mm_cmpeq_epi16(v, apos), _mm_cmpeq_epi16(v, quot))));
            others[k] = _mm_or_si128(other, _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(v, lt), _mm_cmpeq_epi16(v, gt)),
                                                         _mm_cmpeq_epi16(v, nl)));
        }
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(others[0], others[1])));
    }
#else
    unsigned mask = 0;
    for (unsigned k = 0; k < kBlock; ++k) {
        const auto u = static_cast<std::uint32_t>(p[k]);
        const bool other = u >= 0x80 || u == 0 || u == '&' || u == '\'' || u == '"' || u == '<' || u == '>' ||
                           u == static_cast<std::uint32_t>(newline);
        mask |= static_cast<unsigned>(other) << k;
    }
    return mask;
#endif
}

// The number of trailing zero bits of a mask that is not zero.
inline unsigned lowestBit(unsigned mask) {
    unsigned k = 0;
    while ((mask & 1u) == 0) {
        mask >>= 1;
        ++k;
    }
    return k;
}

// Writes a plain block as bytes (kUnitBytes 1) or UTF-16LE units (2).
template <std::size_t kUnitBytes>
inline void narrowBlock(char* out, const wchar_t* p) {
#ifdef VX_HAVE_SSE2
    const auto* const q = reinterpret_cast<const __m128i*>(p);
    auto* const to = reinterpret_cast<__m128i*>(out);
    if constexpr (sizeof(wchar_t) == 4) {
        // The values are below 0x80, so the saturating packs keep them.
        const __m128i low = _mm_packs_epi32(_mm_loadu_si128(q), _mm_loadu_si128(q + 1));
        const __m128i high = _mm_packs_epi32(_mm_loadu_si128(q + 2), _mm_loadu_si128(q + 3));
        if constexpr (kUnitBytes == 1) {
            _mm_storeu_si128(to, _mm_packus_epi16(low, high));
        } else {
            _mm_storeu_si128(to, low);
            _mm_storeu_si128(to + 1, high);
        }
    } else if constexpr (kUnitBytes == 1) {
        _mm_storeu_si128(to, _mm_packus_epi16(_mm_loadu_si128(q), _mm_loadu_si128(q + 1)));
    } else {
        std::memcpy(out, p, kBlock * 2);
    }
#else
    for (std::size_t k = 0; k < kBlock; ++k) {
        out[k * kUnitBytes] = static_cast<char>(p[k]);
        if (kUnitBytes == 2)
            out[k * kUnitBytes + 1] = '\0';
    }
#endif
}

// Bytes in an encoding, written into the room of a buffer behind its content; the room grows
// when a piece might not fit (a unit takes at most four bytes, an entity six characters), so the
// text is read once. A null character is noted, since it calls for the piecewise conversion.
template <char* (*writeTo)(char*, const wchar_t*, std::size_t), std::size_t kUnitBytes>
struct byteSink {
    static constexpr std::size_t unitBytes = kUnitBytes;
    binaryBuffer& buffer;
    char* to;
    char* limit;
    bool hasNull = false;

    byteSink(binaryBuffer& b, std::uint64_t at)
        : buffer(b), to(b.data() + at), limit(b.data() + b.physicalLength()) {}

    std::uint64_t written() const { return static_cast<std::uint64_t>(to - buffer.data()); }
    void room(std::size_t bytes) {
        if (static_cast<std::size_t>(limit - to) < bytes)
            grow(bytes);
    }
    // By half again at least, so that a document the estimate missed grows a few times only.
    void grow(std::size_t bytes) {
        const std::uint64_t at = written(), physical = buffer.physicalLength();
        buffer.reserve(std::max<std::uint64_t>(at + bytes, physical + physical / 2));
        to = buffer.data() + at;
        limit = buffer.data() + buffer.physicalLength();
    }

    void raw(const char* s, std::size_t n) {
        room(n);
        std::memcpy(to, s, n);
        to += n;
    }
    void text(const wchar_t* p, std::size_t n) {
        room(4 * n);
        // Names are short and nearly always ASCII: those are copied without the calls.
        if (n <= kBlock) {
            std::size_t i = 0;
            while (i < n && static_cast<std::uint32_t>(p[i]) - 1 < 0x7F)
                ++i;
            if (i == n) {
                for (std::size_t k = 0; k < n; ++k)
                    unit(static_cast<char>(p[k]));
                return;
            }
        }
        hasNull = hasNull || (kUnitBytes == 1 && std::wmemchr(p, L'\0', n) != nullptr);
        to = writeTo(to, p, n);
    }
    // One ASCII character as a unit of the encoding; the room is the caller's.
    void unit(char c) {
        *to++ = c;
        if (kUnitBytes == 2)
            *to++ = '\0';
    }
    void ascii(const char* s, std::size_t n) {
        room(n * kUnitBytes);
        for (std::size_t i = 0; i < n; ++i)
            unit(s[i]);
    }
    void spaces(std::size_t n) {
        room(n * kUnitBytes);
        for (std::size_t i = 0; i < n; ++i)
            unit(' ');
    }
    // Text with the characters of stops (values below 64) replaced by entityOf. Nearly all of a
    // document's bytes pass here, so blocks of plain characters (ASCII, neither stops nor null)
    // are found by vector compares and copied whole; the rest goes one character (or one run of
    // non-ASCII characters) at a time.
    void escaped(const wchar_t* p, std::size_t n, std::uint64_t stops) {
        const wchar_t newline = ((stops >> '\n') & 1) != 0 ? L'\n' : L'&'; // '&' stands for "none"
        const auto plain = [&](std::size_t from, std::size_t length) {
            room(length * kUnitBytes);
            for (std::size_t k = 0; k < length; ++k)
                unit(static_cast<char>(p[from + k]));
        };
        // One character that is not plain, or the run of non-ASCII characters it starts; returns
        // the position after it.
        const auto other = [&](std::size_t i) {
            const auto u = static_cast<std::uint32_t>(p[i]);
            if (u >= 0x80) {
                std::size_t j = i + 1;
                while (j < n && static_cast<std::uint32_t>(p[j]) >= 0x80)
                    ++j;
                text(p + i, j - i);
                return j;
            }
            if (u >= 64 || ((stops >> u) & 1) == 0) { // plain, or a null character kept as it is
                hasNull = hasNull || (kUnitBytes == 1 && u == 0);
                plain(i, 1);
                return i + 1;
            }
            const char* const entity = entityOf(u); // empty for a dropped newline
            ascii(entity, std::strlen(entity));
            return i + 1;
        };
        std::size_t i = 0;
        while (i + kBlock <= n) {
            const unsigned others = otherInBlock(p + i, newline);
            if (others == 0) {
                room(kBlock * kUnitBytes);
                narrowBlock<kUnitBytes>(to, p + i);
                to += kBlock * kUnitBytes;
                i += kBlock;
                continue;
            }
            const unsigned first = lowestBit(others);
            plain(i, first);
            i = other(i + first);
        }
        // The tail, shorter than a block: runs of plain characters at once.
        while (i < n) {
            std::size_t j = i;
            while (j < n) {
                const auto u = static_cast<std::uint32_t>(p[j]);
                if (u - 1 >= 0x7F || (u < 64 && ((stops >> u) & 1) != 0))
                    break;
                ++j;
            }
            if (j > i) {
                plain(i, j - i);
                i = j;
            } else {
                i = other(i);
            }
        }
    }
};

// The characters of the text form when nothing is escaped and every unit is one: the room
// reserved before writing, found without reading any text.
struct unitEstimate {
    std::uint64_t units = 0;
    void text(const wchar_t*, std::size_t n) { units += n; }
    void ascii(const char*, std::size_t n) { units += n; }
    void spaces(std::size_t n) { units += n; }
    void escaped(const wchar_t*, std::size_t n, std::uint64_t) { units += n; }
    void raw(const char*, std::size_t n) { units += n; }
};

using utf8Sink = byteSink<unicode::writeUtf8, 1>;
using utf16Sink = byteSink<unicode::writeUtf16Le, 2>;

template <class Sink, std::size_t N>
void put(Sink& sink, const char (&s)[N]) {
    sink.ascii(s, N - 1);
}

template <class Sink>
void put(Sink& sink, const string& s) {
    sink.text(s.data(), s.size());
}

// The characters the writer replaces, as bits of a mask over the values below 64.
constexpr std::uint64_t kEntityCharacters =
    1ull << '&' | 1ull << '\'' | 1ull << '"' | 1ull << '<' | 1ull << '>';

inline bool isSpecial(wchar_t c, std::uint64_t stops) {
    const auto u = static_cast<std::uint32_t>(c);
    return u < 64 && ((stops >> u) & 1) != 0;
}

// Text with the five special characters as entities; with dropNewlines, '\n' is left out.
inline void putEncoded(wideSink& sink, const string& text, bool dropNewlines) {
    const std::uint64_t stops = kEntityCharacters | (dropNewlines ? 1ull << '\n' : 0);
    const wchar_t* p = text.data();
    const wchar_t* const end = p + text.size();
    while (p < end) {
        const wchar_t* const run = p;
        while (p < end && !isSpecial(*p, stops))
            ++p;
        sink.text(run, static_cast<std::size_t>(p - run));
        if (p == end)
            return;
        const char* const entity = entityOf(static_cast<std::uint32_t>(*p++));
        sink.ascii(entity, std::strlen(entity));
    }
}

template <class Sink>
void putEncoded(Sink& sink, const string& text, bool dropNewlines) {
    sink.escaped(text.data(), text.size(), kEntityCharacters | (dropNewlines ? 1ull << '\n' : 0));
}

// The element's line: start tag, attributes, and either the whole element (no children) or the
// ">" and the line of its text. The indent is the root's text and three spaces a level.
template <class Sink>
void putStart(Sink& sink, const xmlNode& node, const string& rootIndent, std::size_t spaces, bool hasChildren) {
    put(sink, rootIndent);
    sink.spaces(spaces);
    put(sink, "<");
    put(sink, node.name());
    for (const auto& a : node.attributes()) {
        put(sink, " ");
        put(sink, a.first);
        put(sink, "=\"");
        putEncoded(sink, a.second, false);
        put(sink, "\"");
    }
    if (!hasChildren) {
        if (node.text().empty()) {
            put(sink, "/>\n");
        } else {
            put(sink, ">");
            putEncoded(sink, node.text(), false);
            put(sink, "</");
            put(sink, node.name());
            put(sink, ">\n");
        }
        return;
    }
    put(sink, ">\n");
    if (!node.text().empty()) {
        put(sink, rootIndent);
        sink.spaces(spaces + kIndentStepLength);
        putEncoded(sink, node.text(), true);
        put(sink, "\n");
    }
}

// The elements kept as text behind a node's children: none, for every tree but a database's.
struct noRendered {
    const detail::renderedElements* operator()(const xmlNode&) const { return nullptr; }
};

// Depth first with a list of open elements instead of recursion, so that a tree of any depth
// can be written. The root is written depth levels in; the text of rendered elements follows
// the children of their node.
using openElements = std::vector<std::pair<const xmlNode*, std::size_t>>;

template <class Sink, class Rendered = noRendered>
void writeTree(Sink& sink, const xmlNode& root, const string& rootIndent, std::size_t depth = 0,
               const Rendered& renderedOf = Rendered(), openElements* reused = nullptr) {
    openElements own;
    openElements& open = reused ? *reused : own; // a caller writing many elements lends its list
    open.clear();
    const xmlNode* next = &root;
    for (;;) {
        if (next) {
            const detail::renderedElements* const rendered = renderedOf(*next);
            const bool hasChildren = !next->children().empty() || (rendered && rendered->count > 0);
            putStart(sink, *next, rootIndent, (depth + open.size()) * kIndentStepLength, hasChildren);
            if (hasChildren)
                open.emplace_back(next, 0);
        }
        if (open.empty())
            return;
        auto& [node, index] = open.back();
        if (index < node->children().size()) {
            next = node->children()[index++].operator->(); // a null child is an assertion
        } else {
            next = nullptr;
            if (const detail::renderedElements* const rendered = renderedOf(*node))
                sink.raw(rendered->text.data(), static_cast<std::size_t>(rendered->text.logicalLength()));
            put(sink, rootIndent);
            sink.spaces((depth + open.size() - 1) * kIndentStepLength);
            put(sink, "</");
            put(sink, node->name());
            put(sink, ">\n");
            open.pop_back();
        }
    }
}

// The declaration in front of the document.
const char* headerOf(int encoding) {
    return encoding == xmlDocument::eUtf8    ? "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           : encoding == xmlDocument::eUtf16 ? "<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n"
                                             : "<?xml version=\"1.0\" ?>\n";
}

// UTF-8 in pieces of 256 units, each ending at its first null character; a surrogate pair is
// never cut in two.
void appendUtf8Pieces(std::string& out, const string& text) {
    constexpr std::size_t kPiece = 256;
    const wchar_t* const data = text.data();
    const std::size_t length = text.size();
    for (std::size_t i = 0; i < length;) {
        std::size_t n = length - i < kPiece ? length - i : kPiece;
        const auto last = static_cast<std::uint32_t>(data[i + n - 1]);
        if (sizeof(wchar_t) == 2 && i + n < length && last >= 0xD800 && last <= 0xDBFF)
            ++n;
        const wchar_t* const zero = std::wmemchr(data + i, L'\0', n);
        unicode::appendUtf8(out, data + i, zero ? static_cast<std::size_t>(zero - (data + i)) : n);
        i += n;
    }
}

// Appends the byte form of the document: mark, header, the tree and zeros. Answers false, with the
// buffer's content as it was, when the text holds a null character that the encoding's sink notes.
template <class Sink, class Rendered = noRendered>
bool saveInto(binaryBuffer& buffer, const xmlNode& root, const char* mark, const char* header, std::size_t zeros,
              const Rendered& renderedOf = Rendered()) {
    unitEstimate estimate;
    estimate.ascii(header, std::strlen(header));
    writeTree(estimate, root, string(), 0, renderedOf);
    const std::uint64_t start = buffer.logicalLength();
    const std::uint64_t units = estimate.units + estimate.units / 16; // a little for entities
    buffer.reserve(start + std::strlen(mark) + units * Sink::unitBytes + zeros);
    Sink sink(buffer, start);
    sink.raw(mark, std::strlen(mark));
    sink.ascii(header, std::strlen(header));
    writeTree(sink, root, string(), 0, renderedOf);
    sink.room(zeros);
    std::memset(sink.to, 0, zeros);
    sink.to += zeros;
    if (sink.hasNull)
        return false;
    buffer.setLogicalLength(sink.written());
    return true;
}

// --- encoding detection -------------------------------------------------------------------------------

// The encoding name of the declaration at the start of the block, empty when there is none. The
// scan looks for "encoding=" followed by '"' and collects up to the next '"'; an 'e' or 'E' anywhere
// starts a new name, so a value holding one is lost.
std::string declaredEncoding(const unsigned char* bytes, std::size_t size) {
    if (size < 3 || bytes[0] != '<' || bytes[1] != '?')
        return std::string();
    constexpr std::size_t kCollector = 127; // characters; more are not kept
    std::string collected;
    bool inName = false, inValue = false;
    const auto collect = [&collected](unsigned char c) {
        if (collected.size() < kCollector)
            collected += static_cast<char>(c);
    };
    for (std::size_t i = 2; i < size; ++i) {
        const unsigned char c = bytes[i];
        if (c == '?' && i + 1 < size && bytes[i + 1] == '>')
            break;
        if (c == 'e' || c == 'E') {
            inName = true;
            collect(c);
        } else if (!inName) {
            if (inValue) {
                if (c == '"')
                    return collected;
                collect(c);
            }
        } else if (std::strchr("=cCdDgGiInNoO", c) != nullptr && c != 0) {
            collect(c);
        } else {
            bool isKeyword = collected.size() == 9;
            for (std::size_t k = 0; isKeyword && k < 9; ++k)
                isKeyword = (collected[k] | 0x20) == "encoding="[k];
            if (isKeyword && c == '"')
                inValue = true;
            collected.clear();
            inName = false;
        }
    }
    return inValue ? collected : std::string();
}

} // namespace

// --- nodes ----------------------------------------------------------------------------------------------

refPtr<xmlNode> xmlNode::createXmlNode(const string& name) {
    return refPtr<xmlNode>(new xmlNode(name));
}

refPtr<xmlNode> xmlNode::createXmlNode(const const_refPtr<xmlNode>& node) {
    if (node.isNull())
        throw unexpectedErrorException(kNullNode);
    refPtr<xmlNode> root(new xmlNode(node->mName));
    root->mAttributes = node->mAttributes;
    root->mText = node->mText;
    // Level by level through a list rather than by recursion, so that any depth can be copied.
    std::vector<std::pair<const xmlNode*, xmlNode*>> work{{node.get(), root.get()}};
    while (!work.empty()) {
        const auto [from, to] = work.back();
        work.pop_back();
        to->mChildren.reserve(from->mChildren.size());
        for (const auto& child : from->mChildren) {
            if (child.isNull())
                throw unexpectedErrorException(kNullNode);
            refPtr<xmlNode> copy(new xmlNode(child->mName));
            copy->mAttributes = child->mAttributes;
            copy->mText = child->mText;
            to->mChildren.push_back(copy); // appended only: the copy has no parent pointer
            work.emplace_back(child.get(), copy.get());
        }
    }
    return root;
}

xmlNode::~xmlNode() {
    if (mChildren.empty())
        return;
    // Children that only this node holds hand their own children to the list before they go, so
    // that releasing a deep tree does not recurse once per level.
    std::vector<refPtr<xmlNode>> pending;
    pending.swap(mChildren);
    for (auto& child : pending)
        if (child)
            child->mpParent = nullptr;
    // Those nodes let go of their texts and lists at once but are themselves released a batch at
    // a time, after the room for the next batch has been taken. That spares a tree of many small
    // strings most of the cost of its release with glibc's heap: small blocks freed between the
    // frees of larger neighbours make it sweep its lists of small free blocks again after nearly
    // every node, while asking it for a larger block sweeps them once, while they are in the cache.
    constexpr std::size_t kBatch = 1024;
    std::vector<refPtr<xmlNode>> emptied;
    emptied.reserve(std::min(pending.size(), kBatch)); // a small tree takes one block for it
    while (!pending.empty()) {
        refPtr<xmlNode> last = std::move(pending.back());
        pending.pop_back();
        if (!last || last->getRefCount() != 1)
            continue; // held elsewhere too: it stays as it is
        for (auto& child : last->mChildren) {
            if (child)
                child->mpParent = nullptr;
            pending.push_back(std::move(child));
        }
        std::vector<refPtr<xmlNode>>().swap(last->mChildren);
        std::vector<attribute>().swap(last->mAttributes);
        string().swap(last->mName);
        string().swap(last->mText);
        if (emptied.size() == kBatch) {
            std::vector<refPtr<xmlNode>> next;
            next.reserve(kBatch);
            emptied.swap(next);
        }
        emptied.push_back(std::move(last));
    }
}

void xmlNode::deleteThis() {
    delete this;
}

xmlNode& xmlNode::operator=(const xmlNode& other) {
    if (this == &other)
        return *this;
    // The copies are made first: other may be one of the children about to go.
    std::vector<refPtr<xmlNode>> copies;
    copies.reserve(other.mChildren.size());
    for (const auto& child : other.mChildren)
        copies.push_back(createXmlNode(child));
    std::vector<attribute> attributes = other.mAttributes;
    string name = other.mName, text = other.mText;
    for (auto& child : mChildren)
        if (child)
            child->mpParent = nullptr;
    mChildren.swap(copies);
    mAttributes.swap(attributes);
    mName.swap(name);
    mText.swap(text);
    return *this;
}

bool xmlNode::addNode(refPtr<xmlNode>& node) {
    if (node.isNull() || node->mpParent != nullptr)
        return false;
    node->mpParent = this;
    mChildren.push_back(node);
    return true;
}

refPtr<xmlNode> xmlNode::createChildNode(const string& name) {
    refPtr<xmlNode> child = createXmlNode(name);
    addNode(child);
    return child;
}

bool xmlNode::removeNode(refPtr<xmlNode>& node) {
    for (auto it = mChildren.begin(); it != mChildren.end(); ++it) {
        if (it->get() == node.get() && !node.isNull()) {
            node->mpParent = nullptr;
            mChildren.erase(it);
            return true;
        }
    }
    return false;
}

refPtr<xmlNode> xmlNode::getFirstChildNode(const string& name, bool caseSensitive) {
    for (const auto& child : mChildren)
        if (child->mName.isEqualTo(name, caseSensitive))
            return child;
    return nullptr;
}

const_refPtr<xmlNode> xmlNode::getFirstChildNode(const string& name, bool caseSensitive) const {
    return const_cast<xmlNode*>(this)->getFirstChildNode(name, caseSensitive);
}

refPtr<xmlNode> xmlNode::getLastChildNode(const string& name, bool caseSensitive) {
    refPtr<xmlNode> found;
    for (const auto& child : mChildren)
        if (child->mName.isEqualTo(name, caseSensitive))
            found = child;
    return found;
}

const_refPtr<xmlNode> xmlNode::getLastChildNode(const string& name, bool caseSensitive) const {
    return const_cast<xmlNode*>(this)->getLastChildNode(name, caseSensitive);
}

refPtr<xmlNode> xmlNode::getNextChildNode(const const_refPtr<xmlNode>& current, bool caseSensitive) {
    if (current.isNull())
        return nullptr;
    bool passed = false;
    for (const auto& child : mChildren) {
        if (passed && child->mName.isEqualTo(current->mName, caseSensitive))
            return child;
        if (child.get() == current.get())
            passed = true;
    }
    return nullptr;
}

const_refPtr<xmlNode> xmlNode::getNextChildNode(const const_refPtr<xmlNode>& current, bool caseSensitive) const {
    return const_cast<xmlNode*>(this)->getNextChildNode(current, caseSensitive);
}

bool xmlNode::hasChildNode(const string& name, bool caseSensitive) const {
    return !getFirstChildNode(name, caseSensitive).isNull();
}

bool xmlNode::hasAttribute(const string& name) const {
    for (const auto& a : mAttributes)
        if (a.first == name)
            return true;
    return false;
}

bool xmlNode::getAttribute(const string& name, string& value) const {
    for (const auto& a : mAttributes) {
        if (a.first == name) {
            value = a.second;
            return true;
        }
    }
    return false;
}

void xmlNode::setAttribute(const string& name, const string& value) {
    for (auto& a : mAttributes) {
        if (a.first == name) {
            a.second = value;
            return;
        }
    }
    mAttributes.emplace_back(name, value);
}

void xmlNode::removeAttribute(const string& name) {
    for (auto it = mAttributes.begin(); it != mAttributes.end(); ++it) {
        if (it->first == name) {
            mAttributes.erase(it);
            return;
        }
    }
}

void xmlNode::getText(string& out, const string& indent) const {
    wideSink count{nullptr};
    writeTree(count, *this, indent);
    out.reserve(out.size() + count.units);
    wideSink sink{&out};
    writeTree(sink, *this, indent);
}

// --- the parser -------------------------------------------------------------------------------------

// The parser reads wide text, or UTF-8 bytes as they are: a document in UTF-8 is not widened
// whole first, which would take four bytes of memory per byte of the file. Every character the
// parser looks for is ASCII, and no byte of a longer UTF-8 sequence is one, so it finds them in
// the bytes where it finds them in the wide text; names and texts are widened as they are taken,
// and white space and the end tag's name are compared as the characters the bytes decode to.
// Both views read up to a null character.
struct wideText {
    using unit = wchar_t;
    const unit* find(const unit* p, char c) const { return std::wcschr(p, static_cast<wchar_t>(c)); }
    const unit* commentEnd(const unit* p) const { return std::wcsstr(p, L"-->"); }
    const unit* instructionEnd(const unit* p) const { return std::wcsstr(p, L"?>"); }
    // The units of the white space at p, 0 when there is none.
    static std::size_t spaceAt(const unit* p) { return isSpace(*p) ? 1 : 0; }
    // The units of the character at p when it is no white space, else 0.
    static std::size_t nonSpaceAt(const unit* p) { return isSpace(*p) ? 0 : 1; }
    static string make(const unit* from, const unit* to) { return string(from, to); }
    static void assignDecoded(string& target, const unit* from, const unit* to, std::wstring&) {
        vx::assignDecoded(target, from, to);
    }
    // Whether the text at p starts with name; p is then behind it.
    static bool startsWith(const unit*& p, const string& name) {
        if (std::wcsncmp(p, name.c_str(), name.size()) != 0)
            return false;
        p += name.size();
        return true;
    }
};

// The bytes are searched with memchr up to the first null, found once: the C library's string
// searches would measure the rest of the text on every call under a sanitizer.
struct utf8Text {
    using unit = char;
    const unit* end; // the first null character

    const unit* find(const unit* p, char c) const {
        return p < end ? static_cast<const unit*>(std::memchr(p, c, static_cast<std::size_t>(end - p))) : nullptr;
    }
    const unit* findText(const unit* p, const char* pattern, std::size_t length) const {
        for (; (p = find(p, pattern[0])) != nullptr; ++p)
            if (static_cast<std::size_t>(end - p) >= length && std::memcmp(p, pattern, length) == 0)
                return p;
        return nullptr;
    }
    const unit* commentEnd(const unit* p) const { return findText(p, "-->", 3); }
    const unit* instructionEnd(const unit* p) const { return findText(p, "?>", 2); }
    // The character at p as the wide text has it: its code point and its bytes.
    static std::uint32_t decodeAt(const unit* p, std::size_t& taken) {
        const auto byte = static_cast<unsigned char>(*p);
        if (byte < 0x80) {
            taken = 1;
            return byte;
        }
        return unicode::decodeUtf8At(p, strnlen(p, 4), taken);
    }
    // Where wide text is UTF-16 a character beyond U+FFFF is two units, neither of them space.
    static bool isSpaceCharacter(std::uint32_t c) {
        return !(unicode::kWideIsUtf16 && c > 0xFFFF) && isSpace(static_cast<wchar_t>(c));
    }
    static std::size_t spaceAt(const unit* p) {
        std::size_t taken = 1;
        const std::uint32_t c = decodeAt(p, taken);
        return isSpaceCharacter(c) ? taken : 0;
    }
    static std::size_t nonSpaceAt(const unit* p) {
        std::size_t taken = 1;
        const std::uint32_t c = decodeAt(p, taken);
        return isSpaceCharacter(c) ? 0 : taken;
    }
    // Names and short texts are widened on the stack and copied once, as wide text would be.
    static string make(const unit* from, const unit* to) {
        constexpr std::size_t kShort = 64;
        const auto length = static_cast<std::size_t>(to - from);
        if (length <= kShort) {
            wchar_t wide[kShort]; // never more units than bytes
            const wchar_t* const end = unicode::writeFromUtf8(wide, from, length);
            return string(static_cast<const wchar_t*>(wide), end);
        }
        string text;
        unicode::appendFromUtf8(text, from, length);
        return text;
    }
    static void assignDecoded(string& target, const unit* from, const unit* to, std::wstring& scratch) {
        const auto length = static_cast<std::size_t>(to - from);
        if (!std::memchr(from, '&', length)) {
            string made = make(from, to);
            target.swap(made);
            return;
        }
        scratch.clear();
        unicode::appendFromUtf8(scratch, from, length);
        vx::assignDecoded(target, scratch.data(), scratch.data() + scratch.size());
    }
    static bool startsWith(const unit*& p, const string& name) {
        const unit* q = p;
        for (std::size_t i = 0; i < name.size();) {
            std::size_t taken = 1;
            const std::uint32_t c = decodeAt(q, taken);
            if (c == 0)
                return false;
            wchar_t units[2];
            const std::size_t n = unicode::putCodePoint(units, c);
            if (i + n > name.size() || std::wmemcmp(name.data() + i, units, n) != 0)
                return false;
            i += n;
            q += taken;
        }
        p = q;
        return true;
    }
};

template <class Text>
const typename Text::unit* skipSpaceIn(const typename Text::unit* p) {
    while (const std::size_t n = Text::spaceAt(p))
        p += n;
    return p;
}

// One parse: its options and the children collected so far. Each element's new children lie at
// the end of one shared list while it is parsed, so nothing is allocated per element for them.
struct xmlNode::parser {
    bool keepWhitespace;
    std::vector<refPtr<xmlNode>> collected;
    // The attributes of the element at hand, so that each element allocates its list once.
    std::vector<attribute> attributes;
    std::wstring scratch; // UTF-8 text with entities, widened before they are resolved

    // The attributes collected go to the node, behind those it had.
    void takeAttributes(xmlNode& node) {
        if (attributes.empty())
            return;
        node.mAttributes.reserve(node.mAttributes.size() + attributes.size());
        for (auto& a : attributes)
            node.mAttributes.push_back(std::move(a));
        attributes.clear();
    }

    // Sets target to the text between from and to: trimmed of spaces and tabs unless whitespace
    // is kept, entities resolved.
    template <class Text>
    void setText(string& target, const typename Text::unit* from, const typename Text::unit* to) {
        if (!keepWhitespace) {
            while (from < to && (*from == ' ' || *from == '\t'))
                ++from;
            while (to > from && (to[-1] == ' ' || to[-1] == '\t'))
                --to;
        }
        Text::assignDecoded(target, from, to, scratch);
    }

    // p is behind the '/' of an end tag: the tag must name the element (over the name's length)
    // and end in '>'. Answers the position behind it.
    template <class Text>
    static const typename Text::unit* endTag(const typename Text::unit* p, const string& name) {
        p = skipSpaceIn<Text>(p);
        if (!Text::startsWith(p, name))
            invalidFormat();
        p = skipSpaceIn<Text>(p);
        if (*p != '>')
            invalidFormat();
        return p + 1;
    }

    // The children of node parsed since first are appended to those it had.
    void takeChildren(xmlNode& node, std::size_t first) {
        if (collected.size() == first)
            return;
        if (node.mChildren.empty()) {
            node.mChildren.assign(std::make_move_iterator(collected.begin() + static_cast<std::ptrdiff_t>(first)),
                                  std::make_move_iterator(collected.end()));
        } else {
            node.mChildren.insert(node.mChildren.end(),
                                  std::make_move_iterator(collected.begin() + static_cast<std::ptrdiff_t>(first)),
                                  std::make_move_iterator(collected.end()));
        }
        collected.resize(first);
    }

    template <class Text>
    void readAttributes(const Text& view, const typename Text::unit*& q);
    template <class Text>
    const typename Text::unit* parse(const Text& view, xmlNode& node, const typename Text::unit* text, int depth);

    template <class Text>
    static const typename Text::unit* parseInto(xmlNode& node, const Text& view, const typename Text::unit* text,
                                                bool keepWhitespace) {
        parser state{keepWhitespace, {}, {}, {}};
        try {
            return state.parse<Text>(view, node, text, 1);
        } catch (const std::bad_alloc&) {
            throw outOfMemoryException();
        }
    }
};

// Reads attributes from q up to the "/>", the ">" or the end of the text, where q is left.
template <class Text>
void xmlNode::parser::readAttributes(const Text& view, const typename Text::unit*& q) {
    using unit = typename Text::unit;
    for (;;) {
        if (*q == '\0')
            break;
        q = skipSpaceIn<Text>(q);
        if (*q == '>' || (*q == '/' && q[1] == '>'))
            break;
        const unit* const attributeName = q;
        while (*q != '\0' && *q != '=') {
            const std::size_t n = Text::nonSpaceAt(q);
            if (!n)
                break;
            q += n;
        }
        const unit* const attributeNameEnd = q;
        const unit* const equals = view.find(q, '=');
        if (!equals)
            invalidFormat();
        q = skipSpaceIn<Text>(equals + 1);
        const unit quote = *q;
        if (quote != '"' && quote != '\'')
            invalidFormat();
        const unit* const valueEnd = view.find(q + 1, static_cast<char>(quote));
        if (!valueEnd)
            invalidFormat();
        string value;
        Text::assignDecoded(value, q + 1, valueEnd, scratch);
        attributes.emplace_back(Text::make(attributeName, attributeNameEnd), std::move(value));
        q = valueEnd + 1;
    }
}

template <class Text>
const typename Text::unit* xmlNode::parser::parse(const Text& view, xmlNode& node, const typename Text::unit* text,
                                                  int depth) {
    using unit = typename Text::unit;
    // The element start: comments, processing instructions and declarations are passed over.
    const unit* p = text;
    for (;;) {
        p = view.find(p, '<');
        if (!p)
            return nullptr;
        const unit* end;
        if (p[1] == '!' && p[2] == '-' && p[3] == '-') {
            end = view.commentEnd(p + 4);
            if (!end)
                return nullptr;
            p = end + 3;
        } else if (p[1] == '?') {
            end = view.instructionEnd(p + 2);
            if (!end)
                return nullptr;
            p = end + 2;
        } else if (p[1] == '!') {
            end = view.find(p + 2, '>');
            if (!end)
                return nullptr;
            p = end + 1;
        } else {
            break;
        }
    }
    const unit* q = skipSpaceIn<Text>(p + 1);
    if (*q == '\0')
        invalidFormat();
    if (*q == '/')
        return p; // an end tag: no element here

    // The name runs to whitespace, '>', the end, or a "/>".
    const unit* const nameStart = q;
    for (;;) {
        const unit c = *q;
        if (c == '\0' || c == '>')
            break;
        if (c == '/') {
            if (q[1] == '>')
                break;
            invalidFormat();
        }
        const std::size_t n = Text::nonSpaceAt(q);
        if (!n)
            break;
        q += n;
    }
    string name = Text::make(nameStart, q);
    node.mName.swap(name);

    // Attributes. Anything between a name and the next '=' is passed over. Those read before a
    // failure stay with the node.
    try {
        readAttributes<Text>(view, q);
    } catch (...) {
        takeAttributes(node);
        throw;
    }
    takeAttributes(node);
    const std::size_t first = collected.size();
    if (*q != '>')
        return q; // "/>" or the end of the text: the element is complete

    // Content: a text-only element, or text in front of child elements.
    const unit* const content = q + 1;
    const unit* lastOpen = view.find(content, '<');
    if (!lastOpen)
        invalidFormat();
    if (lastOpen[1] == '/') {
        const unit* const behind = endTag<Text>(lastOpen + 2, node.mName);
        setText<Text>(node.mText, content, lastOpen);
        return behind;
    }
    const unit* position = skipSpaceIn<Text>(content);
    if (position < lastOpen)
        setText<Text>(node.mText, position, lastOpen);

    // Children, up to the end tag; text between and behind them is passed over.
    while (lastOpen[1] != '\0') {
        const unit* const open = view.find(position, '<');
        if (!open)
            invalidFormat();
        lastOpen = open;
        const unit* const afterOpen = skipSpaceIn<Text>(open + 1);
        if (*afterOpen == '/') {
            position = endTag<Text>(afterOpen + 1, node.mName);
            break;
        }
        if (depth >= kMaxDepth)
            invalidFormat();
        refPtr<xmlNode> child(new xmlNode());
        const unit* const behind = parse<Text>(view, *child, open, depth + 1);
        if (!behind) {
            collected.resize(first);
            return nullptr;
        }
        if (!child->mName.empty()) {
            child->mpParent = &node;
            collected.push_back(std::move(child));
        }
        position = behind;
    }
    takeChildren(node, first);
    return position;
}

const wchar_t* xmlNode::parseText(const wchar_t* text, bool keepWhitespace) {
    if (!text)
        throw unexpectedErrorException(kNullText);
    return parser::parseInto(*this, wideText(), text, keepWhitespace);
}

const char* xmlNode::parseUtf8Text(const char* text, bool keepWhitespace) {
    if (!text)
        throw unexpectedErrorException(kNullText);
    return parser::parseInto(*this, utf8Text{text + std::strlen(text)}, text, keepWhitespace);
}

// --- documents ------------------------------------------------------------------------------------------

refPtr<xmlDocument> xmlDocument::createXmlDocument() {
    return refPtr<xmlDocument>(new xmlDocument());
}

xmlDocument::~xmlDocument() = default;

void xmlDocument::load(const char* data, std::uint64_t size, bool keepWhitespace) {
    if (!data)
        return;
    if (size > std::numeric_limits<std::size_t>::max() / sizeof(wchar_t))
        throw outOfMemoryException();
    const auto* bytes = reinterpret_cast<const unsigned char*>(data);
    const auto n = static_cast<std::size_t>(size);
    // UTF-8, the usual case, is parsed as it is, from a copy that ends in a null character.
    std::unique_ptr<char[]> utf8Text;
    const auto fromUtf8 = [&utf8Text](const char* from, std::size_t length) {
        utf8Text.reset(new char[length + 1]);
        std::memcpy(utf8Text.get(), from, length);
        utf8Text[length] = '\0';
    };
    std::wstring text;
    try {
        std::size_t markLength = 0;
        const unicode::byteOrderMark mark = unicode::markAt(bytes, n, markLength);
        if (mark == unicode::byteOrderMark::utf8) {
            if (n < 4)
                throw false;
            fromUtf8(data + markLength, n - markLength);
        } else if (mark == unicode::byteOrderMark::utf16Le) {
            unicode::appendFromUtf16Le(text, bytes + markLength, n - markLength);
        } else {
            std::string name = declaredEncoding(bytes, n);
            for (char& c : name)
                c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
            if (name.empty() || name == "utf-8") {
                if (n == 0)
                    throw false; // nothing to convert is a failed conversion
                fromUtf8(data, n);
            } else if (name == "utf-16") {
                // A declaration was found, so there are at least 3 bytes.
                unicode::appendFromUtf16Le(text, bytes + 2, n - 2);
            } else {
                platform::appendFromNamedEncoding(text, name.c_str(), data, n);
            }
        }
    } catch (const std::bad_alloc&) {
        throw outOfMemoryException();
    }
    if (utf8Text)
        parseUtf8Text(utf8Text.get(), keepWhitespace);
    else
        parseText(text.c_str(), keepWhitespace);
}

void xmlDocument::load(const file& f, bool keepWhitespace) {
    if (!f.exists())
        throw fileNotFoundException(f);
    const unsigned long size = f.size();
    if (size == 0)
        return;
    const std::unique_ptr<char, void (*)(void*)> block(static_cast<char*>(std::malloc(size)), std::free);
    if (!block)
        throw outOfMemoryException();
    platform::fileHandle handle;
    if (!handle.open(f.fullName(), platform::fileHandle::openRead))
        throw readFileException(f);
    std::size_t total = 0;
    while (total < size) {
        std::size_t got = 0;
        if (!handle.read(block.get() + total, size - total, got) || got == 0)
            break;
        total += got;
    }
    if (total < size)
        throw readFileException(f);
    handle.close();
    try {
        load(block.get(), size, keepWhitespace);
    } catch (const unexpectedErrorException&) {
        throw invalidXmlException(f);
    }
}

void xmlDocument::save(binaryBuffer& buffer, eEncoding encoding) const {
    const char* const header = headerOf(encoding);
    if (encoding != eUtf8) {
        saveInto<utf16Sink>(buffer, *this, "", header, 2);
        return;
    }
    if (saveInto<utf8Sink>(buffer, *this, "\xEF\xBB\xBF", header, 0))
        return;
    // A null character ends its piece of the conversion, so the wide text is made first.
    string text;
    text.append(header, header + std::strlen(header));
    getText(text, string());
    std::string bytes = "\xEF\xBB\xBF";
    appendUtf8Pieces(bytes, text);
    buffer.write(bytes.data(), bytes.size());
}

// --- rendered elements ------------------------------------------------------------------------------

namespace {

// Deeper elements stay nodes; the database nests far less.
constexpr int kMaxRenderedDepth = 256;

// The ASCII characters of plain names, as bits: '-', '.', digits, ':', letters and '_'.
constexpr std::uint64_t kNameBitsLow = 1ull << '-' | 1ull << '.' | 0x03FF000000000000ull | 1ull << ':';
constexpr std::uint64_t kNameBitsHigh = 0x07FFFFFE87FFFFFEull; // 'A'-'Z', '_', 'a'-'z' (from 64)

bool isPlainName(const string& name) {
    if (name.empty())
        return false;
    for (const wchar_t c : name) {
        const auto u = static_cast<std::uint32_t>(c);
        const bool plain = u < 64 ? ((kNameBitsLow >> u) & 1) != 0 : u < 128 && ((kNameBitsHigh >> (u - 64)) & 1) != 0;
        if (!plain)
            return false;
    }
    return true;
}

// Characters that the writer puts as they are or as entities decoded in one step; a text with
// '&' might decode further, and a surrogate or a value beyond Unicode might not come back.
bool isFaithfulText(const string& text) {
    for (const wchar_t c : text) {
        const auto u = static_cast<std::uint32_t>(c);
        if (u - 0x20 < 0xD800 - 0x20 ? u == '&' : (u < 0x20 || u <= 0xDFFF || u > 0x10FFFF))
            return false;
    }
    return true;
}

bool isFaithful(const xmlNode& node, int depth) {
    if (depth > kMaxRenderedDepth || typeid(node) != typeid(xmlNode) || node.getRefCount() != 1)
        return false;
    if (!isPlainName(node.name()) || !isFaithfulText(node.text()) ||
        (!node.children().empty() && !node.text().empty()))
        return false;
    for (const auto& a : node.attributes())
        if (!isPlainName(a.first) || !isFaithfulText(a.second))
            return false;
    for (const refPtr<xmlNode>& child : node.children())
        if (!child || !isFaithful(*child, depth + 1))
            return false;
    return true;
}

} // namespace

bool detail::rendersFaithfully(const xmlNode& element) { return isFaithful(element, 0); }

void detail::render(renderedElements& to, const xmlNode& element, std::size_t depth) {
    utf8Sink sink(to.text, to.text.logicalLength());
    writeTree(sink, element, string(), depth, noRendered(), &to.open);
    to.text.setLogicalLength(sink.written());
    ++to.count;
}

void detail::appendRendered(xmlNode& parent, const renderedElements& from) {
    if (from.count == 0)
        return;
    static const char kOpen[] = "\xEF\xBB\xBF<r>\n", kClose[] = "</r>\n";
    binaryBuffer block;
    block.write(kOpen, sizeof kOpen - 1);
    block.write(from.text.data(), from.text.logicalLength());
    block.write(kClose, sizeof kClose - 1);
    std::vector<refPtr<xmlNode>> elements;
    {
        const refPtr<xmlDocument> holder = xmlDocument::createXmlDocument();
        holder->load(block.data(), block.logicalLength(), true);
        elements = holder->children();
    } // the holder goes; the elements, held here, lose their parent
    for (refPtr<xmlNode>& element : elements)
        parent.addNode(element);
}

bool detail::saveWithRendered(binaryBuffer& buffer, const xmlNode& root,
                              const std::function<const renderedElements*(const xmlNode&)>& renderedOf) {
    return saveInto<utf8Sink>(buffer, root, "\xEF\xBB\xBF", headerOf(xmlDocument::eUtf8), 0, renderedOf);
}

void xmlDocument::save(const file& f, eEncoding encoding) const {
    if (!f.isWriteable())
        throw writeFileException(f);
    binaryBuffer buffer;
    save(buffer, encoding);
    // Written beside the file and put in its place when complete: a failed write leaves the old
    // file whole.
    if (!buffer.writeToFile(f, false))
        throw writeFileException(f);
}

// Defined here once as well, so that the library exports it: on Windows a caller that takes it
// by reference finds it in the DLL.
constexpr int xmlNode::kMaxDepth;

} // namespace vx
