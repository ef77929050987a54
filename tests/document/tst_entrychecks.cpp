// The checks of the new-assignment entry, the update rows it gives, what the host is told,
// the changed test and the clearing of the entry.
#include "documentfixture.h"
#include "test_main.h"

using namespace korva;
using namespace korva::doctest;

namespace {

const QString kNeedsType =
    QStringLiteral("Reference Account Type must be selected from the list.\r\n");
const QString kInvalidAccount = QStringLiteral("Account Number is Invalid");
const QString kBadCitation = QStringLiteral(
    "The citation number entered is invalid. Correct format is nnnnnnn-c (7 digits plus a "
    "check digit).");
const QString kBadOfficer = QStringLiteral("Invalid officer number.\r\n");
const QString kBadTroop = QStringLiteral("Assign to Troop/District is not valid.\r\n");

void addCheck(const char *name, const char *entry, const QString &errors, const char *marked)
{
    QTest::newRow(name) << QString::fromUtf8(entry) << errors << QString::fromUtf8(marked);
}

// Every field of every row, "NAME=value|..." a row, nulls as "<null>".
QStringList rowTexts(const RecordSet &rows)
{
    QStringList out;
    for (int row = 0; row < rows.count(); ++row) {
        QStringList fields;
        for (int c = 0; c < rows.fieldCount(); ++c)
            fields.append(
                rows.fields()[c].name + u'=' +
                (rows.valueAt(row, c).isNull() ? QStringLiteral("<null>") : rows.textAt(row, c)));
        out.append(fields.join(u'|'));
    }
    return out;
}

} // namespace

class TestEntryChecks : public QObject {
    Q_OBJECT
private slots:
    void checks_data()
    {
        QTest::addColumn<QString>("entry"); // steps, see fillEntry
        QTest::addColumn<QString>("errors");
        QTest::addColumn<QString>("marked");
        addCheck("number without type", "number=1234567|officer=1002", kNeedsType, "cboFTBox(1)");
        addCheck("type without number", "ref=CIT|officer=1002",
                 QStringLiteral("Reference Account Number is required\r\n"), "txtBox(0)");
        // Up to seven digits are completed when the box is left, not judged here.
        addCheck("plain number", "ref=CIT|number=42|officer=1002", {}, "");
        // Typed before its type: the type is then chosen, but a combo's mark stays until the
        // entry is cleared.
        addCheck("citation", "number=1234567-4|ref=CIT|officer=1002", {}, "cboFTBox(1)");
        addCheck("short citation padded", "ref=CIT|number=234567-6|officer=1002", {}, "");
        addCheck("dash without type", "number=1-a|officer=1002", kNeedsType, "cboFTBox(1)");
        // The two account messages run on into the next one: no line break after them.
        addCheck("eight digits", "ref=CIT|number=12345678", kInvalidAccount + kBadOfficer,
                 "txtBox(0) txtBox(1)");
        addCheck("wrong check digit", "ref=CIT|number=1234567-5", kBadCitation + kBadOfficer,
                 "txtBox(0) txtBox(1)");
        addCheck("no officer", "", kBadOfficer, "txtBox(1)");
        addCheck("blank officer", "officer=   ", kBadOfficer, "txtBox(1)");
        addCheck("unknown officer", "officer=77", kBadOfficer, "txtBox(1)");
        addCheck("officer who left", "officer=1004", kBadOfficer, "txtBox(1)");
        addCheck("listed officers instead", "officers=1002,1003", {}, "");
        addCheck("troop", "officer=77|option=9|troop=3", {}, "");
        addCheck("troop and district", "option=9|troop=3A", {}, "");
        addCheck("unknown troop", "option=9|troop=9", kBadTroop, "txtBox(2)");
        addCheck("unknown district", "option=9|troop=3B", kBadTroop, "txtBox(2)");
        addCheck("no troop", "option=9", kBadTroop, "txtBox(2)");
        // Marked when the option came before any agency, and still marked once one is chosen.
        addCheck("agency", "option=8|agency=SP", {}, "cboFTBox(2)");
        addCheck("no agency", "option=8", QStringLiteral("Assign to agency is not valid.\r\n"),
                 "cboFTBox(2)");
        addCheck("agency not from the list", "option=8|agency=Nobody",
                 QStringLiteral("Assign to agency is not valid.\r\n"), "cboFTBox(2)");
    }
    void checks()
    {
        QFETCH(QString, entry);
        QFETCH(QString, errors);
        QFETCH(QString, marked);
        Fixture f;
        f.fill(entry);
        QCOMPARE(f.checked(), errors);
        QCOMPARE(f.markedNames(), marked);
        QCOMPARE(f.reports(), QString());
    }

