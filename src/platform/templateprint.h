#pragma once

#include "services.h"

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

class QTextDocument;

namespace korva {

class PrintOutput;

// The values of a print data document: the root's child elements, by name, in their order.
struct PrintData {
    QString rootName;
    QList<QPair<QString, QString>> values;

    bool has(const QString &name) const;
    QString value(const QString &name) const; // the first element of that name
};

// Each of these throws ProcError with a text for the user when it cannot be done.
PrintData readPrintData(const QString &xml);
QString readTemplateFile(const QString &path);
// The distinct {{NAME}} placeholders of a template, in order of first use.
QStringList templatePlaceholders(const QString &templateText);
// Every placeholder replaced by its element's text, HTML-escaped, line breaks kept. A
// placeholder without an element is refused rather than printed blank: a misspelt name in an
// edited template would otherwise drop a value from every printout unnoticed.
QString mergeTemplate(const QString &templateText, const PrintData &data,
                      const QString &templateName);

// A merged template laid out for paper: the template's folder is the base for its images,
// and its <title> names the printout.
std::unique_ptr<QTextDocument> layoutDocument(const QString &html, const QString &templatePath);

// The template print object: reads the template when given its path and the XML when given
// that, so a bad template or bad data is refused before anything reaches paper.
class TemplatePrintJob : public TemplatePrintObject {
public:
    explicit TemplatePrintJob(std::shared_ptr<PrintOutput> output);

    void setTemplatePath(const QString &path) override;
    void setXml(const QString &xml) override;
    void setExtraValue(const QString &name, const QString &value) override;
    void print() override;
    void close() override;

    // The template with the data merged in; throws as print() does when either is missing.
    QString mergedHtml() const;

private:
    PrintData merged() const; // the data's elements first, then the extra values

    std::shared_ptr<PrintOutput> m_output;
    QList<QPair<QString, QString>> m_extra;
    QString m_path;
    QString m_template;
    std::optional<PrintData> m_data;
    bool m_hasTemplate = false;
    bool m_closed = false;
};

class QtTemplatePrinting : public TemplatePrinting {
public:
    // With no output given, each print asks the user: preview, print or save as PDF.
    explicit QtTemplatePrinting(std::shared_ptr<PrintOutput> output = {});
    std::unique_ptr<TemplatePrintObject> CreatePrintObject() override;

private:
    std::shared_ptr<PrintOutput> m_output;
};

} // namespace korva
