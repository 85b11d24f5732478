#pragma once

#include "host/Interface.h"
#include "host/SdBus.h"
#include "host/ctl/Names.h"
#include "service/Protocol.h"

#include <functional>
#include <string>
#include <type_traits>
#include <vector>

namespace velora::host {

/// The service as seen by a client in another process. One thread.
///
/// Every operation throws CommandError when the service isn't there or fails.
class Client {
public:
    /// A plain client, without a part of its own in playback.
    static constexpr int32_t kPlainType = 0;

    /// Waits for an answer as long as `bus` does by default, 25 seconds or SYSTEMD_BUS_TIMEOUT.
    explicit Client(Bus bus) : mBus(std::move(bus)) {}

    /// Calls an operation of the interface by its name and returns its answer.
    template <typename Result = void, typename... Args>
    Result call(const char* operation, const Args&... args) {
        const Message request = newCall(operation);
        (appendTo(request.get(), args), ...);
        const Message answer = send(request.get());
        if constexpr (!std::is_void_v<Result>) {
            Result result{};
            readFrom(answer.get(), result);
            return result;
        }
    }

    /// False while the service has no tuning file; has it look for one again first.
    bool isReady();

    /// `count` words that a command answers; throws CommandError unless the service is ready. The
    /// arguments are those of the get-request's second and third word.
    Integers get(Command command, int32_t a = 0, int32_t b = 0, size_t count = 1);

    /// Sends a command, with its argument words, and returns when it has been done and stored.
    /// Throws CommandError if the service isn't ready.
    void set(Command command, const Integers& arguments);

    /// Does `work` as a registered client and returns when the update `awaited` has come, for which
    /// it waits as long as for an answer.
    void awaitUpdate(const Bytes& awaited, const std::function<void()>& work);
    /// Does `work` as a registered client; returns the updates that came before its end.
    std::vector<Bytes> updatesOf(const std::function<void()>& work);

    sd_bus* bus() { return mBus.get(); }
    /// The connection that offers the service: signals count from this one only.
    std::string owner();
    /// Holds the service's name until it has gone: `onGone` is called then with `data`, unless
    /// null.
    Track trackService(sd_bus_track_handler_t onGone, void* data);

    /// The words of a request as bytes.
    static Bytes bytesOf(const Integers& words);
    /// The text of the service's Version property.
    std::string version();

private:
    Message newCall(const char* operation);
    Message send(sd_bus_message* request);
    Slot listen(std::vector<Bytes>* updates);

    Bus mBus;
};

/// Reads the data of an update signal.
Bytes updateOf(sd_bus_message* signal);

}  // namespace velora::host
