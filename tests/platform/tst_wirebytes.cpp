// The reply's form on the bus: every value comes back with its type, its nulls and, for
// timestamps, its offset; it says what the JSON form says; and no malformed bytes get past
// the reader.
#include <platform/errors.h>
#include <platform/wire.h>
#include <platform/wirebytes.h>

#include <QCborArray>
#include <QCborMap>
#include <QCborValue>
#include <QTest>

#include <limits>

using namespace korva;

class TestWireBytes : public QObject {
    Q_OBJECT
private slots:
    void valuesComeBackWithTheirTypes();
    void malformedBytesAreRefused_data();
    void malformedBytesAreRefused();
};

namespace {

// `widest`: whole numbers at the ends of 64 bits, which the JSON form cannot carry exactly.
BrokerReply sample(bool widest = true)
{
    const qlonglong big = widest ? std::numeric_limits<qlonglong>::max() : 9007199254740991;
    const qlonglong small = widest ? std::numeric_limits<qlonglong>::min() : -9007199254740991;
    auto rs = RecordSet::create(QStringLiteral("LIST \"one\""),
                                {{QStringLiteral("TXT"), FieldType::Text},
                                 {QStringLiteral("NUM"), FieldType::Integer},
                                 {QStringLiteral("AMT"), FieldType::Decimal},
                                 {QStringLiteral("DAY"), FieldType::Date},
                                 {QStringLiteral("TS"), FieldType::Timestamp}});
    rs->appendStorageRow({QStringLiteral("quote \" back \\ tab\t nl\n bell\x07 é ✓"), big, 1234.5,
                          QDate(2026, 2, 28),
                          QDateTime(QDate(2026, 11, 22), QTime(9, 30, 1, 250))});
    rs->appendStorageRow({QStringLiteral(""), small, 0.1, QDate(1, 1, 1),
                          QDateTime(QDate(2026, 1, 2), QTime(0, 0), Qt::UTC)});
    rs->appendStorageRow({QStringLiteral("y"), qlonglong(-7), 99.99, QDate(9999, 12, 31),
                          QDateTime(QDate(2026, 7, 1), QTime(23, 59, 59, 999), Qt::OffsetFromUTC,
                                    -(3 * 3600 + 30 * 60))});
    rs->appendStorageRow({{}, {}, {}, {}, {}});
    BrokerReply reply;
    reply.identity = QStringLiteral("KORVA.AssignMaint");
    reply.tag = QStringLiteral("REQ00000042");
    reply.error = QStringLiteral("line one\nline \"two\"");
    reply.recordSets.insert(QStringLiteral("ASSIGNMENT"), rs);
    reply.recordSets.insert(QStringLiteral("EMPTY"), RecordSet::create(QStringLiteral("EMPTY")));
    return reply;
}

void compareCell(const QVariant &got, const QVariant &want)
{
    QCOMPARE(got.isNull(), want.isNull());
    if (want.isNull())
        return;
    QCOMPARE(got.typeId(), want.typeId());
    if (want.typeId() == QMetaType::QDateTime) {
        const QDateTime a = got.toDateTime();
        const QDateTime b = want.toDateTime();
        QCOMPARE(a.toMSecsSinceEpoch(), b.toMSecsSinceEpoch());
        QCOMPARE(a.timeSpec(), b.timeSpec());
        QCOMPARE(a.offsetFromUtc(), b.offsetFromUtc());
        return;
    }
    QCOMPARE(got, want);
}

void compare(const BrokerReply &got, const BrokerReply &want)
{
    QCOMPARE(got.identity, want.identity);
    QCOMPARE(got.tag, want.tag);
    QCOMPARE(got.error, want.error);
    QCOMPARE(got.recordSets.keys(), want.recordSets.keys());
    for (auto it = want.recordSets.cbegin(); it != want.recordSets.cend(); ++it) {
        const RecordSetPtr a = got.recordSets.value(it.key());
        const RecordSetPtr b = it.value();
        QCOMPARE(a->name(), b->name());
        QCOMPARE(a->fieldCount(), b->fieldCount());
        for (int c = 0; c < b->fieldCount(); ++c) {
            QCOMPARE(a->fields().at(c).name, b->fields().at(c).name);
            QCOMPARE(a->fields().at(c).type, b->fields().at(c).type);
        }
        QCOMPARE(a->storageCount(), b->storageCount());
        for (int r = 0; r < b->storageCount(); ++r) {
            for (int c = 0; c < b->fieldCount(); ++c) {
                compareCell(a->storageRow(r).at(c), b->storageRow(r).at(c));
                if (QTest::currentTestFailed())
                    return;
            }
        }
    }
}

QByteArray reply(const QCborMap &recordSet)
{
    return QCborMap{{QStringLiteral("recordSets"), QCborMap{{QStringLiteral("A"), recordSet}}}}
        .toCborValue()
        .toCbor();
}

// A record set of one field of `type` holding the one row `row`.
QCborMap oneField(const QString &type, const QCborArray &row)
{
    QCborArray rows;
    rows.append(row); // braces would copy the row instead of nesting it
    return QCborMap{
        {QStringLiteral("fields"), QCborArray{QCborArray{QStringLiteral("F"), type}}},
        {QStringLiteral("rows"), rows}};
}

} // namespace

