#pragma once

#include "service/VeloraManagerService.h"

#include <atomic>
#include <cstdint>

#include <utils/KeyedVector.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>

namespace android {

/// The registered clients by key, with counts and flags for the types of clients that need them. A
/// client's key is the sum of its uid and its type.
///
/// The service owns it; it shares ownership of the clients. Any thread may call it. The lock is
/// held while a client is added or removed, and while `notifyAll` calls the clients: a client must
/// not register, unregister or start another notification while it is being called, which would
/// deadlock, and a slow client delays all others. Counts and flags can be read at any time; two of
/// them need not be consistent with each other. No function reports an error; problems are logged.
class VeloraManagerService::ClientRegistry {
public:
    /// Adds the client, which is from now on notified of the death of its listener. If its key is
    /// already registered, the client isn't added, but the flag and the last codec type are still
    /// updated from its type.
    void add(const sp<NotificationClient>& client);

    /// Removes the client with this key, because it has unregistered, and returns it. Returns null
    /// if `key` is unknown. The caller must hold no lock when it releases the client, because that
    /// may destroy the listener.
    [[nodiscard]] sp<NotificationClient> remove(uint32_t key);

    /// Removes a client whose process has died, and decreases the counter of its type. The output
    /// channels and the flags deliberately remain unchanged. Does nothing if the key is unused by
    /// now, or belongs to another client.
    void removeDead(const NotificationClient& died);

    /// Calls every client, in ascending order of keys, with the `size` bytes at `data`, which
    /// remain the caller's; with no bytes if `data` is null. Returns after every call has returned.
    /// A call that failed is logged, and the remaining clients are still called.
    void notifyAll(void* data, uint32_t size);

    /// True for a type that changes no counter, no flag and not the last codec type, which includes
    /// unknown types.
    static bool isPlain(int32_t type);

    bool hasCpDecoder() const { return mCpDecoderCount != 0; }
    bool hasDvDecoder() const { return mDvDecoderCount != 0; }
    bool hasMultichannelDecoder() const { return mMultichannelDvDecoderCount != 0; }
    bool hasGameSfx() const { return mGameSfxRegistered != 0; }
    bool hasSpatializer() const { return mSpatializerRegistered != 0; }
    /// Type of the last decoder that asked to be registered, even if its key was already
    /// registered; -1 before the first.
    int64_t lastCodecType() const { return mLastCodecType; }
    /// Output channels of the multichannel decoders, 0 if there is none. A decoder that dies leaves
    /// the number unchanged, so it may count one that no longer exists.
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

    // Written only while the lock is held, read at any time.
    std::atomic<int32_t> mCpDecoderCount{0};
    std::atomic<int32_t> mDvDecoderCount{0};
    std::atomic<int32_t> mMultichannelDvDecoderCount{0};
    std::atomic<int64_t> mLastCodecType{-1};
    std::atomic<int64_t> mMultichannelOutputChannels{0};
    std::atomic<int64_t> mSpatializerRegistered{0};
    std::atomic<int64_t> mGameSfxRegistered{0};

    // Acquired before any lock of the facade (SndManager), never while one of them is held.
    Mutex mLock;
    DefaultKeyedVector<uint32_t, sp<NotificationClient>> mClients GUARDED_BY(mLock);
};

}  // namespace android
