#include "vxLogManager.h"

#include "logTestSupport.h"
#include "testSupport.h"
#include "vxEnvironment.h"
#include "vxFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

using vxlog::logManager;
using vxtest::logConfig;
using vxtest::logHome;

const std::string kRootOn = "enabled=\"true\" level=\"info\"";

std::string narrow(const vx::string& text) {
    return text.getMBCS();
}

TEST(logManager, withoutConfigurationNothingHappens) {
    logHome home;
    const auto disabled = logManager::getLogger("anything");
    ASSERT_TRUE(disabled);
    EXPECT_FALSE(disabled->isEnabled());
    EXPECT_EQ(disabled->level(), vxlog::none);
    EXPECT_EQ(logManager::getLogger(L"root"), disabled);
    EXPECT_FALSE(logManager::getInstance()->isActive());
    EXPECT_FALSE(logManager::getInstance()->startFailed());
    EXPECT_FALSE(vxlog::logUtils::locCfgExists());
    disabled->log_ui(L"lost", "f", 1, "c");
    EXPECT_FALSE(home.home().has("Velmora"));
}

TEST(logManager, nameMatching) {
    logHome home(logConfig("enabled=\"true\" level=\"ui\"",
                           "<Foo enabled=\"true\" level=\"info\"/>"
                           "<app.io enabled=\"true\" level=\"debug\"/>"
                           "<App::IO::Reader enabled=\"false\" level=\"trace\"/>"
                           "<app.net enabled=\"True\" level=\"trace\"/>"));
    const auto root = logManager::getInstance()->getRootLogger();
    ASSERT_TRUE(root);
    EXPECT_EQ(root->id(), vx::string(L"root"));
    const auto classes = logManager::getInstance()->logClasses();
    ASSERT_EQ(classes.size(), 4u);
    const auto foo = classes.at("foo");
    const auto io = classes.at("app.io");
    EXPECT_EQ(io->level(), vxlog::debug);
    EXPECT_FALSE(classes.at("app.io.reader")->isEnabled());
    EXPECT_FALSE(classes.at("app.net")->isEnabled()); // "True" is not "true"
    struct row {
        const char* name;
        vxlog::logger* expected;
    };
    const row rows[] = {
        {"foo", foo},           {"Foo::Bar", foo},        {"FOO.bar.baz", foo}, {"foo.", foo},
        {"fo", root},           {"foobar", root},         {"app.io", io},       {"APP::io::reader", io},
        {"app.io.reader.x", io}, {"app.i", root},         {"app.iox", root},    {"app", root},
        {"root", root},         {"ROOT", root},           {"app.net", root},    {"", root},
        {"bar.foo", root},
    };
    for (const auto& r : rows) {
        EXPECT_EQ(logManager::getLogger(r.name).get(), r.expected) << r.name;
        EXPECT_EQ(logManager::getLogger(vx::string::fromMBCtoWC(r.name)).get(), r.expected) << r.name; // remembered
    }
    // A new table of classes is not answered from the names resolved before.
    logManager::getInstance()->setLogClasses({});
    EXPECT_EQ(logManager::getLogger("foo").get(), root.get());
}

TEST(logManager, activationRule) {
    struct row {
        const char* root;
        const char* classes;
        bool active;
    };
    const row rows[] = {
        {"enabled=\"true\" level=\"info\"", "", true},
        {"enabled=\"true\" level=\"none\"", "", false},
        {"enabled=\"true\" level=\"none\"", "<a enabled=\"true\" level=\"trace\"/>", true},
        {"enabled=\"true\" level=\"none\"", "<a enabled=\"false\" level=\"trace\"/>", false},
        {"enabled=\"true\" level=\"none\"", "<a enabled=\"true\" level=\"none\"/>", false},
        {"enabled=\"false\" level=\"info\"", "<a enabled=\"true\" level=\"trace\"/>", false},
        {"enabled=\"TRUE\" level=\"info\"", "", false},
        {"level=\"info\"", "", false},
        {"enabled=\"true\" level=\"bogus\"", "", false},
    };
    for (const auto& r : rows) {
        logHome home(logConfig(r.root, r.classes));
        logManager::getLogger("a");
        EXPECT_EQ(logManager::getInstance()->isActive(), r.active) << r.root << r.classes;
    }
    // A configuration without a root logger.
    logHome home("<logconfig><classes><a enabled=\"true\" level=\"trace\"/></classes></logconfig>");
    EXPECT_FALSE(logManager::getLogger("a")->isEnabled());
    EXPECT_FALSE(logManager::getInstance()->isActive());
}

