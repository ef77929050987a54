#pragma once

#include "platform/broker.h"
#include "platform/platform.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>

#include <functional>
#include <memory>

class QWidget;

namespace korva::testkit {

// Message boxes answer from a script (first button when the script is empty) and record
// every box shown; no test ever blocks on a modal box.
class ScriptedMessageBoxes : public MessageBoxes {
public:
    struct Shown {
        QString prompt;
        int style;
        QString title;
    };
    int msgBox(const QString &prompt, int style, const QString &title) override;
    void answer(int answer) { m_script.append(answer); }
    QList<Shown> shown;

private:
    QList<int> m_script;
};

class RecordingErrorReporter : public ErrorReporter {
public:
    struct Report {
        QString appName;
        QString text;
        QString source;
    };
    void reportError(const QString &appName, const QString &errorText,
                     const QString &source) override
    {
        reports.append({appName, errorText, source});
    }
    QList<Report> reports;
};

class RecordingStatusBar : public StatusBar {
public:
    void StatusText(const QString &text) override { texts.append(text); }
    QString last() const { return texts.isEmpty() ? QString() : texts.last(); }
    QStringList texts;
};

class FakePointer : public MousePointer {
public:
    void setBusy() override
    {
        busy = true;
        ++busyCount;
    }
    void setDefault() override { busy = false; }
    bool isBusy() const override { return busy; }
    bool busy = false;
    int busyCount = 0;
};

// Never sleeps: a pause is only written down.
class FixedClock : public Clock {
public:
    QDateTime now() const override { return fixed; }
    void pause(int milliseconds) const override { pauses.append(milliseconds); }
    QDateTime fixed{QDate(2026, 11, 22), QTime(9, 30)};
    mutable QList<int> pauses;
};

class FakeUser : public UserContext {
public:
    int officerId() const override { return id; }
    QString region() const override { return regionCode; }
    QString workingDate() const override { return working; }
    QString contextText() const override;
    QString applicationName() const override { return QStringLiteral("KORVA"); }
    QString applicationPrefix() const override { return QStringLiteral("KORVA"); }
    QString versionText() const override { return QStringLiteral("1.0"); }
    bool hasRight(const QString &right) const override { return rights.contains(right); }
    bool inGroup(const QString &group) const override { return groups.contains(group); }

    int id = 1001;
    QString regionCode = QStringLiteral("NE");
    QString working;
    QSet<QString> rights{QStringLiteral("Assignment")};
    QSet<QString> groups{QStringLiteral("ASSIGNMENTCLOSERS")};
};

class MemoryClipboard : public Clipboard {
public:
    QString text() const override { return content; }
    void setText(const QString &text) override { content = text; }
    void clear() override { content.clear(); }
    QString content;
};

class CountingBeeper : public Beeper {
public:
    void beep() override { ++beeps; }
    int beeps = 0;
};

class RecordingFieldMarks : public FieldMarks {
public:
    void MarkFieldError(QWidget *control) override { marked.insert(control); }
    void MarkFieldError(QWidget *control, const QString &reason) override
    {
        marked.insert(control);
        reasons.insert(control, reason);
    }
    void ClearFieldError(QWidget *control) override
    {
        marked.remove(control);
        reasons.remove(control);
    }
    bool isMarked(const QWidget *control) const override
    {
        return marked.contains(const_cast<QWidget *>(control));
    }
    QSet<QWidget *> marked;
    QHash<QWidget *, QString> reasons; // the last reason given per marked control
};

// Code-list queries answered by a handler; every query text is recorded.
class ScriptedCodeList : public CodeListService {
public:
    RecordSetPtr openQuery(const QString &queryText) override;
    std::function<RecordSetPtr(const QString &)> handler;
    QStringList queries;
};

class RecordingHostNotify : public HostNotify {
public:
    void notifyHost(int what, bool value) override { notes.append({what, value}); }
    QList<QPair<int, bool>> notes;
};

class RecordingShellServices : public ShellServices {
public:
    struct Button {
        int button;
        bool flag;
        QString documentId;
    };
    void setToolbarButton(int button, bool flag, const QString &documentId) override
    {
        buttons.append({button, flag, documentId});
    }
    void leave(bool flag) override { leaves.append(flag); }
    QList<Button> buttons;
    QList<bool> leaves;
};

// Records every request; a test answers it when it chooses. Delivery is direct (the
// test's own call stack), as the real broker's queued delivery would be on the UI thread.
class FakeBroker : public Broker {
public:
    struct Sent {
        BrokerRequest request;
        QPointer<BrokerMessage> receiver;
    };
    void send(const BrokerRequest &request, BrokerMessage *receiver) override;
    BrokerReply call(const BrokerRequest &request) override;

