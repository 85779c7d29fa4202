#include "vxXml.h"

#include "vxBinaryBuffer.h"
#include "vxDirectory.h"
#include "vxException.h"
#include "vxFile.h"
#include "vxUnicode.h"

#include "platform/codePage.h"
#include "platform/fileReplace.h"
#include "platform/vxPlatform.h"

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <limits>
#include <memory>
#include <new>

namespace vx {

namespace {

const wchar_t kInvalidFormat[] = L"xmlNode::parseText: invalid xml-format";
const wchar_t kNullText[] = L"xmlNode::parseText: NULL specified for pText";
const wchar_t kNullNode[] = L"xmlNode::createXmlNode: NULL specified for pNode";

// Each level of the text form is indented by this much.
const wchar_t kIndentStep[] = L"   ";
constexpr std::size_t kIndentStepLength = 3;

[[noreturn]] void invalidFormat() {
    throw unexpectedErrorException(kInvalidFormat);
}

// iswspace, with ASCII answered without a call: nearly every character a parser meets is ASCII.
inline bool isSpace(wchar_t c) {
    const auto u = static_cast<std::uint32_t>(c);
    if (u < 0x80)
        return u == 0x20 || (u >= 0x09 && u <= 0x0D);
    return std::iswspace(static_cast<std::wint_t>(c)) != 0;
}

inline const wchar_t* skipSpace(const wchar_t* p) {
    while (isSpace(*p))
        ++p;
    return p;
}

// --- entities ------------------------------------------------------------------------------------

// Replaces every occurrence of pattern at or behind from, left to right; replaced text is not
// searched again.
void replaceAllFrom(string& s, std::size_t from, const std::wstring& pattern, const std::wstring& by) {
    std::size_t hit = s.find(pattern, from);
    if (hit == string::npos)
        return;
    std::wstring result;
    result.reserve(s.size());
    result.append(s, 0, hit);
    std::size_t start = hit;
    for (; hit != string::npos; hit = s.find(pattern, start)) {
        result.append(s, start, hit - start);
        result.append(by);
        start = hit + pattern.size();
    }
    result.append(s, start, string::npos);
    s.std::wstring::swap(result);
}

// The number of hexadecimal digits of the numeric entity at p (1 to 3, by where its ';' stands,
// the longest form first), or 0 when there is no ';' in those places.
std::size_t numericDigits(const string& s, std::size_t p) {
    for (std::size_t digits = 3; digits >= 1; --digits)
        if (p + 3 + digits < s.size() && s[p + 3 + digits] == L';')
            return digits;
    return 0;
}

// One pass over the numeric forms "&#x" with one to three digits: the first that has its ';'
// decides the character, and every occurrence of that exact text becomes it.
void decodeNumericEntities(string& s) {
    static const std::wstring opening = L"&#x";
    std::size_t from = 0;
    for (;;) {
        const std::size_t p = s.find(opening, from);
        if (p == string::npos)
            return;
        const std::size_t digits = numericDigits(s, p);
        if (digits == 0) {
            // Without its ';' the form stays as it is, and the search goes on behind it.
            from = p + 1;
            continue;
        }
        wchar_t hex[4] = {};
        s.copy(hex, digits, p + 3);
        const long value = std::wcstol(hex, nullptr, 16);
        const auto unit = static_cast<wchar_t>(static_cast<std::uint16_t>(value));
        replaceAllFrom(s, p, s.substr(p, digits + 4), unit == 0 ? std::wstring() : std::wstring(1, unit));
        // Nothing in front of p changed, so a form that starts earlier than p - 6 is as it was;
        // the replacement may have completed one in that span, or opened a new one.
        from = p >= 6 ? p - 6 : 0;
    }
}

// Resolves the entities of a text: the named ones, then the numeric ones, and again until a whole
// pass changes the length no more.
void decodeEntities(string& s) {
    if (s.find(L'&') == string::npos)
        return;
    static const std::wstring named[][2] = {
        {L"&amp;", L"&"}, {L"&apos;", L"'"}, {L"&quot;", L"\""}, {L"&lt;", L"<"}, {L"&gt;", L">"},
    };
    for (;;) {
        const std::size_t before = s.size();
        for (const auto& entity : named)
            replaceAllFrom(s, 0, entity[0], entity[1]);
        decodeNumericEntities(s);
        if (s.size() == before)
            return;
    }
}

// Appends text with the five special characters as entities; with dropNewlines, '\n' is left out.
void appendEncoded(string& out, const string& text, bool dropNewlines) {
    const wchar_t* p = text.data();
    const wchar_t* const end = p + text.size();
    while (p < end) {
        const wchar_t* const run = p;
        while (p < end && (*p > L'>' || (*p != L'&' && *p != L'\'' && *p != L'"' && *p != L'<' && *p != L'>' &&
                                         (*p != L'\n' || !dropNewlines))))
            ++p;
        out.append(run, p);
        if (p == end)
            return;
        switch (*p) {
        case L'&': out += L"&amp;"; break;
        case L'\'': out += L"&apos;"; break;
        case L'"': out += L"&quot;"; break;
        case L'<': out += L"&lt;"; break;
        case L'>': out += L"&gt;"; break;
        default: break; // a newline that is dropped
        }
        ++p;
    }
}

// --- the writer --------------------------------------------------------------------------------------

// The characters of the text form of a tree, roughly: what the writer reserves once.
std::size_t estimatedLength(const xmlNode& root, std::size_t indent) {
    std::size_t total = 0;
    std::vector<std::pair<const xmlNode*, std::size_t>> work{{&root, indent}};
    while (!work.empty()) {
        const auto [node, level] = work.back();
        work.pop_back();
        total += 2 * level + 2 * node->name().size() + node->text().size() + 8;
        for (const auto& a : node->attributes())
            total += a.first.size() + a.second.size() + 4;
        for (const auto& child : node->children())
            if (child)
                work.emplace_back(child.get(), level + kIndentStepLength);
    }
    return total;
}

// The element's line: start tag, attributes, and either the whole element (no children) or the
// ">" and the line of its text.
void writeStart(string& out, const xmlNode& node, const string& indent) {
    out += indent;
    out += L'<';
    out += node.name();
    for (const auto& a : node.attributes()) {
        out += L' ';
        out += a.first;
        out += L"=\"";
        appendEncoded(out, a.second, false);
        out += L'"';
    }
    if (node.children().empty()) {
        if (node.text().empty()) {
            out += L"/>\n";
        } else {
            out += L'>';
            appendEncoded(out, node.text(), false);
            out += L"</";
            out += node.name();
            out += L">\n";
        }
        return;
    }
    out += L">\n";
    if (!node.text().empty()) {
        out += indent;
        out += kIndentStep;
        appendEncoded(out, node.text(), true);
        out += L'\n';
    }
}

// Depth first with a list of open elements instead of recursion, so that a tree of any depth
// can be written.
void writeTree(string& out, const xmlNode& root, const string& rootIndent) {
    string indent = rootIndent;
    std::vector<std::pair<const xmlNode*, std::size_t>> open;
    const xmlNode* next = &root;
    for (;;) {
        if (next) {
            writeStart(out, *next, indent);
            if (!next->children().empty()) {
                open.emplace_back(next, 0);
                indent += kIndentStep;
            }
        }
        if (open.empty())
            return;
        auto& [node, index] = open.back();
        if (index < node->children().size()) {
            next = node->children()[index++].operator->(); // a null child is an assertion
        } else {
            next = nullptr;
            indent.resize(indent.size() - kIndentStepLength);
            out += indent;
            out += L"</";
            out += node->name();
            out += L">\n";
            open.pop_back();
        }
    }
}

// UTF-8 in pieces of 256 units, each ending at its first null character; a surrogate pair is
// never cut in two.
void appendUtf8Pieces(std::string& out, const string& text) {
    constexpr std::size_t kPiece = 256;
    const wchar_t* const data = text.data();
    const std::size_t length = text.size();
    if (std::wmemchr(data, L'\0', length) == nullptr) { // the usual case: one piece does
        unicode::appendUtf8(out, data, length);
        return;
    }
    for (std::size_t i = 0; i < length;) {
        std::size_t n = length - i < kPiece ? length - i : kPiece;
        const auto last = static_cast<std::uint32_t>(data[i + n - 1]);
        if (sizeof(wchar_t) == 2 && i + n < length && last >= 0xD800 && last <= 0xDBFF)
            ++n;
        const wchar_t* const zero = std::wmemchr(data + i, L'\0', n);
        unicode::appendUtf8(out, data + i, zero ? static_cast<std::size_t>(zero - (data + i)) : n);
        i += n;
    }
}

// --- encoding detection -------------------------------------------------------------------------------

// The encoding name of the declaration at the start of the block, empty when there is none. The
// scan looks for "encoding=" followed by '"' and collects up to the next '"'; an 'e' or 'E' anywhere
// starts a new name, so a value holding one is lost.
std::string declaredEncoding(const unsigned char* bytes, std::size_t size) {
    if (size < 3 || bytes[0] != '<' || bytes[1] != '?')
        return std::string();
    constexpr std::size_t kCollector = 127; // characters; more are not kept
    std::string collected;
    bool inName = false, inValue = false;
    const auto collect = [&collected](unsigned char c) {
        if (collected.size() < kCollector)
            collected += static_cast<char>(c);
    };
    for (std::size_t i = 2; i < size; ++i) {
        const unsigned char c = bytes[i];
        if (c == '?' && i + 1 < size && bytes[i + 1] == '>')
            break;
        if (c == 'e' || c == 'E') {
            inName = true;
            collect(c);
        } else if (!inName) {
            if (inValue) {
                if (c == '"')
                    return collected;
                collect(c);
            }
        } else if (std::strchr("=cCdDgGiInNoO", c) != nullptr && c != 0) {
            collect(c);
        } else {
            bool isKeyword = collected.size() == 9;
            for (std::size_t k = 0; isKeyword && k < 9; ++k)
                isKeyword = (collected[k] | 0x20) == "encoding="[k];
            if (isKeyword && c == '"')
                inValue = true;
            collected.clear();
            inName = false;
        }
    }
    return inValue ? collected : std::string();
}

} // namespace

// --- nodes ----------------------------------------------------------------------------------------------

refPtr<xmlNode> xmlNode::createXmlNode(const string& name) {
    return refPtr<xmlNode>(new xmlNode(name));
}

refPtr<xmlNode> xmlNode::createXmlNode(const const_refPtr<xmlNode>& node) {
    if (node.isNull())
        throw unexpectedErrorException(kNullNode);
    refPtr<xmlNode> root(new xmlNode(node->mName));
    root->mAttributes = node->mAttributes;
    root->mText = node->mText;
    // Level by level through a list rather than by recursion, so that any depth can be copied.
    std::vector<std::pair<const xmlNode*, xmlNode*>> work{{node.get(), root.get()}};
    while (!work.empty()) {
        const auto [from, to] = work.back();
        work.pop_back();
        to->mChildren.reserve(from->mChildren.size());
        for (const auto& child : from->mChildren) {
            if (child.isNull())
                throw unexpectedErrorException(kNullNode);
            refPtr<xmlNode> copy(new xmlNode(child->mName));
            copy->mAttributes = child->mAttributes;
            copy->mText = child->mText;
            to->mChildren.push_back(copy); // appended only: the copy has no parent pointer
            work.emplace_back(child.get(), copy.get());
        }
    }
    return root;
}

xmlNode::~xmlNode() {
    // Children that only this node holds hand their own children to the list before they go, so
    // that releasing a deep tree does not recurse once per level.
    std::vector<refPtr<xmlNode>> pending;
    pending.swap(mChildren);
    for (auto& child : pending)
        if (child)
            child->mpParent = nullptr;
    while (!pending.empty()) {
        refPtr<xmlNode> last = std::move(pending.back());
        pending.pop_back();
        if (last && last->getRefCount() == 1) {
            for (auto& child : last->mChildren) {
                if (child)
                    child->mpParent = nullptr;
                pending.push_back(std::move(child));
            }
            last->mChildren.clear();
        }
    }
}

void xmlNode::deleteThis() {
    delete this;
}

xmlNode& xmlNode::operator=(const xmlNode& other) {
    if (this == &other)
        return *this;
    // The copies are made first: other may be one of the children about to go.
    std::vector<refPtr<xmlNode>> copies;
    copies.reserve(other.mChildren.size());
    for (const auto& child : other.mChildren)
        copies.push_back(createXmlNode(child));
    std::vector<attribute> attributes = other.mAttributes;
    string name = other.mName, text = other.mText;
    for (auto& child : mChildren)
        if (child)
            child->mpParent = nullptr;
    mChildren.swap(copies);
    mAttributes.swap(attributes);
    mName.swap(name);
    mText.swap(text);
    return *this;
}

bool xmlNode::addNode(refPtr<xmlNode>& node) {
    if (node.isNull() || node->mpParent != nullptr)
        return false;
    node->mpParent = this;
    mChildren.push_back(node);
    return true;
}

refPtr<xmlNode> xmlNode::createChildNode(const string& name) {
    refPtr<xmlNode> child = createXmlNode(name);
    addNode(child);
    return child;
}

bool xmlNode::removeNode(refPtr<xmlNode>& node) {
    for (auto it = mChildren.begin(); it != mChildren.end(); ++it) {
        if (it->get() == node.get() && !node.isNull()) {
            node->mpParent = nullptr;
            mChildren.erase(it);
            return true;
        }
    }
    return false;
}

refPtr<xmlNode> xmlNode::getFirstChildNode(const string& name, bool caseSensitive) {
    for (const auto& child : mChildren)
        if (child->mName.isEqualTo(name, caseSensitive))
            return child;
    return nullptr;
}

const_refPtr<xmlNode> xmlNode::getFirstChildNode(const string& name, bool caseSensitive) const {
    return const_cast<xmlNode*>(this)->getFirstChildNode(name, caseSensitive);
}

refPtr<xmlNode> xmlNode::getLastChildNode(const string& name, bool caseSensitive) {
    refPtr<xmlNode> found;
    for (const auto& child : mChildren)
        if (child->mName.isEqualTo(name, caseSensitive))
            found = child;
    return found;
}

const_refPtr<xmlNode> xmlNode::getLastChildNode(const string& name, bool caseSensitive) const {
    return const_cast<xmlNode*>(this)->getLastChildNode(name, caseSensitive);
}

refPtr<xmlNode> xmlNode::getNextChildNode(const const_refPtr<xmlNode>& current, bool caseSensitive) {
    if (current.isNull())
        return nullptr;
    bool passed = false;
    for (const auto& child : mChildren) {
        if (passed && child->mName.isEqualTo(current->mName, caseSensitive))
            return child;
        if (child.get() == current.get())
            passed = true;
    }
    return nullptr;
}

const_refPtr<xmlNode> xmlNode::getNextChildNode(const const_refPtr<xmlNode>& current, bool caseSensitive) const {
    return const_cast<xmlNode*>(this)->getNextChildNode(current, caseSensitive);
}

bool xmlNode::hasChildNode(const string& name, bool caseSensitive) const {
    return !getFirstChildNode(name, caseSensitive).isNull();
}

bool xmlNode::hasAttribute(const string& name) const {
    for (const auto& a : mAttributes)
        if (a.first == name)
            return true;
    return false;
}

bool xmlNode::getAttribute(const string& name, string& value) const {
    for (const auto& a : mAttributes) {
        if (a.first == name) {
            value = a.second;
            return true;
        }
    }
    return false;
}

void xmlNode::setAttribute(const string& name, const string& value) {
    for (auto& a : mAttributes) {
        if (a.first == name) {
            a.second = value;
            return;
        }
    }
    mAttributes.emplace_back(name, value);
}

void xmlNode::removeAttribute(const string& name) {
    for (auto it = mAttributes.begin(); it != mAttributes.end(); ++it) {
        if (it->first == name) {
            mAttributes.erase(it);
            return;
        }
    }
}

void xmlNode::getText(string& out, const string& indent) const {
    out.reserve(out.size() + estimatedLength(*this, indent.size()));
    writeTree(out, *this, indent);
}

// --- the parser -------------------------------------------------------------------------------------

// One parse: its options and the children collected so far. Each element's new children lie at
// the end of one shared list while it is parsed, so nothing is allocated per element for them.
struct xmlNode::parser {
    bool keepWhitespace;
    std::vector<refPtr<xmlNode>> collected;

