#include "vxGenericSet.h"

#include "vxXmlDbIStream.h"
#include "vxXmlDbOStream.h"

namespace vx {

// The state behind a set: the published map and the lock that serialises writers that change
// its shape. Writes to an existing cell take the cell's own holder lock instead.
class genericSetState {
public:
    genericSetState() : mpMap(new genericSet::map()), mWriters{} {}
    explicit genericSetState(const sharedPtr<genericSet::map>& source)
        : mpMap(source.isNull() ? new genericSet::map() : new genericSet::map(*source)), mWriters{} {}

    sharedPtr<genericSet::map> mpMap; // the current snapshot; never changed once published
    spinLockerRecursive mWriters;     // held while a writer copies and swaps the map
};

namespace {

// Runs change on a copy of the current map under the writers' lock and publishes the copy.
template <class Change>
auto rebuild(genericSetState& state, Change change) {
    genericValueHolderLocker lock(&state.mWriters);
    const sharedPtr<genericSet::map> current(state.mpMap);
    sharedPtr<genericSet::map> copy(current.isNull() ? new genericSet::map() : new genericSet::map(*current));
    auto result = change(*copy);
    state.mpMap = std::move(copy); // under the process-wide lock of sharedPtr
    return result;
}

} // namespace

genericSet::genericSet() : mpState(new genericSetState()) {}

genericSet::genericSet(const genericSet& other)
    : mpState(other.mpState.isNull() ? new genericSetState() : new genericSetState(other.snapshot())) {}

genericSet::~genericSet() = default;

genericSet& genericSet::operator=(const genericSet& other) {
    if (this != &other) {
        sharedPtr<genericSetState> fresh(other.mpState.isNull() ? new genericSetState()
                                                                 : new genericSetState(other.snapshot()));
        mpState = std::move(fresh);
    }
    return *this;
}

bool genericSet::operator==(const genericSet& other) const {
    return this == &other;
}

sharedPtr<genericSet::map> genericSet::snapshot() const {
    const sharedPtr<genericSetState> state(mpState);
    if (state.isNull())
        return sharedPtr<map>();
    return sharedPtr<map>(state->mpMap);
}

void genericSet::clear() {
    const sharedPtr<genericSetState> state(mpState);
    if (state.isNull())
        return;
    rebuild(*state, [](map& m) {
        m.clear();
        return true;
    });
}

void genericSet::erase(const scString& key) {
    const sharedPtr<genericSetState> state(mpState);
    if (state.isNull())
        return;
    rebuild(*state, [&](map& m) { return m.erase(key); });
}

std::uint64_t genericSet::size() const {
    const sharedPtr<map> current(snapshot());
    return current.isNull() ? 0 : current->size();
}

genericSet::cell genericSet::genericValue(const scString& key) {
    const sharedPtr<map> current(snapshot());
    if (current.isNull())
        return cell();
    const auto found = current->find(key);
    return found == current->end() ? cell() : found->second;
}

const_sharedPtr<vx::genericValue> genericSet::genericValue(const scString& key) const {
    return const_cast<genericSet*>(this)->genericValue(key);
}

bool genericSet::setGenericValue(const scString& key, const vx::genericValue& value, bool replace) {
    return store(key, value, replace, false);
}

bool genericSet::_setGenericValue(const scString& key, vx::genericValue& value, bool takeOver) {
    return store(key, value, false, takeOver);
}

bool genericSet::store(const scString& key, const vx::genericValue& value, bool replace, bool takeOver) {
    const sharedPtr<genericSetState> state(mpState);
    if (state.isNull())
        return false;
    const sharedPtr<map> current(state->mpMap);
    const auto found = current.isNull() ? map::const_iterator() : current->find(key);
    if (current.isNull() || found == current->end() || found->second.isNull()) {
        // A new key: the map changes shape.
        return rebuild(*state, [&](map& m) {
            return m.emplace(key, cell(new vx::genericValue(value))).second;
        });
    }
    vx::genericValue& target = *found->second;
    if (&target == &value)
        return !value.isEmpty();
    if (takeOver) {
        target.shareHolder(value.holderPtr());
        return true;
    }
    if (!replace) {
        // The key's type is fixed: convert into the cell as it is.
        const sharedPtr<holderbase> existing(target.holderPtr());
        if (!existing.isNull()) {
            const sharedPtr<holderbase> source(value.holderPtr());
            return source.isNull() ? true : existing->assignFrom(*source);
        }
    }
    target = value; // a clone of the holder, or empty
    return !target.isEmpty();
}

bool genericSet::takeOverGenericValue(const scString& key, vx::genericValue& value) {
    const sharedPtr<map> current(snapshot());
    if (current.isNull())
        return false;
    const auto found = current->find(key);
    // A missing key changes nothing: the set stays as it was, and the answer is still true.
    if (found != current->end() && !found->second.isNull() && found->second.get() != &value)
        found->second->shareHolder(value.holderPtr());
    return true;
}

bool genericSet::forEachItem(const std::function<bool(const item&)>& f, bool stopOnFalse) const {
    const sharedPtr<map> current(snapshot());
    if (current.isNull())
        return true;
    for (const item& entry : *current) {
        if (!f(entry) && stopOnFalse)
            return false;
    }
    return true;
}

template class holder<genericSet>;
template class valueholder<genericSet>;
template class ptrholder<genericSet>;

// --- persistence -----------------------------------------------------------------------------------

void writeGenericSet::writeTo(iDBOStream* stream) const {
    mpSet->forEachItem(
        [stream](const genericSet::item& entry) {
            if (entry.second.isNull())
                return true;
            string text;
            double number = 0;
            if (entry.second->get(number))
                typeconvert::dtconvert(text, number, 0, nullptr);
            else if (!entry.second->get(text))
                return true;
            stream->write(entry.first.c_str(), text, true);
            return true;
        },
        false);
}

void readGenericSet::readFrom(iDBIStream* stream) {
    mpSet->clear();
    const std::uint64_t n = stream->countProperties();
    for (std::uint64_t i = 0; i < n; ++i) {
        string name, text;
        stream->readProperty(name, text, i);
        vx::genericValue value(text);
        mpSet->_setGenericValue(scString::createFrom(name), value, true);
    }
}

} // namespace vx
