#define LOG_TAG "velorad"

#include "host/daemon/BusClients.h"

#include <algorithm>
#include <utility>

#include <log/log.h>
#include <vendor/velora_sp/hardware/kmssp/2.0/IKmsCallbacks.h>

namespace velora::host {

using android::sp;
using android::hardware::Return;
using android::hardware::Status;

namespace {

constexpr size_t kSignalOverhead = 256;  // bytes of a signal besides its data, rounded up

}  // namespace

/// The callback object of one registration. Held by its connection and by the service, which calls
/// it on any thread.
class BusClients::Listener : public android::IKmsCallbacks {
public:
    Listener(UpdateQueue* queue, uint32_t key) : mQueue(queue), mKey(key) {}

    Return<void> onSfxParamUpdate(const android::hardware::hidl_vec<uint8_t>&) override {
        try {
            mQueue->address(mKey);
        } catch (const std::exception& e) {
            return Status::transportError(e.what());
        }
        return android::hardware::Void();
    }

private:
    UpdateQueue* const mQueue;
    const uint32_t mKey;
};

/// One connection: its registrations by type, the watch on its name, and the number of bytes sent
/// to it since it last proved that it reads. Owned by BusClients; bus thread only.
class BusClients::Connection {
public:
    /// Throws std::system_error if the connection has left the bus already.
    Connection(BusClients* owner, uint32_t number, std::string sender)
        : name(std::move(sender)), mOwner(owner), mNumber(number) {
        mTrack = create<Track>(
            [this](sd_bus_track** t) {
                return sd_bus_track_new(mOwner->mBus, t, onDisappeared, this);
            },
            "watch a client");
        check(sd_bus_track_add_name(mTrack.get(), name.c_str()), "watch a client");
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    uint32_t clientKey(int32_t type) const {
        return mNumber * static_cast<uint32_t>(kTypeCount) + static_cast<uint32_t>(type);
    }

    void send(int32_t type, const Bytes& data) {
        emit(kUpdateSignal, std::tuple(type, data));
        mUnread += kSignalOverhead + data.size();
        pingIfNeeded();
    }
    bool isBehind() const { return mUnread >= kMaxUnread; }
    void sendDropped(const std::string& reason) { emit(kDroppedSignal, reason); }

    const std::string name;  ///< unique name on the bus
    std::map<int32_t, sp<Listener>> listeners;

private:
    template <typename Content>
    void emit(const char* member, const Content& content) {
        const auto signal = create<Message>(
            [&](sd_bus_message** m) {
                return sd_bus_message_new_signal(mOwner->mBus, m, kObjectPath, kInterface, member);
            },
            "make a signal");
        appendTo(signal.get(), content);

        check(sd_bus_send_to(mOwner->mBus, signal.get(), name.c_str(), nullptr), "send a signal");
    }

    void pingIfNeeded() {
        if (mUnread >= kPingThreshold && mPing == nullptr) ping();
    }

    // Messages arrive in order and every D-Bus library answers a ping by itself, so the answer
    // proves that everything sent before the ping has been read.
    void ping() {
        const auto message = create<Message>(
            [this](sd_bus_message** m) {
                return sd_bus_message_new_method_call(mOwner->mBus, m, name.c_str(), "/",
                                                      "org.freedesktop.DBus.Peer", "Ping");
            },
            "make a ping");

        mPing = create<Slot>(
            [&](sd_bus_slot** slot) {
                return sd_bus_call_async(mOwner->mBus, slot, message.get(), onPingAnswer, this,
                                         kPingTimeout);
            },
            "send a ping");
        mUnreadAtPing = mUnread;
    }

    // sd-bus reports a timeout as the error NoReply. Any other answer, even an error, is a sign of
    // reading.
    static int onPingAnswer(sd_bus_message* answer, void* self, sd_bus_error* /*error*/) {
        auto& connection = *static_cast<Connection*>(self);
        return guarded(nullptr, [&] {
            if (sd_bus_message_is_method_error(answer, SD_BUS_ERROR_NO_REPLY) != 0) {
                connection.mOwner->drop(connection.mNumber, "it does not read its signals");
                return 0;
            }

            connection.mUnread -= connection.mUnreadAtPing;
            connection.mPing.reset();

            // So much may have been sent after the ping that requests are still refused. Then no
            // update will follow that could cause the next ping.
            connection.pingIfNeeded();
            return 0;
        });
    }

    static int onDisappeared(sd_bus_track* /*track*/, void* self) {
        auto& connection = *static_cast<Connection*>(self);
        return guarded(nullptr, [&] {
            connection.mOwner->removeConnection(connection.mNumber, "it left the bus");
            return 1;  // with 0, sd-bus would use the track again, which is destroyed by now
        });
    }

    BusClients* const mOwner;
    const uint32_t mNumber;
    size_t mUnread = 0;        ///< bytes that the client may not have read yet
    size_t mUnreadAtPing = 0;  ///< the part of them sent before the pending ping
    Track mTrack;
    Slot mPing;  ///< the pending ping; null if there is none
};

BusClients::BusClients(sd_bus* bus, android::VeloraManagerService* service, UpdateQueue* queue)
    : mBus(bus), mService(service), mQueue(queue) {}

BusClients::~BusClients() = default;

BusClients::Connections::iterator BusClients::find(const std::string& sender) {
    return std::find_if(mConnections.begin(), mConnections.end(),
                        [&](const auto& entry) { return entry.second.name == sender; });
}

BusClients::Connections::iterator BusClients::addConnection(const std::string& sender) {
    if (mConnections.size() >= kMaxConnections) {
        throw BusError(SD_BUS_ERROR_LIMITS_EXCEEDED, "too many connections have registered");
    }

    // Numbers start again at 1 before the keys made from them would exceed 32 bits.
    do {
        mLastNumber = mLastNumber % (UINT32_MAX / kTypeCount) + 1;
    } while (mConnections.contains(mLastNumber));

    ALOGD("%s is client %u", sender.c_str(), mLastNumber);
    return mConnections.try_emplace(mLastNumber, this, mLastNumber, sender).first;
}

void BusClients::add(const std::string& sender, int32_t type) {
    if (type < 0 || type >= kTypeCount) {
        throw BusError(SD_BUS_ERROR_INVALID_ARGS, "the type of a client is 0 to 255");
    }

    auto entry = find(sender);
    if (entry == mConnections.end()) entry = addConnection(sender);
    auto& connection = entry->second;
    auto& listeners = connection.listeners;
    if (!listeners.contains(type) && listeners.size() >= kMaxRegistrations) {
        throw BusError(SD_BUS_ERROR_LIMITS_EXCEEDED, "too many registrations of one connection");
    }

    // Registering again reaches the service too, which tries to initialise itself each time.
    auto& listener = listeners[type];
    if (!listener) listener = sp<Listener>::make(mQueue, connection.clientKey(type));
    mService->registerClient(listener, type, connection.clientKey(0));
}

void BusClients::remove(const std::string& sender, int32_t type) {
    const auto entry = find(sender);
    if (entry == mConnections.end() || !entry->second.listeners.contains(type)) {
        throw BusError(SD_BUS_ERROR_INVALID_ARGS, "not registered as a client of this type");
    }

    auto& connection = entry->second;
    mService->unregisterClient(connection.listeners[type], type, connection.clientKey(0));
    connection.listeners.erase(type);

    // The place is free for another connection.
    if (connection.listeners.empty()) mConnections.erase(entry);
}

bool BusClients::isAnyBehind() const {
    return std::any_of(mConnections.begin(), mConnections.end(),
                       [](const auto& entry) { return entry.second.isBehind(); });
}

void BusClients::send(const UpdateQueue::Update& update) {
    // A client may have unregistered or died while the update was queued.
    const auto entry = mConnections.find(update.client / static_cast<uint32_t>(kTypeCount));
    if (entry == mConnections.end()) return;
    auto& [number, connection] = *entry;
    const auto type = static_cast<int32_t>(update.client % static_cast<uint32_t>(kTypeCount));
    if (!connection.listeners.contains(type)) return;

    try {
        connection.send(type, *update.data);
    } catch (const std::exception& e) {
        drop(number, e.what());
    }
}

void BusClients::drop(uint32_t number, const char* reason) {
    try {
        mConnections.at(number).sendDropped(reason);
    } catch (const std::exception& e) {
        ALOGW("client %u gets no signal that it is dropped: %s", number, e.what());
    }
    removeConnection(number, reason);
}

void BusClients::removeConnection(uint32_t number, const char* reason) {
    auto connection = mConnections.extract(number);
    if (connection.empty()) return;
    ALOGW("client %u, %s, is dropped: %s", number, connection.mapped().name.c_str(), reason);
    for (const auto& [type, listener] : connection.mapped().listeners) listener->onDied();
}

}  // namespace velora::host
