// Observers: a small synchronous publish and subscribe mechanism.
//
// An observable keeps two lists of observers, counted ones that it keeps alive and raw ones that
// it does not, and calls them on the caller's own thread. An observer either overrides
// handleEvent or declares a message map that routes events to its member functions:
//
//     class saver : public vx::observer {
//         VX_DECLARE_EVENT_MAP()
//         void onWrite(vx::iRefObj* sender, const wchar_t* text, vx::iEventParams* params);
//     };
//     VX_BEGIN_EVENT_MAP(saver, vx::observer)
//         VX_ON_EVENT(512, onWrite)
//         VX_ON_EVENT_TEXT(7, L"close", onClose) // only when the event's text is "close", any case
//     VX_END_EVENT_MAP()
//
// Nothing here is locked: an observable and its observers belong to one thread at a time.
#pragma once

#include "vxExport.h"
#include "vxRefPtr.h"

#include <cstdint>
#include <vector>

namespace vx {

class iObserver;

// Event-specific data, defined by the users of an event; the mechanism passes the pointer through.
class VX_API iEventParams {
public:
    virtual ~iEventParams();
};

class iObservable : public iRefObj {
public:
    virtual void addObserver(iObserver* observer) = 0;
    virtual void addRawObserver(iObserver* observer) = 0;
    virtual void removeObserver(iObserver* observer) = 0;
    virtual void removeAllObservers() = 0;

protected:
    ~iObservable() = default;
};

class iObserver : public iRefObj {
public:
    virtual void handleEvent(int event, iRefObj* sender, const wchar_t* text, iEventParams* params) = 0;

protected:
    ~iObserver() = default;
};

// The two lists and the firing of events, to be mixed into a class that implements iObservable
// (whose operations then forward here).
class VX_API observable {
public:
    observable();
    // A copy starts without observers: they registered with the original.
    observable(const observable&);
    observable& operator=(const observable&);
    virtual ~observable();

    // Null is ignored. The observer is first removed, so it is on at most one list, once.
    virtual void addObserver(iObserver* observer);
    // The same for the raw list, which takes no reference: remove the observer before it dies.
    virtual void addRawObserver(iObserver* observer);
    // The first matching entry of the counted list, then of the raw list, by pointer.
    virtual void removeObserver(iObserver* observer);
    virtual void removeAllObservers();
    virtual std::uint64_t countObservers();

    // Calls every counted observer, then every raw one, each in the order of registration, on
    // copies of the lists: changes made by a handler take effect at the next event. An
    // exception from a handler ends the round and passes to the caller.
    void fireEvent(int event, iObservable* sender, const wchar_t* text, iEventParams* params);

private:
    std::vector<refPtr<iObserver>> mObservers;
    std::vector<iObserver*> mRawObservers;
};

// An observable object with a count of its own: Interface (iObservable or an interface derived
// from it) implemented over refObj and observable. A class derived from it gives deleteThis.
template <class Interface = iObservable>
class observableObject : public Interface, public refObj, public observable {
public:
    unsigned long getRefCount() const override { return refObj::getRefCount(); }
    unsigned long addRef() override { return refObj::addRef(); }
    unsigned long release() override { return refObj::release(); }
    void addObserver(iObserver* o) override { observable::addObserver(o); }
    void addRawObserver(iObserver* o) override { observable::addRawObserver(o); }
    void removeObserver(iObserver* o) override { observable::removeObserver(o); }
    void removeAllObservers() override { observable::removeAllObservers(); }
};

class observer;

// A handler of a message map: called as handler(sender, text, params) on the observer.
using eventHandler = void (observer::*)(iRefObj* sender, const wchar_t* text, iEventParams* params);

struct EV_MSGMAP_ENTRY {
    std::int32_t event;     // the event number to match
    const wchar_t* text;    // null matches any text; else equal text, case ignored
    eventHandler handler;   // null ends the table
    std::int32_t objectOffset; // added to the observer's address to form the handler's object
};

struct EV_MSGMAP {
    EV_MSGMAP* (*baseMap)();        // the base class's map; a null result ends the chain
    const EV_MSGMAP_ENTRY* entries; // ended by an entry with a null handler
};

// An iObserver whose handleEvent walks the message maps of its class and of its bases.
class VX_API observer : public iObserver, public refObj {
public:
    observer();
    ~observer() override;

    unsigned long getRefCount() const override { return refObj::getRefCount(); }
    unsigned long addRef() override { return refObj::addRef(); }
    unsigned long release() override { return refObj::release(); }
    void deleteThis() override { delete this; }

    // Calls every entry matching the event, in table order, in the most derived map and then in
    // each base map: a derived entry does not hide a base one.
    void handleEvent(int event, iRefObj* sender, const wchar_t* text, iEventParams* params) override;

    // The map of the most derived class; the class itself has none.
    virtual EV_MSGMAP* messageMap();
    static EV_MSGMAP* sMessageMap();
};

} // namespace vx

// In the class: declares its map. Leaves the class's access at private.
#define VX_DECLARE_EVENT_MAP()                                                                     \
public:                                                                                           \
    static ::vx::EV_MSGMAP* sMessageMap();                                                        \
    ::vx::EV_MSGMAP* messageMap() override { return sMessageMap(); }                              \
                                                                                                  \
private:

// At namespace scope, in one source: the map of theClass, whose base class is baseClass.
#define VX_BEGIN_EVENT_MAP(theClass, baseClass)                                                    \
    ::vx::EV_MSGMAP* theClass::sMessageMap() {                                                    \
        using vxMapClass = theClass;                                                              \
        using vxMapBase = baseClass;                                                              \
        static const ::vx::EV_MSGMAP_ENTRY vxEntries[] = {
#define VX_ON_EVENT_TEXT(event, text, handler)                                                     \
    {static_cast<std::int32_t>(event), text, static_cast<::vx::eventHandler>(&vxMapClass::handler), 0},
#define VX_ON_EVENT(event, handler) VX_ON_EVENT_TEXT(event, nullptr, handler)
#define VX_END_EVENT_MAP()                                                                         \
    {0, nullptr, nullptr, 0}                                                                      \
    }                                                                                             \
    ;                                                                                             \
    static ::vx::EV_MSGMAP vxMap = {&vxMapBase::sMessageMap, vxEntries};                           \
    return &vxMap;                                                                                \
    }
