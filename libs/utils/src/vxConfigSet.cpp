#include "vxConfigSet.h"

namespace vx {

void configSet::setValue(const string& name, const string& value) {
    mValues[name] = value;
}

bool configSet::getValue(const string& name, string& value) const {
    const auto it = mValues.find(name);
    if (it == mValues.end())
        return false;
    value = it->second;
    return true;
}

bool configSet::hasValue(const string& name) const {
    return mValues.count(name) != 0;
}

bool configSet::removeValue(const string& name) {
    return mValues.erase(name) != 0;
}

std::vector<string> configSet::names() const {
    std::vector<string> result;
    result.reserve(mValues.size());
    for (const auto& entry : mValues)
        result.push_back(entry.first);
    return result;
}

} // namespace vx
