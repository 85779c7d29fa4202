#include <vxConfigSet.h>

#include <gtest/gtest.h>

// Setting replaces, a failed lookup leaves the value alone, the empty name is a name, and names
// are case-sensitive, ordered by code point.
TEST(configSet, setGetReplaceRemoveAndOrder) {
    vx::configSet set;
    for (const wchar_t* name : {L"path", L"Path", L"PATH", L"\u00e9", L"z", L""})
        set.setValue(name, name);
    set.setValue(L"z", L"3");
    EXPECT_EQ(set.names(), (std::vector<vx::string>{L"", L"PATH", L"Path", L"path", L"z", L"\u00e9"}));
    vx::string value = L"untouched";
    EXPECT_TRUE(!set.getValue(L"pATH", value) && !set.hasValue(L"c") && value == L"untouched");
    EXPECT_TRUE(set.getValue(L"z", value) && value == L"3" && set.getValue(L"", value) && value.empty());
    EXPECT_TRUE(set.removeValue(L"Path") && !set.removeValue(L"Path") && !set.hasValue(L"Path"));
    EXPECT_EQ(set.size(), 5u);
    set.clear();
    EXPECT_TRUE(set.empty() && set.names().empty());
}
