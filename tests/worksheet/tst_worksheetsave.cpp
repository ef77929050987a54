// The checks before a save (every message, in its order, with its marks) and the REFUND record
// each step sends, field by field, the void's record among them.
#include "test_main.h"
#include "worksheetfixture.h"

#include <functional>

using namespace korva;
using namespace korva::wstest;

namespace {

using Setup = std::function<void(Fixture &)>;

// Controls a test names by letter in its expected marks: receiver (rdo(2) stands for the
// three, marked together), comment, description, warrant, Transferred/Refunded (marked
// together), mail date, refund date, and the preparer's, verifier's, approver's and issuer's
// labels.
const QString kMarkable = QStringLiteral("rcdwomfpvai");
const QString kRestored = kMarkable.left(7);

QWidget *control(Fixture &f, QChar c)
{
    const QList<QWidget *> controls{f.rdo(2),   f.text(0),  f.text(1),  f.warrant(),
                                    f.rdo(0),   f.dtp(1),   f.dtp(0),   f.label(7),
                                    f.label(8), f.label(9), f.label(10)};
    return controls.value(kMarkable.indexOf(c));
}

// No receiver chosen, which the exclusive group alone would not allow.
void clearReceiver(Fixture &f)
{
    f.rdo(2)->setAutoExclusive(false);
    f.rdo(2)->setChecked(false);
}

QString sentFields(Fixture &f)
{
    QStringList sent;
    for (const auto &[name, value] : f.sentRecord())
        sent.append(name + u'=' + value.toString());
    return sent.join(u'\n');
}

} // namespace

Q_DECLARE_METATYPE(Setup)

class TestWorksheetSave : public QObject {
    Q_OBJECT
private slots:
    void checkEditGathersItsMessages_data();
    void checkEditGathersItsMessages();
    void failedChecksSendNothing();
    void eachStepSendsItsFields_data();
    void eachStepSendsItsFields();
    void voidSendsItsShortRecord();
    void lostFocusMarksSilently();
};

