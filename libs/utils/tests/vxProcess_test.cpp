#include <vxConfigSet.h>
#include <vxDirectory.h>
#include <vxEnvironment.h>
#include <vxProcess.h>

#include "logTestSupport.h"
#include "testSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <list>
#include <sstream>
#include <string>
#include <vector>

namespace {

using vxtest::eventually;

#ifdef _WIN32
const vx::string kChild = L"vxProcessChild.exe";
// No console window for each child of the tests.
constexpr int kQuiet = 0x08000000;
#else
const vx::string kChild = L"vxProcessChild";
constexpr int kQuiet = 0;
#endif

// One start of the child, which writes its report into a folder of its own.
struct childRun {
    vxtest::tempDir folder;
    unsigned long id = 0;
    void* process = nullptr;
    void* thread = nullptr;

    bool start(const std::string& code, const std::string& sleepMs, const vx::string& extra, int flags,
               const vx::configSet* environment = nullptr, const vx::directory& where = vx::directory()) {
        const std::string report = folder / "report";
        vx::string arguments = L"\"" + vx::string(report.begin(), report.end()) + L"\" " + vx::string(code.begin(), code.end()) +
                               L" " + vx::string(sleepMs.begin(), sleepMs.end());
        if (!extra.empty())
            arguments += L" " + extra;
        return environment ? vx::startProcess(kChild, arguments, *environment, flags | kQuiet, &id, &process, &thread,
                                              where)
                           : vx::startProcess(kChild, arguments, flags | kQuiet, &id, &process, &thread, where);
    }
    // The lines of the report that begin with key, without it; waits for the report to appear.
    std::vector<std::string> report(const std::string& key) const {
        // Complete once its last line is there (the file may be held a moment after it appears).
        std::string text;
        const bool written = eventually(
            [&] { return (text = folder.read("report")).size() >= 4 && text.compare(text.size() - 4, 4, "end\n") == 0; },
            20000);
        EXPECT_TRUE(written) << "no report from the child: " << text;
        std::vector<std::string> values;
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);)
            if (line.compare(0, key.size(), key) == 0)
                values.push_back(line.substr(key.size()));
        return values;
    }
    long exitCode() const {
        long code = -2;
        eventually([&] { return vx::getExitCodeProcess(process, &code) && code != vx::kStillActive; }, 20000);
        return code;
    }
    ~childRun() {
        if (process && vx::processIsRunning(id))
            vx::terminateProcess(id);
        vx::closeHandle(process);
        vx::closeHandle(thread);
    }
};

// --- the command line reaches the child split as a Windows program splits it ----------------------

TEST(startProcess, argumentsAreSplitAsTheWindowsRuntimeSplitsThem) {
    const struct {
        const wchar_t* arguments;
        std::vector<std::string> received;
    } cases[] = {
        {L"plain", {"plain"}},
        {L"two  words\tand tab", {"two", "words", "and", "tab"}},
        {L"\"with space\" after", {"with space", "after"}},
        {L"\"\"", {""}},
        {L"a\\\"b", {"a\"b"}},                       // \" is a quote
        {L"a\\\\\\\"b", {"a\\\"b"}},                 // \\\" is a backslash and a quote
        {L"a\\\\b c\\", {"a\\\\b", "c\\"}},          // backslashes not before a quote stand
        {L"\"a\\\\\" b", {"a\\", "b"}},              // \\" is a backslash, the quote closes
        {L"\"a b\"c\" d\"", {"a bc d"}},             // quoting opens and closes within a word
        {L"\"say \"\"hi\"\"\"", {"say \"hi\""}},     // "" inside quotes is one quote
        {L"C:\\Program\" \"Files\\x", {"C:\\Program Files\\x"}},
        {L"gr\u00f6\u00dfe \u20ac", {"gr\xc3\xb6\xc3\x9f" "e", "\xe2\x82\xac"}}, // UTF-8 in the report
    };
    // All at once: each child writes its own report.
    std::list<childRun> runs;
    for (const auto& c : cases)
        ASSERT_TRUE(runs.emplace_back().start("0", "0", c.arguments, 0)) << vxtest::show(c.arguments);
    auto run = runs.begin();
    for (const auto& c : cases) {
        std::vector<std::string> received = (run++)->report("arg:");
        ASSERT_GE(received.size(), 3u) << vxtest::show(c.arguments);
        received.erase(received.begin(), received.begin() + 3);
        EXPECT_EQ(received, c.received) << vxtest::show(c.arguments);
    }
}

