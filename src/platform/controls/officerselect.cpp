#include "platform/controls/officerselect.h"

#include "platform/platform.h"

#include <QAbstractListModel>
#include <QApplication>
#include <QDateTime>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QVBoxLayout>

#include <algorithm>

namespace korva {

namespace {

bool isWordBreak(QChar c)
{
    return c.isSpace() || c == u',' || c == u'.' || c == u'-';
}

// Upper-case words between blanks, commas, periods and dashes.
QStringList upperWords(const QString &text)
{
    QStringList words;
    const QString upper = text.toUpper();
    qsizetype start = -1;
    for (qsizetype i = 0; i <= upper.size(); ++i) {
        const bool brk = i == upper.size() || isWordBreak(upper.at(i));
        if (!brk && start < 0)
            start = i;
        else if (brk && start >= 0) {
            words.append(upper.mid(start, i - start));
            start = -1;
        }
    }
    return words;
}

bool activeOn(const OfficerInfo &o, const QDate &day)
{
    return (!o.activeFrom.isValid() || o.activeFrom <= day) &&
           (!o.activeTo.isValid() || o.activeTo >= day);
}

// Until a screen hands over its name rule: "LAST, FIRST M" or "LAST, M".
QString plainName(QString last, QString first, QString middle, QString)
{
    QString name = last.trimmed();
    if (!first.trimmed().isEmpty())
        name += QStringLiteral(", ") + first.trimmed();
    if (!middle.trimmed().isEmpty())
        name += (first.trimmed().isEmpty() ? QStringLiteral(", ") : QStringLiteral(" ")) +
                middle.trimmed();
    return name.toUpper();
}

} // namespace

// OfficerIndex ---------------------------------------------------------------------------

OfficerIndex::OfficerIndex(const QList<OfficerInfo> &officers, const QDate &today,
                           NameFormatter nameOf)
{
    if (!nameOf)
        nameOf = plainName;
    struct Named {
        QString name;
        OfficerInfo officer;
    };
    std::vector<Named> active;
    active.reserve(officers.size());
    for (const OfficerInfo &o : officers) {
        if (activeOn(o, today))
            active.push_back({nameOf(o.lastName.trimmed(), o.firstName.trimmed(),
                                     o.middleName.trimmed(), QString()),
                              o});
    }
    std::stable_sort(active.begin(), active.end(),
                     [](const Named &a, const Named &b) { return a.name < b.name; });

    m_officers.reserve(qsizetype(active.size()));
    m_names.reserve(qsizetype(active.size()));
    m_words.reserve(qsizetype(active.size()));
    for (Named &n : active) {
        const int position = int(m_officers.size());
        // The whole name is a key too, so that "SMITH, J" or "O'BR" find what they spell.
        QStringList words{n.name, QString::number(n.officer.id), n.officer.lastName.toUpper()};
        words += upperWords(n.officer.lastName);
        words += upperWords(n.officer.firstName);
        words += upperWords(n.officer.middleName);
        words.removeDuplicates();
        for (const QString &w : std::as_const(words))
            m_keys.push_back({w, position});
        m_officers.append(std::move(n.officer));
        m_names.append(std::move(n.name));
        m_words.append(std::move(words));
    }
    std::sort(m_keys.begin(), m_keys.end(), [](const Key &a, const Key &b) {
        return a.text < b.text || (a.text == b.text && a.position < b.position);
    });
}

std::pair<std::size_t, std::size_t> OfficerIndex::range(const QString &prefix) const
{
    const auto first = std::lower_bound(m_keys.begin(), m_keys.end(), prefix,
                                        [](const Key &k, const QString &p) { return k.text < p; });
    const auto last = std::partition_point(
        first, m_keys.end(), [&prefix](const Key &k) { return k.text.startsWith(prefix); });
    return {std::size_t(first - m_keys.begin()), std::size_t(last - m_keys.begin())};
}

bool OfficerIndex::hasWordStartingWith(int position, const QString &prefix) const
{
    const QStringList &words = m_words.at(position);
    return std::any_of(words.cbegin(), words.cend(),
                       [&prefix](const QString &w) { return w.startsWith(prefix); });
}

OfficerIndex::Matches OfficerIndex::match(QStringView text, int limit) const
{
    Matches out;
    const QStringList typed = upperWords(text.toString());
    if (typed.isEmpty()) {
        const int n = std::min(limit, size());
        for (int i = 0; i < n; ++i)
            out.positions.append(i);
        out.more = size() > n;
        return out;
    }
    // Scan the keys of the most selective word and test the others on each candidate: the
    // scan ends as soon as one officer more than the limit has been found.
    int narrowest = 0;
    std::pair<std::size_t, std::size_t> keys = range(typed.first());
    for (int w = 1; w < typed.size(); ++w) {
        const auto r = range(typed.at(w));
        if (r.second - r.first < keys.second - keys.first) {
            keys = r;
            narrowest = w;
        }
    }
    for (std::size_t k = keys.first; k < keys.second; ++k) {
        const int position = m_keys[k].position;
        if (out.positions.contains(position))
            continue;
        bool all = true;
        for (int w = 0; w < typed.size() && all; ++w)
            all = w == narrowest || hasWordStartingWith(position, typed.at(w));
        if (!all)
            continue;
        if (out.positions.size() == limit) {
            out.more = true;
            break;
        }
        out.positions.append(position);
    }
    std::sort(out.positions.begin(), out.positions.end());
    return out;
}

// The list model: only the rows shown -------------------------------------------------------

class KORVA_OfficerSelect::MatchModel : public QAbstractListModel {
public:
    using QAbstractListModel::QAbstractListModel;

