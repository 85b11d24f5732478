#include "tests/host/HostFixture.h"

namespace velora::test {
namespace {

using testing::HasSubstr;

class ControlTest : public HostFixture {
protected:
    ControlTest() {
        root.write("data/vendor/velora/kiv-extra.xml",
                   contentsOf(sourceFile("data/kiv-extra.xml")));
        start();
    }
};

TEST_F(ControlTest, EveryCommandAnswersAsInTheTranscript) { expectTranscript("veloractl.txt"); }

TEST_F(ControlTest, AServiceThatCantAnswerIsToldByTheStatus) {
    client()->call<int32_t>("SetParam", 0x40000000U, 7U, host::Integers{1});  // of all devices
    client()->call<int32_t>("CommitChange");
    EXPECT_THAT(ctl("effect --port usb").out, HasSubstr("\nall "));
    std::filesystem::remove(file("data/vendor/velora/kiv-extra.xml"));
    EXPECT_EQ(ctl("reload").exit, 5);
    EXPECT_EQ(run("veloractl --address unix:path=/nonexistent status").exit, 3);
    daemon->signal(SIGSTOP);
    EXPECT_EQ(run("SYSTEMD_BUS_TIMEOUT=1 veloractl --user status").exit, 1);
    daemon->signal(SIGCONT);
    daemon->end(SIGTERM);
    EXPECT_EQ(ctl("status").exit, 3);
}

TEST_F(ControlTest, WatchTellsEveryNotificationInWordsUntilInterrupted) {
    const auto inWords = watch("words");
    const auto inJson = watch("objects", "--json");
    const std::pair<const char*, const char*> kRows[] = {
        {"enable off", "effect switched: enabled no"},
        {"set 106 8 --port 5",
         "parameter set: profile Dynamic, port usb, parameter ieq_amount, asked 8"},
        {"profiles select Music", "profile selected: profile Music"},
        {"profiles reset Game", "profile reset: profile Game"},
        {"devices select hdmi hdmi_soundbar", "device asked for: device hdmi_soundbar"},
        {"reload", "tunings reloaded"},
    };
    for (const auto& [arguments, sentence] : kRows) {
        EXPECT_EQ(ctl(arguments).exit, 0) << arguments;
        EXPECT_TRUE(awaitIn("words", sentence)) << sentence;
    }
    EXPECT_TRUE(awaitIn("objects", R"("port":"usb","parameter":"ieq_amount","asked":[8]})"));
    // A request that is no command reads like a device's name, and may hold anything.
    client()->call<int32_t>("SetSfxParam", host::Bytes{'A', 0x1b, '[', 0x7f, 0xc2, 0x9b});
    EXPECT_TRUE(awaitIn("words", "A\\x1b[\\x7f\xc2\\x9b\n"));
    EXPECT_TRUE(awaitIn("objects", "A\\u001b["));
    daemon->signal(SIGSTOP);
    EXPECT_EQ(inWords->end(SIGINT), 0);  // not waiting for an answer for long
    daemon->signal(SIGCONT);
    daemon->end(SIGKILL);
    EXPECT_EQ(inJson->wait(), 3);  // the service has gone
}

TEST_F(ControlTest, CompletionOffersWhatFits) {
    daemon->end(SIGTERM);
    run("sed -i '/<profile/s/\"Music\"/\"Big: $(one) Room\"/' " + file("odm/etc/velora/*.xml"));
    start();
    // What was typed, and what readline puts in the place of its last word.
    const std::pair<const char*, const char*> kRows[] = {
        {"veloractl --user prof", "profiles"},
        {"veloractl --address $BUS profiles select Mo", "Movie,Mobility"},
        {"veloractl --address=$BUS profiles select Mo", "Movie,Mobility"},
        {"veloractl --user profiles select B", "Big:\\ \\$\\(one\\)\\ Room"},
        {"veloractl --user profiles select \"Big: $(o", "Big: $(one) Room"},
        {"veloractl --user profiles select Big:\\ ", "\\ \\$\\(one\\)\\ Room"},
        {"veloractl --user get 106 --profile Big:\\ \\$\\(one\\)\\ Room --port=o", "other"},
        {"veloractl --user set ieq", "ieq_id,ieq_amount"},
        {"veloractl --user set 103 w", "warm"},
        {"veloractl --user devices select usb usb", "usb_dac"},
        {"velorad --log-level w", "warn"},
    };
    for (const auto& [line, replies] : kRows) {
        const std::string typed = root.write("typed", line);
        const Outcome outcome =
            run("bash -c 'source \"$0\"; COMP_LINE=$(<\"$1\"); "
                "COMP_LINE=${COMP_LINE/\\$BUS/$DBUS_SESSION_BUS_ADDRESS}; "
                "COMP_POINT=${#COMP_LINE}; _velora \"${COMP_LINE%% *}\"; IFS=,; "
                "echo \"${COMPREPLY[*]}\"' " +
                sourceFile("data/bash-completion/veloractl") + " " + typed);
        EXPECT_EQ(outcome.out, std::string(replies) + "\n") << line << outcome.err;
    }
}

}  // namespace
}  // namespace velora::test
