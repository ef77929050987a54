#include "assignmentlisttab.h"

#include "assignmentlisttools.h"

#include <QRadioButton>
#include <QSettings>

namespace korva {

namespace {

constexpr auto kKeyReceived = "list/received";
constexpr auto kKeyOpen = "list/open";
constexpr auto kKeyClosed = "list/closed";
constexpr auto kKeyAllOfficers = "list/allOfficers";

} // namespace

void AssignmentListTab::saveRemembered(QSettings &settings) const
{
    settings.setValue(QLatin1String(kKeyReceived), optButton[kReceived]->isChecked());
    settings.setValue(QLatin1String(kKeyOpen), optButton[kOpen]->isChecked());
    settings.setValue(QLatin1String(kKeyClosed), optButton[kClosed]->isChecked());
    settings.setValue(QLatin1String(kKeyAllOfficers), optAllOfficers->isChecked());
    listTools->saveLayout(settings);
}

void AssignmentListTab::restoreRemembered(const QSettings &settings)
{
    // Nothing remembered leaves the screen as it is built: received, open, current officer.
    const auto restore = [&](const char *key, QRadioButton *on, QRadioButton *off) {
        const QVariant value = settings.value(QLatin1String(key));
        if (value.isValid())
            (value.toBool() ? on : off)->setChecked(true);
    };
    restore(kKeyReceived, optButton[kReceived], optSent);
    restore(kKeyAllOfficers, optAllOfficers, optCurrentOfficer);
    // Open and closed are chosen each on its own; neither means every status.
    for (const auto &[key, button] :
         {std::pair{kKeyOpen, optButton[kOpen]}, {kKeyClosed, optButton[kClosed]}}) {
        const QVariant value = settings.value(QLatin1String(key));
        if (value.isValid())
            button->setChecked(value.toBool());
    }
    listTools->restoreLayout(settings);
}

} // namespace korva
