#include <vxGenericValue.h>

#include "testSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using vx::constptrholder;
using vx::genericValue;
using vx::holder;
using vx::holderbase;
using vx::ndef;
using vx::ptrholder;
using vx::valueholder;

#if defined(__SANITIZE_THREAD__)
constexpr int kRounds = 3000;
#else
constexpr int kRounds = 20000;
#endif

// Runs f and answers whether it threw the bool false of a failed assertion.
template <class F>
bool throwsFalse(F f) {
    try {
        f();
    } catch (bool value) {
        return value == false;
    }
    return false;
}

template <class T>
T read(const genericValue& v, bool expected = true) {
    T out{};
    EXPECT_EQ(v.get(out), expected);
    return out;
}

// --- empty values -------------------------------------------------------------------------------------

TEST(GenericValueEmpty, EveryReadAnswersFalse) {
    const genericValue empty;
    int i = 7;
    vx::string s = L"kept";
    double d = 1.5;
    ndef n;
    EXPECT_FALSE(empty.get(i));
    EXPECT_FALSE(empty.get(s));
    EXPECT_FALSE(empty.get(d));
    EXPECT_FALSE(empty.get(n));
    EXPECT_EQ(i, 7);
    EXPECT_EQ(s, L"kept");
    EXPECT_FALSE(empty.isNdef());
    EXPECT_TRUE(empty.isEmpty());
    EXPECT_EQ(empty.type(), typeid(void));
    const int* p = &i;
    EXPECT_FALSE(empty.getPtr(p));
    EXPECT_EQ(p, &i);

    genericValue copy(empty);
    EXPECT_TRUE(copy.isEmpty());
    genericValue assigned(5);
    assigned = empty;
    EXPECT_TRUE(assigned.isEmpty());
}

TEST(GenericValueEmpty, WriteWithoutReplaceMakesAValueHolder) {
    genericValue v;
    EXPECT_TRUE(v.set(vx::string(L"x"), false));
    EXPECT_EQ(v.type(), typeid(vx::string));
    EXPECT_FALSE(v.isReference());
    EXPECT_EQ(read<vx::string>(v), L"x");
}

// --- the parameter types of messages --------------------------------------------------------------------

TEST(GenericValueConstruction, OwnsACopyOfEachParameterType) {
    EXPECT_EQ(read<vx::string>(genericValue(short(-12))), L"-12");
    EXPECT_EQ(read<vx::string>(genericValue(7L)), L"7");
    EXPECT_EQ(read<vx::string>(genericValue(2.5)), L"2.5");
    EXPECT_EQ(read<vx::string>(genericValue(true)), L"1");
    EXPECT_EQ(read<vx::string>(genericValue(L"literal")), L"literal");
    EXPECT_EQ(read<vx::string>(genericValue(std::wstring(L"std"))), L"std");
    EXPECT_EQ(read<vx::string>(genericValue(static_cast<const wchar_t*>(nullptr))), L"");

    // Texts are held as vx::string, and nothing else is a vx::string.
    EXPECT_EQ(genericValue(L"literal").type(), typeid(vx::string));
    EXPECT_EQ(genericValue(short(1)).type(), typeid(short));
    EXPECT_EQ(genericValue(1L).type(), typeid(long));

    // A character is held as itself; it has no converter, so it is read by its exact type.
    const genericValue c(L'Z');
    EXPECT_EQ(c.type(), typeid(wchar_t));
    EXPECT_EQ(read<wchar_t>(c), L'Z');
    vx::string s = L"kept";
    EXPECT_FALSE(c.get(s));
    EXPECT_EQ(s, L"kept");
    const wchar_t* pc = nullptr;
    ASSERT_TRUE(c.getPtr(pc));
    EXPECT_EQ(*pc, L'Z');
}

TEST(GenericValueConstruction, GetPtrOnlyForTheExactType) {
    const genericValue v(42);
    const int* pi = nullptr;
    ASSERT_TRUE(v.getPtr(pi));
    EXPECT_EQ(*pi, 42);
    const long* pl = nullptr;
    EXPECT_FALSE(v.getPtr(pl));
    EXPECT_EQ(pl, nullptr);

    // A value over a null variable has the type but points at nothing.
    genericValue none(static_cast<int*>(nullptr));
    const int other = 1;
    pi = &other;
    ASSERT_TRUE(none.getPtr(pi));
    EXPECT_EQ(pi, nullptr);
}

// --- reads and writes across types ----------------------------------------------------------------------

