#include "host/ctl/Client.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include <utils/Errors.h>

namespace velora::host {

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void throwServiceLeft() {
    throw CommandError(Exit::NO_SERVICE, "the service has left the bus");
}

[[noreturn]] void throwError(const sd_bus_error& error) {
    constexpr std::array kNoServiceErrors{SD_BUS_ERROR_SERVICE_UNKNOWN,
                                          SD_BUS_ERROR_NAME_HAS_NO_OWNER, SD_BUS_ERROR_NO_REPLY,
                                          SD_BUS_ERROR_NO_SERVER};
    const bool isNoService =
        std::any_of(kNoServiceErrors.begin(), kNoServiceErrors.end(),
                    [&](const char* name) { return sd_bus_error_has_name(&error, name) != 0; });
    if (sd_bus_error_has_name(&error, SD_BUS_ERROR_SERVICE_UNKNOWN) != 0) {
        throw CommandError(Exit::NO_SERVICE, "velorad is not running on this bus");
    }
    throw CommandError(isNoService ? Exit::NO_SERVICE : Exit::FAILED,
                       error.message != nullptr ? error.message : error.name);
}

/// Throws unless a call succeeded. Frees `error`, which the call has filled.
void checkCall(int result, sd_bus_error* error) {
    const std::unique_ptr<sd_bus_error, Releaser<sd_bus_error_free>> owned(error);
    if (sd_bus_error_is_set(error) != 0) throwError(*error);
    check(result, "call the service");
}

std::chrono::microseconds callTimeout(sd_bus* bus) {
    uint64_t timeout = 0;
    check(sd_bus_get_method_call_timeout(bus, &timeout), "get the timeout");
    return std::chrono::microseconds(timeout);
}

int onUpdate(sd_bus_message* signal, void* updates, sd_bus_error* /*error*/) {
    return guarded(nullptr, [&] {
        static_cast<std::vector<Bytes>*>(updates)->push_back(readUpdate(signal));
        return 0;
    });
}

}  // namespace

Bytes readUpdate(sd_bus_message* signal) {
    std::tuple<int32_t, Bytes> update;
    readFrom(signal, update);
    return std::get<Bytes>(update);
}

Message Client::newCall(const char* method) {
    return create<Message>(
        [&](sd_bus_message** m) {
            return sd_bus_message_new_method_call(mBus.get(), m, kBusName, kObjectPath, kInterface,
                                                  method);
        },
        method);
}

Message Client::send(sd_bus_message* request) {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    const int result = sd_bus_call(mBus.get(), request, 0, &error, &reply);
    Message owned(reply);
    checkCall(result, &error);
    return owned;
}

std::string Client::property(const char* name) {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    char* text = nullptr;
    const int result = sd_bus_get_property_string(mBus.get(), kBusName, kObjectPath, kInterface,
                                                  name, &error, &text);

    // Owned before the check, which may throw.
    const std::unique_ptr<char, Releaser<free>> owned(text);
    checkCall(result, &error);
    return text;
}

