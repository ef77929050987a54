// The administrator's commands: the CSV reader's hard cases, import as all or nothing and
// idempotent, refund requests and the operator-only request kind, and each command's refusals,
// which must leave the store and its administration log as they were.
#include "serverfixture.h"

#include <server/admin.h>
#include <server/admincommand.h>
#include <server/admintables.h>
#include <server/csvtext.h>
#include <server/rows.h>
#include <server/schema.h>
#include <server/servererror.h>

#include <QDir>
#include <QFile>
#include <QSqlQuery>
#include <QSqlRecord>

using namespace korva;
using namespace korva::server;
using namespace korva::server::test;

namespace {

QString str(const char *s)
{
    return QString::fromUtf8(s);
}
QString str(const QString &s)
{
    return s;
}
// A command line of literal words and texts.
template <class... T> QStringList A(const T &...words)
{
    return QStringList{str(words)...};
}

const QString kSeed = QStringLiteral(KORVA_SEED_DIR);
const QString kOffice = QStringLiteral(KORVA_OFFICE_DIR);

// The exit status and standard error of one korva-broker command.
struct Outcome {
    int status;
    QString err;
    QString out;
};

Outcome broker(QStringList args)
{
    QString out, err;
    QTextStream o(&out), e(&err);
    const QString command = args.takeFirst();
    const int status = runAdminCommand(command, args, o, e);
    return {status, err, out};
}

// Every row of the tables an administrator changes, in key order, as text; with the number of
// administration log entries or without.
QString dump(Database &db, bool withLog = true)
{
    QString text =
        withLog
            ? db.scalar(QStringLiteral("SELECT COUNT(*) FROM KORVA_ADMIN_LOG")).toString() + u'\n'
            : QString();
    for (const char *sql :
         {"SELECT * FROM OFFICER ORDER BY 1", "SELECT * FROM USR_RGHT ORDER BY 1, 2, 3",
          "SELECT * FROM ZTB_CODE ORDER BY 1, 2, 3, 6",
          "SELECT * FROM ZTB_ASGNMT_TYPE ORDER BY 1, 2", "SELECT * FROM TROOP ORDER BY 1, 2",
          "SELECT * FROM CUSTOMER ORDER BY 1", "SELECT * FROM CUST_FORM ORDER BY 1, 2, 3",
          "SELECT * FROM REFUND ORDER BY 1", "SELECT * FROM ASGNMT ORDER BY 1",
          "SELECT COUNT(*) FROM ASGNMT_HIST", "SELECT * FROM KORVA_SEQ ORDER BY 1"}) {
        QSqlQuery &q = db.run(QLatin1String(sql));
        while (q.next()) {
            for (int c = 0; c < q.record().count(); ++c)
                text += q.value(c).toString() + u'|';
            text += u'\n';
        }
        q.finish();
    }
    return text;
}

class Office {
public:
    Office()
    {
        initStore(ServerSettings(currentConnection()), kSeed, true, QStringLiteral("tester"));
        db.open();
        for (const char *kind :
             {"officers", "rights", "troops", "agencies", "types", "customers", "forms"}) {
            QFile f(kOffice + u'/' + QLatin1String(kind) + QStringLiteral(".csv"));
            if (!f.open(QIODevice::ReadOnly))
                qFatal("cannot read the example office");
            const ImportResult r = importRows(db, QLatin1String(kind), f.readAll(), f.fileName());
            if (!r.errors.isEmpty())
                qFatal("%s", qPrintable(r.errors.join(u'\n')));
        }
    }
    QString file(const QString &name, const QByteArray &text)
    {
        const QString path = m_dir.filePath(name);
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly) || f.write(text) != text.size())
            qFatal("cannot write %s", qPrintable(path));
        return path;
    }
    qint64 count(const char *sql) { return db.scalar(QLatin1String(sql)).toLongLong(); }
    Outcome run(QStringList args)
    {
        args << QStringLiteral("--db") << currentConnection();
        return broker(args);
    }

    ServerSettings settings{currentConnection()};
    Database db{settings, QStringLiteral("korva-test-admin")};

