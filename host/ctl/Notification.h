#pragma once

#include "host/Interface.h"
#include "host/ctl/Names.h"
#include "host/ctl/Render.h"

#include <string>

namespace velora::host {

/// Describes a notification buffer: the member "event" says what happened, the others give its
/// details. Profiles are given by their names in `profiles`.
Json describeUpdate(const Bytes& update, const Names& profiles);

/// Such a description as a line of text without its newline, "what happened: name value, ...".
std::string toSentence(const Json& event);

}  // namespace velora::host
