#include "gridheader.h"

#include <QEvent>
#include <QLabel>

namespace korva {

GridHeader::GridHeader(QWidget *parent)
    : QHeaderView(Qt::Horizontal, parent)
    , m_caption(new QLabel(this))
{
    m_caption->setObjectName(QStringLiteral("caption"));
    m_caption->setAlignment(Qt::AlignCenter);
    m_caption->setAutoFillBackground(true);
    m_caption->setBackgroundRole(QPalette::Mid);
    m_caption->setForegroundRole(QPalette::BrightText);
    m_caption->hide();
    setHighlightSections(false);
    setSectionsClickable(false);
}

void GridHeader::setCaption(const QString &caption)
{
    m_caption->setText(caption);
    m_caption->setVisible(!caption.isEmpty());
    setViewportMargins(0, captionHeight(), 0, 0);
    placeCaption();
    updateGeometry();
}

QString GridHeader::caption() const
{
    return m_caption->text();
}

int GridHeader::captionHeight() const
{
    if (m_caption->text().isEmpty())
        return 0;
    return m_caption->fontMetrics().height() + 6;
}

QSize GridHeader::sizeHint() const
{
    QSize size = QHeaderView::sizeHint();
    size.rheight() += captionHeight();
    return size;
}

bool GridHeader::event(QEvent *event)
{
    const bool handled = QHeaderView::event(event);
    if (event->type() == QEvent::FontChange) {
        setViewportMargins(0, captionHeight(), 0, 0);
        updateGeometry();
    }
    if (event->type() == QEvent::Resize || event->type() == QEvent::FontChange)
        placeCaption();
    return handled;
}

void GridHeader::placeCaption()
{
    m_caption->setGeometry(0, 0, width(), captionHeight());
}

} // namespace korva
