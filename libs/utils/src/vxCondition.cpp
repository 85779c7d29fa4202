#include "vxCondition.h"

#include "vxAssert.h"
#include "vxException.h"
#include "vxTypeConversion.h"
#include "vxUnicode.h"

#include <cwctype>
#include <memory>
#include <type_traits>

namespace vx::conditions {

namespace {

// --- the types of the language: the word parse reads and the name toString prints ---------------

template <class T>
struct typeNames;
#define VX_CONDITION_TYPE_NAMES(T, WORD, NAME)                                                    \
    template <>                                                                                   \
    struct typeNames<T> {                                                                         \
        static const wchar_t* word() { return WORD; }                                             \
        static const wchar_t* name() { return NAME; }                                             \
    }
// The printed names are the compiler's names of the types, which differ from the type words for
// the unsigned types: such a text does not parse back.
VX_CONDITION_TYPE_NAMES(bool, L"bool", L"bool");
VX_CONDITION_TYPE_NAMES(short, L"short", L"short");
VX_CONDITION_TYPE_NAMES(int, L"int", L"int");
VX_CONDITION_TYPE_NAMES(long, L"long", L"long");
VX_CONDITION_TYPE_NAMES(unsigned short, L"ushort", L"unsigned short");
VX_CONDITION_TYPE_NAMES(unsigned int, L"uint", L"unsigned int");
VX_CONDITION_TYPE_NAMES(unsigned long, L"ulong", L"unsigned long");
VX_CONDITION_TYPE_NAMES(float, L"float", L"float");
VX_CONDITION_TYPE_NAMES(double, L"double", L"double");
VX_CONDITION_TYPE_NAMES(vx::string, L"string", L"string");
VX_CONDITION_TYPE_NAMES(vx::guid, L"", L"guid");
#undef VX_CONDITION_TYPE_NAMES

template <class T>
vx::string textOf(const T& value) {
    if constexpr (std::is_same<T, vx::string>::value) {
        return value;
    } else {
        vx::string text;
        typeconvert::dtconvert<vx::string, T>(text, value);
        return text;
    }
}

template <class T>
bool fromText(T& out, const vx::string& text) {
    if constexpr (std::is_same<T, vx::string>::value) {
        out = text;
        return true;
    } else {
        return typeconvert::dtconvert<T, vx::string>(out, text);
    }
}

// Integers and bool go into SQL through "%d", as 32-bit numbers; floating point through "%f".
template <class T>
vx::string sqlNumber(const T& value) {
    if constexpr (std::is_floating_point<T>::value)
        return vx::string::sformat(L"%f", static_cast<double>(value));
    else
        return vx::string::sformat(L"%d", static_cast<int>(value));
}

// A string handed to "%d": the number its first four bytes make in UTF-16, as the short text
// stored inside a string object on the system this SQL text comes from. No usable SQL.
vx::string sqlNumberOfText(const vx::string& text) {
    std::string bytes;
    unicode::appendUtf16Le(bytes, text.c_str(), text.size() < 2 ? text.size() : 2);
    bytes.resize(4, '\0');
    const std::uint32_t packed = static_cast<unsigned char>(bytes[0]) | static_cast<unsigned char>(bytes[1]) << 8 |
                                 static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[2])) << 16 |
                                 static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[3])) << 24;
    return vx::string::sformat(L"%d", static_cast<int>(packed));
}

vx::string notImplemented(const wchar_t* name) {
    return vx::string(L"(") + name + L"::toSqlString() not implemented)";
}

// The text of a value for a comparison; a value without text form is a programming error.
vx::string comparableText(const genericValue* value) {
    vx::string text;
    const bool converted = value && value->get(text);
    VX_ASSERT(converted);
    return text;
}

condition* cloneOf(const condition* c) {
    return c ? c->clone() : nullptr;
}

// Reads a set out of a value: the value's own where it holds one, a converted copy otherwise.
const genericSet* setOf(const genericValue& value, genericSet& local) {
    const genericSet* direct = nullptr;
    if (value.getPtr(direct))
        return direct;
    return value.get(local) ? &local : nullptr;
}

} // namespace

// --- condition and the untyped classes --------------------------------------------------------------

condition::~condition() = default;

