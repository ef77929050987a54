#include "platform/keycodes.h"

#include "test_main.h"

#include <QKeyEvent>
#include <QTest>

using namespace korva;

class TestKeyCodes : public QObject {
    Q_OBJECT
private slots:
    void keyCodes_data();
    void keyCodes();
};

void TestKeyCodes::keyCodes_data()
{
    QTest::addColumn<int>("qtKey");
    QTest::addColumn<int>("modifiers");
    QTest::addColumn<int>("keyCode");
    QTest::addColumn<int>("shift");

    const int shift = int(Qt::ShiftModifier);
    const int keypad = int(Qt::KeypadModifier);
    QTest::newRow("Shift+Insert") << int(Qt::Key_Insert) << shift << 45 << 1;
    // Qt's own number for "-" is 45: neither minus may pass for Insert.
    QTest::newRow("Shift+keypad minus") << int(Qt::Key_Minus) << (shift | keypad) << 109 << 1;
    QTest::newRow("minus") << int(Qt::Key_Minus) << 0 << 189 << 0;
    QTest::newRow("Shift+minus is underscore") << int(Qt::Key_Underscore) << shift << 189 << 1;
    // Num Lock off: keypad 0 is the Insert key.
    QTest::newRow("keypad Insert") << int(Qt::Key_Insert) << (shift | keypad) << 45 << 1;
    QTest::newRow("keypad 7") << int(Qt::Key_7) << keypad << 103 << 0;
    QTest::newRow("7") << int(Qt::Key_7) << 0 << 55 << 0;
    QTest::newRow("Shift+7 is ampersand") << int(Qt::Key_Ampersand) << shift << 55 << 1;
    QTest::newRow("Ctrl+V") << int(Qt::Key_V) << int(Qt::ControlModifier) << 86 << 2;
    QTest::newRow("Ctrl+Alt+Shift+F2")
        << int(Qt::Key_F2) << int(Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier) << 113
        << 7;
    QTest::newRow("Delete") << int(Qt::Key_Delete) << 0 << 46 << 0;
    QTest::newRow("no code of its own") << int(Qt::Key_VolumeUp) << 0 << 0 << 0;
}

void TestKeyCodes::keyCodes()
{
    QFETCH(int, qtKey);
    QFETCH(int, modifiers);
    QFETCH(int, keyCode);
    QFETCH(int, shift);
    const QKeyEvent event(QEvent::KeyPress, qtKey, Qt::KeyboardModifiers(modifiers));
    QCOMPARE(keyStroke(&event), (KeyStroke{keyCode, shift}));
}

KORVA_TEST_MAIN(TestKeyCodes)
#include "tst_keycodes.moc"
