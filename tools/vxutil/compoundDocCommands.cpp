// Commands over compound documents: list the blocks of a document, write one block to standard
// output, add a file as a block, and store or show the thumbnail.
#include "command.h"

#include <vxBinaryBuffer.h>
#include <vxCompoundDoc.h>
#include <vxDirectory.h>
#include <vxException.h>
#include <vxFile.h>

#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace {

using vxutil::arguments;
using vxutil::expectCount;
using vxutil::failure;
using vxutil::printLine;
using vxutil::quoted;
using vxutil::usageError;

using blockList = std::vector<std::pair<std::string, vx::binaryBuffer>>;

// Block names are 8-bit text; the command line gives them as UTF-8.
std::string blockName(const vx::string& text) {
    const std::string name = text.getMBCS();
    if (name.empty())
        throw usageError("a block needs a name");
    return name;
}

// Every block of the document, in the order of the dictionary; none when it does not exist.
blockList readAll(const vx::file& doc) {
    blockList blocks;
    if (!doc.exists())
        return blocks;
    vx::compoundDocReader reader(doc);
    reader.open();
    std::vector<std::string> names;
    reader.getDictionary(names);
    for (const std::string& name : names) {
        blocks.emplace_back(name, vx::binaryBuffer());
        if (!reader.read(name.c_str(), blocks.back().second))
            throw vx::readFileException(doc);
    }
    return blocks;
}

// Writes the blocks and then what more() adds to a new file beside doc, and puts it in doc's
// place only when all of it was written, so a failure leaves doc as it was.
void rewrite(const vx::file& doc, blockList& blocks, const std::function<void(vx::compoundDocWriter&)>& more) {
    vx::string drive, name, extension;
    vx::directory folder;
    doc.getParts(drive, folder, name, extension);
    const vx::file temporary = vx::file::generateRandomFile(folder, L"tmp");
    if (temporary.fullName().empty())
        throw vx::writeFileException(doc);
    try {
        vx::compoundDocWriter writer(temporary);
        writer.create();
        for (auto& [entryName, content] : blocks)
            writer.write(entryName.c_str(), content.data(), content.logicalLength());
        more(writer);
        writer.close();
    } catch (...) {
        temporary.remove();
        throw;
    }
    if ((doc.exists() && !doc.remove()) || !temporary.move(doc)) {
        temporary.remove();
        throw vx::writeFileException(doc);
    }
}

int runList(const arguments& args) {
    expectCount(args, 1, 1);
    vx::compoundDocReader reader{vx::file(args[0])};
    reader.open();
    std::vector<std::string> names;
    reader.getDictionary(names);
    for (const std::string& name : names) {
        // The name's bytes are UTF-8; a null byte stays in the name, to be shown escaped.
        vx::string text;
        for (std::size_t start = 0;;) {
            const std::size_t end = name.find('\0', start);
            text += vx::string::fromMBCtoWC(name.substr(start, end == std::string::npos ? end : end - start).c_str());
            if (end == std::string::npos)
                break;
            text += L'\0';
            start = end + 1;
        }
        printLine(vx::string::sformat(L"%10llu  ", static_cast<unsigned long long>(reader.length(name.c_str()))) +
                  vxutil::shown(text));
    }
    return 0;
}

int runCat(const arguments& args) {
    expectCount(args, 2, 2);
    const std::string name = blockName(args[1]);
    vx::compoundDocReader reader{vx::file(args[0])};
    reader.open();
    vx::binaryBuffer content;
    if (!reader.read(name.c_str(), content))
        return failure(args[1], "no such block");
    std::fwrite(content.data(), 1, content.logicalLength(), stdout);
    return 0;
}

int runAdd(const arguments& args) {
    expectCount(args, 3, 3);
    const vx::file doc(args[0]);
    const std::string name = blockName(args[1]);
    vx::binaryBuffer content;
    if (!content.readFromFile(vx::file(args[2])))
        return failure(args[2], "cannot be read");
    blockList blocks = readAll(doc);
    for (const auto& block : blocks)
        if (block.first == name)
            return failure(args[1], "the document has such a block");
    rewrite(doc, blocks, [&](vx::compoundDocWriter& writer) {
        writer.write(name.c_str(), content.data(), content.logicalLength());
    });
    return 0;
}

