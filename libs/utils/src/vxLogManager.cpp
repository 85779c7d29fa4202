#include "vxLogManager.h"

#include "detail/logState.h"
#include "platform/fileSystem.h"
#include "vxDirectory.h"
#include "vxEnvironment.h"
#include "vxModule.h"
#include "vxXml.h"

#include <algorithm>
#include <cwctype>
#include <string>

namespace vxlog {

namespace detail {

logState& state() {
    static logState* const instance = new logState; // never destroyed: see the header
    return *instance;
}

void setRoot(const vx::refPtr<logger>& root) {
    logState& s = state();
    if (s.rootHolder)
        s.retiredRoots.push_back(s.rootHolder);
    s.rootHolder = root;
    s.root.store(root.get(), std::memory_order_release);
}

} // namespace detail

namespace {

// A ring larger than this is not searched through at start-up in bounded time.
constexpr unsigned kMaxRingFiles = 1000;

vx::string withoutVshost(vx::string name) {
    name.replace(L".vshost", L"");
    return name;
}

// The lower-case name with "::" as ".".
vx::string className(const vx::string& name) {
    vx::string lower = name;
    lower.toLower();
    lower.replace(L"::", L".");
    return lower;
}

bool equalNoCase(const std::string& a, const std::string& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

// A decimal number of 32 bits without sign, or false.
bool parseUnsigned(const vx::string& text, unsigned long& value) {
    if (text.empty() || text.size() > 10)
        return false;
    std::uint64_t n = 0;
    for (const wchar_t c : text) {
        if (c < L'0' || c > L'9')
            return false;
        n = n * 10 + static_cast<std::uint64_t>(c - L'0');
    }
    if (n > 0xFFFFFFFFull)
        return false;
    value = static_cast<unsigned long>(n);
    return true;
}

vx::refPtr<logger> loggerOf(const vx::xmlNode& node, const vx::string& name) {
    vx::string level, enabled;
    node.getAttribute(L"level", level);
    node.getAttribute(L"enabled", enabled);
    return logger::create(name, enabled == L"true", logUtils::getLogLevelFromString(level));
}

bool passes(const vx::refPtr<logger>& l) {
    return l && l->isEnabled() && l->level() != none;
}

// Whether some logger may pass a message. The caller holds the manager's mutex.
bool activation(const detail::logState& s) {
    const vx::refPtr<logger>& root = s.rootHolder;
    if (!root || !root->isEnabled())
        return false;
    if (root->level() != none)
        return true;
    return std::any_of(s.classes.begin(), s.classes.end(), [](const auto& entry) { return passes(entry.second); });
}

vx::file configFile(vx::string& module) {
    const vx::directory folder = logUtils::logAppDir(module);
    return folder.fullName().empty() ? vx::file() : vx::file(folder, module + L".logcfg");
}

// Reads the configuration into the state; the defaults stand for anything missing.
void loadConfig(detail::logState& s) {
    vx::string module = logUtils::moduleName();
    const vx::directory folder = logUtils::logAppDir(module);
    if (folder.fullName().empty() || !folder.exists())
        return;
    const vx::file cfg = configFile(module);
    if (!cfg.exists())
        return;
    vx::refPtr<vx::xmlDocument> doc = vx::xmlDocument::createXmlDocument();
    doc->load(cfg, false);

    logSettings& settings = *s.settings;
    if (vx::const_refPtr<vx::xmlNode> globals = static_cast<const vx::xmlNode&>(*doc).getFirstChildNode(L"globals", true)) {
        vx::string text;
        unsigned long number = 0;
        if (globals->getAttribute(L"maxfilecount", text) && parseUnsigned(text, number))
            settings.setMaxFileCount(static_cast<unsigned>(number));
        if (globals->getAttribute(L"maxfilesize", text) && parseUnsigned(text, number))
            settings.setMaxFileSize(number);
        if (globals->getAttribute(L"format", text))
            settings.setFormatSpecifier(text);
    }
    std::lock_guard<std::mutex> guard(s.managerLock);
    if (vx::const_refPtr<vx::xmlNode> root = static_cast<const vx::xmlNode&>(*doc).getFirstChildNode(L"root", true))
        detail::setRoot(loggerOf(*root, L"root"));
    if (vx::const_refPtr<vx::xmlNode> classes =
            static_cast<const vx::xmlNode&>(*doc).getFirstChildNode(L"classes", true)) {
        for (const auto& child : classes->children()) {
            const vx::string name = className(child->name());
            s.classes[name.getMBCS()] = loggerOf(*child, name);
        }
    }
}

} // namespace

namespace detail {

void ensureStarted() {
    logState& s = state();
    if (s.started.load(std::memory_order_acquire))
        return;
    std::lock_guard<std::mutex> guard(s.startLock);
    if (s.started.load(std::memory_order_relaxed))
        return;
    try {
        loadConfig(s);
        {
            std::lock_guard<std::mutex> tables(s.managerLock);
            s.active.store(activation(s), std::memory_order_release);
        }
        s.settings->clearLogFolder();
        s.settings->initOutputFile();
    } catch (...) {
        // Whatever went wrong (an unreadable or malformed file, no memory), the process runs on
        // without logging rather than ending.
        std::lock_guard<std::mutex> tables(s.managerLock);
        s.classes.clear();
        s.resolved.clear();
        setRoot(nullptr);
        s.active.store(false, std::memory_order_release);
        s.startFailed.store(true, std::memory_order_release);
    }
    s.started.store(true, std::memory_order_release);
}

vx::file ringFile(unsigned index) {
    vx::string module = logUtils::moduleName();
    const vx::directory app = logUtils::logAppDir(module);
    if (app.fullName().empty())
        return vx::file();
    const vx::directory folder(app.fullName(), vx::string(std::to_wstring(vx::getCurrentProcessId())));
    return vx::file(folder, module + L"_" + std::to_wstring(index) + L".log");
}

} // namespace detail

// --- settings ----------------------------------------------------------------------------------

logSettings::logSettings()
    : mMaxFileCount(3), mMaxFileSize(2000000), mIndex(1), mFormat(logUtils::defaultFormatSpecifier()) {}

std::shared_ptr<logSettings> logSettings::getInstance() {
    return detail::state().settings;
}

unsigned logSettings::maxFileCount() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mMaxFileCount;
}

void logSettings::setMaxFileCount(unsigned count) {
    std::lock_guard<std::mutex> guard(mLock);
    mMaxFileCount = std::min(std::max(count, 1u), kMaxRingFiles);
}

unsigned long logSettings::maxFileSize() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mMaxFileSize;
}

