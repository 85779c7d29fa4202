// restrictionFilter: what an object is restricted to, as two lists: named objects (objectInfo)
// and name and value pairs.
//
// Several values of one name are alternatives; a value holding ndef stands for a name that must
// not be restricted. Both lists are published as immutable vectors: a writer builds a new vector
// and swaps it in, a reader walks a snapshot without a lock. Only the object list's writers take
// the filter's mutex; two value writers at once can lose one update.
#pragma once

#include "vxExport.h"
#include "vxGenericValue.h"
#include "vxMutex.h"
#include "vxSharedPtr.h"
#include "vxString.h"
#include "vxXmlDatabase.h"

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace vx {

using filterValue = std::pair<vx::string, genericValue>;

// Whether a given value meets an own value of the same name.
class VX_API iFilterValueCompare {
public:
    virtual bool operator()(const vx::string& name, const genericValue& own, const genericValue& given) const = 0;
    virtual ~iFilterValueCompare();
};

// Equal when both values as text are equal, case included; a value with no text form is an
// assertion.
class VX_API filterValueStringCompare : public iFilterValueCompare {
public:
    bool operator()(const vx::string& name, const genericValue& own, const genericValue& given) const override;
};

class VX_API iFilterForeachObjectPredicate {
public:
    virtual bool operator()(const objectInfo& entry) const = 0;
    virtual ~iFilterForeachObjectPredicate();
};

class VX_API iFilterForeachValuePredicate {
public:
    virtual bool operator()(const filterValue& entry) const = 0;
    virtual ~iFilterForeachValuePredicate();
};

// A filter value as a data converter: "name" and "value" (as text) below one element.
class VX_API ioFilterValue : public iDataConverter {
public:
    explicit ioFilterValue(filterValue* value) : mpValue(value) {}
    virtual ~ioFilterValue();
    const wchar_t* typeName() const override { return L"filterValue"; }
    void writeTo(iDBOStream*) const override {}
    void readFrom(iDBIStream*) override {}

protected:
    filterValue* mpValue; // not owned
};

class VX_API writeFilterValue : public ioFilterValue {
public:
    explicit writeFilterValue(const filterValue& value) : ioFilterValue(const_cast<filterValue*>(&value)) {}
    // A value with no text form writes an empty text.
    void writeTo(iDBOStream* stream) const override;
};

class VX_API readFilterValue : public ioFilterValue {
public:
    explicit readFilterValue(filterValue& value) : ioFilterValue(&value) {}
    // The value always comes back as a string.
    void readFrom(iDBIStream* stream) override;
};

class VX_API restrictionFilter {
public:
    using objectList = std::vector<objectInfo>;
    using valueList = std::vector<filterValue>;

    restrictionFilter();
    restrictionFilter(const restrictionFilter& other);
    restrictionFilter(const objectList& objects, const valueList& values);
    restrictionFilter& operator=(const restrictionFilter& other);
    ~restrictionFilter();

    // Appends a copy; equal entries are not looked for.
    void addFilterObject(const objectInfo& object);
    // byName: every entry of that class name; otherwise those with that name and an equal guid.
    void removeFilterObject(const objectInfo& object, bool byName);
    // A value holding ndef removes every own value of that name instead.
    void addFilterValue(const filterValue& value);
    // byName (always for ndef): every entry of that name; otherwise those of that name whose
    // value as text equals value's. A new list is swapped in even when nothing is removed.
    void removeFilterValue(const filterValue& value, bool byName);

    std::uint64_t filterObjectsCount() const;
    std::uint64_t filterValuesCount() const;
    // An own entry with that name and (unless value holds ndef) an equal value as text.
    bool contains(const filterValue& value) const;
    bool containsAnyFilterValue(const vx::string& name) const;

    // Walk the entries in order; a false from the callback ends the walk with false.
    bool foreachObject(const std::function<bool(objectInfo&)>& f);
    bool foreachObject(const std::function<bool(const objectInfo&)>& f) const;
    bool foreachObject(const iFilterForeachObjectPredicate& predicate) const;
    bool foreachValue(const std::function<bool(filterValue&)>& f);
    bool foreachValue(const std::function<bool(const filterValue&)>& f) const;
    bool foreachValue(const iFilterForeachValuePredicate& predicate) const;

    // Equal counts, one own object found in other and one own value found in other: weaker than
    // equality of the lists, and two empty filters are not equal.
    bool isEqual(const restrictionFilter& other) const;
    // Whether filter lies inside this one: its objects, then its values, all met here.
    bool matchesFilter(const restrictionFilter& filter, const iFilterValueCompare& compare) const;
    // Each given pair needs an own entry of its name whose value compare accepts (own entries of
    // one name are alternatives); a given ndef needs the name to be absent here.
    bool matchesFilter(const valueList& values, const iFilterValueCompare& compare) const;
    // Each given object needs an own entry with its name and guid.
    bool matchesFilter(const objectList& objects) const;

    // The objects under prefix + "rfilter", the values under prefix + "vfilter".
    void readFrom(iDBIStream* stream, const vx::string& prefix);
    void writeTo(iDBOStream* stream, const vx::string& prefix) const;

private:
    sharedPtr<objectList> objects() const;
    sharedPtr<valueList> values() const;

    sharedPtr<objectList> mpObjects;
    sharedPtr<valueList> mpValues;
    mutable mutex mWriters; // taken by the object list's writers
};

} // namespace vx