TEST(startProcess, quotedArgumentsArriveUnchanged) {
    const std::vector<std::wstring> values = {L"plain", L"", L"a b", L"a\"b", L"a\\", L"a\\\"b", L"tab\there",
                                              L"C:\\dir with space\\", L"\\\\server\\\"share\"\\"};
    vx::string arguments;
    std::vector<std::string> expected;
    for (const std::wstring& value : values) {
        arguments += vx::quoteArgument(value) + L" ";
        expected.push_back(vx::string(value).getMBCS());
    }
    EXPECT_EQ(vx::quoteArgument(L"plain"), L"plain");
    EXPECT_EQ(vx::quoteArgument(L"a\\ b\\"), L"\"a\\ b\\\\\"");
    childRun run;
    ASSERT_TRUE(run.start("0", "0", arguments, 0));
    std::vector<std::string> received = run.report("arg:");
    ASSERT_GE(received.size(), 3u);
    received.erase(received.begin(), received.begin() + 3);
    EXPECT_EQ(received, expected);
}

// --- environment, working directory and priority ---------------------------------------------------

TEST(startProcess, environmentIsAddedToTheInheritedOne) {
    vxtest::scopedEnvironment inherited("VX_CHILD_INHERITED", "kept");
    vx::configSet added;
    added.setValue(L"VX_CHILD_VALUE", L"a = b \u00e9");
    childRun withSet, without;
    ASSERT_TRUE(withSet.start("0", "0", L"", vx::kStartWaitForEnd, &added));
    EXPECT_EQ(withSet.report("env:"), std::vector<std::string>{"a = b \xc3\xa9|kept"});
    ASSERT_TRUE(without.start("0", "0", L"", vx::kStartWaitForEnd));
    EXPECT_EQ(without.report("env:"), std::vector<std::string>{"<unset>|kept"});
}

TEST(startProcess, theWorkingDirectoryIsTheChildsCurrentOne) {
    vxtest::tempDir where;
    where.makeDirs("sub dir");
    childRun run;
    ASSERT_TRUE(run.start("0", "0", L"", vx::kStartWaitForEnd, nullptr, vx::directory(where.windowsForm("sub dir"))));
    EXPECT_EQ(run.report("cwd:"), std::vector<std::string>{where.windowsForm("sub dir").getMBCS() + "\\"});

    // A directory that does not exist fails the start and leaves the outputs alone.
    unsigned long id = 7;
    void* handle = &id;
    EXPECT_FALSE(vx::startProcess(kChild, L"x 0 0", kQuiet, &id, &handle, nullptr,
                                  vx::directory(where.windowsForm("missing"))));
    EXPECT_EQ(id, 7ul);
    EXPECT_EQ(handle, &id);
}

TEST(startProcess, thePriorityBitsSetTheChildsLevel) {
    // The first bit set from the top of the list wins. A level above the caller's needs a
    // privilege on POSIX systems; without one the child keeps the caller's.
    const struct {
        int flags;
        int nice;
        unsigned long priorityClass;
        bool raises;
    } cases[] = {
        {0x10 | 0x400, -20, 0x100, true}, {0x20 | 0x80, -10, 0x80, true}, {0x40, -5, 0x8000, true},
        {0x80, 0, 0x20, false},           {0x100, 5, 0x4000, false},      {0x200 | 0x400, 10, 0x4000, false},
        {0x400, 19, 0x40, false},
    };
    std::list<childRun> runs;
    for (const auto& c : cases)
        ASSERT_TRUE(runs.emplace_back().start("0", "0", L"", c.flags)) << c.flags;
    auto next = runs.begin();
    for (const auto& c : cases) {
        const childRun& run = *next++;
#ifdef _WIN32
        char expected[32];
        std::snprintf(expected, sizeof expected, "%lx", c.priorityClass);
        const std::vector<std::string> level = run.report("class:");
        // Without the privilege the system gives the high class for the real-time one.
        if (c.flags & 0x10)
            EXPECT_TRUE(level == std::vector<std::string>{"100"} || level == std::vector<std::string>{"80"});
        else
            EXPECT_EQ(level, std::vector<std::string>{expected}) << c.flags;
#else
        const std::vector<std::string> level = run.report("nice:");
        ASSERT_EQ(level.size(), 1u);
        const int nice = std::stoi(level[0]);
        if (c.raises)
            EXPECT_TRUE(nice == c.nice || nice == 0) << c.flags << ": " << nice;
        else
            EXPECT_EQ(nice, c.nice) << c.flags;
#endif
    }
}

