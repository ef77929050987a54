#pragma once

#include "document/assignmententrytab.h"
#include "platform/controls/codescombo.h"
#include "platform/controls/datagrid.h"
#include "platform/controls/dtp.h"
#include "testkit.h"

#include <QApplication>
#include <QDateEdit>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QRegularExpression>
#include <QTest>

#include <memory>

namespace korva::entrytest {

using T = FieldType;

// The assignment types a test's code list answers with.
struct TypeRow {
    const char *code;
    const char *description;
    const char *creatorCloses;
    const char *dueDays;
    const char *expirationDays;
    const char *system;
};

inline RecordSetPtr typeRows(const QList<TypeRow> &rows) {
    QList<QList<QVariant>> values;
    for (const TypeRow &r : rows)
        values.append({QStringLiteral("NE"), QLatin1String(r.code), QLatin1String(r.description),
                       QLatin1String(r.creatorCloses), QLatin1String(r.dueDays),
                       QLatin1String(r.expirationDays), QString(), QLatin1String(r.system)});
    return testkit::makeRecordSet(QStringLiteral("ZTB_ASGNMT_TYPE"),
                                  {{QStringLiteral("REGION"), T::Text},
                                   {QStringLiteral("ASGNMT_CD"), T::Text},
                                   {QStringLiteral("ASGNMT_DES"), T::Text},
                                   {QStringLiteral("CRTR_CLS_IND"), T::Text},
                                   {QStringLiteral("DUE_DY_CNT"), T::Text},
                                   {QStringLiteral("EXPRTN_DY_CNT"), T::Text},
                                   {QStringLiteral("RSN_FOR_CHNG_TXT"), T::Text},
                                   {QStringLiteral("SYS_IND"), T::Text}},
                                  values);
}

inline RecordSetPtr standardTypes() {
    return typeRows({{"001", "Referral", "N", "10", "30", "N"},
                     {"007", "Follow-up Citation", "Y", " 5 ", "15", "N"},
                     {"900", "Refund Request", "N", "", "", "Y"},
                     {"PCE", "Payment Correction", "X", "", "", "N"},
                     {"050", "Long Haul", "N", "-20000", "20000", "N"}});
}

// Rows of one code table (REFDOCTYP, AGENCY) from the sample reference data.
inline RecordSetPtr codeTable(const QString &query) {
    const BrokerReply data = testkit::sampleReferenceReply();
    RecordSetPtr codes = data.recordSet(QStringLiteral("ZTB_CODE"))->clone();
    const QRegularExpression table(QStringLiteral("CD_TBL_ID\\s*=\\s*'([^']*)'"));
    const QRegularExpressionMatch m = table.match(query);
    codes->setFilter(
        QStringLiteral("CD_TBL_ID = '%1'").arg(m.hasMatch() ? m.captured(1) : QString()));
    return codes;
}

// Validators that record what they were asked, answering from the sample reference data.
class SpyValidators : public Validators {
public:
    explicit SpyValidators(Validators *real)
        : m_real(real) {}
    AccountCheck ValidateAccountNumber(const QString &typeId,
                                       const QString &number) const override {
        calls.append(QStringLiteral("account %1 %2").arg(typeId, number));
        return m_real->ValidateAccountNumber(typeId, number);
    }
    bool ValidateOfficer(qint32 id, const QDate &on) const override {
        return m_real->ValidateOfficer(id, on);
    }
    bool LookupOfficer(qint32 id) const override { return m_real->LookupOfficer(id); }
    bool ValidateTroop(const QString &troop) const override {
        calls.append(QStringLiteral("troop %1").arg(troop));
        return m_real->ValidateTroop(troop);
    }
    bool ValidateTroopDistrict(const QString &troop, const QString &district) const override {
        calls.append(QStringLiteral("district %1 %2").arg(troop, district));
        return m_real->ValidateTroopDistrict(troop, district);
    }
    bool agencyExists(const QString &code) const override { return m_real->agencyExists(code); }

