#include "platform/controls/custselect.h"

#include "platform/broker.h"
#include "platform/errors.h"
#include "platform/platform.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace korva {

namespace {

// The server's customer search; not a screen's request kind, so the platform's own.
constexpr int kCustomerSearchKind = 93;
constexpr int kDefaultDebounceMs = 250;

enum Column { NameColumn, IdColumn, AlertColumn };
enum Role { IdRole = Qt::UserRole, NameRole, AlertRole };

} // namespace

KORVA_CustSelect::KORVA_CustSelect(QWidget *parent)
    : QWidget(parent)
    , m_text(new QLineEdit(this))
    , m_busy(new QLabel(tr("Searching ..."), this))
    , m_alertNote(new QLabel(tr("This customer has alerts: unpaid active forms."), this))
    , m_found(new QTreeWidget(this))
    , m_debounce(new QTimer(this))
    , m_message(new BrokerMessage(this))
{
    m_text->setObjectName(QStringLiteral("txtCustomer"));
    m_text->setPlaceholderText(tr("Customer name or number"));
    m_text->setAccessibleName(tr("Customer name or number"));
    m_text->setClearButtonEnabled(true);
    m_busy->setObjectName(QStringLiteral("lblBusy"));
    m_busy->setVisible(false);
    m_alertNote->setObjectName(QStringLiteral("lblAlerts"));
    m_alertNote->setStyleSheet(QStringLiteral("color: #b00000;"));
    m_alertNote->setVisible(false);
    m_found->setObjectName(QStringLiteral("lstCustomers"));
    m_found->setAccessibleName(tr("Customers found"));
    m_found->setColumnCount(3);
    m_found->setHeaderLabels({tr("Name"), tr("Customer #"), tr("Alerts")});
    m_found->setRootIsDecorated(false);
    m_found->setUniformRowHeights(true);
    m_found->setAllColumnsShowFocus(true);
    m_found->header()->setSectionResizeMode(NameColumn, QHeaderView::Stretch);
    m_found->header()->setStretchLastSection(false);
    m_found->setMinimumHeight(120);

    auto *top = new QHBoxLayout;
    top->addWidget(m_text, 1);
    top->addWidget(m_busy);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(top);
    layout->addWidget(m_found, 1);
    layout->addWidget(m_alertNote);
    setFocusProxy(m_text);

    m_debounce->setObjectName(QStringLiteral("tmrDebounce"));
    m_debounce->setSingleShot(true);
    m_debounce->setInterval(kDefaultDebounceMs);
    connect(m_debounce, &QTimer::timeout, this, &KORVA_CustSelect::sendSearch);
    connect(m_text, &QLineEdit::textEdited, this, &KORVA_CustSelect::textEdited);
    connect(m_found, &QTreeWidget::itemClicked, this,
            [this](QTreeWidgetItem *item) { choose(item); });
    connect(m_message, &BrokerMessage::DataReady, this, &KORVA_CustSelect::dataReady);
    m_text->installEventFilter(this);
    m_found->installEventFilter(this);
}

KORVA_CustSelect::~KORVA_CustSelect() = default;

QString KORVA_CustSelect::CustomerID() const
{
    return m_customerId;
}

QString KORVA_CustSelect::CustomerName() const
{
    return m_customerName;
}

int KORVA_CustSelect::foundCount() const
{
    return m_found->topLevelItemCount();
}

void KORVA_CustSelect::setDebounce(int milliseconds)
{
    m_debounce->setInterval(qMax(0, milliseconds));
}

QString KORVA_CustSelect::messageId() const
{
    const UserContext *user = platform().user;
    return user->applicationPrefix() + QStringLiteral(".CustSelect");
}

void KORVA_CustSelect::textEdited()
{
    if (m_text->text().trimmed().isEmpty()) {
        // Nothing to look for: whatever is still running is of no interest any more.
        m_debounce->stop();
        m_pendingTag.clear();
        m_found->clear();
        setBusy(false);
        return;
    }
    m_debounce->start();
}

