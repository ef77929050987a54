#include "backend.h"

#ifdef KORVA_HAVE_NETWORK
#include "auth.h"
#endif

#include "admin.h"
#include "lookups.h"
#include "server.h"
#include "servererror.h"
#include "updaterow.h"

#include <platform/errors.h>

#include <QAtomicInteger>
#include <QScopedValueRollback>

namespace korva::server {

namespace {

QAtomicInteger<quint64> g_instances{0};
thread_local bool t_retrying = false; // a back end serves one thread

using Handler = BrokerReply (*)(HandlerContext &, const BrokerRequest &);

Handler handlerFor(int kind)
{
    switch (kind) {
    case RequestKind::Query:
        return handleQuery;
    case RequestKind::AssignmentUpdate:
        return handleAssignmentUpdate;
    case RequestKind::CustomerForms:
        return handleCustomerForms;
    case RequestKind::WorksheetDetails:
        return handleWorksheetDetails;
    case RequestKind::WorksheetSave:
        return handleWorksheetSave;
    case RequestKind::ReferenceData:
        return handleReferenceData;
    case RequestKind::CodeList:
        return handleCodeList;
    case RequestKind::Number:
        return handleNumber;
    case kCustomerSearchKind:
        return handleCustomerSearch;
    case kRefundRequestsKind:
        return handleRefundRequests;
    case RequestKind::Workload:
        return handleWorkload;
#ifdef KORVA_HAVE_NETWORK
    // Answered before any handler runs; listed so that they are known kinds.
    case RequestKind::SignOn:
    case RequestKind::SignOff:
        return [](HandlerContext &, const BrokerRequest &r) {
            return BrokerReply::success(r);
        };
#endif
    default:
        return nullptr;
    }
}

// The context's values that reach the store: the station is kept with each new assignment.
// Checked here, where the context is read, so that both stores refuse alike instead of one
// cutting, one storing and one failing on the column.
void checkContextValues(const Session &s)
{
    constexpr int kStationChars = 12;
    const QString station = s.values.value(QStringLiteral("STATION_ID"));
    if (station.size() > kStationChars)
        throw RequestError(QStringLiteral("The context's STATION_ID is %1 characters long; the "
                                          "station is at most %2.")
                               .arg(station.size())
                               .arg(kStationChars));
    for (const QChar c : station) {
        if (!c.isLetterOrNumber() && c != u'-' && c != u'_' && c != u'.')
            throw RequestError(QStringLiteral("The context's STATION_ID \"%1\" holds characters "
                                              "a station name does not.")
                                   .arg(station));
    }
}

} // namespace

ServerBackend::ServerBackend(const ServerSettings &settings)
    : m_settings(settings)
{
    const quint64 n = g_instances.fetchAndAddOrdered(1);
    const QString name = QStringLiteral("korva-server-%1").arg(n);
    // A store is made only by the demo and init commands; serving one that is missing would
    // answer every desk from an empty store.
    ServerSettings served = settings;
    served.createIfMissing = false;
    try {
        m_db = std::make_unique<Database>(served, name);
    } catch (const RequestError &e) {
        m_configError = e.text();
    }
    m_codes =
        std::make_unique<CodeTables>(name + QStringLiteral("-codes"), settings.statementTimeoutMs);
}

ServerBackend::~ServerBackend() = default;

Session ServerBackend::signedOn(const BrokerRequest &request)
{
    Session s = Session::fromContext(request.context());
    if (s.officerId == 0)
        throw RequestError(QStringLiteral("The request does not say who is signed on: its "
                                          "context text needs INSP_ID=<officer>."));
    const auto officer = findOfficer(*m_db, s.officerId);
    if (!officer)
        throw RequestError(
            QStringLiteral("The signed-on officer %1 is not known.").arg(s.officerId));
    // The region picks the assignment types and agencies whose rules apply; it is the
    // officer's own on file, so naming another region in the context borrows nothing.
    s.region = officer->region;
    return s;
}

#ifdef KORVA_HAVE_NETWORK
AuthPolicy ServerBackend::policy() const
{
    AuthPolicy p;
    p.idleMinutes = m_settings.sessionIdleMinutes;
    p.lifetimeHours = m_settings.sessionLifetimeHours;
    return p;
}

// The officer is the session's; a context text that names another one is a forgery or a desk
// that lost track of who is signed on, and neither may act.
Session ServerBackend::fromToken(const HandlerContext &ctx, const BrokerRequest &request)
{
    Session s = sessionFromToken(*m_db, request.sessionToken(), ctx.now, ctx.today, policy());
    const Session claimed = Session::fromContext(request.context());
    if (claimed.officerId != 0 && claimed.officerId != s.officerId)
        throw RequestError(QStringLiteral("The request speaks for officer %1, but its session "
                                          "is officer %2's.")
                               .arg(claimed.officerId)
                               .arg(s.officerId));
    if (!claimed.region.isEmpty() && claimed.region != s.region)
        throw RequestError(QStringLiteral("The request names region %1, but the signed-on "
                                          "officer works in region %2.")
                               .arg(claimed.region, s.region));
    s.values = claimed.values;
    return s;
}
#endif

BrokerReply ServerBackend::dispatch(const BrokerRequest &request)
{
    if (!m_db)
        throw RequestError(m_configError);
    const Handler handler = handlerFor(request.kind());
    if (!handler)
        throw RequestError(QStringLiteral("The request kind %1 is not one the server answers.")
                               .arg(request.kind()));
    checkRequestSize(request, m_settings.maxRequestChars);
    m_db->open();
    const QDate today = m_settings.today.isValid() ? m_settings.today : QDate::currentDate();
    HandlerContext ctx{*m_db, *m_codes, {}, today, QDateTime::currentDateTime()};
    ctx.fromOperator = m_settings.operatorOrigin;
    if (!m_keysPurged) {
        // A desk on its own store never signs on, so its old request keys go when it starts.
        m_keysPurged = true;
        try {
            purgeRequestKeys(*m_db, ctx.now);
        } catch (const RequestError &) {
            // A store that cannot be written says so at the first update, in its own words.
        }
    }
#ifdef KORVA_HAVE_NETWORK
    if (m_fromOperator) {
        // An operator acts for no officer: what it may send is submitted for the system.
        if (request.kind() != kRefundRequestsKind)
            throw RequestError(QStringLiteral("An operator's key sends only refund requests."));
        ctx.fromOperator = true;
        ctx.session = Session::fromContext(request.context());
        return handler(ctx, request);
    }
    if (request.kind() == RequestKind::SignOn)
        return handleSignOn(ctx, request, policy(), m_origin);
    if (m_settings.requireSession || !request.sessionToken().isEmpty()) {
        ctx.session = fromToken(ctx, request);
        m_officer = ctx.session.officerId;
        checkContextValues(ctx.session);
        if (request.kind() == RequestKind::SignOff)
            return handleSignOff(ctx, request);
        return handler(ctx, request);
    }
#endif
    // The code list reads shared tables only; every other request acts for an officer.
    if (request.kind() == RequestKind::CodeList)
        ctx.session = Session::fromContext(request.context());
    else
        ctx.session = signedOn(request);
    m_officer = ctx.session.officerId;
    checkContextValues(ctx.session);
    return handler(ctx, request);
}

BrokerReply ServerBackend::handle(const BrokerRequest &request)
{
    m_officer = 0;
    if (!m_db)
        return BrokerReply::failure(request, m_configError);
    try {
        return dispatch(request);
    } catch (const DatabaseError &e) {
        m_db->rollback();
        // A connection lost before the commit was sent took its transaction with it, so the
        // request runs once more on a new one; after the commit only a keyed request may.
        const bool again = e.connectionLost() && !t_retrying &&
                           (!m_db->commitSent() || !request.requestKey().isEmpty());
        if (e.connectionLost())
            m_db->close();
        if (again) {
            const QScopedValueRollback retrying(t_retrying, true);
            return handle(request);
        }
        return BrokerReply::failure(request, e.text());
    } catch (const RequestError &e) {
        m_db->rollback();
        return BrokerReply::failure(request, e.text());
    } catch (const ProcError &e) {
        m_db->rollback();
        return BrokerReply::failure(request, e.description());
    } catch (const std::exception &e) {
        m_db->rollback();
        return BrokerReply::failure(request, QString::fromUtf8(e.what()));
    }
}

std::unique_ptr<BrokerBackend> makeBackend(const ServerSettings &settings)
{
    return std::make_unique<ServerBackend>(settings);
}

BackendFactory makeBackendFactory(const ServerSettings &settings)
{
    return [settings] {
        return makeBackend(settings);
    };
}

} // namespace korva::server
