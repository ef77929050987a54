#include "formservices.h"

#include "broker.h"

namespace korva {

void BrokerFormServices::setTemplates(const RecordSetPtr &templates)
{
    m_templates.clear();
    if (!templates)
        return;
    const int id = templates->fieldIndex(u"TMPLT_ID");
    const int path = templates->fieldIndex(u"TMPLT_PATH");
    if (id < 0 || path < 0)
        return;
    for (int r = 0; r < templates->storageCount(); ++r) {
        const QList<QVariant> &row = templates->storageRow(r);
        bool ok = false;
        const int number = row.at(id).toInt(&ok);
        if (ok)
            m_templates.insert(number, row.at(path).toString().trimmed());
    }
}

void BrokerFormServices::setTemplatePath(int templateNumber, const QString &path)
{
    m_templates.insert(templateNumber, path);
}

QString BrokerFormServices::RequestNumber(const QString &kind, const QString &service,
                                          BrokerMessage &message, QStringList &atHand)
{
    // The server issues numbers one request at a time; none are ever held in advance here.
    Q_UNUSED(atHand)
    BrokerRequest request;
    request.setMessageId(service);
    request.setVersion(m_user ? m_user->versionText() : QStringLiteral("1.0"));
    request.setKind(RequestKind::Number);
    request.setContext(m_user ? m_user->contextText() : QString());
    request.addParameter(RequestParameter::key(QStringLiteral("KIND"), kind));
    return message.send(request);
}

QString BrokerFormServices::TemplatePath(int templateNumber) const
{
    return m_templates.value(templateNumber);
}

} // namespace korva
