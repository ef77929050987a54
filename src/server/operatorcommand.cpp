#include "operatorcommand.h"

#include "demodata.h"
#include "server.h"
#include "servererror.h"
#include "session.h"

#include <platform/errors.h>
#include <platform/wire.h>

#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QSet>

namespace korva::server {

namespace {

constexpr char kUsage[] =
    "usage: korva-broker run --db <connection> --officer <id> [--region <region>] "
    "<request.json | ->\n"
    "       korva-broker demo --db <connection> [--size <assignments>] [--force] [--seed <n>]\n"
    "connection: sqlite:/path/file.db | /path/file.db | postgres://user:pw@host:port/db\n";

struct Options {
    QHash<QString, QString> values;
    QSet<QString> flags;
    QStringList positional;
    QString error;
};

Options parse(const QStringList &args, const QSet<QString> &withValue, const QSet<QString> &flags)
{
    Options o;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString &a = args.at(i);
        if (withValue.contains(a)) {
            if (i + 1 >= args.size()) {
                o.error = QStringLiteral("%1 needs a value").arg(a);
                return o;
            }
            o.values.insert(a, args.at(++i));
        } else if (flags.contains(a)) {
            o.flags.insert(a);
        } else if (a.startsWith(u"--")) {
            o.error = QStringLiteral("unknown option %1").arg(a);
            return o;
        } else {
            o.positional.append(a);
        }
    }
    return o;
}

int usage(QTextStream &err, const QString &problem)
{
    if (!problem.isEmpty())
        err << "korva-broker: " << problem << "\n";
    err << QLatin1String(kUsage);
    err.flush();
    return 1;
}

int runRequest(const QStringList &args, QTextStream &out, QTextStream &err)
{
    const Options o = parse(
        args, {QStringLiteral("--db"), QStringLiteral("--officer"), QStringLiteral("--region")},
        {});
    if (!o.error.isEmpty())
        return usage(err, o.error);
    if (!o.values.contains(QStringLiteral("--db")) || o.positional.size() != 1)
        return usage(err, QStringLiteral("run needs --db and one request file"));
    QFile file(o.positional.first());
    const bool opened = o.positional.first() == u"-" ? file.open(stdin, QIODevice::ReadOnly)
                                                     : file.open(QIODevice::ReadOnly);
    if (!opened)
        return usage(err, QStringLiteral("cannot read %1").arg(o.positional.first()));
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (!doc.isObject())
        return usage(err, QStringLiteral("%1 is not a JSON request: %2")
                              .arg(o.positional.first(), parseError.errorString()));
    BrokerRequest request;
    try {
        request = wire::requestFromJson(doc.object());
    } catch (const ProcError &e) {
        return usage(err, e.description());
    }
    if (o.values.contains(QStringLiteral("--officer"))) {
        bool ok = false;
        const qint64 officer = o.values.value(QStringLiteral("--officer")).toLongLong(&ok);
        if (!ok || officer <= 0)
            return usage(err, QStringLiteral("--officer needs an officer number"));
        const QString region = o.values.value(QStringLiteral("--region"));
        // Without a region the server takes the officer's own.
        request.setContext(region.isEmpty() ? QStringLiteral("INSP_ID=%1").arg(officer)
                                            : Session::contextText(officer, region));
    }
    ServerSettings settings(o.values.value(QStringLiteral("--db")));
    settings.createIfMissing = false;
    const BrokerReply reply = makeBackend(settings)->handle(request);
    out << QString::fromUtf8(QJsonDocument(wire::toJson(reply)).toJson(QJsonDocument::Indented));
    out.flush();
    return reply.error.isEmpty() ? 0 : 2;
}

int runDemo(const QStringList &args, QTextStream &out, QTextStream &err)
{
    const Options o =
        parse(args, {QStringLiteral("--db"), QStringLiteral("--size"), QStringLiteral("--seed")},
              {QStringLiteral("--force")});
    if (!o.error.isEmpty())
        return usage(err, o.error);
    if (!o.values.contains(QStringLiteral("--db")) || !o.positional.isEmpty())
        return usage(err, QStringLiteral("demo needs --db"));
    DemoOptions options;
    options.force = o.flags.contains(QStringLiteral("--force"));
    if (o.values.contains(QStringLiteral("--size"))) {
        bool ok = false;
        options.assignments = o.values.value(QStringLiteral("--size")).toLongLong(&ok);
        if (!ok || options.assignments < 0)
            return usage(err, QStringLiteral("--size needs a number of assignments"));
    }
    if (o.values.contains(QStringLiteral("--seed")))
        options.seed = o.values.value(QStringLiteral("--seed")).toULongLong();
    QElapsedTimer timer;
    timer.start();
    try {
        const DemoSummary s =
            generateDemo(ServerSettings(o.values.value(QStringLiteral("--db"))), options,
                         [&err, &timer](const QString &stage, qint64 done, qint64 total) {
                             err << QStringLiteral("%1: %2/%3 (%4 s)")
                                        .arg(stage)
                                        .arg(done)
                                        .arg(total)
                                        .arg(double(timer.elapsed()) / 1000.0, 0, 'f', 1)
                                 << "\n";
                             err.flush();
                         });
        out << QStringLiteral("demo database ready in %1 s: %2 officers, %3 customers, %4 forms, "
                              "%5 assignments, %6 history rows, %7 refunds\n")
                   .arg(double(timer.elapsed()) / 1000.0, 0, 'f', 1)
                   .arg(s.officers)
                   .arg(s.customers)
                   .arg(s.forms)
                   .arg(s.assignments)
                   .arg(s.history)
                   .arg(s.refunds);
        out << QStringLiteral("sign on as %1 (rights) or %2 (no rights); heavy officer %3, "
                              "typical officer %4\n")
                   .arg(DemoOfficer::Demo)
                   .arg(DemoOfficer::Plain)
                   .arg(DemoOfficer::Heavy)
                   .arg(DemoOfficer::Typical);
        out.flush();
        return 0;
    } catch (const RequestError &e) {
        err << "korva-broker: " << e.text() << "\n";
        err.flush();
        return 2;
    }
}

} // namespace

int runOperatorCommand(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    if (arguments.isEmpty())
        return usage(err, QString());
    const QString command = arguments.first();
    const QStringList rest = arguments.mid(1);
    if (command == u"run")
        return runRequest(rest, out, err);
    if (command == u"demo")
        return runDemo(rest, out, err);
    return usage(err, QStringLiteral("unknown command %1").arg(command));
}

} // namespace korva::server
