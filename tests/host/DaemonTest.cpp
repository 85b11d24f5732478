#include "tests/host/HostFixture.h"

#include <sys/socket.h>
#include <sys/un.h>

namespace velora::test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

constexpr char kCall[] =
    "busctl --user call vendor.velora_sp.hardware.kmssp.V2_0 "
    "/vendor/velora_sp/hardware/kmssp/V2_0 vendor.velora_sp.hardware.kmssp.V2_0.IKms ";

class DaemonTest : public HostFixture {
protected:
    /// What a call by a foreign client answers, without the line's end; else the error.
    std::string call(const std::string& operation) {
        const Outcome outcome = run(kCall + operation);
        std::string text = outcome.exit == 0 ? outcome.out : outcome.err;
        while (text.ends_with('\n')) text.pop_back();
        return text;
    }
};

TEST_F(DaemonTest, AForeignClientReachesEveryOperation) {
    const struct {
        const char* operation;
        const char* answer;
    } kRows[] = {
        {"RegisterClient i 4", ""},
        {"UnregisterClient i 4", ".*not registered.*"},  // busctl's connection has gone since
        {"GetSfxParam ayu 4 0 0 0 3 4", "iay 0 4 5 0 0 0"},
        {"SetSfxParam ay 12 0 0 0 12 0 0 0 0 1 0 0 0", "i 0"},
        {"SetParam uuai 32 7 2 1 2", "i 0"},
        {"CommitChange", "i 0"},
        {"GetStoredParams b true", "ia\\{ua\\{uai\\}\\} 0 .* 32 1 7 2 1 2 .*"},
        {"GetSfxEnabled", "b true"},
        {"GetProfileName i 1", "s \"Movie\""},
        {"GetIeqPresetName i 3", "s \"warm\""},
        {"GetAvailableTuningDevicesLen i 5", "i 20"},
        {"GetAvailableTuningDevices ii 5 20", "ay 20 100 .* 95 100 97 99 32"},
        {"GetSelectedTuningDevice i 5", "s \"default_usb\""},
        {"SetSelectedTuningDevice is 5 usb_dac", ""},
        {"GetDialogEnhancerAmount", "i 0"},
        {"IsMonoInternalSpeaker", "b false"},
        {"IsSpeakerPortraitMode", "b false"},
        {"IsMobilityProfileSelected", "b false"},
        {"HasDecCP", "b false"},
        {"HasDecDV", "b false"},
        {"HasMulitchannelDecDV", "b false"},
        {"GetZenithGameSystemGain", "i -24"},
        {"GetActiveDevice", "i 2"},
        {"GetDefaultXmlFormatVersion", "x 3004000"},
        {"GetIntParam u 0x43484354", "x 2"},
        {"SetIntParam ux 0x524c5446 0", ""},
    };
    addTuning();
    start();
    for (const auto& row : kRows) {
        EXPECT_THAT(call(row.operation), MatchesRegex(row.answer)) << row.operation;
    }
    const Outcome other =
        run("gdbus call --session -d vendor.velora_sp.hardware.kmssp.V2_0 -o "
            "/vendor/velora_sp/hardware/kmssp/V2_0 -m "
            "vendor.velora_sp.hardware.kmssp.V2_0.IKms.GetProfileName 0");
    EXPECT_EQ(other.out, "('Dynamic',)\n");
}

TEST_F(DaemonTest, TheInterfaceIsTheOneThatIsPublished) {
    start();
    const Outcome offered =
        run("busctl --user introspect --xml-interface vendor.velora_sp.hardware.kmssp.V2_0 "
            "/vendor/velora_sp/hardware/kmssp/V2_0");
    const std::string published =
        contentsOf(sourceFile("data/dbus/vendor.velora_sp.hardware.kmssp.V2_0.IKms.xml"));
    const size_t from = offered.out.find(" <interface name=\"vendor.");
    const size_t to = offered.out.find("</node>");
    ASSERT_LT(from, to);
    EXPECT_THAT(published, HasSubstr(offered.out.substr(from, to - from)));
}

