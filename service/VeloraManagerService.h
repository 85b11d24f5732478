#pragma once

#include "service/SndManager.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include <hidl/HidlSupport.h>
#include <system/audio.h>
#include <utils/KeyedVector.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>
#include <velora/SfxParamStore.h>
#include <vendor/velora_sp/hardware/kmssp/2.0/IKmsCallbacks.h>

namespace android {

using ::vendor::velora_sp::hardware::kmssp::V2_0::IKmsCallbacks;

/// The service object: the only entry into the library. The binding of the vendor hardware
/// interface forwards its calls to it.
///
/// Held by `sp`, one per process; owns the facade, the event handler with its looper thread, and
/// the registry of clients. Any thread may call it. State changes are queued and done in order on
/// the looper thread; everything else is done on the calling thread.
///
/// The facade is initialised by the first `registerClient` for which that succeeds, and remains
/// initialised. Until then every operation that needs it returns a neutral value: -19, false, 0, -1
/// or an empty text, as each says. Nothing throws. A refused request is logged if the operation
/// has no result that could say so.
class VeloraManagerService : public RefBase {
public:
    // Bounds of one request, in bytes, and of the requests that wait. Both lie far above what
    // clients need: they only keep a client from filling the service's memory.
    static constexpr uint32_t kMaxRequestSize = 4096;
    static constexpr int kMaxQueuedRequests = 4096;

    VeloraManagerService();

    /// Stores all settings that have changed, if initialised, and returns when they are stored. No
    /// query waits meanwhile. False, with a line in the log, if they couldn't be stored: they are
    /// unchanged, and can be saved again.
    [[nodiscard]] bool saveSettings();
    /// False if the last save failed, whoever asked for it.
    [[nodiscard]] bool isSaved() const { return !mInitialized || mManager->isSaved(); }

    /// Ends the service: stops the looper, waiting for the request that it is handling, and then
    /// saves. Requests that are still queued are dropped, later ones refused, and nothing is
    /// initialised or reloaded any more. For a host that needs this done before the process ends;
    /// otherwise the destructor does it. False if the save failed. Later calls only return that
    /// again, concurrent ones after the first is done. Must not be called from a client's update.
    [[nodiscard]] bool shutdown();

    /// Registers a client, tries to initialise the facade if it isn't yet, and notifies all
    /// clients. `type` says what the client is (1 to 6: decoders, 8: game effects, 9: spatializer,
    /// any other: plain). A client is identified by `uid + type` (wrapping): a second one with the
    /// same sum is not added. `listener` may be null.
    void registerClient(const sp<IKmsCallbacks>& listener, int32_t type, uint32_t uid);
    /// Removes the client `uid + type`, whatever `listener` is, and notifies the others. When a
    /// plain client unregisters, returns after every request that was queued before has been
    /// executed, and all settings are stored.
    void unregisterClient(const sp<IKmsCallbacks>& listener, int32_t type, uint32_t uid);

    /// Calls every client with `size` bytes at `data` (null: none), in the order of their keys, and
    /// returns when all have answered. A client that can't be reached is logged and skipped.
    void doOnSfxParamUpdate(void* data, uint32_t size);

    /// Raw effect parameters, passed through to the parameter store.
    int setParam(audio_devices_t device, velora::SfxParameterId id, const int32_t* values,
                 uint32_t count);
    int commitChange();
    int getStoredParams(KeyedVector<audio_devices_t, velora::SfxParamCache*>* out, bool committed,
                        int* count);

    /// Queues a copy of a command buffer (32-bit words: command, result, arguments). Returns 0 at
    /// once; -19 before initialisation; -22 for null with a size and for more than kMaxRequestSize
    /// bytes; -12 while kMaxQueuedRequests wait; -19 for a valid request after `shutdown`.
    [[nodiscard]] int setSfxParam(void* data, uint32_t size);
    /// Answers a get-request (32-bit words: command, two arguments) in 32-bit words at `out`, which
    /// has `outLen` bytes: an answer that doesn't fit isn't written. Returns 0; -19 before
    /// initialisation.
    [[nodiscard]] int getSfxParam(void* in, uint32_t inLen, void* out, uint32_t outLen);

