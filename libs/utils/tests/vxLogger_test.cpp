#include "vxLogger.h"

#include "logTestSupport.h"
#include "testSupport.h"
#include "vxEnvironment.h"
#include "vxLogManager.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using vxlog::logUtils;

std::string narrow(const vx::string& text) {
    return text.getMBCS();
}

TEST(logUtils, levelTexts) {
    struct row {
        const wchar_t* text;
        vxlog::logLevel level;
    };
    const row rows[] = {{L"none", vxlog::none},   {L"trace", vxlog::trace}, {L"debug", vxlog::debug},
                        {L"info", vxlog::info},   {L"ui", vxlog::ui},       {L"INFO", vxlog::info},
                        {L"Debug", vxlog::debug}, {L"", vxlog::none},       {L"infos", vxlog::none},
                        {L" info", vxlog::none}};
    for (const auto& r : rows)
        EXPECT_EQ(logUtils::getLogLevelFromString(r.text), r.level) << narrow(r.text);
    const wchar_t* texts[] = {L"none", L"trace", L"debug", L"info", L"ui"};
    for (int level = 0; level <= 4; ++level)
        EXPECT_EQ(logUtils::getStringFromLogLevel(static_cast<vxlog::logLevel>(level)), vx::string(texts[level]));
    EXPECT_EQ(logUtils::getStringFromLogLevel(static_cast<vxlog::logLevel>(5)), vx::string(L"none"));
    EXPECT_EQ(logUtils::getStringFromLogLevel(static_cast<vxlog::logLevel>(-1)), vx::string(L"none"));
    EXPECT_EQ(logUtils::defaultLogLevel(), vxlog::none);
    EXPECT_EQ(logUtils::defaultFormatSpecifier(), vx::string(L"<%s> [PID %p] [TID %t] (%l) {%f, L %r, %c} - %m %o"));
}

TEST(logUtils, scaleString) {
    struct row {
        const wchar_t* text;
        std::uint64_t width;
        bool keepTail;
        const wchar_t* expected;
    };
    const row rows[] = {
        {L"abc", 5, false, L"abc  "}, {L"abcdef", 3, false, L"abc"}, {L"abcdef", 3, true, L"def"},
        {L"abc", 3, true, L"abc"},    {L"", 2, true, L"  "},         {L"abc", 0, false, L""},
        {L"abc", 0, true, L""},       {L"abc", 4, true, L"abc "},
    };
    for (const auto& r : rows)
        EXPECT_EQ(logUtils::scaleString(r.text, r.width, r.keepTail), vx::string(r.expected))
            << narrow(r.text) << " " << r.width << " " << r.keepTail;
}

TEST(logUtils, formattedMessage) {
    struct row {
        const wchar_t* format;
        const wchar_t* message;
        const wchar_t* expected;
    };
    const row rows[] = {
        {L"[%l]", L"m", L"[info ]"},
        {L"<%l> %m", L"a < b > c", L"<info > a < b > c"},
        {L"%m %o", L"no object", L"no object "},
        {L"%m %x %%", L"m", L"m %x %%"}, // not tokens: kept, and no field lands there
        {L"%m", L"holds _sbb_ and _gts_", L"holds [ and >"}, // the markers come back everywhere
        {L"%m", L"[s] [m]", L"[s] [m]"},
        {L"%r|%p|%t", L"", L"42   |7     |8     "},
        {L"%f", L"", L"ghijklmnopqrstuvwxyz0123456789ABCDEFGH"},
        {L"%c|", L"", L"context                                           |"},
    };
    for (const auto& r : rows)
        EXPECT_EQ(logUtils::getFormattedLogMessage(r.format, L"2020/01/02 03:04:05:006", L"7", L"8", L"info",
                                                   L"abcdefghijklmnopqrstuvwxyz0123456789ABCDEFGH", L"42",
                                                   L"context", L"", r.message),
                  vx::string(r.expected))
            << narrow(r.format);
}

// A logger at each level against each request, and the switches that come first.
TEST(logger, isLoggingAllowed) {
    vxtest::logHome home(vxtest::logConfig("enabled=\"true\" level=\"trace\""));
    vxlog::logManager::getInstance();
    struct row {
        const wchar_t* id;
        bool enabled;
        vxlog::logLevel level;
        const char* passes; // one character per request trace, debug, info, ui
    };
    const row rows[] = {
        {L"x", true, vxlog::info, "--++"},  {L"x", true, vxlog::trace, "++++"}, {L"x", true, vxlog::ui, "---+"},
        {L"x", true, vxlog::none, "----"},  {L"x", false, vxlog::trace, "----"}, {L"", true, vxlog::trace, "----"},
        {L"x", true, static_cast<vxlog::logLevel>(9), "----"},
    };
    const vxlog::logLevel requests[] = {vxlog::trace, vxlog::debug, vxlog::info, vxlog::ui};
    for (const auto& r : rows) {
        auto l = vxlog::logger::create(r.id, r.enabled, r.level);
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(l->isLoggingAllowed(requests[i]), r.passes[i] == '+') << narrow(r.id) << r.level << " " << i;
    }
    // With the root logger off, nothing passes.
    auto l = vxlog::logger::create(L"x", true, vxlog::trace);
    vxlog::logManager::getInstance()->getRootLogger()->setEnabled(false);
    EXPECT_FALSE(l->isLoggingAllowed(vxlog::ui));
    EXPECT_FALSE(vxlog::logSettings::getInstance()->loggingEnabled());
}

