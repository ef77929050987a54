// The document over the embedded broker and a demo store: what the list shows comes from the
// database, and what the entry saves arrives there. Boxes, status bar and marks are the test
// kit's; the broker, the user, the reference data and the code lists are the real ones.
#include "common/modassignmaint.h"
#include "document/assignmententrytab.h"
#include "document/korva_assignmaint.h"
#include "platform/asyncbroker.h"
#include "platform/controls/codescombo.h"
#include "platform/controls/datagrid.h"
#include "platform/controls/dtp.h"
#include "platform/qtservices.h"
#include "platform/referencedata.h"
#include "platform/session.h"
#include "server/database.h"
#include "server/demodata.h"
#include "server/server.h"
#include "test_main.h"
#include "testkit.h"

#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTemporaryDir>

using namespace korva;
namespace DemoOfficer = server::DemoOfficer;

namespace {

constexpr int kWaitMs = 20000;

// Passes every request on to the real broker and counts what the document sends.
class CountingBroker : public Broker {
public:
    explicit CountingBroker(Broker &real)
        : m_real(real) {}
    void send(const BrokerRequest &request, BrokerMessage *receiver) override {
        ++sent;
        m_real.send(request, receiver);
    }
    BrokerReply call(const BrokerRequest &request) override { return m_real.call(request); }
    int sent = 0;

private:
    Broker &m_real;
};

// One officer signed on as the shell signs on: the platform the document will find.
struct Session {
    Session(Broker &broker, int officer)
        : counting(broker)
        , user(officer, QStringLiteral("NE"))
        , reference(signOn(broker, user))
        , data(reference, user.region(), clock.today())
        , codes(&broker, &user) {
        tp.broker = &counting;
        tp.user = &user;
        tp.clock = &clock;
        tp.lookups = &data;
        tp.validators = &data;
        tp.codes = &codes;
    }
    static BrokerReply signOn(Broker &broker, SessionUser &user) {
        BrokerReply reply = broker.call(makeReferenceDataRequest(user));
        user.loadRights(reply);
        return reply;
    }

    testkit::TestPlatform tp;
    CountingBroker counting;
    SystemClock clock;
    SessionUser user;
    BrokerReply reference;
    ReferenceData data;
    BrokerCodeList codes;
};

// The session and its document, which takes its broker from the platform when built.
struct SignedOn : Session {
    SignedOn(Broker &broker, int officer)
        : Session(broker, officer)
        , replies(doc.mZelbMessage, &BrokerMessage::DataReady) {
        doc.resize(1200, 750);
    }
    // Shows the document and waits for its list.
    bool shown() {
        doc.show();
        return waitReplies(1);
    }
    // Waits for that many replies in all, or for a message box, whichever comes first.
    bool waitReplies(int total) {
        return QTest::qWaitFor(
            [&] { return replies.count() >= total || !tp.boxes.shown.isEmpty(); }, kWaitMs);
    }
    AssignmentEntryTab &entry() { return *doc.entry; }

    KORVA_AssignMaint doc;
    QSignalSpy replies;
};

RecordSetPtr officers(const QList<int> &ids) {
    auto rs = RecordSet::create(QStringLiteral("OFFICER"),
                                {{QStringLiteral("INSP_ID"), FieldType::Integer},
                                 {QStringLiteral("INSP_NME_LST"), FieldType::Text},
                                 {QStringLiteral("INSP_NME_FRST"), FieldType::Text},
                                 {QStringLiteral("INSP_NME_MDL_INT"), FieldType::Text}});
    for (int id : ids) {
        rs->addNew();
        rs->setValue(u"INSP_ID", id);
        rs->update();
    }
    return rs;
}

} // namespace

