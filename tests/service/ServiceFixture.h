#pragma once

#include "service/Protocol.h"
#include "service/VeloraManagerService.h"
#include "tests/context/ContextFixture.h"
#include "tests/support/RecordingClient.h"

#include <algorithm>
#include <thread>

namespace velora::test {

using android::sp;

/// 32-bit words as the bytes of a buffer.
inline Bytes bytesOf(const std::vector<int32_t>& words) {
    const auto* const bytes = reinterpret_cast<const uint8_t*>(words.data());
    return {bytes, bytes + words.size() * sizeof(int32_t)};
}

/// A command number as its word in a request.
constexpr int32_t command(int number) { return number << 24; }

/// A service on a fresh root directory with the sample tuning file, and the log.
class ServiceFixture : public ContextFixture {
protected:
    ServiceFixture() { LogCapture::clear(); }
    ~ServiceFixture() override { endService(); }

    /// Waits for services that end on their own looper threads, too.
    void endService() {
        if (service) service->shutdown();
        service.clear();
        const auto isLooper = [](const auto& task) {
            return contentsOf(task.path() / "comm") == "VeloraManagerSe\n";
        };
        using Tasks = std::filesystem::directory_iterator;
        while (std::any_of(Tasks("/proc/self/task"), Tasks(), isLooper)) std::this_thread::yield();
        SndManager().getSndOn();  // takes the lock that they held last, and so sees what they did
    }
    /// As a new process, with a plain client in it.
    sp<RecordingClient> restart() {
        endService();
        manager().release();
        service = sp<android::VeloraManagerService>::make();
        return enter(0, 7);
    }

    /// Registers a client of its own and waits for the notice of it.
    sp<RecordingClient> enter(int32_t type, uint32_t uid) {
        auto client = sp<RecordingClient>::make();
        service->registerClient(client, type, uid);
        client->take(1);
        return client;
    }

    int64_t key(const char (&name)[5]) {
        return service->getIntParam(velora::fourCharacters(name));
    }

    void reload() { service->setIntParam(velora::key::kReload, 0); }
    int setBytes(Bytes request) {
        return service->setSfxParam(request.data(), static_cast<uint32_t>(request.size()));
    }
    int set(const std::vector<int32_t>& words) { return setBytes(bytesOf(words)); }

    /// The answer to a get-request.
    std::vector<int32_t> ask(std::vector<int32_t> words) {
        std::vector<int32_t> out(32, 77);
        const auto size = static_cast<uint32_t>(words.size() * sizeof(int32_t));
        EXPECT_EQ(service->getSfxParam(words.data(), size, out.data(), 128), 0);
        while (!out.empty() && out.back() == 77) out.pop_back();
        return out;
    }
    /// Of a whole profile, or on one port.
    std::vector<int32_t> parameter(int profile, int id) { return ask({command(1), id, profile}); }
    std::vector<int32_t> parameter(int profile, int port, int id) {
        return ask({command(2), id, profile << 4 | port});
    }

    sp<android::VeloraManagerService> service = sp<android::VeloraManagerService>::make();
};

}  // namespace velora::test
