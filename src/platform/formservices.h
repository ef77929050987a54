#pragma once

#include "services.h"

#include <QHash>

namespace korva {

// Form services over the broker: numbers come from the server's number request, template
// paths from the administered TEMPLATE table that arrives with the reference data. A relative
// path in that table is taken inside the application's data folder (so "templates/x.html"
// is the file an administrator edits on this desk); an absolute path, such as a shared
// folder, is used as it stands.
class BrokerFormServices : public FormServices {
public:
    explicit BrokerFormServices(const UserContext *user)
        : m_user(user)
    {}

    // Rows of TMPLT_ID and TMPLT_PATH; a later call replaces the earlier table.
    void setTemplates(const RecordSetPtr &templates);
    void setTemplatePath(int templateNumber, const QString &path);
    void setDataFolder(const QString &folder) { m_dataFolder = folder; }
    const QString &dataFolder() const { return m_dataFolder; }

    // Writes the template that ships with the program for each administered number whose
    // file inside the data folder is missing, and returns the files written. An edited
    // template is never overwritten; paths outside the data folder are left to their owners.
    QStringList installDefaultTemplates() const;
    // The shipped template of a number (a resource path); empty when none ships.
    static QString defaultTemplate(int templateNumber);

    QString RequestNumber(const QString &kind, const QString &service, BrokerMessage &message,
                          QStringList &atHand) override;
    QString TemplatePath(int templateNumber) const override;

private:
    const UserContext *m_user;
    QHash<int, QString> m_templates;
    QString m_dataFolder;
};

} // namespace korva
