#include "serverfixture.h"

#include <server/rows.h>
#include <server/servererror.h>

#include <QDate>

namespace korva::server::test {

namespace {

QString g_connection;
QString g_name;

} // namespace

QString currentConnection()
{
    return g_connection;
}

QString currentBackendName()
{
    return g_name;
}

int runForEveryStore(QObject *test, int argc, char *argv[])
{
    QTemporaryDir dir;
    QList<std::pair<QString, QString>> stores{
        {QStringLiteral("sqlite"),
         QStringLiteral("sqlite:") + dir.filePath(QStringLiteral("test.db"))}};
    const QString pg = qEnvironmentVariable("KORVA_TEST_PG");
    if (!pg.isEmpty())
        stores.append({QStringLiteral("postgres"), pg});
    int failures = 0;
    for (const auto &[name, connection] : stores) {
        g_name = name;
        g_connection = connection;
        qInfo("=== store: %s", qPrintable(name));
        failures += QTest::qExec(test, argc, argv);
    }
    return failures;
}

QString today(int addDays)
{
    return QDate::currentDate().addDays(addDays).toString(Qt::ISODate);
}

QDate dateOf(const QVariant &value)
{
    return fromDb(value, FieldType::Date).toDate();
}

RecordSetPtr updateRows(const char *name, std::initializer_list<Row> rows)
{
    auto rs = RecordSet::create(QLatin1String(name));
    for (const Row &row : rows) {
        rs->addNew();
        for (const auto &[field, value] : row)
            rs->setValue(QString::fromLatin1(field), value);
        rs->update();
    }
    return rs;
}

Store::Store(qint64 assignments)
{
    DemoOptions options;
    options.assignments = assignments;
    options.force = true;
    generateDemo(ServerSettings(currentConnection()), options);
    ServerSettings settings(currentConnection());
    settings.busyTimeoutMs = 300;
    m_db = std::make_unique<Database>(settings, QStringLiteral("korva-test-direct"));
    m_db->open();
    m_backend = makeBackend(settings);
}

Store::~Store() = default;

BrokerReply Store::send(int kind, qint64 officer, Keys keys, RecordSetPtr rs, const char *rsName)
{
    BrokerRequest request;
    request.setMessageId(QStringLiteral("KORVA.Test"));
    request.setVersion(QStringLiteral("1.0"));
    request.setKind(kind);
    request.setContext(QStringLiteral("INSP_ID=%1;REGION=NE").arg(officer));
    for (const auto &[key, value] : keys)
        request.addParameter(RequestParameter::key(QLatin1String(key), value));
    if (rs)
        request.addRecordSet(QLatin1String(rsName), rs);
    return m_backend->handle(request.detached());
}

BrokerReply Store::update(qint64 officer, std::initializer_list<Row> rows)
{
    return send(RequestKind::AssignmentUpdate, officer, {}, updateRows("ASSIGNMENT", rows),
                "ASSIGNMENT");
}

BrokerReply Store::worksheet(qint64 officer, Row row)
{
    return send(RequestKind::WorksheetSave, officer, {}, updateRows("REFUND", {row}), "REFUND");
}

qint64 Store::count(const QString &sql, std::initializer_list<QVariant> values)
{
    return m_db->scalar(sql, values).toLongLong();
}

QVariant Store::assignment(const char *column, const QVariant &number)
{
    return value(
        QStringLiteral("SELECT %1 FROM ASGNMT WHERE ASGNMT_NBR = ?").arg(QLatin1String(column)),
        {number});
}

QVariant Store::value(const QString &sql, std::initializer_list<QVariant> values)
{
    return m_db->scalar(sql, values);
}

void Store::exec(const QString &sql, std::initializer_list<QVariant> values)
{
    m_db->run(sql, values).finish();
}

qint64 Store::addAssignment(qint64 to, const QString &type, qint64 from)
{
    const BrokerReply r = update(from, {{{"ACTION", QStringLiteral("ADD")},
                                         {"OFCR_FRM_ID", QString::number(from)},
                                         {"ASGNMT_TYP_CD", type},
                                         {"EFCTV_DT", today()},
                                         {"DUE_DT", today(10)},
                                         {"EXPRTN_DT", today(30)},
                                         {"OFCR_TO_ID", QString::number(to)},
                                         {"ASGNMT_CMMT_TXT", QStringLiteral("set up")}}});
    if (!r.error.isEmpty())
        qFatal("setting up an assignment failed: %s", qPrintable(r.error));
    return count(QStringLiteral("SELECT MAX(ASGNMT_NBR) FROM ASGNMT"));
}

qint64 Store::addRefund(const QString &status, qint64 creator, qint64 verifier, qint64 approver)
{
    const qint64 assignment = addAssignment(DemoOfficer::Demo, QStringLiteral("004"));
    const qint64 number =
        count(QStringLiteral("SELECT NEXT_VAL FROM KORVA_SEQ WHERE SEQ_NM = 'RFND_NBR'"));
    exec(QStringLiteral("UPDATE KORVA_SEQ SET NEXT_VAL = NEXT_VAL + 1 WHERE SEQ_NM = 'RFND_NBR'"));
    auto id = [](qint64 v) {
        return v ? QVariant(v) : QVariant();
    };
    const bool issued = status == u"4" || status == u"5" || status == u"T";
    exec(QStringLiteral("INSERT INTO REFUND (RFND_NBR, CUST_ID, ASGNMT_NBR, RCPT_NBR, RFND_AMT, "
                        "STTS_CD, CREATED_DT, CREATOR_ID, VERIFY_ID, APPROVE_ID, RFND_DT) "
                        "VALUES (?, ?, ?, 'R0000001', 1234.5, ?, ?, ?, ?, ?, ?)"),
         {number, customer(), assignment, status, creator ? QVariant(today(-20)) : QVariant(),
          id(creator), id(verifier), id(approver), issued ? QVariant(today(-10)) : QVariant()});
    return number;
}

} // namespace korva::server::test
