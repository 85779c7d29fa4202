// The XML object database: a graph of persistent objects stored as one XML document, in a file
// or in a memory buffer.
//
// Objects are grouped by class into tables ("<className>_table" below the root "vxDatabase"). Each
// object has a guid, and a reference between objects is stored as class name plus guid, so a
// graph with shared objects and cycles is written once and comes back with the same sharing. The
// application derives its classes from iPersistent and gives the reader factories for them.
//
// xmlDbWriter builds the document in memory and saves it on close; xmlDbReader parses it and
// makes objects on demand. The values inside one object element are written through an
// iDBOStream (vxXmlDbOStream.h) and read through an iDBIStream (vxXmlDbIStream.h).
//
// Nothing here is locked: a writer or reader belongs to one thread at a time, and readAllObjects
// changes the process-wide current directory while it runs.
#pragma once

#include "vxBinaryBuffer.h"
#include "vxDirectory.h"
#include "vxExport.h"
#include "vxFile.h"
#include "vxGenericSet.h"
#include "vxGuid.h"
#include "vxRefPtr.h"
#include "vxString.h"
#include "vxXml.h"

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

namespace vx {

class iDBIStream;
class iDBOStream;

// An object of the application that the database can store: a counted object with a class name,
// a guid, and a way to write and read its values.
class iPersistent : public iRefObj {
public:
    // The class's name in the database; null counts as the empty string.
    virtual const wchar_t* className() const = 0;
    virtual void writeTo(iDBOStream* stream) const = 0;
    virtual void readFrom(iDBIStream* stream) = 0;
    virtual const guid& getGuid() const = 0;
    virtual void setGuid(const guid& id) = 0;

protected:
    ~iPersistent() = default;
};

// Makes objects by class name for the reader.
class iObjectFactory : public iRefObj {
public:
    // Sets *object to a new object of className, carrying one reference for the caller, or
    // leaves it null when this factory does not know the class.
    virtual void createObject(const string& className, iPersistent** object) = 0;

protected:
    ~iObjectFactory() = default;
};

// A plain value stored as a nested element, without identity.
class iDataConverter {
public:
    virtual const wchar_t* typeName() const = 0;
    virtual void writeTo(iDBOStream* stream) const = 0;
    virtual void readFrom(iDBIStream* stream) = 0;

protected:
    ~iDataConverter() = default;
};

// A converter that can read several stored types.
class iPolymorphDataConverter : public iDataConverter {
public:
    // True when the converter has prepared itself to read a value of type.
    virtual bool acceptType(const string& type) = 0;

protected:
    ~iPolymorphDataConverter() = default;
};

// A reference to an object without the object: its class name and guid.
class VX_API objectInfo {
public:
    objectInfo() = default;
    objectInfo(const string& className, const guid& id) : mClassName(className), mGuid(id) {}

    const string& className() const { return mClassName; }
    const guid& id() const { return mGuid; }
    void setClassName(const string& className) { mClassName = className; }
    void setId(const guid& id) { mGuid = id; }

    // Equal class names (case included) and equal guids.
    bool operator==(const objectInfo& other) const { return mClassName == other.mClassName && mGuid == other.mGuid; }
    bool operator!=(const objectInfo& other) const { return !(*this == other); }

private:
    string mClassName;
    guid mGuid;
};

// Thrown by an object's readFrom when it is to count as absent: the reader drops the object and
// hands out null (readAllObjects skips the item).
struct returnNullRefException {};

// The objects a writer has recorded for one class: pointer to guid, holding a reference to each.
class VX_API xmlDbWriterClassDictionary : public refObj {
public:
    // The recorded guid of object, or null when it is not recorded.
    const guid* find(const iPersistent* object) const;
    // Records object under id and takes a reference to it; a recorded object keeps its guid.
    void insert(const iPersistent* object, const guid& id);
    std::uint64_t size() const { return mObjects.size(); }
    void deleteThis() override { delete this; }

private:
    struct entry {
        const_refPtr<iPersistent> object; // keeps it alive while the writer may meet it again
        guid id;
    };
    std::map<const iPersistent*, entry> mObjects;
};

// The objects a reader has made for one class, by guid.
class VX_API xmlDbReaderClassDictionary : public refObj {
public:
    // The object of id, or null.
    iPersistent* find(const guid& id) const;
    void insert(const guid& id, iPersistent* object);
    void erase(const guid& id);
    std::uint64_t size() const { return mObjects.size(); }
    void deleteThis() override { delete this; }

private:
    std::map<guid, refPtr<iPersistent>> mObjects;
};

struct xmlDbWriterData;
struct xmlDbReaderData;

class VX_API xmlDbWriter {
public:
    // File mode: the base directory of relative paths is the file's directory.
    explicit xmlDbWriter(const file& f);
    // Memory mode: close serialises into buffer (not owned), which is cleared first.
    xmlDbWriter(binaryBuffer* buffer, const directory& relBasePath);
    xmlDbWriter(const xmlDbWriter&) = delete;
    xmlDbWriter& operator=(const xmlDbWriter&) = delete;

    // Stores object (once per writer) and answers its guid; an object without a guid gets a new
    // one, which is not written back into the object. Null answers an uninitialised guid. With
    // recursive, references written by the object store the objects they name as well.
    virtual guid writeObject(const iPersistent* object, bool recursive);
    // Appends a value item to the table named by the converter's type name.
    virtual void write(const iDataConverter& converter, bool recursive);
    // Calls close.
    virtual ~xmlDbWriter();

