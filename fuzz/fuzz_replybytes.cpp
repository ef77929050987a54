// The reply's form on the bus: any bytes either read as a reply or are refused with a
// ProcError. A reply that was read is written and read again to the very same bytes, so the
// reader takes nothing the writer cannot say.
#include <platform/errors.h>
#include <platform/wirebytes.h>

#include <cstdint>
#include <cstdlib>

using namespace korva;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    BrokerReply reply;
    try {
        reply = wire::replyFromBytes(
            QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    } catch (const ProcError &) {
        return 0;
    }
    const QByteArray once = wire::replyBytes(reply);
    try {
        if (wire::replyBytes(wire::replyFromBytes(once)) != once)
            std::abort();
    } catch (const ProcError &) {
        std::abort(); // its own writing refused
    }
    return 0;
}
