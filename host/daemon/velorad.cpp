// velorad: the service as a process of its own, for clients on D-Bus.
#define LOG_TAG "velorad"

#include "context/SndContextManager.h"
#include "host/BusChoice.h"
#include "host/daemon/EventCallback.h"
#include "host/daemon/KmsInterface.h"
#include "host/daemon/LogOutput.h"
#include "host/daemon/ServiceHost.h"
#include "host/daemon/SettingsDirectory.h"
#include "util/RootPrefix.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/stat.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <log/log.h>

namespace velora::host {
namespace {

struct Options {
    BusChoice bus;
    std::string root;
    std::string commandLine;
    std::string logLevel = "info";
    uint32_t saveDelayMs = 2000;
};

/// Opens /dev/null in place of standard streams that the caller has closed. Otherwise the next
/// files to be opened, such as the store, would be standard output or standard error.
void openStandardStreams() {
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO) fd = open("/dev/null", O_RDWR);
    if (fd >= 0) close(fd);
}

/// Removes all variables from the environment, except for those that sd-bus and sd-daemon read.
/// The others could make a library open a file, as GCONV_PATH does.
void reduceEnvironment() {
    constexpr std::string_view kUsed[] = {"DBUS_SESSION_BUS_ADDRESS=", "DBUS_SYSTEM_BUS_ADDRESS=",
                                          "JOURNAL_STREAM=",           "NOTIFY_SOCKET=",
                                          "SYSTEMD_BUS_TIMEOUT=",      "XDG_RUNTIME_DIR="};
    const auto isUsed = [&](std::string_view variable) {
        return std::any_of(std::begin(kUsed), std::end(kUsed),
                           [&](std::string_view name) { return variable.starts_with(name); });
    };

    char** end = environ;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        if (isUsed(*variable)) *end++ = *variable;
    }
    *end = nullptr;
}

/// Locates all files below `root`, unless it is empty, and creates the directory of the settings
/// there. Throws std::filesystem::filesystem_error.
void useRoot(const std::string& root) {
    if (root.empty()) return;

    // The root prefix is absolute, without a slash at its end.
    auto path = std::filesystem::absolute(root).lexically_normal().string();
    while (path.ends_with('/')) path.pop_back();
    setRootPrefix(path);
    std::filesystem::create_directories(rooted(kDataDirectory));
}

void end(ServiceHost& host) {
    sd_notify(0, "STOPPING=1");
    host.requestExit();
}

/// What the daemon does on a signal.
struct SignalAction {
    int number;
    const char* meaning;
    void (*run)(ServiceHost& host);
};

constexpr SignalAction kSignalActions[] = {
    {SIGTERM, "shutting down", end},
    {SIGINT, "shutting down", end},
    {SIGQUIT, "shutting down", end},
    {SIGHUP, "reading the extra tuning file again", [](ServiceHost& host) { host.reload([] {}); }},
    {SIGUSR1, "saving", [](ServiceHost& host) { host.save(); }},
};

int onSignal(sd_event_source* /*source*/, const signalfd_siginfo* info, void* host) {
    const auto* const action = std::find_if(
        std::begin(kSignalActions), std::end(kSignalActions),
        [&](const auto& row) { return row.number == static_cast<int>(info->ssi_signo); });
    ALOGI("signal %d, %s", action->number, action->meaning);
    return logErrors([&] { action->run(*static_cast<ServiceHost*>(host)); });
}

int onReportDue(sd_event_source* /*source*/, int /*fd*/, uint32_t /*events*/, void* log) {
    return logErrors([&] { static_cast<LogOutput*>(log)->report(); });
}

/// Must be called before anything opens a file or starts a thread.
void prepareProcess() {
    reduceEnvironment();
    openStandardStreams();
    umask(S_IRWXG | S_IRWXO);

    std::vector<int> handled;
    for (const SignalAction& action : kSignalActions) handled.push_back(action.number);
    blockSignals(handled);
    signal(SIGPIPE, SIG_IGN);  // the reader of the log may leave without ending the service
}

/// Adds the signals and the reports of the log to the event loop.
void addEventSources(sd_event* event, ServiceHost* host, LogOutput* log) {
    for (const SignalAction& action : kSignalActions) {
        check(sd_event_add_signal(event, nullptr, action.number, onSignal, host),
              "handle a signal");
    }
    check(sd_event_add_io(event, nullptr, log->reportFd(), EPOLLIN, onReportDue, log),
          "watch the log");
}