void logSettings::setMaxFileSize(unsigned long bytes) {
    std::lock_guard<std::mutex> guard(mLock);
    mMaxFileSize = bytes & 0xFFFFFFFFul;
}

vx::string logSettings::formatSpecifier() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mFormat;
}

void logSettings::setFormatSpecifier(vx::string& format) {
    std::lock_guard<std::mutex> guard(mLock);
    mFormat = format;
}

bool logSettings::loggingEnabled() const {
    return logger::rootEnabled();
}

unsigned logSettings::currentIndex() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mIndex;
}

vx::file logSettings::outputFile() {
    std::lock_guard<std::mutex> guard(mLock);
    if (mOutput.fullName().empty()) {
        mIndex = 1;
        mOutput = detail::ringFile(mIndex);
    }
    // One look at the file per line: whether it is there, and its size.
    vx::platform::fileStatus status;
    if (!vx::platform::statPath(mOutput.fullName(), status) || status.isDirectory) {
        vx::directory folder;
        vx::string drive, name, extension;
        mOutput.getParts(drive, folder, name, extension);
        if (!folder.exists())
            folder.create(true);
        mOutput.create(vx::file::accessWrite);
    } else if (status.size > mMaxFileSize) {
        if (++mIndex > mMaxFileCount)
            mIndex = 1;
        vx::file next = detail::ringFile(mIndex);
        if (next.exists())
            next.remove();
        next.create(vx::file::accessWrite);
        mOutput = next;
    }
    return mOutput;
}

void logSettings::initOutputFile() {
    std::lock_guard<std::mutex> guard(mLock);
    unsigned chosen = 1;
    vx::file chosenFile = detail::ringFile(1);
    for (unsigned index = 2; index <= mMaxFileCount; ++index) {
        const vx::file candidate = detail::ringFile(index);
        if (candidate.exists() && chosenFile.exists() &&
            candidate.lastModificationTime() >= chosenFile.lastModificationTime()) {
            chosen = index;
            chosenFile = candidate;
        }
    }
    mIndex = chosen;
    mOutput = chosenFile;
}

void logSettings::clearLogFolder() {
    std::lock_guard<std::mutex> guard(mLock);
    const vx::directory app = logUtils::logAppDir();
    if (app.fullName().empty() || !app.exists())
        return;
    std::vector<vx::directory> dead;
    for (vx::directoryIterator it(app, L"*.*", 6); !it.fullName().empty(); it.next()) {
        const vx::directory folder(it);
        vx::string name = folder.fullName();
        while (!name.empty() && name.back() == L'\\')
            name.pop_back();
        name.erase(0, name.find_last_of(L'\\') + 1);
        unsigned long id = 0;
        if (!parseUnsigned(name, id))
            id = 0; // a name that is no number reads as 0, and no process has that id
        if (!vx::processIsRunning(id))
            dead.push_back(folder);
    }
    for (const auto& folder : dead) {
        folder.clear(true);
        folder.remove(true);
    }
}

