#pragma once

#include <QGroupBox>
#include <QStringList>

#include <array>

class QLabel;

namespace korva {

class DataGrid;

// The selected assignment shown read-only in the forward, reply/close/reopen and history
// dialogs: caption labels at even indices (and 23), value labels at odd indices (and 24).
// Indices 20 to 22 do not exist.
class AssignmentInfoFrame : public QGroupBox {
    Q_OBJECT
public:
    explicit AssignmentInfoFrame(QWidget *parent = nullptr);

    // Fills the value labels from the document's "~"-separated pieces 1..9, 12, 13. The first
    // missing piece raises the subscript error, leaving the labels filled before it.
    void fillFromParameters(const QStringList &pieces);

    std::array<QLabel *, 25> lblLabel{};
};

// The piece at `index` of a split parameter text; a missing piece raises the subscript error.
const QString &parameterPiece(const QStringList &pieces, int index);

// The dialogs' grid font rule: the grid's own font bold, every cell and heading in the plain
// "UNBOLD" style set, so bold shows only where a row clears a cell's style set.
void applyGridBolding(DataGrid *grid);

} // namespace korva
