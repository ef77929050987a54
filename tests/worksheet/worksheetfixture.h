#pragma once

// A worksheet on the test kit's platform, opened the way the document opens it and answered
// by the fake broker with a REFUND record a test describes field by field.
#include "platform/controls/dtp.h"
#include "testkit.h"
#include "worksheet/korva_worksheet.h"

#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

#include <memory>

namespace korva::wstest {

using Values = QList<QPair<QString, QVariant>>;

inline FieldType typeOf(const QString &field)
{
    if (field == u"RFND_AMT")
        return FieldType::Decimal;
    if (field == u"DT_MLD" || field == u"RFND_DT" || field == u"CREATED_DT")
        return FieldType::Date;
    return FieldType::Text;
}

// One REFUND row; a null value stays null, as the details reply sends absent officers.
inline RecordSetPtr refundRecord(const Values &values)
{
    QList<Field> fields;
    QList<QVariant> row;
    for (const auto &[name, value] : values) {
        fields.append({name, typeOf(name)});
        row.append(value);
    }
    return testkit::makeRecordSet(QStringLiteral("REFUND"), fields, {row});
}

// What the details reply of a refund at `status` carries: officers up to that status.
inline Values refundAt(const QString &status)
{
    const int step = status == u"5" || status == u"T" ? 4 : status == u"V" ? 2 : status.toInt();
    const bool issued = status == u"4" || status == u"5" || status == u"T";
    auto upTo = [&](int n, const char *id) {
        return step >= n ? QVariant(QString::fromLatin1(id)) : QVariant();
    };
    return {{QStringLiteral("RCPT_NBR"), QStringLiteral("R0000042 ")},
            {QStringLiteral("CUST_ID"), QStringLiteral(" 400000001")},
            {QStringLiteral("RFND_NBR"), QStringLiteral("42")},
            {QStringLiteral("RFND_AMT"), 12000.0},
            {QStringLiteral("TO"), step >= 1 ? QVariant(QStringLiteral("2")) : QVariant()},
            {QStringLiteral("DT_MLD"), status == u"5" ? QVariant(QDate(2026, 11, 20)) : QVariant()},
            {QStringLiteral("CREATOR_ID"), upTo(1, "1002")},
            {QStringLiteral("VERIFY_ID"), upTo(2, "1003")},
            {QStringLiteral("APPROVE_ID"), upTo(3, "1002")},
            {QStringLiteral("RFND_BY_ID"), issued ? QVariant(QStringLiteral("1003")) : QVariant()},
            {QStringLiteral("QRT_CMMT_TXT"),
             step >= 1 ? QVariant(QStringLiteral("Overpaid twice")) : QVariant()},
            {QStringLiteral("FISCAL_CMMT_TXT"),
             status == u"T" ? QVariant(QStringLiteral("To the 2026 assessment")) : QVariant()},
            {QStringLiteral("RFND_CD"),
             issued ? QVariant(status == u"T" ? QStringLiteral("0") : QStringLiteral("1"))
                    : QVariant()},
            {QStringLiteral("WRNT_NBR"),
             issued && status != u"T" ? QVariant(QStringLiteral("W42")) : QVariant()},
            {QStringLiteral("RFND_DT"), issued ? QVariant(QDate(2026, 11, 18)) : QVariant()},
            {QStringLiteral("STTS_CD"), status},
            {QStringLiteral("CUST_NM"), QStringLiteral("Harbour Supplies Ltd ")},
            {QStringLiteral("ADDR_1"), QStringLiteral("12 Quay Street")},
            {QStringLiteral("ADDR_2"), QStringLiteral("Unit 4")},
            {QStringLiteral("CITY"), QStringLiteral("Portsmouth")},
            {QStringLiteral("STATE"), QStringLiteral("NH")},
            {QStringLiteral("ZIP"), QStringLiteral("03801")}};
}

inline void replace(Values &values, const QString &field, const QVariant &value)
{
    for (auto &v : values) {
        if (v.first == field) {
            v.second = value;
            return;
        }
    }
    values.append({field, value});
}

// The sample reference data with every refund status described, as the demo store has them.
inline BrokerReply referenceWithRefundStatuses()
{
    BrokerReply reply = testkit::sampleReferenceReply();
    const RecordSetPtr codes = reply.recordSet(QStringLiteral("ZTB_CODE"));
    const char *statuses[][2] = {{"2", "VERIFIED"}, {"3", "APPROVED"},    {"4", "REFUNDED"},
                                 {"5", "MAILED"},   {"T", "TRANSFERRED"}, {"V", "VOIDED"}};
    for (const auto &[code, text] : statuses)
        codes->appendStorageRow({QStringLiteral("NE"), QStringLiteral("REFUNDTYP"),
                                 QLatin1String(code), QLatin1String(text), QString(),
                                 QDate(1990, 1, 1), QVariant()});
    return reply;
}

struct Fixture {
    Fixture()
    {
        tp.useReferenceData(referenceWithRefundStatuses());
        sheet = std::make_unique<KORVA_WorkSheet>();
    }

    // LoadMe as the document calls it, then the details reply.
    KORVA_WorkSheet &load(const QString &status, const QString &mode = QStringLiteral("O"),
                          Values values = {})
    {
        sheet->LoadMe(QStringLiteral("400000001"), status, QStringLiteral("42"), mode);
        if (values.isEmpty())
            values = refundAt(status);
        tp.fakeBroker.replyGood({refundRecord(values)});
        return *sheet;
    }

    // The fields of the last request's REFUND record, in the order they were set.
    Values sentRecord() const
    {
        Values out;
        const RecordSetPtr rs = tp.fakeBroker.last().request.recordSet(u"REFUND");
        if (!rs || rs->count() != 1)
            return out;
        rs->moveFirst();
        for (const Field &f : rs->fields())
            out.append({f.name, rs->text(f.name)});
        return out;
    }

    QStringList boxTexts() const
    {
        QStringList out;
        for (const auto &b : tp.boxes.shown)
            out.append(b.prompt);
        return out;
    }

    // The form's controls by their objectNames, "mLblData(6)".
    template <class Control> Control *find(const char *array, int i) const
    {
        return sheet->findChild<Control *>(
            QStringLiteral("%1(%2)").arg(QLatin1String(array)).arg(i));
    }
    QLabel *label(int i) const { return find<QLabel>("mLblData", i); }
    QRadioButton *rdo(int i) const { return find<QRadioButton>("mRdo", i); }
    QPushButton *button(int i) const { return find<QPushButton>("mCmdButton", i); }
    KORVA_DTP *dtp(int i) const { return find<KORVA_DTP>("KORVA_DTP1", i); }
    QPlainTextEdit *text(int i) const { return find<QPlainTextEdit>("mTxtRefund", i); }
    QLineEdit *warrant() const { return find<QLineEdit>("mTxt", 0); }
    QGroupBox *frame(int i) const { return find<QGroupBox>("mFraRefund", i); }
    bool marked(QWidget *w) const { return tp.fieldMarks.isMarked(w); }

    testkit::TestPlatform tp;
    std::unique_ptr<KORVA_WorkSheet> sheet;
};

} // namespace korva::wstest
