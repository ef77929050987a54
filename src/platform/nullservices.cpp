#include "nullservices.h"

#include "errors.h"
#include "platform.h"

namespace korva {

namespace {

const QString kNoBroker = QStringLiteral("No message broker is available.");

class NullBroker final : public Broker {
public:
    void send(const BrokerRequest &, BrokerMessage *) override
    {
        raiseError(kComponentError, kNoBroker);
    }
    BrokerReply call(const BrokerRequest &request) override
    {
        return BrokerReply::failure(request, kNoBroker);
    }
};

// Nobody to ask: a question is declined, a notice acknowledged.
class NullMessageBoxes final : public MessageBoxes {
public:
    int msgBox(const QString &, int style, const QString &) override
    {
        switch (style & 7) {
        case MsgStyle::OkCancel:
        case MsgStyle::YesNoCancel:
            return MsgAnswer::Cancel;
        case MsgStyle::YesNo:
            return MsgAnswer::No;
        default:
            return MsgAnswer::Ok;
        }
    }
};

// Nobody to show it to: the error goes to the log rather than nowhere.
class LoggingErrorReporter final : public ErrorReporter {
public:
    void reportError(const QString &, const QString &errorText, const QString &source) override
    {
        qWarning("%s: %s", qUtf8Printable(source), qUtf8Printable(errorText));
    }
};

class NullStatusBar final : public StatusBar {
public:
    void StatusText(const QString &) override {}
};

class NullPointer final : public MousePointer {
public:
    void setBusy() override {}
    void setDefault() override {}
    bool isBusy() const override { return false; }
};

class SystemClock final : public Clock {
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
};

class NoUser final : public UserContext {
public:
    int officerId() const override { return 0; }
    QString region() const override { return {}; }
    QString workingDate() const override { return {}; }
    QString contextText() const override { return {}; }
    QString applicationName() const override { return {}; }
    QString applicationPrefix() const override { return QStringLiteral("KORVA"); }
    QString versionText() const override { return QStringLiteral("1.0"); }
    bool hasRight(const QString &) const override { return false; }
    bool inGroup(const QString &) const override { return false; }
};

class NullClipboard final : public Clipboard {
public:
    QString text() const override { return {}; }
    void setText(const QString &) override {}
    void clear() override {}
};

class NullBeeper final : public Beeper {
public:
    void beep() override {}
};

class NullFieldMarks final : public FieldMarks {
public:
    void MarkFieldError(QWidget *) override {}
    void ClearFieldError(QWidget *) override {}
    bool isMarked(const QWidget *) const override { return false; }
};

class AcceptingKeyFilters final : public KeyFilters {
public:
    bool FilterAccountKey(const QString &, const QString &, int) override { return true; }
    bool FilterOfficerKey(int) override { return true; }
    bool FilterTroopKey(int) override { return true; }
};

class NullLookups final : public Lookups {
public:
    std::optional<OfficerInfo> officer(int) const override { return std::nullopt; }
    QString officerName(int) const override { return {}; }
    QList<OfficerInfo> searchOfficers(const QString &, int) const override { return {}; }
    QList<CustomerInfo> searchCustomers(const QString &, int) const override { return {}; }
    QString codeDescription(const QString &, const QString &) const override { return {}; }
    QString assignmentTypeDescription(const QString &) const override { return {}; }
};

class NullValidators final : public Validators {
public:
    AccountCheck ValidateAccountNumber(const QString &, const QString &) const override
    {
        return {};
    }
    bool ValidateOfficer(qint32, const QDate &) const override { return false; }
    bool LookupOfficer(qint32) const override { return false; }
    bool ValidateTroop(const QString &) const override { return false; }
    bool ValidateTroopDistrict(const QString &, const QString &) const override { return false; }
    bool agencyExists(const QString &) const override { return false; }
};

class NullCodeLists final : public CodeListService {
public:
    RecordSetPtr openQuery(const QString &) override { return nullptr; }
};

class NullHostNotify final : public HostNotify {
public:
    void notifyHost(int, bool) override {}
};

class NullShell final : public ShellServices {
public:
    void setToolbarButton(int, bool, const QString &) override {}
    void leave(bool) override {}
};

class NoSpelling final : public SpellChecking {
public:
    // The caller says in its own words that there is no spell checker.
    std::unique_ptr<SpellCheckObject> CreateObject(const QString &, QString *) override
    {
        return nullptr;
    }
};

class NullFormServices final : public FormServices {
public:
    QString RequestNumber(const QString &, const QString &, BrokerMessage &, QStringList &) override
    {
        raiseError(kComponentError, kNoBroker);
    }
    QString TemplatePath(int) const override { return {}; }
};

class NoPrinting final : public TemplatePrinting {
public:
    std::unique_ptr<TemplatePrintObject> CreatePrintObject() override { return nullptr; }
};

template <class Service> Service *&fill(Service *&slot, Service &standIn)
{
    if (!slot)
        slot = &standIn;
    return slot;
}

} // namespace

void fillWithNullServices(Platform &p)
{
    static NullBroker broker;
    static NullMessageBoxes messages;
    static LoggingErrorReporter errors;
    static NullStatusBar status;
    static NullPointer pointer;
    static SystemClock clock;
    static NoUser user;
    static NullClipboard clipboard;
    static NullBeeper beeper;
    static NullFieldMarks marks;
    static AcceptingKeyFilters keys;
    static NullLookups lookups;
    static NullValidators validators;
    static NullCodeLists codes;
    static NullHostNotify host;
    static NullShell shell;
    static NoSpelling spelling;
    static NullFormServices forms;
    static NoPrinting printing;
    fill<Broker>(p.broker, broker);
    fill<MessageBoxes>(p.messages, messages);
    fill<ErrorReporter>(p.errors, errors);
    fill<StatusBar>(p.status, status);
    fill<MousePointer>(p.pointer, pointer);
    fill<Clock>(p.clock, clock);
    fill<UserContext>(p.user, user);
    fill<Clipboard>(p.clipboard, clipboard);
    fill<Beeper>(p.beeper, beeper);
    fill<FieldMarks>(p.marks, marks);
    fill<KeyFilters>(p.keys, keys);
    fill<Lookups>(p.lookups, lookups);
    fill<Validators>(p.validators, validators);
    fill<CodeListService>(p.codes, codes);
    fill<HostNotify>(p.host, host);
    fill<ShellServices>(p.shell, shell);
    fill<SpellChecking>(p.spelling, spelling);
    fill<FormServices>(p.forms, forms);
    fill<TemplatePrinting>(p.printing, printing);
}

} // namespace korva