private:
    QTemporaryDir m_dir;
};

} // namespace

class TestServerAdmin : public QObject {
    Q_OBJECT
private slots:
    void csvReadsWhatItsCommonFormAllows();
    void importIsAllOrNothingAndIdempotent();
    void exportGivesBackWhatImportTakes();
    void initRefusesAStoreWithData();
    void refundRequestsAreCheckedAsAWhole();
    void refundRequestKindIsTheOperatorsOnly();
    void officerRightsAndSessionsRefusalsChangeNothing();
    void backupAndRestoreCheckTheCopy();
};

void TestServerAdmin::csvReadsWhatItsCommonFormAllows()
{
    const CsvText t = readCsv("\xEF\xBB\xBF"
                              "a,b,c\r\n"
                              "\"x, y\",\"say \"\"hi\"\"\",\"two\r\nlines\"\n"
                              "\n"
                              ",\"\",Zoë\n"
                              "last,,end");
    QCOMPARE(t.error, QString());
    QCOMPARE(t.records.size(), 4);
    QCOMPARE(t.records[0].fields, A("a", "b", "c"));
    QCOMPARE(t.records[1].fields, A("x, y", "say \"hi\"", "two\r\nlines"));
    // A record is named by the line it starts on, past the blank line.
    QCOMPARE(t.records[2].line, 5);
    QCOMPARE(t.records[2].fields, A("", "", "Zoë"));
    QCOMPARE(t.records[3].fields, A("last", "", "end"));

    const QStringList tricky = A(" lead", "a,b", "q\"uote", "line\nbreak", "", "plain");
    const CsvText back = readCsv(csvLine(tricky) + csvLine(A("x")));
    QCOMPARE(back.records.value(0).fields, tricky);
    QCOMPARE(back.records.size(), 2);

    QVERIFY(
        readCsv("a,\"open\nstill open").error.contains(u"line 1: a quoted field is not closed"));
    QVERIFY(readCsv("a\nab\"c\"").error.contains(u"line 2"));
    QVERIFY(readCsv("\"a\"b").error.contains(u"after a field's closing quote"));
    QVERIFY(readCsv("caf\xE9\n").error.contains(u"UTF-8"));
}

