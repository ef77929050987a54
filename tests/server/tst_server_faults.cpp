// What a desk sees when the store fails under it, and proof that nothing is half written:
// an update sent again after a time-out, a store file deleted or missing, a read-only store,
// and a PostgreSQL session cut off by the server.
#include "serverfixture.h"

#include <platform/wire.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <memory>
#include <thread>

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;

namespace {

constexpr qint64 kDemo = DemoOfficer::Demo;

RecordSetPtr newAssignment(const QString &comment)
{
    return updateRows("ASSIGNMENT", {{{"ACTION", QStringLiteral("ADD")},
                                      {"OFCR_FRM_ID", QString::number(kDemo)},
                                      {"ASGNMT_TYP_CD", QStringLiteral("001")},
                                      {"EFCTV_DT", today()},
                                      {"DUE_DT", today(10)},
                                      {"EXPRTN_DT", today(20)},
                                      {"OFCR_TO_ID", QString::number(DemoOfficer::Typical)},
                                      {"ASGNMT_CMMT_TXT", comment}}});
}

// An update as a desk sends it, under `key` (a new one when empty).
BrokerRequest deskSave(const QString &comment, qint64 officer = kDemo, QString key = {})
{
    static int attempt = 0;
    if (key.isEmpty())
        key = QStringLiteral("KORVA.AssignMaint.t%1").arg(++attempt);
    BrokerRequest r;
    r.setMessageId(QStringLiteral("KORVA.AssignMaint"));
    r.setKind(RequestKind::AssignmentUpdate);
    r.setContext(QStringLiteral("INSP_ID=%1;REGION=NE").arg(officer));
    r.addRecordSet(QStringLiteral("ASSIGNMENT"), newAssignment(comment));
    r.setRequestKey(key);
    return r.detached();
}

qint64 saved(Store &store, const QString &comment)
{
    return store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT WHERE ASGNMT_CMMT_TXT = ?"),
                       {comment});
}

QByteArray fileBytes(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<unreadable>");
}

bool isSqlite()
{
    return currentBackendName() == u"sqlite";
}

} // namespace

class TestServerFaults : public QObject {
    Q_OBJECT
private slots:
    void saveAgainAfterATimeOutIsAppliedOnce();
    void oneKeySentTwiceAtOnceIsAppliedOnce();
    void keysOlderThanAWeekAreForgotten();
    void missingStoreIsNeverCreatedByTheServer();
    void storeDeletedUnderTheServerIsReported();
    void readOnlyStoreSavesNothing();
    void cutOffSessionIsReopenedOnce();
};

void TestServerFaults::saveAgainAfterATimeOutIsAppliedOnce()
{
    Store store;
    const QString comment = QStringLiteral("sent twice");
    const BrokerRequest first = deskSave(comment);
    QCOMPARE(store.backend().handle(first).error, QString());
    // The desk timed out, so it never heard that the first one was saved: Save again.
    const BrokerRequest again = deskSave(comment, kDemo, first.requestKey());
    const BrokerReply second = store.backend().handle(again);
    QCOMPARE(second.error, QString());
    QCOMPARE(second.tag, again.readBack());
    QCOMPARE(saved(store, comment), 1);
    QCOMPARE(store.count(QStringLiteral("SELECT COUNT(*) FROM ASGNMT_HIST")), 1);
    // The same content under a new key is a new assignment of its own.
    QCOMPARE(store.backend().handle(deskSave(comment)).error, QString());
    QCOMPARE(saved(store, comment), 2);

    // A key is one officer's: another officer replaying it gets a refusal, not the answer.
    const BrokerRequest forged =
        deskSave(QStringLiteral("forged"), DemoOfficer::Heavy, first.requestKey());
    QCOMPARE(
        store.backend().handle(forged).error,
        QStringLiteral("The request key %1 belongs to another request.").arg(first.requestKey()));
    QCOMPARE(saved(store, QStringLiteral("forged")), 0);

    // A refused update leaves its key free: the corrected save goes through under it.
    BrokerRequest refused = deskSave(QStringLiteral("refused"), DemoOfficer::Plain);
    QVERIFY(!store.backend().handle(refused).error.isEmpty());
    refused.setContext(QStringLiteral("INSP_ID=%1;REGION=NE").arg(kDemo));
    QCOMPARE(store.backend().handle(refused).error, QString());
    QCOMPARE(saved(store, QStringLiteral("refused")), 1);
}

