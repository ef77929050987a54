#pragma once

#include <QHash>
#include <QString>

namespace korva::server {

// Who is asking, from the request's context text "INSP_ID=<id>;REGION=<region>". Keys are
// read case-insensitively; pairs may be separated by ";" or ","; blanks and unknown keys are
// ignored.
struct Session {
    qint64 officerId = 0; // 0 when the context names none
    QString region;       // upper case; empty when not given
    QHash<QString, QString> values;

    static Session fromContext(const QString &context);
    static QString contextText(qint64 officerId, const QString &region);
};

} // namespace korva::server
