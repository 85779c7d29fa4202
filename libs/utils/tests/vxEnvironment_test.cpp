#include <vxConfigSet.h>
#include <vxEnvironment.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

// Removes the named variables for the test and restores them afterwards.
struct environmentGuard {
    explicit environmentGuard(std::vector<std::string> n) : names(std::move(n)) {
        for (const std::string& name : names) {
            const char* value = ::getenv(name.c_str());
            saved.emplace_back(value != nullptr, value ? value : "");
            ::unsetenv(name.c_str());
        }
    }
    ~environmentGuard() {
        for (std::size_t i = 0; i < names.size(); ++i)
            saved[i].first ? ::setenv(names[i].c_str(), saved[i].second.c_str(), 1) : ::unsetenv(names[i].c_str());
    }
    std::vector<std::string> names;
    std::vector<std::pair<bool, std::string>> saved;
};

std::string nativeValue(const char* name) {
    const char* value = ::getenv(name);
    return value ? value : "<unset>";
}

TEST(environment, setAndGetFollowPutenvRules) {
    environmentGuard guard({"VX_T_A", "VX_T_B"});
    struct row {
        const wchar_t* name;
        const wchar_t* value;
        bool result;
        const char* a; // VX_T_A afterwards
        const char* b; // VX_T_B afterwards
    };
    const row rows[] = {
        {L"VX_T_A", L"x y", true, "x y", "<unset>"},
        {L"VX_T_A", L"\u00e9\U0001F600", true, "\xC3\xA9\xF0\x9F\x98\x80", "<unset>"},
        {L"VX_T_B", L"1", true, "\xC3\xA9\xF0\x9F\x98\x80", "1"},
        {L"VX_T_A", L"", true, "<unset>", "1"},      // empty value removes
        {L"VX_T_A", L"", true, "<unset>", "1"},      // also when already unset
        {L"VX_T_B", nullptr, true, "<unset>", "<unset>"}, // null value removes
        {L"VX_T_A=2", L"3", true, "2=3", "<unset>"}, // the name ends at the first '='
        {nullptr, L"v", false, "2=3", "<unset>"},
        {L"", L"v", false, "2=3", "<unset>"},
        {L"=VX_T_A", L"v", false, "2=3", "<unset>"},
        {L"VX_T_B", L"\xD800", false, "2=3", "<unset>"}, // no native text holds a lone surrogate
    };
    for (const row& r : rows) {
        EXPECT_EQ(vx::setEnvironmentVariable(r.name, r.value), r.result) << (r.name ? r.name : L"(null)");
        EXPECT_EQ(nativeValue("VX_T_A"), r.a);
        EXPECT_EQ(nativeValue("VX_T_B"), r.b);
    }

    vx::string value = L"untouched";
    EXPECT_TRUE(vx::getEnvironmentVariable(L"VX_T_A", value));
    EXPECT_EQ(value, L"2=3");
    for (const wchar_t* name : {L"VX_T_B", L"", L"VX_T_A=2", static_cast<const wchar_t*>(nullptr)})
        EXPECT_FALSE(vx::getEnvironmentVariable(name, value));
    EXPECT_EQ(value, L"2=3");
}

TEST(environment, bytesThatAreNotUtf8SurviveTheRoundTrip) {
    environmentGuard guard({"VX_T_A"});
    ::setenv("VX_T_A", "a\xFF\xC3(\xED\xA0\x80", 1);
    vx::string value;
    ASSERT_TRUE(vx::getEnvironmentVariable(L"VX_T_A", value));
    EXPECT_EQ(value, (std::wstring{L'a', 0xDCFF, 0xDCC3, L'(', 0xDCED, 0xDCA0, 0xDC80}));
    ASSERT_TRUE(vx::setEnvironmentVariable(L"VX_T_A", (value + L"!").c_str()));
    EXPECT_EQ(nativeValue("VX_T_A"), "a\xFF\xC3(\xED\xA0\x80!");
}

TEST(environment, getEnvironmentVariablesAddsEveryVariable) {
    environmentGuard guard({"VX_T_A", "VX_T_B"});
    ::setenv("VX_T_A", "a=b", 1);
    ::setenv("VX_T_B", "", 1);
    vx::configSet set;
    set.setValue(L"VX_T_OTHER", L"kept");
    EXPECT_TRUE(vx::getEnvironmentVariables(set));
    vx::string value;
    EXPECT_TRUE(set.getValue(L"VX_T_A", value) && value == L"a=b");
    EXPECT_TRUE(set.getValue(L"VX_T_B", value) && value.empty());
    EXPECT_TRUE(set.hasValue(L"VX_T_OTHER"));
    std::size_t count = 0;
    for (char** entry = environ; *entry; ++entry)
        ++count;
    EXPECT_EQ(set.size(), count + 1);
}

TEST(environment, threadsSetAndReadAtTheSameTime) {
    environmentGuard guard({"VX_T_0", "VX_T_1", "VX_T_2", "VX_T_3"});
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &mismatches] {
            const std::wstring name = L"VX_T_" + std::to_wstring(t);
            for (int i = 0; i < 2000; ++i) {
                const std::wstring value = std::to_wstring(i) + std::wstring(i % 50, L'x');
                vx::setEnvironmentVariable(name.c_str(), value.c_str());
                vx::string read;
                if (!vx::getEnvironmentVariable(name.c_str(), read) || read != value)
                    ++mismatches;
                if (i % 100 == 0) {
                    vx::configSet all;
                    vx::getEnvironmentVariables(all);
                }
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches.load(), 0);
}

TEST(environment, identity) {
    EXPECT_EQ(vx::getCurrentProcessId(), static_cast<unsigned long>(::getpid()));
    EXPECT_EQ(vx::getCurrentThreadId(), static_cast<unsigned long>(::syscall(SYS_gettid)));
    unsigned long other = 0;
    std::thread([&] { other = vx::getCurrentThreadId(); }).join();
    EXPECT_NE(other, vx::getCurrentThreadId());

    char host[256] = {};
    ASSERT_EQ(::gethostname(host, sizeof host - 1), 0);
    vx::string name;
    EXPECT_TRUE(vx::getComputerName(name));
    EXPECT_EQ(name, vx::string(std::wstring(host, host + std::char_traits<char>::length(host))));
    name.clear();
    EXPECT_TRUE(vx::getUserName(name));
    EXPECT_FALSE(name.empty());
    EXPECT_FALSE(vx::currentProcessIsWow64Process());
}

TEST(environment, sleepWaitsAtLeastTheTime) {
    const auto start = std::chrono::steady_clock::now();
    vx::sleep(30);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
    vx::sleep(0); // returns
}

} // namespace
