#include "testSupport.h"

#include <vxSharedPtr.h>

namespace {

using vxtest::assertionSite;
using vxtest::failedAssertion;

#if defined(__SANITIZE_THREAD__)
constexpr int kWriterRounds = 50000;
#else
constexpr int kWriterRounds = 400000; // a torn copy is a narrow window: many rounds make it likely
#endif

// Counts its lives and tells whether it is still whole.
struct tracked {
    explicit tracked(int v) : value(v), check(~v) { ++constructed; }
    virtual ~tracked() { check = value; ++destroyed; }
    bool consistent() const { return check == ~value; }
    int value, check;
    static inline std::atomic<long> constructed{0}, destroyed{0};
};
struct derived : tracked { using tracked::tracked; };

class SharedPtrTest : public testing::Test {
protected:
    void SetUp() override { tracked::constructed = tracked::destroyed = 0; }
    void TearDown() override { EXPECT_EQ(tracked::constructed, tracked::destroyed) << "leak"; }
};

TEST_F(SharedPtrTest, CopiesShareOneCounterAndTheLastDeletes) {
    vx::sharedPtr<tracked> empty;
    {
        vx::sharedPtr<tracked> a(new tracked(1)), b(a), c;
        c = b;
        EXPECT_TRUE(a.getRefCount() == 3u && a == c && a != empty && c != nullptr && empty == nullptr);
        vx::sharedPtr<tracked> moved(std::move(b));
        EXPECT_TRUE(b.isNull() && a.getRefCount() == 3u);
        c = nullptr;
        moved.reset(new tracked(2));
        a = moved; // drops the last reference to the first object
        EXPECT_TRUE(tracked::destroyed == 1 && moved.getRefCount() == 2u && (*a).value == 2);
    }
    EXPECT_EQ(tracked::destroyed, 2);
    // A null raw pointer gets no counter, and neither do its copies.
    vx::sharedPtr<tracked> fromNull(static_cast<tracked*>(nullptr)), copy(fromNull), assigned(new tracked(3));
    assigned = copy;
    vx::const_sharedPtr<tracked> constant(fromNull), constFromNull(static_cast<const tracked*>(nullptr));
    EXPECT_EQ(empty.getRefCount() + fromNull.getRefCount() + copy.getRefCount() + assigned.getRefCount() +
                  constant.getRefCount() + constFromNull.getRefCount(), 0u);
    vx::sharedPtr<derived> object(new derived(4));
    vx::sharedPtr<tracked> base(object);
    vx::const_sharedPtr<tracked> constBase(base), constCopy(constBase);
    const vx::iRefCount& counted = constCopy;
    EXPECT_TRUE(counted.getRefCount() == 4u && constBase->value == 4);
    constCopy.reset();
    constBase = object;
    EXPECT_TRUE(object.getRefCount() == 3u && vx::const_sharedPtr<tracked>(new tracked(5)).getRefCount() == 1u);
    // A dynamic cast shares the counter, or gives an empty pointer and takes no reference.
    vx::sharedPtr<tracked> isBase(new tracked(2));
    vx::sharedPtr<derived> cast = vx::sharedPtrDynamicCast<derived>(base),
                           failed = vx::sharedPtrDynamicCast<derived>(isBase);
    EXPECT_TRUE(cast.get() == object.get() && object.getRefCount() == 4u);
    EXPECT_TRUE(failed.isNull() && failed.getRefCount() == 0u && isBase.getRefCount() == 1u);
    EXPECT_TRUE(vx::sharedPtrDynamicCast<derived>(vx::sharedPtr<tracked>()).isNull());
}

// Deletion never runs under the global lock, so a destructor may copy sharedPtr objects.
vx::sharedPtr<int> gGlobal(new int(42));
struct copiesWhenDestroyed {
    ~copiesWhenDestroyed() {
        vx::sharedPtr<int> copy(gGlobal), assigned;
        assigned = copy;
        seen += *assigned;
    }
    static inline int seen = 0;
};

TEST_F(SharedPtrTest, NullAccessReportsTheHeaderLineTheLockerIsNotRecursiveAndDeletionRunsOutsideIt) {
    vx::sharedPtr<tracked> empty, source(new tracked(1)), target;
    vx::const_sharedPtr<tracked> constEmpty;
    EXPECT_EQ(assertionSite(failedAssertion([&] { (void)empty->value; })), L"m_p != nullptr @ vxSharedPtr.h:127");
    EXPECT_EQ(assertionSite(failedAssertion([&] { (void)(*empty).value; })), L"m_p != nullptr @ vxSharedPtr.h:132");
    EXPECT_EQ(assertionSite(failedAssertion([&] { (void)constEmpty->value; })), L"m_p != nullptr @ vxSharedPtr.h:138");
    EXPECT_EQ(assertionSite(failedAssertion([&] { (void)(*constEmpty).value; })),
              L"m_p != nullptr @ vxSharedPtr.h:143");
    // Under the lock a copy fails, and the copy the other thread waits to make has not counted yet.
    const auto copyFails = [&] {
        failedAssertion([&] { vx::sharedPtr<tracked> copy(source); });
        failedAssertion([&] { target = source; });
        EXPECT_TRUE(target.isNull() && source.getRefCount() == 1u);
    };
    vxtest::expectNonRecursiveLock<vx::sharedPtrLocker>(L"sharedPtrLocker", copyFails,
                                                        [&] { vx::sharedPtr<tracked> copy(source); });
    target = source;
    EXPECT_EQ(source.getRefCount(), 2u);
    vxtest::assertionCapture capture;
    using ptr = vx::sharedPtr<copiesWhenDestroyed>;
    { ptr last(new copiesWhenDestroyed); }
    ptr p(new copiesWhenDestroyed), other(new copiesWhenDestroyed);
    p = other;                        // copy assignment
    p = ptr(new copiesWhenDestroyed); // move assignment (not the last reference)
    p.reset(new copiesWhenDestroyed);
    p.reset();
    other = nullptr;
    vx::const_sharedPtr<copiesWhenDestroyed> constant(new copiesWhenDestroyed);
    constant = vx::const_sharedPtr<copiesWhenDestroyed>();
    EXPECT_TRUE(copiesWhenDestroyed::seen == 6 * 42 && capture.texts().empty() && gGlobal.getRefCount() == 1u);
}

TEST_F(SharedPtrTest, OneVariableAssignedAndReadByManyThreads) {
    constexpr int kWriters = 3, kReaders = 3;
    vx::sharedPtr<tracked> shared(new tracked(0));
    std::atomic<int> running{kWriters}, started{0}, bad{0};
    std::atomic<long> seen{0};
    vxtest::runThreads(kWriters + kReaders, [&](int t) {
        vx::sharedPtr<tracked> mine(t < kWriters ? new derived(t) : nullptr);
        for (++started; started < kWriters + kReaders;)
            std::this_thread::yield();
        if (t < kWriters) {
            for (int i = 0; i < kWriterRounds; ++i) {
                // Halfway, each writer's last store was a new object: the writers wait there until a reader has
                // copied one, so that reads overlap writes however the threads are scheduled.
                if (i == kWriterRounds / 10 * 5 + 1)
                    vxtest::eventually([&] { return seen > 0; }, 20000);
                switch (i % 5) {
                case 0: shared = vx::sharedPtr<tracked>(new tracked(i)); break;
                case 1: shared = mine; break;
                case 2: mine = shared; break;
                case 3: shared.reset(new derived(-i)); break;
                default: shared.reset(); break;
                }
            }
            --running;
        }
        while (t >= kWriters && running > 0) {
            vx::sharedPtr<tracked> copy(shared);
            bad += copy && (!copy->consistent() || copy.getRefCount() < 1);
            vx::const_sharedPtr<tracked> constant(shared);
            bad += constant && !constant->consistent();
            vx::sharedPtr<derived> cast = vx::sharedPtrDynamicCast<derived>(shared);
            bad += cast && !cast->consistent();
            mine = shared;
            seen += copy ? 1 : 0;
        }
    });
    EXPECT_TRUE(bad == 0 && seen > 0);
    EXPECT_EQ(tracked::constructed, 1 + kWriters + kWriters * (kWriterRounds / 5) * 2); // and all destroyed
}

// Variables lock by their addresses: assignments between many variables, in both directions, and
// the guard that takes every lock, run at once without a deadlock or a lost reference.
TEST_F(SharedPtrTest, AssignmentsAcrossVariablesAndTheGuardTogether) {
    constexpr int kThreads = 4, kVariables = 8, kRounds = kWriterRounds / 10;
    std::vector<vx::sharedPtr<tracked>> variables;
    for (int v = 0; v < kVariables; ++v)
        variables.emplace_back(new tracked(v));
    std::atomic<int> bad{0};
    vxtest::runThreads(kThreads, [&](int t) {
        for (int i = 0; i < kRounds; ++i) {
            variables[(t + i) % kVariables] = variables[(3 * i + t + 1) % kVariables];
            vx::sharedPtr<tracked> copy(variables[i % kVariables]);
            bad += !copy || !copy->consistent();
            if (i % 1000 == t)
                vx::sharedPtrLocker all;
        }
    });
    EXPECT_TRUE(bad == 0 && tracked::constructed == kVariables);
}

} // namespace
