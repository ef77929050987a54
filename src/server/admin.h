#pragma once

#include "handlers.h"
#include "serversettings.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

namespace korva::server {

class Database;

// Who runs the operator's command, as the administration log names them: the system user,
// and the one who called sudo when there is one.
QString operatingUser();
// One administrative change, inside the caller's transaction.
void recordAdministration(Database &db, const QDateTime &now, const QString &user,
                          const QString &command, const QString &detail);
// The log, oldest first; `officer` (when not 0) picks the entries that name that officer.
QStringList administrationLog(Database &db, qint64 officer, int limit);

// An empty store at the current schema with the rows of the seed folder's files (a file per
// kind of import, named <kind>.csv). Refuses a store that holds data unless `force`.
QStringList initStore(const ServerSettings &settings, const QString &seedFolder, bool force,
                      const QString &user);
// A consistent copy of an SQLite store taken while desks work; refuses an existing target.
qint64 backupStore(const ServerSettings &settings, const QString &file, const QString &user);
// Puts a copy made by backupStore in place of the store, after checking it is one.
void restoreStore(const QString &file, const ServerSettings &settings, bool force,
                  const QString &user);

// Officers, their rights and their sessions. Each change is checked as the service checks
// what it is given, made in one transaction with its entry in the administration log, and
// answered by a sentence saying what was done; a refusal throws RequestError.
struct OfficerFields {
    qint64 id = 0;
    QString last, first, middle, region;
    QDate from;
};
struct AdminContext {
    Database &db;
    QDateTime now;
    QString user;
    QDate today() const { return now.date(); }
};
QString addOfficer(AdminContext &ctx, const OfficerFields &officer);
QString retireOfficer(AdminContext &ctx, qint64 id, const QDate &lastDay);
QStringList showOfficer(AdminContext &ctx, qint64 id);
QStringList listOfficers(AdminContext &ctx, const QString &region, bool withRetired);
QString changeRight(AdminContext &ctx, qint64 id, const QString &name, bool grant);
QStringList openSessions(AdminContext &ctx, qint64 officer);
QString endSessions(AdminContext &ctx, qint64 officer);
// The rights and groups the screens and the service ask for, as "name (right)".
QStringList knownRights();
// Empty when `name` is a right (kind 'R') or a group ('G') of that kind, spelt as the service
// asks for it; otherwise what is wrong.
QString checkRightName(const QString &name, const QString &kind);

// One line of refund requests as the tax system sends them: CUST_ID, RCPT_NBR, RFND_AMT and
// OFCR_TO_ID, with ASGNMT_SBJCT_TXT and ASGNMT_CMMT_TXT optional.
struct RefundRequestLine {
    QString where; // "file, line n" or "row n", for the refusals
    QHash<QString, QString> values;
};
struct SubmittedRefund {
    qint64 refund = 0;
    qint64 assignment = 0;
};
// Creates every line's refund and its "REFUND REQUEST" assignment from the system officer,
// inside the caller's transaction, or throws RequestError naming every bad line.
QList<SubmittedRefund> submitRefundRequests(Database &db, const QList<RefundRequestLine> &lines,
                                            const QDate &today, const QDateTime &now);
inline constexpr qint64 kSystemOfficer = 1000;
// A refund requests file read into its lines; empty, or the refusal naming file, line and column.
QString readRefundRequests(const QString &file, QList<RefundRequestLine> &lines);

// Kind 96: the REFUND record set's rows as above, answered by the REQ record set (RFND_NBR,
// ASGNMT_NBR) per row. Refused unless the request came from the operator.
inline constexpr int kRefundRequestsKind = 96;
BrokerReply handleRefundRequests(HandlerContext &ctx, const BrokerRequest &request);

} // namespace korva::server
