// Localised strings: a message as identifier plus parameters, resolved to text on request.
//
// A locStringId names a message: its id (for example "Msg_EReadFile"), the default text shown
// when no language file holds the id, and the language files that may hold it. A locString adds
// named parameters and keeps the text of its last resolution. Nothing is looked up until
// someone asks for the text, in the language asked for, so a message can be raised in one place
// and shown later in another language. The "local" variants have the same shape; their copy
// gives the ordinary class.
//
// Resolving writes the cached text of the object without a lock: one object must not be resolved
// from two threads at once. Copies are independent.
#pragma once

#include "vxExport.h"
#include "vxLocMessage.h"
#include "vxScString.h"
#include "vxSharedPtr.h"
#include "vxString.h"

#include <cstdarg>
#include <utility>
#include <vector>

namespace vx {

class searchPath;
class genericValue;
class locStringId;
class locString;
class exception;
namespace detail {
template <class Id>
class locStringBase;
}

// --- identifiers ---------------------------------------------------------------------------------

class VX_API iLocStringId {
public:
    virtual const wchar_t* defaultString() const = 0;
    virtual const wchar_t* id() const = 0;
    virtual locStringId copy() const = 0;
    // "id|default|" followed by ",file" for every non-empty file; empty when the id is empty.
    virtual void getPersistentId(vx::string& out) const = 0;

protected:
    ~iLocStringId() = default;
};

// Construction forms shared by locStringId and localLocStringId:
// - (id, defaultText, file, moreFiles, ...): null id or default text give empty text, a null
//   file gives no entry; the further file names run up to the first null argument, which must
//   be there whenever moreFiles is not null.
// - (id, defaultText, file, args): the same with an already started argument list of further
//   file names, ending at the first null.
// - (id, defaultText, files): null entries of files are skipped.
// - (text): the form written by getPersistentId, "id|default|,file1,file2". Fields are cut at
//   every "|": the first is the id, the second the default text, the third a comma-separated
//   list of files (empty elements skipped); further fields are ignored. A text without "|" is
//   both the id and the default text, so a plain text shows itself when no file has it.
namespace detail {

// What both identifier classes hold and do; only their copy differs (an ordinary identifier
// copies itself, a local one gives an ordinary one). It adds no virtual function, so the classes
// keep the slots of iLocStringId, in its order.
class VX_API locStringIdBase : public iLocStringId {
public:
    const wchar_t* defaultString() const override;
    const wchar_t* id() const override;
    void getPersistentId(vx::string& out) const override;

    // Appends a file name; a null file is ignored.
    void addAlternativeFile(const wchar_t* file);
    const std::vector<scString>& alternativeFiles() const { return mAlternativeFiles; }

protected:
    locStringIdBase();
    locStringIdBase(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file);
    locStringIdBase(const wchar_t* id, const wchar_t* defaultText, const std::vector<const wchar_t*>& files);
    explicit locStringIdBase(const wchar_t* text);
    locStringIdBase(const locStringIdBase& other);
    locStringIdBase& operator=(const locStringIdBase& other);
    ~locStringIdBase();

    void assignFromList(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file, va_list moreFiles);

    std::vector<scString> mAlternativeFiles;
    vx::string mId;
    vx::string mDefault;
};

} // namespace detail

class VX_API locStringId : public detail::locStringIdBase {
public:
    locStringId();
    locStringId(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file = nullptr,
                const wchar_t* moreFiles = nullptr, ...);
    template <class V, detail::ifVaList<V> = 0>
    locStringId(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file, V args) {
        assignFromList(id, defaultText, file, args);
    }
    locStringId(const wchar_t* id, const wchar_t* defaultText, std::vector<const wchar_t*> files);
    explicit locStringId(const wchar_t* text);
    locStringId(const locStringId& other);
    locStringId& operator=(const locStringId& other);

    locStringId copy() const override;
    virtual ~locStringId();

private:
    friend class localLocStringId;
};

class VX_API localLocStringId final : public detail::locStringIdBase {
public:
    localLocStringId();
    localLocStringId(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file = nullptr,
                     const wchar_t* moreFiles = nullptr, ...);
    template <class V, detail::ifVaList<V> = 0>
    localLocStringId(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file, V args) {
        assignFromList(id, defaultText, file, args);
    }
    localLocStringId(const wchar_t* id, const wchar_t* defaultText,
                     std::vector<const wchar_t*> files);
    explicit localLocStringId(const wchar_t* text);
    localLocStringId(const localLocStringId& other);
    localLocStringId& operator=(const localLocStringId& other);
    ~localLocStringId();

    locStringId copy() const override;

private:
    template <class Id>
    friend class detail::locStringBase;
    explicit localLocStringId(const locStringId& other);
};

// --- parameters ----------------------------------------------------------------------------------

class iLocString;

// Named values for the placeholders of a message. set replaces the value of an entry of the
// same name, which keeps its place, or appends a new entry. An entry with a null or empty name
// is unnamed: it is always appended and fills the next "$k" placeholder.
class VX_API locStringParams {
public:
    locStringParams();
    locStringParams(const locStringParams& other);
    locStringParams& operator=(const locStringParams& other);
    ~locStringParams();

