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

/// The bus connections that have registered as clients, and the signals sent to them.
///
/// Owned by the ServiceHost and used on the bus thread only. Each connection gets a number, from
/// which the keys of its registrations in the service are made. A connection that leaves the bus is
/// removed, and the service sees its clients die. So is a connection that doesn't read: once it may
/// have kPingThreshold bytes unread it is pinged, and without an answer within kPingTimeout it is
/// dropped, which a last signal says. While a connection may have kMaxUnread bytes unread, the
/// daemon accepts no requests.
class BusClients {
public:
    static constexpr size_t kMaxConnections = 64;
    static constexpr size_t kMaxRegistrations = 16;  ///< of one connection
    static constexpr size_t kMaxUnread = 256 << 10;  ///< bytes of whole signals
    static constexpr size_t kPingThreshold = kMaxUnread / 4;
    static constexpr uint64_t kPingTimeout = 5'000'000;  ///< microseconds
    /// Client types are 0 to 255, so a connection has this many keys.
    static constexpr int32_t kTypeCount = 256;

    /// The arguments must outlive this object.
    BusClients(sd_bus* bus, android::VeloraManagerService* service, UpdateQueue* queue);
    ~BusClients();
    BusClients(const BusClients&) = delete;
    BusClients& operator=(const BusClients&) = delete;

    /// Registers the connection with the unique name `sender` as a client of `type`. Throws
    /// BusError if the type is out of range or a limit is reached; nothing has changed then.
    void add(const std::string& sender, int32_t type);
    /// Unregisters a client. Throws BusError if it isn't registered.
    void remove(const std::string& sender, int32_t type);

    /// True while some connection may have kMaxUnread bytes unread. Its answer to the ping, or the
    /// timeout, ends that.
    bool isAnyBehind() const;
    /// Sends an update to its client, if that is still registered. A connection to which that fails
    /// is dropped.
    void send(const UpdateQueue::Update& update);

private:
    class Listener;
    class Connection;
    using Connections = std::map<uint32_t, Connection>;

    Connections::iterator find(const std::string& sender);
    Connections::iterator addConnection(const std::string& sender);
    void removeConnection(uint32_t number, const char* reason);
    void drop(uint32_t number, const char* reason);

    sd_bus* const mBus;
    android::VeloraManagerService* const mService;
    UpdateQueue* const mQueue;
    Connections mConnections;  ///< by number, from 1
    uint32_t mLastNumber = 0;
};

}  // namespace velora::host