TEST(GenericValueConversion, ReadsConvert) {
    EXPECT_EQ(read<double>(genericValue(vx::string(L"1,5"))), 1.5);
    EXPECT_EQ(read<int>(genericValue(2.9)), 2);
    EXPECT_EQ(read<long>(genericValue(vx::string(L"  -3 apples"))), -3L);
    EXPECT_EQ(read<std::string>(genericValue(vx::string(L"narrow"))), "narrow");
    EXPECT_EQ(read<float>(genericValue(short(3))), 3.0f);
    // No converter from double to bool: the way leads through text.
    EXPECT_TRUE(read<bool>(genericValue(2.5)));

    int untouched = 9;
    EXPECT_FALSE(genericValue(vx::string(L"abc")).get(untouched));
    EXPECT_EQ(untouched, 9);
}

TEST(GenericValueConversion, RangeFailuresStoreTheLimit) {
    EXPECT_EQ(read<short>(genericValue(40000), false), 32767);
    EXPECT_EQ(read<unsigned int>(genericValue(-1), false), 0u);
    // long is 32 bits wide in text.
    EXPECT_EQ(read<vx::string>(genericValue(5000000000L), false), L"2147483647");
}

TEST(GenericValueConversion, WriteKeepsTheHolderType) {
    genericValue v(10);
    EXPECT_FALSE(v.set(vx::string(L"x"), false));
    EXPECT_EQ(v.type(), typeid(int));
    EXPECT_EQ(read<int>(v), 10);

    EXPECT_TRUE(v.set(vx::string(L"12"), false));
    EXPECT_EQ(read<int>(v), 12);
    EXPECT_TRUE(v.set(3.9, false));
    EXPECT_EQ(read<int>(v), 3);
    EXPECT_TRUE(v.set(L"44", false));
    EXPECT_EQ(v.type(), typeid(int));
    EXPECT_EQ(read<int>(v), 44);

    // A range failure in a write still changes the value: it holds the limit.
    genericValue small(short(1));
    EXPECT_FALSE(small.set(40000, false));
    EXPECT_EQ(read<short>(small), 32767);
    // Text outside the range of short leaves it as it was.
    EXPECT_FALSE(small.set(vx::string(L"40000"), false));
    EXPECT_EQ(read<short>(small), 32767);
}

TEST(GenericValueConversion, ReplacingWriteChangesTheHolder) {
    genericValue v(10);
    EXPECT_TRUE(v.set(vx::string(L"x"), true));
    EXPECT_EQ(v.type(), typeid(vx::string));
    EXPECT_EQ(read<vx::string>(v), L"x");
    EXPECT_TRUE(v.set(2.5, true));
    EXPECT_EQ(v.type(), typeid(double));

    // A replacing write on a reference lets the variable go.
    int x = 1;
    genericValue ref(&x);
    EXPECT_TRUE(ref.set(5, true));
    EXPECT_FALSE(ref.isReference());
    EXPECT_EQ(x, 1);
}

// --- references -------------------------------------------------------------------------------------------

TEST(GenericValueReference, CopiesAliasTheVariable) {
    int x = 1;
    genericValue ref(&x);
    EXPECT_TRUE(ref.isReference());
    genericValue copy(ref);
    genericValue assigned;
    assigned = ref;
    x = 7;
    EXPECT_EQ(read<int>(copy), 7);
    EXPECT_EQ(read<vx::string>(assigned), L"7");

    EXPECT_TRUE(copy.set(vx::string(L"12"), false));
    EXPECT_EQ(x, 12);
    EXPECT_TRUE(assigned.set(13, false));
    EXPECT_EQ(x, 13);

    int* p = nullptr;
    ASSERT_TRUE(copy.getPtr(p));
    EXPECT_EQ(p, &x);
}

TEST(GenericValueReference, ValueCopiesAreIndependent) {
    genericValue original(1);
    genericValue copy(original);
    EXPECT_TRUE(original.set(2, false));
    EXPECT_EQ(read<int>(copy), 1);
    int* p = nullptr;
    ASSERT_TRUE(copy.getPtr(p));
    *p = 5;
    EXPECT_EQ(read<int>(original), 2);

    vx::string text = L"abc";
    genericValue owning(text);
    text = L"changed";
    EXPECT_EQ(read<vx::string>(owning), L"abc");
}

