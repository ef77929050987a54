#pragma once

#include "services.h"

#include <functional>

namespace korva {

// The real services on a Qt desktop.

class QtMessageBoxes : public MessageBoxes {
public:
    int msgBox(const QString &prompt, int style, const QString &title) override;
};

// Shows the failure in a critical box naming the procedure, and logs it.
class DialogErrorReporter : public ErrorReporter {
public:
    explicit DialogErrorReporter(MessageBoxes *boxes)
        : m_boxes(boxes)
    {}
    void reportError(const QString &appName, const QString &errorText,
                     const QString &source) override;

private:
    MessageBoxes *m_boxes;
};

class CallbackStatusBar : public StatusBar {
public:
    explicit CallbackStatusBar(std::function<void(const QString &)> show = {})
        : m_show(std::move(show))
    {}
    void setTarget(std::function<void(const QString &)> show) { m_show = std::move(show); }
    void StatusText(const QString &text) override;
    const QString &lastText() const { return m_last; }

private:
    std::function<void(const QString &)> m_show;
    QString m_last;
};

class OverrideCursorPointer : public MousePointer {
public:
    void setBusy() override;
    void setDefault() override;
    bool isBusy() const override { return m_busy; }

private:
    bool m_busy = false;
};

class SystemClock : public Clock {
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
};

class QtClipboard : public Clipboard {
public:
    QString text() const override;
    void setText(const QString &text) override;
    void clear() override;
};

class QtBeeper : public Beeper {
public:
    void beep() override;
};

// Marks a control by tinting its background; the mark is a dynamic property too, so that
// styles and tests can see it.
class WidgetFieldMarks : public FieldMarks {
public:
    void MarkFieldError(QWidget *control) override;
    void MarkFieldError(QWidget *control, const QString &reason) override;
    void ClearFieldError(QWidget *control) override;
    bool isMarked(const QWidget *control) const override;
};

// Officer numbers take digits; troop/district letters and digits; account numbers digits and
// one dash. Backspace (8) always passes so that a user can correct.
class StandardKeyFilters : public KeyFilters {
public:
    bool FilterAccountKey(const QString &referenceTypeCode, const QString &currentText,
                          int keyCode) override;
    bool FilterOfficerKey(int keyCode) override;
    bool FilterTroopKey(int keyCode) override;
};

} // namespace korva
