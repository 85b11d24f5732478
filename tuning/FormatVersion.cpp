#include "tuning/FormatVersion.h"

#include "util/Integers.h"

namespace velora {

FormatVersion::FormatVersion(std::string_view major, std::string_view minor,
                             std::string_view maintenance)
    : mText(std::string(major).append(".").append(minor).append(".").append(maintenance)),
      mNumbers{string2Int(major), string2Int(minor), string2Int(maintenance)} {}

}  // namespace velora
