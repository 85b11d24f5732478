#define LOG_TAG "velorad"

#include "host/daemon/CallQueue.h"

#include "host/daemon/EventCallback.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <utility>

#include <sys/socket.h>

namespace velora::host {

namespace {

/// Bytes that sd-bus may need to answer a call itself, rounded up.
constexpr size_t kDirectAnswer = 512;
constexpr size_t kIntrospection = 16 << 10;

constexpr int kSendBuffer = 4 << 10;  // bytes

/// An sd_bus_error that frees what it contains.
class Error {
public:
    Error() = default;
    ~Error() { sd_bus_error_free(&mError); }
    Error(const Error&) = delete;
    Error& operator=(const Error&) = delete;
    sd_bus_error* get() { return &mError; }

private:
    sd_bus_error mError = SD_BUS_ERROR_NULL;
};

bool isOneOf(char type, const char* types) { return strchr(types, type) != nullptr; }

bool expectsAnswer(sd_bus_message* call) { return sd_bus_message_get_expect_reply(call) > 0; }

/// Reads past one argument and returns its size in bytes. Returns 0, and reads nothing, for a type
/// that no method of the daemon has: sd-bus refuses such a call without reading it.
size_t skipArgument(sd_bus_message* call, char type, const char* contents) {
    constexpr char kNumbers[] = "ynqiuxtd";
    if (isOneOf(type, "sog")) {
        const char* text = nullptr;
        check(sd_bus_message_read_basic(call, type, &text), "read");
        return strlen(text) + 1;
    }
    if (type == 'a' && strlen(contents) == 1 && isOneOf(contents[0], kNumbers)) {
        const void* items = nullptr;
        size_t size = 0;
        check(sd_bus_message_read_array(call, contents[0], &items, &size), "read");
        return size + sizeof(uint32_t);
    }
    if (!isOneOf(type, kNumbers) && type != 'b') return 0;

    uint64_t number = 0;
    check(sd_bus_message_read_basic(call, type, &number), "read");
    return sizeof number;
}

/// Number of bytes of the arguments and the path, without copying them.
size_t contentSize(sd_bus_message* call) {
    size_t size = strlen(sd_bus_message_get_path(call));
    char type = 0;
    const char* contents = nullptr;
    while (check(sd_bus_message_peek_type(call, &type, &contents), "read") > 0) {
        const size_t argument = skipArgument(call, type, contents);
        if (argument == 0) break;
        size += argument;
    }
    check(sd_bus_message_rewind(call, 1), "read");
    return size;
}

}  // namespace

CallQueue::CallQueue(sd_bus* bus, std::function<void(const std::string&)> onLeft)
    : mBus(bus), mOnLeft(std::move(onLeft)) {
    // sd-bus asks for a buffer of megabytes, and an answer would wait behind all that is in it: a
    // busy dbus-daemon reads only some kilobytes each time it has looked at all its connections.
    const int fd = check(sd_bus_get_fd(bus), "get the socket of the bus");
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof kSendBuffer);

    mFilter =
        create<Slot>([&](sd_bus_slot** s) { return sd_bus_add_filter(bus, s, onMessage, this); },
                     "receive calls");

    // One match for all connections, because a watch on a single name asks the bus and waits for
    // its answer, behind everything that others have sent.
    constexpr char kLost[] =
        "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
        "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg2=''";
    mNameLost = create<Slot>(
        [&](sd_bus_slot** s) { return sd_bus_add_match(bus, s, kLost, onNameLost, this); },
        "watch the clients");
}

void CallQueue::setHandlers(Finder find, void* object) {
    mFind = std::move(find);
    mObject = object;
}

uint64_t CallQueue::unsent() const {
    uint64_t count = 0;
    check(sd_bus_get_n_queued_write(mBus, &count), "look at the messages that wait");
    return count;
}

void CallQueue::readMore() {
    int reads = 0;
    while (reads < kReadsPerTurn && sd_bus_process(mBus, nullptr) > 0) ++reads;
}

int CallQueue::onMessage(sd_bus_message* message, void* self, sd_bus_error* error) {
    uint8_t type = 0;
    sd_bus_message_get_type(message, &type);
    if (type != SD_BUS_MESSAGE_METHOD_CALL) return 0;
    return guarded(error, [&] { return static_cast<CallQueue*>(self)->receive(message); });
}

CallQueue::Sender& CallQueue::senderOf(const char* name) {
    const auto entry = mSenders.find(name);
    if (entry != mSenders.end()) return entry->second;

    if (mSenders.size() >= kMaxSenders) {
        throw BusError(SD_BUS_ERROR_LIMITS_EXCEEDED, "too many connections have made calls");
    }
    return mSenders.try_emplace(name, mBus, name).first->second;
}

