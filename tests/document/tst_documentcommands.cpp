// The document's commands on a selected assignment and on the entry's comment and officers,
// and what the document does when a dialog reports back.
#include "common/modassignmaint.h"
#include "dialogs/frmaddofficer.h"
#include "dialogs/frmassignhistory.h"
#include "dialogs/frmassignroc.h"
#include "documentfixture.h"
#include "inquiry/korva_selectcustforminq.h"
#include "modaldialog.h"
#include "test_main.h"
#include "worksheet/korva_worksheet.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

using namespace korva;
using namespace korva::doctest;
using namespace Qt::StringLiterals;

namespace {

bool showsText(const QWidget *dialog, const QString &text)
{
    const QList<QLabel *> labels = dialog->findChildren<QLabel *>();
    return std::any_of(labels.begin(), labels.end(),
                       [&](const QLabel *l) { return l->text() == text; });
}

QString rowCommands(Fixture &f) // Forward, Reply, Close, Reopen, History
{
    QString s;
    for (int i : {1, 2, 3, 4, 5})
        s += f.button(i)->isEnabled() ? u'1' : u'0';
    return s;
}

} // namespace

class TestDocumentCommands : public QObject {
    Q_OBJECT
private slots:
    void closeIsForClosersCreatorsOrOtherTypes_data()
    {
        QTest::addColumn<bool>("closer");
        QTest::addColumn<QString>("type"); // 007: only its creator closes it
        QTest::addColumn<int>("creator");
        QTest::addColumn<bool>("opens");
        QTest::newRow("closer") << true << QStringLiteral("007") << 1002 << true;
        QTest::newRow("other creator") << false << QStringLiteral("007") << 1002 << false;
        QTest::newRow("own") << false << QStringLiteral("007") << 1001 << true;
        QTest::newRow("other type") << false << QStringLiteral("001") << 1002 << true;
    }
    void closeIsForClosersCreatorsOrOtherTypes()
    {
        QFETCH(bool, closer);
        QFETCH(QString, type);
        QFETCH(int, creator);
        QFETCH(bool, opens);
        Fixture f;
        if (!closer)
            f.tp.fakeUser.groups.clear();
        f.showWith({{.number = 1041, .type = type, .from = creator}});
        f.clickRow(0);
        const int opened =
            duringModal<frmAssignROC>([&] { QTest::mouseClick(f.button(3), Qt::LeftButton); },
                                      [&](frmAssignROC *d) { emit d->SendCancel(); });
        QCOMPARE(opened, opens ? 1 : 0);
        QCOMPARE(f.boxes().size(), opens ? 0 : 1);
        if (!opens) {
            QCOMPARE(f.boxes().last().prompt,
                     QStringLiteral("You are not authorized to close this assignment.\r\nIt can "
                                    "only be closed by the assignment creator."));
            QCOMPARE(f.boxes().last().style, 1);
            QCOMPARE(f.boxes().last().title, modMessageTitle::MessageTitle());
        }
    }

