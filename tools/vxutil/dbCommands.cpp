// Commands over object database files, for a person who must look into a customer's file without
// the application's classes: the tables, one object's values, the references, some numbers.
#include "command.h"

#include <vxException.h>
#include <vxFile.h>
#include <vxGuid.h>
#include <vxXml.h>

#include <cstdio>
#include <cwchar>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

using vxutil::arguments;
using vxutil::expectCount;
using vxutil::printLine;
using vxutil::quoted;
using vxutil::usageError;
using vx::refPtr;
using vx::xmlDocument;
using vx::xmlNode;

const wchar_t kSuffix[] = L"_table";

// Shows a bar on standard error while a large file is worked through; nothing for small ones.
class progressBar {
public:
    progressBar(const vx::file& f, std::size_t total) : mShow(f.size() > 4ul * 1024 * 1024 && total > 0), mTotal(total) {}
    ~progressBar() {
        if (mShow)
            std::fputs("\r                                            \r", stderr);
    }
    void step() {
        if (!mShow)
            return;
        const std::size_t percent = ++mDone * 100 / mTotal;
        if (percent == mShown)
            return;
        mShown = percent;
        std::string bar(percent / 5, '#');
        bar.resize(20, '.');
        std::fprintf(stderr, "\r[%s] %3zu%%", bar.c_str(), percent);
        std::fflush(stderr);
    }

private:
    bool mShow;
    std::size_t mTotal;
    std::size_t mDone = 0;
    std::size_t mShown = 101;
};

// A database as the tool sees it: its tables by lower-cased class name.
struct database {
    vx::file source;
    refPtr<xmlDocument> doc;
    bool oldFormat = false;
    std::vector<std::pair<vx::string, refPtr<xmlNode>>> tables; // class name as written, table

    explicit database(const vx::string& name) : source(name), doc(xmlDocument::createXmlDocument()) {
        doc->load(source, false);
        if (doc->name() != L"vxDatabase")
            throw vx::unexpectedErrorException(L"xmlDbReader::open: invalid database format");
        vx::string version;
        oldFormat = doc->getAttribute(L"version", version) && version == L"1";
        for (const auto& child : doc->children()) {
            const vx::string& tag = child->name();
            const std::size_t n = std::wcslen(kSuffix);
            if (tag.size() > n && tag.compare(tag.size() - n, n, kSuffix) == 0)
                tables.emplace_back(tag.substr(0, tag.size() - n), child);
        }
    }
    refPtr<xmlNode> table(const vx::string& className) const {
        for (const auto& t : tables)
            if (t.first == className)
                return t.second;
        for (const auto& t : tables)
            if (t.first.lower() == className.lower())
                return t.second;
        return refPtr<xmlNode>();
    }
    // The id by which an item is named: its attribute, or in the old format the number behind
    // the class name; the index in the table for a value item.
    vx::string idOf(const vx::string& className, const xmlNode& item, std::size_t index) const {
        vx::string id;
        if (item.getAttribute(L"id", id))
            return id;
        if (oldFormat && item.name().size() > className.size())
            return item.name().substr(className.size());
        return L"#" + std::to_wstring(index);
    }
    std::size_t items() const {
        std::size_t n = 0;
        for (const auto& t : tables)
            n += t.second->children().size();
        return n;
    }
};

// A reference: a leaf with "type" whose text names an object (not "0").
bool isReference(const xmlNode& value) {
    return value.children().empty() && value.hasAttribute(L"type") && !value.text().empty() && value.text() != L"0";
}

void showValues(const xmlNode& item, const vx::string& indent) {
    for (const auto& value : item.children()) {
        vx::string name = value->name();
        vx::string text;
        if (name == L"Property" && value->getAttribute(L"name", text))
            name = L"[" + text + L"]";
        vx::string type;
        value->getAttribute(L"type", type);
        if (!value->children().empty()) {
            printLine(indent + name + L" (" + type + L"):");
            showValues(*value, indent + L"  ");
        } else if (isReference(*value)) {
            printLine(indent + name + L" -> " + type + L" " + (value->text()));
        } else {
            printLine(indent + name + L" = " + (value->text()));
        }
    }
}

int runTables(const arguments& args) {
    expectCount(args, 1, 1);
    const database db(args[0]);
    for (const auto& t : db.tables)
        printLine(t.first + L" " + std::to_wstring(t.second->children().size()));
    return 0;
}

int runShow(const arguments& args) {
    expectCount(args, 2, 3);
    const database db(args[0]);
    const refPtr<xmlNode> table = db.table(args[1]);
    if (!table)
        throw vx::unexpectedErrorException(L"xmlDbReader::readObject: tablenode for %s not found", args[1].c_str());
    bool found = false;
    const auto& items = table->children();
    for (std::size_t i = 0; i < items.size(); ++i) {
        const vx::string id = db.idOf(args[1], *items[i], i);
        if (args.size() == 3 && !id.isEqualTo(args[2], false))
            continue;
        found = true;
        printLine((items[i]->name()) + L" " + id);
        showValues(*items[i], L"  ");
    }
    if (!found && args.size() == 3)
        throw vx::unexpectedErrorException(L"xmlDbReader::readObject: objectnode for %s not found", args[2].c_str());
    return 0;
}

