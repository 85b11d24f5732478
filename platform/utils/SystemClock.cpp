#include <chrono>

#include <utils/SystemClock.h>

namespace android {

int64_t uptimeMillis() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace android
