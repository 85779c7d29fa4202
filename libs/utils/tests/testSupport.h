// Helpers shared by the unit tests.
#pragma once

#include <vxAssert.h>
#include <vxString.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
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

// Runs f, which must fail an assertion: present `presented` texts and throw the bool false, which
// passes by handlers for std::exception. Answers the last text presented.
template <class F>
std::wstring failedAssertion(F&& f, std::size_t presented = 1) {
    assertionCapture capture;
    try {
        try { f(); } catch (const std::exception&) { ADD_FAILURE() << "caught as std::exception"; }
        ADD_FAILURE() << "nothing thrown";
    } catch (bool value) { EXPECT_FALSE(value); }
    EXPECT_EQ(capture.texts().size(), presented);
    return capture.last();
}

// An assertion report "Assertion failed:\n<expression>\n\nFile: <path>\nLine: <n>" as
// "<expression> @ <last part of path>:<n>"; any other text comes back as it is.
inline std::wstring assertionSite(const std::wstring& text) {
    const std::wstring head = L"Assertion failed:\n", file = L"\n\nFile: ", line = L"\nLine: ";
    const std::size_t fileAt = text.find(file), lineAt = text.rfind(line);
    if (text.rfind(head, 0) != 0 || fileAt == std::wstring::npos || lineAt == std::wstring::npos || lineAt < fileAt)
        return text;
    const std::wstring path = text.substr(fileAt + file.size(), lineAt - fileAt - file.size());
    return text.substr(head.size(), fileAt - head.size()) + L" @ " + path.substr(path.find_last_of(L"/\\") + 1) +
           L":" + text.substr(lineAt + line.size());
}

// Runs f(0) ... f(n - 1) on n threads at once and waits for all of them.
template <class F>
void runThreads(int n, F f) {
    std::vector<std::thread> threads;
    for (int t = 0; t < n; ++t)
        threads.emplace_back(f, t);
    for (auto& thread : threads)
        thread.join();
}

} // namespace vxtest
