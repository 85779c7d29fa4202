// configSet: a set of named text values, such as the variables of an environment.
//
// Names compare exactly, case included (as environment names do on POSIX systems): "Path" and
// "PATH" are two entries. Any text, the empty one included, can be a name. A configSet is a
// plain value: it copies and moves like its contents and has no locks.
#pragma once

#include "vxExport.h"
#include "vxString.h"

#include <cstddef>
#include <map>
#include <vector>

namespace vx {

class VX_API configSet {
public:
    // Adds the entry, or replaces the value of an existing one.
    void setValue(const string& name, const string& value);
    // False, with value untouched, when there is no such entry.
    bool getValue(const string& name, string& value) const;
    bool hasValue(const string& name) const;
    // False when there was no such entry.
    bool removeValue(const string& name);

    // The names in ascending order of their code points.
    std::vector<string> names() const;
    std::size_t size() const { return mValues.size(); }
    bool empty() const { return mValues.empty(); }
    void clear() { mValues.clear(); }

private:
    std::map<string, string> mValues;
};

} // namespace vx
