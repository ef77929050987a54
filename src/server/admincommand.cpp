// The administrator's side of korva-broker: parsing, help, and the store opened per command.
#include "admincommand.h"

#include "admin.h"
#include "admintables.h"
#include "csvtext.h"
#include "database.h"
#include "servererror.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

namespace korva::server {

namespace {

struct Help {
    const char *command;
    const char *synopsis;
    const char *text;
};

// What `korva-broker --help` and `help <command>` print; the README's reference says the same.
const Help kHelp[] = {
    {"init", "init --db <connection> [--seed <folder>] [--force]",
     "Creates an empty store at the current schema and loads the seed folder's files (one per\n"
     "kind of import, named <kind>.csv: codes, agencies, types, troops, templates, officers,\n"
     "rights). Without --seed, the seed installed with the program. Refuses a store that\n"
     "already holds officers, customers, assignments or refunds unless --force."},
    {"import", "import --db <connection> <kind> <file.csv>",
     "Reads rows of one kind from a CSV file whose first line names the store's columns, and\n"
     "writes them all in one transaction, a row whose key is on file replacing it; one bad row\n"
     "and nothing is written. The errors name the file, the line and the column. Kinds and\n"
     "their columns (* required): see `korva-broker help kinds`."},
    {"export", "export --db <connection> <kind> [<file.csv>]",
     "Writes the stored rows of a kind in the form import reads (to standard output without\n"
     "a file)."},
    {"submit",
     "submit refund-requests --db <connection> <file.csv>\n"
     "       submit refund-requests --nats <url> --desk <operator-desk> --seed <file> "
     "[--tls-ca <file>] <file.csv>",
     "Columns CUST_ID, RCPT_NBR, RFND_AMT, OFCR_TO_ID (ASGNMT_SBJCT_TXT, ASGNMT_CMMT_TXT\n"
     "optional). Each line becomes a refund at status 0 and its \"REFUND REQUEST\" assignment\n"
     "from officer 1000 to the officer named; all lines or none. Refuses unknown customers and\n"
     "officers, receipt numbers already on file or twice in the file, and amounts not above 0.\n"
     "Over the bus the request is signed with an operator's key (desk add --operator)."},
    {"officer",
     "officer add --db <connection> <id> --last <name> [--first <name>] "
     "[--middle <name>] --region <region> [--from <yyyy-mm-dd>]\n"
     "       officer retire --db <connection> <id> [--last-day <yyyy-mm-dd>]\n"
     "       officer show --db <connection> <id>\n"
     "       officer list --db <connection> [--region <region>] [--all]",
     "Adds an officer (the region must have assignment types), retires one (their sessions\n"
     "end; officer 1000 stays), shows one with rights, groups, password and sessions, or lists\n"
     "the officers in service (--all: the retired too). Set a password with passwd."},
    {"grant", "grant --db <connection> <officer> <right-or-group>",
     "Gives an officer a right or a group; `korva-broker help rights` lists them."},
    {"revoke", "revoke --db <connection> <officer> <right-or-group>",
     "Takes a right or a group from an officer."},
    {"sessions", "sessions list|end --db <connection> [--officer <id>]",
     "Lists the open sessions of the networked service, or ends them: the desk is asked to sign\n"
     "on again at its next request."},
    {"log", "log --db <connection> [--officer <id>] [--limit <n>]",
     "Prints the administration log, oldest first: when, who (the system user), the command\n"
     "and what it changed. --officer picks the entries about one officer."},
    {"backup", "backup --db sqlite:<file> <copy.db>",
     "Copies an SQLite store as of one moment while desks and the service keep working. A\n"
     "PostgreSQL store is copied with pg_dump (see the README)."},
    {"restore", "restore <copy.db> --db sqlite:<file> [--force]",
     "Checks that the copy is a sound Korva store no newer than this program, and puts it in\n"
     "place of the store (--force when the store exists), under its write lock: a running\n"
     "service answers from the restored store from its next request. A PostgreSQL store is\n"
     "restored with pg_restore."},
    {"run", "run --db <connection> --officer <id> [--region <region>] <request.json | ->",
     "Runs one request in its JSON wire form as that officer and prints the reply; exit 2 for\n"
     "a reply with an error. Requests sent this way come from the operator."},
    {"demo", "demo --db <connection> [--size <assignments>] [--force] [--seed <n>]",
     "Creates a store filled with invented officers, customers and assignments."},
    {"serve",
     "serve --db <connection> --nats <url> --nats-seed <file> [--subject <s>] [--queue <q>]\n"
     "             [--workers <n>] [--idle-minutes <n>]\n"
     "             [--tls-ca <file>] [--tls-cert <file> --tls-key <file>]",
     "Answers requests from the message bus until SIGTERM or SIGINT, then drains (at once when\n"
     "the bus is gone); the store is checked and brought up to date first. --nats-seed is the\n"
     "service's bus key that bus init made (see the README, \"Many officers, one server\")."},
    {"bus", "bus init --db <connection> --conf-dir <dir> [--subject <s>]",
     "Makes the service's bus key <dir>/service.nk (once) and writes <dir>/bus-users.conf, the\n"
     "bus's users: public keys and what each may publish and hear. Reload nats-server after."},
    {"desk",
     "desk add <name> --db <connection> --conf-dir <dir> [--operator]\n"
     "       desk remove <name> --db <connection> --conf-dir <dir>\n"
     "       desk list --db <connection>",
     "Registers a desk and makes its bus key <dir>/desks/<name>.nk (--operator: a key for\n"
     "submit and status over the bus, acting for no officer), removes one and ends its\n"
     "sessions, or lists them (operators marked). add and remove rewrite bus-users.conf."},
    {"status", "status --nats <url> --desk <operator-desk> --seed <file> [--tls-ca <file>]",
     "Asks the running services how they are: version, schema, uptime, requests answered,\n"
     "sessions open. Only an operator's key is answered."},
    {"passwd", "passwd --db <connection> --officer <id>",
     "Sets an officer's password, read from standard input, and ends their sessions; the\n"
     "administration log records that it was set."},
};

struct Args {
    QHash<QString, QString> values;
    QSet<QString> flags;
    QStringList positional;
    QString error;
    QString value(const char *name) const { return values.value(QLatin1String(name)); }
    bool has(const char *name) const { return values.contains(QLatin1String(name)); }
};

Args parseArgs(const QStringList &args, const QStringList &withValue, const QStringList &flags)
{
    Args a;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString &s = args.at(i);
        if (withValue.contains(s)) {
            if (i + 1 >= args.size()) {
                a.error = QStringLiteral("%1 needs a value").arg(s);
                return a;
            }
            a.values.insert(s, args.at(++i));
        } else if (flags.contains(s)) {
            a.flags.insert(s);
        } else if (s.startsWith(u"--")) {
            a.error = QStringLiteral("unknown option %1").arg(s);
            return a;
        } else {
            a.positional << s;
        }
    }
    if (!a.has("--db") && a.error.isEmpty() && withValue.contains(QStringLiteral("--db")))
        a.error = QStringLiteral("--db <connection> is required");
    return a;
}

int usage(QTextStream &err, const QString &command, const QString &problem)
{
    err << "korva-broker: " << problem << "\n";
    for (const Help &h : kHelp) {
        if (command == QLatin1String(h.command))
            err << "usage: korva-broker " << h.synopsis << "\n";
    }
    err.flush();
    return 1;
}

int refused(QTextStream &err, const QString &text)
{
    for (const QString &line : text.split(u'\n'))
        err << "korva-broker: " << line << "\n";
    err.flush();
    return 2;
}

qint64 officerNumber(const QString &text)
{
    bool ok = false;
    const qint64 n = text.toLongLong(&ok);
    return ok && n > 0 ? n : 0;
}

ServerSettings settingsFor(const Args &a)
{
    ServerSettings s(a.value("--db"));
    s.createIfMissing = false;
    return s;
}

QString seedFolder(const QString &given)
{
    if (!given.isEmpty())
        return given;
    const QString installed =
        QCoreApplication::applicationDirPath() + QStringLiteral("/../share/korva-broker/seed");
    if (QFileInfo::exists(installed + QStringLiteral("/officers.csv")))
        return QDir::cleanPath(installed);
#ifdef KORVA_SOURCE_SEED_DIR
    return QStringLiteral(KORVA_SOURCE_SEED_DIR);
#else
    return installed;
#endif
}

int printHelp(const QStringList &args, QTextStream &out, QTextStream &err)
{
    const QString topic = args.value(0);
    if (topic == u"kinds") {
        for (const QString &kind : importKinds())
            out << kind << ": " << importColumns(kind).join(u',') << "\n";
    } else if (topic == u"rights") {
        for (const QString &r : knownRights())
            out << r << "\n";
    } else if (!topic.isEmpty()) {
        for (const Help &h : kHelp) {
            if (topic == QLatin1String(h.command)) {
                out << "usage: korva-broker " << h.synopsis << "\n\n" << h.text << "\n";
                out.flush();
                return 0;
            }
        }
        err << "korva-broker: there is no command " << topic << "\n";
        err.flush();
        return 1;
    } else {
        out << "korva-broker: the Korva service and its administration.\n\n";
        for (const Help &h : kHelp)
            out << "  korva-broker " << h.synopsis << "\n";
        out << "\nconnection: sqlite:/path/file.db | /path/file.db | "
               "postgres://user:pw@host:port/db\n"
               "korva-broker help <command> describes one command; help kinds lists the import\n"
               "kinds and their columns, help rights the rights and groups.\n";
    }
    out.flush();
    return 0;
}

int importOrExport(bool import, const QStringList &args, QTextStream &out, QTextStream &err)
{
    const char *name = import ? "import" : "export";
    const Args a = parseArgs(args, {QStringLiteral("--db")}, {});
    if (!a.error.isEmpty())
        return usage(err, QLatin1String(name), a.error);
    if (a.positional.size() != (import ? 2 : 1) && (import || a.positional.size() != 2))
        return usage(err, QLatin1String(name), QStringLiteral("a kind and a file are needed"));
    const QString kind = a.positional.at(0);
    const QString file = a.positional.value(1);
    Database db(settingsFor(a), QStringLiteral("korva-admin"));
    db.open();
    if (!import) {
        const QByteArray rows = exportRows(db, kind);
        if (file.isEmpty()) {
            out << QString::fromUtf8(rows);
            out.flush();
            return 0;
        }
        QFile f(file);
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(rows) != rows.size())
            return refused(err, QStringLiteral("%1 cannot be written.").arg(file));
        return 0;
    }
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly))
        return refused(err, QStringLiteral("%1 cannot be read.").arg(file));
    const QByteArray data = f.readAll();
    Transaction tx(db);
    const ImportResult r = importRowsInTransaction(db, kind, data, QFileInfo(file).fileName());
    const QString done = QStringLiteral("%1 %2 rows from %3: %4 added, %5 replaced")
                             .arg(r.rows)
                             .arg(kind, QFileInfo(file).absoluteFilePath())
                             .arg(r.added)
                             .arg(r.replaced);
    recordAdministration(db, QDateTime::currentDateTime(), operatingUser(),
                         QStringLiteral("import"), done);
    tx.commit();
    out << "korva-broker: " << done << "\n";
    out.flush();
    return 0;
}

} // namespace

