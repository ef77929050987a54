// The refund row a save sends, built from the form's values alone: no window, no broker.
#include "worksheet/refundrecord.h"

#include <QTest>

#include <functional>

using namespace korva;

namespace {

// The values of refund 42 as a desk sees them at `status`, receiver 2 and a quarter comment.
RefundFormValues formAt(const QString &status)
{
    RefundFormValues form;
    form.status = status;
    form.customerId = QStringLiteral("400000001");
    form.refundNumber = QStringLiteral("42");
    form.receiver = 2;
    form.today = QDate(2026, 11, 22);
    form.mailedOn = QDate(2026, 11, 21);
    form.refundedOn = QDate(2026, 11, 20);
    form.officer = QStringLiteral("1001");
    form.quarterComment = QStringLiteral("Overpaid twice");
    form.amount = QStringLiteral("$12,000.00");
    form.receiptNumber = QStringLiteral("R0000042");
    return form;
}

QString fields(const RecordSet &rs)
{
    QStringList sent;
    for (int c = 0; c < rs.fieldCount(); ++c)
        sent.append(rs.fields().at(c).name + u'=' + rs.textAt(0, c));
    return sent.join(u'\n');
}

using Change = std::function<void(RefundFormValues &)>;

} // namespace

Q_DECLARE_METATYPE(Change)

class TestRefundRecord : public QObject {
    Q_OBJECT
private slots:
    void rowAtEachStep_data();
    void rowAtEachStep();
    void voidRowNamesTheOfficer();
};

// The window's save test follows the form's controls into the row at steps 0, 3 and 4;
// these are the rules of the row alone.
void TestRefundRecord::rowAtEachStep_data()
{
    QTest::addColumn<QString>("status");
    QTest::addColumn<Change>("change");
    QTest::addColumn<QString>("record");

    QTest::newRow("1 verify")
        << "1" << Change()
        << QStringLiteral("ACTION=UPD\nCUST_ID=400000001\nRFND_NBR=42\nTO=2\nVERIFY_ID=1001\n"
                          "QRT_CMMT_TXT=Overpaid twice\nRCPT_NBR=R0000042\nSTTS_CD=2");
    QTest::newRow("2 approve, receiver out of range, no comment")
        << "2" << Change([](RefundFormValues &f) {
               f.receiver = 1;
               f.quarterComment.clear();
           })
        << QStringLiteral("ACTION=UPD\nCUST_ID=400000001\nRFND_NBR=42\nAPPROVE_ID=1001\n"
                          "RCPT_NBR=R0000042\nSTTS_CD=3");
    QTest::newRow("3 neither kind chosen: no code, receiver and quarter comment past")
        << "3" << Change()
        << QStringLiteral("ACTION=UPD\nCUST_ID=400000001\nRFND_NBR=42\nRFND_BY_ID=1001\n"
                          "WRNT_NBR=\nRFND_DT=2026-11-20\nRCPT_NBR=R0000042\nSTTS_CD=4");
}

void TestRefundRecord::rowAtEachStep()
{
    QFETCH(QString, status);
    QFETCH(Change, change);
    QFETCH(QString, record);
    RefundFormValues form = formAt(status);
    if (change)
        change(form);
    RecordSet rs(QStringLiteral("REFUND"));
    addRefundRow(rs, form);
    QCOMPARE(rs.count(), 1);
    QCOMPARE(fields(rs), record);
    QCOMPARE(nextRefundStatus(status, form.refundKind == 0),
             record.section(QStringLiteral("STTS_CD="), 1));
}

void TestRefundRecord::voidRowNamesTheOfficer()
{
    RecordSet rs(QStringLiteral("REFUND"));
    addVoidRow(rs, formAt(QStringLiteral("2")));
    QCOMPARE(fields(rs), QStringLiteral("ACTION=UPD\nCUST_ID=400000001\nRFND_NBR=42\nSTTS_CD=V\n"
                                        "VOID_ID=1001\nRCPT_NBR=R0000042"));
}

QTEST_APPLESS_MAIN(TestRefundRecord)
#include "tst_refundrecord.moc"
