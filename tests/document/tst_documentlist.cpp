#include "common/modassignmaint.h"
#include "documentfixture.h"
#include "test_main.h"

using namespace korva;
using namespace korva::doctest;

namespace {

RequestParameter key(const char *field, const QString &value) {
    return {QStringLiteral("PAXHOLME"), QStringLiteral("key:") + QLatin1String(field),
            QStringLiteral("="), value};
}

QStringList keyNames(const BrokerRequest &r) {
    QStringList names;
    for (const RequestParameter &p : r.parameters())
        names.append(p.name);
    return names;
}

const QString kFromAfterTo = QStringLiteral(
    "The 'Assigned From' effective date must be on, or before, the 'Assigned To' date.");

} // namespace

class TestDocumentList : public QObject {
    Q_OBJECT
private slots:
    void firstShowAsksForTheReceivedOpenAssignments() {
        Fixture f;
        f.shown();
        QCOMPARE(f.sentCount(), 1);
        const BrokerRequest &r = f.lastRequest();
        QCOMPARE(r.messageId(), QStringLiteral("KORVA_ASSIGNMAINT"));
        QCOMPARE(r.kind(), 62);
        QCOMPARE(r.version(), QStringLiteral("1.0"));
        QCOMPARE(r.context(), f.tp.fakeUser.contextText());
        const QList<RequestParameter> expected{
            key("ASGNMT_FRM_DT", QStringLiteral("1997-01-27")),
            key("ASGNMT_TO_DT", QStringLiteral("2026-11-22")),
            key("OFCR_TO_ID", QStringLiteral("1001")),
            key("ASGNMT_STTS_CD", QStringLiteral("O")),
        };
        QCOMPARE(r.parameters(), expected);
        QVERIFY(f.tp.statusBar.texts.contains(
            QStringLiteral("Requesting for assignments due that you received")));
    }

    void searchKeysFollowTheOptions() {
        Fixture f;
        f.shown();
        f.doc().dtpFTDate[0]->setValue(QDate(2026, 11, 22)); // same day as "to": accepted
        QTest::mouseClick(f.find<QRadioButton>("optSent"), Qt::LeftButton);
        QTest::mouseClick(f.find<QRadioButton>("optButton(2)"), Qt::LeftButton);
        QVERIFY(!f.doc().optButton[1]->isChecked()); // choosing Closed drops Open
        QTest::mouseClick(f.find<QPushButton>("cmdButton(0)"), Qt::LeftButton);

        QCOMPARE(f.sentCount(), 2);
        QCOMPARE(f.lastRequest().parameters(),
                 (QList<RequestParameter>{key("ASGNMT_FRM_DT", QStringLiteral("2026-11-22")),
                                          key("ASGNMT_TO_DT", QStringLiteral("2026-11-22")),
                                          key("OFCR_FRM_ID", QStringLiteral("1001")),
                                          key("ASGNMT_STTS_CD", QStringLiteral("C"))}));
        QCOMPARE(f.tp.statusBar.last(),
                 QStringLiteral("Requesting for assignments due that you sent"));

        // Clicking the chosen status again leaves neither: every status is asked for.
        QTest::mouseClick(f.find<QRadioButton>("optButton(2)"), Qt::LeftButton);
        QVERIFY(!f.doc().optButton[1]->isChecked() && !f.doc().optButton[2]->isChecked());
        QTest::mouseClick(f.find<QPushButton>("cmdButton(0)"), Qt::LeftButton);
        QCOMPARE(keyNames(f.lastRequest()), (QStringList{QStringLiteral("key:ASGNMT_FRM_DT"),
                                                         QStringLiteral("key:ASGNMT_TO_DT"),
                                                         QStringLiteral("key:OFCR_FRM_ID")}));

        // Open again: one status key, never two.
        QTest::mouseClick(f.find<QRadioButton>("optButton(1)"), Qt::LeftButton);
        QTest::mouseClick(f.find<QPushButton>("cmdButton(0)"), Qt::LeftButton);
        QCOMPARE(f.lastRequest().parameters().count(key("ASGNMT_STTS_CD", QStringLiteral("O"))), 1);
        QCOMPARE(f.lastRequest().parameters().size(), 4);
    }

    void fromAfterToIsRefusedWithoutARequest() {
        Fixture f;
        f.shown();
        f.doc().dtpFTDate[0]->setValue(QDate(2026, 11, 23));
        QTest::mouseClick(f.find<QPushButton>("cmdButton(0)"), Qt::LeftButton);
        QCOMPARE(f.sentCount(), 1);
        QCOMPARE(f.tp.boxes.shown.size(), 1);
        QCOMPARE(f.tp.boxes.shown.first().prompt, kFromAfterTo);
        QCOMPARE(f.tp.boxes.shown.first().style, 16);
        QCOMPARE(f.tp.boxes.shown.first().title, modMessageTitle::MessageTitle());
    }

