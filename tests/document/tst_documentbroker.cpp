// The document over the embedded broker and a demo store: what the list shows comes from the
// database, and what the entry saves arrives there. Boxes, status bar and marks are the test
// kit's; the broker, the user, the reference data and the code lists are the real ones.
#include "common/modassignmaint.h"
#include "documentfixture.h"
#include "platform/asyncbroker.h"
#include "platform/qtservices.h"
#include "platform/referencedata.h"
#include "platform/session.h"
#include "server/database.h"
#include "server/demodata.h"
#include "server/server.h"
#include "test_main.h"

#include <QSignalSpy>
#include <QTemporaryDir>

using namespace korva;
using namespace korva::doctest;

namespace {

// Passes every request on to the real broker and counts what the document sends.
class CountingBroker : public Broker {
public:
    explicit CountingBroker(Broker &real)
        : m_real(real)
    {}
    void send(const BrokerRequest &r, BrokerMessage *to) override
    {
        ++sent;
        m_real.send(r, to);
    }
    BrokerReply call(const BrokerRequest &r) override { return m_real.call(r); }
    int sent = 0;

private:
    Broker &m_real;
};

// One officer signed on as the shell signs on, and a document on that platform.
struct SignedOn {
    SignedOn(Broker &broker, int officer)
        : counting(broker)
        , user(officer, QStringLiteral("NE"))
        , reference(broker.call(makeReferenceDataRequest(user)))
        , data(reference, user.region(), tp.fixedClock.today())
        , codes(&broker, &user)
    {
        user.loadRights(reference);
        tp.broker = &counting;
        tp.user = &user;
        tp.lookups = &data;
        tp.validators = &data;
        tp.codes = &codes;
        doc = std::make_unique<KORVA_AssignMaint>(); // it takes the platform's broker
        replies = std::make_unique<QSignalSpy>(doc->mZelbMessage, &BrokerMessage::DataReady);
        doc->show();
    }
    // Waits for that many replies in all, or for a message box, whichever comes first.
    bool waitReplies(int total)
    {
        return QTest::qWaitFor([&] { return replies->count() >= total || !boxes().isEmpty(); },
                               20000);
    }
    AssignmentEntryTab &entry() { return *doc->entry; }
    const QList<testkit::ScriptedMessageBoxes::Shown> &boxes() const { return tp.boxes.shown; }

    testkit::TestPlatform tp;
    CountingBroker counting;
    SessionUser user;
    BrokerReply reference;
    ReferenceData data;
    BrokerCodeList codes;
    std::unique_ptr<KORVA_AssignMaint> doc;
    std::unique_ptr<QSignalSpy> replies;
};

// The day the screens and the server both take as today: the test kit's fixed clock.
const QDate kToday = testkit::FixedClock().today();

QString today(int days = 0)
{
    return kToday.addDays(days).toString(QStringLiteral("MM/dd/yyyy"));
}

} // namespace

class TestDocumentBroker : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    std::unique_ptr<AsyncBroker> m_broker;
    std::unique_ptr<server::Database> m_db; // for looking behind the screen

    // Today's assignments that the back end lists for `officer` as addressee or sender (key
    // OFCR_TO_ID or OFCR_FRM_ID) and that carry `comment`.
    RecordSetPtr listed(int officer, const char *key, const QString &comment)
    {
        const QString day = kToday.toString(Qt::ISODate);
        BrokerRequest r =
            composeQuery(QStringLiteral("CHECK"), RequestKind::Query,
                         {RequestParameter::key(QStringLiteral("ASGNMT_FRM_DT"), day),
                          RequestParameter::key(QStringLiteral("ASGNMT_TO_DT"), day),
                          RequestParameter::key(QLatin1String(key), QString::number(officer))});
        r.setContext(SessionUser::makeContextText(officer, QStringLiteral("NE")));
        const BrokerReply reply = m_broker->call(r);
        RecordSetPtr rows = reply.recordSet(QStringLiteral("ASSIGNMENT"));
        if (!rows)
            return RecordSet::create({});
        rows->setFilter(QStringLiteral("ASGNMT_CMMT_TXT = '%1'").arg(comment));
        rows->moveFirst();
        return rows;
    }
