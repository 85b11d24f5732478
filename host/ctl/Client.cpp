#include "host/ctl/Client.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace velora::host {

namespace {

constexpr int32_t kNotInitialized = -19;

[[noreturn]] void notReady() {
    throw CommandError(Exit::NOT_READY, "the service is not ready: it has no tuning file");
}

/// Throws what a call came back with.
[[noreturn]] void fail(const sd_bus_error& error) {
    constexpr std::array kNobody{SD_BUS_ERROR_SERVICE_UNKNOWN, SD_BUS_ERROR_NAME_HAS_NO_OWNER,
                                 SD_BUS_ERROR_NO_REPLY, SD_BUS_ERROR_NO_SERVER};
    const bool nobody = std::any_of(kNobody.begin(), kNobody.end(), [&](const char* name) {
        return sd_bus_error_has_name(&error, name) != 0;
    });
    throw CommandError(nobody ? Exit::NO_SERVICE : Exit::FAILED,
                       error.message != nullptr ? error.message : error.name);
}

/// Throws unless `result`, with which came `error`, is good.
void checkCall(int result, sd_bus_error* error) {
    const std::unique_ptr<sd_bus_error, Releaser<sd_bus_error_free>> held(error);
    if (sd_bus_error_is_set(error) != 0) fail(*error);
    check(result, "call the service");
}

/// How long a call on `bus` may take.
std::chrono::microseconds patience(sd_bus* bus) {
    uint64_t time = 0;
    check(sd_bus_get_method_call_timeout(bus, &time), "tell the time");
    return std::chrono::microseconds(time);
}

int onUpdate(sd_bus_message* signal, void* updates, sd_bus_error* /*error*/) {
    return guarded(nullptr, [&] {
        static_cast<std::vector<Bytes>*>(updates)->push_back(updateOf(signal));
        return 0;
    });
}

}  // namespace

Bytes updateOf(sd_bus_message* signal) {
    std::tuple<int32_t, Bytes> update;
    readFrom(signal, update);
    return std::get<Bytes>(update);
}

Message Client::newCall(const char* operation) {
    return made<Message>(
        [&](sd_bus_message** m) {
            return sd_bus_message_new_method_call(mBus.get(), m, kBusName, kObjectPath, kInterface,
                                                  operation);
        },
        operation);
}

Message Client::send(sd_bus_message* request) {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* answer = nullptr;
    const int result = sd_bus_call(mBus.get(), request, 0, &error, &answer);
    Message held(answer);
    checkCall(result, &error);
    return held;
}

std::string Client::version() {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    char* text = nullptr;
    const int result = sd_bus_get_property_string(mBus.get(), kBusName, kObjectPath, kInterface,
                                                  "Version", &error, &text);
    const std::unique_ptr<char, Releaser<free>> held(text);
    checkCall(result, &error);
    return text;
}

std::string Client::owner() {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* answer = nullptr;
    const int result =
        sd_bus_call_method(mBus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus", "GetNameOwner", &error, &answer, "s", kBusName);
    const Message held(answer);
    checkCall(result, &error);
    std::string name;
    readFrom(answer, name);
    return name;
}

Track Client::trackService(sd_bus_track_handler_t onGone, void* data) {
    auto track =
        made<Track>([&](sd_bus_track** t) { return sd_bus_track_new(mBus.get(), t, onGone, data); },
                    "watch the service");
    const int result = sd_bus_track_add_name(track.get(), kBusName);
    if (result == -ENXIO) throw CommandError(Exit::NO_SERVICE, "the service has gone");
    check(result, "watch the service");
    return track;
}

Bytes Client::bytesOf(const Integers& words) {
    Bytes bytes(words.size() * sizeof(int32_t));
    if (!bytes.empty()) memcpy(bytes.data(), words.data(), bytes.size());
    return bytes;
}

bool Client::isReady() {
    const auto ready = [this] {
        const Bytes request = bytesOf({wordOf(Command::SWITCH_EFFECT)});
        const auto answer = call<std::tuple<int32_t, Bytes>>("GetSfxParam", request, 4U);
        return std::get<0>(answer) != kNotInitialized;
    };
    if (ready()) return true;
    updatesOf([] {});
    return ready();
}

Integers Client::get(Command command, int32_t a, int32_t b, size_t count) {
    const auto room = static_cast<uint32_t>(count * sizeof(int32_t));
    const auto [result, bytes] =
        call<std::tuple<int32_t, Bytes>>("GetSfxParam", bytesOf({wordOf(command), a, b}), room);
    if (result == kNotInitialized) notReady();
    Integers words(count);
    memcpy(words.data(), bytes.data(), std::min<size_t>(room, bytes.size()));
    return words;
}

// The result word gets the first argument, or stays: with that in it from the start, the update is
// the request.
void Client::set(Command command, const Integers& arguments) {
    Integers words{wordOf(command), arguments.at(0)};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const Bytes request = bytesOf(words);
    awaitUpdate(request, [&] {
        const auto result = call<int32_t>("SetSfxParam", request);
        if (result == kNotInitialized) notReady();
        if (result != 0) throw CommandError(Exit::REFUSED, "the service refused the request");
    });
}

Slot Client::listen(std::vector<Bytes>* updates) {
    return made<Slot>(
        [&](sd_bus_slot** slot) {
            return sd_bus_match_signal(mBus.get(), slot, owner().c_str(), kObjectPath, kInterface,
                                       kUpdate, onUpdate, updates);
        },
        "listen to the service");
}

void Client::awaitUpdate(const Bytes& awaited, const std::function<void()>& work) {
    std::vector<Bytes> updates;
    const Track service = trackService(nullptr, nullptr);  // first: its successor's don't count
    const Slot slot = listen(&updates);
    call("RegisterClient", kPlainType);
    work();
    const auto deadline = std::chrono::steady_clock::now() + patience(mBus.get());
    while (std::find(updates.begin(), updates.end(), awaited) == updates.end()) {
        updates.clear();
        if (sd_bus_track_contains(service.get(), kBusName) == nullptr) {
            throw CommandError(Exit::NO_SERVICE, "the service has gone");
        }
        const auto rest = deadline - std::chrono::steady_clock::now();
        if (rest.count() <= 0) {
            throw CommandError(Exit::FAILED, "the service took the change but didn't do it");
        }
        if (check(sd_bus_process(mBus.get(), nullptr), "listen to the service") > 0) continue;
        const auto wait = std::chrono::ceil<std::chrono::microseconds>(rest).count();
        check(sd_bus_wait(mBus.get(), static_cast<uint64_t>(wait)), "listen to the service");
    }
    call("UnregisterClient", kPlainType);
}

std::vector<Bytes> Client::updatesOf(const std::function<void()>& work) {
    std::vector<Bytes> updates;
    const Slot slot = listen(&updates);
    call("RegisterClient", kPlainType);
    work();
    call("UnregisterClient", kPlainType);
    while (check(sd_bus_process(mBus.get(), nullptr), "listen to the service") > 0) continue;
    return updates;
}

}  // namespace velora::host
