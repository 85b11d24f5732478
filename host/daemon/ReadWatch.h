#pragma once

#include "host/SdBus.h"

#include <cstdint>
#include <functional>
#include <string>

namespace velora::host {

/// Counts what one connection to the bus may not have read yet, so that nothing is sent to those
/// that don't read.
///
/// The daemon can't see how much a connection has read. Messages arrive in order, and D-Bus
/// libraries answer a ping by themselves, so an answer to a ping proves that everything sent before
/// it has been read. A ping is sent when kPingThreshold bytes have been sent since the last proof.
///
/// A client that only waits for the answer to one call at a time may never look at a ping. As long
/// as a connection has never made a call before the last one was answered, a call therefore proves
/// that the answer before it has been read, if that was a small one.
///
/// Owned by a Sender; bus thread only.
class ReadWatch {
public:
    static constexpr size_t kMaxUnread = 256 << 10;  ///< bytes, of the signals and of the answers
    static constexpr size_t kPingThreshold = kMaxUnread / 4;
    static constexpr uint64_t kPingTimeout = 5'000'000;  ///< microseconds
    static constexpr size_t kOverhead = 256;  ///< bytes of a message besides its contents, at most
    static constexpr size_t kSmallAnswer = 1024;  ///< bytes, with the overhead

    /// Watches the connection with a unique name; `bus` must outlive this object.
    ReadWatch(sd_bus* bus, std::string name) : mBus(bus), mName(std::move(name)) {}
    ReadWatch(const ReadWatch&) = delete;
    ReadWatch& operator=(const ReadWatch&) = delete;

    const std::string& name() const { return mName; }

    /// A call has arrived whose caller waits for an answer.
    void addCall();
    /// Such a call was answered by so many bytes besides the overhead, or dropped without an
    /// answer.
    void addAnswer(size_t size);
    void dropCall() { --mOpenCalls; }
    /// A signal with so many bytes besides the overhead was sent.
    void addSignal(size_t size);

    /// Number of bytes of signals that may be unread.
    size_t unreadSignals() const { return mUnread.signals; }
    /// True if an answer of so many bytes may be sent, without exceeding kMaxUnread even when one
    /// error is sent instead of the next.
    bool hasRoomForAnswer(size_t size) const;
    /// True from the first call of `refuseOnce` until the connection has read.
    bool isRefused() const { return mIsRefused; }
    void refuseOnce() { mIsRefused = true; }
    /// True if signals weren't read within kPingTimeout, until they are.
    bool isSilent() const { return mIsSilent; }
    /// Sets what is called when the connection becomes silent, or nothing.
    void onSilent(std::function<void()> action) { mOnSilent = std::move(action); }

private:
    struct Bytes {
        size_t signals = 0;
        size_t answers = 0;  ///< without mLastAnswer
    };

    void pingIfNeeded();
    void ping();
    void startTimeout();
    void noteRead();

    static int onPingAnswer(sd_bus_message* answer, void* self, sd_bus_error* error);
    static int onTimeout(sd_event_source* source, uint64_t now, void* self);

    sd_bus* const mBus;
    const std::string mName;
    Bytes mUnread;
    Bytes mUnreadAtPing;         ///< the part of it sent before the pending ping
    size_t mLastAnswer = 0;      ///< a small one that the next call may prove to be read
    size_t mOpenCalls = 0;       ///< that wait for an answer
    bool mIsPipelining = false;  ///< has made a call before the last one was answered
    bool mIsRefused = false;
    bool mIsSilent = false;
    std::function<void()> mOnSilent;
    Slot mPing;            ///< the pending ping; null if there is none
    EventSource mTimeout;  ///< set while a ping is pending behind signals
};

}  // namespace velora::host