bool any::isTrueGeneric(const genericValue&) const {
    return true;
}
condition* any::clone() const {
    return new any(*this);
}
vx::string any::toString() const {
    return L"any()";
}
vx::string any::toSqlString(vx::string) const {
    return notImplemented(L"any");
}

logicalCondition::logicalCondition() : mpChildren(new std::vector<condition*>()) {}

logicalCondition::logicalCondition(std::vector<const condition*>& children) : logicalCondition() {
    for (const condition* child : children)
        appendCondition(child);
}

logicalCondition::logicalCondition(const condition& first, const condition& second) : logicalCondition() {
    appendCondition(&first);
    appendCondition(&second);
}

logicalCondition::logicalCondition(const logicalCondition& other)
    : condition(other), mpChildren(new std::vector<condition*>()) {
    for (const condition* child : *other.mpChildren)
        appendCondition(child);
}

logicalCondition& logicalCondition::operator=(const logicalCondition& other) {
    if (this != &other) {
        // Clone everything first, so that a failure leaves this object as it was.
        auto copy = std::make_unique<std::vector<condition*>>();
        try {
            for (const condition* child : *other.mpChildren) {
                copy->reserve(copy->size() + 1);
                copy->push_back(child->clone());
            }
        } catch (...) {
            for (condition* child : *copy)
                delete child;
            throw;
        }
        std::vector<condition*>* old = mpChildren;
        mpChildren = copy.release();
        for (condition* child : *old)
            delete child;
        delete old;
    }
    return *this;
}

logicalCondition::~logicalCondition() {
    for (condition* child : *mpChildren)
        delete child;
    delete mpChildren;
}

logicalCondition& logicalCondition::appendCondition(const condition* child) {
    if (child) {
        std::unique_ptr<condition> copy(child->clone());
        mpChildren->push_back(copy.get());
        copy.release();
    }
    return *this;
}

void logicalCondition::appendList(const condition* first, const condition* second, const condition* third,
                                  va_list rest) {
    appendCondition(first);
    appendCondition(second);
    for (const condition* next = third; next; next = va_arg(rest, const condition*))
        appendCondition(next);
}

vx::string logicalCondition::joined(const wchar_t* head, const wchar_t* separator, const wchar_t* tail) const {
    vx::string text = head;
    for (std::size_t i = 0; i < mpChildren->size(); ++i)
        text += (i ? vx::string(separator) : vx::string()) + (*mpChildren)[i]->toString();
    return text + tail;
}

vx::string logicalCondition::joinedSql(const vx::string& fieldName, const wchar_t* separator) const {
    vx::string text = L"(";
    for (std::size_t i = 0; i < mpChildren->size(); ++i)
        text += (i ? vx::string(separator) : vx::string()) + (*mpChildren)[i]->toSqlString(fieldName);
    return text + L")";
}

logicalAnd::logicalAnd(const condition* first, const condition* second, const condition* third, ...) {
    va_list rest;
    va_start(rest, third);
    appendList(first, second, third, rest);
    va_end(rest);
}
bool logicalAnd::isTrueGeneric(const genericValue& value) const {
    for (const condition* child : children())
        if (!child->isTrueGeneric(value))
            return false;
    return true;
}
condition* logicalAnd::clone() const {
    return new logicalAnd(*this);
}
vx::string logicalAnd::toString() const {
    return joined(L"and(", L", ", L")");
}
vx::string logicalAnd::toSqlString(vx::string fieldName) const {
    return joinedSql(fieldName, L" AND ");
}

logicalOr::logicalOr(const condition* first, const condition* second, const condition* third, ...) {
    va_list rest;
    va_start(rest, third);
    appendList(first, second, third, rest);
    va_end(rest);
}
bool logicalOr::isTrueGeneric(const genericValue& value) const {
    for (const condition* child : children())
        if (child->isTrueGeneric(value))
            return true;
    return false;
}
condition* logicalOr::clone() const {
    return new logicalOr(*this);
}
vx::string logicalOr::toString() const {
    return joined(L"or(", L", ", L")");
}
vx::string logicalOr::toSqlString(vx::string fieldName) const {
    return joinedSql(fieldName, L" OR ");
}

