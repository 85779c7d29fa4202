#include "testSupport.h"

#include <vxRefPtr.h>

namespace {

using vxtest::assertionSite;
using vxtest::failedAssertion;

struct node : vx::refObj {
    explicit node(int v = 0) : value(v) { ++alive; }
    ~node() override { --alive; }
    void deleteThis() override { ++deletes; delete this; }
    int value;
    vx::refPtr<node> child;
    static inline std::atomic<int> alive{0}, deletes{0};
};

// A counted interface implemented with iRefObj first and refObj second.
struct iShape : vx::iRefObj { virtual int sides() const = 0; };
struct square : iShape, vx::refObj {
    unsigned long getRefCount() const override { return refObj::getRefCount(); }
    unsigned long addRef() override { return refObj::addRef(); }
    unsigned long release() override { return refObj::release(); }
    void deleteThis() override { delete this; }
    int sides() const override { return 4; }
};

class RefPtrTest : public testing::Test {
protected:
    void SetUp() override { node::alive = node::deletes = 0; }
    void TearDown() override { EXPECT_EQ(node::alive, 0) << "leaked nodes"; }
};

TEST_F(RefPtrTest, CountingAssignmentOrderNullAccessTheLockerThatIsNotRecursiveAndConcurrentCopies) {
    struct probe : vx::refObj { int deleted = 0; void deleteThis() override { ++deleted; } } object;
    EXPECT_TRUE(object.addRef() == 1u && object.addRef() == 2u);
    probe copy(object); // a new object, owned by nobody
    EXPECT_EQ(copy.getRefCount(), 0u);
    EXPECT_TRUE(object.release() == 1u && object.deleted == 0 && object.release() == 0u && object.deleted == 1);
    node* raw = new node(7);
    {
        vx::refPtr<node> a(raw), b(a);
        vx::refPtr<vx::refObj> base(a);
        vx::const_refPtr<node> constant(a);
        EXPECT_TRUE(raw->getRefCount() == 4u && constant->value + (*b).value == 14);
        vx::refPtr<node> moved(std::move(b));
        vx::const_refPtr<node> constMoved(std::move(constant));
        EXPECT_TRUE(b.isNull() && constant.isNull() && constMoved.get() == raw && raw->getRefCount() == 4u);
        moved.reset();
        node* detached = a.detach(); // keeps its reference
        EXPECT_TRUE(a.isNull() && raw->getRefCount() == 3u);
        detached->release();
    }
    EXPECT_EQ(node::deletes, 1);
    vx::refPtr<iShape> shape(new square), shapeCopy(shape); // an abstract pointee
    const vx::iRefCount& counted = *shape;
    EXPECT_TRUE(counted.getRefCount() == 2u && shapeCopy->sides() == 4);
    // Assignment takes the new reference before it drops the old.
    vx::refPtr<node> p(new node(1));
    const vx::refPtr<node>& same = p;
    p = same;
    p = p.get();
    vx::const_refPtr<node> c(p);
    const vx::const_refPtr<node>& sameConst = c;
    c = sameConst;
    EXPECT_EQ(p->getRefCount(), 2u);
    c.reset();
    // The only owner of a parent takes its child: the parent dies inside the assignment.
    p->child = new node(2);
    p = p->child;
    EXPECT_TRUE(node::deletes == 2 && p->value == 2 && p->getRefCount() == 1u);
    vx::refPtr<node> empty;
    vx::const_refPtr<node> constEmpty;
    EXPECT_EQ(assertionSite(failedAssertion([&] { (void)empty->value; })), L"m_p != NULL @ vxRefPtr.h:156");
    EXPECT_EQ(assertionSite(failedAssertion([&] { (void)(*empty).value; })), L"m_p != NULL @ vxRefPtr.h:156");
    EXPECT_EQ(assertionSite(failedAssertion([&] { (void)constEmpty->value; })), L"m_p != NULL @ vxRefPtr.h:348");
    EXPECT_EQ(assertionSite(failedAssertion([&] { (void)(*constEmpty).value; })), L"m_p != NULL @ vxRefPtr.h:348");
    vxtest::expectNonRecursiveLock<vx::referencePtrLocker>(L"referencePtrLocker", [] {},
                                                           [] { vx::referencePtrLocker guard; });
    const vx::refPtr<node> shared(new node(5));
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    std::thread watcher([&] {
        while (!stop)
            bad += shared->getRefCount() < 1;
    });
    vxtest::runThreads(4, [&](int) {
        for (int i = 0; i < 20000; ++i) {
            vx::refPtr<node> mine(shared);
            vx::const_refPtr<node> constant(mine);
            bad += constant->value != 5;
            shared->addRef();
            shared->release();
        }
    });
    stop = true;
    watcher.join();
    EXPECT_TRUE(bad == 0 && shared->getRefCount() == 1u);
    constexpr int kObjects = 3000, kThreads = 4;
    node::deletes = 0;
    std::vector<vx::refPtr<node>> objects;
    for (int i = 0; i < kObjects; ++i)
        objects.emplace_back(new node(i));
    std::vector<std::vector<vx::refPtr<node>>> held(kThreads, objects);
    objects.clear();
    std::atomic<int> ready{0};
    vxtest::runThreads(kThreads, [&](int t) {
        for (++ready; ready < kThreads;)
            std::this_thread::yield();
        held[t].clear();
    });
    EXPECT_EQ(node::deletes, kObjects);
}

} // namespace