    void show(std::shared_ptr<const OfficerIndex> index, QList<int> positions)
    {
        beginResetModel();
        m_index = std::move(index);
        m_positions = std::move(positions);
        endResetModel();
    }
    int position(int row) const { return m_positions.at(row); }
    const OfficerIndex *officers() const { return m_index.get(); }

    int rowCount(const QModelIndex &parent = {}) const override
    {
        return parent.isValid() ? 0 : int(m_positions.size());
    }
    QVariant data(const QModelIndex &index, int role) const override
    {
        if (!index.isValid() || index.row() >= m_positions.size())
            return {};
        const int p = m_positions.at(index.row());
        switch (role) {
        case Qt::DisplayRole:
            return QStringLiteral("%1  (%2)")
                .arg(m_index->displayName(p))
                .arg(m_index->officer(p).id);
        case Qt::ToolTipRole:
            return QObject::tr("Officer %1").arg(m_index->officer(p).id);
        default:
            return {};
        }
    }

private:
    std::shared_ptr<const OfficerIndex> m_index;
    QList<int> m_positions;
};

// KORVA_OfficerSelect ---------------------------------------------------------------------

KORVA_OfficerSelect::KORVA_OfficerSelect(QWidget *parent)
    : QWidget(parent)
    , m_text(new QLineEdit(this))
    , m_list(new QListView(this))
    , m_more(new QLabel(this))
    , m_model(new MatchModel(this))
{
    m_text->setObjectName(QStringLiteral("txtOfficer"));
    m_text->setPlaceholderText(tr("Type part of a name or an officer number"));
    m_text->setAccessibleName(tr("Officer name or number"));
    m_text->setClearButtonEnabled(true);
    m_list->setObjectName(QStringLiteral("lstOfficers"));
    m_list->setAccessibleName(tr("Matching officers"));
    m_list->setModel(m_model);
    m_list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_list->setUniformItemSizes(true); // no measuring of every row on a reset
    m_more->setObjectName(QStringLiteral("lblMore"));
    m_more->setText(tr("More officers match; keep typing to narrow the list."));
    m_more->hide();

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_text);
    layout->addWidget(m_list, 1);
    layout->addWidget(m_more);
    setFocusProxy(m_text);

    m_text->installEventFilter(this);
    m_list->installEventFilter(this);
    connect(m_text, &QLineEdit::textEdited, this, &KORVA_OfficerSelect::search);
    connect(m_list, &QListView::clicked, this, &KORVA_OfficerSelect::clicked);
}

KORVA_OfficerSelect::~KORVA_OfficerSelect() = default;

