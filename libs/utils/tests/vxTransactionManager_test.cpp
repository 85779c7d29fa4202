#include "logTestSupport.h"
#include "testSupport.h"
#include "vxTransactionManager.h"

#include <gtest/gtest.h>

#include <cctype>
#include <sstream>
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

// Runs a script of one-letter steps on a document: "i<pos><text>" inserts, "e<pos>" erases one
// character, S starts, C commits, R rolls back, u undoes, r redoes, x clears, "m<n>" sets the
// step limit, M merges typing; steps are separated by blanks.
void play(document& doc, const std::string& script) {
    std::istringstream in(script);
    for (std::string step; in >> step;) {
        const std::size_t at = step.size() > 1 && std::isdigit(static_cast<unsigned char>(step[1])) ? step[1] - '0' : 0;
        switch (step[0]) {
        case 'i': doc.insert(at, step.substr(2)); break;
        case 'e': doc.erase(at, 1); break;
        case 'S': doc.manager->startTransaction(); break;
        case 'C': doc.manager->commitTransaction(); break;
        case 'R': doc.manager->rollbackTransaction(); break;
        case 'u': doc.manager->undo(); break;
        case 'r': doc.manager->redo(); break;
        case 'x': doc.manager->clear(); break;
        case 'm': doc.manager->setMaxNumberOfUndoSteps(static_cast<unsigned>(std::stoul(step.substr(1)))); break;
        case 'M': doc.mergeTyping = true; break;
        default: FAIL() << "bad step " << step;
        }
    }
}

TEST(undoManager, histories) {
    const struct {
        const char* what;
        const char* script;
        const char* text;
        bool canUndo, canRedo;
        int events, applied; // events fired; apply calls made
    } rows[] = {
        {"a change without a transaction is one step at once", "i0ab", "ab", true, false, 1, 0},
        {"undo files a redo step and fires nothing", "i0ab u", "", false, true, 1, 1},
        {"redo brings it back with an event", "i0ab u r", "ab", true, false, 2, 2},
        {"undo goes back a step at a time", "i0a i1b i2c u u", "a", true, true, 3, 2},
        {"two undo and one redo: no redo is left", "i0a i1b u u r", "a", true, false, 3, 3},
        {"a new change clears the redo history", "i0a u i0x", "x", true, false, 2, 1},
        {"undo and redo of nothing", "u r", "", false, false, 0, 0},
        {"a transaction is one step, reversed last first", "S i0abc e1 i2d C u", "", false, true, 1, 3},
        {"nested commits make one step", "S i0a S i1b S i2c C C C u", "", false, true, 1, 3},
        {"an outer commit with a nested level open commits that level", "S i0a S i1b C", "ab", false, false, 0, 0},
        {"an empty commit keeps the redo history, no event", "i0a u S C", "", false, true, 1, 1},
        {"commit and rollback with nothing open", "i0a C R", "a", true, false, 1, 0},
        {"rollback of the outermost reverses it, with an event", "i0a S i1bc e0 R", "a", true, false, 2, 2},
        {"rollback of a nested level only, no event", "S i0a S i1b R C", "a", true, false, 1, 1},
        {"a rollback with nothing registered keeps the redo history", "i0a u S R", "", false, true, 2, 1},
        {"a rolled back change still cleared the redo history", "i0a u S i0x R", "", false, false, 2, 2},
        {"undo in two open levels rolls both back only", "i0a i1b u S i1c S i2d u", "a", true, false, 3, 3},
        {"redo in an open transaction abandons it too", "S i0a r r", "", false, false, 1, 1},
        {"clear drops everything, no event", "i0a i1b u S i0x x C", "xa", false, false, 2, 1},
        {"merged typing is one change", "M S i0a i1b i2c C u", "", false, true, 1, 1},
        {"a nested commit merges into its parent", "M S i0a S i1b C i2c C u", "", false, true, 1, 1},
        {"without merging each change is applied", "S i0a S i1b C i2c C u", "", false, true, 1, 3},
        {"limit 2, three steps: the oldest is gone", "m2 i0a i1b i2c u u u", "a", false, true, 3, 2},
        {"setting the limit trims at once", "i0a i1b i2c m1 u u", "ab", false, true, 3, 1},
        {"limit 0 waits while there is a redo history", "i0a i1b i2c u m0 u u u", "", false, true, 3, 3},
        {"limit 0 empties the undo history", "i0a i1b i2c m0", "abc", false, false, 3, 0},
    };
    for (const auto& r : rows) {
        document doc;
        vx::refPtr<eventCounter> events(new eventCounter);
        events->expectedSender = static_cast<vx::iObservable*>(doc.manager.get());
        doc.manager->addObserver(events);
        play(doc, r.script);
        EXPECT_EQ(doc.text, r.text) << r.what;
        EXPECT_EQ(doc.manager->canUndo(), r.canUndo) << r.what;
        EXPECT_EQ(doc.manager->canRedo(), r.canRedo) << r.what;
        EXPECT_EQ(events->count, r.events) << r.what;
        EXPECT_EQ(doc.applied, r.applied) << r.what;
    }
    auto manager = vx::undoManager::create();
    EXPECT_EQ(manager->maxNumberOfUndoSteps(), 4294967295u);
    manager->setMaxNumberOfUndoSteps(7);
    EXPECT_EQ(manager->maxNumberOfUndoSteps(), 7u);
}

