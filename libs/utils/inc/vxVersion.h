// version: a version number of four unsigned fields, "major.minor.build.revision".
//
// Text form: the four fields in decimal, separated by '.', as in "1.2.3.4". Each field of a
// parsed text lies between 0 and 999999, the bounds of minVersion() and maxVersion().
#pragma once

#include "vxExport.h"
#include "vxString.h"

#include <cstdint>

namespace vx {

class VX_API version {
public:
    // 0.0.0.0
    version() = default;
    version(std::uint32_t majorNumber, std::uint32_t minorNumber, std::uint32_t buildNumber,
            std::uint32_t revisionNumber);

    std::uint32_t majorNumber() const { return mMajor; }
    std::uint32_t minorNumber() const { return mMinor; }
    std::uint32_t buildNumber() const { return mBuild; }
    std::uint32_t revisionNumber() const { return mRevision; }

    // Always four fields, without leading zeros: "1.2.0.0".
    string asString() const;

    // Reads one to four decimal fields separated by '.'; missing trailing fields are 0, so "7"
    // is 7.0.0.0 and "1.2" is 1.2.0.0. Blanks and tabs before and after the number are
    // ignored, nothing else is: no signs, no empty fields, no blanks inside.
    // A text of any other form, or a null one, answers false and leaves the version as it was.
    // A well-formed text with a field above 999999 stores the fields with every such field set
    // to 999999 and answers false.
    bool parse(const wchar_t* text);

    static version minVersion(); // 0.0.0.0
    static version maxVersion(); // 999999.999999.999999.999999

    // Field by field, major first.
    bool operator==(const version& other) const;
    bool operator!=(const version& other) const { return !(*this == other); }
    bool operator<(const version& other) const;
    bool operator>(const version& other) const { return other < *this; }
    bool operator<=(const version& other) const { return !(other < *this); }
    bool operator>=(const version& other) const { return !(*this < other); }

private:
    std::uint32_t mMajor = 0;
    std::uint32_t mMinor = 0;
    std::uint32_t mBuild = 0;
    std::uint32_t mRevision = 0;
};

} // namespace vx
