#pragma once

#include <QDialog>

class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QTextEdit;

namespace korva {

class SpellingSession;

// Shows the session's current misspelt word in its line with the dictionary's suggestions,
// and hands the user's choice back to the session. Accepted when the walk reaches the end;
// rejected by Cancel, whose caller then keeps the text as it was.
class SpellCheckDialog : public QDialog {
    Q_OBJECT
public:
    // The session must stand at a misspelt word and outlive the dialog.
    explicit SpellCheckDialog(SpellingSession &session, QWidget *parent = nullptr);

private:
    void showWord();
    void step(bool more);
    QString replacement() const;

    SpellingSession &m_session;
    QTextEdit *m_context = nullptr;
    QLineEdit *m_changeTo = nullptr;
    QListWidget *m_suggestions = nullptr;
    QPushButton *m_change = nullptr;
    QPushButton *m_changeAll = nullptr;
};

} // namespace korva
