// Loggers and the log line.
//
// Every component asks the log manager (vxLogManager.h) for a named logger. A logger decides
// whether a message passes; a message that passes becomes one line of the process's current log
// file, and may carry an attached object that is written to a file of its own beside the log.
// Logging is off unless a ".logcfg" switches it on, and no failure of logging reaches the caller.
#pragma once

#include "vxDirectory.h"
#include "vxExport.h"
#include "vxFile.h"
#include "vxObserver.h"
#include "vxRefPtr.h"
#include "vxString.h"

#include <atomic>
#include <cstdint>

namespace vxlog {

// A higher value is a more important message.
enum logLevel : std::int32_t {
    none = 0,
    trace = 1,
    debug = 2,
    info = 3,
    ui = 4, // messages for the user
};

// An object written to a file of its own when a line that carries it passes.
class iLogObj : public vx::iObservable {
public:
    // Ends the object; called when its last reference goes.
    virtual void destroyObject() = 0;
    // Writes the object to target.
    virtual void doWrite(vx::file& target) = 0;
    // Where the object goes, relative to the process's log folder.
    virtual vx::string relFilePath() const = 0;

protected:
    ~iLogObj() = default;
};

// The event a logObj fires to be written; its parameters are a logWriteParams and its text the
// target's full name.
constexpr int kLogObjWriteEvent = 512;

class VX_API logWriteParams : public vx::iEventParams {
public:
    explicit logWriteParams(vx::file& target) : mTarget(target) {}
    vx::file& target() const { return mTarget; }

private:
    vx::file& mTarget;
};

// An attached object that writes nothing itself: doWrite fires kLogObjWriteEvent, so an observer
// of the object does the writing.
class VX_API logObj : public vx::observableObject<iLogObj> {
public:
    // Null when the object cannot be allocated.
    static logObj* create(vx::string& relFilePath);

    void deleteThis() override { destroyObject(); }

    void destroyObject() override;
    void doWrite(vx::file& target) override;
    vx::string relFilePath() const override;

protected:
    explicit logObj(const vx::string& relFilePath);
    ~logObj() override;

private:
    vx::string mRelFilePath;
};

// An attached text, written to its file as UTF-8.
class VX_API logStringToTxt : public logObj {
public:
    // flag is kept with the object (flag()) for its owner; writing does not use it.
    static vx::refPtr<iLogObj> create(const vx::string& relFilePath, vx::string& text, bool flag);

    void destroyObject() override;
    // Replaces target, creating its folder if it is missing.
    void doWrite(vx::file& target) override;

    const vx::string& text() const { return mText; }
    bool flag() const { return mFlag; }

protected:
    logStringToTxt(const vx::string& relFilePath, const vx::string& text, bool flag);
    ~logStringToTxt() override;

private:
    vx::string mText;
    bool mFlag;
};

class VX_API logger : public vx::iRefObj, public vx::refObj {
public:
    // Null when the logger cannot be allocated.
    static vx::refPtr<logger> create(const vx::string& id, bool enabled, logLevel level);

    unsigned long getRefCount() const override { return refObj::getRefCount(); }
    unsigned long addRef() override { return refObj::addRef(); }
    unsigned long release() override { return refObj::release(); }
    void deleteThis() override;

    // The name; change it only while no other thread uses the logger.
    vx::string id() const;
    void setId(vx::string id);
    // Level and switch may change at any time, from any thread; the next message sees them.
    logLevel level() const { return mLevel.load(std::memory_order_relaxed); }
    void setLevel(logLevel level) { mLevel.store(level, std::memory_order_relaxed); }
    bool isEnabled() const { return mEnabled.load(std::memory_order_relaxed); }
    void setEnabled(bool enabled) { mEnabled.store(enabled, std::memory_order_relaxed); }

    // A name, logging on (the root logger enabled), this logger enabled, its level not none and
    // not above requested. The logger's own switch and level are looked at first, since they
    // cost least; the answer is the same in any order.
    bool isLoggingAllowed(logLevel requested) const {
        const logLevel own = level();
        return isEnabled() && own != none && own <= requested && !mId.empty() && rootEnabled();
    }
    // Whether the root logger exists and is enabled.
    static bool rootEnabled();