    QStringList startingWith(const QString &kind) const {
        return calls.filter(QRegularExpression(QLatin1Char('^') + kind + QLatin1Char(' ')));
    }
    mutable QStringList calls;

private:
    Validators *m_real;
};

// One entry tab on a platform of test doubles, shown and active so focus moves for real.
class EntryFixture {
public:
    explicit EntryFixture(RecordSetPtr types = standardTypes())
        : spy(tp.validators) {
        tp.validators = &spy;
        tp.codeList.handler = [types](const QString &query) {
            return query.contains(QStringLiteral("ZTB_ASGNMT_TYPE")) ? types->clone()
                                                                     : codeTable(query);
        };
    }

    AssignmentEntryTab &tab() {
        if (!m_tab) {
            m_tab = std::make_unique<AssignmentEntryTab>();
            m_tab->resize(900, 640);
            m_tab->show();
            m_tab->activateWindow();
            if (!QTest::qWaitForWindowActive(m_tab.get()))
                qWarning("the entry tab did not become active");
        }
        return *m_tab;
    }

    template <class W> W *find(const QString &name) {
        W *w = tab().findChild<W *>(name);
        if (!w)
            qWarning("no control %s", qPrintable(name));
        return w;
    }
    QLineEdit *box(int i) { return find<QLineEdit>(QStringLiteral("txtBox(%1)").arg(i)); }
    QPlainTextEdit *comment() { return find<QPlainTextEdit>(QStringLiteral("txtBox(3)")); }
    KORVA_CodesCombo *combo(int i) {
        return find<KORVA_CodesCombo>(QStringLiteral("cboFTBox(%1)").arg(i));
    }
    KORVA_DTP *date(int i) { return find<KORVA_DTP>(QStringLiteral("dtpFTDate(%1)").arg(i)); }
    QRadioButton *option(int i) {
        return find<QRadioButton>(QStringLiteral("optButton(%1)").arg(i));
    }

    // Types into a box as the user does: focus, then keys.
    void type(int i, const QString &text) {
        box(i)->setFocus();
        QTest::keyClicks(box(i), text);
    }
    // Moves the focus on to the subject box, so that the control that had it loses it.
    void leave(QWidget *control) {
        control->setFocus();
        QLineEdit *subject = box(4);
        if (control == subject)
            comment()->setFocus();
        else
            subject->setFocus();
    }
    // The user picks a date in a picker.
    void pick(int i, const QDate &day) { date(i)->editor()->setDate(day); }

    QString checked() {
        tab().CheckEdits();
        return tab().errorText();
    }
    bool marked(QWidget *control) const { return tp.fieldMarks.isMarked(control); }
    QDate today() const { return tp.fixedClock.today(); }
    int beeps() const { return tp.beeps.beeps; }

    // Officers chosen through the add-officers dialog, as the document hands them over.
    void listOfficers(const QList<int> &ids) {
        QList<QList<QVariant>> rows;
        for (int id : ids)
            rows.append({id, QStringLiteral("Last%1").arg(id), QStringLiteral("First"),
                         QStringLiteral("M")});
        tab().adoOfficers->setRecordSet(
            testkit::makeRecordSet(QStringLiteral("OFFICER"),
                                   {{QStringLiteral("INSP_ID"), T::Integer},
                                    {QStringLiteral("INSP_NME_LST"), T::Text},
                                    {QStringLiteral("INSP_NME_FRST"), T::Text},
                                    {QStringLiteral("INSP_NME_MDL_INT"), T::Text}},
                                   rows));
    }

    QByteArray reports() const {
        QStringList lines;
        for (const auto &r : tp.reporter.reports)
            lines.append(r.source + QStringLiteral(": ") + r.text);
        return lines.join(u'\n').toUtf8();
    }

    testkit::TestPlatform tp;
    SpyValidators spy;

private:
    std::unique_ptr<AssignmentEntryTab> m_tab;
};

} // namespace korva::entrytest