    // Sets target to the text between from and to: trimmed of spaces and tabs unless whitespace
    // is kept, entities resolved.
    void setText(string& target, const wchar_t* from, const wchar_t* to) const {
        if (!keepWhitespace) {
            while (from < to && (*from == L' ' || *from == L'\t'))
                ++from;
            while (to > from && (to[-1] == L' ' || to[-1] == L'\t'))
                --to;
        }
        target.assign(from, to);
        decodeEntities(target);
    }

    // p is behind the '/' of an end tag: the tag must name the element (over the name's length)
    // and end in '>'. Answers the position behind it.
    static const wchar_t* endTag(const wchar_t* p, const string& name) {
        p = skipSpace(p);
        if (std::wcsncmp(p, name.c_str(), name.size()) != 0)
            invalidFormat();
        p = skipSpace(p + name.size());
        if (*p != L'>')
            invalidFormat();
        return p + 1;
    }

    // The children of node parsed since first are appended to those it had.
    void takeChildren(xmlNode& node, std::size_t first) {
        if (collected.size() == first)
            return;
        if (node.mChildren.empty()) {
            node.mChildren.assign(std::make_move_iterator(collected.begin() + static_cast<std::ptrdiff_t>(first)),
                                  std::make_move_iterator(collected.end()));
        } else {
            node.mChildren.insert(node.mChildren.end(),
                                  std::make_move_iterator(collected.begin() + static_cast<std::ptrdiff_t>(first)),
                                  std::make_move_iterator(collected.end()));
        }
        collected.resize(first);
    }

