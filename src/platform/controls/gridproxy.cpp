#include "gridproxy.h"

#include "recordsetmodel.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFont>
#include <QPainter>
#include <QPixmap>
#include <QStyle>

#include <algorithm>
#include <cmath>

namespace korva {

namespace {

QIcon freshIcon()
{
    // A filled dot: the shape tells, whatever the colours of the row.
    QPixmap pixmap(16, 16);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Qt::black, 1));
    painter.setBrush(QColor(30, 110, 220));
    painter.drawEllipse(QRectF(3.5, 3.5, 9, 9));
    return QIcon(pixmap);
}

bool numeric(FieldType type)
{
    return type == FieldType::Integer || type == FieldType::Decimal || type == FieldType::Date ||
           type == FieldType::Timestamp;
}

// Numbers, dates and times as one number each, so that they sort as what they are.
bool numberOf(const QVariant &value, FieldType type, double &out)
{
    if (!value.isValid() || value.isNull())
        return false;
    switch (value.typeId()) {
    case QMetaType::QDate:
        out = double(value.toDate().toJulianDay());
        return true;
    case QMetaType::QDateTime:
        out = double(value.toDateTime().toMSecsSinceEpoch()) / 86400000.0 + 2440587.5;
        return true;
    default:
        break;
    }
    if (type == FieldType::Date || type == FieldType::Timestamp) {
        const QString text = value.toString().trimmed();
        const QDate date = QDate::fromString(text.left(10), Qt::ISODate);
        if (!date.isValid())
            return false;
        out = double(date.toJulianDay());
        return true;
    }
    bool ok = false;
    out = value.toString().trimmed().toDouble(&ok);
    return ok;
}

} // namespace

GridProxyModel::GridProxyModel(RecordSetModel *source, QObject *parent)
    : QAbstractProxyModel(parent)
    , m_source(source)
{
    QAbstractProxyModel::setSourceModel(source);
    m_fill.setSingleShot(true);
    m_fill.setInterval(0);
    connect(&m_fill, &QTimer::timeout, this, &GridProxyModel::fillSlice);
    connect(source, &QAbstractItemModel::modelAboutToBeReset, this,
            &GridProxyModel::beginResetModel);
    connect(source, &QAbstractItemModel::modelReset, this, &GridProxyModel::sourceReset);
    connect(source, &QAbstractItemModel::dataChanged, this,
            [this](const QModelIndex &from, const QModelIndex &to, const QList<int> &roles) {
                if (m_identity) {
                    emit dataChanged(index(from.row(), from.column()), index(to.row(), to.column()),
                                     roles);
                    return;
                }
                if (from.row() == to.row()) {
                    const int row = proxyRowOf(from.row());
                    if (row >= 0)
                        emit dataChanged(index(row, from.column()), index(row, to.column()), roles);
                } else if (rowCount() > 0) {
                    emit dataChanged(index(0, from.column()), index(rowCount() - 1, to.column()),
                                     roles);
                }
            });
    connect(source, &QAbstractItemModel::headerDataChanged, this,
            &GridProxyModel::headerDataChanged);
}

const RecordSetModel *GridProxyModel::sourceModel_() const
{
    return m_source;
}

void GridProxyModel::setRowInfoSource(RowInfoSource source)
{
    beginResetModel();
    m_infoSource = std::move(source);
    m_infoOf = nullptr;
    rebuild(false);
    endResetModel();
}

void GridProxyModel::setSortTextSource(SortTextSource source)
{
    m_sortText = std::move(source);
    m_keysColumn = -1;
    m_keysFilled = 0;
}

void GridProxyModel::setMarkColumn(int column)
{
    m_markColumn = column;
}

void GridProxyModel::setFilterText(const QString &text)
{
    const QString folded = text.trimmed().toCaseFolded();
    if (folded == m_filter)
        return;
    // Typing on narrows what is shown already, in the order it is shown in.
    const bool narrow = !m_identity && !m_filter.isEmpty() && folded.contains(m_filter);
    beginResetModel();
    m_filter = folded;
    rebuild(narrow);
    endResetModel();
}

void GridProxyModel::sort(int column, Qt::SortOrder order)
{
    if (column < 0 || column >= columnCount())
        column = -1;
    beginResetModel();
    m_sortColumn = column;
    m_sortOrder = order;
    rebuild(false);
    endResetModel();
}

