#pragma once

#include "host/ctl/Commands.h"

namespace velora::host {

/// Registers as a client and prints every notification, as text or as JSON in one line, until it is
/// interrupted or nobody reads its output. Returns null. Throws CommandError if the service leaves
/// the bus or drops this client, or if the output can't be written.
Json watch(Client& client, const Arguments& arguments);

}  // namespace velora::host
