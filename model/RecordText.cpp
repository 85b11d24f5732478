#include "model/RecordText.h"

namespace velora {

std::string recordLine(std::string_view name, std::string_view value) {
    return std::string(name).append("=").append(value).append("\n");
}

std::string recordLine(std::string_view name, int64_t value) {
    return recordLine(name, std::to_string(value));
}

}  // namespace velora
