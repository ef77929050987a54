#pragma once

// The demo database's generator: officers, codes, customers and their forms, assignments
// with their history and refunds, all from one seed. Read only by demodata.cpp.

#include "bulkinsert.h"
#include "codetables.h"
#include "database.h"
#include "demodata.h"
#include "demotables.h"
#include "schema.h"
#include "servererror.h"

#include <platform/checkdigit.h>

#include <QVarLengthArray>

#include <cmath>

#include <vector>

namespace korva::server::demo {

inline QString latin(const char *s)
{
    return QLatin1String(s);
}

struct Form {
    QString number; // "nnnnnnn-c", as an assignment references it
    QString type;
};

class Generator {
public:
    Generator(Database &db, const DemoOptions &options, const DemoProgress &progress)
        : m_db(db)
        , m_opt(options)
        , m_progress(progress)
        , m_rng(options.seed)
    {
        const qint64 n = options.assignments;
        // An even share of the officer-addressed assignments is about 500 per officer at a
        // million; small databases keep at least 40 officers.
        m_officerCount = int(qMax<qint64>(40, n * 81 / 100 / 500));
        m_customerCount = int(qMax<qint64>(60, n / 20));
        for (int k = 0; k <= kHistoryDays + 400; ++k)
            m_days.append(QVariant(options.today.addDays(k - kHistoryDays).toString(Qt::ISODate)));
    }

    DemoSummary run()
    {
        officers();
        codes();
        customers();
        assignments();
        return m_summary;
    }

private:
    const QVariant &day(int daysFromToday) const
    {
        return m_days.at(qBound(0, daysFromToday + kHistoryDays, int(m_days.size()) - 1));
    }
    QVariant ts(int daysFromToday, int minute) const
    {
        return QVariant(day(daysFromToday).toString() +
                        QStringLiteral(" %1:%2:00.000")
                            .arg(8 + minute / 60 % 10, 2, 10, QLatin1Char('0'))
                            .arg(minute % 60, 2, 10, QLatin1Char('0')));
    }
    void report(const char *stage, qint64 done, qint64 total)
    {
        if (m_progress)
            m_progress(latin(stage), done, total);
    }
    qint64 randomOfficer() { return DemoOfficer::Demo + m_rng.below(m_officerCount); }
    qint64 otherOfficer(qint64 not1, qint64 not2 = 0)
    {
        for (;;) {
            const qint64 o = randomOfficer();
            if (o != not1 && o != not2)
                return o;
        }
    }

