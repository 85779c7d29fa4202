// Helpers shared by the unit tests.
#pragma once

#include <vxAssert.h>
#include <vxString.h>

#include <string>
#include <vector>

namespace vxtest {

// Captures every assertion message while it lives, instead of writing it to standard error.
class assertionCapture {
public:
    assertionCapture() : mPrevious(vx::setAssertPresenter(&assertionCapture::record)) { texts().clear(); }
    ~assertionCapture() { vx::setAssertPresenter(mPrevious); }
    assertionCapture(const assertionCapture&) = delete;
    assertionCapture& operator=(const assertionCapture&) = delete;

    static std::vector<std::wstring>& texts() {
        static std::vector<std::wstring> recorded;
        return recorded;
    }
    static std::wstring last() { return texts().empty() ? std::wstring() : texts().back(); }

private:
    static void record(const wchar_t*, const wchar_t* text) { texts().push_back(text); }
    vx::assertPresenter mPrevious;
};

} // namespace vxtest
