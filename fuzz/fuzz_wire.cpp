// The broker's JSON wire form: any bytes either parse to a request and a reply that survive a
// round trip, or are refused with a ProcError; nothing else may happen.
#include <platform/errors.h>
#include <platform/wire.h>

#include <QJsonDocument>

#include <cstdint>
#include <cstdlib>

using namespace korva;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QJsonDocument doc = QJsonDocument::fromJson(
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (!doc.isObject())
        return 0;
    try {
        const BrokerRequest request = wire::requestFromJson(doc.object());
        // What went out must come back the same: the form loses nothing it accepted.
        const QJsonObject once = wire::toJson(request);
        const QJsonObject twice = wire::toJson(wire::requestFromJson(once));
        if (once != twice)
            std::abort();
    } catch (const ProcError &) {
    }
    try {
        const BrokerReply reply = wire::replyFromJson(doc.object());
        for (const auto &rs : reply.recordSets) {
            if (rs)
                (void)wire::toJson(*rs);
        }
    } catch (const ProcError &) {
    }
    return 0;
}
