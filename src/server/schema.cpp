#include "schema.h"

#include "database.h"
#include "servererror.h"
#include "servicelog.h"

namespace korva::server {

namespace {

// Version 1: the tables. Column names are the broker's field names, so that a reply's fields
// read as the columns they come from. The one exception is the refund's receiver, whose
// broker name "TO" is a reserved word in both databases: it is kept as RFND_TO.
constexpr char kSchemaV1[] = R"sql(
CREATE TABLE KORVA_SEQ (
    SEQ_NM VARCHAR(30) NOT NULL PRIMARY KEY,
    NEXT_VAL BIGINT NOT NULL
);
CREATE TABLE OFFICER (
    INSP_ID INTEGER NOT NULL PRIMARY KEY,
    INSP_NME_LST VARCHAR(40) NOT NULL,
    INSP_NME_FRST VARCHAR(30),
    INSP_NME_MDL_INT VARCHAR(30),
    REGION VARCHAR(4) NOT NULL,
    EFCTV_DT DATE NOT NULL,
    END_DT DATE
);
CREATE TABLE USR_RGHT (
    INSP_ID INTEGER NOT NULL REFERENCES OFFICER (INSP_ID) DEFERRABLE INITIALLY DEFERRED,
    NAME VARCHAR(40) NOT NULL,
    KIND CHAR(1) NOT NULL,
    PRIMARY KEY (INSP_ID, KIND, NAME)
);
CREATE TABLE ZTB_CODE (
    REGION VARCHAR(4) NOT NULL,
    CD_TBL_ID VARCHAR(12) NOT NULL,
    CD_TBL_CD VARCHAR(12) NOT NULL,
    CD_TBL_DES VARCHAR(80) NOT NULL,
    ADDL_INFO VARCHAR(80),
    EFCTV_DT DATE NOT NULL,
    END_DT DATE,
    PRIMARY KEY (REGION, CD_TBL_ID, CD_TBL_CD, EFCTV_DT)
);
CREATE TABLE ZTB_ASGNMT_TYPE (
    REGION VARCHAR(4) NOT NULL,
    ASGNMT_CD VARCHAR(3) NOT NULL,
    ASGNMT_DES VARCHAR(60) NOT NULL,
    CRTR_CLS_IND CHAR(1) NOT NULL,
    DUE_DY_CNT INTEGER,
    EXPRTN_DY_CNT INTEGER,
    RSN_FOR_CHNG_TXT VARCHAR(80),
    SYS_IND CHAR(1) NOT NULL,
    PRIMARY KEY (REGION, ASGNMT_CD)
);
CREATE TABLE TROOP (
    TRP_ID VARCHAR(1) NOT NULL,
    TRP_DIST_ID VARCHAR(4) NOT NULL,
    TRP_DES VARCHAR(40),
    PRIMARY KEY (TRP_ID, TRP_DIST_ID)
);
CREATE TABLE CUSTOMER (
    CUST_ID VARCHAR(12) NOT NULL PRIMARY KEY,
    CUST_NM VARCHAR(60) NOT NULL,
    ADDR_1 VARCHAR(60),
    ADDR_2 VARCHAR(60),
    CITY VARCHAR(40),
    STATE VARCHAR(2),
    ZIP VARCHAR(10)
);
CREATE TABLE CUST_FORM (
    CUST_ID VARCHAR(12) NOT NULL REFERENCES CUSTOMER (CUST_ID) DEFERRABLE INITIALLY DEFERRED,
    REF_TYP_CD VARCHAR(12) NOT NULL,
    FORM_NBR INTEGER NOT NULL,
    FORM_CK_DGT_NBR INTEGER,
    ASSMT_DUE_AMT NUMERIC(12,2),
    BAL_DUE NUMERIC(12,2),
    LST_PYMT_DT DATE,
    CTTN_STTS_CD VARCHAR(4),
    STP_DT DATE,
    PRIMARY KEY (CUST_ID, REF_TYP_CD, FORM_NBR)
);
CREATE TABLE ASGNMT (
    ASGNMT_NBR INTEGER NOT NULL PRIMARY KEY,
    ASGNMT_TYP_CD VARCHAR(3) NOT NULL,
    ASGNMT_STTS_CD CHAR(1) NOT NULL,
    OFCR_FRM_ID INTEGER,
    OFCR_TO_ID INTEGER,
    OFCR_CRTR_ID INTEGER NOT NULL,
    AGNCY_CD VARCHAR(12),
    TRP_ID VARCHAR(1),
    TRP_DIST_ID VARCHAR(4),
    ASGNMT_DT DATE NOT NULL,
    EFCTV_DT DATE,
    DUE_DT DATE,
    EXPRTN_DT DATE,
    CLSE_DT DATE,
    ASGNMT_CMMT_TXT VARCHAR(2000),
    ASGNMT_SBJCT_TXT VARCHAR(100),
    FORM_NBR VARCHAR(20),
    FORM_TYP_CD VARCHAR(12),
    STATION_ID VARCHAR(12),
    NTFY_IND CHAR(1),
    HIST_CNT INTEGER NOT NULL,
    ORIG_ASGNMT_NBR INTEGER,
    LST_UPDT_TS TIMESTAMP NOT NULL
);
CREATE TABLE ASGNMT_HIST (
    HIST_ID BIGINT NOT NULL PRIMARY KEY,
    ASGNMT_NBR INTEGER NOT NULL REFERENCES ASGNMT (ASGNMT_NBR) DEFERRABLE INITIALLY DEFERRED,
    ACTION VARCHAR(10) NOT NULL,
    LST_UPDT_TS TIMESTAMP NOT NULL,
    UPDT_BY_ID INTEGER,
    ASGNMT_TYP_CD VARCHAR(3),
    ASGNMT_STTS_CD CHAR(1),
    OFCR_FRM_ID INTEGER,
    OFCR_TO_ID INTEGER,
    OFCR_CRTR_ID INTEGER,
    AGNCY_CD VARCHAR(12),
    TRP_ID VARCHAR(1),
    TRP_DIST_ID VARCHAR(4),
    ASGNMT_DT DATE,
    EFCTV_DT DATE,
    DUE_DT DATE,
    EXPRTN_DT DATE,
    CLSE_DT DATE,
    ASGNMT_CMMT_TXT VARCHAR(2000),
    ASGNMT_SBJCT_TXT VARCHAR(100),
    FORM_NBR VARCHAR(20),
    FORM_TYP_CD VARCHAR(12),
    STATION_ID VARCHAR(12)
);
CREATE TABLE REFUND (
    RFND_NBR INTEGER NOT NULL PRIMARY KEY,
    CUST_ID VARCHAR(12) NOT NULL REFERENCES CUSTOMER (CUST_ID) DEFERRABLE INITIALLY DEFERRED,
    ASGNMT_NBR INTEGER,
    RCPT_NBR VARCHAR(20),
    RFND_AMT NUMERIC(12,2),
    RFND_TO CHAR(1),
    STTS_CD CHAR(1) NOT NULL,
    CREATED_DT DATE,
    CREATOR_ID INTEGER,
    VERIFY_ID INTEGER,
    APPROVE_ID INTEGER,
    RFND_BY_ID INTEGER,
    VOID_ID INTEGER,
    QRT_CMMT_TXT VARCHAR(1000),
    FISCAL_CMMT_TXT VARCHAR(1000),
    RFND_CD CHAR(1),
    WRNT_NBR VARCHAR(20),
    RFND_DT DATE,
    DT_MLD DATE,
    LST_UPDT_TS TIMESTAMP
);
CREATE TABLE PRNT_TMPLT (
    TMPLT_ID INTEGER NOT NULL PRIMARY KEY,
    TMPLT_NM VARCHAR(60) NOT NULL,
    TMPLT_PATH VARCHAR(260) NOT NULL
);
INSERT INTO KORVA_SEQ (SEQ_NM, NEXT_VAL) VALUES
    ('ASGNMT_NBR', 1), ('RFND_NBR', 1), ('HIST_ID', 1), ('CODE_TABLES', 1);
INSERT INTO PRNT_TMPLT (TMPLT_ID, TMPLT_NM, TMPLT_PATH) VALUES
    (36, 'Refund Worksheet', 'templates/refund_worksheet.xml')
)sql";

// Version 2: the access paths of the list query (received or sent by an officer within a date
// range, newest first, optionally by status), the history of one assignment and the refund of
// a refund-request assignment.
constexpr char kSchemaV2[] = R"sql(
CREATE INDEX ASGNMT_TO_IX ON ASGNMT (OFCR_TO_ID, ASGNMT_DT, ASGNMT_NBR);
CREATE INDEX ASGNMT_FRM_IX ON ASGNMT (OFCR_FRM_ID, ASGNMT_DT, ASGNMT_NBR);
CREATE INDEX ASGNMT_STTS_IX ON ASGNMT (ASGNMT_STTS_CD, ASGNMT_DT);
CREATE INDEX ASGNMT_HIST_NBR_IX ON ASGNMT_HIST (ASGNMT_NBR, LST_UPDT_TS);
CREATE INDEX REFUND_ASGNMT_IX ON REFUND (ASGNMT_NBR);
CREATE INDEX REFUND_CUST_IX ON REFUND (CUST_ID);
CREATE INDEX CUSTOMER_NM_IX ON CUSTOMER (CUST_NM)
)sql";

