#include "embedded.h"

#include "server/demodata.h"
#include "server/server.h"


namespace korva::testkit {

EmbeddedStore::EmbeddedStore(qint64 assignments)
{
    m_connection = QStringLiteral("sqlite:") + m_dir.filePath(QStringLiteral("demo.db"));
    const server::ServerSettings settings(m_connection);
    server::generateDemo(settings, {.assignments = assignments});
    m_broker = std::make_unique<AsyncBroker>(server::makeBackendFactory(settings));
    m_broker->setTimeout(20000);
    m_db = std::make_unique<server::Database>(settings, QStringLiteral("embedded-test-reader"));
    m_db->open();
}

EmbeddedStore::~EmbeddedStore()
{
    m_broker.reset();
    m_db.reset();
}

QVariant EmbeddedStore::value(const QString &sql, std::initializer_list<QVariant> values)
{
    // Finished at once: a statement left open would keep this reader on an old snapshot.
    return m_db->scalar(sql, values);
}

qint64 EmbeddedStore::count(const QString &sql, std::initializer_list<QVariant> values)
{
    return value(sql, values).toLongLong();
}

EmbeddedSignOn::EmbeddedSignOn(TestPlatform &tp, EmbeddedStore &store, int officer)
    : user(officer, QString())
    , reference(store.broker().call(makeReferenceDataRequest(user)))
    , data(reference, QString(), clock.today())
    , codes(&store.broker(), &user)
    , forms(&user)
{
    // The officer's own region comes with the reference data, as at the shell's sign-on.
    const std::optional<OfficerInfo> me = data.officer(officer);
    const QString region = me ? me->region : QStringLiteral("NE");
    user = SessionUser(officer, region);
    user.loadRights(reference);
    data = ReferenceData(reference, region, clock.today());
    forms.setTemplates(reference.recordSet(QStringLiteral("TEMPLATE")));
    tp.broker = &store.broker();
    tp.user = &user;
    tp.lookups = &data;
    tp.validators = &data;
    tp.codes = &codes;
    tp.forms = &forms;
}

} // namespace korva::testkit