void TestServerAdmin::importIsAllOrNothingAndIdempotent()
{
    Office office;
    const QString before = dump(office.db, false);
    // The same files again change nothing but the log.
    for (const char *kind : {"officers", "rights", "customers", "forms"})
        QCOMPARE(office
                     .run(A("import", QLatin1String(kind),
                            kOffice + u'/' + QLatin1String(kind) + QStringLiteral(".csv")))
                     .status,
                 0);
    QCOMPARE(dump(office.db, false), before);

    // A good row, then bad ones: nothing goes in, and every fault is named by file, line and
    // column.
    const QString bad = office.file(
        QStringLiteral("bad.csv"),
        "INSP_ID,INSP_NME_LST,REGION,EFCTV_DT,END_DT\n"
        "3001,Good,NE,2026-01-01,\n"
        "3002,\"Bad\ndate\",NE,2026-02-30,\n"
        "3003,Ended before start,NE,2026-01-02,2026-01-01\n"
        "3001,Twice,NE,2026-01-01,\n"
        "99999999999,Too big,NE,2026-01-01,\n"
        "3004,A name far longer than the forty characters a last name takes,NE,2026-01-01,\n");
    const QString stored = dump(office.db);
    const Outcome o = office.run(A("import", "officers", bad));
    QCOMPARE(o.status, 2);
    QVERIFY2(o.err.contains(u"bad.csv, line 3, column EFCTV_DT: \"2026-02-30\" is not a date"),
             qPrintable(o.err));
    QVERIFY(o.err.contains(u"bad.csv, line 5, column END_DT: the end 2026-01-01 is before"));
    QVERIFY(o.err.contains(u"bad.csv, line 6, column INSP_ID: the same key as line 2"));
    QVERIFY(o.err.contains(u"bad.csv, line 7, column INSP_ID"));
    QVERIFY(o.err.contains(u"bad.csv, line 8, column INSP_NME_LST"));
    QCOMPARE(dump(office.db), stored);

    // References, unknown and missing columns, a short row.
    const Outcome rights = office.run(A(
        "import", "rights",
        office.file(QStringLiteral("r.csv"), "INSP_ID,NAME,KIND\n2001,RefundVoid,R\n4242,X,R\n")));
    QVERIFY(rights.err.contains(u"r.csv, line 3, column INSP_ID: there is no officer 4242"));
    const Outcome names = office.run(
        A("import", "rights",
          office.file(QStringLiteral("n.csv"), "INSP_ID,NAME,KIND\n2001,RefundAprove,R\n"
                                               "2001,assignment,R\n2001,ASSIGNMENTCLOSERS,R\n")));
    QVERIFY(names.err.contains(u"line 2, column NAME: \"RefundAprove\" is neither"));
    QVERIFY(names.err.contains(u"line 3, column NAME: \"assignment\" is spelt Assignment"));
    QVERIFY(names.err.contains(u"line 4, column NAME: ASSIGNMENTCLOSERS is a group, of KIND G"));
    const Outcome forms =
        office.run(A("import", "forms",
                     office.file(QStringLiteral("f.csv"), "CUST_ID,REF_TYP_CD,FORM_NBR,COLOUR\n")));
    QVERIFY(forms.err.contains(u"f.csv, line 1, column COLOUR: not a column of forms"));
    const Outcome citations = office.run(
        A("import", "forms",
          office.file(QStringLiteral("c.csv"), "CUST_ID,REF_TYP_CD,FORM_NBR,FORM_CK_DGT_NBR\n"
                                               "100000001,CIT,1234567,5\n"
                                               "100000001,CIT,12345678,\n"
                                               "100000001,XYZ,1,\n")));
    QVERIFY(citations.err.contains(u"line 2, column FORM_CK_DGT_NBR: citation 1234567 has the "
                                   u"check digit 4, not 5"));
    QVERIFY(citations.err.contains(u"line 3, column FORM_NBR: a citation number has seven"));
    QVERIFY(citations.err.contains(u"line 4, column REF_TYP_CD: there is no reference document"));
    const Outcome missing =
        office.run(A("import", "customers", office.file(QStringLiteral("c.csv"), "CUST_ID\n1\n")));
    QVERIFY(missing.err.contains(u"column CUST_NM: required"));
    const Outcome shortRow =
        office.run(A("import", "troops",
                     office.file(QStringLiteral("t.csv"), "TRP_ID,TRP_DIST_ID,TRP_DES\nC,1\n")));
    QVERIFY(shortRow.err.contains(u"t.csv, line 2, 2 fields where the header names 3"));
    QCOMPARE(dump(office.db), stored);
}

void TestServerAdmin::exportGivesBackWhatImportTakes()
{
    Office office;
    for (const QString &kind : importKinds()) {
        const QByteArray out = exportRows(office.db, kind);
        const QString before = dump(office.db);
        const ImportResult r = importRows(office.db, kind, out, kind);
        QVERIFY2(r.errors.isEmpty(), qPrintable(r.errors.join(u'\n')));
        QCOMPARE(r.added, 0);
        QCOMPARE(exportRows(office.db, kind), out);
        Q_UNUSED(before);
    }
    // Texts with the separators in them come back whole.
    QVERIFY(exportRows(office.db, QStringLiteral("customers"))
                .contains("\"Caf\xC3\xA9 Lumi\xC3\xA8re \"\"Chez Anne\"\"\""));
    QVERIFY_THROWS_EXCEPTION(RequestError, exportRows(office.db, QStringLiteral("widgets")));
}