logicalNot::logicalNot(const condition& child) : mpChild(child.clone()) {}
logicalNot::logicalNot(const logicalNot& other)
    : condition(other), mpChild(cloneOf(other.mpChild)) {}
logicalNot& logicalNot::operator=(const logicalNot& other) {
    if (this != &other) {
        condition* copy = cloneOf(other.mpChild);
        delete mpChild;
        mpChild = copy;
    }
    return *this;
}
logicalNot::~logicalNot() {
    delete mpChild;
}
bool logicalNot::isTrueGeneric(const genericValue& value) const {
    return !(mpChild && mpChild->isTrueGeneric(value));
}
condition* logicalNot::clone() const {
    return new logicalNot(*this);
}
vx::string logicalNot::toString() const {
    return L"logicalNot(\"" + (mpChild ? mpChild->toString() : vx::string()) + L"\")";
}
vx::string logicalNot::toSqlString(vx::string) const {
    return notImplemented(L"logicalNot");
}

bool stringMatches::isTrueGeneric(const genericValue& value) const {
    vx::string text;
    return value.get(text) && text.matches(mPattern);
}
condition* stringMatches::clone() const {
    return new stringMatches(*this);
}
vx::string stringMatches::toString() const {
    return L"stringMatches(\"" + mPattern + L"\")";
}
vx::string stringMatches::toSqlString(vx::string fieldName) const {
    vx::string text = fieldName + L" LIKE '" + mPattern + L"'";
    // The wildcards become LIKE's, in the whole text: the field name included.
    text.replace(L'*', L'%');
    text.replace(L'?', L'_');
    return text;
}

namedFieldValue::namedFieldValue(const vx::string& fieldName, const condition& child)
    : mFieldName(fieldName), mpChild(child.clone()) {}
namedFieldValue::namedFieldValue(const namedFieldValue& other)
    : condition(other), mFieldName(other.mFieldName), mpChild(cloneOf(other.mpChild)) {}
namedFieldValue& namedFieldValue::operator=(const namedFieldValue& other) {
    if (this != &other) {
        condition* copy = cloneOf(other.mpChild);
        delete mpChild;
        mpChild = copy;
        mFieldName = other.mFieldName;
    }
    return *this;
}
namedFieldValue::~namedFieldValue() {
    delete mpChild;
}
bool namedFieldValue::isTrueGeneric(const genericValue& value) const {
    genericSet local;
    const genericSet* fields = setOf(value, local);
    bool result = true;
    if (!fields || !mpChild)
        return result;
    fields->forEachItem(
        [&](const genericSet::item& item) {
            if (item.second.isNull() || item.first.string() != mFieldName)
                return true;
            result = mpChild->isTrueGeneric(*item.second);
            return false;
        },
        true);
    return result;
}
condition* namedFieldValue::clone() const {
    return new namedFieldValue(*this);
}
vx::string namedFieldValue::toString() const {
    return mpChild ? mpChild->toString() : vx::string();
}
vx::string namedFieldValue::toSqlString(vx::string) const {
    return mpChild ? mpChild->toSqlString(mFieldName) : vx::string();
}

bool inCustomField::isTrueGeneric(const genericValue& value) const {
    genericSet local;
    const genericSet* given = setOf(value, local);
    bool result = true;
    if (!given)
        return result;
    mExpected.forEachItem(
        [&](const genericSet::item& own) {
            bool same = true;
            given->forEachItem(
                [&](const genericSet::item& other) {
                    if (other.first != own.first && other.first.string() != own.first.string())
                        return true;
                    same = comparableText(own.second.get()) == comparableText(other.second.get());
                    return false;
                },
                true);
            if (!same)
                result = false;
            return same;
        },
        true);
    return result;
}
condition* inCustomField::clone() const {
    return new inCustomField(*this);
}
vx::string inCustomField::toString() const {
    vx::string text = L"in<string>(";
    bool first = true;
    mExpected.forEachItem(
        [&](const genericSet::item& item) {
            vx::string value;
            if (!item.second.isNull())
                item.second->get(value);
            text += (first ? L"\"" : L", \"") + value + L"\"";
            first = false;
            return true;
        },
        false);
    return text + L")";
}
vx::string inCustomField::toSqlString(vx::string) const {
    vx::string text = L"(";
    bool first = true;
    mExpected.forEachItem(
        [&](const genericSet::item& item) {
            vx::string value;
            if (!item.second.isNull())
                item.second->get(value);
            text += (first ? L"" : L" AND ") + item.first.string() + L" = '" + value + L"'";
            first = false;
            return true;
        },
        false);
    return text + L")";
}

