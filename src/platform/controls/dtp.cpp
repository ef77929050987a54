#include "dtp.h"

#include "accessiblelabel.h"

#include <QCheckBox>
#include <QDateEdit>
#include <QHBoxLayout>
#include <QScopedValueRollback>

namespace korva {

KORVA_DTP::KORVA_DTP(QWidget *parent)
    : QWidget(parent)
    , m_edit(new QDateEdit(this))
    , m_check(new QCheckBox(this))
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(m_check);
    layout->addWidget(m_edit, 1);
    m_check->setObjectName(QStringLiteral("hasDate"));
    m_check->setChecked(true);
    m_check->hide();
    m_edit->setObjectName(QStringLiteral("date"));
    m_edit->setDisplayFormat(QStringLiteral("MM/dd/yyyy"));
    m_edit->setCalendarPopup(true);
    m_edit->setMinimumDate(QDate(1753, 1, 1));
    m_edit->setDate(QDate::currentDate());
    setFocusProxy(m_edit);

    connect(m_edit, &QDateEdit::dateChanged, this, [this] {
        if (m_programmatic)
            return;
        // Editing the date of an empty picker gives it that date.
        if (!m_check->isChecked()) {
            const QScopedValueRollback quiet(m_programmatic, true);
            m_check->setChecked(true);
            m_edit->setEnabled(true);
        }
        emit Change();
    });
    connect(m_check, &QCheckBox::toggled, this, [this](bool checked) {
        if (m_programmatic)
            return;
        m_edit->setEnabled(checked);
        emit Change();
    });
}

std::optional<QDate> KORVA_DTP::value() const
{
    if (!m_check->isChecked())
        return std::nullopt;
    return m_edit->date();
}

QDate KORVA_DTP::date() const
{
    return value().value_or(QDate());
}

void KORVA_DTP::setValue(const QDate &date)
{
    const QScopedValueRollback quiet(m_programmatic, true);
    if (!date.isValid()) {
        clear();
        return;
    }
    m_edit->setDate(date < m_edit->minimumDate() ? m_edit->minimumDate() : date);
    m_check->setChecked(true);
    m_edit->setEnabled(true);
}

void KORVA_DTP::clear()
{
    const QScopedValueRollback quiet(m_programmatic, true);
    m_check->setChecked(false);
    // An emptied picker offers its check box, so the user can see it and give a date again.
    m_check->show();
    m_edit->setEnabled(false);
}

void KORVA_DTP::setMinDate(const QDate &date)
{
    const QScopedValueRollback quiet(m_programmatic, true);
    m_edit->setMinimumDate(date);
}

QDate KORVA_DTP::minDate() const
{
    return m_edit->minimumDate();
}

void KORVA_DTP::setAllowEmpty(bool allow)
{
    const QScopedValueRollback quiet(m_programmatic, true);
    m_check->setVisible(allow);
    if (!allow && !m_check->isChecked()) {
        m_check->setChecked(true);
        m_edit->setEnabled(true);
    }
}

void KORVA_DTP::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    // The screen's label names the picker; a screen reader meets its parts.
    nameInnerControl(this, m_edit);
    nameInnerControl(this, m_check, tr("has a date"));
}

} // namespace korva
