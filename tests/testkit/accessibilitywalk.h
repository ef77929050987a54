#pragma once

#include <QAccessible>
#include <QAccessibleInterface>
#include <QStringList>
#include <QWidget>

namespace korva::testkit {

// Walks a window's accessible tree as a screen reader does and lists the interactive
// controls it could not name, as "class objectName (role)". Hidden controls are skipped.
inline QStringList unnamedControls(QWidget *window)
{
    static const QList<QAccessible::Role> interactive{
        QAccessible::PushButton,     QAccessible::CheckBox,   QAccessible::RadioButton,
        QAccessible::EditableText,   QAccessible::ComboBox,   QAccessible::SpinBox,
        QAccessible::Table,          QAccessible::List,       QAccessible::Tree,
        QAccessible::PageTab,        QAccessible::Slider,     QAccessible::ButtonMenu,
        QAccessible::ButtonDropDown, QAccessible::HotkeyField};
    QStringList unnamed;
    QList<QAccessibleInterface *> pending{QAccessible::queryAccessibleInterface(window)};
    while (!pending.isEmpty()) {
        QAccessibleInterface *node = pending.takeFirst();
        if (!node || !node->isValid() || node->state().invisible)
            continue;
        // Table cells and list items are read through their table, not walked one by one.
        if (node->role() == QAccessible::Table || node->role() == QAccessible::List ||
            node->role() == QAccessible::Tree) {
            if (node->text(QAccessible::Name).trimmed().isEmpty())
                unnamed.append(QStringLiteral("%1 %2 (table)")
                                   .arg(QLatin1String(node->object()->metaObject()->className()),
                                        node->object()->objectName()));
            continue;
        }
        if (interactive.contains(node->role()) &&
            node->text(QAccessible::Name).trimmed().isEmpty()) {
            const QObject *o = node->object();
            const QObject *in = o ? o->parent() : nullptr;
            unnamed.append(
                QStringLiteral("%1 %2 in %3")
                    .arg(o ? QLatin1String(o->metaObject()->className()) : QLatin1String("?"),
                         o ? o->objectName() : QString(), in ? in->objectName() : QString()));
        }
        for (int i = 0; i < node->childCount(); ++i)
            pending.append(node->child(i));
    }
    return unnamed;
}

} // namespace korva::testkit
