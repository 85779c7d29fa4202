// Conditions: a small predicate language over generic values.
//
// A condition is a tree of objects with three faces: it is evaluated against a genericValue
// (isTrueGeneric), printed back as text (toString) and turned into the text of an SQL WHERE
// predicate on one field (toSqlString). The faces do not cover the same ground: parse knows fewer
// classes than exist, toSqlString implements fewer operators than isTrueGeneric, and neither
// text form reads back in every case. Those gaps are part of the behaviour applications rely on.
//
// The SQL text puts operands into the predicate as they stand, without escaping: a quote in a
// string operand reaches the SQL. For a prepared statement use toSqlWhere (vxConditionSql.h).
//
// Every constructor that takes a condition stores its clone; the destructor deletes it. A
// condition takes no lock: evaluating from several threads is as safe as reading the values.
#pragma once

#include "vxExport.h"
#include "vxGenericSet.h"
#include "vxGenericValue.h"
#include "vxGuid.h"
#include "vxString.h"

#include <cstdarg>
#include <set>
#include <vector>

namespace vx::conditions {

// The root of all conditions.
class VX_API condition {
public:
    virtual ~condition();
    // True when value satisfies the condition.
    virtual bool isTrueGeneric(const genericValue& value) const = 0;
    // A deep copy on the heap, owned by the caller.
    virtual condition* clone() const = 0;
    // The text form; not every text parses back (see the classes).
    virtual vx::string toString() const = 0;
    // The predicate as SQL text on fieldName; operators without an SQL form give a literal
    // "(...::toSqlString() not implemented)".
    virtual vx::string toSqlString(vx::string fieldName) const = 0;

    // Reads a condition from text. Returns a new condition owned by the caller, or null where
    // the text is well-formed but names an unknown type word or an operand that does not convert.
    // Malformed text throws unexpectedErrorException "condition::parse: invalid
    // condition-format"; in/isin with an unknown type word throws "condition::parse: invalid
    // datatype <word>"; a nested condition that comes out null inside and/or/not throws
    // outOfMemoryException.
    static condition* parse(const vx::string& text);

protected:
    condition() = default;
    condition(const condition&) = default;
    condition& operator=(const condition&) = default;
};

// A condition on values of type T: isTrueGeneric reads the value as a T, exactly where the holder
// is a holder<T>, through conversion otherwise, and answers false where neither works.
template <class T>
class typedCondition : public condition {
public:
    bool isTrueGeneric(const genericValue& value) const override;
    virtual bool isTrue(const T& value) const = 0;
};

// True for everything.
class VX_API any final : public condition {
public:
    any() = default;
    bool isTrueGeneric(const genericValue& value) const override;
    condition* clone() const override;
    vx::string toString() const override;
    vx::string toSqlString(vx::string fieldName) const override;
};

// A list of owned children.
class VX_API logicalCondition : public condition {
public:
    // Clones every non-null element.
    explicit logicalCondition(std::vector<const condition*>& children);
    logicalCondition(const condition& first, const condition& second);
    logicalCondition(const logicalCondition& other);
    logicalCondition& operator=(const logicalCondition& other);
    ~logicalCondition() override;

