#pragma once

#include <QCommandLineParser>
#include <QString>
#include <QStringList>

class QSettings;

namespace korva {

// How the application starts: who signs on, which database, and the demo data.
struct StartOptions {
    static constexpr int kDemoOfficer = 1001;

    int officerId = kDemoOfficer;
    QString connection;           // the server's connection text (SQLite file or postgres://)
    qint64 demoAssignments = 400; // size of a demo database made on first run
    bool rebuildDemo = false;     // replace the database's data by fresh demo data
    int brokerTimeoutMs = 30000;
    QString screenshot; // grab the window to this file once the list is in, then quit
    // The networked service's bus (nats://host:4222); empty for the embedded broker over
    // `connection`. With it the desk holds no database and signs on with a password.
    QString broker;
    QString brokerSubject; // empty: the service's usual subject
    QString brokerCaFile;  // TLS to the bus, from the settings
    QString brokerCertFile;
    QString brokerKeyFile;
    QString brokerDesk;     // this desk's registered name on the bus
    QString brokerSeedFile; // and its bus key, made by korva-broker desk add

    bool networked() const { return !broker.isEmpty(); }

    // An SQLite file in the user's data folder.
    static QString defaultConnection();
};

// The command line over the settings: what the command line names wins, the settings fill
// the rest, and built-in defaults what neither names.
class StartCommandLine {
public:
    StartCommandLine();

    // `arguments` starts with the program name, as QCoreApplication::arguments().
    bool parse(const QStringList &arguments, const QSettings &settings);
    const StartOptions &options() const { return m_options; }
    const QString &errorText() const { return m_error; }
    bool helpRequested() const;
    bool versionRequested() const;
    QString helpText() const;

private:
    bool fail(const QString &text);

    QCommandLineParser m_parser;
    QCommandLineOption m_officer;
    QCommandLineOption m_database;
    QCommandLineOption m_demo;
    QCommandLineOption m_demoSize;
    QCommandLineOption m_timeout;
    QCommandLineOption m_screenshot;
    QCommandLineOption m_broker;
    QCommandLineOption m_desk;
    QCommandLineOption m_deskKey;
    QCommandLineOption m_help;
    QCommandLineOption m_version;
    StartOptions m_options;
    QString m_error;
};

// Settings keys (QSettings of organisation "Korva", application "korva").
namespace SettingsKey {
inline constexpr auto Officer = "signon/officer";
inline constexpr auto Database = "database/connection";
inline constexpr auto DemoSize = "database/demoSize";
inline constexpr auto BrokerTimeout = "broker/timeoutMs";
inline constexpr auto BrokerUrl = "broker/url";
inline constexpr auto BrokerSubject = "broker/subject";
inline constexpr auto BrokerCaFile = "broker/tlsCaFile";
inline constexpr auto BrokerCertFile = "broker/tlsCertFile";
inline constexpr auto BrokerKeyFile = "broker/tlsKeyFile";
inline constexpr auto BrokerDesk = "broker/desk";
inline constexpr auto BrokerSeedFile = "broker/seedFile";
} // namespace SettingsKey

} // namespace korva
