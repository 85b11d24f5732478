#define LOG_TAG "VeloraManagerService"

#include "service/EventHandler.h"

#include "util/Words.h"

#include <cstring>
#include <string>

#include <log/log.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>

namespace android {

using velora::Command;
using velora::Port;
using velora::SetRequest;
using velora::SndManager;
using velora::Words;

namespace {

// Names of a message's entries.
constexpr char kBuffer[] = "buffer";
constexpr char kPort[] = "port";

}  // namespace

/// How one command is executed, and whether its first argument is copied into the result word.
struct VeloraManagerService::EventHandler::SetCommand {
    Command number;
    bool answersArgument;
    void (*run)(SndManager& manager, const Words& words);
};

const VeloraManagerService::EventHandler::SetCommand
    VeloraManagerService::EventHandler::kSetCommands[] = {
        {.number = Command::SWITCH_EFFECT,
         .answersArgument = true,
         .run =
             [](SndManager& manager, const Words& words) {
                 manager.setSndOn(words[2] > 0);
                 manager.saveSndState();
             }},
        {.number = Command::PROFILE_PARAMETER,
         .answersArgument = false,
         .run =
             [](SndManager& manager, const Words& words) {
                 manager.setParameter(words[2], words[3], words.from(4));
             }},
        {.number = Command::PROFILE_PORT_PARAMETER,
         .answersArgument = false,
         .run =
             [](SndManager& manager, const Words& words) {
                 manager.setProfilePortParameter(words[2], words[3], words[4], words.from(5));
             }},
        {.number = Command::SELECTED_PROFILE,
         .answersArgument = true,
         .run =
             [](SndManager& manager, const Words& words) {
                 const int profile = words[2];
                 const bool accepted = manager.setSelectedProfile(profile);
                 if (accepted && manager.getSelectedProfile() == profile) manager.saveSndProfile();
             }},
        {.number = Command::RESET_PROFILE,
         .answersArgument = true,
         .run = [](SndManager& manager, const Words& words) { manager.resetProfile(words[2]); }},
};

VeloraManagerService::EventHandler::EventHandler(SndManager* manager, VeloraManagerService* owner)
    : mLooper(sp<ALooper>::make()), mSndManager(manager), mOwner(owner) {
    mLooper->setName("VeloraManagerService EventHandler");
}

void VeloraManagerService::EventHandler::start() {
    mLooper->registerHandler(this);
    const status_t result = mLooper->start(false, false, PRIORITY_DEFAULT);
    if (result != OK) ALOGE("the event handler's thread can't be started, error %d", result);
}

void VeloraManagerService::EventHandler::stop() {
    mLooper->unregisterHandler(id());
    mWaiting = 0;  // what is queued is dropped, since it has no receiver any more
    mLooper->stop();

    Mutex::Autolock lock(mSaveLock);
    mStopped = true;
    mSaveDone.broadcast();
}

void VeloraManagerService::EventHandler::saveAfterQueued() {
    Mutex::Autolock lock(mSaveLock);
    if (sp<AMessage>::make(SAVE, this)->post() != OK) return;

    const uint64_t number = ++mSavesPosted;
    while (mSavesDone < number && !mStopped) mSaveDone.wait(mSaveLock);
}

status_t VeloraManagerService::EventHandler::sendMessage(const void* data, uint32_t size,
                                                         uint32_t what) {
    return post(makeMessage(data, size, what));
}

status_t VeloraManagerService::EventHandler::sendMessage(const void* data, uint32_t size,
                                                         int32_t port, uint32_t what) {
    const sp<AMessage> message = makeMessage(data, size, what);
    message->setInt32(kPort, port);
    return post(message);
}

sp<AMessage> VeloraManagerService::EventHandler::makeMessage(const void* data, uint32_t size,
                                                             uint32_t what) {
    const auto buffer = sp<ABuffer>::make(size);
    if (size > 0) memcpy(buffer->data(), data, size);  // `data` may be null otherwise
    buffer->setRange(0, size);

    auto message = sp<AMessage>::make(what, this);
    message->setBuffer(kBuffer, buffer);
    return message;
}

status_t VeloraManagerService::EventHandler::post(const sp<AMessage>& message) {
    const bool isCounted = isRequest(message->what());
    if (isCounted && ++mWaiting > kMaxQueuedRequests) {
        --mWaiting;
        return NO_MEMORY;
    }

    if (message->post() == OK) return OK;
    if (isCounted) --mWaiting;
    return NO_INIT;
}

bool VeloraManagerService::EventHandler::isRequest(uint32_t what) {
    return what == SET_PARAM || what == SET_SELECTED_TUNING;
}

void VeloraManagerService::EventHandler::onMessageReceived(const sp<AMessage>& message) {
    if (isRequest(message->what())) --mWaiting;

    // Keeps the service, and the facade that it owns, until the clients are notified. If the last
    // other reference is released meanwhile, the service is destroyed here, on the looper thread.
    const sp<VeloraManagerService> owner = mOwner.promote();
    if (!owner) return;

    if (message->what() == SAVE) {
        save(*owner);
        return;
    }

    sp<ABuffer> buffer;
    message->findBuffer(kBuffer, &buffer);
    switch (message->what()) {
        case REGISTRATION_CHANGED:
            break;
        case SET_SELECTED_TUNING:
            setSelectedTuning(*message, buffer);
            break;
        case SET_PARAM:
            // The command writes its result into the buffer that the clients then get.
            if (buffer) parseAndSendParam(buffer->data(), buffer->size());
            break;
        default:  // any other kind is only an empty update
            buffer.clear();
    }

    owner->doOnSfxParamUpdate(buffer ? buffer->data() : nullptr,
                              buffer ? static_cast<uint32_t>(buffer->size()) : 0);
}

void VeloraManagerService::EventHandler::save(VeloraManagerService& owner) {
    (void)owner.saveSettings();  // a failure is logged

    Mutex::Autolock lock(mSaveLock);
    ++mSavesDone;
    mSaveDone.broadcast();
}

void VeloraManagerService::EventHandler::setSelectedTuning(const AMessage& message,
                                                           const sp<ABuffer>& buffer) {
    int32_t port = 0;
    message.findInt32(kPort, &port);
    std::string name;
    if (buffer) name.assign(reinterpret_cast<const char*>(buffer->data()), buffer->size());
    mSndManager->setSelectedTuning(static_cast<Port>(port), name);
}

void VeloraManagerService::EventHandler::parseAndSendParam(void* data, size_t size) {
    const Words words(data, size);
    if (size < (SetRequest::kFirstArgument + 1) * Words::kSize) return;

    const Command number = velora::commandOf(words);
    for (const SetCommand& command : kSetCommands) {
        if (command.number != number) continue;

        const int32_t argument = words[SetRequest::kFirstArgument];
        command.run(*mSndManager, words);

        // The result only repeats the argument: clients can't see whether the command succeeded.
        if (command.answersArgument) {
            memcpy(static_cast<uint8_t*>(data) + SetRequest::kResult * Words::kSize, &argument,
                   sizeof argument);
        }
        return;
    }
}

}  // namespace android