class TestDocumentBroker : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    std::unique_ptr<AsyncBroker> m_broker;
    std::unique_ptr<server::Database> m_db; // for looking behind the screen

    QString today(int days = 0) const {
        return QDate::currentDate().addDays(days).toString(Qt::ISODate);
    }

    // The assignments that the back end lists for `officer` as sender or addressee (key
    // OFCR_FRM_ID or OFCR_TO_ID), narrowed to those carrying `comment`.
    QList<QHash<QString, QString>> listed(int officer, const char *key, const QString &comment) {
        BrokerRequest r;
        r.setMessageId(QStringLiteral("CHECK"));
        r.setKind(RequestKind::Query);
        r.setContext(SessionUser::makeContextText(officer, QStringLiteral("NE")));
        r.addParameter(RequestParameter::key(QStringLiteral("ASGNMT_FRM_DT"), today(-1)));
        r.addParameter(RequestParameter::key(QStringLiteral("ASGNMT_TO_DT"), today()));
        r.addParameter(RequestParameter::key(QLatin1String(key), QString::number(officer)));
        const BrokerReply reply = m_broker->call(r);
        QList<QHash<QString, QString>> rows;
        const RecordSetPtr rs = reply.recordSet(QStringLiteral("ASSIGNMENT"));
        if (!reply.error.isEmpty() || !rs)
            qWarning("list of %d: %s", officer, qPrintable(reply.error));
        for (int row = 0; rs && row < rs->count(); ++row) {
            if (rs->textAt(row, rs->fieldIndex(u"ASGNMT_CMMT_TXT")) != comment)
                continue;
            QHash<QString, QString> values;
            for (int c = 0; c < rs->fieldCount(); ++c)
                values.insert(rs->fields()[c].name, rs->valueAt(row, c).isNull()
                                                        ? QStringLiteral("<null>")
                                                        : rs->valueAt(row, c).toString());
            rows.append(values);
        }
        return rows;
    }

    QString officerName(const QVariant &id) {
        QSqlQuery &q = m_db->run(QStringLiteral("SELECT INSP_NME_LST, INSP_NME_FRST, "
                                                "INSP_NME_MDL_INT FROM OFFICER WHERE INSP_ID = ?"),
                                 {id});
        const QString name =
            q.next() ? modAssignMaint::ProperName(q.value(0).toString(), q.value(1).toString(),
                                                  q.value(2).toString(), {})
                     : QString();
        q.finish();
        return name;
    }

