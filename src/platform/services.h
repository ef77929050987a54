#pragma once

#include "broker.h"

#include <QDate>
#include <QDateTime>
#include <QList>
#include <QString>

#include <memory>
#include <optional>

class QWidget;

namespace korva {

// Message box styles and answers keep the numeric values the screens are written with.
namespace MsgStyle {
inline constexpr int OkOnly = 0;
inline constexpr int OkCancel = 1;
inline constexpr int YesNoCancel = 3;
inline constexpr int YesNo = 4;
inline constexpr int Critical = 16;
inline constexpr int Question = 32;
inline constexpr int Exclamation = 48;
inline constexpr int Information = 64;
} // namespace MsgStyle

namespace MsgAnswer {
inline constexpr int Ok = 1;
inline constexpr int Cancel = 2;
inline constexpr int Yes = 6;
inline constexpr int No = 7;
} // namespace MsgAnswer

class MessageBoxes {
public:
    virtual ~MessageBoxes() = default;
    virtual int msgBox(const QString &prompt, int style, const QString &title) = 0;
};

class ErrorReporter {
public:
    virtual ~ErrorReporter() = default;
    virtual void reportError(const QString &appName, const QString &errorText,
                             const QString &source) = 0;
};

class StatusBar {
public:
    virtual ~StatusBar() = default;
    virtual void StatusText(const QString &text) = 0;
    // The common library's report that a reply held no record set of the expected name.
    virtual void emptyResult(const QString &recordSetName);
};

class MousePointer {
public:
    virtual ~MousePointer() = default;
    virtual void setBusy() = 0;
    virtual void setDefault() = 0;
    virtual bool isBusy() const = 0;
};

class Clock {
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
    QDate today() const { return now().date(); }
    // Holds the calling thread: the waits that poll between two looks. The real one sleeps.
    virtual void pause(int milliseconds) const;
};

// The signed-on user and the application around the component.
class UserContext {
public:
    virtual ~UserContext() = default;
    virtual int officerId() const = 0;
    virtual QString region() const = 0;
    virtual QString workingDate() const = 0; // may be empty
    virtual QString contextText() const = 0; // carried by every request
    virtual QString applicationName() const = 0;
    virtual QString applicationPrefix() const = 0;
    virtual QString versionText() const = 0; // "major.minor"
    virtual bool hasRight(const QString &right) const = 0;
    virtual bool inGroup(const QString &group) const = 0;
};

class Clipboard {
public:
    virtual ~Clipboard() = default;
    virtual QString text() const = 0;
    virtual void setText(const QString &text) = 0;
    virtual void clear() = 0;
};

class Beeper {
public:
    virtual ~Beeper() = default;
    virtual void beep() = 0;
};

class FieldMarks {
public:
    virtual ~FieldMarks() = default;
    virtual void MarkFieldError(QWidget *control) = 0;
    // The same with the message the rule produced, which the control then tells as its tooltip
    // and accessible description until the mark is cleared.
    virtual void MarkFieldError(QWidget *control, const QString &reason)
    {
        Q_UNUSED(reason)
        MarkFieldError(control);
    }
    virtual void ClearFieldError(QWidget *control) = 0;
    virtual bool isMarked(const QWidget *control) const = 0;
};

// Key filters answer whether a typed character (its code) is accepted.
class KeyFilters {
public:
    virtual ~KeyFilters() = default;
    virtual bool FilterAccountKey(const QString &referenceTypeCode, const QString &currentText,
                                  int keyCode) = 0;
    virtual bool FilterOfficerKey(int keyCode) = 0;
    virtual bool FilterTroopKey(int keyCode) = 0;
};

struct OfficerInfo {
    int id = 0;
    QString lastName;
    QString firstName;
    QString middleName;
    QString region;
    QDate activeFrom;
    QDate activeTo; // null when still active
};

struct CustomerInfo {
    QString id;
    QString name;
};

// Reference data the screens read synchronously; cached at sign-on, never a round trip.
class Lookups {
public:
    virtual ~Lookups() = default;
    virtual std::optional<OfficerInfo> officer(int id) const = 0;
    // "LAST, FIRST M." or empty for an unknown officer.
    virtual QString officerName(int id) const = 0;
    virtual QList<OfficerInfo> searchOfficers(const QString &text, int limit) const = 0;
    virtual QList<CustomerInfo> searchCustomers(const QString &text, int limit) const = 0;
    virtual QString codeDescription(const QString &table, const QString &code) const = 0;
    virtual QString assignmentTypeDescription(const QString &code) const = 0;
};

struct AccountCheck {
    bool valid = false;
    QString message;
};

class Validators {
public:
    virtual ~Validators() = default;
    virtual AccountCheck ValidateAccountNumber(const QString &referenceTypeId,
                                               const QString &number) const = 0;
    virtual bool ValidateOfficer(qint32 officerId, const QDate &on) const = 0;
    virtual bool LookupOfficer(qint32 officerId) const = 0;
    virtual bool ValidateTroop(const QString &troop) const = 0;
    virtual bool ValidateTroopDistrict(const QString &troop, const QString &district) const = 0;
    virtual bool agencyExists(const QString &code) const = 0;
};

// Runs a code-list query text (on ZTB_ASGNMT_TYPE or ZTB_CODE) and returns its rows.
class CodeListService {
public:
    virtual ~CodeListService() = default;
    virtual RecordSetPtr openQuery(const QString &queryText) = 0;
};

// Lets a hosted document tell its host something, e.g. (7, true): the save action may be on.
class HostNotify {
public:
    virtual ~HostNotify() = default;
    virtual void notifyHost(int what, bool value) = 0;
};

// The shell's toolbar and leave step, as a hosted document addresses them.
class ShellServices {
public:
    virtual ~ShellServices() = default;
    virtual void setToolbarButton(int button, bool flag, const QString &documentId) = 0;
    virtual void leave(bool flag) = 0;
};

// The spell-check object that screens create by its name ("TAVROUtilities.Dictionary").
// CheckSpelling walks the text's misspelt words with the user and returns the text as the
// user left it; it throws ProcError when the check itself fails.
class SpellCheckObject {
public:
    virtual ~SpellCheckObject() = default;
    virtual QString CheckSpelling(const QString &text) = 0;
};

class SpellChecking {
public:
    virtual ~SpellChecking() = default;
    // Null when no object of that name can be created (for example, no dictionary installed);
    // `why` then says what is missing, in words for the user.
    virtual std::unique_ptr<SpellCheckObject> CreateObject(const QString &name,
                                                           QString *why = nullptr) = 0;
};

class BrokerMessage;

// The common library's form services: generated numbers and administered print templates.
class FormServices {
public:
    virtual ~FormServices() = default;
    // Asks for a generated number of `kind` ("U": a refund number) for `service` (the
    // requesting screen's message identity), through `message`. Returns the message id under
    // which the number will arrive; numbers already at hand are appended to `atHand`.
    virtual QString RequestNumber(const QString &kind, const QString &service,
                                  BrokerMessage &message, QStringList &atHand) = 0;
    // The file of an administered print template; empty when there is none.
    virtual QString TemplatePath(int templateNumber) const = 0;
};

// The template print object: a template file and an XML document of values, merged and
// printed. Each operation throws ProcError with a clear text when it cannot be done.
class TemplatePrintObject {
public:
    virtual ~TemplatePrintObject() = default;
    virtual void setTemplatePath(const QString &path) = 0;
    virtual void setXml(const QString &xml) = 0;
    // A value for the template beside the print data (an officer's name beside the number the
    // data holds); the data document stays as the screen defines it. Given before the template
    // and the data, so that a template using it is accepted.
    virtual void setExtraValue(const QString &name, const QString &value)
    {
        Q_UNUSED(name)
        Q_UNUSED(value)
    }
    virtual void print() = 0;
    virtual void close() = 0;
};

class TemplatePrinting {
public:
    virtual ~TemplatePrinting() = default;
    virtual std::unique_ptr<TemplatePrintObject> CreatePrintObject() = 0;
};

} // namespace korva
