// The print data of a final worksheet, element by element, and the print itself through the
// template print object.
#include "test_main.h"
#include "worksheetfixture.h"

#include <QXmlStreamReader>

using namespace korva;
using namespace korva::wstest;

namespace {

struct Parsed {
    QString root;
    QStringList names;
    QHash<QString, QString> values;
    bool wellFormed = false;
};

Parsed parse(const QString &xml)
{
    Parsed p;
    QXmlStreamReader r(xml);
    int depth = 0;
    while (!r.atEnd()) {
        r.readNext();
        if (r.isStartElement()) {
            if (++depth == 1) {
                p.root = r.name().toString();
            } else {
                const QString name = r.name().toString();
                p.names.append(name);
                p.values.insert(name, r.readElementText());
                --depth;
            }
        } else if (r.isEndElement()) {
            --depth;
        }
    }
    p.wellFormed = !r.hasError();
    return p;
}

const QStringList kElements{QStringLiteral("REFUNDNO"),     QStringLiteral("REFUNDAMT"),
                            QStringLiteral("REFUNDSTAT"),   QStringLiteral("REFUNDTO"),
                            QStringLiteral("CUSTNAME"),     QStringLiteral("CUSTADDR"),
                            QStringLiteral("CUSTSTATE"),    QStringLiteral("CUSTCITY"),
                            QStringLiteral("CUSTZIP"),      QStringLiteral("PREPAREDBY"),
                            QStringLiteral("VERIFIEDBY"),   QStringLiteral("APPROVEDBY"),
                            QStringLiteral("DATEMAILED"),   QStringLiteral("HEADQUARTERCOMMENT"),
                            QStringLiteral("OVERAGE"),      QStringLiteral("WARRANTNO"),
                            QStringLiteral("REFUNDDATE"),   QStringLiteral("REFUNDBY"),
                            QStringLiteral("FISCALCOMMENT")};

} // namespace

class TestWorksheetPrint : public QObject {
    Q_OBJECT
private slots:
    void transferredWorksheet();
    void voidedWorksheetWithoutReceiver();
    void printingMergesIntoTemplate36();
};

void TestWorksheetPrint::transferredWorksheet()
{
    Fixture f;
    Values v = refundAt(QStringLiteral("T"));
    replace(v, QStringLiteral("CUST_NM"), QStringLiteral("Smith & <Sons> \"Ltd\""));
    replace(v, QStringLiteral("FISCAL_CMMT_TXT"), QStringLiteral("Moved to 2027\nA<B & C"));
    replace(v, QStringLiteral("TO"), QStringLiteral("4"));
    f.load(QStringLiteral("T"), QStringLiteral("O"), v);
    const Parsed p = parse(f.sheet->GetWorkSheetforPrint());
    QVERIFY(p.wellFormed);
    QCOMPARE(p.root, QStringLiteral("KORVA"));
    QCOMPARE(p.names, kElements);
    // In element order. The mail date picker is shown, though off, so its date is printed;
    // an XML reader sees every line end as a line feed.
    const QStringList expected{QStringLiteral("42"),
                               QStringLiteral("$12,000.00"),
                               QStringLiteral("TRANSFERRED"),
                               QStringLiteral("To Other"),
                               QStringLiteral("Smith & <Sons> \"Ltd\""),
                               QStringLiteral("12 Quay Street Unit 4"),
                               QStringLiteral("NH"),
                               QStringLiteral("Portsmouth"),
                               QStringLiteral("03801"),
                               QStringLiteral("1002"),
                               QStringLiteral("1003"),
                               QStringLiteral("1002"),
                               QStringLiteral("11/22/2026"),
                               QStringLiteral("Overpaid twice"),
                               QStringLiteral("Transferred"),
                               QString(),
                               QStringLiteral("11/18/2026"),
                               QStringLiteral("1003"),
                               QStringLiteral("Moved to 2027\nA<B & C")};
    for (int i = 0; i < kElements.size(); ++i)
        QCOMPARE(p.values.value(kElements[i]), expected[i]);
}

void TestWorksheetPrint::voidedWorksheetWithoutReceiver()
{
    Fixture f;
    Values v = refundAt(QStringLiteral("1"));
    replace(v, QStringLiteral("TO"), QVariant());
    f.load(QStringLiteral("1"), QStringLiteral("O"), v);
    f.rdo(2)->setChecked(true); // the void's checks want a receiver; it is dropped again below
    f.button(2)->click();
    f.tp.fakeBroker.replyGood({refundRecord(v)});
    QCOMPARE(f.label(11)->text(), QStringLiteral("VOIDED"));
    f.rdo(2)->setAutoExclusive(false);
    f.rdo(2)->setChecked(false);
    const QString xml = f.sheet->GetWorkSheetforPrint();
    const Parsed p = parse(xml);
    QCOMPARE(p.names, kElements);
    QCOMPARE(p.values.value(QStringLiteral("REFUNDSTAT")), QStringLiteral("VOIDED"));
    // Empty elements stay in the document; hidden pickers print no date.
    for (const char *empty : {"REFUNDTO", "DATEMAILED", "OVERAGE", "REFUNDDATE", "REFUNDBY"})
        QVERIFY2(p.values.contains(QLatin1String(empty)) &&
                     p.values.value(QLatin1String(empty)).isEmpty(),
                 empty);
    QVERIFY(!xml.startsWith(u"<?xml"));
}

void TestWorksheetPrint::printingMergesIntoTemplate36()
{
    Fixture f;
    f.load(QStringLiteral("5"));
    QVERIFY(f.button(3)->isEnabled());
    f.button(3)->click();
    QVERIFY(f.tp.templatePrinting.jobs.isEmpty());
    QCOMPARE(f.tp.reporter.reports.size(), 1);
    QCOMPARE(f.tp.reporter.reports[0].text,
             QStringLiteral("No template file is available for print. Contact your system "
                            "administrator."));
    QCOMPARE(f.tp.reporter.reports[0].source, QStringLiteral("KORVA_WorkSheet.PrintWorksheet"));

    f.tp.formServices.templates.insert(36, QStringLiteral("templates/refund_worksheet.xml"));
    f.button(3)->click();
    QCOMPARE(f.tp.templatePrinting.jobs.size(), 1);
    const auto &job = f.tp.templatePrinting.jobs[0];
    QCOMPARE(job.templatePath, QStringLiteral("templates/refund_worksheet.xml"));
    QCOMPARE(job.xml, f.sheet->GetWorkSheetforPrint());
    QVERIFY(job.printed && job.closed);

    // A failing print is passed over, and the object is still closed.
    f.tp.templatePrinting.failPrint = true;
    f.button(3)->click();
    QCOMPARE(f.tp.templatePrinting.jobs.size(), 2);
    QVERIFY(!f.tp.templatePrinting.jobs[1].printed && f.tp.templatePrinting.jobs[1].closed);
    QCOMPARE(f.tp.reporter.reports.size(), 1);
}

KORVA_TEST_MAIN(TestWorksheetPrint)
#include "tst_worksheetprint.moc"
