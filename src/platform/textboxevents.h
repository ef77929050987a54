#pragma once

#include <Qt>

class QEvent;
class QLineEdit;
class QWidget;

namespace korva {

// The procedures a screen's text boxes raise, under the names and with the arguments the
// screens write them with. A screen implements them and hands its boxes' events to
// raiseTextBoxEvent, so that every screen maps Qt's events to them alike.
class TextBoxEventSink {
public:
    virtual void txtBox_MouseDown(int index, Qt::MouseButton button) = 0;
    virtual void txtBox_MouseUp(int index) = 0;
    virtual void txtBox_KeyDown(int index, int keyCode, int shift) = 0;
    // May change the typed character; false drops the key.
    virtual bool txtBox_KeyPress(int index, int &keyAscii) = 0;
    virtual void txtBox_KeyUp(int index) = 0;
    virtual void txtBox_LostFocus(int index) = 0;

protected:
    ~TextBoxEventSink() = default;
};

// Raises text box `index`'s procedures for one Qt event; true when the event is consumed.
// `lineEdit` is the box when it is guarded against a right-button paste: it then gets the
// standard context menu, whose end raises the mouse-up that the right button's release
// cannot (the release goes to the menu). A multi-line box passes null and keeps its own menu.
// `owner` holds the menu's connection.
bool raiseTextBoxEvent(TextBoxEventSink &sink, int index, QLineEdit *lineEdit, QEvent *event,
                       QWidget *owner);

// Focus that goes to a popup (a context menu, a combo's list) or another window has not left
// the control.
bool leftTheControl(const QEvent *focusOut);

} // namespace korva