// The line under the default format, field by field.
TEST(logger, defaultLineLayout) {
    vxtest::logHome home(vxtest::logConfig("enabled=\"true\" level=\"trace\""));
    vxlog::logManager::getInstance();
    auto l = vxlog::logger::create(L"app", true, vxlog::debug);
    const std::string longPath = "C:\\work\\sources\\library\\components\\module\\file.cpp";
    l->log_debug(L"first <message> [x]", longPath.c_str(), 123, "app::run");
    l->log_trace(L"dropped", "f.cpp", 1, "c");
    l->log_ui(vx::string(L"second \u00e9"), vx::string(L"short.cpp"), -5, vx::string(L"ctx"));
    // The line number crosses as 32 bits, the least of them too, and is cut to its column.
    l->log_ui(vx::string(L"third"), vx::string(L"f"), -2147483647L - 1, vx::string(L"c"));

    const auto lines = home.lines(1);
    ASSERT_EQ(lines.size(), 3u);
    const std::string pid = std::to_string(vx::getCurrentProcessId());
    const std::string tid = std::to_string(vx::getCurrentThreadId());
    const auto pad = [](std::string text, std::size_t width) { return text + std::string(width - text.size(), ' '); };
    // The timestamp column: the date and time now, padded to 25 (a 9 stands for any digit).
    const std::string stamp = "<9999/99/99 99:99:99:999  > ";
    const auto stamped = [&stamp](const std::string& line) {
        if (line.size() < stamp.size())
            return false;
        for (std::size_t i = 0; i < stamp.size(); ++i)
            if (stamp[i] == '9' ? line[i] < '0' || line[i] > '9' : line[i] != stamp[i])
                return false;
        return true;
    };
    for (const auto& line : lines)
        EXPECT_TRUE(stamped(line)) << line;
    EXPECT_EQ(lines[0].substr(28), "[PID " + pad(pid, 6) + "] [TID " + pad(tid, 6) + "] (debug) {" +
                                       longPath.substr(longPath.size() - 38) + ", L 123  , " + pad("app::run", 50) +
                                       "} - first <message> [x] ");
    EXPECT_EQ(lines[1].substr(28), "[PID " + pad(pid, 6) + "] [TID " + pad(tid, 6) + "] (ui   ) {" +
                                       pad("short.cpp", 38) + ", L -5   , " + pad("ctx", 50) + "} - second \xc3\xa9 ");
    EXPECT_NE(lines[2].find("{" + pad("f", 38) + ", L -2147, "), std::string::npos) << lines[2];
}

TEST(logger, customFormatAndNoObject) {
    vxtest::logHome home(
        vxtest::logConfig("enabled=\"true\" level=\"info\"", "", "format=\"[%l] %m|%o|\" maxfilecount=\"2\""));
    vxlog::logManager::getInstance();
    auto l = vxlog::logger::create(L"app", true, vxlog::info);
    l->log_info(L"hello", "f", 1, "c");
    EXPECT_EQ(home.lines(1), std::vector<std::string>{"[info ] hello||"});
    EXPECT_EQ(vxlog::logSettings::getInstance()->maxFileCount(), 2u);
}

// An observer that writes the object's file when the object fires its event.
class objectWriter : public vx::observer {
    VX_DECLARE_EVENT_MAP()
public:
    int calls = 0;
    void onWrite(vx::iRefObj*, const wchar_t* text, vx::iEventParams* params) {
        ++calls;
        auto* write = dynamic_cast<vxlog::logWriteParams*>(params);
        if (write && text && write->target().fullName() == text)
            write->target().create(vx::file::accessReadWrite);
    }
};
VX_BEGIN_EVENT_MAP(objectWriter, vx::observer)
VX_ON_EVENT(vxlog::kLogObjWriteEvent, onWrite)
VX_END_EVENT_MAP()

TEST(logger, attachedObjects) {
    vxtest::logHome home(vxtest::logConfig("enabled=\"true\" level=\"trace\"", "", "format=\"%m|%o\""));
    vxlog::logManager::getInstance();
    auto l = vxlog::logger::create(L"app", true, vxlog::trace);

    vx::string text = L"object text \u20ac";
    l->log_info(L"text", "f", 1, "c", vxlog::logStringToTxt::create(L"objs\\first.txt", text, true));
    home.home().makeFile(vxtest::logHome::processDir() + "/second.txt", "old contents that are longer");
    l->log_info(L"replaced", "f", 1, "c", vxlog::logStringToTxt::create(L"\\second.txt", text, false));

    vx::string relative = L"/third.bin";
    vx::refPtr<vxlog::logObj> plain(vxlog::logObj::create(relative));
    vx::refPtr<objectWriter> writer(new objectWriter);
    plain->addObserver(writer);
    l->log_info(L"plain", "f", 1, "c", plain.get());
    // A dropped message writes no object.
    l->setLevel(vxlog::ui);
    l->log_info(L"dropped", "f", 1, "c", plain.get());
    plain->removeAllObservers();

    EXPECT_EQ(home.lines(1), (std::vector<std::string>{"text|\\objs\\first.txt", "replaced|\\second.txt",
                                                       "plain|/third.bin"}));
    EXPECT_EQ(home.home().read(vxtest::logHome::processDir() + "/objs/first.txt"), "object text \xe2\x82\xac");
    EXPECT_EQ(home.home().read(vxtest::logHome::processDir() + "/second.txt"), "object text \xe2\x82\xac");
    EXPECT_EQ(writer->calls, 1);
    EXPECT_TRUE(home.home().has(vxtest::logHome::processDir() + "/third.bin"));
}

TEST(logger, nothingIsWrittenWithoutConfiguration) {
    vxtest::logHome home;
    EXPECT_EQ(vxlog::logManager::getLogger("a.b"), vxlog::logManager::getLogger(L"c"));
    auto l = vxlog::logger::create(L"app", true, vxlog::trace);
    l->log_ui(L"nothing", "f", 1, "c");
    EXPECT_FALSE(home.home().has("Velmora"));
}

} // namespace
