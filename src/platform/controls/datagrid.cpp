#include "datagrid.h"

#include "gridheader.h"
#include "gridproxy.h"
#include "platform/errors.h"
#include "recordsetmodel.h"

#include <QEvent>
#include <QHeaderView>
#include <QMouseEvent>

namespace korva {

DataControl::DataControl(QObject *parent)
    : QObject(parent)
{}

void DataControl::setRecordSet(RecordSetPtr rs)
{
    emit recordSetAboutToChange();
    RecordSetPtr previous = std::exchange(m_rs, std::move(rs));
    emit recordSetChanged();
    releaseRecordSet(std::move(previous));
}

void StyleSet::setForeColorValue(int bgr)
{
    foreColor = QColor(bgr & 0xff, (bgr >> 8) & 0xff, (bgr >> 16) & 0xff);
}

void StyleSet::setBackColorValue(int bgr)
{
    backColor = QColor(bgr & 0xff, (bgr >> 8) & 0xff, (bgr >> 16) & 0xff);
}

void StyleSet::setBold(bool bold)
{
    font.setBold(bold);
    hasFont = true;
}

// GridRow --------------------------------------------------------------------------------

GridRow::GridRow(DataGrid *grid, int storageRow)
    : m_grid(grid)
    , m_storageRow(storageRow)
{}

bool GridRow::isEmpty() const
{
    // A row exists when the record set has it, whatever its cells hold: a null subject or
    // amount must not keep a row's display columns from being filled.
    const RecordSetPtr &rs = m_grid->m_model->recordSet();
    return !rs || m_storageRow < 0 || m_storageRow >= rs->storageCount();
}

QString GridRow::text(const QString &column) const
{
    const int c = m_grid->columnIndex(column);
    if (c < 0)
        raiseError(kErrInvalidArgument, QStringLiteral("The grid has no column %1.").arg(column));
    return m_grid->m_model->cellText(m_storageRow, c);
}

void GridRow::setText(const QString &column, const QString &value)
{
    const int c = m_grid->columnIndex(column);
    if (c < 0)
        raiseError(kErrInvalidArgument, QStringLiteral("The grid has no column %1.").arg(column));
    m_grid->m_model->setCellText(m_storageRow, c, value);
}

void GridRow::setCellStyleSet(int column, const QString &styleSet)
{
    if (column < 0 || column >= m_grid->columnCount())
        raiseSubscript();
    m_grid->m_model->setCellStyle(m_storageRow, column, styleSet);
}

int GridRow::columnCount() const
{
    return m_grid->columnCount();
}

// DataGrid -------------------------------------------------------------------------------

DataGrid::DataGrid(QWidget *parent)
    : QTableView(parent)
    , m_header(new GridHeader(this))
{
    setHorizontalHeader(m_header);
    m_model = new RecordSetModel(this);
    m_proxy = new GridProxyModel(m_model, this);
    setModel(m_proxy);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setWordWrap(false);
    setTabKeyNavigation(false);
    // Blank, narrow record selectors; rows keep one fixed height so that showing a row never
    // needs the data of another.
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setFixedWidth(16);
    verticalHeader()->setHighlightSections(false);
    updateRowHeight();
    horizontalHeader()->viewport()->installEventFilter(this);
    verticalHeader()->viewport()->installEventFilter(this);

    // The shown rows reset whenever the bound ones do, and on a new filter or sort.
    connect(m_proxy, &QAbstractItemModel::modelAboutToBeReset, this, &DataGrid::saveLayout);
    connect(m_proxy, &QAbstractItemModel::modelReset, this, &DataGrid::restoreLayout);
    connect(selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex &current) {
                const RecordSetPtr &rs = m_model->recordSet();
                const int row = current.isValid() ? m_proxy->sourceRowOf(current.row()) : -1;
                if (row < 0 || !rs) {
                    if (!m_inReset)
                        m_savedStorageRow = -1;
                    return;
                }
                m_savedStorageRow = rs->storageIndex(row);
                // The record set's cursor follows the grid, as the data control's does.
                rs->moveTo(row);
                if (!m_inReset)
                    emit RowChange();
            });
    connect(horizontalHeader(), &QHeaderView::sectionClicked, this, [this](int column) {
        if (!m_headingSort)
            return;
        if (m_proxy->sortColumn() != column)
            m_proxy->sort(column, Qt::AscendingOrder);
        else if (m_proxy->sortOrder() == Qt::AscendingOrder)
            m_proxy->sort(column, Qt::DescendingOrder);
        else
            m_proxy->sort(-1);
        horizontalHeader()->setSortIndicatorShown(m_proxy->sortColumn() >= 0);
        horizontalHeader()->setSortIndicator(m_proxy->sortColumn(), m_proxy->sortOrder());
    });
}