    void rowsAreDecoratedAsTheyLoad() {
        Fixture f;
        Row referral{.number = 10,
                     .formNumber = QStringLiteral("0000042-2"),
                     .formType = QStringLiteral("CIT")};
        Row unknownStatus{
            .number = 11, .type = QStringLiteral("DEF"), .status = QStringLiteral("Z")};
        Row forwarded{.number = 12, .status = QStringLiteral("F"), .from = 1003};
        Row replied{.number = 13,
                    .type = QStringLiteral("  "),
                    .status = QStringLiteral("R"),
                    .from = 4242};
        Row closed{.number = 14, .type = QStringLiteral("PCE"), .status = QStringLiteral("C")};
        f.showWith({referral, unknownStatus, forwarded, replied, closed});

        DataGrid *g = f.grid();
        QCOMPARE(g->rowCount(), 5);
        QCOMPARE(g->caption(), QStringLiteral("Assignments"));
        QCOMPARE(g->text(0, QStringLiteral("Status")), QStringLiteral("Open"));
        QCOMPARE(g->text(0, QStringLiteral("ASSIGNED_FROM")), QStringLiteral("SMITH, JR, JOHN Q."));
        QCOMPARE(g->text(0, QStringLiteral("ASSIGNED_TO")), QStringLiteral("DOE, JANE Q."));
        QCOMPARE(g->text(0, QStringLiteral("ASSIGNMENT_TYPE")), QStringLiteral("Referral"));
        QCOMPARE(g->text(0, QStringLiteral("CITATION_NUMBER")), QStringLiteral("0000042-2"));
        QCOMPARE(g->text(0, QStringLiteral("CITATION_TYPE")), QStringLiteral("Citation"));

        // An unknown status leaves the cell empty; "DEF" and a blank type get no description.
        QCOMPARE(g->text(1, QStringLiteral("Status")), QString());
        QCOMPARE(g->text(1, QStringLiteral("ASSIGNMENT_TYPE")), QString());
        QCOMPARE(g->text(3, QStringLiteral("ASSIGNMENT_TYPE")), QString());
        QCOMPARE(g->text(2, QStringLiteral("Status")), QStringLiteral("Forward"));
        QCOMPARE(g->text(2, QStringLiteral("ASSIGNED_FROM")), QStringLiteral("ROE, ANN"));
        QCOMPARE(g->text(3, QStringLiteral("Status")), QStringLiteral("Reply"));
        QCOMPARE(g->text(3, QStringLiteral("ASSIGNED_FROM")), QString()); // no such officer
        QCOMPARE(g->text(4, QStringLiteral("Status")), QStringLiteral("Closed"));
        QCOMPARE(g->text(4, QStringLiteral("ASSIGNMENT_TYPE")),
                 QStringLiteral("Payment Correction"));
        QVERIFY2(f.tp.reporter.reports.isEmpty(), f.reports().constData());
    }

    void onlyUpperCasePaymentCorrectionsAreRed() {
        Fixture f;
        f.showWith({{.number = 1, .type = QStringLiteral("PCE")},
                    {.number = 2, .type = QStringLiteral("PCX")},
                    {.number = 3, .type = QStringLiteral("pce")},
                    {.number = 4, .type = QStringLiteral("PCEX")},
                    {.number = 5, .type = QStringLiteral("001")}});
        DataGrid *g = f.grid();
        auto redColumns = [g](int row) {
            int red = 0;
            for (int c = 0; c < g->columnCount(); ++c)
                red += g->cellStyleSet(row, c) == QStringLiteral("RowRed");
            return red;
        };
        QCOMPARE(redColumns(0), g->columnCount());
        QCOMPARE(redColumns(1), g->columnCount());
        QCOMPARE(redColumns(2), 0);
        QCOMPARE(redColumns(3), 0);
        QCOMPARE(redColumns(4), 0);
        QCOMPARE(g->cellStyleSet(4, 0), QStringLiteral("UNBOLD"));
        QCOMPARE(g->styleSet(QStringLiteral("RowRed")).foreColor, QColor(Qt::red));
    }

    void replyStatusTexts() {
        Fixture f;
        f.showWith({{.number = 1}});
        const QStringList &t = f.tp.statusBar.texts;
        QCOMPARE(t.at(t.size() - 2), QStringLiteral("Displaying Assignments"));
        QCOMPARE(t.last(), QStringLiteral("Ready ..."));

        QTest::mouseClick(f.button(0), Qt::LeftButton);
        f.tp.fakeBroker.replyGood({assignments({})});
        QCOMPARE(t.at(t.size() - 2), QStringLiteral("No Assignments found"));
        QCOMPARE(f.grid()->rowCount(), 0);

        // A good query reply sends nothing more.
        QCOMPARE(f.sentCount(), 2);
    }

