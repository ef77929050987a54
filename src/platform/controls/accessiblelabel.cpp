#include "accessiblelabel.h"

#include <QLabel>
#include <QWidget>

namespace korva {

QString accessibleLabelOf(const QWidget *control)
{
    if (!control)
        return {};
    if (!control->accessibleName().isEmpty())
        return control->accessibleName();
    const auto labels = control->window()->findChildren<QLabel *>();
    for (const QLabel *label : labels) {
        if (label->buddy() == control ||
            (label->buddy() && label->buddy() == control->focusProxy()))
            return label->text().remove(u'&').remove(u':').trimmed();
    }
    return {};
}

void nameInnerControl(const QWidget *composite, QWidget *inner, const QString &suffix)
{
    if (!inner || inner->property("korvaNamedFor").toString() != inner->accessibleName())
        return; // named by its screen
    const QString name = accessibleLabelOf(composite);
    if (name.isEmpty())
        return;
    const QString full = suffix.isEmpty() ? name : name + u' ' + suffix;
    inner->setAccessibleName(full);
    inner->setProperty("korvaNamedFor", full);
}

} // namespace korva