void GridProxyModel::sourceReset()
{
    // Begun by the source's modelAboutToBeReset.
    rebuild(false);
    endResetModel();
    prepareInfo();
    if (m_infoSource && !infoComplete())
        m_fill.start();
}

bool GridProxyModel::prepareInfo()
{
    const RecordSetPtr &rs = m_source->recordSet();
    const int count = rs ? rs->storageCount() : 0;
    if (rs.get() == m_infoOf && count == m_infoCount)
        return false;
    m_infoOf = rs.get();
    m_infoCount = count;
    m_keysColumn = -1;
    m_keysFilled = 0;
    // Freeing 50,000 rows' texts is work a frame cannot spare: it is done between frames
    // too. Not by a worker, whose frees would contend with this thread's for its heap.
    if (m_info.size() > 2000 && m_doomed.empty()) {
        m_doomed = std::exchange(m_info, {});
        m_fill.start();
    }
    m_info.assign(size_t(count), RowInfo{});
    m_done.assign(size_t(count), false);
    m_doneCount = 0;
    m_fillFrom = 0;
    return true;
}

const GridProxyModel::RowInfo &GridProxyModel::rowInfo(int storageRow) const
{
    const size_t s = size_t(storageRow);
    if (m_done[s])
        return m_info[s];
    const RecordSet &rs = *m_source->recordSet();
    RowInfo info;
    if (m_infoSource) {
        info = m_infoSource(rs, storageRow);
    } else {
        const QList<QVariant> &values = rs.storageRow(storageRow);
        for (int f = 0; f < values.size(); ++f)
            info.haystack += RecordSet::formatValue(values.at(f), rs.fields().at(f).type) + u'\n';
    }
    info.haystack = std::move(info.haystack).toCaseFolded();
    m_info[s] = std::move(info);
    m_done[s] = true;
    ++m_doneCount;
    return m_info[s];
}

bool GridProxyModel::infoComplete() const
{
    const RecordSetPtr &rs = m_source->recordSet();
    return rs.get() == m_infoOf && (rs ? rs->storageCount() : 0) == m_infoCount &&
           m_doneCount == m_infoCount;
}

void GridProxyModel::ensureInfo()
{
    prepareInfo();
    for (int s = 0; s < m_infoCount && m_doneCount < m_infoCount; ++s)
        rowInfo(s);
    if (m_fill.isActive()) {
        m_fill.stop();
        emit infoReady();
    }
}

void GridProxyModel::fillSlice()
{
    // A few milliseconds at a time, so that a frame is never missed for it.
    QElapsedTimer slice;
    slice.start();
    while (!m_doomed.empty() && slice.nsecsElapsed() < 2'000'000)
        m_doomed.resize(m_doomed.size() > 512 ? m_doomed.size() - 512 : 0);
    if (!m_doomed.empty()) {
        m_fill.start();
        return;
    }
    if (!m_source->recordSet())
        return;
    prepareInfo();
    if (sortPending()) {
        // The sort the officer asked for comes before the marks.
        fillKeys(m_sortColumn, 4'000'000);
        if (sortPending()) {
            m_fill.start();
            return;
        }
        beginResetModel();
        rebuild(false);
        endResetModel();
        slice.restart();
    }
    while (m_fillFrom < m_infoCount) {
        const int end = std::min(m_infoCount, m_fillFrom + 128);
        for (; m_fillFrom < end; ++m_fillFrom)
            rowInfo(m_fillFrom);
        if (slice.nsecsElapsed() > 4'000'000)
            break;
    }
    if (m_doneCount < m_infoCount)
        m_fill.start();
    else
        emit infoReady();
}

bool GridProxyModel::keysReady(int column) const
{
    const RecordSetPtr &rs = m_source->recordSet();
    return m_keysColumn == column && m_keysFilled == (rs ? rs->storageCount() : 0);
}

bool GridProxyModel::sortPending() const
{
    // Up to this many rows a sort is worked out at once, within a frame.
    constexpr int kSortAtOnce = 5000;
    return m_sortColumn >= 0 && m_source->rowCount() > kSortAtOnce && !keysReady(m_sortColumn);
}

void GridProxyModel::ensureKeys(int column)
{
    fillKeys(column, 0);
}