std::string Client::owner() {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    const int result =
        sd_bus_call_method(mBus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus", "GetNameOwner", &error, &reply, "s", kBusName);
    const Message owned(reply);
    checkCall(result, &error);

    std::string name;
    readFrom(reply, name);
    return name;
}

Track Client::trackService(sd_bus_track_handler_t onGone, void* data) {
    auto track = create<Track>(
        [&](sd_bus_track** t) { return sd_bus_track_new(mBus.get(), t, onGone, data); },
        "watch the service");

    // sd-bus looks the owner of the name up, and returns -ENXIO if it has none.
    const int result = sd_bus_track_add_name(track.get(), kBusName);
    if (result == -ENXIO) throwServiceLeft();
    check(result, "watch the service");
    return track;
}

Bytes Client::toBytes(const Integers& words) {
    Bytes bytes(words.size() * sizeof(int32_t));
    if (!bytes.empty()) memcpy(bytes.data(), words.data(), bytes.size());
    return bytes;
}

std::string Client::notReadyReason() {
    const std::string path = property("TuningFile");
    std::error_code error;
    if (!std::filesystem::exists(path, error) && !error) return "no tuning file at " + path;
    return "the log of velorad says why, its tuning file is " + path;
}

void Client::throwNotReady() {
    throw CommandError(Exit::NOT_READY, "the service is not ready: " + notReadyReason());
}

bool Client::isReady() {
    const auto isAnswered = [this] {
        const Bytes request = toBytes({wordOf(Command::SWITCH_EFFECT)});
        const auto answer = call<std::tuple<int32_t, Bytes>>("GetSfxParam", request, 4U);
        return std::get<0>(answer) != android::NO_INIT;
    };
    if (isAnswered()) return true;

    // The service looks for its tuning file whenever a client registers.
    collectUpdates([] {});
    return isAnswered();
}

void Client::requireReady() {
    if (!isReady()) throwNotReady();
}

Integers Client::get(Command command, int32_t firstArgument, int32_t secondArgument, size_t count) {
    const Bytes request = toBytes({wordOf(command), firstArgument, secondArgument});
    const auto room = static_cast<uint32_t>(count * sizeof(int32_t));
    const auto [result, bytes] = call<std::tuple<int32_t, Bytes>>("GetSfxParam", request, room);
    if (result == android::NO_INIT) throwNotReady();

    Integers words(count);
    memcpy(words.data(), bytes.data(), std::min<size_t>(room, bytes.size()));
    return words;
}

void Client::set(Command command, const Integers& arguments) {
    // We prefill the result word as the service will, so the update equals the request byte for
    // byte.
    Integers words{wordOf(command), arguments.at(0)};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const Bytes request = toBytes(words);

    awaitUpdate(request, [&] {
        const auto result = call<int32_t>("SetSfxParam", request);
        if (result == android::NO_INIT) throwNotReady();
        if (result != 0) throw CommandError(Exit::REFUSED, "the service refused the request");
    });
}

Slot Client::listen(std::vector<Bytes>* updates) {
    return create<Slot>(
        [&](sd_bus_slot** slot) {
            return sd_bus_match_signal(mBus.get(), slot, owner().c_str(), kObjectPath, kInterface,
                                       kUpdateSignal, onUpdate, updates);
        },
        "listen to the service");
}

void Client::awaitUpdate(const Bytes& awaited, const std::function<void()>& work) {
    // The watch comes first: if the service restarts from here on, the wait ends.
    std::vector<Bytes> updates;
    const Track service = trackService(nullptr, nullptr);
    const Slot slot = listen(&updates);
    call("RegisterClient", kPlainType);
    work();

    const auto deadline = Clock::now() + callTimeout(mBus.get());
    while (std::find(updates.begin(), updates.end(), awaited) == updates.end()) {
        updates.clear();

        if (sd_bus_track_contains(service.get(), kBusName) == nullptr) throwServiceLeft();
        const auto left = deadline - Clock::now();
        if (left.count() <= 0) {
            throw CommandError(Exit::FAILED,
                               "the service accepted the change but did not carry it out in time");
        }

        // One message at a time, as it may be the awaited one; wait only if there is none.
        if (check(sd_bus_process(mBus.get(), nullptr), "listen to the service") > 0) continue;
        const auto wait = std::chrono::ceil<std::chrono::microseconds>(left).count();
        check(sd_bus_wait(mBus.get(), static_cast<uint64_t>(wait)), "listen to the service");
    }

    // This saves the settings, and fails if that does.
    call("UnregisterClient", kPlainType);
}

std::vector<Bytes> Client::collectUpdates(const std::function<void()>& work) {
    std::vector<Bytes> updates;
    const Slot slot = listen(&updates);

    call("RegisterClient", kPlainType);
    work();
    call("UnregisterClient", kPlainType);

    // The updates came before the last reply, so they have been received and only wait here.
    while (check(sd_bus_process(mBus.get(), nullptr), "listen to the service") > 0) continue;
    return updates;
}

}  // namespace velora::host
