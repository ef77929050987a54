#pragma once

#include "services.h"

#include <QHash>
#include <QSet>

namespace korva {

// The reference data cached at sign-on (officers, troops and districts, code tables,
// assignment types), answering the screens' lookups and validations without a round trip.
// Built from the reply to a ReferenceData request (record sets OFFICER, TROOP, ZTB_CODE,
// ZTB_ASGNMT_TYPE).
class ReferenceData : public Lookups, public Validators {
public:
    ReferenceData(const BrokerReply &reply, const QString &region, const QDate &today);

    // Lookups
    std::optional<OfficerInfo> officer(int id) const override;
    QString officerName(int id) const override;
    QList<OfficerInfo> searchOfficers(const QString &text, int limit) const override;
    QList<CustomerInfo> searchCustomers(const QString &text, int limit) const override;
    QString codeDescription(const QString &table, const QString &code) const override;
    QString assignmentTypeDescription(const QString &code) const override;

    // Validators
    AccountCheck ValidateAccountNumber(const QString &referenceTypeId,
                                       const QString &number) const override;
    bool ValidateOfficer(qint32 officerId, const QDate &on) const override;
    bool LookupOfficer(qint32 officerId) const override;
    bool ValidateTroop(const QString &troop) const override;
    bool ValidateTroopDistrict(const QString &troop, const QString &district) const override;
    bool agencyExists(const QString &code) const override;

    // Customer search goes to the server: customers are too many to cache.
    void setCustomerSearch(std::function<QList<CustomerInfo>(const QString &, int)> search)
    {
        m_customerSearch = std::move(search);
    }

    int officerCount() const { return int(m_officers.size()); }

private:
    QHash<int, OfficerInfo> m_officers;
    QList<int> m_officersByName;
    QSet<QString> m_troops;                             // "T"
    QSet<QString> m_troopDistricts;                     // "T|D"
    QHash<QString, QHash<QString, QString>> m_codes;    // table -> code -> description
    QHash<QString, QHash<QString, QString>> m_codeInfo; // table -> code -> additional info
    QHash<QString, QString> m_types;                    // assignment type code -> description
    std::function<QList<CustomerInfo>(const QString &, int)> m_customerSearch;
};

} // namespace korva
