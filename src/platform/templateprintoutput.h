#pragma once

#include <QString>

#include <functional>
#include <memory>

class QPrinter;
class QTextDocument;
class QWidget;

namespace korva {

// Lays the document out on the printer's pages with a footer of the title and "Page N of M".
// Throws ProcError when the printer cannot be painted on (for example, an unwritable file).
void paintPages(const QTextDocument &document, QPrinter &printer);

// Where a laid-out printout goes.
class PrintOutput {
public:
    virtual ~PrintOutput() = default;
    virtual void deliver(const QTextDocument &document, const QString &title) = 0;
};

// Straight to a PDF file, no questions asked.
class PdfFileOutput : public PrintOutput {
public:
    explicit PdfFileOutput(QString path)
        : m_path(std::move(path))
    {}
    void deliver(const QTextDocument &document, const QString &title) override;

private:
    QString m_path;
};

enum class PrintChoice { Preview, Print, SavePdf, Cancel };

// The modal pieces of printing, so that a test can answer them.
class PrintPrompts {
public:
    virtual ~PrintPrompts() = default;
    virtual PrintChoice choose(const QString &title) = 0;
    // Shows the pages that `paint` draws; the preview's own print button prints them.
    virtual void preview(QPrinter &printer, const std::function<void(QPrinter *)> &paint) = 0;
    // The system's print dialog; false when the user cancelled it.
    virtual bool choosePrinter(QPrinter &printer) = 0;
    // The PDF file to write; empty when the user cancelled.
    virtual QString pdfPath(const QString &suggestedName) = 0;
    virtual void tell(const QString &text) = 0;
};

// The real prompts: a small chooser, Qt's print preview and print dialogs, a file dialog.
class DialogPrintPrompts : public PrintPrompts {
public:
    // Messages carry the application's title (its display name when empty).
    explicit DialogPrintPrompts(QString messageTitle = {});
    PrintChoice choose(const QString &title) override;
    void preview(QPrinter &printer, const std::function<void(QPrinter *)> &paint) override;
    bool choosePrinter(QPrinter &printer) override;
    QString pdfPath(const QString &suggestedName) override;
    void tell(const QString &text) override;

private:
    static QWidget *parentWidget();
    QString m_title;
};

// Asks the user what to do with the printout and does it. A failure to write the chosen PDF
// is told to the user here: callers of print ignore its errors.
class InteractivePrintOutput : public PrintOutput {
public:
    explicit InteractivePrintOutput(std::shared_ptr<PrintPrompts> prompts);
    void deliver(const QTextDocument &document, const QString &title) override;

private:
    std::shared_ptr<PrintPrompts> m_prompts;
};

} // namespace korva
