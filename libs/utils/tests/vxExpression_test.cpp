#include "testSupport.h"

#include <vxExpression.h>

#include <string>

TEST(Expression, EvaluatesOrRefuses) {
    struct row { const wchar_t* text; bool valid; double value; };
    const row rows[] = {
        {L"2*3", true, 6},          {L"1,5", true, 1.5},          {L"1.5", true, 1.5},
        {L" 1 + 2 * 3 ", true, 7},  {L"(1+2)*3", true, 9},        {L"2^3^2", true, 512},
        {L"-2^2", true, -4},        {L"2^-1", true, 0.5},         {L"--3", true, 3},
        {L"+4", true, 4},           {L"7/2", true, 3.5},          {L"10-4-3", true, 3},
        {L"16/4/2", true, 2},       {L"1e3", true, 1000},         {L"2.5E-1", true, 0.25},
        {L".5", true, 0.5},         {L"5.", true, 5},             {L"((((1))))", true, 1},
        {L"2(3)", false, 0},        {L"1/0", false, 0},           {L"1/(2-2)", false, 0},
        {L"", false, 0},            {L"   ", false, 0},           {L"abc", false, 0},
        {L"1+", false, 0},          {L"(1", false, 0},            {L"1)", false, 0},
        {L"1,5,5", false, 0},       {L"1 2", false, 0},           {L"1e", false, 0},
        {L"10^400", false, 0},      {L"(-8)^0.5", false, 0},      {L".", false, 0},
        {L"1e999", false, 0},       {L"2**3", false, 0},          {L"1\x0663", false, 0},
    };
    for (const row& r : rows) {
        const vx::expression e(r.text);
        EXPECT_EQ(e.isValid(), r.valid) << vx::string(r.text).getMBCS();
        EXPECT_DOUBLE_EQ(e.result(), r.value) << vx::string(r.text).getMBCS();
    }
}

TEST(Expression, DeepNestingIsRefusedNotACrash) {
    for (const wchar_t* unit : {L"(", L"-", L"2^"}) {
        vx::string text;
        for (int i = 0; i < 100000; ++i)
            text += unit;
        text += L"1";
        EXPECT_FALSE(vx::expression(text).isValid());
    }
    vx::string shallow;
    for (int i = 0; i < 200; ++i)
        shallow += L"(";
    shallow += L"1";
    for (int i = 0; i < 200; ++i)
        shallow += L")";
    EXPECT_TRUE(vx::expression(shallow).isValid());
}
