// Commands over conditions: parse a condition text, show its SQL forms, evaluate it.
#include "command.h"

#include <vxCondition.h>
#include <vxConditionSql.h>

#include <memory>

namespace {

using vxutil::arguments;
using vxutil::expectCount;
using vxutil::printLine;
using vxutil::usageError;
using namespace vx::conditions;

// The parsed condition; a text that gives none is reported as a failure, with the reason.
std::unique_ptr<condition> parseOrReport(const vx::string& text, int& status) {
    try {
        std::unique_ptr<condition> c(condition::parse(text));
        if (!c)
            status = vxutil::failure(text, "no condition: an unknown type word or an operand that does not convert");
        return c;
    } catch (const vx::exception& e) {
        status = vxutil::failure(text, e);
    }
    return nullptr;
}

vx::string describe(const vx::genericValue& v) {
    vx::string text;
    v.get(text);
    const wchar_t* type = v.type() == typeid(int) ? L"int" : v.type() == typeid(double) ? L"double" : L"string";
    return vx::string(type) + L" " + text;
}

int runParse(arguments args) {
    expectCount(args, 1, 1);
    int status = 0;
    const auto c = parseOrReport(args[0], status);
    if (c)
        printLine(c->toString());
    return status;
}

int runSql(arguments args) {
    expectCount(args, 2, 2);
    int status = 0;
    const auto c = parseOrReport(args[0], status);
    if (!c)
        return status;
    printLine(L"sql:   " + c->toSqlString(args[1]));
    std::vector<vx::genericValue> params;
    try {
        printLine(L"where: " + toSqlWhere(*c, args[1], params));
    } catch (const vx::exception& e) {
        printLine(L"where: none (" + vx::string(e.message().string()) + L")");
        return 0;
    }
    for (std::size_t n = 0; n < params.size(); ++n)
        printLine(vx::string::sformat(L"?%u:    ", static_cast<unsigned>(n + 1)) + describe(params[n]));
    return 0;
}

int runEval(arguments args, bool onField) {
    if (args.size() < (onField ? 2u : 1u))
        throw usageError(onField ? "missing condition text or field name" : "missing condition text");
    int status = 0;
    std::unique_ptr<condition> c = parseOrReport(args[0], status);
    if (!c)
        return status;
    args.erase(args.begin());
    if (onField) { // the condition restricts one field of the set
        c = std::make_unique<namedFieldValue>(args[0], *c);
        args.erase(args.begin());
    }
    // No value: an empty one. One text without '=': that text. Otherwise a set of name=value.
    vx::genericSet fields;
    vx::genericValue value;
    if (args.size() == 1 && args[0].find(L'=') == vx::string::npos) {
        value = vx::genericValue(args[0]);
    } else if (!args.empty()) {
        for (const vx::string& pair : args) {
            const std::size_t equals = pair.find(L'=');
            if (equals == vx::string::npos || equals == 0)
                throw usageError("not a name=value pair: " + vxutil::quoted(pair));
            fields.setGenericValue(vx::scString::createFrom(vx::string(pair.substr(0, equals))),
                                   vx::genericValue(vx::string(pair.substr(equals + 1))), true);
        }
        value = vx::genericValue(&fields);
    }
    const bool answer = c->isTrueGeneric(value);
    printLine(answer ? L"true" : L"false");
    return answer ? 0 : 1;
}

int runCond(arguments args) {
    const vxutil::options given = vxutil::takeOptions(args, {"--field"});
    if (args.empty())
        throw usageError("missing action: parse, sql or eval");
    const vx::string action = args[0];
    args.erase(args.begin());
    if (given.has("--field") && action != L"eval")
        throw usageError("--field belongs to eval");
    if (action == L"parse")
        return runParse(args);
    if (action == L"sql")
        return runSql(args);
    if (action == L"eval")
        return runEval(args, given.has("--field"));
    throw usageError("unknown action " + vxutil::quoted(action));
}

const vxutil::registration registered{
    {"cond", "parse, print as SQL and evaluate conditions",
     "parse TEXT | sql TEXT FIELD | eval TEXT [VALUE | NAME=VALUE...] | eval --field TEXT FIELD NAME=VALUE...\n\n"
     "parse  reads the condition TEXT, such as 'and(bigger<int>(\"1\"), smaller<int>(\"9\"))', and\n"
     "       prints it back; a text that gives no condition is reported, with status 1.\n"
     "sql    prints the SQL predicate of TEXT on the column FIELD as the condition writes it\n"
     "       (operands in the text, unescaped), then the same with ? placeholders and the\n"
     "       operands to bind, one per line.\n"
     "eval   evaluates TEXT against nothing (no further argument), against the text VALUE, or\n"
     "       against a set of fields NAME=VALUE, and prints true (status 0) or false (status 1).\n"
     "       Every value is text; the condition converts it to its type. With --field the\n"
     "       condition applies to the field FIELD of the set; a set without it passes.",
     runCond},
};

} // namespace