QString readRefundRequests(const QString &file, QList<RefundRequestLine> &lines)
{
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly))
        return QStringLiteral("%1 cannot be read.").arg(file);
    const QString shown = QFileInfo(file).fileName();
    const CsvText csv = readCsv(f.readAll());
    if (!csv.error.isEmpty())
        return QStringLiteral("%1, %2").arg(shown, csv.error);
    if (csv.records.size() < 2)
        return QStringLiteral("%1 has no refund requests below its header.").arg(shown);
    const QStringList known{QStringLiteral("CUST_ID"),          QStringLiteral("RCPT_NBR"),
                            QStringLiteral("RFND_AMT"),         QStringLiteral("OFCR_TO_ID"),
                            QStringLiteral("ASGNMT_SBJCT_TXT"), QStringLiteral("ASGNMT_CMMT_TXT")};
    QStringList header;
    for (const QString &h : csv.records.first().fields) {
        header << h.trimmed().toUpper();
        if (!known.contains(header.last()))
            return (QStringLiteral("%1, line 1, column %2: not a column of refund "
                                   "requests (they are %3)")
                        .arg(shown, h, known.join(u' ')));
    }
    for (qsizetype i = 1; i < csv.records.size(); ++i) {
        const CsvRecord &rec = csv.records.at(i);
        const QString where = QStringLiteral("%1, line %2").arg(shown).arg(rec.line);
        if (rec.fields.size() != header.size())
            return (QStringLiteral("%1: %2 fields where the header names %3")
                        .arg(where)
                        .arg(rec.fields.size())
                        .arg(header.size()));
        RefundRequestLine line{where, {}};
        for (qsizetype c = 0; c < header.size(); ++c)
            line.values.insert(header.at(c), rec.fields.at(c));
        lines << line;
    }
    return QString();
}