void GridProxyModel::fillKeys(int column, qint64 budgetNs)
{
    const RecordSetPtr &rs = m_source->recordSet();
    const int count = rs ? rs->storageCount() : 0;
    if (m_keysColumn != column) {
        m_keys.assign(size_t(count), SortKey{});
        m_keysColumn = column;
        m_keysFilled = 0;
    }
    if (!rs)
        return;
    QElapsedTimer spent;
    spent.start();
    const int field = m_source->fieldIndexOf(column);
    const FieldType type = field >= 0 ? rs->fields().at(field).type : FieldType::Text;
    for (; m_keysFilled < count; ++m_keysFilled) {
        if (budgetNs > 0 && m_keysFilled % 128 == 0 && spent.nsecsElapsed() > budgetNs)
            return;
        const int s = m_keysFilled;
        SortKey &key = m_keys[size_t(s)];
        if (field >= 0 && numeric(type)) {
            key.null = !numberOf(rs->storageRow(s).value(field), type, key.number);
            continue;
        }
        // What a handler wrote over a loaded row counts; else the text the row will show.
        QString text = m_source->isLoaded(s) ? m_source->cellText(s, column)
                       : field >= 0          ? m_source->cellText(s, column)
                       : m_sortText          ? m_sortText(*rs, s, column)
                                             : QString();
        text = text.trimmed();
        key.null = text.isEmpty();
        key.text = text.toCaseFolded();
    }
}

void GridProxyModel::rebuild(bool narrowOnly)
{
    const RecordSetPtr &rs = m_source->recordSet();
    const int count = m_source->rowCount();
    if (!rs || count == 0 || (m_filter.isEmpty() && m_sortColumn < 0)) {
        m_identity = true;
        m_rows.clear();
        m_inverse.clear();
        return;
    }
    prepareInfo(); // forgets the sort keys of another record set
    if (!m_filter.isEmpty())
        ensureInfo(); // a sort alone needs no row's filter text
    const bool sortNow = m_sortColumn >= 0 && !sortPending();
    if (m_sortColumn >= 0 && !sortNow)
        m_fill.start();
    if (m_filter.isEmpty() && !sortNow) {
        m_identity = true;
        m_rows.clear();
        m_inverse.clear();
        return;
    }
    if (narrowOnly) {
        std::erase_if(m_rows, [&](int row) {
            return !m_info[size_t(rs->storageIndex(row))].haystack.contains(m_filter);
        });
    } else {
        m_rows.clear();
        m_rows.reserve(size_t(count));
        for (int row = 0; row < count; ++row) {
            if (m_filter.isEmpty() ||
                m_info[size_t(rs->storageIndex(row))].haystack.contains(m_filter))
                m_rows.push_back(row);
        }
        if (sortNow) {
            ensureKeys(m_sortColumn);
            // Sort storage rows, then read the view rows back: one lookup per row, not per
            // comparison.
            std::vector<std::pair<int, int>> order; // storage row, view row
            order.reserve(m_rows.size());
            for (int row : m_rows)
                order.emplace_back(rs->storageIndex(row), row);
            const bool descending = m_sortOrder == Qt::DescendingOrder;
            std::stable_sort(order.begin(), order.end(), [&](const auto &a, const auto &b) {
                const SortKey &x = m_keys[size_t(a.first)];
                const SortKey &y = m_keys[size_t(b.first)];
                if (x.null || y.null)
                    return !x.null && y.null; // empty cells last, either way
                int c = 0;
                if (x.text.isEmpty() && y.text.isEmpty())
                    c = x.number < y.number ? -1 : (y.number < x.number ? 1 : 0);
                else
                    c = QStringView(x.text).compare(QStringView(y.text));
                return descending ? c > 0 : c < 0;
            });
            for (size_t i = 0; i < order.size(); ++i)
                m_rows[i] = order[i].second;
        }
    }
    m_identity = false;
    m_inverse.assign(size_t(count), -1);
    for (size_t i = 0; i < m_rows.size(); ++i)
        m_inverse[size_t(m_rows[i])] = int(i);
}

int GridProxyModel::sourceRowOf(int proxyRow) const
{
    if (proxyRow < 0 || proxyRow >= rowCount())
        return -1;
    return m_identity ? proxyRow : m_rows[size_t(proxyRow)];
}