private slots:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        const server::ServerSettings settings(QStringLiteral("sqlite:") +
                                              m_dir.filePath(QStringLiteral("demo.db")));
        server::DemoOptions options;
        options.assignments = 240;
        server::generateDemo(settings, options);
        m_broker = std::make_unique<AsyncBroker>(server::makeBackendFactory(settings));
        m_broker->setTimeout(kWaitMs);
        m_db = std::make_unique<server::Database>(settings, QStringLiteral("doc-test-reader"));
        m_db->open();
    }
    void cleanupTestCase() {
        m_broker.reset();
        m_db.reset();
    }

    void firstShowListsTheReceivedOpenAssignmentsDecorated() {
        SignedOn s(*m_broker, int(DemoOfficer::Demo));
        QVERIFY(s.shown());
        QVERIFY(s.tp.boxes.shown.isEmpty());
        DataGrid *g = s.doc.grdAssignment;
        QCOMPARE(qint64(g->rowCount()),
                 m_db->scalar(QStringLiteral("SELECT COUNT(*) FROM ASGNMT WHERE OFCR_TO_ID = 1001 "
                                             "AND ASGNMT_STTS_CD IN ('O', 'F', 'R')"))
                     .toLongLong());
        const QHash<QString, QString> statusTexts{{QStringLiteral("O"), QStringLiteral("Open")},
                                                  {QStringLiteral("F"), QStringLiteral("Forward")},
                                                  {QStringLiteral("R"), QStringLiteral("Reply")}};
        const QString me = officerName(1001);
        QSet<QString> statuses;
        int red = 0;
        for (int row = 0; row < g->rowCount(); ++row) {
            QSqlQuery &q = m_db->run(
                QStringLiteral("SELECT A.OFCR_FRM_ID, A.ASGNMT_STTS_CD, T.ASGNMT_DES, "
                               "A.ASGNMT_TYP_CD, C.CD_TBL_DES FROM ASGNMT A JOIN ZTB_ASGNMT_TYPE T "
                               "ON T.ASGNMT_CD = A.ASGNMT_TYP_CD AND T.REGION = 'NE' LEFT JOIN "
                               "ZTB_CODE C ON C.CD_TBL_ID = 'REFDOCTYP' AND C.REGION = 'NE' AND "
                               "C.CD_TBL_CD = A.FORM_TYP_CD WHERE A.ASGNMT_NBR = ?"),
                {g->text(row, QStringLiteral("ASGNMT_NBR")).toLongLong()});
            QVERIFY(q.next());
            const QVariant from = q.value(0);
            const QString status = q.value(1).toString(), type = q.value(3).toString();
            const QString description = q.value(2).toString(), form = q.value(4).toString();
            q.finish();
            QCOMPARE(g->text(row, QStringLiteral("Status")), statusTexts.value(status));
            QCOMPARE(g->text(row, QStringLiteral("ASSIGNMENT_TYPE")), description);
            QCOMPARE(g->text(row, QStringLiteral("CITATION_TYPE")), form);
            QCOMPARE(g->text(row, QStringLiteral("ASSIGNED_TO")), me);
            QCOMPARE(g->text(row, QStringLiteral("ASSIGNED_FROM")), officerName(from));
            const bool payment = type == u"PCE" || type == u"PCX";
            for (int c = 0; c < g->columnCount(); ++c)
                QCOMPARE(g->cellStyleSet(row, c) == u"RowRed", payment);
            statuses.insert(status);
            red += payment;
        }
        // The demo store gives the signed-on officer every open status and a red row or two.
        QCOMPARE(statuses.size(), 3);
        QVERIFY(red > 0);
        QCOMPARE(s.tp.statusBar.last(), QStringLiteral("Ready ..."));
    }

    void newAssignmentReachesEachListedOfficer() {
        SignedOn s(*m_broker, int(DemoOfficer::Demo));
        QVERIFY(s.shown());
        s.doc.tabTab->setCurrentIndex(1);
        QVERIFY(s.entry().cboFTBox[0]->selectCode(QStringLiteral("002"))); // 14 and 60 days
        QTest::keyClicks(s.entry().txtBox[4], QStringLiteral("Three of you"));
        const QString comment = QStringLiteral("One each, please.");
        QTest::keyClicks(s.entry().txtComment, comment);
        s.entry().adoOfficers->setRecordSet(officers({1003, 1004, 1005}));
        QVERIFY(s.doc.SaveData());
        QVERIFY(s.waitReplies(3)); // the update, then the list again
        QVERIFY2(s.tp.boxes.shown.isEmpty(), qPrintable(s.tp.boxes.shown.value(0).prompt));
        QCOMPARE(s.tp.statusBar.last(), QStringLiteral("Ready ..."));
        QVERIFY(s.entry().txtComment->toPlainText().isEmpty());

        QSet<QString> numbers;
        for (int officer : {1003, 1004, 1005}) {
            const auto rows = listed(officer, "OFCR_TO_ID", comment);
            QCOMPARE(rows.size(), 1);
            const QHash<QString, QString> &a = rows.first();
            QCOMPARE(a.value(QStringLiteral("OFCR_FRM_ID")), QStringLiteral("1001"));
            QCOMPARE(a.value(QStringLiteral("ASGNMT_TYP_CD")), QStringLiteral("002"));
            QCOMPARE(a.value(QStringLiteral("ASGNMT_STTS_CD")), QStringLiteral("O"));
            QCOMPARE(a.value(QStringLiteral("ASGNMT_SBJCT_TXT")), QStringLiteral("Three of you"));
            QCOMPARE(a.value(QStringLiteral("EFCTV_DT")), today());
            QCOMPARE(a.value(QStringLiteral("DUE_DT")), today(14));
            QCOMPARE(a.value(QStringLiteral("EXPRTN_DT")), today(60));
            numbers.insert(a.value(QStringLiteral("ASGNMT_NBR")));
        }
        QCOMPARE(numbers.size(), 3); // each officer has his own assignment
    }

    void agencyAndTroopAreStoredAsChosen_data() {
        QTest::addColumn<int>("option");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QStringList>("stored"); // AGNCY_CD, TRP_ID, TRP_DIST_ID
        QTest::newRow("agency") << 8 << QString()
                                << QStringList{QStringLiteral("SP"), QStringLiteral("<null>"),
                                               QStringLiteral("<null>")};
        QTest::newRow("troop and district")
            << 9 << QStringLiteral("c12")
            << QStringList{QStringLiteral("<null>"), QStringLiteral("C"), QStringLiteral("12")};
        QTest::newRow("troop") << 9 << QStringLiteral("e")
                               << QStringList{QStringLiteral("<null>"), QStringLiteral("E"),
                                              QStringLiteral("<null>")};
    }
    void agencyAndTroopAreStoredAsChosen() {
        QFETCH(int, option);
        QFETCH(QString, typed);
        QFETCH(QStringList, stored);
        SignedOn s(*m_broker, int(DemoOfficer::Demo));
        QVERIFY(s.shown());
        s.doc.tabTab->setCurrentIndex(1);
        s.entry().optButton[option]->click();
        QVERIFY(s.entry().cboFTBox[2]->selectCode(QStringLiteral("SP")));
        QTest::keyClicks(s.entry().txtBox[2], typed);
        const QString comment = QStringLiteral("To %1").arg(QLatin1String(QTest::currentDataTag()));
        s.entry().txtComment->setPlainText(comment);
        QVERIFY(s.doc.SaveData());
        QVERIFY(s.waitReplies(3));
        QEXPECT_FAIL("troop", "the back end looks a troop alone up with a null district", Abort);
        QVERIFY2(s.tp.boxes.shown.isEmpty(), qPrintable(s.tp.boxes.shown.value(0).prompt));

        const auto rows = listed(1001, "OFCR_FRM_ID", comment);
        QCOMPARE(rows.size(), 1);
        QCOMPARE((QStringList{rows[0].value(QStringLiteral("AGNCY_CD")),
                              rows[0].value(QStringLiteral("TRP_ID")),
                              rows[0].value(QStringLiteral("TRP_DIST_ID"))}),
                 stored);
        QCOMPARE(rows[0].value(QStringLiteral("OFCR_TO_ID")), QStringLiteral("<null>"));
    }

    void refusedSaveShowsTheServersTextAndKeepsTheEntry() {
        // Officer 1005 signs on with the right, which is then withdrawn on the server.
        SignedOn s(*m_broker, 1005);
        QVERIFY(s.shown());
        AssignmentEntryTab &e = s.entry();
        s.doc.tabTab->setCurrentIndex(1);
        QVERIFY(e.cboFTBox[0]->selectCode(QStringLiteral("001")));
        QVERIFY(e.cboFTBox[1]->selectCode(QStringLiteral("CIT")));
        QTest::keyClicks(e.txtBox[0], QStringLiteral("0000042-2"));
        QTest::keyClicks(e.txtBox[1], QStringLiteral("1003"));
        QTest::keyClicks(e.txtBox[4], QStringLiteral("Refused"));
        QTest::keyClicks(e.txtComment, QStringLiteral("Not to be stored."));
        QCOMPARE(e.errorText(), QString());
        m_db->run(QStringLiteral("DELETE FROM USR_RGHT WHERE INSP_ID = 1005 AND NAME = "
                                 "'Assignment'"));
        const int sent = s.counting.sent;
        QVERIFY(s.doc.SaveData());
        QVERIFY(s.waitReplies(2));

        QCOMPARE(s.tp.boxes.shown.size(), 1);
        QCOMPARE(s.tp.boxes.shown[0].prompt,
                 QStringLiteral("Row 1: You do not have the \"Assignment\" right needed to create "
                                "an assignment."));
        QCOMPARE(s.tp.boxes.shown[0].style, MsgStyle::Critical);
        QCOMPARE(s.tp.statusBar.last(), QStringLiteral("Update Not Successful."));
        QCOMPARE(s.counting.sent, sent + 1); // no list after a refusal
        QVERIFY(s.doc.tabTab->isEnabled());
        QCOMPARE(e.cboFTBox[0]->code(), QStringLiteral("001"));
        QCOMPARE(e.cboFTBox[1]->code(), QStringLiteral("CIT"));
        QCOMPARE(e.txtBox[0]->text(), QStringLiteral("0000042-2"));
        QCOMPARE(e.txtBox[1]->text(), QStringLiteral("1003"));
        QCOMPARE(e.txtBox[4]->text(), QStringLiteral("Refused"));
        QCOMPARE(e.txtComment->toPlainText(), QStringLiteral("Not to be stored."));
        QCOMPARE(e.dtpFTDate[3]->date(), QDate::currentDate().addDays(30));
        QVERIFY(listed(1003, "OFCR_TO_ID", QStringLiteral("Not to be stored.")).isEmpty());
    }

    void fromAfterToSendsNothing() {
        SignedOn s(*m_broker, int(DemoOfficer::Demo));
        QVERIFY(s.shown());
        const int rows = s.doc.grdAssignment->rowCount();
        s.doc.dtpFTDate[0]->setValue(QDate::currentDate().addDays(1));
        QTest::mouseClick(s.doc.cmdButton[0], Qt::LeftButton);
        QCOMPARE(s.counting.sent, 1);
        QCOMPARE(s.tp.boxes.shown.size(), 1);
        QCOMPARE(s.tp.boxes.shown[0].prompt,
                 QStringLiteral("The 'Assigned From' effective date must be on, or before, the "
                                "'Assigned To' date."));
        QCOMPARE(s.doc.grdAssignment->rowCount(), rows);
    }
};

KORVA_TEST_MAIN(TestDocumentBroker)
#include "tst_documentbroker.moc"