    // Each dialog gets the selected row; OK lists again, cancel does not; either releases it.
    void dialogsReportBack_data()
    {
        QTest::addColumn<int>("button");
        QTest::addColumn<QString>("status");
        QTest::addColumn<QString>("dialog");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("dayCounts"); // published for the forward dialog only
        QTest::addColumn<QString>("type");
        QTest::newRow("reply") << 2 << u"O"_s << u"korva::frmAssignROC REPLY"_s << true << u"0/0"_s
                               << u"7"_s;
        QTest::newRow("close") << 3 << u"O"_s << u"korva::frmAssignROC CLOSE"_s << true << u"0/0"_s
                               << u"7"_s;
        QTest::newRow("reopen, cancel")
            << 4 << u"C"_s << u"korva::frmAssignROC OPEN"_s << false << u"0/0"_s << u"7"_s;
        QTest::newRow("forward") << 1 << u"O"_s << u"korva::frmAssignForward"_s << true << u"5/15"_s
                                 << u"7"_s; // formatted to "007"
        // Looked up as the grid holds it, as the row click does: the padded code is no type.
        QTest::newRow("forward, a padded code")
            << 1 << u"O"_s << u"korva::frmAssignForward"_s << true << u"0/0"_s << u"AUD "_s;
    }
    void dialogsReportBack()
    {
        QFETCH(int, button);
        QFETCH(QString, status);
        QFETCH(QString, dialog);
        QFETCH(bool, ok);
        QFETCH(QString, dayCounts);
        QFETCH(QString, type);
        Fixture f;
        f.showWith({{.number = 1040},
                    {.number = 1041,
                     .type = type,
                     .status = status,
                     .subject = QStringLiteral("Receipt")}});
        f.clickRow(1);
        QCOMPARE(rowCommands(f).at(button - 1), u'1');
        modAssignMaint::componentDayCounts() = {};
        const int before = f.sentCount();
        QString shown;
        QPointer<QDialog> opened;
        duringModal<QDialog>([&] { QTest::mouseClick(f.button(button), Qt::LeftButton); },
                             [&](QDialog *d) {
                                 opened = d;
                                 auto *roc = qobject_cast<frmAssignROC *>(d);
                                 shown = QString::fromLatin1(d->metaObject()->className()) +
                                         (roc ? u' ' + roc->mode() : QString());
                                 QVERIFY(showsText(d, QStringLiteral("Receipt")));
                                 QCOMPARE(d->parentWidget(), &f.doc());
                                 QMetaObject::invokeMethod(d, ok ? "SendOK" : "SendCancel");
                             });
        QCOMPARE(shown, dialog);
        QVERIFY(!opened);
        QCOMPARE(rowCommands(f), QStringLiteral("00000")); // until a row is selected again
        QCOMPARE(f.sentCount() - before, ok ? 1 : 0);
        const auto &counts = modAssignMaint::componentDayCounts();
        QCOMPARE(QStringLiteral("%1/%2").arg(counts.DueDayCount).arg(counts.ExpirationDayCount),
                 dayCounts);
        QCOMPARE(f.reports(), QString());
    }

    void historyIsAskedForThenShownOverTheList()
    {
        Fixture f;
        f.showWith({{.number = 1040}, {.number = 1041, .subject = QStringLiteral("Receipt")}});
        f.clickRow(1);
        QTest::mouseClick(f.button(5), Qt::LeftButton);
        const BrokerRequest asked = f.lastRequest();
        QCOMPARE(asked.kind(), 62);
        QCOMPARE(asked.keyValue(u"ASGNMT_NBR") + asked.keyValue(u"HISTORY"),
                 QStringLiteral("1041YES"));
        QCOMPARE(asked.parameters().size(), 2);
        QCOMPARE(f.doc().readBack(), asked.readBack());
        QVERIFY(f.doc().historyPending());
        QVERIFY(!f.grid()->isEnabled());

        const RecordSetPtr history =
            table(QStringLiteral("ASSIGNMENT"), "ASGNMT_NBR:i ASGNMT_STTS_CD LST_UPDT_TS",
                  {{1041, QStringLiteral("O"), QStringLiteral("2026-11-01 10:00:00")},
                   {1041, QStringLiteral("F"), QStringLiteral("2026-11-02 10:00:00")}});
        int rows = -1;
        bool listFree = false;
        const int opened = duringModal<frmAssignHistory>(
            [&] { f.tp.fakeBroker.replyGood({history}); },
            [&](frmAssignHistory *d) {
                rows = d->grdHistory->rowCount();
                listFree = f.grid()->isEnabled() && !f.doc().historyPending();
                QVERIFY(showsText(d, QStringLiteral("Receipt")));
                QTest::mouseClick(d->cmdOK, Qt::LeftButton);
            });
        QCOMPARE(opened, 1);
        QCOMPARE(rows, 2);
        QVERIFY(listFree);
        QCOMPARE(f.grid()->text(1, QStringLiteral("ASGNMT_NBR")), QStringLiteral("1041"));

        // A failed history query frees the list, and the next list reply is a list again.
        QTest::mouseClick(f.button(5), Qt::LeftButton);
        f.tp.fakeBroker.replyBad(QStringLiteral("No history."));
        QVERIFY(!f.doc().historyPending());
        QVERIFY(f.grid()->isEnabled());
        f.button(0)->click();
        QCOMPARE(duringModal<frmAssignHistory>(
                     [&] { f.tp.fakeBroker.replyGood({assignments({{.number = 7}})}); },
                     [](frmAssignHistory *) {}),
                 0);
        QCOMPARE(f.grid()->rowCount(), 1);
    }