private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        server::ServerSettings settings(QStringLiteral("sqlite:") +
                                        m_dir.filePath(QStringLiteral("demo.db")));
        settings.today = kToday;
        server::generateDemo(settings, {.assignments = 240, .today = kToday});
        m_broker = std::make_unique<AsyncBroker>(server::makeBackendFactory(settings));
        m_broker->setTimeout(20000);
        m_db = std::make_unique<server::Database>(settings, QStringLiteral("doc-test-reader"));
        m_db->open();
    }
    void cleanupTestCase() { m_broker.reset(); }

    void firstShowListsTheReceivedOpenAssignmentsDecorated()
    {
        SignedOn s(*m_broker, 1001);
        QVERIFY(s.waitReplies(1));
        QCOMPARE(s.tp.statusBar.last(), QStringLiteral("Ready ..."));
        // What each row should show, from the store: status, type, sender, addressee, red.
        QSqlQuery &q = m_db->run(QStringLiteral(
            "SELECT A.ASGNMT_NBR, CASE A.ASGNMT_STTS_CD WHEN 'O' THEN 'Open' WHEN 'F' THEN "
            "'Forward' ELSE 'Reply' END, T.ASGNMT_DES, O.INSP_NME_LST, O.INSP_NME_FRST, "
            "O.INSP_NME_MDL_INT, A.ASGNMT_TYP_CD IN ('PCE', 'PCX') FROM ASGNMT A JOIN OFFICER O "
            "ON O.INSP_ID = A.OFCR_FRM_ID JOIN ZTB_ASGNMT_TYPE T ON T.ASGNMT_CD = A.ASGNMT_TYP_CD "
            "AND T.REGION = 'NE' WHERE A.OFCR_TO_ID = 1001 AND A.ASGNMT_STTS_CD IN ('O', 'F', "
            "'R')"));
        QHash<QString, QString> expected;
        while (q.next())
            expected.insert(
                q.value(0).toString(),
                QStringList{q.value(1).toString(), q.value(2).toString(),
                            modAssignMaint::ProperName(q.value(3).toString(), q.value(4).toString(),
                                                       q.value(5).toString(), {}),
                            QStringLiteral("SMITH, JR, JOHN Q."),
                            q.value(6).toBool() ? QStringLiteral("red") : QString()}
                    .join(u'|'));
        q.finish();
        DataGrid *g = s.doc->findChild<DataGrid *>(QStringLiteral("grdAssignment"));
        QCOMPARE(g->rowCount(), expected.size());
        QSet<QString> kinds; // the statuses shown, and whether red rows were among them
        for (int row = 0; row < g->rowCount(); ++row) {
            QStringList shown;
            for (const char *c : {"Status", "ASSIGNMENT_TYPE", "ASSIGNED_FROM", "ASSIGNED_TO"})
                shown.append(g->text(row, QLatin1String(c)));
            int red = 0;
            for (int c = 0; c < g->columnCount(); ++c)
                red += g->cellStyleSet(row, c) == u"RowRed";
            shown.append(red == 0                  ? QString()
                         : red == g->columnCount() ? QStringLiteral("red")
                                                   : QStringLiteral("partly red"));
            QCOMPARE(shown.join(u'|'), expected.value(g->text(row, QStringLiteral("ASGNMT_NBR"))));
            kinds << shown[0] << shown[4];
        }
        // The demo store gives the officer every open status, and red rows among them.
        QCOMPARE(kinds, (QSet<QString>{QStringLiteral("Open"), QStringLiteral("Forward"),
                                       QStringLiteral("Reply"), QStringLiteral("red"), QString()}));
    }

    void newAssignmentReachesEachListedOfficer()
    {
        SignedOn s(*m_broker, 1001);
        QVERIFY(s.waitReplies(1));
        fillEntry(*s.doc, QStringLiteral("type=002|subject=Three of you|comment=One each, "
                                         "please.|officers=1003,1004,1005")); // 14 and 60 days
        QVERIFY(s.doc->SaveData());
        QVERIFY(s.waitReplies(3)); // the update, then the list again
        QCOMPARE(s.boxes().size(), 0);
        QCOMPARE(s.tp.statusBar.last(), QStringLiteral("Ready ..."));
        QCOMPARE(s.entry().txtComment->toPlainText(), QString());

        QSet<QString> numbers;
        for (int officer : {1003, 1004, 1005}) {
            const RecordSetPtr a =
                listed(officer, "OFCR_TO_ID", QStringLiteral("One each, please."));
            QCOMPARE(a->count(), 1);
            QStringList values;
            for (const char *f : {"OFCR_FRM_ID", "ASGNMT_TYP_CD", "ASGNMT_STTS_CD",
                                  "ASGNMT_SBJCT_TXT", "EFCTV_DT", "DUE_DT", "EXPRTN_DT"})
                values.append(a->text(QString::fromLatin1(f)));
            QCOMPARE(values, (QStringList{QStringLiteral("1001"), QStringLiteral("002"),
                                          QStringLiteral("O"), QStringLiteral("Three of you"),
                                          today(), today(14), today(60)}));
            numbers.insert(a->text(u"ASGNMT_NBR"));
        }
        QCOMPARE(numbers.size(), 3); // each officer has his own assignment
    }

    void agencyAndTroopAreStoredAsChosen_data()
    {
        QTest::addColumn<QString>("entry");  // steps, see Fixture::fill
        QTest::addColumn<QString>("stored"); // AGNCY_CD, TRP_ID, TRP_DIST_ID
        QTest::newRow("agency") << QStringLiteral("option=8|agency=SP") << QStringLiteral("SP||");
        QTest::newRow("troop and district")
            << QStringLiteral("option=9|troop=c12") << QStringLiteral("|C|12");
        QTest::newRow("troop") << QStringLiteral("option=9|troop=e") << QStringLiteral("|E|");
    }
    void agencyAndTroopAreStoredAsChosen()
    {
        QFETCH(QString, entry);
        QFETCH(QString, stored);
        SignedOn s(*m_broker, 1001);
        QVERIFY(s.waitReplies(1));
        fillEntry(*s.doc,
                  entry + QStringLiteral("|comment=") + QLatin1String(QTest::currentDataTag()));
        QVERIFY(s.doc->SaveData());
        QVERIFY(s.waitReplies(3));
        QCOMPARE(s.boxes().value(0).prompt, QString());

        const RecordSetPtr a =
            listed(1001, "OFCR_FRM_ID", QString::fromLatin1(QTest::currentDataTag()));
        QCOMPARE(a->count(), 1);
        QCOMPARE(QStringList({a->text(u"AGNCY_CD"), a->text(u"TRP_ID"), a->text(u"TRP_DIST_ID")})
                     .join(u'|'),
                 stored);
        QVERIFY(a->isNull(u"OFCR_TO_ID"));
    }

    void refusedSaveShowsTheServersTextAndKeepsTheEntry()
    {
        // Officer 1005 signs on with the right, which is then withdrawn on the server.
        SignedOn s(*m_broker, 1005);
        QVERIFY(s.waitReplies(1));
        AssignmentEntryTab &e = s.entry();
        fillEntry(*s.doc, QStringLiteral("type=001|ref=CIT|number=0000042-2|officer=1003|"
                                         "subject=Refused|comment=Not to be stored."));
        QCOMPARE(e.errorText(), QString());
        m_db->run(QStringLiteral("DELETE FROM USR_RGHT WHERE INSP_ID = 1005"));
        QVERIFY(s.doc->SaveData());
        QVERIFY(s.waitReplies(2));

        QCOMPARE(s.boxes().size(), 1);
        QCOMPARE(s.boxes()[0].prompt, QStringLiteral("You do not have the \"Assignment\" "
                                                     "right needed to create an assignment."));
        QCOMPARE(s.boxes()[0].style, MsgStyle::Critical);
        QCOMPARE(s.tp.statusBar.last(), QStringLiteral("Update Not Successful."));
        QCOMPARE(s.counting.sent, 2); // the list, the update, and no list after a refusal
        QVERIFY(s.doc->tabTab->isEnabled());
        QCOMPARE(
            (QStringList{e.cboFTBox[0]->code(), e.cboFTBox[1]->code(), e.txtBox[0]->text(),
                         e.txtBox[1]->text(), e.txtBox[4]->text(), e.txtComment->toPlainText(),
                         e.dtpFTDate[3]->editor()->text()}),
            (QStringList{QStringLiteral("001"), QStringLiteral("CIT"), QStringLiteral("0000042-2"),
                         QStringLiteral("1003"), QStringLiteral("Refused"),
                         QStringLiteral("Not to be stored."), today(30)}));
        QCOMPARE(listed(1003, "OFCR_TO_ID", QStringLiteral("Not to be stored."))->count(), 0);
    }

    void fromAfterToSendsNothing()
    {
        SignedOn s(*m_broker, 1001);
        QVERIFY(s.waitReplies(1));
        const int rows = s.doc->findChild<DataGrid *>(QStringLiteral("grdAssignment"))->rowCount();
        s.doc->findChild<KORVA_DTP *>(QStringLiteral("dtpFTDate(0)"))->setValue(kToday.addDays(1));
        QTest::mouseClick(s.doc->findChild<QPushButton *>(QStringLiteral("cmdButton(0)")),
                          Qt::LeftButton);
        QCOMPARE(s.counting.sent, 1);
        QCOMPARE(s.boxes().size(), 1);
        QCOMPARE(s.boxes()[0].prompt, QStringLiteral("The 'Assigned From' effective date must be "
                                                     "on, or before, the 'Assigned To' date."));
        QCOMPARE(s.boxes()[0].style, MsgStyle::Critical);
        QCOMPARE(s.boxes()[0].title, modMessageTitle::MessageTitle());
        QCOMPARE(s.doc->findChild<DataGrid *>(QStringLiteral("grdAssignment"))->rowCount(), rows);
    }
};

KORVA_TEST_MAIN(TestDocumentBroker)
#include "tst_documentbroker.moc"
