#pragma once

#include <server/demodata.h>

#include <platform/broker.h>

#include <QDate>

// The heavy demo officer's received list since 1997: about 500 rows of a 10,000-assignment
// store, the list the load and wire benchmarks measure.
inline korva::BrokerRequest heavyListRequest()
{
    using namespace korva;
    constexpr qint64 lister = server::DemoOfficer::Heavy;
    BrokerRequest r;
    r.setMessageId(QStringLiteral("KORVA.AssignMaint"));
    r.setVersion(QStringLiteral("1.0"));
    r.setKind(RequestKind::Query);
    r.setContext(QStringLiteral("INSP_ID=%1").arg(lister));
    r.addParameter(
        RequestParameter::key(QStringLiteral("ASGNMT_FRM_DT"), QStringLiteral("1997-01-27")));
    r.addParameter(RequestParameter::key(QStringLiteral("ASGNMT_TO_DT"),
                                         QDate::currentDate().toString(Qt::ISODate)));
    r.addParameter(RequestParameter::key(QStringLiteral("OFCR_TO_ID"), QString::number(lister)));
    return r;
}
