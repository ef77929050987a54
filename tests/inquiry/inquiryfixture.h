#pragma once

// The customer form inquiry as a user drives it: its controls by name, a customer picked by
// typing into the picker and clicking a found row.
#include "inquiry/korva_selectcustforminq.h"
#include "platform/controls/codescombo.h"
#include "platform/controls/custselect.h"
#include "platform/controls/datagrid.h"

#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

namespace korva::inqtest {

struct Inquiry {
    explicit Inquiry(QWidget *parent = nullptr)
        : dlg(new KORVA_SelectCustFormInq(parent))
    {
        picker()->setDebounce(0);
    }
    ~Inquiry() { delete dlg.data(); }

    KORVA_CustSelect *picker() const
    {
        return dlg->findChild<KORVA_CustSelect *>(QStringLiteral("KORVA_CustSelect1"));
    }
    QLineEdit *pickerText() const
    {
        return picker()->findChild<QLineEdit *>(QStringLiteral("txtCustomer"));
    }
    QTreeWidget *found() const
    {
        return picker()->findChild<QTreeWidget *>(QStringLiteral("lstCustomers"));
    }
    KORVA_CodesCombo *docType() const
    {
        return dlg->findChild<KORVA_CodesCombo *>(QStringLiteral("mFtcboDocType(0)"));
    }
    DataGrid *grid() const { return dlg->findChild<DataGrid *>(QStringLiteral("mSdgGrid")); }
    QPushButton *button(int i) const
    {
        return dlg->findChild<QPushButton *>(QStringLiteral("mCmdButton(%1)").arg(i));
    }

    void typeCustomer(const QString &text) { QTest::keyClicks(pickerText(), text); }
    // Clicks the found row of that customer; false when it is not listed.
    bool clickCustomer(const QString &id)
    {
        for (int i = 0; i < found()->topLevelItemCount(); ++i) {
            QTreeWidgetItem *item = found()->topLevelItem(i);
            if (item->text(1) == id) {
                QTest::mouseClick(found()->viewport(), Qt::LeftButton, {},
                                  found()->visualItemRect(item).center());
                return true;
            }
        }
        return false;
    }
    // Picks a document type from the combo's list as a user does.
    void pickType(const QString &code)
    {
        for (int i = 0; i < docType()->count(); ++i) {
            if (docType()->itemCode(i) == code)
                docType()->setCurrentIndex(i);
        }
    }
    void clickRow(int row)
    {
        grid()->setCurrentRow(row);
        QTest::mouseClick(grid()->viewport(), Qt::LeftButton, {},
                          grid()->visualRect(grid()->model()->index(row, 0)).center());
    }

    QPointer<KORVA_SelectCustFormInq> dlg;
};

} // namespace korva::inqtest