    bool getSfxEnabled();
    /// Empty for a number outside 0 to the count, the count included.
    std::string getProfileName(int profile);
    std::string getIeqPresetName(int preset);

    /// Bytes that `getAvailableTuningDevices` needs for a port (0 to 6).
    int getAvailableTuningDevicesLen(int port);
    /// Fills `len` bytes at `buf` with the names of a port's devices, each followed by a blank, and
    /// blanks to the end. Nothing is written if the names don't fit.
    void getAvailableTuningDevices(int port, void* buf, int len);
    std::string getSelectedTuningDevice(int port);
    /// Queues the selection of the device whose name is in the `len` bytes at `name`. Logged if the
    /// name is invalid or the request can't be queued.
    void setSelectedTuningDevice(int port, void* name, int len);

    /// The dialog enhancer's ducking on the active output device, 0 while the graphic equalizer is
    /// off there; -1 if either is not known.
    int getDialogEnhancerAmount();
    bool isMonoInternalSpeaker();
    bool isSpeakerPortraitMode();
    bool isMobilityProfileSelected();
    /// Which decoders are registered.
    bool hasDecCP();
    bool hasDecDV();
    bool hasMulitchannelDecDV();
    int getZenithGameSystemGain();
    /// Output device bit of the active output device.
    int getActiveDevice();
    /// Version of the default tuning file, as major * 1000000 + minor * 1000 + maintenance. -19
    /// before initialisation, -22 if the file's text isn't three numbers below 1000.
    int64_t getDefaultXmlFormatVersion();

    /// One integer by its four-character key (velora::key), -1 for an unknown one.
    int64_t getIntParam(uint32_t key);
    /// "RLTF", whatever the value, reads the maker's extra tuning file again, stores what it
    /// contains and, if that succeeds, notifies every client with an empty update. A call that
    /// comes while another one waits is answered together with it. Other keys do nothing.
    void setIntParam(uint32_t key, int64_t value);

protected:
    /// Creates the facade and the event handler and starts the looper.
    void onFirstRef() override;
    /// Calls `shutdown`. May run on any thread, the looper's included.
    ~VeloraManagerService() override;

private:
    class ClientRegistry;
    class EventHandler;
    class NotificationClient;
    struct IntKey;
    struct GetCommand;

    static const IntKey kIntKeys[];
    static const GetCommand kGetCommands[];

    void initManager();
    [[nodiscard]] bool reloadTuning();
    void postRegistrationNotice();
    void removeNotificationClient(uint32_t key, const NotificationClient& died);

    bool checkInitialized(const char* function) const;
    bool checkPort(const char* function, int port) const;
    void packAndReceiveParam(const void* in, uint32_t inLen, void* out, uint32_t outLen);

    const std::unique_ptr<ClientRegistry> mRegistry;

    // Constant after onFirstRef.
    std::unique_ptr<velora::SndManager> mManager;
    sp<EventHandler> mHandler;

    // Read without a lock.
    std::atomic<bool> mInitialized{false};
    std::atomic<int32_t> mActiveDevice{AUDIO_DEVICE_OUT_SPEAKER};
    std::atomic<int32_t> mChctValue{2};
    std::atomic<int64_t> mLastActiveDeviceQueryMs{-1000};

    std::atomic<uint64_t> mReloadsRequested{0};

    // Held while the facade is initialised, reloads or ends, so that nothing begins after the end
    // and a second `shutdown` waits for the first. It comes before every other lock.
    Mutex mLifecycleLock;
    bool mEnded GUARDED_BY(mLifecycleLock) = false;
    bool mSavedAtEnd GUARDED_BY(mLifecycleLock) = true;
    uint64_t mReloadsAnswered GUARDED_BY(mLifecycleLock) = 0;
};

}  // namespace android
