#define LOG_TAG "velorad"

#include "host/daemon/ClientRegistry.h"

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

/// One registration as the service knows it. Held by connection and service; any thread.
class ClientRegistry::Listener : public android::IKmsCallbacks {
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

/// One connection: its name on the bus, what watches it, its registrations by type, and how much it
/// has been sent since it last proved that it reads.
class ClientRegistry::Connection {
public:
    Connection(ClientRegistry* owner, uint32_t number, std::string sender)
        : name(std::move(sender)), mOwner(owner), mNumber(number) {
        mTrack = made<Track>(
            [this](sd_bus_track** t) {
                return sd_bus_track_new(mOwner->mBus, t, onDisappeared, this);
            },
            "watch a client");
        check(sd_bus_track_add_name(mTrack.get(), name.c_str()), "watch a client");
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    uint32_t clientKey(int32_t type) const {
        return mNumber * static_cast<uint32_t>(kTypes) + static_cast<uint32_t>(type);
    }

    void send(int32_t type, const Bytes& data) {
        emit(kUpdate, std::tuple(type, data));
        mUnread += kSignalOverhead + data.size();
        if (mUnread >= kPingAt && mPing == nullptr) ping();
    }
    bool isBehind() const { return mUnread >= kMaxUnread; }
    void sendLast(const std::string& reason) { emit(kDropped, reason); }

    const std::string name;
    std::map<int32_t, sp<Listener>> listeners;

private:
    template <typename Content>
    void emit(const char* member, const Content& content) {
        const auto signal = made<Message>(
            [&](sd_bus_message** m) {
                return sd_bus_message_new_signal(mOwner->mBus, m, kObjectPath, kInterface, member);
            },
            "make a signal");
        appendTo(signal.get(), content);
        check(sd_bus_send_to(mOwner->mBus, signal.get(), name.c_str(), nullptr), "send a signal");
    }

    // Every peer answers this by itself when it comes to it, behind all that it was sent before.
    void ping() {
        const auto message = made<Message>(
            [this](sd_bus_message** m) {
                return sd_bus_message_new_method_call(mOwner->mBus, m, name.c_str(), "/",
                                                      "org.freedesktop.DBus.Peer", "Ping");
            },
            "make a ping");
        mPing = made<Slot>(
            [&](sd_bus_slot** slot) {
                return sd_bus_call_async(mOwner->mBus, slot, message.get(), onAnswer, this,
                                         kPatience);
            },
            "send a ping");
        mUnreadAtPing = mUnread;
    }

    // Any answer, an error too, shows that it reads.
    static int onAnswer(sd_bus_message* answer, void* self, sd_bus_error* /*error*/) {
        auto& connection = *static_cast<Connection*>(self);
        return guarded(nullptr, [&] {
            if (sd_bus_message_is_method_error(answer, SD_BUS_ERROR_NO_REPLY) != 0) {
                connection.mOwner->drop(connection.mNumber, "it doesn't read what it is sent");
                return 0;
            }
            connection.mUnread -= connection.mUnreadAtPing;
            connection.mPing.reset();
            return 0;
        });
    }

    static int onDisappeared(sd_bus_track* /*track*/, void* self) {
        auto& connection = *static_cast<Connection*>(self);
        return guarded(nullptr, [&] {
            connection.mOwner->takeOut(connection.mNumber, "it has gone");
            return 1;  // 0 would have the track watched on
        });
    }

    ClientRegistry* const mOwner;
    const uint32_t mNumber;
    size_t mUnread = 0;  ///< bytes
    size_t mUnreadAtPing = 0;
    Track mTrack;
    Slot mPing;  ///< stands while an answer is awaited
};

ClientRegistry::ClientRegistry(sd_bus* bus, android::VeloraManagerService* service,
                               UpdateQueue* queue)
    : mBus(bus), mService(service), mQueue(queue) {}

ClientRegistry::~ClientRegistry() = default;

ClientRegistry::Connections::iterator ClientRegistry::find(const std::string& sender) {
    return std::find_if(mConnections.begin(), mConnections.end(),
                        [&](const auto& entry) { return entry.second.name == sender; });
}

ClientRegistry::Connections::iterator ClientRegistry::connect(const std::string& sender) {
    if (mConnections.size() >= kMaxConnections) {
        throw BusError(SD_BUS_ERROR_LIMITS_EXCEEDED, "too many connections have registered");
    }
    do {
        mLastNumber = mLastNumber % (UINT32_MAX / kTypes) + 1;
    } while (mConnections.contains(mLastNumber));
    ALOGD("%s is client %u", sender.c_str(), mLastNumber);
    return mConnections.try_emplace(mLastNumber, this, mLastNumber, sender).first;
}

void ClientRegistry::enter(const std::string& sender, int32_t type) {
    if (type < 0 || type >= kTypes) {
        throw BusError(SD_BUS_ERROR_INVALID_ARGS, "a client's type is 0 to 255");
    }
    auto entry = find(sender);
    if (entry == mConnections.end()) entry = connect(sender);
    auto& [number, connection] = *entry;
    auto& listeners = connection.listeners;
    if (!listeners.contains(type) && listeners.size() >= kMaxTypes) {
        throw BusError(SD_BUS_ERROR_LIMITS_EXCEEDED, "too many registrations of one connection");
    }
    auto& listener = listeners[type];
    if (!listener) listener = sp<Listener>::make(mQueue, connection.clientKey(type));
    mService->registerClient(listener, type, connection.clientKey(0));
}

void ClientRegistry::leave(const std::string& sender, int32_t type) {
    const auto entry = find(sender);
    if (entry == mConnections.end() || !entry->second.listeners.contains(type)) {
        throw BusError(SD_BUS_ERROR_INVALID_ARGS, "not registered as a client of this type");
    }
    auto& connection = entry->second;
    mService->unregisterClient(connection.listeners[type], type, connection.clientKey(0));
    connection.listeners.erase(type);
    if (connection.listeners.empty()) mConnections.erase(entry);
}

bool ClientRegistry::areBehind() const {
    return std::any_of(mConnections.begin(), mConnections.end(),
                       [](const auto& entry) { return entry.second.isBehind(); });
}

void ClientRegistry::send(const UpdateQueue::Update& update) {
    const auto entry = mConnections.find(update.client / static_cast<uint32_t>(kTypes));
    if (entry == mConnections.end()) return;
    auto& [number, connection] = *entry;
    const auto type = static_cast<int32_t>(update.client % static_cast<uint32_t>(kTypes));
    if (!connection.listeners.contains(type)) return;
    try {
        connection.send(type, *update.data);
    } catch (const std::exception& e) {
        drop(number, e.what());
    }
}

void ClientRegistry::drop(uint32_t number, const char* reason) {
    try {
        mConnections.at(number).sendLast(reason);
    } catch (const std::exception& e) {
        ALOGW("client %u isn't told: %s", number, e.what());
    }
    takeOut(number, reason);
}

void ClientRegistry::takeOut(uint32_t number, const char* reason) {
    auto connection = mConnections.extract(number);
    if (connection.empty()) return;
    ALOGW("client %u, %s, is dropped: %s", number, connection.mapped().name.c_str(), reason);
    for (const auto& [type, listener] : connection.mapped().listeners) listener->onDied();
}

}  // namespace velora::host