// The text of a "thumbnailformat" block: its count of UTF-16LE units, the last of them the null.
vx::string formatText(const vx::binaryBuffer& block) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(block.data());
    const std::uint64_t size = block.logicalLength();
    if (size < 4)
        return vx::string();
    const std::uint64_t count = bytes[0] | bytes[1] << 8 | bytes[2] << 16 | std::uint64_t(bytes[3]) << 24;
    std::wstring text;
    for (std::uint64_t i = 0; i < count && 4 + 2 * i + 1 < size; ++i) {
        std::uint32_t unit = bytes[4 + 2 * i] | bytes[5 + 2 * i] << 8;
        if (unit == 0)
            break;
        if (unit >= 0xD800 && unit < 0xDC00 && i + 1 < count && 4 + 2 * i + 3 < size) {
            const std::uint32_t low = bytes[6 + 2 * i] | bytes[7 + 2 * i] << 8;
            if (low >= 0xDC00 && low < 0xE000) {
                unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
                ++i;
            }
        }
        text += static_cast<wchar_t>(unit);
    }
    return vx::string(text);
}

int runThumbnail(const arguments& args) {
    expectCount(args, 1, 2);
    const vx::file doc(args[0]);
    if (args.size() == 2) {
        const vx::file image(args[1]);
        if (!image.exists())
            return failure(args[1], "no such file");
        blockList blocks = readAll(doc);
        // A new thumbnail replaces the old one.
        blockList kept;
        for (auto& block : blocks)
            if (block.first != "thumbnail" && block.first != "thumbnailformat")
                kept.push_back(std::move(block));
        bool written = true;
        rewrite(doc, kept, [&](vx::compoundDocWriter& writer) {
            written = vx::compoundDocUtils::writeThumbnail(image, writer);
        });
        return written ? 0 : failure(args[1], "cannot be read");
    }
    vx::binaryBuffer thumbnail;
    if (!vx::compoundDocUtils::extractThumbnail(doc, thumbnail))
        return 1;
    vx::compoundDocReader reader(doc);
    reader.open();
    vx::binaryBuffer format;
    reader.read("thumbnailformat", format);
    printLine(vx::string::sformat(L"%s, %llu bytes", formatText(format).c_str(),
                                  static_cast<unsigned long long>(thumbnail.logicalLength())));
    return 0;
}

int runCdoc(arguments args) {
    vxutil::takeOptions(args);
    if (args.empty())
        throw usageError("missing action: list, cat, add or thumbnail");
    const vx::string action = args[0];
    args.erase(args.begin());
    int (*run)(const arguments&) = action == L"list"        ? runList
                                   : action == L"cat"       ? runCat
                                   : action == L"add"       ? runAdd
                                   : action == L"thumbnail" ? runThumbnail
                                                            : nullptr;
    if (!run)
        throw usageError("unknown action " + quoted(action));
    try {
        return run(args);
    } catch (const vx::exception& e) {
        return failure(args.empty() ? action : args[0], e);
    }
}

const vxutil::registration registered{
    {"cdoc", "list, read and add the named blocks of a compound document",
     "list DOC | cat DOC NAME | add DOC NAME FILE | thumbnail DOC [IMAGE]\n\n"
     "A compound document is one file of named byte blocks, with a dictionary at its end.\n"
     "list       prints the length and name of every block, names in bytewise order.\n"
     "cat        writes the bytes of block NAME to standard output; exit status 1 when the\n"
     "           document has no such block.\n"
     "add        adds the bytes of FILE as block NAME, making DOC when it does not exist; a\n"
     "           name the document has already is refused. Names are at most 127 bytes.\n"
     "thumbnail  with IMAGE stores the image as the blocks \"thumbnail\" and \"thumbnailformat\"\n"
     "           (its extension in lower case), replacing an earlier thumbnail; without it\n"
     "           prints the stored format and size, exit status 1 when there is none.\n\n"
     "DOC is written anew beside itself and then put in its place, so a failure leaves it as\n"
     "it was. A file that is no compound document, or cannot be read or written, is reported\n"
     "on standard error, and the exit status is then 1.",
     runCdoc},
};

} // namespace
