#include "testSupport.h"
#include "vxEnvironment.h"
#include "vxFile.h"
#include "vxModule.h"
#include "vxRegistry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>

namespace {

using vxtest::tempDir;

// Every test works below one key of HKEY_CURRENT_USER: on Windows a key of the real registry,
// removed at the end; elsewhere in a store of its own.
const std::wstring kBase = L"HKEY_CURRENT_USER\\Software\\vxUtilsTest" + std::to_wstring(vx::getCurrentProcessId());

std::string utf8(const std::wstring& text) { return vx::string(text).getMBCS(); }

class registryTest : public ::testing::Test {
protected:
    registryTest() {
#ifndef _WIN32
        env.set("VX_REGISTRY_DIR", dir.path().c_str());
#endif
    }
    ~registryTest() override { vx::regImport(utf8(L"REGEDIT4\r\n[-" + kBase + L"]\r\n")); }

    static std::wstring at(const std::wstring& rest) { return kBase + L"\\" + rest; }
    static std::vector<vx::string> keys(const std::wstring& path) {
        std::vector<vx::string> names;
        vx::regGetKeys(path.c_str(), names);
        return names;
    }
    static std::vector<vx::string> values(const std::wstring& path) {
        std::vector<vx::string> names;
        vx::regGetValues(path.c_str(), names);
        return names;
    }

    tempDir dir;
    vxtest::scopedEnvironment env;
};

using names = std::vector<vx::string>;

TEST_F(registryTest, valuesComeBackAsWritten) {
    struct {
        const wchar_t* setPath;
        const wchar_t* text; // null: the number
        unsigned long number;
        const wchar_t* getPath;
        const wchar_t* expected;
    } const cases[] = {
        {L"A\\Name", L"hello", 0, L"A\\Name", L"hello"},
        {L"A\\Quoted", L"a \"q\" \\ b\\", 0, L"A\\Quoted", L"a \"q\" \\ b\\"},
        {L"A\\Lines", L"one\r\ntwo\tthree", 0, L"A\\Lines", L"one\r\ntwo\tthree"},
        {L"A\\Wide", L"Gr\u00fc\u00dfe \u20ac \U0001D11E", 0, L"A\\Wide", L"Gr\u00fc\u00dfe \u20ac \U0001D11E"},
        {L"A\\Empty", L"", 0, L"A\\Empty", L""},
        {L"A\\Five", nullptr, 5, L"A\\Five", L"5"},
        {L"A\\Max", nullptr, 0xFFFFFFFFul, L"A\\Max", L"4294967295"},
        {L"A\\B\\C\\Deep", L"deep", 0, L"a\\b\\c\\DEEP", L"deep"},
        {L"A\\", L"default", 0, L"a\\", L"default"},
        {L"A\\\\Doubled", L"x", 0, L"A\\Doubled", L"x"},
        {L"A\\Name", nullptr, 7, L"A\\name", L"7"}, // a DWORD over a text value replaces it
    };
    for (const auto& c : cases) {
        const std::wstring path = at(c.setPath);
        EXPECT_TRUE(c.text ? vx::regSetValue(path.c_str(), c.text) : vx::regSetValue(path.c_str(), c.number))
            << utf8(path);
    }
    for (const auto& c : cases)
        if (std::wstring(c.setPath) != L"A\\Name") {
            EXPECT_EQ(vx::regGetValue(at(c.getPath).c_str()), c.expected) << utf8(c.getPath);
        }
    EXPECT_EQ(vx::regGetValue(at(L"A\\Name").c_str()), L"7");
}

TEST_F(registryTest, badPathsFail) {
    ASSERT_TRUE(vx::regSetValue(at(L"K\\V").c_str(), L"v"));
    const std::wstring lowerHive = L"hkey_current_user" + kBase.substr(17) + L"\\K\\V";
    for (const std::wstring& path : {lowerHive, L"HKEY_CURRENT_USERX" + kBase.substr(17) + L"\\K\\V",
                                     std::wstring(L"HKEY_CURRENT_USER"), std::wstring(L""),
                                     std::wstring(L"HKCU\\Software\\V"), at(L"K\\Missing"), at(L"Missing\\V")}) {
        EXPECT_EQ(vx::regGetValue(path.c_str()), L"") << utf8(path);
        EXPECT_FALSE(vx::regRemoveValue(path.c_str())) << utf8(path);
        if (path != at(L"K\\Missing") && path != at(L"Missing\\V")) {
            EXPECT_FALSE(vx::regSetValue(path.c_str(), L"x")) << utf8(path);
        }
        if (path != L"HKEY_CURRENT_USER") {
            EXPECT_TRUE(keys(path).empty()) << utf8(path);
        }
    }
    EXPECT_EQ(vx::regGetValue(nullptr), L"");
    EXPECT_FALSE(vx::regSetValue(nullptr, L"x"));
    EXPECT_FALSE(vx::regSetValue(at(L"K\\V").c_str(), static_cast<const wchar_t*>(nullptr)));
    EXPECT_FALSE(vx::regRemoveValue(nullptr));
    if (sizeof(unsigned long) > 4) {
        EXPECT_FALSE(vx::regSetValue(at(L"K\\Big").c_str(), static_cast<unsigned long>(-1)));
    }
    EXPECT_EQ(vx::regGetValue(at(L"K\\V").c_str()), L"v");
}

TEST_F(registryTest, keysAndValuesAreListedAndAppended) {
    for (const wchar_t* path : {L"List\\Beta\\x", L"List\\alpha\\x", L"List\\ALPHA\\y", L"List\\One", L"List\\two",
                                L"List\\ONE", L"List\\"})
        ASSERT_TRUE(vx::regSetValue(at(path).c_str(), L"v"));
    names found{L"kept"};
    vx::regGetKeys(at(L"List").c_str(), found);
    std::sort(found.begin() + 1, found.end());
    EXPECT_EQ(found, (names{L"kept", L"Beta", L"alpha"})) << "the case first written";
    found = values(at(L"List"));
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (names{L"", L"One", L"two"}));
    EXPECT_EQ(values(at(L"List\\alpha")), (names{L"x", L"y"}));
    EXPECT_TRUE(keys(at(L"List\\alpha")).empty());
    EXPECT_TRUE(values(at(L"Nothing")).empty());
}

