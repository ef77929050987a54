#pragma once

// The real back end for GUI tests: a demo store on SQLite in a temporary folder, the real
// asynchronous broker over it, and officers signed on as the shell signs them on. Message
// boxes, status bar, pointer and marks stay the test kit's doubles, so nothing blocks.
#include "testkit.h"

#include "platform/asyncbroker.h"
#include "platform/formservices.h"
#include "platform/qtservices.h"
#include "platform/referencedata.h"
#include "platform/session.h"
#include "server/database.h"

#include <QTemporaryDir>

#include <memory>

namespace korva::testkit {

class EmbeddedStore {
public:
    // `assignments` generated demo assignments besides the reference data and refunds.
    explicit EmbeddedStore(qint64 assignments = 240);
    ~EmbeddedStore();

    Broker &broker() { return *m_broker; }
    server::Database &db() { return *m_db; } // for looking behind the screens
    QString connection() const { return m_connection; }

    // Direct reads of the store.
    QVariant value(const QString &sql, std::initializer_list<QVariant> values = {});
    qint64 count(const QString &sql, std::initializer_list<QVariant> values = {});

private:
    QTemporaryDir m_dir;
    QString m_connection;
    std::unique_ptr<AsyncBroker> m_broker;
    std::unique_ptr<server::Database> m_db;
};

// One officer signed on over the store: the real user (rights from the server), reference
// data, code lists and form services installed on `tp`; the rest of `tp` stays as it was.
class EmbeddedSignOn {
public:
    EmbeddedSignOn(TestPlatform &tp, EmbeddedStore &store, int officer);

    SystemClock clock; // the server's today is the real one
    SessionUser user;
    BrokerReply reference;
    ReferenceData data;
    BrokerCodeList codes;
    BrokerFormServices forms;
};

} // namespace korva::testkit
