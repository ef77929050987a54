// An office from nothing, as its administrator sets it up with korva-broker alone: the store
// made from the seed, the example office imported, the tax system's refund requests submitted.
// Then desks on the bus, signed on as imported officers, find the refund request on the list
// and take it through the worksheet to "mailed", each step by the officer whose right it is.
#include "natsfixture.h"

#include <server/auth.h>
#include <server/database.h>

#include <QDir>

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;
using namespace korva::network::test;

namespace {

const QString kOffice = QStringLiteral(KORVA_SOURCE_DIR "/examples/office");

BrokerRequest listRequest(qint64 officer)
{
    BrokerRequest r = request(RequestKind::Query, officer);
    r.addParameter(
        RequestParameter::key(QStringLiteral("ASGNMT_FRM_DT"), QStringLiteral("2000-01-01")));
    r.addParameter(RequestParameter::key(QStringLiteral("ASGNMT_TO_DT"),
                                         QDate::currentDate().toString(Qt::ISODate)));
    r.addParameter(RequestParameter::key(QStringLiteral("OFCR_TO_ID"), QString::number(officer)));
    return r;
}

// One worksheet save, as the chain script in the example office sends it.
BrokerRequest worksheetStep(qint64 officer, const QString &refund, const QString &customer,
                            Row fields)
{
    BrokerRequest r = request(RequestKind::WorksheetSave, officer);
    Row row{{"ACTION", QStringLiteral("UPD")}, {"CUST_ID", customer}, {"RFND_NBR", refund}};
    row += fields;
    r.addRecordSet(QStringLiteral("REFUND"), updateRows("REFUND", {row}));
    return r;
}

} // namespace

class TestOfficeDesk : public QObject {
    Q_OBJECT
private slots:
    void fromNothingToARefundMailedOverTheBus();
};

void TestOfficeDesk::fromNothingToARefundMailedOverTheBus()
{
    const QString db = currentConnection();
    QCOMPARE(korvaBroker(
                 {QStringLiteral("init"), QStringLiteral("--db"), db, QStringLiteral("--force")}),
             0);
    for (const char *kind :
         {"officers", "rights", "troops", "agencies", "types", "customers", "forms"}) {
        QString out;
        QVERIFY2(
            korvaBroker({QStringLiteral("import"), QStringLiteral("--db"), db, QLatin1String(kind),
                         kOffice + u'/' + QLatin1String(kind) + QStringLiteral(".csv")},
                        &out) == 0,
            qPrintable(out));
    }
    QCOMPARE(
        korvaBroker({QStringLiteral("submit"), QStringLiteral("refund-requests"),
                     QStringLiteral("--db"), db, kOffice + QStringLiteral("/refund-requests.csv")}),
        0);
    const qint64 preparer = 2001, verifier = 2004, approver = 2002, issuer = 2003;
    {
        Database store{ServerSettings(db), QStringLiteral("office-passwords")};
        for (const qint64 officer : {preparer, verifier, approver, issuer})
            setPassword(store, officer, QLatin1String(kPassword), QDateTime::currentDateTime());
    }

    NatsServer bus(db);
    KORVA_NEEDS_NATS(bus);
    ServiceOptions options;
    options.server = ServerSettings(db);
    options.bus = bus.service();
    BrokerService service(options);

    // The preparer finds the system's refund request on their list.
    NatsBroker desk(bus.desk());
    QCOMPARE(signOn(desk, preparer, QLatin1String(kPassword)), QString());
    const BrokerReply list = desk.call(listRequest(preparer));
    const RecordSetPtr rows = list.recordSet(QStringLiteral("ASSIGNMENT"));
    QVERIFY2(rows, qPrintable(list.error));
    QString refund, customer;
    for (int s = 0; s < rows->storageCount() && refund.isEmpty(); ++s) {
        const QVariantList row = rows->storageRow(s);
        if (row.at(rows->fieldIndex(u"OFCR_FRM_ID")).toLongLong() != 1000)
            continue;
        refund = row.at(rows->fieldIndex(u"RFND_NBR")).toString().trimmed();
        customer = row.at(rows->fieldIndex(u"CUST_ID")).toString().trimmed();
    }
    QVERIFY2(!refund.isEmpty(), "no refund request from the system officer on the list");

    const QString today = QDate::currentDate().toString(Qt::ISODate);
    const struct {
        qint64 officer;
        Row fields;
    } steps[] = {
        {preparer,
         {{"CREATOR_ID", QString::number(preparer)},
          {"TO", QStringLiteral("2")},
          {"CREATED_DT", today},
          {"QRT_CMMT_TXT", QStringLiteral("Overpayment confirmed")},
          {"STTS_CD", QStringLiteral("1")}}},
        {verifier, {{"VERIFY_ID", QString::number(verifier)}, {"STTS_CD", QStringLiteral("2")}}},
        {approver, {{"APPROVE_ID", QString::number(approver)}, {"STTS_CD", QStringLiteral("3")}}},
        {issuer,
         {{"RFND_BY_ID", QString::number(issuer)},
          {"RFND_CD", QStringLiteral("1")},
          {"WRNT_NBR", QStringLiteral("W-0001")},
          {"RFND_DT", today},
          {"STTS_CD", QStringLiteral("4")}}},
        {issuer, {{"DT_MLD", today}, {"STTS_CD", QStringLiteral("5")}}},
    };
    Database store{ServerSettings(db), QStringLiteral("office-check")};
    store.open();
    const auto status = [&] {
        return store
            .scalar(QStringLiteral("SELECT STTS_CD FROM REFUND WHERE RFND_NBR = ?"),
                    {refund.toLongLong()})
            .toString()
            .trimmed();
    };
    for (const auto &step : steps) {
        if (status() == u"1") {
            // Nobody verifies what they prepared.
            QVERIFY(!desk.call(worksheetStep(preparer, refund, customer,
                                             {{"VERIFY_ID", QString::number(preparer)},
                                              {"STTS_CD", QStringLiteral("2")}}))
                         .error.isEmpty());
            QCOMPARE(status(), QStringLiteral("1"));
        }
        NatsBroker officerDesk(bus.desk());
        QCOMPARE(signOn(officerDesk, step.officer, QLatin1String(kPassword)), QString());
        const BrokerReply saved =
            officerDesk.call(worksheetStep(step.officer, refund, customer, step.fields));
        QVERIFY2(saved.error.isEmpty(), qPrintable(saved.error));
    }
    QCOMPARE(status(), QStringLiteral("5"));
    QString log;
    QCOMPARE(korvaBroker({QStringLiteral("log"), QStringLiteral("--db"), db}, &log), 0);
    for (const char *change : {"import", "submit", "desk"})
        QVERIFY2(log.contains(QLatin1String(change)), qPrintable(log));
}

KORVA_SERVER_TEST_MAIN(TestOfficeDesk)
#include "tst_office_desk.moc"