DataGrid::~DataGrid() = default;

void DataGrid::setDataControl(DataControl *control)
{
    if (m_control)
        disconnect(m_control, nullptr, this, nullptr);
    m_control = control;
    if (m_control)
        connect(m_control, &DataControl::recordSetChanged, this, &DataGrid::rebind);
    rebind();
}

void DataGrid::rebind()
{
    m_savedStorageRow = -1;
    m_model->bind(m_control ? m_control->recordSet() : RecordSetPtr());
}

void DataGrid::saveLayout()
{
    m_inReset = true;
    m_savedWidths.clear();
    m_savedOrder.clear();
    QHeaderView *header = horizontalHeader();
    for (int c = 0; c < header->count(); ++c) {
        m_savedWidths.append(columnWidth(c));
        m_savedOrder.append(header->logicalIndex(c));
    }
}

void DataGrid::restoreLayout()
{
    QHeaderView *header = horizontalHeader();
    for (int c = 0; c < columnCount(); ++c) {
        if (c < m_savedWidths.size())
            setColumnWidth(c, m_savedWidths.at(c));
        setColumnHidden(c, !m_columns.at(c).visible);
    }
    if (m_savedOrder.size() == header->count()) {
        for (int visual = 0; visual < m_savedOrder.size(); ++visual) {
            const int from = header->visualIndex(m_savedOrder.at(visual));
            if (from != visual)
                header->moveSection(from, visual);
        }
    }
    const int row = m_savedStorageRow >= 0 ? m_model->viewRowOf(m_savedStorageRow) : -1;
    m_inReset = false;
    if (row >= 0 && m_proxy->proxyRowOf(row) >= 0) {
        setCurrentRow(row);
    } else {
        m_savedStorageRow = -1;
        emit RowChange();
    }
}

void DataGrid::setHeadingSort(bool on)
{
    m_headingSort = on;
    horizontalHeader()->setSectionsClickable(on);
    horizontalHeader()->setSortIndicatorShown(on && m_proxy->sortColumn() >= 0);
}

void DataGrid::setFilterText(const QString &text)
{
    m_proxy->setFilterText(text);
}

int DataGrid::shownRowCount() const
{
    return m_proxy->rowCount();
}

int DataGrid::shownRow(int position) const
{
    return m_proxy->sourceRowOf(position);
}

int DataGrid::addColumn(const QString &name, const QString &caption, const QString &field,
                        bool visible)
{
    m_columns.append(Column{name, caption, field, {}, {}, visible});
    m_model->columnsChanged();
    return int(m_columns.size()) - 1;
}

int DataGrid::columnCount() const
{
    return int(m_columns.size());
}

int DataGrid::columnIndex(const QString &name) const
{
    for (int c = 0; c < m_columns.size(); ++c) {
        if (m_columns.at(c).name.compare(name, Qt::CaseInsensitive) == 0)
            return c;
    }
    return -1;
}

QString DataGrid::columnName(int column) const
{
    return column >= 0 && column < m_columns.size() ? m_columns.at(column).name : QString();
}

void DataGrid::setColumnVisible(const QString &name, bool visible)
{
    const int c = columnIndex(name);
    if (c < 0)
        return;
    m_columns[c].visible = visible;
    setColumnHidden(c, !visible);
}

StyleSet &DataGrid::styleSet(const QString &name)
{
    // The caller may change it through the reference; repaint once control returns.
    QMetaObject::invokeMethod(m_model, &RecordSetModel::stylesChanged, Qt::QueuedConnection);
    return m_styleSets[name.toUpper()];
}

bool DataGrid::hasStyleSet(const QString &name) const
{
    return m_styleSets.contains(name.toUpper());
}

const StyleSet *DataGrid::findStyleSet(const QString &name) const
{
    if (name.isEmpty())
        return nullptr;
    const auto it = m_styleSets.constFind(name.toUpper());
    return it == m_styleSets.cend() ? nullptr : &*it;
}

void DataGrid::setColumnStyleSet(int column, const QString &name)
{
    if (column < 0 || column >= m_columns.size())
        raiseSubscript();
    m_columns[column].styleSet = name;
    m_model->stylesChanged();
}

