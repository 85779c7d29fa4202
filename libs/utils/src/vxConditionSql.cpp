#include "vxConditionSql.h"

#include "vxException.h"

#include <type_traits>

namespace vx::conditions {

namespace {

[[noreturn]] void noSqlForm(const wchar_t* name) {
    throw unexpectedErrorException(L"toSqlWhere: %s has no SQL form", name);
}

// The operand as the value a statement binds: integers and bool as int, as in the text form.
template <class T>
genericValue parameter(const T& operand) {
    if constexpr (std::is_floating_point<T>::value)
        return genericValue(static_cast<double>(operand));
    else if constexpr (std::is_same<T, vx::string>::value)
        return genericValue(operand);
    else
        return genericValue(static_cast<int>(operand));
}

vx::string escapedPattern(const vx::string& pattern) {
    vx::string like;
    for (wchar_t c : pattern) {
        switch (c) {
        case L'*': like += L'%'; break;
        case L'?': like += L'_'; break;
        case L'%':
        case L'_':
        case L'\\': like += L'\\'; like += c; break;
        default: like += c; break;
        }
    }
    return like;
}

// The typed conditions of T with an SQL form; false when c is none of them.
template <class T>
bool typedWhere(const condition& c, const vx::string& field, std::vector<genericValue>& params, vx::string& sql) {
    if (auto* e = dynamic_cast<const equal<T>*>(&c)) {
        if constexpr (std::is_same<T, vx::string>::value) {
            params.push_back(parameter(e->operand()));
            sql = e->operand().empty() ? L"(" + field + L" = ? OR " + field + L" IS NULL)" : L"(" + field + L" = ?)";
        } else {
            params.push_back(parameter(e->operand()));
            sql = L"(" + field + L" = ?)";
        }
        return true;
    }
    if (auto* s = dynamic_cast<const smallerOrEqual<T>*>(&c)) {
        params.push_back(parameter(s->operand()));
        sql = field + L" <= ?";
        return true;
    }
    if (dynamic_cast<const bigger<T>*>(&c))
        noSqlForm(L"bigger<T>");
    if (dynamic_cast<const biggerOrEqual<T>*>(&c))
        noSqlForm(L"biggerOrEqual<T>");
    if (dynamic_cast<const smaller<T>*>(&c))
        noSqlForm(L"smaller<T>");
    if (dynamic_cast<const notequal<T>*>(&c))
        noSqlForm(L"notequal<T>");
    if (dynamic_cast<const in<T>*>(&c))
        noSqlForm(L"in<T>");
    return false;
}

vx::string joined(const logicalCondition& node, const vx::string& field, std::vector<genericValue>& params,
                  const wchar_t* separator, const wchar_t* ifEmpty) {
    if (node.children().empty())
        return ifEmpty;
    vx::string sql = L"(";
    for (std::size_t i = 0; i < node.children().size(); ++i)
        sql += (i ? vx::string(separator) : vx::string()) + toSqlWhere(*node.children()[i], field, params);
    return sql + L")";
}

} // namespace

vx::string toSqlWhere(const condition& c, const vx::string& fieldName, std::vector<genericValue>& params) {
    if (auto* node = dynamic_cast<const logicalAnd*>(&c))
        return joined(*node, fieldName, params, L" AND ", L"(1 = 1)");
    if (auto* node = dynamic_cast<const logicalOr*>(&c))
        return joined(*node, fieldName, params, L" OR ", L"(1 = 0)");
    if (auto* match = dynamic_cast<const stringMatches*>(&c)) {
        params.push_back(genericValue(escapedPattern(match->pattern())));
        return fieldName + L" LIKE ? ESCAPE '\\'";
    }
    if (auto* field = dynamic_cast<const namedFieldValue*>(&c))
        return field->child() ? toSqlWhere(*field->child(), field->fieldName(), params) : vx::string();
    if (auto* fields = dynamic_cast<const inCustomField*>(&c)) {
        vx::string sql = L"(";
        bool first = true;
        fields->expected().forEachItem(
            [&](const genericSet::item& item) {
                vx::string value;
                if (!item.second.isNull())
                    item.second->get(value);
                params.push_back(genericValue(value));
                sql += (first ? L"" : L" AND ") + item.first.string() + L" = ?";
                first = false;
                return true;
            },
            false);
        return sql + L")";
    }
    if (auto* byGuid = dynamic_cast<const equal<vx::guid>*>(&c)) {
        if (!byGuid->operand().isInitialized())
            return L"(" + fieldName + L" IS NULL)";
        params.push_back(genericValue(byGuid->operand().toString()));
        return L"(" + fieldName + L" = ?)";
    }
    vx::string sql;
    if (typedWhere<bool>(c, fieldName, params, sql) || typedWhere<short>(c, fieldName, params, sql) ||
        typedWhere<int>(c, fieldName, params, sql) || typedWhere<long>(c, fieldName, params, sql) ||
        typedWhere<unsigned short>(c, fieldName, params, sql) ||
        typedWhere<unsigned int>(c, fieldName, params, sql) ||
        typedWhere<unsigned long>(c, fieldName, params, sql) || typedWhere<float>(c, fieldName, params, sql) ||
        typedWhere<double>(c, fieldName, params, sql) || typedWhere<vx::string>(c, fieldName, params, sql))
        return sql;
    if (dynamic_cast<const any*>(&c))
        noSqlForm(L"any");
    if (dynamic_cast<const logicalNot*>(&c))
        noSqlForm(L"logicalNot");
    noSqlForm(L"this condition");
}

} // namespace vx::conditions
