#include "vxXmlDbOStream.h"

#include "detail/nesting.h"
#include "vxAssert.h"
#include "vxGenericSet.h"
#include "vxException.h"
#include "vxTypeConversion.h"

namespace vx {

namespace {

const wchar_t kProperty[] = L"Property";

string nameText(const wchar_t* name) { return name ? string(name) : string(); }

template <class T>
string textOf(const T& value) {
    string text;
    typeconvert::dtconvert(text, value, 0, nullptr);
    return text;
}

string joined(const double* values, unsigned n) {
    string text;
    for (unsigned i = 0; i < n; ++i) {
        if (i)
            text += L',';
        text += textOf(values[i]);
    }
    return text;
}

} // namespace

xmlDbOStream::xmlDbOStream(xmlDbWriter* writer, const string& element, const guid& id, bool recursive)
    : mpWriter(writer), mpNode(xmlNode::createXmlNode(element)), mRecursive(recursive) {
    if (id.isInitialized())
        mpNode->setAttribute(L"id", id.toString());
}

xmlDbOStream::xmlDbOStream(xmlDbWriter* writer, const string& element, bool recursive)
    : mpWriter(writer), mpNode(xmlNode::createXmlNode(element)), mRecursive(recursive) {}

xmlDbOStream::xmlDbOStream(xmlDbWriter* writer, const string& element, const string& type, const guid& id,
                           bool recursive)
    : mpWriter(writer), mpNode(xmlNode::createXmlNode(element)), mRecursive(recursive) {
    mpNode->setAttribute(L"type", type);
    if (id.isInitialized())
        mpNode->setAttribute(L"id", id.toString());
}

xmlDbOStream::~xmlDbOStream() = default;

const genericSet& xmlDbOStream::writeAttributes() const {
    VX_ASSERT(mpWriter);
    return mpWriter->writeAttributes();
}

refPtr<xmlNode> xmlDbOStream::addChild(const wchar_t* name, bool asProperty) {
    if (!asProperty)
        return mpNode->createChildNode(nameText(name));
    refPtr<xmlNode> child = mpNode->createChildNode(kProperty);
    child->setAttribute(L"name", nameText(name));
    return child;
}

void xmlDbOStream::addText(const wchar_t* name, const string& text, bool asProperty) {
    addChild(name, asProperty)->setText(text);
}

void xmlDbOStream::addNested(const wchar_t* name, xmlDbOStream& nested, bool asProperty) {
    refPtr<xmlNode> child = nested.rootNode();
    if (asProperty) {
        child->setName(kProperty);
        child->setAttribute(L"name", nameText(name));
    }
    mpNode->addNode(child);
}

void xmlDbOStream::write(const wchar_t* name, const objectInfo& value, bool asProperty) {
    refPtr<xmlNode> child = addChild(name, asProperty);
    child->setAttribute(L"type", value.className());
    child->setText(value.id().isInitialized() ? value.id().toString() : string(L"0"));
}

void xmlDbOStream::write(const wchar_t* name, const iPersistent* object, bool asProperty) {
    if (!object) {
        addText(name, L"0", asProperty);
        return;
    }
    const wchar_t* className = object->className();
    // Written first: a recursive write adds the other object's element to its table before this
    // child exists, which changes nothing in this element.
    guid id;
    if (mRecursive) {
        VX_ASSERT(mpWriter);
        id = mpWriter->writeObject(object, true);
    } else {
        id = object->getGuid();
    }
    refPtr<xmlNode> child = addChild(name, asProperty);
    child->setAttribute(L"type", className ? string(className) : string());
    child->setText(id.toString());
}

void xmlDbOStream::writeConverter(const wchar_t* name, const iDataConverter& value, bool asProperty) {
    int unused = 0;
    int& depth = mpWriter ? mpWriter->nesting() : unused;
    if (depth >= detail::kMaxValueNesting)
        throw unexpectedErrorException(L"xmlDbOStream::write: values nested deeper than %d", detail::kMaxValueNesting);
    const detail::nestingLevel level(depth);
    const wchar_t* type = value.typeName();
    xmlDbOStream nested(mpWriter, nameText(name), type ? string(type) : string(), guid(), mRecursive);
    value.writeTo(&nested);
    addNested(name, nested, asProperty);
}

void xmlDbOStream::write(const wchar_t* name, const iPolymorphDataConverter& value, bool asProperty) {
    writeConverter(name, value, asProperty);
}

void xmlDbOStream::write(const wchar_t* name, const iDataConverter& value, bool asProperty) {
    writeConverter(name, value, asProperty);
}

void xmlDbOStream::write(const wchar_t* name, const string& value, bool asProperty) {
    addText(name, value, asProperty);
}

void xmlDbOStream::write(const wchar_t* name, double a, double b, double c, double d, bool asProperty) {
    const double values[] = {a, b, c, d};
    addText(name, joined(values, 4), asProperty);
}

void xmlDbOStream::write(const wchar_t* name, double a, double b, double c, bool asProperty) {
    const double values[] = {a, b, c};
    addText(name, joined(values, 3), asProperty);
}

void xmlDbOStream::write(const wchar_t* name, double a, double b, bool asProperty) {
    const double values[] = {a, b};
    addText(name, joined(values, 2), asProperty);
}

void xmlDbOStream::write(const wchar_t* name, double value, bool asProperty) {
    addText(name, textOf(value), asProperty);
}
void xmlDbOStream::write(const wchar_t* name, float value, bool asProperty) {
    addText(name, textOf(value), asProperty);
}
void xmlDbOStream::write(const wchar_t* name, unsigned long value, bool asProperty) {
    addText(name, textOf(value), asProperty);
}
void xmlDbOStream::write(const wchar_t* name, long value, bool asProperty) {
    addText(name, textOf(value), asProperty);
}
void xmlDbOStream::write(const wchar_t* name, unsigned int a, unsigned int b, bool asProperty) {
    addText(name, textOf(a) + L"," + textOf(b), asProperty);
}
void xmlDbOStream::write(const wchar_t* name, unsigned int value, bool asProperty) {
    addText(name, textOf(value), asProperty);
}
void xmlDbOStream::write(const wchar_t* name, int value, bool asProperty) {
    addText(name, textOf(value), asProperty);
}
void xmlDbOStream::write(const wchar_t* name, unsigned short value, bool asProperty) {
    addText(name, textOf(value), asProperty);
}
void xmlDbOStream::write(const wchar_t* name, short value, bool asProperty) {
    addText(name, textOf(value), asProperty);
}

void xmlDbOStream::write(const wchar_t* name, unsigned char value, bool asProperty) {
    // A character of code 0 would end the XML text where it stands, and the database would read
    // back cut off: refused before anything is added.
    if (value == 0)
        throw unexpectedErrorException(L"xmlDbOStream::write: the character value 0 of %s cannot be stored",
                                       nameText(name).c_str());
    addText(name, textOf(value), asProperty);
}

void xmlDbOStream::write(const wchar_t* name, signed char value, bool asProperty) {
    if (value == 0)
        throw unexpectedErrorException(L"xmlDbOStream::write: the character value 0 of %s cannot be stored",
                                       nameText(name).c_str());
    addText(name, textOf(value), asProperty);
}

void xmlDbOStream::write(const wchar_t* name, bool value, bool asProperty) {
    addText(name, value ? string(L"1") : string(L"0"), asProperty);
}

void xmlDbOStream::write(const wchar_t* name, const directory& value, bool asProperty) {
    addText(name, pathText(value), asProperty);
}

void xmlDbOStream::write(const wchar_t* name, const vx::file& value, bool asProperty) {
    addText(name, pathText(value), asProperty);
}

string xmlDbOStream::pathText(const fsEntry& value) const {
    VX_ASSERT(mpWriter);
    const directory base(mpWriter->relBasePath());
    const string text = value.relativeNameTo(base.entryName());
    // A path that cannot be reached from the base is kept whole rather than lost.
    return text.empty() ? value.fullName() : text;
}

void xmlDbOStream::writeAggregated(const wchar_t* name, const iPersistent* object, bool asProperty) {
    if (!object) {
        addText(name, L"0", asProperty);
        return;
    }
    int unused = 0;
    int& depth = mpWriter ? mpWriter->nesting() : unused;
    if (depth >= detail::kMaxValueNesting)
        throw unexpectedErrorException(L"xmlDbOStream::write: values nested deeper than %d", detail::kMaxValueNesting);
    const detail::nestingLevel level(depth);
    const wchar_t* className = object->className();
    xmlDbOStream nested(mpWriter, nameText(name), className ? string(className) : string(), object->getGuid(),
                        mRecursive);
    object->writeTo(&nested);
    addNested(name, nested, asProperty);
}

// --- the generic set's adapter, which lives with the stream it uses ---------------------------

void writeGenericSet::writeTo(iDBOStream* stream) const {
    mpSet->forEachItem(
        [stream](const genericSet::item& entry) {
            if (entry.second.isNull())
                return true;
            string text;
            double number = 0;
            if (entry.second->get(number))
                typeconvert::dtconvert(text, number, 0, nullptr);
            else if (!entry.second->get(text))
                return true;
            stream->write(entry.first.c_str(), text, true);
            return true;
        },
        false);
}

} // namespace vx
