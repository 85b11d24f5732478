#pragma once

#include "service/SndManager.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <hidl/HidlSupport.h>
#include <system/audio.h>
#include <utils/KeyedVector.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>
#include <velora/SfxParamStore.h>
#include <vendor/velora_sp/hardware/kmssp/2.0/IKmsCallbacks.h>

namespace android {

using ::vendor::velora_sp::hardware::kmssp::V2_0::IKmsCallbacks;

/// The service object: the only entry into the library, which the binding of the vendor hardware
/// interface forwards its calls to.
///
/// Held by `sp`, one per process; owns the facade, the event handler with its looper thread, and
/// the registry of clients. Any thread may call it. State changes are queued and done in order on
/// the looper thread; everything else is done on the calling thread.
///
/// The facade is initialised by the first `registerClient` for which that succeeds, and stays so.
/// Until then every operation that needs it answers a neutral value: -19, false, 0, -1 or an empty
/// text, as each says. Nothing throws; refused requests are logged.
class VeloraManagerService : public RefBase {
public:
    // Bounds of one request, in bytes, and of those that wait, far above what is real: what is
    // queued lies in the service's memory.
    static constexpr uint32_t kMaxRequestSize = 4096;
    static constexpr int kMaxQueuedRequests = 4096;

    VeloraManagerService();

    /// Writes all settings to the store, on the calling thread, if initialised. False, with the
    /// reason logged, if they couldn't be stored: they are as they were, and can be saved again.
    bool saveSettings();
    /// False if the last save failed, whoever asked for it.
    bool isSaved() const { return mSaved; }
    /// The end: stops the looper, waiting for the request at hand, and then saves. Requests that
    /// are still queued are dropped, later ones refused; nothing is initialised or reloaded any
    /// more, and nobody told. For a host that must have it done before the process leaves; the
    /// destructor does it otherwise. False if the save failed; the second call only repeats that.
    /// Not from a client's update.
    bool shutdown();

    /// Enters a client, tries to initialise the service if it isn't yet, and tells all clients.
    /// `type` says what the client is (1 to 6 decoders, 8 game effects, 9 spatializer, any other:
    /// plain). A client is known by `uid + type` (wrapping): one that is registered already under
    /// that sum is left as it is. `listener` may be null.
    void registerClient(const sp<IKmsCallbacks>& listener, int32_t type, uint32_t uid);
    /// Takes the client `uid + type` out; `listener` isn't looked at. A plain client's leaving
    /// saves all settings.
    void unregisterClient(const sp<IKmsCallbacks>& listener, int32_t type, uint32_t uid);

    /// Gives `size` bytes at `data` (null: none) to every client, in the order of their keys, and
    /// returns when all have answered. A client that can't be reached doesn't keep the others from
    /// being served.
    void doOnSfxParamUpdate(void* data, uint32_t size);

    /// Raw effect parameters, handed through to the parameter store.
    int setParam(audio_devices_t device, velora::SfxParameterId id, const int32_t* values,
                 uint32_t count);
    int commitChange();
    int getStoredParams(KeyedVector<audio_devices_t, velora::SfxParamCache*>* out, bool committed,
                        int* count);

    /// Queues a copy of a command buffer (32-bit words: command, result, arguments). 0 at once; -19
    /// before initialisation and after `shutdown`, -22 for null with a size and for more than
    /// kMaxRequestSize bytes, -12 while kMaxQueuedRequests wait.
    int setSfxParam(void* data, uint32_t size);
    /// Answers a get-request (32-bit words: command, two arguments) in 32-bit words at `out`, which
    /// has `outLen` bytes: an answer that doesn't fit isn't written. 0; -19 before initialisation.
    int getSfxParam(void* in, uint32_t inLen, void* out, uint32_t outLen);

    bool getSfxEnabled();
    /// Empty for a number outside 0 to the count, the count included.
    std::string getProfileName(int profile);
    std::string getIeqPresetName(int preset);

