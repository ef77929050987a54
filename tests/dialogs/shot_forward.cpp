// Renders the add-officers and forward dialogs for a look at the screens (run under
// xvfb-run, or offscreen):
//   shot_forward [add-officers.png] [forward.png]
#include "dialogs/frmaddofficer.h"
#include "dialogs/frmassignforward.h"
#include "testkit.h"

#include "common/modassignmaint.h"

#include <QApplication>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTest>

using namespace korva;

namespace {

BrokerReply roster()
{
    BrokerReply reply = testkit::sampleReferenceReply();
    auto officers = RecordSet::create(QStringLiteral("OFFICER"),
                                      {{QStringLiteral("INSP_ID"), FieldType::Integer},
                                       {QStringLiteral("INSP_NME_LST"), FieldType::Text},
                                       {QStringLiteral("INSP_NME_FRST"), FieldType::Text},
                                       {QStringLiteral("INSP_NME_MDL_INT"), FieldType::Text},
                                       {QStringLiteral("REGION"), FieldType::Text}});
    const char *names[][3] = {
        {"Smith", "Laura", "K"},     {"Smithers", "Paul", ""},   {"Smith,jr", "Robert", "A"},
        {"Smyth", "Helen", "M"},     {"Okafor", "Daniel", "E"},  {"Lindqvist", "Maria", ""},
        {"Santos", "Ana", "L"},      {"Brennan", "Thomas", "J"}, {"Kowalski", "Piotr", ""},
        {"Nguyen", "Linh", "T"},     {"Carter", "James", "R"},   {"Adams", "Ruth", "B"},
        {"Smithson", "George", "W"}, {"Baker", "Susan", ""},     {"Delgado", "Marco", "P"}};
    int id = 2101;
    for (const auto &n : names)
        officers->appendStorageRow({id++, QLatin1String(n[0]), QLatin1String(n[1]),
                                    QLatin1String(n[2]), QStringLiteral("NE")});
    reply.recordSets.insert(officers->name(), officers);
    return reply;
}

RecordSetPtr picked()
{
    return testkit::makeRecordSet(
        QStringLiteral("OFFICER"),
        {{QStringLiteral("INSP_ID"), FieldType::Integer},
         {QStringLiteral("INSP_NME_LST"), FieldType::Text},
         {QStringLiteral("INSP_NME_FRST"), FieldType::Text},
         {QStringLiteral("INSP_NME_MDL_INT"), FieldType::Text}},
        {{2111, QStringLiteral("Carter"), QStringLiteral("James"), QStringLiteral("R")},
         {2106, QStringLiteral("Lindqvist"), QStringLiteral("Maria"), QString()},
         {2112, QStringLiteral("Adams"), QStringLiteral("Ruth"), QStringLiteral("B")}});
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QStringList args = QApplication::arguments();
    testkit::TestPlatform tp;
    tp.useReferenceData(roster());
    tp.codeList.handler = [](const QString &) {
        RecordSetPtr codes =
            testkit::sampleReferenceReply().recordSet(QStringLiteral("ZTB_CODE"))->clone();
        codes->setFilter(QStringLiteral("CD_TBL_ID = 'AGENCY'"));
        return codes;
    };

    // Two officers added, a third being looked for.
    frmAddOfficer add;
    add.show();
    auto *text = add.findChild<QLineEdit *>(QStringLiteral("txtOfficer"));
    for (const char *name : {"okafor", "2110"}) {
        text->clear();
        QTest::keyClicks(text, QLatin1String(name));
        QTest::keyClick(text, Qt::Key_Return);
    }
    text->clear();
    QTest::keyClicks(text, QStringLiteral("smi"));
    QTest::keyClick(text, Qt::Key_Down);
    QApplication::processEvents();
    if (!add.grab().save(args.value(1, QStringLiteral("add-officers.png"))))
        return 1;

    frmAssignForward forward;
    forward.AdjustDueDate(30);
    forward.AdjustExpirationDate(90);
    forward.PassParameters(QStringLiteral(
        "1041~General Referral~SANTOS, ANA L.~OKAFOR, DANIEL E.~11/20/2026~11/20/2026~"
        "12/20/2026~Taxpayer has not filed the last three quarterly returns.~0000042-2~"
        "Citation~2107~2105~~Unfiled returns~001~CIT"));
    forward.mEventAddOfficer_SendOK(picked());
    forward.show();
    QTest::keyClicks(forward.findChild<QPlainTextEdit *>(QStringLiteral("txtBox(2)")),
                     QStringLiteral("Passing on to the district team; please visit before "
                                    "the due date."));
    QApplication::processEvents();
    return forward.grab().save(args.value(2, QStringLiteral("forward.png"))) ? 0 : 1;
}
