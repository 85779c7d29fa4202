// Commands over XML documents: check that a file parses, print it in the writer's form, and read
// texts and attribute values by an element path.
#include "command.h"

#include <vxBinaryBuffer.h>
#include <vxException.h>
#include <vxFile.h>
#include <vxXml.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

using vxutil::arguments;
using vxutil::expectCount;
using vxutil::printLine;
using vxutil::quoted;
using vxutil::usageError;
using vx::const_refPtr;
using vx::refPtr;
using vx::xmlDocument;
using vx::xmlNode;

refPtr<xmlDocument> loaded(const vx::string& name) {
    refPtr<xmlDocument> doc = xmlDocument::createXmlDocument();
    doc->load(vx::file(name), false);
    return doc;
}

// Elements in the tree below and including node; a document that holds none has an empty name.
std::size_t countElements(const xmlNode& root) {
    if (root.name().empty() && root.children().empty())
        return 0;
    std::size_t count = 0;
    std::vector<const xmlNode*> work{&root};
    while (!work.empty()) {
        const xmlNode* node = work.back();
        work.pop_back();
        ++count;
        for (const auto& child : node->children())
            work.push_back(child.get());
    }
    return count;
}

int runCheck(const arguments& args) {
    expectCount(args, 1, 1);
    const std::size_t count = countElements(*loaded(args[0]));
    printLine(vx::string::sformat(L"ok, %zu element%s", count, count == 1 ? L"" : L"s"));
    return 0;
}

int runFormat(const arguments& args, bool utf16) {
    expectCount(args, 1, 1);
    vx::binaryBuffer bytes;
    loaded(args[0])->save(bytes, utf16 ? xmlDocument::eUtf16 : xmlDocument::eUtf8);
    std::fwrite(bytes.data(), 1, static_cast<std::size_t>(bytes.logicalLength()), stdout);
    return 0;
}

// One step of an element path: a name and, from "[n]", the n-th element of that name (from 1);
// 0 takes every element of the name.
struct step {
    vx::string name;
    unsigned long index = 0;
};

std::vector<step> parsePath(const vx::string& text, vx::string& attribute) {
    std::vector<vx::string> parts;
    vx::string path = text;
    if (!path.empty() && path[0] == L'/')
        path.erase(0, 1);
    path.splitAt(L"/", parts);
    if (!parts.empty() && !parts.back().empty() && parts.back()[0] == L'@') {
        attribute = parts.back().substr(1);
        parts.pop_back();
        if (attribute.empty())
            throw usageError("an empty attribute name in " + quoted(text));
    }
    std::vector<step> steps;
    for (const vx::string& part : parts) {
        step s;
        const std::size_t open = part.find(L'[');
        s.name = part.substr(0, open);
        if (open != vx::string::npos) {
            if (part.back() != L']')
                throw usageError("a step " + quoted(part) + " without its closing ]");
            const vx::string number = part.substr(open + 1, part.size() - open - 2);
            s.index = static_cast<unsigned long>(vxutil::toInteger(number, 1, 1L << 30));
            if (s.index == 0)
                throw usageError("elements count from 1, not " + quoted(number));
        }
        if (s.name.empty())
            throw usageError("an empty element name in " + quoted(text));
        steps.push_back(s);
    }
    if (steps.empty())
        throw usageError("the path names no element");
    return steps;
}

int runGet(const arguments& args) {
    expectCount(args, 2, 2);
    vx::string attribute;
    const std::vector<step> steps = parsePath(args[1], attribute);
    const refPtr<xmlDocument> doc = loaded(args[0]);
    // The first step names the root, the others children, each through the lookup by name.
    std::vector<const_refPtr<xmlNode>> selected;
    if (doc->name() == steps[0].name && steps[0].index <= 1)
        selected.emplace_back(doc);
    for (std::size_t i = 1; i < steps.size(); ++i) {
        std::vector<const_refPtr<xmlNode>> next;
        for (const auto& parent : selected) {
            unsigned long n = 1;
            for (const_refPtr<xmlNode> child = parent->getFirstChildNode(steps[i].name, true); child;
                 child = parent->getNextChildNode(child, true), ++n)
                if (steps[i].index == 0 || steps[i].index == n)
                    next.push_back(child);
        }
        selected.swap(next);
    }
    bool found = false;
    for (const auto& node : selected) {
        vx::string value;
        if (attribute.empty()) {
            value = node->text();
        } else if (!node->getAttribute(attribute, value)) {
            continue;
        }
        printLine(value);
        found = true;
    }
    return found ? 0 : 1;
}

int runXml(arguments args) {
    const vxutil::options given = vxutil::takeOptions(args, {"--utf16"});
    if (args.empty())
        throw usageError("missing action: check, format or get");
    const vx::string action = args[0];
    args.erase(args.begin());
    if (given.has("--utf16") && action != L"format")
        throw usageError("--utf16 belongs to format");
    try {
        if (action == L"check")
            return runCheck(args);
        if (action == L"format")
            return runFormat(args, given.has("--utf16"));
        if (action == L"get")
            return runGet(args);
    } catch (const vx::exception& e) {
        return vxutil::failure(args.empty() ? action : args[0], e);
    }
    throw usageError("unknown action " + quoted(action));
}

const vxutil::registration registered{
    {"xml", "check, format and read XML documents",
     "check FILE | format [--utf16] FILE | get FILE PATH\n\n"
     "check   parses FILE and prints \"ok\" with the number of elements.\n"
     "format  prints the document in the form the library writes it: UTF-8 with a byte-order\n"
     "        mark, or with --utf16 UTF-16LE units ending in a zero unit, without a mark (such\n"
     "        output does not load again). Each level is indented by three spaces.\n"
     "get     prints the texts, or with a last step @NAME the values of the attribute NAME, of\n"
     "        the elements PATH selects: element names separated by '/', the first naming the\n"
     "        root; a step NAME[n] takes the n-th element of that name (from 1), a bare NAME\n"
     "        every one. Names are compared exactly.\n"
     "Texts are trimmed of spaces and tabs. Exit status 1 when FILE is missing, cannot be read\n"
     "or is not a valid document (the message on standard error), or when get finds nothing.",
     runXml},
};

} // namespace
