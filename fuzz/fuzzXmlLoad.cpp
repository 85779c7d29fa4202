// XML documents: any bytes load from memory (every encoding the detection can choose) without a
// crash, a hang or a leak, and whatever tree results is copied, written in both encodings and
// loaded again.
//
// Input: the bytes of the document. An odd first byte keeps whitespace in texts.
#include <vxBinaryBuffer.h>
#include <vxException.h>
#include <vxXml.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "failed: %s\n", what);
        std::abort();
    }
}

// Loads the bytes; a malformed document throws an exception, a failed conversion a bool.
void load(vx::xmlDocument& doc, const char* data, std::size_t size, bool keep) {
    try {
        doc.load(data, size, keep);
    } catch (const vx::exception&) {
    } catch (bool) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const bool keep = size > 0 && (data[0] & 1) != 0;
    vx::refPtr<vx::xmlDocument> doc = vx::xmlDocument::createXmlDocument();
    load(*doc, reinterpret_cast<const char*>(data), size, keep);

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
