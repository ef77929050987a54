// The search keys, the decoration of the listed rows, the row commands and the replies.
#include "documentfixture.h"
#include "test_main.h"

using namespace korva;
using namespace korva::doctest;

namespace {

// The request's keys as "NAME=value", after checking that each is a PAXHOLME "=" key.
QStringList keys(const BrokerRequest &r)
{
    QStringList out;
    for (const RequestParameter &p : r.parameters())
        out.append(p.application == u"PAXHOLME" && p.op == u"=" && p.name.startsWith(u"key:")
                       ? p.name.mid(4) + u'=' + p.value
                       : QStringLiteral("malformed"));
    return out;
}

} // namespace

class TestDocumentList : public QObject {
    Q_OBJECT
private slots:
    void searchKeysFollowTheOptions()
    {
        Fixture f;
        f.shown();
        const BrokerRequest &first = f.lastRequest();
        QCOMPARE(first.messageId(), QStringLiteral("KORVA_ASSIGNMAINT"));
        QCOMPARE(first.kind(), 62);
        QCOMPARE(first.version(), QStringLiteral("1.0"));
        QCOMPARE(first.context(), f.tp.fakeUser.contextText());
        // The received open ones since the records began.
        QCOMPARE(keys(first), QStringLiteral("ASGNMT_FRM_DT=1997-01-27 ASGNMT_TO_DT=2026-11-22 "
                                             "OFCR_TO_ID=1001 ASGNMT_STTS_CD=O")
                                  .split(u' '));
        QCOMPARE(f.tp.statusBar.last(),
                 QStringLiteral("Requesting for assignments due that you received"));

        f.date(0)->setValue(QDate(2026, 11, 22)); // the same day as "to" is accepted
        QTest::mouseClick(f.find<QRadioButton>(QStringLiteral("optSent")), Qt::LeftButton);
        QTest::mouseClick(f.option(2), Qt::LeftButton);
        QVERIFY(!f.option(1)->isChecked()); // choosing Closed drops Open
        QTest::mouseClick(f.button(0), Qt::LeftButton);
        QCOMPARE(keys(f.lastRequest()), QStringLiteral("ASGNMT_FRM_DT=2026-11-22 "
                                                       "ASGNMT_TO_DT=2026-11-22 OFCR_FRM_ID=1001 "
                                                       "ASGNMT_STTS_CD=C")
                                            .split(u' '));
        QCOMPARE(f.tp.statusBar.last(),
                 QStringLiteral("Requesting for assignments due that you sent"));

        // Clicking the chosen status again leaves neither: every status is asked for.
        QTest::mouseClick(f.option(2), Qt::LeftButton);
        QTest::mouseClick(f.button(0), Qt::LeftButton);
        QCOMPARE(keys(f.lastRequest()).size(), 3);
        // Open again: one status key, never two.
        QTest::mouseClick(f.option(1), Qt::LeftButton);
        QTest::mouseClick(f.button(0), Qt::LeftButton);
        QCOMPARE(keys(f.lastRequest()).last(), QStringLiteral("ASGNMT_STTS_CD=O"));
        QCOMPARE(keys(f.lastRequest()).size(), 4);
        QCOMPARE(f.sentCount(), 4);
    }

    void rowsAreDecoratedAsTheyLoad()
    {
        Fixture f;
        f.showWith({{.number = 10,
                     .formNumber = QStringLiteral("0000042-2"),
                     .formType = QStringLiteral("CIT")},
                    {.type = QStringLiteral("DEF"), .status = QStringLiteral("Z")},
                    {.status = QStringLiteral("F"), .from = 1003},
                    {.type = QStringLiteral("  "), .status = QStringLiteral("R"), .from = 4242},
                    {.type = QStringLiteral("PCE"), .status = QStringLiteral("C")},
                    {.type = QStringLiteral("PCX")},
                    {.type = QStringLiteral("pce")},
                    {.type = QStringLiteral("PCEX")}});
        DataGrid *g = f.grid();
        QCOMPARE(g->caption(), QStringLiteral("Assignments"));
        QStringList shown;
        for (int row = 0; row < g->rowCount(); ++row) {
            QStringList cells;
            for (const char *c : {"Status", "ASSIGNED_FROM", "ASSIGNED_TO", "ASSIGNMENT_TYPE",
                                  "CITATION_NUMBER", "CITATION_TYPE"})
                cells.append(g->text(row, QLatin1String(c)));
            int red = 0;
            for (int c = 0; c < g->columnCount(); ++c)
                red += g->cellStyleSet(row, c) == u"RowRed";
            shown.append(cells.join(u'|') + u'|' + QString::number(red));
        }
        const QString full = QString::number(g->columnCount());
        // Unknown status: no text; "DEF" and a blank type: no description; unknown officer:
        // no name. Only the upper-case payment corrections are red, in every column.
        QCOMPARE(shown, (QStringList{
                            QStringLiteral("Open|SMITH, JR, JOHN Q.|DOE, JANE Q.|Referral|"
                                           "0000042-2|Citation|0"),
                            QStringLiteral("|SMITH, JR, JOHN Q.|DOE, JANE Q.||||0"),
                            QStringLiteral("Forward|ROE, ANN|DOE, JANE Q.|Referral|||0"),
                            QStringLiteral("Reply||DOE, JANE Q.||||0"),
                            QStringLiteral("Closed|SMITH, JR, JOHN Q.|DOE, JANE Q.|Payment "
                                           "Correction|||") +
                                full,
                            QStringLiteral("Open|SMITH, JR, JOHN Q.|DOE, JANE Q.|||") + u'|' + full,
                            QStringLiteral("Open|SMITH, JR, JOHN Q.|DOE, JANE Q.||||0"),
                            QStringLiteral("Open|SMITH, JR, JOHN Q.|DOE, JANE Q.||||0"),
                        }));
        QCOMPARE(g->cellStyleSet(0, 0), QStringLiteral("UNBOLD"));
        QCOMPARE(g->styleSet(QStringLiteral("RowRed")).foreColor, QColor(Qt::red));
        QCOMPARE(f.reports(), QString());
    }

