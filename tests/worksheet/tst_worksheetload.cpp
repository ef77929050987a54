// Opening the refund worksheet: the controls of each status, the details request and reply,
// a new refund's number, and what a refused or timed-out reply leaves behind.
#include "test_main.h"
#include "worksheetfixture.h"

using namespace korva;
using namespace korva::wstest;

class TestWorksheetLoad : public QObject {
    Q_OBJECT
private slots:
    void statusTableSetsTheControls_data();
    void statusTableSetsTheControls();
    void detailsRequestAndReplyFillTheForm();
    void othersRepliesAndRefusedDetails();
    void refusedSaveStepsTheStatusBack_data();
    void refusedSaveStepsTheStatusBack();
    void timeOutsExplainThemselves();
    void aSaveKeepsItsKeyOnlyAcrossATimeOut();
    void newRefundAsksForItsNumber();
    void closeButtonUnloadsTheForm();
};

void TestWorksheetLoad::statusTableSetsTheControls_data()
{
    QTest::addColumn<QString>("status");
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("visible");  // mail picker, issue frame: 'x' hidden, 's' shown off,
                                           // 'o' shown and on
    QTest::addColumn<QString>("buttons");  // save, void, print: '1' on, '0' off
    QTest::addColumn<int>("officerLabel"); // the label given the signed-on officer, or -1

    struct Row {
        const char *name, *status, *mode, *visible, *buttons;
        int officerLabel;
    };
    for (const Row &r : {
             Row{"0 prepared here", "0", "O", "xx", "110", 7},
             Row{"unlisted code", "Q", "R", "xx", "110", 7},
             Row{"1 verify", "1", "O", "xx", "110", 8},
             Row{"1 read only", "1", "R", "xx", "010", 8},
             Row{"2 approve", "2", "O", "xx", "110", 9},
             Row{"3 issue", "3", "O", "xo", "110", 10},
             Row{"3 read only", "3", "R", "xx", "010", 10},
             Row{"4 mail", "4", "O", "os", "100", -1},
             Row{"4 read only", "4", "R", "os", "000", -1},
             Row{"5 mailed", "5", "O", "ss", "001", -1},
             Row{"T transferred", "T", "O", "ss", "101", -1},
             Row{"V voided, lower case", " v", "O", "ss", "001", -1},
         })
        QTest::newRow(r.name) << QString::fromLatin1(r.status) << QString::fromLatin1(r.mode)
                              << QString::fromLatin1(r.visible) << QString::fromLatin1(r.buttons)
                              << r.officerLabel;
}

void TestWorksheetLoad::statusTableSetsTheControls()
{
    QFETCH(QString, status);
    QFETCH(QString, mode);
    QFETCH(QString, visible);
    QFETCH(QString, buttons);
    QFETCH(int, officerLabel);
    Fixture f;
    f.sheet->LoadMe(QStringLiteral("400000001"), status, QStringLiteral("42"), mode);

    auto state = [&](QWidget *w) {
        if (!w->isVisibleTo(f.sheet.get()))
            return u'x';
        return w->isEnabled() ? u'o' : u's';
    };
    QCOMPARE(QString(state(f.dtp(1))) + state(f.frame(2)), visible);
    QCOMPARE(f.find<QGroupBox>("mFra", 1)->isVisibleTo(f.sheet.get()),
             f.frame(2)->isVisibleTo(f.sheet.get()));
    auto on = [&](int i) {
        return f.button(i)->isEnabled() ? u'1' : u'0';
    };
    QCOMPARE(QString(on(0)) + on(2) + on(3), buttons);
    for (int i = 7; i <= 10; ++i)
        QCOMPARE(f.label(i)->text(), i == officerLabel ? QStringLiteral("1001") : QString());
    if (officerLabel > 0)
        QCOMPARE(f.find<QLabel>("mLblOfficerName", officerLabel - 7)->text(),
                 QStringLiteral("DOE, JANE Q."));
    QCOMPARE(f.sheet->statusCode(), status.trimmed().toUpper());
    // After the reply a worksheet opened for reading can no longer be saved.
    const bool saveBefore = f.button(0)->isEnabled();
    f.tp.fakeBroker.replyGood({refundRecord(refundAt(status.trimmed().toUpper()))});
    QCOMPARE(f.button(0)->isEnabled(), saveBefore && mode == u"O");
}