// --- exit codes, waiting, running and ending ------------------------------------------------------

TEST(startProcess, exitCodesAreReadBackAfterTheWait) {
    for (const char* code : {"0", "1", "42", "255"}) {
        childRun run;
        ASSERT_TRUE(run.start(code, "0", L"", vx::kStartWaitForEnd));
        // The wait returned after the end: the code is there at once.
        long read = -1;
        ASSERT_TRUE(vx::getExitCodeProcess(run.process, &read));
        EXPECT_EQ(read, std::stol(code));
        EXPECT_FALSE(vx::processIsRunning(run.id));
    }
}

TEST(startProcess, aRunningChildIsStillActiveUntilItIsEnded) {
    childRun run;
    ASSERT_TRUE(run.start("3", "60000", L"", 0));
    ASSERT_FALSE(run.report("arg:").empty());
    long code = 0;
    ASSERT_TRUE(vx::getExitCodeProcess(run.process, &code));
    EXPECT_EQ(code, vx::kStillActive);
    EXPECT_TRUE(vx::processIsRunning(run.id));
    EXPECT_NE(vx::processIsRunning(kChild), 0ul);
    EXPECT_NE(vx::processIsRunning(vx::string(kChild).upper()), 0ul) << "names compare without case";

    ASSERT_TRUE(vx::terminateProcess(run.id));
    const long ended = run.exitCode();
    EXPECT_NE(ended, vx::kStillActive);
    EXPECT_NE(ended, 3);
    EXPECT_TRUE(eventually([&] { return !vx::processIsRunning(run.id); }));
    EXPECT_NE(vx::processIsRunning(kChild), run.id);
}

TEST(processIsRunning, thisProcessIsFoundByNameButNotElsewhere) {
    vx::file self;
    ASSERT_TRUE(vx::getModuleFileName(static_cast<void*>(nullptr), self));
    const vx::string name = self.fullName().substr(self.fullName().rfind(L'\\') + 1);
    EXPECT_NE(vx::processIsRunning(name), 0ul);
    const unsigned long elsewhere = vx::processIsRunningElsewhere(name);
    EXPECT_NE(elsewhere, vx::getCurrentProcessId());
    if (elsewhere == 0) {
        EXPECT_EQ(vx::processIsRunning(name), vx::getCurrentProcessId());
    }
    for (const wchar_t* none : {L"", L"noSuchProgram.exe", L"vxProcess"})
        EXPECT_EQ(vx::processIsRunning(none), 0ul) << vxtest::show(none);
}

// --- failures answer false, 0 or null -----------------------------------------------------------

TEST(processFailures, badInputsAnswerWithoutHarm) {
    unsigned long id = 9;
    EXPECT_FALSE(vx::startProcess(L"noSuchProgram", L"", kQuiet, &id, nullptr, nullptr, vx::directory()));
    EXPECT_FALSE(vx::startProcess(L"", L"", kQuiet, &id, nullptr, nullptr, vx::directory()));
    EXPECT_EQ(id, 9ul);
    long code = 5;
    int local = 0;
    EXPECT_FALSE(vx::getExitCodeProcess(nullptr, &code));
    EXPECT_FALSE(vx::getExitCodeProcess(&local, &code));
    EXPECT_EQ(code, 5);
    vx::closeHandle(nullptr);
    EXPECT_FALSE(vx::terminateProcess(0));
    EXPECT_FALSE(vx::processToTop(0));

    childRun run;
    ASSERT_TRUE(run.start("0", "0", L"", vx::kStartWaitForEnd));
    EXPECT_FALSE(vx::getExitCodeProcess(run.process, nullptr));
    EXPECT_FALSE(vx::getExitCodeProcess(run.thread, &code)) << "a thread handle is no process handle";
#ifndef _WIN32
    // Systems without windows have no main window to show.
    EXPECT_EQ(vx::mainHWND(), nullptr);
    EXPECT_FALSE(vx::processToTop(vx::getCurrentProcessId()));
#endif
}

