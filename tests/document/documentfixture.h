#pragma once

#include "common/modassignmaint.h"
#include "document/assignmententrytab.h"
#include "document/korva_assignmaint.h"
#include "platform/controls/codescombo.h"
#include "platform/controls/datagrid.h"
#include "platform/controls/dtp.h"
#include "testkit.h"

#include <QCheckBox>
#include <QDateEdit>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QTabWidget>
#include <QTest>

#include <algorithm>
#include <memory>

namespace korva::doctest {

// A record set from a layout "NAME:i NAME:d NAME" (integer, date, text) and rows of values.
inline RecordSetPtr table(const QString &name, const char *layout,
                          const QList<QList<QVariant>> &rows)
{
    QList<Field> fields;
    for (const QString &f : QString::fromLatin1(layout).split(u' ')) {
        const QString type = f.section(u':', 1);
        fields.append({f.section(u':', 0, 0), type == u"i"   ? FieldType::Integer
                                              : type == u"d" ? FieldType::Date
                                                             : FieldType::Text});
    }
    return testkit::makeRecordSet(name, fields, rows);
}

// A compact data table: one text column, "row", of fields joined by ";".
inline void addRows(std::initializer_list<std::pair<const char *, const char *>> rows)
{
    QTest::addColumn<QString>("row");
    for (const auto &[name, fields] : rows)
        QTest::newRow(name) << QString::fromUtf8(fields);
}
// The fields of the current data row.
inline QStringList rowFields()
{
    QFETCH(QString, row);
    return row.split(u';');
}

// One row of an "ASSIGNMENT" reply, with the values a test usually does not care about.
struct Row {
    int number = 1;
    QString type = QStringLiteral("001");
    QString status = QStringLiteral("O");
    int from = 1002;
    int to = 1001;
    int history = 1;
    QString formNumber{};
    QString formType{};
    QString subject = QStringLiteral("Subject");
    QString comment = QStringLiteral("Comment");
};

inline RecordSetPtr assignments(const QList<Row> &rows)
{
    QList<QList<QVariant>> values;
    for (const Row &r : rows)
        values.append({r.number, r.type, r.status, r.from, r.to, r.from,
                       QStringLiteral("2026-11-01"), QStringLiteral("2026-11-02"),
                       QStringLiteral("2026-12-02"), QVariant(), r.comment, r.subject, r.formNumber,
                       r.formType, r.history});
    return table(QStringLiteral("ASSIGNMENT"),
                 "ASGNMT_NBR:i ASGNMT_TYP_CD ASGNMT_STTS_CD OFCR_FRM_ID:i OFCR_TO_ID:i "
                 "OFCR_CRTR_ID:i ASGNMT_DT:d EFCTV_DT:d DUE_DT:d CLSE_DT:d ASGNMT_CMMT_TXT "
                 "ASGNMT_SBJCT_TXT FORM_NBR FORM_TYP_CD HIST_CNT:i",
                 values);
}

// Answers code-list query texts: the assignment types (code, description, creator closes,
// due and expiration days as the table holds them, system generated), or one code table of
// the sample reference data.
inline RecordSetPtr codeList(const QString &query)
{
    if (!query.contains(QStringLiteral("ZTB_ASGNMT_TYPE"))) {
        RecordSetPtr codes =
            testkit::sampleReferenceReply().recordSet(QStringLiteral("ZTB_CODE"))->clone();
        const QRegularExpression table(QStringLiteral("CD_TBL_ID\\s*=\\s*'([^']*)'"));
        codes->setFilter(QStringLiteral("CD_TBL_ID = '%1'").arg(table.match(query).captured(1)));
        return codes;
    }
    QList<QList<QVariant>> rows;
    for (const char *r :
         {"001|Referral|N|10|30|N", "007|Follow-up Citation|Y| 5 |15|N", "090|Refund Request|N|||Y",
          "PCE|Payment Correction|X|||N", "050|Long Haul|N|-20000|20000|N", "AUD|Audit|N|3|9|N"}) {
        const QStringList v = QString::fromLatin1(r).split(u'|');
        rows.append({QStringLiteral("NE"), v[0], v[1], v[2], v[3], v[4], QString(), v[5]});
    }
    return table(QStringLiteral("ZTB_ASGNMT_TYPE"),
                 "REGION ASGNMT_CD ASGNMT_DES CRTR_CLS_IND DUE_DY_CNT EXPRTN_DY_CNT "
                 "RSN_FOR_CHNG_TXT SYS_IND",
                 rows);
}

// Fills the new-assignment tab step by step, "what=value|...": type, ref (account type),
// number, officer, subject, comment, option (7, 8, 9), troop (typed), agency (a code, or a
// text that is none), officers (the add-officers list, ids joined by ",").
inline void fillEntry(KORVA_AssignMaint &doc, const QString &steps)
{
    AssignmentEntryTab &e = *doc.entry;
    doc.tabTab->setCurrentIndex(1);
    for (const QString &step : steps.split(u'|', Qt::SkipEmptyParts)) {
        const QString what = step.section(u'=', 0, 0), value = step.section(u'=', 1);
        if (what == u"type" || what == u"ref") {
            e.cboFTBox[what == u"type" ? 0 : 1]->selectCode(value);
        } else if (what == u"number" || what == u"officer" || what == u"subject") {
            e.txtBox[what == u"number" ? 0 : what == u"officer" ? 1 : 4]->setText(value);
        } else if (what == u"comment") {
            e.txtComment->setPlainText(value);
        } else if (what == u"option") {
            e.optButton[value.toInt()]->click();
        } else if (what == u"troop") {
            e.txtBox[2]->setFocus();
            QTest::keyClicks(e.txtBox[2], value);
        } else if (what == u"agency" && !e.cboFTBox[2]->selectCode(value)) {
            e.cboFTBox[2]->setEditText(value);
        } else if (what == u"officers") {
            QList<QList<QVariant>> rows;
            for (const QString &id : value.split(u','))
                rows.append({id.toInt(), QStringLiteral("Last") + id, QStringLiteral("First")});
            e.adoOfficers->setRecordSet(
                table(QStringLiteral("OFFICER"),
                      "INSP_ID:i INSP_NME_LST INSP_NME_FRST INSP_NME_MDL_INT", rows));
        }
    }
}

// A platform of test doubles and one document on it.
class Fixture {
public:
    Fixture()
    {
        tp.codeList.handler = codeList;
        modAssignMaint::componentDayCounts() = {}; // shared by the component, so by the tests
    }

