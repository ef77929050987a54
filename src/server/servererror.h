#pragma once

#include <QByteArray>
#include <QString>

#include <exception>

namespace korva::server {

// A refusal or failure whose text goes back to the screen unchanged as the reply's error.
class RequestError : public std::exception {
public:
    explicit RequestError(QString text)
        : m_text(std::move(text))
        , m_what(m_text.toUtf8())
    {}
    const QString &text() const { return m_text; }
    const char *what() const noexcept override { return m_what.constData(); }

private:
    QString m_text;
    QByteArray m_what;
};

// The database itself failed (unreachable, locked, broken SQL). `lost` says the connection is
// unusable and must be opened anew before the next request.
class DatabaseError : public RequestError {
public:
    DatabaseError(QString text, bool lost = false)
        : RequestError(std::move(text))
        , m_lost(lost)
    {}
    bool connectionLost() const { return m_lost; }

private:
    bool m_lost;
};

} // namespace korva::server
