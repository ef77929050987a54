#pragma once

#include <QList>
#include <QVariant>

#include <functional>

namespace korva {
class RecordSet;

namespace query {

using Row = QList<QVariant>;
using Predicate = std::function<bool(const Row &)>;
using Less = std::function<bool(const Row &, const Row &)>;

// Filter and find criteria: comparisons (=, <>, <, >, <=, >=, LIKE with * or % wildcards)
// of a field with a literal ('text', a number, #date#), joined by AND / OR, in parentheses.
// Throws ProcError with a clear text on anything else.
Predicate parseCriteria(const RecordSet &rs, const QString &text);
// "F1 [ASC|DESC], F2 [ASC|DESC]"; nulls sort first.
Less parseSort(const RecordSet &rs, const QString &text);

} // namespace query
} // namespace korva
