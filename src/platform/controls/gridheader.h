#pragma once

#include <QHeaderView>

class QLabel;

namespace korva {

// The column headings of a DataGrid with the grid's caption as a band above them. The band
// lives inside the heading's own margin, so the table lays out headings and rows as usual.
class GridHeader : public QHeaderView {
    Q_OBJECT
public:
    explicit GridHeader(QWidget *parent);

    void setCaption(const QString &caption);
    QString caption() const;
    int captionHeight() const;

    QSize sizeHint() const override;

protected:
    bool event(QEvent *event) override;

private:
    void placeCaption();

    QLabel *m_caption;
};

} // namespace korva
