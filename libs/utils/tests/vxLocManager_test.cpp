#include "testSupport.h"

#include <vxDirectory.h>
#include <vxException.h>
#include <vxLocManager.h>
#include <vxLocString.h>
#include <vxSearchPath.h>

using vx::locManager;
using vx::locString;

namespace {

locManager& manager() { return *locManager::instance(); }

// Every test starts from a manager that searches only its own folders, with no default language,
// file or overlay, and leaves the settings as it found them.
class locManagerTest : public ::testing::Test {
protected:
    void SetUp() override { set(L"", L"", L"", vx::searchPath()); }
    void TearDown() override { set(mLanguage.c_str(), mFile.c_str(), mOverlay.c_str(), mPath); }
    static void set(const wchar_t* language, const wchar_t* file, const wchar_t* overlay, const vx::searchPath& path) {
        manager().setDefaultLanguage(language);
        manager().setDefaultLocFile(file);
        manager().setOverlayId(overlay);
        manager().setDefaultSearchPath(path);
    }
    // Writes the files below mRoot, which is then searched alone, and makes defaultFile the default language file.
    void languageFiles(const wchar_t* defaultFile, std::initializer_list<std::pair<const char*, const char*>> files) {
        for (const auto& [name, content] : files)
            mRoot.makeFile(name, content);
        manager().setDefaultSearchPath(vx::searchPath());
        manager().defaultSearchPath().appendDirectory(vx::directory(mRoot.windowsForm()));
        manager().setDefaultLocFile(defaultFile);
    }

    vxtest::tempDir mRoot;

    const vx::string mLanguage = manager().defaultLanguage(), mFile = manager().defaultLocFile(),
                     mOverlay = manager().overlayId();
    const vx::searchPath mPath = manager().defaultSearchPath();
};

// The text of a string in a language (null: the default one).
std::wstring text(const locString& s, const wchar_t* language = nullptr) { return s.string(language); }

// Two language-change callbacks that record their calls.
std::vector<std::wstring> gCalls;
void recordFirst(const wchar_t* from, const wchar_t* to) { gCalls.push_back(std::wstring(L"1:") + from + L">" + to); }
void recordSecond(const wchar_t* from, const wchar_t* to) { gCalls.push_back(std::wstring(L"2:") + from + L">" + to); }

int gReentrantCalls = 0;
std::wstring gReentrantText;

// Each of the two partners, called first, removes the other: only one of them runs.
void reentrant(const wchar_t* newLanguage);
void partnerOne(const wchar_t*, const wchar_t* newLanguage) { reentrant(newLanguage); }
void partnerTwo(const wchar_t*, const wchar_t* newLanguage) { reentrant(newLanguage); }
void reentrant(const wchar_t* newLanguage) {
    ++gReentrantCalls;
    // The lock is held, and it is recursive: the manager may be used from here.
    gReentrantText = locString(L"Msg_A", L"dflt").string(newLanguage);
    manager().setDefaultLanguage(newLanguage);       // the same name: no new round
    manager().addLanguageChangedCB(&recordFirst);    // called from the next change on
    manager().removeLanguageChangedCB(&partnerOne);  // not called after this any more
    manager().removeLanguageChangedCB(&partnerTwo);
}

} // namespace

TEST_F(locManagerTest, theSearchPathStartsBesideTheExecutableAndNullSettingsAreIgnored) {
    vx::directory executableFolder;
    ASSERT_TRUE(vx::getModulePath(static_cast<void*>(nullptr), executableFolder));
    ASSERT_EQ(mPath.size(), 2u);
    EXPECT_EQ(mPath[0].fullName(), vx::directory(executableFolder.fullName(), L"..\\config\\Language").fullName());
    EXPECT_EQ(mPath.directories()[1].fullName(), executableFolder.fullName());
    set(L"de", L"app.loc", L"site", vx::searchPath());
    set(nullptr, nullptr, nullptr, vx::searchPath());
    EXPECT_EQ(manager().defaultLanguage() + L"|" + manager().defaultLocFile() + L"|" + manager().overlayId(),
              L"de|app.loc|site");
    manager().defaultSearchPath().appendDirectory(vx::directory(L"C:\\x")); // the manager's own, changed in place
    EXPECT_EQ(manager().defaultSearchPath().size(), 1u);
}

