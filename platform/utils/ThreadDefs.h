#pragma once

namespace android {

enum { PRIORITY_DEFAULT = 0 };

}  // namespace android
