#include "logTestSupport.h"
#include "testSupport.h"
#include "vxTransactionManager.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// A small document: a text whose insertions and erasures are registered as modifications. A
// modification's apply does the opposite change through the document, which registers the
// opposite modification, as an application does.
struct document {
    vx::refPtr<vx::undoManager> manager = vx::undoManager::create();
    std::string text;
    bool mergeTyping = false; // an insertion absorbs the next one that continues it
    int applied = 0;

    void insert(std::size_t at, const std::string& what);
    void erase(std::size_t at, std::size_t count);
};

class edit : public vx::iModification {
public:
    edit(document& d, bool insertion, std::size_t at, std::string what)
        : mDoc(d), mInsertion(insertion), mAt(at), mWhat(std::move(what)) {}
    void apply() override {
        ++mDoc.applied;
        if (mInsertion)
            mDoc.erase(mAt, mWhat.size());
        else
            mDoc.insert(mAt, mWhat);
    }
    bool merge(const vx::sharedPtr<vx::iModification>& next) override {
        auto* other = dynamic_cast<edit*>(next.get());
        if (!mDoc.mergeTyping || !mInsertion || !other || !other->mInsertion || other->mAt != mAt + mWhat.size())
            return false;
        mWhat += other->mWhat;
        return true;
    }

private:
    document& mDoc;
    bool mInsertion;
    std::size_t mAt;
    std::string mWhat;
};

void document::insert(std::size_t at, const std::string& what) {
    text.insert(at, what);
    manager->registerModification(vx::sharedPtr<vx::iModification>(new edit(*this, true, at, what)));
}

void document::erase(std::size_t at, std::size_t count) {
    const std::string gone = text.substr(at, count);
    text.erase(at, count);
    manager->registerModification(vx::sharedPtr<vx::iModification>(new edit(*this, false, at, gone)));
}

// Counts the manager's events and checks what they carry.
class eventCounter : public vx::observer {
public:
    void handleEvent(int event, vx::iRefObj* sender, const wchar_t* text, vx::iEventParams* params) override {
        EXPECT_EQ(event, vx::kUndoManagerEvent);
        EXPECT_EQ(sender, expectedSender);
        EXPECT_EQ(text, nullptr);
        EXPECT_EQ(params, nullptr);
        ++count;
    }
    vx::iRefObj* expectedSender = nullptr;
    int count = 0;
};

struct fixture {
    document doc;
    vx::refPtr<eventCounter> events{new eventCounter};
    fixture() {
        events->expectedSender = static_cast<vx::iObservable*>(doc.manager.get());
        doc.manager->addObserver(events);
    }
    vx::undoManager& m() { return *doc.manager; }
};

struct row {
    const char* what;
    std::function<void(fixture&)> steps;
    std::string text;
    bool canUndo, canRedo;
    int events;
};

void check(const std::vector<row>& rows) {
    for (const auto& r : rows) {
        fixture f;
        r.steps(f);
        EXPECT_EQ(f.doc.text, r.text) << r.what;
        EXPECT_EQ(f.m().canUndo(), r.canUndo) << r.what;
        EXPECT_EQ(f.m().canRedo(), r.canRedo) << r.what;
        EXPECT_EQ(f.events->count, r.events) << r.what;
    }
}