namespace {

int submit(const QStringList &args, QTextStream &out, QTextStream &err)
{
    const Args a = parseArgs(args, {QStringLiteral("--db")}, {});
    if (!a.error.isEmpty())
        return usage(err, QStringLiteral("submit"), a.error);
    if (a.positional.size() != 2 || a.positional.first() != u"refund-requests")
        return usage(err, QStringLiteral("submit"),
                     QStringLiteral("submit takes refund-requests and one file"));
    const QString file = a.positional.at(1);
    QList<RefundRequestLine> lines;
    if (const QString problem = readRefundRequests(file, lines); !problem.isEmpty())
        return refused(err, problem);
    Database db(settingsFor(a), QStringLiteral("korva-admin"));
    db.open();
    const QDateTime now = QDateTime::currentDateTime();
    Transaction tx(db);
    const QList<SubmittedRefund> done = submitRefundRequests(db, lines, now.date(), now);
    const QString text =
        QStringLiteral("%1 refund request(s) from %2: refunds %3 to %4, assignments %5 to %6")
            .arg(done.size())
            .arg(QFileInfo(file).absoluteFilePath())
            .arg(done.first().refund)
            .arg(done.last().refund)
            .arg(done.first().assignment)
            .arg(done.last().assignment);
    recordAdministration(db, now, operatingUser(), QStringLiteral("submit refund-requests"), text);
    tx.commit();
    out << "korva-broker: " << text << "\n";
    out.flush();
    return 0;
}

QDate dateOption(const Args &a, const char *name, bool &bad)
{
    if (!a.has(name))
        return QDate();
    const QDate d = QDate::fromString(a.value(name), Qt::ISODate);
    bad = bad || !d.isValid();
    return d;
}

int officer(const QStringList &args, QTextStream &out, QTextStream &err)
{
    const QString verb = args.value(0);
    const Args a =
        parseArgs(args.mid(1),
                  {QStringLiteral("--db"), QStringLiteral("--last"), QStringLiteral("--first"),
                   QStringLiteral("--middle"), QStringLiteral("--region"), QStringLiteral("--from"),
                   QStringLiteral("--last-day")},
                  {QStringLiteral("--all")});
    if (!a.error.isEmpty())
        return usage(err, QStringLiteral("officer"), a.error);
    const bool list = verb == u"list";
    if (!QStringList{QStringLiteral("add"), QStringLiteral("retire"), QStringLiteral("show"),
                     QStringLiteral("list")}
             .contains(verb))
        return usage(err, QStringLiteral("officer"),
                     QStringLiteral("officer add, retire, show or list?"));
    const qint64 id = officerNumber(a.positional.value(0));
    if (list ? !a.positional.isEmpty() : (a.positional.size() != 1 || id == 0))
        return usage(err, QStringLiteral("officer"),
                     list ? QStringLiteral("officer list takes no officer")
                          : QStringLiteral("one officer number is needed"));
    bool badDate = false;
    const QDate from = dateOption(a, "--from", badDate);
    const QDate lastDay = dateOption(a, "--last-day", badDate);
    if (badDate)
        return usage(err, QStringLiteral("officer"), QStringLiteral("dates are yyyy-mm-dd"));
    Database db(settingsFor(a), QStringLiteral("korva-admin"));
    db.open();
    AdminContext ctx{db, QDateTime::currentDateTime(), operatingUser()};
    QStringList lines;
    if (verb == u"add")
        lines << addOfficer(ctx, {id, a.value("--last"), a.value("--first"), a.value("--middle"),
                                  a.value("--region"), from});
    else if (verb == u"retire")
        lines << retireOfficer(ctx, id, lastDay);
    else if (verb == u"show")
        lines = showOfficer(ctx, id);
    else
        lines = listOfficers(ctx, a.value("--region"), a.flags.contains(QStringLiteral("--all")));
    for (const QString &l : std::as_const(lines))
        out << l << "\n";
    out.flush();
    return 0;
}

int grantOrRevoke(bool grant, const QStringList &args, QTextStream &out, QTextStream &err)
{
    const QString name = grant ? QStringLiteral("grant") : QStringLiteral("revoke");
    const Args a = parseArgs(args, {QStringLiteral("--db")}, {});
    if (!a.error.isEmpty())
        return usage(err, name, a.error);
    const qint64 id = officerNumber(a.positional.value(0));
    if (a.positional.size() != 2 || id == 0)
        return usage(err, name,
                     QStringLiteral("an officer number and a right or group are needed"));
    Database db(settingsFor(a), QStringLiteral("korva-admin"));
    db.open();
    AdminContext ctx{db, QDateTime::currentDateTime(), operatingUser()};
    out << changeRight(ctx, id, a.positional.at(1), grant) << "\n";
    out.flush();
    return 0;
}

int sessions(const QStringList &args, QTextStream &out, QTextStream &err)
{
    const QString verb = args.value(0);
    const Args a =
        parseArgs(args.mid(1), {QStringLiteral("--db"), QStringLiteral("--officer")}, {});
    if (!a.error.isEmpty())
        return usage(err, QStringLiteral("sessions"), a.error);
    const qint64 id = a.has("--officer") ? officerNumber(a.value("--officer")) : 0;
    if ((verb != u"list" && verb != u"end") || !a.positional.isEmpty() ||
        (a.has("--officer") && id == 0))
        return usage(err, QStringLiteral("sessions"),
                     QStringLiteral("sessions list or end, with an officer number if any"));
    Database db(settingsFor(a), QStringLiteral("korva-admin"));
    db.open();
    AdminContext ctx{db, QDateTime::currentDateTime(), operatingUser()};
    QStringList lines;
    if (verb == u"end")
        lines << endSessions(ctx, id);
    else
        lines = openSessions(ctx, id);
    if (lines.isEmpty())
        lines << QStringLiteral("(no open session)");
    for (const QString &l : std::as_const(lines))
        out << l << "\n";
    out.flush();
    return 0;
}

int log(const QStringList &args, QTextStream &out, QTextStream &err)
{
    const Args a = parseArgs(
        args, {QStringLiteral("--db"), QStringLiteral("--officer"), QStringLiteral("--limit")}, {});
    if (!a.error.isEmpty())
        return usage(err, QStringLiteral("log"), a.error);
    const qint64 id = a.has("--officer") ? officerNumber(a.value("--officer")) : 0;
    bool ok = true;
    const int limit = a.has("--limit") ? a.value("--limit").toInt(&ok) : 0;
    if (!a.positional.isEmpty() || (a.has("--officer") && id == 0) || !ok || limit < 0)
        return usage(err, QStringLiteral("log"), QStringLiteral("log takes --officer and --limit"));
    Database db(settingsFor(a), QStringLiteral("korva-admin"));
    db.open();
    for (const QString &l : administrationLog(db, id, limit))
        out << l << "\n";
    out.flush();
    return 0;
}

int backupOrRestore(bool backup, const QStringList &args, QTextStream &out, QTextStream &err)
{
    const QString name = backup ? QStringLiteral("backup") : QStringLiteral("restore");
    const Args a = parseArgs(args, {QStringLiteral("--db")}, {QStringLiteral("--force")});
    if (!a.error.isEmpty())
        return usage(err, name, a.error);
    if (a.positional.size() != 1 || (backup && a.flags.contains(QStringLiteral("--force"))))
        return usage(err, name, QStringLiteral("one file is needed"));
    const QString file = a.positional.first();
    if (backup) {
        const qint64 size = backupStore(settingsFor(a), file, operatingUser());
        out << QStringLiteral("korva-broker: %1 copied to %2 (%3 bytes)\n")
                   .arg(StoreAddress::parse(a.value("--db")).display(), file)
                   .arg(size);
    } else {
        restoreStore(file, settingsFor(a), a.flags.contains(QStringLiteral("--force")),
                     operatingUser());
        out << QStringLiteral("korva-broker: %1 restored from %2\n")
                   .arg(StoreAddress::parse(a.value("--db")).display(), file);
    }
    out.flush();
    return 0;
}

int dispatch(const QString &command, const QStringList &args, QTextStream &out, QTextStream &err)
{
    if (command == u"init") {
        const Args a = parseArgs(args, {QStringLiteral("--db"), QStringLiteral("--seed")},
                                 {QStringLiteral("--force")});
        if (!a.error.isEmpty() || !a.positional.isEmpty())
            return usage(err, command,
                         a.error.isEmpty() ? QStringLiteral("init takes no file") : a.error);
        const QString seed = seedFolder(a.value("--seed"));
        const QStringList loaded =
            initStore(ServerSettings(a.value("--db")), seed,
                      a.flags.contains(QStringLiteral("--force")), operatingUser());
        out << QStringLiteral("korva-broker: %1 is ready, from the seed in %2 (%3)\n")
                   .arg(StoreAddress::parse(a.value("--db")).display(), seed,
                        loaded.join(QStringLiteral(", ")));
        out.flush();
        return 0;
    }
    if (command == u"import" || command == u"export")
        return importOrExport(command == u"import", args, out, err);
    if (command == u"submit")
        return submit(args, out, err);
    if (command == u"officer")
        return officer(args, out, err);
    if (command == u"grant" || command == u"revoke")
        return grantOrRevoke(command == u"grant", args, out, err);
    if (command == u"sessions")
        return sessions(args, out, err);
    if (command == u"log")
        return log(args, out, err);
    if (command == u"backup" || command == u"restore")
        return backupOrRestore(command == u"backup", args, out, err);
    if (command == u"help" || command == u"--help" || command == u"-h")
        return printHelp(args, out, err);
    return -1;
}

} // namespace

int runAdminCommand(const QString &command, const QStringList &arguments, QTextStream &out,
                    QTextStream &err)
{
    try {
        return dispatch(command, arguments, out, err);
    } catch (const RequestError &e) {
        out.flush();
        return refused(err, e.text());
    }
}

} // namespace korva::server
