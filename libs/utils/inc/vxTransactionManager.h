// Undo transactions.
//
// An application describes each change of its document as an iModification and registers it with
// an undoManager. Changes registered between startTransaction and commitTransaction form one step
// of the undo history; transactions nest, and a nested commit hands its changes up to the
// transaction around it. Reversing a change makes the application register the opposite change,
// and that is how the redo history comes about:
//
//     class insertion : public vx::iModification {
//         void apply() override { document.erase(at); manager->registerModification(erasure(at)); }
//         ...
//     };
//
// The manager fires kUndoManagerEvent to its observers after a commit into the undo history and
// after the rollback of an outermost transaction, and nowhere else: an undo commits into the redo
// history and so fires nothing (unless it abandons an open transaction). Observers that show
// canUndo() must allow for that.
//
// Each of startTransaction, commitTransaction and rollbackTransaction traces at trace level
// through a logger named after it ("vx::undoManager::startTransaction" ...).
//
// Nothing here is locked: a manager belongs to one thread, the application's main thread.
#pragma once

#include "vxExport.h"
#include "vxObserver.h"
#include "vxRefPtr.h"
#include "vxSharedPtr.h"

#include <cstdint>
#include <list>

namespace vx {

// The event of an undoManager; sender is the manager, text and parameters are null.
constexpr int kUndoManagerEvent = 10000;

// One reversible change, supplied by the application.
class VX_API iModification {
public:
    virtual ~iModification();
    // Reverses the recorded change (and registers the opposite one, so that it can be redone).
    virtual void apply() = 0;
    // Offered each newly registered change of the same transaction: true means this one has
    // absorbed it, and the new one is not added.
    virtual bool merge(const sharedPtr<iModification>& next) = 0;
};

class VX_API undoManager : public observableObject<> {
public:
    static refPtr<undoManager> create();

    void deleteThis() override { delete this; }

    // Opens a transaction; inside an open one it opens a nested one.
    void startTransaction();
    // Closes the innermost transaction: a nested one hands its changes to its parent (offering
    // each to merge), the outermost one becomes a history step, or is dropped when it holds
    // nothing. Without an open transaction it only traces.
    void commitTransaction();
    // Reverses and drops the innermost transaction; what apply registers meanwhile is ignored.
    void rollbackTransaction();
    // Records a change in the open transaction, or as a history step of its own. Outside undo and
    // redo it clears the redo history. Ignored while a rollback runs. A null change fails the
    // shared pointer's check when it is merged or applied.
    void registerModification(const sharedPtr<iModification>& modification);

    // Reverses the newest undo step, which files what apply registers as a redo step. Inside an
    // open transaction it only abandons every open level (rolled back, histories untouched).
    void undo();
    // Reverses the newest redo step, which files what apply registers as an undo step: that
    // commit clears the redo history, so one redo discards any further redo steps.
    void redo();
    // Whether the history holds a step; an open transaction does not count.
    bool canUndo() const;
    bool canRedo() const;
    // Drops the open transaction and both histories without applying anything, and clears the
    // state (also after an apply that threw). Fires nothing.
    void clear();

    // At most this many undo steps are kept (default 4294967295). Setting it trims at once, but
    // trimming waits while the redo history is not empty.
    unsigned int maxNumberOfUndoSteps() const;
    void setMaxNumberOfUndoSteps(unsigned int steps);

    undoManager(const undoManager&) = delete;
    undoManager& operator=(const undoManager&) = delete;

private:
    struct transaction;
    using transactionPtr = sharedPtr<transaction>;

    undoManager();
    ~undoManager() override;

    static void add(transaction& outer, const sharedPtr<iModification>& modification);
    static transaction& innermost(transaction& outer);
    void reverse(transaction& outer);
    void trim();
    void replay(std::list<transactionPtr>& history, std::uint8_t bit);
    void changed();

    std::list<transactionPtr> mUndoHistory; // oldest first
    std::list<transactionPtr> mRedoHistory; // newest last
    transactionPtr mCurrent;                // the outermost open transaction
    std::uint8_t mState;                    // 1 undo, 2 redo, 4 rollback in progress
    std::uint32_t mMaxSteps;
};

} // namespace vx
