#include "referencedata.h"

#include "checkdigit.h"
#include "numbers.h"

#include <algorithm>

namespace korva {

namespace {

bool effectiveOn(const RecordSet &rs, const QDate &day)
{
    const QDate from = rs.hasField(u"EFCTV_DT") ? rs.value(u"EFCTV_DT").toDate() : QDate();
    const QDate to = rs.hasField(u"END_DT") ? rs.value(u"END_DT").toDate() : QDate();
    return (!from.isValid() || from <= day) && (!to.isValid() || to >= day);
}

QString key(const QString &a)
{
    return a.trimmed().toUpper();
}

} // namespace

ReferenceData::ReferenceData(const BrokerReply &reply, const QString &region, const QDate &today)
{
    const QString myRegion = key(region);
    if (auto rs = reply.recordSet(QStringLiteral("OFFICER"))) {
        for (rs->moveFirst(); !rs->isEOF(); rs->moveNext()) {
            OfficerInfo o;
            o.id = int(rs->value(u"INSP_ID").toLongLong());
            o.lastName = rs->text(u"INSP_NME_LST");
            o.firstName = rs->text(u"INSP_NME_FRST");
            o.middleName = rs->text(u"INSP_NME_MDL_INT");
            if (rs->hasField(u"REGION"))
                o.region = rs->text(u"REGION");
            if (rs->hasField(u"EFCTV_DT"))
                o.activeFrom = rs->value(u"EFCTV_DT").toDate();
            if (rs->hasField(u"END_DT"))
                o.activeTo = rs->value(u"END_DT").toDate();
            m_officers.insert(o.id, o);
        }
    }
    m_officersByName = m_officers.keys();
    std::sort(m_officersByName.begin(), m_officersByName.end(), [this](int a, int b) {
        const auto &x = m_officers[a];
        const auto &y = m_officers[b];
        const int c = x.lastName.compare(y.lastName, Qt::CaseInsensitive);
        return c != 0 ? c < 0 : x.firstName.compare(y.firstName, Qt::CaseInsensitive) < 0;
    });
    if (auto rs = reply.recordSet(QStringLiteral("TROOP"))) {
        for (rs->moveFirst(); !rs->isEOF(); rs->moveNext()) {
            const QString troop = key(rs->text(u"TRP_ID"));
            const QString district = key(rs->text(u"TRP_DIST_ID"));
            m_troops.insert(troop);
            if (!district.isEmpty())
                m_troopDistricts.insert(troop + u'|' + district);
        }
    }
    if (auto rs = reply.recordSet(QStringLiteral("ZTB_CODE"))) {
        for (rs->moveFirst(); !rs->isEOF(); rs->moveNext()) {
            if (!myRegion.isEmpty() && key(rs->text(u"REGION")) != myRegion)
                continue;
            if (!effectiveOn(*rs, today))
                continue;
            const QString table = key(rs->text(u"CD_TBL_ID"));
            const QString code = rs->text(u"CD_TBL_CD").trimmed();
            m_codes[table].insert(code, rs->text(u"CD_TBL_DES").trimmed());
            if (rs->hasField(u"ADDL_INFO"))
                m_codeInfo[table].insert(code, key(rs->text(u"ADDL_INFO")));
        }
    }
    if (auto rs = reply.recordSet(QStringLiteral("ZTB_ASGNMT_TYPE"))) {
        for (rs->moveFirst(); !rs->isEOF(); rs->moveNext()) {
            if (!myRegion.isEmpty() && key(rs->text(u"REGION")) != myRegion)
                continue;
            m_types.insert(rs->text(u"ASGNMT_CD").trimmed(), rs->text(u"ASGNMT_DES").trimmed());
        }
    }
}

std::optional<OfficerInfo> ReferenceData::officer(int id) const
{
    const auto it = m_officers.constFind(id);
    if (it == m_officers.cend())
        return std::nullopt;
    return *it;
}

QString ReferenceData::officerName(int id) const
{
    const auto o = officer(id);
    if (!o)
        return {};
    QString name = o->lastName.trimmed();
    if (!o->firstName.trimmed().isEmpty())
        name += QStringLiteral(", ") + o->firstName.trimmed();
    if (!o->middleName.trimmed().isEmpty())
        name += u' ' + o->middleName.trimmed();
    return name.toUpper();
}

QList<OfficerInfo> ReferenceData::searchOfficers(const QString &text, int limit) const
{
    const QString t = text.trimmed();
    QList<OfficerInfo> out;
    for (int id : m_officersByName) {
        const OfficerInfo &o = m_officers[id];
        const bool hit = t.isEmpty() || QString::number(o.id).startsWith(t) ||
                         o.lastName.startsWith(t, Qt::CaseInsensitive) ||
                         o.firstName.startsWith(t, Qt::CaseInsensitive);
        if (hit) {
            out.append(o);
            if (limit > 0 && out.size() >= limit)
                break;
        }
    }
    return out;
}

QList<CustomerInfo> ReferenceData::searchCustomers(const QString &text, int limit) const
{
    return m_customerSearch ? m_customerSearch(text, limit) : QList<CustomerInfo>();
}

QString ReferenceData::codeDescription(const QString &table, const QString &code) const
{
    return m_codes.value(key(table)).value(code.trimmed());
}

QString ReferenceData::assignmentTypeDescription(const QString &code) const
{
    return m_types.value(code.trimmed());
}

AccountCheck ReferenceData::ValidateAccountNumber(const QString &referenceTypeId,
                                                  const QString &number) const
{
    const QString form =
        m_codeInfo.value(QStringLiteral("REFDOCTYP")).value(referenceTypeId.trimmed());
    QString digits = number.trimmed();
    if (form == u"CITATION") {
        digits.remove(u'-');
        bool ok = digits.size() == 8 &&
                  std::all_of(digits.cbegin(), digits.cend(), [](QChar c) { return c.isDigit(); });
        if (ok)
            ok = CitationCheckDigit(QStringView(digits).left(7)) == digits.at(7).digitValue();
        if (!ok)
            return {false, QStringLiteral("The citation number entered is invalid. Correct "
                                          "format is nnnnnnn-c (7 digits plus a check digit).")};
        return {true, {}};
    }
    // Other account numbers are up to nine digits; a dash may separate groups.
    digits.remove(u'-');
    const bool ok =
        !digits.isEmpty() && digits.size() <= 9 &&
        std::all_of(digits.cbegin(), digits.cend(), [](QChar c) { return c.isDigit(); });
    if (!ok)
        return {false, QStringLiteral("Account Number is Invalid")};
    return {true, {}};
}

bool ReferenceData::ValidateOfficer(qint32 officerId, const QDate &on) const
{
    const auto o = officer(officerId);
    if (!o)
        return false;
    return (!o->activeFrom.isValid() || o->activeFrom <= on) &&
           (!o->activeTo.isValid() || o->activeTo >= on);
}

bool ReferenceData::LookupOfficer(qint32 officerId) const
{
    return m_officers.contains(officerId);
}

bool ReferenceData::ValidateTroop(const QString &troop) const
{
    return m_troops.contains(key(troop));
}

bool ReferenceData::ValidateTroopDistrict(const QString &troop, const QString &district) const
{
    return m_troopDistricts.contains(key(troop) + u'|' + key(district));
}

bool ReferenceData::agencyExists(const QString &code) const
{
    return m_codes.value(QStringLiteral("AGENCY")).contains(code.trimmed());
}

} // namespace korva
