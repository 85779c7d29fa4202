#include "vxXmlDbIStream.h"

#include "detail/nesting.h"
#include "vxAssert.h"
#include "vxGenericSet.h"
#include "vxException.h"
#include "vxTypeConversion.h"

#include <typeinfo>
#include <vector>

namespace vx {

namespace {

const wchar_t kProperty[] = L"Property";

string nameText(const wchar_t* name) { return name ? string(name) : string(); }

// An index as the message shows it.
int shownIndex(std::uint64_t nth) { return static_cast<int>(nth); }

// A value's name as the caller gives it, compared with tags without being made a string: a
// lookup passes over the values stored before the one it wants.
class valueName {
public:
    explicit valueName(const wchar_t* name) : mText(name ? name : L""), mSize(std::wcslen(mText)) {}
    bool is(const string& text) const {
        if (text.size() != mSize)
            return false;
        const wchar_t* const p = text.data();
        for (std::size_t i = 0; i < mSize; ++i)
            if (p[i] != mText[i])
                return false;
        return true;
    }

private:
    const wchar_t* mText;
    std::size_t mSize;
};

bool matches(const xmlNode& child, const valueName& name, bool asProperty) {
    if (!asProperty)
        return name.is(child.name());
    string value;
    return child.name() == kProperty && child.getAttribute(L"name", value) && name.is(value);
}

bool isProperty(const xmlNode& child) { return child.name() == kProperty && child.hasAttribute(L"name"); }

} // namespace

xmlDbIStream::xmlDbIStream(xmlDbReader* reader, const refPtr<xmlNode>& node, bool proxyOnly)
    : mpDatabase(reader), mpNode(node), mProxyOnly(proxyOnly) {}

xmlDbIStream::~xmlDbIStream() = default;

const genericSet& xmlDbIStream::readAttributes() const {
    VX_ASSERT(mpDatabase);
    return mpDatabase->readAttributes();
}

xmlNode* xmlDbIStream::find(const wchar_t* name, std::uint64_t nth, bool asProperty) const {
    const valueName wanted(name);
    std::uint64_t counter = 0;
    for (const refPtr<xmlNode>& child : mpNode->children())
        if (matches(*child, wanted, asProperty) && counter++ == nth)
            return child.get();
    return nullptr;
}

xmlNode& xmlDbIStream::require(const wchar_t* name, std::uint64_t nth, bool asProperty) const {
    xmlNode* const child = find(name, nth, asProperty);
    if (!child)
        throw attributeNotFoundException(nameText(name), shownIndex(nth));
    return *child;
}

bool xmlDbIStream::isAvailable(const wchar_t* name, std::uint64_t nth, bool asProperty) {
    return find(name, nth, asProperty) != nullptr;
}

std::uint64_t xmlDbIStream::count(const wchar_t* name, bool asProperty) {
    const valueName wanted(name);
    std::uint64_t n = 0;
    for (const refPtr<xmlNode>& child : mpNode->children())
        if (matches(*child, wanted, asProperty))
            ++n;
    return n;
}

std::uint64_t xmlDbIStream::countProperties() {
    std::uint64_t n = 0;
    for (const refPtr<xmlNode>& child : mpNode->children())
        if (isProperty(*child))
            ++n;
    return n;
}

void xmlDbIStream::readProperty(string& name, string& value, std::uint64_t nth) {
    std::uint64_t counter = 0;
    for (const refPtr<xmlNode>& child : mpNode->children())
        if (isProperty(*child) && counter++ == nth) {
            child->getAttribute(L"name", name);
            value = child->text();
            return;
        }
    throw attributeNotFoundException(kProperty, shownIndex(nth));
}

template <class T>
void xmlDbIStream::readScalar(const wchar_t* name, T& value, std::uint64_t nth, bool asProperty,
                              const wchar_t* typeName) {
    const string& text = require(name, nth, asProperty).text();
    if (!typeconvert::typeConversionManager::instance().convert(typeid(T), &value, typeid(string), &text, 0,
                                                                 nullptr))
        throw invalidAttributeType(nameText(name), shownIndex(nth), text, typeName);
}

void xmlDbIStream::readDoubles(const wchar_t* name, double* const* values, unsigned n, std::uint64_t nth,
                               bool asProperty, const wchar_t* typeName) {
    const string text = require(name, nth, asProperty).text();
    std::vector<string> pieces;
    text.splitAt(L",", pieces);
    if (pieces.size() != n)
        throw invalidAttributeType(nameText(name), shownIndex(nth), text, typeName);
    // Each piece is stored as it converts: those before a failing one stay stored.
    for (unsigned i = 0; i < n; ++i)
        if (!typeconvert::dtconvert(*values[i], pieces[i], 0, nullptr))
            throw invalidAttributeType(nameText(name), shownIndex(nth), text, typeName);
}

void xmlDbIStream::read(const wchar_t* name, double& a, double& b, double& c, double& d, std::uint64_t nth,
                        bool asProperty) {
    double* const values[] = {&a, &b, &c, &d};
    readDoubles(name, values, 4, nth, asProperty, L"double,double,double,double");
}

void xmlDbIStream::read(const wchar_t* name, double& a, double& b, double& c, std::uint64_t nth, bool asProperty) {
    double* const values[] = {&a, &b, &c};
    readDoubles(name, values, 3, nth, asProperty, L"double,double,double");
}

void xmlDbIStream::read(const wchar_t* name, double& a, double& b, std::uint64_t nth, bool asProperty) {
    double* const values[] = {&a, &b};
    readDoubles(name, values, 2, nth, asProperty, L"double,double");
}

void xmlDbIStream::read(const wchar_t* name, unsigned int& a, unsigned int& b, std::uint64_t nth, bool asProperty) {
    const string text = require(name, nth, asProperty).text();
    std::vector<string> pieces;
    text.splitAt(L",", pieces);
    const wchar_t* typeName = L"unsigned int,unsigned int";
    if (pieces.size() != 2)
        throw invalidAttributeType(nameText(name), shownIndex(nth), text, typeName);
    if (!typeconvert::dtconvert(a, pieces[0], 0, nullptr) || !typeconvert::dtconvert(b, pieces[1], 0, nullptr))
        throw invalidAttributeType(nameText(name), shownIndex(nth), text, typeName);
}

void xmlDbIStream::read(const wchar_t* name, double& value, std::uint64_t nth, bool asProperty) {
    readScalar(name, value, nth, asProperty, L"double");
}
void xmlDbIStream::read(const wchar_t* name, float& value, std::uint64_t nth, bool asProperty) {
    readScalar(name, value, nth, asProperty, L"float");
}
void xmlDbIStream::read(const wchar_t* name, unsigned long& value, std::uint64_t nth, bool asProperty) {
    readScalar(name, value, nth, asProperty, L"unsigned long");
}
void xmlDbIStream::read(const wchar_t* name, long& value, std::uint64_t nth, bool asProperty) {
    readScalar(name, value, nth, asProperty, L"long");
}
void xmlDbIStream::read(const wchar_t* name, unsigned int& value, std::uint64_t nth, bool asProperty) {
    readScalar(name, value, nth, asProperty, L"unsigned int");
}
void xmlDbIStream::read(const wchar_t* name, int& value, std::uint64_t nth, bool asProperty) {
    readScalar(name, value, nth, asProperty, L"int");
}
void xmlDbIStream::read(const wchar_t* name, unsigned short& value, std::uint64_t nth, bool asProperty) {
    readScalar(name, value, nth, asProperty, L"unsigned short");
}
void xmlDbIStream::read(const wchar_t* name, short& value, std::uint64_t nth, bool asProperty) {
    readScalar(name, value, nth, asProperty, L"short");
}
void xmlDbIStream::read(const wchar_t* name, unsigned char& value, std::uint64_t nth, bool asProperty) {
    readScalar(name, value, nth, asProperty, L"unsigned char");
}
void xmlDbIStream::read(const wchar_t* name, signed char& value, std::uint64_t nth, bool asProperty) {
    readScalar(name, value, nth, asProperty, L"char");
}
void xmlDbIStream::read(const wchar_t* name, bool& value, std::uint64_t nth, bool asProperty) {
    readScalar(name, value, nth, asProperty, L"bool");
}

void xmlDbIStream::read(const wchar_t* name, string& value, std::uint64_t nth, bool asProperty) {
    value = require(name, nth, asProperty).text();
}

void xmlDbIStream::read(const wchar_t* name, directory& value, std::uint64_t nth, bool asProperty) {
    const string text = require(name, nth, asProperty).text();
    if (!text.empty() && text[0] == L'.') {
        VX_ASSERT(mpDatabase);
        value = directory(mpDatabase->relBasePath(), text);
    } else {
        value = directory(text);
    }
}

void xmlDbIStream::read(const wchar_t* name, vx::file& value, std::uint64_t nth, bool asProperty) {
    const string text = require(name, nth, asProperty).text();
    if (!text.empty() && text[0] == L'.') {
        VX_ASSERT(mpDatabase);
        value = vx::file(mpDatabase->relBasePath(), text);
    } else {
        value = vx::file(text);
    }
}

string xmlDbIStream::storedType(const xmlNode& child) {
    string type;
    if (!child.getAttribute(L"type", type))
        type = child.name();
    return type;
}

void xmlDbIStream::read(const wchar_t* name, objectInfo& value, std::uint64_t nth, bool asProperty) {
    const xmlNode& child = require(name, nth, asProperty);
    guid id;
    if (!typeconvert::dtconvert(id, child.text(), 0, nullptr))
        throw invalidAttributeType(nameText(name), shownIndex(nth), child.text(), L"guid");
    value = objectInfo(storedType(child).lower(), id);
}

void xmlDbIStream::read(const wchar_t* name, iPersistent** object, std::uint64_t nth, bool asProperty) {
    VX_ASSERT(object);
    *object = nullptr;
    const refPtr<xmlNode> child(&require(name, nth, asProperty)); // counted: code of the application runs
    const string className = storedType(*child);
    VX_ASSERT(mpDatabase);
    mpDatabase->readObject(className, child->text(), object, nullptr);
}

void xmlDbIStream::readAggregated(const wchar_t* name, iPersistent** object, std::uint64_t nth, bool asProperty) {
    VX_ASSERT(object);
    *object = nullptr;
    const refPtr<xmlNode> child(&require(name, nth, asProperty)); // counted: code of the application runs
    const string className = storedType(*child);
    VX_ASSERT(mpDatabase);
    refPtr<iPersistent> made = mpDatabase->createObject(className);
    if (!made)
        throw unexpectedErrorException(L"xmlDbReader::readObject: Error creating object of class %s",
                                       className.c_str());
    string idText;
    guid id;
    if (child->getAttribute(L"id", idText)) {
        if (!typeconvert::dtconvert(id, idText, 0, nullptr))
            throw invalidAttributeType(nameText(name), shownIndex(nth), idText, L"guid");
        made->setGuid(id);
    }
    // Deep below the nesting limit the object is handed out now and read by the outermost read.
    if (!mpDatabase->deferRead(made, child, mProxyOnly)) {
        const detail::nestingLevel level(mpDatabase->nesting());
        xmlDbIStream nested(mpDatabase, child, mProxyOnly);
        made->readFrom(&nested);
    }
    made->addRef();
    *object = made.get();
}

void xmlDbIStream::readConverter(const wchar_t* name, iDataConverter& value, iPolymorphDataConverter* polymorph,
                                 std::uint64_t nth, bool asProperty) {
    const refPtr<xmlNode> child(&require(name, nth, asProperty)); // counted: code of the application runs
    const string type = storedType(*child);
    const wchar_t* ownType = value.typeName();
    const string wanted = ownType ? string(ownType) : string();
    const bool accepted = polymorph ? polymorph->acceptType(type) : type == wanted;
    if (!accepted)
        throw invalidAttributeType(nameText(name), shownIndex(nth), type, wanted);
    int unused = 0;
    int& depth = mpDatabase ? mpDatabase->nesting() : unused;
    if (depth >= detail::kMaxValueNesting)
        throw unexpectedErrorException(L"xmlDbIStream::read: values nested deeper than %d",
                                       detail::kMaxValueNesting);
    const detail::nestingLevel level(depth);
    xmlDbIStream nested(mpDatabase, child, mProxyOnly);
    value.readFrom(&nested);
}

void xmlDbIStream::read(const wchar_t* name, iPolymorphDataConverter& value, std::uint64_t nth, bool asProperty) {
    readConverter(name, value, &value, nth, asProperty);
}

void xmlDbIStream::read(const wchar_t* name, iDataConverter& value, std::uint64_t nth, bool asProperty) {
    readConverter(name, value, nullptr, nth, asProperty);
}

// --- the generic set's adapter, which lives with the stream it uses ---------------------------

void readGenericSet::readFrom(iDBIStream* stream) {
    mpSet->clear();
    const std::uint64_t n = stream->countProperties();
    for (std::uint64_t i = 0; i < n; ++i) {
        string name, text;
        stream->readProperty(name, text, i);
        vx::genericValue value(text);
        mpSet->_setGenericValue(scString::createFrom(name), value, true);
    }
}

} // namespace vx
