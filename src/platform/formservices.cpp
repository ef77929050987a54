#include "formservices.h"

#include "broker.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtDebug>

namespace korva {

void BrokerFormServices::setTemplates(const RecordSetPtr &templates)
{
    m_templates.clear();
    if (!templates)
        return;
    const int id = templates->fieldIndex(u"TMPLT_ID");
    const int path = templates->fieldIndex(u"TMPLT_PATH");
    if (id < 0 || path < 0)
        return;
    for (int r = 0; r < templates->storageCount(); ++r) {
        const QList<QVariant> &row = templates->storageRow(r);
        bool ok = false;
        const int number = row.at(id).toInt(&ok);
        if (ok)
            m_templates.insert(number, row.at(path).toString().trimmed());
    }
}

void BrokerFormServices::setTemplatePath(int templateNumber, const QString &path)
{
    m_templates.insert(templateNumber, path);
}

QString BrokerFormServices::RequestNumber(const QString &kind, const QString &service,
                                          BrokerMessage &message, QStringList &atHand)
{
    // The server issues numbers one request at a time; none are ever held in advance here.
    Q_UNUSED(atHand)
    BrokerRequest request;
    request.setMessageId(service);
    request.setVersion(m_user ? m_user->versionText() : QStringLiteral("1.0"));
    request.setKind(RequestKind::Number);
    request.setContext(m_user ? m_user->contextText() : QString());
    request.addParameter(RequestParameter::key(QStringLiteral("KIND"), kind));
    return message.send(request);
}

namespace {

// Paths in the table may be written with either separator; Qt takes '/' on every desk.
QString normalised(const QString &path)
{
    return QDir::fromNativeSeparators(QString(path).replace(u'\\', u'/'));
}

bool isAbsolutePath(const QString &path)
{
    // "C:/..." and "//server/share/..." are absolute wherever the table was written.
    return QDir::isAbsolutePath(path) || path.startsWith(QLatin1String("//")) ||
           (path.size() > 2 && path.at(0).isLetter() && path.at(1) == u':' && path.at(2) == u'/');
}

} // namespace

QString BrokerFormServices::TemplatePath(int templateNumber) const
{
    const QString path = normalised(m_templates.value(templateNumber).trimmed());
    if (path.isEmpty() || isAbsolutePath(path) || m_dataFolder.isEmpty())
        return path;
    return QDir::cleanPath(QDir(m_dataFolder).filePath(path));
}

QString BrokerFormServices::defaultTemplate(int templateNumber)
{
    const QString resource =
        QStringLiteral(":/korva/templates/template-%1.html").arg(templateNumber);
    return QFileInfo::exists(resource) ? resource : QString();
}

QStringList BrokerFormServices::installDefaultTemplates() const
{
    QStringList written;
    if (m_dataFolder.isEmpty())
        return written;
    for (auto it = m_templates.cbegin(); it != m_templates.cend(); ++it) {
        const QString relative = normalised(it.value().trimmed());
        const QString shipped = defaultTemplate(it.key());
        if (relative.isEmpty() || isAbsolutePath(relative) || shipped.isEmpty())
            continue;
        const QString target = TemplatePath(it.key());
        if (QFileInfo::exists(target))
            continue;
        QDir().mkpath(QFileInfo(target).absolutePath());
        QFile source(shipped);
        QFile out(target);
        if (!source.open(QIODevice::ReadOnly) || !out.open(QIODevice::WriteOnly) ||
            out.write(source.readAll()) < 0) {
            // The print then names the missing file, which says more than a warning here.
            qWarning("The default print template %d could not be installed as %s: %s", it.key(),
                     qPrintable(target), qPrintable(out.errorString()));
            out.remove();
            continue;
        }
        written.append(target);
    }
    return written;
}

} // namespace korva