TEST_F(DaemonTest, WhatCantBeTakenIsRefusedAndChangesNothing) {
    const struct {
        std::string operation;
        const char* error;
    } kRows[] = {
        {"RegisterClient i 256", "type is 0 to 255"},
        {"RegisterClient i -- -1", "type is 0 to 255"},
        {"RegisterClient s 1", "Invalid arguments"},
        {"UnregisterClient i 0", "not registered"},
        {"SetSfxParam", "Invalid arguments"},
        {"SetSfxParam ay 0", "empty request"},
        {"SetSelectedTuningDevice is 5 ''", "no name of a device"},
        {"SetSelectedTuningDevice is 5 $(printf 'usb\\033')", "no name of a device"},
        {"SetSfxParam ay 4097$(printf ' 0%.0s' $(seq 4097))", "too long"},
        {"GetSfxParam ayu 4097$(printf ' 0%.0s' $(seq 4097)) 4", "too long"},
        {"GetSfxParam ayu 4 0 0 0 3 65537", "too much room"},
        {"SetParam uuai 2 7 1025$(printf ' 0%.0s' $(seq 1025))", "too many values"},
        {"GetAvailableTuningDevices ii 5 65537", "too much room"},
        {"SetSelectedTuningDevice is 7 usb_dac", "port is 0 to 6"},
        {"SetSelectedTuningDevice is 5 $(printf 'x%.0s' $(seq 4097))", "too long"},
        {"NoSuchOperation", "Unknown method"},
    };
    addTuning();
    start();
    for (const auto& row : kRows) EXPECT_THAT(call(row.operation), HasSubstr(row.error));
    // What is only odd gets the neutral answer.
    EXPECT_EQ(call("GetSfxParam ayu 0 0"), "iay 0 0");
    EXPECT_EQ(call("GetAvailableTuningDevices ii 5 -- -1"), "ay 0");
    EXPECT_EQ(call("GetSelectedTuningDevice i 9"), "s \"\"");
    EXPECT_EQ(call("GetSelectedTuningDevice i 5"), "s \"default_usb\"");
    EXPECT_EQ(daemon->end(SIGTERM), 0);
}

TEST_F(DaemonTest, ConnectionsRegistrationsAndRawParametersAreCounted) {
    start();
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 64; ++i) {
        clients.push_back(client());
        clients.back()->call("RegisterClient", 7);
    }
    EXPECT_THROW(client()->call("RegisterClient", 7), host::CommandError);
    clients.resize(1);
    for (int type = 10; type < 25; ++type) clients[0]->call("RegisterClient", type);
    clients[0]->call("RegisterClient", 10);  // again: no more than a notice
    EXPECT_THROW(clients[0]->call("RegisterClient", 25), host::CommandError);
    for (uint32_t id = 0; id < 1024; ++id) {
        clients[0]->call<int32_t>("SetParam", 2U, id, host::Integers{1});
    }
    EXPECT_THROW(clients[0]->call<int32_t>("SetParam", 2U, 1024U, host::Integers{1}),
                 host::CommandError);
    EXPECT_EQ(clients[0]->call<int32_t>("SetParam", 2U, 1023U, host::Integers{2}), 0);
}

TEST_F(DaemonTest, ConnectionsOfOneUserAreClientsOfTheirOwn) {
    addTuning();
    start();
    const auto first = client();
    auto second = client();
    first->call("RegisterClient", 1);
    second->call("RegisterClient", 1);
    EXPECT_EQ(logged("already existing"), 0U);
    second.reset();
    EXPECT_TRUE(waitFor([&] { return logged("binderDied") == 1; }));
    EXPECT_TRUE(first->call<bool>("HasDecCP"));
    first->call("UnregisterClient", 1);
    EXPECT_FALSE(first->call<bool>("HasDecCP"));
}

