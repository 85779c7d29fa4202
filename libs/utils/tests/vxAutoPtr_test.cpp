#include "testSupport.h"

#include <vxAutoPtr.h>

#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>
#include <string>
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
    const std::wstring prefix = L"Assertion failed:\nm_p != nullptr\n\nFile: ";
    vx::autoPtr<item> empty;
    for (bool arrow : {true, false}) {
        vxtest::assertionCapture capture;
        try {
            try { (void)(arrow ? empty->value : (*empty).value); } catch (const std::exception&) { ADD_FAILURE(); }
            ADD_FAILURE() << "nothing thrown";
        } catch (bool value) { EXPECT_FALSE(value); }
        const std::wstring text = capture.last();
        const std::size_t lineAt = text.rfind(L"\nLine: ");
        ASSERT_TRUE(text.rfind(prefix, 0) == 0 && lineAt != std::wstring::npos) << text;
        const std::wstring file = text.substr(prefix.size(), lineAt - prefix.size());
        EXPECT_EQ(file.substr(file.find_last_of(L"/\\") + 1), L"vxAutoPtr.h");
        std::ifstream header(std::string(file.begin(), file.end()));
        std::string content;
        for (int line = std::stoi(text.substr(lineAt + 7)); line > 0 && std::getline(header, content); --line) {
        }
        EXPECT_NE(content.find("assertionFailed"), std::string::npos) << "the line named: " << content;
    }
}

} // namespace
