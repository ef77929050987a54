// The sign-on dialog driven through its widgets: a refusal keeps it open with the reason and
// an empty password field; a good password closes it with SendOK.
#include "shell/signondialog.h"
#include "shell/signonproblem.h"
#include "shell/startoptions.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace korva;

class TestSignOnDialog : public QObject {
    Q_OBJECT
private slots:
    void refusalKeepsTheDialogOpenAndAGoodPasswordClosesIt();
    void cancelSaysSo();
    void aLongProblemIsShownWhole();
    void connectionTextsSayWhatToDo();
    void brokerOptionExcludesALocalDatabase_data();
    void brokerOptionExcludesALocalDatabase();
    void theDeskIsNamedOnTheCommandLineOrInTheSettings();
};

void TestSignOnDialog::refusalKeepsTheDialogOpenAndAGoodPasswordClosesIt()
{
    QList<std::pair<int, QString>> tries;
    SignOnDialog dialog(
        1001, QStringLiteral("nats://bus:4222"), [&tries](int officer, const QString &password) {
            tries.append({officer, password});
            return password == u"right one" ? QString() : QStringLiteral("Not right.");
        });
    QSignalSpy ok(&dialog, &SignOnDialog::SendOK);
    dialog.show();
    auto *officer = dialog.findChild<QLineEdit *>(QStringLiteral("txtOfficer"));
    auto *password = dialog.findChild<QLineEdit *>(QStringLiteral("txtPassword"));
    auto *button = dialog.findChild<QPushButton *>(QStringLiteral("cmdOK"));
    QVERIFY(officer && password && button);
    QVERIFY(!button->isEnabled()); // nothing to try without a password

    officer->clear();
    QTest::keyClicks(officer, QStringLiteral("1002"));
    QTest::keyClicks(password, QStringLiteral("wrong"));
    QTest::mouseClick(button, Qt::LeftButton);
    QCOMPARE(dialog.findChild<QLabel *>(QStringLiteral("lblProblem"))->text(),
             QStringLiteral("Not right."));
    QVERIFY(password->text().isEmpty());
    QVERIFY(dialog.isVisible());
    QCOMPARE(ok.count(), 0);

    QTest::keyClicks(password, QStringLiteral("right one"));
    QTest::keyClick(password, Qt::Key_Return);
    QCOMPARE(ok.count(), 1);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(tries, (QList<std::pair<int, QString>>{{1002, QStringLiteral("wrong")},
                                                    {1002, QStringLiteral("right one")}}));
}

void TestSignOnDialog::cancelSaysSo()
{
    bool tried = false;
    SignOnDialog dialog(1001, QString(), [&tried](int, const QString &) {
        tried = true;
        return QString();
    });
    QSignalSpy cancel(&dialog, &SignOnDialog::SendCancel);
    dialog.show();
    QTest::mouseClick(dialog.findChild<QPushButton *>(QStringLiteral("cmdCancel")), Qt::LeftButton);
    QCOMPARE(cancel.count(), 1);
    QVERIFY(!tried);
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
}

void TestSignOnDialog::aLongProblemIsShownWhole()
{
    const QString path = QStringLiteral("/etc/korva/very/deeply/nested/folder/of/the/desk/"
                                        "certificates/issued/by/the/office/authority/ca.pem");
    const QString problem = QStringLiteral("The certificate authority file \"%1\" could not be "
                                           "read. Check the setting broker/tlsCaFile: it must "
                                           "name a PEM file this desk can read.")
                                .arg(path)
                                .repeated(3);
    SignOnDialog dialog(1001, QStringLiteral("tls://bus:4222"),
                        [&](int, const QString &) { return problem; });
    dialog.show();
    const int width = dialog.width();
    QTest::keyClicks(dialog.findChild<QLineEdit *>(QStringLiteral("txtPassword")),
                     QStringLiteral("x"));
    QTest::mouseClick(dialog.findChild<QPushButton *>(QStringLiteral("cmdOK")), Qt::LeftButton);
    auto *label = dialog.findChild<QLabel *>(QStringLiteral("lblProblem"));
    QCOMPARE(dialog.width(), width); // wrapped, the path too, not widened
    QVERIFY(label->height() >= label->heightForWidth(label->width()));
    QVERIFY(dialog.rect().contains(label->geometry()));
    QCOMPARE(label->accessibleDescription(), problem);
}

