#include "busclient.h"

#include "admin.h"
#include "service.h"

#include <platform/errors.h>
#include <platform/natsbroker.h>
#include <platform/recordset.h>

#include <QHash>
#include <QUuid>

namespace korva::server {

namespace {

constexpr char kUsage[] =
    "usage: korva-broker status --nats <url> --desk <operator-desk> --seed <file> [--tls-ca "
    "<file>] "
    "[--subject <s>]\n"
    "       korva-broker submit refund-requests --nats <url> --desk <operator-desk> --seed <file> "
    "[--tls-ca <file>] [--subject <s>] <file.csv>\n";

struct Args {
    QHash<QString, QString> values;
    QStringList positional;
    QString error;
};

Args parse(const QStringList &arguments)
{
    static const QStringList valued{QStringLiteral("--nats"), QStringLiteral("--desk"),
                                    QStringLiteral("--seed"), QStringLiteral("--tls-ca"),
                                    QStringLiteral("--subject")};
    Args a;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &s = arguments.at(i);
        if (valued.contains(s)) {
            if (i + 1 >= arguments.size())
                a.error = QStringLiteral("%1 needs a value").arg(s);
            else
                a.values.insert(s, arguments.at(++i));
        } else if (s.startsWith(u"--")) {
            a.error = QStringLiteral("unknown option %1").arg(s);
        } else {
            a.positional.append(s);
        }
    }
    if (a.error.isEmpty() && (!a.values.contains(QStringLiteral("--desk")) ||
                              !a.values.contains(QStringLiteral("--seed"))))
        a.error = QStringLiteral("the bus needs the operator's --desk and --seed");
    return a;
}

NatsSettings busSettings(const Args &a)
{
    NatsSettings s;
    s.url = a.values.value(QStringLiteral("--nats"));
    s.subject = a.values.value(QStringLiteral("--subject"), s.subject);
    s.desk = a.values.value(QStringLiteral("--desk"));
    s.seedFile = a.values.value(QStringLiteral("--seed"));
    s.caFile = a.values.value(QStringLiteral("--tls-ca"));
    s.name = QStringLiteral("korva-broker operator");
    s.operatorKey = true;
    return s;
}

BrokerRequest refundRequest(const QList<RefundRequestLine> &lines)
{
    BrokerRequest request;
    request.setKind(kRefundRequestsKind);
    // A request sent again after a lost reply is answered as the first time, not applied twice.
    request.setRequestKey(QUuid::createUuid().toString(QUuid::WithoutBraces));
    auto rs = RecordSet::create(QStringLiteral("REFUND"));
    for (const RefundRequestLine &line : lines) {
        rs->addNew();
        for (auto it = line.values.cbegin(); it != line.values.cend(); ++it)
            rs->setValue(it.key(), it.value());
        rs->update();
    }
    request.addRecordSet(QStringLiteral("REFUND"), rs);
    return request;
}

void printStatus(const BrokerReply &reply, QTextStream &out)
{
    const RecordSetPtr rs = reply.recordSet(QStringLiteral("STATUS"));
    for (int r = 0; rs && r < rs->storageCount(); ++r) {
        const QVariantList row = rs->storageRow(r);
        for (int c = 0; c < row.size(); ++c)
            out << rs->fields().at(c).name.toLower() << '=' << row.at(c).toString()
                << (c + 1 < row.size() ? ' ' : '\n');
    }
}

} // namespace

int runBusClientCommand(const QString &command, const QStringList &arguments, QTextStream &out,
                        QTextStream &err)
{
    const bool status = command == u"status";
    if (!status && !(command == u"submit" && arguments.contains(QStringLiteral("--nats"))))
        return -1;
    const Args a = parse(arguments);
    QString problem = a.error;
    if (problem.isEmpty() && !a.values.contains(QStringLiteral("--nats")))
        problem = QStringLiteral("status needs --nats");
    if (problem.isEmpty() && !status &&
        (a.positional.size() != 2 || a.positional.first() != u"refund-requests"))
        problem = QStringLiteral("submit takes refund-requests and one file");
    if (problem.isEmpty() && status && !a.positional.isEmpty())
        problem = QStringLiteral("status takes no file");
    if (!problem.isEmpty()) {
        err << "korva-broker: " << problem << "\n" << kUsage;
        err.flush();
        return 1;
    }
    BrokerRequest request;
    request.setKind(kServiceStatusKind);
    if (!status) {
        QList<RefundRequestLine> lines;
        if (const QString refusal = readRefundRequests(a.positional.at(1), lines);
            !refusal.isEmpty()) {
            err << "korva-broker: " << refusal << "\n";
            err.flush();
            return 2;
        }
        request = refundRequest(lines);
    }
    BrokerReply reply;
    try {
        NatsBroker bus(busSettings(a));
        // A key that is not an operator's is not answered at all: say so soon.
        bus.setTimeout(5000);
        reply = bus.call(request);
    } catch (const ProcError &e) {
        reply = BrokerReply::failure(request, e.description());
    }
    if (!reply.error.isEmpty()) {
        err << "korva-broker: " << reply.error << "\n";
        err.flush();
        return 2;
    }
    if (status) {
        printStatus(reply, out);
    } else {
        const RecordSetPtr rs = reply.recordSet(QStringLiteral("REQ"));
        const int n = rs ? rs->storageCount() : 0;
        out << "korva-broker: " << n << " refund request(s) submitted over the bus";
        if (n > 0)
            out << ": refunds " << rs->storageRow(0).at(0).toString() << " to "
                << rs->storageRow(n - 1).at(0).toString();
        out << "\n";
    }
    out.flush();
    return 0;
}

} // namespace korva::server
