#pragma once

#include <platform/broker.h>
#include <platform/services.h>

namespace korva::server {

// A desk's own code database when it works through the networked service: an in-memory SQLite
// copy of the code tables filled from the reference data that arrived at sign-on. The
// screens' code-list query texts run here, on the desk, as against a local code database, so
// the service never runs a query text a desk wrote.
class LocalCodeList : public CodeListService {
public:
    explicit LocalCodeList(const BrokerReply &reference);
    ~LocalCodeList() override;
    LocalCodeList(const LocalCodeList &) = delete;
    LocalCodeList &operator=(const LocalCodeList &) = delete;

    // The rows as the service's code-list request answers them ("CODELIST"); raises a component
    // error with the reason for a text that is not one Select over the code tables.
    RecordSetPtr openQuery(const QString &queryText) override;

private:
    QString m_name;
};

} // namespace korva::server
