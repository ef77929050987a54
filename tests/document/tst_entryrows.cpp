// The rows of the "ASSIGNMENT" update built from the new-assignment entry.
#include "test_main.h"
#include "tst_entryfixture.h"

using namespace korva;
using namespace korva::entrytest;

namespace {

QStringList fieldNames(const RecordSet &rows) {
    QStringList names;
    for (const Field &field : rows.fields())
        names.append(field.name);
    return names;
}

// Every field of one row as "NAME=value", nulls as "NAME=<null>".
QStringList rowText(const RecordSet &rows, int row) {
    QStringList out;
    for (int c = 0; c < rows.fieldCount(); ++c) {
        const QVariant v = rows.valueAt(row, c);
        out.append(rows.fields()[c].name + u'=' +
                   (v.isNull() ? QStringLiteral("<null>") : rows.textAt(row, c)));
    }
    return out;
}

} // namespace

class TestEntryRows : public QObject {
    Q_OBJECT
private slots:
    void fullEntryForOneOfficer() {
        EntryFixture f;
        f.tab().setOfficerId(1001);
        QVERIFY(f.combo(0)->selectCode(QStringLiteral("001")));
        QVERIFY(f.combo(1)->selectCode(QStringLiteral("CIT")));
        f.type(0, QStringLiteral("42"));
        f.type(1, QStringLiteral("1003"));
        f.leave(f.box(0));
        f.box(4)->setText(QStringLiteral("  Late filing  "));
        f.comment()->setPlainText(QStringLiteral(" Call the owner.\nTwice. "));
        QCOMPARE(f.checked(), QString());

        const RecordSetPtr rows = f.tab().buildAssignmentRows();
        QCOMPARE(rows->name(), QStringLiteral("ASSIGNMENT"));
        QCOMPARE(rows->count(), 1);
        QCOMPARE(
            rowText(*rows, 0),
            (QStringList{QStringLiteral("ACTION=ADD"), QStringLiteral("OFCR_FRM_ID=1001"),
                         QStringLiteral("ASGNMT_TYP_CD=001"),
                         QStringLiteral("ASGNMT_SBJCT_TXT=Late filing"),
                         QStringLiteral("FORM_NBR=0000042-2"), QStringLiteral("FORM_TYP_CD=CIT"),
                         QStringLiteral("EFCTV_DT=2026-11-22"), QStringLiteral("DUE_DT=2026-12-02"),
                         QStringLiteral("EXPRTN_DT=2026-12-22"), QStringLiteral("OFCR_TO_ID=1003"),
                         QStringLiteral("ASGNMT_CMMT_TXT= Call the owner.\nTwice. ")}));
        QCOMPARE(rows->fields()[1].type, FieldType::Integer);
    }

    void officerListGivesOneRowPerOfficer() {
        EntryFixture f;
        f.type(1, QStringLiteral("1002")); // ignored once the list holds officers
        f.comment()->setPlainText(QStringLiteral("For all of you"));
        f.listOfficers({1003, 1001, 1002});
        const RecordSetPtr rows = f.tab().buildAssignmentRows();
        QCOMPARE(rows->count(), 3);
        const int to = rows->fieldIndex(u"OFCR_TO_ID");
        QStringList ids;
        for (int r = 0; r < 3; ++r)
            ids.append(rows->textAt(r, to));
        QCOMPARE(ids, (QStringList{QStringLiteral("1003"), QStringLiteral("1001"),
                                   QStringLiteral("1002")}));
        for (int r = 1; r < 3; ++r) {
            QStringList a = rowText(*rows, 0);
            QStringList b = rowText(*rows, r);
            a.removeAt(to);
            b.removeAt(to);
            QCOMPARE(b, a);
        }
    }

    void bareEntryIsSentAsDefaultTypeWithAnEmptyComment() {
        EntryFixture f;
        f.type(1, QStringLiteral("1002"));
        f.tab().CheckEdits();
        const RecordSetPtr rows = f.tab().buildAssignmentRows();
        QCOMPARE(fieldNames(*rows),
                 (QStringList{QStringLiteral("ACTION"), QStringLiteral("OFCR_FRM_ID"),
                              QStringLiteral("ASGNMT_TYP_CD"), QStringLiteral("EFCTV_DT"),
                              QStringLiteral("DUE_DT"), QStringLiteral("EXPRTN_DT"),
                              QStringLiteral("OFCR_TO_ID"), QStringLiteral("ASGNMT_CMMT_TXT")}));
        QCOMPARE(rows->text(u"ASGNMT_TYP_CD"), QStringLiteral("DEF"));
        QVERIFY(!rows->isNull(u"ASGNMT_CMMT_TXT"));
        QCOMPARE(rows->text(u"ASGNMT_CMMT_TXT"), QString());
        // The signed-on officer, unless the document says otherwise.
        QCOMPARE(rows->text(u"OFCR_FRM_ID"), QStringLiteral("1001"));
    }

    void addresseeFollowsTheOption_data() {
        QTest::addColumn<int>("option");
        QTest::addColumn<QString>("troop");
        QTest::addColumn<QStringList>("addressee");
        QTest::newRow("troop alone")
            << 9 << QStringLiteral("3") << QStringList{QStringLiteral("TRP_ID=3")};
        QTest::newRow("troop and district")
            << 9 << QStringLiteral("3a")
            << QStringList{QStringLiteral("TRP_ID=3"), QStringLiteral("TRP_DIST_ID=A")};
        QTest::newRow("agency") << 8 << QStringLiteral("3A")
                                << QStringList{QStringLiteral("AGNCY_CD=SP")};
    }
    void addresseeFollowsTheOption() {
        QFETCH(int, option);
        QFETCH(QString, troop);
        QFETCH(QStringList, addressee);
        EntryFixture f;
        // Inputs of the other options are filled too: only the chosen one is sent.
        f.type(1, QStringLiteral("1002"));
        f.listOfficers({1003});
        QVERIFY(f.combo(2)->selectCode(QStringLiteral("SP")));
        f.option(9)->click();
        f.type(2, troop);
        f.option(option)->click();
        const RecordSetPtr rows = f.tab().buildAssignmentRows();
        QCOMPARE(rows->count(), 1);
        const QStringList all = rowText(*rows, 0);
        QCOMPARE(all.mid(6, all.size() - 7), addressee);
        QCOMPARE(all.last(), QStringLiteral("ASGNMT_CMMT_TXT="));
    }
};

KORVA_TEST_MAIN(TestEntryRows)
#include "tst_entryrows.moc"
