// fsEntryName: the normalised text of a path, and the one place where path text is taken apart.
//
// Paths are written in the Windows manner on every system: the delimiter is '\', a drive is
// "X:", a network share starts with "\\". Normalisation is a matter of text alone; the current
// directory, the current drive and the environment are asked only while setName runs, and the
// path is never tested for existence. Case is kept as given.
#pragma once

#include "vxExport.h"
#include "vxString.h"

namespace vx {

class VX_API fsEntryName {
public:
    // Part selectors of name, path, extension and removeExtension. What a bit does depends on
    // the function; a bit tied to another one does nothing without it.
    static constexpr int noDrive = 0x01;       // leave the drive out
    static constexpr int noExtension = 0x02;   // leave the extension out
    static constexpr int firstDot = 0x04;      // split at the first dot, not the last
    static constexpr int withDrive = 0x08;     // put the drive in
    static constexpr int withPath = 0x10;      // put the path in
    static constexpr int withName = 0x20;      // put the name in
    static constexpr int withExtension = 0x40; // put the extension in

    // Empty.
    fsEntryName() = default;
    // The text normalised by setName(text, false).
    explicit fsEntryName(const string& text);
    // Joins directory and name with one '\' and normalises the result. An empty directory gives
    // an empty name, whatever name holds; a bare name goes through setName instead.
    fsEntryName(const string& directory, const string& name, bool delimiter);

    // Normalises text into this object: expands the first %NAME% reference, strips quotes,
    // turns '/' into '\', makes the text absolute against the current drive or directory,
    // collapses doubled delimiters and resolves "\..\" and then "\.\". The result has no
    // trailing '\' unless delimiter is true, which leaves exactly one (a directory's name).
    // An empty text gives an empty name; so does a relative text when the current directory
    // cannot be read (or "\" with delimiter true).
    void setName(const string& text, bool delimiter = false);

    // Stores text as it stands, without normalising it: for text that was normalised before.
    // The readers below take any text apart by the same rules; a text of exactly one character
    // makes each of them throw std::out_of_range.
    void assignText(const string& text);

    // The stored text. A name can be read wherever a vx::string is read.
    const string& text() const { return mText; }
    operator const string&() const { return mText; }
    const wchar_t* c_str() const { return mText.c_str(); }
    bool empty() const { return mText.empty(); }

    // Splits the text into drive ("C:" upper-cased, or "\\server" of a share), path (always
    // ending in '\'), name and extension; lastDot chooses the last or the first dot. All four
    // are cleared first. A text of one character throws std::out_of_range.
    void getComponents(string& drive, string& path, string& name, string& extension,
                       bool lastDot) const;

    string drive() const;
    // The drive's letter, or a blank when the drive is not "X:" (a share, or no drive).
    wchar_t driveLetter() const;

    // name(0) is name and extension; name(withDrive | withPath) is the whole text.
    string name(int parts = 0) const;
    // path(0) is drive and path, ending in '\'.
    string path(int parts = 0) const;
    // extension(0) is the extension alone, without the dot.
    string extension(int parts = 0) const;

    // This name as seen from base: ".\rest" when base is a prefix of it, "..\" once per level
    // base had to climb otherwise, and in lower case. A different drive gives this name
    // unchanged; an empty base, or a base from which this name cannot be reached, gives the
    // empty string.
    string relativeNameTo(const fsEntryName& base) const;

    // Leaves exactly one trailing '\'; an empty name stays empty.
    void appendDelimiter();
    // Removes trailing '\' and appends '.' and extension as given, unchecked. An empty name
    // stays empty.
    void appendExtension(const string& extension);
    // Appends drive, path and name (without extension) to the stored text, which is not
    // cleared first: "C:\a\b.txt" becomes "C:\a\b.txtC:\a\b". Kept so for the callers that
    // rely on it.
    void removeExtension(int parts);

    // On raw text. A text of two characters or more that starts with '/' or '\' or has ':' as
    // its second character is not relative, and levels is not written. Otherwise, when levels
    // is not null, it receives the number of delimiters behind the first character, trailing
    // ones left out: "..\..\x" and "a\b\c" both give 2.
    static bool isARelativePath(const string& text, int* const levels);
    // True if any of \ / < > : * ? | # " occurs in text, also behind an embedded null. Meant for
    // single names: every path holds '\' or ':'.
    static bool containsInvalidChars(const string& text);
    // The text as the active code page holds it (so up to its first null), with every invalid
    // character replaced by a blank and leading and trailing blanks removed. The blank is
    // written whatever replacement says: a valid replacement is ignored, and an invalid one
    // would be found again and again.
    static string replaceInvalidChars(const string& text, wchar_t replacement);

    // Exact comparison of the stored texts, case included.
    bool operator==(const fsEntryName& other) const { return mText == other.mText; }
    bool operator!=(const fsEntryName& other) const { return mText != other.mText; }
    bool operator<(const fsEntryName& other) const { return mText < other.mText; }

private:
    string mText;
};

} // namespace vx