// Version 3: the customer picker searches by the start of a name in any letter case; ordered
// by the same expression, the search reads only the rows it returns.
constexpr char kSchemaV3[] = R"sql(
CREATE INDEX CUSTOMER_UNM_IX ON CUSTOMER (UPPER(CUST_NM), CUST_ID)
)sql";

// Version 4: signed-on sessions for the networked service. Passwords are kept as hashes
// only, tokens by their hash; times are epoch milliseconds so that both databases compare
// them alike.
constexpr char kSchemaV4[] = R"sql(
CREATE TABLE OFFICER_PWD (
    INSP_ID INTEGER NOT NULL PRIMARY KEY,
    PWD_HASH VARCHAR(200) NOT NULL,
    CHNG_MS BIGINT NOT NULL
);
CREATE TABLE KORVA_SESSION (
    TOKEN_HASH CHAR(64) NOT NULL PRIMARY KEY,
    INSP_ID INTEGER NOT NULL,
    CLIENT_ID VARCHAR(64),
    CRTD_MS BIGINT NOT NULL,
    LAST_MS BIGINT NOT NULL,
    EXPR_MS BIGINT NOT NULL,
    RVKD_MS BIGINT
);
CREATE INDEX KORVA_SESSION_INSP_IX ON KORVA_SESSION (INSP_ID);
CREATE TABLE SIGNON_FAIL (
    SUBJ VARCHAR(80) NOT NULL,
    FAIL_MS BIGINT NOT NULL
);
CREATE INDEX SIGNON_FAIL_IX ON SIGNON_FAIL (SUBJ, FAIL_MS)
)sql";