void TestServerAdmin::initRefusesAStoreWithData()
{
    Office office;
    office.db.close();
    const Outcome again = office.run(A("init", "--seed", kSeed));
    QCOMPARE(again.status, 2);
    QVERIFY(again.err.contains(u"already holds data; use --force"));
    office.db.open();
    QCOMPARE(office.count("SELECT COUNT(*) FROM OFFICER WHERE INSP_ID = 2001"), 1);
    office.db.close();
    QCOMPARE(office.run(A("init", "--seed", kSeed, "--force")).status, 0);
    office.db.open();
    // Nothing invented: the system officer, the code tables, one log entry.
    QCOMPARE(office.count("SELECT COUNT(*) FROM OFFICER"), 1);
    QCOMPARE(office.count("SELECT COUNT(*) FROM CUSTOMER"), 0);
    QCOMPARE(office.count("SELECT COUNT(*) FROM ASGNMT"), 0);
    QVERIFY(office.count("SELECT COUNT(*) FROM ZTB_ASGNMT_TYPE WHERE ASGNMT_DES = 'REFUND "
                         "REQUEST' AND SYS_IND = 'Y'") > 0);
    QCOMPARE(office.count("SELECT COUNT(*) FROM KORVA_ADMIN_LOG"), 1);
    QCOMPARE(schemaVersion(office.db), latestSchemaVersion());
    office.db.close();
    QVERIFY(office.run(A("init", "--seed", QStringLiteral("/nonexistent")))
                .err.contains(u"has no officers.csv"));
}

void TestServerAdmin::refundRequestsAreCheckedAsAWhole()
{
    Office office;
    const QString good =
        office.file(QStringLiteral("good.csv"), "CUST_ID,RCPT_NBR,RFND_AMT,OFCR_TO_ID\n"
                                                "100000001,R-1,75.50,2001\n");
    QCOMPARE(office.run(A("submit", "refund-requests", good)).status, 0);
    QCOMPARE(office.db.scalar(QStringLiteral("SELECT STTS_CD FROM REFUND WHERE RCPT_NBR = 'R-1'"))
                 .toString(),
             QStringLiteral("0"));
    QCOMPARE(office.count("SELECT COUNT(*) FROM ASGNMT A JOIN REFUND R ON R.ASGNMT_NBR = "
                          "A.ASGNMT_NBR JOIN ZTB_ASGNMT_TYPE T ON T.ASGNMT_CD = A.ASGNMT_TYP_CD "
                          "AND T.REGION = 'NE' WHERE A.OFCR_CRTR_ID = 1000 AND A.OFCR_FRM_ID = "
                          "1000 AND A.OFCR_TO_ID = 2001 AND A.ASGNMT_STTS_CD = 'O' AND "
                          "T.ASGNMT_DES = 'REFUND REQUEST' AND R.CUST_ID = '100000001'"),
             1);
    QCOMPARE(office.count("SELECT COUNT(*) FROM ASGNMT_HIST WHERE ACTION = 'ADD' AND "
                          "UPDT_BY_ID = 1000"),
             1);

    const QString stored = dump(office.db);
    const Outcome bad =
        office.run(A("submit", "refund-requests",
                     office.file(QStringLiteral("bad.csv"), "CUST_ID,RCPT_NBR,RFND_AMT,OFCR_TO_ID\n"
                                                            "100000002,R-2,10.00,2001\n"
                                                            "999,R-3,10.00,2001\n"
                                                            "100000002,R-1,10.00,2001\n"
                                                            "100000002,R-2,10.00,2001\n"
                                                            "100000002,R-4,0,2001\n"
                                                            "100000002,R-5,-3,2001\n"
                                                            "100000002,R-6,nan,2001\n"
                                                            "100000002,R-7,5,2005\n")));
    QCOMPARE(bad.status, 2);
    for (const char *fault :
         {"line 3, column CUST_ID: there is no customer 999",
          "line 4, column RCPT_NBR: the receipt R-1 is already on refund",
          "line 5, column RCPT_NBR: the receipt R-2 is already at bad.csv, line 2",
          "line 6, column RFND_AMT: the amount 0 is not more than zero",
          "line 7, column RFND_AMT: the amount -3 is not more than zero", "line 8, column RFND_AMT",
          "line 9, column OFCR_TO_ID: officer 2005 is not in service"})
        QVERIFY2(bad.err.contains(QLatin1String(fault)), fault);
    QVERIFY(!bad.err.contains(u"line 2,"));
    QCOMPARE(dump(office.db), stored);
}

