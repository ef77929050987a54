#include "session.h"

#include "errors.h"

namespace korva {

SessionUser::SessionUser(int officerId, QString region)
    : m_officerId(officerId)
    , m_region(std::move(region))
{}

void SessionUser::setRights(QSet<QString> rights, QSet<QString> groups)
{
    m_rights.clear();
    m_groups.clear();
    for (const QString &r : rights)
        m_rights.insert(r.trimmed().toUpper());
    for (const QString &g : groups)
        m_groups.insert(g.trimmed().toUpper());
}

void SessionUser::loadRights(const BrokerReply &referenceReply)
{
    QSet<QString> rights;
    QSet<QString> groups;
    if (auto rs = referenceReply.recordSet(QStringLiteral("USERRIGHT"))) {
        for (rs->moveFirst(); !rs->isEOF(); rs->moveNext()) {
            if (rs->text(u"KIND").trimmed().toUpper() == u"G")
                groups.insert(rs->text(u"NAME"));
            else
                rights.insert(rs->text(u"NAME"));
        }
    }
    setRights(rights, groups);
}

void SessionUser::setApplication(QString name, QString prefix, QString version)
{
    m_appName = std::move(name);
    m_prefix = std::move(prefix);
    m_version = std::move(version);
}

QString SessionUser::makeContextText(int officerId, const QString &region)
{
    return QStringLiteral("INSP_ID=%1;REGION=%2").arg(officerId).arg(region.trimmed().toUpper());
}

QString SessionUser::contextText() const
{
    return makeContextText(m_officerId, m_region);
}

bool SessionUser::hasRight(const QString &right) const
{
    return m_rights.contains(right.trimmed().toUpper());
}

bool SessionUser::inGroup(const QString &group) const
{
    return m_groups.contains(group.trimmed().toUpper());
}

RecordSetPtr BrokerCodeList::openQuery(const QString &queryText)
{
    if (!m_broker)
        raiseError(kComponentError, QStringLiteral("No message broker is available."));
    BrokerRequest request;
    request.setMessageId(QStringLiteral("KORVA.CODELIST"));
    request.setVersion(m_user ? m_user->versionText() : QStringLiteral("1.0"));
    request.setKind(RequestKind::CodeList);
    request.setContext(m_user ? m_user->contextText() : QString());
    request.addParameter(RequestParameter::key(QStringLiteral("QUERY"), queryText));
    const BrokerReply reply = m_broker->call(request);
    if (!reply.error.isEmpty())
        raiseError(kComponentError, reply.error);
    RecordSetPtr rs = reply.recordSet(QStringLiteral("CODELIST"));
    if (!rs)
        raiseError(kComponentError, QStringLiteral("The code list query returned no rows set."));
    return rs;
}

BrokerRequest makeReferenceDataRequest(const UserContext &user)
{
    BrokerRequest request;
    request.setMessageId(QStringLiteral("KORVA.REFERENCE"));
    request.setVersion(user.versionText());
    request.setKind(RequestKind::ReferenceData);
    request.setContext(user.contextText());
    return request;
}

} // namespace korva