// Version 5: the answers to update requests by their request keys, so that a request sent
// again after a time-out is answered as the first time instead of being applied twice; and,
// on PostgreSQL, a sequence for history ids that no transaction holds until its commit.
constexpr char kSchemaV5[] = R"sql(
CREATE TABLE KORVA_REQ (
    REQ_KEY VARCHAR(200) NOT NULL PRIMARY KEY,
    INSP_ID INTEGER NOT NULL,
    KIND INTEGER NOT NULL,
    RPLY_TXT TEXT NOT NULL,
    DONE_MS BIGINT NOT NULL
)
)sql";
// Answered request keys are purged by age.
constexpr char kSchemaV6[] = R"sql(CREATE INDEX KORVA_REQ_DONE_IX ON KORVA_REQ (DONE_MS))sql";
// Version 7: what administrators changed from the operator's command, who ran it and when.
constexpr char kSchemaV7[] = R"sql(
CREATE TABLE KORVA_ADMIN_LOG (
    LOG_ID BIGINT NOT NULL PRIMARY KEY,
    DONE_TS TIMESTAMP NOT NULL,
    OS_USER VARCHAR(64) NOT NULL,
    CMD VARCHAR(40) NOT NULL,
    DETAIL VARCHAR(2000) NOT NULL
)
)sql";
// Version 8: the workload overview counts per addressee by status, due date and close date;
// these two are read alone (the counts need nothing of the row) in the order they are grouped.
constexpr char kSchemaV8[] = R"sql(
CREATE INDEX ASGNMT_WORK_OPEN_IX ON ASGNMT (ASGNMT_STTS_CD, OFCR_TO_ID, DUE_DT);
CREATE INDEX ASGNMT_WORK_CLSD_IX ON ASGNMT (ASGNMT_STTS_CD, CLSE_DT, OFCR_TO_ID)
)sql";
// Version 9: the desks registered on the bus by their public keys; each session bound to the
// desk it signed on at and to the key its requests are signed with; sign-on attempts counted
// in one row per officer number or desk, so that one statement counts and reads them.
constexpr char kSchemaV9[] = R"sql(
CREATE TABLE KORVA_DESK (
    DESK_ID VARCHAR(32) NOT NULL PRIMARY KEY,
    NKEY CHAR(56) NOT NULL UNIQUE,
    CRTD_MS BIGINT NOT NULL
);
ALTER TABLE KORVA_SESSION ADD COLUMN DESK_ID VARCHAR(32);
ALTER TABLE KORVA_SESSION ADD COLUMN SESS_KEY VARCHAR(64);
CREATE TABLE SIGNON_LIMIT (
    SUBJ VARCHAR(80) NOT NULL PRIMARY KEY,
    CNT INTEGER NOT NULL,
    FIRST_MS BIGINT NOT NULL,
    LAST_MS BIGINT NOT NULL,
    PREV_MS BIGINT NOT NULL
);
DROP TABLE SIGNON_FAIL
)sql";
// Version 10: a desk key may be an operator's, which may submit what no officer's desk may.
constexpr char kSchemaV10[] =
    R"sql(ALTER TABLE KORVA_DESK ADD COLUMN OPRTR INTEGER DEFAULT 0 NOT NULL)sql";
