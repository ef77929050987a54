#pragma once

#include "services.h"

namespace korva {

class Platform;

// The do-nothing stand-ins for every service: what a platform holds where nothing real was
// installed, so that no caller ever meets a null service. Each answers as an absent
// service would: no rows, no rights, no text, questions declined, keys accepted; a request
// to the broker fails with a clear text.
void fillWithNullServices(Platform &platform);

} // namespace korva
