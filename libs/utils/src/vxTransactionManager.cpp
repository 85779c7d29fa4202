#include "vxTransactionManager.h"

#include "vxLogManager.h"

#include <vector>

namespace vx {

namespace {

constexpr std::uint8_t kUndoing = 1, kRedoing = 2, kRollingBack = 4;

void trace(const char* operation, const char* loggerName, const wchar_t* text) {
    vxlog::logManager::getLogger(loggerName)->log_trace(text, __FILE__, __LINE__, operation);
}

void traceStart(const wchar_t* text) {
    trace("startTransaction", "vx::undoManager::startTransaction", text);
}
void traceCommit(const wchar_t* text) {
    trace("commitTransaction", "vx::undoManager::commitTransaction", text);
}
void traceRollback(const wchar_t* text) {
    trace("rollbackTransaction", "vx::undoManager::rollbackTransaction", text);
}

} // namespace

iModification::~iModification() = default;

struct undoManager::transaction {
    std::vector<sharedPtr<iModification>> modifications; // in order of registration
    transactionPtr nested;                               // the open inner transaction, or null
};

undoManager::undoManager() : mState(0), mMaxSteps(0xFFFFFFFFu) {}

undoManager::~undoManager() = default;

refPtr<undoManager> undoManager::create() {
    return refPtr<undoManager>(new undoManager);
}

undoManager::transaction& undoManager::innermost(transaction& outer) {
    transaction* t = &outer;
    while (t->nested)
        t = t->nested.get();
    return *t;
}

void undoManager::add(transaction& outer, const sharedPtr<iModification>& modification) {
    transaction& target = innermost(outer);
    for (const auto& existing : target.modifications)
        if (existing->merge(modification))
            return;
    target.modifications.push_back(modification);
}

void undoManager::reverse(transaction& outer) {
    transaction* parent = nullptr;
    transaction* t = &outer;
    while (t->nested) {
        parent = t;
        t = t->nested.get();
    }
    // Kept alive while its changes run: apply may reach back into the manager.
    const transactionPtr keep = parent ? parent->nested : transactionPtr();
    for (auto it = t->modifications.rbegin(); it != t->modifications.rend(); ++it)
        (*it)->apply();
    t->modifications.clear();
    if (parent)
        parent->nested = nullptr;
}

void undoManager::startTransaction() {
    if (!mCurrent) {
        traceStart(L"Start new transaction");
        mCurrent = transactionPtr(new transaction);
    } else {
        traceStart(L"Start new nested transaction");
        innermost(*mCurrent).nested = transactionPtr(new transaction);
    }
}

void undoManager::commitTransaction() {
    if (!mCurrent) {
        traceCommit(L"Current transaction not available for commit.");
        return;
    }
    if (mCurrent->nested) {
        traceCommit(L"Call commit for nested transaction.");
        transaction* parent = mCurrent.get();
        while (parent->nested->nested)
            parent = parent->nested.get();
        const transactionPtr inner = parent->nested;
        parent->nested = nullptr;
        for (const auto& modification : inner->modifications)
            add(*parent, modification);
        return;
    }
    const transactionPtr done = mCurrent;
    if (done->modifications.empty()) {
        traceCommit(L"No modifications - Commit not needed.");
    } else if (!(mState & kUndoing)) {
        traceCommit(L"Commit as undo operation.");
        mUndoHistory.push_back(done);
        mRedoHistory.clear();
        trim();
        mCurrent = nullptr;
        changed();
        return;
    } else {
        traceCommit(L"Commit as redo operation.");
        mRedoHistory.push_back(done);
    }
    mCurrent = nullptr;
}

void undoManager::rollbackTransaction() {
    if (!mCurrent) {
        traceRollback(L"Current transaction not available for rollback.");
        return;
    }
    if (!mCurrent->nested) {
        traceRollback(L"Call rollback for current transaction.");
        mState |= kRollingBack;
        const transactionPtr rolledBack = mCurrent;
        reverse(*rolledBack);
        mCurrent = nullptr;
        mState &= static_cast<std::uint8_t>(~kRollingBack);
        changed();
        return;
    }
    traceRollback(L"Call rollback for nested transaction.");
    mState |= kRollingBack;
    const transactionPtr outer = mCurrent;
    reverse(*outer);
    mState &= static_cast<std::uint8_t>(~kRollingBack);
}

void undoManager::registerModification(const sharedPtr<iModification>& modification) {
    if (mState & kRollingBack)
        return;
    if (!(mState & (kUndoing | kRedoing)))
        mRedoHistory.clear();
    if (mCurrent) {
        add(*mCurrent, modification);
        return;
    }
    startTransaction();
    add(*mCurrent, modification);
    commitTransaction();
}

void undoManager::replay(std::list<transactionPtr>& history, std::uint8_t bit) {
    if (mCurrent) {
        while (mCurrent)
            rollbackTransaction();
        return;
    }
    if (history.empty())
        return;
    mState |= bit;
    startTransaction();
    const transactionPtr step = history.back();
    history.pop_back();
    reverse(*step);
    commitTransaction();
    mState = 0;
}

void undoManager::undo() {
    replay(mUndoHistory, kUndoing);
}

void undoManager::redo() {
    replay(mRedoHistory, kRedoing);
}

bool undoManager::canUndo() const {
    return !mUndoHistory.empty();
}

bool undoManager::canRedo() const {
    return !mRedoHistory.empty();
}

void undoManager::clear() {
    mCurrent = nullptr;
    mUndoHistory.clear();
    mRedoHistory.clear();
    mState = 0;
}

unsigned int undoManager::maxNumberOfUndoSteps() const {
    return mMaxSteps;
}

void undoManager::setMaxNumberOfUndoSteps(unsigned int steps) {
    mMaxSteps = steps;
    trim();
}

void undoManager::trim() {
    if (!mRedoHistory.empty())
        return;
    while (mUndoHistory.size() > mMaxSteps)
        mUndoHistory.pop_front();
}

void undoManager::changed() {
    fireEvent(kUndoManagerEvent, this, nullptr, nullptr);
}

} // namespace vx