    // The narrow forms convert their texts (fromMBCtoWC) only once the message has passed; a
    // null text counts as empty.
    void log_trace(const vx::string& message, const vx::string& file, long line, const vx::string& context,
                   vx::refPtr<iLogObj> object = nullptr) {
        logAt(trace, message, file, line, context, object);
    }
    void log_trace(const vx::string& message, const char* file, long line, const char* context,
                   vx::refPtr<iLogObj> object = nullptr) {
        logAt(trace, message, file, line, context, object);
    }
    void log_debug(const vx::string& message, const vx::string& file, long line, const vx::string& context,
                   vx::refPtr<iLogObj> object = nullptr) {
        logAt(debug, message, file, line, context, object);
    }
    void log_debug(const vx::string& message, const char* file, long line, const char* context,
                   vx::refPtr<iLogObj> object = nullptr) {
        logAt(debug, message, file, line, context, object);
    }
    void log_info(const vx::string& message, const vx::string& file, long line, const vx::string& context,
                   vx::refPtr<iLogObj> object = nullptr) {
        logAt(info, message, file, line, context, object);
    }
    void log_info(const vx::string& message, const char* file, long line, const char* context,
                   vx::refPtr<iLogObj> object = nullptr) {
        logAt(info, message, file, line, context, object);
    }
    void log_ui(const vx::string& message, const vx::string& file, long line, const vx::string& context,
                   vx::refPtr<iLogObj> object = nullptr) {
        logAt(ui, message, file, line, context, object);
    }
    void log_ui(const vx::string& message, const char* file, long line, const char* context,
                   vx::refPtr<iLogObj> object = nullptr) {
        logAt(ui, message, file, line, context, object);
    }

protected:
    logger(const vx::string& id, bool enabled, logLevel level);
    ~logger() override;

private:
    // The test first, inline: a message that does not pass costs nothing more.
    void logAt(logLevel level, const vx::string& message, const vx::string& file, long line,
               const vx::string& context, const vx::refPtr<iLogObj>& object) {
        if (isLoggingAllowed(level))
            write(level, message, file, line, context, object);
    }
    void logAt(logLevel level, const vx::string& message, const char* file, long line, const char* context,
               const vx::refPtr<iLogObj>& object) {
        if (isLoggingAllowed(level))
            logNarrow(level, message, file, line, context, object);
    }
    void logNarrow(logLevel level, const vx::string& message, const char* file, long line, const char* context,
                   const vx::refPtr<iLogObj>& object);
    void write(logLevel level, const vx::string& message, const vx::string& file, long line,
               const vx::string& context, const vx::refPtr<iLogObj>& object) noexcept;

    vx::string mId;
    std::atomic<logLevel> mLevel;
    std::atomic<bool> mEnabled;
};

// Texts, formats, names and folders of logging.
class VX_API logUtils {
public:
    // "<%s> [PID %p] [TID %t] (%l) {%f, L %r, %c} - %m %o"
    static vx::string defaultFormatSpecifier();
    static logLevel defaultLogLevel(); // none
    // "none", "trace", "debug", "info", "ui" in any case; anything else is none.
    static logLevel getLogLevelFromString(const vx::string& text);
    // The level's text; "none" for a value that is no level.
    static vx::string getStringFromLogLevel(logLevel level);
    // text as a column of width characters: padded with blanks on the right, or cut to its first
    // (keepTail false) or last (keepTail true) width characters.
    static vx::string scaleString(const vx::string& text, std::uint64_t width, bool keepTail);
    // The line: format with %s %p %t %l %f %r %c %o %m filled in, the first seven scaled to their
    // columns. Brackets and angle brackets of the format survive the message engine.
    static vx::string getFormattedLogMessage(const vx::string& format, const vx::string& timestamp,
                                             const vx::string& processId, const vx::string& threadId,
                                             const vx::string& level, const vx::string& file,
                                             const vx::string& line, const vx::string& context,
                                             const vx::string& object, const vx::string& message);

    // The name set with setModuleName, else the executable's name without extension and without
    // ".vshost".
    static vx::string moduleName();
    static void setModuleName(const vx::string& name);
    // "Velmora\<module>" below the user's home folder; empty for an empty module name.
    static vx::directory logAppDir();
    static vx::directory logAppDir(vx::string& module);
    // logAppDir plus the process id in decimal, created with its parents if it is missing.
    static vx::directory outputDir();
    static vx::directory outputDir(vx::string& module);
    // "<module>_<index>.log" in outputDir.
    static vx::file outputPath(unsigned index);
    static vx::file outputPath(unsigned index, vx::string& module);
    // "<module>.logcfg" beside the executable (module without ".vshost").
    static vx::file configPath(vx::string& module);
    // Whether "<module>.logcfg" exists in logAppDir.
    static bool locCfgExists();
};

} // namespace vxlog
