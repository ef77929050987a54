#pragma once

#include <QByteArray>
#include <QList>
#include <QStringList>

namespace korva {

// Rows as comma-separated text in UTF-8: lines end in CR LF, and a field holding a comma, a
// quote or a line break is quoted, its quotes doubled.
QByteArray csvText(const QList<QStringList> &rows);

} // namespace korva
