#include "vxXmlDatabase.h"

#include "detail/nesting.h"
#include "detail/renderedElements.h"
#include "vxAssert.h"
#include "vxException.h"
#include "vxTypeConversion.h"
#include "vxXmlDbIStream.h"
#include "vxXmlDbOStream.h"

#include <cstdint>
#include <new>
#include <set>
#include <string>
#include <utility>

namespace vx {

using detail::nestingLevel;

// --- dictionaries --------------------------------------------------------------------------------

// Keys mostly come in ascending order (objects made one after another, guids made by one
// process), so a key behind the last is answered and added without a search.
namespace {
template <class Map>
bool isBehindLast(const Map& map, const typename Map::key_type& key) {
    return map.empty() || map.key_comp()(map.rbegin()->first, key);
}
} // namespace

const guid* xmlDbWriterClassDictionary::find(const iPersistent* object) const {
    if (isBehindLast(mObjects, object))
        return nullptr;
    const auto it = mObjects.find(object);
    return it == mObjects.end() ? nullptr : &it->second.id;
}

void xmlDbWriterClassDictionary::insert(const iPersistent* object, const guid& id) {
    entry item{const_refPtr<iPersistent>(object), id};
    if (isBehindLast(mObjects, object))
        mObjects.emplace_hint(mObjects.end(), object, std::move(item));
    else
        mObjects.emplace(object, std::move(item));
}

iPersistent* xmlDbReaderClassDictionary::find(const guid& id) const {
    if (isBehindLast(mObjects, id))
        return nullptr;
    const auto it = mObjects.find(id);
    return it == mObjects.end() ? nullptr : it->second.get();
}

void xmlDbReaderClassDictionary::insert(const guid& id, iPersistent* object) {
    if (isBehindLast(mObjects, id))
        mObjects.emplace_hint(mObjects.end(), id, object);
    else
        mObjects[id] = object;
}

void xmlDbReaderClassDictionary::erase(const guid& id) { mObjects.erase(id); }

namespace {

const wchar_t kRootName[] = L"vxDatabase";

string tableName(const string& className) { return className + L"_table"; }

// The folder of a database file: the base of its relative paths.
directory folderOf(const file& f) {
    string drive, name, extension;
    directory folder;
    f.getParts(drive, folder, name, extension);
    return folder;
}

string classNameOf(const iPersistent& object) {
    const wchar_t* name = object.className();
    return name ? string(name) : string();
}

// The dictionary of className in dictionaries, made when missing.
template <class Dictionary>
refPtr<Dictionary> dictionaryFor(std::map<string, refPtr<Dictionary>>& dictionaries, const string& className,
                                 const wchar_t* failure) {
    auto it = dictionaries.find(className);
    if (it != dictionaries.end())
        return it->second;
    try {
        refPtr<Dictionary> made(new Dictionary);
        dictionaries.emplace(className, made);
        return made;
    } catch (const std::bad_alloc&) {
        throw unexpectedErrorException(failure, className.c_str());
    }
}

} // namespace

// --- writer --------------------------------------------------------------------------------------

struct xmlDbWriterData {
    // An object recorded below the nesting limit, written by the outermost writeObject.
    struct pending {
        const_refPtr<iPersistent> object;
        string className;
        guid id;
        bool recursive;
    };

    directory base;
    vx::file target;
    refPtr<xmlDocument> document;
    std::string key;         // scrambling key: empty, so scrambling changes nothing
    bool compressed = false; // nothing sets it
    genericSet attributes;
    binaryBuffer* buffer = nullptr;
    std::map<string, refPtr<xmlDbWriterClassDictionary>> dictionaries;

    int depth = 0;
    std::vector<pending> deferred;
    binaryBuffer text; // the block toString answers in file mode

    // While nobody but the writer can reach the document, each object's element is written out
    // as text once complete and its nodes let go: the tree of every value would cost more to
    // hold, write and release than the text. The tables' elements are read back into nodes
    // before anybody may look at the tree, and from then on the document keeps nodes.
    bool rendering = true;
    std::vector<std::pair<refPtr<xmlNode>, detail::renderedElements>> rendered; // by table, in order