// --- the typed operators ----------------------------------------------------------------------------

template <class T>
bool typedCondition<T>::isTrueGeneric(const genericValue& value) const {
    const T* exact = nullptr;
    if (value.getPtr(exact) && exact)
        return isTrue(*exact);
    T local{};
    return value.get(local) && isTrue(local);
}

template <class T>
vx::string operandCondition<T>::text(const wchar_t* name) const {
    return vx::string(name) + L"<" + typeNames<T>::name() + L">(\"" + textOf(mOperand) + L"\")";
}

#define VX_DEFINE_OPERATOR_CONDITION(NAME, OP)                                                    \
    template <class T>                                                                            \
    bool NAME<T>::isTrue(const T& value) const {                                                  \
        return value OP this->mOperand;                                                           \
    }                                                                                             \
    template <class T>                                                                            \
    vx::string NAME<T>::toString() const {                                                        \
        return this->text(L## #NAME);                                                             \
    }
VX_DEFINE_OPERATOR_CONDITION(bigger, >)
VX_DEFINE_OPERATOR_CONDITION(biggerOrEqual, >=)
VX_DEFINE_OPERATOR_CONDITION(smaller, <)
VX_DEFINE_OPERATOR_CONDITION(smallerOrEqual, <=)
VX_DEFINE_OPERATOR_CONDITION(equal, ==)
VX_DEFINE_OPERATOR_CONDITION(notequal, !=)
#undef VX_DEFINE_OPERATOR_CONDITION

template <class T>
vx::string bigger<T>::toSqlString(vx::string) const {
    return notImplemented(L"bigger<T>");
}
template <class T>
vx::string biggerOrEqual<T>::toSqlString(vx::string) const {
    return notImplemented(L"biggerOrEqual<T>");
}
template <class T>
vx::string smaller<T>::toSqlString(vx::string) const {
    return notImplemented(L"smaller<T>");
}
template <class T>
vx::string notequal<T>::toSqlString(vx::string) const {
    return notImplemented(L"notequal<T>");
}

template <class T>
vx::string smallerOrEqual<T>::toSqlString(vx::string fieldName) const {
    if constexpr (std::is_same<T, vx::string>::value) {
        return fieldName + L" <= " + sqlNumberOfText(this->mOperand);
    } else if constexpr (std::is_floating_point<T>::value) {
        vx::string text = fieldName + L" <= " + sqlNumber(this->mOperand);
        text.deleteTrailing(L'0');
        text.deleteTrailing(L'.');
        return text;
    } else {
        return fieldName + L" <= " + sqlNumber(this->mOperand);
    }
}

template <class T>
vx::string equal<T>::toSqlString(vx::string fieldName) const {
    if constexpr (std::is_same<T, vx::string>::value) {
        if (this->mOperand.empty())
            return L"(" + fieldName + L" = '' OR " + fieldName + L" IS NULL)";
        return L"(" + fieldName + L" = '" + this->mOperand + L"')";
    } else if constexpr (std::is_same<T, vx::guid>::value) {
        if (!this->mOperand.isInitialized())
            return L"(" + fieldName + L" IS NULL)";
        return L"(" + fieldName + L" = '" + this->mOperand.toString() + L"')";
    } else {
        return L"(" + fieldName + L" = " + sqlNumber(this->mOperand) + L")";
    }
}

template <class T>
bool in<T>::isTrue(const T& value) const {
    return mMembers.count(value) != 0;
}

template <class T>
vx::string in<T>::toString() const {
    // The head is written with the first member: no members, no text.
    vx::string text;
    for (const T& member : mMembers)
        text += (text.empty() ? vx::string(L"in<") + typeNames<T>::name() + L">(\"" : vx::string(L", \"")) +
                textOf(member) + L"\"";
    return text.empty() ? text : text + L")";
}

template <class T>
vx::string in<T>::toSqlString(vx::string) const {
    return notImplemented(L"in<T>");
}

VX_CONDITION_INSTANTIATIONS(, )

// --- parse ----------------------------------------------------------------------------------------

namespace {

// Deeper nesting is refused as malformed, so that no text can exhaust the stack.
constexpr int kMaxDepth = 200;

[[noreturn]] void invalidFormat() {
    throw unexpectedErrorException(L"condition::parse: invalid condition-format");
}

class parser {
public:
    explicit parser(const vx::string& text) : mText(text) {}

    // condition := spaces name spaces [ "<" spaces type spaces ">" spaces ] "(" arguments ")"
    std::unique_ptr<condition> parseCondition(int depth) {
        if (depth > kMaxDepth)
            invalidFormat();
        skipSpaces();
        if (atEnd())
            invalidFormat();
        const std::size_t nameStart = mPos;
        while (!atEnd() && mText[mPos] != L'<' && mText[mPos] != L'(' && !isSpace(mText[mPos]))
            ++mPos;
        if (atEnd())
            invalidFormat();
        const vx::string name = vx::string(mText.substr(nameStart, mPos - nameStart)).lower();
        skipSpaces();
        bool typed = false;
        vx::string type;
        if (peek(L'<')) {
            typed = true;
            ++mPos;
            skipSpaces();
            const std::size_t typeStart = mPos;
            while (!atEnd() && mText[mPos] != L'>' && !isSpace(mText[mPos]))
                ++mPos;
            type = mText.substr(typeStart, mPos - typeStart);
            skipSpaces();
            if (!peek(L'>'))
                invalidFormat();
            ++mPos;
            skipSpaces();
        }
        if (!peek(L'('))
            invalidFormat();
        ++mPos;
        return typed ? typedCondition(name, type) : untypedCondition(name, depth);
    }

private:
    bool atEnd() const { return mPos >= mText.size(); }
    bool peek(wchar_t c) const { return !atEnd() && mText[mPos] == c; }
    static bool isSpace(wchar_t c) { return std::iswspace(static_cast<wint_t>(c)) != 0; }
    void skipSpaces() {
        while (!atEnd() && isSpace(mText[mPos]))
            ++mPos;
    }

    // After an argument: spaces, then "," or ")". True when the list goes on.
    bool argumentFollows() {
        skipSpaces();
        if (peek(L')')) {
            ++mPos;
            return false;
        }
        if (!peek(L','))
            invalidFormat();
        ++mPos;
        skipSpaces();
        if (peek(L')')) { // a trailing comma
            ++mPos;
            return false;
        }
        return true;
    }
    // At the start of the list: spaces, and true unless the list is empty.
    bool firstArgumentFollows() {
        skipSpaces();
        if (peek(L')')) {
            ++mPos;
            return false;
        }
        return true;
    }

    // A quoted string: up to the first quote not directly after a backslash; then \" is ".
    vx::string quoted() {
        if (!peek(L'"'))
            invalidFormat(); // an unquoted argument with a type
        const std::size_t start = ++mPos;
        while (!atEnd() && !(mText[mPos] == L'"' && mText[mPos - 1] != L'\\'))
            ++mPos;
        if (atEnd())
            invalidFormat();
        vx::string text(mText.substr(start, mPos - start));
        ++mPos;
        text.replace(vx::string(L"\\\""), vx::string(L"\""));
        return text;
    }

    std::unique_ptr<condition> untypedCondition(const vx::string& name, int depth) {
        std::vector<std::unique_ptr<condition>> arguments;
        bool hasNull = false;
        for (bool more = firstArgumentFollows(); more; more = argumentFollows()) {
            if (peek(L'"'))
                invalidFormat(); // a quoted argument without a type
            arguments.push_back(parseCondition(depth + 1));
            hasNull = hasNull || !arguments.back();
        }
        const bool isAnd = name == L"and", isOr = name == L"or", isNot = name == L"not";
        if (name == L"any")
            return std::make_unique<any>();
        if (!isAnd && !isOr && !isNot)
            invalidFormat();
        if ((isNot && arguments.size() != 1) || (!isNot && arguments.size() < 2))
            invalidFormat();
        // A null child can't be told from a failed allocation.
        if (hasNull)
            throw outOfMemoryException();
        if (isNot)
            return std::make_unique<logicalNot>(*arguments.front());
        std::vector<const condition*> children;
        for (const auto& argument : arguments)
            children.push_back(argument.get());
        if (isAnd)
            return std::make_unique<logicalAnd>(children);
        return std::make_unique<logicalOr>(children);
    }

    std::unique_ptr<condition> typedCondition(const vx::string& name, const vx::string& type) {
        std::vector<vx::string> arguments;
        for (bool more = firstArgumentFollows(); more; more = argumentFollows())
            arguments.push_back(quoted());
        const kind k = kindOf(name);
        if (k == kind::unknown)
            invalidFormat();
        std::unique_ptr<condition> result;
        if (!(byType<bool>(k, type, arguments, result) || byType<short>(k, type, arguments, result) ||
              byType<int>(k, type, arguments, result) || byType<long>(k, type, arguments, result) ||
              byType<unsigned short>(k, type, arguments, result) ||
              byType<unsigned int>(k, type, arguments, result) ||
              byType<unsigned long>(k, type, arguments, result) || byType<float>(k, type, arguments, result) ||
              byType<double>(k, type, arguments, result) || byType<vx::string>(k, type, arguments, result))) {
            if (k == kind::in)
                throw unexpectedErrorException(L"condition::parse: invalid datatype %s", type.c_str());
        }
        return result;
    }

    enum class kind { unknown, bigger, biggerOrEqual, smaller, smallerOrEqual, equal, notequal, in };

    static kind kindOf(const vx::string& name) {
        static const struct {
            const wchar_t* name;
            kind k;
        } names[] = {{L"isbigger", kind::bigger},
                     {L"bigger", kind::bigger},
                     {L"isbiggerorequal", kind::biggerOrEqual},
                     {L"biggerorequal", kind::biggerOrEqual},
                     {L"issmaller", kind::smaller},
                     {L"smaller", kind::smaller},
                     {L"issmallerorequal", kind::smallerOrEqual},
                     {L"smallerorequal", kind::smallerOrEqual},
                     {L"==", kind::equal},
                     {L"isequal", kind::equal},
                     {L"equal", kind::equal},
                     {L"!=", kind::notequal},
                     {L"isnotequal", kind::notequal},
                     {L"notequal", kind::notequal},
                     {L"isin", kind::in},
                     {L"in", kind::in}};
        for (const auto& entry : names)
            if (name == entry.name)
                return entry.k;
        return kind::unknown;
    }

    // Builds the condition when type is T's word; false when it is not. An unknown type word
    // thus leaves result null.
    template <class T>
    static bool byType(kind k, const vx::string& type, const std::vector<vx::string>& arguments,
                       std::unique_ptr<condition>& result) {
        if (type != typeNames<T>::word())
            return false;
        if (k == kind::in) {
            if (arguments.empty())
                invalidFormat();
            auto members = std::make_unique<in<T>>();
            for (const vx::string& argument : arguments) {
                T member{};
                if (!fromText(member, argument)) {
                    // A lone member that does not convert is a single operand like any other:
                    // no condition. With more members there is no object to add them to.
                    if (arguments.size() == 1)
                        return true;
                    invalidFormat();
                }
                members->insert(member);
            }
            result = std::move(members);
            return true;
        }
        if (arguments.size() != 1)
            invalidFormat();
        T operand{};
        if (!fromText(operand, arguments.front()))
            return true; // well-formed, but no condition
        switch (k) {
        case kind::bigger: result = std::make_unique<bigger<T>>(operand); break;
        case kind::biggerOrEqual: result = std::make_unique<biggerOrEqual<T>>(operand); break;
        case kind::smaller: result = std::make_unique<smaller<T>>(operand); break;
        case kind::smallerOrEqual: result = std::make_unique<smallerOrEqual<T>>(operand); break;
        case kind::equal: result = std::make_unique<equal<T>>(operand); break;
        default: result = std::make_unique<notequal<T>>(operand); break;
        }
        return true;
    }

    const vx::string& mText;
    std::size_t mPos = 0;
};

} // namespace

condition* condition::parse(const vx::string& text) {
    return parser(text).parseCondition(0).release();
}

} // namespace vx::conditions