TEST_F(locManagerTest, twoLanguagesInTwoFoldersWhichFileIsAskedAndTheOverlayOfTheIdOfWhenItWasOpened) {
    languageFiles(L"one.loc", {{"de/one.loc", "Msg_A eins\nMsg_Only nur deutsch\n"}, {"en/one.loc", "Msg_A one\n"},
                               {"de/two.loc", "Msg_A zwei\nMsg_B zwei b\n"}, {"plain.loc", "Msg_A plain\n"},
                               {"de/plain.loc", "Msg_A plain de\n"}});
    const locString a(L"Msg_A", L"dflt");
    EXPECT_EQ(text(a), L"dflt"); // no default language: no folder is tried
    manager().setDefaultLanguage(L"en");
    EXPECT_EQ(text(a), L"one");
    manager().setDefaultLanguage(L"de");
    EXPECT_TRUE(text(a) == L"eins" && a.stringIdExists(L"en")); // the file found before is still there
    EXPECT_FALSE(a.stringIdExists(L"fr") || locString(L"Msg_Other", L"x").stringIdExists(L"de"));
    // Which file is asked for which identifier.
    struct lookupCase { const char* what; locString message; const wchar_t* language, *expected; } cases[] = {
        {"default file, language asked for", locString(L"Msg_A", L"dflt"), L"en", L"one"},
        {"the language's folder in any case", locString(L"Msg_A", L"dflt"), L"EN", L"one"},
        {"one name: no fall back to the default language", locString(L"Msg_Only", L"dflt"), L"en", L"dflt"},
        {"nor for the default file of a missing language", locString(L"Msg_A", L"dflt"), L"fr", L"dflt"},
        {"a list falls back to the default language", locString(L"Msg_A", L"dflt", L"two.loc"), L"fr", L"zwei"},
        {"a list takes the language asked for first", locString(L"Msg_A", L"dflt", L"one.loc"), L"en", L"one"},
        {"first file found", locString(L"Msg_B", L"dflt", L"one.loc", L"two.loc", nullptr), nullptr, L"dflt"},
        {"else the next", locString(L"Msg_B", L"dflt", L"none.loc", L"two.loc", nullptr), nullptr, L"zwei b"},
        {"the name itself before the language folder", locString(L"Msg_A", L"dflt", L"plain.loc"), L"de", L"plain"},
        {"a path below the search path", locString(L"Msg_A", L"dflt", L"de\\two.loc"), L"en", L"zwei"},
        {"no file anywhere", locString(L"Msg_A", L"dflt", L"none.loc"), nullptr, L"dflt"},
        {"an empty id names no file", locString(L"", L"dflt"), nullptr, L"dflt"},
        // A bar in the default text makes the third field one name, which does not fall back to the default language.
        {"a bar in the default text", locString(L"Msg_A", L"x|two.loc"), nullptr, L"zwei"},
        {"a bar in the default text, language asked for", locString(L"Msg_A", L"x|two.loc"), L"en", L"x|two.loc"},
    };
    for (const lookupCase& c : cases)
        EXPECT_EQ(text(c.message, c.language), c.expected) << c.what;
    const struct { const wchar_t* file; const wchar_t* id; const wchar_t* overlay; } names[] = {
        {L"C:\\de\\vxDb.loc", L"site", L"C:\\de\\vxDb_site.loc"}, {L"C:\\a\\README", L"x", L"C:\\a\\README_x"},
        {L"C:\\lang\\app.v2.loc", L"x", L"C:\\lang\\app.v2_x.loc"}, {L"C:\\d.dir\\plain", L"x", L"C:\\d.dir\\plain_x"},
    };
    for (const auto& c : names)
        EXPECT_EQ(locManager::overlayFileFor(vx::file(vx::string(c.file)), c.id).fullName(), c.overlay) << c.overlay;
    languageFiles(L"", {{"de/app.loc", "Msg_A base\nMsg_B base b\n"}, {"de/late.loc", "Msg_A late\n"},
                        {"de/app_site.loc", "Msg_A site\n;;cmd(replace:::base:::BASE)\n"},
                        {"de/late_site.loc", "Msg_A late site\n"}, {"de/other.loc", "Msg_B other base\n"},
                        {"de/other_site.loc", ";;cmd(replace:::base:::BASE)\n"}});
    manager().setDefaultLanguage(L"de");
    EXPECT_EQ(text(locString(L"Msg_A", L"dflt", L"app.loc")), L"base");
    manager().setOverlayId(L"site");
    // The same file, named in another case, is the file opened before: it keeps no overlay.
    EXPECT_EQ(text(locString(L"Msg_A", L"dflt", L"APP.LOC")), L"base");
    // A file opened now gets the overlay, with its commands over all texts.
    EXPECT_EQ(text(locString(L"Msg_A", L"dflt", L"late.loc")), L"late site");
    EXPECT_EQ(text(locString(L"Msg_B", L"dflt", L"other.loc")), L"other BASE");
}

