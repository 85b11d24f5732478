#include "tests/host/HostFixture.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace velora::test {
namespace {

using testing::HasSubstr;

class DaemonTest : public HostFixture {
protected:
    /// Sends a request. Returns why the daemon refused it, or "" if the service queued it.
    static std::string refusal(Client& from, const host::Bytes& request) {
        try {
            return from.call<int32_t>("SetSfxParam", request) == 0 ? "" : "not ready";
        } catch (const CommandError& e) {
            return e.what();
        }
    }
    /// Makes a change that the service doesn't save by itself.
    static void setAmount(int32_t value) {
        EXPECT_EQ(refusal(*connect(), request(Command::PROFILE_PARAMETER, {0, 106, value})), "");
        EXPECT_TRUE(waitFor([&] { return amount() == value; }));
    }
    static int32_t amount() { return connect()->get(Command::PROFILE_PARAMETER, 106, 0)[0]; }
};

TEST_F(DaemonTest, AForeignClientReachesEveryOperation) {
    expectTranscript("busctl.txt");
    const Outcome offered = run("busctl --user introspect --xml-interface $SERVICE");
    const size_t from = offered.out.find(" <interface name=\"vendor.");
    EXPECT_THAT(contentsOf(sourceFile("data/dbus/vendor.velora_sp.hardware.kmssp.V2_0.IKms.xml")),
                HasSubstr(offered.out.substr(from, offered.out.find("</node>") - from)));
}

TEST_F(DaemonTest, AtMost64ConnectionsAreClients) {
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 64; ++i) {
        clients.push_back(connect());
        clients.back()->call("RegisterClient", 1);
    }
    const auto late = connect();
    EXPECT_THROW(late->call("RegisterClient", 1), CommandError);
    clients[1]->call("UnregisterClient", 1);
    EXPECT_NO_THROW(late->call("RegisterClient", 1));
    EXPECT_EQ(count("log", "already existing"), 0U);
    clients.resize(1);
    late->call("UnregisterClient", 1);
    EXPECT_TRUE(late->call<bool>("HasDecCP"));
    clients[0]->call("UnregisterClient", 1);
    EXPECT_TRUE(waitFor([&] { return !late->call<bool>("HasDecCP"); }));
}

TEST_F(DaemonTest, WhatAConnectionAsksForIsBounded) {
    const auto only = connect();
    for (int type = 10; type < 26; ++type) only->call("RegisterClient", type);
    EXPECT_NO_THROW(only->call("RegisterClient", 10));  // again
    EXPECT_THROW(only->call("RegisterClient", 26), CommandError);

    const auto setRaw = [&](uint32_t id) {
        only->call<int32_t>("SetParam", 2U, id, host::Integers{1});
    };
    for (uint32_t id = 0; id < 1024; ++id) setRaw(id);
    EXPECT_THROW(setRaw(1024), CommandError);
    EXPECT_NO_THROW(setRaw(1023));

    EXPECT_EQ(refusal(*only, host::Bytes(1 << 20)), "the call is too long");
}

TEST_F(DaemonTest, OnlyTheServiceSendsUpdatesAndOnlyToItsClients) {
    Process monitor("gdbus monitor --session -d vendor.velora_sp.hardware.kmssp.V2_0 >" +
                    file("monitored"));
    ASSERT_TRUE(awaitIn("monitored", "is owned by"));
    const auto watcher = watch("watched");
    const Outcome forged =
        run("gdbus emit --session -d $(grep -o '[^ ]* is client' $ROOT/log | sed -n '$s/ .*//p')"
            " -o ${SERVICE#* } -s $INTERFACE.OnSfxParamUpdate 0 '[byte 0,0,0,10,1,0,0,0,1,0,0,0]'");
    EXPECT_EQ(forged.exit, 0) << forged.err;
    EXPECT_EQ(ctl("profiles select Music").exit, 0);
    EXPECT_TRUE(awaitIn("watched", "profile Music"));
    EXPECT_EQ(count("watched", "profile Movie"), 0U);
    EXPECT_EQ(count("monitored", "OnSfxParamUpdate"), 0U);
}