TEST(undoManager, histories) {
    check({
        {"a change without a transaction is one step at once", [](fixture& f) { f.doc.insert(0, "ab"); }, "ab", true,
         false, 1},
        {"undo reverses it and files a redo step without an event",
         [](fixture& f) {
             f.doc.insert(0, "ab");
             f.m().undo();
         },
         "", false, true, 1},
        {"redo brings it back with an event",
         [](fixture& f) {
             f.doc.insert(0, "ab");
             f.m().undo();
             f.m().redo();
         },
         "ab", true, false, 2},
        {"undo steps back one step at a time, newest first",
         [](fixture& f) {
             f.doc.insert(0, "a");
             f.doc.insert(1, "b");
             f.doc.insert(2, "c");
             f.m().undo();
             f.m().undo();
         },
         "a", true, true, 3},
        {"two undo and one redo: the other redo step is gone",
         [](fixture& f) {
             f.doc.insert(0, "a");
             f.doc.insert(1, "b");
             f.m().undo();
             f.m().undo();
             f.m().redo();
         },
         "a", true, false, 3},
        {"a new change clears the redo history",
         [](fixture& f) {
             f.doc.insert(0, "a");
             f.m().undo();
             f.doc.insert(0, "x");
         },
         "x", true, false, 2},
        {"undo and redo on empty histories change nothing",
         [](fixture& f) {
             f.m().undo();
             f.m().redo();
         },
         "", false, false, 0},
        {"a transaction is one step: changes reversed last first",
         [](fixture& f) {
             f.m().startTransaction();
             f.doc.insert(0, "abc");
             f.doc.erase(1, 1);
             f.doc.insert(2, "d");
             f.m().commitTransaction();
             f.m().undo();
         },
         "", false, true, 1},
        {"two nested commits and one outer commit make one step",
         [](fixture& f) {
             f.m().startTransaction();
             f.doc.insert(0, "a");
             f.m().startTransaction();
             f.doc.insert(1, "b");
             f.m().startTransaction();
             f.doc.insert(2, "c");
             f.m().commitTransaction();
             f.m().commitTransaction();
             f.m().commitTransaction();
             f.m().undo();
         },
         "", false, true, 1},
        {"an outer commit with a nested transaction open commits only the nested one",
         [](fixture& f) {
             f.m().startTransaction();
             f.doc.insert(0, "a");
             f.m().startTransaction();
             f.doc.insert(1, "b");
             f.m().commitTransaction();
         },
         "ab", false, false, 0},
        {"an open transaction does not count for canUndo",
         [](fixture& f) {
             f.m().startTransaction();
             f.doc.insert(0, "a");
         },
         "a", false, false, 0},
        {"an empty commit keeps the redo history and fires nothing",
         [](fixture& f) {
             f.doc.insert(0, "a");
             f.m().undo();
             f.m().startTransaction();
             f.m().commitTransaction();
         },
         "", false, true, 1},
        {"commit and rollback without a transaction do nothing",
         [](fixture& f) {
             f.doc.insert(0, "a");
             f.m().commitTransaction();
             f.m().rollbackTransaction();
         },
         "a", true, false, 1},
        {"rollback of the outer transaction reverses it with an event",
         [](fixture& f) {
             f.doc.insert(0, "a");
             f.m().startTransaction();
             f.doc.insert(1, "bc");
             f.doc.erase(0, 1);
             f.m().rollbackTransaction();
         },
         "a", true, false, 2},
        {"rollback of a nested transaction reverses only it, without an event",
         [](fixture& f) {
             f.m().startTransaction();
             f.doc.insert(0, "a");
             f.m().startTransaction();
             f.doc.insert(1, "b");
             f.m().rollbackTransaction();
             f.m().commitTransaction();
         },
         "a", true, false, 1},
        {"rollback keeps the redo history of a transaction that registered nothing",
         [](fixture& f) {
             f.doc.insert(0, "a");
             f.m().undo();
             f.m().startTransaction();
             f.m().rollbackTransaction();
         },
         "", false, true, 2},
        {"the first change of a transaction clears the redo history, rollback or not",
         [](fixture& f) {
             f.doc.insert(0, "a");
             f.m().undo();
             f.m().startTransaction();
             f.doc.insert(0, "x");
             f.m().rollbackTransaction();
         },
         "", false, false, 2},
        {"undo with two open levels rolls both back, histories untouched",
         [](fixture& f) {
             f.doc.insert(0, "a");
             f.doc.insert(1, "b");
             f.m().undo();
             f.m().startTransaction();
             f.doc.insert(1, "c");
             f.m().startTransaction();
             f.doc.insert(2, "d");
             f.m().undo();
         },
         "a", true, false, 3},
        {"redo in an open transaction also only abandons it",
         [](fixture& f) {
             f.m().startTransaction();
             f.doc.insert(0, "a");
             f.m().redo();
             f.m().redo();
         },
         "", false, false, 1},
        {"clear drops everything and fires nothing",
         [](fixture& f) {
             f.doc.insert(0, "a");
             f.doc.insert(1, "b");
             f.m().undo();
             f.m().startTransaction();
             f.doc.insert(0, "x");
             f.m().clear();
             f.m().commitTransaction();
         },
         "xa", false, false, 2},
    });
}

// A modification that registers nothing when it is applied.
class silent : public vx::iModification {
public:
    explicit silent(int& applied) : mApplied(applied) {}
    void apply() override { ++mApplied; }
    bool merge(const vx::sharedPtr<vx::iModification>&) override { return false; }

private:
    int& mApplied;
};

TEST(undoManager, undoOfChangesThatRegisterNothing) {
    auto manager = vx::undoManager::create();
    int applied = 0;
    manager->registerModification(vx::sharedPtr<vx::iModification>(new silent(applied)));
    manager->undo();
    EXPECT_EQ(applied, 1);
    EXPECT_FALSE(manager->canUndo());
    EXPECT_FALSE(manager->canRedo()); // the empty transaction was dropped
}

