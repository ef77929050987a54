// The reply/close/reopen dialog driven through its controls: what it sends per mode, how it
// takes the broker's answer, and once through the real broker and store.
#include "dialogs/frmassignroc.h"
#include "embedded.h"
#include "test_main.h"
#include "testkit.h"

#include "common/modassignmaint.h"
#include "platform/errors.h"

#include <QGroupBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QTimer>

using namespace korva;
using namespace Qt::StringLiterals;

namespace {

// The sixteen pieces the document hands over; sender "A1", addressee "B2".
const QString kParameters = QStringLiteral(
    "77~General Referral~ROE, ANN~DOE, JANE Q.~11/20/2026~11/21/2026~12/01/2026~old comment~"
    "1234567-4~Citation~A1~B2~12/05/2026~Subject here~001~CIT");

QPushButton *button(QWidget *dlg, int index)
{
    return dlg->findChild<QPushButton *>(QStringLiteral("cmdButton(%1)").arg(index));
}

QString label(QWidget *dlg, int index)
{
    auto *l = dlg->findChild<QLabel *>(QStringLiteral("lblLabel(%1)").arg(index));
    return l ? l->text() : QStringLiteral("<missing>");
}

// The sent row as "FIELD=value" in the order the fields were set.
QStringList sentRow(const BrokerRequest &request)
{
    QStringList out;
    const RecordSetPtr rs = request.recordSet(u"ASSIGNMENT");
    if (!rs || rs->count() != 1)
        return {QStringLiteral("<no single ASSIGNMENT row>")};
    rs->moveFirst();
    for (const Field &f : rs->fields())
        out.append(f.name + u'=' + rs->text(f.name));
    return out;
}

} // namespace

class TestFrmAssignROC : public QObject {
    Q_OBJECT

    std::unique_ptr<testkit::TestPlatform> tp;
    std::unique_ptr<frmAssignROC> dlg;

    frmAssignROC *open(const QString &mode, const QString &parameters = kParameters)
    {
        dlg = std::make_unique<frmAssignROC>();
        dlg->InitializeSettings(mode);
        dlg->PassParameters(parameters);
        dlg->show();
        return dlg.get();
    }
    void save(const QString &comment)
    {
        auto *box = dlg->findChild<QPlainTextEdit *>(QStringLiteral("txtBox"));
        QVERIFY(box);
        QTest::keyClicks(box, comment);
        QTest::mouseClick(button(dlg.get(), 0), Qt::LeftButton);
    }

private slots:
    void init()
    {
        tp = std::make_unique<testkit::TestPlatform>();
        modMessageTitle::setMessageTitle(QStringLiteral("Assignments"));
    }
    void cleanup()
    {
        dlg.reset();
        tp.reset();
    }

    void modeSetsCaptionsAndTheExactRow_data();
    void modeSetsCaptionsAndTheExactRow();
    void parametersFillTheInformationFrame_data();
    void parametersFillTheInformationFrame();
    void replyOutcomes_data();
    void replyOutcomes();
    void closeAndEscapeCancel();
    void aSaveKeepsItsKeyOnlyAcrossATimeOut();
    void savedThroughTheRealBrokerLandsInTheStore();
};

void TestFrmAssignROC::modeSetsCaptionsAndTheExactRow_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("frame");
    QTest::addColumn<QString>("tail"); // the fields after ACTION, ASGNMT_NBR, ASGNMT_CMMT_TXT

    // A reply goes from the addressee (B2) back to the sender (A1); a close sends no notify
    // indicator; an unknown mode keeps the design captions.
    const char *reply = "OFCR_FRM_ID=B2|OFCR_TO_ID=A1|NTFY_IND=N";
    const char *rows[][5] = {
        {"reply", "REPLY", "Reply to Sender", "Reply Comment:", reply},
        {"reply, lower case and padded", "reply ", "Reply to Sender", "Reply Comment:", reply},
        {"close", "CLOSE", "Close Assignment", "Close Comment:", "ASGNMT_STTS_CD=C"},
        {"reopen", "Open", "Reopen Assignment", "Reopen Comment:", "ASGNMT_STTS_CD=O|NTFY_IND=N"},
        {"unknown mode", "hold", "Reply to Sender", "Reply Comment", "ASGNMT_STTS_CD=H"},
        {"empty mode", "", "Reply to Sender", "Reply Comment", "ASGNMT_STTS_CD="},
    };
    for (const auto &r : rows)
        QTest::newRow(r[0]) << QString::fromLatin1(r[1]) << QString::fromLatin1(r[2])
                            << QString::fromLatin1(r[3]) << QString::fromLatin1(r[4]);
}

