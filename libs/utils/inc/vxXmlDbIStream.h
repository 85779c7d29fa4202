// iDBIStream: how a persistent object or a data converter reads its values back; xmlDbIStream
// reads them from the child elements of one XML element.
//
// A value is found by name (the child's tag) or, with asProperty, as a "Property" child whose
// attribute "name" holds the name; nth picks among the children that match, counting from 0.
// A missing value throws attributeNotFoundException; a text that does not convert throws
// invalidAttributeType. An object that treats a value as optional asks isAvailable first.
#pragma once

#include "vxDirectory.h"
#include "vxExport.h"
#include "vxFile.h"
#include "vxGenericSet.h"
#include "vxRefPtr.h"
#include "vxString.h"
#include "vxXml.h"
#include "vxXmlDatabase.h"

#include <cstdint>

namespace vx {

class iDBIStream {
public:
    // The reader's free-form values for the objects to consult.
    virtual const genericSet& readAttributes() const = 0;
    virtual bool isAvailable(const wchar_t* name, std::uint64_t nth = 0, bool asProperty = false) = 0;
    // The class name comes back lower-cased.
    virtual void read(const wchar_t* name, objectInfo& value, std::uint64_t nth = 0, bool asProperty = false) = 0;
    // A reference: the object through the reader (null for "0"), carrying one reference.
    virtual void read(const wchar_t* name, iPersistent** object, std::uint64_t nth = 0, bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, iPolymorphDataConverter& value, std::uint64_t nth = 0,
                      bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, iDataConverter& value, std::uint64_t nth = 0, bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, string& value, std::uint64_t nth = 0, bool asProperty = false) = 0;
    // A text starting with "." is joined to the reader's base directory.
    virtual void read(const wchar_t* name, directory& value, std::uint64_t nth = 0, bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, vx::file& value, std::uint64_t nth = 0, bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, double& a, double& b, double& c, double& d, std::uint64_t nth = 0,
                      bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, double& a, double& b, double& c, std::uint64_t nth = 0,
                      bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, double& a, double& b, std::uint64_t nth = 0, bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, double& value, std::uint64_t nth = 0, bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, float& value, std::uint64_t nth = 0, bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, unsigned long& value, std::uint64_t nth = 0, bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, long& value, std::uint64_t nth = 0, bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, unsigned int& a, unsigned int& b, std::uint64_t nth = 0,
                      bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, unsigned int& value, std::uint64_t nth = 0, bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, int& value, std::uint64_t nth = 0, bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, unsigned short& value, std::uint64_t nth = 0, bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, short& value, std::uint64_t nth = 0, bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, unsigned char& value, std::uint64_t nth = 0, bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, signed char& value, std::uint64_t nth = 0, bool asProperty = false) = 0;
    virtual void read(const wchar_t* name, bool& value, std::uint64_t nth = 0, bool asProperty = false) = 0;
    // An object stored inside this element, made by the reader's factories.
    virtual void readAggregated(const wchar_t* name, iPersistent** object, std::uint64_t nth = 0,
                                bool asProperty = false) = 0;
    virtual std::uint64_t count(const wchar_t* name, bool asProperty = false) = 0;
    // Children "Property" with an attribute "name", whatever it holds.
    virtual std::uint64_t countProperties() = 0;
    virtual void readProperty(string& name, string& value, std::uint64_t nth) = 0;

protected:
    ~iDBIStream() = default;
};

class VX_API xmlDbIStream : public iDBIStream {
public:
    xmlDbIStream(xmlDbReader* reader, const refPtr<xmlNode>& node, bool proxyOnly);
    virtual ~xmlDbIStream();

    // Whether the object is read as a proxy, so that it may read less.
    bool isProxyOnly() const { return mProxyOnly; }
    refPtr<xmlNode> rootNode() { return mpNode; }

    const genericSet& readAttributes() const override;
    bool isAvailable(const wchar_t* name, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, objectInfo& value, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, iPersistent** object, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, iPolymorphDataConverter& value, std::uint64_t nth = 0,
              bool asProperty = false) override;
    void read(const wchar_t* name, iDataConverter& value, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, string& value, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, directory& value, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, vx::file& value, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, double& a, double& b, double& c, double& d, std::uint64_t nth = 0,
              bool asProperty = false) override;
    void read(const wchar_t* name, double& a, double& b, double& c, std::uint64_t nth = 0,
              bool asProperty = false) override;
    void read(const wchar_t* name, double& a, double& b, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, double& value, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, float& value, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, unsigned long& value, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, long& value, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, unsigned int& a, unsigned int& b, std::uint64_t nth = 0,
              bool asProperty = false) override;
    void read(const wchar_t* name, unsigned int& value, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, int& value, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, unsigned short& value, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, short& value, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, unsigned char& value, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, signed char& value, std::uint64_t nth = 0, bool asProperty = false) override;
    void read(const wchar_t* name, bool& value, std::uint64_t nth = 0, bool asProperty = false) override;
    void readAggregated(const wchar_t* name, iPersistent** object, std::uint64_t nth = 0,
                        bool asProperty = false) override;
    std::uint64_t count(const wchar_t* name, bool asProperty = false) override;
    std::uint64_t countProperties() override;
    void readProperty(string& name, string& value, std::uint64_t nth) override;

private:
    // The child that holds the value, or null. It is the stream's element's, so whoever runs
    // code that might change the tree holds it counted first.
    xmlNode* find(const wchar_t* name, std::uint64_t nth, bool asProperty) const;
    // The child, or attributeNotFoundException.
    xmlNode& require(const wchar_t* name, std::uint64_t nth, bool asProperty) const;
    // The text of the child converted to T, or invalidAttributeType naming typeName.
    template <class T>
    void readScalar(const wchar_t* name, T& value, std::uint64_t nth, bool asProperty, const wchar_t* typeName);
    void readDoubles(const wchar_t* name, double* const* values, unsigned n, std::uint64_t nth, bool asProperty,
                     const wchar_t* typeName);
    // The stored type of a nested item: "type", or else the tag.
    static string storedType(const xmlNode& child);
    void readConverter(const wchar_t* name, iDataConverter& value, iPolymorphDataConverter* polymorph, std::uint64_t nth,
                       bool asProperty);

    xmlDbReader* mpDatabase;
    refPtr<xmlNode> mpNode;
    bool mProxyOnly;
};

} // namespace vx