void TestServerFaults::oneKeySentTwiceAtOnceIsAppliedOnce()
{
    Store store;
    const QString comment = QStringLiteral("raced");
    const BrokerRequest request = deskSave(comment);
    QString errors[2];
    std::thread desks[2];
    for (int i = 0; i < 2; ++i) {
        desks[i] = std::thread([&, i] {
            const auto backend = makeBackend(ServerSettings(currentConnection()));
            errors[i] = backend->handle(request.detached()).error;
        });
    }
    for (auto &d : desks)
        d.join();
    QCOMPARE(errors[0], QString());
    QCOMPARE(errors[1], QString());
    QCOMPARE(saved(store, comment), 1);
}

void TestServerFaults::keysOlderThanAWeekAreForgotten()
{
    Store store;
    const BrokerRequest old = deskSave(QStringLiteral("last month"));
    const BrokerRequest recent = deskSave(QStringLiteral("this morning"));
    QCOMPARE(store.backend().handle(old).error, QString());
    QCOMPARE(store.backend().handle(recent).error, QString());
    const qint64 eightDaysMs = 8LL * 24 * 3600 * 1000;
    store.exec(QStringLiteral("UPDATE KORVA_REQ SET DONE_MS = DONE_MS - %1 WHERE REQ_KEY = '%2'")
                   .arg(eightDaysMs)
                   .arg(old.requestKey()));
    const QString count = QStringLiteral("SELECT COUNT(*) FROM KORVA_REQ WHERE REQ_KEY = ?");
    // The next back end to start on the store forgets the old key and keeps the recent one,
    // which still answers a Save again without a second assignment.
    const auto next = makeBackend(ServerSettings(currentConnection()));
    QCOMPARE(next->handle(recent).error, QString());
    QCOMPARE(saved(store, QStringLiteral("this morning")), 1);
    QCOMPARE(store.count(count, {old.requestKey()}), 0);
    QCOMPARE(store.count(count, {recent.requestKey()}), 1);
}

void TestServerFaults::missingStoreIsNeverCreatedByTheServer()
{
    if (!isSqlite())
        QSKIP("a PostgreSQL store is never a file");
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("typo.db"));
    const auto backend = makeBackend(ServerSettings(QStringLiteral("sqlite:") + path));
    const BrokerReply r = backend->handle(deskSave(QStringLiteral("x")));
    QCOMPARE(r.error, QStringLiteral("The database sqlite:%1 does not exist.").arg(path));
    QVERIFY(!QFile::exists(path));
}

void TestServerFaults::storeDeletedUnderTheServerIsReported()
{
    if (!isSqlite())
        QSKIP("a PostgreSQL store is never a file");
    Store store;
    QCOMPARE(store.backend().handle(deskSave(QStringLiteral("before"))).error, QString());
    const QString path = store.db().connectionInfo().path;
    for (const char *suffix : {"", "-wal", "-shm"})
        QFile::remove(path + QLatin1String(suffix));
    const BrokerReply r = store.backend().handle(deskSave(QStringLiteral("after")));
    QCOMPARE(r.error, QStringLiteral("The database sqlite:%1 does not exist.").arg(path));
    // Not re-created empty behind the desk's back, on this request or the next.
    QVERIFY(!QFile::exists(path));
    QVERIFY(!store.backend().handle(deskSave(QStringLiteral("later"))).error.isEmpty());
    QVERIFY(!QFile::exists(path));
}

// A folder for what the unprivileged user reads and runs: under the temporary folder when
// every folder above it lets others through, else under /tmp (a checkout or TMPDIR under
// /root or any folder closed to others).
std::unique_ptr<QTemporaryDir> folderOthersReach()
{
    const auto reachable = [](QString path) {
        for (QDir d(path); !d.isRoot(); d.cdUp()) {
            if (!(QFileInfo(d.path()).permissions() & QFileDevice::ExeOther))
                return false;
        }
        return true;
    };
    const QString base = reachable(QDir::tempPath()) ? QDir::tempPath() : QStringLiteral("/tmp");
    auto dir = std::make_unique<QTemporaryDir>(base + QStringLiteral("/korva-faults-XXXXXX"));
    if (!dir->isValid() ||
        !QFile::setPermissions(dir->path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                QFileDevice::ExeOwner | QFileDevice::ReadOther |
                                                QFileDevice::ExeOther))
        return {};
    return dir;
}

