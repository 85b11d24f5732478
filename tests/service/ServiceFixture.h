#pragma once

#include "context/SndContextManager.h"
#include "service/VeloraManagerService.h"
#include "service/Words.h"
#include "store/Provider.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RecordingClient.h"
#include "tests/support/TestFiles.h"

#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <velora/RootPrefix.h>

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

/// A service on a fresh root directory with the sample tuning file, and the log.
class ServiceFixture : public testing::Test {
protected:
    ServiceFixture() {
        setRootPrefix(dir.path().string());
        SndContextManager::getInstance().release();
        std::filesystem::create_directories(dir.path() / "data/vendor/velora");
        install(contentsOf(sourceFile("data/multimedia_velora_kiv_default.xml")));
        service = sp<android::VeloraManagerService>::make();
        LogCapture::clear();
    }
    ~ServiceFixture() override { endProcess(); }

    void install(const std::string& xml) {
        dir.write("odm/etc/velora/multimedia_velora_kiv_default.xml", xml);
    }

    void endService() {
        if (service) service->shutdown();
        service.clear();
    }
    /// What is left afterwards is what is stored.
    void endProcess() {
        endService();
        SndContextManager::getInstance().release();
    }
    /// As a new process, with a plain client in it.
    sp<RecordingClient> restart() {
        endProcess();
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
        return service->getIntParam(android::fourCharacters(name));
    }

    int setBytes(Bytes request) {
        return service->setSfxParam(request.data(), static_cast<uint32_t>(request.size()));
    }
    int set(const std::vector<int32_t>& words) { return setBytes(bytesOf(words)); }

    /// The answer to a get-request.
    std::vector<int32_t> askBytes(Bytes request, uint32_t room = 128) {
        std::vector<int32_t> out(32, 77);
        EXPECT_EQ(service->getSfxParam(request.data(), static_cast<uint32_t>(request.size()),
                                       out.data(), room),
                  0);
        while (!out.empty() && out.back() == 77) out.pop_back();
        return out;
    }
    std::vector<int32_t> ask(const std::vector<int32_t>& words, uint32_t room = 128) {
        return askBytes(bytesOf(words), room);
    }
    /// Of a whole profile, or on one port.
    std::vector<int32_t> parameter(int profile, int id) { return ask({command(1), id, profile}); }
    std::vector<int32_t> parameter(int profile, int port, int id) {
        return ask({command(2), id, profile << 4 | port});
    }

    TempDir dir;
    LogCapture log;
    sp<android::VeloraManagerService> service;
};

}  // namespace velora::test
