#include "wirebytes.h"

#include "errors.h"
#include "wire.h"

#include <QCborStreamReader>
#include <QCborStreamWriter>

#include <cmath>
#include <limits>

namespace korva::wire {

namespace {

constexpr quint64 kDaysTag = 100;            // RFC 8943: days since 1970-01-01
constexpr qint64 kEpochJulianDay = 2440588;  // 1970-01-01
constexpr int kMaxOffsetSeconds = 18 * 3600; // beyond any zone on earth
constexpr int kSkipDepth = 32;               // how deep an unknown value may nest

[[noreturn]] void malformed(const QString &what)
{
    raiseError(kErrInvalidArgument, QStringLiteral("Malformed broker message: %1.").arg(what));
}

void writeCell(QCborStreamWriter &w, const QVariant &v, FieldType type)
{
    if (v.isNull()) {
        w.appendNull();
        return;
    }
    switch (type) {
    case FieldType::Text:
        if (v.metaType().id() == QMetaType::QString)
            w.append(*static_cast<const QString *>(v.constData()));
        else
            w.append(v.toString());
        return;
    case FieldType::Integer:
        w.append(qint64(v.toLongLong()));
        return;
    case FieldType::Decimal:
        w.append(v.toDouble());
        return;
    case FieldType::Date: {
        const QDate day = v.toDate();
        if (!day.isValid()) {
            w.appendNull();
            return;
        }
        w.append(QCborTag(kDaysTag));
        w.append(qint64(day.toJulianDay() - kEpochJulianDay));
        return;
    }
    case FieldType::Timestamp: {
        const QDateTime ts = v.toDateTime();
        if (!ts.isValid()) {
            w.appendNull();
            return;
        }
        w.startArray(2);
        w.append(qint64(ts.toMSecsSinceEpoch()));
        if (ts.timeSpec() == Qt::LocalTime)
            w.appendNull();
        else
            w.append(qint64(ts.offsetFromUtc()));
        w.endArray();
        return;
    }
    }
    w.append(v.toString());
}

void writeRecordSet(QCborStreamWriter &w, const RecordSet &rs)
{
    const QList<Field> &fields = rs.fields();
    w.startMap(3);
    w.append(QLatin1String("name"));
    w.append(rs.name());
    w.append(QLatin1String("fields"));
    w.startArray(quint64(fields.size()));
    for (const Field &f : fields) {
        w.startArray(2);
        w.append(f.name);
        w.append(fieldTypeName(f.type));
        w.endArray();
    }
    w.endArray();
    w.append(QLatin1String("rows"));
    w.startArray(quint64(rs.count()));
    for (int r = 0; r < rs.count(); ++r) {
        w.startArray(quint64(fields.size()));
        for (int c = 0; c < rs.fieldCount(); ++c)
            writeCell(w, rs.valueAt(r, c), fields.at(c).type);
        w.endArray();
    }
    w.endArray();
    w.endMap();
}

// Walks the stream in the form replyBytes writes; anything else is malformed. Every read
// checks the item's kind first, so no input can make it read past the data.
class Reader {
public:
    explicit Reader(const QByteArray &data)
        : m_r(data)
        , m_size(data.size())
    {}

    BrokerReply reply()
    {
        BrokerReply out;
        forEachEntry(u"a reply", [&](const QString &key) {
            if (key == u"identity")
                out.identity = text(u"the identity");
            else if (key == u"tag")
                out.tag = text(u"the tag");
            else if (key == u"error")
                out.error = text(u"the error");
            else if (key == u"recordSets")
                forEachEntry(u"the record sets", [&](const QString &name) {
                    out.recordSets.insert(name, recordSet());
                });
            else
                skip();
        });
        if (m_r.lastError() != QCborError::NoError)
            malformed(m_r.lastError().toString());
        return out;
    }

private:
    void expect(bool ok, QStringView what)
    {
        if (!ok || m_r.lastError() != QCborError::NoError)
            malformed(what.toString());
    }
    // The text is made only for a failure: this runs for every value of every row.
    void expectKind(bool ok, QStringView what, const char *kind)
    {
        if (!ok)
            malformed(QStringLiteral("%1 is not %2").arg(what, QLatin1String(kind)));
    }