    void chosenOfficersJoinTheListOnceSortedByName()
    {
        Fixture f;
        f.fill(QStringLiteral("officers=1003"));
        f.box(1)->setText(QStringLiteral("9999"));
        f.tp.fieldMarks.MarkFieldError(f.box(1));
        auto chosen = table(QStringLiteral("OFFICER"), "INSP_ID:i INSP_NME_LST INSP_NME_FRST",
                            {{1005, QStringLiteral("Adams"), QStringLiteral("Ann")},
                             {1003, QStringLiteral("Last1003"), QStringLiteral("First")},
                             {1004, QStringLiteral("Zed"), QStringLiteral("Zoe")},
                             {1005, QStringLiteral("Adams"), QStringLiteral("Ann")}});
        duringModal<frmAddOfficer>([&] { QTest::mouseClick(f.button(7), Qt::LeftButton); },
                                   [&](frmAddOfficer *d) { emit d->SendOK(chosen); });
        QStringList listed;
        for (int row = 0; row < f.doc().entry->grdOfficers->rowCount(); ++row)
            listed.append(f.doc().entry->grdOfficers->text(row, QStringLiteral("NAME")));
        QCOMPARE(listed.join(u'|'), QStringLiteral("ADAMS, ANN|LAST1003, FIRST|ZED, ZOE"));
        QCOMPARE(f.box(1)->text(), QString());
        QVERIFY(!f.tp.fieldMarks.isMarked(f.box(1)));

        // The dialog is not handed the tab's list: an officer listed already is picked there
        // without a beep, and merged away when he comes back.
        QString picked;
        duringModal<frmAddOfficer>(
            [&] { QTest::mouseClick(f.button(7), Qt::LeftButton); },
            [&](frmAddOfficer *d) {
                auto *typed = d->findChild<QLineEdit *>(QStringLiteral("txtOfficer"));
                QTest::keyClicks(typed, QStringLiteral("1003"));
                QTest::keyClick(typed, Qt::Key_Return);
                picked = QString::number(d->findChild<DataGrid *>()->rowCount()) + u'/' +
                         QString::number(f.beeps());
                QTest::mouseClick(d->findChild<QPushButton *>(QStringLiteral("cmdOK")),
                                  Qt::LeftButton);
            });
        QCOMPARE(picked, QStringLiteral("1/0"));
        QCOMPARE(f.doc().entry->grdOfficers->rowCount(), 3);

        QTest::mouseClick(f.button(8), Qt::LeftButton);
        const RecordSetPtr cleared = f.doc().entry->adoOfficers->recordSet();
        QCOMPARE(cleared->name() + QString::number(cleared->count()), QStringLiteral("OFFICER0"));
        QCOMPARE(f.reports(), QString());
    }

    // The entry tab's commands: reference look-up, copy, paste and spell check.
    void entryCommands()
    {
        Fixture f;
        f.entry();
        auto click = [&](int i) {
            QTest::mouseClick(f.button(i), Qt::LeftButton);
        };
        auto lastBox = [&] {
            return f.boxes().last().prompt + u'/' + QString::number(f.boxes().last().style);
        };
        click(6);
        QCOMPARE(lastBox(),
                 QStringLiteral("Reference Account Type must be selected to search./48"));
        // The number is the dialog's, also when its search is cancelled.
        f.fill(QStringLiteral("ref=CIT|number=0000042-2"));
        QCOMPARE(duringModal<KORVA_SelectCustFormInq>([&] { click(6); },
                                                      [](KORVA_SelectCustFormInq *d) {
                                                          QTest::mouseClick(
                                                              d->findChild<QPushButton *>(
                                                                  QStringLiteral("mCmdButton(0)")),
                                                              Qt::LeftButton);
                                                      }),
                 1);
        QCOMPARE(f.box(0)->text(), QString());
        f.comment()->setPlainText(QStringLiteral("  "));
        click(9);
        QCOMPARE(lastBox(), QStringLiteral("No comments available to copy./64"));
        f.comment()->setPlainText(QStringLiteral("Check teh receipt."));
        click(9);
        QCOMPARE(f.tp.memoryClipboard.content, QStringLiteral("Check teh receipt."));
        f.tp.memoryClipboard.content = QStringLiteral(" \n ");
        click(10);
        QCOMPARE(lastBox(), QStringLiteral("No comments available to paste./64"));

        // Pasted text goes on a line of its own; past 2000 characters it is cut, with a beep.
        f.tp.memoryClipboard.content = QStringLiteral("  And the slip.  ");
        click(10);
        QCOMPARE(f.comment()->toPlainText(), QStringLiteral("Check teh receipt.\nAnd the slip."));
        QCOMPARE(f.beeps(), 0);
        f.tp.memoryClipboard.content = QString(1990, u'x');
        click(10);
        QCOMPARE(f.comment()->toPlainText().size(), 2000);
        QVERIFY(f.comment()->toPlainText().startsWith(QStringLiteral("Check teh receipt.\n")));
        QCOMPARE(f.beeps(), 1);

        f.comment()->setPlainText(QStringLiteral("Check teh receipt."));
        f.tp.spellChecking.correct = [](QString text) {
            return text.replace(QStringLiteral("teh"), QStringLiteral("the"));
        };
        click(11);
        QCOMPARE(f.tp.spellChecking.createdNames.join(u' '),
                 QStringLiteral("TAVROUtilities.Dictionary"));
        QCOMPARE(f.comment()->toPlainText(), QStringLiteral("Check the receipt."));
        QCOMPARE(lastBox(), QStringLiteral("The Spell Check is complete./64"));

        f.tp.spellChecking.available = false;
        click(11);
        QCOMPARE(lastBox(), f.tp.spellChecking.unavailableReason + QStringLiteral("/48"));
        QCOMPARE(f.reports(), QString());
    }

