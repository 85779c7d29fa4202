#include "testSupport.h"

#include <vxAutoPtr.h>

#include <fstream>
#include <type_traits>

namespace {

struct item {
    explicit item(int v) : value(v) { ++alive; }
    virtual ~item() { --alive; }
    int value;
    static inline int alive = 0;
};
struct special : item {
    using item::item;
};

static_assert(!std::is_copy_constructible<vx::autoPtr<item>>::value && !std::is_copy_assignable<vx::autoPtr<item>>::value,
              "an autoPtr is the sole owner");

class AutoPtrTest : public testing::Test {
protected:
    void SetUp() override { item::alive = 0; }
    void TearDown() override { EXPECT_EQ(item::alive, 0) << "leaked items"; }
};

TEST_F(AutoPtrTest, OwnsAloneAndMovesOwnership) {
    vx::autoPtr<item> a(new item(1)), empty;
    EXPECT_TRUE(empty.isNull());
    vx::autoPtr<item> b(std::move(a));
    EXPECT_TRUE(a.isNull());
    EXPECT_EQ((*b).value, 1);
    vx::autoPtr<item> c(new item(2));
    c = std::move(b); // the target's own object goes
    EXPECT_EQ(item::alive, 1);
    vx::autoPtr<item>& alias = c;
    c = std::move(alias);
    EXPECT_EQ(c->value, 1);
    vx::autoPtr<item> base(vx::autoPtr<special>(new special(3)));
    EXPECT_EQ(item::alive, 2);
    base = nullptr;
    EXPECT_EQ(item::alive, 1);
}

TEST_F(AutoPtrTest, ResetAndDetach) {
    vx::autoPtr<item> p(new item(1));
    item* second = new item(2);
    p.reset(second);
    p.reset(second); // the same object stays
    EXPECT_EQ(item::alive, 1);
    EXPECT_EQ(p.detach(), second);
    EXPECT_TRUE(p.isNull());
    EXPECT_EQ(item::alive, 1);
    delete second;
    p.reset(new item(3));
    p.reset();
    EXPECT_EQ(item::alive, 0);
}

// The text names the header, and the line it names there is the one that reports.
TEST_F(AutoPtrTest, NullAccessReportsAndThrowsFalse) {
    vx::autoPtr<item> empty;
    for (bool arrow : {true, false}) {
        const std::wstring text = vxtest::failedAssertion([&] { (void)(arrow ? empty->value : (*empty).value); });
        const std::wstring site = vxtest::assertionSite(text);
        ASSERT_EQ(site.rfind(L"m_p != nullptr @ vxAutoPtr.h:", 0), 0u) << text;
        const std::size_t pathAt = text.find(L"File: ") + 6;
        std::ifstream header(vx::string(text.substr(pathAt, text.rfind(L"\nLine: ") - pathAt)).getMBCS());
        std::string content;
        int line = std::stoi(site.substr(site.rfind(L':') + 1));
        while (line-- > 0 && std::getline(header, content)) {
        }
        EXPECT_NE(content.find("assertionFailed"), std::string::npos) << "the line named: " << content;
    }
}

} // namespace
