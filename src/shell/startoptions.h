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
} // namespace SettingsKey

} // namespace korva
