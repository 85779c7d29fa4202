// Condition texts: parse, then print, write as SQL and evaluate whatever came out.
//
// Input: the text; each byte is one character. A text ends as a condition, a null result or one
// of the library's exceptions; never a crash, a hang or a leak.
#include <vxCondition.h>
#include <vxConditionSql.h>
#include <vxException.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

std::unique_ptr<vx::conditions::condition> parse(const vx::string& text) {
    try {
        return std::unique_ptr<vx::conditions::condition>(vx::conditions::condition::parse(text));
    } catch (const vx::exception&) {
        return nullptr;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 8192)
        return 0;
    const vx::string text(std::wstring(data, data + size));
    const auto c = parse(text);
    if (!c)
        return 0;

    const std::unique_ptr<vx::conditions::condition> copy(c->clone());
    const vx::string printed = c->toString();
    if (copy->toString() != printed) {
        std::fprintf(stderr, "a clone prints differently\n");
        std::abort();
    }
    c->toSqlString(L"f*");
    std::vector<vx::genericValue> params;
    try {
        vx::conditions::toSqlWhere(*c, L"f", params);
    } catch (const vx::exception&) {
    }

    vx::genericSet fields;
    fields.setGenericValue(vx::scString::createFrom(L"f"), vx::genericValue(5), false);
    const vx::genericValue values[] = {vx::genericValue(), vx::genericValue(5), vx::genericValue(-2.5),
                                       vx::genericValue(vx::string(L"abc")), vx::genericValue(true),
                                       vx::genericValue(&fields)};
    for (const vx::genericValue& v : values) {
        if (c->isTrueGeneric(v) != copy->isTrueGeneric(v)) {
            std::fprintf(stderr, "a clone evaluates differently\n");
            std::abort();
        }
    }
    parse(printed); // the printed form need not read back, but must not break the parser
    return 0;
}
