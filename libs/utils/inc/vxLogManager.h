// The log manager and the rolling log files.
//
// logManager hands out loggers by name from "<module>.logcfg" in the module's log folder
// ("Velmora\<module>" below the user's home folder), a file the user may edit. logSettings owns
// the ring of log files "<module>_<n>.log" in a folder named after the process id. A process
// without a configuration creates no folder and pays one flag test per getLogger and message.
//
// Locks: the log-file lock is taken before the settings lock, never the other way round.
#pragma once

#include "vxExport.h"
#include "vxFile.h"
#include "vxLogger.h"
#include "vxRefPtr.h"
#include "vxSharedPtr.h"
#include "vxString.h"

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace vxlog {

// The process-wide rolling log files.
class VX_API logSettings {
public:
    static std::shared_ptr<logSettings> getInstance();

    unsigned maxFileCount() const; // files in the ring; 3
    void setMaxFileCount(unsigned count);
    unsigned long maxFileSize() const; // bytes; a file above this starts the next one; 2000000
    void setMaxFileSize(unsigned long bytes);
    vx::string formatSpecifier() const;
    void setFormatSpecifier(vx::string& format);
    // True when the root logger exists and is enabled.
    bool loggingEnabled() const;

    // The file for the next line: created if missing; when it is larger than maxFileSize the
    // next file of the ring, emptied, takes its place.
    vx::file outputFile();
    // Chooses the newest file of the ring (a tie goes to the higher index).
    void initOutputFile();
    // Removes the folders of processes that no longer run from the module's log folder.
    void clearLogFolder();
    // The index of the current file of the ring.
    unsigned currentIndex() const;

    logSettings();
    logSettings(const logSettings&) = delete;
    logSettings& operator=(const logSettings&) = delete;

private:
    mutable std::mutex mLock;
    unsigned mMaxFileCount;
    unsigned long mMaxFileSize;
    unsigned mIndex;
    vx::string mFormat;
    vx::file mOutput;
};

class VX_API logManager {
public:
    using classTable = std::unordered_map<std::string, vx::refPtr<logger>>;

    // Starts logging once per process: reads the configuration, removes the folders of dead
    // processes and chooses the current log file. A start-up that fails leaves logging off.
    static vx::sharedPtr<logManager> getInstance();
    // The logger for a name: the configured class that is the name's nearest enabled ancestor
    // (components split at "." or "::", case ignored), else the root logger. While logging is
    // inactive, a disabled logger.
    static vx::refPtr<logger> getLogger(const vx::string& name);
    static vx::refPtr<logger> getLogger(const char* name);

    // Null when no configuration gave one.
    vx::refPtr<logger> getRootLogger();
    void setRootLogger(const vx::refPtr<logger>& root);
    // The configured classes by lower-case name; setting them forgets the names resolved so far.
    classTable logClasses() const;
    void setLogClasses(const classTable& classes);
    // Writes the configuration to "<module>.logcfg" in the log folder, and recomputes whether
    // logging is active. A file that cannot be written ends this in silence.
    void saveConfig();
    // Recomputes whether logging is active from the present loggers.
    void checkActivation();
    // Whether logging is active: some logger may pass a message.
    bool isActive() const;
    // Whether the one-time start-up failed (logging then stays off).
    bool startFailed() const;
};

// For tests only: forgets every logger, the settings, the module name and the started state, as
// in a new process, and takes home (unless empty) as the user's home folder. Call it only while
// no other thread logs.
VX_API void resetLogStateForTesting(const vx::string& home);

} // namespace vxlog