    void officers()
    {
        struct Fixed {
            qint64 id;
            const char *last, *first, *middle;
        };
        // Every shape of name that the display rule handles.
        const Fixed fixed[] = {{DemoOfficer::System, "SYSTEM", "", ""},
                               {DemoOfficer::Demo, "smith,jr", "john", "q"},
                               {DemoOfficer::Plain, "Brown,SR", "Ann", ""},
                               {DemoOfficer::Heavy, "Doe", "J", ""},
                               {DemoOfficer::Typical, "Roe", "", "Ann"},
                               {1005, "O'Neil", "Patrick", "M"},
                               {1006, "Van der Berg", "Kim", "Lee"},
                               {DemoOfficer::Retired, "Ellis", "Grace", "B"}};
        BulkInsert officer(m_db, "OFFICER",
                           "INSP_ID, INSP_NME_LST, INSP_NME_FRST, INSP_NME_MDL_INT, REGION, "
                           "EFCTV_DT, END_DT",
                           7, 100);
        BulkInsert right(m_db, "USR_RGHT", "INSP_ID, NAME, KIND", 3, 200);
        const QVariant since = day(-kHistoryDays);
        const QString assignment = latin("Assignment");
        const QString closers = latin("ASSIGNMENTCLOSERS");
        for (const Fixed &f : fixed)
            officer.add({f.id, latin(f.last), latin(f.first), latin(f.middle), latin("NE"), since,
                         f.id == DemoOfficer::Retired ? day(-30) : QVariant()});
        right.add({DemoOfficer::Demo, assignment, latin("R")});
        right.add({DemoOfficer::Demo, closers, latin("G")});
        right.add({DemoOfficer::Demo, latin("AssignmentListAll"), latin("R")});
        // The refund chain's rights: the demo officer may take any step, and four officers
        // between them take one refund from preparation to the mail date.
        const char *const refundSteps[] = {"RefundPrepare", "RefundVerify", "RefundApprove",
                                           "RefundIssue", "RefundVoid"};
        for (const char *r : refundSteps)
            right.add({DemoOfficer::Demo, latin(r), latin("R")});
        right.add({DemoOfficer::Typical, latin("RefundPrepare"), latin("R")});
        right.add({DemoOfficer::Typical, latin("RefundVerify"), latin("R")});
        right.add({1005, latin("RefundApprove"), latin("R")});
        right.add({1005, latin("RefundVoid"), latin("R")});
        right.add({1006, latin("RefundIssue"), latin("R")});
        right.add({DemoOfficer::Heavy, assignment, latin("R")});
        right.add({DemoOfficer::Typical, assignment, latin("R")});
        right.add({1005, assignment, latin("R")});
        right.add({1005, closers, latin("G")});
        const qint64 last = DemoOfficer::Demo + m_officerCount - 1;
        for (qint64 id = DemoOfficer::Retired + 1; id <= last; ++id) {
            QString lastName = latin(m_rng.pick(kLastNames));
            if (m_rng.below(25) == 0)
                lastName += latin(m_rng.pick(kSuffixes));
            QString first = latin(m_rng.pick(kFirstNames));
            const int f = m_rng.below(30);
            if (f == 0)
                first.clear();
            else if (f < 4)
                first = first.left(1);
            const int m = m_rng.below(10);
            const QString middle = m < 4 ? QString() : latin(m_rng.pick(kMiddleNames));
            const QString region = m_rng.below(10) < 6 ? latin("NE") : latin(m_rng.pick(kRegions));
            // A few have left the service: they can be read but not sent work.
            const QVariant ended = id % 50 == 0 ? day(-30) : QVariant();
            officer.add({id, lastName, first, middle, region, since, ended});
            if (m_rng.below(10) < 7)
                right.add({id, assignment, latin("R")});
            if (m_rng.below(10) == 0)
                right.add({id, closers, latin("G")});
        }
        officer.finish();
        right.finish();
        m_summary.officers = officer.count();
        report("officers", officer.count(), officer.count());
    }

    void codes()
    {
        BulkInsert code(m_db, "ZTB_CODE",
                        "REGION, CD_TBL_ID, CD_TBL_CD, CD_TBL_DES, ADDL_INFO, EFCTV_DT, END_DT", 7,
                        50);
        BulkInsert type(m_db, "ZTB_ASGNMT_TYPE",
                        "REGION, ASGNMT_CD, ASGNMT_DES, CRTR_CLS_IND, DUE_DY_CNT, "
                        "EXPRTN_DY_CNT, RSN_FOR_CHNG_TXT, SYS_IND",
                        8, 50);
        for (const char *region : kRegions) {
            for (const CodeRow &c : kCodes) {
                const QVariant effective =
                    QVariant(m_opt.today.addDays(-c.effectiveDaysAgo).toString(Qt::ISODate));
                const QVariant ended = c.endedDaysAgo ? day(-c.endedDaysAgo) : QVariant();
                code.add({latin(region), latin(c.table), latin(c.code), latin(c.description),
                          latin(c.info), effective, ended});
            }
            for (const TypeRow &t : kTypes) {
                type.add({latin(region), latin(t.code), latin(t.description),
                          latin(t.creatorCloses), t.due < 0 ? QVariant() : QVariant(t.due),
                          t.expiration < 0 ? QVariant() : QVariant(t.expiration),
                          latin("Set by the region's administrator"), latin(t.system)});
            }
        }
        code.finish();
        type.finish();
        BulkInsert troop(m_db, "TROOP", "TRP_ID, TRP_DIST_ID, TRP_DES", 3, 50);
        for (const char *t : kTroops) {
            troop.add({latin(t), latin(""), QStringLiteral("TROOP %1").arg(latin(t))});
            for (const char *d : {"1", "2", "3", "12"})
                troop.add({latin(t), latin(d),
                           QStringLiteral("TROOP %1 DISTRICT %2").arg(latin(t), latin(d))});
        }
        troop.finish();
        touchCodeTables(m_db);
    }