void TestSignOnDialog::connectionTextsSayWhatToDo()
{
    StartOptions o;
    o.broker = QStringLiteral("tls://bus:4222");
    o.brokerCaFile = QStringLiteral("/etc/korva/ca.pem");
    const QString file = QStringLiteral("/home/officer/.config/Korva/korva.conf");
    const QString handshake = QStringLiteral("The message bus at tls://bus:4222 could not be "
                                             "reached: SSL Error (SSL handshake failure: "
                                             "certificate verify failed).");
    const QString told = explainSignOnProblem(handshake, o, file);
    QVERIFY2(told.contains(u"broker/tlsCaFile") && told.contains(o.brokerCaFile) &&
                 told.contains(file) && told.endsWith(handshake),
             qPrintable(told));
    QVERIFY(explainSignOnProblem(QStringLiteral("The message bus at tls://bus:4222 could not be "
                                                "reached: Authorization Violation (x)."),
                                 o, file)
                .contains(u"broker/desk (the desk's name) and broker/seedFile"));
    QVERIFY(explainSignOnProblem(QStringLiteral("The message bus at tls://bus:4222 could not be "
                                                "reached: No Server Available (x)."),
                                 o, file)
                .startsWith(u"Nothing answered at tls://bus:4222. Check the address in the "
                            u"setting broker/url"));
    // A refusal of the service's is already in the officer's words.
    const QString refused = QStringLiteral("The officer number or the password is not right.");
    QCOMPARE(explainSignOnProblem(refused, o, file), refused);
}

void TestSignOnDialog::brokerOptionExcludesALocalDatabase_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<QString>("broker");
    QTest::newRow("bus") << QStringList{QStringLiteral("--broker"),
                                        QStringLiteral("nats://bus:4222")}
                         << true << QStringLiteral("nats://bus:4222");
    QTest::newRow("tls bus") << QStringList{QStringLiteral("--broker"),
                                            QStringLiteral("tls://bus:4222")}
                             << true << QStringLiteral("tls://bus:4222");
    QTest::newRow("not a bus") << QStringList{QStringLiteral("--broker"),
                                              QStringLiteral("http://bus")}
                               << false << QString();
    QTest::newRow("with a database")
        << QStringList{QStringLiteral("--broker"), QStringLiteral("nats://bus:4222"),
                       QStringLiteral("--db"), QStringLiteral("/tmp/x.db")}
        << false << QString();
    QTest::newRow("embedded") << QStringList{} << true << QString();
    QTest::newRow("desk without a bus")
        << QStringList{QStringLiteral("--desk"), QStringLiteral("desk-1")} << false << QString();
}

void TestSignOnDialog::brokerOptionExcludesALocalDatabase()
{
    QFETCH(QStringList, arguments);
    QFETCH(bool, accepted);
    QFETCH(QString, broker);
    QTemporaryDir dir;
    const QSettings settings(dir.filePath(QStringLiteral("s.ini")), QSettings::IniFormat);
    StartCommandLine commandLine;
    QCOMPARE(commandLine.parse(QStringList{QStringLiteral("korva")} + arguments, settings),
             accepted);
    if (accepted) {
        QCOMPARE(commandLine.options().broker, broker);
        QCOMPARE(commandLine.options().networked(), !broker.isEmpty());
    }
}

void TestSignOnDialog::theDeskIsNamedOnTheCommandLineOrInTheSettings()
{
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("s.ini")), QSettings::IniFormat);
    settings.setValue(QStringLiteral("broker/desk"), QStringLiteral("desk-9"));
    settings.setValue(QStringLiteral("broker/seedFile"), QStringLiteral("/etc/korva/desk-9.nk"));
    const QStringList bus{QStringLiteral("korva"), QStringLiteral("--broker"),
                          QStringLiteral("nats://bus:4222")};
    StartCommandLine commandLine;
    QVERIFY(commandLine.parse(bus, settings));
    QCOMPARE(commandLine.options().brokerDesk, QStringLiteral("desk-9"));
    QVERIFY(commandLine.parse(bus + QStringList{QStringLiteral("--desk"), QStringLiteral("desk-1"),
                                                QStringLiteral("--desk-key"),
                                                QStringLiteral("/home/o/desk-1.nk")},
                              settings));
    QCOMPARE(commandLine.options().brokerDesk, QStringLiteral("desk-1"));
    QCOMPARE(commandLine.options().brokerSeedFile, QStringLiteral("/home/o/desk-1.nk"));
}

QTEST_MAIN(TestSignOnDialog)
#include "tst_signondialog.moc"