void TestWorksheetLoad::detailsRequestAndReplyFillTheForm()
{
    Fixture f;
    f.sheet->LoadMe(QStringLiteral("400000001"), QStringLiteral("1"), QStringLiteral("42"),
                    QStringLiteral("O"));
    QCOMPARE(f.tp.fakeBroker.sent.size(), 1);
    const BrokerRequest &r = f.tp.fakeBroker.last().request;
    QCOMPARE(r.messageId(), QStringLiteral("KORVAWorkSheet"));
    QCOMPARE(r.kind(), 74);
    QCOMPARE(r.version(), QStringLiteral("1.0"));
    QCOMPARE(r.parameters(),
             (QList<RequestParameter>{{QStringLiteral("PAXHOLME"), QStringLiteral("key:CUST_ID"),
                                       QStringLiteral("="), QStringLiteral("400000001")},
                                      {QStringLiteral("PAXHOLME"), QStringLiteral("key:REFUND_NBR"),
                                       QStringLiteral("="), QStringLiteral("42")}}));
    QCOMPARE(f.sheet->pendingMessageId(), r.readBack());
    QCOMPARE(f.tp.statusBar.last(),
             QStringLiteral("Requesting Worksheet Details for Refund number 42"));

    Values v = refundAt(QStringLiteral("1"));
    replace(v, QStringLiteral("TO"), QStringLiteral("3"));
    replace(v, QStringLiteral("RFND_CD"), QStringLiteral("1"));
    replace(v, QStringLiteral("RFND_DT"), QDate(2026, 10, 3));
    replace(v, QStringLiteral("DT_MLD"), QDate(2026, 10, 9));
    replace(v, QStringLiteral("WRNT_NBR"), QStringLiteral("W7"));
    replace(v, QStringLiteral("QRT_CMMT_TXT"), QStringLiteral("one\ntwo\r\nthree"));
    replace(v, QStringLiteral("ADDR_2"), QVariant());
    f.tp.fakeBroker.replyGood({refundRecord(v)});

    QCOMPARE(f.label(0)->text(), QStringLiteral("42"));
    QCOMPARE(f.label(1)->text(), QStringLiteral("Harbour Supplies Ltd"));
    QCOMPARE(f.label(2)->text(), QStringLiteral("12 Quay Street"));
    QCOMPARE(f.label(3)->text() + f.label(4)->text() + f.label(5)->text(),
             QStringLiteral("PortsmouthNH03801"));
    QCOMPARE(f.label(6)->text(), QStringLiteral("$12,000.00"));
    QCOMPARE(f.label(7)->text(), QStringLiteral("1002"));
    QCOMPARE(f.label(8)->text(), QStringLiteral("1001")); // kept: the reply names no verifier
    QCOMPARE(f.label(11)->text(), QStringLiteral("PREPARED"));
    QCOMPARE(f.label(12)->text(), QStringLiteral("R0000042"));
    QCOMPARE(f.sheet->CustomerID(), QStringLiteral("400000001"));
    QVERIFY(f.rdo(3)->isChecked() && f.rdo(1)->isChecked());
    QCOMPARE(f.dtp(0)->date(), QDate(2026, 10, 3));
    QCOMPARE(f.dtp(1)->date(), QDate(2026, 10, 9));
    QCOMPARE(f.warrant()->text(), QStringLiteral("W7"));
    // Line ends arrive mixed; the comment is sent back with CRLF throughout.
    QCOMPARE(f.text(0)->toPlainText(), QStringLiteral("one\ntwo\nthree"));
    QVERIFY(f.tp.statusBar.texts.contains(
        QStringLiteral("Display Refund Worksheet Details for Refund number 42")));
    QCOMPARE(f.tp.statusBar.last(), QStringLiteral("Ready"));
    QVERIFY(f.button(0)->isEnabled() && f.button(1)->isEnabled());
    QVERIFY(f.tp.boxes.shown.isEmpty() && f.tp.reporter.reports.isEmpty());

    // A receiver code that names no option is a reported failure, not a crash.
    Fixture g;
    Values bad = refundAt(QStringLiteral("1"));
    replace(bad, QStringLiteral("TO"), QStringLiteral("9"));
    g.load(QStringLiteral("1"), QStringLiteral("O"), bad);
    QCOMPARE(g.tp.reporter.reports.size(), 1);
    QCOMPARE(g.tp.reporter.reports[0].source,
             QStringLiteral("KORVA_WorkSheet.FillRefundWorkSheetInfo"));
}

