// Reading and writing XML: vx::xmlDocument next to pugixml, tinyxml2 and expat building a tree.
//
// Two documents of about 10 MB each, made in memory: a database-like one of many small elements
// with attributes, and a document-like one of sections and paragraphs with long texts. Parsing
// includes building the tree and releasing it; writing starts from a parsed tree and ends with
// UTF-8 bytes in memory.
#include <vxBinaryBuffer.h>
#include <vxXml.h>

#include <benchmark/benchmark.h>
#include <expat.h>
#include <pugixml.hpp>
#include <tinyxml2.h>

#include <malloc.h>

#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t kTargetSize = 10u << 20;

std::string databaseDocument() {
    std::string doc = "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<vxDatabase version=\"3\">\n";
    for (int table = 0; doc.size() < kTargetSize; ++table) {
        doc += "   <layer" + std::to_string(table) + "_table>\n";
        for (int i = 0; i < 1000; ++i) {
            const std::string n = std::to_string(table * 1000 + i);
            doc += "      <layer guid=\"{6f1c" + n + "-0000-11ee-8000-0242ac120002}\" name=\"Layer " + n +
                   "\" color=\"" + std::to_string(i * 2654435761u % 16777216) + "\" visible=\"" +
                   (i % 3 ? "1" : "0") + "\">\n";
            doc += "         <width>" + std::to_string(i % 7) + ".25</width>\n";
            doc += "         <style>solid</style>\n";
            doc += "      </layer>\n";
        }
        doc += "   </layer" + std::to_string(table) + "_table>\n";
    }
    doc += "</vxDatabase>\n";
    return doc;
}

std::string documentDocument() {
    const std::string sentence =
        "The retaining wall along the northern boundary is built from reinforced concrete &amp; "
        "faced with local stone; its footing reaches 1.2 m below the finished ground level. ";
    std::string doc = "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<document title=\"Site report\">\n";
    for (int section = 0; doc.size() < kTargetSize; ++section) {
        doc += "   <section number=\"" + std::to_string(section) + "\" title=\"Section " + std::to_string(section) +
               "\">\n";
        for (int p = 0; p < 20; ++p) {
            doc += "      <para>";
            for (int s = 0; s < 4 + p % 5; ++s)
                doc += sentence;
            doc += "</para>\n";
        }
        doc += "   </section>\n";
    }
    doc += "</document>\n";
    return doc;
}

const std::string& documentOf(int which) {
    static const std::string database = databaseDocument(), document = documentDocument();
    return which == 0 ? database : document;
}

// Bytes the C heap hands out at the moment (glibc).
std::size_t heapInUse() {
    return mallinfo2().uordblks;
}

// --- element counts: every reader must find the same tree ------------------------------------------------

std::size_t countVx(const vx::xmlNode& node) {
    std::size_t n = 1;
    for (const auto& child : node.children())
        n += countVx(*child);
    return n;
}

std::size_t countPugi(const pugi::xml_node& node) {
    std::size_t n = 1;
    for (const pugi::xml_node child : node.children())
        n += child.type() == pugi::node_element ? countPugi(child) : 0;
    return n;
}

std::size_t countTiny(const tinyxml2::XMLElement* element) {
    std::size_t n = 1;
    for (const tinyxml2::XMLElement* child = element->FirstChildElement(); child; child = child->NextSiblingElement())
        n += countTiny(child);
    return n;
}

// --- expat building a tree ------------------------------------------------------------------------------------

struct expatNode {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::string text;
    std::vector<std::unique_ptr<expatNode>> children;
};

struct expatBuilder {
    std::unique_ptr<expatNode> root;
    std::vector<expatNode*> open;

    static void start(void* self, const XML_Char* name, const XML_Char** attributes) {
        auto* b = static_cast<expatBuilder*>(self);
        auto node = std::make_unique<expatNode>();
        node->name = name;
        for (const XML_Char** a = attributes; *a; a += 2)
            node->attributes.emplace_back(a[0], a[1]);
        expatNode* raw = node.get();
        if (b->open.empty())
            b->root = std::move(node);
        else
            b->open.back()->children.push_back(std::move(node));
        b->open.push_back(raw);
    }
    static void end(void* self, const XML_Char*) { static_cast<expatBuilder*>(self)->open.pop_back(); }
    static void text(void* self, const XML_Char* s, int length) {
        auto* b = static_cast<expatBuilder*>(self);
        if (!b->open.empty() && b->open.back()->children.empty())
            b->open.back()->text.append(s, static_cast<std::size_t>(length));
    }
};

std::unique_ptr<expatNode> parseExpat(const std::string& doc) {
    expatBuilder builder;
    XML_Parser parser = XML_ParserCreate(nullptr);
    XML_SetUserData(parser, &builder);
    XML_SetElementHandler(parser, expatBuilder::start, expatBuilder::end);
    XML_SetCharacterDataHandler(parser, expatBuilder::text);
    const bool ok = XML_Parse(parser, doc.data(), static_cast<int>(doc.size()), 1) == XML_STATUS_OK;
    XML_ParserFree(parser);
    return ok ? std::move(builder.root) : nullptr;
}

