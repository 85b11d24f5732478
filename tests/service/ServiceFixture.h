#pragma once

#include "service/Protocol.h"
#include "service/VeloraManagerService.h"
#include "tests/context/ContextFixture.h"
#include "tests/support/RecordingClient.h"

#include <chrono>
#include <future>
#include <utility>

namespace velora::test {

using android::sp;
using enum Command;
using Integers = std::vector<int32_t>;

constexpr std::chrono::seconds kPatience{20};

/// 32-bit words as the bytes of a buffer, of which the last ones may be missing.
inline Bytes bytesOf(const Integers& words, size_t missing = 0) {
    const auto* const bytes = reinterpret_cast<const uint8_t*>(words.data());
    return {bytes, bytes + words.size() * sizeof(int32_t) - missing};
}

/// A request: the command's word and the words that follow it.
inline Integers words(Command command, Integers following) {
    following.insert(following.begin(), wordOf(command));
    return following;
}

/// Sets `ended` when it is destroyed. As the first base class of `TestService` it is destroyed
/// last, after the service.
struct EndSignal {
    ~EndSignal() { ended.set_value(); }
    std::promise<void> ended;
};
struct TestService : EndSignal, android::VeloraManagerService {};

/// A service on a fresh root directory with the sample tuning file, and the log.
class ServiceFixture : public ContextFixture {
protected:
    ServiceFixture() {
        LogCapture::clear();
        makeService();
    }
    ~ServiceFixture() override { endService(); }

    void makeService() {
        const auto made = sp<TestService>::make();
        mEnds.push_back(made->ended.get_future());
        service = made;
    }
    /// Ends the service, and waits until every service that was made is destroyed. Some are
    /// destroyed on their looper's thread.
    void endService() {
        if (service) (void)service->shutdown();
        service.clear();
        for (const auto& end : std::exchange(mEnds, {})) {
            EXPECT_EQ(end.wait_for(kPatience), std::future_status::ready);
        }
    }
    /// Ends the service and starts a new one from the files, as a new process would. Returns a
    /// plain client that is registered with it.
    sp<RecordingClient> restart() {
        endService();
        manager().release();
        makeService();
        return enter(0, 7);
    }

    /// Registers a new client and waits until it is notified of its registration.
    sp<RecordingClient> enter(int32_t type, uint32_t uid) {
        auto client = sp<RecordingClient>::make();
        service->registerClient(client, type, uid);
        client->awaitUpdates(1);
        return client;
    }

    int64_t value(const char (&key)[5]) { return service->getIntParam(fourCharacters(key)); }

    void reload() { service->setIntParam(key::kReload, 0); }
    int setBytes(Bytes request) {
        return service->setSfxParam(request.data(), static_cast<uint32_t>(request.size()));
    }
    /// Sends a command with an empty result word.
    int set(Command command, Integers arguments) {
        arguments.insert(arguments.begin(), 0);
        return setBytes(bytesOf(words(command, arguments)));
    }

    /// The answer to a get-request.
    Integers ask(Command command, const Integers& arguments = {}) {
        constexpr int32_t kUnwritten = 77;
        Integers request = words(command, arguments);
        Integers answer(32, kUnwritten);
        const auto size = static_cast<uint32_t>(request.size() * sizeof(int32_t));
        EXPECT_EQ(service->getSfxParam(request.data(), size, answer.data(), 128), 0);
        while (!answer.empty() && answer.back() == kUnwritten) answer.pop_back();
        return answer;
    }
    /// The value of a whole profile, or on one port.
    Integers parameter(int profile, int id) { return ask(PROFILE_PARAMETER, {id, profile}); }
    Integers parameter(int profile, int port, int id) {
        return ask(PROFILE_PORT_PARAMETER, {id, ProfileAndPort{profile, port}.word()});
    }

    sp<android::VeloraManagerService> service;

private:
    std::vector<std::future<void>> mEnds;
};

}  // namespace velora::test