QString KORVA_OfficerSelect::OfficerID() const
{
    return m_picked ? QString::number(m_picked->id) : QString();
}

QString KORVA_OfficerSelect::LastName() const
{
    return m_picked ? m_picked->lastName : QString();
}

QString KORVA_OfficerSelect::FirstName() const
{
    return m_picked ? m_picked->firstName : QString();
}

QString KORVA_OfficerSelect::MiddleInitial() const
{
    return m_picked ? m_picked->middleName : QString();
}

void KORVA_OfficerSelect::reloadOfficers()
{
    m_index.reset();
    ensureIndex();
    search(m_text->text());
}

void KORVA_OfficerSelect::setNameFormatter(OfficerIndex::NameFormatter nameOf)
{
    m_nameOf = nameOf;
    if (m_index)
        reloadOfficers();
}

void KORVA_OfficerSelect::setRowLimit(int limit)
{
    m_limit = std::max(1, limit);
}

int KORVA_OfficerSelect::shownCount() const
{
    return m_model->rowCount();
}

QString KORVA_OfficerSelect::searchText() const
{
    return m_text->text();
}

void KORVA_OfficerSelect::showEvent(QShowEvent *event)
{
    // Built before the first keystroke, and the list is never blank when the picker opens.
    if (!m_index)
        search(m_text->text());
    QWidget::showEvent(event);
}

void KORVA_OfficerSelect::ensureIndex()
{
    if (m_index)
        return;
    const Platform &p = platform();
    const QDate today = p.clock->today();
    m_index = std::make_shared<const OfficerIndex>(p.lookups->searchOfficers(QString(), 0), today,
                                                   m_nameOf);
}

void KORVA_OfficerSelect::search(const QString &text)
{
    ensureIndex();
    OfficerIndex::Matches found = m_index->match(text, m_limit);
    m_model->show(m_index, std::move(found.positions));
    m_more->setVisible(found.more);
    if (m_model->rowCount() > 0)
        m_list->setCurrentIndex(m_model->index(0));
}

void KORVA_OfficerSelect::moveCurrent(int step)
{
    const int rows = m_model->rowCount();
    if (rows == 0)
        return;
    const int current = m_list->currentIndex().isValid() ? m_list->currentIndex().row() : -1;
    const int next = std::clamp(current + step, 0, rows - 1);
    m_list->setCurrentIndex(m_model->index(next));
}

void KORVA_OfficerSelect::clicked(const QModelIndex &index)
{
    // A double-click reaches the list as two clicks; the second is the same choice.
    const QDateTime now = platform().clock->now();
    const bool repeat = index.row() == m_lastClickRow && m_lastClick.isValid() &&
                        m_lastClick.msecsTo(now) < QApplication::doubleClickInterval();
    m_lastClick = now;
    m_lastClickRow = index.row();
    if (!repeat)
        pick(index);
}

void KORVA_OfficerSelect::pick(const QModelIndex &index)
{
    if (!index.isValid() || !m_model->officers())
        return;
    const OfficerIndex &officers = *m_model->officers();
    const int position = m_model->position(index.row());
    m_picked = officers.officer(position);
    m_text->setText(officers.displayName(position));
    emit OfficerSelected();
}

bool KORVA_OfficerSelect::eventFilter(QObject *watched, QEvent *event)
{
    if ((watched == m_text || watched == m_list) && event->type() == QEvent::KeyPress) {
        const auto *key = static_cast<QKeyEvent *>(event);
        switch (key->key()) {
        case Qt::Key_Down:
            if (watched == m_text) {
                moveCurrent(1);
                return true;
            }
            break;
        case Qt::Key_Up:
            if (watched == m_text) {
                moveCurrent(-1);
                return true;
            }
            break;
        case Qt::Key_Return:
        case Qt::Key_Enter: {
            // Taken here, so that Enter chooses an officer rather than the dialog's default.
            if (watched == m_text && m_model->rowCount() == 0)
                search(m_text->text());
            QModelIndex current = m_list->currentIndex();
            if (!current.isValid() && m_model->rowCount() > 0)
                current = m_model->index(0);
            pick(current);
            return true;
        }
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace korva