    void customers()
    {
        BulkInsert customer(m_db, "CUSTOMER", "CUST_ID, CUST_NM, ADDR_1, ADDR_2, CITY, STATE, ZIP",
                            7, 200);
        BulkInsert form(m_db, "CUST_FORM",
                        "CUST_ID, REF_TYP_CD, FORM_NBR, FORM_CK_DGT_NBR, ASSMT_DUE_AMT, BAL_DUE, "
                        "LST_PYMT_DT, CTTN_STTS_CD, STP_DT",
                        9, 200);
        for (int k = 0; k < m_customerCount; ++k) {
            const QString id = QString::number(400000001 + k);
            m_customers.append(id);
            const QString name =
                k % 3 == 0 ? latin(m_rng.pick(kCompanies)) + QStringLiteral(" #%1").arg(k)
                           : QStringLiteral("%1, %2").arg(latin(m_rng.pick(kLastNames)).toUpper(),
                                                          latin(m_rng.pick(kFirstNames)).toUpper());
            customer.add({id, name,
                          QStringLiteral("%1 %2")
                              .arg(10 + m_rng.below(9000))
                              .arg(latin(m_rng.pick(kStreets))),
                          m_rng.below(4) == 0
                              ? QVariant(QStringLiteral("Suite %1").arg(100 + m_rng.below(400)))
                              : QVariant(),
                          latin(m_rng.pick(kCities)), latin(m_rng.pick(kStates)),
                          QStringLiteral("%1").arg(10000 + m_rng.below(89999))});
            const int forms = m_rng.below(5);
            for (int f = 0; f < forms; ++f) {
                const int number = 1000000 + (k * 7 + f) % 9000000;
                const QString digits = QStringLiteral("%1").arg(number, 7, 10, QLatin1Char('0'));
                const int check = CitationCheckDigit(digits);
                const QString type = latin(kFormTypes[(k + f) % 3]);
                const double due = double(50 + m_rng.below(200000)) / 100.0 * 10;
                const double balance = m_rng.below(3) == 0 ? 0.0 : due * m_rng.below(100) / 100.0;
                const QString status = latin(m_rng.pick(kFormStatuses));
                form.add({id, type, number, check, due, std::round(balance * 100) / 100,
                          m_rng.below(3) == 0 ? QVariant() : day(-m_rng.below(kHistoryDays)),
                          status, day(-m_rng.below(kHistoryDays) + 200)});
                m_forms.push_back(Form{digits + u'-' + QString::number(check), type});
            }
            moreForms(id, k, form);
        }
        customer.finish();
        form.finish();
        m_summary.customers = customer.count();
        m_summary.forms = form.count();
        report("customers", customer.count(), customer.count());
    }

    // Forms beyond the few citations any customer may have: business accounts, other
    // documents, and every thousandth customer (the second one first) with hundreds of forms.
    // They draw on a stream of their own so that the rest of the demo stays as it was.
    void moreForms(const QString &customer, int k, BulkInsert &form)
    {
        struct Share {
            const char *type;
            int count;
        };
        QVarLengthArray<Share, 5> shares;
        if (k % 1000 == 1) {
            shares.append({"CIT", 180 + m_formRng.below(60)});
            shares.append({"PKG", 40 + m_formRng.below(30)});
            shares.append({"WRN", 20 + m_formRng.below(10)});
            shares.append({"ACC", 2});
            shares.append({"OTH", 3});
        } else {
            if (k % 3 == 0) // the companies
                shares.append({"ACC", k % 6 == 0 ? 2 : 1});
            if (k % 5 == 2)
                shares.append({"OTH", 1});
        }
        for (const Share &share : shares) {
            for (int n = 0; n < share.count; ++n)
                addForm(customer, latin(share.type), form);
        }
    }

