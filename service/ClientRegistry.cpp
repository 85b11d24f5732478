#define LOG_TAG "VeloraManagerService"

#include "service/ClientRegistry.h"

#include "service/NotificationClient.h"

#include <algorithm>

#include <log/log.h>

namespace android {

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kAddedMessage[] = "registerClient() uid : 0x%x";
constexpr char kAlreadyRegisteredMessage[] = "register uid already existing 0x%x";
constexpr char kCodecTypeMessage[] = "Last registered codec type is %d";
constexpr char kGameRegisteredMessage[] = "Game SFX is registered";
constexpr char kGameStatusMessage[] = "Game SFX registered status: %d";
constexpr char kSpatializerRegisteredMessage[] = "Spatializer is registered";
constexpr char kSpatializerUnregisteredMessage[] = "Spatializer is unregistered";

constexpr int32_t kGameType = 8;
constexpr int32_t kSpatializerType = 9;

}  // namespace

/// Which counters and flags a client type changes.
struct VeloraManagerService::ClientRegistry::ClientType {
    int32_t type = 0;
    bool isCodec = false;  ///< remembered as the last codec type
    /// Counts the registered clients of the type.
    std::atomic<int32_t> ClientRegistry::*counter = nullptr;
    /// Output channels that there are at least, once such a client has registered.
    int64_t channels = 0;
    /// Output channels for which a remaining client counts when a multichannel decoder unregisters.
    int64_t remainingChannels = 0;
    /// Set as long as a client of the type is registered, and the log line that says so.
    std::atomic<int64_t> ClientRegistry::*flag = nullptr;
    const char* flagMessage = nullptr;
};

const VeloraManagerService::ClientRegistry::ClientType
    VeloraManagerService::ClientRegistry::kPlainType{};

// The 12 channels of type 5 count only until the next multichannel decoder unregisters.
const VeloraManagerService::ClientRegistry::ClientType
    VeloraManagerService::ClientRegistry::kClientTypes[] = {
        {.type = 1, .isCodec = true, .counter = &ClientRegistry::mCpDecoderCount},
        {.type = 2, .isCodec = true, .counter = &ClientRegistry::mDvDecoderCount},
        {.type = 3,
         .isCodec = true,
         .counter = &ClientRegistry::mMultichannelDvDecoderCount,
         .channels = 6,
         .remainingChannels = 6},
        {.type = 4,
         .isCodec = true,
         .counter = &ClientRegistry::mMultichannelDvDecoderCount,
         .channels = 8,
         .remainingChannels = 8},
        {.type = 5,
         .isCodec = true,
         .counter = &ClientRegistry::mMultichannelDvDecoderCount,
         .channels = 12},
        {.type = 6, .isCodec = true, .counter = &ClientRegistry::mCpDecoderCount},
        {.type = kGameType,
         .flag = &ClientRegistry::mGameSfxRegistered,
         .flagMessage = kGameRegisteredMessage},
        {.type = kSpatializerType,
         .flag = &ClientRegistry::mSpatializerRegistered,
         .flagMessage = kSpatializerRegisteredMessage},
};

const VeloraManagerService::ClientRegistry::ClientType&
VeloraManagerService::ClientRegistry::findType(int32_t type) {
    const auto* const row = std::find_if(std::begin(kClientTypes), std::end(kClientTypes),
                                         [&](const ClientType& r) { return r.type == type; });
    return row != std::end(kClientTypes) ? *row : kPlainType;
}

bool VeloraManagerService::ClientRegistry::isPlain(int32_t type) {
    return &findType(type) == &kPlainType;
}

void VeloraManagerService::ClientRegistry::add(const sp<NotificationClient>& client) {
    Mutex::Autolock lock(mLock);

    // The key is the sum of uid and type, so that it may be another user's and type's.
    if (mClients.indexOfKey(client->key()) >= 0) {
        ALOGW(kAlreadyRegisteredMessage, client->key());
    } else {
        addLocked(client);
    }
    setFlagsLocked(client->type());
}

void VeloraManagerService::ClientRegistry::addLocked(const sp<NotificationClient>& client) {
    ALOGV(kAddedMessage, client->key());
    mClients.add(client->key(), client);
    client->linkToDeath();

    const ClientType& type = findType(client->type());
    if (type.counter != nullptr) ++(this->*type.counter);
    mMultichannelOutputChannels = std::max(mMultichannelOutputChannels.load(), type.channels);
}

void VeloraManagerService::ClientRegistry::setFlagsLocked(int32_t type) {
    const ClientType& row = findType(type);
    if (row.isCodec) {
        mLastCodecType = type;
        ALOGD(kCodecTypeMessage, type);
    }

    if (row.flag != nullptr) {
        this->*row.flag = 1;
        ALOGD("%s", row.flagMessage);
    }
}

sp<VeloraManagerService::NotificationClient> VeloraManagerService::ClientRegistry::remove(
    uint32_t key) {
    Mutex::Autolock lock(mLock);
    sp<NotificationClient> client = mClients.valueFor(key);
    if (!client) return nullptr;

    client->unlinkToDeath();
    removeLocked(*client);
    resetFlagsLocked(client->type());
    return client;
}

void VeloraManagerService::ClientRegistry::removeDead(const NotificationClient& died) {
    Mutex::Autolock lock(mLock);
    if (mClients.valueFor(died.key()).get() == &died) removeLocked(died);
}

void VeloraManagerService::ClientRegistry::removeLocked(const NotificationClient& client) {
    mClients.removeItemsAt(static_cast<size_t>(mClients.indexOfKey(client.key())));
    const ClientType& type = findType(client.type());
    if (type.counter != nullptr) --(this->*type.counter);
}

void VeloraManagerService::ClientRegistry::resetFlagsLocked(int32_t type) {
    if (findType(type).channels > 0) mMultichannelOutputChannels = countOutputChannelsLocked();

    if (type == kGameType) {
        mGameSfxRegistered = isTypeRegisteredLocked(kGameType) ? 1 : 0;
        ALOGD(kGameStatusMessage, static_cast<int>(mGameSfxRegistered));
    }

    // Cleared even if another spatializer is still registered.
    if (type == kSpatializerType) {
        mSpatializerRegistered = 0;
        ALOGD(kSpatializerUnregisteredMessage);
    }
}

int64_t VeloraManagerService::ClientRegistry::countOutputChannelsLocked() const {
    int64_t channels = 0;
    for (size_t i = 0; i < mClients.size(); ++i) {
        channels = std::max(channels, findType(mClients.valueAt(i)->type()).remainingChannels);
    }
    return channels;
}

bool VeloraManagerService::ClientRegistry::isTypeRegisteredLocked(int32_t type) const {
    for (size_t i = 0; i < mClients.size(); ++i) {
        if (mClients.valueAt(i)->type() == type) return true;
    }
    return false;
}

void VeloraManagerService::ClientRegistry::notifyAll(void* data, uint32_t size) {
    Mutex::Autolock lock(mLock);
    for (size_t i = 0; i < mClients.size(); ++i) mClients.valueAt(i)->onSfxParamUpdate(data, size);
}

}  // namespace android
