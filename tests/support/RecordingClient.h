#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

#include <vendor/velora_sp/hardware/kmssp/2.0/IKmsCallbacks.h>

namespace velora::test {

using Bytes = std::vector<uint8_t>;

/// A client in this process: records its updates, fails if `unreachable`, dies when `onDied` is
/// called.
class RecordingClient : public vendor::velora_sp::hardware::kmssp::V2_0::IKmsCallbacks {
public:
    std::atomic<bool> unreachable{false};
    /// Called with each update, on the service's thread. To be set only while none can arrive.
    std::function<void(const Bytes&)> onUpdate;

    android::hardware::Return<void> onSfxParamUpdate(
        const android::hardware::hidl_vec<uint8_t>& data) override {
        Bytes bytes(data.begin(), data.end());
        if (onUpdate) onUpdate(bytes);
        {
            std::lock_guard lock(mLock);
            mUpdates.push_back(std::move(bytes));
        }
        mChanged.notify_all();
        if (unreachable) return android::hardware::Status::transportError("unreachable");
        return android::hardware::Void();
    }

    /// Waits for `count` updates, then removes and returns all; fewer after 20 seconds.
    std::vector<Bytes> awaitUpdates(size_t count) {
        std::unique_lock lock(mLock);
        mChanged.wait_for(lock, std::chrono::seconds(20), [&] { return mUpdates.size() >= count; });
        return std::exchange(mUpdates, {});
    }

private:
    std::mutex mLock;
    std::condition_variable mChanged;
    std::vector<Bytes> mUpdates;
};

}  // namespace velora::test
