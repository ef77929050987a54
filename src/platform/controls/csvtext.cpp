#include "csvtext.h"

namespace korva {

namespace {

void appendField(QByteArray &out, const QString &field)
{
    const QByteArray bytes = field.toUtf8();
    const bool quote =
        bytes.contains(',') || bytes.contains('"') || bytes.contains('\n') || bytes.contains('\r');
    if (!quote) {
        out += bytes;
        return;
    }
    out += '"';
    for (const char c : bytes) {
        if (c == '"')
            out += '"';
        out += c;
    }
    out += '"';
}

} // namespace

QByteArray csvText(const QList<QStringList> &rows)
{
    QByteArray out;
    for (const QStringList &row : rows) {
        for (int i = 0; i < row.size(); ++i) {
            if (i > 0)
                out += ',';
            appendField(out, row.at(i));
        }
        out += "\r\n";
    }
    return out;
}

} // namespace korva
