#pragma once

#include <condition_variable>

#include <utils/Mutex.h>

namespace android {

/// Lets threads wait, with a lock released meanwhile, until another thread has changed something.
class Condition {
public:
    Condition() = default;
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    /// Waits for `broadcast`. May return without one, so the caller looks again.
    void wait(Mutex& mutex) REQUIRES(mutex) { mCondition.wait(mutex); }
    void broadcast() { mCondition.notify_all(); }

private:
    std::condition_variable_any mCondition;
};

}  // namespace android
