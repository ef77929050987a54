#include "buscommand.h"

#include "admin.h"
#include "database.h"
#include "deskregistry.h"
#include "servererror.h"

#include <platform/errors.h>
#include <platform/natsbroker.h>
#include <platform/nkeys.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QSaveFile>

namespace korva::server {

namespace {

constexpr char kBusUsage[] =
    "usage: korva-broker bus init --db <connection> --conf-dir <dir> [--subject <s>]\n"
    "       korva-broker desk add|remove <name> --db <connection> --conf-dir <dir> "
    "[--subject <s>] [--operator]\n"
    "       korva-broker desk list --db <connection>\n";

struct Args {
    QHash<QString, QString> values;
    QStringList positional;
    QString error;
    bool isOperator = false;
};

Args parse(const QStringList &arguments)
{
    Args a;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &s = arguments.at(i);
        if (s == u"--db" || s == u"--conf-dir" || s == u"--subject") {
            if (i + 1 >= arguments.size())
                a.error = QStringLiteral("%1 needs a value").arg(s);
            else
                a.values.insert(s, arguments.at(++i));
        } else if (s == u"--operator") {
            a.isOperator = true;
        } else if (s.startsWith(u"--")) {
            a.error = QStringLiteral("unknown option %1").arg(s);
        } else {
            a.positional.append(s);
        }
    }
    return a;
}

void writeFile(const QString &path, const QByteArray &data, QFile::Permissions permissions)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(permissions) ||
        file.write(data) != data.size() || !file.commit())
        throw RequestError(
            QStringLiteral("%1 cannot be written: %2.").arg(path, file.errorString()));
}

// A new key's seed, readable by its owner only; an existing file is never overwritten.
nkeys::KeyPair newSeedFile(const QString &path)
{
    if (QFile::exists(path))
        throw RequestError(QStringLiteral("%1 exists already: remove it first if the key is "
                                          "to be replaced.")
                               .arg(path));
    const nkeys::KeyPair key = nkeys::generate();
    writeFile(path, nkeys::encodeUserSeed(key.seed).toLatin1() + '\n',
              QFile::ReadOwner | QFile::WriteOwner);
    return key;
}

QString servicePublicKey(const QString &dir)
{
    const QString path = QDir(dir).filePath(QStringLiteral("service.nk"));
    try {
        return nkeys::encodeUserPublic(nkeys::readSeedFile(path).publicKey);
    } catch (const ProcError &e) {
        throw RequestError(e.description() + QStringLiteral(" Run korva-broker bus init first."));
    }
}

void writeUsers(Database &db, const Args &a, QTextStream &out)
{
    const QString dir = a.values.value(QStringLiteral("--conf-dir"));
    const QString path = QDir(dir).filePath(QStringLiteral("bus-users.conf"));
    const QString text =
        busUsersConf(servicePublicKey(dir), listDesks(db),
                     a.values.value(QStringLiteral("--subject"), QStringLiteral("korva.broker")));
    writeFile(path, text.toUtf8(),
              QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
    out << "korva-broker: wrote " << path
        << "; reload nats-server for it to count (systemctl reload nats-server, or kill -HUP "
           "its process)\n";
}

int run(const QString &command, const Args &a, QTextStream &out)
{
    ServerSettings settings(a.values.value(QStringLiteral("--db")));
    settings.createIfMissing = false;
    Database db(settings, QStringLiteral("korva-bus"));
    const QString dir = a.values.value(QStringLiteral("--conf-dir"));
    const QString verb = a.positional.value(0);
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    if (command == u"bus") {
        const QString path = QDir(dir).filePath(QStringLiteral("service.nk"));
        QDir().mkpath(dir);
        if (!QFile::exists(path)) {
            const nkeys::KeyPair key = newSeedFile(path);
            db.open();
            Transaction tx(db);
            recordAdministration(db, QDateTime::fromMSecsSinceEpoch(now), operatingUser(),
                                 QStringLiteral("bus init"),
                                 QStringLiteral("service key %1 made in %2")
                                     .arg(nkeys::encodeUserPublic(key.publicKey), dir));
            tx.commit();
            out << "korva-broker: the service's bus key is " << path
                << " (give it to korva-broker serve --nats-seed)\n";
        }
        writeUsers(db, a, out);
        return 0;
    }
    if (verb == u"list") {
        for (const DeskEntry &d : listDesks(db))
            out << d.name << ' ' << d.nkey << (d.isOperator ? " operator" : "") << '\n';
        return 0;
    }
    const QString name = a.positional.value(1);
    if (verb == u"add") {
        QDir(dir).mkpath(QStringLiteral("desks"));
        servicePublicKey(dir); // before anything is written
        if (!NatsSettings::validDeskName(name))
            addDesk(db, name, QString(), now); // says why
        const QString path = QDir(dir).filePath(QStringLiteral("desks/%1.nk").arg(name));
        const nkeys::KeyPair key = newSeedFile(path);
        try {
            addDesk(db, name, nkeys::encodeUserPublic(key.publicKey), now, a.isOperator);
        } catch (const RequestError &) {
            QFile::remove(path);
            throw;
        }
        writeUsers(db, a, out);
        out << "korva-broker: " << (a.isOperator ? "operator desk " : "desk ") << name
            << " registered; its key is " << path
            << ": give it to that desk alone, with broker/desk=" << name
            << " and broker/seedFile=<where it is kept> in its settings\n";
        return 0;
    }
    if (verb == u"remove") {
        if (!removeDesk(db, name, now))
            throw RequestError(QStringLiteral("Desk %1 is not registered.").arg(name));
        QFile::remove(QDir(dir).filePath(QStringLiteral("desks/%1.nk").arg(name)));
        writeUsers(db, a, out);
        out << "korva-broker: desk " << name << " removed and its sessions ended\n";
        return 0;
    }
    return -1;
}

} // namespace

int runBusCommand(const QString &command, const QStringList &arguments, QTextStream &out,
                  QTextStream &err)
{
    if (command != u"bus" && command != u"desk")
        return -1;
    const Args a = parse(arguments);
    const QString verb = a.positional.value(0);
    const bool known = command == u"bus" ? verb == u"init" && a.positional.size() == 1
                       : verb == u"list"
                           ? a.positional.size() == 1
                           : (verb == u"add" || verb == u"remove") && a.positional.size() == 2;
    const bool needsDir = verb != u"list";
    QString problem = a.error;
    if (problem.isEmpty() && !known)
        problem = QStringLiteral("unknown %1 command").arg(command);
    if (problem.isEmpty() && (!a.values.contains(QStringLiteral("--db")) ||
                              (needsDir && !a.values.contains(QStringLiteral("--conf-dir")))))
        problem = QStringLiteral("%1 %2 needs --db%3")
                      .arg(command, verb, needsDir ? QStringLiteral(" and --conf-dir") : QString());
    if (!problem.isEmpty()) {
        err << "korva-broker: " << problem << "\n" << kBusUsage;
        err.flush();
        return 1;
    }
    try {
        const int status = run(command, a, out);
        out.flush();
        return status;
    } catch (const RequestError &e) {
        err << "korva-broker: " << e.text() << "\n";
    }
    err.flush();
    return 2;
}

} // namespace korva::server