    void refundWorksheetOpensFromASystemGeneratedRow_data()
    {
        QTest::addColumn<QString>("status");
        QTest::addColumn<QString>("refund");
        QTest::newRow("no refund number") << QStringLiteral("O") << QStringLiteral("  ");
        QTest::newRow("open") << QStringLiteral("O") << QStringLiteral("U000123");
        QTest::newRow("closed") << QStringLiteral("C") << QStringLiteral("U000123");
    }
    void refundWorksheetOpensFromASystemGeneratedRow()
    {
        QFETCH(QString, status);
        QFETCH(QString, refund);
        Fixture f;
        f.shown();
        f.tp.fakeBroker.replyGood({table(
            QStringLiteral("ASSIGNMENT"),
            "ASGNMT_NBR:i ASGNMT_TYP_CD ASGNMT_STTS_CD OFCR_CRTR_ID:i CUST_ID RFND_NBR STTS_CD",
            {{77, QStringLiteral("900"), status, 1002, QStringLiteral("C-100"), refund,
              QStringLiteral(" 1 ")}})});
        const int before = f.sentCount();
        QString askedFor;
        const int opened = duringModal<KORVA_WorkSheet>(
            [&] {
                // A double-click: the press and release of its first click come first.
                const QRect r = f.grid()->visualRect(f.grid()->model()->index(0, 1));
                QTest::mouseClick(f.grid()->viewport(), Qt::LeftButton, {}, r.center());
                QTest::mouseDClick(f.grid()->viewport(), Qt::LeftButton, {}, r.center());
            },
            [&](KORVA_WorkSheet *d) {
                askedFor = f.lastRequest().keyValue(u"REFUND_NBR");
                QCOMPARE(d->CustomerID() + d->statusCode(), QStringLiteral("C-1001"));
                // A closed assignment's worksheet is for reading: its save stays off.
                QCOMPARE(d->findChild<QPushButton *>(QStringLiteral("mCmdButton(0)"))->isEnabled(),
                         status == u"O");
                d->SetSavedVoidedFlag(true); // as after a save: the list is asked for again
                d->close();
            });
        if (refund.trimmed().isEmpty()) {
            QCOMPARE(opened, 0);
            QCOMPARE(f.boxes().size(), 1);
            QCOMPARE(f.boxes().last().prompt,
                     QStringLiteral("Refund Worksheet is available only for system generated "
                                    "Assignments."));
            QCOMPARE(f.sentCount(), before);
        } else {
            QCOMPARE(opened, 1);
            QCOMPARE(askedFor, refund);
            QCOMPARE(f.sentCount() - before, 2);
            QCOMPARE(f.lastRequest().kind(), 62);
        }
    }
};

KORVA_TEST_MAIN(TestDocumentCommands)
#include "tst_documentcommands.moc"
