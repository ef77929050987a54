#pragma once

#include <QByteArray>
#include <QString>
#include <QStringView>

#include <exception>
#include <utility>

namespace korva {

// Error numbers keep the values the rest of the application already knows.
inline constexpr qint32 kObjectErrorBase = -2147221504;        // 0x80040000
inline constexpr qint32 kQuietError = kObjectErrorBase + 1000; // 0x800403E8: leave without a report
inline constexpr qint32 kComponentError = kObjectErrorBase + 1;
inline constexpr qint32 kErrOverflow = 6;
inline constexpr qint32 kErrSubscript = 9;
inline constexpr qint32 kErrTypeMismatch = 13;
inline constexpr qint32 kErrInvalidArgument = 5;
inline constexpr qint32 kErrRecordSet = 3265;

class ProcError : public std::exception {
public:
    ProcError(qint32 number, QString description, QString source = {});

    qint32 number() const { return m_number; }
    const QString &description() const { return m_description; }
    const QString &source() const { return m_source; }
    bool isQuiet() const { return m_number == kQuietError; }
    const char *what() const noexcept override { return m_what.constData(); }

private:
    qint32 m_number;
    QString m_description;
    QString m_source;
    QByteArray m_what;
};

[[noreturn]] void raiseQuiet();
[[noreturn]] void raiseError(qint32 number, const QString &description, const QString &source = {});
[[noreturn]] void raiseOverflow();
[[noreturn]] void raiseSubscript();

enum class Quiet {
    Swallow,  // the quiet error ends the procedure silently
    Propagate // the quiet error is handed on to the caller (after the exit has run)
};

namespace detail {
// Reports a failure under the procedure's source text; never throws.
void reportFailure(QStringView source, const std::exception *error);
// The procedure exit: default mouse pointer.
void procedureExit() noexcept;
} // namespace detail

// Runs one procedure under its source text. Any failure other than the quiet error
// is reported through the error reporter; the exit (default pointer, then `onExit`)
// always runs. Returns true when the body ran to its end.
template <class Body, class Exit>
bool guard(QStringView source, Body &&body, Quiet quiet, Exit &&onExit)
{
    struct ExitRunner {
        Exit &exit;
        ~ExitRunner()
        {
            try {
                exit();
            } catch (...) {
            }
            detail::procedureExit();
        }
    } runner{onExit};
    try {
        std::forward<Body>(body)();
        return true;
    } catch (const ProcError &e) {
        if (e.isQuiet()) {
            if (quiet == Quiet::Propagate)
                throw;
            return false;
        }
        detail::reportFailure(source, &e);
    } catch (const std::exception &e) {
        detail::reportFailure(source, &e);
    } catch (...) {
        detail::reportFailure(source, nullptr);
    }
    return false;
}

template <class Body> bool guard(QStringView source, Body &&body, Quiet quiet = Quiet::Swallow)
{
    return guard(source, std::forward<Body>(body), quiet, [] {});
}

} // namespace korva