TEST_F(DaemonTest, AReloadSendsItsUpdateBeforeItsAnswer) {
    const auto reloading = connect();
    bool isUpdated = false;
    const auto note = [](sd_bus_message* update, void* data, sd_bus_error*) {
        if (host::readUpdate(update).empty()) *static_cast<bool*>(data) = true;
        return 0;
    };
    sd_bus_match_signal(reloading->bus(), nullptr, host::kBusName, nullptr, nullptr,
                        host::kUpdateSignal, note, &isUpdated);
    reloading->call("RegisterClient", 0);
    reloading->call("SetIntParam", key::kReload, int64_t{0});
    uint64_t received = 0;  // before the answer
    sd_bus_get_n_queued_read(reloading->bus(), &received);
    while (received-- > 0) sd_bus_process(reloading->bus(), nullptr);
    EXPECT_TRUE(isUpdated);
}

TEST_F(DaemonTest, ReadsTheExtraFileAgainWhenItIsTold) {
    const std::string added = "Add OEM Tuning car_cabin";
    EXPECT_EQ(count("log", added), 1U);
    installOem(extra + "\n");
    daemon->signal(SIGHUP);
    EXPECT_TRUE(awaitIn("log", added, 2));
}

TEST_F(DaemonTest, WaitingForAnUpdateEndsWithTheService) {
    const auto waiting = connect();
    const auto killDaemon = [&] { daemon->end(SIGKILL); };
    EXPECT_THAT([&] { waiting->awaitUpdate({9}, killDaemon); },
                testing::Throws<CommandError>(
                    testing::Property(&CommandError::exit, host::Exit::NO_SERVICE)));
}

// Only clients that don't read at all are dropped. Until that is known, requests wait.
TEST_F(DaemonTest, AClientThatNeverReadsIsDroppedAndTheOthersAreServed) {
    const auto deaf = connect();
    const auto other = connect();
    const auto watcher = watch("watched");
    deaf->call("RegisterClient", 2);
    const auto stopped = watch("missed");
    stopped->signal(SIGSTOP);
    host::Bytes large = request(Command{99}, {0});
    large.resize(4096);
    size_t posts = 0;
    const auto post = [&] {
        EXPECT_EQ(refusal(*other, large), "");
        ++posts;
    };
    EXPECT_TRUE(waitFor([&] {
        post();
        return count("log", "it does not read its signals") == 2;
    }));
    EXPECT_GT(posts, 50U);
    EXPECT_LT(posts, 100U);
    EXPECT_EQ(stopped->end(SIGCONT), 3);
    EXPECT_EQ(count("missed", "dropped this client: it does not read"), 1U);
    EXPECT_THROW(deaf->call("RegisterClient", 2), CommandError);  // it hasn't read yet
    for (int i = 0; i < 2000; ++i) post();
    EXPECT_TRUE(awaitIn("watched", "unknown command", posts));
}

TEST_F(DaemonTest, ASaveThatFailsIsReportedAndTriedAgain) {
    start("--save-delay 50");
    {
        const auto lock = holdStore();
        EXPECT_THAT(ctl("set ieq_amount 5").err, HasSubstr("the settings could not be saved"));
        EXPECT_TRUE(awaitIn("log", "settings not saved"));
    }
    EXPECT_TRUE(awaitIn("log", "settings saved"));
    daemon->end(SIGKILL);
    start();
    EXPECT_EQ(amount(), 5);
}

TEST_F(DaemonTest, ChangesAreSavedWhenItEndsOrIsTold) {
    start("--save-delay 3600000");
    int32_t value = 0;
    for (const int signal : {SIGINT, SIGQUIT}) {
        setAmount(++value);
        EXPECT_EQ(daemon->end(signal), 0);
        EXPECT_EQ(std::filesystem::file_size(database + "-wal"), 0U);
        start("--save-delay 3600000");
        EXPECT_EQ(amount(), value);
    }
    setAmount(6);
    daemon->signal(SIGUSR1);
    EXPECT_TRUE(awaitIn("log", "settings saved"));
    daemon->end(SIGKILL);
    start("--save-delay 3600000");
    EXPECT_EQ(amount(), 6);
    setAmount(7);
    const auto lock = holdStore();
    EXPECT_EQ(daemon->end(SIGTERM), 1);
}