// A change that registers nothing when it is applied, or throws.
class foreign : public vx::iModification {
public:
    explicit foreign(int* applied) : mApplied(applied) {}
    void apply() override {
        if (!mApplied)
            throw std::runtime_error("apply failed");
        ++*mApplied;
    }
    bool merge(const vx::sharedPtr<vx::iModification>&) override { return false; }

private:
    int* mApplied;
};

TEST(undoManager, changesOfTheirOwn) {
    // An undo whose changes register nothing files no redo step.
    auto manager = vx::undoManager::create();
    int applied = 0;
    manager->registerModification(vx::sharedPtr<vx::iModification>(new foreign(&applied)));
    manager->undo();
    EXPECT_EQ(applied, 1);
    EXPECT_FALSE(manager->canUndo() || manager->canRedo());

    // An apply that throws leaves the manager mid-undo; clear makes it usable again.
    document doc;
    doc.manager->registerModification(vx::sharedPtr<vx::iModification>(new foreign(nullptr)));
    EXPECT_THROW(doc.manager->undo(), std::runtime_error);
    doc.insert(0, "a"); // still counted as part of the undo: the redo history is kept
    EXPECT_FALSE(doc.manager->canUndo());
    doc.manager->clear();
    doc.insert(0, "b");
    EXPECT_TRUE(doc.manager->canUndo());
    doc.manager->undo();
    EXPECT_TRUE(doc.manager->canRedo());

    // A null change is caught by the shared pointer's check once a later one is offered to it.
    manager = vx::undoManager::create();
    manager->startTransaction();
    manager->registerModification(vx::sharedPtr<vx::iModification>());
    const std::wstring text = vxtest::failedAssertion(
        [&] { manager->registerModification(vx::sharedPtr<vx::iModification>(new foreign(nullptr))); });
    EXPECT_NE(text.find(L"m_p != nullptr"), std::wstring::npos) << vxtest::show(text);
}

TEST(undoManager, traces) {
    vxtest::logHome home(vxtest::logConfig("enabled=\"true\" level=\"trace\"", "", "format=\"%m\""));
    document doc;
    play(doc, "C R i0a S S C R S S R C u");
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

// Each operation traces through its own logger, at trace level: switching one logger on shows
// that operation's lines alone.
TEST(undoManager, tracesByLogger) {
    const struct {
        const char* logger;
        const char* level;
        std::vector<std::string> lines;
    } rows[] = {
        {"vx.undoManager.startTransaction", "trace",
         {"Start new transaction", "Start new transaction", "Start new nested transaction"}},
        {"vx.undoManager.commitTransaction", "trace",
         {"Current transaction not available for commit.", "Commit as undo operation.",
          "Call commit for nested transaction."}},
        {"vx.undoManager.rollbackTransaction", "trace",
         {"Current transaction not available for rollback.", "Call rollback for current transaction."}},
        {"vx.undoManager", "debug", {}},
    };
    for (const auto& r : rows) {
        vxtest::logHome home(vxtest::logConfig("enabled=\"true\" level=\"none\"",
                                               std::string("<") + r.logger + " enabled=\"true\" level=\"" + r.level +
                                                   "\"/>",
                                               "format=\"%m\""));
        document doc;
        play(doc, "C R i0a S S C R");
        EXPECT_EQ(home.lines(1), r.lines) << r.logger;
    }
}

} // namespace
