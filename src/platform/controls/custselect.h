#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>

class QLabel;
class QLineEdit;
class QTimer;
class QTreeWidget;
class QTreeWidgetItem;

namespace korva {

class BrokerMessage;
class RecordSet;

// Picks a customer by name or number while the user types. Customers are too many to hold
// here: each pause in typing asks the server (the customer search) through the control's own
// message object, and only the answer to the latest question is shown. A customer is chosen
// by a click on a found row, or by Enter on the highlighted one (Up and Down move it).
class KORVA_CustSelect : public QWidget {
    Q_OBJECT
public:
    explicit KORVA_CustSelect(QWidget *parent = nullptr);
    ~KORVA_CustSelect() override;

    QString CustomerID() const; // empty when none is chosen
    QString CustomerName() const;
    bool hasAlerts() const { return m_alerts; }

    bool isBusy() const { return !m_pendingTag.isEmpty(); }
    int foundCount() const;
    // How long typing must pause before the search is sent.
    void setDebounce(int milliseconds);
    static constexpr int kSearchLimit = 50;

signals:
    void SelectionChanged();
    void HasAlerts(bool alerts);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void textEdited();
    void sendSearch();
    void dataReady(const QString &identity);
    void showFound(const RecordSet &rows);
    void choose(QTreeWidgetItem *item);
    void moveHighlight(int step);
    void setBusy(bool busy, const QString &note = {});
    QString messageId() const;

    QLineEdit *m_text = nullptr;
    QLabel *m_busy = nullptr;
    QLabel *m_alertNote = nullptr;
    QTreeWidget *m_found = nullptr;
    QTimer *m_debounce = nullptr;
    QPointer<BrokerMessage> m_message;
    QString m_pendingTag; // the read-back text of the latest search; empty when none runs
    QString m_customerId;
    QString m_customerName;
    bool m_alerts = false;
};

} // namespace korva