// The save as the operator's command runs it, by an unprivileged user: root writes files
// whatever their permissions say. The command runs from a copy in `dir`, since the build
// folder may be closed to that user. The reply's error text, or why it could not run.
QString saveAsNobody(const QTemporaryDir &dir, const QString &connection,
                     const BrokerRequest &request)
{
    const QString setpriv = QStandardPaths::findExecutable(QStringLiteral("setpriv"));
    if (setpriv.isEmpty())
        return QStringLiteral("<setpriv is not installed>");
    const QString exe = dir.filePath(QStringLiteral("korva-broker"));
    if (!QFile::copy(QStringLiteral(KORVA_BROKER_EXE), exe) ||
        !QFile::setPermissions(exe, QFileDevice::ReadOwner | QFileDevice::ExeOwner |
                                        QFileDevice::ReadOther | QFileDevice::ExeOther))
        return QStringLiteral("<korva-broker could not be copied>");
    QProcess p;
    p.setWorkingDirectory(dir.path());
    p.start(setpriv, {QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"),
                      QStringLiteral("--clear-groups"), exe, QStringLiteral("run"),
                      QStringLiteral("--db"), connection, QStringLiteral("-")});
    p.write(QJsonDocument(wire::toJson(request)).toJson());
    p.closeWriteChannel();
    if (!p.waitForFinished(30'000))
        return QStringLiteral("<korva-broker did not finish>");
    const QJsonDocument reply = QJsonDocument::fromJson(p.readAllStandardOutput());
    if (!reply.isObject())
        return QStringLiteral("<no reply: %1>")
            .arg(QString::fromLocal8Bit(p.readAllStandardError()));
    return reply.object().value(QStringLiteral("error")).toString();
}

void TestServerFaults::readOnlyStoreSavesNothing()
{
    if (!isSqlite())
        QSKIP("read-only files are an SQLite matter");
    // Make the store, then serve it from a read-only copy.
    Store store;
    const QString path = store.db().connectionInfo().path;
    const auto dir = folderOthersReach();
    QVERIFY(dir);
    const QString copy = dir->filePath(QStringLiteral("ro.db"));
    store.db().execute(QStringLiteral("PRAGMA wal_checkpoint(TRUNCATE)"));
    QVERIFY(QFile::copy(path, copy));
    QVERIFY(QFile::setPermissions(copy, QFileDevice::ReadOwner | QFileDevice::ReadOther));
    const QByteArray before = fileBytes(copy);
    const QString connection = QStringLiteral("sqlite:") + copy;
    const BrokerRequest save = deskSave(QStringLiteral("ro"));
    QFile probe(copy);
    const QString error = probe.open(QIODevice::ReadWrite)
                              ? saveAsNobody(*dir, connection, save)
                              : makeBackend(ServerSettings(connection))->handle(save).error;
    QCOMPARE(error,
             QStringLiteral("The database %1 is read-only; nothing was saved.").arg(connection));
    QCOMPARE(fileBytes(copy), before);
}

void TestServerFaults::cutOffSessionIsReopenedOnce()
{
    if (isSqlite())
        QSKIP("an SQLite store has no session to lose");
    Store store;
    QCOMPARE(store.backend().handle(deskSave(QStringLiteral("warm"))).error, QString());
    const qint64 cut = store.count(
        QStringLiteral("SELECT COUNT(pg_terminate_backend(pid)) FROM pg_stat_activity WHERE "
                       "datname = current_database() AND pid <> pg_backend_pid()"));
    QVERIFY(cut >= 1);
    // The server restarted between two requests: the next one runs on a new session.
    const BrokerReply r = store.backend().handle(deskSave(QStringLiteral("after restart")));
    QCOMPARE(r.error, QString());
    QCOMPARE(saved(store, QStringLiteral("after restart")), 1);
    // A store that stays away gets one new try and then a clear text.
    ServerSettings gone(QStringLiteral("postgres://korva@127.0.0.1:1/korva"));
    gone.connectTimeoutSec = 1;
    const BrokerReply away = makeBackend(gone)->handle(deskSave(QStringLiteral("away")));
    QVERIFY2(away.error.startsWith(u"The database postgres://korva@127.0.0.1:1/korva cannot be "
                                   u"reached"),
             qPrintable(away.error));
}

KORVA_SERVER_TEST_MAIN(TestServerFaults)
#include "tst_server_faults.moc"
