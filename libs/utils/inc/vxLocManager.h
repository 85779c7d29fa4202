// locManager: the one process-wide object that turns message identifiers into text.
//
// It knows the default language (the name of a folder), the default language file (for ids
// that name no file), the search path of language files and the overlay id; it keeps every
// language file it opened, and tells listeners when the default language changes.
//
// Where a message is looked for: the persistent id "id|default|,file1,file2" of the identifier
// names the files. With no file the default file is searched, with a file list each file in
// turn. A name is searched on the search path as it is, then below the language folder: the
// language asked for, or with none asked the default language ("de\vxDb.loc"). A list of files
// also tries the default language's folder when another language was asked for. The first file
// found is the one asked, and a file that lacks the id gives no text: the identifier's default
// text then stands.
//
// At creation the search path holds two folders: "..\config\Language" seen from the folder of
// the executable, then the executable's folder itself.
//
// One mutex guards all of it; all lookups in the process are serialised. It is recursive, so a
// language-change callback, which runs under it, may call the manager on its own thread; it
// must not wait for another thread that uses the manager.
#pragma once

#include "vxExport.h"
#include "vxString.h"

namespace vx {

class file;
class iLocStringId;
class locMessage;
class searchPath;

class VX_API locManager {
public:
    // Called with the old and the new default language when the default language changes.
    typedef void (*languageChangedCB)(const wchar_t* oldLanguage, const wchar_t* newLanguage);

    // The instance, made on first use. The first call must come before other threads use the
    // manager; it then lives to the end of the process.
    static locManager* instance();

    // Loads the message of id in the given language (null: the default language) into msg by
    // locMessage::setMessage. False, with msg unchanged, when no language file was found or
    // the file found does not hold the id.
    bool loadMessage(const iLocStringId& id, locMessage& msg, const wchar_t* language);

    // Each of these ignores a null pointer. setDefaultLanguage calls every callback, in the
    // order of their addresses, when the name changes (the same name again calls none).
    void setDefaultLanguage(const wchar_t* language);
    void setDefaultLocFile(const wchar_t* file);
    // The overlay of a language file "name.ext" is "name_<id>.ext" in the same folder. It is
    // given to files when they are first opened: files opened before keep their overlay.
    void setOverlayId(const wchar_t* id);
    void setDefaultSearchPath(const searchPath& path);
    // The guarded search path itself: for setting up, before other threads use the manager.
    searchPath& defaultSearchPath();

    // Copies of the settings.
    string defaultLanguage() const;
    string defaultLocFile() const;
    string overlayId() const;

    // A callback is held once; null is ignored. Callbacks added during a change are called
    // from the next change on; one removed during a change is not called after its removal.
    void addLanguageChangedCB(languageChangedCB callback);
    void removeLanguageChangedCB(languageChangedCB callback);

    // The overlay of languageFile for the overlay id: "vxDb.loc" with "site" gives
    // "vxDb_site.loc" in the same folder; a name without a dot gets "_site" at its end.
    static file overlayFileFor(const file& languageFile, const string& overlayId);

    locManager(const locManager&) = delete;
    locManager& operator=(const locManager&) = delete;

private:
    locManager();
    ~locManager();

    struct data;
    data* mpData;
};

} // namespace vx