TEST_F(registryTest, removesAValueElseAKey) {
    for (const wchar_t* path : {L"R\\Value", L"R\\Leaf\\v", L"R\\Tree\\Sub\\v"})
        ASSERT_TRUE(vx::regSetValue(at(path).c_str(), L"v"));
    EXPECT_TRUE(vx::regRemoveValue(at(L"R\\VALUE").c_str()));
    EXPECT_EQ(values(at(L"R")), names{});
    EXPECT_FALSE(vx::regRemoveValue(at(L"R\\Value").c_str()));
    EXPECT_TRUE(vx::regRemoveValue(at(L"R\\leaf\\v").c_str()));
    EXPECT_TRUE(vx::regRemoveValue(at(L"R\\Leaf").c_str())) << "a key without values or sub-keys";
    EXPECT_FALSE(vx::regRemoveValue(at(L"R\\Tree").c_str())) << "a key with sub-keys stays";
    EXPECT_EQ(keys(at(L"R")), names{L"Tree"});
    EXPECT_TRUE(vx::regRemoveValue(at(L"R\\Tree\\Sub").c_str())) << "its values go with it";
    EXPECT_TRUE(vx::regRemoveValue(at(L"R\\Tree").c_str()));
    EXPECT_TRUE(keys(at(L"R")).empty());
}

