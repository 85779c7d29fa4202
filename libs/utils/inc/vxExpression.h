// expression: an arithmetic text evaluated once, when it is constructed.
//
// Grammar: numbers (digits with an optional '.' or ',' and fraction, and an optional exponent
// such as "1e3"), unary '-' and '+', the operators + - * / and ^ (power, right-associative, binding
// tighter than unary minus: -2^2 is -4), parentheses and blanks. Malformed text, a division by
// zero, a result that is not a finite number, or nesting deeper than 256 levels make the
// expression invalid; its result is then 0.
#pragma once

#include "vxExport.h"
#include "vxString.h"

namespace vx {

class VX_API expression {
public:
    explicit expression(const string& text);

    bool isValid() const { return mValid; }
    double result() const { return mResult; }

private:
    double mResult = 0.0;
    bool mValid = false;
};

} // namespace vx
