#include "platform/controls/codescombo.h"
#include "platform/errors.h"
#include "test_main.h"
#include "testkit.h"

#include <QLineEdit>
#include <QSignalSpy>

using namespace korva;

namespace {

RecordSetPtr agencies()
{
    return testkit::makeRecordSet(
        QStringLiteral("CODELIST"),
        {{QStringLiteral("CD_TBL_CD"), FieldType::Text},
         {QStringLiteral("CD_TBL_DES"), FieldType::Text}},
        {{QStringLiteral("DOR "), QStringLiteral("Department of Revenue")},
         {QStringLiteral("SP"), QStringLiteral("State Police")}});
}

} // namespace

class TestCodesCombo : public QObject {
    Q_OBJECT
private slots:
    void fillsFromAQueryBehindABlankItem()
    {
        testkit::TestPlatform platform;
        platform.codeList.handler = [](const QString &) {
            return agencies();
        };
        KORVA_CodesCombo combo;
        QSignalSpy changes(&combo, &KORVA_CodesCombo::Change);
        const QString query = QStringLiteral("Select CD_TBL_CD, CD_TBL_DES From ZTB_CODE");
        combo.fillFromQuery(query, QStringLiteral("CD_TBL_CD"), QStringLiteral("CD_TBL_DES"));
        QCOMPARE(platform.codeList.queries, QStringList{query});
        QCOMPARE(combo.count(), 3);
        QCOMPARE(combo.itemText(0), QString());
        QCOMPARE(combo.itemCode(1), QStringLiteral("DOR"));
        QCOMPARE(combo.itemText(2), QStringLiteral("State Police"));
        QCOMPARE(combo.listIndex(), 0);
        QCOMPARE(combo.code(), QString());
        QCOMPARE(combo.id(), QString());
        QCOMPARE(combo.text(), QString());
        QCOMPARE(changes.size(), 0); // filling is set-up, not a change

        // Filling again replaces the list.
        combo.fillFromQuery(query, QStringLiteral("CD_TBL_CD"), QStringLiteral("CD_TBL_DES"));
        QCOMPARE(combo.count(), 3);
        QVERIFY_THROWS_EXCEPTION(ProcError, combo.fillFromQuery(query, QStringLiteral("CODE"),
                                                                QStringLiteral("CD_TBL_DES")));
    }

    void codeTablesAreAskedForByTableRegionAndToday()
    {
        testkit::TestPlatform platform;
        platform.codeList.handler = [](const QString &) {
            return agencies();
        };
        KORVA_CodesCombo combo;
        combo.fillFromCodeTable(QStringLiteral("agency"));
        QCOMPARE(platform.codeList.queries.size(), 1);
        const QString query = platform.codeList.queries.first();
        QVERIFY(query.contains(u"From ZTB_CODE"));
        QVERIFY(query.contains(u"CD_TBL_ID='AGENCY'"));
        QVERIFY(query.contains(u"REGION='NE'"));
        QVERIFY(query.contains(u"END_DT>='2026-11-22'"));
        QCOMPARE(combo.count(), 3);
    }

    void readingsFollowTheSelectionAndTheTypedText()
    {
        KORVA_CodesCombo combo;
        combo.fillFromRecordSet(*agencies(), QStringLiteral("CD_TBL_CD"),
                                QStringLiteral("CD_TBL_DES"));
        QSignalSpy changes(&combo, &KORVA_CodesCombo::Change);

        QVERIFY(combo.selectCode(QStringLiteral("sp")));
        QCOMPARE(combo.code(), QStringLiteral("SP"));
        QCOMPARE(combo.id(), QStringLiteral("SP"));
        QCOMPARE(combo.text(), QStringLiteral("State Police"));
        QCOMPARE(combo.listIndex(), 2);
        QCOMPARE(changes.size(), 1);
        QVERIFY(!combo.selectCode(QStringLiteral("XX")));
        QCOMPARE(combo.code(), QStringLiteral("SP"));

        // Typed text that names no item leaves nothing chosen, whatever was chosen before.
        combo.lineEdit()->clear();
        QTest::keyClicks(combo.lineEdit(), QStringLiteral("zzz"));
        QCOMPARE(combo.text(), QStringLiteral("zzz"));
        QCOMPARE(combo.id(), QString());
        QCOMPARE(combo.code(), QString());
        QCOMPARE(combo.listIndex(), 0);
        QVERIFY(changes.size() >= 4);

        // A description or a code typed in any case chooses its item.
        combo.lineEdit()->setText(QStringLiteral("department of revenue"));
        QCOMPARE(combo.code(), QStringLiteral("DOR"));
        QCOMPARE(combo.listIndex(), 1);
        combo.lineEdit()->setText(QStringLiteral("sp"));
        QCOMPARE(combo.id(), QStringLiteral("SP"));
        QCOMPARE(combo.listIndex(), 2);

        const auto before = changes.size();
        combo.clearSelection();
        QCOMPARE(combo.text(), QString());
        QCOMPARE(combo.listIndex(), 0);
        QCOMPARE(combo.code(), QString());
        QCOMPARE(changes.size(), before + 1);
        combo.clearSelection();
        QCOMPARE(changes.size(), before + 1); // nothing changed the second time
    }

    void choosingFromTheListRaisesOneChange()
    {
        KORVA_CodesCombo combo;
        combo.fillFromRecordSet(*agencies(), QStringLiteral("CD_TBL_CD"),
                                QStringLiteral("CD_TBL_DES"));
        QSignalSpy changes(&combo, &KORVA_CodesCombo::Change);
        combo.setCurrentIndex(1);
        QCOMPARE(changes.size(), 1);
        QCOMPARE(combo.code(), QStringLiteral("DOR"));
        QCOMPARE(combo.text(), QStringLiteral("Department of Revenue"));
    }
};

KORVA_TEST_MAIN(TestCodesCombo)
#include "tst_codescombo.moc"
