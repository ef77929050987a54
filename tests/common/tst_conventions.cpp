#include "common/conventions.h"
#include "common/modassignmaint.h"
#include "test_main.h"
#include "testkit.h"

using namespace korva;

namespace {

// A minimal screen that follows the shared conventions, as the document and dialogs do.
class Screen : public QObject {
public:
    Screen()
        : msg(this)
    {
        connect(&msg, &BrokerMessage::DataReady, this, [this](const QString &identity) {
            handleDataReady(u"Screen.mZelbMessage_DataReady", identity, messageId, msg, flags,
                            routes);
        });
        connect(&msg, &BrokerMessage::MsgTimeout, this, [this] { flags.TimedOut = true; });
        routes.enableTabs = [this](bool on) {
            tabsEnabled = on;
        };
        routes.goodQuery = [this] {
            ++queries;
        };
        routes.goodUpdate = [this] {
            ++updates;
            query(); // a good update asks for the list again
        };
    }
    void query()
    {
        msg.send(composeQuery(messageId, RequestKind::Query,
                              {RequestParameter::key(QStringLiteral("ASGNMT_FRM_DT"),
                                                     QStringLiteral("1997-01-27"))}));
    }
    void update()
    {
        auto rows = RecordSet::create(QStringLiteral("ASSIGNMENT"));
        rows->addNew();
        rows->setValue(u"ACTION", QStringLiteral("ADD"));
        flags.UpdatePending = true;
        flags.TimedOut = false;
        tabsEnabled = false;
        msg.send(composeUpdate(messageId, RequestKind::AssignmentUpdate,
                               QStringLiteral("ASSIGNMENT"), rows));
    }

    BrokerMessage msg;
    QString messageId = QStringLiteral("KORVA_ASSIGNMAINT");
    RequestFlags flags;
    ReplyRoutes routes;
    bool tabsEnabled = true;
    int queries = 0;
    int updates = 0;
};

} // namespace

class TestConventions : public QObject {
    Q_OBJECT
private slots:
    void requestCarriesHeaderAndParametersInOrder()
    {
        testkit::TestPlatform tp;
        Screen s;
        s.query();
        const BrokerRequest &r = tp.fakeBroker.last().request;
        QCOMPARE(r.messageId(), QStringLiteral("KORVA_ASSIGNMAINT"));
        QCOMPARE(r.version(), QStringLiteral("1.0"));
        QCOMPARE(r.kind(), 62);
        QCOMPARE(r.context(), QStringLiteral("INSP_ID=1001;REGION=NE"));
        QCOMPARE(r.parameters().first(),
                 (RequestParameter{QStringLiteral("PAXHOLME"), QStringLiteral("key:ASGNMT_FRM_DT"),
                                   QStringLiteral("="), QStringLiteral("1997-01-27")}));
    }

    void ownReplyIsRecognisedWhateverItsCaseAndBlanks()
    {
        testkit::TestPlatform tp;
        Screen s;
        s.query();
        tp.fakeBroker.replyForeign(QStringLiteral("  korva_assignMaint "));
        QCOMPARE(s.queries, 1);
        QVERIFY(s.flags.ReplyReceived);
        QCOMPARE(tp.mouse.busy, false);
    }

    void someoneElsesReplyChangesNothingButThePointer()
    {
        testkit::TestPlatform tp;
        Screen s;
        s.query();
        tp.fakeBroker.replyForeign(QStringLiteral("KORVA.WORKSHEET"));
        QCOMPARE(s.queries, 0);
        QVERIFY(!s.flags.ReplyReceived);
        QVERIFY(tp.statusBar.texts.isEmpty());
        QVERIFY(tp.boxes.shown.isEmpty());
        QVERIFY(tp.mouse.busyCount > 0);
        QVERIFY(!tp.mouse.busy);
    }

    void badReplyToAQuery()
    {
        testkit::TestPlatform tp;
        Screen s;
        s.query();
        tp.fakeBroker.replyBad(QStringLiteral("no such officer"));
        QCOMPARE(tp.boxes.shown.size(), 1);
        QCOMPARE(tp.boxes.shown.first().prompt, QStringLiteral("no such officer"));
        QCOMPARE(tp.boxes.shown.first().style, MsgStyle::Critical);
        QCOMPARE(tp.boxes.shown.first().title, modMessageTitle::MessageTitle());
        QCOMPARE(tp.statusBar.last(), QStringLiteral("Query Not Successful."));
        QVERIFY(s.flags.QueryFailed);
        QVERIFY(s.flags.ReplyReceived);
        QCOMPARE(s.queries, 0);
        QVERIFY(tp.reporter.reports.isEmpty());
    }

    void badReplyToAnUpdateAllowsASecondSave()
    {
        testkit::TestPlatform tp;
        Screen s;
        s.update();
        tp.fakeBroker.replyBad(QStringLiteral("refused"));
        QCOMPARE(tp.statusBar.last(), QStringLiteral("Update Not Successful."));
        QVERIFY(!s.flags.UpdatePending);
        QVERIFY(s.flags.QueryFailed);
        QVERIFY(s.tabsEnabled);
        const QString refusedKey = tp.fakeBroker.last().request.requestKey();
        s.update();
        // The server keeps no answer for a refusal, yet the same rows are a new try.
        QVERIFY(tp.fakeBroker.last().request.requestKey() != refusedKey);
        tp.fakeBroker.replyGood();
        QCOMPARE(s.updates, 1);
    }

    void timeoutThenBadReplyReportsTheTimeoutEvenForAnUpdate()
    {
        testkit::TestPlatform tp;
        Screen s;
        s.update();
        tp.fakeBroker.timeoutThenBad();
        QCOMPARE(tp.statusBar.last(), QStringLiteral("Query timed out."));
        QVERIFY(!tp.statusBar.texts.contains(QStringLiteral("Update Not Successful.")));
        QVERIFY(s.flags.TimedOut);
        QVERIFY(s.tabsEnabled);
        QVERIFY(!s.flags.QueryFailed);
        // The first may have been applied: Save again repeats its key, so it is applied once.
        const QString key = tp.fakeBroker.last().request.requestKey();
        QVERIFY(!key.isEmpty());
        s.update();
        QCOMPARE(tp.fakeBroker.last().request.requestKey(), key);
        tp.fakeBroker.replyGood();
        s.update();
        QVERIFY(tp.fakeBroker.last().request.requestKey() != key);
    }

    void goodUpdateAsksForTheListGoodQuerySendsNothing()
    {
        testkit::TestPlatform tp;
        Screen s;
        s.update();
        tp.fakeBroker.replyGood();
        QCOMPARE(s.updates, 1);
        QVERIFY(!s.flags.UpdatePending);
        QCOMPARE(tp.fakeBroker.sent.size(), 2);
        QCOMPARE(tp.fakeBroker.last().request.kind(), 62);
        tp.fakeBroker.replyGood();
        QCOMPARE(s.queries, 1);
        QCOMPARE(tp.fakeBroker.sent.size(), 2);
        // The reply's data is released at the exit.
        QVERIFY(!s.msg.reply(s.messageId));
    }
};

KORVA_TEST_MAIN(TestConventions)
#include "tst_conventions.moc"
