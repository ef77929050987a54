// The document's commands on a selected assignment and on the entry's comment and officers,
// and what the document does when a dialog reports back.
#include "common/modassignmaint.h"
#include "dialogs/frmaddofficer.h"
#include "dialogs/frmassignforward.h"
#include "dialogs/frmassignhistory.h"
#include "dialogs/frmassignroc.h"
#include "documentfixture.h"
#include "inquiry/korva_selectcustforminq.h"
#include "test_main.h"
#include "worksheet/korva_worksheet.h"

#include <QApplication>
#include <QLabel>
#include <QTimer>

using namespace korva;
using namespace korva::doctest;

namespace {

// Runs `action`; when it opens a modal dialog of type D, runs `inDialog` on it. A dialog that
// is still open afterwards is dismissed, so that a failed check cannot hang the test.
// Returns how many such dialogs opened.
template <class D>
int duringModal(const std::function<void()> &action, const std::function<void(D *)> &inDialog)
{
    int opened = 0;
    QTimer poll;
    poll.setInterval(5);
    QObject::connect(&poll, &QTimer::timeout, [&] {
        auto *dialog = qobject_cast<D *>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        poll.stop();
        ++opened;
        QPointer<D> alive(dialog);
        inDialog(dialog);
        if (alive && alive->isVisible())
            static_cast<QDialog *>(alive.data())->done(QDialog::Rejected);
    });
    poll.start();
    action();
    poll.stop();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return opened;
}

bool showsText(const QWidget *dialog, const QString &text)
{
    const QList<QLabel *> labels = dialog->findChildren<QLabel *>();
    return std::any_of(labels.begin(), labels.end(),
                       [&](const QLabel *l) { return l->text().trimmed() == text; });
}

QString rowCommandStates(Fixture &f)
{
    QString s;
    for (int i : {1, 2, 3, 4, 5})
        s += f.button(i)->isEnabled() ? u'1' : u'0';
    return s;
}

RecordSetPtr officers(const QList<QList<QVariant>> &rows)
{
    return table(QStringLiteral("OFFICER"), "INSP_ID:i INSP_NME_LST INSP_NME_FRST INSP_NME_MDL_INT",
                 rows);
}

QString listedOfficers(Fixture &f)
{
    const RecordSet &list = *f.doc().entry->adoOfficers->recordSet();
    QStringList ids;
    for (int row = 0; row < list.count(); ++row)
        ids.append(list.textAt(row, list.fieldIndex(u"INSP_ID")));
    return ids.join(u' ');
}

// A refund-request row (type 900) of the list with the refund columns the server adds.
RecordSetPtr refundRows(const QString &assignmentStatus, const QString &refundNumber)
{
    return table(QStringLiteral("ASSIGNMENT"),
                 "ASGNMT_NBR:i ASGNMT_TYP_CD ASGNMT_STTS_CD OFCR_FRM_ID:i OFCR_TO_ID:i "
                 "OFCR_CRTR_ID:i HIST_CNT:i CUST_ID CUST_NM PRPRD_DT RFND_NBR RFND_AMT STTS_CD",
                 {{77, QStringLiteral("900"), assignmentStatus, 1002, 1001, 1002, 0,
                   QStringLiteral("C-100"), QStringLiteral("ACME"), QStringLiteral("2026-11-01"),
                   refundNumber, QStringLiteral("120.00"), QStringLiteral(" 1 ")}});
}

} // namespace