// --- manager -----------------------------------------------------------------------------------

namespace {

// Whether logging is active once the start-up has run; a process without it pays one test.
bool startedAndActive(detail::logState& s) {
    if (!s.active.load(std::memory_order_acquire))
        return false;
    detail::ensureStarted();
    return s.active.load(std::memory_order_acquire);
}

} // namespace

vx::sharedPtr<logManager> logManager::getInstance() {
    detail::ensureStarted();
    static const vx::sharedPtr<logManager> instance(new logManager);
    return instance;
}

vx::refPtr<logger> logManager::getLogger(const char* name) {
    detail::logState& s = detail::state();
    if (!startedAndActive(s))
        return s.disabled;
    const std::string given = name ? name : "";
    {
        // A name asked for in this form before is found without converting it.
        std::lock_guard<std::mutex> guard(s.managerLock);
        const auto hit = s.resolved.find(given);
        if (hit != s.resolved.end())
            return hit->second;
    }
    vx::refPtr<logger> answer = getLogger(vx::string::fromMBCtoWC(name));
    std::lock_guard<std::mutex> guard(s.managerLock);
    s.resolved.emplace(given, answer);
    return answer;
}

vx::refPtr<logger> logManager::getLogger(const vx::string& name) {
    detail::logState& s = detail::state();
    if (!startedAndActive(s))
        return s.disabled;

    std::lock_guard<std::mutex> guard(s.managerLock);
    const std::string key = name.getMBCS();
    const auto hit = s.resolved.find(key);
    if (hit != s.resolved.end())
        return hit->second;

    const vx::string wanted = className(name);
    vx::refPtr<logger> answer;
    if (!wanted.isEqualTo(L"root", false)) {
        std::vector<vx::string> parts;
        for (std::size_t start = 0;;) {
            const std::size_t dot = wanted.find(L'.', start);
            parts.emplace_back(wanted.substr(start, dot == vx::string::npos ? vx::string::npos : dot - start));
            if (dot == vx::string::npos)
                break;
            start = dot + 1;
        }
        for (std::size_t count = parts.size(); count > 0 && !answer; --count) {
            vx::string candidate = parts[0];
            for (std::size_t i = 1; i < count; ++i)
                candidate += L"." + parts[i];
            const std::string narrow = candidate.getMBCS();
            for (const auto& entry : s.classes)
                if (entry.second && equalNoCase(entry.first, narrow) && entry.second->isEnabled()) {
                    answer = entry.second;
                    break;
                }
        }
    }
    if (!answer)
        answer = s.rootHolder ? s.rootHolder : s.disabled;
    s.resolved[key] = answer;
    return answer;
}

vx::refPtr<logger> logManager::getRootLogger() {
    detail::logState& s = detail::state();
    std::lock_guard<std::mutex> guard(s.managerLock);
    return s.rootHolder;
}

void logManager::setRootLogger(const vx::refPtr<logger>& root) {
    detail::logState& s = detail::state();
    std::lock_guard<std::mutex> guard(s.managerLock);
    detail::setRoot(root);
    s.resolved.clear();
}

logManager::classTable logManager::logClasses() const {
    detail::logState& s = detail::state();
    std::lock_guard<std::mutex> guard(s.managerLock);
    return s.classes;
}

void logManager::setLogClasses(const classTable& classes) {
    detail::logState& s = detail::state();
    std::lock_guard<std::mutex> guard(s.managerLock);
    s.classes = classes;
    s.resolved.clear();
}

void logManager::checkActivation() {
    detail::logState& s = detail::state();
    std::lock_guard<std::mutex> guard(s.managerLock);
    s.active.store(activation(s), std::memory_order_release);
}

bool logManager::isActive() const {
    return detail::state().active.load(std::memory_order_acquire);
}

bool logManager::startFailed() const {
    return detail::state().startFailed.load(std::memory_order_acquire);
}

