#pragma once

#include <QDate>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QVariant>

#include <functional>
#include <memory>

namespace korva {

enum class FieldType { Text, Integer, Decimal, Date, Timestamp };

struct Field {
    QString name;
    FieldType type = FieldType::Text;
};

class RecordSet;
using RecordSetPtr = std::shared_ptr<RecordSet>;

// A named, ordered table of typed columns with a cursor, a filter, a sort and a find,
// in the manner the screens use them. Null is distinct from empty text.
// Rows are kept in storage order; the filter and sort form a view over them, and every
// positional operation (count, cursor, valueAt) works on that view.
// Failures (unknown field, malformed filter or sort) throw ProcError with a clear text.
class RecordSet {
public:
    explicit RecordSet(QString name = {}, QList<Field> fields = {});
    static RecordSetPtr create(QString name, QList<Field> fields = {});

    const QString &name() const { return m_name; }
    void setName(const QString &name) { m_name = name; }

    // Layout. A record set made without fields has an open layout: setting an unknown
    // field adds a text column (update record sets are built that way).
    const QList<Field> &fields() const { return m_fields; }
    int fieldCount() const { return int(m_fields.size()); }
    int fieldIndex(QStringView name) const; // -1 when absent; names compare case-insensitively
    bool hasField(QStringView name) const { return fieldIndex(name) >= 0; }
    int addField(const Field &field);
    bool isOpenLayout() const { return m_open; }

    // Storage, ignoring the view.
    int storageCount() const { return int(m_rows.size()); }
    const QList<QVariant> &storageRow(int storageIndex) const { return m_rows.at(storageIndex); }
    void appendStorageRow(QList<QVariant> values); // bulk load; values in field order
    void reserve(int rows) { m_rows.reserve(rows); }

    // The view (after filter and sort).
    int count() const { return int(m_view.size()); }
    int storageIndex(int viewRow) const { return m_view.at(viewRow); }
    QVariant valueAt(int viewRow, int column) const;
    QString textAt(int viewRow, int column) const;
    void setValueAt(int viewRow, int column, const QVariant &value);

    // Cursor: -1 is before the first row, count() after the last.
    int position() const { return m_pos; }
    bool isBOF() const { return m_pos < 0 || m_view.isEmpty(); }
    bool isEOF() const { return m_pos >= count() || m_view.isEmpty(); }
    void moveFirst();
    void moveNext();
    void moveTo(int viewRow);

    // Current row by field name.
    QVariant value(QStringView field) const;
    QString text(QStringView field) const; // null reads as empty text
    bool isNull(QStringView field) const;
    void setValue(QStringView field, const QVariant &value);

    // Building: addNew appends an all-null row and makes it current; update completes it.
    void addNew();
    void update() {}
    void deleteCurrent();
    void clear();

    // "FIELD = 5", "A='x' AND B<>'y'", "(A = 1 OR A = 2)", dates as #1/27/1997#; empty removes.
    void setFilter(const QString &criteria);
    const QString &filter() const { return m_filter; }
    // "FIELD", "FIELD DESC", "A ASC, B DESC"; compares by the column's type; empty restores order.
    void setSort(const QString &sort);
    const QString &sort() const { return m_sort; }
    // Searches from the first row for one criterion ("INSP_ID=5"); the cursor lands on the
    // match, or after the last row when there is none.
    bool findFirst(const QString &criterion);

    RecordSetPtr clone() const;

    // Notified whenever the view is rebuilt or rows are added or removed.
    int addObserver(std::function<void()> callback);
    void removeObserver(int id);

    static QString formatValue(const QVariant &value, FieldType type);
    static QVariant convert(const QVariant &value, FieldType type); // throws on bad input

private:
    void rebuildView();
    void notify();
    int requireField(QStringView name) const;
    int requireCurrent() const;

    QString m_name;
    QList<Field> m_fields;
    bool m_open = false;
    QList<QList<QVariant>> m_rows;
    QList<int> m_view;
    int m_pos = -1;
    QString m_filter;
    QString m_sort;
    struct Observer {
        int id;
        std::function<void()> callback;
    };
    QList<Observer> m_observers;
    int m_nextObserver = 1;
};

// Drops a reference to a record set; when it was the last one and the set is large, the rows
// are freed on a pool thread, so that rebinding a grid does not stall the UI thread freeing
// the previous list.
void releaseRecordSet(RecordSetPtr &&rs);

} // namespace korva
