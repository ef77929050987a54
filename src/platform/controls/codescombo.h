#pragma once

#include "platform/recordset.h"

#include <QComboBox>

namespace korva {

// A combo of codes and their descriptions, filled from a code-list query (through the
// platform's CodeListService) or from a record set. The list starts with a blank item, so
// that list index 0 means nothing chosen. Editable: a typed text that matches no item leaves
// the combo without an identifier.
class KORVA_CodesCombo : public QComboBox {
    Q_OBJECT
public:
    explicit KORVA_CodesCombo(QWidget *parent = nullptr);

    // Fills from a query text; the named columns give each item's code and description.
    void fillFromQuery(const QString &queryText, const QString &codeColumn,
                       const QString &descriptionColumn);
    void fillFromRecordSet(const RecordSet &rs, const QString &codeColumn,
                           const QString &descriptionColumn);
    // Fills from the cached code table of the platform's lookups (CD_TBL_ID = table).
    void fillFromCodeTable(const QString &table);

    // An item is selected when the shown text is its description or its code (in any case).
    QString code() const;  // the selected item's code; "" when none
    QString id() const;    // the identifier of the selected item; "" when nothing valid
    QString text() const;  // the shown text
    int listIndex() const; // 0 for the blank item or no match
    bool selectCode(const QString &code);
    void clearSelection();

    QString itemCode(int index) const; // "" for the blank item

signals:
    void Change(); // the user or the program changed the selection or the text

protected:
    void showEvent(QShowEvent *event) override;

private:
    int matchedIndex() const;
    void noteChange();

    QString m_lastText;
    int m_lastIndex = 0;
};

} // namespace korva