TEST(logManager, globalsThatDoNotConvertKeepTheDefaults) {
    struct row {
        const char* globals;
        unsigned count;
        unsigned long size;
    };
    const row rows[] = {
        {"maxfilecount=\"7\" maxfilesize=\"123\"", 7, 123},
        {"maxfilecount=\"x\" maxfilesize=\"-1\"", 3, 2000000},
        {"maxfilecount=\"99999999999\" maxfilesize=\"4294967296\"", 3, 2000000},
        {"maxfilecount=\"0\" maxfilesize=\"0\"", 1, 0},           // a ring has at least one file
        {"maxfilecount=\"4000000000\" maxfilesize=\"4294967295\"", 1000, 4294967295ul}, // and at most 1000
        {"", 3, 2000000},
    };
    for (const auto& r : rows) {
        logHome home(logConfig(kRootOn, "", r.globals));
        logManager::getInstance();
        const auto settings = vxlog::logSettings::getInstance();
        EXPECT_EQ(settings->maxFileCount(), r.count) << r.globals;
        EXPECT_EQ(settings->maxFileSize(), r.size) << r.globals;
        EXPECT_EQ(settings->formatSpecifier(), vxlog::logUtils::defaultFormatSpecifier());
    }
}

TEST(logManager, aMalformedConfigurationLeavesLoggingOff) {
    logHome home("<logconfig><root enabled=\"true\" level=\"info\"></logconfig");
    EXPECT_FALSE(logManager::getLogger("a")->isEnabled());
    EXPECT_TRUE(logManager::getInstance()->startFailed());
    EXPECT_FALSE(logManager::getInstance()->isActive());
    EXPECT_FALSE(home.home().has(logHome::processDir()));
}

TEST(logSettings, rolling) {
    struct row {
        const char* what;
        const char* globals;
        std::vector<std::string> messages;
        std::vector<std::vector<std::string>> files; // the contents of files 1, 2, 3
        unsigned index;
    };
    const row rows[] = {
        {"exactly the size does not roll; one byte more does", "maxfilesize=\"10\" maxfilecount=\"3\"",
         {"123456789", "a", "b"}, {{"123456789", "a"}, {"b"}, {}}, 2},
        {"one file: removed and made again", "maxfilesize=\"1\" maxfilecount=\"1\"",
         {"aa", "b", "c"}, {{"c"}, {}, {}}, 1},
        {"the index wraps", "maxfilesize=\"1\" maxfilecount=\"3\"",
         {"1", "2", "3", "4", "5"}, {{"4"}, {"5"}, {"3"}}, 2},
        {"below the size", "maxfilesize=\"100\"", {"1", "2", "3"}, {{"1", "2", "3"}, {}, {}}, 1},
    };
    for (const auto& r : rows) {
        logHome home(logConfig("enabled=\"true\" level=\"trace\"", "",
                               std::string(r.globals) + " format=\"%m\""));
        const auto l = logManager::getLogger("x");
        for (const auto& m : r.messages)
            l->log_info(vx::string::fromMBCtoWC(m.c_str()), "f", 1, "c");
        for (unsigned i = 0; i < 3; ++i)
            EXPECT_EQ(home.lines(i + 1), r.files[i]) << r.what << ", file " << i + 1;
        EXPECT_EQ(vxlog::logSettings::getInstance()->currentIndex(), r.index) << r.what;
    }
}

