#pragma once

#include "host/Interface.h"
#include "host/SdBus.h"
#include "host/daemon/UpdateQueue.h"
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
/// A connection that doesn't read its signals is removed, too. The daemon can't see how much a
/// client has read, so it counts the bytes sent since the connection last answered a ping: no more
/// can be unread. At kPingThreshold bytes it sends a ping. A connection that doesn't answer within
/// kPingTimeout is sent a final signal with the reason, and removed. While the count of any
/// connection is at least kMaxUnread, the ServiceHost refuses the requests of all clients.
class BusClients {
public:
    static constexpr size_t kMaxConnections = 64;
    static constexpr size_t kMaxRegistrations = 16;  ///< per connection
    static constexpr size_t kMaxUnread = 256 << 10;  ///< bytes, each signal with its header
    static constexpr size_t kPingThreshold = kMaxUnread / 4;
    static constexpr uint64_t kPingTimeout = 5'000'000;  ///< microseconds
    /// Client types are 0 to 255, so this many keys are reserved for each connection.
    static constexpr int32_t kTypeCount = 256;

    /// The objects that the arguments point to must outlive this one. The service calls its clients
    /// through `queue`.
    BusClients(sd_bus* bus, android::VeloraManagerService* service, UpdateQueue* queue);
    /// The clients remain registered with the service, which is destroyed after this.
    ~BusClients();
    BusClients(const BusClients&) = delete;
    BusClients& operator=(const BusClients&) = delete;

    /// Registers the connection with the unique name `sender` as a client of `type`. Throws
    /// BusError, and changes nothing, if the type is out of range or the connection's or the total
    /// limit is reached. A second registration of the same type only repeats the notice.
    void add(const std::string& sender, int32_t type);
    /// Unregisters a client, and removes its connection with the last one. Throws BusError if it
    /// isn't registered.
    void remove(const std::string& sender, int32_t type);

    /// True while the count of unread bytes of any connection is at least kMaxUnread. This ends
    /// when the connection answers the ping, or is removed after the timeout.
    bool isAnyBehind() const;
    /// Sends an update to its client. Does nothing if the client is no longer registered. If
    /// sending fails, the client's connection is removed.
    void send(const UpdateQueue::Update& update);

private:
    class Listener;
    class Connection;
    using Connections = std::map<uint32_t, Connection>;

    Connections::iterator find(const std::string& sender);
    Connections::iterator addConnection(const std::string& sender);
    /// Removes a connection and notifies the service of the death of its clients; logs the reason.
    void removeConnection(uint32_t number, const char* reason);
    /// Sends a final signal with the reason, then removes the connection.
    void drop(uint32_t number, const char* reason);

    sd_bus* const mBus;
    android::VeloraManagerService* const mService;
    UpdateQueue* const mQueue;
    Connections mConnections;  ///< by number, from 1
    uint32_t mLastNumber = 0;
};

}  // namespace velora::host
