#include "recordsetquery.h"

#include "datetext.h"
#include "errors.h"
#include "recordset.h"

#include <QRegularExpression>

#include <cmath>

namespace korva::query {

namespace {

enum class Tok { Ident, Text, Number, Date, Op, And, Or, LParen, RParen, End };

struct Token {
    Tok kind;
    QString text;
};

[[noreturn]] void malformed(const QString &what, const QString &text)
{
    raiseError(kErrInvalidArgument,
               QStringLiteral("The filter \"%1\" is not valid: %2.").arg(text, what));
}

QList<Token> tokenize(const QString &text)
{
    QList<Token> out;
    int i = 0;
    const int n = int(text.size());
    while (i < n) {
        const QChar c = text.at(i);
        if (c.isSpace()) {
            ++i;
        } else if (c == u'(') {
            out.append({Tok::LParen, QStringLiteral("(")});
            ++i;
        } else if (c == u')') {
            out.append({Tok::RParen, QStringLiteral(")")});
            ++i;
        } else if (c == u'\'') {
            QString value;
            ++i;
            bool closed = false;
            while (i < n) {
                if (text.at(i) == u'\'') {
                    if (i + 1 < n && text.at(i + 1) == u'\'') {
                        value.append(u'\'');
                        i += 2;
                        continue;
                    }
                    closed = true;
                    ++i;
                    break;
                }
                value.append(text.at(i++));
            }
            if (!closed)
                malformed(QStringLiteral("a quoted text is not closed"), text);
            out.append({Tok::Text, value});
        } else if (c == u'#') {
            const int end = int(text.indexOf(u'#', i + 1));
            if (end < 0)
                malformed(QStringLiteral("a date literal is not closed"), text);
            out.append({Tok::Date, text.mid(i + 1, end - i - 1)});
            i = end + 1;
        } else if (c == u'=' || c == u'<' || c == u'>') {
            QString op(c);
            if (i + 1 < n && (text.at(i + 1) == u'=' || (c == u'<' && text.at(i + 1) == u'>')))
                op.append(text.at(++i));
            out.append({Tok::Op, op});
            ++i;
        } else if (c.isDigit() || c == u'-' || c == u'+' || c == u'.') {
            int j = i + 1;
            while (j < n && (text.at(j).isDigit() || text.at(j) == u'.'))
                ++j;
            out.append({Tok::Number, text.mid(i, j - i)});
            i = j;
        } else if (c.isLetter() || c == u'_' || c == u'[') {
            int j = i;
            if (c == u'[') {
                j = int(text.indexOf(u']', i));
                if (j < 0)
                    malformed(QStringLiteral("a bracketed name is not closed"), text);
                out.append({Tok::Ident, text.mid(i + 1, j - i - 1)});
                i = j + 1;
                continue;
            }
            while (j < n && (text.at(j).isLetterOrNumber() || text.at(j) == u'_'))
                ++j;
            const QString word = text.mid(i, j - i);
            const QString upper = word.toUpper();
            if (upper == u"AND")
                out.append({Tok::And, word});
            else if (upper == u"OR")
                out.append({Tok::Or, word});
            else if (upper == u"LIKE")
                out.append({Tok::Op, QStringLiteral("LIKE")});
            else
                out.append({Tok::Ident, word});
            i = j;
        } else {
            malformed(QStringLiteral("unexpected character '%1'").arg(c), text);
        }
    }
    out.append({Tok::End, QString()});
    return out;
}

// A literal converted once, at parse time, to the type of the column it is compared with.
struct Literal {
    FieldType type;
    bool valid = false;
    double number = 0;
    QDate date;
    QDateTime timestamp;
    QString text;

