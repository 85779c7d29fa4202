#include "testSupport.h"

#include <vxAutoPtr.h>

namespace {

struct item {
    explicit item(int v) : value(v) { ++alive; }
    virtual ~item() { --alive; }
    int value;
    static inline int alive = 0;
};
struct special : item { using item::item; };

class AutoPtrTest : public testing::Test {
protected:
    void SetUp() override { item::alive = 0; }
    void TearDown() override { EXPECT_EQ(item::alive, 0) << "leaked items"; }
};

TEST_F(AutoPtrTest, OwnsAloneMovesResetsDetachesAndReportsNullAccess) {
    vx::autoPtr<item> a(new item(1)), c(new item(2));
    vx::autoPtr<item> b(std::move(a));
    EXPECT_TRUE(a.isNull() && (*b).value == 1);
    c = std::move(b); // the target's own object goes
    vx::autoPtr<item>& alias = c;
    c = std::move(alias);
    EXPECT_TRUE(item::alive == 1 && c->value == 1);
    vx::autoPtr<item> base(vx::autoPtr<special>(new special(3)));
    EXPECT_EQ(item::alive, 2);
    base = nullptr;
    item* second = new item(2);
    c.reset(second);
    c.reset(second); // the same object stays
    EXPECT_EQ(item::alive, 1);
    EXPECT_TRUE(c.detach() == second && c.isNull() && item::alive == 1);
    delete second;
    c.reset(new item(3));
    c.reset();
    // The text names the header, and the line it names there is the one that reports.
    vx::autoPtr<item> empty;
    for (bool arrow : {true, false}) {
        const std::wstring text = vxtest::failedAssertion([&] { (void)(arrow ? empty->value : (*empty).value); });
        const std::wstring site = vxtest::assertionSite(text);
        ASSERT_EQ(site.rfind(L"m_p != nullptr @ vxAutoPtr.h:", 0), 0u) << text;
        const std::size_t pathAt = text.find(L"File: ") + 6;
        std::ifstream header(vx::string(text.substr(pathAt, text.rfind(L"\nLine: ") - pathAt)).getMBCS());
        std::string content;
        for (int line = std::stoi(site.substr(site.rfind(L':') + 1)); line-- > 0 && std::getline(header, content);) {
        }
        EXPECT_NE(content.find("assertionFailed"), std::string::npos) << "the line named: " << content;
    }
}

} // namespace
