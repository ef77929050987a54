#pragma once

#include <QString>

namespace korva {

// The objectName of an element of a control array, "cmdButton(3)": how tests and other
// classes find a screen's control without reaching into its members.
inline QString indexed(const char *array, int index)
{
    return QStringLiteral("%1(%2)").arg(QLatin1String(array)).arg(index);
}

} // namespace korva
