#include <vxGenericValue.h>

#include "testSupport.h"

namespace {

using vx::constptrholder, vx::genericValue, vx::holder, vx::holderbase, vx::ndef, vx::ptrholder, vx::valueholder;
using vxtest::failedAssertion;

#if defined(__SANITIZE_THREAD__)
constexpr int kRounds = 3000;
#else
constexpr int kRounds = 20000;
#endif

template <class T>
T read(const genericValue& v, bool expected = true) {
    T out{};
    EXPECT_EQ(v.get(out), expected);
    return out;
}

TEST(GenericValueEmpty, EveryReadAnswersFalseAWriteMakesAValueHolderAndNdefConvertsToNothingButItself) {
    genericValue empty;
    int i = 7;
    vx::string s = L"kept";
    ndef n;
    const int* p = &i;
    EXPECT_FALSE(empty.get(i) || empty.get(s) || empty.get(n) || std::as_const(empty).getPtr(p) || empty.isNdef());
    EXPECT_TRUE(i == 7 && s == L"kept" && p == &i && empty.type() == typeid(void));
    EXPECT_TRUE((genericValue(5) = empty).isEmpty() && genericValue(empty).isEmpty());
    EXPECT_TRUE(empty.set(vx::string(L"x"), false) && empty.type() == typeid(vx::string) && !empty.isReference());
    EXPECT_EQ(read<vx::string>(empty), L"x");
    const genericValue none{ndef()};
    EXPECT_TRUE(none.isNdef() && none.isReference() && genericValue(none).isNdef() && none.type() == typeid(ndef));
    const ndef* pn = nullptr;
    EXPECT_TRUE(none.get(n) && none.getPtr(pn) && pn == &ndef::shared());
    EXPECT_TRUE(!none.get(i) && !none.get(s) && i == 7 && s == L"kept");
    for (const genericValue& other :
         {genericValue(1), genericValue(vx::string(L"")), genericValue(true), genericValue(L'x')})
        EXPECT_FALSE(other.isNdef() || other.get(n));
}

TEST(GenericValueConversion, OwnsACopyOfEachParameterTypeReadsConvertAndWritesKeepTheHolderType) {
    const std::pair<genericValue, vx::string> rows[] = {
        {genericValue(short(-12)), L"-12"}, {genericValue(2.5), L"2.5"}, {genericValue(true), L"1"},
        {genericValue(std::wstring(L"std")), L"std"}, {genericValue(static_cast<const wchar_t*>(nullptr)), L""}};
    for (const auto& [value, text] : rows)
        EXPECT_EQ(read<vx::string>(value), text);
    EXPECT_TRUE(genericValue(L"literal").type() == typeid(vx::string) &&
                genericValue(short(1)).type() == typeid(short) && genericValue(1L).type() == typeid(long));
    vx::string text = L"abc";
    genericValue owning(text);
    text = L"changed";
    EXPECT_EQ(read<vx::string>(owning), L"abc");
    // A character has no converter, so it is read by its exact type only.
    const genericValue c(L'Z');
    EXPECT_TRUE(read<wchar_t>(c) == L'Z' && !c.get(text) && text == L"changed");
    // getPtr only for the exact type; a value over a null variable has the type but points at nothing.
    const genericValue v(42), none(static_cast<int*>(nullptr));
    const int* pi = nullptr;
    const long* pl = nullptr;
    EXPECT_TRUE(v.getPtr(pi) && *pi == 42 && !v.getPtr(pl) && pl == nullptr && none.getPtr(pi) && pi == nullptr);
    // A read that fails leaves the target, except a range failure, which stores the limit.
    int untouched = 9;
    EXPECT_FALSE(genericValue(vx::string(L"abc")).get(untouched) || untouched != 9);
    EXPECT_EQ(read<short>(genericValue(40000), false), 32767);
    genericValue w(10);
    EXPECT_TRUE(!w.set(vx::string(L"x"), false) && read<int>(w) == 10 && w.set(3.9, false) && read<int>(w) == 3);
    EXPECT_TRUE(w.set(L"44", false) && w.type() == typeid(int) && read<int>(w) == 44);
    // A range failure in a write stores the limit; text outside the range of short leaves the value as it was.
    genericValue small(short(1));
    EXPECT_TRUE(!small.set(40000, false) && !small.set(vx::string(L"-40000"), false) && read<short>(small) == 32767);
    // A replacing write changes the holder; on a reference it lets the variable go.
    EXPECT_TRUE(w.set(vx::string(L"x"), true) && read<vx::string>(w) == L"x");
    int x = 1;
    genericValue ref(&x);
    EXPECT_TRUE(ref.set(5, true) && !ref.isReference() && x == 1);
}

TEST(GenericValueSharing, ReferencesAliasTheVariableValueCopiesAreDeepSharedHoldersSeeEachOther) {
    int x = 1;
    genericValue ref(&x), copy(ref), assigned;
    assigned = ref;
    x = 7;
    EXPECT_TRUE(ref.isReference() && read<int>(copy) == 7 && read<vx::string>(assigned) == L"7");
    EXPECT_TRUE(copy.set(vx::string(L"12"), false) && x == 12 && assigned.set(13, false) && x == 13);
    int* p = nullptr;
    EXPECT_TRUE(copy.getPtr(p) && p == &x);
    // Converted writes go into the caller's variable; writing it into itself changes nothing.
    vx::string variable = L"before";
    genericValue text(&variable);
    EXPECT_TRUE(text.set(3.5, false) && variable == L"3.5" && text.set(variable, false) && variable == L"3.5");
    // A value over nothing reads nothing and writes nowhere.
    genericValue none(static_cast<int*>(nullptr));
    int out = 4;
    EXPECT_FALSE(none.get(out) || none.set(vx::string(L"5"), false));
    EXPECT_TRUE(none.set(5, false)); // same type: set does nothing on a null pointer
    // Value copies are independent; moves and shares are not.
    genericValue original(1), deep(original);
    ASSERT_TRUE(original.set(2, false) && deep.getPtr(p));
    *p = 5;
    EXPECT_EQ(read<int>(original), 2);
    genericValue moved(std::move(deep)), target(1), other(vx::string(L"b"));
    EXPECT_TRUE(deep.isEmpty()); // NOLINT(bugprone-use-after-move)
    target = std::move(moved);
    target.swap(other);
    EXPECT_TRUE(target.type() == typeid(vx::string) && read<int>(other) == 5);
    target.clear();
    EXPECT_TRUE(target.isEmpty());
    // Values made from one holder see each other's writes; a copy of one still clones.
    genericValue second(original.holderPtr()), third;
    third.shareHolder(second.holderPtr());
    EXPECT_TRUE(third.set(vx::string(L"10"), false));
    genericValue clone(third);
    EXPECT_TRUE(clone.set(11, false) && read<int>(original) == 10);
}

TEST(GenericValueHolders, ConstPtrHolderIsReadOnlyAndAValueHolderWithoutValueAsserts) {
    const vx::string value = L"const";
    {
        constptrholder<vx::string> lender(&value);
        EXPECT_TRUE(lender.rawValue() == nullptr && lender.rawConstValue() == &value && lender.isReference());
        lender.set(vx::string(L"changed"));
        EXPECT_EQ(value, L"const");
        failedAssertion([&] { lender.ptr(); }, 0); // writing access: an assertion without a text
        // Its clone shares pointer and lock; either may be destroyed first.
        std::unique_ptr<holderbase> clone(lender.clone());
        auto* typed = dynamic_cast<constptrholder<vx::string>*>(clone.get());
        ASSERT_NE(typed, nullptr);
        EXPECT_TRUE(typed->constPtr() == &value && typed->locker() == lender.locker());
        std::unique_ptr<holderbase> second(typed->clone());
        clone.reset();
        EXPECT_EQ(static_cast<holder<vx::string>*>(second.get())->locker(), lender.locker());
    }
    auto lender = std::make_unique<constptrholder<vx::string>>(&value);
    std::unique_ptr<holderbase> clone(lender->clone());
    lender.reset(); // the source first
    EXPECT_EQ(static_cast<holder<vx::string>*>(clone.get())->constPtr(), &value);
    // Converting into a read-only holder fails; into it from the same type is a no-op success.
    int target = 0;
    constptrholder<int> readOnly(&target);
    const genericValue source(5), text(vx::string(L"5"));
    EXPECT_TRUE(source.holderPtr()->assignTo(readOnly) && readOnly.assignFrom(*source.holderPtr()) && target == 0);
    EXPECT_FALSE(text.holderPtr()->assignTo(readOnly) || readOnly.assignFrom(*text.holderPtr()));
    // A value holder without a value asserts on access.
    valueholder<int> none{vx::sharedPtr<int>()};
    EXPECT_EQ(vxtest::assertionSite(failedAssertion([&] { none.ptr(); })).rfind(L"m_p != nullptr @ ", 0), 0u);
    failedAssertion([&] { none.set(3); });
    // Cloning it gives another holder without value, without an assertion.
    vxtest::assertionCapture capture;
    std::unique_ptr<holderbase> empty(none.clone());
    EXPECT_TRUE(empty && empty->rawConstValue() == nullptr && capture.texts().empty());
    // Conversions read and write nothing; the same type reads through constPtr and asserts.
    genericValue valueless(vx::sharedPtr<holderbase>(none.clone()));
    vx::string s = L"kept";
    EXPECT_FALSE(valueless.get(s) || valueless.set(vx::string(L"1"), false) || s != L"kept");
    failedAssertion([&] { valueless.get(target); });
}

// The instantiations the library carries: each column behaves as its kind.
template <class T>
bool same(const T& a, const T& b) { return a == b; }
bool same(const vx::locString& a, const vx::locString& b) { return a.serialize() == b.serialize(); }

template <class T>
void checkValueHolder(const T& a, const T& b) {
    valueholder<T> owner(a);
    std::unique_ptr<holderbase> clone(owner.clone());
    auto* typed = dynamic_cast<valueholder<T>*>(clone.get());
    ASSERT_NE(typed, nullptr);
    owner.set(b); // the clone owns its copy and has a lock of its own
    EXPECT_TRUE(same(*typed->constPtr(), a) && same(*owner.constPtr(), b) && owner.rawValue() == owner.ptr());
    EXPECT_TRUE(typed->locker() != owner.locker() && !typed->isReference() && !owner.isReference());
    EXPECT_EQ(owner.type(), typeid(T));
    T out = b;
    EXPECT_TRUE(genericValue(a).get(out) && same(out, a));
}

template <class T>
void checkPtrHolder(T a, const T& b) {
    ptrholder<T> lender(&a);
    std::unique_ptr<holderbase> clone(lender.clone());
    auto* typed = dynamic_cast<ptrholder<T>*>(clone.get());
    ASSERT_NE(typed, nullptr);
    typed->set(b); // the clone aliases the variable, under a lock of its own
    EXPECT_TRUE(a == b && lender.constPtr() == &a && typed->ptr() == &a && lender.isReference());
    EXPECT_TRUE(typed->locker() != lender.locker() && typed->isReference());
    EXPECT_TRUE(lender.rawValue() == &a && lender.rawConstValue() == &a && lender.type() == typeid(T));
}

TEST(GenericValueHolders, EveryCarriedInstantiationBehavesAsItsKind) {
    checkValueHolder<bool>(true, false), checkValueHolder<short>(-3, 4), checkValueHolder<int>(-70000, 5);
    checkValueHolder<long>(123456L, -1L), checkValueHolder<double>(2.5, -0.25);
    checkValueHolder<vx::string>(L"one", L"two"), checkValueHolder<wchar_t>(L'a', L'\u00e9');
    checkValueHolder<vx::locString>(vx::locString(L"Msg_A", L"first"), vx::locString(L"Msg_B", L"second"));
    checkPtrHolder<bool>(false, true), checkPtrHolder<short>(1, -2), checkPtrHolder<int>(1, 2);
    checkPtrHolder<long>(1L, 2L), checkPtrHolder<double>(1.5, 2.5), checkPtrHolder<unsigned short>(1, 65535);
    checkPtrHolder<unsigned int>(1u, 4000000000u), checkPtrHolder<unsigned long>(1ul, 7ul);
    checkPtrHolder<float>(1.5f, -2.5f), checkPtrHolder<vx::string>(L"a", L"b"), checkPtrHolder<ndef>(ndef(), ndef());
    // The unsigned and float lenders read and write through conversion.
    unsigned int u = 0;
    float f = 0;
    genericValue overU(&u), overF(&f);
    EXPECT_TRUE(overU.set(vx::string(L"12"), false) && u == 12u && overF.set(vx::string(L"0,5"), false) && f == 0.5f);
    EXPECT_FALSE(overU.set(-1, false) || u != 0u); // negative to unsigned stores 0 and fails
}

TEST(GenericValueConcurrency, CopiesNeverSeeATornText) {
    const vx::string longA(200, L'a'), longB(300, L'b');
    genericValue shared(longA);
    std::atomic<bool> stop{false};
    std::atomic<int> torn{0};
    vxtest::runThreads(4, [&](int t) {
        if (t > 0) { // readers: clone under the holder's lock
            while (!stop.load()) {
                const genericValue copy(shared);
                vx::string s;
                torn += !copy.get(s) || (s != longA && s != longB && s != L"1.5");
            }
            return;
        }
        for (int round = 0; round < kRounds; ++round) {
            switch (round % 4) {
            case 0: shared.set(longB, false); break;          // the holder's own write
            case 1: shared.set(longA, false); break;
            case 2: shared.set(1.5, false); break;             // a converted write
            default: shared.set(longA, round % 8 == 3); break; // a new holder swapped in
            }
        }
        stop = true;
    });
    EXPECT_EQ(torn.load(), 0);
}

} // namespace