TEST_F(DaemonTest, WhileItShutsDownItAcceptsNothingAndASecondSignalDropsPendingRequests) {
    const auto watcher = watch("watched");
    const auto other = connect();
    const auto lock = holdStore();
    EXPECT_EQ(refusal(*other, request(Command::SWITCH_EFFECT, {0})), "");  // waits for the store
    EXPECT_EQ(refusal(*other, request(Command::SELECTED_PROFILE, {1})), "");
    daemon->signal(SIGTERM);
    EXPECT_TRUE(awaitIn("log", "shutting down"));
    EXPECT_EQ(refusal(*other, {1}), "the service is shutting down");
    EXPECT_EQ(daemon->end(SIGTERM), 1);  // the store is still locked
    EXPECT_EQ(watcher->wait(), 3);
    EXPECT_EQ(count("watched", "profile selected"), 0U);
}

TEST_F(DaemonTest, WithoutATuningFileItAnswersNeutrallyUntilOneAppearsAndAClientRegisters) {
    uninstall();
    start();
    expectTranscript("not-ready.txt");
    install(sample);
    EXPECT_EQ(run("call GetProfileName i 0").out, "s \"\"\n");
    EXPECT_THAT(ctl("status").out, HasSubstr("ready: yes\n"));  // it registers to find out
    end();  // none of the refused requests is waited for
}

TEST_F(DaemonTest, WhereNoStoreCouldBeMadeTheLogShowsOnlyTheRefusalOfTheFile) {
    end();
    std::filesystem::remove_all(file("data"));
    for (const char* refused : {"<velora_tuning/>", "<velora_tuning>"}) {
        install(refused);
        start();
        EXPECT_THAT(ctl("status").out, HasSubstr("reason: the log of velorad says why"));
    }
    EXPECT_EQ(count("log", "E SndContextManager: The tuning file has no profile"), 2U);  // status
    EXPECT_EQ(count("log", "E SndContextManager: XML parses error!!"), 2U);
    EXPECT_EQ(count("log", "E SndContextManager: "), 4U);
    EXPECT_EQ(count("log", "E DatabaseHelper: "), 0U);
    EXPECT_EQ(count("log", "E VlrDatabaseProvider: "), 0U);
    EXPECT_EQ(count("log", "E velorad: not ready, though there is a tuning file at " +
                               file("odm/etc/velora/multimedia_velora_kiv_default.xml")),
              2U);
}

TEST_F(DaemonTest, AStoreThatCannotBeReadIsLogged) {
    std::filesystem::rename(database, file("elsewhere"));
    std::filesystem::create_symlink(file("elsewhere"), database);
    start();
    EXPECT_GE(count("log", "E SndContextManager: The stored settings can't be read"), 1U);
}

TEST_F(DaemonTest, WritesLinesOfOneKind20TimesIn10SecondsAndThenHowManyItLeftOut) {
    const auto only = connect();
    const auto ask = [&](int32_t times) {
        for (int32_t i = 0; i < times; ++i) only->get(Command::PROFILE_PARAMETER, 1000 + i);
    };
    const std::string kind = "E ParameterAdapter: param id";
    ask(50);
    EXPECT_EQ(count("log", kind), 20U);
    EXPECT_TRUE(awaitIn("log", "left out 30 more lines of this kind, the last one was: "));
    ask(22);
    end();
    EXPECT_EQ(count("log", kind), 40U);
    EXPECT_EQ(count("log", "left out 2 more lines of this kind, the last one was: "), 1U);
}