TEST_F(DaemonTest, UpdatesGoToRegisteredClientsOnly) {
    addTuning();
    start();
    const auto from = client();
    Process watcher({kVeloractl, "--user", "watch"}, root.path() / "watched");
    Process monitor({"gdbus", "monitor", "--session", "-d", host::kBusName},
                    root.path() / "monitored");
    ASSERT_TRUE(waitFor([&] { return countIn(root.path() / "watched", "clients changed") > 0; }));
    ASSERT_TRUE(waitFor([&] { return countIn(root.path() / "monitored", "is owned by") == 1; }));
    setAmount(*from, 5);
    EXPECT_TRUE(waitFor([&] { return countIn(root.path() / "watched", "asked 5") == 1; }));
    EXPECT_EQ(watcher.end(SIGINT), 0);
    EXPECT_EQ(countIn(root.path() / "monitored", "OnSfxParamUpdate"), 0U);
}

TEST_F(DaemonTest, AWaitForAnUpdateEnds) {
    addTuning();
    start();
    const struct {
        uint64_t patience;  // microseconds
        int signal;
        host::Exit exit;
    } kRows[] = {{500'000, SIGCONT, host::Exit::kFailed},
                 {25'000'000, SIGKILL, host::Exit::kNoService}};
    for (const auto& row : kRows) {
        const auto waiting = client();
        sd_bus_set_method_call_timeout(waiting->bus(), row.patience);
        try {
            waiting->awaitUpdate({9}, [&] { daemon->signal(row.signal); });
            ADD_FAILURE() << "nothing came, but it didn't fail";
        } catch (const host::CommandError& e) {
            EXPECT_EQ(e.exit(), row.exit) << e.what();
        }
    }
    daemon->wait();
}

TEST_F(DaemonTest, SignalsOfOthersAreNotBelieved) {
    addTuning();
    start();
    const std::string watched = root.path() / "watched";
    Process watcher({kVeloractl, "--user", "watch"}, watched);
    ASSERT_TRUE(waitFor([&] { return countIn(watched, "clients changed") > 0; }));
    const std::string log = contentsOf(logFile);
    const size_t end = log.rfind(" is client ");
    const size_t begin = log.rfind(' ', end - 1) + 1;
    EXPECT_EQ(run("gdbus emit --session -d " + log.substr(begin, end - begin) +
                  " -o /vendor/velora_sp/hardware/kmssp/V2_0 -s "
                  "vendor.velora_sp.hardware.kmssp.V2_0.IKms.OnSfxParamUpdate "
                  "0 '[byte 0,0,0,10,1,0,0,0,1,0,0,0]'")
                  .exit,
              0);
    EXPECT_EQ(ctl("profiles select Music").exit, 0);
    EXPECT_TRUE(waitFor([&] { return countIn(watched, "profile Music") == 1; }));
    EXPECT_EQ(countIn(watched, "profile Movie"), 0U);
    EXPECT_EQ(watcher.end(SIGINT), 0);
}

TEST_F(DaemonTest, AClientKilledIsTakenOut) {
    addTuning();
    start();
    const auto other = client();
    const pid_t child = fork();
    if (child == 0) {
        client()->call("RegisterClient", 2);
        raise(SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
    EXPECT_TRUE(waitFor([&] { return logged("binderDied") == 1; }));
    EXPECT_FALSE(other->call<bool>("HasDecDV"));
}

// A flood fills what a client has to read faster than it can answer: only one that doesn't answer
// at all is dropped. Requests are refused while it isn't known.
TEST_F(DaemonTest, AClientThatNeverReadsIsDroppedAndTheOthersAreServed) {
    addTuning();
    start();
    const auto deaf = client();
    const auto other = client();
    const std::string watched = root.path() / "watched";
    Process watcher({kVeloractl, "--user", "watch"}, watched);
    ASSERT_TRUE(waitFor([&] { return countIn(watched, "clients changed") > 0; }));
    deaf->call("RegisterClient", 2);
    const std::string missed = root.path() / "missed";
    Process stopped({kVeloractl, "--user", "watch"}, missed);
    ASSERT_TRUE(waitFor([&] { return countIn(missed, "clients changed") > 0; }));
    stopped.signal(SIGSTOP);
    host::Bytes request = Client::bytesOf({host::wordOf(host::Command{99}), 0, 0});
    request.resize(4096);
    size_t done = 0;
    size_t refused = 0;
    while (logged("doesn't read what it is sent") < 2) {
        try {
            EXPECT_EQ(other->call<int32_t>("SetSfxParam", request), 0);
            ++done;
        } catch (const host::CommandError& error) {
            EXPECT_THAT(error.what(), HasSubstr("clients have yet to read"));
            ++refused;
        }
    }
    EXPECT_GT(done, 50U);
    EXPECT_GT(refused, 0U);
    EXPECT_TRUE(waitFor([&] { return countIn(watched, "unknown command") == done; }));
    EXPECT_EQ(logged("is dropped"), 2U);
    EXPECT_EQ(stopped.end(SIGCONT), 3);  // it learns of that
    EXPECT_EQ(countIn(missed, "dropped this client: it doesn't read"), 1U);
    EXPECT_FALSE(other->call<bool>("HasDecDV"));
    for (int i = 0; i < 2000; ++i) {  // of those who read nobody is dropped
        try {
            other->call<int32_t>("SetSfxParam", request);
        } catch (const host::CommandError&) {
            ++refused;
        }
    }
    EXPECT_EQ(logged("is dropped"), 2U);
    EXPECT_EQ(watcher.end(SIGINT), 0);
    EXPECT_EQ(daemon->end(SIGTERM), 0);
}

// The service waits for a store that another process holds, and the bus doesn't stop for it.
TEST_F(DaemonTest, OfAFloodAsManyRequestsWaitAsThereMay) {
    addTuning();
    start();
    const auto from = client();
    from->call("RegisterClient", 1);
    constexpr int kRequests = 600;
    struct {
        int answered = 0, refused = 0;
    } counts;
    const auto count = [](sd_bus_message* answer, void* data, sd_bus_error*) {
        auto& counted = *static_cast<decltype(counts)*>(data);
        ++counted.answered;
        const int refused = sd_bus_message_is_method_error(answer, SD_BUS_ERROR_LIMITS_EXCEEDED);
        EXPECT_EQ(refused, sd_bus_message_is_method_error(answer, nullptr));
        counted.refused += refused;
        return 0;
    };
    {
        const auto lock = holdStore();
        for (int i = 0; i < kRequests; ++i) {
            ASSERT_GE(
                sd_bus_call_method_async(from->bus(), nullptr, host::kBusName, host::kObjectPath,
                                         host::kInterface, "SetSfxParam", count, &counts, "ay", 12,
                                         0, 0, 0, 10, 0, 0, 0, 0, 1 + i % 2, 0, 0, 0),
                0);
        }
        ASSERT_TRUE(waitFor([&] {
            while (sd_bus_process(from->bus(), nullptr) > 0) continue;
            return counts.answered == kRequests;
        }));
        EXPECT_NO_THROW(from->call("UnregisterClient", 1));  // who leaves is never refused
    }
    EXPECT_GT(counts.refused, kRequests - 80);
    EXPECT_LT(counts.refused, kRequests - 60);
    EXPECT_EQ(daemon->end(SIGTERM), 0);  // having done what it took
}

TEST_F(DaemonTest, WhatCannotBeSavedIsSaidAndTriedAgain) {
    addTuning();
    start({"--save-delay", "50"});
    {
        const auto lock = holdStore();
        const Outcome outcome = ctl("set ieq_amount 5");
        EXPECT_EQ(outcome.exit, 1);
        EXPECT_THAT(outcome.err, HasSubstr("the settings couldn't be saved"));
    }
    EXPECT_TRUE(waitFor([&] { return logged("settings saved") > 0; }));
    EXPECT_EQ(daemon->end(SIGTERM), 0);
    start({"--save-delay", "3600000"});
    EXPECT_EQ(amountOf(*client()), 5);
    setAmount(*client(), 6);
    {
        const auto lock = holdStore();
        EXPECT_EQ(daemon->end(SIGTERM), 1);
    }
}

TEST_F(DaemonTest, SettledChangesSurviveAKill) {
    addTuning();
    start({"--save-delay", "50"});
    setAmount(*client(), 3);
    ASSERT_TRUE(waitFor([&] { return logged("settings saved") > 0; }));
    EXPECT_EQ(daemon->end(SIGKILL), -SIGKILL);
    start();
    EXPECT_EQ(amountOf(*client()), 3);
}

TEST_F(DaemonTest, EndingSavesWhatHasNotSettled) {
    addTuning();
    start({"--save-delay", "3600000"});
    setAmount(*client(), 4);
    EXPECT_EQ(daemon->end(SIGTERM), 0);
    start();
    EXPECT_EQ(amountOf(*client()), 4);
    EXPECT_EQ(daemon->end(SIGINT), 0);
}

TEST_F(DaemonTest, WithoutATuningFileItAnswersNeutrallyUntilOneAppearsAndAClientRegisters) {
    start();
    EXPECT_EQ(call("GetSfxEnabled"), "b false");
    EXPECT_EQ(call("GetProfileName i 0"), "s \"\"");
    EXPECT_EQ(call("GetSfxParam ayu 4 0 0 0 3 4"), "iay -19 4 0 0 0 0");
    EXPECT_EQ(call("SetSfxParam ay 12 0 0 0 12 0 0 0 0 1 0 0 0"), "i -19");
    addTuning();
    EXPECT_EQ(call("GetProfileName i 0"), "s \"\"");
    EXPECT_EQ(call("RegisterClient i 0"), "");
    EXPECT_EQ(call("GetProfileName i 0"), "s \"Dynamic\"");
}

TEST_F(DaemonTest, LeavesWithAnErrorWhenItCantServe) {
    start();
    const struct {
        const char* options;
        int exit;
        const char* message;
    } kRows[] = {
        {"--user", 1, "take the name"},
        {"--address unix:path=/nonexistent", 1, "connect to the bus"},
        {"--user --system", 2, "at most 1"},
        {"--log-level loud", 2, "loud not in"},
        {"--save-delay 1", 2, "--save-delay"},
        {"--what", 2, "--what"},
    };
    for (const auto& row : kRows) {
        const Outcome outcome = run(std::string("velorad ") + row.options);
        EXPECT_EQ(outcome.exit, row.exit) << row.options;
        EXPECT_THAT(outcome.err, HasSubstr(row.message));
    }
    for (const char* const question : {"--version", "--help"}) {
        const Outcome outcome = run(std::string("velorad ") + question);
        EXPECT_EQ(outcome.exit, 0);
        EXPECT_NE(outcome.out, "");
    }
    EXPECT_EQ(run("kill $(busctl --user status org.freedesktop.DBus | sed -n s/^PID=//p)").exit, 0);
    EXPECT_EQ(daemon->wait(), 1);
}

TEST_F(DaemonTest, ToTheJournalEachLineBeginsWithItsPriority) {
    root.write("log", "");
    start({}, {"sh", "-c", "JOURNAL_STREAM=$(stat -c %d:%i \"$0\") exec \"$@\"", logFile});
    std::istringstream lines(contentsOf(logFile));
    for (std::string line; std::getline(lines, line);) {
        EXPECT_THAT(line, MatchesRegex("<[3-7]>[A-Za-z]+: .*"));
    }
    EXPECT_EQ(logged("<6>velorad: version "), 1U);
    EXPECT_GE(logged("<3>SndContextManager: "), 1U);  // there is no tuning file
}

TEST_F(DaemonTest, TellsItsManagerWhenItIsReadyAndThatItLeaves) {
    const int listener = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{AF_UNIX, {}};
    const std::string path = root.path() / "notify";
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    start({}, {"env", "NOTIFY_SOCKET=" + path});
    char text[64]{};
    EXPECT_GT(recv(listener, text, sizeof text - 1, 0), 0);
    EXPECT_STREQ(text, "READY=1");
    EXPECT_EQ(daemon->end(SIGTERM), 0);
    EXPECT_GT(recv(listener, text, sizeof text - 1, 0), 0);
    EXPECT_THAT(text, HasSubstr("STOPPING=1"));
    close(listener);
}

}  // namespace
}  // namespace velora::test
