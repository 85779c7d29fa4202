// Helpers shared by the unit tests.
#pragma once

#include <vxAssert.h>
#include <vxString.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <tuple>
#include <unistd.h>
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

// Runs f(0) ... f(n - 1) on n threads at once and waits for all of them.
template <class F>
void runThreads(int n, F f) {
    std::vector<std::thread> threads;
    for (int t = 0; t < n; ++t)
        threads.emplace_back(f, t);
    for (auto& thread : threads)
        thread.join();
}

// For messages: gtest prints a std::wstring, but none of the classes derived from it.
inline const std::wstring& show(const std::wstring& text) { return text; }

// The Windows form of a native absolute path on the default drive table, where "C:" is "/":
// "C:" and the path with '\' for '/'. Each byte stands for one character, so keep to ASCII.
inline vx::string windowsForm(const std::string& native) {
    vx::string text = L"C:";
    for (const char c : native)
        text += c == '/' ? L'\\' : static_cast<wchar_t>(static_cast<unsigned char>(c));
    return text;
}

// A fresh temporary directory without symbolic links in its path. At the end it is removed with
// everything in it; directories get their owner's rights back first, so that read-only or
// unreadable ones do not keep the tree alive. Names below it are relative native paths.
class tempDir {
public:
    tempDir() {
        char pattern[] = "/tmp/vxTest.XXXXXX";
        EXPECT_NE(::mkdtemp(pattern), nullptr);
        mPath = std::filesystem::canonical(pattern).string();
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
    // Writes a file, with its missing parents, and then gives it the permission bits mode.
    void makeFile(const std::string& name, const std::string& bytes = "x", mode_t mode = 0644) const {
        const std::string native = *this / name;
        std::filesystem::create_directories(std::filesystem::path(native).parent_path());
        ::chmod(native.c_str(), 0600);
        const int fd = ::open(native.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ASSERT_GE(fd, 0) << native;
        EXPECT_EQ(::write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        ::close(fd);
        ::chmod(native.c_str(), mode);
    }
    // The bytes of a file, or "<missing>" when it cannot be opened.
    std::string read(const std::string& name) const {
        const int fd = ::open((*this / name).c_str(), O_RDONLY);
        if (fd < 0)
            return "<missing>";
        std::string bytes;
        char buffer[65536];
        for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;)
            bytes.append(buffer, static_cast<std::size_t>(n));
        ::close(fd);
        return bytes;
    }
    // Whether the entry is there; a dangling link counts.
    bool has(const std::string& name) const {
        struct stat info;
        return ::lstat((*this / name).c_str(), &info) == 0;
    }
    // The permission bits (0777), or -1 when the entry is missing.
    int mode(const std::string& name) const {
        struct stat info;
        return ::stat((*this / name).c_str(), &info) == 0 ? static_cast<int>(info.st_mode & 0777) : -1;
    }
    // The number of entries in a directory.
    std::size_t count(const std::string& name = "") const {
        std::error_code ignored;
        std::size_t n = 0;
        for (std::filesystem::directory_iterator it(*this / name, ignored), end; it != end; it.increment(ignored))
            ++n;
        return n;
    }

private:
    std::string mPath;
};

// Sets environment variables, or removes them with a null value, and restores each one as it was
// before its first change when it goes.
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
        bool saved = false;
        for (const auto& entry : mSaved)
            saved = saved || std::get<0>(entry) == name;
        if (!saved) {
            const char* old = std::getenv(name);
            mSaved.emplace_back(name, old != nullptr, old ? old : "");
        }
        put(name, value);
    }
    void set(const char* name, const std::string& value) { set(name, value.c_str()); }

private:
    static void put(const char* name, const char* value) { value ? ::setenv(name, value, 1) : ::unsetenv(name); }
    std::vector<std::tuple<std::string, bool, std::string>> mSaved;
};

// Works in another directory and goes back to the one before at the end.
class scopedCurrentDirectory {
public:
    explicit scopedCurrentDirectory(const std::string& path) : mOld(std::filesystem::current_path()) {
        EXPECT_EQ(::chdir(path.c_str()), 0) << path;
    }
    ~scopedCurrentDirectory() { EXPECT_EQ(::chdir(mOld.c_str()), 0); }
    scopedCurrentDirectory(const scopedCurrentDirectory&) = delete;
    scopedCurrentDirectory& operator=(const scopedCurrentDirectory&) = delete;

private:
    std::filesystem::path mOld;
};

// Expects check() to answer true for a user without special rights: the calling user, or, for the
// superuser, who may read and write everything, the user nobody in a child process.
inline void expectUnprivileged(const std::function<bool()>& check) {
    if (::geteuid() != 0) {
        EXPECT_TRUE(check());
        return;
    }
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (::setgid(65534) != 0 || ::setuid(65534) != 0)
            std::_Exit(2);
        std::_Exit(check() ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

// Runs body in a child process whose files may hold at most fileLimit bytes (0: no limit), as the
// user nobody when asNobody is set and the tests run as the superuser (who writes anywhere).
// Answers what the body reported as failed; empty when all went well.
inline std::string inRestrictedChild(rlim_t fileLimit, bool asNobody,
                                     const std::function<void(std::string&)>& body) {
    int channel[2];
    if (::pipe(channel) != 0)
        return "no pipe";
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close(channel[0]);
        std::string errors;
        std::signal(SIGXFSZ, SIG_IGN); // a write beyond the limit fails with EFBIG instead
        if (fileLimit > 0) {
            const rlimit limit{fileLimit, fileLimit};
            ::setrlimit(RLIMIT_FSIZE, &limit);
        }
        if (asNobody && ::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0))
            errors = "cannot become nobody";
        if (errors.empty())
            body(errors);
        [[maybe_unused]] const ssize_t n = ::write(channel[1], errors.data(), errors.size());
        ::_exit(0);
    }
    ::close(channel[1]);
    std::string report;
    char chunk[256];
    for (ssize_t n; (n = ::read(channel[0], chunk, sizeof chunk)) > 0;)
        report.append(chunk, static_cast<std::size_t>(n));
    ::close(channel[0]);
    int status = 0;
    ::waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        report += " child ended abnormally";
    return report;
}

// Adds what to errors unless ok.
inline void check(std::string& errors, bool ok, const char* what) {
    if (!ok)
        errors += std::string(what) + "; ";
}

} // namespace vxtest