/// Connects to the bus and takes the service's name there. Losing the bus ends the event loop.
Bus connect(const BusChoice& choice, sd_event* event) {
    Bus bus = choice.connect();
    check(sd_bus_attach_event(bus.get(), event, SD_EVENT_PRIORITY_NORMAL), "attach the bus");
    check(sd_bus_set_exit_on_disconnect(bus.get(), 1), "watch the bus");

    const int result = sd_bus_request_name(bus.get(), kBusName, 0);
    if (result == -EEXIST) {
        throw std::runtime_error(std::string("another program on this bus has the name ") +
                                 kBusName + ", probably another velorad");
    }
    check(result, "take the name on the bus");
    return bus;
}

/// Logs that the service has started without tunings, if it has.
void logIfNotReady(ServiceHost& host) {
    if (host.isReady()) return;
    const std::string path = rooted(kTuningFile);
    std::error_code error;
    if (std::filesystem::exists(path, error)) {
        ALOGE("not ready, though there is a tuning file at %s", path.c_str());
    } else {
        ALOGE("no tuning file at %s", path.c_str());
    }
}

/// Closes the store at the end, which copies its log into the database. Must be destroyed after the
/// service.
struct StoreCloser {
    StoreCloser() = default;
    ~StoreCloser() {
        if (SndContextManager::hasInstance()) SndContextManager::getInstance().release();
    }
    StoreCloser(const StoreCloser&) = delete;
    StoreCloser& operator=(const StoreCloser&) = delete;
};

/// Runs the service until a signal or the loss of the bus ends it. Returns the exit status of the
/// program; throws a std::exception if it can't start.
int serve(const Options& options) {
    prepareProcess();
    LogOutput log(options.logLevel);

    // Another instance may be running. One with the same settings has the lock, and one on the same
    // bus has the name; nothing is read or written before this instance has both.
    useRoot(options.root);
    lockSettings(rooted(kDataDirectory), options.commandLine);
    const auto event = create<Event>(sd_event_default, "make an event loop");
    const Bus bus = connect(options.bus, event.get());

    // Calls that arrive before the service has started wait for it.
    ALOGI("looking for the tuning file at %s", rooted(kTuningFile).c_str());
    const StoreCloser closer;
    ServiceHost host(bus.get(), event.get(), std::chrono::milliseconds(options.saveDelayMs));
    const KmsInterface interface(bus.get(), &host);
    addEventSources(event.get(), &host, &log);

    host.start([&host] {
        logIfNotReady(host);
        sd_notify(0, "READY=1");
        ALOGI("version %s serves %s", VELORA_VERSION, kBusName);
    });

    const int result = sd_event_loop(event.get());
    if (result != 0) ALOGE("the connection to the bus is lost");

    const bool isSaved = host.shutdown();
    return result == 0 && isSaved ? EXIT_SUCCESS : EXIT_FAILURE;
}

int run(int argc, char** argv) {
    Options options;
    for (const char* word : std::span(argv, static_cast<size_t>(argc))) {
        options.commandLine.append(options.commandLine.empty() ? "" : " ").append(word);
    }

    CLI::App app{"The settings and control service of the audio effect, on D-Bus", "velorad"};
    app.set_version_flag("--version", VELORA_VERSION);

    options.bus.addTo(app);
    app.add_option("--root", options.root, "Directory below which all files are located")
        ->check(notEmpty())
        ->type_name("DIRECTORY");
    app.add_option("--log-level", options.logLevel, "Lowest level of the messages that are logged")
        ->check(CLI::IsMember(logLevels()))
        ->capture_default_str()
        ->type_name("LEVEL");
    app.add_option("--save-delay", options.saveDelayMs, "Milliseconds from a change to its saving")
        ->check(CLI::Range(10, 3600000).description("10 to 3600000"))
        ->capture_default_str()
        ->type_name("MS");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        constexpr int kWrongUsage = 2;
        return app.exit(e) == 0 ? EXIT_SUCCESS : kWrongUsage;
    }
    return serve(options);
}

}  // namespace
}  // namespace velora::host

int main(int argc, char** argv) {
    try {
        return velora::host::run(argc, argv);
    } catch (const std::exception& e) {
        fprintf(stderr, "velorad: %s\n", e.what());
        return EXIT_FAILURE;
    }
}
