#pragma once

#include <QDate>
#include <QWidget>

#include <optional>

class QDateEdit;
class QCheckBox;

namespace korva {

// A date picker that can hold no date and has a lower bound. Change is raised for the user's
// edits only, never for the program's, so that handlers that correct dates do not recurse.
class KORVA_DTP : public QWidget {
    Q_OBJECT
public:
    explicit KORVA_DTP(QWidget *parent = nullptr);

    std::optional<QDate> value() const;
    bool hasValue() const { return value().has_value(); }
    QDate date() const;               // the date, or a null QDate when empty
    void setValue(const QDate &date); // clamped to the lower bound
    void clear();
    void setMinDate(const QDate &date);
    QDate minDate() const;
    // Whether the picker offers the check box that empties it.
    void setAllowEmpty(bool allow);

    QDateEdit *editor() const { return m_edit; }

signals:
    void Change();

protected:
    void showEvent(QShowEvent *event) override;

private:
    QDateEdit *m_edit;
    QCheckBox *m_check;
    bool m_programmatic = false;
};

} // namespace korva
