#include "recordsetmodel.h"

#include "datagrid.h"

#include <QBrush>
#include <QHeaderView>

namespace korva {

RecordSetModel::RecordSetModel(DataGrid *grid)
    : QAbstractTableModel(grid)
    , m_grid(grid)
{}

RecordSetModel::~RecordSetModel()
{
    detach();
}

void RecordSetModel::detach()
{
    if (m_rs && m_observer)
        m_rs->removeObserver(m_observer);
    m_observer = 0;
}

void RecordSetModel::bind(RecordSetPtr rs)
{
    beginResetModel();
    detach();
    RecordSetPtr previous = std::exchange(m_rs, std::move(rs));
    m_rows.clear();
    m_loadedCount = 0;
    m_storageCount = m_rs ? m_rs->storageCount() : 0;
    if (m_rs)
        m_observer = m_rs->addObserver([this] { viewChanged(); });
    m_fieldIndex.clear();
    for (int c = 0; c < columnCount(); ++c)
        m_fieldIndex.append(fieldOf(c));
    endResetModel();
    releaseRecordSet(std::move(previous));
}

void RecordSetModel::viewChanged()
{
    // The record set tells us after the fact; a reset is the one honest report of that.
    beginResetModel();
    const int count = m_rs->storageCount();
    if (count < m_storageCount) {
        m_rows.clear();
        m_loadedCount = 0;
    }
    m_storageCount = count;
    m_fieldIndex.clear();
    for (int c = 0; c < columnCount(); ++c)
        m_fieldIndex.append(fieldOf(c));
    endResetModel();
}

void RecordSetModel::columnsChanged()
{
    beginResetModel();
    m_fieldIndex.clear();
    for (int c = 0; c < columnCount(); ++c)
        m_fieldIndex.append(fieldOf(c));
    endResetModel();
}

void RecordSetModel::stylesChanged()
{
    const int columns = columnCount();
    if (columns == 0)
        return;
    emit headerDataChanged(Qt::Horizontal, 0, columns - 1);
    if (rowCount() > 0)
        emit dataChanged(index(0, 0), index(rowCount() - 1, columns - 1),
                         {Qt::ForegroundRole, Qt::BackgroundRole, Qt::FontRole});
}

int RecordSetModel::fieldOf(int column) const
{
    const QString &field = m_grid->m_columns.at(column).field;
    if (!m_rs || field.isEmpty())
        return -1;
    return m_rs->fieldIndex(field);
}

int RecordSetModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() || !m_rs ? 0 : m_rs->count();
}

int RecordSetModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_grid->m_columns.size());
}

QVariant RecordSetModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid) || !m_rs)
        return {};
    const int storage = m_rs->storageIndex(index.row());
    m_grid->loadRow(storage);
    switch (role) {
    case Qt::DisplayRole:
        return cellText(storage, index.column());
    case Qt::ForegroundRole:
    case Qt::BackgroundRole:
    case Qt::FontRole:
        return styleData(storage, index.column(), role);
    default:
        return {};
    }
}

QVariant RecordSetModel::styleData(int storageRow, int column, int role) const
{
    // The cell's own style set goes over its column's: each sets only what it holds, so a
    // red row keeps the column's plain font.
    const StyleSet *layers[] = {m_grid->findStyleSet(cellStyle(storageRow, column)),
                                m_grid->findStyleSet(m_grid->m_columns.at(column).styleSet)};
    for (const StyleSet *style : layers) {
        if (!style)
            continue;
        if (role == Qt::ForegroundRole && style->foreColor.isValid())
            return QBrush(style->foreColor);
        if (role == Qt::BackgroundRole && style->backColor.isValid())
            return QBrush(style->backColor);
        if (role == Qt::FontRole && style->hasFont)
            return style->font.resolve(m_grid->font());
    }
    return {};
}

