// The process-wide state of logging, shared by the loggers and the manager (internal).
#pragma once

#include "vxLogManager.h"
#include "vxLogger.h"
#include "vxMutex.h"
#include "platform/files.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace vxlog::detail {

struct logState {
    // True at start, so that the first getLogger reaches the start-up.
    std::atomic<bool> active{true};
    std::atomic<bool> started{false};
    std::atomic<bool> startFailed{false};
    std::mutex startLock;

    // The root logger as the message path reads it, without a lock; rootHolder owns it. A
    // replaced root stays alive in retiredRoots, since a message may still be reading it.
    std::atomic<logger*> root{nullptr};
    vx::refPtr<logger> rootHolder;
    std::vector<vx::refPtr<logger>> retiredRoots;
    // Handed out while logging is inactive.
    vx::refPtr<logger> disabled = logger::create(L"disabled", false, none);

    // The manager's mutex guards the two tables and the root.
    mutable std::mutex managerLock;
    logManager::classTable classes;
    logManager::classTable resolved;

    std::shared_ptr<logSettings> settings = std::make_shared<logSettings>();
    // Serialises writing: objects and lines. Taken before the settings lock.
    vx::mutex fileLock;
    // The file of the ring that lines go to, kept open between lines (guarded by fileLock), and
    // the settings and ring index it was opened for: a roll, a reload or a reset opens anew.
    vx::platform::fileHandle lineFile;
    std::shared_ptr<logSettings> lineSettings;
    unsigned lineIndex = 0;

    std::mutex nameLock; // guards the two texts below
    vx::string module;   // set by setModuleName, else found once
    bool moduleKnown = false;
    vx::string home; // a test's home folder; empty: the user's
};

// Made on first use and never destroyed, so that logging from static destructors stays safe.
logState& state();

// Sets the root logger (null: none). The caller holds managerLock.
void setRoot(const vx::refPtr<logger>& root);

// The one-time start-up of the manager; false when it failed.
void ensureStarted();

// The file of the ring for index, without creating any folder.
vx::file ringFile(unsigned index);

} // namespace vxlog::detail
