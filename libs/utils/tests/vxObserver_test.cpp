#include "vxObserver.h"
#include "vxString.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using trace = std::vector<std::string>;

// Records each call as "<name>:<event>" and runs an optional action.
class recorder : public vx::observer {
public:
    recorder(trace& log, std::string name) : mLog(log), mName(std::move(name)) {}
    void handleEvent(int event, vx::iRefObj*, const wchar_t*, vx::iEventParams*) override {
        mLog.push_back(mName + ":" + std::to_string(event));
        if (action)
            action();
    }
    std::function<void()> action;

private:
    trace& mLog;
    std::string mName;
};

class source : public vx::observableObject<> {
public:
    void deleteThis() override { delete this; }
    void fire(int event, const wchar_t* text = nullptr) { fireEvent(event, this, text, nullptr); }
};

struct fixture {
    trace log;
    vx::refPtr<source> subject{new source};
    vx::refPtr<recorder> a{new recorder(log, "a")};
    vx::refPtr<recorder> b{new recorder(log, "b")};
    vx::refPtr<recorder> c{new recorder(log, "c")};
};

TEST(observable, registrationAndOrder) {
    struct row {
        const char* what;
        std::function<void(fixture&)> steps;
        trace expected;
        std::uint64_t count;
    };
    const row rows[] = {
        {"counted in order", [](fixture& f) { f.subject->addObserver(f.a); f.subject->addObserver(f.b); },
         {"a:1", "b:1"}, 2},
        {"twice is once", [](fixture& f) { f.subject->addObserver(f.a); f.subject->addObserver(f.a); }, {"a:1"}, 1},
        {"counted before raw",
         [](fixture& f) { f.subject->addRawObserver(f.a); f.subject->addObserver(f.b); }, {"b:1", "a:1"}, 2},
        {"raw moves behind counted",
         [](fixture& f) {
             f.subject->addObserver(f.a);
             f.subject->addObserver(f.b);
             f.subject->addRawObserver(f.a);
         },
         {"b:1", "a:1"}, 2},
        {"re-adding moves to the end",
         [](fixture& f) {
             f.subject->addObserver(f.a);
             f.subject->addObserver(f.b);
             f.subject->addObserver(f.a);
         },
         {"b:1", "a:1"}, 2},
        {"null ignored", [](fixture& f) { f.subject->addObserver(nullptr); f.subject->addRawObserver(nullptr); }, {}, 0},
        {"remove from both lists",
         [](fixture& f) {
             f.subject->addObserver(f.a);
             f.subject->addRawObserver(f.b);
             f.subject->addObserver(f.c);
             f.subject->removeObserver(f.a);
             f.subject->removeObserver(f.b);
         },
         {"c:1"}, 1},
        {"remove all",
         [](fixture& f) {
             f.subject->addObserver(f.a);
             f.subject->addRawObserver(f.b);
             f.subject->removeAllObservers();
         },
         {}, 0},
    };
    for (const auto& r : rows) {
        fixture f;
        r.steps(f);
        EXPECT_EQ(f.subject->countObservers(), r.count) << r.what;
        f.subject->fire(1);
        EXPECT_EQ(f.log, r.expected) << r.what;
        f.subject->removeAllObservers();
    }
}

TEST(observable, countedObserversAreKeptAlive) {
    fixture f;
    recorder* raw = f.a.get();
    f.subject->addObserver(f.a);
    EXPECT_EQ(raw->getRefCount(), 2u);
    f.a.reset();
    f.subject->fire(3);
    EXPECT_EQ(f.log, trace{"a:3"});
    f.subject->removeObserver(raw); // the last reference: the observer goes
    EXPECT_EQ(f.subject->countObservers(), 0u);
    f.subject->addRawObserver(f.b);
    EXPECT_EQ(f.b->getRefCount(), 1u); // raw takes none
    f.subject->removeAllObservers();
}

TEST(observable, changesDuringARoundTakeEffectAtTheNext) {
    fixture f;
    f.subject->addObserver(f.a);
    f.subject->addObserver(f.b);
    f.subject->addRawObserver(f.c);
    // a removes itself and b; both still run in this round, and neither in the next. It also
    // moves c from the raw list to the counted one: the raw list is copied only once the counted
    // observers have run, so c misses this round on both lists.
    f.a->action = [&f] {
        f.subject->removeObserver(f.a);
        f.subject->removeObserver(f.b);
        f.subject->addObserver(f.c);
    };
    f.subject->fire(1);
    EXPECT_EQ(f.log, (trace{"a:1", "b:1"}));
    f.log.clear();
    f.subject->fire(2);
    EXPECT_EQ(f.log, trace{"c:2"});
    f.subject->removeAllObservers();
}

