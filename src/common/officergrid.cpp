#include "officergrid.h"

#include "modassignmaint.h"
#include "platform/controls/datagrid.h"
#include "platform/errors.h"

#include <QHeaderView>

namespace korva {

void setUpOfficerGrid(DataGrid *grid, DataControl *data, const QString &numberCaption,
                      const QString &nameColumn, QStringView source)
{
    grid->addColumn(QStringLiteral("INSP_ID"), numberCaption, QStringLiteral("INSP_ID"));
    // The name parts feed the name column; shown apart they would only repeat it.
    for (const char *part : {"INSP_NME_LST", "INSP_NME_FRST", "INSP_NME_MDL_INT"})
        grid->addColumn(QLatin1String(part), QLatin1String(part), QLatin1String(part), false);
    grid->addColumn(nameColumn, QStringLiteral("Name"));
    grid->setSelectionBehavior(QAbstractItemView::SelectRows);
    grid->verticalHeader()->hide();
    grid->horizontalHeader()->setStretchLastSection(true);
    grid->setDataControl(data);

    QObject::connect(
        grid, &DataGrid::RowLoaded, grid, [nameColumn, source = source.toString()](GridRow &row) {
            guard(source, [&] {
                if (row.isEmpty())
                    return;
                row.setText(nameColumn,
                            modAssignMaint::ProperName(
                                row.text(QStringLiteral("INSP_NME_LST")).trimmed(),
                                row.text(QStringLiteral("INSP_NME_FRST")).trimmed(),
                                row.text(QStringLiteral("INSP_NME_MDL_INT")).trimmed(), QString()));
            });
        });
}

} // namespace korva
