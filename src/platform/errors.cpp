#include "errors.h"

#include "platform.h"

namespace korva {

ProcError::ProcError(qint32 number, QString description, QString source)
    : m_number(number)
    , m_description(std::move(description))
    , m_source(std::move(source))
    , m_what(m_description.toUtf8())
{}

void raiseQuiet()
{
    throw ProcError(kQuietError, QString());
}

void raiseError(qint32 number, const QString &description, const QString &source)
{
    throw ProcError(number, description, source);
}

void raiseOverflow()
{
    throw ProcError(kErrOverflow, QStringLiteral("Overflow"));
}

void raiseSubscript()
{
    throw ProcError(kErrSubscript, QStringLiteral("Subscript out of range"));
}

namespace detail {

void reportFailure(QStringView source, const std::exception *error)
{
    QString text;
    if (auto *pe = dynamic_cast<const ProcError *>(error))
        text = pe->description();
    else if (error)
        text = QString::fromUtf8(error->what());
    else
        text = QStringLiteral("Unknown error");
    Platform &p = Platform::current();
    const QString src = source.toString();
    try {
        p.errors->reportError(p.user->applicationName(), text, src);
    } catch (...) {
    }
}

void procedureExit() noexcept
{
    Platform &p = Platform::current();
    p.pointer->setDefault();
}

} // namespace detail

} // namespace korva
