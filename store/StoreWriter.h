#pragma once

#include "store/Provider.h"
#include "store/UserSettings.h"

#include <cstdint>
#include <memory>
#include <thread>

#include <utils/Condition.h>
#include <utils/Mutex.h>

namespace velora {

/// Stores settings on a thread of its own, so that nobody holds a lock of the settings while the
/// disk is at work. Settings that are submitted while a transaction is being committed are stored
/// together by the next one.
///
/// Shared by the sound context, whose provider it writes with, and by those who wait for a save.
/// Any thread may call it. The thread starts with the first settings. A failed transaction is
/// logged, and its settings remain pending: the next save stores them too.
class StoreWriter : public std::enable_shared_from_this<StoreWriter> {
public:
    /// A save that was begun. It may be waited for by any thread, and more than once.
    class Save {
    public:
        /// Waits until the settings are stored. False if they couldn't be.
        [[nodiscard]] bool wait() const { return mWriter == nullptr || mWriter->wait(mNumber); }

    private:
        friend class StoreWriter;

        std::shared_ptr<StoreWriter> mWriter;  ///< null if there is nothing to wait for
        uint64_t mNumber = 0;
    };

    /// The provider must outlive the writer, or the call of `stop`.
    explicit StoreWriter(Provider* provider) : mProvider(provider) {}
    ~StoreWriter();
    StoreWriter(const StoreWriter&) = delete;
    StoreWriter& operator=(const StoreWriter&) = delete;

    /// Begins to store `settings`, together with what failed before. The save succeeds at once if
    /// there is nothing to store, and nothing is written then.
    [[nodiscard]] Save submit(UserSettings settings);
    /// Forgets what could not be stored so far.
    void discardPending();
    /// False if the last transaction failed, and there are settings that are not stored.
    bool isStored() const;

    /// Starts the thread before the first save, so that this one doesn't wait for what the first
    /// commit of a store needs.
    void prepare();
    /// Stores what is pending and ends the thread. What is submitted later fails.
    void stop();

private:
    void startLocked() REQUIRES(mLock);
    [[nodiscard]] bool wait(uint64_t number);
    void run();
    /// Releases the lock while it waits for the disk.
    void storePendingLocked() REQUIRES(mLock);

    Provider* const mProvider;

    mutable android::Mutex mLock;
    android::Condition mChanged;
    std::thread mThread;  ///< changed under the lock, joined by `stop`
    UserSettings mPending GUARDED_BY(mLock);
    // Numbers of saves. A transaction stores everything that was submitted before its beginning.
    uint64_t mSubmitted GUARDED_BY(mLock) = 0;
    uint64_t mTried GUARDED_BY(mLock) = 0;
    uint64_t mStored GUARDED_BY(mLock) = 0;
    bool mRunning GUARDED_BY(mLock) = false;
    bool mStopped GUARDED_BY(mLock) = false;
};

}  // namespace velora