    // Amounts, payments and stop dates that fit the status: paid and dismissed forms owe
    // nothing, written-off ones all of it, stopped ones were stopped in the past.
    void addForm(const QString &customer, const QString &type, BulkInsert &form)
    {
        const int number = m_nextForm;
        m_nextForm += 1 + m_formRng.below(40);
        const int check =
            CitationCheckDigit(QStringLiteral("%1").arg(number, 7, 10, QLatin1Char('0')));
        const int roll = m_formRng.below(100);
        const char *status = roll < 45   ? "A"
                             : roll < 70 ? "P"
                             : roll < 80 ? "S"
                             : roll < 90 ? "D"
                                         : "W";
        const double due = double(2500 + m_formRng.below(250000)) / 100.0;
        double balance = 0;
        if (status[0] == 'A')
            balance = due * (20 + m_formRng.below(81)) / 100.0;
        else if (status[0] == 'S')
            balance = due * m_formRng.below(100) / 100.0;
        else if (status[0] == 'W')
            balance = due;
        const bool paid = status[0] == 'P' || m_formRng.below(3) == 0;
        const QVariant lastPayment = paid ? day(-m_formRng.below(1500)) : QVariant();
        const QVariant stop = status[0] == 'S' ? day(-m_formRng.below(1500))
                                               : day(-m_formRng.below(kHistoryDays) + 200);
        form.add({customer, type, number, check, due, std::round(balance * 100) / 100, lastPayment,
                  latin(status), stop});
    }

    int pickType()
    {
        int roll = m_rng.below(100);
        for (int t = 0; t < int(std::size(kTypes)); ++t) {
            if (roll < kTypes[t].weight)
                return t;
            roll -= kTypes[t].weight;
        }
        return 0;
    }

