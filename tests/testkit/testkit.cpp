#include "testkit.h"

#include "platform/errors.h"
#include "platform/qtservices.h"
#include "platform/referencedata.h"
#include "platform/session.h"

namespace korva::testkit {

int ScriptedMessageBoxes::msgBox(const QString &prompt, int style, const QString &title)
{
    shown.append({prompt, style, title});
    if (!m_script.isEmpty())
        return m_script.takeFirst();
    switch (style & 0x07) {
    case MsgStyle::YesNoCancel:
    case MsgStyle::YesNo:
        return MsgAnswer::Yes;
    default:
        return MsgAnswer::Ok;
    }
}

namespace {

class ScriptedSpellObject : public SpellCheckObject {
public:
    explicit ScriptedSpellObject(ScriptedSpellChecking &owner)
        : m_owner(owner)
    {}
    QString CheckSpelling(const QString &text) override
    {
        m_owner.checkedTexts.append(text);
        return m_owner.correct ? m_owner.correct(text) : text;
    }

private:
    ScriptedSpellChecking &m_owner;
};

class RecordingPrintObject : public TemplatePrintObject {
public:
    RecordingPrintObject(RecordingTemplatePrinting &owner, int job)
        : m_owner(owner)
        , m_job(job)
    {}
    void setTemplatePath(const QString &path) override { job().templatePath = path; }
    void setXml(const QString &xml) override { job().xml = xml; }
    void setExtraValue(const QString &name, const QString &value) override
    {
        job().extra.append({name, value});
    }
    void print() override
    {
        if (m_owner.failPrint)
            raiseError(kComponentError, QStringLiteral("The printer is not available."));
        job().printed = true;
    }
    void close() override { job().closed = true; }

private:
    RecordingTemplatePrinting::Job &job() { return m_owner.jobs[m_job]; }
    RecordingTemplatePrinting &m_owner;
    int m_job;
};

} // namespace

std::unique_ptr<SpellCheckObject> ScriptedSpellChecking::CreateObject(const QString &name,
                                                                      QString *why)
{
    createdNames.append(name);
    if (!available) {
        if (why)
            *why = unavailableReason;
        return nullptr;
    }
    return std::make_unique<ScriptedSpellObject>(*this);
}

QString RecordingFormServices::RequestNumber(const QString &kind, const QString &service,
                                             BrokerMessage &message, QStringList &atHand)
{
    numberRequests.append({kind, service});
    atHand.append(numbersAtHand);
    BrokerRequest request;
    request.setMessageId(service);
    request.setVersion(QStringLiteral("1.0"));
    request.setKind(RequestKind::Number);
    request.addParameter(RequestParameter::key(QStringLiteral("KIND"), kind));
    return message.send(request);
}

std::unique_ptr<TemplatePrintObject> RecordingTemplatePrinting::CreatePrintObject()
{
    jobs.append(Job{});
    return std::make_unique<RecordingPrintObject>(*this, int(jobs.size()) - 1);
}

QString FakeUser::contextText() const
{
    return SessionUser::makeContextText(id, regionCode);
}

RecordSetPtr ScriptedCodeList::openQuery(const QString &queryText)
{
    queries.append(queryText);
    if (handler)
        return handler(queryText);
    return RecordSet::create(QStringLiteral("CODELIST"));
}

void FakeBroker::send(const BrokerRequest &request, BrokerMessage *receiver)
{
    sent.append({request, receiver});
}

BrokerReply FakeBroker::call(const BrokerRequest &request)
{
    calls.append(request);
    if (callHandler)
        return callHandler(request);
    return BrokerReply::failure(request, QStringLiteral("No handler for this call."));
}

FakeBroker::Sent &FakeBroker::at(int index)
{
    return index < 0 ? sent.last() : sent[index];
}

void FakeBroker::replyGood(QList<RecordSetPtr> recordSets, int index)
{
    Sent &s = at(index);
    BrokerReply reply = BrokerReply::success(s.request);
    for (const auto &rs : recordSets)
        reply.recordSets.insert(rs->name(), rs);
    if (s.receiver)
        s.receiver->deliver(reply);
}

void FakeBroker::replyBad(const QString &error, int index)
{
    Sent &s = at(index);
    if (s.receiver)
        s.receiver->deliver(BrokerReply::failure(s.request, error));
}

void FakeBroker::timeoutThenBad(const QString &error, int index)
{
    Sent &s = at(index);
    if (s.receiver)
        s.receiver->deliverTimeout(s.request.messageId());
    if (s.receiver)
        s.receiver->deliver(BrokerReply::failure(s.request, error));
}

void FakeBroker::replyForeign(const QString &identity, int index)
{
    Sent &s = at(index);
    BrokerReply reply = BrokerReply::success(s.request);
    reply.identity = identity;
    if (s.receiver)
        s.receiver->deliver(reply);
}

TestPlatform::TestPlatform()
    : keyFilters(std::make_unique<StandardKeyFilters>())
    , m_previous(&Platform::current())
{
    broker = &fakeBroker;
    messages = &boxes;
    errors = &reporter;
    status = &statusBar;
    pointer = &mouse;
    clock = &fixedClock;
    user = &fakeUser;
    clipboard = &memoryClipboard;
    beeper = &beeps;
    marks = &fieldMarks;
    keys = keyFilters.get();
    codes = &codeList;
    host = &hostNotes;
    shell = &shellServices;
    spelling = &spellChecking;
    forms = &formServices;
    printing = &templatePrinting;
    useReferenceData(sampleReferenceReply());
    Platform::install(this);
}

TestPlatform::~TestPlatform()
{
    Platform::install(m_previous == this ? nullptr : m_previous);
}

void TestPlatform::useReferenceData(const BrokerReply &reply)
{
    auto data = std::make_shared<ReferenceData>(reply, fakeUser.regionCode, fixedClock.today());
    lookupsImpl = data;
    validatorsImpl = data;
    lookups = data.get();
    validators = data.get();
}

RecordSetPtr makeRecordSet(const QString &name, const QList<Field> &fields,
                           const QList<QList<QVariant>> &rows)
{
    auto rs = RecordSet::create(name, fields);
    for (const auto &row : rows) {
        QList<QVariant> values;
        for (int c = 0; c < fields.size(); ++c)
            values.append(
                RecordSet::convert(c < row.size() ? row.at(c) : QVariant(), fields.at(c).type));
        rs->appendStorageRow(values);
    }
    return rs;
}

BrokerReply sampleReferenceReply()
{
    using T = FieldType;
    BrokerReply reply;
    reply.recordSets.insert(
        QStringLiteral("OFFICER"),
        makeRecordSet(
            QStringLiteral("OFFICER"),
            {{QStringLiteral("INSP_ID"), T::Integer},
             {QStringLiteral("INSP_NME_LST"), T::Text},
             {QStringLiteral("INSP_NME_FRST"), T::Text},
             {QStringLiteral("INSP_NME_MDL_INT"), T::Text},
             {QStringLiteral("REGION"), T::Text},
             {QStringLiteral("EFCTV_DT"), T::Date},
             {QStringLiteral("END_DT"), T::Date}},
            {{1001, QStringLiteral("Doe"), QStringLiteral("Jane"), QStringLiteral("Q"),
              QStringLiteral("NE"), QStringLiteral("2000-01-01"), QVariant()},
             {1002, QStringLiteral("smith,jr"), QStringLiteral("john"), QStringLiteral("q"),
              QStringLiteral("NE"), QStringLiteral("2000-01-01"), QVariant()},
             {1003, QStringLiteral("Roe"), QString(), QStringLiteral("Ann"), QStringLiteral("NE"),
              QStringLiteral("2000-01-01"), QVariant()},
             {1004, QStringLiteral("Brown,SR"), QStringLiteral("Al"), QString(),
              QStringLiteral("NE"), QStringLiteral("2000-01-01"), QStringLiteral("2020-12-31")}}));
    reply.recordSets.insert(QStringLiteral("TROOP"),
                            makeRecordSet(QStringLiteral("TROOP"),
                                          {{QStringLiteral("TRP_ID"), T::Text},
                                           {QStringLiteral("TRP_DIST_ID"), T::Text}},
                                          {{QStringLiteral("3"), QString()},
                                           {QStringLiteral("3"), QStringLiteral("A")},
                                           {QStringLiteral("4"), QStringLiteral("B")}}));
    const QList<Field> codeFields{
        {QStringLiteral("REGION"), T::Text},    {QStringLiteral("CD_TBL_ID"), T::Text},
        {QStringLiteral("CD_TBL_CD"), T::Text}, {QStringLiteral("CD_TBL_DES"), T::Text},
        {QStringLiteral("ADDL_INFO"), T::Text}, {QStringLiteral("EFCTV_DT"), T::Date},
        {QStringLiteral("END_DT"), T::Date}};
    auto code = [](const char *table, const char *cd, const char *des, const char *info) {
        return QList<QVariant>{QStringLiteral("NE"),
                               QLatin1String(table),
                               QLatin1String(cd),
                               QLatin1String(des),
                               QLatin1String(info),
                               QStringLiteral("1990-01-01"),
                               QVariant()};
    };
    reply.recordSets.insert(
        QStringLiteral("ZTB_CODE"),
        makeRecordSet(QStringLiteral("ZTB_CODE"), codeFields,
                      {code("REFDOCTYP", "CIT", "Citation", "CITATION"),
                       code("REFDOCTYP", "ACC", "Sales Tax Account", "ACCOUNT"),
                       code("AGENCY", "DOR", "Department of Revenue", ""),
                       code("AGENCY", "SP", "State Police", ""), code("CSTATUS", "O", "Open", ""),
                       code("CSTATUS", "P", "Paid", ""),
                       code("REFUNDTYP", "0", "IN PREPARATION", ""),
                       code("REFUNDTYP", "1", "PREPARED", "")}));
    reply.recordSets.insert(
        QStringLiteral("ZTB_ASGNMT_TYPE"),
        makeRecordSet(
            QStringLiteral("ZTB_ASGNMT_TYPE"),
            {{QStringLiteral("REGION"), T::Text},
             {QStringLiteral("ASGNMT_CD"), T::Text},
             {QStringLiteral("ASGNMT_DES"), T::Text},
             {QStringLiteral("CRTR_CLS_IND"), T::Text},
             {QStringLiteral("DUE_DY_CNT"), T::Text},
             {QStringLiteral("EXPRTN_DY_CNT"), T::Text},
             {QStringLiteral("RSN_FOR_CHNG_TXT"), T::Text},
             {QStringLiteral("SYS_IND"), T::Text}},
            {{QStringLiteral("NE"), QStringLiteral("001"), QStringLiteral("Referral"),
              QStringLiteral("N"), QStringLiteral("30"), QStringLiteral("90"), QString(),
              QStringLiteral("N")},
             {QStringLiteral("NE"), QStringLiteral("007"), QStringLiteral("Follow-up Citation"),
              QStringLiteral("Y"), QStringLiteral("10"), QStringLiteral("20"), QString(),
              QStringLiteral("N")},
             {QStringLiteral("NE"), QStringLiteral("900"), QStringLiteral("Refund Request"),
              QStringLiteral("N"), QString(), QString(), QString(), QStringLiteral("Y")},
             {QStringLiteral("NE"), QStringLiteral("PCE"), QStringLiteral("Payment Correction"),
              QStringLiteral("N"), QStringLiteral("5"), QStringLiteral("5"), QString(),
              QStringLiteral("N")}}));
    return reply;
}

} // namespace korva::testkit
