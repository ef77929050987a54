// The forward dialog driven through its controls: the target, the officer list, the dates,
// the rows it sends and the broker's answer; once through the real broker and store.
#include "dialogs/frmaddofficer.h"
#include "dialogs/frmassignforward.h"
#include "embedded.h"
#include "test_main.h"
#include "testkit.h"

#include "common/conventions.h"
#include "common/modassignmaint.h"
#include "platform/controls/codescombo.h"
#include "platform/controls/datagrid.h"
#include "platform/controls/dtp.h"

#include <QClipboard>
#include <QDateEdit>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QTimer>

using namespace korva;

namespace {

const QString kParameters = QStringLiteral(
    "77~General Referral~ROE, ANN~DOE, JANE Q.~11/20/2026~11/21/2026~12/01/2026~old comment~"
    "1234567-4~Citation~A1~B2~12/05/2026~Subject here~001~CIT");
const QDate kToday(2026, 11, 22); // the test kit's clock

RecordSetPtr officers(const QList<QList<QVariant>> &rows)
{
    return testkit::makeRecordSet(QStringLiteral("OFFICER"),
                                  {{QStringLiteral("INSP_ID"), FieldType::Integer},
                                   {QStringLiteral("INSP_NME_LST"), FieldType::Text},
                                   {QStringLiteral("INSP_NME_FRST"), FieldType::Text},
                                   {QStringLiteral("INSP_NME_MDL_INT"), FieldType::Text}},
                                  rows);
}

// Each sent row as "FIELD=value" in the order its fields were set.
QList<QStringList> sentRows(const BrokerRequest &request)
{
    QList<QStringList> out;
    const RecordSetPtr rs = request.recordSet(u"ASSIGNMENT");
    if (!rs)
        return out;
    for (int r = 0; r < rs->count(); ++r) {
        QStringList row;
        for (int c = 0; c < rs->fieldCount(); ++c) {
            if (!rs->valueAt(r, c).isNull())
                row.append(rs->fields().at(c).name + u'=' + rs->textAt(r, c));
        }
        out.append(row);
    }
    return out;
}

} // namespace

class TestFrmAssignForward : public QObject {
    Q_OBJECT

    std::unique_ptr<testkit::TestPlatform> tp;
    std::unique_ptr<frmAssignForward> dlg;

    frmAssignForward *open(qint16 due = 30, qint16 expiration = 90,
                           const QString &parameters = kParameters)
    {
        dlg = std::make_unique<frmAssignForward>();
        dlg->AdjustDueDate(due);
        dlg->AdjustExpirationDate(expiration);
        dlg->PassParameters(parameters);
        dlg->show();
        return dlg.get();
    }
    template <class T> T *child(const QString &name)
    {
        auto *w = dlg->findChild<T *>(name);
        if (!w)
            qFatal("no control %s", qPrintable(name));
        return w;
    }
    template <class T> T *at(const char *array, int index)
    {
        return child<T>(QStringLiteral("%1(%2)").arg(QLatin1String(array)).arg(index));
    }
    QLineEdit *box(int i) { return at<QLineEdit>("txtBox", i); }
    QPushButton *button(int i) { return at<QPushButton>("cmdButton", i); }
    KORVA_DTP *date(int i) { return at<KORVA_DTP>("dtpFTDate", i); }
    DataGrid *grid() { return child<DataGrid>(QStringLiteral("grdOfficers")); }
    void click(int i) { QTest::mouseClick(button(i), Qt::LeftButton); }
    void choose(int option)
    {
        QTest::mouseClick(at<QRadioButton>("optButton", option), Qt::LeftButton);
    }
    bool marked(QWidget *w) { return tp->fieldMarks.isMarked(w); }
    // A date chosen in the picker's editor, as the user picks one.
    void pickDate(int i, const QDate &day) { date(i)->editor()->setDate(day); }
    QList<QDate> dates() { return {date(0)->date(), date(1)->date(), date(2)->date()}; }
    QStringList gridIds()
    {
        QStringList ids;
        for (int r = 0; r < grid()->rowCount(); ++r)
            ids.append(grid()->text(r, QStringLiteral("INSP_ID")));
        return ids;
    }

private slots:
    void init()
    {
        tp = std::make_unique<testkit::TestPlatform>();
        tp->codeList.handler = [](const QString &query) {
            RecordSetPtr codes =
                testkit::sampleReferenceReply().recordSet(QStringLiteral("ZTB_CODE"))->clone();
            if (query.contains(QStringLiteral("'AGENCY'")))
                codes->setFilter(QStringLiteral("CD_TBL_ID = 'AGENCY'"));
            return codes;
        };
        modMessageTitle::setMessageTitle(QStringLiteral("Assignments"));
        modAssignMaint::componentDayCounts() = {};
    }
    void cleanup()
    {
        dlg.reset();
        tp.reset();
    }

