#include "testSupport.h"

#include <vxLocManager.h>
#include <vxLocString.h>

#include <cstdarg>

using vx::locString;
using vx::locStringId;
using vx::localLocString;
using vx::localLocStringId;

namespace {

std::wstring persistentId(const vx::iLocStringId& id) {
    vx::string out = L"stale";
    id.getPersistentId(out);
    return out;
}

template <class T>
T fromList(const wchar_t* id, const wchar_t* defaultText, const wchar_t* file, ...) {
    va_list args;
    va_start(args, file);
    T result(id, defaultText, file, args);
    va_end(args);
    return result;
}

std::wstring text(const locString& s) { return s.string(); }

// Sets the parameters value1, name1, value2, name2, ... of a string in this order.
template <class S>
void setParams(S&) {}
template <class S, class V, class... More>
void setParams(S& s, const V& value, const wchar_t* name, const More&... more) {
    s.params().set(value, name);
    setParams(s, more...);
}
template <class S, class... P>
S with(S s, const P&... params) { return setParams(s, params...), s; }

} // namespace

TEST(locString, persistentIdsTheDefaultTextWithTypedAndLocalisedParametersInEntryOrderAndTheSerializedForm) {
    const auto of = [](const auto&... args) { return persistentId(locStringId(args...)); };
    locStringId id(L"A", L"B", std::vector<const wchar_t*>{L"", nullptr, L"g"});
    id.addAlternativeFile(nullptr);
    id.addAlternativeFile(L"h");
    EXPECT_EQ(id.alternativeFiles().size(), 3u); // the empty name is kept but not written
    const locStringId original(L"Msg_Y", L"Text [P]", L"a.loc", L"b.loc", nullptr);
    const std::wstring rows[][2] = {
        {of(L"A", L"B"), L"A|B|"}, {of(L"A", L"B", L"f1", L"f2", L"f3", nullptr, L"ignored"), L"A|B|,f1,f2,f3"},
        {of(L"A", nullptr, nullptr, L"f2", nullptr), L"A||,f2"}, {persistentId(id), L"A|B|,g,h"},
        {persistentId(locStringId(L"A", L"B", L"f", 0)), L"A|B|,f"}, // 0 as the end of the list
        // An empty id gives an empty persistent id.
        {of(L"", L"B", L"f.loc"), L""}, {of(nullptr, L"B"), L""}, {persistentId(localLocStringId()), L""},
        {of(static_cast<const wchar_t*>(nullptr)), L""},
        // Started argument lists.
        {persistentId(fromList<locStringId>(L"A", L"B", L"f1", L"f2", nullptr)), L"A|B|,f1,f2"},
        {persistentId(fromList<locStringId>(L"A", L"B", nullptr, L"f2", nullptr)), L"A|B|,f2"},
        {persistentId(fromList<localLocStringId>(L"A", L"B", L"f1", nullptr)), L"A|B|,f1"},
        {persistentId(fromList<locString>(L"A", L"B", L"f1", L"f2", nullptr).stringId()), L"A|B|,f1,f2"},
        // Read back from the text.
        {of(persistentId(original).c_str()), L"Msg_Y|Text [P]|,a.loc,b.loc"}, {of(L"A|B"), L"A|B|"},
        {of(L"A|B|single.loc"), L"A|B|,single.loc"},
        {of(L"A|x|y|,f"), L"A|x|,y"}, // a bar in the default text moves the fields: the rest is the file list
    };
    for (const auto& row : rows)
        EXPECT_EQ(row[0], row[1]);
    locStringId empty(nullptr, nullptr, nullptr), plain(L"Just a text");
    EXPECT_EQ(std::wstring(empty.id()) + empty.defaultString(), L"");
    EXPECT_EQ(std::wstring(plain.id()) + L"|" + plain.defaultString(), L"Just a text|Just a text");
    EXPECT_EQ(std::wstring(locStringId(L"|only default|").defaultString()), L"only default");
    // A local identifier copies into the ordinary class, file names included.
    const localLocStringId local(L"A", L"B", L"f1", L"f2", nullptr);
    locStringId copy = static_cast<const vx::iLocStringId&>(local).copy();
    EXPECT_EQ(persistentId(copy), L"A|B|,f1,f2");
    EXPECT_EQ(copy.alternativeFiles()[0], locStringId(L"C", L"D", L"f1").alternativeFiles()[0]);
    locString s(L"Msg_Unknown", L"E: Could not open [File] after [Tries] tries", L"missing.loc");
    setParams(s, L"C:\\a.txt", L"File", 3, L"Tries");
    EXPECT_EQ(text(s), L"Could not open C:\\a.txt after 3 tries");
    EXPECT_EQ(text(locString(L"", L"Only [X]")) + text(locString()), L"Only [X]");
    vx::locMessage msg(L"unchanged");
    EXPECT_FALSE(vx::locManager::instance()->loadMessage(s.stringId(), msg, nullptr) ||
                 vx::locManager::instance()->loadMessage(s.stringId(), msg, L"en"));
    EXPECT_EQ(std::wstring(msg), L"unchanged");
    locString typed(L"Id", L"[S] [I] [L] [D] [B] [C] [T] [W] [F%5.2f] [N%03d]"), unnamed(L"Id", L"$2 before $1");
    setParams(typed, static_cast<short>(-2), L"S", 7, L"I", static_cast<long>(5000000000LL), L"L", // cut to 32 bits
              2.5, L"D", false, L"B", L'q', L"C", vx::string(L"text"), L"T", static_cast<const wchar_t*>(nullptr), L"W",
              2, L"F", L"7", L"N");
    setParams(unnamed, L"first", nullptr, L"second", L"");
    EXPECT_EQ(text(typed) + L"|" + text(unnamed),
              L"-2 7 705032704 2.500000 False q text   2.00 007|second before first");
    locString ordered = with(locString(L"Id", L"%d %d"), 1, L"A", 2, L"B");
    locString before(ordered);
    EXPECT_EQ(text(ordered), L"1 2");
    ordered.params().set(3, L"A"); // replaces, keeps the place
    // Every resolution starts from the default text, and copies are independent.
    EXPECT_EQ(text(ordered) + L"|" + text(before), L"3 2|1 2");
    // Localised parameters are resolved too.
    locString inner = with(locString(L"Msg_Inner", L"inner [X]"), 5, L"X");
    locString outer(L"Msg_Outer", L"Outer: [Inner]!");
    outer.params().set(&inner, L"Inner");
    inner.params().set(6, L"X"); // the value was copied when it was set
    EXPECT_EQ(text(outer), L"Outer: inner 5!");
    const localLocString localInner = with(localLocString(L"Msg_Local", L"local [Y]"), L'y', L"Y");
    outer.params().set(&localInner, L"Inner");
    EXPECT_EQ(text(outer), L"Outer: local y!");
    outer.params().set(static_cast<const vx::iLocString*>(nullptr), L"Inner");
    EXPECT_EQ(text(outer), L"Outer: !");
    locString self(L"Msg_Self", L"<[Me]>");
    self.params().set(&self, L"Me");
    EXPECT_EQ(text(self), L"<<[Me]>>");
    const localLocString localString = with(localLocString(L"Msg_L", L"W: value [V]", L"f.loc"), 4, L"V");
    EXPECT_EQ(std::wstring(localString.string()), L"value 4");
    locString fromLocal = localString.copy();
    EXPECT_EQ(text(fromLocal) + L"=" + persistentId(fromLocal.stringId()), L"value 4=Msg_L|W: value [V]|,f.loc");
    localLocString fromInterface(locStringId(L"Msg_N", L"n", L"g.loc"));
    EXPECT_EQ(persistentId(fromInterface.stringId()), L"Msg_N|n|,g.loc");
    EXPECT_EQ(locString(L"A", L"B", L"f.loc").serialize(), L"<LocString><Id>A</Id><Default>B</Default></LocString>");
    locString part(L"I", L"inner"), whole(L"Msg_<X>", L"a & b");
    setParams(whole, 5, L"N", 1.5, L"D", true, L"B", L"<v>", nullptr, &part, L"P");
    EXPECT_EQ(whole.serialize(), L"<LocString><Id>Msg_<X></Id><Default>a & b</Default><Params>"
                                 L"<Param><Name>N</Name><Value>5</Value></Param><Param><Name>D</Name><Value>1.500000"
                                 L"</Value></Param><Param><Name>B</Name><Value>True</Value></Param><Param><Name></Name>"
                                 L"<Value><v></Value></Param><Param><Name>P</Name><Value><LocString><Id>I</Id>"
                                 L"<Default>inner</Default></LocString></Value></Param></Params></LocString>");
}