void TestWorksheetLoad::othersRepliesAndRefusedDetails()
{
    Fixture f;
    f.sheet->LoadMe(QStringLiteral("400000001"), QStringLiteral("1"), QStringLiteral("42"),
                    QStringLiteral("O"));
    f.tp.fakeBroker.replyForeign(QStringLiteral("KORVA_AssignMaint"));
    QCOMPARE(f.label(0)->text(), QString());
    QCOMPARE(f.tp.statusBar.last(),
             QStringLiteral("Requesting Worksheet Details for Refund number 42"));

    // The answer to an earlier request, arriving after a newer one went out, is stale.
    Fixture g;
    g.sheet->LoadMe(QStringLiteral("400000001"), QStringLiteral("1"), QStringLiteral("42"),
                    QStringLiteral("O"));
    g.tp.fakeBroker.replyGood({refundRecord(refundAt(QStringLiteral("1")))});
    g.text(0)->setPlainText(QStringLiteral("checked"));
    QVERIFY(g.sheet->SaveData());
    g.tp.fakeBroker.replyGood({refundRecord(refundAt(QStringLiteral("9")))}, 0);
    QCOMPARE(g.label(11)->text(), QStringLiteral("PREPARED"));
    QVERIFY(g.sheet->savePending());

    Fixture h;
    h.sheet->LoadMe(QStringLiteral("400000001"), QStringLiteral("0"), QStringLiteral("42"),
                    QStringLiteral("R"));
    h.tp.fakeBroker.replyBad(QStringLiteral("Refund 42 is not known."));
    QCOMPARE(h.boxTexts(), QStringList{QStringLiteral("Refund 42 is not known.")});
    QCOMPARE(h.tp.boxes.shown[0].style, MsgStyle::Critical);
    QVERIFY(h.tp.statusBar.texts.contains(QStringLiteral("Search was not successful")));
    QVERIFY(!h.button(0)->isEnabled());
}

void TestWorksheetLoad::refusedSaveStepsTheStatusBack_data()
{
    QTest::addColumn<QString>("status");
    QTest::addColumn<bool>("transferred");
    QTest::addColumn<bool>("fromOutside");
    QTest::addColumn<QString>("sent");
    QTest::addColumn<QString>("after");

    struct Row {
        const char *name, *status;
        bool transferred, fromOutside;
        const char *sent, *after;
    };
    for (const Row &r : {
             Row{"1 back to 1", "1", false, false, "2", "1"},
             Row{"2 back to 2", "2", false, false, "3", "2"},
             Row{"3 refunded back to 3", "3", false, false, "4", "3"},
             Row{"3 transferred back to 3", "3", true, false, "T", "3"},
             Row{"4 back to 4", "4", false, false, "5", "4"},
             Row{"loaded from outside: left advanced", "2", false, true, "3", "3"},
         })
        QTest::newRow(r.name) << QString::fromLatin1(r.status) << r.transferred << r.fromOutside
                              << QString::fromLatin1(r.sent) << QString::fromLatin1(r.after);
}