TEST(GenericValueReference, ReadsWriteIntoTheCallersVariables) {
    vx::string variable = L"before";
    genericValue ref(&variable);
    EXPECT_TRUE(ref.set(3.5, false));
    EXPECT_EQ(variable, L"3.5");
    // Writing the variable into itself changes nothing.
    EXPECT_TRUE(ref.set(variable, false));
    EXPECT_EQ(variable, L"3.5");

    // A value over nothing reads nothing and writes nowhere.
    genericValue none(static_cast<int*>(nullptr));
    int out = 4;
    EXPECT_FALSE(none.get(out));
    EXPECT_FALSE(none.set(vx::string(L"5"), false));
    EXPECT_TRUE(none.set(5, false)); // same type: set does nothing on a null pointer
}

TEST(GenericValueReference, MoveTakesTheHolderOver) {
    genericValue source(3);
    genericValue moved(std::move(source));
    EXPECT_EQ(read<int>(moved), 3);
    EXPECT_TRUE(source.isEmpty()); // NOLINT(bugprone-use-after-move)
    genericValue target(1);
    target = std::move(moved);
    EXPECT_EQ(read<int>(target), 3);

    genericValue a(1), b(vx::string(L"b"));
    a.swap(b);
    EXPECT_EQ(a.type(), typeid(vx::string));
    EXPECT_EQ(read<int>(b), 1);
    a.clear();
    EXPECT_TRUE(a.isEmpty());
}

TEST(GenericValueReference, SharedHoldersSeeEachOthersWrites) {
    genericValue first(1);
    genericValue second(first.holderPtr());
    EXPECT_TRUE(first.set(9, false));
    EXPECT_EQ(read<int>(second), 9);
    genericValue third;
    third.shareHolder(second.holderPtr());
    EXPECT_TRUE(third.set(vx::string(L"10"), false));
    EXPECT_EQ(read<int>(first), 10);
    // A copy still clones.
    genericValue copy(third);
    EXPECT_TRUE(copy.set(11, false));
    EXPECT_EQ(read<int>(first), 10);
}

// --- ndef ---------------------------------------------------------------------------------------------------

TEST(GenericValueNdef, ConvertsToNothingButItself) {
    const genericValue none{ndef()};
    EXPECT_TRUE(none.isNdef());
    EXPECT_TRUE(none.isReference());
    EXPECT_EQ(none.type(), typeid(ndef));
    ndef n;
    EXPECT_TRUE(none.get(n));
    const ndef* pn = nullptr;
    ASSERT_TRUE(none.getPtr(pn));
    EXPECT_EQ(pn, &ndef::shared());
    EXPECT_TRUE(genericValue(none).isNdef());

    int i = 3;
    vx::string s = L"kept";
    EXPECT_FALSE(none.get(i));
    EXPECT_FALSE(none.get(s));
    EXPECT_EQ(s, L"kept");

    for (const genericValue& other :
         {genericValue(1), genericValue(vx::string(L"")), genericValue(true), genericValue(L'x')}) {
        EXPECT_FALSE(other.isNdef());
        EXPECT_FALSE(other.get(n));
    }
}

// --- the holders ------------------------------------------------------------------------------------------

TEST(GenericValueHolders, ValueHolderClonesDeeplyWithItsOwnLock) {
    valueholder<vx::string> original(vx::string(L"abc"));
    std::unique_ptr<holderbase> copy(original.clone());
    ASSERT_NE(copy, nullptr);
    auto* typed = dynamic_cast<valueholder<vx::string>*>(copy.get());
    ASSERT_NE(typed, nullptr);
    EXPECT_NE(typed->locker(), original.locker());
    EXPECT_NE(typed->constPtr(), original.constPtr());
    EXPECT_EQ(*typed->constPtr(), L"abc");
    EXPECT_FALSE(typed->isReference());
    EXPECT_EQ(typed->rawValue(), typed->ptr());
    original.set(vx::string(L"new"));
    EXPECT_EQ(*typed->constPtr(), L"abc");
}

TEST(GenericValueHolders, PtrHolderClonesAliasWithTheirOwnLock) {
    double variable = 1.0;
    ptrholder<double> original(&variable);
    std::unique_ptr<holderbase> copy(original.clone());
    auto* typed = dynamic_cast<ptrholder<double>*>(copy.get());
    ASSERT_NE(typed, nullptr);
    EXPECT_NE(typed->locker(), original.locker());
    EXPECT_EQ(typed->ptr(), &variable);
    EXPECT_EQ(typed->rawConstValue(), &variable);
    EXPECT_TRUE(typed->isReference());
    typed->set(4.0);
    EXPECT_EQ(variable, 4.0);
}

