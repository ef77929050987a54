// The read-only assignment frame shared by the assignment action dialogs.
#include "assignmentinfo.h"

#include "platform/controls/datagrid.h"
#include "platform/errors.h"

#include <QGridLayout>
#include <QLabel>

namespace korva {

namespace {

struct Caption {
    int index;
    const char *text;
    int row;
    int column; // 0: left pair, 2: right pair
};

constexpr Caption kCaptions[] = {
    {0, "Assignment:", 0, 0},
    {2, "From:", 1, 0},
    {4, "To:", 2, 0},
    {6, "Account #:", 3, 0},
    {8, "Account Type:", 4, 0},
    {23, "Subject:", 5, 0},
    {12, "Assigned Date:", 0, 2},
    {14, "Effective Date:", 1, 2},
    {16, "Due Date:", 2, 2},
    {18, "Close Date:", 3, 2},
    {10, "Comment:", 6, 0},
};

// Parameter piece -> value label, in the order the pieces are read.
constexpr std::pair<int, int> kPieceToLabel[] = {
    {1, 1}, {2, 3}, {3, 5}, {4, 13}, {5, 15}, {6, 17}, {7, 11}, {8, 7}, {9, 9}, {12, 19}, {13, 24},
};

} // namespace

AssignmentInfoFrame::AssignmentInfoFrame(QWidget *parent)
    : QGroupBox(QStringLiteral("Assignment Information"), parent)
{
    auto *grid = new QGridLayout(this);
    grid->setColumnStretch(1, 1);
    grid->setColumnStretch(3, 1);
    for (const Caption &c : kCaptions) {
        auto *caption = new QLabel(QLatin1String(c.text), this);
        caption->setObjectName(QStringLiteral("lblLabel(%1)").arg(c.index));
        caption->setAlignment(Qt::AlignRight | Qt::AlignTop);
        lblLabel[c.index] = caption;

        const int valueIndex = c.index + 1;
        auto *value = new QLabel(this);
        value->setObjectName(QStringLiteral("lblLabel(%1)").arg(valueIndex));
        value->setTextFormat(Qt::PlainText);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        value->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        lblLabel[valueIndex] = value;

        grid->addWidget(caption, c.row, c.column);
        // The subject and the comment get the whole width: they are the long texts.
        const bool wide = c.index == 10 || c.index == 23;
        if (wide)
            value->setWordWrap(true);
        grid->addWidget(value, c.row, c.column + 1, 1, wide ? 3 : 1);
    }
    grid->setRowStretch(6, 1);
}

void AssignmentInfoFrame::fillFromParameters(const QStringList &pieces)
{
    for (const auto &[piece, label] : kPieceToLabel)
        lblLabel[label]->setText(parameterPiece(pieces, piece));
}

const QString &parameterPiece(const QStringList &pieces, int index)
{
    if (index < 0 || index >= pieces.size())
        raiseSubscript();
    return pieces.at(index);
}

void applyGridBolding(DataGrid *grid)
{
    grid->styleSet(QStringLiteral("UNBOLD")).setBold(false);
    QFont bold = grid->font();
    bold.setBold(true);
    grid->setFont(bold);
    for (int c = 0; c < grid->columnCount(); ++c) {
        grid->setColumnStyleSet(c, QStringLiteral("UNBOLD"));
        grid->setColumnHeadStyleSet(c, QStringLiteral("UNBOLD"));
    }
}

} // namespace korva
