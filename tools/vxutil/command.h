// The subcommands of vxutil and what they share.
//
// Each source file of the tool defines its commands and registers them with one static object:
//
//     const vxutil::registration registered{
//         {"lower", "the text in lower case", "TEXT\n\nPrints TEXT in lower case.", runLower},
//     };
//
// The registration runs before main, so every source linked into the executable adds its commands;
// nothing else needs to know about them.
#pragma once

#include <vxException.h>
#include <vxString.h>

#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vxutil {

using arguments = std::vector<vx::string>;

struct command {
    const char* name;
    const char* summary; // one line, shown in the listing of all commands
    const char* usage;   // the synopsis after "vxutil NAME", then a blank line and the description
    int (*run)(arguments args); // the exit code: 0 done, 1 a negative answer
};

class registration {
public:
    registration(std::initializer_list<command> commands);
};

// Every registered command, sorted by name.
const std::vector<command>& allCommands();
// The command of that name, or null.
const command* findCommand(std::string_view name);

// Bad usage. A command throws it; the tool reports the message on one line and exits with 2.
class usageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The options given, taken out of args. Options are the arguments of the form "--name" (lower-case
// words joined by single hyphens) before a lone "--", which is taken out too and lets later
// arguments look like options. An option that is not among known is a usage error.
class options {
public:
    bool has(std::string_view name) const;
    std::vector<std::string> given;
};
options takeOptions(arguments& args, std::initializer_list<std::string_view> known = {});

// A usage error unless args holds from min to max arguments.
void expectCount(const arguments& args, std::size_t min, std::size_t max);

// Whole numbers in decimal or, after "0x", in hexadecimal; anything else, or a number outside the
// range, is a usage error.
long long toInteger(const vx::string& text, long long min, long long max);
unsigned long long toUnsigned(const vx::string& text, unsigned long long max);
double toDouble(const vx::string& text);
long double toLongDouble(const vx::string& text);

// The text for a message, in quotes, shown as shown() shows it.
std::string quoted(const vx::string& text);

// A name or text taken from a file, as a person may see it: every control character (C0, DEL
// and C1, null, tab and line feed included) becomes \xHH, so that nothing a file holds can move
// the cursor, recolour the terminal, end a line or cut the text short.
vx::string shown(const vx::string& text);

// Writes text and a line end to standard output, in UTF-8. Control characters other than tab and
// line feed are shown as \xHH; the bytes of a native name that are not UTF-8 (held as U+DC80 to
// U+DCFF) are written as they are, so that what is printed can be given back as an argument.
void printLine(const vx::string& text);

// Reports a failure about subject on one line of standard error: "vxutil: 'subject': what".
// Answers 1, the exit status of a failure; the second form reports a library exception.
int failure(const vx::string& subject, const std::string& what);
int failure(const vx::string& subject, const vx::exception& e);

} // namespace vxutil