// A registry file as a person or Windows writes it, with every form of line.
std::wstring handWritten() {
    return L"\r\n Windows Registry Editor Version 5.00\r\n\r\n; a comment\r\n[" + kBase + L"\\App]\r\n"
           L"\"Title\"=\"My \\\"App\\\" \\\\ here\"\r\n@=\"def\"\r\n\"Count\"=dword:0000000a\r\n"
           L"\"Path\"=hex(2):25,00,54,00,4d,00,50,00,25,00,\\\r\n  00,00\r\n"
           L"\"Blob\"=hex:01,02,\\\n    03\n\"Gone\"=\"x\"\n\"Gone\"=-\n\"Bad\"=dword:xyz\n\"Open=\"x\n"
           L"\"Utf\"=\"\u00e9\u4e2d\U0001F600\"\r\n\r\n[" + kBase + L"\\App\\Old]\r\n\"v\"=\"1\"\r\n"
           L"[-" + kBase + L"\\App\\Old]\r\n[HKEY_NOWHERE\\X]\r\n\"v\"=\"1\"\r\n";
}

void expectHandWritten(const std::wstring& app) {
    EXPECT_EQ(vx::regGetValue((app + L"\\Title").c_str()), L"My \"App\" \\ here");
    EXPECT_EQ(vx::regGetValue((app + L"\\").c_str()), L"def");
    EXPECT_EQ(vx::regGetValue((app + L"\\count").c_str()), L"10");
    EXPECT_EQ(vx::regGetValue((app + L"\\Path").c_str()), L"%TMP%");
    EXPECT_EQ(vx::regGetValue((app + L"\\Utf").c_str()), L"\u00e9\u4e2d\U0001F600");
    names found;
    vx::regGetValues(app.c_str(), found);
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (names{L"", L"Blob", L"Count", L"Path", L"Title", L"Utf"}));
    found.clear();
    vx::regGetKeys(app.c_str(), found);
    EXPECT_EQ(std::count(found.begin(), found.end(), vx::string(L"Old")), 0) << "[-key] removed it";
}

TEST_F(registryTest, importsAHandWrittenFile) {
    const std::wstring text = handWritten();
    for (const std::string& bytes : {"\xFF\xFE" + vxtest::utf16le(text), utf8(text), "\xEF\xBB\xBF" + utf8(text)}) {
        EXPECT_TRUE(vx::regImport(bytes));
        expectHandWritten(at(L"App"));
        EXPECT_TRUE(vx::regRemoveValue(at(L"App\\Title").c_str()));
    }
    EXPECT_FALSE(vx::regImport("not a registry file\r\n[" + utf8(at(L"X")) + "]\r\n"));
    EXPECT_TRUE(keys(kBase).size() == 1);
}

TEST_F(registryTest, exportComesBackThroughImport) {
    ASSERT_TRUE(vx::regImport("\xFF\xFE" + vxtest::utf16le(handWritten())));
    ASSERT_TRUE(vx::regSetValue(at(L"App\\Sub\\Lines").c_str(), L"a\nb"));
    std::string exported;
    ASSERT_TRUE(vx::regExport(kBase.c_str(), exported));
    const std::string header = "\xFF\xFE" + vxtest::utf16le(L"Windows Registry Editor Version 5.00\r\n\r\n[" + kBase);
    EXPECT_EQ(exported.substr(0, header.size()), header);
    ASSERT_TRUE(vx::regImport(utf8(L"REGEDIT4\r\n[-" + kBase + L"]\r\n")));
    EXPECT_TRUE(keys(kBase).empty());
    EXPECT_TRUE(vx::regImport(exported));
    expectHandWritten(at(L"App"));
    EXPECT_EQ(vx::regGetValue(at(L"App\\Sub\\Lines").c_str()), L"a\nb");
    std::string again;
    EXPECT_TRUE(vx::regExport(kBase.c_str(), again));
    EXPECT_EQ(again.size(), exported.size());
    EXPECT_FALSE(vx::regExport(at(L"Missing").c_str(), again));
    EXPECT_TRUE(again.empty());
}