TEST(undoManager, merging) {
    check({
        {"merged typing is one change, undone at once",
         [](fixture& f) {
             f.doc.mergeTyping = true;
             f.m().startTransaction();
             f.doc.insert(0, "a");
             f.doc.insert(1, "b");
             f.doc.insert(2, "c");
             f.m().commitTransaction();
             f.m().undo();
         },
         "", false, true, 1},
        {"a nested commit merges into the parent",
         [](fixture& f) {
             f.doc.mergeTyping = true;
             f.m().startTransaction();
             f.doc.insert(0, "a");
             f.m().startTransaction();
             f.doc.insert(1, "b");
             f.m().commitTransaction();
             f.m().commitTransaction();
             f.m().undo();
         },
         "", false, true, 1},
    });
    // How many modifications remained is seen in how many apply calls one undo makes.
    const struct {
        bool merge;
        int applied;
    } counts[] = {{true, 1}, {false, 3}};
    for (const auto& c : counts) {
        document doc;
        doc.mergeTyping = c.merge;
        doc.manager->startTransaction();
        doc.insert(0, "a");
        doc.manager->startTransaction();
        doc.insert(1, "b");
        doc.manager->commitTransaction();
        doc.insert(2, "c");
        doc.manager->commitTransaction();
        doc.manager->undo();
        EXPECT_EQ(doc.applied, c.applied) << c.merge;
        EXPECT_EQ(doc.text, "");
    }
}

TEST(undoManager, stepLimit) {
    const auto three = [](fixture& f) {
        f.doc.insert(0, "a");
        f.doc.insert(1, "b");
        f.doc.insert(2, "c");
    };
    const auto undoAll = [](fixture& f) {
        for (int i = 0; i < 5; ++i)
            f.m().undo();
    };
    check({
        {"max 2 and three commits: the oldest is gone",
         [&](fixture& f) {
             f.m().setMaxNumberOfUndoSteps(2);
             three(f);
             undoAll(f);
         },
         "a", false, true, 3},
        {"setting the limit trims at once",
         [&](fixture& f) {
             three(f);
             f.m().setMaxNumberOfUndoSteps(1);
             undoAll(f);
         },
         "ab", false, true, 3},
        {"0 with a redo history leaves the undo history",
         [&](fixture& f) {
             three(f);
             f.m().undo();
             f.m().setMaxNumberOfUndoSteps(0);
             undoAll(f);
         },
         "", false, true, 3},
        {"0 empties the undo history once nothing can be redone",
         [&](fixture& f) {
             three(f);
             f.m().setMaxNumberOfUndoSteps(0);
         },
         "abc", false, false, 3},
    });
    auto manager = vx::undoManager::create();
    EXPECT_EQ(manager->maxNumberOfUndoSteps(), 4294967295u);
    manager->setMaxNumberOfUndoSteps(7);
    EXPECT_EQ(manager->maxNumberOfUndoSteps(), 7u);
}

// An apply that throws leaves the manager mid-undo; clear makes it usable again.
class throwing : public vx::iModification {
public:
    void apply() override { throw std::runtime_error("apply failed"); }
    bool merge(const vx::sharedPtr<vx::iModification>&) override { return false; }
};

TEST(undoManager, failures) {
    document doc;
    doc.manager->registerModification(vx::sharedPtr<vx::iModification>(new throwing));
    EXPECT_THROW(doc.manager->undo(), std::runtime_error);
    doc.insert(0, "a"); // still counted as part of the undo: the redo history is kept
    EXPECT_FALSE(doc.manager->canUndo());
    doc.manager->clear();
    doc.insert(0, "b");
    EXPECT_TRUE(doc.manager->canUndo());
    doc.manager->undo();
    EXPECT_TRUE(doc.manager->canRedo());

    // A null change is caught by the shared pointer's check once a later one is offered to it.
    auto manager = vx::undoManager::create();
    manager->startTransaction();
    manager->registerModification(vx::sharedPtr<vx::iModification>());
    const std::wstring text = vxtest::failedAssertion(
        [&] { manager->registerModification(vx::sharedPtr<vx::iModification>(new throwing)); });
    EXPECT_NE(text.find(L"m_p != nullptr"), std::wstring::npos) << vxtest::show(text);
}

TEST(undoManager, traces) {
    vxtest::logHome home(vxtest::logConfig("enabled=\"true\" level=\"trace\"", "", "format=\"%m\""));
    document doc;
    doc.manager->commitTransaction();
    doc.manager->rollbackTransaction();
    doc.insert(0, "a");
    doc.manager->startTransaction();
    doc.manager->startTransaction();
    doc.manager->commitTransaction();
    doc.manager->rollbackTransaction();
    doc.manager->startTransaction();
    doc.manager->startTransaction();
    doc.manager->rollbackTransaction();
    doc.manager->commitTransaction();
    doc.manager->undo();
    const std::vector<std::string> expected = {
        "Current transaction not available for commit.",
        "Current transaction not available for rollback.",
        "Start new transaction",
        "Commit as undo operation.",
        "Start new transaction",
        "Start new nested transaction",
        "Call commit for nested transaction.",
        "Call rollback for current transaction.",
        "Start new transaction",
        "Start new nested transaction",
        "Call rollback for nested transaction.",
        "No modifications - Commit not needed.",
        "Start new transaction",
        "Commit as redo operation.",
    };
    EXPECT_EQ(home.lines(1), expected);
}

} // namespace