constexpr char kSchemaV5Pg[] = R"sql(CREATE SEQUENCE korva_hist_seq)sql";
constexpr char kDropSequencesPg[] = R"sql(DROP SEQUENCE IF EXISTS korva_hist_seq)sql";
constexpr char kCatchUpHistoryPg[] = R"sql(
SELECT setval('korva_hist_seq', T.M) FROM (SELECT MAX(HIST_ID) AS M FROM ASGNMT_HIST) T
WHERE T.M > (SELECT CASE WHEN is_called THEN last_value ELSE last_value - 1 END
             FROM korva_hist_seq))sql";

constexpr char kCreateVersionTable[] =
    R"sql(CREATE TABLE IF NOT EXISTS KORVA_SCHEMA (VERSION INTEGER NOT NULL))sql";
constexpr char kSelectVersion[] = R"sql(SELECT MAX(VERSION) FROM KORVA_SCHEMA)sql";
constexpr char kInsertVersion[] = R"sql(INSERT INTO KORVA_SCHEMA (VERSION) VALUES (?))sql";
constexpr char kLockVersionPg[] = R"sql(LOCK TABLE KORVA_SCHEMA IN EXCLUSIVE MODE)sql";

// In dependency order, dependants first.
const char *const kTables[] = {"KORVA_DESK",  "SIGNON_LIMIT",    "KORVA_ADMIN_LOG", "KORVA_REQ",
                               "SIGNON_FAIL", "KORVA_SESSION",   "OFFICER_PWD",     "ASGNMT_HIST",
                               "REFUND",      "ASGNMT",          "CUST_FORM",       "CUSTOMER",
                               "TROOP",       "ZTB_ASGNMT_TYPE", "ZTB_CODE",        "USR_RGHT",
                               "OFFICER",     "PRNT_TMPLT",      "KORVA_SEQ",       "KORVA_SCHEMA"};

