#include "tests/host/HostFixture.h"

namespace velora::test {
namespace {

using testing::HasSubstr;

class ControlTest : public HostFixture {
protected:
    /// Changes the tuning file by a sed script and starts the daemon again.
    void editTuning(const std::string& script) {
        run("sed -i '" + script + "' " + file("odm/etc/velora/*.xml"));
        start();
    }
};

TEST_F(ControlTest, EveryCommandAnswersAsInTheTranscript) { expectTranscript("veloractl.txt"); }

TEST_F(ControlTest, OnlyTheFirst16ProfilesAreReadPerPort) {
    editTuning("s/<profile id=\"4\"/<profile id=\"16\"/");
    EXPECT_EQ(ctl("get ieq_amount --profile Mobility").exit, 0);
    for (const char* command : {"get ieq_amount", "set ieq_amount 3"}) {
        EXPECT_THAT(ctl(std::string(command) + " --profile Mobility --port usb").err,
                    HasSubstr("only profiles 0 to 15"));
    }
}

TEST_F(ControlTest, WatchPrintsEveryNotificationUntilItIsInterrupted) {
    const auto asText = watch("text");
    const auto asJson = watch("json", "--json");
    struct Row {
        const char* command;
        const char* printed;
    };
    const Row kRows[] = {
        {.command = "enable off", .printed = "effect switched: enabled no"},
        {.command = "set 106 8 --port 5",
         .printed = "parameter set: profile Dynamic, port usb, parameter ieq_amount, asked 8"},
        {.command = "profiles select Music", .printed = "profile selected: profile Music"},
        {.command = "profiles reset Game", .printed = "profile reset: profile Game"},
        {.command = "devices select hdmi hdmi_soundbar",
         .printed = "device asked for: device hdmi_soundbar"},
        {.command = "reload", .printed = "tunings reloaded"},
    };
    for (const Row& row : kRows) {
        EXPECT_EQ(ctl(row.command).exit, 0) << row.command;
        EXPECT_TRUE(awaitIn("text", row.printed)) << row.printed;
    }
    EXPECT_TRUE(awaitIn("json", R"("port":"usb","parameter":"ieq_amount","asked":[8]})"));
    // A request that isn't a command is shown as the name of a device, and may contain any bytes.
    connect()->call<int32_t>("SetSfxParam", host::Bytes{'A', 0x1b, '[', 0x7f, 0xc2, 0x9b});
    EXPECT_TRUE(awaitIn("text", "A\\x1b[\\x7f\xc2\\x9b\n"));
    EXPECT_TRUE(awaitIn("json", "A\\u001b["));
    daemon->signal(SIGSTOP);
    EXPECT_EQ(asText->end(SIGINT), 0);  // although the stopped daemon doesn't answer
    daemon->signal(SIGCONT);
    daemon->end(SIGKILL);
    EXPECT_EQ(asJson->wait(), 3);
}

TEST_F(ControlTest, CompletionOffersMatchingWords) {
    editTuning("/<profile/s/\"Music\"/\"Big: $(one) Room\"/");
    expectTranscript("completion.txt");
}

}  // namespace
}  // namespace velora::test