std::size_t countExpat(const expatNode& node) {
    std::size_t n = 1;
    for (const auto& child : node.children)
        n += countExpat(*child);
    return n;
}

// --- parsing ---------------------------------------------------------------------------------------------------------

vx::refPtr<vx::xmlDocument> parseVx(const std::string& doc) {
    vx::refPtr<vx::xmlDocument> tree = vx::xmlDocument::createXmlDocument();
    tree->load(doc.data(), doc.size(), false);
    return tree;
}

std::size_t referenceCount(const std::string& doc) {
    return countVx(*parseVx(doc));
}

// Throughput, and the heap bytes per element a tree of the document holds.
template <class Parse, class Count>
void parseBenchmark(benchmark::State& state, Parse parse, Count count) {
    const std::string& doc = documentOf(static_cast<int>(state.range(0)));
    const std::size_t expected = referenceCount(doc);
    std::size_t elements = 0, held = 0;
    {
        const std::size_t before = heapInUse();
        auto tree = parse(doc);
        held = heapInUse() - before;
        elements = count(tree);
    }
    if (elements != expected) {
        state.SkipWithError(("found " + std::to_string(elements) + " elements, not " + std::to_string(expected)).c_str());
        return;
    }
    for (auto _ : state) {
        auto tree = parse(doc);
        benchmark::DoNotOptimize(tree);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * doc.size()));
    state.counters["elements"] = static_cast<double>(elements);
    state.counters["heapBytesPerElement"] = static_cast<double>(held) / static_cast<double>(elements);
}

void BM_parse_vx(benchmark::State& state) {
    parseBenchmark(state, parseVx, [](const vx::refPtr<vx::xmlDocument>& t) { return countVx(*t); });
}

void BM_parse_pugixml(benchmark::State& state) {
    parseBenchmark(
        state,
        [](const std::string& doc) {
            auto tree = std::make_unique<pugi::xml_document>();
            tree->load_buffer(doc.data(), doc.size());
            return tree;
        },
        [](const std::unique_ptr<pugi::xml_document>& t) { return countPugi(t->document_element()); });
}

void BM_parse_tinyxml2(benchmark::State& state) {
    parseBenchmark(
        state,
        [](const std::string& doc) {
            auto tree = std::make_unique<tinyxml2::XMLDocument>();
            tree->Parse(doc.data(), doc.size());
            return tree;
        },
        [](const std::unique_ptr<tinyxml2::XMLDocument>& t) {
            return t->RootElement() ? countTiny(t->RootElement()) : 0;
        });
}

void BM_parse_expatTree(benchmark::State& state) {
    parseBenchmark(state, parseExpat, [](const std::unique_ptr<expatNode>& t) { return t ? countExpat(*t) : 0; });
}

// --- writing ---------------------------------------------------------------------------------------------------------

template <class Save>
void saveBenchmark(benchmark::State& state, Save save) {
    std::size_t bytes = 0;
    for (auto _ : state)
        bytes = save();
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

void BM_save_vx(benchmark::State& state) {
    const auto tree = parseVx(documentOf(static_cast<int>(state.range(0))));
    saveBenchmark(state, [&] {
        vx::binaryBuffer out;
        tree->save(out, vx::xmlDocument::eUtf8);
        return static_cast<std::size_t>(out.logicalLength());
    });
}

struct stringWriter : pugi::xml_writer {
    std::string bytes;
    void write(const void* data, std::size_t size) override { bytes.append(static_cast<const char*>(data), size); }
};

void BM_save_pugixml(benchmark::State& state) {
    const std::string& doc = documentOf(static_cast<int>(state.range(0)));
    pugi::xml_document tree;
    tree.load_buffer(doc.data(), doc.size());
    saveBenchmark(state, [&] {
        stringWriter out;
        tree.save(out, "   ", pugi::format_default | pugi::format_write_bom, pugi::encoding_utf8);
        return out.bytes.size();
    });
}

void BM_save_tinyxml2(benchmark::State& state) {
    const std::string& doc = documentOf(static_cast<int>(state.range(0)));
    tinyxml2::XMLDocument tree;
    tree.Parse(doc.data(), doc.size());
    saveBenchmark(state, [&] {
        tinyxml2::XMLPrinter out;
        tree.Print(&out);
        return static_cast<std::size_t>(out.CStrSize());
    });
}

// Argument 0 is the database-like document, 1 the document-like one.
BENCHMARK(BM_parse_vx)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_parse_pugixml)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_parse_tinyxml2)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_parse_expatTree)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_save_vx)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_save_pugixml)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_save_tinyxml2)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
