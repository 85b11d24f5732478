#pragma once

#include "host/Interface.h"
#include "host/SdBus.h"
#include "host/daemon/Method.h"
#include "host/daemon/ServiceHost.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

namespace velora::host {

/// The D-Bus interface IKms: one method for each operation of the service, with the same name.
///
/// Owned by the daemon's main and used on the bus thread only. The calls of one sender are answered
/// in the order in which they arrive. A call beyond the limits, or with arguments that the service
/// couldn't accept, throws BusError, which is the reply, and changes nothing.
class KmsInterface {
public:
    static constexpr uint32_t kMaxAnswerSize = 65536;  ///< bytes
    static constexpr size_t kMaxRawValues = 1024;      ///< of one raw parameter
    static constexpr size_t kMaxRawParameters = 1024;  ///< of all output devices together
    static constexpr size_t kMaxAllRawValues = 32768;  ///< of all raw parameters together

    /// Adds the interface to the object on `bus`, until this is destroyed. The arguments must
    /// outlive it. Throws std::system_error.
    KmsInterface(sd_bus* bus, ServiceHost* host);
    ~KmsInterface();
    KmsInterface(const KmsInterface&) = delete;
    KmsInterface& operator=(const KmsInterface&) = delete;

    android::VeloraManagerService& service() { return mHost->service(); }
    CallQueue& calls() { return mHost->calls(); }

    // The operations that need more than forwarding. Their client is the sender of the call that is
    // being handled.
    Postponed registerClient(int32_t type);
    Postponed unregisterClient(int32_t type);
    int32_t setSfxParam(const Bytes& request);
    std::tuple<int32_t, Bytes> getSfxParam(const Bytes& request, uint32_t room);
    int32_t setParam(uint32_t device, uint32_t id, const Integers& values);
    std::tuple<int32_t, const StoredParams&> getStoredParams(bool committed);
    Bytes getAvailableTuningDevices(int32_t port, int32_t length);
    void setSelectedTuningDevice(int32_t port, const std::string& name);
    Postponed setIntParam(uint32_t key, int64_t value);

private:
    /// An answer of getStoredParams, which remains valid while nothing is set or committed.
    struct StoredAnswer {
        bool committed;
        uint64_t commits;  ///< number of commits before it was made
        StoredParams params;
    };

    static sd_bus_message_handler_t findHandler(sd_bus_message* call);

    ServiceHost* const mHost;
    /// (output device, parameter number) -> number of values
    std::map<std::pair<uint32_t, uint32_t>, size_t> mRawParameters;
    size_t mRawValues = 0;  ///< of all of them
    std::optional<StoredAnswer> mStoredAnswer;
    const std::shared_ptr<std::atomic<uint64_t>> mCommits;  ///< counted on any thread
    Slot mSlot;
};

}  // namespace velora::host