    void updateRows_data()
    {
        QTest::addColumn<QString>("entry");
        QTest::addColumn<QStringList>("rows");
        const QString head = QStringLiteral("ACTION=ADD|OFCR_FRM_ID=1001|ASGNMT_TYP_CD=DEF|"
                                            "EFCTV_DT=2026-11-22|DUE_DT=2026-11-22|"
                                            "EXPRTN_DT=2026-11-22|");
        QTest::newRow("one officer, everything entered")
            << QStringLiteral("type=001|ref=CIT|number=0000042-2|officer=1003|subject=  Late "
                              "filing  |comment= Call the owner.\nTwice. ")
            << QStringList{QStringLiteral(
                   "ACTION=ADD|OFCR_FRM_ID=1001|ASGNMT_TYP_CD=001|ASGNMT_SBJCT_TXT=Late filing|"
                   "FORM_NBR=0000042-2|FORM_TYP_CD=CIT|EFCTV_DT=2026-11-22|DUE_DT=2026-12-02|"
                   "EXPRTN_DT=2026-12-22|OFCR_TO_ID=1003|ASGNMT_CMMT_TXT= Call the "
                   "owner.\nTwice. ")};
        // The officer number that was accepted is sent, not what the box shows later.
        QTest::newRow("typed on after an accepted officer")
            << QStringLiteral("officer=1002|officer=1002x")
            << QStringList{head + QStringLiteral("OFCR_TO_ID=1002|ASGNMT_CMMT_TXT=")};
        QTest::newRow("bare") << QStringLiteral("officer=1002")
                              << QStringList{head +
                                             QStringLiteral("OFCR_TO_ID=1002|ASGNMT_CMMT_TXT=")};
        // The officer number is ignored once the list holds officers.
        QTest::newRow("listed officers")
            << QStringLiteral("officer=1002|comment=For you|officers=1003,1001,1002")
            << QStringList{head + QStringLiteral("OFCR_TO_ID=1003|ASGNMT_CMMT_TXT=For you"),
                           head + QStringLiteral("OFCR_TO_ID=1001|ASGNMT_CMMT_TXT=For you"),
                           head + QStringLiteral("OFCR_TO_ID=1002|ASGNMT_CMMT_TXT=For you")};
        // Inputs of the other options are filled too: only the chosen one is sent.
        const QString all = QStringLiteral("officer=1002|officers=1003|agency=SP|option=9|");
        QTest::newRow("troop") << all + QStringLiteral("troop=3")
                               << QStringList{head + QStringLiteral("TRP_ID=3|ASGNMT_CMMT_TXT=")};
        QTest::newRow("troop and district")
            << all + QStringLiteral("troop=3a")
            << QStringList{head + QStringLiteral("TRP_ID=3|TRP_DIST_ID=A|ASGNMT_CMMT_TXT=")};
        QTest::newRow("agency") << all + QStringLiteral("troop=3a|option=8")
                                << QStringList{head +
                                               QStringLiteral("AGNCY_CD=SP|ASGNMT_CMMT_TXT=")};
    }
    void updateRows()
    {
        QFETCH(QString, entry);
        QFETCH(QStringList, rows);
        Fixture f;
        f.fill(entry);
        QCOMPARE(f.checked(), QString());
        const RecordSetPtr sent = f.doc().entry->buildAssignmentRows();
        QCOMPARE(sent->name(), QStringLiteral("ASSIGNMENT"));
        QCOMPARE(rowTexts(*sent), rows);
        QCOMPARE(sent->fields()[1].type, FieldType::Integer);
    }