// Lines go to a file kept open; one removed between two lines is made again, as when each line
// opened it. (Windows reports the pending deletion of an open file, by which it is noticed there;
// Wine, which runs the Windows tests, does not, so the test runs on POSIX systems.)
#ifndef _WIN32
TEST(logSettings, aFileRemovedBetweenLinesIsMadeAgain) {
    logHome home(logConfig("enabled=\"true\" level=\"trace\"", "", "format=\"%m\""));
    const auto l = logManager::getLogger("x");
    l->log_info(L"before", "f", 1, "c");
    ASSERT_EQ(home.lines(1), std::vector<std::string>{"before"});
    ASSERT_TRUE(vx::file(home.home().windowsForm(logHome::logFile(1))).remove());
    l->log_info(L"after", "f", 1, "c");
    EXPECT_EQ(home.lines(1), std::vector<std::string>{"after"});
}
#endif

TEST(logSettings, restartContinuesInTheNewestFile) {
    struct row {
        const char* what;
        std::vector<int> ages; // seconds before now per file 1, 2, 3; -1: missing
        unsigned index;
    };
    const row rows[] = {
        {"number 2 newest", {300, 100, 200}, 2},
        {"number 3 newest", {300, 200, 100}, 3},
        {"number 1 newest", {100, 200, 300}, 1},
        {"a tie goes to the higher index", {100, 100, 200}, 2},
        {"all alike", {100, 100, 100}, 3},
        {"number 1 missing: it stays", {-1, 100, 200}, 1},
        {"nothing there", {-1, -1, -1}, 1},
    };
    for (const auto& r : rows) {
        logHome home(logConfig("enabled=\"true\" level=\"trace\"", "", "format=\"%m\""));
        const std::int64_t now = vx::file(home.home().windowsForm()).lastModificationTime();
        for (unsigned i = 0; i < 3; ++i) {
            if (r.ages[i] < 0)
                continue;
            home.home().makeFile(logHome::logFile(i + 1), "old\n");
            vx::file(home.home().windowsForm(logHome::logFile(i + 1))).setLastModificationTime(now - r.ages[i]);
        }
        logManager::getLogger("x")->log_info(L"new", "f", 1, "c");
        EXPECT_EQ(vxlog::logSettings::getInstance()->currentIndex(), r.index) << r.what;
        EXPECT_EQ(home.lines(r.index).back(), "new") << r.what;
    }
}

TEST(logSettings, clearLogFolderRemovesOnlyTheFoldersOfEndedProcesses) {
    logHome home(logConfig(kRootOn));
    const std::string app = logHome::appDir() + "/";
    const std::string own = std::to_string(vx::getCurrentProcessId());
    std::vector<std::string> gone = {"999999999", "notANumber", "12x"};
#ifndef _WIN32
    // A process that really ran, and ended.
    const pid_t child = fork();
    if (child == 0)
        _exit(0);
    ASSERT_GT(child, 0);
    int status = 0;
    waitpid(child, &status, 0);
    gone.push_back(std::to_string(child));
#endif
    for (const auto& name : gone)
        home.home().makeFile(app + name + "/vxLogTest_1.log", "line\n");
    home.home().makeFile(app + own + "/vxLogTest_1.log", "line\n");
    logManager::getInstance();
    for (const auto& name : gone)
        EXPECT_FALSE(home.home().has(app + name)) << name;
    EXPECT_TRUE(home.home().has(app + own + "/vxLogTest_1.log"));
    EXPECT_TRUE(home.home().has(app + "vxLogTest.logcfg"));
}

