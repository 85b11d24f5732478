#pragma once

#include "host/Interface.h"
#include "host/SdBus.h"
#include "host/daemon/ReadWatch.h"
#include "host/daemon/UpdateQueue.h"
#include "host/daemon/Worker.h"
#include "service/VeloraManagerService.h"

#include <cstdint>
#include <map>
#include <string>

#include <utils/RefBase.h>

namespace velora::host {

/// Keeps the bus connections that have registered as clients, and sends them signals.
///
/// Owned by the ServiceHost and used on the bus thread only; owns the connections. The service
/// knows each registration by a key: the connection's number times kTypeCount, plus the client
/// type. A connection that leaves the bus is removed, and the service is notified of the death of
/// its clients.
///
/// A connection that doesn't read its signals (ReadWatch) is sent a final signal with the reason,
/// and removed. It can't register again before it has read them.
class BusClients {
public:
    static constexpr size_t kMaxConnections = 64;
    static constexpr size_t kMaxRegistrations = 16;  ///< per connection
    /// Client types are 0 to 255, so this many keys are reserved for each connection.
    static constexpr int32_t kTypeCount = 256;

    /// The objects that the arguments point to must outlive this one. The service calls its clients
    /// through `queue`; whatever else waits for the service is done by `worker`.
    BusClients(sd_bus* bus, android::VeloraManagerService* service, UpdateQueue* queue,
               Worker* worker);
    /// The clients remain registered with the service, which is destroyed after this.
    ~BusClients();
    BusClients(const BusClients&) = delete;
    BusClients& operator=(const BusClients&) = delete;

    /// Makes `reader`'s connection a client of `type` and returns what makes the service register
    /// it. Throws BusError, and changes nothing, if the type is out of range or the connection's or
    /// the total limit is reached. A second registration of the same type only repeats the notice.
    [[nodiscard]] Worker::Work add(ReadWatch& reader, int32_t type);
    /// Returns what makes the service unregister a client. Its completion removes the client, and
    /// its connection with the last one; it throws BusError if the settings couldn't be saved.
    /// Throws BusError if the client isn't registered.
    [[nodiscard]] Worker::Work remove(const ReadWatch& reader, int32_t type);
    /// Removes a connection that has left the bus, if it is a client.
    void onLeft(const std::string& name);

    /// True if signals with so many bytes, including their overhead, may be sent to every client
    /// without exceeding what may be unread.
    bool haveRoomForSignals(size_t size) const;
    /// Sends an update to its client. Does nothing if the client is no longer registered. If
    /// sending fails, the client's connection is removed.
    void send(const UpdateQueue::Update& update);

private:
    class Listener;
    class Connection;
    using Connections = std::map<uint32_t, Connection>;

    Connections::iterator find(const std::string& name);
    Connections::iterator addConnection(ReadWatch& reader);
    /// Removes one registration, and its connection with the last one.
    void removeListener(const std::string& name, int32_t type);
    /// Removes a connection and notifies the service of the death of its clients; logs the reason.
    void removeConnection(uint32_t number, const char* reason);
    /// Sends a final signal with the reason, then removes the connection.
    void drop(uint32_t number, const char* reason);

    sd_bus* const mBus;
    android::VeloraManagerService* const mService;
    UpdateQueue* const mQueue;
    Worker* const mWorker;
    Connections mConnections;  ///< by number, from 1
    uint32_t mLastNumber = 0;
};

}  // namespace velora::host