/// Returns 0 if sd-bus is to answer the call.
int CallQueue::receive(sd_bus_message* call) {
    const char* const name = sd_bus_message_get_sender(call);
    if (name == nullptr) throw BusError(SD_BUS_ERROR_ACCESS_DENIED, "the message has no sender");
    Sender& sender = senderOf(name);
    if (expectsAnswer(call)) sender.watch.addCall();

    const size_t size = contentSize(call);
    if (size > kMaxCallSize) {
        refuse(sender, call, "the call is too long");
        return 1;
    }
    const sd_bus_message_handler_t handler = mFind ? mFind(call) : nullptr;
    if (handler == nullptr) return receiveDirect(sender, call);

    // A sender of which nothing waits is accepted even when the others have filled the memory.
    const size_t cost = kCallOverhead + size;
    const bool isFull = mWaiting + cost > kMaxWaiting && !sender.calls.empty();
    if (isFull || sender.waiting + cost > kQuota) {
        refuse(sender, call, "too many calls of this connection wait");
        return 1;
    }

    addToRing(sender);
    sender.calls.push_back({Message(sd_bus_message_ref(call)), handler, cost});
    sender.waiting += cost;
    mWaiting += cost;
    return 1;
}

int CallQueue::receiveDirect(Sender& sender, sd_bus_message* call) {
    const bool isIntrospection =
        sd_bus_message_is_method_call(call, "org.freedesktop.DBus.Introspectable", nullptr) > 0;
    const size_t size = isIntrospection ? kIntrospection : kDirectAnswer;
    if (std::exchange(sender.turn, mTurn) != mTurn) sender.direct = 0;
    const bool isFirst = sender.direct == 0;
    sender.direct += size;
    if ((sender.direct > kMaxDirect && !isFirst) || unsent() >= kMaxUnsentDirect) {
        refuse(sender, call, "too many calls of this connection wait");
        return 1;
    }

    if (!expectsAnswer(call)) return 0;
    if (!sender.watch.hasRoomForAnswer(size)) {
        refuseUnread(sender, call);
        return 1;
    }
    noteAnswer(sender, size);
    return 0;
}

// A sender for which nothing has waited starts with as many bytes as the one served last: it isn't
// preferred for what it hasn't asked for.
void CallQueue::addToRing(Sender& sender) {
    if (sender.isWaiting()) return;
    sender.sent = std::max(sender.sent, mSent);
    mRing.push_back(&sender);
    sortIntoRing(std::prev(mRing.end()));
}

/// Moves an entry behind all that have been sent as much or less.
void CallQueue::sortIntoRing(Ring::iterator entry) {
    auto place = mRing.end();
    for (auto previous = place; previous != mRing.begin();) {
        --previous;
        if (previous != entry && (*previous)->sent <= (*entry)->sent) break;
        place = previous;
    }
    mRing.splice(place, mRing, entry);
}

bool CallQueue::serveTurn() {
    if (canSend()) ++mTurn;
    bool isAnyServed = false;
    auto entry = mRing.begin();
    for (size_t left = mRing.size(); left > 0 && canSend(); --left) {
        const auto current = entry++;
        Sender& sender = **current;
        if (!serve(sender)) continue;

        isAnyServed = true;
        mSent = std::max(mSent, sender.sent);
        sender.sent += ReadWatch::kOverhead;
        if (sender.isWaiting()) {
            sortIntoRing(current);
        } else {
            mRing.erase(current);
            removeIfDone(sender);
        }
    }
    return isAnyServed && !mRing.empty();
}

/// Returns false if everything that waits must wait for a later turn.
bool CallQueue::serve(Sender& sender) {
    const bool isRefusalSent = sendRefusal(sender);
    return serveCall(sender) || isRefusalSent;
}

/// Handles the sender's first call. Returns false if there is none or it must wait.
bool CallQueue::serveCall(Sender& sender) {
    if (sender.isBusy || sender.calls.empty()) return false;
    Call& call = sender.calls.front();
    const int result = handle(sender, call);
    if (result == kTryLater) return false;
    if (result == kNoRoom) {
        if (sender.watch.isRefused()) return false;
        refuseUnread(sender, call.message.get());
    }

    sender.waiting -= call.cost;
    mWaiting -= call.cost;
    sender.calls.pop_front();
    return true;
}

/// Returns the result of the handler, after sending its error.
int CallQueue::handle(Sender& sender, Call& call) {
    sd_bus_message* const message = call.message.get();
    if (!hasRoomForAnswer(sender, message, 0)) return kNoRoom;

    mServed = &sender;
    mCall = message;
    Error error;
    const int result = guarded(error.get(), [&] {
        check(sd_bus_message_rewind(message, 1), "read");
        return call.handler(message, mObject, error.get());
    });
    if (result == kTryLater || result == kNoRoom || sender.isBusy) return result;

    if (result < 0) {
        reply(sender, message, error.get());
    } else if (expectsAnswer(message)) {
        noteAnswer(sender, static_cast<size_t>(result));
    }
    return result;
}

