#include "operatorcommand.h"

#include "admin.h"
#include "admincommand.h"
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
#include <QThread>

#ifdef KORVA_HAVE_NETWORK
#include "auth.h"
#include "busclient.h"
#include "buscommand.h"
#include "database.h"
#include "service.h"

#include <atomic>
#include <csignal>
#endif

namespace korva::server {

namespace {

constexpr char kUsage[] =
    "usage: korva-broker run --db <connection> --officer <id> [--region <region>] "
    "<request.json | ->\n"
    "       korva-broker demo --db <connection> [--size <assignments>] [--force] [--seed <n>]\n"
#ifdef KORVA_HAVE_NETWORK
    "       korva-broker serve --db <connection> --nats <url> --nats-seed <file> [--subject <s>]\n"
    "                    [--queue <q>] [--workers <n>] [--idle-minutes <n>]\n"
    "                    [--tls-ca <file>] [--tls-cert <file> --tls-key <file>]\n"
    "       korva-broker bus init --db <connection> --conf-dir <dir> [--subject <s>]\n"
    "       korva-broker desk add|remove <name> --db <connection> --conf-dir <dir> "
    "[--operator]\n"
    "       korva-broker status --nats <url> --desk <operator-desk> --seed <file> "
    "[--tls-ca <file>]\n"
    "       korva-broker desk list --db <connection>\n"
    "       korva-broker passwd --db <connection> --officer <id>   (the password on standard "
    "input)\n"
#endif
    "connection: sqlite:/path/file.db | /path/file.db | postgres://user:pw@host:port/db\n"
    "korva-broker --help lists every command, administration included.\n";

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
    settings.operatorOrigin = true;
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

#ifdef KORVA_HAVE_NETWORK
std::atomic<bool> g_stopRequested{false};

extern "C" void requestStop(int)
{
    g_stopRequested = true;
}

int runServe(const QStringList &args, QTextStream &out, QTextStream &err)
{
    const QSet<QString> withValue{QStringLiteral("--db"),        QStringLiteral("--nats"),
                                  QStringLiteral("--subject"),   QStringLiteral("--queue"),
                                  QStringLiteral("--workers"),   QStringLiteral("--idle-minutes"),
                                  QStringLiteral("--nats-seed"), QStringLiteral("--tls-ca"),
                                  QStringLiteral("--tls-cert"),  QStringLiteral("--tls-key")};
    const Options o = parse(args, withValue, {});
    if (!o.error.isEmpty())
        return usage(err, o.error);
    if (!o.values.contains(QStringLiteral("--db")) || !o.values.contains(QStringLiteral("--nats")))
        return usage(err, QStringLiteral("serve needs --db and --nats"));
    // No bus identity ships with the program: without its own key the service does not start.
    if (!o.values.contains(QStringLiteral("--nats-seed")))
        return usage(err, QStringLiteral("serve needs --nats-seed, the service's bus key "
                                         "(korva-broker bus init makes it)"));
    if (o.values.value(QStringLiteral("--db")).contains(u":change-me@"))
        return usage(err, QStringLiteral("the store's password is still the example's "
                                         "placeholder: set the real one in --db"));
    ServiceOptions options;
    options.server = ServerSettings(o.values.value(QStringLiteral("--db")));
    options.bus.url = o.values.value(QStringLiteral("--nats"));
    options.bus.subject = o.values.value(QStringLiteral("--subject"), options.bus.subject);
    options.queue = o.values.value(QStringLiteral("--queue"), options.queue);
    options.bus.seedFile = o.values.value(QStringLiteral("--nats-seed"));
    options.bus.caFile = o.values.value(QStringLiteral("--tls-ca"));
    options.bus.certFile = o.values.value(QStringLiteral("--tls-cert"));
    options.bus.keyFile = o.values.value(QStringLiteral("--tls-key"));
    for (const auto &[name, target] :
         {std::pair{QStringLiteral("--workers"), &options.workers},
          std::pair{QStringLiteral("--idle-minutes"), &options.server.sessionIdleMinutes}}) {
        if (!o.values.contains(name))
            continue;
        bool ok = false;
        const int n = o.values.value(name).toInt(&ok);
        if (!ok || n < 1)
            return usage(err, QStringLiteral("%1 needs a positive number").arg(name));
        *target = n;
    }
    try {
        // The store is checked (and migrated) before the service takes any request.
        Database(options.server, QStringLiteral("korva-serve-check")).open();
        BrokerService service(options);
        std::signal(SIGTERM, requestStop);
        std::signal(SIGINT, requestStop);
        out << QStringLiteral("korva-broker: serving %1 on %2 (queue %3, %4 worker(s)), store %5\n")
                   .arg(options.bus.subject, options.bus.url, options.queue)
                   .arg(options.workers)
                   .arg(StoreAddress::parse(options.server.connection).display());
        out.flush();
        while (!g_stopRequested)
            QThread::msleep(100);
        service.stop();
        out << QStringLiteral("korva-broker: stopped after %1 request(s)\n")
                   .arg(service.answered());
        out.flush();
        return 0;
    } catch (const RequestError &e) {
        err << "korva-broker: " << e.text() << "\n";
    } catch (const ProcError &e) {
        err << "korva-broker: " << e.description() << "\n";
    }
    err.flush();
    return 2;
}

int runPasswd(const QStringList &args, QTextStream &out, QTextStream &err, QTextStream &in)
{
    const Options o = parse(args, {QStringLiteral("--db"), QStringLiteral("--officer")}, {});
    if (!o.error.isEmpty())
        return usage(err, o.error);
    bool ok = false;
    const qint64 officer = o.values.value(QStringLiteral("--officer")).toLongLong(&ok);
    if (!o.values.contains(QStringLiteral("--db")) || !ok || officer <= 0)
        return usage(err, QStringLiteral("passwd needs --db and --officer <id>"));
    const QString password = in.readLine();
    try {
        ServerSettings settings(o.values.value(QStringLiteral("--db")));
        settings.createIfMissing = false;
        Database db(settings, QStringLiteral("korva-passwd"));
        setPassword(db, officer, password, QDateTime::currentDateTime());
        Transaction tx(db);
        recordAdministration(db, QDateTime::currentDateTime(), operatingUser(),
                             QStringLiteral("passwd"),
                             QStringLiteral("officer %1's password set").arg(officer));
        tx.commit();
    } catch (const RequestError &e) {
        err << "korva-broker: " << e.text() << "\n";
        err.flush();
        return 2;
    }
    out << QStringLiteral("korva-broker: officer %1's password is set; their sessions ended\n")
               .arg(officer);
    out.flush();
    return 0;
}
#endif

} // namespace

int runOperatorCommand(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    if (arguments.isEmpty())
        return usage(err, QString());
    const QString command = arguments.first();
    const QStringList rest = arguments.mid(1);
#ifdef KORVA_HAVE_NETWORK
    if (const int status = runBusClientCommand(command, rest, out, err); status >= 0)
        return status;
#endif
    if (const int status = runAdminCommand(command, rest, out, err); status >= 0)
        return status;
#ifdef KORVA_HAVE_NETWORK
    if (const int status = runBusCommand(command, rest, out, err); status >= 0)
        return status;
#endif
    if (command == u"run")
        return runRequest(rest, out, err);
    if (command == u"demo")
        return runDemo(rest, out, err);
#ifdef KORVA_HAVE_NETWORK
    if (command == u"serve")
        return runServe(rest, out, err);
    if (command == u"passwd") {
        QTextStream in(stdin);
        return runPasswd(rest, out, err, in);
    }
#endif
    return usage(err, QStringLiteral("unknown command %1").arg(command));
}

} // namespace korva::server
