#include "platform/errors.h"
#include "platform/formservices.h"
#include "platform/templateprint.h"
#include "platform/templateprintoutput.h"
#include "test_main.h"

#include <QFile>
#include <QPrinter>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTextDocument>

using namespace korva;

namespace {

// A status "5" worksheet's print data, with the characters a merge must escape.
const char kWorksheetXml[] = R"(<KORVA>
<REFUNDNO>0004217</REFUNDNO>
<REFUNDAMT>$12,345.67</REFUNDAMT>
<REFUNDSTAT>MAILED</REFUNDSTAT>
<REFUNDTO>To Taxpayer</REFUNDTO>
<CUSTNAME>Harbour &amp; Quay Supplies &lt;Ltd&gt;</CUSTNAME>
<CUSTADDR>12 Quay Street Unit 4</CUSTADDR>
<CUSTSTATE>NH</CUSTSTATE>
<CUSTCITY>Portsmouth</CUSTCITY>
<CUSTZIP>03801</CUSTZIP>
<PREPAREDBY>1002</PREPAREDBY>
<VERIFIEDBY>1003</VERIFIEDBY>
<APPROVEDBY>1004</APPROVEDBY>
<DATEMAILED>11/20/2026</DATEMAILED>
<HEADQUARTERCOMMENT>Overpaid twice in March.&#13;
Checked against the ledger.</HEADQUARTERCOMMENT>
<OVERAGE>Refunded</OVERAGE>
<WARRANTNO>W-88213</WARRANTNO>
<REFUNDDATE>11/18/2026</REFUNDDATE>
<REFUNDBY>1005</REFUNDBY>
<FISCALCOMMENT>Warrant issued from the general fund</FISCALCOMMENT>
</KORVA>)";

const QStringList kOfficerNames{QStringLiteral("PREPAREDBYNAME"), QStringLiteral("VERIFIEDBYNAME"),
                                QStringLiteral("APPROVEDBYNAME"), QStringLiteral("REFUNDBYNAME")};

QString writeFile(const QString &path, const QString &text)
{
    QFile f(path);
    if (f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        f.write(text.toUtf8());
    return path;
}

QString shippedTemplate()
{
    QFile f(BrokerFormServices::defaultTemplate(36));
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
}

template <class Call> QString refusal(Call &&call)
{
    try {
        call();
    } catch (const ProcError &e) {
        return e.description();
    }
    return QStringLiteral("(nothing refused)");
}

// Answers the print prompts as a user would, and remembers what was said.
class ScriptedPrompts : public PrintPrompts {
public:
    PrintChoice choice = PrintChoice::Cancel;
    QString path;
    QStringList told;
    QString suggested;

    PrintChoice choose(const QString &) override { return choice; }
    void preview(QPrinter &, const std::function<void(QPrinter *)> &) override {}
    bool choosePrinter(QPrinter &) override { return false; }
    QString pdfPath(const QString &name) override
    {
        suggested = name;
        return path;
    }
    void tell(const QString &text) override { told.append(text); }
};

} // namespace

class TestTemplatePrint : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;

    QString pdfText(const QString &pdf)
    {
        QProcess p;
        p.start(QStringLiteral("pdftotext"), {QStringLiteral("-layout"), pdf, QStringLiteral("-")});
        if (!p.waitForFinished(30000) || p.exitCode() != 0)
            return {};
        return QString::fromUtf8(p.readAllStandardOutput());
    }

