#include "host/ctl/Watch.h"

#include "host/ctl/Notification.h"
#include "host/ctl/Resolve.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <optional>

namespace velora::host {

namespace {

constexpr std::array kEndingSignals{SIGINT, SIGTERM};

/// Prints notifications from an event loop. Lives while `watch` runs; the loop calls its callbacks.
class Watch {
public:
    /// `client` must outlive this object, and isn't usable once the loop has ended.
    Watch(Client& client, const Arguments& arguments)
        : mClient(client),
          mArguments(arguments),
          mProfiles(profileNames(client)),
          mEvent(create<Event>(sd_event_new, "watch")) {
        sd_bus* const bus = client.bus();
        check(sd_bus_attach_event(bus, mEvent.get(), 0), "watch");
        for (const int ending : kEndingSignals) {
            check(sd_event_add_signal(mEvent.get(), nullptr, ending, onInterrupt, this), "watch");
        }

        // The service is watched before the signals of its present owner are matched.
        mService = client.trackService(onServiceGone, this);
        mUpdates = match(kUpdateSignal, onUpdate);
        mDropped = match(kDroppedSignal, onDropped);
    }

    void run() {
        check(sd_event_loop(mEvent.get()), "watch");
        if (mFailure) throw CommandError(*mFailure);
    }

private:
    // We unregister here because the end of the loop closes the connection. If the service doesn't
    // answer, it will notice the closed connection instead.
    static int onInterrupt(sd_event_source* source, const signalfd_siginfo* /*info*/, void* self) {
        constexpr uint64_t kUnregisterTimeout = 2'000'000;  // microseconds
        Client& client = static_cast<Watch*>(self)->mClient;
        sd_event_exit(sd_event_source_get_event(source), 0);

        sd_bus_set_method_call_timeout(client.bus(), kUnregisterTimeout);
        guarded(nullptr, [&] {
            client.call("UnregisterClient", Client::kPlainType);
            return 0;
        });
        return 0;
    }
    static int onUpdate(sd_bus_message* signal, void* self, sd_bus_error* /*error*/) {
        return guarded(nullptr, [&] {
            static_cast<Watch*>(self)->print(readUpdate(signal));
            return 0;
        });
    }
    static int onDropped(sd_bus_message* signal, void* self, sd_bus_error* /*error*/) {
        return guarded(nullptr, [&] {
            std::string reason;
            readFrom(signal, reason);
            return static_cast<Watch*>(self)->fail(Exit::NO_SERVICE,
                                                   "the service dropped this client: " + reason);
        });
    }
    static int onServiceGone(sd_bus_track* /*track*/, void* self) {
        return guarded(nullptr, [&] {
            return static_cast<Watch*>(self)->fail(Exit::NO_SERVICE,
                                                   "the service has left the bus");
        });
    }

    Slot match(const char* signal, sd_bus_message_handler_t onSignal) {
        return create<Slot>(
            [&](sd_bus_slot** s) {
                return sd_bus_match_signal(mClient.bus(), s, mClient.owner().c_str(), kObjectPath,
                                           kInterface, signal, onSignal, this);
            },
            "watch");
    }

    int fail(Exit exit, const std::string& message) {
        mFailure.emplace(exit, message);
        return sd_event_exit(mEvent.get(), 0);
    }

    void print(const Bytes& update) {
        const Json event = describeUpdate(update, mProfiles);
        const std::string text = mArguments.json ? toJsonText(event, -1) : toSentence(event);
        if (puts(text.c_str()) >= 0 && fflush(stdout) == 0) return;

        // If the reader of a pipe has closed it, the work is done.
        if (errno == EPIPE) {
            sd_event_exit(mEvent.get(), 0);
        } else {
            fail(Exit::FAILED, "can't write the notification");
        }
    }

    Client& mClient;
    const Arguments& mArguments;
    const Names mProfiles;
    const Event mEvent;
    Slot mUpdates;
    Slot mDropped;
    Track mService;
    std::optional<CommandError> mFailure;
};

}  // namespace

Json watch(Client& client, const Arguments& arguments) {
    blockSignals(kEndingSignals);
    Watch watch(client, arguments);
    client.call("RegisterClient", Client::kPlainType);
    watch.run();
    return {};
}

}  // namespace velora::host
