#include "vxObserver.h"

#include "vxString.h"

#include <algorithm>

namespace vx {

iEventParams::~iEventParams() = default;

observable::observable() = default;

observable::observable(const observable&) {}

observable& observable::operator=(const observable&) {
    return *this;
}

observable::~observable() = default;

void observable::addObserver(iObserver* observer) {
    if (!observer)
        return;
    removeObserver(observer);
    mObservers.emplace_back(observer);
}

void observable::addRawObserver(iObserver* observer) {
    if (!observer)
        return;
    removeObserver(observer);
    mRawObservers.push_back(observer);
}

void observable::removeObserver(iObserver* observer) {
    const auto counted = std::find_if(mObservers.begin(), mObservers.end(),
                                      [observer](const refPtr<iObserver>& entry) { return entry.get() == observer; });
    if (counted != mObservers.end())
        mObservers.erase(counted); // keeps the order, releases the reference
    const auto raw = std::find(mRawObservers.begin(), mRawObservers.end(), observer);
    if (raw != mRawObservers.end())
        mRawObservers.erase(raw);
}

void observable::removeAllObservers() {
    std::vector<refPtr<iObserver>> released;
    released.swap(mObservers); // an observer's destructor may come back here
    mRawObservers.clear();
}

std::uint64_t observable::countObservers() {
    return mObservers.size() + mRawObservers.size();
}

void observable::fireEvent(int event, iObservable* sender, const wchar_t* text, iEventParams* params) {
    // Copies: a handler may change the lists, or fire again, without disturbing this round.
    if (!mObservers.empty()) {
        const std::vector<refPtr<iObserver>> counted(mObservers);
        for (const auto& entry : counted)
            entry->handleEvent(event, sender, text, params);
    }
    if (!mRawObservers.empty()) {
        const std::vector<iObserver*> raw(mRawObservers);
        for (iObserver* entry : raw)
            entry->handleEvent(event, sender, text, params);
    }
}

observer::observer() = default;

observer::~observer() = default;

EV_MSGMAP* observer::messageMap() {
    return sMessageMap();
}

EV_MSGMAP* observer::sMessageMap() {
    return nullptr;
}

void observer::handleEvent(int event, iRefObj* sender, const wchar_t* text, iEventParams* params) {
    for (EV_MSGMAP* map = messageMap(); map; map = map->baseMap ? map->baseMap() : nullptr) {
        for (const EV_MSGMAP_ENTRY* entry = map->entries; entry && entry->handler; ++entry) {
            if (entry->event != event)
                continue;
            if (entry->text && (!text || !string(text).isEqualTo(entry->text, false)))
                continue;
            auto* target = reinterpret_cast<observer*>(reinterpret_cast<char*>(this) + entry->objectOffset);
            (target->*entry->handler)(sender, text, params);
        }
    }
}

} // namespace vx
