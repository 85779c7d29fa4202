#include <vxDirectory.h>
#include <vxEnvironment.h>
#include <vxFile.h>
#include <vxModule.h>

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// The Windows form of a native absolute path on the default drive table (C: is /).
std::wstring windowsForm(const std::string& native) {
    std::wstring out = L"C:";
    for (char c : native)
        out += c == '/' ? L'\\' : static_cast<wchar_t>(static_cast<unsigned char>(c));
    return out;
}

std::string executable() {
    char buffer[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer);
    return std::string(buffer, length > 0 ? static_cast<std::size_t>(length) : 0);
}

class moduleLookup : public ::testing::Test {
protected:
    void SetUp() override { unsetenv("VX_DRIVES"); }
};

// --- processes -----------------------------------------------------------------------------------

TEST(processLookup, runningEndedAndImpossibleProcesses) {
    EXPECT_TRUE(vx::processIsRunning(vx::getCurrentProcessId()));
    EXPECT_FALSE(vx::processIsRunning(0));
    EXPECT_FALSE(vx::processIsRunning(0xFFFFFFFFul));

    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0)
        _exit(0);
    // Until it is reaped the ended child is a zombie: it exists, but does not run.
    bool sawZombieEnd = false;
    for (int i = 0; i < 500 && !sawZombieEnd; ++i) {
        sawZombieEnd = !vx::processIsRunning(static_cast<unsigned long>(child));
        if (!sawZombieEnd)
            usleep(2000);
    }
    EXPECT_TRUE(sawZombieEnd);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_FALSE(vx::processIsRunning(static_cast<unsigned long>(child)));
}

// --- modules -------------------------------------------------------------------------------------

TEST_F(moduleLookup, theExecutableIsTheNullAndTheEmptyName) {
    vx::file byNull, byName;
    ASSERT_TRUE(vx::getModuleFileName(static_cast<void*>(nullptr), byNull));
    EXPECT_EQ(byNull.fullName(), windowsForm(executable()));
    EXPECT_TRUE(byNull.exists());

    ASSERT_NE(vx::getModuleHandle(L""), nullptr);
    ASSERT_TRUE(vx::getModuleFileName(vx::string(), byName));
    EXPECT_EQ(byName.fullName(), byNull.fullName());

    vx::directory folder;
    ASSERT_TRUE(vx::getModulePath(static_cast<void*>(nullptr), folder));
    const std::string exe = executable();
    EXPECT_EQ(folder.fullName(), windowsForm(exe.substr(0, exe.rfind('/') + 1)));
}

TEST_F(moduleLookup, aLibraryIsFoundByItsNameInEveryForm) {
    void* handle = vx::getModuleHandle(L"libvxUtils.so");
    ASSERT_NE(handle, nullptr);
    for (const wchar_t* name : {L"vxUtils", L"VXUTILS", L"libvxutils", L"libvxUtils.so.0"})
        EXPECT_EQ(vx::getModuleHandle(name), handle) << name;
    EXPECT_NE(handle, vx::getModuleHandle(L""));

    vx::file library;
    ASSERT_TRUE(vx::getModuleFileName(L"vxUtils", library));
    EXPECT_TRUE(library.exists());
    EXPECT_NE(library.fullName().find(L"\\libvxUtils.so"), vx::string::npos) << library.fullName().getMBCS();

    vx::directory folder;
    ASSERT_TRUE(vx::getModulePath(handle, folder));
    EXPECT_EQ(library.fullName().find(folder.fullName()), 0u);
}

TEST_F(moduleLookup, unknownNamesAndForeignHandlesAnswerFalse) {
    // Names that merely start like a loaded module do not name it.
    for (const wchar_t* name : {L"noSuchModule", L"vxUtil", L"libvxUtils.s"})
        EXPECT_EQ(vx::getModuleHandle(name), nullptr) << name;

    const vx::file before(L"C:\\unchanged.txt");
    vx::file out = before;
    EXPECT_FALSE(vx::getModuleFileName(L"noSuchModule", out));
    int local = 0;
    EXPECT_FALSE(vx::getModuleFileName(static_cast<void*>(&local), out));
    EXPECT_EQ(out.fullName(), before.fullName());

    vx::directory folder;
    EXPECT_FALSE(vx::getModulePath(L"noSuchModule", folder));
    EXPECT_TRUE(folder.fullName().empty());
}

} // namespace
