#include "textboxevents.h"

#include "keycodes.h"

#include <QContextMenuEvent>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>

namespace korva {

namespace {

// The character a key press types, as its code; 0 for keys that type nothing. Shortcuts
// (Ctrl+V and the like) and control characters other than backspace are not typing.
int typedCharacter(const QKeyEvent *key)
{
    if (key->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))
        return 0;
    const QString text = key->text();
    if (text.size() != 1)
        return 0;
    const int code = text.at(0).unicode();
    return code == 8 || (code >= 32 && code != 127) ? code : 0;
}

bool keyPress(TextBoxEventSink &sink, int index, QLineEdit *lineEdit, QKeyEvent *key)
{
    const KeyStroke stroke = keyStroke(key);
    sink.txtBox_KeyDown(index, stroke.keyCode, stroke.shift);
    int code = typedCharacter(key);
    if (code == 0)
        return false;
    const int typed = code;
    if (!sink.txtBox_KeyPress(index, code))
        return true;
    if (code != typed && lineEdit) {
        lineEdit->insert(QString(QChar(code)));
        return true;
    }
    return false;
}

} // namespace

bool leftTheControl(const QEvent *focusOut)
{
    const Qt::FocusReason reason = static_cast<const QFocusEvent *>(focusOut)->reason();
    return reason != Qt::PopupFocusReason && reason != Qt::ActiveWindowFocusReason;
}

bool raiseTextBoxEvent(TextBoxEventSink &sink, int index, QLineEdit *lineEdit, QEvent *event,
                       QWidget *owner)
{
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        sink.txtBox_MouseDown(index, static_cast<QMouseEvent *>(event)->button());
        return false;
    case QEvent::MouseButtonRelease:
        sink.txtBox_MouseUp(index);
        return false;
    case QEvent::KeyPress:
        return keyPress(sink, index, lineEdit, static_cast<QKeyEvent *>(event));
    case QEvent::KeyRelease:
        sink.txtBox_KeyUp(index);
        return false;
    case QEvent::FocusOut:
        if (leftTheControl(event))
            sink.txtBox_LostFocus(index);
        return false;
    case QEvent::ContextMenu: {
        if (!lineEdit)
            return false;
        QMenu *menu = lineEdit->createStandardContextMenu();
        menu->setAttribute(Qt::WA_DeleteOnClose);
        QObject::connect(menu, &QObject::destroyed, owner,
                         [&sink, index] { sink.txtBox_MouseUp(index); });
        menu->popup(static_cast<QContextMenuEvent *>(event)->globalPos());
        return true;
    }
    default:
        return false;
    }
}

} // namespace korva
