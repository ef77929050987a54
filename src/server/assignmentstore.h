#pragma once

#include <QDate>
#include <QDateTime>
#include <QString>

#include <optional>

namespace korva::server {

class Database;

// One assignment row as the update handler reads and writes it.
struct AssignmentRecord {
    qint64 number = 0;
    QString type;
    QString status;
    std::optional<qint64> fromOfficer;
    std::optional<qint64> toOfficer;
    qint64 creator = 0;
    QString agency;
    QString troop;
    QString district;
    QDate assigned;
    QDate effective;
    QDate due;
    QDate expiration;
    QDate closed;
    QString comment;
    QString subject;
    QString formNumber;
    QString formType;
    QString station;
    QString notify;
    int historyCount = 0;
    std::optional<qint64> original;
};

std::optional<AssignmentRecord> loadAssignment(Database &db, qint64 number);
// Its sender, its addressee or its creator: who may close it, reopen it and read its history.
bool isParty(const AssignmentRecord &a, qint64 officer);
// The region whose assignment types rule an assignment: its creator's, whatever region a
// request names; `officer`'s own when the creator is not on file.
QString assignmentRegion(Database &db, const AssignmentRecord &a, qint64 officer);
void insertAssignment(Database &db, const AssignmentRecord &a, const QDateTime &now);
// Writes the changed assignment only while its history count is still `seenHistoryCount`,
// the one it was read with; false when another request changed it in between.
bool updateAssignment(Database &db, const AssignmentRecord &a, int seenHistoryCount,
                      const QDateTime &now);
// On PostgreSQL, takes the row locks a request will need, always in the same order (the
// assignment number counter, then the assignments by number), so that two requests touching
// the same rows queue instead of deadlocking. SQLite has one writer at a time already.
void lockForUpdate(Database &db, bool takesNewNumbers, QList<qint64> numbers);
// The history entry of one change: the assignment as the change left it, who made the
// change, and the change's name (ADD, FORWARD, REPLY, CLOSE, REOPEN).
void insertHistory(Database &db, const AssignmentRecord &a, const QString &action, qint64 byOfficer,
                   const QDateTime &now);

} // namespace korva::server
