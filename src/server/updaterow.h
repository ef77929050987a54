#pragma once

#include "handlers.h"

#include <platform/broker.h>
#include <platform/recordset.h>

#include <QDate>
#include <QString>

#include <optional>

namespace korva::server {

// One row of an update record set, read the way the screens fill them: every value is text,
// a null value means the field was not sent, an empty text is a value that was sent empty.
// Every failed reading throws RequestError with a text that names the field and the row.
class UpdateRow {
public:
    UpdateRow(const RecordSet &rs, int storageIndex);

    int number() const { return m_index + 1; }
    const RecordSet &recordSet() const { return m_rs; }
    bool has(const char *field) const;
    QString text(const char *field) const; // null when absent
    // The trimmed text, absent or empty both giving an empty text.
    QString trimmed(const char *field) const { return text(field).trimmed(); }
    // Present, not blank and at most maxLength characters (the value is kept as sent).
    QString required(const char *field, int maxLength) const;
    // Absent stays null; present must be at most maxLength characters.
    QString optional(const char *field, int maxLength) const;
    std::optional<qint64> id(const char *field) const;
    qint64 requiredId(const char *field) const;
    std::optional<QDate> date(const char *field) const;
    QDate requiredDate(const char *field) const;
    std::optional<double> amount(const char *field) const;

    [[noreturn]] void refuse(const QString &text) const;

private:
    QVariant raw(const char *field) const;

    const RecordSet &m_rs;
    int m_index;
};

// Refuses a request whose keys and record-set cells hold more than `maxChars` characters in
// all, before any handler reads it.
void checkRequestSize(const BrokerRequest &request, qint64 maxChars);

// The request key of an update, inside the update's transaction. Returns the answer already
// given when the key was seen before (the update is not applied again); otherwise claims the
// key, so that the same key sent at once from elsewhere waits for this one's outcome.
// Requests without a key (older desks) pass through.
std::optional<BrokerReply> claimRequestKey(HandlerContext &ctx, const BrokerRequest &request);
// Keeps the answer for the claimed key; call just before the commit.
void recordRequestReply(HandlerContext &ctx, const BrokerRequest &request,
                        const BrokerReply &reply);
// Forgets the keys answered more than a week before `now`: a key matters only while the desk
// that made it may send it again, and that desk's time-out is seconds, not days.
void purgeRequestKeys(Database &db, const QDateTime &now);

} // namespace korva::server