void TestFrmAssignROC::modeSetsCaptionsAndTheExactRow()
{
    QFETCH(QString, mode);
    QFETCH(QString, title);
    QFETCH(QString, frame);
    QFETCH(QString, tail);
    open(mode);
    QCOMPARE(dlg->windowTitle(), title);
    QCOMPARE(dlg->findChild<QGroupBox *>(QStringLiteral("fraFrame(1)"))->title(), frame);

    save(QStringLiteral(" done "));
    QCOMPARE(tp->fakeBroker.sent.size(), 1);
    const BrokerRequest &request = tp->fakeBroker.last().request;
    QCOMPARE(request.messageId(), QStringLiteral("KORVA_AssignMaint.frmAssignROC"));
    QCOMPARE(request.kind(), RequestKind::AssignmentUpdate);
    // The comment goes as typed, blanks and all.
    QCOMPARE(
        sentRow(request),
        (QStringLiteral("ACTION=UPD|ASGNMT_NBR=77|ASGNMT_CMMT_TXT= done |") + tail).split(u'|'));
    // The one status text of all three modes.
    QCOMPARE(tp->statusBar.last(), QStringLiteral("Saving Reply Of Assignment ... "));
    QVERIFY(dlg->isVisible());
}

void TestFrmAssignROC::parametersFillTheInformationFrame_data()
{
    QTest::addColumn<int>("pieces");
    QTest::addColumn<QStringList>("labels"); // (1) (3) (5) (13) (15) (17) (11) (7) (9) (19) (24)
    QTest::addColumn<QString>("replyIds");   // what a reply then sends as FRM/TO
    QTest::addColumn<bool>("reported");

    // The pieces read into the labels, in that order: 1 to 9, 12 and 13.
    const QStringList pieces = kParameters.split(u'~');
    auto upTo = [&](int filled) {
        QStringList l;
        for (int piece : {1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 13})
            l.append(l.size() < filled ? pieces.at(piece) : QString());
        return l;
    };
    QTest::newRow("fourteen are enough") << 14 << upTo(11) << "B2/A1" << false;
    QTest::newRow("no subject") << 13 << upTo(10) << "/" << true;
    QTest::newRow("no ids, no close date") << 11 << upTo(9) << "/" << true;
}

void TestFrmAssignROC::parametersFillTheInformationFrame()
{
    QFETCH(int, pieces);
    QFETCH(QStringList, labels);
    QFETCH(QString, replyIds);
    QFETCH(bool, reported);
    open(QStringLiteral("REPLY"), kParameters.split(u'~').mid(0, pieces).join(u'~'));

    const int order[] = {1, 3, 5, 13, 15, 17, 11, 7, 9, 19, 24};
    QStringList shown;
    for (int i : order)
        shown.append(label(dlg.get(), i));
    QCOMPARE(shown, labels);
    QCOMPARE(label(dlg.get(), 23), QStringLiteral("Subject:"));

    QCOMPARE(tp->reporter.reports.size(), reported ? 1 : 0);
    if (reported) // under the forward dialog's name, as it has always been
        QCOMPARE(tp->reporter.reports.first().source,
                 QStringLiteral("frmAssignForward.PassParameters"));

    save(QString());
    const QStringList row = sentRow(tp->fakeBroker.last().request);
    const QString ids = row.at(3).section(u'=', 1) + u'/' + row.at(4).section(u'=', 1);
    QCOMPARE(ids, replyIds);
}

// The shared answer handling has its own tests; here, what closes the dialog and what keeps
// it open for another try.
void TestFrmAssignROC::replyOutcomes_data()
{
    QTest::addColumn<QString>("answer");
    QTest::addColumn<bool>("sendOK");
    QTest::addColumn<QString>("box");
    QTest::addColumn<QString>("lastStatus");

    const QString saving = QStringLiteral("Saving Reply Of Assignment ... ");
    QTest::newRow("good") << u"good"_s << true << QString() << u"Ready ..."_s;
    QTest::newRow("refused") << u"bad"_s << false << u"Assignment 77 is already closed."_s
                             << saving;
}

