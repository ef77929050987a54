#pragma once

#include "serversettings.h"

#include <platform/asyncbroker.h>
#include <platform/broker.h>

#include <memory>

namespace korva::server {

// The back end behind the broker: answers every request kind from its own connection to the
// store. One instance per thread; the connection opens (and the schema migrates) on the first
// request, and a failed or lost connection is opened anew on the next one.
std::unique_ptr<BrokerBackend> makeBackend(const ServerSettings &settings);
BackendFactory makeBackendFactory(const ServerSettings &settings);

} // namespace korva::server