    void loadingSetsDefaultsDatesAndLabels()
    {
        open(30, 90);
        QCOMPARE(dlg->windowTitle(), QStringLiteral("Forward Assignment"));
        QCOMPARE(dates(), (QList<QDate>{kToday, kToday.addDays(30), kToday.addDays(90)}));
        QVERIFY(at<QRadioButton>("optButton", 0)->isChecked());
        QVERIFY(box(0)->isVisible() && button(0)->isVisible());
        QVERIFY(!at<KORVA_CodesCombo>("cboFTBox", 0)->isVisible());
        QVERIFY(!box(1)->isVisible());
        QCOMPARE(at<QLabel>("lblLabel", 7)->text(), QStringLiteral("1234567-4"));
        QCOMPARE(at<QLabel>("lblLabel", 24)->text(), QStringLiteral("Subject here"));
        QCOMPARE(at<QLabel>("lblLabel", 19)->text(), QStringLiteral("12/05/2026"));
        // The dialog may go back to 1993, before today.
        QCOMPARE(date(0)->minDate(), QDate(1993, 1, 1));

        // Offsets never given leave all three at today.
        dlg = std::make_unique<frmAssignForward>();
        dlg->PassParameters(kParameters);
        QCOMPARE(dates(), (QList<QDate>{kToday, kToday, kToday}));

        // A short text stops at the first missing piece, reported under the shared name.
        QStringList pieces = kParameters.split(u'~');
        pieces.removeLast();
        open(0, 0, pieces.join(u'~'));
        QCOMPARE(tp->reporter.reports.size(), 1);
        QCOMPARE(tp->reporter.reports.last().source,
                 QStringLiteral("frmAssignForward.PassParameters"));
        QCOMPARE(at<QLabel>("lblLabel", 24)->text(), QStringLiteral("Subject here"));
    }

    void eachTargetShowsOnlyItsInputAndMarksItEmpty()
    {
        open();
        auto *agency = at<KORVA_CodesCombo>("cboFTBox", 0);
        QCOMPARE(agency->itemText(1), QStringLiteral("Department of Revenue"));
        choose(1);
        QVERIFY(agency->isVisible());
        for (QWidget *w : {static_cast<QWidget *>(box(0)), static_cast<QWidget *>(box(1)),
                           static_cast<QWidget *>(button(0)), static_cast<QWidget *>(button(1)),
                           static_cast<QWidget *>(grid())})
            QVERIFY(!w->isVisible());
        QVERIFY(marked(agency));

        QTest::keyClicks(box(1), QStringLiteral("3a")); // hidden, but a typed value is kept
        choose(2);
        QVERIFY(box(1)->isVisible() && !agency->isVisible());
        QVERIFY(!marked(agency)); // marks of the other targets are cleared
        QVERIFY(!marked(box(1))); // it holds a troop/district
        QCOMPARE(box(1)->text(), QStringLiteral("3A"));

        choose(0);
        QVERIFY(box(0)->isVisible() && grid()->isVisible() && button(1)->isVisible());
        QVERIFY(!box(1)->isVisible());
        QVERIFY(marked(box(0)));
    }