void TestServerAdmin::refundRequestKindIsTheOperatorsOnly()
{
    Office office;
    const RecordSetPtr rows = updateRows("REFUND", {{{"CUST_ID", QStringLiteral("100000003")},
                                                     {"RCPT_NBR", QStringLiteral("R-9")},
                                                     {"RFND_AMT", QStringLiteral("99.99")},
                                                     {"OFCR_TO_ID", QStringLiteral("2001")}}});
    auto send = [&](bool fromOperator, qint64 officer) {
        ServerSettings s(currentConnection());
        s.operatorOrigin = fromOperator;
        BrokerRequest request;
        request.setKind(kRefundRequestsKind);
        request.setContext(QStringLiteral("INSP_ID=%1").arg(officer));
        request.addRecordSet(QStringLiteral("REFUND"), rows);
        return makeBackend(s)->handle(request.detached());
    };
    const QString stored = dump(office.db);
    // A desk, even the system officer's name or one with every refund right, is refused.
    for (qint64 officer : {qint64(2001), qint64(1000), qint64(2003)}) {
        const BrokerReply r = send(false, officer);
        QVERIFY2(r.error.contains(u"only through the operator"), qPrintable(r.error));
        QVERIFY(!r.recordSet(QStringLiteral("REQ")));
    }
    QCOMPARE(dump(office.db), stored);
    const BrokerReply r = send(true, 1000);
    QCOMPARE(r.error, QString());
    const RecordSetPtr req = r.recordSet(QStringLiteral("REQ"));
    QVERIFY(req);
    req->moveFirst();
    QCOMPARE(office.db
                 .scalar(QStringLiteral("SELECT RCPT_NBR FROM REFUND WHERE RFND_NBR = ? AND "
                                        "ASGNMT_NBR = ?"),
                         {req->value(u"RFND_NBR"), req->value(u"ASGNMT_NBR")})
                 .toString(),
             QStringLiteral("R-9"));
}

void TestServerAdmin::officerRightsAndSessionsRefusalsChangeNothing()
{
    Office office;
    office.db.execute(QStringLiteral("INSERT INTO KORVA_SESSION (TOKEN_HASH, INSP_ID, CRTD_MS, "
                                     "LAST_MS, EXPR_MS) VALUES ('a', 2002, 1, 1, 99999999999999)"));
    const QString stored = dump(office.db);
    const QList<std::pair<QStringList, const char *>> refusals{
        {A("officer", "add", "2001", "--last", "Again", "--region", "NE"), "already on file"},
        {A("officer", "add", "3001", "--last", "Nowhere", "--region", "ZZ"), "no assignment types"},
        {A("officer", "add", "3001", "--region", "NE"), "last name is required"},
        {A("officer", "retire", "1000"), "cannot be retired"},
        {A("officer", "retire", "2005"), "already retired"},
        {A("officer", "retire", "2001", "--last-day", "2020-01-01"), "cannot be before"},
        {A("officer", "show", "4242"), "Officer 4242 is not known"},
        {A("grant", "2001", "Superuser"), "neither a right nor a group"},
        {A("grant", "2001", "RefundPrepare"), "already holds the right RefundPrepare"},
        {A("grant", "4242", "RefundPrepare"), "Officer 4242 is not known"},
        {A("revoke", "2001", "ASSIGNMENTCLOSERS"), "does not hold the group"},
        {A("sessions", "end", "--officer", "4242"), "Officer 4242 is not known"},
    };
    for (const auto &[args, text] : refusals) {
        const Outcome o = office.run(args);
        QVERIFY2(o.status == 2 && o.err.contains(QLatin1String(text)),
                 qPrintable(args.join(u' ') + u'\n' + o.err));
    }
    QCOMPARE(office.run(A("officer", "add", "--last", "X")).status, 1);
    QCOMPARE(dump(office.db), stored);

    QVERIFY(office.run(A("sessions", "list")).out.contains(u"officer 2002  desk -"));
    // Each change is logged with who ran it; a retirement ends the officer's sessions.
    QCOMPARE(office.run(A("grant", "2002", "assignmentclosers")).status, 0);
    QCOMPARE(office.run(A("officer", "retire", "2002")).status, 0);
    QCOMPARE(office.count("SELECT COUNT(*) FROM KORVA_SESSION WHERE RVKD_MS IS NULL"), 0);
    QCOMPARE(office.count("SELECT COUNT(*) FROM USR_RGHT WHERE INSP_ID = 2002 AND NAME = "
                          "'ASSIGNMENTCLOSERS' AND KIND = 'G'"),
             1);
    const QStringList log = administrationLog(office.db, 2002, 0);
    QCOMPARE(log.size(), 2);
    QVERIFY(log.at(0).contains(QStringLiteral("%1  grant: officer 2002 granted the group "
                                              "ASSIGNMENTCLOSERS")
                                   .arg(operatingUser())));
    QVERIFY(log.at(1).contains(u"officer retire: officer 2002 retired"));

    // The list leaves out who has left, unless asked; the region narrows it.
    const QString inService = office.run(A("officer", "list")).out;
    QVERIFY2(inService.contains(u"2001") && inService.contains(u"2002") &&
                 !inService.contains(u"2005"),
             qPrintable(inService));
    QVERIFY(office.run(A("officer", "list", "--all")).out.contains(u"2005"));
    QVERIFY(!office.run(A("officer", "list", "--region", "SE")).out.contains(u"2001"));
}

