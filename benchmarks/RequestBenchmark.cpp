// The way of a client's request through the service, and of all parameters to the effect.

#include "benchmarks/Ratio.h"
#include "benchmarks/Sample.h"
#include "context/SndContextManager.h"
#include "effect/SfxController.h"
#include "effect/SfxEffect.h"
#include "service/Protocol.h"
#include "service/VeloraManagerService.h"

#include <semaphore>
#include <vector>

#include <benchmark/benchmark.h>

#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>
#include <velora/SfxParamStore.h>

namespace velora::bench {
namespace {

using android::sp;

// Client-facing parameters that are kept in different places.
constexpr int32_t kProfileAmount = 114;   ///< one value, on the profile
constexpr int32_t kEndpointAmount = 107;  ///< one value, on each endpoint
constexpr int32_t kGains = 109;           ///< 20 values, on the GEQ preset

using Signal = std::counting_semaphore<1 << 20>;

/// A client. The last one says when it has been notified of a request.
class Client : public android::IKmsCallbacks {
public:
    /// `notified` is null for all clients but the last.
    explicit Client(Signal* notified) : mNotified(notified) {}
    android::hardware::Return<void> onSfxParamUpdate(
        const android::hardware::hidl_vec<uint8_t>& data) override {
        const bool isNotice = isRegistrationNotice(Words(data.data(), data.size()));
        if (mNotified != nullptr && !isNotice) mNotified->release();
        return android::hardware::Void();
    }

private:
    Signal* const mNotified;
};

/// How much there is of what a request may depend on.
struct Load {
    int clients = 1;
    Scale scale = {};
    int32_t parameter = kProfileAmount;  ///< the one that is set
    size_t values = 1;                   ///< number of its values
};

/// A service with its clients.
struct Service {
    explicit Service(Load load) : root(load.scale) {
        SndContextManager::getInstance().release();
        for (int i = 1; i <= load.clients; ++i) {
            service->registerClient(sp<Client>::make(i == load.clients ? &notified : nullptr), 0,
                                    static_cast<uint32_t>(i));
        }
    }
    ~Service() {
        (void)service->shutdown();
        service.clear();
        SndContextManager::getInstance().release();
    }

    const Root root;
    Signal notified{0};
    sp<android::VeloraManagerService> service = sp<android::VeloraManagerService>::make();
};

void setOurs(benchmark::State& state, Load load) {
    Service fixture(load);
    std::vector<int32_t> words{wordOf(Command::PROFILE_PARAMETER), 0, 0, load.parameter};
    const size_t firstValue = words.size();
    words.resize(firstValue + load.values);
    const auto size = static_cast<uint32_t>(words.size() * sizeof(int32_t));
    for (auto _ : state) {
        words[firstValue] ^= 1;  // a value that doesn't change isn't sent to the effect
        std::ignore = fixture.service->setSfxParam(words.data(), size);
        fixture.notified.acquire();
    }
}

void getOurs(benchmark::State& state, Load load) {
    Service fixture(load);
    int32_t words[] = {wordOf(Command::PROFILE_PARAMETER), kProfileAmount, 0};
    int32_t answer = 0;
    for (auto _ : state) {
        std::ignore = fixture.service->getSfxParam(words, sizeof words, &answer, sizeof answer);
        benchmark::DoNotOptimize(answer);
    }
}

void postFloor(benchmark::State& state, Load /*unused*/) {
    struct Handler : android::AHandler {
        void onMessageReceived(const sp<android::AMessage>&) override { ran.release(); }
        Signal ran{0};
    };
    const auto looper = sp<android::ALooper>::make();
    const auto handler = sp<Handler>::make();
    looper->registerHandler(handler);
    if (looper->start(false, false) != android::OK) return state.SkipWithError("no thread");

    for (auto _ : state) {
        if (sp<android::AMessage>::make(1U, handler)->post() != android::OK) break;
        handler->ran.acquire();
    }
    looper->stop();
}

/// An effect that keeps the last block it was sent.
struct BlockKeeper : SfxEffect {
    BlockKeeper() : SfxEffect(0, android::String16("bench")) {}
    int send(int, const std::vector<int32_t>& data) override {
        block = data;
        return 0;
    }
    std::vector<int32_t> block;
};

void resendOurs(benchmark::State& state, int /*unused*/) {
    const Root root;
    SndContextManager& manager = SndContextManager::getInstance();
    manager.release();
    manager.init();
    SfxEffect effect(0, android::String16("bench"));
    SfxController controller(effect);
    manager.getSndContext()->registerObserver(&controller);
    for (auto _ : state) controller.setSfxEffect(effect, *manager.getSndContext());
    manager.getSndContext()->unregisterObserver(&controller);
    manager.release();
}

void resendFloor(benchmark::State& state, int /*unused*/) {
    const Root root;
    SndContextManager& manager = SndContextManager::getInstance();
    manager.release();
    manager.init();
    BlockKeeper keeper;
    SfxController controller(keeper);
    manager.getSndContext()->registerObserver(&controller);
    controller.setSfxEffect(keeper, *manager.getSndContext());
    SfxParamStore& store = SfxParamStore::getInstance();
    for (auto _ : state) {
        EffectParamParser parser(keeper.block.data(),
                                 static_cast<uint32_t>(keeper.block.size() * sizeof(int32_t)));
        while (const auto* const entry = parser.next()) {
            store.setParam(entry->device, entry->id, entry->values, entry->count);
        }
        store.commitChange();
    }
    manager.getSndContext()->unregisterObserver(&controller);
    manager.release();
}

[[maybe_unused]] const bool kAdded = [] {
    addRatio("set a parameter, 1 client", 2, setOurs, postFloor, {});
    addRatio("set a parameter, 50 clients", 2, setOurs, postFloor, {.clients = 50});
    addRatio("set a parameter of every endpoint, 50 clients", 2, setOurs, postFloor,
             {.clients = 50, .parameter = kEndpointAmount});
    addRatio("set 20 gains, 50 clients", 2, setOurs, postFloor,
             {.clients = 50, .parameter = kGains, .values = 20});
    addRatio("get a parameter", 2, getOurs, postFloor, {});
    // How the time of a request grows.
    addRatio("set a parameter, 500 clients", kNoGoal, setOurs, postFloor, {.clients = 500});
    addRatio("set a parameter, tunings and profiles x 16", kNoGoal, setOurs, postFloor,
             {.scale = {.tunings = 16, .profiles = 16}});
    addRatio("resend all parameters", 3, resendOurs, resendFloor, 1);
    return true;
}();

}  // namespace
}  // namespace velora::bench