QString DataGrid::columnStyleSet(int column) const
{
    return column >= 0 && column < m_columns.size() ? m_columns.at(column).styleSet : QString();
}

void DataGrid::setColumnHeadStyleSet(int column, const QString &name)
{
    if (column < 0 || column >= m_columns.size())
        raiseSubscript();
    m_columns[column].headStyleSet = name;
    m_model->stylesChanged();
}

QString DataGrid::columnHeadStyleSet(int column) const
{
    return column >= 0 && column < m_columns.size() ? m_columns.at(column).headStyleSet : QString();
}

QString DataGrid::cellStyleSet(int viewRow, int column) const
{
    if (viewRow < 0 || viewRow >= rowCount() || column < 0 || column >= m_columns.size())
        return {};
    const int storage = m_model->recordSet()->storageIndex(viewRow);
    loadRow(storage);
    const QString own = m_model->cellStyle(storage, column);
    return own.isEmpty() ? m_columns.at(column).styleSet : own;
}

void DataGrid::setCaption(const QString &caption)
{
    // The caption names the grid for a screen reader too, unless its screen named it.
    if (accessibleName().isEmpty() || accessibleName() == m_caption)
        setAccessibleName(caption);
    m_caption = caption;
    m_header->setCaption(caption);
    updateGeometries();
}

void DataGrid::setRedraw(bool on)
{
    m_redraw = on;
    setUpdatesEnabled(on);
    if (on)
        viewport()->update();
}

int DataGrid::rowCount() const
{
    return m_model->rowCount();
}

int DataGrid::currentRow() const
{
    const QModelIndex current = currentIndex();
    return current.isValid() ? m_proxy->sourceRowOf(current.row()) : -1;
}

void DataGrid::setCurrentRow(int viewRow)
{
    const int shown = m_proxy->proxyRowOf(viewRow);
    if (shown < 0) {
        selectionModel()->clearCurrentIndex();
        clearSelection();
        return;
    }
    int column = 0;
    while (column < columnCount() - 1 && isColumnHidden(column))
        ++column;
    setCurrentIndex(m_proxy->index(shown, column));
}

QString DataGrid::text(int viewRow, const QString &column) const
{
    const int c = columnIndex(column);
    if (c < 0 || viewRow < 0 || viewRow >= rowCount())
        return {};
    const int storage = m_model->recordSet()->storageIndex(viewRow);
    loadRow(storage); // a handler may have written over a bound column too
    return m_model->cellText(storage, c);
}

QString DataGrid::currentText(const QString &column) const
{
    return text(currentRow(), column);
}

void DataGrid::loadRow(int storageRow) const
{
    if (!m_model->beginLoad(storageRow))
        return;
    GridRow row(const_cast<DataGrid *>(this), storageRow);
    // A handler's failure must not unwind through the view's painting.
    try {
        emit const_cast<DataGrid *>(this)->RowLoaded(row);
    } catch (const ProcError &e) {
        if (!e.isQuiet())
            detail::reportFailure(u"DataGrid.RowLoaded", &e);
    } catch (const std::exception &e) {
        detail::reportFailure(u"DataGrid.RowLoaded", &e);
    } catch (...) {
        detail::reportFailure(u"DataGrid.RowLoaded", nullptr);
    }
    m_model->endLoad();
}

void DataGrid::mouseReleaseEvent(QMouseEvent *event)
{
    const QModelIndex hit = indexAt(event->position().toPoint());
    m_lastHit = hit.isValid() ? HitData : HitNone;
    QTableView::mouseReleaseEvent(event);
    emit Click();
}

void DataGrid::mouseDoubleClickEvent(QMouseEvent *event)
{
    QTableView::mouseDoubleClickEvent(event);
    emit DblClick();
}

bool DataGrid::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::MouseButtonRelease) {
        auto *mouse = static_cast<QMouseEvent *>(event);
        if (watched == horizontalHeader()->viewport()) {
            m_lastHit = HitHeading;
        } else if (watched == verticalHeader()->viewport()) {
            const int row = verticalHeader()->logicalIndexAt(mouse->position().toPoint());
            m_lastHit = row >= 0 ? HitDataSelected : HitNone;
            if (row >= 0)
                emit Click();
        }
    }
    return QTableView::eventFilter(watched, event);
}

void DataGrid::changeEvent(QEvent *event)
{
    QTableView::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        updateRowHeight();
}

void DataGrid::updateRowHeight()
{
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
}

} // namespace korva
