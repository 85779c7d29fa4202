#include "testSupport.h"
#include "vxEnvironment.h"
#include "vxException.h"
#include "vxFsEntryMutex.h"
#include "vxModule.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#ifndef _WIN32
#include "testSupportPosix.h"
#endif

namespace {

using vxtest::tempDir;

template <class F>
std::wstring unexpected(F&& f) {
    try {
        f();
    } catch (const vx::unexpectedErrorException& e) {
        return e.message().string();
    }
    return L"nothing thrown";
}

const std::wstring kUnexpected = L"Unexpected error occurred (";

TEST(fsEntryMutex, lockFileNames) {
    tempDir dir;
    const std::string long300(300, 'n');
    dir.makeFile("b.txt");
    dir.makeDirs("sub");
    dir.makeFile(long300.substr(0, 200)); // most systems refuse 300 bytes in one name
    const struct {
        const char* what;
        vx::string target; // a file, or a directory with its trailing '\'
        vx::string expected;
    } rows[] = {
        {"a file", dir.windowsForm("b.txt"), dir.windowsForm("b.txt$$lock$$")},
        {"a directory locks inside itself", dir.windowsForm("sub") + L"\\", dir.windowsForm("sub/sub$$lock$$")},
        {"200 characters stay whole", dir.windowsForm(long300.substr(0, 200)),
         dir.windowsForm(long300.substr(0, 200) + "$$lock$$")},
    };
    for (const auto& r : rows) {
        const bool isDirectory = r.target.back() == L'\\';
        vx::fsEntryMutex m;
        if (isDirectory)
            m.setFsEntry(vx::directory(r.target));
        else
            m.setFsEntry(vx::file(r.target));
        EXPECT_EQ(vxtest::show(m.lockFileName()), r.expected) << r.what;
    }
    EXPECT_EQ(vxtest::show(vx::fsEntryMutex().lockFileName()), L"");
}

#ifndef _WIN32
// A name of 300 characters exists only where the file system allows it: such a name comes from
// a directory whose name is given, and is not looked at by the file system until the lock.
TEST(fsEntryMutex, longNamesAreCut) {
    tempDir dir;
    const std::string name(250, 'd');
    dir.makeDirs(name);
    vx::fsEntryMutex m{vx::directory(dir.windowsForm(name))};
    const vx::string lockName = m.lockFileName();
    const vx::string leaf = lockName.substr(lockName.rfind(L'\\') + 1);
    EXPECT_EQ(leaf.size(), 256u);
    EXPECT_EQ(vxtest::show(leaf), std::wstring(248, L'd') + L"$$lock$$");
}
#endif

TEST(fsEntryMutex, missingTargetsAndEmptyObjects) {
    tempDir dir;
    EXPECT_EQ(unexpected([&] { vx::fsEntryMutex m{vx::file(dir.windowsForm("none.txt"))}; }),
              kUnexpected + L"mutex on a not-existing file is not possible!)");
    EXPECT_EQ(unexpected([&] { vx::fsEntryMutex m{vx::directory(dir.windowsForm("none"))}; }),
              kUnexpected + L"mutex on a not-existing directory is not possible!)");
    vx::fsEntryMutex empty;
    const auto throwsFalse = [](const std::function<void()>& f) {
        try {
            f();
        } catch (bool value) {
            return !value;
        }
        return false;
    };
    EXPECT_TRUE(throwsFalse([&] { empty.release(); }));
    EXPECT_TRUE(throwsFalse([&] { empty.lock(); }));
    EXPECT_TRUE(throwsFalse([&] { empty.tryLock(0); }));
}

TEST(fsEntryMutex, lockAndRelease) {
    tempDir dir;
    dir.makeFile("a.txt");
    dir.makeFile("b.txt");
    const vx::file a(dir.windowsForm("a.txt")), b(dir.windowsForm("b.txt"));
    {
        vx::fsEntryMutex m(a);
        EXPECT_FALSE(m.isHeld());
        EXPECT_TRUE(m.lock());
        EXPECT_TRUE(dir.has("a.txt$$lock$$"));
        EXPECT_FALSE(vx::file(dir.windowsForm("a.txt$$lock$$")).isWriteable()) << "read-only";
        m.release();
        EXPECT_FALSE(dir.has("a.txt$$lock$$"));
        EXPECT_FALSE(m.isHeld());

        // A new target releases the old lock first.
        EXPECT_TRUE(m.lock(50));
        m.setFsEntry(b);
        EXPECT_FALSE(dir.has("a.txt$$lock$$"));
        EXPECT_TRUE(m.tryLock(0));
        EXPECT_TRUE(m.tryLock(0)) << "held already by this object";
    }
    EXPECT_FALSE(dir.has("b.txt$$lock$$")) << "the destructor releases";

    // lock() does not wait for another holder: it answers true and then takes the lock file
    // away from the holder when it is released.
    vx::fsEntryMutex holder(a), other(a);
    EXPECT_TRUE(holder.tryLock(0));
    EXPECT_FALSE(other.tryLock(0));
    EXPECT_TRUE(dir.has("a.txt$$lock$$")) << "a failed tryLock leaves the holder's file";
    EXPECT_TRUE(other.lock());
    EXPECT_TRUE(other.isHeld());
    {
        vx::fsEntryMutex third(a);
        EXPECT_TRUE(third.lock());
        EXPECT_FALSE(third.tryLock(0));
        EXPECT_FALSE(third.isHeld()) << "a failed tryLock gives up what lock() counted as held";
    }
    EXPECT_TRUE(dir.has("a.txt$$lock$$")) << "so its destructor leaves the holder's file";
    other.release();
    EXPECT_FALSE(dir.has("a.txt$$lock$$"));
    holder.release(); // the file is gone already: no error
}

#ifndef _WIN32 // a directory that may not be written needs a POSIX child that is not the superuser
TEST(fsEntryMutex, failuresOfTheFileSystem) {
    tempDir dir;
    ASSERT_TRUE(vxtest::setMode(dir.path(), 0777));
    dir.makeDirs("ro");
    dir.makeFile("ro/a.txt");
    const vx::file target(dir.windowsForm("ro/a.txt"));
    const std::wstring path = dir.windowsForm("ro/a.txt$$lock$$");
    vx::fsEntryMutex held(target);
    ASSERT_TRUE(held.tryLock(0));
    ASSERT_TRUE(vxtest::setMode(dir / "ro", 0555));
    EXPECT_EQ(vxtest::inRestrictedChild(0, true, [&](std::string& errors) {
        const auto check = [&](bool ok, const char* what) { errors += ok ? "" : std::string(what) + "; "; };
        // The holder's file cannot be removed here.
        vx::fsEntryMutex m(target);
        check(unexpected([&] { m.release(); }) == kUnexpected + L"Error removing lockfile " + path + L"!)",
              "removal refused");
        check(vx::file(path).exists(), "the lock file stays");
    }), "");
    ASSERT_TRUE(vxtest::setMode(dir / "ro", 0755));
    held.release();
    EXPECT_FALSE(dir.has("ro/a.txt$$lock$$"));
    ASSERT_TRUE(vxtest::setMode(dir / "ro", 0555));
    EXPECT_EQ(vxtest::inRestrictedChild(0, true, [&](std::string& errors) {
        vx::fsEntryMutex m(target);
        const std::wstring text = unexpected([&] { m.tryLock(1000); });
        if (text != kUnexpected + L"Error creating lockfile " + path + L" (13)!)")
            errors += "creation: " + vx::string(text).getMBCS();
        if (!m.lock())
            errors += "the plain lock answers true even so";
    }), "");
    ASSERT_TRUE(vxtest::setMode(dir / "ro", 0755));
}
#endif

// The child's part of the test across processes: started by the parent with VX_TEST_LOCK_TARGET
// set, this program holds the lock and ends before any test runs (exit status 0 when it held it).
const bool gChildHeldTheLock = [] {
    const char* target = std::getenv("VX_TEST_LOCK_TARGET");
    if (!target)
        return false;
    vx::fsEntryMutex m{vx::file(vx::string::fromMBCtoWC(target))};
    if (!m.tryLock(10000))
        std::exit(1);
    std::ofstream(std::getenv("VX_TEST_LOCK_READY")) << "held";
    vx::sleep(static_cast<unsigned int>(std::atoi(std::getenv("VX_TEST_LOCK_HOLD_MS"))));
    m.release();
    std::exit(0);
}();

TEST(fsEntryMutex, acrossProcesses) {
    tempDir dir;
    dir.makeFile("doc.txt");
    vxtest::scopedEnvironment env;
    env.set("VX_TEST_LOCK_TARGET", vx::string(dir.windowsForm("doc.txt")).getMBCS().c_str());
    env.set("VX_TEST_LOCK_READY", (dir / "ready").c_str());
    env.set("VX_TEST_LOCK_HOLD_MS", "1500");
    int childResult = -2;
    std::thread child([&] { childResult = vxtest::runSelf(); });
    // Wait until the child holds the lock.
    for (int i = 0; i < 3000 && !dir.has("ready"); ++i)
        vx::sleep(10);
    ASSERT_TRUE(dir.has("ready"));

    vx::fsEntryMutex m{vx::file(dir.windowsForm("doc.txt"))};
    EXPECT_FALSE(m.tryLock(0));
    EXPECT_FALSE(m.tryLock(100));
    EXPECT_FALSE(m.isHeld());
    EXPECT_TRUE(dir.has("doc.txt$$lock$$")) << "the child's file stays";
    EXPECT_FALSE(dir.has("done"));
    // Waits for the child to release.
    EXPECT_TRUE(m.tryLock(30000));
    child.join();
    EXPECT_EQ(childResult, 0);
    m.release();
    EXPECT_FALSE(dir.has("doc.txt$$lock$$"));
}

} // namespace