void TestWorksheetSave::checkEditGathersItsMessages_data()
{
    QTest::addColumn<QString>("status");
    QTest::addColumn<Setup>("setup");
    QTest::addColumn<QString>("messages");
    QTest::addColumn<QString>("marks");

    const QString sepPV = QStringLiteral(
        "The person preparing and verifying the Refund Worksheet can not be the same.\r\n");
    const QString sepVA = QStringLiteral(
        "The person verifying and approving the Refund Worksheet can not be the same.\r\n");
    auto officers = [](const char *p, const char *v, const char *a) {
        return Setup([=](Fixture &f) {
            f.label(7)->setText(QLatin1String(p));
            f.label(8)->setText(QLatin1String(v));
            f.label(9)->setText(QLatin1String(a));
        });
    };
    QTest::newRow("a clean step") << "2" << Setup() << QString() << QString();
    // The checks restore only the controls their rules mark with a colour of their own.
    QTest::newRow("an officer label's mark is left alone")
        << "2" << Setup([](Fixture &f) { f.tp.fieldMarks.MarkFieldError(f.label(7)); }) << QString()
        << QStringLiteral("p");
    QTest::newRow("A A B: only the first separation")
        << "2" << officers("A", "A", "B") << sepPV << QString();
    QTest::newRow("B A A: only the second separation")
        << "2" << officers("B", "A", "A") << sepVA << QString();
    QTest::newRow("A empty A: none") << "2" << officers("A", "", "A") << QString() << QString();
    QTest::newRow("no customer, no number")
        << "2" << Setup([](Fixture &f) {
               f.sheet->LoadMe(QString(), QStringLiteral("2"), QStringLiteral("42"),
                               QStringLiteral("O"));
               f.label(0)->setText(QStringLiteral("  "));
           })
        << QStringLiteral(
               "The Customer ID can not be found\r\nThe Refund Number can not be found\r\n")
        << QString();
    QTest::newRow("number 0000000")
        << "2" << Setup([](Fixture &f) { f.label(0)->setText(QStringLiteral("0000000")); })
        << QStringLiteral("The Refund Number has not been generated\r\n") << QString();
    QTest::newRow("number ABC is not checked")
        << "2" << Setup([](Fixture &f) { f.label(0)->setText(QStringLiteral("ABC")); }) << QString()
        << QString();
    // The status label shows descriptions, so this rule answers only to a bare code; it then
    // stops before the receiver and comment rules.
    QTest::newRow("status label V stops the checks")
        << "2" << Setup([](Fixture &f) {
               f.label(11)->setText(QStringLiteral("V"));
               clearReceiver(f);
               f.text(0)->clear();
           })
        << QStringLiteral("The following transaction can not be voided or saved: a "
                          "Voided/Transferred/Refunded Worksheet\r\n")
        << QString();
    QTest::newRow("no receiver, no comment")
        << "1" << Setup([](Fixture &f) {
               clearReceiver(f);
               f.text(0)->clear();
           })
        << QStringLiteral("Please select who receives the refund when issued\r\n"
                          "The comment field is required by QRT HQ personnel\r\n")
        << QStringLiteral("rc");
    QTest::newRow("a comment of blanks is a comment")
        << "1" << Setup([](Fixture &f) { f.text(0)->setPlainText(QStringLiteral("   ")); })
        << QString() << QString();
    QTest::newRow("a void skips separation and steps") << "3" << Setup([](Fixture &f) {
        f.sheet->mCmdButton_Click(2); // the void is under way until its reply
        f.label(8)->setText(QStringLiteral("1002"));
        f.label(10)->clear();
        f.sheet->CheckEdit();
    }) << QString() << QString();
    const char *steps[][3] = {
        {"0", "7", "When preparing a refund, the officer preparing the refund must be displayed."},
        {"1", "8", "When verifying a refund, the officer verifying the refund must be displayed."},
        {"2", "9", "When approving a refund, the officer approving the refund must be displayed."},
        {"3", "10",
         "When refunding an excess fund, the officer refunding the excess fund must be "
         "displayed."}};
    for (const auto &s : steps) {
        const int label = QByteArray(s[1]).toInt();
        QTest::addRow("step %s without its officer", s[0])
            << QString::fromLatin1(s[0]) << Setup([label](Fixture &f) {
                   f.label(label)->clear();
                   f.rdo(2)->setChecked(true);
                   f.text(0)->setPlainText(QStringLiteral("Checked"));
                   if (label == 10) {
                       f.rdo(1)->setChecked(true);
                       f.warrant()->setText(QStringLiteral("W1"));
                   }
               })
            << QLatin1String(s[2]) + QStringLiteral("\r\n")
            << QString(QChar(QLatin1StringView("pvai").at(label - 7)));
    }
    QTest::newRow("3 without a choice")
        << "3" << Setup() << QStringLiteral("Please select Transferred or Refunded\r\n")
        << QStringLiteral("o");
    QTest::newRow("3 transferred without description")
        << "3" << Setup([](Fixture &f) { f.rdo(0)->setChecked(true); })
        << QStringLiteral(
               "Please enter the Refund Description, when Tranferring the excess funds\r\n")
        << QString();
    QTest::newRow("3 blanks are a description and a warrant") << "3" << Setup([](Fixture &f) {
        f.rdo(0)->setChecked(true);
        f.text(1)->setPlainText(QStringLiteral(" "));
        f.warrant()->setText(QStringLiteral(" "));
        f.sheet->CheckEdit();
        QCOMPARE(f.sheet->errorText(), QString());
        f.rdo(1)->setChecked(true);
    }) << QString() << QString();
    QTest::newRow("3 refunded: no warrant and a future refund date")
        << "3" << Setup([](Fixture &f) {
               f.rdo(1)->setChecked(true);
               f.dtp(0)->setValue(QDate(2026, 11, 23));
           })
        << QStringLiteral("Please enter the Warrant Number, when Refunding the worksheet\r\n"
                          "Refund Date must be current or before\r\n")
        << QString();
    // The dates compare as mm-dd-yy texts: January 2006 sorts before December 2005.
    QTest::newRow("4 mail date after the refund date, by text before it")
        << "4" << Setup([](Fixture &f) {
               f.dtp(0)->setValue(QDate(2005, 12, 15));
               f.dtp(1)->setValue(QDate(2006, 1, 5));
           })
        << QStringLiteral("Mail Date must be greater than or equal to the Refund Date\r\n")
        << QString();
    QTest::newRow("4 mail date in the future") << "4" << Setup([](Fixture &f) {
        f.dtp(0)->setValue(QDate(2026, 11, 1));
        f.dtp(1)->setValue(QDate(2026, 11, 30));
    }) << QStringLiteral("Mail Date must be current or before\r\n")
                                               << QString();
    QTest::newRow("4 December mail date, by text after today's November")
        << "4" << Setup([](Fixture &f) {
               f.dtp(0)->setValue(QDate(2025, 12, 1));
               f.dtp(1)->setValue(QDate(2025, 12, 5));
           })
        << QStringLiteral("Mail Date must be current or before\r\n") << QString();
}

