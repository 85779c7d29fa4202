#include <vxMutex.h>

#include "testSupport.h"

namespace {

using namespace std::chrono_literals;

#if defined(__SANITIZE_THREAD__)
constexpr int kRounds = 2000;
#else
constexpr int kRounds = 10000;
#endif

bool lockedElsewhere(vx::mutex& m) {
    bool locked = false;
    std::thread([&] { if ((locked = m.lock(0))) m.release(); }).join();
    return locked;
}

TEST(Mutex, TheHolderLocksAgainAndReleasesEveryLevelOthersTimeOutOrWaitForItAndAreExcluded) {
    vx::mutex m;
    m.release(); // nobody holds it: nothing changes
    EXPECT_TRUE(m.lock() && m.lock(0) && m.lock(vx::mutex::infinite));
    for (const bool freed : {false, false, true}) {
        m.release();
        EXPECT_EQ(lockedElsewhere(m), freed);
    }
    for (const unsigned int timeout : {vx::mutex::infinite, 60000u}) {
        std::atomic<int> stage{0}, result{-1};
        std::thread holder([&] {
            m.lock();
            for (stage = 1; stage < 2;)
                std::this_thread::yield();
            m.release();
        });
        while (stage < 1)
            std::this_thread::yield();
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(m.lock(0) || m.lock(30));
        EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
        m.release(); // not the holder: nothing changes
        EXPECT_FALSE(m.lock(0));
        std::thread waiter([&] { if ((result = m.lock(timeout)) == 1) m.release(); });
        std::this_thread::sleep_for(30ms);
        EXPECT_EQ(result, -1);
        stage = 2;
        holder.join();
        waiter.join(); // returns once the holder has let go, long before the time-out
        EXPECT_EQ(result, 1);
    }
    long plain = 0;
    std::atomic<int> bad{0};
    vxtest::runThreads(4, [&](int t) {
        for (int i = 0; i < kRounds; ++i) {
            if (t % 2 == 0)
                bad += !m.lock();
            else
                while (!m.lock(1)) {
                }
            bad += !m.lock(0); // recursion never waits
            ++plain;
            m.release();
            m.release();
        }
    });
    EXPECT_TRUE(bad == 0 && plain == 4L * kRounds && lockedElsewhere(m));
}

} // namespace
