#pragma once

#include <QString>
#include <QWidget>

namespace korva {

// Picks one active officer by part of a name or an officer number.
class KORVA_OfficerSelect : public QWidget {
    Q_OBJECT
public:
    explicit KORVA_OfficerSelect(QWidget *parent = nullptr);
    ~KORVA_OfficerSelect() override;

    QString OfficerID() const; // decimal text of the picked officer's id; empty if none
    QString LastName() const;
    QString FirstName() const;
    QString MiddleInitial() const;

signals:
    void OfficerSelected();
};

} // namespace korva
