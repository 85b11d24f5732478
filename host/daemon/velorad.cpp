// velorad: the service as a process of its own, for clients on D-Bus.
#define LOG_TAG "velorad"

#include "host/BusChoice.h"
#include "host/daemon/KmsInterface.h"
#include "host/daemon/LogOutput.h"
#include "host/daemon/ServiceHost.h"
#include "util/RootPrefix.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <log/log.h>

namespace velora::host {
namespace {

struct Options {
    BusChoice bus;
    std::string root;
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

/// Locates all files below `root`, unless it is empty, and creates the directory of the settings
/// there. A failure is logged; the service then reports that it has no store.
void useRoot(const std::string& root) {
    if (root.empty()) return;

    // The root prefix is absolute, without a slash at its end.
    auto path = std::filesystem::absolute(root).lexically_normal().string();
    while (path.ends_with('/')) path.pop_back();
    setRootPrefix(path);

    std::error_code error;
    std::filesystem::create_directories(rooted(kDataDirectory), error);
    if (error) ALOGW("can't create the directory of the settings: %s", error.message().c_str());
}

int onEndingSignal(sd_event_source* /*source*/, const signalfd_siginfo* info, void* host) {
    ALOGI("signal %u, shutting down", info->ssi_signo);
    sd_notify(0, "STOPPING=1");
    static_cast<ServiceHost*>(host)->requestExit();
    return 0;
}

/// Runs the service until a signal or the loss of the bus ends it. Returns the exit status of the
/// program; throws std::system_error if it can't start.
int serve(const Options& options) {
    // Before anything opens a file or starts a thread.
    openStandardStreams();
    blockEndingSignals();
    signal(SIGPIPE, SIG_IGN);  // the reader of the log may leave without ending the service
    startLogging(options.logLevel);
    useRoot(options.root);

    const auto event = create<Event>(sd_event_default, "make an event loop");
    const Bus bus = options.bus.connect();
    check(sd_bus_attach_event(bus.get(), event.get(), SD_EVENT_PRIORITY_NORMAL), "attach the bus");
    check(sd_bus_set_exit_on_disconnect(bus.get(), 1), "watch the bus");

    ServiceHost host(bus.get(), event.get(), std::chrono::milliseconds(options.saveDelayMs));
    const KmsInterface interface(bus.get(), &host);

    for (const int ending : kEndingSignals) {
        check(sd_event_add_signal(event.get(), nullptr, ending, onEndingSignal, &host),
              "handle a signal");
    }

    // Clients may call as soon as the name is there. Their calls wait until the service has
    // started.
    check(sd_bus_request_name(bus.get(), kBusName, 0), "take the name on the bus");
    host.start([] {
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
