#pragma once

#include "platform/services.h"

#include <QDate>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QWidget>

#include <memory>
#include <optional>
#include <vector>

class QLabel;
class QLineEdit;
class QListView;
class QModelIndex;

namespace korva {

// The active officers, sorted by display name, with every word of a name and the officer
// number kept in one sorted list of keys: a typed prefix is found by binary search, so a
// keystroke costs the search plus the rows it returns, whatever the number of officers.
class OfficerIndex {
public:
    // How a screen writes an officer's name: last, first, middle name and suffix.
    using NameFormatter = QString (*)(QString, QString, QString, QString);

    OfficerIndex() = default;
    // Officers inactive on `today` are left out.
    OfficerIndex(const QList<OfficerInfo> &officers, const QDate &today,
                 NameFormatter nameOf = nullptr);

    int size() const { return int(m_officers.size()); }
    const OfficerInfo &officer(int position) const { return m_officers.at(position); }
    const QString &displayName(int position) const { return m_names.at(position); }

    struct Matches {
        QList<int> positions; // in display-name order
        bool more = false;    // further officers match beyond the limit
    };
    // Officers having, for every typed word, a name word or number that starts with it.
    // Empty text lists the first officers by name.
    Matches match(QStringView text, int limit) const;

private:
    struct Key {
        QString text; // upper case
        int position;
    };
    std::pair<std::size_t, std::size_t> range(const QString &prefix) const;
    bool hasWordStartingWith(int position, const QString &prefix) const;

    QList<OfficerInfo> m_officers;
    QList<QString> m_names;     // each officer's display name
    QList<QStringList> m_words; // each officer's upper-case keys
    std::vector<Key> m_keys;    // sorted by text
};

// Picks one active officer by part of a name or an officer number: type, then choose with
// Up/Down and Enter or with the mouse.
class KORVA_OfficerSelect : public QWidget {
    Q_OBJECT
public:
    explicit KORVA_OfficerSelect(QWidget *parent = nullptr);
    ~KORVA_OfficerSelect() override;

    QString OfficerID() const; // decimal text of the picked officer's id; empty if none
    QString LastName() const;
    QString FirstName() const;
    QString MiddleInitial() const;

    // The officers are read once, when first needed; this reads them again (after a new
    // sign-on, for example).
    void reloadOfficers();
    // The screens' own name rule (ProperName); the control library does not know it.
    void setNameFormatter(OfficerIndex::NameFormatter nameOf);
    void setRowLimit(int limit);
    int shownCount() const;
    QString searchText() const;

signals:
    void OfficerSelected();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    void search(const QString &text);
    void ensureIndex();
    void moveCurrent(int step);
    void clicked(const QModelIndex &index);
    void pick(const QModelIndex &index);

    class MatchModel;
    QLineEdit *m_text;
    QListView *m_list;
    QLabel *m_more;
    MatchModel *m_model;
    std::shared_ptr<const OfficerIndex> m_index;
    std::optional<OfficerInfo> m_picked;
    OfficerIndex::NameFormatter m_nameOf = nullptr;
    int m_limit = 50;
    QDateTime m_lastClick; // by the clock service
    int m_lastClickRow = -1;
};

} // namespace korva
