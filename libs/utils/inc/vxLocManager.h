// locManager: the one process-wide object that turns message identifiers into text.
//
// Language files are not read yet: every lookup answers that no file holds the message, so
// every localised string shows its default text. The search for language files, the default
// language and the change notifications come with the language-file reader.
#pragma once

#include "vxExport.h"

namespace vx {

class iLocStringId;
class locMessage;

class VX_API locManager {
public:
    // The instance, made on first use. The first call must come before other threads use the
    // manager; it then lives to the end of the process.
    static locManager* instance();

    // Loads the message of id in the given language (null: the default language) into msg.
    // False, with msg unchanged, when no language file holds the id.
    bool loadMessage(const iLocStringId& id, locMessage& msg, const wchar_t* language);

    locManager(const locManager&) = delete;
    locManager& operator=(const locManager&) = delete;

private:
    locManager();
    ~locManager();

    struct data;
    data* mpData;
};

} // namespace vx