private slots:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void mergeEscapesValuesAndFillsEveryPlaceholder()
    {
        const PrintData data = readPrintData(QString::fromLatin1(kWorksheetXml));
        QCOMPARE(data.rootName, QStringLiteral("KORVA"));
        QCOMPARE(data.values.size(), 19);
        QCOMPARE(data.values.at(6).first, QStringLiteral("CUSTSTATE")); // order kept
        const QString merged = mergeTemplate(
            QStringLiteral(
                "<p title=\"{{CUSTNAME}}\">{{ REFUNDNO }}/{{REFUNDNO}}</p>{{HEADQUARTERCOMMENT}}"
                "{x}{{REFUNDTO}"),
            data, QStringLiteral("t.html"));
        QCOMPARE(merged, QStringLiteral("<p title=\"Harbour &amp; Quay Supplies &lt;Ltd&gt;\">"
                                        "0004217/0004217</p>Overpaid twice in March.<br/>"
                                        "Checked against the ledger.{x}{{REFUNDTO}"));
        // Commented out, a placeholder needs no element and stays as written.
        QCOMPARE(mergeTemplate(QStringLiteral("<!-- {{OLD}} -->{{REFUNDNO}}<!-- {{X}}"), data, {}),
                 QStringLiteral("<!-- {{OLD}} -->0004217<!-- {{X}}"));
        // Quotes of both kinds, so a value can sit in an attribute of either.
        PrintData quotes;
        quotes.values = {{QStringLiteral("V"), QStringLiteral("O'Brien \"Jr\"")}};
        QCOMPARE(mergeTemplate(QStringLiteral("{{V}}"), quotes, {}),
                 QStringLiteral("O&#39;Brien &quot;Jr&quot;"));

        // The shipped template asks for exactly the worksheet's elements and the officers'
        // names given beside them.
        QStringList names = kOfficerNames;
        for (const auto &v : data.values)
            names.append(v.first);
        QStringList used = templatePlaceholders(shippedTemplate());
        used.sort();
        names.sort();
        QCOMPARE(used, names);
    }

    void refusalsNameThePlaceholderOrTheFile()
    {
        const PrintData data = readPrintData(QString::fromLatin1(kWorksheetXml));
        QString text = refusal([&] {
            mergeTemplate(QStringLiteral("{{REFUNDNO}} {{REFUNDNUM}}"), data,
                          QStringLiteral("/t/36.html"));
        });
        QVERIFY2(text.contains(QStringLiteral("{{REFUNDNUM}}")) &&
                     text.contains(QStringLiteral("/t/36.html")),
                 qPrintable(text));
        text = refusal(
            [&] { mergeTemplate(QStringLiteral("{{A}}{{B}}{{A}}"), data, QStringLiteral("x")); });
        QVERIFY2(text.contains(QStringLiteral("{{A}}, {{B}}")), qPrintable(text));

        const QString missing = m_dir.filePath(QStringLiteral("nowhere/36.html"));
        text = refusal([&] { readTemplateFile(missing); });
        QVERIFY2(text.contains(missing) && text.contains(QStringLiteral("does not exist")),
                 qPrintable(text));
        text = refusal([&] { readTemplateFile(m_dir.path()); });
        QVERIFY2(text.contains(m_dir.path()) && text.contains(QStringLiteral("cannot be read")),
                 qPrintable(text));
        text = refusal([] { readPrintData(QStringLiteral("<KORVA><REFUNDNO>1</KORVA>")); });
        QVERIFY2(text.contains(QStringLiteral("not well-formed")), qPrintable(text));
        text = refusal([] { readPrintData(QString()); });
        QVERIFY2(text.contains(QStringLiteral("not an XML document")), qPrintable(text));
    }

    void theJobRefusesBeforePrintingAndPrintsOnlyWhatItWasGiven()
    {
        auto output = std::make_shared<PdfFileOutput>(m_dir.filePath(QStringLiteral("never.pdf")));
        const QString bad = writeFile(m_dir.filePath(QStringLiteral("bad.html")),
                                      QStringLiteral("<p>{{REFUNDNO}} {{WARANTNO}}</p>"));
        TemplatePrintJob job(output);
        QVERIFY_THROWS_EXCEPTION(ProcError, job.print()); // nothing given yet
        job.setTemplatePath(bad);
        // The data names the mistake at once: the caller ignores errors of print itself.
        const QString text = refusal([&] { job.setXml(QString::fromLatin1(kWorksheetXml)); });
        QVERIFY2(text.contains(QStringLiteral("{{WARANTNO}}")), qPrintable(text));
        QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("never.pdf"))));

        TemplatePrintJob missing(output);
        QVERIFY_THROWS_EXCEPTION(
            ProcError, missing.setTemplatePath(m_dir.filePath(QStringLiteral("gone.html"))));
        missing.setXml(QString::fromLatin1(kWorksheetXml));
        QVERIFY_THROWS_EXCEPTION(ProcError, missing.print());

        job.close();
        QVERIFY_THROWS_EXCEPTION(ProcError, job.print());
    }

    void aPrintedWorksheetHoldsEveryValue()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("pdftotext")).isEmpty())
            QSKIP("pdftotext (poppler-utils) is not installed, so the PDF cannot be read back");
        const QString templatePath =
            writeFile(m_dir.filePath(QStringLiteral("refund_worksheet.xml")), shippedTemplate());
        const QString pdf = m_dir.filePath(QStringLiteral("worksheet.pdf"));
        QtTemplatePrinting printing(std::make_shared<PdfFileOutput>(pdf));
        auto job = printing.CreatePrintObject();
        for (const QString &name : kOfficerNames)
            job->setExtraValue(name, QStringLiteral("OFFICER ") + name.left(4));
        job->setTemplatePath(templatePath);
        job->setXml(QString::fromLatin1(kWorksheetXml));
        job->print();
        job->close();

        const QString text = pdfText(pdf);
        QVERIFY2(!text.isEmpty(), "pdftotext read nothing");
        // Every value line by line (the merge test pins that all nineteen are read), then the
        // page's own heading and number.
        QStringList expected;
        for (const auto &value : readPrintData(QString::fromLatin1(kWorksheetXml)).values)
            expected += value.second.split(QRegularExpression(QStringLiteral("[\r\n]+")),
                                           Qt::SkipEmptyParts);
        expected += {QStringLiteral("Refund Worksheet 0004217"), QStringLiteral("Page 1 of 1")};
        for (const QString &name : kOfficerNames)
            expected += QStringLiteral("OFFICER ") + name.left(4);
        QCOMPARE(expected.size(), 26);
        for (const QString &value : expected)
            QVERIFY2(text.contains(value), qPrintable(value));
    }

    void longPrintoutsAreNumberedOnEveryPage()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("pdftotext")).isEmpty())
            QSKIP("pdftotext (poppler-utils) is not installed, so the PDF cannot be read back");
        QString body = QStringLiteral("<html><head><title>Long</title></head><body>");
        for (int i = 0; i < 150; ++i)
            body += QStringLiteral("<p>Line %1 of the comment</p>").arg(i);
        const std::unique_ptr<QTextDocument> doc =
            layoutDocument(body + QStringLiteral("</body></html>"), {});
        const QString pdf = m_dir.filePath(QStringLiteral("long.pdf"));
        PdfFileOutput(pdf).deliver(*doc, QStringLiteral("Long"));
        const QString text = pdfText(pdf);
        const qsizetype pages = text.count(u'\f');
        QVERIFY2(pages >= 2, qPrintable(text.left(200)));
        for (int p = 1; p <= pages; ++p)
            QVERIFY2(text.contains(QStringLiteral("Page %1 of %2").arg(p).arg(pages)),
                     qPrintable(QString::number(p)));
        QVERIFY(text.contains(QStringLiteral("Line 149 of the comment")));
    }

    void theUsersChoiceDecidesWhereThePrintoutGoes()
    {
        auto prompts = std::make_shared<ScriptedPrompts>();
        InteractivePrintOutput output(prompts);
        const std::unique_ptr<QTextDocument> doc = layoutDocument(QStringLiteral("<p>x</p>"), {});

        prompts->choice = PrintChoice::SavePdf;
        prompts->path = m_dir.filePath(QStringLiteral("chosen.pdf"));
        output.deliver(*doc, QStringLiteral("Refund Worksheet 0004217"));
        QCOMPARE(prompts->suggested, QStringLiteral("Refund Worksheet 0004217.pdf"));
        QVERIFY(QFileInfo(prompts->path).size() > 0);
        QVERIFY(prompts->told.isEmpty());

        // A file that cannot be written is told to the user, not thrown past the caller.
        prompts->path = m_dir.filePath(QStringLiteral("no/such/folder/x.pdf"));
        output.deliver(*doc, QStringLiteral("T"));
        QCOMPARE(prompts->told.size(), 1);
        QVERIFY2(prompts->told.first().contains(prompts->path), qPrintable(prompts->told.first()));

        prompts->choice = PrintChoice::Cancel;
        prompts->path = m_dir.filePath(QStringLiteral("cancelled.pdf"));
        output.deliver(*doc, QStringLiteral("T"));
        QVERIFY(!QFile::exists(prompts->path));
    }

    void templatePathsResolveInsideTheDataFolder_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("resolved"); // "@" stands for the data folder
        QTest::newRow("relative") << QStringLiteral("templates/refund_worksheet.xml")
                                  << QStringLiteral("@/templates/refund_worksheet.xml");
        QTest::newRow("bare name, blanks")
            << QStringLiteral(" ws.html ") << QStringLiteral("@/ws.html");
        QTest::newRow("backslashes")
            << QStringLiteral("templates\\ws.html") << QStringLiteral("@/templates/ws.html");
        QTest::newRow("absolute") << QStringLiteral("/srv/forms/ws.html")
                                  << QStringLiteral("/srv/forms/ws.html");
        QTest::newRow("drive") << QStringLiteral("K:\\Forms\\ws.html")
                               << QStringLiteral("K:/Forms/ws.html");
        QTest::newRow("share") << QStringLiteral("\\\\server\\forms\\ws.html")
                               << QStringLiteral("//server/forms/ws.html");
        QTest::newRow("empty") << QStringLiteral("  ") << QString();
    }
    void templatePathsResolveInsideTheDataFolder()
    {
        QFETCH(QString, stored);
        QFETCH(QString, resolved);
        BrokerFormServices forms(nullptr);
        forms.setDataFolder(QStringLiteral("/home/o/data"));
        forms.setTemplatePath(36, stored);
        QCOMPARE(forms.TemplatePath(36),
                 QString(resolved).replace(u'@', QStringLiteral("/home/o/data")));
        QCOMPARE(forms.TemplatePath(37), QString()); // no row: no template
    }

    void theShippedTemplateIsInstalledOnceAndEditsAreKept()
    {
        const QString data = m_dir.filePath(QStringLiteral("desk"));
        BrokerFormServices forms(nullptr);
        forms.setDataFolder(data);
        forms.setTemplatePath(36, QStringLiteral("templates/refund_worksheet.xml"));
        forms.setTemplatePath(12, QStringLiteral("templates/other.html")); // none ships
        forms.setTemplatePath(13, m_dir.filePath(QStringLiteral("shared/ws.html")));
        const QString target = data + QStringLiteral("/templates/refund_worksheet.xml");
        QCOMPARE(forms.installDefaultTemplates(), QStringList{target});
        QCOMPARE(readTemplateFile(target), shippedTemplate());
        QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("shared/ws.html"))));

        writeFile(target, QStringLiteral("<p>edited {{REFUNDNO}}</p>"));
        QVERIFY(forms.installDefaultTemplates().isEmpty());
        QCOMPARE(readTemplateFile(target), QStringLiteral("<p>edited {{REFUNDNO}}</p>"));
    }
};

KORVA_TEST_MAIN(TestTemplatePrint)
#include "tst_templateprint.moc"
