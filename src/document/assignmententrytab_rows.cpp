// The rows of the "ASSIGNMENT" update that stores a new assignment.
#include "assignmententrytab.h"

#include "common/modassignmaint.h"
#include "platform/controls/codescombo.h"
#include "platform/controls/datagrid.h"
#include "platform/controls/dtp.h"

#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRadioButton>

namespace korva {

namespace {

// The addressee of a row: each pair is a field and its value, in the order they are sent.
using Addressee = QList<QPair<QString, QString>>;

} // namespace

RecordSetPtr AssignmentEntryTab::buildAssignmentRows()
{
    using modAssignMaint::DB2Date;
    auto rows = RecordSet::create(QStringLiteral("ASSIGNMENT"));
    rows->addField({QStringLiteral("ACTION"), FieldType::Text});
    rows->addField({QStringLiteral("OFCR_FRM_ID"), FieldType::Integer});

    const QString subject = txtBox[4]->text().trimmed();
    QString type = cboFTBox[0]->code().trimmed();
    if (type.isEmpty())
        type = QStringLiteral("DEF");
    const QString number = txtBox[0]->text().trimmed();
    QString comment = txtComment->toPlainText();
    if (comment.isNull())
        comment = QStringLiteral(""); // an empty comment is sent as empty text, never as null
    const QString effective = DB2Date(dtpFTDate[2]->date());
    const QString due = DB2Date(dtpFTDate[3]->date());
    const QString expiration = DB2Date(dtpFTDate[4]->date());

    auto addRow = [&](const Addressee &addressee) {
        rows->addNew();
        rows->setValue(u"ACTION", QStringLiteral("ADD"));
        rows->setValue(u"OFCR_FRM_ID", m_officerId);
        rows->setValue(u"ASGNMT_TYP_CD", type);
        if (!subject.isEmpty())
            rows->setValue(u"ASGNMT_SBJCT_TXT", subject);
        if (!number.isEmpty()) {
            rows->setValue(u"FORM_NBR", number);
            rows->setValue(u"FORM_TYP_CD", cboFTBox[1]->code());
        }
        rows->setValue(u"EFCTV_DT", effective);
        rows->setValue(u"DUE_DT", due);
        rows->setValue(u"EXPRTN_DT", expiration);
        for (const auto &[field, value] : addressee)
            rows->setValue(field, value);
        rows->setValue(u"ASGNMT_CMMT_TXT", comment);
        rows->update();
    };

    if (optButton[7]->isChecked() && officersListed()) {
        const RecordSet &officers = *adoOfficers->recordSet();
        const int id = officers.fieldIndex(u"INSP_ID");
        for (int row = 0; row < officers.count(); ++row)
            addRow({{QStringLiteral("OFCR_TO_ID"), officers.textAt(row, id).trimmed()}});
    } else if (optButton[7]->isChecked()) {
        addRow({{QStringLiteral("OFCR_TO_ID"), m_officerTag.trimmed()}});
    } else if (optButton[8]->isChecked()) {
        addRow({{QStringLiteral("AGNCY_CD"), cboFTBox[2]->code()}});
    } else if (optButton[9]->isChecked()) {
        SplitTroopDistrict();
        Addressee troop{{QStringLiteral("TRP_ID"), Troop}};
        if (!District.trimmed().isEmpty())
            troop.append({QStringLiteral("TRP_DIST_ID"), District});
        addRow(troop);
    } else {
        addRow({});
    }
    return rows;
}

} // namespace korva
