#pragma once

#include <QDateTime>
#include <QString>

namespace korva {

// The published shape of one assignment. Every member is declared and every body is empty:
// reads give the empty value of their type, writes store nothing. The hollowness is
// deliberate: the screens carry their data in their controls and broker requests, and other
// components depend only on this interface staying complete and stable.
class AssignMaint {
public:
    AssignMaint();

    // The zero date: 12:00:00 AM, 30 December 1899.
    static QDateTime zeroDate();

    QDateTime AssignedDate() const;
    void setAssignedDate(const QDateTime &value);
    QString AssignedFrom() const;
    void setAssignedFrom(const QString &value);
    QString AssignmentNumber() const;
    void setAssignmentNumber(const QString &value);
    QString AssignmentType() const;
    void setAssignmentType(const QString &value);
    QString FormNumber() const;
    void setFormNumber(const QString &value);
    QString FormType() const;
    void setFormType(const QString &value);
    QString Comments() const;
    void setComments(const QString &value);
    QDateTime DueDate() const;
    void setDueDate(const QDateTime &value);
    QDateTime EffectiveDate() const;
    void setEffectiveDate(const QDateTime &value);
    QString FormComment() const;
    void setFormComment(const QString &value);
    bool AssignmentTarget();
    QString OfficerID() const;
    void setOfficerID(const QString &value);
    QString AgencyCode() const;
    void setAgencyCode(const QString &value);
    QString ExpirationDate() const; // text, unlike the other dates
    void setExpirationDate(const QString &value);
    QString AssignmentCode() const;
    void setAssignmentCode(const QString &value);
    void SendMessage();
    // Service is one of the common library's objects; nothing is done with it.
    void CreateMessage(void *&Service, QString &AppName);
    QString StationID() const;
    void setStationID(const QString &value);
    bool NoErrors() const;
    void setNoErrors(bool value);
    QString AssignmentToName() const;
    QString AssignmentToValue() const;
    void setOfficerOpt(bool value);
    bool IsCitationNumberValid(QString Number);
    QDateTime CloseDate() const;
    void setCloseDate(const QDateTime &value);
    bool NewAssignment() const;
    void setNewAssignment(bool value);
    qint16 SelectedOpt() const;
    void setSelectedOpt(qint16 value);
    bool SendStatus() const;
    void setSendStatus(bool value);
    QString ErrorMessage() const;
    void setErrorMessage(const QString &value);
    QString AssignedTo() const;
    void setAssignedTo(const QString &value);
    void TroopAndDistrictSet(QString &StrTroop, QString &StrDistrict);
    void TroopAndDistrictGet(QString &StrTroop, QString &StrDistrict);

private:
    // Set at construction and never read again; kept with the published shape.
    bool m_initialised = false;
    bool m_dirty = true;
};

// The published shape of one code-table row; as hollow as AssignMaint.
class CodesTable {
public:
    void setId(const QString &value);
    void setCode(const QString &value);
    QString Description() const;
    QString AdditionalInformation() const;
};

} // namespace korva