void TestServerAdmin::backupAndRestoreCheckTheCopy()
{
    Office office;
    QTemporaryDir dir;
    const QString copy = dir.filePath(QStringLiteral("copy.db"));
    if (currentBackendName() == u"postgres") {
        QVERIFY(office.run(A("backup", copy)).err.contains(u"pg_dump"));
        QVERIFY(office.run(A("restore", copy, "--force")).err.contains(u"pg_restore"));
        QVERIFY(!QFile::exists(copy));
        return;
    }
    const QString stored = dump(office.db, false);
    QCOMPARE(office.run(A("backup", copy)).status, 0);
    QVERIFY(office.run(A("backup", copy)).err.contains(u"already exists"));

    // Restored elsewhere: the same rows, and the restore in its log.
    const QString elsewhere = QStringLiteral("sqlite:") + dir.filePath(QStringLiteral("new.db"));
    QCOMPARE(broker(A("restore", copy, "--db", elsewhere)).status, 0);
    {
        Database restored(ServerSettings(elsewhere), QStringLiteral("korva-test-restored"));
        restored.open();
        QString text = dump(restored);
        QVERIFY(administrationLog(restored, 0, 1).value(0).contains(u"restore: store replaced"));
        QCOMPARE(text.count(u'\n'), stored.count(u'\n') + 1);
    }
    QVERIFY(broker(A("restore", copy, "--db", elsewhere)).err.contains(u"use --force"));

    // What is not a Korva store this program can serve is refused before anything is touched.
    const QString junk = dir.filePath(QStringLiteral("junk.db"));
    QFile f(junk);
    QVERIFY(f.open(QIODevice::WriteOnly) && f.write("not a database at all, not even close") > 0);
    f.close();
    QVERIFY(broker(A("restore", junk, "--db", elsewhere, "--force"))
                .err.contains(u"not a sound SQLite database"));
    {
        Database newer(ServerSettings(QStringLiteral("sqlite:") + copy),
                       QStringLiteral("korva-test-newer"));
        newer.open();
        newer.execute(QStringLiteral("INSERT INTO KORVA_SCHEMA (VERSION) VALUES (99)"));
    }
    QVERIFY(broker(A("restore", copy, "--db", elsewhere, "--force"))
                .err.contains(u"schema version 99, newer"));
    QCOMPARE(dump(office.db, false), stored);
}

KORVA_SERVER_TEST_MAIN(TestServerAdmin)
#include "tst_server_admin.moc"
