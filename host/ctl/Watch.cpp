#include "host/ctl/Commands.h"
#include "model/Port.h"
#include "service/Protocol.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>

namespace velora::host {

namespace {

std::string nameIn(const Names& names, int32_t number) {
    const auto entry =
        std::find_if(names.begin(), names.end(), [&](const auto& n) { return n.first == number; });
    return entry != names.end() ? entry->second : std::to_string(number);
}

std::string parameterNameOf(int32_t number) {
    for (const AdapterParameter& row : kAdapterParameters) {
        if (row.id == number) return parameterName(row);
    }
    return std::to_string(number);
}

std::string portName(int32_t port) {
    return isPort(port) ? std::string(portInfo(static_cast<Port>(port)).name)
                        : std::to_string(port);
}

/// How a command that was done is told: its parts, from its words.
struct Done {
    Command command;
    Json (*parts)(const Words& words, const Names& profiles);
};

constexpr Done kDone[] = {
    {Command::SWITCH_EFFECT,
     [](const Words& w, const Names&) -> Json {
         return {{"event", "effect switched"}, {"enabled", w[2] > 0}};
     }},
    {Command::PROFILE_PARAMETER,
     [](const Words& w, const Names& profiles) -> Json {
         return {{"event", "parameter set"},
                 {"profile", nameIn(profiles, w[2])},
                 {"parameter", parameterNameOf(w[3])},
                 {"asked", w.from(4)}};
     }},
    {Command::PROFILE_PORT_PARAMETER,
     [](const Words& w, const Names& profiles) -> Json {
         return {{"event", "parameter set"},
                 {"profile", nameIn(profiles, w[2])},
                 {"port", portName(w[3])},
                 {"parameter", parameterNameOf(w[4])},
                 {"asked", w.from(5)}};
     }},
    {Command::SELECTED_PROFILE,
     [](const Words& w, const Names& profiles) -> Json {
         return {{"event", "profile selected"}, {"profile", nameIn(profiles, w[2])}};
     }},
    {Command::RESET_PROFILE,
     [](const Words& w, const Names& profiles) -> Json {
         return {{"event", "profile reset"}, {"profile", nameIn(profiles, w[2])}};
     }},
};

/// A notification as its parts. A command begins with a zero byte, a device's name never does.
Json eventOf(const Bytes& update, const Names& profiles) {
    if (update.empty()) return {{"event", "tunings reloaded"}};
    const Words words(update.data(), update.size());
    if (isRegistrationNotice(words)) return {{"event", "clients changed"}};
    for (const Done& done : kDone) {
        if (words[0] == wordOf(done.command) && update.size() > 2 * Words::kSize) {
            return done.parts(words, profiles);
        }
    }
    if (update[0] == 0) return {{"event", "unknown command"}};
    return {{"event", "device asked for"}, {"device", std::string(update.begin(), update.end())}};
}

/// An event in words: what happened, then what is known of it.
std::string sentenceOf(const Json& event) {
    std::string text;
    for (const auto& [name, value] : event.items()) {
        if (name == "event") continue;
        text.append(text.empty() ? ": " : ", ").append(name).append(" ").append(wordsOf(value));
    }
    return wordsOf(event["event"]) + text;
}

/// Notifications on their way to standard output. Used by the event loop's callbacks.
class Watch {
public:
    Watch(Client& client, bool json)
        : mClient(client),
          mJson(json),
          mProfiles(profilesOf(client)),
          mEvent(made<Event>(sd_event_new, "watch")) {
        sd_bus* const bus = client.bus();
        check(sd_bus_attach_event(bus, mEvent.get(), 0), "watch");
        for (const int ending : kEndingSignals) {
            check(sd_event_add_signal(mEvent.get(), nullptr, ending, onInterrupt, this), "watch");
        }
        mService = client.trackService(onServiceGone, this);
        mUpdates = match(kUpdate, onUpdate);
        mDropped = match(kDropped, onDropped);
    }

    /// Returns when interrupted, or when nobody reads any more; throws CommandError when it can't
    /// go on.
    void run() {
        check(sd_event_loop(mEvent.get()), "watch");
        if (mFailure) throw CommandError(*mFailure);
    }

private:
    // Here, because the end of the loop closes the connection. A service that doesn't answer learns
    // from that that its client has gone.
    static int onInterrupt(sd_event_source* source, const signalfd_siginfo* /*info*/, void* self) {
        constexpr uint64_t kFarewell = 2'000'000;  // microseconds
        Client& client = static_cast<Watch*>(self)->mClient;
        sd_event_exit(sd_event_source_get_event(source), 0);
        sd_bus_set_method_call_timeout(client.bus(), kFarewell);
        guarded(nullptr, [&] {
            client.call("UnregisterClient", Client::kPlainType);
            return 0;
        });
        return 0;
    }
    static int onUpdate(sd_bus_message* signal, void* self, sd_bus_error* /*error*/) {
        return guarded(nullptr, [&] {
            static_cast<Watch*>(self)->print(updateOf(signal));
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
            return static_cast<Watch*>(self)->fail(Exit::NO_SERVICE, "the service has gone");
        });
    }

    Slot match(const char* signal, sd_bus_message_handler_t onSignal) {
        return made<Slot>(
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
        const Json event = eventOf(update, mProfiles);
        const std::string line =
            mJson ? event.dump(-1, ' ', false, Json::error_handler_t::replace) : sentenceOf(event);
        if (puts(line.c_str()) >= 0 && fflush(stdout) == 0) return;
        // Whoever reads it may have gone; then there is nobody to watch for.
        if (errno == EPIPE) {
            sd_event_exit(mEvent.get(), 0);
        } else {
            fail(Exit::FAILED, "can't write the notification");
        }
    }

    Client& mClient;
    const bool mJson;
    const Names mProfiles;
    const Event mEvent;
    Slot mUpdates;
    Slot mDropped;
    Track mService;
    std::optional<CommandError> mFailure;
};

}  // namespace

Json watch(Client& client, const Arguments& arguments) {
    blockEndingSignals();
    Watch watch(client, arguments.json);
    client.call("RegisterClient", Client::kPlainType);
    watch.run();
    return {};
}

}  // namespace velora::host
