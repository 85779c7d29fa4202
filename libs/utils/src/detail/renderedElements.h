// Elements of an XML tree kept as their text form instead of as nodes (internal). The object
// database writes each object's element out as soon as it is complete, while it is still in the
// cache, and lets its nodes go, instead of holding a tree of every value until the end; the
// elements are read back into nodes whenever somebody may look at the tree.
#pragma once

#include "vxBinaryBuffer.h"
#include "vxXml.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace vx::detail {

// Elements that follow the children of one node, as the UTF-8 text the document writer gives
// them, in order.
struct renderedElements {
    binaryBuffer text;
    std::uint64_t count = 0;
    // The writer's list of open elements, kept from one element to the next.
    std::vector<std::pair<const xmlNode*, std::size_t>> open;
};

// Whether element can be kept as text and read back equal: it and everything below it are
// plain nodes held by nobody but their parents (the element by its caller's one reference),
// names are of ASCII letters, digits and "_-.:", texts and attribute values hold characters
// only, no control character and no '&', and no element has both text and children.
bool rendersFaithfully(const xmlNode& element);

// Appends the text form of element as it stands depth levels below the root of a document.
void render(renderedElements& to, const xmlNode& element, std::size_t depth);

// Reads the rendered elements back and appends them to the children of parent.
void appendRendered(xmlNode& parent, const renderedElements& from);

// xmlDocument::save(buffer, eUtf8) of root, with the rendered elements of each node behind its
// children. False, with the buffer as it was, when a text holds a null character: the caller
// then reads the elements back and saves the tree.
bool saveWithRendered(binaryBuffer& buffer, const xmlNode& root,
                      const std::function<const renderedElements*(const xmlNode&)>& renderedOf);

} // namespace vx::detail
