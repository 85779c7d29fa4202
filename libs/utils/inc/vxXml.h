// xmlNode and xmlDocument: a small mutable element tree with counted nodes, its text form, and
// documents that load from and save to files and memory.
//
// An element holds a name, attributes in document order (duplicates allowed), one text value and
// its child elements; there are no text, comment or processing-instruction nodes. The parser is
// forgiving: it reads a practical subset of XML, skips what it does not know, and reports
// malformed input as unexpectedErrorException with "xmlNode::parseText: invalid xml-format".
//
// A node is always held by refPtr or const_refPtr. A child knows its parent through a raw,
// uncounted pointer, so trees have no reference cycles. Nothing here is locked: a tree belongs to
// one thread at a time.
#pragma once

#include "vxExport.h"
#include "vxRefPtr.h"
#include "vxString.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace vx {

class binaryBuffer;
class file;

class VX_API xmlNode : public refObj {
public:
    using attribute = std::pair<string, string>;

    // Deepest element nesting the parser accepts; a deeper document is an invalid format. (The
    // parser recurses once per level, and the text form of a tree grows with the square of its
    // depth, each level being indented further.)
    static constexpr int kMaxDepth = 1024;

    // A new empty node with that name.
    static refPtr<xmlNode> createXmlNode(const string& name);
    // A deep copy of node. Every copied child is appended without a parent pointer, so the
    // copy's descendants have a null parent. Null throws unexpectedErrorException
    // ("xmlNode::createXmlNode: NULL specified for pNode").
    static refPtr<xmlNode> createXmlNode(const const_refPtr<xmlNode>& node);

    // Clears the parent pointer of each child before letting it go.
    ~xmlNode() override;
    void deleteThis() override;

    // Copies attributes, name and text and replaces the children by copies of other's (without
    // parent pointers). All or nothing; assigning a node to itself changes nothing.
    xmlNode& operator=(const xmlNode& other);

    // --- the tree ------------------------------------------------------------------------------
    // False, with nothing changed, for a null node or one that has a parent already.
    bool addNode(refPtr<xmlNode>& node);
    refPtr<xmlNode> createChildNode(const string& name);
    // Removes the child with this identity, keeping the order of the others; false if it is none.
    bool removeNode(refPtr<xmlNode>& node);

    // Child lookup by name: exact with caseSensitive, else without regard to case.
    refPtr<xmlNode> getFirstChildNode(const string& name, bool caseSensitive);
    const_refPtr<xmlNode> getFirstChildNode(const string& name, bool caseSensitive) const;
    refPtr<xmlNode> getLastChildNode(const string& name, bool caseSensitive);
    const_refPtr<xmlNode> getLastChildNode(const string& name, bool caseSensitive) const;
    // The first child behind current with current's name; null when current is null, not a
    // child of this node, or last of its name.
    refPtr<xmlNode> getNextChildNode(const const_refPtr<xmlNode>& current, bool caseSensitive);
    const_refPtr<xmlNode> getNextChildNode(const const_refPtr<xmlNode>& current, bool caseSensitive) const;
    bool hasChildNode(const string& name, bool caseSensitive) const;

    // The parent (null for a root and below a copy), the children and the attributes in order.
    xmlNode* parent() const { return mpParent; }
    const std::vector<refPtr<xmlNode>>& children() const { return mChildren; }
    const std::vector<attribute>& attributes() const { return mAttributes; }

    // --- attributes: the first of a name counts; names compare exactly ----------------------------
    bool hasAttribute(const string& name) const;
    // False, with value untouched, when there is none.
    bool getAttribute(const string& name, string& value) const;
    // Replaces the first value of that name, or appends the pair.
    void setAttribute(const string& name, const string& value);
    void removeAttribute(const string& name);

    // --- name, text and the text form -------------------------------------------------------------
    const string& name() const { return mName; }
    void setName(const string& name) { mName = name; }
    // Decoded: entities are resolved.
    const string& text() const { return mText; }
    void setText(const string& text) { mText = text; }

    // Appends this element and its descendants in the writer's form; indent starts the
    // element's line, each level adds three spaces.
    void getText(string& out, const string& indent) const;

protected:
    xmlNode() = default;
    explicit xmlNode(const string& name) : mName(name) {}
    xmlNode(const xmlNode&) = delete;

    // Parses the element that text starts with (comments, processing instructions and
    // declarations in front of it are skipped) into this node. Answers the position behind it,
    // the '<' of an end tag met before any element (the name stays empty), or null when the
    // text ends inside a comment or before an element.
    const wchar_t* parseText(const wchar_t* text, bool keepWhitespace);
    // The same for text in UTF-8, read as it is: a document is not widened whole first.
    const char* parseUtf8Text(const char* text, bool keepWhitespace);

private:
    struct parser;
    friend struct parser;

    xmlNode* mpParent = nullptr;
    std::vector<refPtr<xmlNode>> mChildren;
    std::vector<attribute> mAttributes;
    string mName;
    string mText;
};

class VX_API xmlDocument : public xmlNode {
public:
    enum eEncoding {
        eUtf8 = 1,
        eUtf16 = 2,
    };

    // A new empty document with an empty name.
    static refPtr<xmlDocument> createXmlDocument();

    // The document is the root element: loading sets its name, attributes, text and children.
    // keepWhitespace false trims spaces and tabs from the ends of texts.

    // fileNotFoundException, readFileException, outOfMemoryException; a malformed document
    // throws invalidXmlException. An empty file leaves the document as it was.
    void load(const file& f, bool keepWhitespace);
    // The encoding comes from a byte-order mark (UTF-8, UTF-16LE) or the declaration; UTF-8
    // without either. A null data returns at once. A failed conversion, a UTF-8 mark with
    // nothing behind it and an empty block throw a bool of value false.
    void load(const char* data, std::uint64_t size, bool keepWhitespace);

    // Appends the document: eUtf8 as the bytes EF BB BF and UTF-8; any other value as UTF-16LE
    // with a terminating zero unit and no mark.
    void save(binaryBuffer& buffer, eEncoding encoding) const;
    // Writes the document to f through a new file beside it that takes f's place when complete,
    // so a failure leaves f as it was. writeFileException when f is not writeable or the write
    // fails.
    void save(const file& f, eEncoding encoding) const;

    ~xmlDocument() override;

protected:
    xmlDocument() = default;
};

} // namespace vx
