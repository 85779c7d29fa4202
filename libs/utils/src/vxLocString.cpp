#include "vxLocString.h"

#include "vxGenericValue.h"
#include "vxLocManager.h"

namespace vx {

namespace {

void addFile(std::vector<scString>& files, const wchar_t* file) {
    if (file)
        files.push_back(scString::createFrom(file));
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

// --- the identifiers ------------------------------------------------------------------------------

namespace detail {

locStringIdBase::locStringIdBase() = default;

locStringIdBase::locStringIdBase(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file)
    : mId(id), mDefault(defaultText) {
    addFile(mAlternativeFiles, file);
}

locStringIdBase::locStringIdBase(const wchar_t* id, const wchar_t* defaultText,
                                 const std::vector<const wchar_t*>& files)
    : mId(id), mDefault(defaultText) {
    for (const wchar_t* file : files)
        addFile(mAlternativeFiles, file);
}

locStringIdBase::locStringIdBase(const wchar_t* text) {
    parsePersistentId(text, mId, mDefault, mAlternativeFiles);
}

locStringIdBase::locStringIdBase(const locStringIdBase& other) = default;
locStringIdBase& locStringIdBase::operator=(const locStringIdBase& other) = default;
locStringIdBase::~locStringIdBase() = default;

void locStringIdBase::assignFromList(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file,
                                     va_list moreFiles) {
    mId = string(id);
    mDefault = string(defaultText);
    mAlternativeFiles.clear();
    addFile(mAlternativeFiles, file);
    for (const wchar_t* more = va_arg(moreFiles, const wchar_t*); more; more = va_arg(moreFiles, const wchar_t*))
        addFile(mAlternativeFiles, more);
}

const wchar_t* locStringIdBase::defaultString() const {
    return mDefault.c_str();
}

const wchar_t* locStringIdBase::id() const {
    return mId.c_str();
}

void locStringIdBase::getPersistentId(string& out) const {
    composePersistentId(mId, mDefault, mAlternativeFiles, out);
}

void locStringIdBase::addAlternativeFile(const wchar_t* file) {
    addFile(mAlternativeFiles, file);
}

} // namespace detail

namespace {

// Appends first and the names behind it in rest, up to the first null; nothing when first is null.
void addFurtherFiles(detail::locStringIdBase& id, const wchar_t* first, va_list rest) {
    if (!first)
        return;
    id.addAlternativeFile(first);
    for (const wchar_t* file = va_arg(rest, const wchar_t*); file; file = va_arg(rest, const wchar_t*))
        id.addAlternativeFile(file);
}

} // namespace

// The variadic constructors: the further files, up to the first null, come behind file.
#define VX_ADD_FURTHER_FILES(moreFiles, target)                                                         \
    do {                                                                                                \
        va_list args;                                                                                   \
        va_start(args, moreFiles);                                                                      \
        addFurtherFiles(target, moreFiles, args);                                                       \
        va_end(args);                                                                                   \
    } while (false)

locStringId::locStringId() = default;

locStringId::locStringId(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file,
                         const wchar_t* moreFiles, ...)
    : locStringIdBase(id, defaultText, file) {
    VX_ADD_FURTHER_FILES(moreFiles, *this);
}

locStringId::locStringId(const wchar_t* id, const wchar_t* defaultText, std::vector<const wchar_t*> files)
    : locStringIdBase(id, defaultText, files) {}

locStringId::locStringId(const wchar_t* text) : locStringIdBase(text) {}

locStringId::locStringId(const locStringId& other) = default;
locStringId& locStringId::operator=(const locStringId& other) = default;
locStringId::~locStringId() = default;

locStringId locStringId::copy() const {
    return *this;
}

localLocStringId::localLocStringId() = default;

localLocStringId::localLocStringId(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file,
                                   const wchar_t* moreFiles, ...)
    : locStringIdBase(id, defaultText, file) {
    VX_ADD_FURTHER_FILES(moreFiles, *this);
}

localLocStringId::localLocStringId(const wchar_t* id, const wchar_t* defaultText,
                                   std::vector<const wchar_t*> files)
    : locStringIdBase(id, defaultText, files) {}

localLocStringId::localLocStringId(const wchar_t* text) : locStringIdBase(text) {}

localLocStringId::localLocStringId(const locStringId& other) : locStringIdBase(other) {}

localLocStringId::localLocStringId(const localLocStringId& other) = default;
localLocStringId& localLocStringId::operator=(const localLocStringId& other) = default;
localLocStringId::~localLocStringId() = default;

locStringId localLocStringId::copy() const {
    locStringId result(mId.c_str(), mDefault.c_str());
    result.mAlternativeFiles = mAlternativeFiles;
    return result;
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

template <class T, class Visit>
bool visitAs(const genericValue& value, Visit& visit) {
    const T* p = nullptr;
    if (!value.getPtr(p) || !p)
        return false;
    visit(*p);
    return true;
}

// Calls visit with the value when it holds one of the plain types that set stores, in this order;
// false for anything else (a localised value among them).
template <class Visit>
bool visitPlainValue(const genericValue& value, Visit&& visit) {
    return visitAs<string>(value, visit) || visitAs<short>(value, visit) || visitAs<int>(value, visit) ||
           visitAs<long>(value, visit) || visitAs<double>(value, visit) || visitAs<bool>(value, visit) ||
           visitAs<wchar_t>(value, visit);
}

// The text a plain value gives a serialised parameter.
string plainText(const string& s) { return s; }
string plainText(short v) { return string::sformat(L"%hd", v); }
string plainText(int v) { return string::sformat(L"%d", v); }
string plainText(long v) { return string::sformat(L"%ld", v); }
string plainText(double v) { return string::sformat(L"%lf", v); }
string plainText(bool v) { return v ? L"True" : L"False"; }
string plainText(wchar_t c) { return string(c); }

// A plain value as a parameter of the message, each type in the message's own form.
void insertPlain(locMessage& msg, const string& s, const wchar_t* name) { msg.insertParameter(s.c_str(), name); }
template <class T>
void insertPlain(locMessage& msg, const T& v, const wchar_t* name) { msg.insertParameter(v, name); }

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
        const locString* localised = nullptr;
        if (visitPlainValue(value, [&](const auto& v) { insertPlain(msg, v, name); })) {
        } else if (value.getPtr(localised) && localised) {
            // Resolved on a copy: the stored value may be shared with copies of this object
            // that other threads resolve.
            const locString nested(*localised);
            msg.insertParameter(path ? nested.string(language, *path) : nested.string(language), name);
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
        if (e.value && !visitPlainValue(*e.value, [&out](const auto& v) { out += plainText(v); })) {
            string text;
            const locString* localised = nullptr;
            if (e.value->getPtr(localised) && localised)
                out += localised->serialize();
            else if (e.value->get(text))
                out += text;
        }
        out += L"</Value></Param>";
    }
    out += L"</Params>";
}

// --- the strings --------------------------------------------------------------------------------------

locString::locString(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file,
                     const wchar_t* moreFiles, ...)
    : locStringBase(id, defaultText, file) {
    VX_ADD_FURTHER_FILES(moreFiles, mId);
}

locString locString::copy() const {
    return *this;
}

bool locString::stringIdExists(const wchar_t* language) const {
    return locManager::instance()->loadMessage(mId, mMessage, language);
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

localLocString::localLocString(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file,
                               const wchar_t* moreFiles, ...)
    : locStringBase(id, defaultText, file) {
    VX_ADD_FURTHER_FILES(moreFiles, mId);
}

locString localLocString::copy() const {
    locString result(mId);
    result.params() = mParams;
    return result;
}

#undef VX_ADD_FURTHER_FILES

} // namespace vx