    void assignments()
    {
        BulkInsert asg(m_db, "ASGNMT",
                       "ASGNMT_NBR, ASGNMT_TYP_CD, ASGNMT_STTS_CD, OFCR_FRM_ID, OFCR_TO_ID, "
                       "OFCR_CRTR_ID, AGNCY_CD, TRP_ID, TRP_DIST_ID, ASGNMT_DT, EFCTV_DT, "
                       "DUE_DT, EXPRTN_DT, CLSE_DT, ASGNMT_CMMT_TXT, ASGNMT_SBJCT_TXT, FORM_NBR, "
                       "FORM_TYP_CD, STATION_ID, NTFY_IND, HIST_CNT, ORIG_ASGNMT_NBR, "
                       "LST_UPDT_TS",
                       23, 40);
        BulkInsert hist(m_db, "ASGNMT_HIST",
                        "HIST_ID, ASGNMT_NBR, ACTION, LST_UPDT_TS, UPDT_BY_ID, ASGNMT_TYP_CD, "
                        "ASGNMT_STTS_CD, OFCR_FRM_ID, OFCR_TO_ID, OFCR_CRTR_ID, AGNCY_CD, "
                        "TRP_ID, TRP_DIST_ID, ASGNMT_DT, EFCTV_DT, DUE_DT, EXPRTN_DT, CLSE_DT, "
                        "ASGNMT_CMMT_TXT, ASGNMT_SBJCT_TXT, FORM_NBR, FORM_TYP_CD, STATION_ID",
                        23, 40);
        BulkInsert refund(m_db, "REFUND",
                          "RFND_NBR, CUST_ID, ASGNMT_NBR, RCPT_NBR, RFND_AMT, RFND_TO, STTS_CD, "
                          "CREATED_DT, CREATOR_ID, VERIFY_ID, APPROVE_ID, RFND_BY_ID, VOID_ID, "
                          "QRT_CMMT_TXT, FISCAL_CMMT_TXT, RFND_CD, WRNT_NBR, RFND_DT, DT_MLD, "
                          "LST_UPDT_TS",
                          20, 40);
        QList<QVariant> statusText, typeCode, subjects, comments;
        for (const char *s : {"O", "F", "R", "C"})
            statusText.append(latin(s));
        for (const TypeRow &t : kTypes)
            typeCode.append(latin(t.code));
        for (const char *s : kSubjects)
            subjects.append(latin(s));
        for (const char *c : kComments)
            comments.append(latin(c));
        const QVariant null;
        const QVariant add = latin("ADD"), forward = latin("FORWARD"), reply = latin("REPLY"),
                       close = latin("CLOSE"), reopen = latin("REOPEN");
        const QVariant no = latin("N"), yes = latin("Y");
        const qint64 total = m_opt.assignments;
        const qint64 demoShare = qMin<qint64>(kDemoShare, total / 2);
        qint64 histId = 0;
        qint64 refunds = 0;

        for (qint64 i = 0; i < total; ++i) {
            const qint64 number = i + 1;
            const bool demo = i < demoShare;
            // Addressee.
            QVariant toOfficer, agency, troop, district;
            if (demo) {
                toOfficer = DemoOfficer::Demo;
            } else if (i % 20 == 0) {
                toOfficer = DemoOfficer::Heavy;
            } else {
                const int kind = m_rng.below(100);
                if (kind < 7) {
                    agency = latin(m_rng.pick(kAgencies));
                } else if (kind < 14) {
                    troop = latin(m_rng.pick(kTroops));
                    district = m_rng.below(3) == 0 ? QVariant() : QVariant(latin("2"));
                } else {
                    // An even share for everybody but the heavy officer, who has his
                    // every-20th already.
                    toOfficer = otherOfficer(DemoOfficer::Heavy);
                }
            }
            const int type = demo && i % 6 == 5 ? kRefundType : pickType();
            const TypeRow &kind = kTypes[type];
            const bool system = kind.system[0] == 'Y';
            // Status: the demo officer gets three open ones (open, forwarded, replied) for
            // every closed one; the rest are rolled.
            int status; // index into O, F, R, C
            if (demo)
                status = i % 4 == 3 ? 3 : int(i % 3);
            else {
                const int roll = m_rng.below(100);
                status = roll < 40 ? 0 : roll < 55 ? 1 : roll < 70 ? 2 : 3;
            }
            if (system && status == 2)
                status = 0; // nobody replies to what the system generated
            const int ago = demo ? m_rng.below(200) : m_rng.below(kHistoryDays);
            const qint64 receiver = toOfficer.isNull() ? 0 : toOfficer.toLongLong();
            const qint64 creator = system ? DemoOfficer::System : otherOfficer(receiver);
            const qint64 sender = status == 1 ? otherOfficer(receiver, creator) : creator;
            const QVariant assigned = day(-ago);
            const int dueDays = qMax(0, kind.due), expDays = qMax(0, kind.expiration);
            const QVariant closed = status == 3 ? day(-ago + qMin(ago, m_rng.below(60))) : null;
            QVariant formNumber, formType;
            if (!m_forms.empty() && !system && m_rng.below(10) < 4) {
                const Form &f = m_forms[size_t(m_rng.below(int(m_forms.size())))];
                formNumber = f.number;
                formType = f.type;
            }
            const QVariant comment = comments.at(m_rng.below(int(comments.size())));
            const QVariant subject = subjects.at(m_rng.below(int(subjects.size())));
            const QVariant station =
                m_rng.below(3) == 0 ? QVariant()
                                    : QVariant(QStringLiteral("ST%1").arg(m_rng.below(40), 2, 10,
                                                                          QLatin1Char('0')));
            const QVariant notify = m_rng.below(2) ? yes : no;
            // History: the creation, then the step that gave the status. Some open ones were
            // closed and reopened on the way.
            QVarLengthArray<std::pair<QVariant, int>, 4> steps; // action, status index
            steps.append({add, 0});
            if (status == 1)
                steps.append({forward, 1});
            else if (status == 2)
                steps.append({reply, 2});
            else if (status == 3)
                steps.append({close, 3});
            else if (m_rng.below(8) == 0) {
                steps.append({close, 3});
                steps.append({reopen, 0});
            }
            int minute = m_rng.below(480);
            for (qsizetype s = 0; s < steps.size(); ++s) {
                const int st = steps.at(s).second;
                const QVariant by =
                    s == 0 ? QVariant(creator) : QVariant(st == 2 && receiver ? receiver : sender);
                hist.add({++histId,
                          number,
                          steps.at(s).first,
                          ts(-ago, minute),
                          by,
                          typeCode.at(type),
                          statusText.at(st),
                          s == 0 ? QVariant(creator) : QVariant(sender),
                          toOfficer,
                          creator,
                          agency,
                          troop,
                          district,
                          assigned,
                          assigned,
                          day(-ago + dueDays),
                          day(-ago + expDays),
                          st == 3 ? closed : null,
                          comment,
                          subject,
                          formNumber,
                          formType,
                          station});
                minute += 17;
            }
            asg.add({number,
                     typeCode.at(type),
                     statusText.at(status),
                     sender,
                     toOfficer,
                     creator,
                     agency,
                     troop,
                     district,
                     assigned,
                     assigned,
                     day(-ago + dueDays),
                     day(-ago + expDays),
                     closed,
                     comment,
                     subject,
                     formNumber,
                     formType,
                     station,
                     notify,
                     qint64(steps.size()),
                     null,
                     ts(-ago, minute)});
            if (type == kRefundType)
                addRefund(refund, ++refunds, number, -ago, demo);
            if ((i + 1) % 50000 == 0 || i + 1 == total)
                report("assignments", i + 1, total);
        }
        asg.finish();
        hist.finish();
        refund.finish();
        m_summary.assignments = asg.count();
        m_summary.history = hist.count();
        m_summary.refunds = refund.count();
    }