#ifndef _WIN32
// --- no ended child stays behind as a zombie --------------------------------------------------------

bool zombieLeft(unsigned long id) {
    return std::filesystem::exists("/proc/" + std::to_string(id));
}

TEST(processReaping, endedChildrenAreReapedWhateverBecameOfTheirHandles) {
    vxtest::tempDir folder;
    const std::string report = folder / "r";
    const vx::string arguments = L"\"" + vx::string(report.begin(), report.end()) + L"\" 0 ";
    // No handle asked for: reaped by the next call of the service once it has ended.
    unsigned long unheld = 0;
    ASSERT_TRUE(vx::startProcess(kChild, arguments + L"0", 0, &unheld, nullptr, nullptr, vx::directory()));
    // A handle closed while the child runs.
    unsigned long released = 0;
    void* handle = nullptr;
    ASSERT_TRUE(vx::startProcess(kChild, arguments + L"200", 0, &released, &handle, nullptr, vx::directory()));
    vx::closeHandle(handle);
    // A handle kept: the look at the exit code reaps.
    childRun held;
    ASSERT_TRUE(held.start("0", "0", L"", 0));
    EXPECT_EQ(held.exitCode(), 0);
    EXPECT_FALSE(zombieLeft(held.id));

    EXPECT_TRUE(eventually([&] {
        vx::processIsRunning(L"anything");
        return !zombieLeft(unheld) && !zombieLeft(released);
    }));
}

TEST(startNotepad, theUsersEditorGetsTheFileAndTheBoolWaits) {
    vxtest::tempDir folder;
    folder.makeFile("notes with space.txt", "text");
    // The editor variable may hold options after the program; the file comes last.
    const std::string childPath = std::filesystem::read_symlink("/proc/self/exe").parent_path().string() +
                                  "/vxProcessChild";
    vxtest::scopedEnvironment editor("VISUAL", childPath + " \"" + (folder / "report") + "\" 0 0");
    ASSERT_TRUE(vx::startNotepad(folder.windowsForm("notes with space.txt"), true));
    EXPECT_NE(folder.read("report").find("arg:" + (folder / "notes with space.txt") + "\n"), std::string::npos)
        << folder.read("report");
    vxtest::scopedEnvironment missing("VISUAL", "/no/such/editor");
    EXPECT_FALSE(vx::startWrite(folder.windowsForm("notes with space.txt"), false));
}
#endif

// --- the trace of a start ------------------------------------------------------------------------

TEST(startProcess, theStartIsTracedStepByStep) {
    vxtest::logHome home(vxtest::logConfig("enabled=\"true\" level=\"trace\"", "", "format=\"%m\""));
    vx::configSet added;
    added.setValue(L"VX_CHILD_VALUE", L"v");
    childRun run;
    ASSERT_TRUE(run.start("0", "0", L"x", vx::kStartWaitForEnd, &added));
    std::vector<std::string> lines;
    for (const std::string& line : home.lines(1))
        if (line.find("startProcess") != std::string::npos || line.find("executable") != std::string::npos ||
            line.find("commandline") != std::string::npos || line.find("environment") != std::string::npos)
            lines.push_back(line);
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0], "vx::startProcess entered");
    EXPECT_EQ(lines[1], "trying to start executable \"" + kChild.getMBCS() + "\"");
    // The program found beside the tests, in quotes, then the arguments as given.
    EXPECT_EQ(lines[2].rfind("commandline: \"", 0), 0u) << lines[2];
    EXPECT_NE(lines[2].find(kChild.getMBCS() + "\" \""), std::string::npos) << lines[2];
    EXPECT_EQ(lines[2].substr(lines[2].size() - 6), " 0 0 x") << lines[2];
    EXPECT_EQ(lines[3], "added to environment: VX_CHILD_VALUE=v");
}

} // namespace
