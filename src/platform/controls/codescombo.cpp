#include "codescombo.h"

#include "accessiblelabel.h"

#include "platform/errors.h"
#include "platform/platform.h"

#include <QLineEdit>

namespace korva {

namespace {
constexpr int kCodeRole = Qt::UserRole;

QString quoted(const QString &text)
{
    QString t = text;
    return u'\'' + t.replace(u'\'', QStringLiteral("''")) + u'\'';
}
} // namespace

KORVA_CodesCombo::KORVA_CodesCombo(QWidget *parent)
    : QComboBox(parent)
{
    setEditable(true);
    setInsertPolicy(QComboBox::NoInsert);
    setMaxVisibleItems(15);
    addItem(QString(), QString());
    connect(this, &QComboBox::editTextChanged, this, &KORVA_CodesCombo::noteChange);
    connect(this, &QComboBox::currentIndexChanged, this, &KORVA_CodesCombo::noteChange);
}

void KORVA_CodesCombo::fillFromQuery(const QString &queryText, const QString &codeColumn,
                                     const QString &descriptionColumn)
{
    CodeListService *codes = Platform::current().codes;
    const RecordSetPtr rs = codes->openQuery(queryText);
    if (!rs)
        raiseError(kComponentError, QStringLiteral("The code list query returned no rows."));
    fillFromRecordSet(*rs, codeColumn, descriptionColumn);
}

void KORVA_CodesCombo::fillFromRecordSet(const RecordSet &rs, const QString &codeColumn,
                                         const QString &descriptionColumn)
{
    const int codeField = rs.fieldIndex(codeColumn);
    const int descriptionField = rs.fieldIndex(descriptionColumn);
    if (codeField < 0 || descriptionField < 0)
        raiseError(kErrRecordSet, QStringLiteral("The code list has no column %1.")
                                      .arg(codeField < 0 ? codeColumn : descriptionColumn));
    {
        // Filling is the program's set-up, not a change anyone reacts to.
        const QSignalBlocker blocker(this);
        clear();
        addItem(QString(), QString());
        for (int r = 0; r < rs.count(); ++r)
            addItem(rs.textAt(r, descriptionField).trimmed(), rs.textAt(r, codeField).trimmed());
        setCurrentIndex(0);
        setEditText(QString());
    }
    m_lastText = currentText();
    m_lastIndex = listIndex();
}

void KORVA_CodesCombo::fillFromCodeTable(const QString &table)
{
    Platform &p = Platform::current();
    const QString region = p.user->region().trimmed().toUpper();
    const QString today = p.clock->today().toString(QStringLiteral("yyyy-MM-dd"));
    const QString query =
        QStringLiteral("Select CD_TBL_CD, CD_TBL_DES From ZTB_CODE Where REGION=%1 And "
                       "CD_TBL_ID=%2 And (EFCTV_DT Is Null Or EFCTV_DT<=%3) And (END_DT Is Null "
                       "Or END_DT>=%3) Order By CD_TBL_DES")
            .arg(quoted(region), quoted(table.trimmed().toUpper()), quoted(today));
    fillFromQuery(query, QStringLiteral("CD_TBL_CD"), QStringLiteral("CD_TBL_DES"));
}

int KORVA_CodesCombo::matchedIndex() const
{
    const QString shown = currentText().trimmed();
    if (shown.isEmpty())
        return 0;
    const int current = currentIndex();
    if (current > 0 && itemText(current).compare(shown, Qt::CaseInsensitive) == 0)
        return current;
    for (int i = 1; i < count(); ++i) {
        if (itemText(i).compare(shown, Qt::CaseInsensitive) == 0)
            return i;
    }
    for (int i = 1; i < count(); ++i) {
        if (itemCode(i).compare(shown, Qt::CaseInsensitive) == 0)
            return i;
    }
    return 0;
}

QString KORVA_CodesCombo::itemCode(int index) const
{
    return itemData(index, kCodeRole).toString();
}

QString KORVA_CodesCombo::code() const
{
    return itemCode(matchedIndex());
}

QString KORVA_CodesCombo::id() const
{
    return itemCode(matchedIndex());
}

QString KORVA_CodesCombo::text() const
{
    return currentText();
}

int KORVA_CodesCombo::listIndex() const
{
    return matchedIndex();
}

bool KORVA_CodesCombo::selectCode(const QString &code)
{
    const QString wanted = code.trimmed();
    for (int i = 1; i < count(); ++i) {
        if (itemCode(i).compare(wanted, Qt::CaseInsensitive) == 0) {
            setCurrentIndex(i);
            setEditText(itemText(i));
            return true;
        }
    }
    return false;
}

void KORVA_CodesCombo::clearSelection()
{
    setCurrentIndex(0);
    setEditText(QString());
}

void KORVA_CodesCombo::noteChange()
{
    // Choosing an item changes both the text and the index; Change is raised once for it.
    const QString shown = currentText();
    const int index = listIndex();
    if (shown == m_lastText && index == m_lastIndex)
        return;
    m_lastText = shown;
    m_lastIndex = index;
    emit Change();
}

void KORVA_CodesCombo::showEvent(QShowEvent *event)
{
    QComboBox::showEvent(event);
    // The typed text is read out under the combo's own label.
    nameInnerControl(this, lineEdit());
}

} // namespace korva
