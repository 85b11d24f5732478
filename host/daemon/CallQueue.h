#pragma once

#include "host/SdBus.h"
#include "host/daemon/ReadWatch.h"

#include <cerrno>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <string>

namespace velora::host {

/// Serves the method calls of all connections to the bus in turn, so that no connection waits for
/// what another one asks.
///
/// The calls of each sender wait in a queue of its own, up to a quota; each turn serves the first
/// call of every sender. What is beyond the quota, or too long, is refused by the error
/// LimitsExceeded, which waits for its sender's turn as well. Introspection, properties and calls
/// to unknown methods are answered by sd-bus itself as soon as they are read, a few in each turn.
///
/// All answers go through one socket, from which the bus may read slowly. So one is sent only when
/// the bus has taken those before it, and the sender that has been sent the fewest bytes comes
/// first: a small answer never waits behind many large ones.
///
/// A sender that doesn't read its answers (ReadWatch) is sent no more: one of its calls is refused,
/// and the others wait until it has read. What is then beyond its quota is dropped.
///
/// Owned by the ServiceHost; bus thread only. What is known about a sender is kept until it leaves
/// the bus. Its calls that wait by then are still served.
class CallQueue {
public:
    static constexpr size_t kMaxCallSize = 8192;  ///< bytes of the arguments and the path
    /// Bytes of the calls of one sender that may wait, each with the overhead, and of all of them.
    static constexpr size_t kQuota = 64 << 10;
    static constexpr size_t kMaxWaiting = 16 << 20;
    static constexpr size_t kCallOverhead = 1024;
    static constexpr size_t kMaxRefusals = 1024;  ///< of one sender, that wait; the rest is dropped
    /// Bytes that sd-bus itself may answer to one sender in a turn, unless the first answer has
    /// more.
    static constexpr size_t kMaxDirect = 4 << 10;
    static constexpr size_t kMaxSenders = 4096;
    static constexpr int kReadsPerTurn = 64;
    /// Messages that may wait in sd-bus until the bus takes them, before sd-bus answers no more
    /// calls itself.
    static constexpr uint64_t kMaxUnsentDirect = 64;

    // Results of a handler that leave the call unanswered. No D-Bus error has these numbers.
    static constexpr int kTryLater = -EAGAIN;  ///< it must wait for a later turn
    static constexpr int kNoRoom = -EXFULL;    ///< its sender must read before it gets the answer

    /// Finds the handler of a call, null if sd-bus is to answer it. A handler returns the size of
    /// its answer in bytes, one of the results above, or another negative number and the error.
    using Finder = std::function<sd_bus_message_handler_t(sd_bus_message*)>;
    /// Answers a postponed call: by the error that the function throws, or by an empty reply.
    using Answer = std::function<void(const std::function<void()>&)>;

    /// Receives all calls that arrive on `bus`, which must outlive this object. `onLeft` is called
    /// with each unique name that leaves the bus. Throws std::system_error.
    CallQueue(sd_bus* bus, std::function<void(const std::string&)> onLeft);
    CallQueue(const CallQueue&) = delete;
    CallQueue& operator=(const CallQueue&) = delete;

    /// Sets who handles the calls. `object` is passed to the handlers.
    void setHandlers(Finder find, void* object);

    /// Receives calls that have arrived, up to kReadsPerTurn.
    void readMore();
    /// Serves the first call of every sender, and sends its first refusal. True if there may be
    /// more to serve at once.
    bool serveTurn();
    /// True while the bus has taken everything that was sent, so that nothing waits behind it.
    bool canSend() const { return unsent() == 0; }

    /// The sender of the call that is being handled. Valid until it leaves the bus. Throws BusError
    /// if it has left already.
    ReadWatch& caller();
    /// True if the answer to the call that is being handled may have so many bytes.
    bool hasRoomForAnswer(size_t size) const;
    /// Postpones the answer to the call that is being handled. Its sender's later calls wait until
    /// the result is called, which must happen once, on the bus thread.
    Answer postpone();

private:
    struct Call {
        Message message;
        sd_bus_message_handler_t handler;
        size_t cost;  ///< bytes, with the overhead
    };
    struct Sender {
        Sender(sd_bus* bus, const std::string& name) : watch(bus, name) {}
        ReadWatch watch;
        std::list<Call> calls;        ///< that wait
        size_t waiting = 0;           ///< their cost
        std::list<Message> refusals;  ///< errors that wait to be sent
        bool isBusy = false;          ///< an answer is postponed
        bool hasLeft = false;
        uint64_t sent = 0;  ///< bytes of answers, for the order; see addToRing
        uint64_t turn = 0;  ///< of `direct`
        size_t direct = 0;  ///< bytes that sd-bus has answered in the turn

        bool isWaiting() const { return !calls.empty() || !refusals.empty(); }
    };
    using Ring = std::list<Sender*>;

    uint64_t unsent() const;

    static int onMessage(sd_bus_message* message, void* self, sd_bus_error* error);
    static int onNameLost(sd_bus_message* signal, void* self, sd_bus_error* error);

    int receive(sd_bus_message* call);
    int receiveDirect(Sender& sender, sd_bus_message* call);
    Sender& senderOf(const char* name);
    void addToRing(Sender& sender);
    void sortIntoRing(Ring::iterator entry);
    static bool hasRoomForAnswer(const Sender& sender, sd_bus_message* call, size_t size);
    bool serve(Sender& sender);
    bool serveCall(Sender& sender);
    int handle(Sender& sender, Call& call);
    void refuse(Sender& sender, sd_bus_message* call, const char* reason);
    void refuseUnread(Sender& sender, sd_bus_message* call);
    bool sendRefusal(Sender& sender);
    void reply(Sender& sender, sd_bus_message* call, const sd_bus_error* error);
    void noteAnswer(Sender& sender, size_t size);
    void finish(Sender& sender, sd_bus_message* call, const std::function<void()>& work);
    void removeIfDone(Sender& sender);

    sd_bus* const mBus;
    const std::function<void(const std::string&)> mOnLeft;
    Finder mFind;
    void* mObject = nullptr;
    std::map<std::string, Sender, std::less<>> mSenders;  ///< by unique name
    Ring mRing;           ///< senders for which something waits, ascending by `sent`
    uint64_t mSent = 0;   ///< `sent` of the sender served last
    size_t mWaiting = 0;  ///< cost of all calls and refusals that wait
    uint64_t mTurn = 1;
    Sender* mServed = nullptr;  ///< the sender and the call that is being handled
    sd_bus_message* mCall = nullptr;
    Slot mFilter;
    Slot mNameLost;
};

}  // namespace velora::host