void TestFrmAssignROC::replyOutcomes()
{
    QFETCH(QString, answer);
    QFETCH(bool, sendOK);
    QFETCH(QString, box);
    QFETCH(QString, lastStatus);
    open(QStringLiteral("CLOSE"));
    QSignalSpy ok(dlg.get(), &frmAssignROC::SendOK);
    QSignalSpy cancel(dlg.get(), &frmAssignROC::SendCancel);
    save(QStringLiteral("closing"));
    tp->mouse.setBusy();

    if (answer == u"good")
        tp->fakeBroker.replyGood();
    else
        tp->fakeBroker.replyBad(box);

    QCOMPARE(ok.count(), sendOK ? 1 : 0);
    QCOMPARE(cancel.count(), 0);
    QCOMPARE(dlg->isVisible(), !sendOK);
    QVERIFY(!tp->mouse.isBusy()); // every way out restores the pointer
    QCOMPARE(tp->statusBar.last(), lastStatus);
    QCOMPARE(tp->reporter.reports.size(), 0);
    QCOMPARE(tp->boxes.shown.size(), box.isEmpty() ? 0 : 1);
    if (!box.isEmpty()) {
        QCOMPARE(tp->boxes.shown.first().prompt, box);
        QCOMPARE(tp->boxes.shown.first().style, MsgStyle::Critical);
        QCOMPARE(tp->boxes.shown.first().title, QStringLiteral("Assignments"));
    }
    if (!sendOK) {
        // Still open with the comment as typed: Save sends again.
        QCOMPARE(dlg->findChild<QPlainTextEdit *>(QStringLiteral("txtBox"))->toPlainText(),
                 QStringLiteral("closing"));
        QTest::mouseClick(button(dlg.get(), 0), Qt::LeftButton);
        QCOMPARE(tp->fakeBroker.sent.size(), 2);
        tp->fakeBroker.replyGood();
        QCOMPARE(ok.count(), 1);
        QVERIFY(!dlg->isVisible());
    }
}

// The server answers a repeated key with its first answer. A Save again after a time-out
// must repeat the key so the reply is not written twice. After any real answer, a new
// identical reply needs a new key, or the server would swallow it.
void TestFrmAssignROC::aSaveKeepsItsKeyOnlyAcrossATimeOut()
{
    open(QStringLiteral("REPLY"));
    save(QStringLiteral("same words"));
    const QString first = tp->fakeBroker.last().request.requestKey();
    QVERIFY(!first.isEmpty());
    tp->fakeBroker.timeoutThenBad();
    QTest::mouseClick(button(dlg.get(), 0), Qt::LeftButton);
    QCOMPARE(tp->fakeBroker.sent.size(), 2);
    QCOMPARE(tp->fakeBroker.last().request.requestKey(), first);

    tp->fakeBroker.replyBad(QStringLiteral("Assignment 77 is closed."));
    QTest::mouseClick(button(dlg.get(), 0), Qt::LeftButton);
    const QString afterRefusal = tp->fakeBroker.last().request.requestKey();
    QVERIFY(afterRefusal != first);

    tp->fakeBroker.replyGood();
    open(QStringLiteral("REPLY"));
    save(QStringLiteral("same words"));
    QVERIFY(tp->fakeBroker.last().request.requestKey() != afterRefusal);
}

void TestFrmAssignROC::closeAndEscapeCancel()
{
    for (const bool escape : {false, true}) {
        dlg = std::make_unique<frmAssignROC>();
        dlg->InitializeSettings(QStringLiteral("REPLY"));
        dlg->PassParameters(kParameters);
        QSignalSpy ok(dlg.get(), &frmAssignROC::SendOK);
        QSignalSpy cancel(dlg.get(), &frmAssignROC::SendCancel);
        QTimer::singleShot(0, dlg.get(), [&] {
            if (escape)
                QTest::keyClick(dlg.get(), Qt::Key_Escape);
            else
                QTest::mouseClick(button(dlg.get(), 1), Qt::LeftButton);
        });
        dlg->exec();
        QCOMPARE(cancel.count(), 1);
        QCOMPARE(ok.count(), 0);
        QVERIFY(!dlg->isVisible());
    }
    QVERIFY(tp->fakeBroker.sent.isEmpty());
}

