#include "keycodes.h"

#include <QKeyEvent>

namespace korva {

namespace {

int keypadCode(int qtKey)
{
    if (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9)
        return KeyCode::Numpad0 + (qtKey - Qt::Key_0);
    switch (qtKey) {
    case Qt::Key_Asterisk:
        return KeyCode::Multiply;
    case Qt::Key_Plus:
        return KeyCode::Add;
    case Qt::Key_Minus:
        return KeyCode::Subtract;
    case Qt::Key_Period:
    case Qt::Key_Comma: // the keypad's decimal key on layouts with a decimal comma
        return KeyCode::Decimal;
    case Qt::Key_Slash:
        return KeyCode::Divide;
    default:
        return -1; // with Num Lock off the keypad sends the navigation keys
    }
}

// The symbol keys of the main keyboard, shifted or not, by the key they sit on.
int symbolCode(int qtKey)
{
    switch (qtKey) {
    case Qt::Key_ParenRight:
        return KeyCode::Key0;
    case Qt::Key_Exclam:
        return KeyCode::Key0 + 1;
    case Qt::Key_At:
        return KeyCode::Key0 + 2;
    case Qt::Key_NumberSign:
        return KeyCode::Key0 + 3;
    case Qt::Key_Dollar:
        return KeyCode::Key0 + 4;
    case Qt::Key_Percent:
        return KeyCode::Key0 + 5;
    case Qt::Key_AsciiCircum:
        return KeyCode::Key0 + 6;
    case Qt::Key_Ampersand:
        return KeyCode::Key0 + 7;
    case Qt::Key_Asterisk:
        return KeyCode::Key0 + 8;
    case Qt::Key_ParenLeft:
        return KeyCode::Key0 + 9;
    case Qt::Key_Semicolon:
    case Qt::Key_Colon:
        return 186;
    case Qt::Key_Equal:
    case Qt::Key_Plus:
        return 187;
    case Qt::Key_Comma:
    case Qt::Key_Less:
        return 188;
    case Qt::Key_Minus:
    case Qt::Key_Underscore:
        return 189;
    case Qt::Key_Period:
    case Qt::Key_Greater:
        return 190;
    case Qt::Key_Slash:
    case Qt::Key_Question:
        return 191;
    case Qt::Key_QuoteLeft:
    case Qt::Key_AsciiTilde:
        return 192;
    case Qt::Key_BracketLeft:
    case Qt::Key_BraceLeft:
        return 219;
    case Qt::Key_Backslash:
    case Qt::Key_Bar:
        return 220;
    case Qt::Key_BracketRight:
    case Qt::Key_BraceRight:
        return 221;
    case Qt::Key_Apostrophe:
    case Qt::Key_QuoteDbl:
        return 222;
    default:
        return KeyCode::None;
    }
}

int controlCode(int qtKey)
{
    switch (qtKey) {
    case Qt::Key_Backspace:
        return KeyCode::Back;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        return KeyCode::Tab;
    case Qt::Key_Clear:
        return 12;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return KeyCode::Return;
    case Qt::Key_Shift:
        return KeyCode::Shift;
    case Qt::Key_Control:
        return KeyCode::Control;
    case Qt::Key_Alt:
        return KeyCode::Menu;
    case Qt::Key_Pause:
        return 19;
    case Qt::Key_CapsLock:
        return 20;
    case Qt::Key_Escape:
        return KeyCode::Escape;
    case Qt::Key_Space:
        return KeyCode::Space;
    case Qt::Key_PageUp:
        return KeyCode::PageUp;
    case Qt::Key_PageDown:
        return KeyCode::PageDown;
    case Qt::Key_End:
        return KeyCode::End;
    case Qt::Key_Home:
        return KeyCode::Home;
    case Qt::Key_Left:
        return KeyCode::Left;
    case Qt::Key_Up:
        return KeyCode::Up;
    case Qt::Key_Right:
        return KeyCode::Right;
    case Qt::Key_Down:
        return KeyCode::Down;
    case Qt::Key_Print:
        return 44;
    case Qt::Key_Insert:
        return KeyCode::Insert;
    case Qt::Key_Delete:
        return KeyCode::Delete;
    case Qt::Key_Help:
        return 47;
    case Qt::Key_NumLock:
        return 144;
    case Qt::Key_ScrollLock:
        return 145;
    default:
        return KeyCode::None;
    }
}

} // namespace

int keyCodeOf(int qtKey, Qt::KeyboardModifiers modifiers)
{
    if (modifiers & Qt::KeypadModifier) {
        const int code = keypadCode(qtKey);
        if (code >= 0)
            return code;
    }
    if (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9)
        return KeyCode::Key0 + (qtKey - Qt::Key_0);
    if (qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z)
        return KeyCode::KeyA + (qtKey - Qt::Key_A);
    if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F24)
        return KeyCode::F1 + (qtKey - Qt::Key_F1);
    if (const int code = controlCode(qtKey))
        return code;
    return symbolCode(qtKey);
}

int shiftStateOf(Qt::KeyboardModifiers modifiers)
{
    return (modifiers & Qt::ShiftModifier ? ShiftState::Shift : 0) |
           (modifiers & Qt::ControlModifier ? ShiftState::Ctrl : 0) |
           (modifiers & Qt::AltModifier ? ShiftState::Alt : 0);
}

KeyStroke keyStroke(const QKeyEvent *event)
{
    if (!event)
        return {};
    return {keyCodeOf(event->key(), event->modifiers()), shiftStateOf(event->modifiers())};
}

} // namespace korva
