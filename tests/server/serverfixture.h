#pragma once

#include <server/database.h>
#include <server/demodata.h>
#include <server/server.h>

#include <platform/broker.h>

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTest>

#include <initializer_list>
#include <memory>
#include <utility>

namespace korva::server::test {

// The store the tests run against: an SQLite file always, and PostgreSQL as well when the
// environment names one in KORVA_TEST_PG (a connection text, see tools/ci-postgres.sh).
QString currentConnection();
QString currentBackendName();

using Keys = std::initializer_list<std::pair<const char *, QString>>;
using Row = QList<std::pair<const char *, QString>>;

// An update record set built the way the screens build one: open layout, text values.
RecordSetPtr updateRows(const char *name, std::initializer_list<Row> rows);

// A fresh demo store (reference data, officers, customers; `assignments` generated ones) with
// a back end and a direct connection for looking behind the replies.
class Store {
public:
    explicit Store(qint64 assignments = 0);
    ~Store();

    BrokerReply send(int kind, qint64 officer, Keys keys = {}, RecordSetPtr rs = {},
                     const char *rsName = nullptr);
    BrokerReply update(qint64 officer, std::initializer_list<Row> rows);
    BrokerReply worksheet(qint64 officer, Row row);

    // Direct reads for checking what was written.
    qint64 count(const QString &sql, std::initializer_list<QVariant> values = {});
    QVariant value(const QString &sql, std::initializer_list<QVariant> values = {});
    // One column of one stored assignment.
    QVariant assignment(const char *column, const QVariant &number);
    void exec(const QString &sql, std::initializer_list<QVariant> values = {});

    // A new assignment from the demo officer to `to`, of `type`; returns its number.
    qint64 addAssignment(qint64 to, const QString &type = QStringLiteral("001"),
                         qint64 from = DemoOfficer::Demo);
    // A refund request at `status` with the given officers (0: none).
    qint64 addRefund(const QString &status, qint64 creator = 0, qint64 verifier = 0,
                     qint64 approver = 0);

    Database &db() { return *m_db; }
    BrokerBackend &backend() { return *m_backend; }
    QString customer() const { return QStringLiteral("400000001"); }

private:
    std::unique_ptr<Database> m_db;
    std::unique_ptr<BrokerBackend> m_backend;
};

QString today(int addDays = 0);
// A date column's value as either database returns it.
QDate dateOf(const QVariant &value);

// Runs the test object once per configured store.
int runForEveryStore(QObject *test, int argc, char *argv[]);

} // namespace korva::server::test

#define KORVA_SERVER_TEST_MAIN(TestObject)                                                         \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        QCoreApplication app(argc, argv);                                                          \
        TestObject tc;                                                                             \
        QTEST_SET_MAIN_SOURCE_PATH                                                                 \
        return korva::server::test::runForEveryStore(&tc, argc, argv);                             \
    }
