// locMessage: the text of one message while its parameters are filled in.
//
// A message comes as written in a language file: an optional severity prefix ("E:", "W:",
// "I:") and placeholders. A named placeholder is "[Name]", optionally with a printf-style
// format after the name, for example "[Size%5.2f]"; an unnamed one is "$1", "$2", ... Each
// insertParameter call replaces one placeholder with a value, converted as the placeholder's
// format asks.
#pragma once

#include "vxExport.h"
#include "vxString.h"

namespace vx {

enum eMsgState {
    eMsgNone = 0,
    eMsgInfo = 1,    // prefix "I:" or "i:"
    eMsgWarning = 2, // prefix "W:" or "w:"
    eMsgError = 3    // prefix "E:" or "e:"
};

class VX_API locMessage : public string {
public:
    locMessage();
    // As setMessage.
    locMessage(const wchar_t* text);
    // Copies carry a state object of their own.
    locMessage(const locMessage& other);
    locMessage(locMessage&& other) noexcept;
    locMessage& operator=(const locMessage& other);
    locMessage& operator=(locMessage&& other) noexcept;
    ~locMessage();

    // Starts a new message: the count of unnamed parameters goes back to 0, a severity prefix
    // (any character followed by ':') is taken off and sets the state (a letter other than
    // I, W or E gives eMsgNone), then leading blanks (U+0020) are removed. A null text gives
    // the empty text. Throws outOfMemoryException if the state cannot be allocated.
    void setMessage(const wchar_t* text);

    // The severity of the prefix; eMsgNone without prefix.
    eMsgState msgState() const;

    operator const wchar_t*() const { return c_str(); }

    // Each adds one line feed; they cannot fail.
    bool appendEndline();
    bool prependEndline();

    // Replaces the placeholder of the given name, or with a null name the next unnamed one
    // ("$k" with k counting the unnamed calls since setMessage), by the value.
    //
    // "[Name]" matches when the text after the "[" begins with Name and the character behind
    // the name is "]" or cannot be part of a name (anything but a letter, digit or "_"); the
    // placeholder then reaches to the next "]". A "[" behind a backslash does not count, and
    // a "[" with no "]" after it is no placeholder. The first printf conversion in the
    // placeholder (at most 15 characters, ending in one of c d i o u x X e E f g G s C S)
    // formats the value; without one the value is inserted as "%s" would.
    //
    // If there is no such placeholder, the first printf conversion of the whole text takes
    // its place. Answers false, leaving the text unchanged, when there is none either.
    //
    // Integer formats read the value text as a 32-bit number (saturating at the limits),
    // floating-point formats as a double; a value text that holds no number is inserted as
    // it stands. %C and %S give the empty text. The output of one insertion holds at most 511
    // characters, or the value's length plus 255 for values longer than 256 characters.
    bool insertParameter(const wchar_t* value, const wchar_t* name = nullptr); // null: empty text
    bool insertParameter(const locMessage& value, const wchar_t* name = nullptr);
    bool insertParameter(short value, const wchar_t* name = nullptr);  // "%hd"
    bool insertParameter(int value, const wchar_t* name = nullptr);    // "%d"
    bool insertParameter(long value, const wchar_t* name = nullptr);   // "%ld", 32 bits
    bool insertParameter(double value, const wchar_t* name = nullptr); // "%lf"
    bool insertParameter(bool value, const wchar_t* name = nullptr);   // "True" or "False"
    bool insertParameter(wchar_t value, const wchar_t* name = nullptr); // one character

private:
    bool insertText(const string& value, const wchar_t* name);
    bool findNamed(const wchar_t* name, size_type& begin, size_type& end) const;
    bool findNumbered(int number, size_type& begin, size_type& end) const;

    int mParameterCount;   // unnamed parameters inserted since setMessage
    eMsgState* mpState;    // owned; only present after a message with a severity prefix
};

} // namespace vx
