#pragma once

#include "service/VeloraManagerService.h"
#include "service/Words.h"
#include "tests/support/FakeSndManager.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RecordingClient.h"

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velora::test {

using android::sp;

/// 32-bit words as the bytes of a buffer.
inline Bytes bytesOf(const std::vector<int32_t>& words) {
    Bytes bytes(words.size() * sizeof(int32_t));
    if (!bytes.empty()) memcpy(bytes.data(), words.data(), bytes.size());
    return bytes;
}

/// A command number as its word in a request.
constexpr int32_t command(int number) { return number << 24; }

/// A service on the fake facade, and the log.
class ServiceFixture : public testing::Test {
protected:
    ServiceFixture() {
        fake.reset();
        service = sp<android::VeloraManagerService>::make();
    }

    ~ServiceFixture() override { endService(); }

    /// Drops the service and waits for its end, which may come a moment later on the looper thread.
    void endService() {
        service.clear();
        while (fake.alive > 0) std::this_thread::yield();
    }

    /// Registers a client of its own and waits for the notice of it.
    sp<RecordingClient> enter(int32_t type, uint32_t uid) {
        auto client = sp<RecordingClient>::make();
        service->registerClient(client, type, uid);
        client->take(1);
        return client;
    }

    int64_t key(const char (&name)[5]) {
        return service->getIntParam(android::fourCharacters(name));
    }

    int set(Bytes request) {
        return service->setSfxParam(request.data(), static_cast<uint32_t>(request.size()));
    }

    FakeSndManager& fake = FakeSndManager::get();
    LogCapture log;
    sp<android::VeloraManagerService> service;
};

}  // namespace velora::test