class TestDocumentCommands : public QObject {
    Q_OBJECT
private slots:
    void dispatchRunsTheCommandThenDisablesTheRowCommands_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("message");
        QTest::addColumn<int>("requests");
        QTest::newRow("search") << 0 << QString() << 1;
        QTest::newRow("history") << 5 << QString() << 1;
        QTest::newRow("select document")
            << 6 << QStringLiteral("Reference Account Type must be selected to search.") << 0;
        QTest::newRow("copy") << 9 << QStringLiteral("No comments available to copy.") << 0;
        QTest::newRow("paste") << 10 << QStringLiteral("No comments available to paste.") << 0;
        QTest::newRow("spell check") << 11 << QStringLiteral("The Spell Check is complete.") << 0;
    }
    void dispatchRunsTheCommandThenDisablesTheRowCommands()
    {
        QFETCH(int, index);
        QFETCH(QString, message);
        QFETCH(int, requests);
        Fixture f;
        f.showWith({{.number = 1041}});
        f.clickRow(0);
        QCOMPARE(rowCommandStates(f), QStringLiteral("11101"));
        const int before = f.sentCount();
        f.button(index)->click();
        QCOMPARE(f.sentCount() - before, requests);
        QCOMPARE(f.boxes().isEmpty() ? QString() : f.boxes().last().prompt, message);
        QCOMPARE(rowCommandStates(f), QStringLiteral("00000"));
        QCOMPARE(f.reports(), QString());
    }

    void closeIsForClosersCreatorsOrOpenTypes_data()
    {
        QTest::addColumn<bool>("closer");
        QTest::addColumn<QString>("type");
        QTest::addColumn<int>("creator");
        QTest::addColumn<bool>("opens");
        QTest::newRow("closer, creator-closes type, other creator")
            << true << QStringLiteral("007") << 1002 << true;
        QTest::newRow("not a closer, creator-closes type, other creator")
            << false << QStringLiteral("007") << 1002 << false;
        QTest::newRow("not a closer, creator-closes type, own")
            << false << QStringLiteral("007") << 1001 << true;
        QTest::newRow("not a closer, any type, other creator")
            << false << QStringLiteral("001") << 1002 << true;
    }
    void closeIsForClosersCreatorsOrOpenTypes()
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
        QString mode;
        const int opened =
            duringModal<frmAssignROC>([&] { QTest::mouseClick(f.button(3), Qt::LeftButton); },
                                      [&](frmAssignROC *d) {
                                          mode = d->mode();
                                          emit d->SendCancel();
                                      });
        QCOMPARE(opened, opens ? 1 : 0);
        if (opens) {
            QCOMPARE(mode, QStringLiteral("CLOSE"));
            QCOMPARE(f.boxes().size(), 0);
        } else {
            QCOMPARE(f.boxes().size(), 1);
            QCOMPARE(f.boxes().last().prompt,
                     QStringLiteral("You are not authorized to close this assignment.\r\nIt can "
                                    "only be closed by the assignment creator."));
            QCOMPARE(f.boxes().last().style, 1);
            QCOMPARE(f.boxes().last().title, modMessageTitle::MessageTitle());
        }
    }

    // Reply and reopen hand over the selected row in their mode; OK lists again, Cancel not.
    void replyReopenAndCloseReportBack_data()
    {
        QTest::addColumn<int>("button");
        QTest::addColumn<QString>("status");
        QTest::addColumn<QString>("mode");
        QTest::addColumn<bool>("ok");
        QTest::newRow("reply, OK") << 2 << QStringLiteral("O") << QStringLiteral("REPLY") << true;
        QTest::newRow("reply, cancel")
            << 2 << QStringLiteral("O") << QStringLiteral("REPLY") << false;
        QTest::newRow("reopen, OK") << 4 << QStringLiteral("C") << QStringLiteral("OPEN") << true;
        QTest::newRow("reopen, cancel")
            << 4 << QStringLiteral("C") << QStringLiteral("OPEN") << false;
        QTest::newRow("close, OK") << 3 << QStringLiteral("O") << QStringLiteral("CLOSE") << true;
    }
    void replyReopenAndCloseReportBack()
    {
        QFETCH(int, button);
        QFETCH(QString, status);
        QFETCH(QString, mode);
        QFETCH(bool, ok);
        Fixture f;
        f.showWith({{.number = 1040},
                    {.number = 1041, .status = status, .subject = QStringLiteral("Receipt")}});
        f.clickRow(1);
        const int before = f.sentCount();
        QPointer<frmAssignROC> dialog;
        const int opened = duringModal<frmAssignROC>(
            [&] { QTest::mouseClick(f.button(button), Qt::LeftButton); },
            [&](frmAssignROC *d) {
                dialog = d;
                QCOMPARE(d->mode(), mode);
                QVERIFY(showsText(d, QStringLiteral("Receipt"))); // the selected row
                QCOMPARE(d->parentWidget(), &f.doc());
                if (ok)
                    emit d->SendOK();
                else
                    emit d->SendCancel();
            });
        QCOMPARE(opened, 1);
        QVERIFY(!dialog); // unloaded and released either way
        QCOMPARE(f.sentCount() - before, ok ? 1 : 0);
        if (ok)
            QCOMPARE(f.lastRequest().kind(), 62);
        QCOMPARE(f.reports(), QString());
    }

    void forwardTakesTheSelectedTypesDayCounts()
    {
        Fixture f;
        f.showWith({{.number = 1041, .type = QStringLiteral("7")}}); // formatted to "007"
        f.clickRow(0);
        modAssignMaint::componentDayCounts() = {};
        QPointer<frmAssignForward> dialog;
        const int opened = duringModal<frmAssignForward>(
            [&] { QTest::mouseClick(f.button(1), Qt::LeftButton); },
            [&](frmAssignForward *d) {
                dialog = d;
                QCOMPARE(modAssignMaint::componentDayCounts().DueDayCount, qint16(5));
                QCOMPARE(modAssignMaint::componentDayCounts().ExpirationDayCount, qint16(15));
                emit d->SendOK();
            });
        QCOMPARE(opened, 1);
        QVERIFY(!dialog);
        QCOMPARE(f.sentCount(), 2); // the list again
        QCOMPARE(f.reports(), QString());
    }

    void historyIsAskedForAndShown()
    {
        Fixture f;
        f.showWith({{.number = 1040},
                    {.number = 1041, .history = 2, .subject = QStringLiteral("Receipt")}});
        f.clickRow(1);
        QTest::mouseClick(f.button(5), Qt::LeftButton);
        const BrokerRequest &asked = f.lastRequest();
        QCOMPARE(asked.kind(), 62);
        QCOMPARE(asked.keyValue(u"ASGNMT_NBR"), QStringLiteral("1041"));
        QCOMPARE(asked.keyValue(u"HISTORY"), QStringLiteral("YES"));
        QCOMPARE(asked.parameters().size(), 2);
        QCOMPARE(f.doc().readBack(), asked.readBack());
        QVERIFY(f.doc().historyPending());
        QVERIFY(!f.grid()->isEnabled());

        const RecordSetPtr history = table(
            QStringLiteral("ASSIGNMENT"),
            "ASGNMT_NBR:i ASGNMT_STTS_CD OFCR_FRM_ID:i OFCR_TO_ID:i ASGNMT_CMMT_TXT LST_UPDT_TS",
            {{1041, QStringLiteral("O"), 1002, 1001, QStringLiteral("first"),
              QStringLiteral("2026-11-01 10:00:00")},
             {1041, QStringLiteral("F"), 1001, 1003, QStringLiteral("second"),
              QStringLiteral("2026-11-02 10:00:00")}});
        int shownRows = -1;
        bool listUsable = false;
        const int opened = duringModal<frmAssignHistory>(
            [&] { f.tp.fakeBroker.replyGood({history}); },
            [&](frmAssignHistory *d) {
                shownRows = d->grdHistory->rowCount();
                listUsable = f.grid()->isEnabled() && !f.doc().historyPending();
                QVERIFY(showsText(d, QStringLiteral("Receipt")));
                QTest::mouseClick(d->cmdOK, Qt::LeftButton);
            });
        QCOMPARE(opened, 1);
        QCOMPARE(shownRows, 2);
        QVERIFY(listUsable);
        QCOMPARE(f.grid()->rowCount(), 2); // the list keeps its own rows
        QCOMPARE(f.grid()->text(1, QStringLiteral("ASGNMT_NBR")), QStringLiteral("1041"));
        QVERIFY(f.doc().findChildren<frmAssignHistory *>().isEmpty());
        QCOMPARE(f.reports(), QString());
    }

    void aFailedHistoryQueryFreesTheList()
    {
        Fixture f;
        f.showWith({{.number = 1041}});
        f.clickRow(0);
        QTest::mouseClick(f.button(5), Qt::LeftButton);
        f.tp.fakeBroker.replyBad(QStringLiteral("No history."));
        QVERIFY(!f.doc().historyPending());
        QVERIFY(f.grid()->isEnabled());
        // The next list reply is a list again, not a history.
        QTest::mouseClick(f.button(0), Qt::LeftButton);
        const int opened = duringModal<frmAssignHistory>(
            [&] {
                f.tp.fakeBroker.replyGood({assignments({{.number = 7}, {.number = 8}})});
            },
            [](frmAssignHistory *) {});
        QCOMPARE(opened, 0);
        QCOMPARE(f.grid()->rowCount(), 2);
    }

    void chosenOfficersJoinTheListOnceSortedByName()
    {
        Fixture f;
        f.fill(QStringLiteral("officers=1003"));
        f.box(1)->setText(QStringLiteral("9999"));
        f.tp.fieldMarks.MarkFieldError(f.box(1));
        RecordSetPtr handed;
        const int opened = duringModal<frmAddOfficer>(
            [&] { QTest::mouseClick(f.button(7), Qt::LeftButton); },
            [&](frmAddOfficer *d) {
                handed = f.doc().entry->adoOfficers->recordSet();
                emit d->SendOK(officers({{1005, QStringLiteral("Adams"), QStringLiteral("Ann")},
                                         {1003, QStringLiteral("Last1003"), QStringLiteral("F")},
                                         {1004, QStringLiteral("Zed"), QStringLiteral("Zoe")},
                                         {1005, QStringLiteral("Adams"), QStringLiteral("Ann")}}));
            });
        QCOMPARE(opened, 1);
        QCOMPARE(listedOfficers(f), QStringLiteral("1005 1003 1004"));
        QCOMPARE(f.doc().entry->grdOfficers->text(0, QStringLiteral("NAME")).isEmpty(), false);
        QCOMPARE(f.box(1)->text(), QString());
        QVERIFY(!f.tp.fieldMarks.isMarked(f.box(1)));
        QVERIFY(handed); // the dialog was given the list it searches

        // Nothing chosen changes nothing; Clear empties the list and keeps its layout.
        duringModal<frmAddOfficer>([&] { QTest::mouseClick(f.button(7), Qt::LeftButton); },
                                   [&](frmAddOfficer *d) { emit d->SendOK(officers({})); });
        QCOMPARE(listedOfficers(f), QStringLiteral("1005 1003 1004"));
        QTest::mouseClick(f.button(8), Qt::LeftButton);
        const RecordSetPtr cleared = f.doc().entry->adoOfficers->recordSet();
        QCOMPARE(cleared->name(), QStringLiteral("OFFICER"));
        QCOMPARE(cleared->count(), 0);
        QVERIFY(cleared->hasField(u"INSP_NME_MDL_INT"));
        QCOMPARE(f.reports(), QString());
    }

    void copyAndPasteTheComment()
    {
        Fixture f;
        f.entry();
        auto click = [&](int i) {
            QTest::mouseClick(f.button(i), Qt::LeftButton);
        };
        f.comment()->setPlainText(QStringLiteral("   "));
        click(9);
        QCOMPARE(f.boxes().last().prompt, QStringLiteral("No comments available to copy."));
        QCOMPARE(f.boxes().last().style, 64);

        f.comment()->setPlainText(QStringLiteral("Check the receipt."));
        click(9);
        QCOMPARE(f.tp.memoryClipboard.content, QStringLiteral("Check the receipt."));

        f.tp.memoryClipboard.content = QStringLiteral(" \n ");
        click(10);
        QCOMPARE(f.boxes().last().prompt, QStringLiteral("No comments available to paste."));
        QCOMPARE(f.boxes().last().style, 64);
        QCOMPARE(f.boxes().size(), 2);

        f.tp.memoryClipboard.content = QStringLiteral("  And the bank slip.  ");
        click(10);
        QCOMPARE(f.comment()->toPlainText(),
                 QStringLiteral("Check the receipt.\nAnd the bank slip."));
        QCOMPARE(f.beeps(), 0);

        // Past the stored length the paste is cut off, with a beep.
        f.tp.memoryClipboard.content = QString(1990, u'x');
        click(10);
        QCOMPARE(f.comment()->toPlainText().size(), 2000);
        QVERIFY(f.comment()->toPlainText().startsWith(QStringLiteral("Check the receipt.\n")));
        QCOMPARE(f.beeps(), 1);
        QCOMPARE(f.reports(), QString());
    }

    void spellCheckReplacesTheCommentOrSaysWhyNot()
    {
        Fixture f;
        f.entry();
        f.tp.spellChecking.correct = [](const QString &text) {
            return QString(text).replace(QStringLiteral("teh"), QStringLiteral("the"));
        };
        f.comment()->setPlainText(QStringLiteral("Check teh receipt."));
        QTest::mouseClick(f.button(11), Qt::LeftButton);
        QCOMPARE(f.tp.spellChecking.createdNames,
                 QStringList{QStringLiteral("TAVROUtilities.Dictionary")});
        QCOMPARE(f.tp.spellChecking.checkedTexts,
                 QStringList{QStringLiteral("Check teh receipt.")});
        QCOMPARE(f.comment()->toPlainText(), QStringLiteral("Check the receipt."));
        QCOMPARE(f.boxes().last().prompt, QStringLiteral("The Spell Check is complete."));
        QCOMPARE(f.boxes().last().style, 64);

        f.tp.spellChecking.available = false;
        QTest::mouseClick(f.button(11), Qt::LeftButton);
        QCOMPARE(f.boxes().size(), 2);
        QCOMPARE(f.boxes().last().prompt, f.tp.spellChecking.unavailableReason);
        QCOMPARE(f.boxes().last().style, 48);
        QCOMPARE(f.comment()->toPlainText(), QStringLiteral("Check the receipt."));
        QCOMPARE(f.reports(), QString());
    }

    void selectDocumentNeedsTheReferenceType()
    {
        Fixture f;
        f.entry();
        const int none = duringModal<KORVA_SelectCustFormInq>(
            [&] { QTest::mouseClick(f.button(6), Qt::LeftButton); },
            [](KORVA_SelectCustFormInq *) {});
        QCOMPARE(none, 0);
        QCOMPARE(f.boxes().last().prompt,
                 QStringLiteral("Reference Account Type must be selected to search."));
        QCOMPARE(f.boxes().last().style, 48);

        // With a type the look-up opens; leaving it without a choice keeps the typed number.
        f.combo(1)->selectCode(QStringLiteral("CIT"));
        f.box(0)->setText(QStringLiteral("1234567"));
        const int opened = duringModal<KORVA_SelectCustFormInq>(
            [&] { QTest::mouseClick(f.button(6), Qt::LeftButton); },
            [](KORVA_SelectCustFormInq *d) { d->reject(); });
        QCOMPARE(opened, 1);
        QCOMPARE(f.box(0)->text(), QStringLiteral("1234567"));
        QCOMPARE(f.boxes().size(), 1);
    }

    void refundWorksheetOpensFromASystemGeneratedRow_data()
    {
        QTest::addColumn<QString>("status");
        QTest::addColumn<QString>("refund");
        QTest::addColumn<bool>("opens");
        QTest::newRow("no refund number") << QStringLiteral("O") << QStringLiteral("  ") << false;
        QTest::newRow("open") << QStringLiteral("O") << QStringLiteral("U000123") << true;
        QTest::newRow("closed") << QStringLiteral("C") << QStringLiteral("U000123") << true;
    }
    void refundWorksheetOpensFromASystemGeneratedRow()
    {
        QFETCH(QString, status);
        QFETCH(QString, refund);
        QFETCH(bool, opens);
        Fixture f;
        f.shown();
        f.tp.fakeBroker.replyGood({refundRows(status, refund)});
        const int before = f.sentCount();
        QString askedFor;
        const int opened = duringModal<KORVA_WorkSheet>(
            [&] {
                const QRect r = f.grid()->visualRect(f.grid()->model()->index(0, 1));
                // The press and release of the first click come before the double-click.
                QTest::mouseClick(f.grid()->viewport(), Qt::LeftButton, {}, r.center());
                QTest::mouseDClick(f.grid()->viewport(), Qt::LeftButton, {}, r.center());
            },
            [&](KORVA_WorkSheet *d) {
                askedFor = f.lastRequest().keyValue(u"REFUND_NBR");
                QCOMPARE(d->CustomerID(), QStringLiteral("C-100"));
                QCOMPARE(d->statusCode(), QStringLiteral("1")); // trimmed
                // A closed assignment's worksheet is for reading: its save stays off.
                QCOMPARE(d->mCmdButton[0]->isEnabled(), status == u"O");
                d->SetSavedVoidedFlag(true); // as after a save: the list is asked for again
                d->close();
            });
        QCOMPARE(opened, opens ? 1 : 0);
        if (opens) {
            QCOMPARE(askedFor, QStringLiteral("U000123"));
            QCOMPARE(f.lastRequest().kind(), 62);
            QCOMPARE(f.sentCount() - before, 2);
        } else {
            QCOMPARE(f.boxes().last().prompt,
                     QStringLiteral("Refund Worksheet is available only for system generated "
                                    "Assignments."));
            QCOMPARE(f.boxes().last().style, 48);
            QCOMPARE(f.sentCount(), before);
        }
    }
};

KORVA_TEST_MAIN(TestDocumentCommands)
#include "tst_documentcommands.moc"
