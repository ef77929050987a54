#pragma once

#include <QString>
#include <QWidget>

namespace korva {

// Picks a customer by name or number while the user types; the search runs on the server.
class KORVA_CustSelect : public QWidget {
    Q_OBJECT
public:
    explicit KORVA_CustSelect(QWidget *parent = nullptr);
    ~KORVA_CustSelect() override;

    QString CustomerID() const; // empty when none is chosen
    QString CustomerName() const;

signals:
    void SelectionChanged();
    void HasAlerts(bool alerts);
};

} // namespace korva