    // The table of className below the root, made when missing.
    refPtr<xmlNode> table(const string& className) {
        const string name = tableName(className);
        refPtr<xmlNode> found = document->getFirstChildNode(name, true);
        return found ? found : document->createChildNode(name);
    }

    // Adds a complete element to the table of className.
    void add(const string& className, refPtr<xmlNode>& element) {
        refPtr<xmlNode> into = table(className);
        if (rendering && detail::rendersFaithfully(*element)) {
            detail::renderedElements* kept = renderedIn(*into);
            if (!kept) {
                rendered.emplace_back(into, detail::renderedElements());
                kept = &rendered.back().second;
            }
            detail::render(*kept, *element, 2); // below the root and the table
            return;
        }
        keepNodes();
        into->addNode(element);
    }

    // The elements rendered into a table, or null.
    detail::renderedElements* renderedIn(const xmlNode& table) {
        for (auto& item : rendered)
            if (item.first.get() == &table)
                return &item.second;
        return nullptr;
    }

    // Reads the rendered elements back into their tables; the document keeps nodes from now on.
    void keepNodes() {
        rendering = false;
        for (auto& item : rendered) {
            detail::appendRendered(*item.first, item.second);
            item.second = detail::renderedElements(); // read back: not to be written twice
        }
        rendered.clear();
    }

    // The UTF-8 form of the document, as xmlDocument::save gives it.
    void save(binaryBuffer& block) {
        if (!rendered.empty()) {
            const auto find = [this](const xmlNode& node) -> const detail::renderedElements* {
                return renderedIn(node);
            };
            if (detail::saveWithRendered(block, *document, find))
                return;
            keepNodes(); // a null character: the tree's writer cuts its text in pieces
        }
        document->save(block, xmlDocument::eUtf8);
    }

    // Lets the document go, with what was rendered of it.
    void release() {
        document = nullptr;
        rendered.clear();
        rendering = true;
    }

