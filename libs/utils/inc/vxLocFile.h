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
// Any file loads in bounded time and memory: an included file is known by its identity on disk
// (links and ".." reach no file twice), includes nest at most kMaxIncludeDepth deep, and the
// replace commands may not make the texts longer than kGrowthFactor times the file's characters
// plus kGrowthAllowance, and a text joined from continued lines may not pass kMaxMessageLength
// characters. A file that would cross one of these limits, or whose load runs out of memory,
// fails to load as a file that cannot be read does (its lookups answer false), and loadError()
// names the file and the line. The file is read in blocks and taken apart line by line as it
// comes, so reading it costs a block and a line beside the texts it holds.
//
// getMessage reloads the object although it is const: one locFile must not be used from two
// threads at once. The localisation manager calls it only under its lock.
#pragma once

#include "vxExport.h"
#include "vxFile.h"
#include "vxString.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <vector>

namespace vx {

class locMessage;

class VX_API locFile : public file {
public:
    static constexpr std::size_t kMaxIncludeDepth = 64;
    static constexpr std::size_t kGrowthFactor = 4;
    static constexpr std::size_t kGrowthAllowance = 1u << 20;
    static constexpr std::size_t kMaxMessageLength = 1u << 20;

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
    // Why the last load of this file failed although the file could be read ("path(line): why"),
    // or the empty string.
    const string& loadError() const { return mLoadError; }

private:
    struct includeLink; // one file of the chain of includes that led to a file
    struct includeScan; // the files met in one scan of includes

    bool isFresh() const;
    bool reload() const;
    bool load(includeScan& scan, bool followIncludes) const;
    bool loadContent(includeScan& scan, bool followIncludes) const;
    void followInclude(const string& line, std::shared_ptr<includeLink>& link, includeScan& scan) const;
    bool applyCommands(std::map<string, string>& messages, std::size_t budget) const;
    bool lookup(string key, locMessage& msg) const;
    void collectKeys(std::set<string>& out) const;

    mutable std::vector<locFile> mIncludes;       // named by "#include" lines, in file order
    file mOverlay;                                // may have an empty name
    mutable std::int64_t mOverlayTime = 0;        // of the overlay at load, 0 when it had none
    mutable std::vector<string> mCommands;        // the ";;cmd(" commands, in file order
    mutable std::vector<std::size_t> mCommandLines; // the line of each command in the file
    mutable std::size_t mCharacters = 0;          // of the file's text at load
    mutable string mLoadError;
    mutable std::map<string, string> mMessages;   // key to text
    mutable std::int64_t mFileTime = 0;           // of this file at load
    // The files whose includes led to this one, shared along the chain: a reload of this file
    // on its own never includes them again, so include cycles stay cut.
    mutable std::shared_ptr<const includeLink> mIncludedFrom;
};

} // namespace vx
