#include "records.h"

#include "platform/errors.h"

namespace korva {

AssignMaint::AssignMaint()
{
    guard(u"AssignMaint.Class_Initialize", [this] {
        m_initialised = true;
        m_dirty = false;
    });
}

QDateTime AssignMaint::zeroDate()
{
    return QDateTime(QDate(1899, 12, 30), QTime(0, 0));
}

QDateTime AssignMaint::AssignedDate() const
{
    return zeroDate();
}
void AssignMaint::setAssignedDate(const QDateTime &) {}
QString AssignMaint::AssignedFrom() const
{
    return {};
}
void AssignMaint::setAssignedFrom(const QString &) {}
QString AssignMaint::AssignmentNumber() const
{
    return {};
}
void AssignMaint::setAssignmentNumber(const QString &) {}
QString AssignMaint::AssignmentType() const
{
    return {};
}
void AssignMaint::setAssignmentType(const QString &) {}
QString AssignMaint::FormNumber() const
{
    return {};
}
void AssignMaint::setFormNumber(const QString &) {}
QString AssignMaint::FormType() const
{
    return {};
}
void AssignMaint::setFormType(const QString &) {}
QString AssignMaint::Comments() const
{
    return {};
}
void AssignMaint::setComments(const QString &) {}
QDateTime AssignMaint::DueDate() const
{
    return zeroDate();
}
void AssignMaint::setDueDate(const QDateTime &) {}
QDateTime AssignMaint::EffectiveDate() const
{
    return zeroDate();
}
void AssignMaint::setEffectiveDate(const QDateTime &) {}
QString AssignMaint::FormComment() const
{
    return {};
}
void AssignMaint::setFormComment(const QString &) {}
bool AssignMaint::AssignmentTarget()
{
    return false;
}
QString AssignMaint::OfficerID() const
{
    return {};
}
void AssignMaint::setOfficerID(const QString &) {}
QString AssignMaint::AgencyCode() const
{
    return {};
}
void AssignMaint::setAgencyCode(const QString &) {}
QString AssignMaint::ExpirationDate() const
{
    return {};
}
void AssignMaint::setExpirationDate(const QString &) {}
QString AssignMaint::AssignmentCode() const
{
    return {};
}
void AssignMaint::setAssignmentCode(const QString &) {}
void AssignMaint::SendMessage() {}
void AssignMaint::CreateMessage(void *&, QString &) {}
QString AssignMaint::StationID() const
{
    return {};
}
void AssignMaint::setStationID(const QString &) {}
bool AssignMaint::NoErrors() const
{
    return false;
}
void AssignMaint::setNoErrors(bool) {}
QString AssignMaint::AssignmentToName() const
{
    return {};
}
QString AssignMaint::AssignmentToValue() const
{
    return {};
}
void AssignMaint::setOfficerOpt(bool) {}
bool AssignMaint::IsCitationNumberValid(QString)
{
    return false;
}
QDateTime AssignMaint::CloseDate() const
{
    return zeroDate();
}
void AssignMaint::setCloseDate(const QDateTime &) {}
bool AssignMaint::NewAssignment() const
{
    return false;
}
void AssignMaint::setNewAssignment(bool) {}
qint16 AssignMaint::SelectedOpt() const
{
    return 0;
}
void AssignMaint::setSelectedOpt(qint16) {}
bool AssignMaint::SendStatus() const
{
    return false;
}
void AssignMaint::setSendStatus(bool) {}
QString AssignMaint::ErrorMessage() const
{
    return {};
}
void AssignMaint::setErrorMessage(const QString &) {}
QString AssignMaint::AssignedTo() const
{
    return {};
}
void AssignMaint::setAssignedTo(const QString &) {}
void AssignMaint::TroopAndDistrictSet(QString &, QString &) {}
void AssignMaint::TroopAndDistrictGet(QString &, QString &) {}

void CodesTable::setId(const QString &) {}
void CodesTable::setCode(const QString &) {}
QString CodesTable::Description() const
{
    return {};
}
QString CodesTable::AdditionalInformation() const
{
    return {};
}

} // namespace korva