    // Clears block and writes the document into it; the document goes, whatever happens.
    void serialise(binaryBuffer& block) {
        block.clear();
        try {
            save(block);
        } catch (...) {
            release();
            throw;
        }
        release();
    }
};

xmlDbWriter::xmlDbWriter(const vx::file& f) : mpData(new xmlDbWriterData) {
    mpData->target = f;
    mpData->base = folderOf(f);
}

xmlDbWriter::xmlDbWriter(binaryBuffer* buffer, const directory& relBasePath) : mpData(new xmlDbWriterData) {
    mpData->buffer = buffer;
    mpData->base = relBasePath;
}

xmlDbWriter::~xmlDbWriter() {
    // A destructor must not throw: a failed save here is lost, as it would be with no close at all.
    try {
        close();
    } catch (...) {
    }
    delete mpData;
}

void xmlDbWriter::create() {
    if (mpData->document)
        throw unexpectedErrorException(L"xmlDbWriter::create: database already open");
    refPtr<xmlDocument> document = xmlDocument::createXmlDocument();
    document->setName(kRootName);
    document->setAttribute(L"version", L"2");
    // The empty database replaces the file whole, so a failure here leaves the old one.
    if (!mpData->buffer && !mpData->target.fullName().empty())
        document->save(mpData->target, xmlDocument::eUtf8);
    mpData->document = document;
}

void xmlDbWriter::close() {
    if (!mpData->document)
        return;
    binaryBuffer temporary;
    binaryBuffer& block = mpData->buffer ? *mpData->buffer : temporary;
    mpData->serialise(block);
    block.xxor(string::fromMBCtoWC(mpData->key.c_str()));
    if (mpData->compressed)
        block.gzCompress();
    // Written beside the file and put in its place when complete: a failed save keeps the old file.
    if (!mpData->buffer && !block.writeToFile(mpData->target, false))
        throw writeFileException(mpData->target);
}

void xmlDbWriter::flush() {
    if (!mpData->document)
        create();
    close();
}

char* xmlDbWriter::toString() {
    if (!mpData->document)
        create();
    binaryBuffer& block = mpData->buffer ? *mpData->buffer : mpData->text;
    mpData->serialise(block);
    // A null byte behind the text, outside the logical length, so that it reads as a C text.
    const std::uint64_t length = block.logicalLength();
    block.reserve(length + 1);
    block.data()[length] = '\0';
    return block.data();
}

guid xmlDbWriter::writeObject(const iPersistent* object, bool recursive) {
    if (!mpData->document)
        create();
    if (!object)
        return guid();
    const string className = classNameOf(*object);
    refPtr<xmlDbWriterClassDictionary> dictionary = dictionaryFor(
        mpData->dictionaries, className, L"Error creating xmlDbWriterClassDictionary for %s");
    if (const guid* known = dictionary->find(object))
        return *known;
    guid id = object->getGuid();
    if (!id.isInitialized())
        id.create();
    // Recorded before it writes itself, so that a cycle back to it ends here.
    dictionary->insert(object, id);

    if (mpData->depth >= kMaxNesting) {
        mpData->deferred.push_back({const_refPtr<iPersistent>(object), className, id, recursive});
        return id;
    }
    const bool outermost = mpData->depth == 0;
    const auto writeOne = [this](const iPersistent& item, const string& name, const guid& itemId, bool deep) {
        nestingLevel level(mpData->depth);
        refPtr<xmlNode> element;
        {
            xmlDbOStream stream(this, name, itemId, deep);
            item.writeTo(&stream);
            element = stream.rootNode();
        } // the stream lets go of the element: whether anybody else holds it shows
        mpData->add(name, element);
    };
    try {
        writeOne(*object, className, id, recursive);
        if (outermost) {
            // The objects met below the nesting limit, in the order they were met; each may
            // defer more.
            for (std::size_t i = 0; i < mpData->deferred.size(); ++i) {
                const xmlDbWriterData::pending item = mpData->deferred[i];
                writeOne(*item.object, item.className, item.id, item.recursive);
            }
            mpData->deferred.clear();
        }
    } catch (...) {
        if (outermost)
            mpData->deferred.clear();
        throw;
    }
    return id;
}

void xmlDbWriter::write(const iDataConverter& converter, bool recursive) {
    if (!mpData->document)
        create();
    const wchar_t* type = converter.typeName();
    const string className = type ? string(type) : string();
    dictionaryFor(mpData->dictionaries, className, L"Error creating xmlDbWriterClassDictionary for %s");
    nestingLevel level(mpData->depth);
    refPtr<xmlNode> element;
    {
        xmlDbOStream stream(this, className, recursive);
        converter.writeTo(&stream);
        element = stream.rootNode();
    }
    mpData->add(className, element);
}

void xmlDbWriter::setAttribute(const string& name, const string& value) {
    if (!mpData->document)
        create();
    if (!mpData->document)
        throw unexpectedErrorException(L"xmlDbWriter::setAttribute: setAttribute called before calling create!");
    mpData->document->setAttribute(name, value);
}

refPtr<xmlNode> xmlDbWriter::rootNode() const {
    // Whoever holds the document sees every element as a node.
    if (mpData->document)
        mpData->keepNodes();
    return refPtr<xmlNode>(mpData->document.get());
}
const vx::file& xmlDbWriter::file() const { return mpData->target; }
const directory& xmlDbWriter::relBasePath() const { return mpData->base; }
void xmlDbWriter::setRelBasePath(const directory& dir) { mpData->base = dir; }
const genericSet& xmlDbWriter::writeAttributes() const { return mpData->attributes; }
void xmlDbWriter::setWriteAttributes(const genericSet& attributes) { mpData->attributes = attributes; }

int& xmlDbWriter::nesting() { return mpData->depth; }

// --- reader --------------------------------------------------------------------------------------

struct xmlDbReaderData {
    // An object made below the nesting limit, read by the outermost readObject.
    struct pending {
        refPtr<iPersistent> object;
        refPtr<xmlNode> node;
        bool proxyOnly;
        refPtr<xmlDbReaderClassDictionary> dictionary; // null for an aggregated object
        guid id;
    };

    directory base;
    vx::file source;
    binaryBuffer* buffer = nullptr;
    refPtr<xmlDocument> document;
    std::uint32_t version = xmlDbReader::kCurrentFormat;
    std::string key;         // scrambling key: empty, so scrambling changes nothing
    bool compressed = false; // nothing sets it
    genericSet attributes;
    std::map<string, refPtr<xmlDbReaderClassDictionary>> dictionaries;
    std::set<iObjectFactory*> factories; // each holds a reference
    std::map<std::uint32_t, guid> idMap;