TEST(GenericValueHolders, ConstPtrHolderIsReadOnly) {
    vxtest::assertionCapture capture;
    const vx::string value = L"const";
    {
        constptrholder<vx::string> lender(&value);
        EXPECT_EQ(lender.rawValue(), nullptr);
        EXPECT_EQ(lender.rawConstValue(), &value);
        EXPECT_TRUE(lender.isReference());
        lender.set(vx::string(L"changed"));
        EXPECT_EQ(value, L"const");
        // Writing access is an assertion without a message text.
        EXPECT_TRUE(throwsFalse([&] { lender.ptr(); }));
        EXPECT_TRUE(capture.texts().empty());

        // Its clone shares pointer and lock; either may be destroyed first.
        std::unique_ptr<holderbase> clone(lender.clone());
        auto* typed = dynamic_cast<constptrholder<vx::string>*>(clone.get());
        ASSERT_NE(typed, nullptr);
        EXPECT_EQ(typed->constPtr(), &value);
        EXPECT_EQ(typed->locker(), lender.locker());
        std::unique_ptr<holderbase> second(typed->clone());
        clone.reset();
        EXPECT_EQ(static_cast<holder<vx::string>*>(second.get())->locker(), lender.locker());
    }
    {
        auto* lender = new constptrholder<vx::string>(&value);
        std::unique_ptr<holderbase> clone(lender->clone());
        delete lender; // the source first
        EXPECT_EQ(static_cast<holder<vx::string>*>(clone.get())->constPtr(), &value);
    }

    // Converting into a read-only holder fails; into it from the same type is a no-op success.
    int target = 0;
    constptrholder<int> readOnly(&target);
    const genericValue source(5);
    EXPECT_TRUE(source.holderPtr()->assignTo(readOnly));
    EXPECT_EQ(target, 0);
    EXPECT_FALSE(genericValue(vx::string(L"5")).holderPtr()->assignTo(readOnly));
    EXPECT_TRUE(readOnly.assignFrom(*source.holderPtr()));
    EXPECT_EQ(target, 0);
    EXPECT_FALSE(readOnly.assignFrom(*genericValue(vx::string(L"5")).holderPtr()));
}

TEST(GenericValueHolders, ValueHolderWithoutValueAsserts) {
    vxtest::assertionCapture capture;
    valueholder<int> none{vx::sharedPtr<int>()};
    EXPECT_EQ(none.rawValue(), nullptr);
    EXPECT_TRUE(throwsFalse([&] { none.ptr(); }));
    EXPECT_NE(capture.last().find(L"m_p != nullptr"), std::wstring::npos);
    EXPECT_TRUE(throwsFalse([&] { none.set(3); }));

    // Cloning it gives another holder without value, without an assertion.
    capture.texts().clear();
    std::unique_ptr<holderbase> clone(none.clone());
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(clone->rawConstValue(), nullptr);
    EXPECT_TRUE(capture.texts().empty());

    // Conversions read and write nothing; the same type reads through constPtr and asserts.
    genericValue value(vx::sharedPtr<holderbase>(none.clone()));
    vx::string s = L"kept";
    EXPECT_FALSE(value.get(s));
    EXPECT_EQ(s, L"kept");
    EXPECT_FALSE(value.set(vx::string(L"1"), false));
    int i = 0;
    EXPECT_TRUE(throwsFalse([&] { value.get(i); }));
}

// --- concurrency ----------------------------------------------------------------------------------------------

TEST(GenericValueConcurrency, CopiesNeverSeeATornText) {
    const vx::string longA(200, L'a');
    const vx::string longB(300, L'b');
    genericValue shared(longA);
    std::atomic<bool> stop{false};
    std::atomic<int> torn{0};

    auto reader = [&] {
        while (!stop.load()) {
            const genericValue copy(shared); // clones under the holder's lock
            vx::string s;
            if (!copy.get(s) || (s != longA && s != longB && s != L"1.5"))
                ++torn;
        }
    };
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
        readers.emplace_back(reader);
    for (int round = 0; round < kRounds; ++round) {
        switch (round % 4) {
        case 0: shared.set(longB, false); break;             // the holder's own write
        case 1: shared.set(longA, false); break;
        case 2: shared.set(1.5, false); break;                // a converted write
        default: shared.set(longA, round % 8 == 3); break;    // a new holder swapped in
        }
    }
    stop = true;
    for (auto& t : readers)
        t.join();
    EXPECT_EQ(torn.load(), 0);
}

} // namespace
