#define LOG_TAG "StoreWriter"

#include "store/StoreWriter.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include <log/log.h>

namespace velora {

using android::Mutex;

StoreWriter::~StoreWriter() { stop(); }

StoreWriter::Save StoreWriter::submit(UserSettings settings) {
    Save save;
    Mutex::Autolock lock(mLock);

    // A retry of what failed counts as a new save.
    const bool isRetry = mTried == mSubmitted && mStored < mTried;
    if (!settings.empty() || isRetry) {
        mPending.add(std::move(settings));
        ++mSubmitted;
        startLocked();
        if (!mRunning) mTried = mSubmitted;  // nobody stores them, so this save has failed
        mChanged.broadcast();
    }

    // Otherwise the last save may still be under way, with what this caller has changed.
    if (mStored < mSubmitted) {
        save.mWriter = shared_from_this();
        save.mNumber = mSubmitted;
    }
    return save;
}

void StoreWriter::startLocked() {
    if (mRunning || mStopped) return;
    try {
        mThread = std::thread([this] { run(); });
        mRunning = true;
    } catch (const std::system_error& error) {
        ALOGE("the thread that stores settings can't be started: %s", error.what());
    }
}

void StoreWriter::prepare() {
    Mutex::Autolock lock(mLock);
    startLocked();
}

void StoreWriter::discardPending() {
    Mutex::Autolock lock(mLock);
    mPending = {};
    mStored = mTried = mSubmitted;
}

bool StoreWriter::isStored() const {
    Mutex::Autolock lock(mLock);
    return mStored == mTried;
}

bool StoreWriter::wait(uint64_t number) {
    Mutex::Autolock lock(mLock);
    while (mTried < number && mRunning) mChanged.wait(mLock);
    return mStored >= number;
}

void StoreWriter::run() {
    mProvider->primeLog();

    mLock.lock();
    while (!mStopped || mTried < mSubmitted) {
        if (mTried == mSubmitted) {
            mChanged.wait(mLock);
            continue;
        }

        storePendingLocked();

        // Nobody waits for this.
        mLock.unlock();
        mProvider->checkpoint();
        mLock.lock();
    }
    mRunning = false;
    mLock.unlock();
    mChanged.broadcast();
}

void StoreWriter::storePendingLocked() {
    UserSettings settings = std::exchange(mPending, {});
    const uint64_t number = mSubmitted;
    mLock.unlock();
    const bool stored = mProvider->storeSettings(settings);
    mLock.lock();

    // `discardPending` may have advanced the numbers meanwhile.
    mTried = std::max(mTried, number);
    if (stored) {
        mStored = std::max(mStored, number);
    } else {
        // What was submitted meanwhile is newer.
        settings.add(std::exchange(mPending, {}));
        mPending = std::move(settings);
        ALOGE("the settings couldn't be stored, the next save tries again");
    }
    mChanged.broadcast();
}

void StoreWriter::stop() {
    {
        Mutex::Autolock lock(mLock);
        mStopped = true;
    }
    mChanged.broadcast();
    if (mThread.joinable()) mThread.join();
}

}  // namespace velora