    // Created on demand, so a test can change the user or the services first.
    KORVA_AssignMaint &doc()
    {
        if (!m_doc) {
            m_doc = std::make_unique<KORVA_AssignMaint>();
            m_doc->resize(1100, 600);
        }
        return *m_doc;
    }
    KORVA_AssignMaint &shown()
    {
        doc().show();
        return *m_doc;
    }
    // Shows the document and answers its first list query with these rows.
    void showWith(const QList<Row> &rows)
    {
        shown();
        tp.fakeBroker.replyGood({assignments(rows)});
    }
    // The new-assignment tab, shown in an active window so that focus moves for real.
    AssignmentEntryTab &entry()
    {
        if (!doc().isActiveWindow()) {
            shown().activateWindow();
            if (!QTest::qWaitForWindowActive(m_doc.get()))
                qWarning("the document did not become active");
        }
        m_doc->tabTab->setCurrentIndex(1);
        return *m_doc->entry;
    }
    void fill(const QString &steps)
    {
        entry();
        fillEntry(*m_doc, steps);
    }

    template <class W> W *find(const QString &name) { return doc().findChild<W *>(name); }
    template <class W> W *find(const char *array, int i)
    {
        return find<W>(QStringLiteral("%1(%2)").arg(QLatin1String(array)).arg(i));
    }
    QLineEdit *box(int i) { return find<QLineEdit>("txtBox", i); }
    QPlainTextEdit *comment() { return find<QPlainTextEdit>("txtBox", 3); }
    KORVA_CodesCombo *combo(int i) { return find<KORVA_CodesCombo>("cboFTBox", i); }
    KORVA_DTP *date(int i) { return find<KORVA_DTP>("dtpFTDate", i); }
    QRadioButton *option(int i) { return find<QRadioButton>("optButton", i); }
    QPushButton *button(int i) { return find<QPushButton>("cmdButton", i); }
    DataGrid *grid() { return doc().findChild<DataGrid *>(QStringLiteral("grdAssignment")); }
    int sentCount() const { return int(tp.fakeBroker.sent.size()); }
    const BrokerRequest &lastRequest() const { return tp.fakeBroker.last().request; }
    const QList<testkit::ScriptedMessageBoxes::Shown> &boxes() const { return tp.boxes.shown; }

    // Clicks a data row of the assignment grid as the user would.
    void clickRow(int viewRow)
    {
        const QRect r = grid()->visualRect(grid()->model()->index(viewRow, 0));
        QTest::mouseClick(grid()->viewport(), Qt::LeftButton, {}, r.center());
    }
    // Types into a box as the user does: focus, then keys.
    void type(int i, const QString &text)
    {
        box(i)->setFocus();
        QTest::keyClicks(box(i), text);
    }
    // Moves the focus away from the control, so that it loses it.
    void leave(QWidget *control)
    {
        control->setFocus();
        (control == box(4) ? static_cast<QWidget *>(comment()) : box(4))->setFocus();
    }
    void pick(int i, const QDate &day) { date(i)->editor()->setDate(day); }
    QList<QDate> dates() { return {date(2)->date(), date(3)->date(), date(4)->date()}; }
    QDate today() const { return tp.fixedClock.today(); }
    int beeps() const { return tp.beeps.beeps; }

    // Makes the new-assignment entry complete and valid: one officer and a comment.
    void enterValidAssignment()
    {
        doc().entry->txtBox[1]->setText(QStringLiteral("1002"));
        doc().entry->txtComment->setPlainText(QStringLiteral("Please follow up."));
    }
    QString checked()
    {
        doc().entry->CheckEdits();
        return doc().entry->errorText();
    }
    QString markedNames() const
    {
        QStringList names;
        for (const QWidget *w : tp.fieldMarks.marked)
            names.append(w->objectName());
        std::sort(names.begin(), names.end());
        return names.join(u' ');
    }
    // The error reports so far, one a line: empty when all went well.
    QString reports() const
    {
        QString lines;
        for (const auto &r : tp.reporter.reports)
            lines += r.source + QStringLiteral(": ") + r.text + u'\n';
        return lines;
    }

    testkit::TestPlatform tp;

private:
    std::unique_ptr<KORVA_AssignMaint> m_doc;
};

} // namespace korva::doctest
