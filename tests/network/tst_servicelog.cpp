// The service's journal: one line per request that says who, what, how it ended and how long
// it took, and nothing a desk sent.
#include "natsfixture.h"

#include <server/auth.h>

#include <QMutex>
#include <QRegularExpression>
#include <QScopeGuard>

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;
using namespace korva::network::test;

namespace {

QMutex g_linesLock;
QStringList g_lines;

void keepServiceLines(QtMsgType, const QMessageLogContext &context, const QString &message)
{
    if (qstrcmp(context.category, "korva.service") != 0)
        return;
    const QMutexLocker lock(&g_linesLock);
    g_lines.append(message);
}

} // namespace

class TestServiceLog : public QObject {
    Q_OBJECT
private slots:
    void oneLinePerRequestWithNothingTheDeskSent();
};

void TestServiceLog::oneLinePerRequestWithNothingTheDeskSent()
{
    NatsServer bus;
    KORVA_NEEDS_NATS(bus);
    Store store;
    setPassword(store.db(), DemoOfficer::Demo, QLatin1String(kPassword),
                QDateTime::currentDateTime());
    const QString wrong = QStringLiteral("wrong horse 7");
    QString token;
    {
        const QMutexLocker lock(&g_linesLock);
        g_lines.clear();
    }
    {
        const QtMessageHandler previous = qInstallMessageHandler(keepServiceLines);
        const auto restore = qScopeGuard([previous] { qInstallMessageHandler(previous); });
        ServiceOptions options;
        options.server = ServerSettings(currentConnection());
        options.bus = bus.settings(QStringLiteral("korva.log"));
        BrokerService service(options);
        NatsBroker desk(bus.settings(QStringLiteral("korva.log")));
        QVERIFY(!signOn(desk, DemoOfficer::Demo, wrong).isEmpty());
        QCOMPARE(signOn(desk, DemoOfficer::Demo, QLatin1String(kPassword)), QString());
        token = desk.sessionToken();
        BrokerRequest forms = request(RequestKind::CustomerForms, DemoOfficer::Demo);
        forms.addParameter(RequestParameter::key(QStringLiteral("CUST_ID"), store.customer()));
        forms.addParameter(
            RequestParameter::key(QStringLiteral("REF_TYP_CD"), QStringLiteral("CIT")));
        QCOMPARE(desk.call(forms).error, QString());
        // Another officer's name on this session's request is refused, and logged as no one's.
        QVERIFY(
            !desk.call(request(RequestKind::CustomerForms, DemoOfficer::Plain)).error.isEmpty());
        service.stop();
    }
    const QMutexLocker lock(&g_linesLock);
    QCOMPARE(g_lines.size(), 4);
    const QRegularExpression line(
        QStringLiteral(R"(^request officer=(\d+|-) kind=(\d+) outcome=(ok|error) ms=\d+$)"));
    const QStringList expected{QStringLiteral("%1 94 error").arg(DemoOfficer::Demo),
                               QStringLiteral("%1 94 ok").arg(DemoOfficer::Demo),
                               QStringLiteral("%1 50 ok").arg(DemoOfficer::Demo),
                               QStringLiteral("- 50 error")};
    for (qsizetype i = 0; i < g_lines.size(); ++i) {
        const QRegularExpressionMatch m = line.match(g_lines.at(i));
        QVERIFY2(m.hasMatch(), qPrintable(g_lines.at(i)));
        QCOMPARE(QStringList({m.captured(1), m.captured(2), m.captured(3)}).join(u' '),
                 expected.at(i));
    }
    const QString all = g_lines.join(u'\n');
    for (const QString &secret : {QString::fromLatin1(kPassword), wrong, token, store.customer()})
        QVERIFY2(!all.contains(secret), qPrintable(secret));
}

KORVA_SERVER_TEST_MAIN(TestServiceLog)
#include "tst_servicelog.moc"
