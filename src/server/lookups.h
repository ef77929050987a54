#pragma once

#include <QDate>
#include <QString>

#include <optional>

namespace korva::server {

class Database;

struct OfficerRow {
    qint64 id = 0;
    QString region;
    QDate activeFrom;
    QDate activeTo; // null while active
    bool activeOn(const QDate &day) const
    {
        return activeFrom <= day && (activeTo.isNull() || day <= activeTo);
    }
};

struct AssignmentType {
    QString code;
    QString description;
    bool creatorCloses = false;
    bool systemGenerated = false;
};

inline constexpr auto kRightAssignment = "Assignment";
inline constexpr auto kGroupClosers = "ASSIGNMENTCLOSERS";
// Lets a supervisor list the assignments another officer sent or received.
inline constexpr auto kRightListAll = "AssignmentListAll";
inline constexpr auto kDefaultType = "DEF"; // what a screen sends when no type was chosen

// Reads behind the server's rules; all bound, all cheap primary-key or index reads.
std::optional<OfficerRow> findOfficer(Database &db, qint64 id);
bool hasRight(Database &db, qint64 officer, const QString &name, char kind);
std::optional<AssignmentType> findAssignmentType(Database &db, const QString &region,
                                                 const QString &code);
bool agencyExists(Database &db, const QString &region, const QString &code, const QDate &on);
bool troopExists(Database &db, const QString &troop, const QString &district);
bool customerExists(Database &db, const QString &customer);
// The ADDL_INFO of a reference document type in force on the day; nullopt when unknown.
std::optional<QString> referenceTypeForm(Database &db, const QString &region, const QString &code,
                                         const QDate &on);
// The next value of a named counter in KORVA_SEQ; must run inside a write transaction.
qint64 nextNumber(Database &db, const char *sequence);
// A history entry's id. PostgreSQL draws it from its own sequence, which no transaction holds,
// so that changes to different assignments never wait for one another; SQLite has one writer
// at a time and keeps the counter.
qint64 nextHistoryId(Database &db);

} // namespace korva::server
