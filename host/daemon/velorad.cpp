// velorad: the service as a process of its own, for clients on D-Bus.
#define LOG_TAG "velorad"

#include "host/Connect.h"
#include "host/daemon/BusService.h"
#include "util/RootPrefix.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>

#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
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

const std::map<std::string, int32_t> kLogLevels{
    {"verbose", ANDROID_LOG_VERBOSE}, {"debug", ANDROID_LOG_DEBUG}, {"info", ANDROID_LOG_INFO},
    {"warn", ANDROID_LOG_WARN},       {"error", ANDROID_LOG_ERROR},
};

/// Standard error is the journal's, which reads a line's priority from its beginning.
bool logsToJournal() {
    const char* const stream = secure_getenv("JOURNAL_STREAM");
    struct stat info {};
    if (stream == nullptr || fstat(STDERR_FILENO, &info) != 0) return false;
    return std::to_string(info.st_dev) + ":" + std::to_string(info.st_ino) == stream;
}

const char* journalPrefix(int32_t priority) {
    if (priority >= ANDROID_LOG_ERROR) return SD_ERR;
    if (priority == ANDROID_LOG_WARN) return SD_WARNING;
    return priority == ANDROID_LOG_INFO ? SD_INFO : SD_DEBUG;
}

/// Nobody reads what a full pipe holds: lines are lost then, the service doesn't wait for them.
bool isLogWritable() {
    pollfd log{STDERR_FILENO, POLLOUT, 0};
    return poll(&log, 1, 0) == 1 && (log.revents & POLLOUT) != 0;
}

void logToTerminal(const __android_log_message* entry) {
    if (isLogWritable()) __android_log_stderr_logger(entry);
}

void logToJournal(const __android_log_message* entry) {
    if (!isLogWritable()) return;
    std::string line = journalPrefix(entry->priority);
    line.append(entry->tag).append(": ").append(entry->message);
    std::replace(line.begin(), line.end(), '\n', ' ');
    line.push_back('\n');
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

/// All files below `root`, which then has the directory for the settings.
void useRoot(const std::string& root) {
    if (root.empty()) return;
    auto path = std::filesystem::absolute(root).lexically_normal().string();
    while (path.ends_with('/')) path.pop_back();
    setRootPrefix(path);
    std::error_code error;
    std::filesystem::create_directories(rooted(kDataDirectory), error);
    if (error) ALOGW("no directory for the settings: %s", error.message().c_str());
}

int onEnd(sd_event_source* /*source*/, const signalfd_siginfo* info, void* service) {
    ALOGI("signal %u, leaving", info->ssi_signo);
    sd_notify(0, "STOPPING=1");
    static_cast<BusService*>(service)->leave();
    return 0;
}

/// Descriptors that the caller has closed must not become the service's own.
void openStandardStreams() {
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO) fd = open("/dev/null", O_RDWR);
    if (fd >= 0) close(fd);
}

int serve(const Options& options) {
    openStandardStreams();
    blockEndingSignals();
    signal(SIGPIPE, SIG_IGN);  // a log that nobody reads any more is no reason to leave
    __android_log_set_logger(logsToJournal() ? logToJournal : logToTerminal);
    __android_log_set_minimum_priority(kLogLevels.at(options.logLevel));
    useRoot(options.root);

    const auto event = made<Event>(sd_event_default, "make an event loop");
    const Bus bus = options.bus.connect();
    check(sd_bus_attach_event(bus.get(), event.get(), SD_EVENT_PRIORITY_NORMAL), "attach the bus");
    check(sd_bus_set_exit_on_disconnect(bus.get(), 1), "watch the bus");
    BusService service(bus.get(), event.get(), std::chrono::milliseconds(options.saveDelayMs));
    for (const int ending : kEndingSignals) {
        check(sd_event_add_signal(event.get(), nullptr, ending, onEnd, &service), "take a signal");
    }
    check(sd_bus_request_name(bus.get(), kBusName, 0), "take the name on the bus");
    sd_notify(0, "READY=1");
    ALOGI("version %s serves %s", VELORA_VERSION, kBusName);
    const int result = sd_event_loop(event.get());
    if (result != 0) ALOGE("the bus has gone");
    const bool saved = service.end();
    return result == 0 && saved ? EXIT_SUCCESS : EXIT_FAILURE;
}

int run(int argc, char** argv) {
    Options options;
    CLI::App app{"The settings and control service of the audio effect, on D-Bus", "velorad"};
    app.set_version_flag("--version", VELORA_VERSION);
    options.bus.addTo(app);
    app.add_option("--root", options.root, "Directory that all files of the system lie below")
        ->check(notEmpty())
        ->type_name("DIRECTORY");
    app.add_option("--log-level", options.logLevel, "What is worth a line")
        ->check(CLI::IsMember(kLogLevels))
        ->capture_default_str()
        ->type_name("LEVEL");
    app.add_option("--save-delay", options.saveDelayMs, "Milliseconds from a change to its saving")
        ->check(CLI::Range(10, 3600000).description("10 to 3600000"))
        ->capture_default_str()
        ->type_name("MS");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? EXIT_SUCCESS : 2;
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