    void set(const vx::string& value, const wchar_t* name);
    void set(short value, const wchar_t* name);
    void set(int value, const wchar_t* name);
    void set(long value, const wchar_t* name);
    void set(double value, const wchar_t* name);
    // A copy of the localised value is kept and resolved when the parameters are inserted;
    // a null value is the empty text.
    void set(const iLocString* value, const wchar_t* name);
    void set(const wchar_t* value, const wchar_t* name); // null: the empty text
    void set(bool value, const wchar_t* name);
    void set(wchar_t value, const wchar_t* name);

    bool empty() const;
    std::size_t size() const;

    // Inserts every entry into msg, in the order of the entries, each through the
    // insertParameter overload of its type. Localised values are resolved first, with the same
    // language and path, and inserted as text.
    void insertInto(locMessage& msg, const wchar_t* language, const searchPath& path) const;
    // The same without a search path of the caller's.
    void insertInto(locMessage& msg, const wchar_t* language = nullptr) const;

private:
    template <class Id>
    friend class detail::locStringBase;
    friend class locString;
    struct entry;

    void setValue(const wchar_t* name, const sharedPtr<genericValue>& value);
    // A null path stands for the empty search path.
    void insertInto(locMessage& msg, const wchar_t* language, const searchPath* path) const;
    // The resolution shared by the string classes: the id's message or its default text, with
    // these parameters inserted, into cache.
    const wchar_t* resolve(const iLocStringId& id, locMessage& cache, const wchar_t* language,
                           const searchPath* path) const;
    // "<Params>...</Params>", or nothing for no entries.
    void serialize(vx::string& out) const;

    std::vector<entry> mEntries;
};

// --- localised strings ------------------------------------------------------------------------------

class VX_API iLocString {
public:
    virtual const iLocStringId& stringId() const = 0;
    // The text in the given language (null: the default language), valid until the next call
    // on the object or its destruction.
    virtual const wchar_t* string(const wchar_t* language, const searchPath& path) const = 0;
    virtual locString copy() const = 0;

protected:
    ~iLocString() = default;
};

namespace detail {

// What both string classes hold and do, over their identifier class. It adds no virtual function,
// so the classes keep the slots of iLocString, in its order.
template <class Id>
class locStringBase : public iLocString {
public:
    const iLocStringId& stringId() const override { return mId; }
    // The message of the id from the language files, or the default text, with the parameters
    // inserted. Never fails: an unknown id or a missing file give the default text.
    const wchar_t* string(const wchar_t* language, const searchPath& path) const override {
        return mParams.resolve(mId, mMessage, language, &path);
    }
    // The same without a search path of the caller's: the localisation manager looks for
    // language files on its own search path.
    const wchar_t* string(const wchar_t* language = nullptr) const {
        return mParams.resolve(mId, mMessage, language, nullptr);
    }

    locStringParams& params() { return mParams; }
    const locStringParams& params() const { return mParams; }

protected:
    locStringBase() = default;
    template <class... Args>
    explicit locStringBase(Args&&... idArguments) : mId(std::forward<Args>(idArguments)...) {}
    locStringBase(const locStringBase&) = default;
    locStringBase& operator=(const locStringBase&) = default;
    ~locStringBase() = default;

    Id mId;
    locStringParams mParams;
    mutable locMessage mMessage; // the text of the last resolution
};

} // namespace detail

// The constructors take the identifier forms of locStringId.
class VX_API locString final : public detail::locStringBase<locStringId> {
public:
    locString() = default;
    locString(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file = nullptr,
              const wchar_t* moreFiles = nullptr, ...);
    template <class V, detail::ifVaList<V> = 0>
    locString(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file, V args)
        : locStringBase(id, defaultText, file, args) {}
    locString(const iLocStringId& id) : locStringBase(id.copy()) {}
    explicit locString(const wchar_t* text) : locStringBase(text) {}
    locString(const locString& other) = default;
    locString& operator=(const locString& other) = default;
    ~locString() = default;

    using locStringBase::string;
    locString copy() const override;
    // Whether a language file holds the id; the default text does not count.
    virtual bool stringIdExists(const wchar_t* language, const searchPath& path) const;
    // The same without a search path of the caller's.
    bool stringIdExists(const wchar_t* language = nullptr) const;

    // "<LocString><Id>id</Id><Default>text</Default><Params>...</Params></LocString>", texts as
    // they stand. Each parameter is "<Param><Name>name</Name><Value>text</Value></Param>"; a
    // localised value is written as its own "<LocString>" fragment. Without parameters the
    // "<Params>" element is left out.
    vx::string serialize() const;
};

class VX_API localLocString final : public detail::locStringBase<localLocStringId> {
public:
    localLocString() = default;
    localLocString(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file = nullptr,
                   const wchar_t* moreFiles = nullptr, ...);
    template <class V, detail::ifVaList<V> = 0>
    localLocString(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file, V args)
        : locStringBase(id, defaultText, file, args) {}
    localLocString(const iLocStringId& id) : locStringBase(id.copy()) {}
    explicit localLocString(const wchar_t* text) : locStringBase(text) {}
    localLocString(const localLocString& other) = default;
    localLocString& operator=(const localLocString& other) = default;
    ~localLocString() = default;

    using locStringBase::string;
    locString copy() const override;
};

} // namespace vx
