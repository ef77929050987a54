#pragma once

#include <QString>

class QWidget;

namespace korva {

// What a screen reader should call a control: its own accessible name, else the text of the
// label that names it (the label's buddy), without the mnemonic's "&".
QString accessibleLabelOf(const QWidget *control);

// Gives a composite control's inner editor the name of the whole, once it is shown, unless
// the editor was named on purpose.
void nameInnerControl(const QWidget *composite, QWidget *inner, const QString &suffix = {});

} // namespace korva
