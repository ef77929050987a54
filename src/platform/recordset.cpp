#include "recordset.h"

#include "errors.h"
#include "recordsetquery.h"

#include <QThreadPool>

#include <algorithm>

namespace korva {

namespace {

[[noreturn]] void unknownField(QStringView name)
{
    raiseError(kErrRecordSet,
               QStringLiteral("Item cannot be found in the collection corresponding to the "
                              "requested name or ordinal: %1")
                   .arg(name));
}

} // namespace

RecordSet::RecordSet(QString name, QList<Field> fields)
    : m_name(std::move(name))
    , m_fields(std::move(fields))
    , m_open(m_fields.isEmpty())
{}

RecordSetPtr RecordSet::create(QString name, QList<Field> fields)
{
    return std::make_shared<RecordSet>(std::move(name), std::move(fields));
}

int RecordSet::fieldIndex(QStringView name) const
{
    for (int i = 0; i < m_fields.size(); ++i) {
        if (m_fields.at(i).name.compare(name, Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}

int RecordSet::addField(const Field &field)
{
    if (const int existing = fieldIndex(field.name); existing >= 0)
        return existing;
    m_fields.append(field);
    for (auto &row : m_rows)
        row.append(QVariant());
    return int(m_fields.size()) - 1;
}

int RecordSet::requireField(QStringView name) const
{
    const int index = fieldIndex(name);
    if (index < 0)
        unknownField(name);
    return index;
}

int RecordSet::requireCurrent() const
{
    if (isBOF() || isEOF())
        raiseError(kErrRecordSet, QStringLiteral("Either BOF or EOF is True, or the current "
                                                 "record has been deleted. Requested operation "
                                                 "requires a current record."));
    return m_view.at(m_pos);
}

void RecordSet::appendStorageRow(QList<QVariant> values)
{
    values.resize(m_fields.size());
    m_rows.append(std::move(values));
    // Bulk loading keeps storage order; the view follows without a filter or sort to apply.
    if (m_filter.isEmpty() && m_sort.isEmpty())
        m_view.append(int(m_rows.size()) - 1);
    else
        rebuildView();
}

QVariant RecordSet::valueAt(int viewRow, int column) const
{
    if (viewRow < 0 || viewRow >= m_view.size() || column < 0 || column >= m_fields.size())
        return {};
    return m_rows.at(m_view.at(viewRow)).at(column);
}

QString RecordSet::textAt(int viewRow, int column) const
{
    if (column < 0 || column >= m_fields.size())
        return {};
    return formatValue(valueAt(viewRow, column), m_fields.at(column).type);
}

void RecordSet::setValueAt(int viewRow, int column, const QVariant &value)
{
    if (viewRow < 0 || viewRow >= m_view.size() || column < 0 || column >= m_fields.size())
        raiseSubscript();
    m_rows[m_view.at(viewRow)][column] = convert(value, m_fields.at(column).type);
}

void RecordSet::moveFirst()
{
    m_pos = 0;
}

void RecordSet::moveNext()
{
    if (m_pos < count())
        ++m_pos;
}

void RecordSet::moveTo(int viewRow)
{
    m_pos = std::clamp(viewRow, -1, int(count()));
}

QVariant RecordSet::value(QStringView field) const
{
    const int column = requireField(field);
    return m_rows.at(requireCurrent()).at(column);
}

QString RecordSet::text(QStringView field) const
{
    const int column = requireField(field);
    return formatValue(m_rows.at(requireCurrent()).at(column), m_fields.at(column).type);
}

bool RecordSet::isNull(QStringView field) const
{
    return value(field).isNull();
}

void RecordSet::setValue(QStringView field, const QVariant &value)
{
    int column = fieldIndex(field);
    if (column < 0) {
        if (!m_open)
            unknownField(field);
        column = addField(Field{field.toString(), FieldType::Text});
    }
    const int row = requireCurrent();
    m_rows[row][column] = convert(value, m_fields.at(column).type);
}

void RecordSet::addNew()
{
    m_rows.append(QList<QVariant>(m_fields.size()));
    // A new row stays visible until the view is next rebuilt, as a bound grid expects.
    m_view.append(int(m_rows.size()) - 1);
    m_pos = int(m_view.size()) - 1;
    notify();
}

void RecordSet::deleteCurrent()
{
    const int storage = requireCurrent();
    m_rows.removeAt(storage);
    m_view.removeAt(m_pos);
    for (int &index : m_view) {
        if (index > storage)
            --index;
    }
    if (m_pos >= m_view.size())
        m_pos = int(m_view.size());
    notify();
}

void RecordSet::clear()
{
    m_rows.clear();
    m_view.clear();
    m_pos = -1;
    notify();
}

void RecordSet::setFilter(const QString &criteria)
{
    const QString trimmed = criteria.trimmed();
    if (!trimmed.isEmpty())
        query::parseCriteria(*this, trimmed); // validates before anything changes
    m_filter = trimmed;
    rebuildView();
}

void RecordSet::setSort(const QString &sort)
{
    const QString trimmed = sort.trimmed();
    if (!trimmed.isEmpty())
        query::parseSort(*this, trimmed);
    m_sort = trimmed;
    rebuildView();
}

bool RecordSet::findFirst(const QString &criterion)
{
    const auto predicate = query::parseCriteria(*this, criterion.trimmed());
    for (int i = 0; i < m_view.size(); ++i) {
        if (predicate(m_rows.at(m_view.at(i)))) {
            m_pos = i;
            return true;
        }
    }
    m_pos = int(m_view.size());
    return false;
}

void RecordSet::rebuildView()
{
    m_view.clear();
    m_view.reserve(m_rows.size());
    if (m_filter.isEmpty()) {
        for (int i = 0; i < m_rows.size(); ++i)
            m_view.append(i);
    } else {
        const auto predicate = query::parseCriteria(*this, m_filter);
        for (int i = 0; i < m_rows.size(); ++i) {
            if (predicate(m_rows.at(i)))
                m_view.append(i);
        }
    }
    if (!m_sort.isEmpty()) {
        const auto less = query::parseSort(*this, m_sort);
        std::stable_sort(m_view.begin(), m_view.end(),
                         [&](int a, int b) { return less(m_rows.at(a), m_rows.at(b)); });
    }
    m_pos = m_view.isEmpty() ? -1 : 0;
    notify();
}

RecordSetPtr RecordSet::clone() const
{
    auto copy = std::make_shared<RecordSet>(m_name, m_fields);
    copy->m_open = m_open;
    copy->m_rows = m_rows;
    copy->m_view = m_view;
    copy->m_filter = m_filter;
    copy->m_sort = m_sort;
    copy->m_pos = m_view.isEmpty() ? -1 : 0;
    return copy;
}

int RecordSet::addObserver(std::function<void()> callback)
{
    const int id = m_nextObserver++;
    m_observers.append(Observer{id, std::move(callback)});
    return id;
}

void RecordSet::removeObserver(int id)
{
    m_observers.removeIf([id](const Observer &o) { return o.id == id; });
}

void releaseRecordSet(RecordSetPtr &&rs)
{
    RecordSetPtr last = std::move(rs);
    if (!last || last.use_count() != 1 || qint64(last->storageCount()) * last->fieldCount() < 20000)
        return;
    QThreadPool::globalInstance()->start([doomed = std::move(last)]() mutable { doomed.reset(); });
}

void RecordSet::notify()
{
    const auto observers = m_observers; // a callback may remove itself
    for (const auto &o : observers)
        o.callback();
}

} // namespace korva