    // A refund at every worksheet status in turn, its officers filled up to its status. The
    // demo officer's refunds are prepared, verified and approved by others, so that he can
    // take each of them one step further.
    void addRefund(BulkInsert &refund, qint64 number, qint64 assignment, int assignedDay, bool demo)
    {
        const QString status = latin(kRefundStatuses[(number - 1) % 8]);
        const int step = status == u"V"                     ? 1 + int(number % 3)
                         : status == u"T" || status == u"5" ? 5
                                                            : status.toInt();
        const qint64 a = demo ? DemoOfficer::Plain : randomOfficer();
        const qint64 b = demo ? DemoOfficer::Heavy : otherOfficer(a);
        const qint64 c = demo ? DemoOfficer::Plain : otherOfficer(b);
        const qint64 d = demo ? DemoOfficer::Heavy : randomOfficer();
        const QVariant null;
        const bool issued = status == u"4" || status == u"5" || status == u"T";
        const bool transferred = status == u"T";
        const int created = qMin(0, assignedDay + 1);
        const int refunded = qMin(0, created + 5);
        refund.add({number,
                    m_customers.at(m_rng.below(int(m_customers.size()))),
                    assignment,
                    QStringLiteral("R%1").arg(m_rng.below(9999999), 7, 10, QLatin1Char('0')),
                    double(100 + m_rng.below(500000)) / 100.0,
                    step >= 1 ? QVariant(QString::number(2 + m_rng.below(3))) : null,
                    status,
                    step >= 1 ? day(created) : null,
                    step >= 1 ? QVariant(a) : null,
                    step >= 2 ? QVariant(b) : null,
                    step >= 3 ? QVariant(c) : null,
                    issued ? QVariant(d) : null,
                    status == u"V" ? QVariant(DemoOfficer::Heavy) : null,
                    step >= 1 ? QVariant(latin("Overpayment confirmed by headquarters.")) : null,
                    transferred ? QVariant(latin("Transferred to the 2024 assessment.")) : null,
                    issued ? QVariant(latin(transferred ? "0" : "1")) : null,
                    issued && !transferred ? QVariant(QStringLiteral("W%1").arg(number)) : null,
                    issued ? day(refunded) : null,
                    status == u"5" ? day(qMin(0, refunded + 3)) : null,
                    ts(created, 30)});
    }

    Database &m_db;
    const DemoOptions &m_opt;
    const DemoProgress &m_progress;
    Rng m_rng;
    int m_officerCount;
    int m_customerCount;
    QList<QVariant> m_days;
    QStringList m_customers;
    std::vector<Form> m_forms;
    Rng m_formRng{m_opt.seed ^ 0x5EEDF0F0ULL};
    int m_nextForm = 2000000;
    DemoSummary m_summary;
};

} // namespace korva::server::demo
