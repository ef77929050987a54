#include "shellsession.h"

#include "shellwindow.h"
#include "signonproblem.h"

#include "common/modassignmaint.h"
#include "platform/asyncbroker.h"
#include "platform/formservices.h"
#ifdef KORVA_HAVE_NETWORK
#include "platform/errors.h"
#include "platform/natsbroker.h"
#include "server/servicecodes.h"
#endif
#include "platform/referencedata.h"
#include "platform/session.h"
#include "platform/spellcheck.h"
#include "platform/templateprint.h"
#include "platform/templateprintoutput.h"
#include "server/demodata.h"
#include "server/server.h"
#include "server/servererror.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QSettings>
#include <QStandardPaths>

namespace korva {

namespace {

constexpr int kCustomerSearchKind = 93;

QList<CustomerInfo> searchCustomers(Broker *broker, const UserContext *user, const QString &text,
                                    int limit)
{
    BrokerRequest request;
    request.setMessageId(QStringLiteral("KORVA.CUSTOMERSEARCH"));
    request.setVersion(user->versionText());
    request.setKind(kCustomerSearchKind);
    request.setContext(user->contextText());
    request.addParameter(RequestParameter::key(QStringLiteral("TEXT"), text));
    request.addParameter(RequestParameter::key(QStringLiteral("LIMIT"), QString::number(limit)));
    const BrokerReply reply = broker->call(request);
    QList<CustomerInfo> found;
    const RecordSetPtr rs =
        reply.error.isEmpty() ? reply.recordSet(QStringLiteral("CUSTOMER")) : RecordSetPtr();
    if (!rs)
        return found;
    for (rs->moveFirst(); !rs->isEOF(); rs->moveNext())
        found.append({rs->text(u"CUST_ID"), rs->text(u"CUST_NM")});
    return found;
}

} // namespace

ShellSession::ShellSession(StartOptions options)
    : m_options(std::move(options))
{
    m_platform.messages = m_boxes;
}

ShellSession::~ShellSession()
{
#ifdef KORVA_HAVE_NETWORK
    // The service ends the session now rather than when it idles out.
    if (m_bus && !m_bus->sessionToken().isEmpty()) {
        m_bus->setTimeout(2000);
        BrokerRequest bye;
        bye.setMessageId(QStringLiteral("KORVA.SIGNOFF"));
        bye.setKind(RequestKind::SignOff);
        m_bus->call(bye);
    }
#endif
    if (m_signedOn && &Platform::current() == &m_platform)
        Platform::install(m_previous);
    m_host.setWindow(nullptr);
}

QString ShellSession::applicationTitle()
{
    return QStringLiteral("Korva Assignments");
}

void ShellSession::setMessageBoxes(MessageBoxes *boxes)
{
    m_boxes = boxes ? boxes : &m_qtBoxes;
    m_platform.messages = m_boxes;
    if (m_reporter)
        m_reporter = std::make_unique<DialogErrorReporter>(m_boxes);
    m_platform.errors = m_reporter.get();
}

bool ShellSession::fail(const QString &text)
{
    m_error = text;
    return false;
}

QString ShellSession::dataFolder() const
{
    return m_dataFolder.isEmpty()
               ? QStandardPaths::writableLocation(QStandardPaths::AppDataLocation)
               : m_dataFolder;
}

QString ShellSession::databaseText() const
{
    if (m_options.networked())
        return m_options.broker;
    try {
        return server::StoreAddress::parse(m_options.connection).display();
    } catch (const server::RequestError &) {
        return m_options.connection;
    }
}

bool ShellSession::prepareDatabase()
{
    if (m_options.networked())
        return true; // the service's store, not this desk's
    server::StoreAddress target;
    try {
        target = server::StoreAddress::parse(m_options.connection);
    } catch (const server::RequestError &e) {
        return fail(e.text());
    }
    const bool missing =
        target.dialect == server::Dialect::Sqlite && !QFileInfo::exists(target.path);
    if (!missing && !m_options.rebuildDemo)
        return true;
    if (missing)
        QDir().mkpath(QFileInfo(target.path).absolutePath());

    server::DemoOptions demo;
    demo.assignments = m_options.demoAssignments;
    demo.force = m_options.rebuildDemo;
    try {
        server::generateDemo(server::ServerSettings(m_options.connection), demo, m_progress);
    } catch (const std::exception &e) {
        // A half-made file would pass for a database on the next start.
        if (missing)
            QFile::remove(target.path);
        const QString reason = dynamic_cast<const server::RequestError *>(&e)
                                   ? static_cast<const server::RequestError &>(e).text()
                                   : QString::fromUtf8(e.what());
        return fail(QStringLiteral("The demo database could not be made.\n\n%1\n\nDatabase: %2")
                        .arg(reason, target.display()));
    }
    m_createdDemo = true;
    return true;
}

QString ShellSession::signOnFailure(const QString &reason) const
{
    return QStringLiteral("Officer %1 could not sign on to %2.\n\n%3\n\nDatabase: %4")
        .arg(m_options.officerId)
        .arg(applicationTitle(), reason, databaseText());
}

QString ShellSession::signOnWithPassword(int officer, const QString &password)
{
#ifdef KORVA_HAVE_NETWORK
    try {
        if (!m_bus) {
            NatsSettings bus;
            bus.url = m_options.broker;
            if (!m_options.brokerSubject.isEmpty())
                bus.subject = m_options.brokerSubject;
            bus.caFile = m_options.brokerCaFile;
            bus.certFile = m_options.brokerCertFile;
            bus.keyFile = m_options.brokerKeyFile;
            bus.desk = m_options.brokerDesk;
            bus.seedFile = m_options.brokerSeedFile;
            bus.name = QStringLiteral("korva desk");
            m_bus = std::make_unique<NatsBroker>(bus);
            m_bus->setTimeout(m_options.brokerTimeoutMs);
        }
    } catch (const ProcError &e) {
        return explainSignOnProblem(e.description(), m_options, QSettings().fileName());
    }
    BrokerRequest request;
    request.setMessageId(QStringLiteral("KORVA.SIGNON"));
    request.setVersion(QStringLiteral(KORVA_VERSION_TEXT));
    request.setKind(RequestKind::SignOn);
    request.addParameter(
        RequestParameter::key(QStringLiteral("OFFICER"), QString::number(officer)));
    request.addParameter(RequestParameter::key(QStringLiteral("PASSWORD"), password));
    m_bus->setSessionToken(QString());
    const BrokerReply reply = m_bus->call(request);
    const RecordSetPtr rs = reply.recordSet(QStringLiteral("SESSION"));
    if (!reply.error.isEmpty())
        return explainSignOnProblem(reply.error, m_options, QSettings().fileName());
    if (!rs || rs->count() != 1)
        return QStringLiteral("The service's sign-on reply holds no session.");
    rs->moveFirst();
    m_bus->setSessionToken(rs->text(u"TOKEN"));
    m_options.officerId = officer;
    return {};
#else
    Q_UNUSED(officer)
    Q_UNUSED(password)
    return QStringLiteral("This build of the program has no networked broker.");
#endif
}

bool ShellSession::signOn()
{
    if (m_signedOn)
        return true;
    if (m_options.networked()) {
#ifdef KORVA_HAVE_NETWORK
        if (!m_bus || m_bus->sessionToken().isEmpty())
            return fail(signOnFailure(QStringLiteral("The password was not given.")));
        m_active = m_bus.get();
#else
        return fail(signOnFailure(signOnWithPassword(0, QString())));
#endif
    } else {
        try {
            server::StoreAddress::parse(m_options.connection);
        } catch (const server::RequestError &e) {
            return fail(signOnFailure(e.text()));
        }
        m_broker = std::make_unique<AsyncBroker>(
            server::makeBackendFactory(server::ServerSettings(m_options.connection)));
        m_broker->setTimeout(m_options.brokerTimeoutMs);
        m_active = m_broker.get();
    }

    // The region is not known before the officer's row is read: the server takes an empty
    // region in the context as the officer's own, so one round trip serves both.
    const SessionUser probe(m_options.officerId, QString());
    const BrokerReply reply = m_active->call(makeReferenceDataRequest(probe));
    if (!reply.error.isEmpty())
        return fail(signOnFailure(reply.error));

    std::optional<OfficerInfo> me;
    {
        const ReferenceData all(reply, QString(), m_clock.today());
        me = all.officer(m_options.officerId);
    }
    if (!me)
        return fail(signOnFailure(
            QStringLiteral("Officer %1 is not known to this database.").arg(m_options.officerId)));
    if (me->activeTo.isValid() && me->activeTo < m_clock.today())
        return fail(signOnFailure(QStringLiteral("The officer's record ended on %1.")
                                      .arg(me->activeTo.toString(QStringLiteral("MM/dd/yyyy")))));

    m_user = std::make_unique<SessionUser>(m_options.officerId, me->region);
    m_user->setApplication(applicationTitle(), QStringLiteral("KORVA"),
                           QStringLiteral(KORVA_VERSION_TEXT));
    m_user->loadRights(reply);
    m_reference = std::make_unique<ReferenceData>(reply, me->region, m_clock.today());
    Broker *broker = m_active;
    const UserContext *user = m_user.get();
    m_reference->setCustomerSearch([broker, user](const QString &text, int limit) {
        return searchCustomers(broker, user, text, limit);
    });
#ifdef KORVA_HAVE_NETWORK
    if (m_options.networked())
        m_codes = std::make_unique<server::LocalCodeList>(reply);
    else
#endif
        m_codes = std::make_unique<BrokerCodeList>(broker, user);
    m_forms = std::make_unique<BrokerFormServices>(user);
    m_forms->setTemplates(reply.recordSet(QStringLiteral("TEMPLATE")));
    m_forms->setDataFolder(dataFolder());
    m_forms->installDefaultTemplates();
    m_spelling = std::make_unique<HunspellSpellChecking>();
    m_printing = std::make_unique<QtTemplatePrinting>(std::make_shared<InteractivePrintOutput>(
        std::make_shared<DialogPrintPrompts>(applicationTitle())));

    installServices();
    m_signedOn = true;
    return true;
}

void ShellSession::installServices()
{
    modMessageTitle::setMessageTitle(applicationTitle());
    m_reporter = std::make_unique<DialogErrorReporter>(m_boxes);
    m_platform.broker = m_active;
    m_platform.messages = m_boxes;
    m_platform.errors = m_reporter.get();
    m_platform.status = &m_status;
    m_platform.pointer = &m_pointer;
    m_platform.clock = &m_clock;
    m_platform.user = m_user.get();
    m_platform.clipboard = &m_clipboard;
    m_platform.beeper = &m_beeper;
    m_platform.marks = &m_marks;
    m_platform.keys = &m_keys;
    m_platform.lookups = m_reference.get();
    m_platform.validators = m_reference.get();
    m_platform.codes = m_codes.get();
    m_platform.host = &m_host;
    m_platform.shell = &m_host;
    m_platform.forms = m_forms.get();
    m_platform.spelling = m_spelling.get();
    m_platform.printing = m_printing.get();
    m_previous = &Platform::current();
    Platform::install(&m_platform);
}

QString ShellSession::officerName() const
{
    if (!m_reference)
        return {};
    // The grid's name rule, so the title and the rows show one officer alike.
    const auto officer = m_reference->officer(int(m_options.officerId));
    if (!officer)
        return {};
    return modAssignMaint::ProperName(officer->lastName, officer->firstName, officer->middleName,
                                      QString());
}

} // namespace korva

namespace korva {

QString ShellSession::sessionText() const
{
    return QStringLiteral("Officer %1  |  Region %2  |  %3")
        .arg(m_options.officerId)
        .arg(m_user ? m_user->region() : QString(), databaseText());
}

std::unique_ptr<ShellWindow> ShellSession::openWindow()
{
    const QString name = officerName();
    const QString officer = name.isEmpty()
                                ? QStringLiteral("Officer %1").arg(m_options.officerId)
                                : QStringLiteral("%1 (%2)").arg(name).arg(m_options.officerId);
    auto window = std::make_unique<ShellWindow>(officer, sessionText());
    m_host.setWindow(window.get());
    m_status.setTarget([target = QPointer<ShellWindow>(window.get())](const QString &text) {
        if (target)
            target->showStatus(text);
    });
#ifdef KORVA_HAVE_NETWORK
    // The list itself is rebuilt only by a search: the officer is told, not the screen.
    if (m_bus)
        m_bus->listenForNotices([target = QPointer<ShellWindow>(window.get())](const QString &) {
            if (!target)
                return;
            target->showStatus(QStringLiteral("New assignment received - Search to refresh"));
            target->noteNewAssignment();
        });
#endif
    return window;
}

} // namespace korva
