// Requests of arbitrary bytes: an answer is written whole and within its room or not at all, and a
// command changes only the result word of its buffer.
//
// An input is a sequence of requests. Each has a byte for its kind (255: a command; else a
// question, and the bytes of room for its answer), a byte for the length of its buffer, and the
// buffer.

#include "context/SndContextManager.h"
#include "fuzz/Check.h"
#include "service/Protocol.h"
#include "service/VeloraManagerService.h"
#include "tests/support/RecordingClient.h"
#include "tests/support/Root.h"

#include <cstring>

#include <fuzzer/FuzzedDataProvider.h>

namespace {

using android::sp;
using velora::SetRequest;
using velora::Words;
using velora::fuzz::check;
using velora::test::Bytes;  // of the exact size, so that reading or writing beyond it is noticed
using Service = android::VeloraManagerService;

constexpr uint8_t kCommandKind = 255;
constexpr uint8_t kUnwritten = 0x5a;
constexpr uint32_t kAmpleRoom = 256;

void set(Service& service, velora::test::RecordingClient& client, Bytes request) {
    check(service.setSfxParam(request.data(), static_cast<uint32_t>(request.size())) == 0);
    Bytes update = client.awaitUpdates(1).at(0);
    check(update.size() == request.size());
    constexpr size_t kResult = SetRequest::kResult * Words::kSize;
    if (update.size() >= kResult + Words::kSize) {
        memcpy(&update[kResult], &request[kResult], Words::kSize);
    }
    check(update == request);
}

Bytes get(Service& service, Bytes request, uint32_t room) {
    Bytes answer(room, kUnwritten);
    const auto size = static_cast<uint32_t>(request.size());
    check(service.getSfxParam(request.data(), size, answer.data(), room) == 0);
    return answer;
}

/// `answer` had less room than `ample`, in which any answer fits.
void checkRoom(const Bytes& answer, const Bytes& ample) {
    Bytes same = answer;
    same.resize(ample.size(), kUnwritten);
    if (answer != Bytes(answer.size(), kUnwritten)) check(same == ample);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    velora::fuzz::dropLog();
    static const velora::test::Root root("data/multimedia_velora_kiv_default.xml");
    static const auto service = sp<Service>::make();
    static const auto client = sp<velora::test::RecordingClient>::make();
    static const bool registered =
        (service->registerClient(client, 0, 1), client->awaitUpdates(1).size() == 1);
    check(registered);

    FuzzedDataProvider input(data, size);
    while (input.remaining_bytes() >= 2) {
        const Bytes head = input.ConsumeBytes<uint8_t>(2);
        const Bytes request = input.ConsumeBytes<uint8_t>(head[1]);
        if (head[0] == kCommandKind) {
            set(*service, *client, request);
        } else {
            checkRoom(get(*service, request, head[0]), get(*service, request, kAmpleRoom));
        }
    }

    auto& context = *velora::SndContextManager::getInstance().getSndContext();
    for (int profile = 0; profile < context.getNumOfProfiles(); ++profile) {
        if (!context.isProfileModified(profile)) continue;
        context.resetProfile(profile);  // all inputs begin with the same settings
    }
    context.setSelectedProfile(0);
    context.setSfxOn(true);
    return 0;
}