void TestWorksheetLoad::refusedSaveStepsTheStatusBack()
{
    QFETCH(QString, status);
    QFETCH(bool, transferred);
    QFETCH(bool, fromOutside);
    QFETCH(QString, sent);
    QFETCH(QString, after);
    Fixture f;
    f.load(status);
    f.sheet->SetLoadedFromOutSide(fromOutside);
    if (transferred) {
        f.rdo(0)->setChecked(true);
        f.text(1)->setPlainText(QStringLiteral("To next year"));
    } else if (status == u"3") {
        f.rdo(1)->setChecked(true);
        f.warrant()->setText(QStringLiteral("W1"));
    }
    f.button(0)->click();
    QVERIFY2(f.sheet->errorText().isEmpty(), qPrintable(f.sheet->errorText()));
    QCOMPARE(f.sheet->statusCode(), sent);
    QVERIFY(f.sheet->GetSavedVoidedFlag());
    QVERIFY(!f.button(0)->isEnabled() && !f.button(1)->isEnabled());
    f.tp.fakeBroker.replyBad(QStringLiteral("Refund 42 was changed by someone else."));
    QCOMPARE(f.sheet->statusCode(), after);
    QCOMPARE(f.sheet->GetSavedVoidedFlag(), !fromOutside);
    QCOMPARE(f.boxTexts(), QStringList{QStringLiteral("Refund 42 was changed by someone else.")});
    // The user may try again unless the refused save still counts as saved.
    QCOMPARE(f.button(0)->isEnabled(), fromOutside);
    QVERIFY(f.button(1)->isEnabled());

    // A refused void never moves the status.
    Fixture g;
    g.load(QStringLiteral("2"));
    g.sheet->SetLoadedFromOutSide(false);
    g.button(2)->click();
    QCOMPARE(g.sheet->action(), QStringLiteral("VOID"));
    g.tp.fakeBroker.replyBad(QStringLiteral("no"));
    QCOMPARE(g.sheet->statusCode(), QStringLiteral("2"));
    QCOMPARE(g.sheet->action(), QString());
}

void TestWorksheetLoad::timeOutsExplainThemselves()
{
    // A save that times out: the form is tidied for closing.
    Fixture f;
    f.load(QStringLiteral("0"));
    f.rdo(4)->setChecked(true);
    f.text(0)->setPlainText(QStringLiteral("checked"));
    f.button(0)->click();
    QCOMPARE(f.sheet->action(), QStringLiteral("ISSUE"));
    f.tp.fakeBroker.timeoutThenBad();
    QCOMPARE(f.boxTexts(),
             QStringList{QStringLiteral("The message broker did not answer in time.")});
    QCOMPARE(f.tp.statusBar.last(), QStringLiteral("Search timed out"));
    QCOMPARE(f.sheet->action(), QString());
    QVERIFY(!f.button(0)->isEnabled());
    QVERIFY(f.button(1)->isEnabled() && f.button(3)->isEnabled());
    QVERIFY(!f.sheet->savePending());

    // A new refund's number that times out.
    Fixture g;
    g.sheet->show();
    QVERIFY(g.sheet->numberPending());
    g.tp.fakeBroker.timeoutThenBad();
    QCOMPARE(g.boxTexts().last(), QStringLiteral("System could not generate refund number right "
                                                 "now.\r\nPlease try again later."));
    QVERIFY(!g.sheet->numberPending());
    QCOMPARE(g.label(0)->text(), QStringLiteral("0000000"));
    QCOMPARE(g.tp.statusBar.last(), QStringLiteral("Search timed out"));
    // An empty id never replaces one; the number left at "0000000" is refused by the checks.
    g.sheet->setCustomerID(QStringLiteral("400000001"));
    g.sheet->setCustomerID(QString());
    QCOMPARE(g.sheet->CustomerID(), QStringLiteral("400000001"));
}

