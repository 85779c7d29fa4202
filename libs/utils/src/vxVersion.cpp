#include "vxVersion.h"

#include <tuple>

namespace vx {

namespace {

constexpr std::uint32_t kFieldLimit = 999999;

bool isBlank(wchar_t c) {
    return c == L' ' || c == L'\t';
}

} // namespace

version::version(std::uint32_t majorNumber, std::uint32_t minorNumber, std::uint32_t buildNumber,
                 std::uint32_t revisionNumber)
    : mMajor(majorNumber), mMinor(minorNumber), mBuild(buildNumber), mRevision(revisionNumber) {}

string version::asString() const {
    return string::sformat(L"%u.%u.%u.%u", mMajor, mMinor, mBuild, mRevision);
}

bool version::parse(const wchar_t* text) {
    if (!text)
        return false;
    const wchar_t* p = text;
    while (isBlank(*p))
        ++p;

    std::uint32_t fields[4] = {0, 0, 0, 0};
    bool inRange = true;
    int count = 0;
    for (;;) {
        if (count == 4 || *p < L'0' || *p > L'9')
            return false; // a fifth field, or a field without digits
        std::uint32_t value = 0;
        for (; *p >= L'0' && *p <= L'9'; ++p) {
            // Saturates above the limit, so that any number of digits is read safely.
            value = value > kFieldLimit ? value : value * 10 + static_cast<std::uint32_t>(*p - L'0');
        }
        if (value > kFieldLimit) {
            value = kFieldLimit;
            inRange = false;
        }
        fields[count++] = value;
        if (*p != L'.')
            break;
        ++p;
    }
    while (isBlank(*p))
        ++p;
    if (*p != L'\0')
        return false;

    mMajor = fields[0];
    mMinor = fields[1];
    mBuild = fields[2];
    mRevision = fields[3];
    return inRange;
}

version version::minVersion() {
    return version(0, 0, 0, 0);
}

version version::maxVersion() {
    return version(kFieldLimit, kFieldLimit, kFieldLimit, kFieldLimit);
}

bool version::operator==(const version& other) const {
    return std::tie(mMajor, mMinor, mBuild, mRevision) ==
           std::tie(other.mMajor, other.mMinor, other.mBuild, other.mRevision);
}

bool version::operator<(const version& other) const {
    return std::tie(mMajor, mMinor, mBuild, mRevision) <
           std::tie(other.mMajor, other.mMinor, other.mBuild, other.mRevision);
}

} // namespace vx
