#include <vxDirectory.h>
#include <vxEnvironment.h>
#include <vxModule.h>

#include "testSupport.h"

#ifdef _WIN32
#  define WIN32_LEAN_AND_MEAN
#  include <windows.h>
#else
#  include <sys/wait.h>
#  include <unistd.h>
#endif

namespace {

using vxtest::windowsForm;

// The path of the running test program, '/' as delimiter.
std::string executablePath() {
#ifdef _WIN32
    wchar_t buffer[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, buffer, MAX_PATH);
    return std::filesystem::path(buffer).generic_string();
#else
    return std::filesystem::read_symlink("/proc/self/exe").string();
#endif
}

TEST(moduleLookup, processesRunningEndedAndImpossibleTheExecutableAndTheLibraryByEveryFormOfTheirNames) {
    EXPECT_TRUE(vx::processIsRunning(vx::getCurrentProcessId()));
    EXPECT_FALSE(vx::processIsRunning(0) || vx::processIsRunning(0xFFFFFFFFul));
#ifdef _WIN32
    // A child that has ended is no longer running, even while its handle keeps it known.
    wchar_t command[] = L"cmd.exe /c exit 0";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION child{};
    ASSERT_TRUE(CreateProcessW(nullptr, command, nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, nullptr,
                               &startup, &child));
    EXPECT_EQ(WaitForSingleObject(child.hProcess, 60000), WAIT_OBJECT_0);
    EXPECT_FALSE(vx::processIsRunning(child.dwProcessId));
    CloseHandle(child.hThread);
    CloseHandle(child.hProcess);
#else
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0)
        _exit(0);
    // Until it is reaped the ended child is a zombie: it exists, but does not run.
    EXPECT_TRUE(vxtest::eventually([&] { return !vx::processIsRunning(static_cast<unsigned long>(child)); }));
    waitpid(child, nullptr, 0);
    EXPECT_FALSE(vx::processIsRunning(static_cast<unsigned long>(child)));
#endif
    const vxtest::scopedEnvironment drives("VX_DRIVES", nullptr); // names in Windows form on the default table
    const std::string executable = executablePath();
    vx::file byNull, byName, library, out(L"C:\\unchanged.txt");
    vx::directory folder, libraryFolder, noFolder;
    ASSERT_TRUE(vx::getModuleFileName(static_cast<void*>(nullptr), byNull) && vx::getModuleHandle(L"") != nullptr);
    EXPECT_EQ(byNull.fullName(), windowsForm(executable));
    EXPECT_TRUE(vx::getModuleFileName(vx::string(), byName) && byName.fullName() == byNull.fullName());
    ASSERT_TRUE(vx::getModulePath(static_cast<void*>(nullptr), folder));
    EXPECT_EQ(folder.fullName(), windowsForm(executable.substr(0, executable.rfind('/') + 1)));
#ifdef _WIN32
    const wchar_t* const fileName = L"vxUtils.dll";
    const std::vector<const wchar_t*> otherNames = {L"vxUtils", L"VXUTILS", L"vxutils.DLL"};
#else
    const wchar_t* const fileName = L"libvxUtils.so";
    const std::vector<const wchar_t*> otherNames = {L"vxUtils", L"VXUTILS", L"libvxutils", L"libvxUtils.so.0"};
#endif
    void* handle = vx::getModuleHandle(fileName);
    ASSERT_TRUE(handle != nullptr && handle != vx::getModuleHandle(L""));
    for (const wchar_t* name : otherNames)
        EXPECT_EQ(vx::getModuleHandle(name), handle) << name;
    ASSERT_TRUE(vx::getModuleFileName(L"vxUtils", library) && library.exists());
    EXPECT_NE(library.fullName().find(L"\\" + vx::string(fileName)), vx::string::npos) << library.fullName().getMBCS();
    ASSERT_TRUE(vx::getModulePath(handle, libraryFolder));
    EXPECT_EQ(library.fullName().find(libraryFolder.fullName()), 0u);
    // Names that merely start like a loaded module do not name it.
    for (const wchar_t* name : {L"noSuchModule", L"vxUtil", L"vxUtils.dl"})
        EXPECT_EQ(vx::getModuleHandle(name), nullptr) << name;
    int local = 0;
    EXPECT_FALSE(vx::getModuleFileName(L"noSuchModule", out) || vx::getModuleFileName(static_cast<void*>(&local), out));
    EXPECT_EQ(out.fullName(), L"C:\\unchanged.txt");
    EXPECT_FALSE(vx::getModulePath(L"noSuchModule", noFolder) || !noFolder.fullName().empty());
}

} // namespace
