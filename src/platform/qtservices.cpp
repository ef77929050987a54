#include "qtservices.h"

#include <QApplication>
#include <QClipboard>
#include <QDebug>
#include <QMessageBox>
#include <QPalette>
#include <QWidget>

namespace korva {

int QtMessageBoxes::msgBox(const QString &prompt, int style, const QString &title)
{
    QMessageBox box(QApplication::activeWindow());
    box.setWindowTitle(title);
    box.setText(prompt);
    switch (style & 0x70) {
    case MsgStyle::Critical:
        box.setIcon(QMessageBox::Critical);
        break;
    case MsgStyle::Question:
        box.setIcon(QMessageBox::Question);
        break;
    case MsgStyle::Exclamation:
        box.setIcon(QMessageBox::Warning);
        break;
    case MsgStyle::Information:
        box.setIcon(QMessageBox::Information);
        break;
    default:
        box.setIcon(QMessageBox::NoIcon);
    }
    switch (style & 0x07) {
    case MsgStyle::OkCancel:
        box.setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel);
        break;
    case MsgStyle::YesNoCancel:
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
        break;
    case MsgStyle::YesNo:
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
        break;
    default:
        box.setStandardButtons(QMessageBox::Ok);
    }
    switch (box.exec()) {
    case QMessageBox::Yes:
        return MsgAnswer::Yes;
    case QMessageBox::No:
        return MsgAnswer::No;
    case QMessageBox::Cancel:
        return MsgAnswer::Cancel;
    default:
        return MsgAnswer::Ok;
    }
}

void DialogErrorReporter::reportError(const QString &appName, const QString &errorText,
                                      const QString &source)
{
    qWarning().noquote() << appName << source << errorText;
    if (m_boxes)
        m_boxes->msgBox(QStringLiteral("%1\n\nWhere: %2").arg(errorText, source),
                        MsgStyle::Critical, appName);
}

void CallbackStatusBar::StatusText(const QString &text)
{
    m_last = text;
    if (m_show)
        m_show(text);
}

void OverrideCursorPointer::setBusy()
{
    if (!m_busy)
        QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    m_busy = true;
}

void OverrideCursorPointer::setDefault()
{
    if (m_busy)
        QGuiApplication::restoreOverrideCursor();
    m_busy = false;
}

QString QtClipboard::text() const
{
    return QGuiApplication::clipboard()->text();
}

void QtClipboard::setText(const QString &text)
{
    QGuiApplication::clipboard()->setText(text);
}

void QtClipboard::clear()
{
    QGuiApplication::clipboard()->clear();
}

void QtBeeper::beep()
{
    QApplication::beep();
}

namespace {
constexpr auto kMarkProperty = "korvaFieldError";
constexpr auto kSavedPalette = "korvaSavedPalette";
constexpr auto kSavedToolTip = "korvaSavedToolTip";
constexpr auto kSavedDescription = "korvaSavedDescription";
constexpr auto kReasons = "korvaMarkReasons";
} // namespace

void WidgetFieldMarks::MarkFieldError(QWidget *control)
{
    if (!control || isMarked(control))
        return;
    control->setProperty(kSavedPalette, QVariant::fromValue(control->palette()));
    QPalette p = control->palette();
    const QColor tint(255, 214, 214);
    p.setColor(QPalette::Base, tint);
    p.setColor(QPalette::Button, tint);
    p.setColor(QPalette::Window, tint);
    control->setPalette(p);
    control->setAutoFillBackground(true);
    control->setProperty(kMarkProperty, true);
}

// A colour says nothing to a screen reader, nor why: the control tells the rule's message as
// its tooltip and accessible description. A control failing several rules tells each once.
void WidgetFieldMarks::MarkFieldError(QWidget *control, const QString &reason)
{
    if (!control)
        return;
    MarkFieldError(control);
    const QString text = reason.trimmed();
    if (text.isEmpty())
        return;
    QStringList reasons = control->property(kReasons).toStringList();
    if (reasons.contains(text))
        return;
    if (reasons.isEmpty()) {
        control->setProperty(kSavedToolTip, control->toolTip());
        control->setProperty(kSavedDescription, control->accessibleDescription());
    }
    reasons.append(text);
    control->setProperty(kReasons, reasons);
    control->setToolTip(reasons.join(u'\n'));
    control->setAccessibleDescription(reasons.join(u' '));
}

void WidgetFieldMarks::ClearFieldError(QWidget *control)
{
    if (!control || !isMarked(control))
        return;
    control->setPalette(control->property(kSavedPalette).value<QPalette>());
    control->setProperty(kMarkProperty, false);
    if (!control->property(kReasons).toStringList().isEmpty()) {
        control->setToolTip(control->property(kSavedToolTip).toString());
        control->setAccessibleDescription(control->property(kSavedDescription).toString());
        control->setProperty(kReasons, QVariant());
    }
}

bool WidgetFieldMarks::isMarked(const QWidget *control) const
{
    return control && control->property(kMarkProperty).toBool();
}

bool StandardKeyFilters::FilterAccountKey(const QString &referenceTypeCode,
                                          const QString &currentText, int keyCode)
{
    Q_UNUSED(referenceTypeCode)
    if (keyCode == 8 || (keyCode >= '0' && keyCode <= '9'))
        return true;
    return keyCode == '-' && !currentText.contains(u'-');
}

bool StandardKeyFilters::FilterOfficerKey(int keyCode)
{
    return keyCode == 8 || (keyCode >= '0' && keyCode <= '9');
}

bool StandardKeyFilters::FilterTroopKey(int keyCode)
{
    return keyCode == 8 || (keyCode >= '0' && keyCode <= '9') ||
           (keyCode >= 'A' && keyCode <= 'Z') || (keyCode >= 'a' && keyCode <= 'z');
}

} // namespace korva
