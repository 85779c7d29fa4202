// Named encodings through the code pages of Windows.
#include "platform/codePage.h"

#include <windows.h>

#include <cstring>

namespace vx::platform {

namespace {

struct namedCodePage {
    const char* name; // lower case
    UINT codePage;
};

// The names documents use for the code pages Windows converts.
constexpr namedCodePage kCodePages[] = {
    {"windows-1250", 1250}, {"windows-1251", 1251}, {"windows-1252", 1252}, {"windows-1253", 1253},
    {"windows-1254", 1254}, {"windows-1255", 1255}, {"windows-1256", 1256}, {"windows-1257", 1257},
    {"windows-1258", 1258}, {"cp1250", 1250},       {"cp1251", 1251},       {"cp1252", 1252},
    {"cp1253", 1253},       {"cp1254", 1254},       {"cp1255", 1255},       {"cp1256", 1256},
    {"cp1257", 1257},       {"cp1258", 1258},       {"iso-8859-1", 28591},  {"iso8859-1", 28591},
    {"latin1", 28591},      {"iso-8859-2", 28592},  {"iso-8859-3", 28593},  {"iso-8859-4", 28594},
    {"iso-8859-5", 28595},  {"iso-8859-6", 28596},  {"iso-8859-7", 28597},  {"iso-8859-8", 28598},
    {"iso-8859-9", 28599},  {"iso-8859-13", 28603}, {"iso-8859-15", 28605}, {"latin-9", 28605},
    {"us-ascii", 20127},    {"ascii", 20127},       {"ibm437", 437},        {"cp437", 437},
    {"ibm850", 850},        {"cp850", 850},         {"ibm852", 852},        {"cp852", 852},
    {"ibm866", 866},        {"cp866", 866},         {"koi8-r", 20866},      {"koi8-u", 21866},
    {"shift_jis", 932},     {"sjis", 932},          {"cp932", 932},         {"gb2312", 936},
    {"gbk", 936},           {"cp936", 936},         {"gb18030", 54936},     {"big5", 950},
    {"cp950", 950},         {"ks_c_5601-1987", 949}, {"cp949", 949},        {"windows-874", 874},
    {"tis-620", 874},       {"macintosh", 10000},   {"utf-7", 65000},
};

UINT codePageOf(const char* name) {
    char lower[64] = {};
    const std::size_t length = std::strlen(name);
    if (length >= sizeof lower)
        return 1252;
    for (std::size_t i = 0; i < length; ++i)
        lower[i] = name[i] >= 'A' && name[i] <= 'Z' ? static_cast<char>(name[i] - 'A' + 'a') : name[i];
    for (const namedCodePage& entry : kCodePages)
        if (std::strcmp(entry.name, lower) == 0)
            return IsValidCodePage(entry.codePage) ? entry.codePage : 1252;
    return 1252;
}

} // namespace

void appendFromNamedEncoding(std::wstring& out, const char* name, const char* bytes, std::size_t n) {
    const UINT codePage = codePageOf(name);
    // Converted in pieces that an int can count; a piece ends before a lead byte of the code page,
    // so that no character is cut in two.
    std::size_t done = 0;
    while (done < n) {
        std::size_t piece = n - done;
        if (piece > (1u << 30)) {
            piece = 1u << 30;
            while (piece > 1 && IsDBCSLeadByteEx(codePage, static_cast<BYTE>(bytes[done + piece - 1])))
                --piece;
        }
        const int count = MultiByteToWideChar(codePage, 0, bytes + done, static_cast<int>(piece), nullptr, 0);
        if (count > 0) {
            const std::size_t start = out.size();
            out.resize(start + static_cast<std::size_t>(count));
            MultiByteToWideChar(codePage, 0, bytes + done, static_cast<int>(piece), &out[start], count);
        }
        done += piece;
    }
}

} // namespace vx::platform