ReadWatch& CallQueue::caller() {
    if (mServed->hasLeft) throw BusError(SD_BUS_ERROR_FAILED, "the caller has left the bus");
    return mServed->watch;
}

bool CallQueue::hasRoomForAnswer(size_t size) const {
    return hasRoomForAnswer(*mServed, mCall, size);
}

// What a sender that has left didn't read is gone, and the bus keeps no answers to it.
bool CallQueue::hasRoomForAnswer(const Sender& sender, sd_bus_message* call, size_t size) {
    return !expectsAnswer(call) || sender.hasLeft || sender.watch.hasRoomForAnswer(size);
}

CallQueue::Answer CallQueue::postpone() {
    mServed->isBusy = true;
    const std::shared_ptr<sd_bus_message> call(sd_bus_message_ref(mCall), sd_bus_message_unref);
    return [this, sender = mServed, call](const std::function<void()>& work) {
        finish(*sender, call.get(), work);
    };
}

void CallQueue::finish(Sender& sender, sd_bus_message* call, const std::function<void()>& work) {
    sender.isBusy = false;
    Error error;
    const int result = guarded(error.get(), [&] {
        work();
        return sd_bus_reply_method_return(call, "");
    });

    if (result < 0) {
        reply(sender, call, error.get());
    } else if (expectsAnswer(call)) {
        noteAnswer(sender, 0);
    }
    removeIfDone(sender);
}

/// Lets a refusal wait for the sender's turn, or drops the call without one.
void CallQueue::refuse(Sender& sender, sd_bus_message* call, const char* reason) {
    if (!expectsAnswer(call)) return;
    if (sender.watch.isRefused() || sender.refusals.size() >= kMaxRefusals ||
        mWaiting + kCallOverhead > kMaxWaiting) {
        sender.watch.dropCall();
        return;
    }

    auto refusal = create<Message>(
        [&](sd_bus_message** m) {
            return sd_bus_message_new_method_errorf(call, m, SD_BUS_ERROR_LIMITS_EXCEEDED, "%s",
                                                    reason);
        },
        "refuse a call");
    addToRing(sender);
    sender.refusals.push_back(std::move(refusal));
    mWaiting += kCallOverhead;
}

/// Refuses one call of a sender that doesn't read its answers, and drops all others.
void CallQueue::refuseUnread(Sender& sender, sd_bus_message* call) {
    if (!expectsAnswer(call)) return;
    if (sender.watch.isRefused()) {
        sender.watch.dropCall();
        return;
    }

    Error error;
    sd_bus_error_set_const(error.get(), SD_BUS_ERROR_LIMITS_EXCEEDED,
                           "this connection has too many unread answers");
    reply(sender, call, error.get());
    sender.watch.refuseOnce();
}

/// Sends the sender's first refusal. Returns false if there is none or it must wait.
bool CallQueue::sendRefusal(Sender& sender) {
    if (sender.refusals.empty()) return false;
    if (!sender.hasLeft && !sender.watch.hasRoomForAnswer(0)) return false;

    const Message refusal = std::move(sender.refusals.front());
    sender.refusals.pop_front();
    mWaiting -= kCallOverhead;

    sd_bus_send(mBus, refusal.get(), nullptr);
    noteAnswer(sender, strlen(sd_bus_message_get_error(refusal.get())->message));
    return true;
}

void CallQueue::reply(Sender& sender, sd_bus_message* call, const sd_bus_error* error) {
    if (!expectsAnswer(call)) return;
    sd_bus_reply_method_error(call, error);
    noteAnswer(sender, error->message != nullptr ? strlen(error->message) : 0);
}

void CallQueue::noteAnswer(Sender& sender, size_t size) {
    sender.sent += size;

    // If the ping that this may need can't be sent, the next answer tries again.
    logErrors([&] { sender.watch.addAnswer(size); });
}

int CallQueue::onNameLost(sd_bus_message* signal, void* self, sd_bus_error* /*error*/) {
    auto& queue = *static_cast<CallQueue*>(self);
    return guarded(nullptr, [&] {
        std::string name;
        readFrom(signal, name);
        const auto entry = queue.mSenders.find(name);
        if (entry == queue.mSenders.end()) return 0;

        entry->second.hasLeft = true;
        queue.mOnLeft(name);
        queue.removeIfDone(entry->second);
        return 0;
    });
}

void CallQueue::removeIfDone(Sender& sender) {
    if (!sender.hasLeft || sender.isBusy || sender.isWaiting()) return;
    mSenders.erase(sender.watch.name());
}

}  // namespace velora::host
