#pragma once

#include "host/Interface.h"
#include "host/SdBus.h"
#include "host/ctl/CommandError.h"
#include "service/Protocol.h"

#include <functional>
#include <string>
#include <type_traits>
#include <vector>

namespace velora::host {

/// The service as a client in another process sees it. Owns its connection to the bus; used on one
/// thread.
///
/// Every operation throws CommandError if the service isn't on the bus, doesn't answer in time, or
/// answers with an error, and std::system_error if the connection fails.
class Client {
public:
    /// Type of a client that is no part of playback.
    static constexpr int32_t kPlainType = 0;

    /// Takes over the connection. Its method call timeout (25 seconds, or SYSTEMD_BUS_TIMEOUT)
    /// bounds every wait.
    explicit Client(Bus bus) : mBus(std::move(bus)) {}

    /// Calls a method of the interface by its name and returns its result, which is a tuple if
    /// there are several. Argument and result types must have the method's D-Bus signatures.
    template <typename Result = void, typename... Args>
    Result call(const char* method, const Args&... args) {
        const Message request = newCall(method);
        (appendTo(request.get(), args), ...);

        const Message reply = send(request.get());
        if constexpr (!std::is_void_v<Result>) {
            Result result{};
            readFrom(reply.get(), result);
            return result;
        }
    }

    /// True if the service has a tuning file. If it has none, lets it look for one first.
    bool isReady();
    /// Why the service isn't ready, with the path at which it looks for the tuning file.
    std::string notReadyReason();
    /// Throws CommandError unless `isReady`.
    void requireReady();

    /// Sends a get-request and returns the first `count` words of its answer. Throws CommandError
    /// if the service isn't ready.
    Integers get(Command command, int32_t firstArgument = 0, int32_t secondArgument = 0,
                 size_t count = 1);

    /// Sends a set-request with at least one argument word, and returns when the service has
    /// carried it out and stored the result. Throws CommandError if the service isn't ready or
    /// refuses it.
    void set(Command command, const Integers& arguments);

    /// Runs `work` as a registered client and returns when the update `awaited` has arrived. Throws
    /// CommandError if it doesn't arrive within the method call timeout.
    void awaitUpdate(const Bytes& awaited, const std::function<void()>& work);
    /// Runs `work` as a registered client and returns the updates that the service sent meanwhile.
    std::vector<Bytes> collectUpdates(const std::function<void()>& work);

    sd_bus* bus() { return mBus.get(); }
    /// Unique name of the service's connection. Signals of other senders must be ignored, because
    /// anybody on the bus can send them.
    std::string owner();
    /// Watches the service until the result is destroyed. If the service leaves the bus, calls
    /// `onGone` with `data`; `onGone` may be null.
    Track trackService(sd_bus_track_handler_t onGone, void* data);

    /// The words of a request as bytes.
    static Bytes toBytes(const Integers& words);
    /// A property of the service, which is a text.
    std::string property(const char* name);

private:
    [[noreturn]] void throwNotReady();
    Message newCall(const char* method);
    Message send(sd_bus_message* request);
    Slot listen(std::vector<Bytes>* updates);

    Bus mBus;
};

/// Reads the notification buffer from an update signal.
Bytes readUpdate(sd_bus_message* signal);

}  // namespace velora::host
