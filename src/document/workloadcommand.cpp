#include "workloadcommand.h"

#include "dialogs/frmworkload.h"
#include "platform/platform.h"
#include "platform/services.h"

#include <QPointer>
#include <QPushButton>
#include <QTabWidget>

#include <memory>

namespace korva {

void installWorkloadCommand(QWidget *owner, QTabWidget *tabs)
{
    auto *button = new QPushButton(QStringLiteral("&Workload..."), tabs);
    button->setObjectName(QStringLiteral("cmdWorkload"));
    button->setToolTip(QStringLiteral("Open, overdue, due this week and closed this month, per "
                                      "officer"));
    button->setVisible(platform().user && platform().user->hasRight(QLatin1String(kRightListAll)));
    tabs->setCornerWidget(button, Qt::TopRightCorner);
    auto overview = std::make_shared<QPointer<frmWorkload>>();
    QObject::connect(button, &QPushButton::clicked, owner, [owner, overview] {
        if (!*overview) {
            *overview = new frmWorkload(owner);
            (*overview)->show();
            (*overview)->Refresh();
        }
        (*overview)->raise();
        (*overview)->activateWindow();
    });
}

} // namespace korva
