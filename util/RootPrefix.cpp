#include "util/RootPrefix.h"

namespace velora {

namespace {

// Never destroyed, because threads may still open files while the process ends.
std::string& rootPrefix() {
    static auto* const sPrefix = new std::string();
    return *sPrefix;
}

}  // namespace

void setRootPrefix(std::string_view prefix) { rootPrefix() = prefix; }

std::string rooted(std::string_view path) { return rootPrefix() + std::string(path); }

}  // namespace velora
