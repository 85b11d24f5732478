#pragma once

#include "service/VeloraManagerService.h"

#include <atomic>
#include <cstdint>

#include <utils/KeyedVector.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>

namespace android {

/// The registered clients by key, and what is counted of them by type.
///
/// Owned by the service; owns the clients. Any thread may call it. Its lock is held while the
/// clients change and while they are called, so a client must not register, unregister or notify
/// from its own update. Counts and flags are read without the lock. Nothing fails: what can't be
/// done is logged and changes nothing.
class VeloraManagerService::ClientRegistry {
public:
    /// Adds the client and links it to the death of its listener. If its key is registered already,
    /// the client isn't added; the flag and last codec type that its type sets are set
    /// nevertheless.
    void add(const sp<NotificationClient>& client);

    /// Removes a client that unregisters, and returns it; null if `key` is unknown. The caller
    /// releases it, which may destroy the listener, while no lock is held.
    [[nodiscard]] sp<NotificationClient> remove(uint32_t key);

    /// Removes a client whose process died. Only its counter changes: neither the output channels
    /// nor the flags. A notice that comes late, when the key is free or another client's, changes
    /// nothing.
    void removeDead(const NotificationClient& died);

    /// Calls every client with `size` bytes at `data` (null: none), in the order of their keys.
    /// Returns when all have answered; one that fails doesn't keep the others from being called.
    void notifyAll(void* data, uint32_t size);

    /// True for a type that changes no counter and no flag.
    static bool isPlain(int32_t type);

    bool hasCpDecoder() const { return mCpDecoderCount != 0; }
    bool hasDvDecoder() const { return mDvDecoderCount != 0; }
    bool hasMultichannelDecoder() const { return mMultichannelDvDecoderCount != 0; }
    bool hasGameSfx() const { return mGameSfxRegistered != 0; }
    bool hasSpatializer() const { return mSpatializerRegistered != 0; }
    /// Type of the decoder that registered last; -1 before the first.
    int64_t lastCodecType() const { return mLastCodecType; }
    /// Highest channel count of the multichannel decoders, 0 without any.
    int64_t outputChannels() const { return mMultichannelOutputChannels; }

private:
    struct ClientType;
    static const ClientType kClientTypes[];
    static const ClientType kPlainType;

    static const ClientType& findType(int32_t type);

    void addLocked(const sp<NotificationClient>& client) REQUIRES(mLock);
    void setFlagsLocked(int32_t type) REQUIRES(mLock);
    void resetFlagsLocked(int32_t type) REQUIRES(mLock);
    void removeLocked(const NotificationClient& client) REQUIRES(mLock);
    bool isTypeRegisteredLocked(int32_t type) const REQUIRES(mLock);
    int64_t countOutputChannelsLocked() const REQUIRES(mLock);

    // Changed while the lock is held, read at any time.
    std::atomic<int32_t> mCpDecoderCount{0};
    std::atomic<int32_t> mDvDecoderCount{0};
    std::atomic<int32_t> mMultichannelDvDecoderCount{0};
    std::atomic<int64_t> mLastCodecType{-1};
    std::atomic<int64_t> mMultichannelOutputChannels{0};
    std::atomic<int64_t> mSpatializerRegistered{0};
    std::atomic<int64_t> mGameSfxRegistered{0};

    // Comes before every lock of the facade.
    Mutex mLock;
    DefaultKeyedVector<uint32_t, sp<NotificationClient>> mClients GUARDED_BY(mLock);
};

}  // namespace android
