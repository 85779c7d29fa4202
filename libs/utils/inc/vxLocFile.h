// locFile: one language file (".loc"), a text file that maps message ids to texts.
//
// The file is read when a message is first asked for and read again whenever it, or its
// overlay, changed on disk since (the modification times, in seconds, are compared at every
// lookup). It follows "#include" lines to further files, applies ";;cmd(replace:::from:::to)"
// commands to its texts, and merges an overlay file over its own entries.
//
// The format, line by line (a line longer than 1023 characters arrives as several lines):
//
//     ; a comment: the first word holds a ';'
//     Msg_Key     Text of the message   ; a comment begins at the last semicolon
//     Msg_Quoted  "Text; with a semicolon"   ; a quoted text ends at its last quote
//     Msg_Lines   First line\nsecond line
//     Msg_Alias   $$Msg_Key             ; the text of Msg_Key
//     #include common.loc               ; a file in this file's folder
//     ;;cmd(replace:::Velmora:::Acme)
//
// The command applies to every text after all entries are read. A line that ends in a
// backslash goes on in the next line: the backslash is dropped and the value part of the next
// line (which may again be quoted, or end at its last ';') is appended with nothing between.
// An "#include" line is read as an entry too (of the key "#include"), as every line with a
// blank is.
//
// The first definition of a key wins. Keys are case-sensitive. A file with a UTF-16LE or UTF-8
// byte-order mark is read in that encoding; a file without one in the active code page (UTF-8
// here).
//
// getMessage reloads the object although it is const: one locFile must not be used from two
// threads at once. The localisation manager calls it only under its lock.
#pragma once

#include "vxExport.h"
#include "vxFile.h"
#include "vxString.h"

#include <cstdint>
#include <map>
#include <set>
#include <vector>

namespace vx {

class locMessage;

class VX_API locFile : public file {
public:
    locFile();
    // The file of that name (normalised as a file name is).
    explicit locFile(const wchar_t* path);
    // The file name within the folder folderText.
    locFile(const wchar_t* folderText, const wchar_t* name);
    locFile(const file& f);
    locFile(const locFile& other);
    locFile(locFile&& other) noexcept;
    locFile& operator=(const locFile& other);
    locFile& operator=(locFile&& other) noexcept;
    // Another file: nothing is loaded, and the overlay is kept.
    locFile& operator=(const file& f);
    ~locFile() override;

    // Fills msg by setMessage with the text of id (blanks and tabs around it, and line ends
    // behind it, do not count) and answers true; false when neither this file nor its includes
    // hold the id. A null id is the empty id.
    bool getMessage(const wchar_t* id, locMessage& msg) const;

    // The file whose entries are merged over this file's entries; an empty name for none. The
    // next lookup reads the files anew.
    void setOverlay(const file& overlay);
    const file& overlay() const { return mOverlay; }

    // The keys of this file (with the overlay's) and of its includes, each once, in key order,
    // after the files were brought up to date as a lookup does. For listings: look each key up
    // with getMessage to see its text.
    void keys(std::vector<string>& out) const;
    // The files that "#include" lines of this file named, as of the last load.
    const std::vector<locFile>& includes() const { return mIncludes; }

private:
    bool isFresh() const;
    bool reload() const;
    bool load(std::set<string>& met, bool followIncludes) const;
    void scanIncludes(const std::vector<string>& lines, std::set<string>& met) const;
    bool lookup(string key, locMessage& msg) const;
    void collectKeys(std::set<string>& out) const;

    mutable std::vector<locFile> mIncludes;       // named by "#include" lines, in file order
    file mOverlay;                                // may have an empty name
    mutable std::int64_t mOverlayTime = 0;        // of the overlay at load, 0 when it had none
    mutable std::vector<string> mCommands;        // the ";;cmd(" commands, in file order
    mutable std::map<string, string> mMessages;   // key to text
    mutable std::int64_t mFileTime = 0;           // of this file at load
    // The lower-case names of the files whose includes led to this one: a reload of this file
    // on its own never includes them again, so include cycles stay cut.
    mutable std::vector<string> mIncludedFrom;
};

} // namespace vx