void logManager::saveConfig() {
    detail::logState& s = detail::state();
    std::lock_guard<std::mutex> guard(s.managerLock);
    try {
        vx::string module = logUtils::moduleName();
        const vx::directory folder = logUtils::logAppDir(module);
        if (folder.fullName().empty())
            return;
        if (!folder.exists())
            folder.create(true);
        const vx::file cfg = configFile(module);
        if (!cfg.exists())
            cfg.create(vx::file::accessReadWrite);
        cfg.allowWrite(true);
        if (!cfg.isWriteable())
            return;

        const logSettings& settings = *s.settings;
        vx::refPtr<vx::xmlDocument> doc = vx::xmlDocument::createXmlDocument();
        doc->setName(L"logconfig");
        vx::refPtr<vx::xmlNode> globals = doc->createChildNode(L"globals");
        globals->setAttribute(L"maxfilecount", vx::string(std::to_wstring(settings.maxFileCount())));
        globals->setAttribute(L"maxfilesize", vx::string(std::to_wstring(settings.maxFileSize())));
        globals->setAttribute(L"format", settings.formatSpecifier());
        const auto describe = [](vx::xmlNode& node, const vx::refPtr<logger>& l) {
            node.setAttribute(L"enabled", l && l->isEnabled() ? L"true" : L"false");
            node.setAttribute(L"level", logUtils::getStringFromLogLevel(l ? l->level() : none));
        };
        describe(*doc->createChildNode(L"root"), s.rootHolder);
        vx::refPtr<vx::xmlNode> classes = doc->createChildNode(L"classes");
        // In the order of their names, so that the file reads the same after every save.
        std::vector<std::string> names;
        for (const auto& entry : s.classes)
            names.push_back(entry.first);
        std::sort(names.begin(), names.end());
        for (const auto& name : names) {
            const vx::refPtr<logger>& l = s.classes[name];
            describe(*classes->createChildNode(l ? l->id() : vx::string(L"class")), l);
        }
        doc->save(cfg, vx::xmlDocument::eUtf8);
    } catch (...) {
        // A configuration that cannot be written is given up in silence.
    }
    s.active.store(activation(s), std::memory_order_release);
}

// --- names and folders -------------------------------------------------------------------------

vx::string logUtils::moduleName() {
    detail::logState& s = detail::state();
    std::lock_guard<std::mutex> guard(s.nameLock);
    if (!s.moduleKnown) {
        vx::file exe;
        if (vx::getModuleFileName(static_cast<void*>(nullptr), exe))
            s.module = withoutVshost(exe.name(vx::fsEntryName::noExtension)); // "app.exe" is "app"
        s.moduleKnown = true;
    }
    return s.module;
}

void logUtils::setModuleName(const vx::string& name) {
    detail::logState& s = detail::state();
    std::lock_guard<std::mutex> guard(s.nameLock);
    s.module = name;
    s.moduleKnown = true;
}

vx::directory logUtils::logAppDir() {
    vx::string module = moduleName();
    return logAppDir(module);
}

vx::directory logUtils::logAppDir(vx::string& module) {
    if (module.empty())
        return vx::directory();
    vx::string home;
    {
        detail::logState& s = detail::state();
        std::lock_guard<std::mutex> guard(s.nameLock);
        home = s.home;
    }
    const vx::directory base = home.empty() ? vx::directory::userHomeDir() : vx::directory(home);
    return vx::directory(vx::directory(base, L"Velmora"), module);
}

vx::directory logUtils::outputDir() {
    vx::string module = moduleName();
    return outputDir(module);
}

vx::directory logUtils::outputDir(vx::string& module) {
    const vx::directory app = logAppDir(module);
    if (app.fullName().empty())
        return vx::directory();
    const vx::directory folder(app.fullName(), vx::string(std::to_wstring(vx::getCurrentProcessId())));
    if (!folder.exists())
        folder.create(true);
    return folder;
}

vx::file logUtils::outputPath(unsigned index) {
    vx::string module = moduleName();
    return outputPath(index, module);
}

vx::file logUtils::outputPath(unsigned index, vx::string& module) {
    const vx::directory folder = outputDir(module);
    if (folder.fullName().empty())
        return vx::file();
    return vx::file(folder, module + L"_" + std::to_wstring(index) + L".log");
}

vx::file logUtils::configPath(vx::string& module) {
    vx::directory folder;
    if (!vx::getModulePath(static_cast<void*>(nullptr), folder))
        return vx::file();
    return vx::file(folder, withoutVshost(module) + L".logcfg");
}

bool logUtils::locCfgExists() {
    vx::string module = moduleName();
    return configFile(module).exists();
}

// --- tests -------------------------------------------------------------------------------------

void resetLogStateForTesting(const vx::string& home) {
    detail::logState& s = detail::state();
    std::lock_guard<std::mutex> start(s.startLock);
    {
        std::lock_guard<std::mutex> guard(s.managerLock);
        s.classes.clear();
        s.resolved.clear();
        detail::setRoot(nullptr);
    }
    {
        std::lock_guard<std::mutex> guard(s.nameLock);
        s.module.clear();
        s.moduleKnown = false;
        s.home = home;
    }
    s.fileLock.lock();
    s.lineFile.close(); // the test may remove its folder next
    s.lineSettings.reset();
    s.settings = std::make_shared<logSettings>();
    s.fileLock.release();
    s.startFailed.store(false);
    s.active.store(true);
    s.started.store(false, std::memory_order_release);
}

} // namespace vxlog
