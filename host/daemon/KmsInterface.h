#pragma once

#include "host/Interface.h"
#include "host/SdBus.h"
#include "host/daemon/ServiceHost.h"

#include <cstdint>
#include <set>
#include <string>
#include <tuple>
#include <utility>

namespace velora::host {

/// The D-Bus interface IKms: one method for each operation of the service, with the same name.
///
/// Owned by the daemon's main and used on the bus thread only. Calls are answered in the order in
/// which they arrive. A call beyond the limits, or with arguments that the service couldn't accept,
/// throws BusError, which is the reply, and changes nothing.
class KmsInterface {
public:
    static constexpr uint32_t kMaxAnswerSize = 65536;  ///< bytes
    static constexpr size_t kMaxRawValues = 1024;      ///< of one raw parameter
    static constexpr size_t kMaxRawParameters = 1024;  ///< of all output devices together

    /// Adds the interface to the object on `bus`, until this is destroyed. The arguments must
    /// outlive it. Throws std::system_error.
    KmsInterface(sd_bus* bus, ServiceHost* host);
    KmsInterface(const KmsInterface&) = delete;
    KmsInterface& operator=(const KmsInterface&) = delete;

    android::VeloraManagerService& service() { return mHost->service(); }

    // The operations that need more than forwarding. Their client is the sender of the message that
    // is being handled.
    void registerClient(int32_t type);
    void unregisterClient(int32_t type);
    int32_t setSfxParam(const Bytes& request);
    std::tuple<int32_t, Bytes> getSfxParam(const Bytes& request, uint32_t room);
    int32_t setParam(uint32_t device, uint32_t id, const Integers& values);
    std::tuple<int32_t, StoredParams> getStoredParams(bool committed);
    Bytes getAvailableTuningDevices(int32_t port, int32_t length);
    void setSelectedTuningDevice(int32_t port, const std::string& name);
    void setIntParam(uint32_t key, int64_t value);

private:
    std::string sender() const;

    sd_bus* const mBus;
    ServiceHost* const mHost;
    std::set<std::pair<uint32_t, uint32_t>> mRawParameters;  ///< output device, parameter number
    Slot mSlot;
};

}  // namespace velora::host
