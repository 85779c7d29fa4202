// XML documents: any bytes load from memory (every encoding the detection can choose) without a
// crash, a hang or a leak, and whatever tree results is copied, written in both encodings and
// loaded again. A document that is valid UTF-8 (and declares no encoding) loads to the same tree,
// or fails the same way, when it is given as UTF-16 instead.
//
// Input: the bytes of the document. An odd first byte keeps whitespace in texts.
#include <vxBinaryBuffer.h>
#include <vxException.h>
#include <vxXml.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iconv.h>
#include <string>

namespace {

void check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "failed: %s\n", what);
        std::abort();
    }
}

// Loads the bytes; a malformed document throws an exception, a failed conversion a bool. Answers
// whether it loaded.
bool load(vx::xmlDocument& doc, const char* data, std::size_t size, bool keep) {
    try {
        doc.load(data, size, keep);
        return true;
    } catch (const vx::exception&) {
    } catch (bool) {
    }
    return false;
}

// The UTF-16LE form of valid UTF-8, behind its byte-order mark; empty for anything else.
std::string utf16Of(const char* data, std::size_t size) {
    iconv_t cd = iconv_open("UTF-16LE", "UTF-8");
    if (cd == reinterpret_cast<iconv_t>(-1))
        return {};
    std::string out(size * 4 + 2, '\0');
    out[0] = '\xFF';
    out[1] = '\xFE';
    char* in = const_cast<char*>(data);
    std::size_t inLeft = size;
    char* to = &out[2];
    std::size_t toLeft = out.size() - 2;
    const bool ok = iconv(cd, &in, &inLeft, &to, &toLeft) != static_cast<std::size_t>(-1) && inLeft == 0;
    iconv_close(cd);
    if (!ok)
        return {};
    out.resize(out.size() - toLeft);
    return out;
}

// Both readings agree on the document, where both apply.
void compareReadings(const vx::xmlDocument& doc, bool loaded, const char* data, std::size_t size, bool keep) {
    if (size >= 3 && std::memcmp(data, "\xEF\xBB\xBF", 3) == 0) {
        data += 3;
        size -= 3;
    }
    if (size == 0 || (size >= 2 && std::memcmp(data, "\xFF\xFE", 2) == 0))
        return;
    std::string lower(data, size);
    for (char& c : lower)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    if (lower.find("encoding") != std::string::npos)
        return; // a declared encoding is read as declared
    const std::string wide = utf16Of(data, size);
    if (wide.empty())
        return;
    vx::refPtr<vx::xmlDocument> other = vx::xmlDocument::createXmlDocument();
    check(load(*other, wide.data(), wide.size(), keep) == loaded, "both readings load, or neither");
    vx::string text, otherText;
    doc.getText(text, L"");
    other->getText(otherText, L"");
    check(text == otherText, "both readings give the same tree");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const bool keep = size > 0 && (data[0] & 1) != 0;
    vx::refPtr<vx::xmlDocument> doc = vx::xmlDocument::createXmlDocument();
    const bool loaded = load(*doc, reinterpret_cast<const char*>(data), size, keep);
    compareReadings(*doc, loaded, reinterpret_cast<const char*>(data), size, keep);

    vx::refPtr<vx::xmlNode> copy = vx::xmlNode::createXmlNode(doc);
    vx::string text, copied;
    doc->getText(text, L"");
    copy->getText(copied, L"");
    check(text == copied, "a copy writes the same text");

    vx::binaryBuffer utf8, utf16;
    doc->save(utf8, vx::xmlDocument::eUtf8);
    doc->save(utf16, vx::xmlDocument::eUtf16);
    check(utf8.logicalLength() >= 3 && utf16.logicalLength() % 2 == 0, "both forms are whole");
    vx::refPtr<vx::xmlDocument> again = vx::xmlDocument::createXmlDocument();
    load(*again, utf8.data(), utf8.logicalLength(), keep);
    load(*again, utf16.data(), utf16.logicalLength(), keep);
    return 0;
}