    template <typename Each> void forEachEntry(QStringView what, Each each)
    {
        expectKind(m_r.isMap(), what, "a map");
        expect(m_r.enterContainer(), what);
        while (m_r.hasNext())
            each(text(what));
        expect(m_r.lastError() == QCborError::NoError && m_r.leaveContainer(), what);
    }

    template <typename Each> void forEachItem(QStringView what, Each each)
    {
        expectKind(m_r.isArray(), what, "an array");
        expect(m_r.enterContainer(), what);
        int n = 0;
        while (m_r.hasNext())
            each(n++);
        expect(m_r.lastError() == QCborError::NoError && m_r.leaveContainer(), what);
    }

    QString text(QStringView what)
    {
        expectKind(m_r.isString(), what, "a text");
        QString s = QStringLiteral(""); // an empty text is a present value, never a null one
        auto part = m_r.readString();
        while (part.status == QCborStreamReader::Ok) {
            s += part.data;
            part = m_r.readString();
        }
        expect(part.status == QCborStreamReader::EndOfString, what);
        return s;
    }

    qint64 integer(QStringView what)
    {
        expectKind(m_r.isInteger(), what, "a whole number");
        if (m_r.isUnsignedInteger())
            expect(m_r.toUnsignedInteger() <= quint64(std::numeric_limits<qint64>::max()), what);
        else // -1 - n, with n carried as n + 1 (which wraps at the very end)
            expect(quint64(m_r.toNegativeInteger()) - 1 <=
                       quint64(std::numeric_limits<qint64>::max()),
                   what);
        const qint64 v = m_r.toInteger();
        m_r.next();
        return v;
    }

    double number(QStringView what)
    {
        double v = 0;
        if (m_r.isDouble())
            v = m_r.toDouble();
        else if (m_r.isFloat())
            v = double(m_r.toFloat());
        else if (m_r.isFloat16())
            v = double(float(m_r.toFloat16()));
        else
            return double(integer(what));
        expectKind(std::isfinite(v), what, "a finite number");
        m_r.next();
        return v;
    }

    void skip() { expect(m_r.next(kSkipDepth), u"a value nests too deep"); }

    RecordSetPtr recordSet()
    {
        QString name;
        QList<Field> fields;
        bool haveFields = false;
        RecordSetPtr rs;
        forEachEntry(u"a record set", [&](const QString &key) {
            if (key == u"name") {
                name = text(u"a record set's name");
            } else if (key == u"fields") {
                forEachItem(u"the field list", [&](int) {
                    QString fieldName;
                    QString typeName;
                    forEachItem(u"a field", [&](int i) {
                        if (i == 0)
                            fieldName = text(u"a field's name");
                        else if (i == 1)
                            typeName = text(u"a field's type");
                        else
                            skip();
                    });
                    if (fieldName.isEmpty())
                        malformed(QStringLiteral("a field has no name"));
                    fields.append(Field{fieldName, fieldTypeFromName(typeName)});
                });
                haveFields = true;
            } else if (key == u"rows") {
                if (!haveFields)
                    malformed(QStringLiteral("a record set's rows come before its fields"));
                rs = RecordSet::create(name, fields);
                // A length is only a promise: it is trusted as far as the data could hold.
                if (m_r.isArray() && m_r.isLengthKnown() && m_r.length() <= quint64(m_size))
                    rs->reserve(int(m_r.length()));
                forEachItem(u"the rows", [&](int) { rs->appendStorageRow(row(fields)); });
            } else {
                skip();
            }
        });
        if (!haveFields)
            malformed(QStringLiteral("a record set has no field list"));
        if (!rs)
            rs = RecordSet::create(name, fields);
        rs->setName(name);
        return rs;
    }

