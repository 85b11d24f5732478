#define LOG_TAG "velorad"

#include "host/daemon/ReadWatch.h"

#include "host/daemon/EventCallback.h"

#include <utility>

namespace velora::host {

void ReadWatch::addCall() {
    if (mOpenCalls++ > 0) mIsPipelining = true;

    if (mIsPipelining) {
        mUnread.answers += std::exchange(mLastAnswer, 0);
    } else {
        mLastAnswer = 0;
        mIsRefused = false;
    }
}

void ReadWatch::addAnswer(size_t size) {
    dropCall();
    mUnread.answers += std::exchange(mLastAnswer, 0);
    size_t& counter = kOverhead + size <= kSmallAnswer ? mLastAnswer : mUnread.answers;
    counter += kOverhead + size;
    pingIfNeeded();
}

void ReadWatch::addSignal(size_t size) {
    mUnread.signals += kOverhead + size;
    pingIfNeeded();
    if (mPing != nullptr && mTimeout == nullptr) startTimeout();
}

bool ReadWatch::hasRoomForAnswer(size_t size) const {
    return mUnread.answers + mLastAnswer + kOverhead + size + kSmallAnswer <= kMaxUnread;
}

void ReadWatch::pingIfNeeded() {
    if (mUnread.signals + mUnread.answers >= kPingThreshold && mPing == nullptr) ping();
}

// Without a timeout, because the answer proves the same at any time.
void ReadWatch::ping() {
    const auto message = create<Message>(
        [this](sd_bus_message** m) {
            return sd_bus_message_new_method_call(mBus, m, mName.c_str(), "/",
                                                  "org.freedesktop.DBus.Peer", "Ping");
        },
        "make a ping");

    mPing = create<Slot>(
        [&](sd_bus_slot** slot) {
            return sd_bus_call_async(mBus, slot, message.get(), onPingAnswer, this, UINT64_MAX);
        },
        "send a ping");
    mUnreadAtPing = mUnread;
}

void ReadWatch::startTimeout() {
    mTimeout = create<EventSource>(
        [this](sd_event_source** s) {
            return sd_event_add_time_relative(sd_bus_get_event(mBus), s, CLOCK_MONOTONIC,
                                              kPingTimeout, 0, onTimeout, this);
        },
        "make a timer");
}

void ReadWatch::noteRead() {
    mUnread.signals -= mUnreadAtPing.signals;
    mUnread.answers -= mUnreadAtPing.answers;
    mIsPipelining = mIsRefused = mIsSilent = false;
}

int ReadWatch::onPingAnswer(sd_bus_message* answer, void* self, sd_bus_error* /*error*/) {
    auto& watch = *static_cast<ReadWatch*>(self);
    return guarded(nullptr, [&] {
        watch.mPing.reset();

        // The bus itself answers by an error if it can't deliver the ping.
        const char* const sender = sd_bus_message_get_sender(answer);
        if (sender == nullptr || sender != watch.mName) return 0;
        watch.mTimeout.reset();
        watch.noteRead();

        // So much may have been sent after the ping that nothing more will be, which could cause
        // the next ping.
        watch.pingIfNeeded();
        return 0;
    });
}

int ReadWatch::onTimeout(sd_event_source* /*source*/, uint64_t /*now*/, void* self) {
    auto& watch = *static_cast<ReadWatch*>(self);
    return logErrors([&] {
        watch.mIsSilent = true;
        const auto action = watch.mOnSilent;  // a copy, because it may be replaced meanwhile
        if (action) action();
    });
}

}  // namespace velora::host
