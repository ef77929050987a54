#pragma once

#include "document/assignmententrytab.h"
#include "document/korva_assignmaint.h"
#include "platform/controls/datagrid.h"
#include "platform/controls/dtp.h"
#include "testkit.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QTabWidget>
#include <QTest>

#include <memory>

namespace korva::doctest {

// One row of an "ASSIGNMENT" reply, with the values a test usually does not care about.
struct Row {
    int number = 1;
    QString type = QStringLiteral("001");
    QString status = QStringLiteral("O");
    int from = 1002;
    int to = 1001;
    int creator = 1002;
    int history = 1;
    QString formNumber{};
    QString formType{};
    QString subject = QStringLiteral("Subject");
    QString comment = QStringLiteral("Comment");
};

inline RecordSetPtr assignments(const QList<Row> &rows) {
    using T = FieldType;
    QList<QList<QVariant>> values;
    for (const Row &r : rows)
        values.append({r.number, r.type, r.status, r.from, r.to, r.creator,
                       QStringLiteral("2026-11-01"), QStringLiteral("2026-11-02"),
                       QStringLiteral("2026-12-02"), QVariant(), r.comment, r.subject, r.formNumber,
                       r.formType, r.history});
    return testkit::makeRecordSet(QStringLiteral("ASSIGNMENT"),
                                  {{QStringLiteral("ASGNMT_NBR"), T::Integer},
                                   {QStringLiteral("ASGNMT_TYP_CD"), T::Text},
                                   {QStringLiteral("ASGNMT_STTS_CD"), T::Text},
                                   {QStringLiteral("OFCR_FRM_ID"), T::Integer},
                                   {QStringLiteral("OFCR_TO_ID"), T::Integer},
                                   {QStringLiteral("OFCR_CRTR_ID"), T::Integer},
                                   {QStringLiteral("ASGNMT_DT"), T::Date},
                                   {QStringLiteral("EFCTV_DT"), T::Date},
                                   {QStringLiteral("DUE_DT"), T::Date},
                                   {QStringLiteral("CLSE_DT"), T::Date},
                                   {QStringLiteral("ASGNMT_CMMT_TXT"), T::Text},
                                   {QStringLiteral("ASGNMT_SBJCT_TXT"), T::Text},
                                   {QStringLiteral("FORM_NBR"), T::Text},
                                   {QStringLiteral("FORM_TYP_CD"), T::Text},
                                   {QStringLiteral("HIST_CNT"), T::Integer}},
                                  values);
}

// Answers code-list query texts from the sample reference data: the assignment types, or
// the rows of one code table.
inline RecordSetPtr sampleCodeList(const QString &query) {
    const BrokerReply data = testkit::sampleReferenceReply();
    if (query.contains(QStringLiteral("ZTB_ASGNMT_TYPE")))
        return data.recordSet(QStringLiteral("ZTB_ASGNMT_TYPE"))->clone();
    RecordSetPtr codes = data.recordSet(QStringLiteral("ZTB_CODE"))->clone();
    const QRegularExpression table(QStringLiteral("CD_TBL_ID\\s*=\\s*'([^']*)'"));
    const QRegularExpressionMatch m = table.match(query);
    codes->setFilter(
        QStringLiteral("CD_TBL_ID = '%1'").arg(m.hasMatch() ? m.captured(1) : QString()));
    return codes;
}

// A platform of test doubles and one document on it.
class Fixture {
public:
    Fixture() { tp.codeList.handler = sampleCodeList; }

    // Created on demand, so a test can change the user or the services first.
    KORVA_AssignMaint &doc() {
        if (!m_doc) {
            m_doc = std::make_unique<KORVA_AssignMaint>();
            m_doc->resize(1100, 600);
        }
        return *m_doc;
    }
    KORVA_AssignMaint &shown() {
        doc().show();
        return *m_doc;
    }

    template <class W> W *find(const char *name) {
        W *w = doc().findChild<W *>(QLatin1String(name));
        if (!w)
            qWarning("no control %s", name);
        return w;
    }
    QPushButton *button(int i) { return doc().cmdButton[i]; }
    DataGrid *grid() { return doc().grdAssignment; }
    AssignmentEntryTab *entry() { return doc().entry; }
    int sentCount() const { return int(tp.fakeBroker.sent.size()); }
    const BrokerRequest &lastRequest() const { return tp.fakeBroker.last().request; }

    // Shows the document and answers its first list query with these rows.
    void showWith(const QList<Row> &rows) {
        shown();
        tp.fakeBroker.replyGood({assignments(rows)});
    }

    // Clicks a data row of the assignment grid as the user would.
    void clickRow(int viewRow) {
        DataGrid *g = grid();
        const QRect r = g->visualRect(g->model()->index(viewRow, 0));
        QTest::mouseClick(g->viewport(), Qt::LeftButton, {}, r.center());
    }

    // Makes the new-assignment entry complete and valid: one officer and a comment.
    void enterValidAssignment() {
        entry()->txtBox[1]->setText(QStringLiteral("1002"));
        entry()->txtComment->setPlainText(QStringLiteral("Please follow up."));
    }

    // The error reports so far, one a line, for failure messages.
    QByteArray reports() const {
        QStringList lines;
        for (const auto &r : tp.reporter.reports)
            lines.append(r.source + QStringLiteral(": ") + r.text);
        return lines.join(u'\n').toUtf8();
    }

    testkit::TestPlatform tp;

private:
    std::unique_ptr<KORVA_AssignMaint> m_doc;
};

} // namespace korva::doctest