TEST(logManager, saveConfigWritesWhatItReadsBack) {
    {
        logHome home(logConfig("enabled=\"true\" level=\"none\"", "", "maxfilecount=\"5\""));
        auto manager = logManager::getInstance();
        EXPECT_FALSE(manager->isActive());
        logManager::classTable classes;
        classes["app.io"] = vxlog::logger::create(L"app.io", true, vxlog::debug);
        classes["gui"] = vxlog::logger::create(L"gui", false, vxlog::ui);
        manager->setLogClasses(classes);
        manager->saveConfig();
        EXPECT_TRUE(manager->isActive());
        const std::string saved = home.home().read(logHome::appDir() + "/vxLogTest.logcfg");
        for (const char* part : {"<logconfig>", "maxfilecount=\"5\"", "maxfilesize=\"2000000\"",
                                 "<root enabled=\"true\" level=\"none\"", "<app.io enabled=\"true\" level=\"debug\"",
                                 "<gui enabled=\"false\" level=\"ui\""})
            EXPECT_NE(saved.find(part), std::string::npos) << part << "\n" << saved;

        // Read back as a new process would.
        vxlog::resetLogStateForTesting(home.home().windowsForm());
        vxlog::logUtils::setModuleName(L"vxLogTest");
        const auto again = logManager::getInstance()->logClasses();
        ASSERT_EQ(again.size(), 2u);
        EXPECT_EQ(again.at("app.io")->level(), vxlog::debug);
        EXPECT_FALSE(again.at("gui")->isEnabled());
        EXPECT_EQ(logManager::getLogger("App::IO::x")->id(), vx::string(L"app.io"));
        EXPECT_EQ(vxlog::logSettings::getInstance()->maxFileCount(), 5u);
    }
    {
        // The folder is made when it is missing.
        logHome home;
        auto manager = logManager::getInstance();
        manager->setRootLogger(vxlog::logger::create(L"root", true, vxlog::info));
        manager->saveConfig();
        EXPECT_TRUE(manager->isActive());
        EXPECT_TRUE(vxlog::logUtils::locCfgExists());
    }
}

TEST(logUtils, namesAndFolders) {
    logHome home;
    vx::string module = L"My.vshostApp";
    EXPECT_EQ(narrow(vxlog::logUtils::logAppDir(module).fullName()),
              narrow(home.home().windowsForm("Velmora/My.vshostApp") + L"\\"));
    EXPECT_FALSE(home.home().has("Velmora"));
    const vx::file first = vxlog::logUtils::outputPath(2, module);
    EXPECT_EQ(narrow(first.fullName()),
              narrow(home.home().windowsForm("Velmora/My.vshostApp/" + std::to_string(vx::getCurrentProcessId()) +
                                             "/My.vshostApp_2.log")));
    EXPECT_TRUE(home.home().has("Velmora/My.vshostApp/" + std::to_string(vx::getCurrentProcessId())));
    vx::string empty;
    EXPECT_TRUE(vxlog::logUtils::logAppDir(empty).fullName().empty());
    EXPECT_TRUE(vxlog::logUtils::outputPath(1, empty).fullName().empty());
    vx::string withHost = L"tool.vshost";
    EXPECT_EQ(narrow(vxlog::logUtils::configPath(withHost).fullName()).substr(
                  narrow(vxlog::logUtils::configPath(withHost).fullName()).size() - 12),
              "\\tool.logcfg");
    // Without a name set, the executable's name.
    vxlog::resetLogStateForTesting(home.home().windowsForm());
    EXPECT_EQ(vxlog::logUtils::moduleName(), vx::string(L"vxLogManagerTests"));
}

