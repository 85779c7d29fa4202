// genericSet: a dictionary from interned name to genericValue, for many readers and rare writers.
//
// Readers work on an immutable snapshot of the map without a lock; a writer that changes the
// shape of the map copies it under the set's own lock, changes the copy and swaps it in. Copies
// of a map are shallow: every copy shares the cells (the genericValues) of the old one, so a
// write to an existing key is seen by every snapshot and by every set copied from the same map.
//
// Keys order by the identity of the interned name, not by its text: iteration order is stable
// within a process and unrelated to the alphabet.
#pragma once

#include "vxExport.h"
#include "vxGenericValue.h"
#include "vxScString.h"
#include "vxSharedPtr.h"

#include <cstdint>
#include <functional>
#include <map>
#include <utility>

namespace vx {

class genericSetState;
class iDBIStream;
class iDBOStream;
class readGenericSet;

class VX_API genericSet {
public:
    using cell = sharedPtr<vx::genericValue>;
    using map = std::map<scString, cell>;
    using item = std::pair<const scString, cell>;

    // A new empty set.
    genericSet();
    // A new set over a shallow copy of other's map: the cells are shared.
    genericSet(const genericSet& other);
    ~genericSet();
    // The same as the copy constructor; to itself, nothing happens.
    genericSet& operator=(const genericSet& other);

    // Identity of the two objects, not equality of their contents.
    bool operator==(const genericSet& other) const;
    bool operator!=(const genericSet& other) const { return !(*this == other); }

    // Swaps in a new empty map.
    void clear();
    // Swaps in a copy of the map without key (a copy even where the key is missing).
    void erase(const scString& key);
    // Entries in the current snapshot.
    std::uint64_t size() const;

    // The shared cell of key; empty when the key is missing.
    cell genericValue(const scString& key);
    const_sharedPtr<vx::genericValue> genericValue(const scString& key) const;

    // Stores value under key. A new key gets a cell holding a clone of value. An existing key
    // keeps its type unless replace is set: value is converted into the cell, and the answer is
    // the conversion's (an empty value then changes nothing and answers true). With replace the
    // cell gets a clone of value, and the answer is whether the cell is now non-empty.
    bool setGenericValue(const scString& key, const vx::genericValue& value, bool replace);
    // Makes the existing cell of key share value's holder (no clone) and answers true. A missing
    // key answers true as well and leaves the set as it was.
    bool takeOverGenericValue(const scString& key, vx::genericValue& value);

    // Calls f for every entry of a snapshot, in map order. With stopOnFalse a false from f ends
    // the walk with false; otherwise the answer is true. f may write to the set: it goes on seeing
    // its snapshot, whose cells show changed values but no new keys.
    bool forEachItem(const std::function<bool(const item&)>& f, bool stopOnFalse) const;

private:
    friend class readGenericSet;
    // setGenericValue, except that takeOver makes an existing cell share value's holder instead
    // of converting into it or cloning it.
    bool _setGenericValue(const scString& key, vx::genericValue& value, bool takeOver);
    bool store(const scString& key, const vx::genericValue& value, bool replace, bool takeOver);
    sharedPtr<map> snapshot() const;

    sharedPtr<genericSetState> mpState; // the map and the writers' lock
};

// Carry a set through the object database streams, each value as a "Property" child named by
// its key. Numbers, and texts that read as numbers, are written in the short double form ("007"
// comes back as "7", at most 8 decimals survive); values with no text form are left out. Every
// value reads back as a string.
class VX_API writeGenericSet {
public:
    explicit writeGenericSet(const genericSet& set) : mpSet(&set) {}
    void writeTo(iDBOStream* stream) const;

private:
    const genericSet* mpSet; // not owned
};

class VX_API readGenericSet {
public:
    explicit readGenericSet(genericSet& set) : mpSet(&set) {}
    // Clears the set, then reads every property of the stream into it.
    void readFrom(iDBIStream* stream);

private:
    genericSet* mpSet; // not owned
};

// A genericValue may hold a set or point at one of the caller's.
extern template class VX_API holder<genericSet>;
extern template class VX_API valueholder<genericSet>;
extern template class VX_API ptrholder<genericSet>;

} // namespace vx