TEST(observable, reentrantFiring) {
    fixture f;
    f.subject->addObserver(f.a);
    f.subject->addRawObserver(f.b);
    int depth = 0;
    f.a->action = [&] {
        if (depth++ == 0)
            f.subject->fire(2);
    };
    f.subject->fire(1);
    EXPECT_EQ(f.log, (trace{"a:1", "a:2", "b:2", "b:1"}));
    f.subject->removeAllObservers();
}

TEST(observable, anExceptionEndsTheRoundAndReleasesTheCopies) {
    fixture f;
    f.subject->addObserver(f.a);
    f.subject->addObserver(f.b);
    f.a->action = [] { throw 42; };
    EXPECT_THROW(f.subject->fire(1), int);
    EXPECT_EQ(f.log, trace{"a:1"});
    EXPECT_EQ(f.a->getRefCount(), 2u);
    EXPECT_EQ(f.b->getRefCount(), 2u);
    f.subject->removeAllObservers();
}

// Message maps: a base with two entries and a derived class that adds its own.
class baseObserver : public vx::observer {
    VX_DECLARE_EVENT_MAP()
public:
    trace log;
    void onBase(vx::iRefObj*, const wchar_t*, vx::iEventParams*) { log.push_back("base"); }
    void onBaseText(vx::iRefObj*, const wchar_t* text, vx::iEventParams*) {
        log.push_back("baseText:" + vx::string(text).getMBCS());
    }
};
VX_BEGIN_EVENT_MAP(baseObserver, vx::observer)
VX_ON_EVENT(1, onBase)
VX_ON_EVENT_TEXT(2, L"X", onBaseText)
VX_END_EVENT_MAP()

class derivedObserver : public baseObserver {
    VX_DECLARE_EVENT_MAP()
public:
    void onDerived(vx::iRefObj*, const wchar_t*, vx::iEventParams*) { log.push_back("derived"); }
    void onDerivedAgain(vx::iRefObj*, const wchar_t*, vx::iEventParams*) { log.push_back("again"); }
    void onParams(vx::iRefObj* sender, const wchar_t*, vx::iEventParams* params) {
        log.push_back(sender && params ? "params" : "none");
    }
};
VX_BEGIN_EVENT_MAP(derivedObserver, baseObserver)
VX_ON_EVENT(1, onDerived)
VX_ON_EVENT(3, onDerivedAgain)
VX_ON_EVENT(1, onDerivedAgain)
VX_ON_EVENT(4, onParams)
VX_END_EVENT_MAP()

TEST(observer, messageMaps) {
    struct paramsOf : vx::iEventParams {};
    struct row {
        int event;
        const wchar_t* text;
        trace expected;
    };
    const row rows[] = {
        {1, nullptr, {"derived", "again", "base"}}, // every entry, derived map first
        {2, L"x", {"baseText:x"}},                 // the filter ignores case
        {2, L"X", {"baseText:X"}},
        {2, L"xx", {}},
        {2, nullptr, {}}, // a filter never matches a null text
        {3, L"anything", {"again"}},
        {5, nullptr, {}},
    };
    for (const auto& r : rows) {
        vx::refPtr<derivedObserver> o(new derivedObserver);
        o->handleEvent(r.event, nullptr, r.text, nullptr);
        EXPECT_EQ(o->log, r.expected) << r.event;
    }
    vx::refPtr<derivedObserver> o(new derivedObserver);
    vx::refPtr<source> s(new source);
    paramsOf params;
    o->handleEvent(4, s, nullptr, &params);
    EXPECT_EQ(o->log, trace{"params"});

    vx::refPtr<baseObserver> b(new baseObserver);
    b->handleEvent(1, nullptr, nullptr, nullptr);
    EXPECT_EQ(b->log, trace{"base"});
    vx::refPtr<vx::observer> plain(new vx::observer);
    EXPECT_EQ(plain->messageMap(), nullptr);
    plain->handleEvent(1, nullptr, nullptr, nullptr); // no map: nothing happens
}

} // namespace
