// The splitting of a command line, alike on every system.
#include "platform/processes.h"

namespace vx::platform {

namespace {
bool isBlank(wchar_t c) {
    return c == L' ' || c == L'\t';
}
} // namespace

std::vector<std::wstring> splitCommandLine(const std::wstring& commandLine) {
    std::vector<std::wstring> arguments;
    const std::size_t size = commandLine.size();
    std::size_t i = 0;

    // The program name knows no backslash rule: a quote opens it up to the next quote.
    std::wstring program;
    bool quoted = false;
    for (; i < size; ++i) {
        const wchar_t c = commandLine[i];
        if (c == L'"')
            quoted = !quoted;
        else if (!quoted && isBlank(c))
            break;
        else
            program += c;
    }
    arguments.push_back(program);

    for (;;) {
        while (i < size && isBlank(commandLine[i]))
            ++i;
        if (i >= size)
            break;
        std::wstring argument;
        bool inQuotes = false;
        while (i < size) {
            std::size_t slashes = 0;
            while (i < size && commandLine[i] == L'\\') {
                ++slashes;
                ++i;
            }
            bool copy = true;
            if (i < size && commandLine[i] == L'"') {
                if (slashes % 2 == 0) {
                    if (inQuotes && i + 1 < size && commandLine[i + 1] == L'"')
                        ++i; // "" inside quotes stands for one quote, and quoting goes on
                    else {
                        copy = false;
                        inQuotes = !inQuotes;
                    }
                }
                slashes /= 2;
            }
            argument.append(slashes, L'\\');
            if (i >= size || (!inQuotes && isBlank(commandLine[i])))
                break;
            if (copy)
                argument += commandLine[i];
            ++i;
        }
        arguments.push_back(argument);
    }
    return arguments;
}

std::wstring quoteArgument(const std::wstring& argument) {
    if (!argument.empty() && argument.find_first_of(L" \t\"") == std::wstring::npos)
        return argument;
    std::wstring quoted = L"\"";
    std::size_t slashes = 0;
    for (const wchar_t c : argument) {
        if (c == L'\\') {
            ++slashes;
            continue;
        }
        // Backslashes before a quote are doubled, and the quote gets one of its own.
        quoted.append(c == L'"' ? 2 * slashes + 1 : slashes, L'\\');
        slashes = 0;
        quoted += c;
    }
    // So are those before the closing quote.
    quoted.append(2 * slashes, L'\\');
    quoted += L'"';
    return quoted;
}

} // namespace vx::platform
