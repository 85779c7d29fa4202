#include "vxFsEntry.h"

#include "vxDirectory.h"

#include "platform/fileSystem.h"
#include "platform/paths.h"

namespace vx {

fsEntry::fsEntry(const string& directoryText, const string& name, bool isDirectory)
    : mName(directoryText, name, isDirectory), mIsDirectory(isDirectory) {}

fsEntry::fsEntry(const fsEntryName& name, string extra, bool isDirectory)
    : mName(name), mIsDirectory(isDirectory) {
    if (!extra.empty())
        mName = fsEntryName(name.text(), extra, false);
    if (!mName.empty() && isDirectory)
        mName.appendDelimiter();
}

fsEntry::~fsEntry() = default;

fsEntry& fsEntry::operator=(const fsEntryName& name) {
    mName = name;
    if (mIsDirectory)
        mName.appendDelimiter();
    return *this;
}

bool fsEntry::exists() const {
    return !mName.empty() && platform::accessPath(mName.text(), 0);
}

bool fsEntry::isRemote() const {
    const string& text = mName.text();
    // A text of one character cannot be taken apart (only assignText can store one).
    if (text.size() < 2)
        return false;
    if (text[0] == L'\\' && text[1] == L'\\')
        return true;
    const wchar_t letter = mName.driveLetter();
    return letter != L' ' && platform::isRemoteDrive(letter);
}

bool fsEntry::nativePath(nativePathText& path) const {
    platform::nativePath native;
    if (mName.empty() || !platform::toNativePath(mName.text(), native))
        return false;
    path = native;
    return true;
}

string fsEntry::relativeNameTo(const fsEntryName& base) const {
    return mName.relativeNameTo(base);
}

void fsEntry::getParts(string& drive, directory& dir, string& name, string& extension, bool) const {
    drive = mName.drive();
    fsEntryName path;
    path.setName(mName.path(0), false);
    // The assignment gives a directory its trailing delimiter.
    static_cast<fsEntry&>(dir) = path;
    name = mName.name(0);
    extension = mName.extension(0);
}

} // namespace vx