    int depth = 0;
    std::vector<pending> deferred;

    // The dictionary asked for last, by the class name as asked: the objects of a table and
    // their references ask for one class over and over.
    string lastClass;
    refPtr<xmlDbReaderClassDictionary> lastDictionary;

    // Keyed without regard to case, as the tables are found: a reference that spells the class
    // otherwise than readAllObjects does still meets the same object.
    refPtr<xmlDbReaderClassDictionary> dictionary(const string& className) {
        if (!lastDictionary || className != lastClass) {
            lastDictionary = dictionaryFor(dictionaries, className.lower(),
                                           L"Error creating xmlDbReaderClassDictionary for %s");
            lastClass = className;
        }
        return lastDictionary;
    }

    // The table of className: by exact name, else the first whose name matches without case.
    refPtr<xmlNode> table(const string& className) const {
        if (!document)
            return refPtr<xmlNode>();
        const string name = tableName(className);
        if (refPtr<xmlNode> exact = document->getFirstChildNode(name, true))
            return exact;
        const string lower = name.lower();
        for (const refPtr<xmlNode>& child : document->children())
            if (child->name().lower() == lower)
                return child;
        return refPtr<xmlNode>();
    }
};

namespace {

// A decimal number of at most 32 bits and nothing else.
bool parseNumber(const string& text, std::uint32_t& number) {
    if (text.empty() || text.size() > 10)
        return false;
    std::uint64_t value = 0;
    for (wchar_t c : text) {
        if (c < L'0' || c > L'9')
            return false;
        value = value * 10 + static_cast<std::uint64_t>(c - L'0');
    }
    if (value > 0xFFFFFFFFull)
        return false;
    number = static_cast<std::uint32_t>(value);
    return true;
}

bool parseGuid(const string& text, guid& id) {
    try {
        id.fromString(text);
        return true;
    } catch (bool) {
        return false;
    }
}

// The progress value from + (to - from) * part / whole, truncated toward zero.
int progressValue(int from, int to, std::int64_t part, std::int64_t whole) {
    return static_cast<int>(from + (static_cast<std::int64_t>(to) - from) * part / whole);
}

} // namespace

xmlDbReader::xmlDbReader(const vx::file& f) : mpData(new xmlDbReaderData) {
    mpData->source = f;
    mpData->base = folderOf(f);
}

xmlDbReader::xmlDbReader(binaryBuffer* buffer, const directory& relBasePath) : mpData(new xmlDbReaderData) {
    mpData->buffer = buffer;
    mpData->base = relBasePath;
}

xmlDbReader::~xmlDbReader() {
    // The objects go before the factories that made them.
    mpData->lastDictionary = nullptr;
    mpData->dictionaries.clear();
    for (iObjectFactory* factory : mpData->factories)
        factory->release();
    delete mpData;
}

void xmlDbReader::open() {
    const bool fileMode = !mpData->buffer;
    if (fileMode && !mpData->source.exists())
        throw fileNotFoundException(mpData->source);
    if (mpData->document)
        throw unexpectedErrorException(L"xmlDbReader::open: database already open");
    refPtr<xmlDocument> document = xmlDocument::createXmlDocument();
    mpData->document = document;
    mpData->version = kCurrentFormat;

    binaryBuffer temporary;
    if (fileMode && !temporary.readFromFile(mpData->source))
        throw readFileException(mpData->source);
    binaryBuffer& block = fileMode ? temporary : *mpData->buffer;
    if (mpData->compressed && block.isGZCompressed())
        block.gzUncompress();
    block.xxor(string::fromMBCtoWC(mpData->key.c_str()));
    // An empty block leaves the root without a name, which the check below refuses.
    if (block.logicalLength() > 0) {
        try {
            document->load(block.data(), block.logicalLength(), false);
        } catch (const unexpectedErrorException&) {
            if (fileMode)
                throw invalidXmlException(mpData->source);
            throw;
        } catch (bool) {
            // Bytes that are no text in their encoding: refused as malformed.
            if (fileMode)
                throw invalidXmlException(mpData->source);
            throw unexpectedErrorException(L"xmlNode::parseText: invalid xml-format");
        }
    }
    if (document->name() != kRootName)
        throw unexpectedErrorException(L"xmlDbReader::open: invalid database format");
    string version;
    if (document->getAttribute(L"version", version)) {
        unsigned long number = 0;
        if (typeconvert::dtconvert(number, version, 0, nullptr))
            mpData->version = static_cast<std::uint32_t>(number);
    }
}

void xmlDbReader::close() { mpData->document = nullptr; }

void xmlDbReader::addObjectFactory(iObjectFactory* factory) {
    if (factory && mpData->factories.insert(factory).second)
        factory->addRef();
}

void xmlDbReader::releaseObjectFactory(iObjectFactory* factory) {
    if (mpData->factories.erase(factory))
        factory->release();
}

std::uint64_t xmlDbReader::count(const string& className) {
    if (!mpData->document)
        open();
    const refPtr<xmlNode> table = mpData->table(className);
    return table ? table->children().size() : 0;
}

bool xmlDbReader::getAttribute(const string& name, string& value) {
    if (!mpData->document)
        open();
    return mpData->document->getAttribute(name, value);
}

refPtr<iPersistent> xmlDbReader::createObject(const string& className) {
    for (iObjectFactory* factory : mpData->factories) {
        iPersistent* made = nullptr;
        factory->createObject(className, &made);
        if (made) {
            refPtr<iPersistent> object(made);
            made->release(); // the factory's reference, now held by object
            return object;
        }
    }
    return refPtr<iPersistent>();
}

int& xmlDbReader::nesting() { return mpData->depth; }

bool xmlDbReader::deferRead(const refPtr<iPersistent>& object, const refPtr<xmlNode>& node, bool proxyOnly) {
    if (mpData->depth < kMaxNesting)
        return false;
    mpData->deferred.push_back({object, node, proxyOnly, refPtr<xmlDbReaderClassDictionary>(), guid()});
    return true;
}

void xmlDbReader::readDeferred() {
    try {
        for (std::size_t i = 0; i < mpData->deferred.size(); ++i) {
            const xmlDbReaderData::pending item = mpData->deferred[i];
            nestingLevel level(mpData->depth);
            xmlDbIStream stream(this, item.node, item.proxyOnly);
            try {
                item.object->readFrom(&stream);
            } catch (const returnNullRefException&) {
                // Handed out already to whoever referenced it; it no longer counts as read.
                if (item.dictionary)
                    item.dictionary->erase(item.id);
            }
        }
    } catch (...) {
        mpData->deferred.clear();
        throw;
    }
    mpData->deferred.clear();
}

void xmlDbReader::readObject(const string& className, const string& id, iPersistent** object,
                             refPtr<xmlNode>* node, const std::function<bool()>& cancel,
                             const std::function<void(int)>& progress, int from, int to) {
    readOne(className, nullptr, id, object, node, cancel, progress, from, to);
}

void xmlDbReader::readObject(const string& className, const string& id, iPersistent** object,
                             refPtr<xmlNode>* node) {
    readOne(className, nullptr, id, object, node, std::function<bool()>(), std::function<void(int)>(), 0, 0);
}

void xmlDbReader::readProxyObject(const string& className, const string& proxyClassName, const string& id,
                                  iPersistent** object, refPtr<xmlNode>* node) {
    readOne(className, &proxyClassName, id, object, node, std::function<bool()>(), std::function<void(int)>(), 0,
            0);
}

void xmlDbReader::readOne(const string& className, const string* proxyClassName, const string& id,
                          iPersistent** object, refPtr<xmlNode>* node, const std::function<bool()>& cancel,
                          const std::function<void(int)>& progress, int from, int to) {
    VX_ASSERT(object);
    *object = nullptr;
    if (id.empty() || id == L"0")
        return;
    const int done = progressValue(from, to, 1, 5);
    refPtr<xmlDbReaderClassDictionary> dictionary = mpData->dictionary(className);

    const bool oldFormat = mpData->version == 1;
    std::uint32_t number = 0;
    guid key;
    bool known = false; // whether id names a guid
    if (oldFormat) {
        if (parseNumber(id, number)) {
            const auto it = mpData->idMap.find(number);
            known = it != mpData->idMap.end();
            if (known)
                key = it->second;
        }
    } else {
        known = parseGuid(id, key);
    }
    if (known) {
        if (iPersistent* found = dictionary->find(key)) {
            found->addRef();
            *object = found;
            return;
        }
    }

    const refPtr<xmlNode> table = mpData->table(className);
    if (!table)
        throw unexpectedErrorException(L"xmlDbReader::readObject: tablenode for %s not found", className.c_str());
    refPtr<xmlNode> element;
    if (oldFormat) {
        if (parseNumber(id, number))
            element = table->getFirstChildNode(className + id, false);
        if (!element)
            throw unexpectedErrorException(
                L"xmlDbReader::readObject: objectnode for class %s and object id %s not found", className.c_str(),
                id.c_str());
    } else {
        // An id that is no guid names no object.
        if (known) {
            if (node && *node) {
                element = *node;
            } else {
                string text;
                for (const refPtr<xmlNode>& child : table->children())
                    if (child->getAttribute(L"id", text) && text == id) {
                        element = child;
                        break;
                    }
            }
        }
        if (!element)
            throw unexpectedErrorException(L"xmlDbReader::readObject: objectnode for %s not found", id.c_str());
    }

    const string& madeClass = proxyClassName ? *proxyClassName : className;
    refPtr<iPersistent> made = createObject(madeClass);
    if (!made)
        throw unexpectedErrorException(L"xmlDbReader::readObject: Error creating object of class %s",
                                       madeClass.c_str());
    if (oldFormat) {
        auto it = mpData->idMap.find(number);
        if (it == mpData->idMap.end())
            it = mpData->idMap.emplace(number, guid().create()).first;
        key = it->second;
    }
    made->setGuid(key);
    // Entered before it reads, so that a reference back to it finds it.
    dictionary->insert(key, made.get());

    if (mpData->depth >= kMaxNesting) {
        mpData->deferred.push_back({made, element, proxyClassName != nullptr, dictionary, key});
        made->addRef();
        *object = made.get();
        return;
    }
    if (cancel && cancel())
        throw exception(locString(L"stopped"));
    if (progress)
        progress(from);
    const bool outermost = mpData->depth == 0;
    try {
        nestingLevel level(mpData->depth);
        xmlDbIStream stream(this, element, proxyClassName != nullptr);
        made->readFrom(&stream);
    } catch (const returnNullRefException&) {
        dictionary->erase(key);
        if (outermost)
            readDeferred();
        return;
    } catch (...) {
        if (outermost)
            mpData->deferred.clear();
        throw;
    }
    if (outermost)
        readDeferred();
    if (progress)
        progress(done);
    made->addRef();
    *object = made.get();
}

void xmlDbReader::read(iDataConverter& converter, std::uint64_t index) {
    if (!mpData->document)
        open();
    const wchar_t* type = converter.typeName();
    const string className = type ? string(type) : string();
    const refPtr<xmlNode> table = mpData->table(className);
    if (!table)
        throw unexpectedErrorException(L"xmlDbReader::read: tablenode for %s not found", className.c_str());
    if (index >= table->children().size())
        throw unexpectedErrorException(L"xmlDbReader::read: objectindex %d within tablenode for %s not found",
                                       static_cast<int>(index), className.c_str());
    const bool outermost = mpData->depth == 0;
    try {
        nestingLevel level(mpData->depth);
        xmlDbIStream stream(this, table->children()[static_cast<std::size_t>(index)], false);
        converter.readFrom(&stream);
    } catch (...) {
        if (outermost)
            mpData->deferred.clear();
        throw;
    }
    if (outermost)
        readDeferred();
}

void xmlDbReader::readAllObjects(const string& className, std::vector<refPtr<iPersistent>>& objects) {
    readAll(className, nullptr, objects, std::function<bool()>(), std::function<void(int)>(), 0, 0);
}

void xmlDbReader::readAllObjects(const string& className, std::vector<refPtr<iPersistent>>& objects,
                                 const std::function<bool()>& cancel) {
    readAll(className, nullptr, objects, cancel, std::function<void(int)>(), 0, 0);
}

void xmlDbReader::readAllObjects(const string& className, std::vector<refPtr<iPersistent>>& objects,
                                 const std::function<bool()>& cancel, const std::function<void(int)>& progress,
                                 int from, int to) {
    readAll(className, nullptr, objects, cancel, progress, from, to);
}

void xmlDbReader::readAllProxyObjects(const string& className, const string& proxyClassName,
                                      std::vector<refPtr<iPersistent>>& objects) {
    readAll(className, &proxyClassName, objects, std::function<bool()>(), std::function<void(int)>(), 0, 0);
}

namespace {

// Makes a directory current for as long as it lives, and the one before current again after.
class currentDirectoryScope {
public:
    explicit currentDirectoryScope(const directory& dir) : mBefore(L".") { dir.makeCurrent(); }
    ~currentDirectoryScope() { mBefore.makeCurrent(); }
    currentDirectoryScope(const currentDirectoryScope&) = delete;
    currentDirectoryScope& operator=(const currentDirectoryScope&) = delete;

private:
    directory mBefore;
};

} // namespace

void xmlDbReader::readAll(const string& className, const string* proxyClassName,
                          std::vector<refPtr<iPersistent>>& objects, const std::function<bool()>& cancel,
                          const std::function<void(int)>& progress, int from, int to) {
    if (!mpData->document)
        open();
    const currentDirectoryScope current(mpData->base);
    objects.clear();
    const refPtr<xmlNode> table = mpData->table(className);
    if (!table)
        return;
    // A copy of the list: a factory or readFrom cannot change it under the walk.
    const std::vector<refPtr<xmlNode>> items = table->children();
    objects.reserve(items.size());
    const string lowerClass = className.lower();
    const bool oldFormat = mpData->version == 1;
    int start = from;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (cancel && cancel())
            break;
        const int next = progressValue(from, to, static_cast<std::int64_t>(i) + 1, static_cast<std::int64_t>(items.size()));
        refPtr<xmlNode> element = items[i];
        string id;
        if (!oldFormat) {
            // Spelled as asked, the names are equal in lower case too.
            const string& name = element->name();
            if ((name != className && name.lower() != lowerClass) || !element->getAttribute(L"id", id))
                throw unexpectedErrorException(L"xmlDbReader::readAllObjects: invalid file format");
        } else {
            const string lowerName = element->name().lower();
            const std::size_t cut = lowerName.find_first_not_of(lowerClass);
            if (cut == string::npos)
                throw unexpectedErrorException(L"xmlDbReader::readAllObjects: invalid file format");
            id = lowerName.substr(cut);
            std::uint32_t number = 0;
            if (!parseNumber(id, number) || number == 0)
                throw unexpectedErrorException(L"xmlDbReader::readAllObjects: invalid tableentry for %s not found",
                                               className.c_str());
        }
        iPersistent* read = nullptr;
        try {
            if (proxyClassName)
                readOne(lowerClass, proxyClassName, id, &read, oldFormat ? nullptr : &element,
                        std::function<bool()>(), std::function<void(int)>(), 0, 0);
            else
                readOne(lowerClass, nullptr, id, &read, oldFormat ? nullptr : &element, cancel, progress, start,
                        next);
        } catch (const returnNullRefException&) {
            read = nullptr;
        }
        if (read) {
            objects.emplace_back(read);
            read->release(); // the reference readObject handed out, now held by the vector
        }
        if (progress && !proxyClassName) {
            progress(next);
            start = next;
        }
    }
}

const vx::file& xmlDbReader::file() const { return mpData->source; }
const directory& xmlDbReader::relBasePath() const { return mpData->base; }
void xmlDbReader::setRelBasePath(const directory& dir) { mpData->base = dir; }
const genericSet& xmlDbReader::readAttributes() const { return mpData->attributes; }
void xmlDbReader::setReadAttributes(const genericSet& attributes) { mpData->attributes = attributes; }
std::uint32_t xmlDbReader::formatVersion() const { return mpData->version; }

constexpr int xmlDbWriter::kMaxNesting;
constexpr int xmlDbReader::kMaxNesting;
constexpr std::uint32_t xmlDbReader::kCurrentFormat;

} // namespace vx
