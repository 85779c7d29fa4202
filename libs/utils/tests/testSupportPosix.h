// Helpers of the unit tests that need a POSIX system: users, child processes, resource limits.
#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vxtest {

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

} // namespace vxtest
