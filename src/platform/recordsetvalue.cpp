// Typed values of record set cells: conversion on write, text on read.
#include "datetext.h"
#include "errors.h"
#include "recordset.h"

namespace korva {

namespace {

[[noreturn]] void mismatch(const QVariant &value, const char *type)
{
    raiseError(kErrTypeMismatch, QStringLiteral("Type mismatch: \"%1\" is not a valid %2.")
                                     .arg(value.toString(), QLatin1String(type)));
}

} // namespace

QVariant RecordSet::convert(const QVariant &value, FieldType type)
{
    if (value.isNull() && value.typeId() != QMetaType::QString)
        return {};
    if (value.typeId() == QMetaType::QString && value.toString().isNull())
        return {};
    switch (type) {
    case FieldType::Text:
        return value.toString();
    case FieldType::Integer: {
        if (value.typeId() == QMetaType::QString) {
            const QString t = value.toString().trimmed();
            if (t.isEmpty())
                return {};
            bool ok = false;
            const qlonglong v = t.toLongLong(&ok);
            if (!ok)
                mismatch(value, "whole number");
            return v;
        }
        bool ok = false;
        const qlonglong v = value.toLongLong(&ok);
        if (!ok)
            mismatch(value, "whole number");
        return v;
    }
    case FieldType::Decimal: {
        if (value.typeId() == QMetaType::QString) {
            QString t = value.toString().trimmed();
            t.remove(u'$').remove(u',');
            if (t.isEmpty())
                return {};
            bool ok = false;
            const double v = t.toDouble(&ok);
            if (!ok)
                mismatch(value, "amount");
            return v;
        }
        bool ok = false;
        const double v = value.toDouble(&ok);
        if (!ok)
            mismatch(value, "amount");
        return v;
    }
    case FieldType::Date: {
        if (value.typeId() == QMetaType::QDate)
            return value;
        if (value.typeId() == QMetaType::QDateTime)
            return value.toDateTime().date();
        const QString t = value.toString().trimmed();
        if (t.isEmpty())
            return {};
        const QDate d = parseDateText(t);
        if (!d.isValid())
            mismatch(value, "date");
        return d;
    }
    case FieldType::Timestamp: {
        if (value.typeId() == QMetaType::QDateTime)
            return value;
        if (value.typeId() == QMetaType::QDate)
            return value.toDate().startOfDay();
        const QString t = value.toString().trimmed();
        if (t.isEmpty())
            return {};
        const QDateTime dt = parseDateTimeText(t);
        if (!dt.isValid())
            mismatch(value, "timestamp");
        return dt;
    }
    }
    return value;
}

QString RecordSet::formatValue(const QVariant &value, FieldType type)
{
    if (value.isNull())
        return {};
    switch (type) {
    case FieldType::Text:
        return value.toString();
    case FieldType::Integer:
        return QString::number(value.toLongLong());
    case FieldType::Decimal:
        return QString::number(value.toDouble(), 'f', 2);
    case FieldType::Date:
        return displayDate(value.toDate());
    case FieldType::Timestamp:
        return displayTimestamp(value.toDateTime());
    }
    return value.toString();
}

} // namespace korva