void TestWorksheetSave::checkEditGathersItsMessages()
{
    QFETCH(QString, status);
    QFETCH(Setup, setup);
    QFETCH(QString, messages);
    QFETCH(QString, marks);
    Fixture f;
    f.load(status);
    // Every control the checks restore starts marked, so that a mark left over shows.
    for (QChar c : kRestored)
        f.tp.fieldMarks.MarkFieldError(control(f, c));
    if (setup)
        setup(f);
    f.sheet->CheckEdit();
    QCOMPARE(f.sheet->errorText(), messages);
    QCOMPARE(f.sheet->errorFlag(), !messages.isEmpty());
    QString marked;
    for (QChar c : kMarkable) {
        if (f.marked(control(f, c)))
            marked += c;
    }
    QCOMPARE(marked, marks);
    if (marks.contains(u'r'))
        QVERIFY(f.marked(f.rdo(3)) && f.marked(f.rdo(4)));
    if (marks.contains(u'o'))
        QVERIFY(f.marked(f.rdo(1)));
    QVERIFY(f.tp.reporter.reports.isEmpty());
}

void TestWorksheetSave::failedChecksSendNothing()
{
    Fixture f;
    f.load(QStringLiteral("1"));
    f.text(0)->clear();
    const int sent = int(f.tp.fakeBroker.sent.size());
    f.button(0)->click();
    QCOMPARE(f.tp.fakeBroker.sent.size(), sent);
    QCOMPARE(f.tp.statusBar.last(), QStringLiteral("Error(s) found"));
    QCOMPARE(f.tp.boxes.shown.size(), 1);
    QCOMPARE(f.tp.boxes.shown[0].prompt,
             QStringLiteral("The comment field is required by QRT HQ personnel\r\n"));
    QCOMPARE(f.tp.boxes.shown[0].style, MsgStyle::Exclamation);
    QCOMPARE(f.sheet->statusCode(), QStringLiteral("1"));
    QVERIFY(!f.sheet->GetSavedVoidedFlag());
    QVERIFY(f.button(0)->isEnabled());
}

void TestWorksheetSave::eachStepSendsItsFields_data()
{
    QTest::addColumn<QString>("status");
    QTest::addColumn<Setup>("setup");
    QTest::addColumn<QString>("record"); // FIELD=value, one per line, in the order sent

    const QString today = QStringLiteral("2026-11-22");
    QTest::newRow("0 prepare")
        << "0" << Setup([](Fixture &f) {
               f.rdo(4)->setChecked(true);
               f.rdo(3)->setChecked(true); // the options are exclusive: the last one counts
               f.text(0)->setPlainText(QStringLiteral("Overpaid\ntwice"));
           })
        << QStringLiteral("ACTION=ADD\nCUST_ID=400000001\nRFND_NBR=42\nTO=3\n"
                          "CREATED_DT=%1\nCREATOR_ID=1001\nQRT_CMMT_TXT=Overpaid\r\ntwice\n"
                          "RFND_AMT=12000.00\nRCPT_NBR=R0000042\nSTTS_CD=1")
               .arg(today);
    QTest::newRow("2 approve, no receiver") << "2" << Setup([](Fixture &f) {
        clearReceiver(f);
        f.label(11)->setText(QStringLiteral("2")); // a bare code is not rule 5's
    }) << QString();
    QTest::newRow("3 transferred")
        << "3" << Setup([](Fixture &f) {
               f.rdo(0)->setChecked(true);
               f.text(1)->setPlainText(QStringLiteral("To the 2027 assessment"));
               f.dtp(0)->setValue(QDate(2026, 11, 20));
           })
        << QStringLiteral("ACTION=UPD\nCUST_ID=400000001\nRFND_NBR=42\nRFND_BY_ID=1001\n"
                          "FISCAL_CMMT_TXT=To the 2027 assessment\nRFND_CD=0\nWRNT_NBR=\n"
                          "RFND_DT=2026-11-20\nRCPT_NBR=R0000042\nSTTS_CD=T");
    QTest::newRow("3 refunded")
        << "3" << Setup([](Fixture &f) {
               f.rdo(1)->setChecked(true);
               f.warrant()->setText(QStringLiteral("W 77"));
           })
        << QStringLiteral("ACTION=UPD\nCUST_ID=400000001\nRFND_NBR=42\nRFND_BY_ID=1001\n"
                          "RFND_CD=1\nWRNT_NBR=W 77\nRFND_DT=%1\nRCPT_NBR=R0000042\nSTTS_CD=4")
               .arg(today);
    QTest::newRow("4 mailed")
        << "4" << Setup([](Fixture &f) { f.dtp(1)->setValue(QDate(2026, 11, 21)); })
        << QStringLiteral("ACTION=UPD\nCUST_ID=400000001\nRFND_NBR=42\nDT_MLD=2026-11-21\n"
                          "RCPT_NBR=R0000042\nSTTS_CD=5");
}

