#pragma once

#include <QString>
#include <QStringView>

namespace korva {

class DataControl;
class DataGrid;

// The officer lists (the new-assignment tab's, the forward and add-officer dialogs'): the
// officer's number, the name parts hidden, and a name column of `nameColumn` that is filled
// from the parts as each row loads. A failure while filling reports under `source`.
void setUpOfficerGrid(DataGrid *grid, DataControl *data, const QString &numberCaption,
                      const QString &nameColumn, QStringView source);

} // namespace korva