QVariant RecordSetModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    // Rows have blank record selectors, as the screens' grids always had.
    if (orientation != Qt::Horizontal || section < 0 || section >= columnCount())
        return {};
    const auto &column = m_grid->m_columns.at(section);
    if (role == Qt::DisplayRole)
        return column.caption.isEmpty() ? column.name : column.caption;
    const StyleSet *style = m_grid->findStyleSet(column.headStyleSet);
    if (!style)
        return {};
    if (role == Qt::FontRole && style->hasFont)
        return style->font.resolve(m_grid->horizontalHeader()->font());
    if (role == Qt::ForegroundRole && style->foreColor.isValid())
        return QBrush(style->foreColor);
    if (role == Qt::BackgroundRole && style->backColor.isValid())
        return QBrush(style->backColor);
    return {};
}

Qt::ItemFlags RecordSetModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
}

RecordSetModel::RowState *RecordSetModel::state(int storageRow)
{
    if (storageRow < 0 || !m_rs || storageRow >= m_rs->storageCount())
        return nullptr;
    return &m_rows[storageRow];
}

const RecordSetModel::RowState *RecordSetModel::state(int storageRow) const
{
    const auto it = m_rows.find(storageRow);
    return it == m_rows.end() ? nullptr : &it->second;
}

bool RecordSetModel::isLoaded(int storageRow) const
{
    const RowState *s = state(storageRow);
    return s && s->loaded;
}

bool RecordSetModel::beginLoad(int storageRow)
{
    RowState *s = state(storageRow);
    if (!s || s->loaded)
        return false;
    s->loaded = true;
    ++m_loadedCount;
    m_loadingRow = storageRow;
    return true;
}

void RecordSetModel::endLoad()
{
    m_loadingRow = -1;
}

QString RecordSetModel::cellText(int storageRow, int column) const
{
    if (column < 0 || column >= m_fieldIndex.size() || !m_rs || storageRow < 0 ||
        storageRow >= m_rs->storageCount())
        return {};
    if (const RowState *s = state(storageRow); s && column < s->texts.size()) {
        if (!s->texts.at(column).isNull())
            return s->texts.at(column);
    }
    const int field = m_fieldIndex.at(column);
    if (field < 0)
        return {};
    const QList<QVariant> &values = m_rs->storageRow(storageRow);
    if (field >= values.size())
        return {};
    return RecordSet::formatValue(values.at(field), m_rs->fields().at(field).type);
}

void RecordSetModel::setCellText(int storageRow, int column, const QString &text)
{
    RowState *s = state(storageRow);
    if (!s || column < 0 || column >= columnCount())
        return;
    if (s->texts.size() <= column)
        s->texts.resize(columnCount());
    // A written text is never null, so that an empty one hides a bound field too.
    s->texts[column] = text.isNull() ? QStringLiteral("") : text;
    cellChanged(storageRow, column);
}

QString RecordSetModel::cellStyle(int storageRow, int column) const
{
    const RowState *s = state(storageRow);
    if (!s || column < 0 || column >= s->styles.size())
        return {};
    return s->styles.at(column);
}

void RecordSetModel::setCellStyle(int storageRow, int column, const QString &styleSet)
{
    RowState *s = state(storageRow);
    if (!s || column < 0 || column >= columnCount())
        return;
    if (s->styles.size() <= column)
        s->styles.resize(columnCount());
    s->styles[column] = styleSet;
    cellChanged(storageRow, column);
}

void RecordSetModel::cellChanged(int storageRow, int column)
{
    // During the row's own load the view has not painted it yet.
    if (storageRow == m_loadingRow)
        return;
    const int row = viewRowOf(storageRow);
    if (row >= 0)
        emit dataChanged(index(row, column), index(row, column));
}

int RecordSetModel::fieldIndexOf(int column) const
{
    return column >= 0 && column < m_fieldIndex.size() ? m_fieldIndex.at(column) : -1;
}

int RecordSetModel::viewRowOf(int storageRow) const
{
    if (!m_rs)
        return -1;
    for (int r = 0, n = m_rs->count(); r < n; ++r) {
        if (m_rs->storageIndex(r) == storageRow)
            return r;
    }
    return -1;
}

} // namespace korva