void TestWorksheetSave::eachStepSendsItsFields()
{
    QFETCH(QString, status);
    QFETCH(Setup, setup);
    QFETCH(QString, record);
    Fixture f;
    f.load(status);
    if (setup)
        setup(f);
    const int before = int(f.tp.fakeBroker.sent.size());
    f.button(0)->click();
    if (record.isEmpty()) {
        // No receiver: the check stops the save.
        QCOMPARE(f.tp.fakeBroker.sent.size(), before);
        QCOMPARE(f.sheet->statusCode(), status);
        return;
    }
    QCOMPARE(f.tp.fakeBroker.sent.size(), before + 1);
    const BrokerRequest &r = f.tp.fakeBroker.last().request;
    QCOMPARE(r.kind(), 75);
    QCOMPARE(r.messageId(), QStringLiteral("KORVAWorkSheet"));
    QCOMPARE(sentFields(f), record);
    QCOMPARE(f.sheet->statusCode(), record.section(QStringLiteral("STTS_CD="), 1));
    QCOMPARE(f.sheet->action(), status == u"0" ? QStringLiteral("ISSUE") : QString());
    QVERIFY(f.sheet->GetSavedVoidedFlag() && f.sheet->savePending());
    QVERIFY(f.tp.statusBar.texts.contains(
        QStringLiteral("Saving Refund Worksheet for Harbour Supplies Ltd")));

    // The good reply: the save stays off, printing is on, the form shows the stored refund.
    Values stored = refundAt(status);
    replace(stored, QStringLiteral("STTS_CD"), f.sheet->statusCode());
    f.tp.fakeBroker.replyGood({refundRecord(stored)});
    QVERIFY(!f.sheet->savePending());
    QVERIFY(!f.button(0)->isEnabled());
    QVERIFY(f.button(1)->isEnabled() && f.button(3)->isEnabled());
    QCOMPARE(f.sheet->action(), QString());
    QCOMPARE(f.tp.statusBar.last(), QStringLiteral("Ready"));
}

void TestWorksheetSave::voidSendsItsShortRecord()
{
    Fixture f;
    f.load(QStringLiteral("2"));
    f.label(8)->setText(f.label(9)->text()); // separation is not a void's business
    // A void its checks refuse stays under way: the next Save sends it, with its checks.
    f.text(0)->clear();
    const qsizetype sent = f.tp.fakeBroker.sent.size();
    f.button(2)->click();
    QCOMPARE(f.tp.boxes.shown.size(), 1);
    QCOMPARE(f.tp.fakeBroker.sent.size(), sent);
    QVERIFY(!f.sheet->GetSavedVoidedFlag());
    f.text(0)->setPlainText(QStringLiteral("Paid twice."));
    f.button(0)->click();
    QVERIFY2(f.sheet->errorText().isEmpty(), qPrintable(f.sheet->errorText()));
    QCOMPARE(sentFields(f), QStringLiteral("ACTION=UPD\nCUST_ID=400000001\nRFND_NBR=42\nSTTS_CD=V\n"
                                           "VOID_ID=1001\nRCPT_NBR=R0000042"));
    QCOMPARE(f.sheet->statusCode(), QStringLiteral("2"));
    QVERIFY(f.sheet->GetSavedVoidedFlag());
    f.tp.fakeBroker.replyGood({refundRecord(refundAt(QStringLiteral("2")))});
    QCOMPARE(f.label(11)->text(), QStringLiteral("VOIDED"));
    QVERIFY(!f.button(2)->isEnabled() && !f.button(0)->isEnabled());
    QVERIFY(f.button(3)->isEnabled());
}

void TestWorksheetSave::lostFocusMarksSilently()
{
    Fixture f;
    f.load(QStringLiteral("3"));
    f.sheet->show();
    f.warrant()->setFocus();
    QTRY_VERIFY(f.warrant()->hasFocus());
    f.text(1)->setFocus();
    QTRY_VERIFY(f.marked(f.rdo(0)) && f.marked(f.rdo(1)));
    QVERIFY(f.tp.boxes.shown.isEmpty());
    f.rdo(1)->setChecked(true);
    QTest::keyClicks(f.warrant(), QStringLiteral("W9"));
    f.sheet->mTxt_LostFocus(0);
    QVERIFY(!f.marked(f.rdo(0)) && !f.marked(f.rdo(1)));
}

KORVA_TEST_MAIN(TestWorksheetSave)
#include "tst_worksheetsave.moc"