    // Appends a clone of child; a null child does nothing.
    logicalCondition& appendCondition(const condition* child);
    const std::vector<condition*>& children() const { return *mpChildren; }

protected:
    logicalCondition();
    // Appends first, second and then the variable list up to its null pointer.
    void appendList(const condition* first, const condition* second, const condition* third, va_list rest);
    vx::string joined(const wchar_t* head, const wchar_t* separator, const wchar_t* tail) const;
    vx::string joinedSql(const vx::string& fieldName, const wchar_t* separator) const;

private:
    std::vector<condition*>* mpChildren; // owned, and so is every child
};

// True when every child is true (children left to right, stopping at the first false); true
// for no children.
class VX_API logicalAnd final : public logicalCondition {
public:
    explicit logicalAnd(std::vector<const condition*>& children) : logicalCondition(children) {}
    logicalAnd(const condition& first, const condition& second) : logicalCondition(first, second) {}
    // first and second, then further conditions up to a null pointer: logicalAnd(a, b, nullptr).
    logicalAnd(const condition* first, const condition* second, const condition* third, ...);
    bool isTrueGeneric(const genericValue& value) const override;
    condition* clone() const override;
    vx::string toString() const override;
    vx::string toSqlString(vx::string fieldName) const override;
};

// True when a child is true (left to right, stopping at the first true); false for no children.
class VX_API logicalOr final : public logicalCondition {
public:
    explicit logicalOr(std::vector<const condition*>& children) : logicalCondition(children) {}
    logicalOr(const condition& first, const condition& second) : logicalCondition(first, second) {}
    logicalOr(const condition* first, const condition* second, const condition* third, ...);
    bool isTrueGeneric(const genericValue& value) const override;
    condition* clone() const override;
    vx::string toString() const override;
    vx::string toSqlString(vx::string fieldName) const override;
};

// The negation of its child (of nothing, true, where it has none).
class VX_API logicalNot final : public condition {
public:
    explicit logicalNot(const condition& child);
    logicalNot(const logicalNot& other);
    logicalNot& operator=(const logicalNot& other);
    ~logicalNot() override;
    bool isTrueGeneric(const genericValue& value) const override;
    condition* clone() const override;
    vx::string toString() const override;
    vx::string toSqlString(vx::string fieldName) const override;
    const condition* child() const { return mpChild; }

private:
    condition* mpChild; // owned
};

// The value as text matches a wildcard pattern (* any run, ? one character, case-sensitive).
class VX_API stringMatches final : public condition {
public:
    explicit stringMatches(const vx::string& pattern) : mPattern(pattern) {}
    bool isTrueGeneric(const genericValue& value) const override;
    condition* clone() const override;
    vx::string toString() const override;
    vx::string toSqlString(vx::string fieldName) const override;
    const vx::string& pattern() const { return mPattern; }

private:
    vx::string mPattern;
};

// Applies its child to one field of a genericSet value. A value that is no set, a set without
// the field, and a field without a cell all give true: the condition restricts the field only
// where it exists.
class VX_API namedFieldValue final : public condition {
public:
    namedFieldValue(const vx::string& fieldName, const condition& child);
    namedFieldValue(const namedFieldValue& other);
    namedFieldValue& operator=(const namedFieldValue& other);
    ~namedFieldValue() override;
    bool isTrueGeneric(const genericValue& value) const override;
    condition* clone() const override;
    vx::string toString() const override;
    // The child's SQL on this condition's own field; the argument is not used.
    vx::string toSqlString(vx::string fieldName) const override;
    const vx::string& fieldName() const { return mFieldName; }
    const condition* child() const { return mpChild; }

private:
    vx::string mFieldName;
    condition* mpChild; // owned
};

// Every expected field that the given genericSet also has must have the same text there.
// Fields missing from the given set are passed over; a value that is no set gives true.
class VX_API inCustomField final : public condition {
public:
    explicit inCustomField(const genericSet& expected) : mExpected(expected) {}
    bool isTrueGeneric(const genericValue& value) const override;
    condition* clone() const override;
    vx::string toString() const override;
    // One "key = 'text'" per expected field, joined by AND; the argument is not used.
    vx::string toSqlString(vx::string fieldName) const override;
    const genericSet& expected() const { return mExpected; }

private:
    genericSet mExpected;
};

// --- the typed operators, for bool, short, int, long, unsigned short, unsigned int,
//     unsigned long, float, double and vx::string (equal also for vx::guid) -------------------------

// The part the operators with one operand share.
template <class T>
class operandCondition : public typedCondition<T> {
public:
    const T& operand() const { return mOperand; }

protected:
    explicit operandCondition(const T& operand) : mOperand(operand) {}
    vx::string text(const wchar_t* name) const;

