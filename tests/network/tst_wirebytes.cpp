// The reply written straight to bytes reads back, through either reader, as the same values;
// the hand-written JSON must escape what a text may hold.
#include <platform/errors.h>
#include <platform/wire.h>
#include <platform/wirebytes.h>

#include <QJsonDocument>
#include <QTest>

using namespace korva;

class TestWireBytes : public QObject {
    Q_OBJECT
private slots:
    void bothReadersSeeTheSameValues();
    void malformedBytesAreRefused();
};

namespace {

BrokerReply sample()
{
    auto rs = RecordSet::create(QStringLiteral("LIST \"one\""),
                                {{QStringLiteral("TXT"), FieldType::Text},
                                 {QStringLiteral("NUM"), FieldType::Integer},
                                 {QStringLiteral("AMT"), FieldType::Decimal},
                                 {QStringLiteral("DAY"), FieldType::Date},
                                 {QStringLiteral("TS"), FieldType::Timestamp}});
    const QDateTime ts(QDate(2026, 11, 22), QTime(9, 30, 1, 250));
    rs->appendStorageRow({QStringLiteral("quote \" back \\ tab\t nl\n bell\x07 é ✓"),
                          qlonglong(9007199254740991), 1234.5, QDate(2026, 2, 28), ts});
    rs->appendStorageRow({QStringLiteral(""), qlonglong(-7), 0.0, QDate(1997, 1, 27), {}});
    rs->appendStorageRow({{}, {}, {}, {}, {}});
    rs->appendStorageRow({QStringLiteral("x"), qlonglong(-9007199254740991), -0.5,
                          QDate(1, 1, 1), QDateTime(QDate(2026, 1, 2), QTime(0, 0), Qt::UTC)});
    rs->appendStorageRow({QStringLiteral("y"), qlonglong(0), 99.99, QDate(2024, 2, 29),
                          QDateTime(QDate(2026, 7, 1), QTime(23, 59, 59, 999), Qt::OffsetFromUTC,
                                    -(3 * 3600 + 30 * 60))});
    BrokerReply reply;
    reply.identity = QStringLiteral("KORVA.AssignMaint");
    reply.tag = QStringLiteral("REQ00000042");
    reply.error = QStringLiteral("line one\nline \"two\"");
    reply.recordSets.insert(QStringLiteral("ASSIGNMENT"), rs);
    reply.recordSets.insert(QStringLiteral("EMPTY"), RecordSet::create(QStringLiteral("EMPTY")));
    return reply;
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
                const QVariant x = a->storageRow(r).at(c);
                const QVariant y = b->storageRow(r).at(c);
                QCOMPARE(x.isNull(), y.isNull());
                if (!y.isNull())
                    QCOMPARE(x.toString(), y.toString());
            }
        }
    }
}

} // namespace

void TestWireBytes::bothReadersSeeTheSameValues()
{
    const BrokerReply reply = sample();
    // The empty text stays a present value and the null one null, whichever way it went.
    const QByteArray fast = wire::replyBytes(reply);
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(fast, &error);
    QVERIFY2(doc.isObject(), qPrintable(error.errorString()));
    // Written by hand for speed, yet the very document the reference writer makes.
    QCOMPARE(doc.object(), wire::toJson(reply));
    compare(wire::replyFromJson(doc.object()), reply);
    compare(wire::replyFromBytes(fast), reply);
    compare(wire::replyFromBytes(QJsonDocument(wire::toJson(reply)).toJson()), reply);
    QVERIFY(!wire::replyFromBytes(fast)
                 .recordSet(QStringLiteral("ASSIGNMENT"))
                 ->storageRow(1)
                 .at(0)
                 .isNull());
}

void TestWireBytes::malformedBytesAreRefused()
{
    QVERIFY_THROWS_EXCEPTION(ProcError, wire::replyFromBytes("{\"identity\":"));
    QVERIFY_THROWS_EXCEPTION(
        ProcError,
        wire::replyFromBytes(R"({"recordSets":{"A":{"fields":[{"name":"N","type":"integer"}],)"
                             R"("rows":[[1.5]]}}})"));
    QVERIFY_THROWS_EXCEPTION(ProcError,
                             wire::replyFromBytes(R"({"recordSets":{"A":{"fields":[{"name":"N"}],)"
                                                  R"("rows":[[1,2]]}}})"));
}

QTEST_GUILESS_MAIN(TestWireBytes)
#include "tst_wirebytes.moc"