void TestWireBytes::valuesComeBackWithTheirTypes()
{
    const BrokerReply sent = sample();
    const QByteArray bytes = wire::replyBytes(sent);
    const BrokerReply got = wire::replyFromBytes(bytes);
    compare(got, sent);
    if (QTest::currentTestFailed())
        return;
    // The empty text stays a present value and the null one null.
    QVERIFY(!got.recordSet(QStringLiteral("ASSIGNMENT"))->storageRow(1).at(0).isNull());
    // What the bus carries is what the JSON form says.
    const BrokerReply narrow = sample(false);
    compare(wire::replyFromBytes(wire::replyBytes(narrow)),
            wire::replyFromJson(wire::toJson(narrow)));
    // And once read, it is written again to the very same bytes.
    QCOMPARE(wire::replyBytes(got), bytes);
}

void TestWireBytes::malformedBytesAreRefused_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const QByteArray whole = wire::replyBytes(sample());
    for (const qsizetype cut : {qsizetype(0), qsizetype(1), whole.size() / 2, whole.size() - 1})
        QTest::addRow("cut at %d", int(cut)) << whole.left(cut);
    QTest::newRow("JSON, not CBOR") << QByteArray(R"({"identity":"x"})");
    QTest::newRow("a text for a number")
        << reply(oneField(QStringLiteral("integer"), QCborArray{QStringLiteral("x")}));
    QTest::newRow("a fraction for a number")
        << reply(oneField(QStringLiteral("integer"), QCborArray{1.5}));
    // -2^64: a CBOR negative integer that no 64-bit integer holds.
    QByteArray wide = reply(oneField(QStringLiteral("integer"), QCborArray{12345678}));
    wide.replace(QByteArray::fromHex("1a00bc614e"), QByteArray::fromHex("3bffffffffffffffff"));
    QTest::newRow("beyond 64 bits") << wide;
    QTest::newRow("an untagged date")
        << reply(oneField(QStringLiteral("date"), QCborArray{20000}));
    QTest::newRow("a date out of range") << reply(
        oneField(QStringLiteral("date"), QCborArray{QCborValue(QCborTag(100), qint64(1) << 60)}));
    QTest::newRow("an offset of a day")
        << reply(oneField(QStringLiteral("timestamp"), QCborArray{QCborArray{0, 86400}}));
    QTest::newRow("infinity for an amount")
        << reply(oneField(QStringLiteral("decimal"), QCborArray{qInf()}));
    QTest::newRow("a value short")
        << reply(QCborMap{{QStringLiteral("fields"),
                           QCborArray{QCborArray{QStringLiteral("F"), QStringLiteral("text")},
                                      QCborArray{QStringLiteral("G"), QStringLiteral("text")}}},
                          {QStringLiteral("rows"), QCborArray{QCborArray{QStringLiteral("x")}}}});
    QTest::newRow("a value over") << reply(
        oneField(QStringLiteral("text"), QCborArray{QStringLiteral("x"), QStringLiteral("y")}));
    QTest::newRow("an unknown type") << reply(oneField(QStringLiteral("blob"), QCborArray()));
    QTest::newRow("rows before fields") << reply(
        QCborMap{{QStringLiteral("rows"), QCborArray{}}, {QStringLiteral("fields"), QCborArray{}}});
    // A length field promising a trillion rows in a few bytes.
    QByteArray promise = reply(QCborMap{
        {QStringLiteral("fields"), QCborArray{QCborArray{QStringLiteral("F"), QStringLiteral("text")}}},
        {QStringLiteral("rows"), QCborArray()}});
    promise.chop(1);
    promise += QByteArray::fromHex("9b000000e8d4a51000");
    QTest::newRow("a trillion rows promised") << promise;
}

void TestWireBytes::malformedBytesAreRefused()
{
    QFETCH(QByteArray, bytes);
    QVERIFY_THROWS_EXCEPTION(ProcError, wire::replyFromBytes(bytes));
}

QTEST_GUILESS_MAIN(TestWireBytes)
#include "tst_wirebytes.moc"
