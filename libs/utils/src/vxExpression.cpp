#include "vxExpression.h"

#include "vxTypeConversion.h"

#include <cmath>

namespace vx {

namespace {

constexpr int kMaxDepth = 256;

// Recursive descent; every failure throws false out of the parse.
class parser {
public:
    explicit parser(const string& text) : mText(text) {}

    double parseAll() {
        const double value = sum(0);
        skipBlanks();
        if (mPosition != mText.size())
            throw false;
        return value;
    }

private:
    void skipBlanks() {
        while (mPosition < mText.size() && (mText[mPosition] == L' ' || mText[mPosition] == L'\t'))
            ++mPosition;
    }

    bool take(wchar_t c) {
        skipBlanks();
        if (mPosition < mText.size() && mText[mPosition] == c) {
            ++mPosition;
            return true;
        }
        return false;
    }

    static double finite(double value) {
        if (!std::isfinite(value))
            throw false;
        return value;
    }

    double sum(int depth) {
        double value = product(depth);
        for (;;) {
            if (take(L'+'))
                value = finite(value + product(depth));
            else if (take(L'-'))
                value = finite(value - product(depth));
            else
                return value;
        }
    }

    double product(int depth) {
        double value = unary(depth);
        for (;;) {
            if (take(L'*')) {
                value = finite(value * unary(depth));
            } else if (take(L'/')) {
                const double divisor = unary(depth);
                if (divisor == 0.0)
                    throw false;
                value = finite(value / divisor);
            } else {
                return value;
            }
        }
    }

    double unary(int depth) {
        if (depth > kMaxDepth)
            throw false;
        if (take(L'-'))
            return -unary(depth + 1);
        if (take(L'+'))
            return unary(depth + 1);
        return power(depth);
    }

    double power(int depth) {
        const double base = primary(depth);
        if (take(L'^'))
            return finite(std::pow(base, unary(depth + 1)));
        return base;
    }

    double primary(int depth) {
        if (take(L'(')) {
            if (depth > kMaxDepth)
                throw false;
            const double value = sum(depth + 1);
            if (!take(L')'))
                throw false;
            return value;
        }
        return number();
    }

    static bool isDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

    double number() {
        skipBlanks();
        const string::size_type start = mPosition;
        auto digits = [this]() {
            const string::size_type from = mPosition;
            while (mPosition < mText.size() && isDigit(mText[mPosition]))
                ++mPosition;
            return mPosition - from;
        };
        std::size_t count = digits();
        if (mPosition < mText.size() && (mText[mPosition] == L'.' || mText[mPosition] == L',')) {
            ++mPosition;
            count += digits();
        }
        if (count == 0)
            throw false;
        if (mPosition < mText.size() && (mText[mPosition] == L'e' || mText[mPosition] == L'E')) {
            string::size_type mark = mPosition + 1;
            if (mark < mText.size() && (mText[mark] == L'+' || mText[mark] == L'-'))
                ++mark;
            if (mark < mText.size() && isDigit(mText[mark])) {
                mPosition = mark;
                digits();
            }
        }
        double value;
        if (!typeconvert::dtconvert(value, string(mText.substr(start, mPosition - start))))
            throw false;
        return finite(value);
    }

    const string& mText;
    string::size_type mPosition = 0;
};

} // namespace

expression::expression(const string& text) {
    try {
        mResult = parser(text).parseAll();
        mValid = true;
    } catch (bool) {
        mResult = 0.0;
        mValid = false;
    }
}

} // namespace vx
