// The print data of a final worksheet, element by element, and the print itself through the
// template print object.
#include "test_main.h"
#include "worksheetfixture.h"

#include <QLabel>
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

const QStringList kElements =
    QStringLiteral("REFUNDNO REFUNDAMT REFUNDSTAT REFUNDTO CUSTNAME CUSTADDR CUSTSTATE CUSTCITY "
                   "CUSTZIP PREPAREDBY VERIFIEDBY APPROVEDBY DATEMAILED HEADQUARTERCOMMENT OVERAGE "
                   "WARRANTNO REFUNDDATE REFUNDBY FISCALCOMMENT")
        .split(u' ');

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
    QStringList values;
    for (const QString &name : kElements)
        values.append(p.values.value(name));
    QCOMPARE(values.join(u'|'),
             QStringLiteral("42|$12,000.00|TRANSFERRED|To Other|Smith & <Sons> \"Ltd\"|"
                            "12 Quay Street Unit 4|NH|Portsmouth|03801|1002|1003|1002|11/22/2026|"
                            "Overpaid twice|Transferred||11/18/2026|1003|Moved to 2027\nA<B & C"));
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
    // Beside the data's officer numbers, the names the screen shows.
    QCOMPARE(job.extra.size(), 4);
    QCOMPARE(job.extra[0], (QPair<QString, QString>(QStringLiteral("PREPAREDBYNAME"),
                                                    f.sheet->findChild<QLabel *>(QStringLiteral("mLblOfficerName(0)"))->text())));
    QVERIFY(!job.extra[0].second.isEmpty());

    // A failing print is passed over, and the object is still closed.
    f.tp.templatePrinting.failPrint = true;
    f.button(3)->click();
    QCOMPARE(f.tp.templatePrinting.jobs.size(), 2);
    QVERIFY(!f.tp.templatePrinting.jobs[1].printed && f.tp.templatePrinting.jobs[1].closed);
    QCOMPARE(f.tp.reporter.reports.size(), 1);
}

KORVA_TEST_MAIN(TestWorksheetPrint)
#include "tst_worksheetprint.moc"
