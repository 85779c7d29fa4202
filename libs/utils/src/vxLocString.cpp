#include "vxLocString.h"

#include "vxGenericValue.h"
#include "vxLocManager.h"

namespace vx {

namespace {

void addFile(std::vector<scString>& files, const wchar_t* file) {
    if (file)
        files.push_back(scString::createFrom(file));
}

void addFiles(std::vector<scString>& files, va_list moreFiles) {
    for (const wchar_t* file = va_arg(moreFiles, const wchar_t*); file;
         file = va_arg(moreFiles, const wchar_t*))
        addFile(files, file);
}

// Appends first and the names that follow it in rest, up to the first null, to an identifier.
template <class Id>
void addFileList(Id& id, const wchar_t* first, va_list rest) {
    if (!first)
        return;
    id.addAlternativeFile(first);
    for (const wchar_t* file = va_arg(rest, const wchar_t*); file; file = va_arg(rest, const wchar_t*))
        id.addAlternativeFile(file);
}

void composePersistentId(const string& id, const string& defaultText,
                         const std::vector<scString>& files, string& out) {
    out = id;
    if (id.empty())
        return;
    out += L'|';
    out += defaultText;
    out += L'|';
    for (const scString& file : files) {
        if (file.string().empty())
            continue;
        if (!out.empty())
            out += L',';
        out += file.string();
    }
}

// The inverse of composePersistentId, as far as the text allows.
void parsePersistentId(const wchar_t* text, string& id, string& defaultText,
                       std::vector<scString>& files) {
    const string all(text);
    if (all.find(L'|') == string::npos) {
        id = all;
        defaultText = all;
        return;
    }
    std::vector<string> fields;
    all.splitAt(L"|", fields);
    id = fields[0];
    if (fields.size() > 1)
        defaultText = fields[1];
    if (fields.size() > 2) {
        std::vector<string> names;
        fields[2].splitAt(L",", names);
        for (const string& name : names)
            if (!name.empty())
                files.push_back(scString::createFrom(name));
    }
}

} // namespace

// --- locStringId ----------------------------------------------------------------------------------

locStringId::locStringId() = default;

locStringId::locStringId(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file,
                         const wchar_t* moreFiles, ...)
    : mId(id), mDefault(defaultText) {
    addFile(mAlternativeFiles, file);
    if (moreFiles) {
        addFile(mAlternativeFiles, moreFiles);
        va_list args;
        va_start(args, moreFiles);
        addFiles(mAlternativeFiles, args);
        va_end(args);
    }
}

locStringId::locStringId(const wchar_t* id, const wchar_t* defaultText,
                         std::vector<const wchar_t*> files)
    : mId(id), mDefault(defaultText) {
    for (const wchar_t* file : files)
        addFile(mAlternativeFiles, file);
}

locStringId::locStringId(const wchar_t* text) {
    parsePersistentId(text, mId, mDefault, mAlternativeFiles);
}

locStringId::locStringId(const locStringId& other) = default;
locStringId& locStringId::operator=(const locStringId& other) = default;
locStringId::~locStringId() = default;

void locStringId::assignFromList(const wchar_t* id, const wchar_t* defaultText,
                                 const wchar_t* file, va_list moreFiles) {
    mId = string(id);
    mDefault = string(defaultText);
    mAlternativeFiles.clear();
    addFile(mAlternativeFiles, file);
    addFiles(mAlternativeFiles, moreFiles);
}

const wchar_t* locStringId::defaultString() const {
    return mDefault.c_str();
}

const wchar_t* locStringId::id() const {
    return mId.c_str();
}

locStringId locStringId::copy() const {
    return *this;
}

void locStringId::getPersistentId(string& out) const {
    composePersistentId(mId, mDefault, mAlternativeFiles, out);
}

void locStringId::addAlternativeFile(const wchar_t* file) {
    addFile(mAlternativeFiles, file);
}

// --- localLocStringId ------------------------------------------------------------------------------

localLocStringId::localLocStringId() = default;

localLocStringId::localLocStringId(const wchar_t* id, const wchar_t* defaultText,
                                   const wchar_t* file, const wchar_t* moreFiles, ...)
    : mId(id), mDefault(defaultText) {
    addFile(mAlternativeFiles, file);
    if (moreFiles) {
        addFile(mAlternativeFiles, moreFiles);
        va_list args;
        va_start(args, moreFiles);
        addFiles(mAlternativeFiles, args);
        va_end(args);
    }
}

localLocStringId::localLocStringId(const wchar_t* id, const wchar_t* defaultText,
                                   std::vector<const wchar_t*> files)
    : mId(id), mDefault(defaultText) {
    for (const wchar_t* file : files)
        addFile(mAlternativeFiles, file);
}

localLocStringId::localLocStringId(const wchar_t* text) {
    parsePersistentId(text, mId, mDefault, mAlternativeFiles);
}

localLocStringId::localLocStringId(const locStringId& other)
    : mAlternativeFiles(other.mAlternativeFiles), mId(other.mId), mDefault(other.mDefault) {}

localLocStringId::localLocStringId(const localLocStringId& other) = default;
localLocStringId& localLocStringId::operator=(const localLocStringId& other) = default;
localLocStringId::~localLocStringId() = default;

void localLocStringId::assignFromList(const wchar_t* id, const wchar_t* defaultText,
                                      const wchar_t* file, va_list moreFiles) {
    mId = string(id);
    mDefault = string(defaultText);
    mAlternativeFiles.clear();
    addFile(mAlternativeFiles, file);
    addFiles(mAlternativeFiles, moreFiles);
}

const wchar_t* localLocStringId::defaultString() const {
    return mDefault.c_str();
}

const wchar_t* localLocStringId::id() const {
    return mId.c_str();
}

locStringId localLocStringId::copy() const {
    locStringId result(mId.c_str(), mDefault.c_str());
    for (const scString& file : mAlternativeFiles)
        result.mAlternativeFiles.push_back(file);
    return result;
}

void localLocStringId::getPersistentId(string& out) const {
    composePersistentId(mId, mDefault, mAlternativeFiles, out);
}

void localLocStringId::addAlternativeFile(const wchar_t* file) {
    addFile(mAlternativeFiles, file);
}

// --- locStringParams -------------------------------------------------------------------------------

struct locStringParams::entry {
    string name; // empty for an unnamed parameter
    sharedPtr<genericValue> value;
};

locStringParams::locStringParams() = default;
locStringParams::locStringParams(const locStringParams& other) = default;
locStringParams& locStringParams::operator=(const locStringParams& other) = default;
locStringParams::~locStringParams() = default;

void locStringParams::setValue(const wchar_t* name, const sharedPtr<genericValue>& value) {
    if (name && *name) {
        for (entry& e : mEntries) {
            if (e.name == name) {
                e.value = value;
                return;
            }
        }
    }
    mEntries.push_back(entry{string(name), value});
}

void locStringParams::set(const string& value, const wchar_t* name) {
    setValue(name, sharedPtr<genericValue>(new genericValue(value)));
}

void locStringParams::set(short value, const wchar_t* name) {
    setValue(name, sharedPtr<genericValue>(new genericValue(value)));
}

void locStringParams::set(int value, const wchar_t* name) {
    setValue(name, sharedPtr<genericValue>(new genericValue(value)));
}

void locStringParams::set(long value, const wchar_t* name) {
    setValue(name, sharedPtr<genericValue>(new genericValue(value)));
}

void locStringParams::set(double value, const wchar_t* name) {
    setValue(name, sharedPtr<genericValue>(new genericValue(value)));
}

void locStringParams::set(const iLocString* value, const wchar_t* name) {
    if (!value) {
        set(string(), name);
        return;
    }
    setValue(name, sharedPtr<genericValue>(new genericValue(value->copy())));
}

void locStringParams::set(const wchar_t* value, const wchar_t* name) {
    set(string(value), name);
}

void locStringParams::set(bool value, const wchar_t* name) {
    setValue(name, sharedPtr<genericValue>(new genericValue(value)));
}

void locStringParams::set(wchar_t value, const wchar_t* name) {
    setValue(name, sharedPtr<genericValue>(new genericValue(value)));
}

bool locStringParams::empty() const {
    return mEntries.empty();
}

std::size_t locStringParams::size() const {
    return mEntries.size();
}

namespace {

// The text an entry gives the message, for the types that set stores; a localised value is
// left to the caller. False for anything else.
bool plainValueText(const genericValue& value, string& text) {
    const string* s = nullptr;
    const short* sh = nullptr;
    const int* i = nullptr;
    const long* l = nullptr;
    const double* d = nullptr;
    const bool* b = nullptr;
    const wchar_t* c = nullptr;
    if (value.getPtr(s) && s)
        text = *s;
    else if (value.getPtr(sh) && sh)
        text = string::sformat(L"%hd", *sh);
    else if (value.getPtr(i) && i)
        text = string::sformat(L"%d", *i);
    else if (value.getPtr(l) && l)
        text = string::sformat(L"%ld", *l);
    else if (value.getPtr(d) && d)
        text = string::sformat(L"%lf", *d);
    else if (value.getPtr(b) && b)
        text = *b ? L"True" : L"False";
    else if (value.getPtr(c) && c)
        text = string(*c);
    else
        return false;
    return true;
}

} // namespace

void locStringParams::insertInto(locMessage& msg, const wchar_t* language,
                                 const searchPath& path) const {
    insertInto(msg, language, &path);
}

void locStringParams::insertInto(locMessage& msg, const wchar_t* language) const {
    insertInto(msg, language, static_cast<const searchPath*>(nullptr));
}

void locStringParams::insertInto(locMessage& msg, const wchar_t* language,
                                 const searchPath* path) const {
    for (const entry& e : mEntries) {
        if (!e.value)
            continue;
        const wchar_t* name = e.name.empty() ? nullptr : e.name.c_str();
        const genericValue& value = *e.value;
        const string* s = nullptr;
        const short* sh = nullptr;
        const int* i = nullptr;
        const long* l = nullptr;
        const double* d = nullptr;
        const bool* b = nullptr;
        const wchar_t* c = nullptr;
        const locString* localised = nullptr;
        if (value.getPtr(s) && s) {
            msg.insertParameter(s->c_str(), name);
        } else if (value.getPtr(sh) && sh) {
            msg.insertParameter(*sh, name);
        } else if (value.getPtr(i) && i) {
            msg.insertParameter(*i, name);
        } else if (value.getPtr(l) && l) {
            msg.insertParameter(*l, name);
        } else if (value.getPtr(d) && d) {
            msg.insertParameter(*d, name);
        } else if (value.getPtr(b) && b) {
            msg.insertParameter(*b, name);
        } else if (value.getPtr(c) && c) {
            msg.insertParameter(*c, name);
        } else if (value.getPtr(localised) && localised) {
            // Resolved on a copy: the stored value may be shared with copies of this object
            // that other threads resolve.
            const locString nested(*localised);
            msg.insertParameter(nested.resolve(language, path), name);
        } else {
            string text;
            if (value.get(text))
                msg.insertParameter(text.c_str(), name);
        }
    }
}

const wchar_t* locStringParams::resolve(const iLocStringId& id, locMessage& cache,
                                        const wchar_t* language, const searchPath* path) const {
    if (!locManager::instance()->loadMessage(id, cache, language))
        cache.setMessage(id.defaultString());
    insertInto(cache, language, path);
    return cache.c_str();
}

void locStringParams::serialize(string& out) const {
    if (mEntries.empty())
        return;
    out += L"<Params>";
    for (const entry& e : mEntries) {
        out += L"<Param><Name>";
        out += e.name;
        out += L"</Name><Value>";
        if (e.value) {
            string text;
            const locString* localised = nullptr;
            if (plainValueText(*e.value, text))
                out += text;
            else if (e.value->getPtr(localised) && localised)
                out += localised->serialize();
            else if (e.value->get(text))
                out += text;
        }
        out += L"</Value></Param>";
    }
    out += L"</Params>";
}

// --- locString --------------------------------------------------------------------------------------

locString::locString() = default;

locString::locString(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file,
                     const wchar_t* moreFiles, ...)
    : mId(id, defaultText, file) {
    va_list args;
    va_start(args, moreFiles);
    addFileList(mId, moreFiles, args);
    va_end(args);
}

locString::locString(const iLocStringId& id) : mId(id.copy()) {}

locString::locString(const wchar_t* text) : mId(text) {}

locString::locString(const locString& other) = default;
locString& locString::operator=(const locString& other) = default;
locString::~locString() = default;

const iLocStringId& locString::stringId() const {
    return mId;
}

const wchar_t* locString::string(const wchar_t* language, const searchPath& path) const {
    return resolve(language, &path);
}

const wchar_t* locString::string(const wchar_t* language) const {
    return resolve(language, nullptr);
}

bool locString::stringIdExists(const wchar_t* language) const {
    return locManager::instance()->loadMessage(mId, mMessage, language);
}

const wchar_t* locString::resolve(const wchar_t* language, const searchPath* path) const {
    return mParams.resolve(mId, mMessage, language, path);
}

locString locString::copy() const {
    return *this;
}

bool locString::stringIdExists(const wchar_t* language, const searchPath& path) const {
    (void)path; // the manager searches its own path
    return stringIdExists(language);
}

vx::string locString::serialize() const {
    vx::string out = L"<LocString><Id>";
    out += mId.id();
    out += L"</Id><Default>";
    out += mId.defaultString();
    out += L"</Default>";
    mParams.serialize(out);
    out += L"</LocString>";
    return out;
}

// --- localLocString -----------------------------------------------------------------------------------

localLocString::localLocString() = default;

localLocString::localLocString(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file,
                               const wchar_t* moreFiles, ...)
    : mId(id, defaultText, file) {
    va_list args;
    va_start(args, moreFiles);
    addFileList(mId, moreFiles, args);
    va_end(args);
}

localLocString::localLocString(const iLocStringId& id) : mId(id.copy()) {}

localLocString::localLocString(const wchar_t* text) : mId(text) {}

localLocString::localLocString(const localLocString& other) = default;
localLocString& localLocString::operator=(const localLocString& other) = default;
localLocString::~localLocString() = default;

const iLocStringId& localLocString::stringId() const {
    return mId;
}

const wchar_t* localLocString::string(const wchar_t* language, const searchPath& path) const {
    return resolve(language, &path);
}

const wchar_t* localLocString::string(const wchar_t* language) const {
    return resolve(language, nullptr);
}

const wchar_t* localLocString::resolve(const wchar_t* language, const searchPath* path) const {
    return mParams.resolve(mId, mMessage, language, path);
}

locString localLocString::copy() const {
    locString result(mId);
    result.params() = mParams;
    return result;
}

} // namespace vx