// A step whose save timed out may have been applied: the same step saved again (here from a
// worksheet opened anew) repeats its key, so the server answers it without a second step.
// After a refusal the same step is a new try with a new key.
void TestWorksheetLoad::aSaveKeepsItsKeyOnlyAcrossATimeOut()
{
    auto saveStep = [](auto answer) {
        Fixture f;
        f.load(QStringLiteral("1"));
        f.button(0)->click();
        const QString key = f.tp.fakeBroker.last().request.requestKey();
        answer(f);
        return key;
    };
    const QString first = saveStep([](Fixture &f) { f.tp.fakeBroker.timeoutThenBad(); });
    QVERIFY(!first.isEmpty());
    QCOMPARE(saveStep([](Fixture &f) { f.tp.fakeBroker.replyBad(QStringLiteral("no")); }), first);
    const QString afterRefusal = saveStep([](Fixture &f) { f.tp.fakeBroker.replyGood(); });
    QVERIFY(afterRefusal != first);
}

void TestWorksheetLoad::newRefundAsksForItsNumber()
{
    Fixture f;
    f.sheet->show();
    QCOMPARE(f.label(0)->text(), QStringLiteral("0000000"));
    QCOMPARE(f.tp.formServices.numberRequests.size(), 1);
    QCOMPARE(f.tp.formServices.numberRequests[0].kind, QStringLiteral("U"));
    QCOMPARE(f.tp.formServices.numberRequests[0].service, QStringLiteral("KORVAWORKSHEET"));
    QCOMPARE(f.sheet->pendingMessageId(), f.tp.fakeBroker.last().request.readBack());
    QCOMPARE(f.label(7)->text(), QStringLiteral("1001"));
    QCOMPARE(f.label(11)->text(), QStringLiteral("IN PREPARATION"));
    QVERIFY(f.rdo(2)->isEnabled() && f.text(0)->isEnabled());
    QVERIFY(!f.dtp(1)->isVisible() && !f.frame(2)->isVisible());
    QCOMPARE(f.dtp(0)->date(), f.tp.fixedClock.today());
    f.tp.fakeBroker.replyGood({testkit::makeRecordSet(
        QStringLiteral("REQ"), {{QStringLiteral("U"), FieldType::Integer}}, {{57}})});
    QVERIFY(!f.sheet->numberPending());
    QCOMPARE(f.label(0)->text(), QStringLiteral("0000057"));

    // A reply without the number leaves "0000000", which the checks refuse.
    Fixture g;
    g.sheet->show();
    g.tp.fakeBroker.replyGood();
    QCOMPARE(g.label(0)->text(), QStringLiteral("0000000"));
    QVERIFY(!g.sheet->numberPending());

    // Numbers already at hand: the last one is taken at once.
    Fixture h;
    h.tp.formServices.numbersAtHand = {QStringLiteral("5"), QStringLiteral("9")};
    h.sheet->show();
    QCOMPARE(h.label(0)->text(), QStringLiteral("0000009"));
    QVERIFY(!h.sheet->numberPending());

    // A worksheet loaded from outside never asks for a number.
    Fixture k;
    k.sheet->LoadMe(QStringLiteral("400000001"), QStringLiteral("0"), QStringLiteral("0"),
                    QStringLiteral("O"));
    k.sheet->show();
    QVERIFY(k.tp.formServices.numberRequests.isEmpty());
}

void TestWorksheetLoad::closeButtonUnloadsTheForm()
{
    Fixture f;
    f.load(QStringLiteral("5"));
    f.sheet->show();
    f.button(1)->click();
    QVERIFY(!f.sheet->isVisible());
    QCOMPARE(f.sheet->result(), int(QDialog::Rejected));
    QCOMPARE(f.tp.statusBar.last(), QStringLiteral("Ready"));
    // The reply store no longer holds the worksheet's answer.
    QVERIFY(!f.sheet->mZelbMessage->reply(QStringLiteral("KORVAWorkSheet")));
}

KORVA_TEST_MAIN(TestWorksheetLoad)
#include "tst_worksheetload.moc"
