#pragma once

#include "recordset.h"

#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QString>

namespace korva {

inline constexpr auto kApplicationKey = "PAXHOLME";

// One condition or value of a request.
struct RequestParameter {
    QString application;
    QString name;
    QString op;
    QString value;

    // The form every screen uses: application "PAXHOLME", "key:" + field, "=", value.
    static RequestParameter key(const QString &field, const QString &value);
    bool operator==(const RequestParameter &) const = default;
};

// Request kinds the screens send, and the ones the platform itself uses.
namespace RequestKind {
inline constexpr int Query = 62;
inline constexpr int AssignmentUpdate = 15;
inline constexpr int CustomerForms = 50;
inline constexpr int WorksheetDetails = 74;
inline constexpr int WorksheetSave = 75;
inline constexpr int ReferenceData = 90; // officers, troops/districts, agencies, code tables
inline constexpr int CodeList = 91;      // a code-list query text over the code tables
inline constexpr int Number = 92;        // a generated number of a kind ("U": refund number)
inline constexpr int SignOn = 94;        // officer and password in, a session token out
inline constexpr int SignOff = 95;       // ends the session the request carries
inline constexpr int Workload = 97;      // per officer: open, overdue, due this week, closed
} // namespace RequestKind

class BrokerRequest {
public:
    BrokerRequest(); // takes a fresh read-back tag

    void setMessageId(const QString &id) { m_messageId = id; }
    const QString &messageId() const { return m_messageId; }
    void setVersion(const QString &version) { m_version = version; }
    const QString &version() const { return m_version; }
    void setKind(int kind) { m_kind = kind; }
    int kind() const { return m_kind; }
    void setContext(const QString &context) { m_context = context; }
    const QString &context() const { return m_context; }
    // The networked service's proof of who sends: the token its sign-on returned. Empty for
    // the embedded broker, which trusts the context text.
    void setSessionToken(const QString &token) { m_sessionToken = token; }
    const QString &sessionToken() const { return m_sessionToken; }
    // An update's own key: the message identity and a number unique to this attempt. A desk
    // that sends the same update again after a time-out sends the same key, and the server
    // answers it with its first answer instead of applying it twice.
    void setRequestKey(const QString &key) { m_requestKey = key; }
    const QString &requestKey() const { return m_requestKey; }

    void addParameter(const RequestParameter &p) { m_parameters.append(p); }
    const QList<RequestParameter> &parameters() const { return m_parameters; }
    // The value of the first parameter named "key:" + field, or a null string.
    QString keyValue(QStringView field) const;
    bool hasKey(QStringView field) const;

    void addRecordSet(const QString &name, RecordSetPtr rs);
    const QList<QPair<QString, RecordSetPtr>> &recordSets() const { return m_recordSets; }
    RecordSetPtr recordSet(QStringView name) const;

    // The text read back once the request is complete; the reply carries it too.
    const QString &readBack() const { return m_tag; }
    void setReadBack(const QString &tag) { m_tag = tag; } // wire form only

    // A copy whose record sets are snapshots, safe to hand to another thread.
    BrokerRequest detached() const;

private:
    QString m_messageId;
    QString m_version;
    int m_kind = 0;
    QString m_context;
    QString m_sessionToken;
    QString m_requestKey;
    QList<RequestParameter> m_parameters;
    QList<QPair<QString, RecordSetPtr>> m_recordSets;
    QString m_tag;
};

struct BrokerReply {
    QString identity; // the message identity of the request answered
    QString tag;      // the request's read-back text
    QString error;    // empty when good
    QMap<QString, RecordSetPtr> recordSets;

    RecordSetPtr recordSet(const QString &name) const;
    static BrokerReply failure(const BrokerRequest &request, const QString &error);
    static BrokerReply success(const BrokerRequest &request);
};

class BrokerMessage;

// The application's transport. Replies and time-outs reach the receiver on the UI thread.
class Broker {
public:
    virtual ~Broker() = default;
    virtual void send(const BrokerRequest &request, BrokerMessage *receiver) = 0;
    // Blocking round trip for the platform's own reference reads (sign-on, code lists).
    virtual BrokerReply call(const BrokerRequest &request) = 0;
};

// What answers requests: the server behind the broker, one instance per worker thread.
class BrokerBackend {
public:
    virtual ~BrokerBackend() = default;
    virtual BrokerReply handle(const BrokerRequest &request) = 0;
};

// A screen's broker message object (mZelbMessage): sends, keeps the replies, raises events.
class BrokerMessage : public QObject {
    Q_OBJECT
public:
    explicit BrokerMessage(QObject *parent = nullptr); // uses the platform's broker
    BrokerMessage(Broker *broker, QObject *parent);

    QString send(const BrokerRequest &request);

    // The reply store: the latest reply per identity and per read-back tag.
    const BrokerReply *reply(const QString &identity) const;
    const BrokerReply *replyByTag(const QString &tag) const;
    RecordSetPtr recordSet(const QString &identity, const QString &name) const;
    void release(const QString &identity);

    // Called by the broker, on the UI thread.
    void deliver(const BrokerReply &reply);
    void deliverTimeout(const QString &identity);

signals:
    void DataReady(const QString &identity);
    void MsgTimeout(const QString &identity);

private:
    Broker *m_broker;
    QHash<QString, BrokerReply> m_byIdentity;
    QHash<QString, QString> m_identityByTag;
};

QString normalisedIdentity(QStringView identity);

// The reply check: the error text of the latest reply for messageId, empty when good.
QString ReplyCheck(const QString &messageId, const QString &source, const BrokerMessage &message);

} // namespace korva
