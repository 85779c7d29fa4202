#include <vxLocker.h>

#include "testSupport.h"

#include <limits>

#if defined(__linux__)
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace {

using namespace std::chrono_literals;
using vx::genericValueHolderLocker;
using vx::spinLockerRecursive;

#if defined(__SANITIZE_THREAD__)
constexpr int kRounds = 5000;
#else
constexpr int kRounds = 20000;
#endif

// The flag and the owner are read atomically: other threads may be spinning on them.
std::uint64_t ownerOf(spinLockerRecursive* lock) { return __atomic_load_n(&lock->owner, __ATOMIC_SEQ_CST); }

// Held by the calling thread at that depth, or free at depth 0.
void expectDepth(spinLockerRecursive* lock, std::uint64_t depth) {
    const std::uint64_t owner = depth ? spinLockerRecursive::currentOwnerValue() : 0;
    EXPECT_TRUE(__atomic_load_n(&lock->flag, __ATOMIC_SEQ_CST) == (depth ? 1u : 0u) && ownerOf(lock) == owner &&
                lock->depth == depth) << depth;
}

TEST(Interlocked, ReturnsTheNewValueAndHandsOutEveryValueOnce) {
    long volatile s = 0;
    unsigned long volatile u = 0;
    EXPECT_TRUE(vx::interlockedDecrement(&s) == -1L && vx::interlockedIncrement(&s) == 0L);
    EXPECT_EQ(vx::interlockedDecrement(&u), std::numeric_limits<unsigned long>::max());
    EXPECT_TRUE(vx::interlockedIncrement(&u) == 0UL && vx::interlockedRead(&u) == 0UL);
    constexpr long kThreads = 4, kTotal = kThreads * kRounds;
    unsigned long volatile up = 0;
    long volatile down = kTotal;
    std::vector<char> seenUp(kTotal + 1, 0), seenDown(kTotal + 1, 0); // one writer per element
    vxtest::runThreads(kThreads, [&](int) {
        for (int i = 0; i < kRounds; ++i) {
            ++seenUp.at(vx::interlockedIncrement(&up));
            ++seenDown.at(vx::interlockedDecrement(&down));
        }
    });
    EXPECT_TRUE(up == static_cast<unsigned long>(kTotal) && down == 0L);
    for (long v = 0; v <= kTotal; ++v)
        ASSERT_TRUE(seenUp[v] == (v != 0) && seenDown[v] == (v != kTotal)) << v;
}

TEST(SpinLockerRecursive, OwnerValueIsFnv1aOfTheThreadIdGuardsNestFreeTheLockAfterTheOutermostAndExclude) {
    const std::uint64_t rows[][2] = {{0, 5558979605539197941ULL}, {1, 12478008331234465636ULL},
        {0x12345678, 14758243562650612581ULL}, {0xABCDEF0123456789ULL, 10064956810098138709ULL}};
    for (const auto& row : rows)
        EXPECT_EQ(spinLockerRecursive::ownerValueOf(row[0]), row[1]) << row[0];
#if defined(__linux__)
    EXPECT_EQ(spinLockerRecursive::currentOwnerValue(),
              spinLockerRecursive::ownerValueOf(static_cast<std::uint64_t>(::syscall(SYS_gettid))));
#endif
    std::uint64_t elsewhere = 0;
    std::thread([&] { elsewhere = spinLockerRecursive::currentOwnerValue(); }).join();
    EXPECT_NE(elsewhere, spinLockerRecursive::currentOwnerValue());
    spinLockerRecursive *lock = genericValueHolderLocker::createLocker(), *b = genericValueHolderLocker::createLocker();
    lock->release(); // held by nobody: nothing changes
    expectDepth(lock, 0);
    std::atomic<bool> taken{false};
    std::thread other;
    {
        genericValueHolderLocker outer(lock);
        other = std::thread([&] { genericValueHolderLocker guard(lock); taken = true; });
        {
            std::vector<std::unique_ptr<genericValueHolderLocker>> inner;
            for (int i = 0; i < 100; ++i)
                inner.push_back(std::make_unique<genericValueHolderLocker>(lock));
            lock->acquire();
            expectDepth(lock, 102);
            lock->release();
            std::thread([&] { lock->release(); }).join(); // not the holder: nothing changes
            expectDepth(lock, 101);
        }
        {
            genericValueHolderLocker copy(outer), guardB(b);
            guardB = outer; // takes the pointer over, touches no lock
            EXPECT_TRUE(copy.locker() == lock && guardB.locker() == lock);
            expectDepth(b, 1);
        } // guardB gives back b, which its constructor took; the copy gives back nothing
        expectDepth(lock, 1);
        expectDepth(b, 0);
        std::this_thread::sleep_for(50ms);
        EXPECT_FALSE(taken);
    }
    other.join(); // free after the outermost guard
    EXPECT_TRUE(taken);
    expectDepth(lock, 0);
    genericValueHolderLocker none(nullptr), noneCopy(none); // a null lock: nothing happens
    noneCopy = none;
    genericValueHolderLocker::destroyLocker(b);
    // Threads that each hold the lock twice exclude each other.
    long plain = 0;
    std::atomic<int> bad{0};
    vxtest::runThreads(4, [&](int) {
        const std::uint64_t me = spinLockerRecursive::currentOwnerValue();
        for (int i = 0; i < kRounds; ++i) {
            genericValueHolderLocker outer(lock), inner(lock);
            bad += lock->depth != 2 || ownerOf(lock) != me;
            ++plain;
        }
    });
    EXPECT_TRUE(bad == 0 && plain == 4L * kRounds);
    expectDepth(lock, 0);
    genericValueHolderLocker::destroyLocker(lock);
}

} // namespace