    /// Bytes that `getAvailableTuningDevices` needs for a port (0 to 6).
    int getAvailableTuningDevicesLen(int port);
    /// Fills `len` bytes at `buf` with the names of a port's devices, each followed by a blank, and
    /// blanks to the end. Untouched if the names don't fit.
    void getAvailableTuningDevices(int port, void* buf, int len);
    std::string getSelectedTuningDevice(int port);
    /// Queues the selection of the device whose name are the `len` bytes at `name`.
    void setSelectedTuningDevice(int port, void* name, int len);

    /// The dialog enhancer's ducking on the active device, 0 while the graphic equaliser is off
    /// there; -1 if either is not known.
    int getDialogEnhancerAmount();
    bool isMonoInternalSpeaker();
    bool isSpeakerPortraitMode();
    bool isMobilityProfileSelected();
    /// Which decoders are registered.
    bool hasDecCP();
    bool hasDecDV();
    bool hasMulitchannelDecDV();
    int getZenithGameSystemGain();
    int getActiveDevice();
    /// Version of the default tuning file, as major * 1000000 + minor * 1000 + maintenance. -19
    /// before initialisation, -22 if the file's text isn't three numbers below 1000.
    int64_t getDefaultXmlFormatVersion();

    /// One integer by its four-character key, -1 for an unknown one.
    int64_t getIntParam(uint32_t key);
    /// "RLTF", whatever the value, reads the maker's extra tuning file again and, when that went
    /// well, tells every client with an empty update. Other keys do nothing.
    void setIntParam(uint32_t key, int64_t value);

protected:
    /// Makes facade and event handler and starts the looper.
    void onFirstRef() override;
    /// `shutdown`, if it wasn't called. May run on any thread, the looper's included.
    ~VeloraManagerService() override;

private:
    class EventHandler;
    class NotificationClient;
    struct ClientType;
    struct IntKey;
    struct GetCommand;
    using Clients = DefaultKeyedVector<uint32_t, sp<NotificationClient>>;

    static const ClientType kClientTypes[];
    static const IntKey kIntKeys[];
    static const GetCommand kGetCommands[];
    static const ClientType* findClientType(int32_t type);

    void initManager();
    void enterClientLocked(const sp<NotificationClient>& client) REQUIRES(mLock);
    void noteRegistrationLocked(int32_t type) REQUIRES(mLock);
    void noteDepartureLocked(int32_t type) REQUIRES(mLock);
    void countDepartureLocked(int32_t type) REQUIRES(mLock);
    int64_t countOutputChannelsLocked() const REQUIRES(mLock);
    bool isTypeRegisteredLocked(int32_t type) const REQUIRES(mLock);
    void postRegistrationNotice();
    void removeNotificationClient(uint32_t key, const NotificationClient* died);

    bool checkInitialized(const char* function) const;
    bool checkPort(const char* function, int port) const;
    void packAndReceiveParam(const void* in, uint32_t inLen, void* out, uint32_t outLen);

    // Constant after onFirstRef.
    std::unique_ptr<velora::SndManager> mManager;
    sp<EventHandler> mHandler;

    // Read without the lock.
    std::atomic<bool> mInitialized{false};
    std::atomic<bool> mEnded{false};
    std::atomic<bool> mSaved{true};
    std::atomic<int32_t> mCpDecoderCount{0};
    std::atomic<int32_t> mDvDecoderCount{0};
    std::atomic<int32_t> mMultichannelDvDecoderCount{0};
    std::atomic<int32_t> mActiveDevice{AUDIO_DEVICE_OUT_SPEAKER};
    std::atomic<int32_t> mChctValue{2};
    std::atomic<int64_t> mLastCodecType{-1};
    std::atomic<int64_t> mLastActiveDeviceQueryMs{-1000};
    std::atomic<int64_t> mMultichannelOutputChannels{0};
    std::atomic<int64_t> mSpatializerRegistered{0};
    std::atomic<int64_t> mGameSfxRegistered{0};

    // Held while the registry changes, with its counters, and while clients are called. It comes
    // before every lock of the facade.
    Mutex mLock;
    Clients mClients GUARDED_BY(mLock);
};

}  // namespace android
