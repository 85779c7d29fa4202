#include "vxRestrictionFilter.h"

#include "detail/mutexHold.h"

#include "vxAssert.h"
#include "vxXmlDbIStream.h"
#include "vxXmlDbOStream.h"

namespace vx {

namespace {

// The value as text; ok says whether it has a text form.
vx::string textOf(const genericValue& value, bool& ok) {
    vx::string text;
    ok = value.get(text);
    return text;
}

// The value as text, asserting that it has one.
vx::string requiredText(const genericValue& value) {
    bool ok = false;
    vx::string text = textOf(value, ok);
    VX_ASSERT(ok);
    return text;
}

bool sameText(const genericValue& a, const genericValue& b) {
    bool okA = false, okB = false;
    const vx::string textA = textOf(a, okA);
    const vx::string textB = textOf(b, okB);
    return okA == okB && textA == textB;
}

} // namespace

iFilterValueCompare::~iFilterValueCompare() = default;
iFilterForeachObjectPredicate::~iFilterForeachObjectPredicate() = default;
iFilterForeachValuePredicate::~iFilterForeachValuePredicate() = default;
ioFilterValue::~ioFilterValue() = default;

bool filterValueStringCompare::operator()(const vx::string&, const genericValue& own,
                                          const genericValue& given) const {
    return requiredText(own) == requiredText(given);
}

void writeFilterValue::writeTo(iDBOStream* stream) const {
    bool ok = false;
    stream->write(L"name", mpValue->first);
    stream->write(L"value", textOf(mpValue->second, ok));
}

void readFilterValue::readFrom(iDBIStream* stream) {
    vx::string text;
    stream->read(L"name", mpValue->first);
    stream->read(L"value", text);
    mpValue->second.set<vx::string>(text, true);
}

restrictionFilter::restrictionFilter() : mpObjects(new objectList), mpValues(new valueList) {}

restrictionFilter::restrictionFilter(const restrictionFilter& other)
    : mpObjects(new objectList(*other.objects())), mpValues(new valueList(*other.values())) {}

restrictionFilter::restrictionFilter(const objectList& objectsGiven, const valueList& valuesGiven)
    : mpObjects(new objectList(objectsGiven)), mpValues(new valueList(valuesGiven)) {}

restrictionFilter& restrictionFilter::operator=(const restrictionFilter& other) {
    if (this != &other) {
        sharedPtr<objectList> copiedObjects(new objectList(*other.objects()));
        sharedPtr<valueList> copiedValues(new valueList(*other.values()));
        mpObjects = copiedObjects;
        mpValues = copiedValues;
    }
    return *this;
}

restrictionFilter::~restrictionFilter() = default;

sharedPtr<restrictionFilter::objectList> restrictionFilter::objects() const {
    sharedPtr<objectList> snapshot(mpObjects);
    return snapshot;
}

sharedPtr<restrictionFilter::valueList> restrictionFilter::values() const {
    sharedPtr<valueList> snapshot(mpValues);
    return snapshot;
}

void restrictionFilter::addFilterObject(const objectInfo& object) {
    detail::mutexHold lock(mWriters);
    sharedPtr<objectList> copy(new objectList(*objects()));
    copy->push_back(object);
    mpObjects = copy;
}

void restrictionFilter::removeFilterObject(const objectInfo& object, bool byName) {
    detail::mutexHold lock(mWriters);
    sharedPtr<objectList> copy(new objectList);
    for (const objectInfo& entry : *objects())
        if (entry.className() != object.className() || (!byName && entry.id() != object.id()))
            copy->push_back(entry);
    mpObjects = copy;
}

void restrictionFilter::addFilterValue(const filterValue& value) {
    if (value.second.isNdef()) {
        removeFilterValue(value, false);
        return;
    }
    sharedPtr<valueList> copy(new valueList(*values()));
    copy->push_back(value);
    mpValues = copy;
}

void restrictionFilter::removeFilterValue(const filterValue& value, bool byName) {
    if (value.second.isNdef())
        byName = true;
    sharedPtr<valueList> copy(new valueList);
    for (const filterValue& entry : *values()) {
        const bool removed = entry.first == value.first && (byName || sameText(entry.second, value.second));
        if (!removed)
            copy->push_back(entry);
    }
    mpValues = copy;
}

std::uint64_t restrictionFilter::filterObjectsCount() const { return objects()->size(); }
std::uint64_t restrictionFilter::filterValuesCount() const { return values()->size(); }

bool restrictionFilter::contains(const filterValue& value) const {
    const bool anyValue = value.second.isNdef();
    for (const filterValue& entry : *values())
        if (entry.first == value.first &&
            (anyValue || requiredText(entry.second) == requiredText(value.second)))
            return true;
    return false;
}

bool restrictionFilter::containsAnyFilterValue(const vx::string& name) const {
    for (const filterValue& entry : *values())
        if (entry.first == name)
            return true;
    return false;
}

bool restrictionFilter::foreachObject(const std::function<bool(objectInfo&)>& f) {
    const sharedPtr<objectList> list = objects();
    for (objectInfo& entry : *list)
        if (!f(entry))
            return false;
    return true;
}

bool restrictionFilter::foreachObject(const std::function<bool(const objectInfo&)>& f) const {
    const sharedPtr<objectList> list = objects();
    for (const objectInfo& entry : *list)
        if (!f(entry))
            return false;
    return true;
}

bool restrictionFilter::foreachObject(const iFilterForeachObjectPredicate& predicate) const {
    return foreachObject(std::function<bool(const objectInfo&)>([&predicate](const objectInfo& entry) {
        return predicate(entry);
    }));
}

bool restrictionFilter::foreachValue(const std::function<bool(filterValue&)>& f) {
    const sharedPtr<valueList> list = values();
    for (filterValue& entry : *list)
        if (!f(entry))
            return false;
    return true;
}

bool restrictionFilter::foreachValue(const std::function<bool(const filterValue&)>& f) const {
    const sharedPtr<valueList> list = values();
    for (const filterValue& entry : *list)
        if (!f(entry))
            return false;
    return true;
}

bool restrictionFilter::foreachValue(const iFilterForeachValuePredicate& predicate) const {
    return foreachValue(std::function<bool(const filterValue&)>([&predicate](const filterValue& entry) {
        return predicate(entry);
    }));
}

bool restrictionFilter::isEqual(const restrictionFilter& other) const {
    const sharedPtr<objectList> ownObjects = objects(), otherObjects = other.objects();
    const sharedPtr<valueList> ownValues = values(), otherValues = other.values();
    if (ownObjects->size() != otherObjects->size() || ownValues->size() != otherValues->size())
        return false;
    bool objectShared = false;
    for (const objectInfo& own : *ownObjects)
        for (const objectInfo& theirs : *otherObjects)
            objectShared = objectShared || own == theirs;
    if (!objectShared)
        return false;
    for (const filterValue& own : *ownValues)
        for (const filterValue& theirs : *otherValues)
            if (own.first == theirs.first && sameText(own.second, theirs.second))
                return true;
    return false;
}

bool restrictionFilter::matchesFilter(const objectList& given) const {
    const sharedPtr<objectList> own = objects();
    for (const objectInfo& wanted : given) {
        bool found = false;
        for (const objectInfo& entry : *own)
            found = found || entry == wanted;
        if (!found)
            return false;
    }
    return true;
}

bool restrictionFilter::matchesFilter(const valueList& given, const iFilterValueCompare& compare) const {
    const sharedPtr<valueList> own = values();
    for (const filterValue& wanted : given) {
        bool passes = false;
        if (wanted.second.isNdef()) {
            passes = true;
            for (const filterValue& entry : *own)
                passes = passes && entry.first != wanted.first;
        } else {
            for (const filterValue& entry : *own)
                if (entry.first == wanted.first && compare(entry.first, entry.second, wanted.second)) {
                    passes = true;
                    break;
                }
        }
        if (!passes)
            return false;
    }
    return true;
}

bool restrictionFilter::matchesFilter(const restrictionFilter& filter, const iFilterValueCompare& compare) const {
    return matchesFilter(*filter.objects()) && matchesFilter(*filter.values(), compare);
}

void restrictionFilter::writeTo(iDBOStream* stream, const vx::string& prefix) const {
    const vx::string objectName = prefix + L"rfilter";
    const vx::string valueName = prefix + L"vfilter";
    for (const objectInfo& entry : *objects())
        stream->write(objectName.c_str(), entry);
    for (const filterValue& entry : *values())
        stream->write(valueName.c_str(), writeFilterValue(entry));
}

void restrictionFilter::readFrom(iDBIStream* stream, const vx::string& prefix) {
    const vx::string objectName = prefix + L"rfilter";
    const vx::string valueName = prefix + L"vfilter";
    sharedPtr<objectList> readObjects(new objectList);
    const std::uint64_t objectCount = stream->count(objectName.c_str());
    for (std::uint64_t i = 0; i < objectCount; ++i) {
        objectInfo entry;
        stream->read(objectName.c_str(), entry, i);
        readObjects->push_back(entry);
    }
    mpObjects = readObjects;
    sharedPtr<valueList> readValues(new valueList);
    const std::uint64_t valueCount = stream->count(valueName.c_str());
    for (std::uint64_t i = 0; i < valueCount; ++i) {
        filterValue entry;
        readFilterValue converter(entry);
        stream->read(valueName.c_str(), static_cast<iDataConverter&>(converter), i);
        readValues->push_back(entry);
    }
    mpValues = readValues;
}

} // namespace vx