    Literal(FieldType t, const QString &raw)
        : type(t)
        , text(raw)
    {
        switch (type) {
        case FieldType::Integer:
        case FieldType::Decimal:
            number = raw.trimmed().toDouble(&valid);
            break;
        case FieldType::Date:
            date = parseDateText(raw);
            valid = date.isValid();
            break;
        case FieldType::Timestamp:
            timestamp = parseDateTimeText(raw);
            valid = timestamp.isValid();
            break;
        case FieldType::Text:
            valid = true;
            break;
        }
    }
};

// -1, 0, 1; nullopt when the two cannot be compared.
std::optional<int> compareCell(const QVariant &cell, const Literal &literal)
{
    if (cell.isNull() || !literal.valid)
        return std::nullopt;
    auto sign = [](auto a, auto b) {
        return a < b ? -1 : (a > b ? 1 : 0);
    };
    switch (literal.type) {
    case FieldType::Integer:
        return cell.typeId() == QMetaType::LongLong
                   ? sign(double(cell.toLongLong()), literal.number)
                   : sign(cell.toDouble(), literal.number);
    case FieldType::Decimal:
        return sign(cell.toDouble(), literal.number);
    case FieldType::Date:
        return sign(cell.toDate(), literal.date);
    case FieldType::Timestamp:
        return sign(cell.toDateTime(), literal.timestamp);
    case FieldType::Text:
        return cell.toString().compare(literal.text, Qt::CaseInsensitive);
    }
    return std::nullopt;
}

QRegularExpression likePattern(const QString &pattern)
{
    QString rx;
    for (const QChar c : pattern) {
        if (c == u'*' || c == u'%')
            rx += QStringLiteral(".*");
        else if (c == u'?' || c == u'_')
            rx += u'.';
        else
            rx += QRegularExpression::escape(QString(c));
    }
    return QRegularExpression(QRegularExpression::anchoredPattern(rx),
                              QRegularExpression::CaseInsensitiveOption);
}

class Parser {
public:
    Parser(const RecordSet &rs, const QString &text)
        : m_rs(rs)
        , m_text(text)
        , m_tokens(tokenize(text))
    {}

    Predicate parse()
    {
        if (m_tokens.size() == 1)
            malformed(QStringLiteral("it is empty"), m_text);
        Predicate p = orExpr();
        if (peek().kind != Tok::End)
            malformed(QStringLiteral("unexpected '%1'").arg(peek().text), m_text);
        return p;
    }

private:
    const Token &peek() const { return m_tokens.at(m_pos); }
    Token take() { return m_tokens.at(m_pos++); }

    Predicate orExpr()
    {
        Predicate left = andExpr();
        while (peek().kind == Tok::Or) {
            take();
            Predicate right = andExpr();
            left = [left, right](const Row &r) {
                return left(r) || right(r);
            };
        }
        return left;
    }

    Predicate andExpr()
    {
        Predicate left = primary();
        while (peek().kind == Tok::And) {
            take();
            Predicate right = primary();
            left = [left, right](const Row &r) {
                return left(r) && right(r);
            };
        }
        return left;
    }

