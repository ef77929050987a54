#include "spellcheckdialog.h"

#include "spellchecksession.h"

#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTextEdit>
#include <QVBoxLayout>

namespace korva {

namespace {

constexpr qsizetype kContextRadius = 60;

QPushButton *commandButton(const QString &text, const char *name, QWidget *parent)
{
    auto *button = new QPushButton(text, parent);
    button->setObjectName(QLatin1String(name));
    button->setAutoDefault(false);
    return button;
}

} // namespace

SpellCheckDialog::SpellCheckDialog(SpellingSession &session, QWidget *parent)
    : QDialog(parent)
    , m_session(session)
{
    setObjectName(QStringLiteral("SpellCheckDialog"));
    setWindowTitle(QStringLiteral("Spelling"));

    m_context = new QTextEdit(this);
    m_context->setObjectName(QStringLiteral("txtContext"));
    m_context->setReadOnly(true);
    m_context->setFixedHeight(m_context->fontMetrics().lineSpacing() * 4);
    m_changeTo = new QLineEdit(this);
    m_changeTo->setObjectName(QStringLiteral("txtChangeTo"));
    m_suggestions = new QListWidget(this);
    m_suggestions->setObjectName(QStringLiteral("lstSuggestions"));

    m_change = commandButton(QStringLiteral("&Change"), "cmdChange", this);
    m_changeAll = commandButton(QStringLiteral("Change A&ll"), "cmdChangeAll", this);
    auto *ignore = commandButton(QStringLiteral("&Ignore"), "cmdIgnore", this);
    auto *ignoreAll = commandButton(QStringLiteral("I&gnore All"), "cmdIgnoreAll", this);
    auto *add = commandButton(QStringLiteral("&Add"), "cmdAdd", this);
    auto *cancel = commandButton(QStringLiteral("Cancel"), "cmdCancel", this);
    m_change->setDefault(true);

    auto *grid = new QGridLayout(this);
    grid->addWidget(new QLabel(QStringLiteral("Not in dictionary:"), this), 0, 0, 1, 2);
    grid->addWidget(m_context, 1, 0, 1, 2);
    grid->addWidget(new QLabel(QStringLiteral("Change to:"), this), 2, 0);
    grid->addWidget(m_changeTo, 2, 1);
    grid->addWidget(new QLabel(QStringLiteral("Suggestions:"), this), 3, 0, Qt::AlignTop);
    grid->addWidget(m_suggestions, 3, 1);
    auto *buttons = new QVBoxLayout;
    for (QPushButton *b : {ignore, ignoreAll, add, m_change, m_changeAll})
        buttons->addWidget(b);
    buttons->addStretch();
    buttons->addWidget(cancel);
    grid->addLayout(buttons, 0, 2, 4, 1);

    connect(m_suggestions, &QListWidget::currentTextChanged, m_changeTo, &QLineEdit::setText);
    connect(m_suggestions, &QListWidget::itemDoubleClicked, this,
            [this] { step(m_session.change(replacement())); });
    connect(m_changeTo, &QLineEdit::textChanged, this, [this](const QString &text) {
        m_change->setEnabled(!text.trimmed().isEmpty());
        m_changeAll->setEnabled(!text.trimmed().isEmpty());
    });
    connect(m_change, &QPushButton::clicked, this,
            [this] { step(m_session.change(replacement())); });
    connect(m_changeAll, &QPushButton::clicked, this,
            [this] { step(m_session.changeAll(replacement())); });
    connect(ignore, &QPushButton::clicked, this, [this] { step(m_session.ignore()); });
    connect(ignoreAll, &QPushButton::clicked, this, [this] { step(m_session.ignoreAll()); });
    connect(add, &QPushButton::clicked, this, [this] { step(m_session.add()); });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    showWord();
}

QString SpellCheckDialog::replacement() const
{
    return m_changeTo->text().trimmed();
}

void SpellCheckDialog::step(bool more)
{
    if (more)
        showWord();
    else
        accept();
}

void SpellCheckDialog::showWord()
{
    qsizetype start = 0;
    const QString line = m_session.context(kContextRadius, &start);
    const qsizetype length = m_session.word().size();
    m_context->setHtml(line.left(start).toHtmlEscaped() +
                       QStringLiteral("<b><span style=\"color:#c00000\">") +
                       line.mid(start, length).toHtmlEscaped() + QStringLiteral("</span></b>") +
                       line.mid(start + length).toHtmlEscaped());

    const QStringList suggestions = m_session.suggestions();
    m_suggestions->clear();
    m_suggestions->addItems(suggestions);
    if (suggestions.isEmpty()) {
        m_changeTo->setText(m_session.word());
        m_changeTo->setFocus();
    } else {
        m_suggestions->setCurrentRow(0);
        m_suggestions->setFocus();
    }
}

} // namespace korva
