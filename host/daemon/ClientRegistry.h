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

/// The bus connections that have registered, each with a number of its own from which its clients'
/// keys are made, and the updates on their way to them.
///
/// Owned by the daemon and used on its bus thread only. A connection that disappears from the bus,
/// or that is pinged and doesn't answer for kPatience, is taken out: the service is told that its
/// clients died, and who may still be there by a last signal. One is pinged when it may have left
/// kPingAt bytes unread; while one may have left kMaxUnread, no more requests should be taken.
class ClientRegistry {
public:
    static constexpr size_t kMaxConnections = 64;
    static constexpr size_t kMaxUnread = 256 << 10;  ///< bytes, signals whole
    static constexpr size_t kPingAt = kMaxUnread / 4;
    static constexpr uint64_t kPatience = 5'000'000;  ///< microseconds
    /// Types of client run from 0 to this, and are as many numbers as a connection has keys.
    static constexpr int32_t kTypes = 256;
    /// Registrations of one connection.
    static constexpr size_t kMaxTypes = 16;

    /// `bus`, `service` and `queue` must outlive this.
    ClientRegistry(sd_bus* bus, android::VeloraManagerService* service, UpdateQueue* queue);
    ~ClientRegistry();
    ClientRegistry(const ClientRegistry&) = delete;
    ClientRegistry& operator=(const ClientRegistry&) = delete;

    /// Registers the connection `sender` as a client of `type`. Throws BusError when that is out of
    /// range or too many are there.
    void enter(const std::string& sender, int32_t type);
    /// Throws BusError unless it is registered so.
    void leave(const std::string& sender, int32_t type);

    /// Some connection may have left too much unread, which will be known soon.
    bool areBehind() const;
    /// Sends an update to the client that it is for, if that is still there.
    void send(const UpdateQueue::Update& update);

private:
    class Listener;
    class Connection;
    using Connections = std::map<uint32_t, Connection>;

    Connections::iterator find(const std::string& sender);
    Connections::iterator connect(const std::string& sender);
    void takeOut(uint32_t number, const char* reason);
    void drop(uint32_t number, const char* reason);

    sd_bus* const mBus;
    android::VeloraManagerService* const mService;
    UpdateQueue* const mQueue;
    Connections mConnections;  ///< by number
    uint32_t mLastNumber = 0;
};

}  // namespace velora::host
