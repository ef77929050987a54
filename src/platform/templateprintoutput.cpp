#include "templateprintoutput.h"

#include "errors.h"
#include "platform.h"

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QPainter>
#include <QPrintDialog>
#include <QPrintPreviewDialog>
#include <QPrinter>
#include <QPushButton>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTextDocument>

namespace korva {

namespace {

constexpr qreal kFooterPointSize = 8;

QString fileNameFor(const QString &title)
{
    QString name = title;
    static const QRegularExpression unsafe(QStringLiteral(R"([\\/:*?"<>|]+)"));
    name.replace(unsafe, QStringLiteral(" "));
    name = name.simplified();
    return (name.isEmpty() ? QStringLiteral("Printout") : name) + QStringLiteral(".pdf");
}

} // namespace

void paintPages(const QTextDocument &source, QPrinter &printer)
{
    QPainter painter;
    if (!painter.begin(&printer)) {
        const QString file = printer.outputFileName();
        raiseError(kComponentError,
                   file.isEmpty() ? QStringLiteral("The printer could not be started.")
                                  : QStringLiteral("The file %1 could not be written.").arg(file));
    }
    const std::unique_ptr<QTextDocument> document(source.clone());
    document->documentLayout()->setPaintDevice(&printer);

    QFont footerFont = document->defaultFont();
    footerFont.setPointSizeF(kFooterPointSize);
    const QFontMetricsF footerMetrics(footerFont, &printer);
    const QRectF page = printer.pageLayout().paintRectPixels(printer.resolution());
    // A band of two lines under the text keeps the footer clear of the last line.
    const qreal footerHeight = footerMetrics.lineSpacing() * 2.5;
    const QSizeF body(page.width(), page.height() - footerHeight);
    document->setPageSize(body);
    const int pages = document->pageCount();
    const QString title = document->metaInformation(QTextDocument::DocumentTitle).simplified();

    for (int p = 0; p < pages; ++p) {
        if (p > 0)
            printer.newPage();
        painter.save();
        painter.translate(0, -p * body.height());
        const QRectF clip(0, p * body.height(), body.width(), body.height());
        painter.setClipRect(clip);
        QAbstractTextDocumentLayout::PaintContext context;
        context.clip = clip;
        context.palette.setColor(QPalette::Text, Qt::black);
        document->documentLayout()->draw(&painter, context);
        painter.restore();

        const QRectF footer(0, body.height() + footerMetrics.lineSpacing(), body.width(),
                            footerMetrics.lineSpacing() * 1.5);
        painter.setFont(footerFont);
        painter.setPen(QPen(Qt::gray, 0));
        painter.drawLine(footer.topLeft() - QPointF(0, footerMetrics.lineSpacing() * 0.4),
                         footer.topRight() - QPointF(0, footerMetrics.lineSpacing() * 0.4));
        painter.setPen(Qt::black);
        painter.drawText(footer, Qt::AlignLeft | Qt::AlignTop, title);
        painter.drawText(footer, Qt::AlignRight | Qt::AlignTop,
                         QStringLiteral("Page %1 of %2").arg(p + 1).arg(pages));
    }
    painter.end();
}

void PdfFileOutput::deliver(const QTextDocument &document, const QString &title)
{
    QPrinter printer(QPrinter::HighResolution);
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setOutputFileName(m_path);
    printer.setDocName(title);
    printer.setPdfVersion(QPagedPaintDevice::PdfVersion_1_6);
    paintPages(document, printer);
}

DialogPrintPrompts::DialogPrintPrompts(QString messageTitle)
    : m_title(messageTitle.isEmpty() ? QGuiApplication::applicationDisplayName()
                                     : std::move(messageTitle))
{}

QWidget *DialogPrintPrompts::parentWidget()
{
    return QApplication::activeWindow();
}

PrintChoice DialogPrintPrompts::choose(const QString &title)
{
    QMessageBox box(QMessageBox::Question, m_title,
                    QStringLiteral("What would you like to do with %1?").arg(title),
                    QMessageBox::NoButton, parentWidget());
    QPushButton *preview =
        box.addButton(QStringLiteral("Print Preview..."), QMessageBox::ActionRole);
    QPushButton *print = box.addButton(QStringLiteral("Print..."), QMessageBox::ActionRole);
    QPushButton *pdf = box.addButton(QStringLiteral("Save as PDF..."), QMessageBox::ActionRole);
    box.addButton(QMessageBox::Cancel);
    box.setDefaultButton(preview);
    box.exec();
    if (box.clickedButton() == preview)
        return PrintChoice::Preview;
    if (box.clickedButton() == print)
        return PrintChoice::Print;
    if (box.clickedButton() == pdf)
        return PrintChoice::SavePdf;
    return PrintChoice::Cancel;
}

void DialogPrintPrompts::preview(QPrinter &printer, const std::function<void(QPrinter *)> &paint)
{
    QPrintPreviewDialog dialog(&printer, parentWidget());
    dialog.setWindowTitle(QStringLiteral("Print Preview - %1").arg(printer.docName()));
    QObject::connect(&dialog, &QPrintPreviewDialog::paintRequested, &dialog, paint);
    dialog.exec();
}

bool DialogPrintPrompts::choosePrinter(QPrinter &printer)
{
    QPrintDialog dialog(&printer, parentWidget());
    return dialog.exec() == QDialog::Accepted;
}

QString DialogPrintPrompts::pdfPath(const QString &suggestedName)
{
    QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (folder.isEmpty())
        folder = QDir::homePath();
    QString path = QFileDialog::getSaveFileName(parentWidget(), QStringLiteral("Save as PDF"),
                                                QDir(folder).filePath(suggestedName),
                                                QStringLiteral("PDF files (*.pdf)"));
    if (!path.isEmpty() && QFileInfo(path).suffix().isEmpty())
        path += QStringLiteral(".pdf");
    return path;
}

void DialogPrintPrompts::tell(const QString &text)
{
    platform().messages->msgBox(text, MsgStyle::Critical, m_title);
}

InteractivePrintOutput::InteractivePrintOutput(std::shared_ptr<PrintPrompts> prompts)
    : m_prompts(std::move(prompts))
{}

void InteractivePrintOutput::deliver(const QTextDocument &document, const QString &title)
{
    QPrinter printer(QPrinter::HighResolution);
    printer.setDocName(title);
    // A paint failure inside the preview's own print must not escape through Qt's signal.
    auto paint = [&](QPrinter *target) {
        try {
            paintPages(document, *target);
        } catch (const ProcError &e) {
            m_prompts->tell(e.description());
        }
    };
    switch (m_prompts->choose(title)) {
    case PrintChoice::Preview:
        m_prompts->preview(printer, paint);
        break;
    case PrintChoice::Print:
        if (m_prompts->choosePrinter(printer))
            paint(&printer);
        break;
    case PrintChoice::SavePdf: {
        const QString path = m_prompts->pdfPath(fileNameFor(title));
        if (path.isEmpty())
            break;
        printer.setOutputFormat(QPrinter::PdfFormat);
        printer.setOutputFileName(path);
        paint(&printer);
        break;
    }
    case PrintChoice::Cancel:
        break;
    }
}

} // namespace korva
