// iDBOStream: how a persistent object or a data converter writes its values; xmlDbOStream writes
// them as child elements of one XML element.
//
// Every write takes the value's name (null counts as empty) and, last, asProperty: false makes
// the name the child's tag, true makes the tag "Property" with the attribute "name" holding the
// name (for names that are no valid tags, or that are data themselves). The value is the child's
// text, written as dtconvert prints it; nested items (aggregated objects, data converters) have
// children of their own and the attribute "type".
#pragma once

#include "vxDirectory.h"
#include "vxExport.h"
#include "vxFile.h"
#include "vxGenericSet.h"
#include "vxGuid.h"
#include "vxRefPtr.h"
#include "vxString.h"
#include "vxXml.h"
#include "vxXmlDatabase.h"

namespace vx {

class iDBOStream {
public:
    // The writer's free-form values for the objects to consult.
    virtual const genericSet& writeAttributes() const = 0;
    // Class name as "type", guid text as the value ("0" for an uninitialised guid).
    virtual void write(const wchar_t* name, const objectInfo& value, bool asProperty = false) = 0;
    // A reference: "type" and the guid's text, "0" for null. With the stream's recursive flag the
    // object is stored in its own table too.
    virtual void write(const wchar_t* name, const iPersistent* object, bool asProperty = false) = 0;
    virtual void write(const wchar_t* name, const iPolymorphDataConverter& value, bool asProperty = false) = 0;
    // A nested element with "type" the converter's type name.
    virtual void write(const wchar_t* name, const iDataConverter& value, bool asProperty = false) = 0;
    virtual void write(const wchar_t* name, const string& value, bool asProperty = false) = 0;
    // Composites: the values joined by ",".
    virtual void write(const wchar_t* name, double a, double b, double c, double d, bool asProperty = false) = 0;
    virtual void write(const wchar_t* name, double a, double b, double c, bool asProperty = false) = 0;
    virtual void write(const wchar_t* name, double a, double b, bool asProperty = false) = 0;
    // At most 8 decimals survive: "%.8f" without trailing zeros and point.
    virtual void write(const wchar_t* name, double value, bool asProperty = false) = 0;
    virtual void write(const wchar_t* name, float value, bool asProperty = false) = 0;
    virtual void write(const wchar_t* name, unsigned long value, bool asProperty = false) = 0;
    virtual void write(const wchar_t* name, long value, bool asProperty = false) = 0;
    virtual void write(const wchar_t* name, unsigned int a, unsigned int b, bool asProperty = false) = 0;
    virtual void write(const wchar_t* name, unsigned int value, bool asProperty = false) = 0;
    virtual void write(const wchar_t* name, int value, bool asProperty = false) = 0;
    virtual void write(const wchar_t* name, unsigned short value, bool asProperty = false) = 0;
    virtual void write(const wchar_t* name, short value, bool asProperty = false) = 0;
    // One character whose code is the value. The value 0 cannot be stored (the XML text would end
    // there): it throws unexpectedErrorException.
    virtual void write(const wchar_t* name, unsigned char value, bool asProperty = false) = 0;
    virtual void write(const wchar_t* name, signed char value, bool asProperty = false) = 0;
    // "1" or "0".
    virtual void write(const wchar_t* name, bool value, bool asProperty = false) = 0;
    // Relative to the writer's base directory where the two paths allow it.
    virtual void write(const wchar_t* name, const directory& value, bool asProperty = false) = 0;
    virtual void write(const wchar_t* name, const vx::file& value, bool asProperty = false) = 0;
    // The object stored inside this element, not in a table ("0" for null).
    virtual void writeAggregated(const wchar_t* name, const iPersistent* object, bool asProperty = false) = 0;

    // A C text is a string (and not the bool it would otherwise become).
    void write(const wchar_t* name, const wchar_t* value, bool asProperty = false) {
        write(name, string(value ? value : L""), asProperty);
    }

protected:
    ~iDBOStream() = default;
};

class VX_API xmlDbOStream : public iDBOStream {
public:
    // An element named element, with the attribute "id" when id is initialised.
    xmlDbOStream(xmlDbWriter* writer, const string& element, const guid& id, bool recursive);
    xmlDbOStream(xmlDbWriter* writer, const string& element, bool recursive);
    virtual ~xmlDbOStream();

    using iDBOStream::write;
    const genericSet& writeAttributes() const override;
    void write(const wchar_t* name, const objectInfo& value, bool asProperty = false) override;
    void write(const wchar_t* name, const iPersistent* object, bool asProperty = false) override;
    void write(const wchar_t* name, const iPolymorphDataConverter& value, bool asProperty = false) override;
    void write(const wchar_t* name, const iDataConverter& value, bool asProperty = false) override;
    void write(const wchar_t* name, const string& value, bool asProperty = false) override;
    void write(const wchar_t* name, double a, double b, double c, double d, bool asProperty = false) override;
    void write(const wchar_t* name, double a, double b, double c, bool asProperty = false) override;
    void write(const wchar_t* name, double a, double b, bool asProperty = false) override;
    void write(const wchar_t* name, double value, bool asProperty = false) override;
    void write(const wchar_t* name, float value, bool asProperty = false) override;
    void write(const wchar_t* name, unsigned long value, bool asProperty = false) override;
    void write(const wchar_t* name, long value, bool asProperty = false) override;
    void write(const wchar_t* name, unsigned int a, unsigned int b, bool asProperty = false) override;
    void write(const wchar_t* name, unsigned int value, bool asProperty = false) override;
    void write(const wchar_t* name, int value, bool asProperty = false) override;
    void write(const wchar_t* name, unsigned short value, bool asProperty = false) override;
    void write(const wchar_t* name, short value, bool asProperty = false) override;
    void write(const wchar_t* name, unsigned char value, bool asProperty = false) override;
    void write(const wchar_t* name, signed char value, bool asProperty = false) override;
    void write(const wchar_t* name, bool value, bool asProperty = false) override;
    void write(const wchar_t* name, const directory& value, bool asProperty = false) override;
    void write(const wchar_t* name, const vx::file& value, bool asProperty = false) override;
    void writeAggregated(const wchar_t* name, const iPersistent* object, bool asProperty = false) override;

    // The element this stream fills.
    refPtr<xmlNode> rootNode() const { return mpNode; }

private:
    // A nested item: element named element with "type" and, when initialised, "id".
    xmlDbOStream(xmlDbWriter* writer, const string& element, const string& type, const guid& id, bool recursive);
    // A new child for a value of name.
    refPtr<xmlNode> addChild(const wchar_t* name, bool asProperty);
    void addText(const wchar_t* name, const string& text, bool asProperty);
    void addNested(const wchar_t* name, xmlDbOStream& nested, bool asProperty);
    void writeConverter(const wchar_t* name, const iDataConverter& value, bool asProperty);
    // The path relative to the writer's base directory, or whole where it cannot be.
    string pathText(const fsEntry& value) const;

    xmlDbWriter* mpWriter;
    refPtr<xmlNode> mpNode;
    bool mRecursive;
};

} // namespace vx