QStringList split(const char *text)
{
    QStringList out;
    const QStringList parts = QString::fromLatin1(text).split(u';');
    for (const QString &p : parts) {
        const QString s = p.trimmed();
        if (!s.isEmpty())
            out.append(s);
    }
    return out;
}

} // namespace

const QList<Migration> &migrations()
{
    static const QList<Migration> list{{1, split(kSchemaV1)},
                                       {2, split(kSchemaV2)},
                                       {3, split(kSchemaV3)},
                                       {4, split(kSchemaV4)},
                                       {5, split(kSchemaV5), split(kSchemaV5Pg)},
                                       {6, split(kSchemaV6)},
                                       {7, split(kSchemaV7)},
                                       {8, split(kSchemaV8)},
                                       {9, split(kSchemaV9)},
                                       {10, split(kSchemaV10)}};
    return list;
}

int latestSchemaVersion()
{
    return migrations().constLast().version;
}

int schemaVersion(Database &db)
{
    if (!db.tableExists(QStringLiteral("KORVA_SCHEMA")))
        return 0;
    return db.scalar(QLatin1String(kSelectVersion)).toInt();
}

void migrate(Database &db)
{
    const int found = schemaVersion(db);
    if (found > latestSchemaVersion()) {
        // A newer program changed the store in ways this one would misread or undo.
        throw DatabaseError(QStringLiteral("The store %1 is at schema version %2, newer than this "
                                           "program, which knows versions up to %3: run a "
                                           "newer korva-broker against it.")
                                .arg(db.connectionInfo().display())
                                .arg(found)
                                .arg(latestSchemaVersion()));
    }
    if (found == latestSchemaVersion())
        return;
    db.execute(QLatin1String(kCreateVersionTable));
    Transaction tx(db);
    if (db.dialect() == Dialect::Postgres)
        db.execute(QLatin1String(kLockVersionPg));
    // Another connection may have migrated while this one waited for the lock.
    const int from = db.scalar(QLatin1String(kSelectVersion)).toInt();
    int current = from;
    for (const Migration &m : migrations()) {
        if (m.version <= current)
            continue;
        for (const QString &sql : m.statements)
            db.execute(sql);
        if (db.dialect() == Dialect::Postgres) {
            for (const QString &sql : m.postgresOnly)
                db.execute(sql);
        }
        db.run(QLatin1String(kInsertVersion), {m.version}).finish();
        current = m.version;
    }
    tx.commit();
    if (current > from)
        qCInfo(lcService).noquote()
            << QStringLiteral("store %1: schema upgraded from version %2 to %3")
                   .arg(db.connectionInfo().display())
                   .arg(from)
                   .arg(current);
}

void dropSchema(Database &db)
{
    for (const char *t : kTables) {
        if (db.tableExists(QLatin1String(t)))
            db.execute(QStringLiteral("DROP TABLE %1").arg(QLatin1String(t)));
    }
    if (db.dialect() == Dialect::Postgres)
        db.execute(QLatin1String(kDropSequencesPg));
}

void catchUpSequences(Database &db)
{
    if (db.dialect() == Dialect::Postgres)
        db.scalar(QLatin1String(kCatchUpHistoryPg));
}

} // namespace korva::server
