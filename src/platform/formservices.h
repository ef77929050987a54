#pragma once

#include "services.h"

#include <QHash>

namespace korva {

// Form services over the broker: numbers come from the server's number request, template
// paths from the administered TEMPLATE table that arrives with the reference data.
class BrokerFormServices : public FormServices {
public:
    explicit BrokerFormServices(const UserContext *user)
        : m_user(user)
    {}

    // Rows of TMPLT_ID and TMPLT_PATH; a later call replaces the earlier table.
    void setTemplates(const RecordSetPtr &templates);
    void setTemplatePath(int templateNumber, const QString &path);

    QString RequestNumber(const QString &kind, const QString &service, BrokerMessage &message,
                          QStringList &atHand) override;
    QString TemplatePath(int templateNumber) const override;

private:
    const UserContext *m_user;
    QHash<int, QString> m_templates;
};

} // namespace korva