// Many threads, several loggers, one ring of small files: every line arrives whole, once.
TEST(logManagerConcurrency, everyLineArrivesWholeAndOnce) {
    constexpr int kThreads = 8;
    constexpr int kLines = 300;
    logHome home(logConfig("enabled=\"true\" level=\"trace\"",
                           "<a enabled=\"true\" level=\"debug\"/><b enabled=\"true\" level=\"info\"/>",
                           "maxfilesize=\"2000\" maxfilecount=\"1000\" format=\"%l|%m|%o\""));
    vxtest::runThreads(kThreads, [](int t) {
        const vx::refPtr<vxlog::logger> loggers[] = {logManager::getLogger("a.x"), logManager::getLogger("B"),
                                                     logManager::getLogger("c")};
        for (int n = 0; n < kLines; ++n) {
            const auto& l = loggers[n % 3];
            const vx::string text = vx::string(std::to_wstring(t) + L"." + std::to_wstring(n)) +
                                    vx::string(static_cast<std::size_t>(n % 40), L'x');
            if (n % 50 == 7) {
                vx::string body = text;
                l->log_info(text, "f", n, "c",
                            vxlog::logStringToTxt::create(L"o\\" + std::to_wstring(t) + L"_" + std::to_wstring(n),
                                                          body, false));
            } else {
                l->log_ui(text, "f", n, "c");
            }
        }
    });
    const unsigned index = vxlog::logSettings::getInstance()->currentIndex();
    std::vector<int> next(kThreads, 0);
    unsigned total = 0;
    for (unsigned i = 1; i <= index; ++i) {
        const std::string bytes = home.home().read(logHome::logFile(i));
        // A file ends with a whole line, and passes the size by one line at most.
        ASSERT_FALSE(bytes.empty()) << i;
        EXPECT_EQ(bytes.back(), '\n');
        const auto lines = home.lines(i);
        if (i < index) {
            EXPECT_LE(bytes.size() - lines.back().size() - 1, 2000u) << i;
        }
        for (const auto& line : lines) {
            ++total;
            const auto bar = line.find('|');
            const auto second = line.find('|', bar + 1);
            ASSERT_NE(second, std::string::npos) << line;
            const std::string body = line.substr(bar + 1, second - bar - 1);
            const auto dot = body.find('.');
            const int t = std::stoi(body.substr(0, dot));
            const int n = std::stoi(body.substr(dot + 1));
            ASSERT_TRUE(t >= 0 && t < kThreads) << line;
            // A thread's lines come in its order, none lost, none doubled.
            EXPECT_EQ(n, next[t]) << line;
            next[t] = n + 1;
            EXPECT_EQ(body, std::to_string(t) + "." + std::to_string(n) + std::string(n % 40, 'x')) << line;
            const std::string object = line.substr(second + 1);
            const std::string level = line.substr(0, bar);
            if (n % 50 == 7) {
                EXPECT_EQ(level, "info ");
                EXPECT_EQ(object, "\\o\\" + std::to_string(t) + "_" + std::to_string(n)) << line;
            } else {
                EXPECT_EQ(level, "ui   ");
                EXPECT_EQ(object, "");
            }
        }
    }
    EXPECT_EQ(total, static_cast<unsigned>(kThreads * kLines));
    EXPECT_GT(index, 10u);
}

#ifndef _WIN32
// Two processes appending to one file at once: their lines never fall into each other.
TEST(logManagerConcurrency, twoProcessesAppendingToOneFile) {
    constexpr int kLines = 2000;
    logHome home(logConfig("enabled=\"true\" level=\"trace\"", "", "format=\"%m\""));
    const auto l = logManager::getLogger("x");
    l->log_info(L"start", "f", 1, "c"); // the file both go on with
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    const std::string who = child == 0 ? "child" : "parent";
    const vx::string wide = vx::string::fromMBCtoWC(who.c_str());
    for (int n = 0; n < kLines; ++n)
        l->log_info(wide + L" " + std::to_wstring(n) + vx::string(200, L'y'), "f", 1, "c");
    if (child == 0)
        _exit(0);
    int status = 0;
    waitpid(child, &status, 0);
    std::map<std::string, int> next;
    const auto lines = home.lines(1);
    ASSERT_EQ(lines.size(), 1u + 2 * kLines);
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const auto blank = lines[i].find(' ');
        const std::string name = lines[i].substr(0, blank);
        const int n = std::stoi(lines[i].substr(blank + 1));
        EXPECT_EQ(n, next[name]) << lines[i];
        next[name] = n + 1;
        EXPECT_EQ(lines[i], name + " " + std::to_string(n) + std::string(200, 'y'));
    }
    EXPECT_EQ(next["child"], kLines);
    EXPECT_EQ(next["parent"], kLines);
}
#endif

} // namespace
