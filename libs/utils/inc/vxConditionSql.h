// SQL predicates with placeholders for conditions.
//
// toSqlString writes operands into the SQL text as they stand, which is unsafe for text from
// users. toSqlWhere writes the same predicate with a "?" for every operand and hands the operands
// over in order, for the caller to bind to a prepared statement. It covers every condition that
// has an SQL form; the others throw.
#pragma once

#include "vxCondition.h"
#include "vxExport.h"
#include "vxGenericValue.h"
#include "vxString.h"

#include <vector>

namespace vx::conditions {

// The predicate of c on the column fieldName, with "?" placeholders; the operands are appended
// to params in the order of their placeholders (integers and bool as int, floating point as
// double, text and guids as vx::string). Beside toSqlString:
// - wildcard patterns become "LIKE ? ESCAPE '\'" with the pattern's own '%', '_' and '\' escaped,
//   and the field name keeps its '*' and '?';
// - smallerOrEqual<vx::string> is "field <= ?" with the text;
// - an and without children is "(1 = 1)", an or without children "(1 = 0)".
// A condition without an SQL form (any, logicalNot, bigger, biggerOrEqual, smaller, notequal,
// in) throws unexpectedErrorException "toSqlWhere: <class> has no SQL form"; params may then
// hold the operands collected before it.
VX_API vx::string toSqlWhere(const condition& c, const vx::string& fieldName, std::vector<genericValue>& params);

} // namespace vx::conditions
