#include "shell/shell.h"
#include "platform/datetext.h"

#include <QApplication>
#include <QSettings>

#include <cstdio>

int main(int argc, char *argv[])
{
    korva::cacheLocalTimeZone();
    QCoreApplication::setOrganizationName(QStringLiteral("Korva"));
    QCoreApplication::setApplicationName(QStringLiteral("korva"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KORVA_VERSION_TEXT));

    // Read before the GUI starts, so that --help and mistakes work without a display.
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    korva::StartCommandLine commandLine;
    const QSettings settings;
    if (!commandLine.parse(arguments, settings)) {
        std::fprintf(stderr, "korva: %s\n\n%s", qPrintable(commandLine.errorText()),
                     qPrintable(commandLine.helpText()));
        return korva::ExitCode::Usage;
    }
    if (commandLine.helpRequested()) {
        std::fputs(qPrintable(commandLine.helpText()), stdout);
        return korva::ExitCode::Ok;
    }
    if (commandLine.versionRequested()) {
        std::printf("korva %s\n", KORVA_VERSION_TEXT);
        return korva::ExitCode::Ok;
    }

    QApplication app(argc, argv);
    return korva::runShell(commandLine.options());
}
