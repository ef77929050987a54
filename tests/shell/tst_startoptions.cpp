#include "shell/startoptions.h"
#include "test_main.h"

#include <QSettings>
#include <QTemporaryDir>

using namespace korva;

class TestStartOptions : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;

    std::unique_ptr<QSettings> settings(const QHash<const char *, QVariant> &values = {})
    {
        static int n = 0;
        auto s = std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("s%1.ini").arg(++n)),
                                             QSettings::IniFormat);
        for (auto it = values.cbegin(); it != values.cend(); ++it)
            s->setValue(QString::fromLatin1(it.key()), it.value());
        return s;
    }

    static QStringList args(std::initializer_list<const char *> list)
    {
        QStringList out{QStringLiteral("korva")};
        for (const char *a : list)
            out.append(QString::fromUtf8(a));
        return out;
    }

private slots:
    void withNothingGivenTheDemoOfficerUsesTheDemoFile()
    {
        StartCommandLine cl;
        QVERIFY2(cl.parse(args({}), *settings()), qPrintable(cl.errorText()));
        QCOMPARE(cl.options().officerId, 1001);
        QVERIFY(cl.options().connection.startsWith(u"sqlite:"));
        QVERIFY(cl.options().connection.endsWith(u"/korva-demo.db"));
        QCOMPARE(cl.options().demoAssignments, 400);
        QCOMPARE(cl.options().brokerTimeoutMs, 30000);
        QVERIFY(!cl.options().rebuildDemo);
        QVERIFY(cl.options().screenshot.isEmpty());
        QVERIFY(!cl.helpRequested());
    }

    void commandLineWinsAndSettingsFillTheRest()
    {
        auto s = settings({{SettingsKey::Officer, 1003},
                           {SettingsKey::Database, QStringLiteral("sqlite:/srv/korva.db")},
                           {SettingsKey::BrokerTimeout, 5000},
                           {SettingsKey::DemoSize, 50}});
        StartCommandLine fromSettings;
        QVERIFY(fromSettings.parse(args({}), *s));
        QCOMPARE(fromSettings.options().officerId, 1003);
        QCOMPARE(fromSettings.options().connection, QStringLiteral("sqlite:/srv/korva.db"));
        QCOMPARE(fromSettings.options().brokerTimeoutMs, 5000);
        QCOMPARE(fromSettings.options().demoAssignments, 50);

        StartCommandLine cl;
        QVERIFY(cl.parse(args({"--officer", "1002", "--db", "postgres://u@h/korva", "--demo",
                               "--screenshot", "/tmp/x.png", "--timeout", "750"}),
                         *s));
        QCOMPARE(cl.options().officerId, 1002);
        QCOMPARE(cl.options().connection, QStringLiteral("postgres://u@h/korva"));
        QCOMPARE(cl.options().brokerTimeoutMs, 750);
        QCOMPARE(cl.options().demoAssignments, 50);
        QVERIFY(cl.options().rebuildDemo);
        QCOMPARE(cl.options().screenshot, QStringLiteral("/tmp/x.png"));
    }

    void unusableValuesAreRefusedWithAReason_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("settingsOfficer");
        QTest::addColumn<QString>("mentions");
        QTest::newRow("officer not a number")
            << args({"--officer", "abc"}) << QString() << QStringLiteral("abc");
        QTest::newRow("officer zero")
            << args({"--officer", "0"}) << QString() << QStringLiteral("\"0\"");
        // The document holds the officer in 16 bits.
        QTest::newRow("officer past 16 bits")
            << args({"--officer", "32768"}) << QString() << QStringLiteral("32767");
        QTest::newRow("officer from settings")
            << args({}) << QStringLiteral("x1") << QStringLiteral("x1");
        QTest::newRow("empty db") << args({"--db", " "}) << QString() << QStringLiteral("--db");
        QTest::newRow("timeout zero")
            << args({"--timeout", "0"}) << QString() << QStringLiteral("time-out");
        QTest::newRow("negative demo size")
            << args({"--demo-size", "-1"}) << QString() << QStringLiteral("-1");
        QTest::newRow("stray argument") << args({"1001"}) << QString() << QStringLiteral("1001");
        QTest::newRow("unknown option")
            << args({"--officr", "1"}) << QString() << QStringLiteral("officr");
        QTest::newRow("missing value")
            << args({"--officer"}) << QString() << QStringLiteral("officer");
    }
    void unusableValuesAreRefusedWithAReason()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, settingsOfficer);
        QFETCH(QString, mentions);
        QHash<const char *, QVariant> values;
        if (!settingsOfficer.isEmpty())
            values.insert(SettingsKey::Officer, settingsOfficer);
        StartCommandLine cl;
        QVERIFY(!cl.parse(arguments, *settings(values)));
        QVERIFY2(cl.errorText().contains(mentions), qPrintable(cl.errorText()));
    }

    void largestSixteenBitOfficerIsAccepted()
    {
        StartCommandLine cl;
        QVERIFY(cl.parse(args({"--officer", " 32767 "}), *settings()));
        QCOMPARE(cl.options().officerId, 32767);
    }

    void helpAndVersionAreRecognised()
    {
        StartCommandLine help;
        QVERIFY(help.parse(args({"-h"}), *settings()));
        QVERIFY(help.helpRequested());
        for (const char *option : {"--officer", "--db", "--demo", "--demo-size", "--timeout",
                                   "--screenshot", "--version"})
            QVERIFY2(help.helpText().contains(QLatin1String(option)), option);
        StartCommandLine version;
        QVERIFY(version.parse(args({"--version"}), *settings()));
        QVERIFY(version.versionRequested());
    }
};

KORVA_TEST_MAIN(TestStartOptions)
#include "tst_startoptions.moc"
