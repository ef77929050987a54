// The office's own rows in and out as comma-separated files. Every row is checked before
// anything is written, and a file goes in within one transaction, so that a file with one bad
// row leaves the store as it was and the administrator fixes the file and runs it again.
#include "admintables.h"

#include "admin.h"
#include "csvtext.h"
#include "database.h"
#include "rows.h"
#include "servererror.h"

#include <platform/checkdigit.h>

#include <QDate>
#include <QHash>
#include <QRegularExpression>
#include <QSet>

#include <limits>
#include <vector>

namespace korva::server {

namespace {

enum class Type { Text, Integer, Date, Amount, YesNo, RightKind };

struct Col {
    const char *name;
    Type type;
    int size; // characters of a text
    bool required;
    bool key;
};

struct Kind {
    const char *kind;
    const char *table;
    std::vector<Col> cols;
    const char *fixedColumn = nullptr; // a kind that is a slice of a shared table
    const char *fixedValue = nullptr;
    bool codeTables = false; // desks keep a copy of these, refreshed when their version moves
};

const std::vector<Kind> &kinds()
{
    static const std::vector<Kind> list{
        {"officers",
         "OFFICER",
         {{"INSP_ID", Type::Integer, 0, true, true},
          {"INSP_NME_LST", Type::Text, 40, true, false},
          {"INSP_NME_FRST", Type::Text, 30, false, false},
          {"INSP_NME_MDL_INT", Type::Text, 30, false, false},
          {"REGION", Type::Text, 4, true, false},
          {"EFCTV_DT", Type::Date, 0, true, false},
          {"END_DT", Type::Date, 0, false, false}}},
        {"rights",
         "USR_RGHT",
         {{"INSP_ID", Type::Integer, 0, true, true},
          {"NAME", Type::Text, 40, true, true},
          {"KIND", Type::RightKind, 1, true, true}}},
        {"troops",
         "TROOP",
         {{"TRP_ID", Type::Text, 1, true, true},
          {"TRP_DIST_ID", Type::Text, 4, true, true},
          {"TRP_DES", Type::Text, 40, false, false}}},
        {"agencies",
         "ZTB_CODE",
         {{"REGION", Type::Text, 4, true, true},
          {"CD_TBL_CD", Type::Text, 12, true, true},
          {"CD_TBL_DES", Type::Text, 80, true, false},
          {"ADDL_INFO", Type::Text, 80, false, false},
          {"EFCTV_DT", Type::Date, 0, true, true},
          {"END_DT", Type::Date, 0, false, false}},
         "CD_TBL_ID",
         "AGENCY",
         true},
        {"codes",
         "ZTB_CODE",
         {{"REGION", Type::Text, 4, true, true},
          {"CD_TBL_ID", Type::Text, 12, true, true},
          {"CD_TBL_CD", Type::Text, 12, true, true},
          {"CD_TBL_DES", Type::Text, 80, true, false},
          {"ADDL_INFO", Type::Text, 80, false, false},
          {"EFCTV_DT", Type::Date, 0, true, true},
          {"END_DT", Type::Date, 0, false, false}},
         nullptr,
         nullptr,
         true},
        {"types",
         "ZTB_ASGNMT_TYPE",
         {{"REGION", Type::Text, 4, true, true},
          {"ASGNMT_CD", Type::Text, 3, true, true},
          {"ASGNMT_DES", Type::Text, 60, true, false},
          {"CRTR_CLS_IND", Type::YesNo, 1, true, false},
          {"DUE_DY_CNT", Type::Integer, 0, false, false},
          {"EXPRTN_DY_CNT", Type::Integer, 0, false, false},
          {"RSN_FOR_CHNG_TXT", Type::Text, 80, false, false},
          {"SYS_IND", Type::YesNo, 1, true, false}},
         nullptr,
         nullptr,
         true},
        {"customers",
         "CUSTOMER",
         {{"CUST_ID", Type::Text, 12, true, true},
          {"CUST_NM", Type::Text, 60, true, false},
          {"ADDR_1", Type::Text, 60, false, false},
          {"ADDR_2", Type::Text, 60, false, false},
          {"CITY", Type::Text, 40, false, false},
          {"STATE", Type::Text, 2, false, false},
          {"ZIP", Type::Text, 10, false, false}}},
        {"forms",
         "CUST_FORM",
         {{"CUST_ID", Type::Text, 12, true, true},
          {"REF_TYP_CD", Type::Text, 12, true, true},
          {"FORM_NBR", Type::Integer, 0, true, true},
          {"FORM_CK_DGT_NBR", Type::Integer, 0, false, false},
          {"ASSMT_DUE_AMT", Type::Amount, 0, false, false},
          {"BAL_DUE", Type::Amount, 0, false, false},
          {"LST_PYMT_DT", Type::Date, 0, false, false},
          {"CTTN_STTS_CD", Type::Text, 4, false, false},
          {"STP_DT", Type::Date, 0, false, false}}},
        {"templates",
         "PRNT_TMPLT",
         {{"TMPLT_ID", Type::Integer, 0, true, true},
          {"TMPLT_NM", Type::Text, 60, true, false},
          {"TMPLT_PATH", Type::Text, 260, true, false}}},
    };
    return list;
}

const Kind *findKind(const QString &name)
{
    for (const Kind &k : kinds()) {
        if (name == QLatin1String(k.kind))
            return &k;
    }
    return nullptr;
}

QString unknownKind(const QString &kind)
{
    return QStringLiteral("There is no kind of rows called \"%1\"; the kinds are %2.")
        .arg(kind, importKinds().join(QStringLiteral(", ")));
}

// The value to bind, or an error text.
QVariant parseValue(const Col &c, const QString &raw, QString &error)
{
    const QString text = raw.trimmed();
    if (text.isEmpty()) {
        if (c.required)
            error = QStringLiteral("a value is required");
        return QVariant();
    }
    switch (c.type) {
    case Type::Text:
        if (text.size() > c.size)
            error = QStringLiteral("\"%1\" is longer than %2 characters").arg(text).arg(c.size);
        return text;
    case Type::Integer: {
        bool ok = false;
        const qint64 n = text.toLongLong(&ok);
        if (!ok || n < 0 || n > std::numeric_limits<qint32>::max())
            error = QStringLiteral("\"%1\" is not a whole number from 0 to %2")
                        .arg(text)
                        .arg(std::numeric_limits<qint32>::max());
        return n;
    }
    case Type::Date: {
        const QDate d = QDate::fromString(text, Qt::ISODate);
        if (!d.isValid() || text.size() != 10)
            error = QStringLiteral("\"%1\" is not a date (yyyy-mm-dd)").arg(text);
        return dbDate(d);
    }
    case Type::Amount:
        error = checkAmount(text);
        if (!error.isEmpty())
            return QVariant();
        return text.toDouble();
    case Type::YesNo:
        if (text != u"Y" && text != u"N")
            error = QStringLiteral("\"%1\" is neither Y nor N").arg(text);
        return text;
    case Type::RightKind:
        if (text != u"R" && text != u"G")
            error = QStringLiteral("\"%1\" is neither R (a right) nor G (a group)").arg(text);
        return text;
    }
    return text;
}

qsizetype indexOf(const Kind &k, const char *column)
{
    for (size_t i = 0; i < k.cols.size(); ++i) {
        if (qstrcmp(k.cols[i].name, column) == 0)
            return qsizetype(i);
    }
    return -1;
}

// A citation's number is seven digits and its check digit the one the number gives, as the
// screens check it when the form is taken as a reference.
void checkCitation(Database &db, const Kind &k, const QVariantList &values, QStringList &errors)
{
    const QVariant type = values[indexOf(k, "REF_TYP_CD")];
    const QVariant number = values[indexOf(k, "FORM_NBR")];
    const QVariant digit = values[indexOf(k, "FORM_CK_DGT_NBR")];
    const QString form =
        db.scalar(QStringLiteral("SELECT MAX(ADDL_INFO) FROM ZTB_CODE WHERE CD_TBL_ID = "
                                 "'REFDOCTYP' AND CD_TBL_CD = ?"),
                  {type})
            .toString()
            .trimmed();
    if (form != u"CITATION" || number.isNull())
        return;
    if (number.toLongLong() > 9999999) {
        errors << QStringLiteral("column FORM_NBR: a citation number has seven digits, not %1")
                      .arg(number.toLongLong());
        return;
    }
    const int expected =
        CitationCheckDigit(QStringLiteral("%1").arg(number.toLongLong(), 7, 10, QLatin1Char('0')));
    if (!digit.isNull() && digit.toLongLong() != expected)
        errors << QStringLiteral("column FORM_CK_DGT_NBR: citation %1 has the check digit %2, "
                                 "not %3")
                      .arg(number.toLongLong())
                      .arg(expected)
                      .arg(digit.toLongLong());
}

// The checks that need more than one value or the store.
QStringList crossChecks(Database &db, const Kind &k, const QVariantList &values)
{
    QStringList errors;
    const qsizetype from = indexOf(k, "EFCTV_DT"), to = indexOf(k, "END_DT");
    if (from >= 0 && to >= 0 && !values[to].isNull() &&
        values[to].toString() < values[from].toString())
        errors << QStringLiteral("column END_DT: the end %1 is before the start %2")
                      .arg(values[to].toString(), values[from].toString());
    auto mustExist = [&](const char *column, const char *sql, const char *what) {
        const qsizetype i = indexOf(k, column);
        if (i >= 0 && !values[i].isNull() &&
            db.scalar(QLatin1String(sql), {values[i]}).toLongLong() == 0)
            errors << QStringLiteral("column %1: there is no %2 %3")
                          .arg(QLatin1String(column), QLatin1String(what), values[i].toString());
    };
    if (qstrcmp(k.table, "USR_RGHT") == 0) {
        mustExist("INSP_ID", "SELECT COUNT(*) FROM OFFICER WHERE INSP_ID = ?", "officer");
        const QString wrong = checkRightName(values[indexOf(k, "NAME")].toString(),
                                             values[indexOf(k, "KIND")].toString());
        if (!wrong.isEmpty())
            errors << QStringLiteral("column NAME: ") + wrong;
    }
    if (qstrcmp(k.table, "CUST_FORM") == 0) {
        mustExist("CUST_ID", "SELECT COUNT(*) FROM CUSTOMER WHERE CUST_ID = ?", "customer");
        mustExist("REF_TYP_CD",
                  "SELECT COUNT(*) FROM ZTB_CODE WHERE CD_TBL_ID = 'REFDOCTYP' AND CD_TBL_CD = ?",
                  "reference document type");
        mustExist("CTTN_STTS_CD",
                  "SELECT COUNT(*) FROM ZTB_CODE WHERE CD_TBL_ID = 'CSTATUS' AND CD_TBL_CD = ?",
                  "form status");
        checkCitation(db, k, values, errors);
    }
    return errors;
}

} // namespace

QString checkAmount(const QString &text)
{
    // Digits only: "nan", "inf" and exponents read as numbers too.
    static const QRegularExpression amount(QStringLiteral("^-?[0-9]{1,10}(\\.[0-9]{1,2})?$"));
    if (!amount.match(text).hasMatch())
        return QStringLiteral("\"%1\" is not an amount (digits, at most two after the point)")
            .arg(text);
    return QString();
}

QStringList importKinds()
{
    QStringList out;
    for (const Kind &k : kinds())
        out << QLatin1String(k.kind);
    return out;
}

QStringList importColumns(const QString &kind)
{
    QStringList out;
    if (const Kind *k = findKind(kind)) {
        for (const Col &c : k->cols)
            out << QLatin1String(c.name) + (c.required ? QStringLiteral("*") : QString());
    }
    return out;
}

ImportResult importRowsInTransaction(Database &db, const QString &kindName, const QByteArray &data,
                                     const QString &fileName)
{
    const Kind *kind = findKind(kindName);
    if (!kind)
        throw RequestError(unknownKind(kindName));
    ImportResult result;
    const CsvText csv = readCsv(data);
    if (!csv.error.isEmpty())
        throw RequestError(QStringLiteral("%1, %2").arg(fileName, csv.error));
    if (csv.records.isEmpty())
        throw RequestError(QStringLiteral("%1: the file is empty; its first line names the "
                                          "columns")
                               .arg(fileName));
    // The header: each name once, every required column present.
    const CsvRecord &header = csv.records.first();
    std::vector<qsizetype> colOf; // file column -> kind column
    QSet<qsizetype> seen;
    auto fail = [&](qsizetype line, const QString &what) {
        result.errors << QStringLiteral("%1, line %2, %3").arg(fileName).arg(line).arg(what);
    };
    for (const QString &name : header.fields) {
        const qsizetype i = indexOf(*kind, name.trimmed().toUpper().toLatin1().constData());
        if (i < 0)
            fail(header.line, QStringLiteral("column %1: not a column of %2 (they are %3)")
                                  .arg(name, kindName, importColumns(kindName).join(u' ')));
        else if (seen.contains(i))
            fail(header.line, QStringLiteral("column %1: named twice").arg(name));
        seen.insert(i);
        colOf.push_back(i);
    }
    for (size_t i = 0; i < kind->cols.size(); ++i) {
        if ((kind->cols[i].required || kind->cols[i].key) && !seen.contains(qsizetype(i)))
            fail(header.line, QStringLiteral("column %1: required, but the header does not name it")
                                  .arg(QLatin1String(kind->cols[i].name)));
    }
    if (!result.errors.isEmpty())
        throw RequestError(result.errors.join(u'\n'));

    QStringList insertCols, setCols, keyCols;
    for (qsizetype i : colOf) {
        const Col &c = kind->cols[size_t(i)];
        insertCols << QLatin1String(c.name);
        (c.key ? keyCols : setCols) << QStringLiteral("%1 = ?").arg(QLatin1String(c.name));
    }
    QVariantList fixed;
    if (kind->fixedColumn) {
        insertCols << QLatin1String(kind->fixedColumn);
        keyCols << QStringLiteral("%1 = ?").arg(QLatin1String(kind->fixedColumn));
        fixed << QLatin1String(kind->fixedValue);
    }
    const QString table = QLatin1String(kind->table);
    const QString where = keyCols.join(QStringLiteral(" AND "));
    const QString exists = QStringLiteral("SELECT COUNT(*) FROM %1 WHERE %2").arg(table, where);
    const QString insert =
        QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
            .arg(table, insertCols.join(QStringLiteral(", ")),
                 QStringList(insertCols.size(), QStringLiteral("?")).join(QStringLiteral(", ")));
    const QString update = QStringLiteral("UPDATE %1 SET %2 WHERE %3")
                               .arg(table, setCols.join(QStringLiteral(", ")), where);

    QHash<QString, qsizetype> keysSeen;
    for (qsizetype r = 1; r < csv.records.size(); ++r) {
        const CsvRecord &rec = csv.records.at(r);
        if (rec.fields.size() != header.fields.size()) {
            fail(rec.line, QStringLiteral("%1 fields where the header names %2")
                               .arg(rec.fields.size())
                               .arg(header.fields.size()));
            continue;
        }
        QVariantList values(qsizetype(kind->cols.size()));
        QVariantList keyValues, setValues, insertValues;
        bool good = true;
        for (qsizetype f = 0; f < rec.fields.size(); ++f) {
            const Col &c = kind->cols[size_t(colOf[size_t(f)])];
            QString error;
            const QVariant v = parseValue(c, rec.fields.at(f), error);
            if (!error.isEmpty()) {
                fail(rec.line, QStringLiteral("column %1: %2").arg(QLatin1String(c.name), error));
                good = false;
            }
            values[colOf[size_t(f)]] = v;
            insertValues << v;
            (c.key ? keyValues : setValues) << v;
        }
        if (!good)
            continue;
        QStringList keyText;
        for (const QVariant &v : std::as_const(keyValues))
            keyText << v.toString();
        const QString key = keyText.join(QChar(0x1F));
        if (keysSeen.contains(key)) {
            fail(rec.line, QStringLiteral("column %1: the same key as line %2")
                               .arg(QLatin1String(kind->cols[size_t(colOf[0])].name))
                               .arg(keysSeen.value(key)));
            continue;
        }
        keysSeen.insert(key, rec.line);
        for (const QString &e : crossChecks(db, *kind, values))
            fail(rec.line, e);
        if (result.errors.size() >= 50)
            break;
        if (!result.errors.isEmpty())
            continue; // go on checking, but write nothing more
        keyValues += fixed;
        ++result.rows;
        QSqlQuery &present = db.run(exists, keyValues);
        const bool there = present.next() && present.value(0).toLongLong() > 0;
        present.finish();
        if (there) {
            if (!setCols.isEmpty())
                db.run(update, setValues + keyValues).finish();
            ++result.replaced;
        } else {
            db.run(insert, insertValues + fixed).finish();
            ++result.added;
        }
    }
    if (!result.errors.isEmpty())
        throw RequestError(result.errors.join(u'\n'));
    if (kind->codeTables)
        db.execute(QStringLiteral(
            "UPDATE KORVA_SEQ SET NEXT_VAL = NEXT_VAL + 1 WHERE SEQ_NM = 'CODE_TABLES'"));
    return result;
}

ImportResult importRows(Database &db, const QString &kind, const QByteArray &data,
                        const QString &fileName)
{
    Transaction tx(db);
    ImportResult r;
    try {
        r = importRowsInTransaction(db, kind, data, fileName);
    } catch (const DatabaseError &) {
        throw;
    } catch (const RequestError &e) {
        r.errors = e.text().split(u'\n');
        return r;
    }
    tx.commit();
    return r;
}

QByteArray exportRows(Database &db, const QString &kindName)
{
    const Kind *kind = findKind(kindName);
    if (!kind)
        throw RequestError(unknownKind(kindName));
    QStringList cols, keys;
    for (const Col &c : kind->cols) {
        cols << QLatin1String(c.name);
        if (c.key)
            keys << QLatin1String(c.name);
    }
    QByteArray out = csvLine(cols);
    QString sql = QStringLiteral("SELECT %1 FROM %2")
                      .arg(cols.join(QStringLiteral(", ")), QLatin1String(kind->table));
    QVariantList bind;
    if (kind->fixedColumn) {
        sql += QStringLiteral(" WHERE %1 = ?").arg(QLatin1String(kind->fixedColumn));
        bind << QLatin1String(kind->fixedValue);
    }
    sql += QStringLiteral(" ORDER BY ") + keys.join(QStringLiteral(", "));
    QSqlQuery &q = db.run(sql, bind);
    while (q.next()) {
        QStringList fields;
        for (size_t i = 0; i < kind->cols.size(); ++i) {
            const QVariant v = q.value(int(i));
            if (v.isNull()) {
                fields << QString();
                continue;
            }
            switch (kind->cols[i].type) {
            case Type::Date:
                fields << fromDb(v, FieldType::Date).toDate().toString(Qt::ISODate);
                break;
            case Type::Amount:
                fields << QString::number(v.toDouble(), 'f', 2);
                break;
            case Type::Integer:
                fields << QString::number(v.toLongLong());
                break;
            default:
                fields << v.toString().trimmed();
            }
        }
        out += csvLine(fields);
    }
    q.finish();
    return out;
}

} // namespace korva::server