    const Sent &last() const { return sent.last(); }
    // Answers the last request (or sent[index]) with a good reply holding these record sets.
    void replyGood(QList<RecordSetPtr> recordSets = {}, int index = -1);
    void replyBad(const QString &error, int index = -1);
    // MsgTimeout followed by the broker's error reply, as the real broker does.
    void timeoutThenBad(const QString &error = QStringLiteral("The message broker did not "
                                                              "answer in time."),
                        int index = -1);
    // A reply under another identity, to the same receiver.
    void replyForeign(const QString &identity, int index = -1);

    QList<Sent> sent;
    std::function<BrokerReply(const BrokerRequest &)> callHandler;
    QList<BrokerRequest> calls;

private:
    Sent &at(int index);
};

// The spell-check object answers from a function of the text (unchanged when unset); with
// `available` false no object can be created, as on a desk without a dictionary.
class ScriptedSpellChecking : public SpellChecking {
public:
    std::unique_ptr<SpellCheckObject> CreateObject(const QString &name, QString *why) override;
    bool available = true;
    QString unavailableReason = QStringLiteral("No spelling dictionary is installed.");
    std::function<QString(const QString &)> correct;
    QStringList createdNames;
    QStringList checkedTexts;
};

// Numbers are requested through the real message object (so FakeBroker records the
// request); template paths come from a table a test fills.
class RecordingFormServices : public FormServices {
public:
    QString RequestNumber(const QString &kind, const QString &service, BrokerMessage &message,
                          QStringList &atHand) override;
    QString TemplatePath(int templateNumber) const override
    {
        return templates.value(templateNumber);
    }
    struct NumberRequest {
        QString kind;
        QString service;
    };
    QList<NumberRequest> numberRequests;
    QStringList numbersAtHand; // handed back through atHand
    QHash<int, QString> templates;
};

// Print objects record what they were given; `failPrint` makes print() throw.
class RecordingTemplatePrinting : public TemplatePrinting {
public:
    struct Job {
        QString templatePath;
        QString xml;
        QList<QPair<QString, QString>> extra;
        bool printed = false;
        bool closed = false;
    };
    std::unique_ptr<TemplatePrintObject> CreatePrintObject() override;
    QList<Job> jobs;
    bool failPrint = false;
};

// Owns one double of every service and installs itself as the platform while it lives.
class TestPlatform : public Platform {
public:
    TestPlatform();
    ~TestPlatform();

    FakeBroker fakeBroker;
    ScriptedMessageBoxes boxes;
    RecordingErrorReporter reporter;
    RecordingStatusBar statusBar;
    FakePointer mouse;
    FixedClock fixedClock;
    FakeUser fakeUser;
    MemoryClipboard memoryClipboard;
    CountingBeeper beeps;
    RecordingFieldMarks fieldMarks;
    ScriptedCodeList codeList;
    RecordingHostNotify hostNotes;
    RecordingShellServices shellServices;
    ScriptedSpellChecking spellChecking;
    RecordingFormServices formServices;
    RecordingTemplatePrinting templatePrinting;
    std::unique_ptr<KeyFilters> keyFilters;
    // Lookups and validators come from reference data a test builds (see makeReferenceData).
    std::shared_ptr<Lookups> lookupsImpl;
    std::shared_ptr<Validators> validatorsImpl;

    void useReferenceData(const BrokerReply &reply);

private:
    Platform *m_previous;
};

// Small helpers for building record sets in tests.
RecordSetPtr makeRecordSet(const QString &name, const QList<Field> &fields,
                           const QList<QList<QVariant>> &rows);
// A reference-data reply with a few officers, troops/districts, codes and assignment types.
BrokerReply sampleReferenceReply();

} // namespace korva::testkit
