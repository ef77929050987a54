#include "platform.h"

#include <QThread>

#include "nullservices.h"

namespace korva {

// The interface lives in the core, so its one shared body does too.
void Clock::pause(int milliseconds) const
{
    QThread::msleep(ulong(qMax(0, milliseconds)));
}

namespace {
Platform g_empty;
Platform *g_current = &g_empty;
} // namespace

Platform::Platform()
{
    fillWithNullServices(*this);
}

Platform &Platform::current()
{
    return *g_current;
}

void Platform::install(Platform *platform)
{
    if (platform)
        fillWithNullServices(*platform);
    g_current = platform ? platform : &g_empty;
}

void StatusBar::emptyResult(const QString &recordSetName)
{
    StatusText(QStringLiteral("No %1 records were returned.").arg(recordSetName));
}

} // namespace korva
