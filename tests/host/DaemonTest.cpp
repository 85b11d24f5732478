#include "tests/host/HostFixture.h"

#include <sys/socket.h>
#include <sys/un.h>

namespace velora::test {
namespace {

using testing::HasSubstr;

class DaemonTest : public HostFixture {
protected:
    /// A change that only the saving of settled changes brings to the store.
    static void setAmount(int32_t value) {
        const auto request =
            Client::toBytes({wordOf(Command::PROFILE_PARAMETER), 0, 0, 106, value});
        EXPECT_EQ(client()->call<int32_t>("SetSfxParam", request), 0);
        EXPECT_TRUE(waitFor([&] { return amount() == value; }));
    }
    static int32_t amount() { return client()->get(Command::PROFILE_PARAMETER, 106, 0)[0]; }
};

TEST_F(DaemonTest, AForeignClientReachesEveryOperation) {
    start();
    expectTranscript("busctl.txt");
    const Outcome offered = run("busctl --user introspect --xml-interface " + kObject);
    const size_t from = offered.out.find(" <interface name=\"vendor.");
    EXPECT_THAT(contentsOf(sourceFile("data/dbus/vendor.velora_sp.hardware.kmssp.V2_0.IKms.xml")),
                HasSubstr(offered.out.substr(from, offered.out.find("</node>") - from)));
}

TEST_F(DaemonTest, ConnectionsRegistrationsAndRawParametersAreCounted) {
    start();
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 64; ++i) {
        clients.push_back(client());
        clients.back()->call("RegisterClient", 1);
    }
    EXPECT_THROW(client()->call("RegisterClient", 7), host::CommandError);
    EXPECT_EQ(count("log", "already existing"), 0U);
    clients.resize(1);
    EXPECT_TRUE(awaitIn("log", "binderDied", 63));
    Client& last = *clients[0];
    EXPECT_TRUE(last.call<bool>("HasDecCP"));
    last.call("UnregisterClient", 1);
    EXPECT_FALSE(last.call<bool>("HasDecCP"));
    for (int type = 10; type < 26; ++type) last.call("RegisterClient", type);
    last.call("RegisterClient", 10);  // again: no more than a notice
    EXPECT_THROW(last.call("RegisterClient", 26), host::CommandError);
    const auto setRaw = [&](uint32_t id) {
        last.call<int32_t>("SetParam", 2U, id, host::Integers{1});
    };
    for (uint32_t id = 0; id < 1024; ++id) setRaw(id);
    EXPECT_THROW(setRaw(1024), host::CommandError);
    setRaw(1023);
}

TEST_F(DaemonTest, UpdatesComeFromTheServiceAndGoToItsClientsOnly) {
    start();
    Process monitor("gdbus monitor --session -d vendor.velora_sp.hardware.kmssp.V2_0 >" +
                    file("monitored"));
    ASSERT_TRUE(awaitIn("monitored", "is owned by"));
    const auto watcher = watch("watched");
    const Outcome forged =
        run("gdbus emit --session -d $(grep -o '[^ ]* is client' " + file("log") +
            " | sed -n '$s/ .*//p') -o /vendor/velora_sp/hardware/kmssp/V2_0 -s "
            "vendor.velora_sp.hardware.kmssp.V2_0.IKms.OnSfxParamUpdate "
            "0 '[byte 0,0,0,10,1,0,0,0,1,0,0,0]'");
    EXPECT_EQ(forged.exit, 0) << forged.err;
    EXPECT_EQ(ctl("profiles select Music").exit, 0);
    EXPECT_TRUE(awaitIn("watched", "profile Music"));
    EXPECT_EQ(count("watched", "profile Movie"), 0U);
    EXPECT_EQ(count("monitored", "OnSfxParamUpdate"), 0U);
}

TEST_F(DaemonTest, AWaitForAnUpdateEnds) {
    start();
    using Microseconds = uint64_t;
    const std::tuple<Microseconds, int, host::Exit> kRows[] = {
        {500'000, SIGCONT, host::Exit::FAILED}, {25'000'000, SIGKILL, host::Exit::NO_SERVICE}};
    for (const auto& [patience, signal, exit] : kRows) {
        const auto waiting = client();
        sd_bus_set_method_call_timeout(waiting->bus(), patience);
        try {
            waiting->awaitUpdate({9}, [&, sent = signal] { daemon->signal(sent); });
            ADD_FAILURE() << "nothing came, but it didn't fail";
        } catch (const host::CommandError& e) {
            EXPECT_EQ(e.exit(), exit) << e.what();
        }
    }
    daemon->wait();
}

// A flood fills what a client has to read faster than it can answer: only one that doesn't answer
// at all is dropped. Requests are refused while it isn't known.
TEST_F(DaemonTest, AClientThatNeverReadsIsDroppedAndTheOthersAreServed) {
    start();
    const auto deaf = client();
    const auto other = client();
    const auto watcher = watch("watched");
    deaf->call("RegisterClient", 2);
    const auto stopped = watch("missed");
    stopped->signal(SIGSTOP);
    host::Bytes request = Client::toBytes({wordOf(Command{99}), 0, 0});
    request.resize(4096);
    size_t done = 0;
    size_t refused = 0;
    const auto post = [&] {
        try {
            done += other->call<int32_t>("SetSfxParam", request) == 0 ? 1 : 0;
        } catch (const host::CommandError& error) {
            refused += std::string(error.what()).ends_with("too many unread updates") ? 1 : 0;
        }
    };
    while (count("log", "does not read its signals") < 2) post();
    EXPECT_GT(done, 50U);
    EXPECT_GT(refused, 0U);
    EXPECT_EQ(stopped->end(SIGCONT), 3);  // it learns of that
    EXPECT_EQ(count("missed", "dropped this client: it does not read"), 1U);
    EXPECT_FALSE(other->call<bool>("HasDecDV"));
    for (int i = 0; i < 2000; ++i) post();  // of those who read nobody is dropped
    EXPECT_TRUE(awaitIn("watched", "unknown command", done));
    EXPECT_EQ(count("log", "is dropped"), 2U);
}

// The service waits for a store that another process holds, and the bus doesn't stop for it.
TEST_F(DaemonTest, OfAFloodAsManyRequestsWaitAsThereMay) {
    start();
    const auto from = client();
    from->call("RegisterClient", 1);
    constexpr int kRequests = 600;
    int answers[2]{};  // of requests that are taken, and refused
    const auto note = [](sd_bus_message* answer, void* data, sd_bus_error*) {
        ++static_cast<int*>(
            data)[sd_bus_message_is_method_error(answer, SD_BUS_ERROR_LIMITS_EXCEEDED)];
        return 0;
    };
    {
        const auto lock = holdStore();
        for (int i = 0; i < kRequests; ++i) {
            ASSERT_GE(
                sd_bus_call_method_async(from->bus(), nullptr, host::kBusName, host::kObjectPath,
                                         host::kInterface, "SetSfxParam", note, answers, "ay", 12,
                                         0, 0, 0, 10, 0, 0, 0, 0, 1 + i % 2, 0, 0, 0),
                0);
        }
        ASSERT_TRUE(waitFor([&] {
            while (sd_bus_process(from->bus(), nullptr) > 0) continue;
            return answers[0] + answers[1] == kRequests;
        }));
        EXPECT_NO_THROW(from->call("UnregisterClient", 1));  // who leaves is never refused
    }
    EXPECT_GT(answers[0], 60);
    EXPECT_LT(answers[0], 80);
    EXPECT_EQ(daemon->end(SIGTERM), 0);  // having done what it took
}

TEST_F(DaemonTest, SettledChangesAreSavedAlsoLaterOrAtTheEnd) {
    start("--save-delay 50");
    {
        const auto lock = holdStore();
        EXPECT_THAT(ctl("set ieq_amount 5").err, HasSubstr("the settings could not be saved"));
    }
    EXPECT_TRUE(awaitIn("log", "settings saved"));
    daemon->end(SIGKILL);
    start("--save-delay 3600000");
    EXPECT_EQ(amount(), 5);
    setAmount(6);
    EXPECT_EQ(daemon->end(SIGINT), 0);
    start("--save-delay 3600000");
    EXPECT_EQ(amount(), 6);
    setAmount(7);
    const auto lock = holdStore();
    EXPECT_EQ(daemon->end(SIGTERM), 1);
}

TEST_F(DaemonTest, WithoutATuningFileItAnswersNeutrallyUntilOneAppearsAndAClientRegisters) {
    removeTuning();
    start();
    EXPECT_EQ(run("call GetSfxEnabled").out, "b false\n");
    EXPECT_EQ(run("call GetSfxParam ayu 4 0 0 0 3 4").out, "iay -19 4 0 0 0 0\n");
    EXPECT_EQ(run("call SetSfxParam ay 12 0 0 0 12 0 0 0 0 1 0 0 0").out, "i -19\n");
    EXPECT_EQ(ctl("status").out, "ready: no\n");
    EXPECT_THAT(ctl("profiles list").err, HasSubstr("no tuning file"));
    EXPECT_EQ(ctl("watch").exit, 4);
    addTuning();
    EXPECT_EQ(run("call GetProfileName i 0").out, "s \"\"\n");
    EXPECT_THAT(ctl("status").out, HasSubstr("ready: yes\n"));  // it asked for another look
}

TEST_F(DaemonTest, TellsJournalAndManagerHowItIs) {
    const int listener = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{AF_UNIX, {}};
    file("notify").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    root.write("log", "");
    removeTuning();
    start("", "env NOTIFY_SOCKET=" + file("notify") + " JOURNAL_STREAM=$(stat -c %d:%i " +
                  file("log") + ")");
    const auto told = [&] {
        char text[64]{};
        recv(listener, text, sizeof text - 1, MSG_DONTWAIT);
        return std::string(text);
    };
    EXPECT_EQ(told(), "READY=1");
    EXPECT_EQ(daemon->end(SIGTERM), 0);
    EXPECT_THAT(told(), HasSubstr("STOPPING=1"));
    EXPECT_THAT(contentsOf(file("log")), testing::MatchesRegex("(<[3-7]>[A-Za-z]+: [^\n]*\n)*"));
    EXPECT_EQ(count("log", "<6>velorad: version "), 1U);
    EXPECT_GE(count("log", "<3>SndContextManager: "), 1U);  // there is no tuning file
    close(listener);
}

TEST_F(DaemonTest, LeavesWithAnErrorWhenItCantServe) {
    start();
    const std::tuple<const char*, int, const char*> kRows[] = {
        {"--user", 1, "take the name"},
        {"--address unix:path=/nonexistent", 1, "connect to the bus"},
        {"--user --system", 2, "at most 1"},
        {"--log-level loud", 2, "loud not in"},
        {"--save-delay 1", 2, "--save-delay"},
    };
    for (const auto& [options, exit, message] : kRows) {
        const Outcome outcome = run(std::string("velorad ") + options);
        EXPECT_EQ(outcome.exit, exit) << options;
        EXPECT_THAT(outcome.err, HasSubstr(message));
    }
    EXPECT_EQ(run("kill $(busctl --user status org.freedesktop.DBus | sed -n s/^PID=//p)").exit, 0);
    EXPECT_EQ(daemon->wait(), 1);
}

}  // namespace
}  // namespace velora::test