int GridProxyModel::proxyRowOf(int sourceRow) const
{
    if (sourceRow < 0 || sourceRow >= m_source->rowCount())
        return -1;
    if (m_identity)
        return sourceRow;
    return size_t(sourceRow) < m_inverse.size() ? m_inverse[size_t(sourceRow)] : -1;
}

const GridProxyModel::RowInfo *GridProxyModel::info(int proxyRow) const
{
    const int row = sourceRowOf(proxyRow);
    const RecordSetPtr &rs = m_source->recordSet();
    if (row < 0 || !rs || m_infoOf != rs.get())
        return nullptr;
    const int storage = rs->storageIndex(row);
    return size_t(storage) < m_info.size() ? &rowInfo(storage) : nullptr;
}

bool GridProxyModel::isOverdue(int proxyRow) const
{
    const RowInfo *i = info(proxyRow);
    return i && i->overdue;
}

bool GridProxyModel::isFresh(int proxyRow) const
{
    const RowInfo *i = info(proxyRow);
    return i && i->fresh;
}

int GridProxyModel::overdueCount() const
{
    const_cast<GridProxyModel *>(this)->ensureInfo();
    int n = 0;
    for (int r = 0, rows = rowCount(); r < rows; ++r)
        n += isOverdue(r) ? 1 : 0;
    return n;
}

int GridProxyModel::freshCount() const
{
    const_cast<GridProxyModel *>(this)->ensureInfo();
    int n = 0;
    for (int r = 0, rows = rowCount(); r < rows; ++r)
        n += isFresh(r) ? 1 : 0;
    return n;
}

QModelIndex GridProxyModel::mapToSource(const QModelIndex &proxyIndex) const
{
    if (!proxyIndex.isValid())
        return {};
    return m_source->index(sourceRowOf(proxyIndex.row()), proxyIndex.column());
}

QModelIndex GridProxyModel::mapFromSource(const QModelIndex &sourceIndex) const
{
    if (!sourceIndex.isValid())
        return {};
    const int row = proxyRowOf(sourceIndex.row());
    return row < 0 ? QModelIndex() : index(row, sourceIndex.column());
}

QModelIndex GridProxyModel::index(int row, int column, const QModelIndex &parent) const
{
    if (parent.isValid() || row < 0 || column < 0 || row >= rowCount() || column >= columnCount())
        return {};
    return createIndex(row, column);
}

QModelIndex GridProxyModel::parent(const QModelIndex &) const
{
    return {};
}

int GridProxyModel::rowCount(const QModelIndex &parent) const
{
    if (parent.isValid())
        return 0;
    return m_identity ? m_source->rowCount() : int(m_rows.size());
}

int GridProxyModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_source->columnCount();
}

QVariant GridProxyModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const QModelIndex source = mapToSource(index);
    QVariant value = m_source->data(source, role);
    const bool overdue = (role == Qt::FontRole || index.column() == m_markColumn) &&
                         (m_infoSource && isOverdue(index.row()));
    const bool fresh = index.column() == m_markColumn && m_infoSource && isFresh(index.row());
    if (!overdue && !fresh)
        return value;
    switch (role) {
    case Qt::FontRole: {
        if (!overdue)
            return value;
        QFont font = value.isValid() ? value.value<QFont>() : QApplication::font();
        font.setBold(true);
        return font;
    }
    case Qt::DecorationRole:
        if (overdue)
            return QApplication::style()->standardIcon(QStyle::SP_MessageBoxWarning);
        {
            static const QIcon dot = freshIcon();
            return dot;
        }
    case Qt::ToolTipRole:
    case Qt::AccessibleDescriptionRole:
        return overdue && fresh ? tr("Overdue; new since the last search")
               : overdue        ? tr("Overdue")
                                : tr("New since the last search");
    case Qt::AccessibleTextRole: {
        const QString text = m_source->data(source, Qt::DisplayRole).toString();
        return (overdue ? tr("Overdue") : tr("New")) + QStringLiteral(", ") + text;
    }
    default:
        return value;
    }
}

QVariant GridProxyModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Vertical) {
        // Blank record selectors, but a screen reader still says which row it is on.
        if (role == Qt::AccessibleTextRole && section >= 0 && section < rowCount())
            return tr("Row %1 of %2").arg(section + 1).arg(rowCount());
        return {};
    }
    return m_source->headerData(section, orientation, role);
}

} // namespace korva
