#include "signonproblem.h"

#include "startoptions.h"

#include <QStringList>

namespace korva {

namespace {

bool mentions(const QString &text, std::initializer_list<const char *> words)
{
    for (const char *w : words) {
        if (text.contains(QLatin1String(w), Qt::CaseInsensitive))
            return true;
    }
    return false;
}

QString advice(const QString &raw, const StartOptions &o, const QString &where)
{
    const QString url = o.broker;
    // The address itself ("tls://...") says nothing of what went wrong.
    const QString cause = url.isEmpty() ? raw : QString(raw).remove(url);
    const QString ca = QLatin1String(SettingsKey::BrokerCaFile);
    if (mentions(cause, {"certificate authority"}))
        return QStringLiteral("The certificate authority file \"%1\" could not be read. Check "
                              "the setting %2%3: it must name a PEM file this desk can read.")
            .arg(o.brokerCaFile, ca, where);
    if (cause.startsWith(u"The certificate "))
        return QStringLiteral("This desk's certificate \"%1\" or its key \"%2\" could not be "
                              "loaded. Check the settings %3 and %4%5.")
            .arg(o.brokerCertFile, o.brokerKeyFile, QLatin1String(SettingsKey::BrokerCertFile),
                 QLatin1String(SettingsKey::BrokerKeyFile), where);
    if (mentions(cause, {"TLS Required", "secure connection"}) && !url.startsWith(u"tls:"))
        return QStringLiteral("The message bus at %1 accepts only TLS connections. Give a "
                              "tls:// address in the setting %2 (or --broker) and the bus's "
                              "certificate authority in %3%4.")
            .arg(url, QLatin1String(SettingsKey::BrokerUrl), ca, where);
    if (mentions(cause, {"SSL", "TLS", "certificate", "handshake", "x509"})) {
        if (o.brokerCaFile.isEmpty())
            return QStringLiteral("The message bus at %1 could not be trusted: this desk has no "
                                  "certificate authority to check it with. Set %2 to the PEM "
                                  "file of the authority that signed the bus's certificate%3.")
                .arg(url, ca, where);
        return QStringLiteral("The message bus at %1 could not be trusted with the certificate "
                              "authority \"%2\". Check that %3 names the authority that signed "
                              "the bus's certificate, and that the host in %4 (or --broker) is "
                              "the name on that certificate%5.")
            .arg(url, o.brokerCaFile, ca, QLatin1String(SettingsKey::BrokerUrl), where);
    }
    if (mentions(cause, {"Authorization", "Authentication", "Permissions Violation"}))
        return QStringLiteral("The message bus refused this desk's key. Check the settings "
                              "%1 and %2%3; the administrator registers each desk and gives it "
                              "its key.")
            .arg(QLatin1String(SettingsKey::BrokerDesk), QLatin1String(SettingsKey::BrokerSeedFile),
                 where);
    if (mentions(cause, {"could not be reached", "No Server", "Connection refused", "timed out",
                         "Timeout"}))
        return QStringLiteral("Nothing answered at %1. Check the address in the setting %2 (or "
                              "--broker%3) and that the message bus is running.")
            .arg(url, QLatin1String(SettingsKey::BrokerUrl), where);
    if (mentions(cause, {"No broker service is answering"}))
        return QStringLiteral("The message bus at %1 is up, but no broker service is serving "
                              "on it. Ask the administrator to start korva-broker.")
            .arg(url);
    return {};
}

} // namespace

QString explainSignOnProblem(const QString &raw, const StartOptions &options,
                             const QString &settingsFile)
{
    const QString where =
        settingsFile.isEmpty() ? QString() : QStringLiteral(" in %1").arg(settingsFile);
    const QString todo = advice(raw, options, where);
    if (todo.isEmpty())
        return raw;
    return todo + QStringLiteral("\n\n") + raw;
}

} // namespace korva