    T mOperand;
};

#define VX_DECLARE_OPERATOR_CONDITION(NAME)                                                       \
    template <class T>                                                                            \
    class NAME final : public operandCondition<T> {                                               \
    public:                                                                                       \
        explicit NAME(const T& operand) : operandCondition<T>(operand) {}                         \
        bool isTrue(const T& value) const override;                                               \
        condition* clone() const override { return new NAME(*this); }                             \
        vx::string toString() const override;                                                     \
        vx::string toSqlString(vx::string fieldName) const override;                              \
    }

VX_DECLARE_OPERATOR_CONDITION(bigger);         // value > operand
VX_DECLARE_OPERATOR_CONDITION(biggerOrEqual);  // value >= operand
VX_DECLARE_OPERATOR_CONDITION(smaller);        // value < operand
VX_DECLARE_OPERATOR_CONDITION(smallerOrEqual); // value <= operand
VX_DECLARE_OPERATOR_CONDITION(equal);          // value == operand
VX_DECLARE_OPERATOR_CONDITION(notequal);       // value != operand

#undef VX_DECLARE_OPERATOR_CONDITION

// The value is one of the members.
template <class T>
class in final : public typedCondition<T> {
public:
    in() = default;
    explicit in(const std::set<T>& members) : mMembers(members) {}
    bool isTrue(const T& value) const override;
    condition* clone() const override { return new in(*this); }
    vx::string toString() const override;
    vx::string toSqlString(vx::string fieldName) const override;
    const std::set<T>& members() const { return mMembers; }
    void insert(const T& member) { mMembers.insert(member); }

private:
    std::set<T> mMembers;
};

// Made once in this library, for every type the language knows.
#define VX_CONDITION_INSTANTIATIONS_OF(VX_EXTERN_, VX_API_, T)                                    \
    VX_EXTERN_ template class VX_API_ typedCondition<T>;                                          \
    VX_EXTERN_ template class VX_API_ operandCondition<T>;                                        \
    VX_EXTERN_ template class VX_API_ bigger<T>;                                                  \
    VX_EXTERN_ template class VX_API_ biggerOrEqual<T>;                                           \
    VX_EXTERN_ template class VX_API_ smaller<T>;                                                 \
    VX_EXTERN_ template class VX_API_ smallerOrEqual<T>;                                          \
    VX_EXTERN_ template class VX_API_ equal<T>;                                                   \
    VX_EXTERN_ template class VX_API_ notequal<T>;                                                \
    VX_EXTERN_ template class VX_API_ in<T>;
#define VX_CONDITION_INSTANTIATIONS(VX_EXTERN_, VX_API_)                                          \
    VX_CONDITION_INSTANTIATIONS_OF(VX_EXTERN_, VX_API_, bool)                                     \
    VX_CONDITION_INSTANTIATIONS_OF(VX_EXTERN_, VX_API_, short)                                    \
    VX_CONDITION_INSTANTIATIONS_OF(VX_EXTERN_, VX_API_, int)                                      \
    VX_CONDITION_INSTANTIATIONS_OF(VX_EXTERN_, VX_API_, long)                                     \
    VX_CONDITION_INSTANTIATIONS_OF(VX_EXTERN_, VX_API_, unsigned short)                           \
    VX_CONDITION_INSTANTIATIONS_OF(VX_EXTERN_, VX_API_, unsigned int)                             \
    VX_CONDITION_INSTANTIATIONS_OF(VX_EXTERN_, VX_API_, unsigned long)                            \
    VX_CONDITION_INSTANTIATIONS_OF(VX_EXTERN_, VX_API_, float)                                    \
    VX_CONDITION_INSTANTIATIONS_OF(VX_EXTERN_, VX_API_, double)                                   \
    VX_CONDITION_INSTANTIATIONS_OF(VX_EXTERN_, VX_API_, vx::string)                               \
    VX_EXTERN_ template class VX_API_ typedCondition<vx::guid>;                                   \
    VX_EXTERN_ template class VX_API_ operandCondition<vx::guid>;                                 \
    VX_EXTERN_ template class VX_API_ equal<vx::guid>;

VX_CONDITION_INSTANTIATIONS(extern, VX_API)

} // namespace vx::conditions