TEST_F(DaemonTest, ReportsToJournalAndServiceManager) {
    const int listener = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{AF_UNIX, {}};
    file("notify").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    end();
    dir.write("log", "");
    uninstall();
    start("", "env NOTIFY_SOCKET=" + file("notify") + " JOURNAL_STREAM=$(stat -c %d:%i " +
                  file("log") + ")");
    const auto nextNotification = [&] {
        char text[64]{};
        recv(listener, text, sizeof text - 1, MSG_DONTWAIT);
        return std::string(text);
    };
    EXPECT_EQ(nextNotification(), "READY=1");
    end();
    EXPECT_THAT(nextNotification(), HasSubstr("STOPPING=1"));
    EXPECT_THAT(contentsOf(file("log")), testing::MatchesRegex("(<[3-7]>[A-Za-z]+: [^\n]*\n)*"));
    EXPECT_EQ(count("log", "<6>velorad: version "), 1U);
    EXPECT_GE(count("log", "<3>SndContextManager: "), 1U);  // there is no tuning file
    close(listener);
}

TEST_F(DaemonTest, ContinuesWithoutTheReaderOfItsLog) {
    ASSERT_EQ(mkfifo(file("pipe").c_str(), 0600), 0);
    const int pipe = open(file("pipe").c_str(), O_RDWR | O_CLOEXEC);
    start("", "", "2>" + file("pipe"));
    close(pipe);
    EXPECT_EQ(ctl("enable off").exit, 0);
}

TEST_F(DaemonTest, OpensNothingAsAStandardStreamThatItsCallerClosed) {
    start("", "", "<&- >&- 2>&-");
    for (const char* stream : {"0", "1", "2"}) {
        const auto opened = "/proc/" + std::to_string(daemon->pid()) + "/fd/" + stream;
        EXPECT_EQ(std::filesystem::read_symlink(opened), "/dev/null");
    }
}

TEST_F(DaemonTest, ASecondInstanceNamesTheFirstAndWritesNothing) {
    const auto listing = [&] { return run("ls -la --full-time $ROOT/data/vendor/velora").out; };
    const std::string before = listing();
    const std::string second = "dbus-run-session -- velorad --user --root $ROOT 2>&1";  // other bus
    const std::string inUse =
        "velorad: the settings in " + file("data/vendor/velora/") + " are in use by pid ";
    EXPECT_THAT(run(second).out, HasSubstr(inUse + std::to_string(daemon->pid()) +
                                           " (" VELORA_BIN "/velorad --user "));
    EXPECT_EQ(listing(), before);
    run("sed -i '2s/.*/pid:[1]/' $ROOT/data/vendor/velora/velorad.lock");  // another namespace
    EXPECT_THAT(run(second).out, HasSubstr(inUse + "unknown (" VELORA_BIN "/velorad --user "));

    // The name of the bus is taken before the store is opened.
    run("mkdir $ROOT/other && cp -r $ROOT/odm $ROOT/other && velorad --user --root $ROOT/other");
    EXPECT_THAT(contentsOf(file("err")), HasSubstr("another program on this bus has the name"));
    EXPECT_FALSE(std::filesystem::exists(file("other/data/vendor/velora/kiv_sqlite3.db")));
}

TEST_F(DaemonTest, NobodyElseHasAccessToItsFiles) {
    const std::string withoutMask = R"(sh -c 'umask 0; exec "$@"' sh)";
    end();
    std::filesystem::remove_all(file("data"));
    start("", withoutMask);
    EXPECT_EQ(run("find $ROOT/data -perm /077").out, "");
    end();
    run("chmod -R 0777 $ROOT/data/vendor/velora");
    start("", withoutMask);
    EXPECT_EQ(run("find $ROOT/data/vendor/velora -perm /077 -o -type f -perm /0177").out, "");
}

// Nobody ever writes to this pipe, so opening it to read from it would never end.
TEST_F(DaemonTest, NoEnvironmentVariableMakesItOpenAFile) {
    ASSERT_EQ(mkfifo(file("gconv-modules").c_str(), 0600), 0);
    install(replaced(sample, "encoding=\"UTF-8\"", "encoding=\"windows-1252\""));
    start("", "env GCONV_PATH=" + file(""));
}

TEST_F(DaemonTest, EndsWithAnErrorWhenItCannotServe) {
    expectTranscript("velorad.txt");
    run("kill $(busctl --user call org.freedesktop.DBus / org.freedesktop.DBus "
        "GetConnectionUnixProcessID s org.freedesktop.DBus | cut -c 3-)");
    EXPECT_EQ(daemon->wait(), 1);
}

}  // namespace
}  // namespace velora::test