TEST_F(locManagerTest, callbacksOncePerRealChangeMayUseTheManager) {
    gCalls.clear();
    manager().addLanguageChangedCB(&recordSecond);
    manager().addLanguageChangedCB(&recordFirst);
    manager().addLanguageChangedCB(&recordFirst); // held once
    manager().addLanguageChangedCB(nullptr);
    manager().setDefaultLanguage(L"de");
    manager().setDefaultLanguage(L"de"); // no change
    manager().setDefaultLanguage(nullptr);
    manager().setDefaultLanguage(L"DE"); // a change: names compare exactly
    manager().removeLanguageChangedCB(&recordSecond);
    manager().removeLanguageChangedCB(&recordSecond);
    manager().setDefaultLanguage(L"en");
    manager().removeLanguageChangedCB(&recordFirst);
    manager().setDefaultLanguage(L"fr");
    using calls = std::vector<std::wstring>; // in the order of the functions' addresses
    EXPECT_EQ(gCalls, (std::less<locManager::languageChangedCB>()(&recordFirst, &recordSecond)
                           ? calls{L"1:>de", L"2:>de", L"1:de>DE", L"2:de>DE", L"1:DE>en"}
                           : calls{L"2:>de", L"1:>de", L"2:de>DE", L"1:de>DE", L"1:DE>en"}));
    // A callback may use the manager.
    languageFiles(L"app.loc", {{"en/app.loc", "Msg_A english\n"}});
    gCalls.clear();
    gReentrantCalls = 0;
    manager().addLanguageChangedCB(&partnerOne);
    manager().addLanguageChangedCB(&partnerTwo);
    manager().setDefaultLanguage(L"en");
    EXPECT_TRUE(gReentrantCalls == 1 && gReentrantText == L"english" && gCalls.empty());
    manager().setDefaultLanguage(L"de");
    EXPECT_TRUE(gReentrantCalls == 1 && gCalls == std::vector<std::wstring>{L"1:en>de"});
    manager().removeLanguageChangedCB(&recordFirst);
}

TEST_F(locManagerTest, aWriteFailureReportsInTheLanguageAskedFor) {
    languageFiles(L"vxUtils.loc", {{"de/vxUtils.loc", "; Meldungen der Dateien\n"
                                                      "Msg_EWriteFile    E: Fehler beim Schreiben der Datei [File] ; Datei\n"
                                                      "Msg_EReadFile     $$Msg_EWriteFile\n"},
                                   {"fr/vxUtils.loc", "Msg_EWriteFile Erreur d'écriture du fichier « [File] »\n"}});
    const vx::file target(mRoot.windowsForm("missing/plan.dxf"));
    const vx::writeFileException failure(target);
    const locString& message = failure.message();
    const std::wstring name = target.fullName(), german = L"Fehler beim Schreiben der Datei " + name;
    // Without a default language the built-in English text.
    EXPECT_EQ(text(message, L"de") + L"|" + text(message, L"fr") + L"|" + text(message, L"en") + L"|" + text(message),
              german + L"|Erreur d'écriture du fichier « " + name + L" »|Error writing file " + name +
                  L"|Error writing file " + name);
    manager().setDefaultLanguage(L"de");
    EXPECT_EQ(text(message), german);
    // A nested cause stays a message of its own, resolved in the language asked for.
    const vx::readFileException cause(target);
    EXPECT_EQ(text(vx::fileException(target.fullName(), &cause).nestedMessages().at(0), L"de"), german);
}

TEST_F(locManagerTest, threadsResolveWhileTheLanguageChanges) {
    languageFiles(L"app.loc", {{"de/app.loc", "Msg_A deutsch [N]\n#include common.loc\n"},
                               {"en/app.loc", "Msg_A english [N]\n#include common.loc\n"},
                               {"de/common.loc", "Msg_C gemeinsam\n"}, {"en/common.loc", "Msg_C common\n"}});
    manager().setDefaultLanguage(L"de");
    constexpr int kReaders = 4, kRounds = 300;
    std::atomic<int> wrong{0}, finished{0};
    vxtest::runThreads(kReaders + 1, [&](int t) {
        if (t == kReaders) {
            // The writer changes the language until the readers are done.
            for (int i = 0; i < 50 || finished.load() < kReaders; ++i)
                manager().setDefaultLanguage(i % 2 ? L"de" : L"en");
            return;
        }
        for (int i = 0; i < kRounds; ++i) {
            locString a(L"Msg_A", L"dflt [N]");
            a.params().set(i, L"N");
            const std::wstring got = a.string(), n = std::to_wstring(i);
            wrong += got != L"deutsch " + n && got != L"english " + n;
            wrong += text(locString(L"Msg_C", L"dflt"), t % 2 ? L"de" : L"en") != (t % 2 ? L"gemeinsam" : L"common");
        }
        ++finished;
    });
    EXPECT_EQ(wrong.load(), 0);
}
