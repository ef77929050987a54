#pragma once

#include "services.h"

#include <QSet>

namespace korva {

// The signed-on officer. Rights and groups come from the ReferenceData reply (USERRIGHT).
class SessionUser : public UserContext {
public:
    SessionUser(int officerId, QString region);

    void setRights(QSet<QString> rights, QSet<QString> groups);
    void loadRights(const BrokerReply &referenceReply);
    void setWorkingDate(const QString &date) { m_workingDate = date; }
    void setApplication(QString name, QString prefix, QString version);

    int officerId() const override { return m_officerId; }
    QString region() const override { return m_region; }
    QString workingDate() const override { return m_workingDate; }
    QString contextText() const override;
    QString applicationName() const override { return m_appName; }
    QString applicationPrefix() const override { return m_prefix; }
    QString versionText() const override { return m_version; }
    bool hasRight(const QString &right) const override;
    bool inGroup(const QString &group) const override;

    // "INSP_ID=<id>;REGION=<region>": how every request names its officer to the server.
    static QString makeContextText(int officerId, const QString &region);

private:
    int m_officerId;
    QString m_region;
    QString m_workingDate;
    QString m_appName = QStringLiteral("KORVA");
    QString m_prefix = QStringLiteral("KORVA");
    QString m_version = QStringLiteral("1.0");
    QSet<QString> m_rights;
    QSet<QString> m_groups;
};

// Runs code-list query texts through the broker's CodeList request (a blocking round trip on
// the broker's worker; the screens cache what they open).
class BrokerCodeList : public CodeListService {
public:
    BrokerCodeList(Broker *broker, const UserContext *user)
        : m_broker(broker)
        , m_user(user)
    {}
    RecordSetPtr openQuery(const QString &queryText) override;

private:
    Broker *m_broker;
    const UserContext *m_user;
};

// The ReferenceData request the platform sends at sign-on.
BrokerRequest makeReferenceDataRequest(const UserContext &user);

} // namespace korva
