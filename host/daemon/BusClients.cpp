#define LOG_TAG "velorad"

#include "host/daemon/BusClients.h"

#include <algorithm>

#include <log/log.h>
#include <vendor/velora_sp/hardware/kmssp/2.0/IKmsCallbacks.h>

namespace velora::host {

using android::sp;
using android::hardware::Return;
using android::hardware::Status;

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

/// One connection with its registrations by type. Owned by BusClients; bus thread only.
class BusClients::Connection {
public:
    Connection(BusClients* owner, uint32_t number, ReadWatch& watch)
        : reader(watch), mOwner(owner), mNumber(number) {
        reader.onSilent([owner, number] { owner->drop(number, "it does not read its signals"); });
    }
    ~Connection() { reader.onSilent(nullptr); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    uint32_t clientKey(int32_t type) const {
        return mNumber * static_cast<uint32_t>(kTypeCount) + static_cast<uint32_t>(type);
    }

    void send(int32_t type, const Bytes& data) {
        emit(kUpdateSignal, std::tuple(type, data));
        reader.addSignal(data.size());
    }
    void sendDropped(const std::string& reason) { emit(kDroppedSignal, reason); }

    ReadWatch& reader;
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

        check(sd_bus_send_to(mOwner->mBus, signal.get(), reader.name().c_str(), nullptr),
              "send a signal");
    }

    BusClients* const mOwner;
    const uint32_t mNumber;
};

BusClients::BusClients(sd_bus* bus, android::VeloraManagerService* service, UpdateQueue* queue,
                       Worker* worker)
    : mBus(bus), mService(service), mQueue(queue), mWorker(worker) {}

BusClients::~BusClients() = default;

BusClients::Connections::iterator BusClients::find(const std::string& name) {
    return std::find_if(mConnections.begin(), mConnections.end(),
                        [&](const auto& entry) { return entry.second.reader.name() == name; });
}

BusClients::Connections::iterator BusClients::addConnection(ReadWatch& reader) {
    if (mConnections.size() >= kMaxConnections) {
        throw BusError(SD_BUS_ERROR_LIMITS_EXCEEDED, "too many connections have registered");
    }
    if (reader.isSilent()) {
        throw BusError(SD_BUS_ERROR_LIMITS_EXCEEDED, "this connection does not read its signals");
    }

    // Numbers start again at 1 before the keys made from them would exceed 32 bits.
    do {
        mLastNumber = mLastNumber % (UINT32_MAX / kTypeCount) + 1;
    } while (mConnections.contains(mLastNumber));

    ALOGD("%s is client %u", reader.name().c_str(), mLastNumber);
    return mConnections.try_emplace(mLastNumber, this, mLastNumber, reader).first;
}

Worker::Work BusClients::add(ReadWatch& reader, int32_t type) {
    if (type < 0 || type >= kTypeCount) {
        throw BusError(SD_BUS_ERROR_INVALID_ARGS, "the type of a client is 0 to 255");
    }

    auto entry = find(reader.name());
    if (entry == mConnections.end()) entry = addConnection(reader);
    auto& connection = entry->second;
    auto& listeners = connection.listeners;
    if (!listeners.contains(type) && listeners.size() >= kMaxRegistrations) {
        throw BusError(SD_BUS_ERROR_LIMITS_EXCEEDED, "too many registrations of one connection");
    }

    // Registering again reaches the service too, which tries to initialise itself each time.
    auto& listener = listeners[type];
    if (!listener) listener = sp<Listener>::make(mQueue, connection.clientKey(type));
    return [service = mService, listener, type, uid = connection.clientKey(0)] {
        service->registerClient(listener, type, uid);
        return [] {};
    };
}

Worker::Work BusClients::remove(const ReadWatch& reader, int32_t type) {
    const auto entry = find(reader.name());
    if (entry == mConnections.end() || !entry->second.listeners.contains(type)) {
        throw BusError(SD_BUS_ERROR_INVALID_ARGS, "not registered as a client of this type");
    }

    // Until the service has unregistered the client, its updates are sent to it.
    auto& connection = entry->second;
    return [this, name = reader.name(), listener = connection.listeners[type], type,
            uid = connection.clientKey(0)] {
        mService->unregisterClient(listener, type, uid);
        return [this, name, type, isSaved = mService->isSaved()] {
            removeListener(name, type);
            if (!isSaved) {
                throw BusError(SD_BUS_ERROR_FAILED,
                               "the settings could not be saved; they remain in effect, and "
                               "velorad tries again: its log has the reason");
            }
        };
    };
}

void BusClients::removeListener(const std::string& name, int32_t type) {
    const auto entry = find(name);
    if (entry == mConnections.end()) return;  // it has left the bus meanwhile

    auto& connection = entry->second;
    connection.listeners.erase(type);

    // The place is free for another connection.
    if (connection.listeners.empty()) mConnections.erase(entry);
}

void BusClients::onLeft(const std::string& name) {
    const auto entry = find(name);
    if (entry != mConnections.end()) removeConnection(entry->first, "it left the bus");
}

bool BusClients::haveRoomForSignals(size_t size) const {
    return std::all_of(mConnections.begin(), mConnections.end(), [&](const auto& entry) {
        const Connection& client = entry.second;
        return client.reader.unreadSignals() + client.listeners.size() * size <=
               ReadWatch::kMaxUnread;
    });
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
    ALOGW("client %u, %s, is dropped: %s", number, connection.mapped().reader.name().c_str(),
          reason);

    // Behind the registrations that the worker has still to do.
    mWorker->run([listeners = connection.mapped().listeners] {
        for (const auto& [type, listener] : listeners) listener->onDied();
        return [] {};
    });
}

}  // namespace velora::host