    void clickSetsTheRowCommands() {
        Fixture f;
        f.showWith({{.number = 1,
                     .type = QStringLiteral("1"),
                     .status = QStringLiteral("O"),
                     .history = 2},
                    {.number = 2,
                     .type = QStringLiteral("900"),
                     .status = QStringLiteral("C"),
                     .history = 0},
                    {.number = 3,
                     .type = QStringLiteral("001"),
                     .status = QStringLiteral("R"),
                     .history = 1}});
        auto states = [&f] {
            QString s;
            for (int i = 1; i <= 5; ++i)
                s += f.button(i)->isEnabled() ? u'1' : u'0';
            return s; // Forward, Reply, Close, Reopen, History
        };
        QCOMPARE(states(), QStringLiteral("00000"));

        f.clickRow(0); // open, type "1" is found as "001": replies allowed
        QCOMPARE(f.grid()->currentRow(), 0);
        QCOMPARE(states(), QStringLiteral("11101"));
        f.clickRow(1); // closed, system generated, no history
        QCOMPARE(states(), QStringLiteral("10010"));
        f.clickRow(2); // replied-to counts as not open
        QCOMPARE(states(), QStringLiteral("11011"));

        // Any command leaves the row commands off until a row is chosen again.
        QTest::mouseClick(f.button(0), Qt::LeftButton);
        QCOMPARE(states(), QStringLiteral("00000"));
        QVERIFY2(f.tp.reporter.reports.isEmpty(), f.reports().constData());
    }

    void officerOptionsNarrowWithoutAQuery() {
        Fixture f;
        f.showWith(
            {{.number = 1, .to = 1001}, {.number = 2, .to = 1002}, {.number = 3, .to = 1001}});
        DataGrid *g = f.grid();
        QCOMPARE(g->rowCount(), 2); // the current officer is in force at start
        QCOMPARE(f.doc().adoAssignment->recordSet()->filter(), QStringLiteral("OFCR_TO_ID = 1001"));

        QTest::mouseClick(f.find<QRadioButton>("optAllOfficers"), Qt::LeftButton);
        QCOMPARE(g->rowCount(), 3);
        QVERIFY(g->redraw());

        // The sent list narrows by the sender.
        QTest::mouseClick(f.find<QRadioButton>("optSent"), Qt::LeftButton);
        QTest::mouseClick(f.find<QRadioButton>("optCurrentOfficer"), Qt::LeftButton);
        QCOMPARE(f.doc().adoAssignment->recordSet()->filter(),
                 QStringLiteral("OFCR_FRM_ID = 1001"));
        QCOMPARE(g->rowCount(), 0);
        QCOMPARE(f.sentCount(), 1);
    }

    void timeOutThenBadReplyKeepsTheRows() {
        Fixture f;
        f.showWith({{.number = 1}, {.number = 2}});
        QTest::mouseClick(f.button(0), Qt::LeftButton);
        f.tp.fakeBroker.timeoutThenBad(QStringLiteral("The broker gave up."));

        QCOMPARE(f.tp.boxes.shown.size(), 1);
        QCOMPARE(f.tp.boxes.shown.first().prompt, QStringLiteral("The broker gave up."));
        QCOMPARE(f.tp.boxes.shown.first().style, 16);
        QCOMPARE(f.tp.statusBar.last(), QStringLiteral("Query timed out."));
        QVERIFY(!f.tp.statusBar.texts.contains(QStringLiteral("Query Not Successful.")));
        QVERIFY(f.doc().requestFlags().TimedOut);
        QVERIFY(f.doc().requestFlags().ReplyReceived);
        QVERIFY(!f.doc().requestFlags().QueryFailed);
        QVERIFY(f.doc().tabTab->isEnabled());
        QCOMPARE(f.grid()->rowCount(), 2);
        QVERIFY(!f.tp.mouse.busy);
    }

    void badAndForeignReplies() {
        Fixture f;
        f.showWith({{.number = 1}});
        QTest::mouseClick(f.button(0), Qt::LeftButton);
        f.tp.fakeBroker.replyForeign(QStringLiteral("KORVA_OTHERSCREEN"));
        QVERIFY(f.tp.boxes.shown.isEmpty());
        QCOMPARE(f.grid()->rowCount(), 1);

        f.tp.fakeBroker.replyBad(QStringLiteral("No database."));
        QCOMPARE(f.tp.boxes.shown.size(), 1);
        QCOMPARE(f.tp.statusBar.last(), QStringLiteral("Query Not Successful."));
        QVERIFY(f.doc().requestFlags().QueryFailed);
        QCOMPARE(f.grid()->rowCount(), 1);
        QCOMPARE(f.sentCount(), 2);
    }
};

KORVA_TEST_MAIN(TestDocumentList)
#include "tst_documentlist.moc"
