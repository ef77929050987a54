#pragma once

#include <Qt>

class QKeyEvent;

namespace korva {

// The key codes and shift states the screens' KeyDown/KeyUp procedures take: the codes of
// the keyboard's virtual keys (Insert is 45, keypad "-" is 109), not Qt's key numbers,
// which collide with them (Qt's Key_Minus is 45 as well).
namespace KeyCode {
inline constexpr int None = 0;
inline constexpr int Back = 8;
inline constexpr int Tab = 9;
inline constexpr int Return = 13;
inline constexpr int Shift = 16;
inline constexpr int Control = 17;
inline constexpr int Menu = 18;
inline constexpr int Escape = 27;
inline constexpr int Space = 32;
inline constexpr int PageUp = 33;
inline constexpr int PageDown = 34;
inline constexpr int End = 35;
inline constexpr int Home = 36;
inline constexpr int Left = 37;
inline constexpr int Up = 38;
inline constexpr int Right = 39;
inline constexpr int Down = 40;
inline constexpr int Insert = 45;
inline constexpr int Delete = 46;
inline constexpr int Key0 = 48;    // to 57 for "9"
inline constexpr int KeyA = 65;    // to 90 for "Z"
inline constexpr int Numpad0 = 96; // to 105 for keypad "9"
inline constexpr int Multiply = 106;
inline constexpr int Add = 107;
inline constexpr int Subtract = 109;
inline constexpr int Decimal = 110;
inline constexpr int Divide = 111;
inline constexpr int F1 = 112; // to 135 for F24
} // namespace KeyCode

// Shift state bits as the procedures test them: 1 is Shift alone.
namespace ShiftState {
inline constexpr int Shift = 1;
inline constexpr int Ctrl = 2;
inline constexpr int Alt = 4;
} // namespace ShiftState

struct KeyStroke {
    int keyCode = KeyCode::None;
    int shift = 0;
    bool operator==(const KeyStroke &) const = default;
};

// The one mapping from Qt's keys: keypad keys keep their own codes, shifted symbols are
// the key they are typed on (US layout), and keys with no code of their own give 0.
int keyCodeOf(int qtKey, Qt::KeyboardModifiers modifiers);
int shiftStateOf(Qt::KeyboardModifiers modifiers);
KeyStroke keyStroke(const QKeyEvent *event);

} // namespace korva
