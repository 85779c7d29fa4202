// Helpers shared by the unit tests.
#pragma once

#include <vxAssert.h>
#include <vxFile.h>
#include <vxModule.h>
#include <vxString.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace vxtest {

// Runs this test program again, in the caller's environment, its output discarded: the status
// std::system gives (-1 when the program's path is not known). The child does its part before any test.
inline int runSelf() {
    vx::file self;
    vx::getModuleFileName(nullptr, self);
    vx::nativePathText native;
    if (!self.nativePath(native))
        return -1;
#ifdef _WIN32
    return _wsystem((L"\"\"" + native + L"\" >NUL\"").c_str());
#else
    return std::system(("'" + native + "' >/dev/null").c_str());
#endif
}

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

// Runs f, which must fail an assertion: present `presented` texts and throw the bool false, which passes by
// handlers for std::exception. Answers the last text presented.
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

// What f throws: the message of an E (the library's exceptions), "bool" for a bool, "nothing" when f returns.
template <class E, class F>
std::wstring thrownMessage(F&& f) {
    try { f(); } catch (const E& e) { return e.message().string(); } catch (bool) { return L"bool"; }
    return L"nothing";
}

// Expects f to throw the bool false, the failure of the date and time types.
template <class F>
void expectThrowsFalse(F&& f, const char* what) {
    try {
        f();
        ADD_FAILURE() << "nothing thrown: " << what;
    } catch (bool value) {
        EXPECT_FALSE(value) << what;
    }
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

// Checks a guard of a global lock that is not recursive: a second guard on the holding thread fails the assertion
// "<name> not held by the calling thread", copies of a guard hold nothing, waiter() on another thread ends only
// after the first guard is gone, and whileHeld() runs while it waits.
template <class Guard, class F, class G>
void expectNonRecursiveLock(const std::wstring& name, F whileHeld, G waiter) {
    auto outer = std::make_unique<Guard>();
    const std::wstring site = assertionSite(failedAssertion([] { Guard inner; }));
    EXPECT_EQ(site.rfind(name + L" not held by the calling thread @ ", 0), 0u) << site;
    { Guard copy(*outer); copy = *outer; }
    failedAssertion([] { Guard inner; }); // still held by the first guard
    std::atomic<bool> done{false};
    std::thread other([&] { waiter(); done = true; });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(done);
    whileHeld();
    outer.reset(); // released once: the other thread goes on
    other.join();
    EXPECT_TRUE(done);
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

// Polls until the condition holds, at most the given time; false when it never did.
inline bool eventually(const std::function<bool()>& condition, int milliseconds = 5000) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Names of steps, added from any thread.
class lockedLog {
public:
    void add(const std::string& step) {
        std::lock_guard<std::mutex> held(mLock);
        mSteps.push_back(step);
    }
    std::vector<std::string> read() {
        std::lock_guard<std::mutex> held(mLock);
        return mSteps;
    }

private:
    std::mutex mLock;
    std::vector<std::string> mSteps;
};

// The descriptors the process has open; 0 on Windows, which has no list of them to count.
inline std::size_t openDescriptors() {
#ifdef _WIN32
    return 0;
#else
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
#endif
}

// Reproducible bytes of every value.
inline std::string randomBytes(std::size_t size, unsigned seed) {
    std::mt19937 generator(seed);
    std::string bytes(size, '\0');
    for (auto& b : bytes)
        b = static_cast<char>(generator() & 0xFF);
    return bytes;
}

// The CRC-32 bit by bit, independent of any table: the running value from crc, not inverted.
inline std::uint32_t crcRunning(const void* data, std::size_t size, std::uint32_t crc = 0xFFFFFFFFu) {
    const auto* p = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < size; ++i) {
        crc ^= p[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) ? (crc >> 1) ^ 0xEDB88320u : crc >> 1;
    }
    return crc;
}
inline std::uint32_t referenceCrc(const std::string& bytes) { return ~crcRunning(bytes.data(), bytes.size()); }

// Wide text as UTF-16LE bytes, surrogate pairs above U+FFFF, whatever the width of wchar_t.
inline std::string utf16le(const std::wstring& text) {
    std::string out;
    const auto unit = [&out](std::uint32_t u) { out += {static_cast<char>(u & 0xFF), static_cast<char>(u >> 8)}; };
    for (const wchar_t w : text) {
        const auto c = static_cast<std::uint32_t>(w); // on Windows already UTF-16 units
        if (c > 0xFFFF) {
            unit(0xD800 + ((c - 0x10000) >> 10));
            unit(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            unit(c);
        }
    }
    return out;
}

// The content of a binary buffer as bytes.
template <class Buffer>
std::string bytesOf(const Buffer& b) {
    return b.logicalLength() ? std::string(b.data(), b.logicalLength()) : std::string();
}

// For messages: gtest prints a std::wstring, but none of the classes derived from it.
inline const std::wstring& show(const std::wstring& text) { return text; }

// The Windows form of an ASCII native absolute path, '\' for '/': on other systems on the default
// drive table, where "C:" is "/". Built by hand: the platform tests have no library to call.
inline vx::string windowsForm(const std::string& native) {
#ifdef _WIN32
    std::wstring text;
#else
    std::wstring text = L"C:";
#endif
    for (const char c : native)
        text += c == '/' ? L'\\' : static_cast<wchar_t>(static_cast<unsigned char>(c));
    return vx::string(std::move(text));
}

// Gives an entry the permission bits mode (Windows: read-only unless the owner may write); false when it is missing.
inline bool setMode(const std::string& native, int mode) {
    std::error_code error;
    std::filesystem::permissions(native, static_cast<std::filesystem::perms>(mode),
                                 std::filesystem::perm_options::replace, error);
    return !error;
}

// A fresh temporary directory without symbolic links in its path. At the end it is removed with everything in
// it; directories get their owner's rights back first, so that read-only or unreadable ones do not keep the tree
// alive. Names below it are relative native paths.
class tempDir {
public:
    tempDir() {
        namespace fs = std::filesystem;
#ifdef _WIN32
        const fs::path base = fs::temp_directory_path();
#else
        const fs::path base = "/tmp"; // the system's own, whatever TMPDIR says
#endif
        static std::atomic<unsigned> serial{0};
        const auto tick = static_cast<unsigned long long>(std::chrono::steady_clock::now().time_since_epoch().count());
        for (int attempt = 0; attempt < 100 && mPath.empty(); ++attempt) {
            const fs::path candidate = base / ("vxTest." + std::to_string(tick % 1000000007ULL) + "." +
                                               std::to_string(serial++));
            std::error_code error;
            if (fs::create_directory(candidate, error))
                mPath = fs::canonical(candidate).generic_string();
        }
        EXPECT_FALSE(mPath.empty()) << "no temporary directory";
    }
    ~tempDir() {
        namespace fs = std::filesystem;
        std::error_code ignored;
        fs::permissions(mPath, fs::perms::owner_all, fs::perm_options::add, ignored);
        for (auto it = fs::recursive_directory_iterator(mPath, ignored); it != fs::recursive_directory_iterator();
             it.increment(ignored))
            if (!it->is_symlink(ignored) && it->is_directory(ignored))
                fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
        fs::remove_all(mPath, ignored);
    }
    tempDir(const tempDir&) = delete;
    tempDir& operator=(const tempDir&) = delete;

    const std::string& path() const { return mPath; }
    std::string operator/(const std::string& name) const { return name.empty() ? mPath : mPath + "/" + name; }
    vx::string windowsForm(const std::string& name = "") const { return vxtest::windowsForm(*this / name); }

    void makeDirs(const std::string& name) const { std::filesystem::create_directories(*this / name); }
    // Writes a file, with its missing parents, and then gives it the permission bits mode (as setMode).
    void makeFile(const std::string& name, const std::string& bytes = "x", int mode = 0644) const {
        namespace fs = std::filesystem;
        const fs::path native = *this / name;
        std::error_code ignored;
        fs::create_directories(native.parent_path(), ignored);
        fs::permissions(native, fs::perms::owner_read | fs::perms::owner_write, fs::perm_options::add, ignored);
        {
            std::ofstream out(native, std::ios::binary | std::ios::trunc);
            ASSERT_TRUE(out.is_open()) << native;
            out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
            EXPECT_TRUE(out.good()) << native;
        }
        fs::permissions(native, static_cast<fs::perms>(mode), fs::perm_options::replace, ignored);
    }
    // The bytes of a file, or "<missing>" when it cannot be opened.
    std::string read(const std::string& name) const {
        std::ifstream in(std::filesystem::path(*this / name), std::ios::binary);
        return in.is_open() ? std::string(std::istreambuf_iterator<char>(in), {}) : "<missing>";
    }
    // Whether the entry is there; a dangling link counts.
    bool has(const std::string& name) const {
        std::error_code ignored;
        return std::filesystem::symlink_status(*this / name, ignored).type() != std::filesystem::file_type::not_found;
    }
    // The permission bits (0777), or -1 when the entry is missing; on Windows 0555 when read-only, else 0777.
    int mode(const std::string& name) const {
        std::error_code error;
        const auto status = std::filesystem::status(*this / name, error);
        if (error || status.type() == std::filesystem::file_type::not_found)
            return -1;
        return static_cast<int>(status.permissions() & std::filesystem::perms::all);
    }
    // The number of entries in a directory.
    std::size_t count(const std::string& name = "") const {
        std::error_code ignored;
        const std::filesystem::directory_iterator entries(*this / name, ignored);
        return static_cast<std::size_t>(std::distance(entries, std::filesystem::directory_iterator()));
    }

private:
    std::string mPath;
};

// Sets environment variables, or removes them with a null value; at the end each is as before its first change.
class scopedEnvironment {
public:
    scopedEnvironment() = default;
    scopedEnvironment(const char* name, const char* value) { set(name, value); }
    scopedEnvironment(const char* name, const std::string& value) { set(name, value.c_str()); }
    ~scopedEnvironment() {
        for (auto it = mSaved.rbegin(); it != mSaved.rend(); ++it)
            put(std::get<0>(*it).c_str(), std::get<1>(*it) ? std::get<2>(*it).c_str() : nullptr);
    }
    scopedEnvironment(const scopedEnvironment&) = delete;
    scopedEnvironment& operator=(const scopedEnvironment&) = delete;

    void set(const char* name, const char* value) {
        const auto named = [name](const auto& entry) { return std::get<0>(entry) == name; };
        if (std::none_of(mSaved.begin(), mSaved.end(), named)) {
            const char* old = std::getenv(name);
            mSaved.emplace_back(name, old != nullptr, old ? old : "");
        }
        put(name, value);
    }
    void set(const char* name, const std::string& value) { set(name, value.c_str()); }

private:
    static void put(const char* name, const char* value) {
#ifdef _WIN32
        _putenv_s(name, value ? value : ""); // an empty value removes the variable
#else
        value ? ::setenv(name, value, 1) : ::unsetenv(name);
#endif
    }
    std::vector<std::tuple<std::string, bool, std::string>> mSaved;
};

// Works in another directory and goes back to the one before at the end.
class scopedCurrentDirectory {
public:
    explicit scopedCurrentDirectory(const std::string& path) : mOld(std::filesystem::current_path()) {
        std::error_code error;
        std::filesystem::current_path(path, error);
        EXPECT_FALSE(error) << path;
    }
    ~scopedCurrentDirectory() {
        std::error_code error;
        std::filesystem::current_path(mOld, error);
        EXPECT_FALSE(error);
    }
    scopedCurrentDirectory(const scopedCurrentDirectory&) = delete;
    scopedCurrentDirectory& operator=(const scopedCurrentDirectory&) = delete;

private:
    std::filesystem::path mOld;
};

// Adds what to errors unless ok.
inline void check(std::string& errors, bool ok, const char* what) {
    if (!ok)
        errors += std::string(what) + "; ";
}

#ifdef _WIN32
// Expects check() to answer true: Windows honours the read-only attribute for every user.
inline void expectUnprivileged(const std::function<bool()>& check) { EXPECT_TRUE(check()); }
#endif

} // namespace vxtest

#ifndef _WIN32
#include "testSupportPosix.h"
#endif