    // Starts an empty database. unexpectedErrorException when one is open already. In file mode
    // the file is replaced at once by the empty database.
    void create();
    // Saves the database (UTF-8 with a byte-order mark) and releases the document; nothing when
    // none is open. In file mode the content is written to a new file beside the target that
    // takes its place only when complete: a failed close (writeFileException) leaves the file
    // that was there as it was, and no reader ever sees half a database.
    void close();
    // create when nothing is open, then close. Objects written before stay recorded: a later
    // writeObject of one of them writes nothing, while the next create empties the file.
    void flush();
    // Serialises the database (create first when nothing is open) and releases the document,
    // writing no file. Answers the UTF-8 text, followed by a null byte outside the logical
    // length. In memory mode that is the given buffer's block; in file mode a block the writer
    // keeps until the next toString or its end.
    char* toString();

    // An attribute of the root element; creates the database first when needed.
    void setAttribute(const string& name, const string& value);
    // The root element; null when no database is open.
    refPtr<xmlNode> rootNode() const;

    const vx::file& file() const;
    const directory& relBasePath() const;
    void setRelBasePath(const directory& dir);
    const genericSet& writeAttributes() const;
    void setWriteAttributes(const genericSet& attributes);

    // References followed deeper than this while writing are written afterwards, from the
    // outermost writeObject, so that a long chain of objects cannot exhaust the stack.
    static constexpr int kMaxNesting = 256;

private:
    friend class xmlDbOStream;
    // The nesting of the writes in progress, counted by the streams as well.
    int& nesting();

    xmlDbWriterData* mpData;
};

class VX_API xmlDbReader {
public:
    explicit xmlDbReader(const file& f);
    // Memory mode on buffer (not owned).
    xmlDbReader(binaryBuffer* buffer, const directory& relBasePath);
    xmlDbReader(const xmlDbReader&) = delete;
    xmlDbReader& operator=(const xmlDbReader&) = delete;

    // Makes (or hands out again) the object of className with id, and reads it. id "" or "0" is
    // the stored null reference: *object becomes null. node, when given, is the object's
    // element. cancel is asked before reading ("stopped" is thrown when it answers true);
    // progress gets from before and from + (to - from) / 5 after reading.
    virtual void readObject(const string& className, const string& id, iPersistent** object,
                            refPtr<xmlNode>* node, const std::function<bool()>& cancel,
                            const std::function<void(int)>& progress, int from, int to);
    virtual void readObject(const string& className, const string& id, iPersistent** object,
                            refPtr<xmlNode>* node = nullptr);
    // Reads the stored data of className into a new object of proxyClassName, whose stream
    // says isProxyOnly. Full object and proxy of one id share the dictionary entry.
    virtual void readProxyObject(const string& className, const string& proxyClassName, const string& id,
                                 iPersistent** object, refPtr<xmlNode>* node = nullptr);
    // Reads the value item at index of the converter's table.
    virtual void read(iDataConverter& converter, std::uint64_t index);
    // Releases dictionaries and factories.
    virtual ~xmlDbReader();

    // Loads the database. fileNotFoundException, readFileException, invalidXmlException for
    // what the XML parser refuses, unexpectedErrorException when open already or when the root
    // is not "vxDatabase".
    void open();
    // Releases the document only: objects read stay shared across a reopen.
    void close();

    void addObjectFactory(iObjectFactory* factory);
    void releaseObjectFactory(iObjectFactory* factory);

    // Items in the class's table (0 when there is none). Opens when needed.
    std::uint64_t count(const string& className);
    // An attribute of the root element. Opens when needed.
    bool getAttribute(const string& name, string& value);

    // Every object of the class's table, in table order. The current directory is relBasePath
    // while they are read, and comes back on every way out. cancel ends the walk quietly.
    void readAllObjects(const string& className, std::vector<refPtr<iPersistent>>& objects);
    void readAllObjects(const string& className, std::vector<refPtr<iPersistent>>& objects,
                        const std::function<bool()>& cancel);
    void readAllObjects(const string& className, std::vector<refPtr<iPersistent>>& objects,
                        const std::function<bool()>& cancel, const std::function<void(int)>& progress,
                        int from, int to);
    void readAllProxyObjects(const string& className, const string& proxyClassName,
                             std::vector<refPtr<iPersistent>>& objects);

    const vx::file& file() const;
    const directory& relBasePath() const;
    void setRelBasePath(const directory& dir);
    const genericSet& readAttributes() const;
    void setReadAttributes(const genericSet& attributes);

    // The format version of the open database: 1 for the old format with numeric ids. A file
    // without the attribute "version" counts as kCurrentFormat.
    std::uint32_t formatVersion() const;
    static constexpr std::uint32_t kCurrentFormat = 2;
    // References followed deeper than this while reading are read afterwards, from the
    // outermost readObject, so that a long chain of objects cannot exhaust the stack.
    static constexpr int kMaxNesting = 256;

private:
    friend class xmlDbIStream;
    // A new object of className from the first factory that knows it; null if none does.
    refPtr<iPersistent> createObject(const string& className);
    // The nesting of the reads in progress, counted by the streams as well.
    int& nesting();
    // Below the nesting limit: keeps object to be read from node by the outermost read, and
    // answers true. Otherwise false.
    bool deferRead(const refPtr<iPersistent>& object, const refPtr<xmlNode>& node, bool proxyOnly);
    // Reads the objects kept by deferRead and readObject, in the order they were kept.
    void readDeferred();
    void readAll(const string& className, const string* proxyClassName, std::vector<refPtr<iPersistent>>& objects,
                 const std::function<bool()>& cancel, const std::function<void(int)>& progress, int from, int to);
    void readOne(const string& className, const string* proxyClassName, const string& id, iPersistent** object,
                 refPtr<xmlNode>* node, const std::function<bool()>& cancel, const std::function<void(int)>& progress,
                 int from, int to);

    xmlDbReaderData* mpData;
};

} // namespace vx
