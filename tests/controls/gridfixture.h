#pragma once

#include "platform/controls/datagrid.h"
#include "platform/recordset.h"

#include <QSet>

#include <memory>

// Assignment-like rows and a grid decorated the way the screens decorate theirs: a display
// column written from the row and red rows for one type code.
namespace korva::gridtest {

inline RecordSetPtr assignments(int rows)
{
    auto rs = RecordSet::create(QStringLiteral("ASSIGNMENT"),
                                {{QStringLiteral("ASGNMT_NBR"), FieldType::Integer},
                                 {QStringLiteral("ASGNMT_TYP_CD"), FieldType::Text},
                                 {QStringLiteral("OFCR_TO_ID"), FieldType::Integer},
                                 {QStringLiteral("DUE_DT"), FieldType::Date}});
    rs->reserve(rows);
    for (int i = 0; i < rows; ++i) {
        const QString type = i % 5 == 1   ? QStringLiteral("PCE")
                             : i % 5 == 3 ? QStringLiteral("pce")
                                          : QStringLiteral("001");
        rs->appendStorageRow({i + 1, type, 1001 + i % 3, QDate(2026, 1, 1).addDays(i % 300)});
    }
    return rs;
}

struct DecoratedGrid {
    DataControl control;
    DataGrid grid;
    QList<int> loads; // storage rows in the order RowLoaded saw them

    DecoratedGrid()
    {
        grid.addColumn(QStringLiteral("ASGNMT_NBR"), QStringLiteral("Number"),
                       QStringLiteral("ASGNMT_NBR"));
        grid.addColumn(QStringLiteral("ASGNMT_TYP_CD"), QStringLiteral("Type"),
                       QStringLiteral("ASGNMT_TYP_CD"));
        grid.addColumn(QStringLiteral("Status"), QStringLiteral("Status"));
        grid.addColumn(QStringLiteral("DUE_DT"), QStringLiteral("Due"), QStringLiteral("DUE_DT"));
        grid.addColumn(QStringLiteral("OFCR_TO_ID"), QString(), QStringLiteral("OFCR_TO_ID"),
                       false);
        grid.styleSet(QStringLiteral("RowRed")).setForeColorValue(255);
        QObject::connect(&grid, &DataGrid::RowLoaded, &grid, [this](GridRow &row) {
            loads.append(row.storageRow());
            if (row.isEmpty())
                return;
            row.setText(QStringLiteral("Status"),
                        QStringLiteral("Loaded ") + row.text(QStringLiteral("ASGNMT_NBR")));
            if (row.text(QStringLiteral("ASGNMT_TYP_CD")) == u"PCE") {
                for (int c = 0; c < row.columnCount(); ++c)
                    row.setCellStyleSet(c, QStringLiteral("RowRed"));
            }
        });
        grid.setDataControl(&control);
    }

    bool loadedOnce() const
    {
        return QSet<int>(loads.cbegin(), loads.cend()).size() == loads.size();
    }
};

} // namespace korva::gridtest