#ifndef _WIN32
TEST_F(registryTest, storeFilesOnPosix) {
    // A hive file dropped into the folder is read as it is.
    dir.makeFile("HKEY_CURRENT_USER.reg", "\xFF\xFE" + vxtest::utf16le(handWritten()));
    expectHandWritten(at(L"App"));
    // A write gives the registry editor's form: UTF-16LE with a byte-order mark and CRLF.
    ASSERT_TRUE(vx::regSetValue(at(L"App\\New").c_str(), 3ul));
    const std::string file = dir.read("HKEY_CURRENT_USER.reg");
    EXPECT_NE(file.find(vxtest::utf16le(L"\r\n\"New\"=dword:00000003\r\n")), std::string::npos);
    EXPECT_EQ(file.substr(0, 2), "\xFF\xFE");
    EXPECT_FALSE(dir.has("HKEY_CURRENT_USER.reg.new"));
    EXPECT_EQ(file.find(vxtest::utf16le(L"\"Bad\"")), std::string::npos) << "a line not understood goes";
    // The registry's limits, and names no registry file can hold.
    std::wstring deep = kBase;
    for (int i = 0; i < 512; ++i)
        deep += L"\\k";
    for (const std::wstring& path : {at(std::wstring(256, L'n') + L"\\v"), deep + L"\\v", at(L"Line\nBreak\\v"),
                                     at(L"K\\Line\rBreak")})
        EXPECT_FALSE(vx::regSetValue(path.c_str(), L"x")) << utf8(path.substr(0, 80));
    EXPECT_TRUE(vx::regSetValue(at(std::wstring(255, L'n') + L"\\v").c_str(), L"x"));
    // A file that is no registry file reads as empty and is never replaced.
    dir.makeFile("HKEY_LOCAL_MACHINE.reg", "my notes");
    EXPECT_FALSE(vx::regSetValue(L"HKEY_LOCAL_MACHINE\\K\\V", L"v"));
    EXPECT_EQ(dir.read("HKEY_LOCAL_MACHINE.reg"), "my notes");
    // Without VX_REGISTRY_DIR the store lies below the user's configuration folder.
    env.set("VX_REGISTRY_DIR", nullptr);
    env.set("XDG_CONFIG_HOME", (dir / "config").c_str());
    EXPECT_TRUE(vx::regSetValue(L"HKEY_USERS\\K\\V", L"v"));
    EXPECT_TRUE(dir.has("config/vxUtils/registry/HKEY_USERS.reg"));
}
#endif

// The child's part of the test across processes: started with VX_TEST_REG_CHILD set, this program
// writes its values and ends before any test runs (exit status 0 when every write succeeded).
const bool gChildWrote = [] {
    const char* prefix = std::getenv("VX_TEST_REG_CHILD");
    if (!prefix)
        return false;
    const std::wstring base = vx::string::fromMBCtoWC(prefix);
    bool ok = true;
    for (int i = 0; i < 60; ++i)
        ok = vx::regSetValue((base + L"\\child" + std::to_wstring(i)).c_str(), static_cast<unsigned long>(i)) && ok;
    std::exit(ok ? 0 : 1);
}();

TEST_F(registryTest, twoProcessesWritingAtOnceLoseNothing) {
    env.set("VX_TEST_REG_CHILD", utf8(at(L"Both")).c_str());
    std::atomic<bool> childDone{false};
    int childResult = -2;
    std::thread child([&] {
        childResult = vxtest::runSelf();
        childDone = true;
    });
    int written = 0;
    for (; written < 20 || (!childDone && written < 1000); ++written)
        ASSERT_TRUE(vx::regSetValue(at(L"Both\\parent" + std::to_wstring(written)).c_str(), L"p"));
    child.join();
    ASSERT_EQ(childResult, 0);
    EXPECT_EQ(values(at(L"Both")).size(), static_cast<std::size_t>(written + 60));
    for (int i = 0; i < 60; ++i)
        EXPECT_EQ(vx::regGetValue(at(L"Both\\child" + std::to_wstring(i)).c_str()), std::to_wstring(i));
}

} // namespace