    void hostIsToldWhetherTheEntryCanBeSaved()
    {
        Fixture f;
        f.entry();
        auto &notes = f.tp.hostNotes.notes;
        notes.clear();
        f.type(1, QStringLiteral("1002")); // every edit runs the checks and tells the host
        QCOMPARE(notes.size(), 4);
        QCOMPARE(notes.last(), qMakePair(7, true));
        f.box(1)->setText(QStringLiteral("1004"));
        QCOMPARE(notes.last(), qMakePair(7, false));
        // Nothing entered is nothing to save, even without an error.
        f.fill(QStringLiteral("officers=1002"));
        f.box(1)->clear();
        QCOMPARE(f.checked(), QString());
        QCOMPARE(notes.last(), qMakePair(7, false));
        QCOMPARE(f.tp.statusBar.last(), QStringLiteral("Ready ...")); // asked the document
    }

    void changedMeansDifferentFromTheClearedEntry()
    {
        Fixture f;
        AssignmentEntryTab &e = f.entry();
        QVERIFY(!e.isChanged());
        for (const char *step : {"subject=S", "comment=C", "officer=1", "number=1", "type=PCE",
                                 "ref=ACC", "option=8"}) {
            f.fill(QLatin1String(step));
            QVERIFY2(e.isChanged(), step);
            e.ClearNewAssignment();
            QVERIFY2(!e.isChanged(), step);
        }
        f.pick(3, f.today().addDays(3));
        QVERIFY(e.isChanged());
        e.ClearNewAssignment();
        // Blanks are nothing entered; the officers list is kept apart from the entry.
        f.fill(QStringLiteral("subject=   |comment=\n |officers=1002"));
        QVERIFY(!e.isChanged());
    }

    void clearingEmptiesTheEntryButKeepsTheOfficers()
    {
        Fixture f;
        // Both combos marked: the reference type was chosen after the number, the agency is
        // none of the list's.
        f.fill(QStringLiteral("number=12345678|type=001|ref=CIT|officer=1002|subject=S|comment=C|"
                              "officers=1003|option=8|agency=Nobody"));
        QVERIFY(f.button(1)->isEnabled()); // the reference type enables it
        QCOMPARE(f.checked(),
                 kInvalidAccount + QStringLiteral("Assign to agency is not valid.\r\n"));
        QCOMPARE(f.markedNames(), QStringLiteral("cboFTBox(1) cboFTBox(2) txtBox(0)"));
        f.doc().entry->ClearNewAssignment();
        QCOMPARE(f.combo(0)->listIndex(), 0);
        QCOMPARE(f.combo(1)->listIndex(), 0);
        QCOMPARE(f.combo(2)->text(), QString());
        for (int i : {0, 1, 2, 4})
            QCOMPARE(f.box(i)->text(), QString());
        QCOMPARE(f.comment()->toPlainText(), QString());
        QVERIFY(f.option(7)->isChecked());
        QCOMPARE(f.dates(), QList<QDate>(3, f.today()));
        QCOMPARE(f.markedNames(), QString());
        QCOMPARE(f.doc().entry->errorText(), QString());
        QVERIFY(!f.button(1)->isEnabled());
        QCOMPARE(f.tp.hostNotes.notes.last(), qMakePair(7, false));
        QCOMPARE(f.doc().entry->adoOfficers->recordSet()->count(), 1);
        QCOMPARE(f.doc().entry->dueDayCount(), qint16(10)); // kept for the forward command
        QCOMPARE(f.reports(), QString());
    }

    // The clear's own changes run the checks: without listed officers, the emptied officer
    // number is an error, as it is for any empty entry.
    void clearingLeavesWhatTheChecksFind()
    {
        Fixture f;
        f.entry().ClearNewAssignment(); // an empty entry: nothing changes, nothing is checked
        QCOMPARE(f.markedNames(), QString());
        f.type(1, QStringLiteral("1002"));
        QCOMPARE(f.checked(), QString());
        f.doc().entry->ClearNewAssignment();
        QCOMPARE(f.markedNames(), QStringLiteral("txtBox(1)"));
        QCOMPARE(f.doc().entry->errorText(), kBadOfficer);
        QCOMPARE(f.tp.hostNotes.notes.last(), qMakePair(7, false));
        // The officer it once accepted is not kept.
        QCOMPARE(f.doc().entry->buildAssignmentRows()->text(u"OFCR_TO_ID"), QString());
        QCOMPARE(f.reports(), QString());
    }
};

KORVA_TEST_MAIN(TestEntryChecks)
#include "tst_entrychecks.moc"
