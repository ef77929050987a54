#include "servicelog.h"

namespace korva::server {

Q_LOGGING_CATEGORY(lcService, "korva.service")

void logRequest(qint64 officer, int kind, bool succeeded, qint64 milliseconds)
{
    qCInfo(lcService).noquote().nospace()
        << "request officer=" << (officer > 0 ? QString::number(officer) : QStringLiteral("-"))
        << " kind=" << kind << " outcome=" << (succeeded ? "ok" : "error")
        << " ms=" << milliseconds;
}

} // namespace korva::server