void KORVA_CustSelect::sendSearch()
{
    guard(u"KORVA_CustSelect.sendSearch", [&] {
        const QString text = m_text->text().trimmed();
        if (text.isEmpty())
            return;
        const UserContext *user = platform().user;
        BrokerRequest request;
        request.setMessageId(messageId());
        request.setVersion(user->versionText());
        request.setKind(kCustomerSearchKind);
        request.setContext(user->contextText());
        request.addParameter(RequestParameter::key(QStringLiteral("TEXT"), text));
        request.addParameter(
            RequestParameter::key(QStringLiteral("LIMIT"), QString::number(kSearchLimit)));
        // Set before sending: a broker may answer within send().
        m_pendingTag = request.readBack();
        setBusy(true);
        m_message->send(request);
    });
}

void KORVA_CustSelect::dataReady(const QString &identity)
{
    guard(u"KORVA_CustSelect.dataReady", [&] {
        const BrokerReply *reply = m_message->reply(identity);
        // An answer to an earlier question, overtaken by what was typed since.
        if (!reply || m_pendingTag.isEmpty() || reply->tag != m_pendingTag)
            return;
        m_pendingTag.clear();
        if (!reply->error.isEmpty()) {
            setBusy(false, tr("The search failed: %1").arg(reply->error));
            return;
        }
        const RecordSetPtr rows = reply->recordSet(QStringLiteral("CUSTOMER"));
        setBusy(false);
        if (rows)
            showFound(*rows);
        else
            m_found->clear();
        m_message->release(identity);
    });
}

void KORVA_CustSelect::showFound(const RecordSet &rows)
{
    const int id = rows.fieldIndex(u"CUST_ID");
    const int name = rows.fieldIndex(u"CUST_NM");
    const int alert = rows.fieldIndex(u"HAS_ALRT");
    if (id < 0 || name < 0)
        raiseError(kErrRecordSet, tr("The customer search answered without CUST_ID or CUST_NM."));
    m_found->clear();
    QList<QTreeWidgetItem *> items;
    items.reserve(rows.count());
    for (int r = 0; r < rows.count(); ++r) {
        const bool alerts = alert >= 0 && rows.textAt(r, alert).trimmed() == u"Y";
        auto *item = new QTreeWidgetItem(
            {rows.textAt(r, name), rows.textAt(r, id), alerts ? tr("Yes") : QString()});
        item->setData(0, IdRole, rows.textAt(r, id).trimmed());
        item->setData(0, NameRole, rows.textAt(r, name).trimmed());
        item->setData(0, AlertRole, alerts);
        items.append(item);
    }
    m_found->addTopLevelItems(items);
    if (!items.isEmpty())
        m_found->setCurrentItem(items.first());
    m_found->resizeColumnToContents(IdColumn);
}

void KORVA_CustSelect::choose(QTreeWidgetItem *item)
{
    if (!item)
        return;
    const QString id = item->data(0, IdRole).toString();
    const QString name = item->data(0, NameRole).toString();
    const bool alerts = item->data(0, AlertRole).toBool();
    m_found->setCurrentItem(item);
    m_text->setText(name);
    m_alertNote->setVisible(alerts);
    if (id == m_customerId && name == m_customerName && alerts == m_alerts)
        return;
    m_customerId = id;
    m_customerName = name;
    m_alerts = alerts;
    emit SelectionChanged();
    emit HasAlerts(alerts);
}

void KORVA_CustSelect::moveHighlight(int step)
{
    const int count = m_found->topLevelItemCount();
    if (count == 0)
        return;
    const int current = m_found->indexOfTopLevelItem(m_found->currentItem());
    const int next = qBound(0, current < 0 ? 0 : current + step, count - 1);
    m_found->setCurrentItem(m_found->topLevelItem(next));
}

void KORVA_CustSelect::setBusy(bool busy, const QString &note)
{
    m_busy->setText(busy || note.isEmpty() ? tr("Searching ...") : note);
    m_busy->setVisible(busy || !note.isEmpty());
}

bool KORVA_CustSelect::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::KeyPress || (watched != m_text && watched != m_found))
        return QWidget::eventFilter(watched, event);
    const auto *key = static_cast<QKeyEvent *>(event);
    switch (key->key()) {
    case Qt::Key_Down:
    case Qt::Key_Up:
        if (watched != m_text)
            break;
        moveHighlight(key->key() == Qt::Key_Down ? 1 : -1);
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // Enter chooses; it must never reach a dialog's default button from here.
        if (m_debounce->isActive()) {
            m_debounce->stop();
            sendSearch();
        } else if (!isBusy()) {
            choose(m_found->currentItem());
        }
        return true;
    default:
        break;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace korva
