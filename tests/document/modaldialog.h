#pragma once

// Drives a modal dialog that a command opens: the dialog's own exec() loop runs the poll.
#include <QApplication>
#include <QDialog>
#include <QPointer>
#include <QTimer>

#include <functional>

namespace korva::doctest {

// Runs `action`; the first modal dialog of type D that it opens gets `inDialog`, and is
// dismissed if still open afterwards, so that a failed check cannot hang the caller.
// Returns how many such dialogs opened (0 or 1).
template <class D>
int duringModal(const std::function<void()> &action, const std::function<void(D *)> &inDialog)
{
    int opened = 0;
    QTimer poll;
    poll.setInterval(5);
    QObject::connect(&poll, &QTimer::timeout, [&] {
        auto *dialog = qobject_cast<D *>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        poll.stop();
        ++opened;
        QPointer<QDialog> alive(dialog);
        inDialog(dialog);
        if (alive && alive->isVisible())
            alive->done(QDialog::Rejected);
    });
    poll.start();
    action();
    poll.stop();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return opened;
}

} // namespace korva::doctest
