#include "spellchecksession.h"

#include <algorithm>

namespace korva {

namespace {

bool isApostrophe(QChar c)
{
    return c == u'\'' || c == u'\u2019';
}

bool isWordChar(QChar c)
{
    return c.isLetterOrNumber() || isApostrophe(c) || c.category() == QChar::Mark_NonSpacing;
}

bool isAddressChar(QChar c)
{
    return !c.isSpace() && c != u'<' && c != u'>' && c != u'(' && c != u')' && c != u'"';
}

// A mail address or a web address, taken whole from blank to blank.
bool isAddressAt(const QString &text, qsizetype start, qsizetype end)
{
    const QStringView run = QStringView(text).mid(start, end - start);
    return run.contains(u'@') || run.contains(u"://") ||
           run.startsWith(u"www.", Qt::CaseInsensitive);
}

bool worthChecking(QStringView word)
{
    bool letters = false;
    bool lower = false;
    for (QChar c : word) {
        if (c.isDigit())
            return false;
        if (c.isLetter()) {
            letters = true;
            lower = lower || c.isLower();
        }
    }
    if (!letters)
        return false;
    // One capital letter is a word ("I", "A"); more than one without a small letter is a code.
    const qsizetype letterCount =
        std::count_if(word.begin(), word.end(), [](QChar c) { return c.isLetter(); });
    return lower || letterCount == 1;
}

} // namespace

QList<SpellToken> spellingTokens(const QString &text)
{
    QList<SpellToken> tokens;
    qsizetype i = 0;
    const qsizetype n = text.size();
    while (i < n) {
        if (!isAddressChar(text.at(i))) {
            ++i;
            continue;
        }
        qsizetype runEnd = i;
        while (runEnd < n && isAddressChar(text.at(runEnd)))
            ++runEnd;
        if (isAddressAt(text, i, runEnd)) {
            i = runEnd;
            continue;
        }
        // Within a run of non-blanks: words are the letter-and-apostrophe stretches.
        while (i < runEnd) {
            if (!isWordChar(text.at(i))) {
                ++i;
                continue;
            }
            qsizetype end = i;
            while (end < runEnd && isWordChar(text.at(end)))
                ++end;
            qsizetype start = i;
            qsizetype stop = end;
            // Quotes around a word are not part of it.
            while (start < stop && isApostrophe(text.at(start)))
                ++start;
            while (stop > start && isApostrophe(text.at(stop - 1)))
                --stop;
            if (stop > start && worthChecking(QStringView(text).mid(start, stop - start)))
                tokens.append({start, stop - start});
            i = end;
        }
    }
    return tokens;
}

SpellingSession::SpellingSession(SpellDictionary &dictionary, QString text)
    : m_dictionary(dictionary)
    , m_original(text)
    , m_text(std::move(text))
{}

bool SpellingSession::next()
{
    m_length = 0;
    // The text changes as words are replaced, so each step looks at what is left of it.
    for (;;) {
        const QList<SpellToken> tokens = spellingTokens(m_text);
        const auto found = std::find_if(tokens.begin(), tokens.end(), [&](const SpellToken &t) {
            return t.position >= m_scanFrom;
        });
        if (found == tokens.end()) {
            m_position = m_text.size();
            m_scanFrom = m_position;
            return false;
        }
        m_position = found->position;
        m_length = found->length;
        const QString current = word();
        const auto replacement = m_changeAll.constFind(current);
        if (replacement != m_changeAll.constEnd()) {
            replaceCurrent(*replacement);
            continue;
        }
        if (m_ignored.contains(current) || m_dictionary.isCorrect(current)) {
            m_scanFrom = m_position + m_length;
            m_length = 0;
            continue;
        }
        m_scanFrom = m_position;
        return true;
    }
}

QString SpellingSession::context(qsizetype radius, qsizetype *wordStart) const
{
    qsizetype lineStart = m_position;
    while (lineStart > 0 && m_text.at(lineStart - 1) != u'\n' && m_text.at(lineStart - 1) != u'\r')
        --lineStart;
    qsizetype lineEnd = m_position + m_length;
    while (lineEnd < m_text.size() && m_text.at(lineEnd) != u'\n' && m_text.at(lineEnd) != u'\r')
        ++lineEnd;
    const qsizetype from = std::max(lineStart, m_position - radius);
    const qsizetype to = std::min(lineEnd, m_position + m_length + radius);
    QString line = m_text.mid(from, to - from);
    qsizetype start = m_position - from;
    if (from > lineStart) {
        line.prepend(u'\u2026');
        ++start;
    }
    if (to < lineEnd)
        line.append(u'\u2026');
    if (wordStart)
        *wordStart = start;
    return line;
}

QStringList SpellingSession::suggestions() const
{
    return atWord() ? m_dictionary.suggestions(word()) : QStringList();
}

void SpellingSession::replaceCurrent(const QString &replacement)
{
    m_text.replace(m_position, m_length, replacement);
    m_scanFrom = m_position + replacement.size();
    m_length = 0;
}

bool SpellingSession::change(const QString &replacement)
{
    if (atWord())
        replaceCurrent(replacement);
    return next();
}

bool SpellingSession::changeAll(const QString &replacement)
{
    if (!atWord())
        return next();
    m_changeAll.insert(word(), replacement);
    replaceCurrent(replacement);
    return next();
}

bool SpellingSession::ignore()
{
    m_scanFrom = m_position + m_length;
    return next();
}

bool SpellingSession::ignoreAll()
{
    if (atWord())
        m_ignored.insert(word());
    return ignore();
}

bool SpellingSession::add()
{
    if (atWord())
        m_dictionary.addWord(word());
    return ignore();
}

} // namespace korva
