#include "vxLocManager.h"

#include "detail/caseFolding.h"
#include "detail/mutexHold.h"

#include "vxDirectory.h"
#include "vxFile.h"
#include "vxLocFile.h"
#include "vxLocMessage.h"
#include "vxLocString.h"
#include "vxModule.h"
#include "vxMutex.h"
#include "vxSearchPath.h"

#include <set>
#include <vector>

namespace vx {

struct locManager::data {
    mutex lock;                  // guards all data of the manager
    std::vector<locFile> files;  // every language file opened so far; never shrinks
    std::vector<string> fileKeys; // their names folded, for the search by name in any case
    string defaultLanguage;
    searchPath defaultSearchPath;
    string defaultFile;
    string overlayId;
    std::set<languageChangedCB> callbacks;
};

namespace {

// Between the language folder and the file name.
constexpr wchar_t kFolderDelimiter = L'\\';

// The manager's lock, held for one operation. A manager without data is a programming error and
// throws false, as an access through a null smart pointer does.
template <class Data>
mutex& lockOf(Data* data) {
    if (!data)
        throw false;
    return data->lock;
}

bool findOnPath(const searchPath& path, const string& name, file& found) {
    return !name.empty() && path.findFile(name, found, false);
}

// The name below a language folder. An empty language names no folder, so nothing is tried.
bool findInLanguage(const searchPath& path, const wchar_t* language, const string& name, file& found) {
    if (!language || !*language || name.empty())
        return false;
    string below(language);
    below += kFolderDelimiter;
    below += name;
    return path.findFile(below, found, false);
}

} // namespace

locManager::locManager() : mpData(new data) {
    // Installed applications keep their language folders in ..\config\Language beside their
    // executable's folder; the executable's folder itself serves programs run where they were
    // built.
    directory executableFolder;
    if (getModulePath(static_cast<void*>(nullptr), executableFolder)) {
        mpData->defaultSearchPath.appendDirectory(
            directory(executableFolder, L"..\\config\\Language"));
        mpData->defaultSearchPath.appendDirectory(executableFolder);
    }
}

locManager::~locManager() {
    delete mpData;
}

locManager* locManager::instance() {
    // Never destroyed: messages may be resolved until the very end of the process.
    static locManager* const sInstance = new locManager;
    return sInstance;
}

bool locManager::loadMessage(const iLocStringId& id, locMessage& msg, const wchar_t* language) {
    string persistentId;
    id.getPersistentId(persistentId);
    std::vector<string> fields;
    persistentId.splitAt(L"|", fields);

    // The settings are copied, so that the search on disk runs without the lock.
    searchPath path;
    string defaultLanguage, defaultFile;
    {
        detail::mutexHold lock(lockOf(mpData));
        path = mpData->defaultSearchPath;
        defaultLanguage = mpData->defaultLanguage;
        defaultFile = mpData->defaultFile;
    }

    file found;
    bool hit = false;
    if (fields.size() >= 3) {
        const string& names = fields[2];
        if (names.find(L',') == string::npos) {
            // One name or the default file: the language asked for, or the default language
            // when none was asked for; never both.
            const string& name = names.empty() ? defaultFile : names;
            hit = findOnPath(path, name, found) ||
                  findInLanguage(path, language ? language : defaultLanguage.c_str(), name, found);
        } else {
            // A list (the first element is the empty text before the leading comma): each name
            // as it is, below the language asked for, below the default language.
            std::vector<string> list;
            names.splitAt(L",", list);
            for (const string& name : list) {
                hit = findOnPath(path, name, found) || findInLanguage(path, language, name, found) ||
                      findInLanguage(path, defaultLanguage.c_str(), name, found);
                if (hit)
                    break;
            }
        }
    }
    if (!hit || !found.exists())
        return false;

    detail::mutexHold lock(lockOf(mpData));
    const string key = detail::foldedCase(found.fullName());
    std::size_t index = 0;
    while (index < mpData->fileKeys.size() && mpData->fileKeys[index] != key)
        ++index;
    if (index == mpData->files.size()) {
        locFile opened(found);
        if (!mpData->overlayId.empty())
            opened.setOverlay(overlayFileFor(found, mpData->overlayId));
        mpData->files.push_back(std::move(opened));
        mpData->fileKeys.push_back(key);
    }
    return mpData->files[index].getMessage(id.id(), msg);
}

void locManager::setDefaultLanguage(const wchar_t* language) {
    if (!language)
        return;
    detail::mutexHold lock(lockOf(mpData));
    const string oldLanguage = mpData->defaultLanguage;
    mpData->defaultLanguage = language;
    if (oldLanguage == mpData->defaultLanguage)
        return;
    const string newLanguage = mpData->defaultLanguage;
    // The callbacks run under the (recursive) lock, in order, on a snapshot of the set: a
    // callback may add or remove callbacks, which would otherwise upset the walk.
    const std::set<languageChangedCB> snapshot = mpData->callbacks;
    for (languageChangedCB callback : snapshot)
        if (mpData->callbacks.count(callback) != 0)
            callback(oldLanguage.c_str(), newLanguage.c_str());
}

void locManager::setDefaultLocFile(const wchar_t* file) {
    if (!file)
        return;
    detail::mutexHold lock(lockOf(mpData));
    mpData->defaultFile = file;
}

void locManager::setOverlayId(const wchar_t* id) {
    if (!id)
        return;
    detail::mutexHold lock(lockOf(mpData));
    mpData->overlayId = id;
}

void locManager::setDefaultSearchPath(const searchPath& path) {
    detail::mutexHold lock(lockOf(mpData));
    mpData->defaultSearchPath = path;
}

searchPath& locManager::defaultSearchPath() {
    detail::mutexHold lock(lockOf(mpData));
    return mpData->defaultSearchPath;
}

string locManager::defaultLanguage() const {
    detail::mutexHold lock(lockOf(mpData));
    return mpData->defaultLanguage;
}

string locManager::defaultLocFile() const {
    detail::mutexHold lock(lockOf(mpData));
    return mpData->defaultFile;
}

string locManager::overlayId() const {
    detail::mutexHold lock(lockOf(mpData));
    return mpData->overlayId;
}

void locManager::addLanguageChangedCB(languageChangedCB callback) {
    if (!callback)
        return;
    detail::mutexHold lock(lockOf(mpData));
    mpData->callbacks.insert(callback);
}

void locManager::removeLanguageChangedCB(languageChangedCB callback) {
    detail::mutexHold lock(lockOf(mpData));
    mpData->callbacks.erase(callback);
}

file locManager::overlayFileFor(const file& languageFile, const string& overlayId) {
    const string name = languageFile.name(0);
    const std::size_t dot = name.rfind(L'.');
    string overlayName(name.substr(0, dot));
    overlayName += L'_';
    overlayName += overlayId;
    if (dot != string::npos)
        overlayName += name.substr(dot);
    return file(languageFile.path(0), overlayName);
}

} // namespace vx
