#include "modassignmaint.h"

#include "platform/checkdigit.h"
#include "platform/errors.h"
#include "platform/numbers.h"
#include "platform/platform.h"

namespace korva::modAssignMaint {

QString OfficerDisplayName(const QString &idText)
{
    bool ok = false;
    const int id = idText.trimmed().toInt(&ok);
    if (!ok)
        return QString();
    const std::optional<OfficerInfo> officer = platform().lookups->officer(id);
    if (!officer)
        return QString();
    return ProperName(officer->lastName, officer->firstName, officer->middleName, QString());
}

QString AddresseeDisplayName(const QString &officerIdText, const QString &agency,
                             const QString &troop, const QString &district)
{
    if (!officerIdText.trimmed().isEmpty())
        return OfficerDisplayName(officerIdText);
    const QString code = agency.trimmed();
    if (!code.isEmpty()) {
        const QString description =
            platform().lookups ? platform().lookups->codeDescription(QStringLiteral("AGENCY"), code)
                               : QString();
        return description.trimmed().isEmpty() ? code : description.trimmed();
    }
    const QString t = troop.trimmed();
    if (t.isEmpty())
        return QString();
    const QString d = district.trimmed();
    return d.isEmpty() ? QStringLiteral("Troop %1").arg(t)
                       : QStringLiteral("Troop %1, District %2").arg(t, d);
}

TypeDayCounts &componentDayCounts()
{
    static TypeDayCounts counts;
    return counts;
}

bool IsCitationNumberValid(QString Number)
{
    bool valid = false;
    guard(u"KORVA_AssignMaint.IsCitationNumberValid", [&] {
        const QString number = Number.remove(u'-').trimmed();
        // The general number test lets a sign or a point through; the check digit decides.
        if (!IsNumeric(number) || number.size() != 8)
            return;
        const int digit = CitationCheckDigit(QStringView(number).left(7));
        valid = QString::number(digit) == number.right(1);
    });
    return valid;
}

QString ProperName(QString lastName, QString firstName, QString middleName, QString suffix)
{
    QString name;
    guard(u"KORVA_AssignMaint.ProperName", [&] {
        name = lastName.trimmed();
        if (name.contains(u",jr", Qt::CaseInsensitive))
            name.replace(QStringLiteral(",jr"), QStringLiteral(", Jr"), Qt::CaseInsensitive);
        else if (name.contains(u",sr", Qt::CaseInsensitive))
            name.replace(QStringLiteral(",sr"), QStringLiteral(", Sr"), Qt::CaseInsensitive);
        const QString first = firstName.trimmed();
        const QString middle = middleName.trimmed();
        auto withPeriod = [](const QString &part) {
            return part.size() == 1 ? part + u'.' : part;
        };
        if (!first.isEmpty()) {
            name += QStringLiteral(", ") + withPeriod(first);
            // The middle part goes in even when empty; the final trim takes the blank away.
            name += u' ' + withPeriod(middle);
        } else if (!middle.isEmpty()) {
            name += QStringLiteral(", ") + withPeriod(middle);
        }
        name += u' ' + suffix.trimmed();
        name = name.trimmed();
        // Upper-casing undoes the ", Jr" capitalisation above; both are kept as they are.
        name = name.toUpper();
    });
    return name;
}

QString DB2Date(const QDate &date)
{
    QString text;
    guard(u"KORVA_AssignMaint.DB2Date", [&] {
        if (!date.isValid())
            raiseError(kErrTypeMismatch, QStringLiteral("Type mismatch: no date to format."));
        text = date.toString(QStringLiteral("yyyy-MM-dd"));
    });
    return text;
}

} // namespace korva::modAssignMaint

namespace korva::modMessageTitle {

namespace {
QString g_title = QStringLiteral("Assignment Maintenance");
} // namespace

QString MessageTitle()
{
    return g_title;
}

void setMessageTitle(const QString &title)
{
    g_title = title;
}

} // namespace korva::modMessageTitle