// Every reference below value, with the path to it.
void collectReferences(const xmlNode& value, const vx::string& path,
                       std::vector<std::pair<vx::string, const xmlNode*>>& out) {
    for (const auto& child : value.children()) {
        vx::string name = child->name();
        vx::string property;
        if (name == L"Property" && child->getAttribute(L"name", property))
            name += L"[" + property + L"]";
        const vx::string here = path + L"/" + name;
        if (isReference(*child))
            out.emplace_back(here, child.get());
        else
            collectReferences(*child, here, out);
    }
}

int runCheck(const arguments& args) {
    expectCount(args, 1, 1);
    const database db(args[0]);
    // The ids of every table, by lower-cased class name; an id twice is a fault.
    std::map<vx::string, std::set<vx::string>> ids;
    std::size_t faults = 0, references = 0;
    progressBar bar(db.source, db.items() * 2);
    for (const auto& t : db.tables) {
        auto& known = ids[t.first.lower()];
        const auto& items = t.second->children();
        for (std::size_t i = 0; i < items.size(); ++i, bar.step()) {
            vx::string id = db.idOf(t.first, *items[i], i);
            if (id[0] == L'#')
                continue;
            if (!db.oldFormat)
                id.toLower();
            if (!known.insert(id).second) {
                ++faults;
                printLine(L"id twice: " + t.first + L" " + id);
            }
        }
    }
    for (const auto& t : db.tables) {
        const auto& items = t.second->children();
        for (std::size_t i = 0; i < items.size(); ++i, bar.step()) {
            std::vector<std::pair<vx::string, const xmlNode*>> found;
            collectReferences(*items[i], t.first + L"[" + db.idOf(t.first, *items[i], i) + L"]", found);
            for (const auto& reference : found) {
                ++references;
                vx::string type, id = reference.second->text();
                reference.second->getAttribute(L"type", type);
                if (!db.oldFormat)
                    id.toLower();
                const auto table = ids.find(type.lower());
                if (table == ids.end() || !table->second.count(id)) {
                    ++faults;
                    printLine(L"dangling: " + reference.first + L" -> " + type + L" " +
                              (reference.second->text()));
                }
            }
        }
    }
    printLine(vx::string::sformat(L"%zu object%s, %zu reference%s, %zu fault%s", db.items(),
                                  db.items() == 1 ? L"" : L"s", references, references == 1 ? L"" : L"s", faults,
                                  faults == 1 ? L"" : L"s"));
    return faults ? 1 : 0;
}

int runStats(const arguments& args) {
    expectCount(args, 1, 1);
    const database db(args[0]);
    std::size_t references = 0, values = 0;
    for (const auto& t : db.tables)
        for (const auto& item : t.second->children()) {
            std::vector<std::pair<vx::string, const xmlNode*>> found;
            collectReferences(*item, vx::string(), found);
            references += found.size();
            values += item->children().size();
        }
    vx::string version;
    if (!db.doc->getAttribute(L"version", version))
        version = L"(none)";
    printLine(L"format version: " + version);
    printLine(L"bytes: " + std::to_wstring(db.source.size()));
    printLine(L"tables: " + std::to_wstring(db.tables.size()));
    printLine(L"items: " + std::to_wstring(db.items()));
    printLine(L"values: " + std::to_wstring(values));
    printLine(L"references: " + std::to_wstring(references));
    return 0;
}

int runDb(arguments args) {
    if (args.empty())
        throw usageError("missing action: tables, show, check or stats");
    const vx::string action = args[0];
    args.erase(args.begin());
    try {
        if (action == L"tables")
            return runTables(args);
        if (action == L"show")
            return runShow(args);
        if (action == L"check")
            return runCheck(args);
        if (action == L"stats")
            return runStats(args);
    } catch (const vx::exception& e) {
        return vxutil::failure(args.empty() ? action : args[0], e);
    }
    throw usageError("unknown action " + quoted(action));
}

const vxutil::registration registered{
    {"db", "look into object database files",
     "tables FILE | show FILE CLASS [ID] | check FILE | stats FILE\n\n"
     "tables  prints each class of FILE with the number of its items.\n"
     "show    prints the items of CLASS (the class name compared without regard to case), or only\n"
     "        the one with ID: each value as NAME = TEXT, a reference as NAME -> CLASS ID, a\n"
     "        nested item indented below its name; properties are shown as [NAME].\n"
     "check   checks that every reference names an object in the file and that no id is used\n"
     "        twice in a table; prints each fault with the path to it and a summary. Exit\n"
     "        status 1 when there is any fault.\n"
     "stats   prints the format version, the size and the numbers of tables, items, values and\n"
     "        references.\n"
     "A bar on standard error shows the progress of check on files over 4 MB. Exit status 1 when\n"
     "FILE is missing, cannot be read or is no database (the message on standard error).",
     runDb},
};

} // namespace