    void pickedOfficersAreMergedSortedAndReplaceTheTypedId()
    {
        open();
        QTest::keyClicks(box(0), QStringLiteral("12"));
        dlg->mEventAddOfficer_SendOK(
            officers({{3, QStringLiteral("Carter"), QStringLiteral("C"), QString()},
                      {1, QStringLiteral("Adams"), QStringLiteral("A"), QString()}}));
        dlg->mEventAddOfficer_SendOK(
            officers({{1, QStringLiteral("Adams"), QStringLiteral("A"), QString()},
                      {2, QStringLiteral("Baker"), QStringLiteral("Bo"), QStringLiteral("Q")}}));
        QCOMPARE(gridIds(),
                 (QStringList{QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3")}));
        QCOMPARE(grid()->text(1, QStringLiteral("NAME")), QStringLiteral("BAKER, BO Q."));
        QVERIFY(box(0)->text().isEmpty());
        QVERIFY(!box(0)->isEnabled());
        QVERIFY(!marked(box(0)));

        // An empty hand-over changes nothing and reports nothing.
        dlg->mEventAddOfficer_SendOK(officers({}));
        QCOMPARE(grid()->rowCount(), 3);
        QVERIFY(tp->reporter.reports.isEmpty());

        click(1); // Clear
        QCOMPARE(grid()->rowCount(), 0);
        QVERIFY(box(0)->isEnabled());
        QVERIFY(marked(box(0)));
    }

    // "Select Officers" opens the add-officers dialog modally; what it hands back is merged.
    void selectOfficersRunsTheAddOfficersDialog()
    {
        open();
        bool seen = false;
        QTimer::singleShot(0, dlg.get(), [this, &seen] {
            auto *picker = dlg->findChild<frmAddOfficer *>();
            QVERIFY(picker && picker->isModal() && picker->isVisible());
            seen = true;
            auto *text = picker->findChild<QLineEdit *>(QStringLiteral("txtOfficer"));
            QTest::keyClicks(text, QStringLiteral("roe"));
            QTest::keyClick(text, Qt::Key_Return);
            QVERIFY(picker->isVisible()); // Enter picks; it does not end the dialog
            QTest::mouseClick(picker->findChild<QPushButton *>(QStringLiteral("cmdOK")),
                              Qt::LeftButton);
        });
        click(0);
        QVERIFY(seen);
        QCOMPARE(gridIds(), QStringList{QStringLiteral("1003")});
        QVERIFY(!box(0)->isEnabled());
    }

    void threeOfficersGetTheOriginalAndTwoCopies()
    {
        open(30, 90);
        dlg->mEventAddOfficer_SendOK(
            officers({{30, QStringLiteral("Carter"), QStringLiteral("C"), QString()},
                      {10, QStringLiteral("Adams"), QStringLiteral("A"), QString()},
                      {20, QStringLiteral("Baker"), QStringLiteral("B"), QString()}}));
        QTest::keyClicks(child<QPlainTextEdit>(QStringLiteral("txtBox(2)")),
                         QStringLiteral("please see"));
        click(2);
        QCOMPARE(tp->fakeBroker.sent.size(), 1);
        const BrokerRequest &r = tp->fakeBroker.last().request;
        QCOMPARE(r.messageId(), QStringLiteral("KORVA_AssignMaint.frmAssignForward"));
        QCOMPARE(r.kind(), 15);
        const QStringList common{
            QStringLiteral("ASGNMT_NBR=77"),        QStringLiteral("ASGNMT_CMMT_TXT=please see"),
            QStringLiteral("EFCTV_DT=2026-11-22"),  QStringLiteral("DUE_DT=2026-12-22"),
            QStringLiteral("EXPRTN_DT=2027-02-20"), QStringLiteral("OFCR_FRM_ID=1001")};
        auto row = [&](const char *action, const char *to, bool copy) {
            QStringList out{QStringLiteral("ACTION=") + QLatin1String(action)};
            out += common;
            out +=
                {QStringLiteral("OFCR_TO_ID=") + QLatin1String(to), QStringLiteral("NTFY_IND=N")};
            if (copy)
                out += {QStringLiteral("ASGNMT_SBJCT_TXT=Subject here"),
                        QStringLiteral("ASGNMT_TYP_CD=001"), QStringLiteral("FORM_NBR=1234567-4"),
                        QStringLiteral("FORM_TYP_CD=CIT")};
            return out;
        };
        QCOMPARE(sentRows(r), (QList<QStringList>{row("UPD", "10", false), row("ADD", "20", true),
                                                  row("ADD", "30", true)}));
        QCOMPARE(tp->statusBar.last(), QStringLiteral("Saving Forward Of Assignment ... "));
        QVERIFY(dlg->isVisible()); // until the answer comes
    }

    void oneRowForATypedOfficerAnAgencyOrATroop_data()
    {
        QTest::addColumn<int>("option");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QStringList>("target");
        QTest::newRow("typed officer")
            << 0 << QStringLiteral("1234") << QStringList{QStringLiteral("OFCR_TO_ID=1234")};
        QTest::newRow("agency") << 1 << QStringLiteral("State Police")
                                << QStringList{QStringLiteral("AGNCY_CD=SP")};
        QTest::newRow("troop without district")
            << 2 << QStringLiteral("3") << QStringList{QStringLiteral("TRP_ID=3")};
        QTest::newRow("troop and district")
            << 2 << QStringLiteral("3a")
            << QStringList{QStringLiteral("TRP_ID=3"), QStringLiteral("TRP_DIST_ID=A")};
    }

    void oneRowForATypedOfficerAnAgencyOrATroop()
    {
        QFETCH(int, option);
        QFETCH(QString, typed);
        QFETCH(QStringList, target);
        open(0, 0);
        choose(option);
        if (option == 1)
            at<KORVA_CodesCombo>("cboFTBox", 0)->selectCode(QStringLiteral("SP"));
        else
            QTest::keyClicks(box(option == 0 ? 0 : 1), typed);
        click(2);
        QCOMPARE(tp->fakeBroker.sent.size(), 1);
        QStringList expected{
            QStringLiteral("ACTION=UPD"),        QStringLiteral("ASGNMT_NBR=77"),
            QStringLiteral("ASGNMT_CMMT_TXT="),  QStringLiteral("EFCTV_DT=2026-11-22"),
            QStringLiteral("DUE_DT=2026-11-22"), QStringLiteral("EXPRTN_DT=2026-11-22"),
            QStringLiteral("OFCR_FRM_ID=1001"),  QStringLiteral("NTFY_IND=N")};
        expected += target;
        QCOMPARE(sentRows(tp->fakeBroker.last().request), QList<QStringList>{expected});
    }

    void anEmptyTargetIsRefusedWithItsMessage_data()
    {
        QTest::addColumn<int>("option");
        QTest::addColumn<QString>("markedBox");
        QTest::addColumn<QString>("message");
        QTest::newRow("officer") << 0 << QStringLiteral("txtBox(0)")
                                 << QStringLiteral("Please enter a valid Officer Id");
        QTest::newRow("agency") << 1 << QStringLiteral("cboFTBox(0)")
                                << QStringLiteral("Please enter a valid Agency Code");
        QTest::newRow("troop") << 2 << QStringLiteral("txtBox(1)")
                               << QStringLiteral("Please enter a valid Troop/District");
    }

    void anEmptyTargetIsRefusedWithItsMessage()
    {
        QFETCH(int, option);
        QFETCH(QString, markedBox);
        QFETCH(QString, message);
        open();
        choose(option);
        tp->fieldMarks.marked.clear(); // only the check's own mark counts
        click(2);
        QVERIFY(tp->fakeBroker.sent.isEmpty());
        QCOMPARE(tp->boxes.shown.size(), 1);
        QCOMPARE(tp->boxes.shown.last().prompt, message);
        QCOMPARE(tp->boxes.shown.last().style, MsgStyle::Critical);
        QCOMPARE(tp->boxes.shown.last().title, QStringLiteral("Assignments"));
        QCOMPARE(tp->fieldMarks.marked.size(), 1);
        QVERIFY(marked(child<QWidget>(markedBox)));
    }

    void datesFollowTheTypesDayCounts_data()
    {
        // Day counts of the type the document looked up (30 and 90), not the dialog's offsets
        // (5 and 5). Dates as offsets from today: effective, due, expiration before and after.
        QTest::addColumn<int>("picker");
        QTest::addColumn<int>("picked");
        QTest::addColumn<QList<int>>("after");
        // Yesterday is pulled to today, but the due date is computed from yesterday; the
        // expiration from the due date as it was (5) plus the gap of 60.
        QTest::newRow("effective yesterday") << 0 << -1 << QList<int>{0, 29, 65};
        QTest::newRow("effective later") << 0 << 3 << QList<int>{3, 33, 65};
        QTest::newRow("due before effective") << 1 << -2 << QList<int>{0, 0, 58};
        QTest::newRow("due later") << 1 << 10 << QList<int>{0, 10, 70};
        QTest::newRow("expiration before due") << 2 << 1 << QList<int>{0, 5, 5};
        QTest::newRow("expiration later") << 2 << 40 << QList<int>{0, 5, 40};
    }

    void datesFollowTheTypesDayCounts()
    {
        QFETCH(int, picker);
        QFETCH(int, picked);
        QFETCH(QList<int>, after);
        modAssignMaint::componentDayCounts() = {30, 90};
        open(5, 5);
        pickDate(picker, kToday.addDays(picked));
        QCOMPARE(dates(), (QList<QDate>{kToday.addDays(after[0]), kToday.addDays(after[1]),
                                        kToday.addDays(after[2])}));
        QVERIFY(tp->reporter.reports.isEmpty());
        QVERIFY(tp->boxes.shown.isEmpty());
    }

    void keysAndPastesIntoTheTargetBoxes()
    {
        open();
        QTest::keyClicks(box(0), QStringLiteral("12a.4"));
        QCOMPARE(box(0)->text(), QStringLiteral("124"));
        QCOMPARE(tp->beeps.beeps, 2);

        // Shift+Insert of a number with a point: beep, the earlier text back.
        QGuiApplication::clipboard()->setText(QStringLiteral("5.5"));
        QTest::keyClick(box(0), Qt::Key_Insert, Qt::ShiftModifier);
        QCOMPARE(box(0)->text(), QStringLiteral("124"));
        QCOMPARE(tp->beeps.beeps, 3);
        // Ctrl+V is not watched, on purpose.
        QTest::keyClick(box(0), Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(box(0)->text(), QStringLiteral("1245.5"));
        QCOMPARE(tp->beeps.beeps, 3);

        choose(2);
        QTest::keyClicks(box(1), QStringLiteral("4b!"));
        QCOMPARE(box(1)->text(), QStringLiteral("4B"));
        QCOMPARE(tp->beeps.beeps, 4);
        QVERIFY(!marked(box(1)));
        box(1)->clear();
        QTest::keyClicks(box(1), QStringLiteral("9z")); // no such troop
        QVERIFY(marked(box(1)));
    }

    // The shared answer handling has its own tests; here, a refusal keeps the dialog open for
    // another try and the good answer closes it.
    void aRefusalKeepsTheDialogOpenUntilAGoodAnswer()
    {
        open();
        QSignalSpy sentOk(dlg.get(), &frmAssignForward::SendOK);
        QTest::keyClicks(box(0), QStringLiteral("1234"));
        click(2);
        tp->fakeBroker.replyBad(QStringLiteral("Assignment 77 is closed."));
        QCOMPARE(tp->boxes.shown.size(), 1);
        QCOMPARE(tp->boxes.shown.last().prompt, QStringLiteral("Assignment 77 is closed."));
        QVERIFY(dlg->isVisible() && sentOk.isEmpty());
        click(2);
        QCOMPARE(tp->fakeBroker.sent.size(), 2);
        tp->fakeBroker.replyGood();
        QCOMPARE(sentOk.size(), 1);
        QVERIFY(!dlg->isVisible());
        QCOMPARE(tp->statusBar.last(), QStringLiteral("Ready ..."));
        QVERIFY(!tp->mouse.busy);
        QVERIFY(tp->reporter.reports.isEmpty());
    }

    // A Save again after a time-out repeats the request key (the server may have applied
    // the first try); after the server's own answer the same forward is a new one.
    void aForwardKeepsItsKeyOnlyAcrossATimeOut()
    {
        open();
        QTest::keyClicks(box(0), QStringLiteral("1234"));
        click(2);
        const QString first = tp->fakeBroker.last().request.requestKey();
        QVERIFY(!first.isEmpty());
        tp->fakeBroker.timeoutThenBad();
        click(2);
        QCOMPARE(tp->fakeBroker.last().request.requestKey(), first);
        tp->fakeBroker.replyBad(QStringLiteral("Assignment 77 is closed."));
        click(2);
        QCOMPARE(tp->fakeBroker.sent.size(), 3);
        QVERIFY(tp->fakeBroker.last().request.requestKey() != first);
    }

    void closeCancelsWithoutSending()
    {
        open();
        QSignalSpy cancelled(dlg.get(), &frmAssignForward::SendCancel);
        click(3);
        QCOMPARE(cancelled.size(), 1);
        QVERIFY(!dlg->isVisible());
        QVERIFY(tp->fakeBroker.sent.isEmpty());
    }

    void forwardedThroughTheRealBrokerReachesBothOfficers();
};

void TestFrmAssignForward::forwardedThroughTheRealBrokerReachesBothOfficers()
{
    constexpr int kOfficer = 1001;
    testkit::EmbeddedStore store(120);
    auto signOn = std::make_unique<testkit::EmbeddedSignOn>(*tp, store, kOfficer);
    auto read = [&](const QString &sql, std::initializer_list<QVariant> values) {
        QSqlQuery &q = store.db().run(sql, values);
        const QVariant v = q.next() ? q.value(0) : QVariant();
        q.finish();
        return v;
    };
    // An open assignment the officer received, and two active colleagues to pass it to.
    const qint64 nbr = read(QStringLiteral(R"sql(
SELECT MIN(ASGNMT_NBR) FROM ASGNMT WHERE OFCR_TO_ID = ? AND ASGNMT_STTS_CD = 'O'
  AND ORIG_ASGNMT_NBR IS NULL)sql"),
                            {kOfficer})
                           .toLongLong();
    QVERIFY2(nbr > 0, "the demo store holds no open assignment for the officer");
    auto column = [&](qint64 number, const char *name) {
        return read(QStringLiteral("SELECT %1 FROM ASGNMT WHERE ASGNMT_NBR = ?")
                        .arg(QLatin1String(name)),
                    {number})
            .toString();
    };
    QList<OfficerInfo> colleagues;
    for (const OfficerInfo &o : tp->lookups->searchOfficers(QString(), 0)) {
        if (o.id != kOfficer && !o.activeTo.isValid() && colleagues.size() < 2)
            colleagues.append(o);
    }
    QCOMPARE(colleagues.size(), 2);

    QStringList p = kParameters.split(u'~');
    p[0] = QString::number(nbr);
    p[8] = column(nbr, "FORM_NBR");
    p[13] = column(nbr, "ASGNMT_SBJCT_TXT");
    p[14] = column(nbr, "ASGNMT_TYP_CD");
    p[15] = column(nbr, "FORM_TYP_CD");
    open(10, 20, p.join(u'~'));
    QList<QList<QVariant>> picked;
    for (const OfficerInfo &o : colleagues)
        picked.append({o.id, o.lastName, o.firstName, o.middleName});
    dlg->mEventAddOfficer_SendOK(officers(picked));
    QSignalSpy ok(dlg.get(), &frmAssignForward::SendOK);
    click(2);
    QVERIFY(QTest::qWaitFor([&] { return !ok.isEmpty() || !tp->boxes.shown.isEmpty(); }, 20000));
    QVERIFY2(tp->boxes.shown.isEmpty(), qPrintable(tp->boxes.shown.value(0).prompt));

    // The original goes to the first officer by name, a copy to the other.
    const int first = grid()->text(0, QStringLiteral("INSP_ID")).toInt();
    const int second = grid()->text(1, QStringLiteral("INSP_ID")).toInt();
    QCOMPARE(column(nbr, "OFCR_TO_ID").toInt(), first);
    QCOMPARE(column(nbr, "OFCR_FRM_ID").toInt(), kOfficer);
    QCOMPARE(column(nbr, "ASGNMT_STTS_CD"), QStringLiteral("F"));
    const qint64 copy =
        read(QStringLiteral("SELECT ASGNMT_NBR FROM ASGNMT WHERE ORIG_ASGNMT_NBR = ?"), {nbr})
            .toLongLong();
    QVERIFY(copy > 0);
    QCOMPARE(column(copy, "OFCR_TO_ID").toInt(), second);
    QCOMPARE(column(copy, "ASGNMT_SBJCT_TXT"), p[13]);
    QCOMPARE(column(copy, "ASGNMT_TYP_CD"), p[14]);

    // Each addressee finds it among the assignments they received.
    for (const auto &[officer, number] : {std::pair{first, nbr}, std::pair{second, copy}}) {
        signOn.reset();
        signOn = std::make_unique<testkit::EmbeddedSignOn>(*tp, store, officer);
        BrokerMessage message;
        QSignalSpy ready(&message, &BrokerMessage::DataReady);
        const QString id = QStringLiteral("KORVA_AssignMaint");
        message.send(composeQuery(
            id, RequestKind::Query,
            {RequestParameter::key(QStringLiteral("ASGNMT_FRM_DT"), QStringLiteral("1990-01-01")),
             RequestParameter::key(QStringLiteral("ASGNMT_TO_DT"), QStringLiteral("2100-12-31")),
             RequestParameter::key(QStringLiteral("OFCR_TO_ID"), QString::number(officer))}));
        QVERIFY(ready.wait(20000));
        QCOMPARE(ReplyCheck(id, QString(), message), QString());
        const RecordSetPtr list = message.recordSet(id, QStringLiteral("ASSIGNMENT"));
        QVERIFY(list);
        QVERIFY2(list->findFirst(QStringLiteral("ASGNMT_NBR=%1").arg(number)),
                 qPrintable(QStringLiteral("officer %1 does not see %2").arg(officer).arg(number)));
    }

    // Another of the officer's assignments goes to an agency: the addressee is the agency
    // alone, and the step is in the history.
    signOn.reset();
    signOn = std::make_unique<testkit::EmbeddedSignOn>(*tp, store, kOfficer);
    const qint64 other = read(QStringLiteral(R"sql(
SELECT MIN(ASGNMT_NBR) FROM ASGNMT WHERE OFCR_TO_ID = ? AND ASGNMT_STTS_CD = 'O'
  AND ASGNMT_NBR <> ?)sql"),
                              {kOfficer, nbr})
                             .toLongLong();
    QVERIFY2(other > 0, "the demo store holds no second open assignment for the officer");
    p[0] = QString::number(other);
    open(10, 20, p.join(u'~'));
    choose(1);
    at<KORVA_CodesCombo>("cboFTBox", 0)->selectCode(QStringLiteral("SP"));
    QSignalSpy agencyOk(dlg.get(), &frmAssignForward::SendOK);
    click(2);
    QVERIFY(
        QTest::qWaitFor([&] { return !agencyOk.isEmpty() || !tp->boxes.shown.isEmpty(); }, 20000));
    QVERIFY2(tp->boxes.shown.isEmpty(), qPrintable(tp->boxes.shown.value(0).prompt));
    QCOMPARE(column(other, "AGNCY_CD"), QStringLiteral("SP"));
    QVERIFY(column(other, "OFCR_TO_ID").isEmpty());
    QCOMPARE(column(other, "ASGNMT_STTS_CD"), QStringLiteral("F"));
    QCOMPARE(read(QStringLiteral("SELECT COUNT(*) FROM ASGNMT_HIST WHERE ASGNMT_NBR = ? AND "
                                 "ACTION = 'FORWARD' AND AGNCY_CD = 'SP'"),
                  {other})
                 .toInt(),
             1);
}

KORVA_TEST_MAIN(TestFrmAssignForward)
#include "tst_frmassignforward.moc"
