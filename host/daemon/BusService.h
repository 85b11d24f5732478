#pragma once

#include "host/Interface.h"
#include "host/SdBus.h"
#include "host/daemon/ClientRegistry.h"
#include "host/daemon/UpdateQueue.h"
#include "service/VeloraManagerService.h"

#include <chrono>
#include <cstdint>
#include <set>
#include <string>
#include <tuple>
#include <utility>

namespace velora::host {

/// The service as an object on the bus: makes the service object, forwards every operation to it,
/// sends its notifications out, and saves changes that have settled.
///
/// Owned by the daemon's main and used on its thread only, which runs the event loop. Calls are
/// answered in the order in which they came; what can't be taken is answered by a D-Bus error and
/// changes nothing.
class BusService {
public:
    /// Bounds of an answer's bytes, the values of a raw parameter, the raw parameters, and the
    /// requests that wait to be done. A request's bytes are bounded as the service bounds them.
    static constexpr uint32_t kMaxAnswer = 65536;
    static constexpr size_t kMaxValues = 1024;
    static constexpr size_t kMaxRawParameters = 1024;
    static constexpr int kMaxWaiting = 64;

    /// Puts the object on `bus`, whose events run on `event`; both must outlive this. Changes are
    /// saved `saveDelay` after the first that isn't; a save that fails is tried again.
    BusService(sd_bus* bus, sd_event* event, std::chrono::microseconds saveDelay);
    /// Ends the service, if `end` wasn't called.
    ~BusService();
    BusService(const BusService&) = delete;
    BusService& operator=(const BusService&) = delete;

    /// Ends the service, which saves all settings. False if they couldn't be stored.
    bool end() { return mService->shutdown(); }
    /// Takes no more changes, and ends the event loop when those that wait are done. The second
    /// call ends it at once.
    void leave();

    // Operations. The caller is the one whose message is being handled.
    void registerClient(int32_t type);
    void unregisterClient(int32_t type);
    int32_t setSfxParam(const Bytes& request);
    std::tuple<int32_t, Bytes> getSfxParam(const Bytes& request, uint32_t room);
    int32_t setParam(uint32_t device, uint32_t id, const Integers& values);
    std::tuple<int32_t, StoredParams> getStoredParams(bool committed);
    Bytes getAvailableTuningDevices(int32_t port, int32_t length);
    void setSelectedTuningDevice(int32_t port, const std::string& name);
    void setIntParam(uint32_t key, int64_t value);

    android::VeloraManagerService& service() { return *mService; }

private:
    class Observer;

    static int onUpdates(sd_event_source* source, int fd, uint32_t events, void* self);
    static int onSettled(sd_event_source* source, uint64_t now, void* self);

    std::string sender() const;
    void checkWaiting() const;
    bool isReady();
    void deliver();
    void noteChange();
    void save();

    sd_bus* const mBus;
    sd_event* const mEvent;
    const uint64_t mSaveDelay;  ///< microseconds
    UpdateQueue mQueue;
    const android::sp<android::VeloraManagerService> mService;
    ClientRegistry mClients;
    std::set<std::pair<uint32_t, uint32_t>> mRawParameters;  ///< device, number
    int mWaiting = 0;                                        ///< requests that the service will do
    bool mLeaving = false;
    bool mSavePending = false;  ///< the timer runs
    Slot mObject;
    EventSource mUpdates;
    EventSource mSettled;
};

}  // namespace velora::host
