#include "templateprint.h"

#include "errors.h"
#include "templateprintoutput.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTextDocument>
#include <QUrl>
#include <QXmlStreamReader>

namespace korva {

namespace {

const QRegularExpression &placeholderPattern()
{
    static const QRegularExpression pattern(QStringLiteral(R"(\{\{\s*([^{}\s]+)\s*\}\})"));
    return pattern;
}

// Placeholders inside <!-- --> are left alone, so an administrator can comment out a part of
// a template, or write about placeholders in it, without the print data having to match.
QList<QRegularExpressionMatch> placeholders(const QString &templateText)
{
    QList<QRegularExpressionMatch> found;
    auto it = placeholderPattern().globalMatch(templateText);
    qsizetype commentEnd = -1;
    while (it.hasNext()) {
        QRegularExpressionMatch m = it.next();
        const qsizetype at = m.capturedStart();
        if (at < commentEnd)
            continue;
        const qsizetype open = templateText.lastIndexOf(QLatin1String("<!--"), at);
        if (open >= 0) {
            const qsizetype close = templateText.indexOf(QLatin1String("-->"), open + 4);
            if (close < 0 || close > at) {
                commentEnd = close < 0 ? templateText.size() : close;
                continue;
            }
        }
        found.append(std::move(m));
    }
    return found;
}

[[noreturn]] void refuse(const QString &text)
{
    raiseError(kComponentError, text);
}

QString escapeValue(const QString &value)
{
    QString html = value.toHtmlEscaped();
    html.replace(u'\'', QLatin1String("&#39;"));
    html.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    html.replace(u'\r', u'\n');
    html.replace(QLatin1String("\n"), QLatin1String("<br/>"));
    return html;
}

} // namespace

bool PrintData::has(const QString &name) const
{
    return std::any_of(values.begin(), values.end(),
                       [&](const auto &v) { return v.first == name; });
}

QString PrintData::value(const QString &name) const
{
    for (const auto &v : values) {
        if (v.first == name)
            return v.second;
    }
    return {};
}

PrintData readPrintData(const QString &xml)
{
    PrintData data;
    QXmlStreamReader reader(xml);
    if (!reader.readNextStartElement())
        refuse(
            QStringLiteral("The print data is not an XML document: %1").arg(reader.errorString()));
    data.rootName = reader.name().toString();
    while (reader.readNextStartElement()) {
        const QString name = reader.name().toString();
        // Elements nested deeper are not values of their own; their text joins the parent's.
        const QString text = reader.readElementText(QXmlStreamReader::IncludeChildElements);
        data.values.append({name, text});
    }
    while (!reader.atEnd() && !reader.hasError())
        reader.readNext();
    if (reader.hasError())
        refuse(QStringLiteral("The print data is not well-formed XML (line %1): %2")
                   .arg(reader.lineNumber())
                   .arg(reader.errorString()));
    return data;
}

QString readTemplateFile(const QString &path)
{
    if (path.trimmed().isEmpty())
        refuse(QStringLiteral("No print template file was given."));
    const QFileInfo info(path);
    if (!info.exists())
        refuse(QStringLiteral("The print template file %1 does not exist.").arg(path));
    QFile file(path);
    if (!info.isFile() || !file.open(QIODevice::ReadOnly))
        refuse(QStringLiteral("The print template file %1 cannot be read: %2")
                   .arg(path, info.isFile() ? file.errorString() : QStringLiteral("not a file")));
    return QString::fromUtf8(file.readAll());
}

QStringList templatePlaceholders(const QString &templateText)
{
    QStringList names;
    for (const QRegularExpressionMatch &m : placeholders(templateText)) {
        const QString name = m.captured(1);
        if (!names.contains(name))
            names.append(name);
    }
    return names;
}

QString mergeTemplate(const QString &templateText, const PrintData &data,
                      const QString &templateName)
{
    QStringList unknown;
    for (const QString &name : templatePlaceholders(templateText)) {
        if (!data.has(name))
            unknown.append(QStringLiteral("{{%1}}").arg(name));
    }
    if (unknown.size() == 1)
        refuse(QStringLiteral("The print template %1 uses the placeholder %2, which is not an "
                              "element of the print data.")
                   .arg(templateName, unknown.first()));
    if (!unknown.isEmpty())
        refuse(QStringLiteral("The print template %1 uses the placeholders %2, which are not "
                              "elements of the print data.")
                   .arg(templateName, unknown.join(QStringLiteral(", "))));

    QString merged;
    merged.reserve(templateText.size() + 1024);
    qsizetype from = 0;
    for (const QRegularExpressionMatch &m : placeholders(templateText)) {
        merged += QStringView(templateText).mid(from, m.capturedStart() - from);
        merged += escapeValue(data.value(m.captured(1)));
        from = m.capturedEnd();
    }
    merged += QStringView(templateText).mid(from);
    return merged;
}

std::unique_ptr<QTextDocument> layoutDocument(const QString &html, const QString &templatePath)
{
    auto document = std::make_unique<QTextDocument>();
    if (!templatePath.isEmpty())
        document->setBaseUrl(QUrl::fromLocalFile(QFileInfo(templatePath).absolutePath() + u'/'));
    QFont font = document->defaultFont();
    font.setPointSizeF(10);
    document->setDefaultFont(font);
    document->setHtml(html);
    return document;
}

TemplatePrintJob::TemplatePrintJob(std::shared_ptr<PrintOutput> output)
    : m_output(std::move(output))
{}

void TemplatePrintJob::setTemplatePath(const QString &path)
{
    m_hasTemplate = false;
    m_template = readTemplateFile(path);
    m_path = path;
    m_hasTemplate = true;
    if (m_data)
        mergeTemplate(m_template, merged(), m_path);
}

void TemplatePrintJob::setXml(const QString &xml)
{
    m_data.reset();
    m_data = readPrintData(xml);
    if (m_hasTemplate)
        mergeTemplate(m_template, merged(), m_path);
}

void TemplatePrintJob::setExtraValue(const QString &name, const QString &value)
{
    m_extra.append({name, value});
}

PrintData TemplatePrintJob::merged() const
{
    PrintData data = *m_data;
    data.values += m_extra;
    return data;
}

QString TemplatePrintJob::mergedHtml() const
{
    if (m_closed)
        refuse(QStringLiteral("The print object is closed."));
    if (!m_hasTemplate)
        refuse(QStringLiteral("No print template file was given."));
    if (!m_data)
        refuse(QStringLiteral("No print data was given."));
    return mergeTemplate(m_template, merged(), m_path);
}

void TemplatePrintJob::print()
{
    const QString html = mergedHtml();
    const std::unique_ptr<QTextDocument> document = layoutDocument(html, m_path);
    QString title = document->metaInformation(QTextDocument::DocumentTitle).simplified();
    if (title.isEmpty())
        title = QFileInfo(m_path).completeBaseName();
    if (!m_output)
        refuse(QStringLiteral("No printer is set up for printing."));
    m_output->deliver(*document, title);
}

void TemplatePrintJob::close()
{
    m_closed = true;
    m_template.clear();
    m_data.reset();
    m_hasTemplate = false;
}

QtTemplatePrinting::QtTemplatePrinting(std::shared_ptr<PrintOutput> output)
    : m_output(
          output ? std::move(output)
                 : std::make_shared<InteractivePrintOutput>(std::make_shared<DialogPrintPrompts>()))
{}

std::unique_ptr<TemplatePrintObject> QtTemplatePrinting::CreatePrintObject()
{
    return std::make_unique<TemplatePrintJob>(m_output);
}

} // namespace korva