    const wchar_t* parse(xmlNode& node, const wchar_t* text, int depth);
};

const wchar_t* xmlNode::parser::parse(xmlNode& node, const wchar_t* text, int depth) {
    // The element start: comments, processing instructions and declarations are passed over.
    const wchar_t* p = text;
    for (;;) {
        p = std::wcschr(p, L'<');
        if (!p)
            return nullptr;
        const wchar_t* end;
        if (p[1] == L'!' && p[2] == L'-' && p[3] == L'-') {
            end = std::wcsstr(p + 4, L"-->");
            if (!end)
                return nullptr;
            p = end + 3;
        } else if (p[1] == L'?') {
            end = std::wcsstr(p + 2, L"?>");
            if (!end)
                return nullptr;
            p = end + 2;
        } else if (p[1] == L'!') {
            end = std::wcschr(p + 2, L'>');
            if (!end)
                return nullptr;
            p = end + 1;
        } else {
            break;
        }
    }
    const wchar_t* q = skipSpace(p + 1);
    if (*q == L'\0')
        invalidFormat();
    if (*q == L'/')
        return p; // an end tag: no element here

    // The name runs to whitespace, '>', the end, or a "/>".
    const wchar_t* const nameStart = q;
    for (;; ++q) {
        const wchar_t c = *q;
        if (c == L'\0' || c == L'>' || isSpace(c))
            break;
        if (c == L'/') {
            if (q[1] == L'>')
                break;
            invalidFormat();
        }
    }
    node.mName.assign(nameStart, q);

    // Attributes. Anything between a name and the next '=' is passed over.
    for (;;) {
        if (*q == L'\0')
            break;
        q = skipSpace(q);
        if (*q == L'>' || (*q == L'/' && q[1] == L'>'))
            break;
        const wchar_t* const attributeName = q;
        while (*q != L'\0' && *q != L'=' && !isSpace(*q))
            ++q;
        const wchar_t* const attributeNameEnd = q;
        const wchar_t* const equals = std::wcschr(q, L'=');
        if (!equals)
            invalidFormat();
        q = skipSpace(equals + 1);
        const wchar_t quote = *q;
        if (quote != L'"' && quote != L'\'')
            invalidFormat();
        const wchar_t* const valueEnd = std::wcschr(q + 1, quote);
        if (!valueEnd)
            invalidFormat();
        string value(q + 1, valueEnd);
        decodeEntities(value);
        node.mAttributes.emplace_back(string(attributeName, attributeNameEnd), std::move(value));
        q = valueEnd + 1;
    }
    const std::size_t first = collected.size();
    if (*q != L'>')
        return q; // "/>" or the end of the text: the element is complete

    // Content: a text-only element, or text in front of child elements.
    const wchar_t* const content = q + 1;
    const wchar_t* lastOpen = std::wcschr(content, L'<');
    if (!lastOpen)
        invalidFormat();
    if (lastOpen[1] == L'/') {
        const wchar_t* const behind = endTag(lastOpen + 2, node.mName);
        setText(node.mText, content, lastOpen);
        return behind;
    }
    const wchar_t* position = skipSpace(content);
    if (position < lastOpen)
        setText(node.mText, position, lastOpen);

    // Children, up to the end tag; text between and behind them is passed over.
    while (lastOpen[1] != L'\0') {
        const wchar_t* const open = std::wcschr(position, L'<');
        if (!open)
            invalidFormat();
        lastOpen = open;
        const wchar_t* const afterOpen = skipSpace(open + 1);
        if (*afterOpen == L'/') {
            position = endTag(afterOpen + 1, node.mName);
            break;
        }
        if (depth >= kMaxDepth)
            invalidFormat();
        refPtr<xmlNode> child(new xmlNode());
        const wchar_t* const behind = parse(*child, open, depth + 1);
        if (!behind) {
            collected.resize(first);
            return nullptr;
        }
        if (!child->mName.empty()) {
            child->mpParent = &node;
            collected.push_back(std::move(child));
        }
        position = behind;
    }
    takeChildren(node, first);
    return position;
}

const wchar_t* xmlNode::parseText(const wchar_t* text, bool keepWhitespace) {
    if (!text)
        throw unexpectedErrorException(kNullText);
    parser state{keepWhitespace, {}};
    try {
        return state.parse(*this, text, 1);
    } catch (const std::bad_alloc&) {
        throw outOfMemoryException();
    }
}

// --- documents ------------------------------------------------------------------------------------------

refPtr<xmlDocument> xmlDocument::createXmlDocument() {
    return refPtr<xmlDocument>(new xmlDocument());
}

xmlDocument::~xmlDocument() = default;

void xmlDocument::load(const char* data, std::uint64_t size, bool keepWhitespace) {
    if (!data)
        return;
    if (size > std::numeric_limits<std::size_t>::max() / sizeof(wchar_t))
        throw outOfMemoryException();
    const auto* bytes = reinterpret_cast<const unsigned char*>(data);
    const auto n = static_cast<std::size_t>(size);
    std::wstring text;
    try {
        if (n >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF) {
            if (n < 4)
                throw false;
            unicode::appendFromUtf8(text, data + 3, n - 3);
        } else if (n >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE) {
            unicode::appendFromUtf16Le(text, bytes + 2, n - 2);
        } else {
            std::string name = declaredEncoding(bytes, n);
            for (char& c : name)
                c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
            if (name.empty() || name == "utf-8") {
                if (n == 0)
                    throw false; // nothing to convert is a failed conversion
                unicode::appendFromUtf8(text, data, n);
            } else if (name == "utf-16") {
                // A declaration was found, so there are at least 3 bytes.
                unicode::appendFromUtf16Le(text, bytes + 2, n - 2);
            } else {
                platform::appendFromNamedEncoding(text, name.c_str(), data, n);
            }
        }
    } catch (const std::bad_alloc&) {
        throw outOfMemoryException();
    }
    parseText(text.c_str(), keepWhitespace);
}

void xmlDocument::load(const file& f, bool keepWhitespace) {
    if (!f.exists())
        throw fileNotFoundException(f);
    const unsigned long size = f.size();
    if (size == 0)
        return;
    const std::unique_ptr<char, void (*)(void*)> block(static_cast<char*>(std::malloc(size)), std::free);
    if (!block)
        throw outOfMemoryException();
    platform::fileHandle handle;
    if (!handle.open(f.fullName(), platform::fileHandle::openRead))
        throw readFileException(f);
    std::size_t total = 0;
    while (total < size) {
        std::size_t got = 0;
        if (!handle.read(block.get() + total, size - total, got) || got == 0)
            break;
        total += got;
    }
    if (total < size)
        throw readFileException(f);
    handle.close();
    try {
        load(block.get(), size, keepWhitespace);
    } catch (const unexpectedErrorException&) {
        throw invalidXmlException(f);
    }
}

void xmlDocument::save(binaryBuffer& buffer, eEncoding encoding) const {
    string text;
    text.reserve(estimatedLength(*this, 0) + 40);
    text += L"<?xml version=\"1.0\" ";
    if (encoding == eUtf8)
        text += L"encoding=\"UTF-8\"";
    else if (encoding == eUtf16)
        text += L"encoding=\"UTF-16\"";
    text += L"?>\n";
    writeTree(text, *this, string());
    std::string bytes;
    if (encoding == eUtf8) {
        bytes.reserve(text.size() + text.size() / 2 + 3);
        bytes = "\xEF\xBB\xBF";
        appendUtf8Pieces(bytes, text);
    } else {
        unicode::appendUtf16Le(bytes, text.data(), text.size());
        bytes.append(2, '\0');
    }
    buffer.write(bytes.data(), bytes.size());
}

void xmlDocument::save(const file& f, eEncoding encoding) const {
    if (!f.isWriteable())
        throw writeFileException(f);
    binaryBuffer buffer;
    save(buffer, encoding);
    // Written beside the file first, so that a failed write leaves the old file whole.
    string drive, name, extension;
    directory folder;
    f.getParts(drive, folder, name, extension);
    const file temporary = file::generateRandomFile(folder, L"tmp");
    if (temporary.fullName().empty())
        throw writeFileException(f);
    if (!buffer.writeToFile(temporary, false) || !platform::replaceFile(temporary.fullName(), f.fullName())) {
        temporary.remove();
        throw writeFileException(f);
    }
}

} // namespace vx
