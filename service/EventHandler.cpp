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

constexpr char kBuffer[] = "buffer";
constexpr char kPort[] = "port";

}  // namespace

/// How one command is done, and whether its first argument goes into the result word.
struct VeloraManagerService::EventHandler::SetCommand {
    Command number;
    bool answersArgument;
    void (*run)(SndManager& manager, const Words& words);
};

const VeloraManagerService::EventHandler::SetCommand
    VeloraManagerService::EventHandler::kSetCommands[] = {
        {Command::SWITCH_EFFECT, true,
         [](SndManager& manager, const Words& words) {
             manager.setSndOn(words[2] > 0);
             manager.saveSndState();
         }},
        {Command::PROFILE_PARAMETER, false,
         [](SndManager& manager, const Words& words) {
             manager.setParameter(words[2], words[3], words.from(4));
         }},
        {Command::PROFILE_PORT_PARAMETER, false,
         [](SndManager& manager, const Words& words) {
             manager.setProfilePortParameter(words[2], words[3], words[4], words.from(5));
         }},
        {Command::SELECTED_PROFILE, true,
         [](SndManager& manager, const Words& words) {
             const int profile = words[2];
             const bool selected = manager.setSelectedProfile(profile);
             if (selected && manager.getSelectedProfile() == profile) manager.saveSndProfile();
         }},
        {Command::RESET_PROFILE, true,
         [](SndManager& manager, const Words& words) { manager.resetProfile(words[2]); }},
};

VeloraManagerService::EventHandler::EventHandler(SndManager* manager, VeloraManagerService* owner)
    : mLooper(sp<ALooper>::make()), mSndManager(manager), mOwner(owner) {
    mLooper->setName("VeloraManagerService EventHandler");
}

void VeloraManagerService::EventHandler::start() {
    mLooper->registerHandler(this);
    const status_t result = mLooper->start(false, false, PRIORITY_DEFAULT);
    if (result != OK) ALOGE("no thread for the event handler, %d", result);
}

void VeloraManagerService::EventHandler::stop() {
    mLooper->unregisterHandler(id());
    mLooper->stop();
}

void VeloraManagerService::EventHandler::sendMessage(const void* data, uint32_t size,
                                                     uint32_t what) {
    makeMessage(data, size, what)->post();
}

int VeloraManagerService::EventHandler::sendRequest(const void* data, uint32_t size, int32_t port,
                                                    uint32_t what) {
    if (++mWaiting > kMaxQueuedRequests) {
        --mWaiting;
        return NO_MEMORY;
    }
    const sp<AMessage> message = makeMessage(data, size, what);
    message->setInt32(kPort, port);
    message->post();
    return OK;
}

sp<AMessage> VeloraManagerService::EventHandler::makeMessage(const void* data, uint32_t size,
                                                             uint32_t what) {
    const auto buffer = sp<ABuffer>::make(size);
    if (size > 0) memcpy(buffer->data(), data, size);
    buffer->setRange(0, size);
    auto message = sp<AMessage>::make(what, this);
    message->setBuffer(kBuffer, buffer);
    return message;
}

void VeloraManagerService::EventHandler::onMessageReceived(const sp<AMessage>& message) {
    if (message->what() != kRegistrationChanged) --mWaiting;
    // Keeps the service, and with it the facade, until the clients are told. If the last other
    // reference goes meanwhile, the service is destroyed here, on the looper thread.
    const sp<VeloraManagerService> owner = mOwner.promote();
    if (!owner) return;

    sp<ABuffer> buffer;
    switch (message->what()) {
        case kRegistrationChanged:
            message->findBuffer(kBuffer, &buffer);
            break;
        case kSetSelectedTuning:
            message->findBuffer(kBuffer, &buffer);
            setSelectedTuning(*message, buffer);
            break;
        case kSetParam:
            // The command writes its result into the buffer, which the clients then get.
            if (message->findBuffer(kBuffer, &buffer)) {
                parseAndSendParam(buffer->data(), buffer->size());
            }
            break;
        default:  // any other kind: nothing to do, and an empty update
            break;
    }
    owner->doOnSfxParamUpdate(buffer ? buffer->data() : nullptr,
                              buffer ? static_cast<uint32_t>(buffer->size()) : 0);
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
    for (const SetCommand& command : kSetCommands) {
        if (command.number != Command{words.bigEndianAt(SetRequest::kCommand)}) continue;
        const int32_t argument = words[SetRequest::kFirstArgument];
        command.run(*mSndManager, words);
        if (command.answersArgument) {
            memcpy(static_cast<uint8_t*>(data) + SetRequest::kResult * Words::kSize, &argument,
                   sizeof argument);
        }
        return;
    }
}

}  // namespace android