void TestFrmAssignROC::savedThroughTheRealBrokerLandsInTheStore()
{
    constexpr int kOfficer = 1001;
    testkit::EmbeddedStore store(120);
    testkit::EmbeddedSignOn signOn(*tp, store, kOfficer);
    // Each read ends its statement, so that no open read holds an old snapshot of the store.
    auto read = [&](const QString &sql, std::initializer_list<QVariant> values) {
        QSqlQuery &q = store.db().run(sql, values);
        const QVariant v = q.next() ? q.value(0) : QVariant();
        q.finish();
        return v;
    };
    // An open assignment the officer received from an active colleague, of a type he may
    // answer.
    const qint64 nbr = read(QStringLiteral(R"sql(
SELECT MIN(A.ASGNMT_NBR) FROM ASGNMT A
JOIN ZTB_ASGNMT_TYPE T ON T.REGION = 'NE' AND T.ASGNMT_CD = A.ASGNMT_TYP_CD
JOIN OFFICER O ON O.INSP_ID = A.OFCR_FRM_ID
WHERE A.OFCR_TO_ID = ? AND A.ASGNMT_STTS_CD = 'O' AND T.SYS_IND = 'N' AND T.CRTR_CLS_IND = 'N'
  AND O.END_DT IS NULL AND A.OFCR_FRM_ID <> ?)sql"),
                            {kOfficer, kOfficer})
                           .toLongLong();
    QVERIFY2(nbr > 0, "the demo store holds no open assignment for the officer");
    const qint64 sender =
        read(QStringLiteral("SELECT OFCR_FRM_ID FROM ASGNMT WHERE ASGNMT_NBR = ?"), {nbr})
            .toLongLong();
    auto stored = [&](const char *column) {
        return read(
            QStringLiteral("SELECT %1 FROM ASGNMT WHERE ASGNMT_NBR = ?").arg(QLatin1String(column)),
            {nbr});
    };
    auto lastAction = [&] {
        return read(QStringLiteral("SELECT ACTION FROM ASGNMT_HIST WHERE ASGNMT_NBR = ? "
                                   "ORDER BY HIST_ID DESC"),
                    {nbr})
            .toString();
    };
    auto run = [&](const char *mode, qint64 from, qint64 to, const QString &comment) {
        QStringList p = kParameters.split(u'~');
        p[0] = QString::number(nbr);
        p[10] = QString::number(from);
        p[11] = QString::number(to);
        open(QLatin1String(mode), p.join(u'~'));
        QSignalSpy ok(dlg.get(), &frmAssignROC::SendOK);
        const qsizetype boxes = tp->boxes.shown.size();
        save(comment);
        if (!QTest::qWaitFor([&] { return !ok.isEmpty() || tp->boxes.shown.size() > boxes; },
                             20000))
            return false;
        return ok.count() == 1;
    };

    QVERIFY(run("REPLY", sender, kOfficer, QStringLiteral("answered")));
    QCOMPARE(stored("ASGNMT_STTS_CD").toString(), QStringLiteral("R"));
    QCOMPARE(stored("OFCR_FRM_ID").toLongLong(), kOfficer);
    QCOMPARE(stored("OFCR_TO_ID").toLongLong(), sender);
    QCOMPARE(stored("ASGNMT_CMMT_TXT").toString(), QStringLiteral("answered"));
    QCOMPARE(lastAction(), QStringLiteral("REPLY"));

    QVERIFY(run("CLOSE", kOfficer, sender, QStringLiteral("finished")));
    QCOMPARE(stored("ASGNMT_STTS_CD").toString(), QStringLiteral("C"));
    QVERIFY(!stored("CLSE_DT").isNull());
    QCOMPARE(lastAction(), QStringLiteral("CLOSE"));

    // The server refuses a second close (its rules are tested with the server); the dialog
    // shows why and stays open.
    QVERIFY(!run("CLOSE", kOfficer, sender, QStringLiteral("again")));
    QVERIFY(tp->boxes.shown.last().prompt.contains(u"already closed"));
    QVERIFY(dlg->isVisible());
}

KORVA_TEST_MAIN(TestFrmAssignROC)
#include "tst_frmassignroc.moc"
