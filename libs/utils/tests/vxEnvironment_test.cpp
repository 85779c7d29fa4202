#include <vxConfigSet.h>
#include <vxEnvironment.h>

#include "testSupport.h"

#ifdef _WIN32
#  define WIN32_LEAN_AND_MEAN
#  include <windows.h>
#else
#  include <sys/syscall.h>
#  include <unistd.h>
#endif

namespace {

std::string nativeValue(const char* name) { return ::getenv(name) ? ::getenv(name) : "-"; } // "-": not set

TEST(environment, setGetTheWholeBlockThreadsIdentityAndSleep) {
    vxtest::scopedEnvironment guard("VX_T_A", nullptr);
    guard.set("VX_T_B", nullptr);
    // The call, its result, and VX_T_A and VX_T_B afterwards.
    struct row { const wchar_t *name, *value; bool result; const char *a, *b; } rows[] = {
        {L"VX_T_A", L"x y", true, "x y", "-"}, {L"VX_T_A", L"\u00e9\U0001F600", true, "\xC3\xA9\xF0\x9F\x98\x80", "-"},
        {L"VX_T_B", L"1", true, "\xC3\xA9\xF0\x9F\x98\x80", "1"},
        {L"VX_T_A", L"", true, "-", "1"}, {L"VX_T_A", L"", true, "-", "1"}, // empty removes, also if unset
        {L"VX_T_B", nullptr, true, "-", "-"}, {L"VX_T_A=2", L"3", true, "2=3", "-"}, // null removes; name ends at '='
        {nullptr, L"v", false, "2=3", "-"}, {L"", L"v", false, "2=3", "-"}, {L"=VX_T_A", L"v", false, "2=3", "-"},
#ifndef _WIN32 // Windows keeps UTF-16 text as it is, lone surrogates included
        {L"VX_T_B", L"\xD800", false, "2=3", "-"}, // no native text holds a lone surrogate
#endif
    };
    for (const auto& r : rows) {
        EXPECT_EQ(vx::setEnvironmentVariable(r.name, r.value), r.result) << (r.name ? r.name : L"(null)");
        EXPECT_EQ(nativeValue("VX_T_A") + " | " + nativeValue("VX_T_B"), std::string(r.a) + " | " + r.b);
    }
    vx::string value = L"untouched";
    EXPECT_TRUE(vx::getEnvironmentVariable(L"VX_T_A", value) && value == L"2=3");
    for (const wchar_t* name : {L"VX_T_B", L"", L"VX_T_A=2", static_cast<const wchar_t*>(nullptr)})
        EXPECT_FALSE(vx::getEnvironmentVariable(name, value));
    EXPECT_EQ(value, L"2=3");
    // The whole block, added to what a set holds.
    guard.set("VX_T_A", "a=b");
#ifndef _WIN32 // an empty value removes a variable on Windows
    guard.set("VX_T_B", "");
#endif
    vx::configSet set;
    set.setValue(L"VX_T_OTHER", L"kept");
    EXPECT_TRUE(vx::getEnvironmentVariables(set));
    EXPECT_TRUE(set.getValue(L"VX_T_A", value) && value == L"a=b" && set.hasValue(L"VX_T_OTHER"));
#ifndef _WIN32
    EXPECT_TRUE(set.getValue(L"VX_T_B", value) && value.empty());
    std::size_t count = 0;
    for (char** entry = environ; *entry; ++entry)
        ++count;
    EXPECT_EQ(set.size(), count + 1);
    // Native text is bytes only on POSIX systems: those that are not UTF-8 survive the round trip.
    guard.set("VX_T_A", "a\xFF\xC3(\xED\xA0\x80");
    ASSERT_TRUE(vx::getEnvironmentVariable(L"VX_T_A", value));
    EXPECT_EQ(value, (std::wstring{L'a', 0xDCFF, 0xDCC3, L'(', 0xDCED, 0xDCA0, 0xDC80}));
    ASSERT_TRUE(vx::setEnvironmentVariable(L"VX_T_A", (value + L"!").c_str()));
    EXPECT_EQ(nativeValue("VX_T_A"), "a\xFF\xC3(\xED\xA0\x80!");
#endif
    // Threads set and read at the same time.
    for (const char* name : {"VX_T_0", "VX_T_1", "VX_T_2", "VX_T_3"})
        guard.set(name, nullptr);
    std::atomic<int> mismatches{0};
    vxtest::runThreads(4, [&mismatches](int t) {
        const std::wstring name = L"VX_T_" + std::to_wstring(t);
        for (int i = 0; i < 2000; ++i) {
            const std::wstring value = std::to_wstring(i) + std::wstring(i % 50, L'x');
            vx::setEnvironmentVariable(name.c_str(), value.c_str());
            vx::string read;
            mismatches += !vx::getEnvironmentVariable(name.c_str(), read) || read != value;
            if (vx::configSet all; i % 100 == 0)
                vx::getEnvironmentVariables(all);
        }
    });
    EXPECT_EQ(mismatches, 0);
    // The computer, process, thread and user, and sleep.
    vx::string name;
    EXPECT_TRUE(vx::getComputerName(name));
#ifdef _WIN32
    EXPECT_EQ(vx::getCurrentProcessId(), static_cast<unsigned long>(GetCurrentProcessId()));
    EXPECT_EQ(vx::getCurrentThreadId(), static_cast<unsigned long>(GetCurrentThreadId()));
    wchar_t host[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
    ASSERT_TRUE(GetComputerNameW(host, &size));
    EXPECT_EQ(name, vx::string(host));
#else
    EXPECT_EQ(vx::getCurrentProcessId(), static_cast<unsigned long>(::getpid()));
    EXPECT_EQ(vx::getCurrentThreadId(), static_cast<unsigned long>(::syscall(SYS_gettid)));
    // The id is kept after the first call; the child of a fork has its own.
    EXPECT_EQ(vxtest::inRestrictedChild(0, false, [](std::string& errors) {
        vxtest::check(errors, vx::getCurrentProcessId() == static_cast<unsigned long>(::getpid()), "parent's id");
    }), "");
    char host[256] = {};
    ASSERT_EQ(::gethostname(host, sizeof host - 1), 0);
    EXPECT_EQ(name, vx::string(std::wstring(host, host + std::char_traits<char>::length(host))));
#endif
    unsigned long other = 0;
    std::thread([&] { other = vx::getCurrentThreadId(); }).join();
    EXPECT_NE(other, vx::getCurrentThreadId());
    name.clear();
    EXPECT_TRUE(vx::getUserName(name) && !name.empty() && !vx::currentProcessIsWow64Process());
    const auto start = std::chrono::steady_clock::now();
    vx::sleep(30);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

} // namespace