    void replyStatusTexts()
    {
        Fixture f;
        f.showWith({{}});
        const QStringList &t = f.tp.statusBar.texts;
        QCOMPARE(t.mid(t.size() - 2), (QStringList{QStringLiteral("Displaying Assignments"),
                                                   QStringLiteral("Ready ...")}));
        QTest::mouseClick(f.button(0), Qt::LeftButton);
        f.tp.fakeBroker.replyGood({assignments({})});
        QCOMPARE(t.at(t.size() - 2), QStringLiteral("No Assignments found"));
        QCOMPARE(f.grid()->rowCount(), 0);
        QCOMPARE(f.sentCount(), 2); // a good query reply sends nothing more
    }

    void clickSetsTheRowCommands()
    {
        Fixture f;
        f.showWith({{.type = QStringLiteral("1"), .history = 2},
                    {.type = QStringLiteral("90"), .status = QStringLiteral("C"), .history = 0},
                    {.status = QStringLiteral("R")},
                    {.status = QStringLiteral("O ")}});
        auto states = [&f] {
            QString s;
            for (int i = 1; i <= 5; ++i)
                s += f.button(i)->isEnabled() ? u'1' : u'0';
            return s; // Forward, Reply, Close, Reopen, History
        };
        QCOMPARE(states(), QStringLiteral("00000"));
        f.clickRow(0); // open, type "1" is found as "001": replies allowed
        QCOMPARE(states(), QStringLiteral("11101"));
        f.clickRow(1); // closed, system generated once "90" is read as "090", no history
        QCOMPARE(states(), QStringLiteral("10010"));
        f.clickRow(2); // replied-to counts as not open
        QCOMPARE(states(), QStringLiteral("11011"));
        f.clickRow(3); // a padded code is not "O"
        QCOMPARE(states(), QStringLiteral("11011"));
        // Any command leaves the row commands off until a row is chosen again.
        QTest::mouseClick(f.button(0), Qt::LeftButton);
        QCOMPARE(states(), QStringLiteral("00000"));
        QCOMPARE(f.reports(), QString());
    }

    void officerOptionsNarrowWithoutAQuery()
    {
        Fixture f;
        f.showWith({{.to = 1001}, {.to = 1002}, {.to = 1001}});
        DataGrid *g = f.grid();
        QCOMPARE(g->rowCount(), 2); // the current officer is in force at start
        QCOMPARE(f.doc()
                     .findChild<DataControl *>(QStringLiteral("adoAssignment"))
                     ->recordSet()
                     ->filter(),
                 QStringLiteral("OFCR_TO_ID = 1001"));
        QTest::mouseClick(f.find<QRadioButton>(QStringLiteral("optAllOfficers")), Qt::LeftButton);
        QCOMPARE(g->rowCount(), 3);
        QVERIFY(g->redraw());
        // The sent list narrows by the sender.
        QTest::mouseClick(f.find<QRadioButton>(QStringLiteral("optSent")), Qt::LeftButton);
        QTest::mouseClick(f.find<QRadioButton>(QStringLiteral("optCurrentOfficer")),
                          Qt::LeftButton);
        QCOMPARE(f.doc()
                     .findChild<DataControl *>(QStringLiteral("adoAssignment"))
                     ->recordSet()
                     ->filter(),
                 QStringLiteral("OFCR_FRM_ID = 1001"));
        QCOMPARE(g->rowCount(), 0);
        QCOMPARE(f.sentCount(), 1);
    }

    void timeOutThenBadReplyKeepsTheRows()
    {
        Fixture f;
        f.showWith({{}, {}});
        QTest::mouseClick(f.button(0), Qt::LeftButton);
        f.tp.statusBar.texts.clear();
        f.tp.fakeBroker.timeoutThenBad(QStringLiteral("No answer."));
        QCOMPARE(f.tp.statusBar.texts, QStringList{QStringLiteral("Query timed out.")});
        QCOMPARE(f.boxes().size(), 1);
        QCOMPARE(f.boxes()[0].prompt, QStringLiteral("No answer."));
        QCOMPARE(f.boxes()[0].style, 16);
        QVERIFY(f.doc().requestFlags().TimedOut);
        QVERIFY(f.doc().tabTab->isEnabled());
        QCOMPARE(f.grid()->rowCount(), 2);
        QVERIFY(!f.tp.mouse.busy);
    }
};

KORVA_TEST_MAIN(TestDocumentList)
#include "tst_documentlist.moc"
