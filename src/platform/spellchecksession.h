#pragma once

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

namespace korva {

// What the walk asks of a dictionary; the Hunspell one is the real one.
class SpellDictionary {
public:
    virtual ~SpellDictionary() = default;
    virtual bool isCorrect(const QString &word) const = 0;
    virtual QStringList suggestions(const QString &word) const = 0;
    // Accepts the word from now on and keeps it in the user's own list.
    virtual void addWord(const QString &word) = 0;
};

struct SpellToken {
    qsizetype position = 0;
    qsizetype length = 0;
};

// The words worth checking: runs of letters and apostrophes. Numbers, words with digits,
// ALL-CAPS codes (citation and form codes fill the comments), mail and web addresses are
// passed over, since the dictionary would flag every one of them.
QList<SpellToken> spellingTokens(const QString &text);

// One walk over a text's misspelt words. The dialog only shows what the session says and
// passes the user's choice back, so the walk itself can be tested without a modal dialog.
class SpellingSession {
public:
    SpellingSession(SpellDictionary &dictionary, QString text);

    // Moves to the next misspelt word after the current one; false when none is left.
    // Words chosen for Change All earlier are replaced on the way without stopping.
    bool next();
    bool atWord() const { return m_length > 0; }

    QString word() const { return m_text.mid(m_position, m_length); }
    qsizetype position() const { return m_position; }
    // The line the word stands in, trimmed to about `radius` characters either side, and
    // where the word starts within it.
    QString context(qsizetype radius, qsizetype *wordStart) const;
    QStringList suggestions() const;

    // Each of these acts on the current word and moves on (the result of next()).
    bool change(const QString &replacement);
    bool changeAll(const QString &replacement);
    bool ignore();
    bool ignoreAll();
    bool add();

    const QString &text() const { return m_text; }
    const QString &originalText() const { return m_original; }
    bool changed() const { return m_text != m_original; }

private:
    void replaceCurrent(const QString &replacement);

    SpellDictionary &m_dictionary;
    QString m_original;
    QString m_text;
    qsizetype m_position = 0;
    qsizetype m_length = 0;
    qsizetype m_scanFrom = 0;
    QSet<QString> m_ignored;
    QHash<QString, QString> m_changeAll;
};

} // namespace korva
