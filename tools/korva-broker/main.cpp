// The operator's command: runs one broker request against a database, or creates a demo one.
#include <server/operatorcommand.h>
#include <platform/datetext.h>

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    korva::cacheLocalTimeZone();
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);
    return korva::server::runOperatorCommand(app.arguments().mid(1), out, err);
}
