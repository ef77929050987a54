#pragma once

#include "codetables.h"
#include "database.h"
#include "handlers.h"
#ifdef KORVA_HAVE_NETWORK
#include "auth.h"
#endif

#include <platform/broker.h>

namespace korva::server {

class ServerBackend : public BrokerBackend {
public:
    explicit ServerBackend(const ServerSettings &settings);
    ~ServerBackend() override;

    BrokerReply handle(const BrokerRequest &request) override;
    Database &database() { return *m_db; }
    // The officer the last request was answered for, 0 when it named none that held.
    qint64 lastOfficer() const { return m_officer; }
#ifdef KORVA_HAVE_NETWORK
    // Whether the next requests are proven to be signed by an operator's bus key.
    void setOperator(bool fromOperator)
    {
        m_fromOperator = fromOperator;
    }
    // The desk the next requests provably come from, as the bus service found it.
    void setOrigin(const SignOnOrigin &origin)
    {
        m_origin = origin;
    }
#endif

private:
    BrokerReply dispatch(const BrokerRequest &request);
    Session signedOn(const BrokerRequest &request);
#ifdef KORVA_HAVE_NETWORK
    AuthPolicy policy() const;
    Session fromToken(const HandlerContext &ctx, const BrokerRequest &request);
#endif

    ServerSettings m_settings;
    std::unique_ptr<Database> m_db;
    std::unique_ptr<CodeTables> m_codes;
    QString m_configError; // a connection text that cannot be used
    bool m_keysPurged = false;
    bool m_fromOperator = false;
    qint64 m_officer = 0;
#ifdef KORVA_HAVE_NETWORK
    SignOnOrigin m_origin;
#endif
};

} // namespace korva::server
