// Whole requests, in their wire form, against a small demo store: every input is answered
// (good or refused) and the server never crashes, hangs or trips a sanitizer. The store lives
// in a temporary folder for the run.
#include <server/demodata.h>
#include <server/server.h>
#include <server/serversettings.h>

#include <platform/errors.h>
#include <platform/wire.h>

#include <QCoreApplication>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdlib>
#include <memory>

using namespace korva;

namespace {

std::unique_ptr<QCoreApplication> g_app;
std::unique_ptr<QTemporaryDir> g_dir;
std::unique_ptr<BrokerBackend> g_backend;

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    g_app = std::make_unique<QCoreApplication>(*argc, *argv);
    g_dir = std::make_unique<QTemporaryDir>();
    server::ServerSettings settings(QStringLiteral("sqlite:") +
                                    g_dir->filePath(QStringLiteral("fuzz.db")));
    settings.statementTimeoutMs = 2000;
    server::DemoOptions options;
    options.assignments = 60;
    server::generateDemo(settings, options);
    g_backend = server::makeBackend(settings);
    // Qt SQL's own globals were made above and go at exit; the back end must go before them.
    std::atexit([] {
        g_backend.reset();
        g_dir.reset();
        g_app.reset();
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QJsonDocument doc = QJsonDocument::fromJson(
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (!doc.isObject())
        return 0;
    BrokerRequest request;
    try {
        request = wire::requestFromJson(doc.object());
    } catch (const ProcError &) {
        return 0;
    }
    const BrokerReply reply = g_backend->handle(request);
    (void)wire::toJson(reply);
    return 0;
}