    QList<QVariant> row(const QList<Field> &fields)
    {
        QList<QVariant> values;
        values.reserve(fields.size());
        forEachItem(u"a row", [&](int c) {
            if (c >= fields.size())
                malformed(
                    QStringLiteral("a row has more values than its %1 fields").arg(fields.size()));
            values.append(cell(fields.at(c).type));
        });
        if (values.size() != fields.size())
            malformed(QStringLiteral("a row has %1 values for %2 fields")
                          .arg(values.size())
                          .arg(fields.size()));
        return values;
    }

    QVariant cell(FieldType type)
    {
        if (m_r.isNull()) {
            m_r.next();
            return {};
        }
        switch (type) {
        case FieldType::Text:
            return text(u"a text value");
        case FieldType::Integer:
            return qlonglong(integer(u"a whole-number value"));
        case FieldType::Decimal:
            return number(u"an amount");
        case FieldType::Date: {
            expect(m_r.isTag() && m_r.toTag() == QCborTag(kDaysTag),
                   u"a date is not tagged as days");
            m_r.next();
            const qint64 days = integer(u"a date");
            // Within QDate's range, and far beyond any date the store holds.
            expect(days > -5'000'000 && days < 5'000'000, u"a date is out of range");
            return QDate::fromJulianDay(days + kEpochJulianDay);
        }
        case FieldType::Timestamp: {
            qint64 msecs = 0;
            QVariant offset;
            forEachItem(u"a timestamp", [&](int i) {
                if (i == 0) {
                    msecs = integer(u"a timestamp's time");
                } else if (i == 1) {
                    if (m_r.isNull())
                        m_r.next();
                    else
                        offset = integer(u"a timestamp's offset");
                } else {
                    malformed(QStringLiteral("a timestamp has more than two parts"));
                }
            });
            constexpr qint64 kLimit = 400'000LL * 365 * 86'400'000; // years either way
            expect(msecs > -kLimit && msecs < kLimit, u"a timestamp is out of range");
            if (offset.isNull())
                return QDateTime::fromMSecsSinceEpoch(msecs, Qt::LocalTime);
            const qint64 seconds = offset.toLongLong();
            expect(seconds >= -kMaxOffsetSeconds && seconds <= kMaxOffsetSeconds,
                   u"a timestamp's offset is out of range");
            return seconds == 0
                       ? QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC)
                       : QDateTime::fromMSecsSinceEpoch(msecs, Qt::OffsetFromUTC, int(seconds));
        }
        }
        skip();
        return {};
    }

    QCborStreamReader m_r;
    qsizetype m_size;
};

} // namespace

QByteArray replyBytes(const BrokerReply &reply)
{
    QByteArray out;
    qsizetype cells = 0;
    int sets = 0;
    for (const RecordSetPtr &rs : reply.recordSets) {
        if (!rs)
            continue;
        ++sets;
        cells += qsizetype(rs->count()) * rs->fieldCount();
    }
    out.reserve(1024 + cells * 8); // about what a list's cells take
    QCborStreamWriter w(&out);
    w.startMap(4);
    w.append(QLatin1String("identity"));
    w.append(reply.identity);
    w.append(QLatin1String("tag"));
    w.append(reply.tag);
    w.append(QLatin1String("error"));
    w.append(reply.error);
    w.append(QLatin1String("recordSets"));
    w.startMap(quint64(sets));
    for (auto it = reply.recordSets.cbegin(); it != reply.recordSets.cend(); ++it) {
        if (!it.value())
            continue;
        w.append(it.key());
        writeRecordSet(w, *it.value());
    }
    w.endMap();
    w.endMap();
    return out;
}

BrokerReply replyFromBytes(const QByteArray &data)
{
    return Reader(data).reply();
}

} // namespace korva::wire