    Predicate primary()
    {
        if (peek().kind == Tok::LParen) {
            take();
            Predicate inner = orExpr();
            if (take().kind != Tok::RParen)
                malformed(QStringLiteral("a parenthesis is not closed"), m_text);
            return inner;
        }
        const Token field = take();
        if (field.kind != Tok::Ident)
            malformed(QStringLiteral("a field name was expected before '%1'").arg(field.text),
                      m_text);
        const int column = m_rs.fieldIndex(field.text);
        if (column < 0)
            malformed(QStringLiteral("there is no field named %1").arg(field.text), m_text);
        const Token op = take();
        if (op.kind != Tok::Op)
            malformed(QStringLiteral("an operator was expected after %1").arg(field.text), m_text);
        Token literal = take();
        if (literal.kind != Tok::Text && literal.kind != Tok::Number && literal.kind != Tok::Date)
            malformed(QStringLiteral("a value was expected after %1 %2").arg(field.text, op.text),
                      m_text);
        const FieldType type = m_rs.fields().at(column).type;
        if (op.text == u"LIKE") {
            const auto rx = likePattern(literal.text);
            return [column, rx](const Row &r) {
                const QVariant &v = r.at(column);
                return !v.isNull() && rx.match(v.toString()).hasMatch();
            };
        }
        enum class Op { Eq, Ne, Lt, Gt, Le, Ge };
        const Op o = op.text == u"="    ? Op::Eq
                     : op.text == u"<>" ? Op::Ne
                     : op.text == u"<"  ? Op::Lt
                     : op.text == u">"  ? Op::Gt
                     : op.text == u"<=" ? Op::Le
                                        : Op::Ge;
        return [column, lit = Literal(type, literal.text), o](const Row &r) {
            const auto c = compareCell(r.at(column), lit);
            if (!c)
                return false;
            switch (o) {
            case Op::Eq:
                return *c == 0;
            case Op::Ne:
                return *c != 0;
            case Op::Lt:
                return *c < 0;
            case Op::Gt:
                return *c > 0;
            case Op::Le:
                return *c <= 0;
            case Op::Ge:
                return *c >= 0;
            }
            return false;
        };
    }

    const RecordSet &m_rs;
    QString m_text;
    QList<Token> m_tokens;
    int m_pos = 0;
};

int compareValues(const QVariant &a, const QVariant &b, FieldType type)
{
    if (a.isNull() || b.isNull())
        return a.isNull() == b.isNull() ? 0 : (a.isNull() ? -1 : 1);
    switch (type) {
    case FieldType::Integer:
        return a.toLongLong() < b.toLongLong() ? -1 : (a.toLongLong() > b.toLongLong() ? 1 : 0);
    case FieldType::Decimal:
        return a.toDouble() < b.toDouble() ? -1 : (a.toDouble() > b.toDouble() ? 1 : 0);
    case FieldType::Date:
        return a.toDate() < b.toDate() ? -1 : (a.toDate() > b.toDate() ? 1 : 0);
    case FieldType::Timestamp:
        return a.toDateTime() < b.toDateTime() ? -1 : (a.toDateTime() > b.toDateTime() ? 1 : 0);
    case FieldType::Text:
        return a.toString().compare(b.toString(), Qt::CaseInsensitive);
    }
    return 0;
}

} // namespace

Predicate parseCriteria(const RecordSet &rs, const QString &text)
{
    return Parser(rs, text).parse();
}

Less parseSort(const RecordSet &rs, const QString &text)
{
    struct Key {
        int column;
        FieldType type;
        bool descending;
    };
    QList<Key> keys;
    for (const QString &part : text.split(u',')) {
        const QStringList words = part.trimmed().split(u' ', Qt::SkipEmptyParts);
        if (words.isEmpty() || words.size() > 2)
            raiseError(kErrInvalidArgument,
                       QStringLiteral("The sort \"%1\" is not valid: each key is a field name "
                                      "and an optional ASC or DESC.")
                           .arg(text));
        const int column = rs.fieldIndex(words.at(0));
        if (column < 0)
            raiseError(kErrInvalidArgument,
                       QStringLiteral("The sort \"%1\" is not valid: there is no field named %2.")
                           .arg(text, words.at(0)));
        bool descending = false;
        if (words.size() == 2) {
            const QString dir = words.at(1).toUpper();
            if (dir != u"ASC" && dir != u"DESC")
                raiseError(kErrInvalidArgument,
                           QStringLiteral("The sort \"%1\" is not valid: '%2' is neither ASC "
                                          "nor DESC.")
                               .arg(text, words.at(1)));
            descending = dir == u"DESC";
        }
        keys.append({column, rs.fields().at(column).type, descending});
    }
    return [keys](const Row &a, const Row &b) {
        for (const Key &k : keys) {
            const int c = compareValues(a.at(k.column), b.at(k.column), k.type);
            if (c != 0)
                return k.descending ? c > 0 : c < 0;
        }
        return false;
    };
}

} // namespace korva::query
