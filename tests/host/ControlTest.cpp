#include "tests/host/HostFixture.h"

#include <nlohmann/json.hpp>

namespace velora::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::MatchesRegex;

class ControlTest : public HostFixture {
protected:
    ControlTest() {
        addTuning();
        root.write("data/vendor/velora/kiv-extra.xml",
                   contentsOf(sourceFile("data/kiv-extra.xml")));
        start();
    }

    json answerOf(const std::string& arguments) {
        const Outcome outcome = ctl(arguments + " --json");
        EXPECT_EQ(outcome.exit, 0) << arguments << ": " << outcome.err;
        return json::parse(outcome.out, nullptr, false);
    }
};

TEST_F(ControlTest, EverySubcommandAnswersInTextAndInJson) {
    const struct {
        const char* arguments;
        const char* text;     // the first line
        const char* pointer;  // into the JSON answer
        json value;
    } kRows[] = {
        {"status", "ready: yes", "/profile/name", "Dynamic"},
        {"enable off", "enabled: no", "/enabled", false},
        {"enable on", "enabled: yes", "/enabled", true},
        {"profiles list", "number +name +selected +modified", "/4/name", "Mobility"},
        {"profiles select Movie", "number: 1", "/selected", true},
        {"profiles select 0", "number: 0", "/name", "Dynamic"},
        {"profiles show Game", "number: 3", "/parameters/ieq_id", {1}},
        {"params", "number +name +min +max +length +applies", "/9/max", 576},
        {"params", "number +.*", "/3/max", 3},  // ieq_id's: the last preset
        {"params", "number +.*", "/1/applies", "profile, speaker"},
        {"get ieq_amount", "8", "/values", {8}},
        {"get 106 --profile Movie --port 5", "10", "/port", "usb"},
        {"set ieq_amount 12", "12", "/values", {12}},
        {"set 106 3 --port usb --profile 1", "3", "/profile", "Movie"},
        {"set ieq_id warm", "3", "/values", {3}},
        {"set dialog_enhancer_enable off", "0", "/values", {0}},
        {"set geq_gain $(seq -10 9)", "-10 -9 .*", "/values/19", 9},
        {"profiles reset Movie", "number: 1", "/modified", false},
        {"presets", "number +name", "/3/name", "warm"},
        {"devices list", "port +device +selected", "/0/device", "default_internal_speaker"},
        {"devices list --port usb", "port +device +selected", "/0/selected", true},
        {"devices select usb usb_dac", "usb: usb_dac", "/usb", "usb_dac"},
        {"devices show", "internal_speaker: default_internal_speaker", "/usb", "usb_dac"},
        {"devices list --port other", "", "", json::array()},
        {"effect", "device +parameter +values", "/0/device", "internal_speaker"},
        {"reload", "reloaded: yes", "/reloaded", true},
        {"version", "veloractl: .*", "/tuning_format", "3.4.0"},
    };
    for (const auto& row : kRows) {
        const Outcome outcome = ctl(row.arguments);
        EXPECT_EQ(outcome.exit, 0) << row.arguments << ": " << outcome.err;
        EXPECT_EQ(outcome.err, "");
        EXPECT_THAT(outcome.out.substr(0, outcome.out.find('\n')), MatchesRegex(row.text));
        const json answer = answerOf(row.arguments);
        const json::json_pointer pointer(row.pointer);
        ASSERT_TRUE(answer.contains(pointer)) << answer;
        EXPECT_EQ(answer[pointer], row.value) << answer;
    }
    EXPECT_EQ(ctl("devices list --port other").out, "");
    EXPECT_EQ(run("veloractl --json --user status").out, ctl("status --json").out);
}

TEST_F(ControlTest, AChangeReachesTheEffect) {
    const auto amounts = [this] {
        std::vector<json> values;
        for (const json& entry : answerOf("effect --port usb")) {
            if (entry["parameter"] == "iea") values.push_back(entry["values"]);
        }
        return values;
    };
    EXPECT_EQ(amounts(), std::vector<json>{{8}});
    ctl("set ieq_amount 2 --port usb");
    EXPECT_EQ(amounts(), std::vector<json>{{2}});
    client()->call<int32_t>("SetParam", 0x40000000U, 7U, host::Integers{1});  // of all devices
    client()->call<int32_t>("CommitChange");
    EXPECT_THAT(ctl("effect --port usb").out, HasSubstr("\nall "));
}

TEST_F(ControlTest, FailuresHaveAStatusAMessageAndNoAnswer) {
    const struct {
        const char* line;
        int exit;
        const char* message;
    } kRows[] = {
        {"status >/dev/full", 1, "can't write the answer"},
        {"watch >/dev/full", 1, "can't write the notification"},
        {"", 2, "no command ''"},
        {"-1", 2, "no command '-1', nearest: "},
        {"'profiles list'", 2, "two words"},
        {"profles", 2, "nearest: profiles list"},
        {"profiles lst", 2, "nearest: profiles list"},
        {"status now", 2, "unexpected argument 'now'"},
        {"status --bogus", 2, "unexpected argument '--bogus'"},
        {"status enable on", 2, "unexpected argument 'enable'"},
        {"get", 2, "PARAMETER is required"},
        {"get 106 106", 2, "unexpected argument '106'"},
        {"get ieq_amont", 2, "nearest: ieq_amount"},
        {"get 99", 2, "no parameter '99', valid: 100 to 115"},
        {"get virtualizer_enable", 2, "speaker_virtualizer_enable"},
        {"get geq_gain --port usb", 2, "no value of its own per port"},
        {"get 106 --port 7", 2, "no port '7', valid: 0 to 6"},
        {"set 106 17", 2, "takes 0 to 16"},
        {"set 106 1 2", 2, "a length of 1"},
        {"set 106 much", 2, "no number"},
        {"set ieq_enable maybe", 2, "no parameter 'ieq_enable'"},
        {"set 104 maybe", 2, "nearest: "},
        {"set ieq_id wram", 2, "nearest: warm"},
        {"enable maybe", 2, "nearest: "},
        {"profiles select Musi", 2, "nearest: Music"},
        {"profiles reset ''", 2, "empty"},
        {"set ieq_amount 7 --profile ''", 2, "empty"},
        {"set ieq_amount 7 --port ''", 2, "empty"},
        {"devices select usb usb_dca", 2, "nearest: usb_dac"},
        {"devices select usb -1", 2, "nearest: usb_dac"},
        {"devices select usb usb_dac extra", 2, "unexpected argument 'extra'"},
        {"devices list --port ubs", 2, "nearest: usb"},
        {"set virtual_bass_enable on --port usb", 2, "the internal_speaker's only"},
        {"set 112 50 --profile Game", 5, "rendering configuration was restored: the values are 35"},
        {"--address unix:path=/nonexistent status", 2, "at most 1"},
    };
    for (const auto& row : kRows) {
        const Outcome outcome = ctl(row.line);
        EXPECT_EQ(outcome.exit, row.exit) << row.line << ": " << outcome.err;
        EXPECT_THAT(outcome.err, HasSubstr(row.message));
        EXPECT_EQ(outcome.out, "");
    }
    std::filesystem::remove(root.path() / "data/vendor/velora/kiv-extra.xml");
    EXPECT_EQ(ctl("reload").exit, 5);
    EXPECT_EQ(run("veloractl --address unix:path=/nonexistent status").exit, 3);
    daemon->signal(SIGSTOP);
    EXPECT_EQ(run("SYSTEMD_BUS_TIMEOUT=1 veloractl --user status").exit, 1);
    daemon->signal(SIGCONT);
    daemon->end(SIGTERM);
    EXPECT_EQ(ctl("status").exit, 3);
    EXPECT_EQ(ctl("watch").exit, 3);
}

TEST_F(ControlTest, WithoutATuningFileItSaysSo) {
    daemon->end(SIGTERM);
    std::filesystem::remove_all(root.path() / "odm");
    start();
    EXPECT_EQ(ctl("status").out, "ready: no\n");
    EXPECT_EQ(answerOf("version")["tuning_format"], json());
    const Outcome outcome = ctl("profiles list");
    EXPECT_EQ(outcome.exit, 4);
    EXPECT_THAT(outcome.err, HasSubstr("no tuning file"));
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(ctl("watch").exit, 4);
    addTuning();
    EXPECT_EQ(ctl("status").out.substr(0, 11), "ready: yes\n");  // it asked for another look
}

TEST_F(ControlTest, WatchTellsEveryNotificationInWordsUntilInterrupted) {
    const std::string words = root.path() / "words";
    const std::string objects = root.path() / "objects";
    Process inWords({kVeloractl, "--user", "watch"}, words);
    ASSERT_TRUE(waitFor([&] { return countIn(words, "clients changed") > 0; }));
    Process inJson({kVeloractl, "--user", "watch", "--json"}, objects);
    ASSERT_TRUE(waitFor([&] { return countIn(objects, "\n") > 0; }));
    const struct {
        const char* arguments;
        const char* sentence;
        const char* object;
    } kRows[] = {
        {"enable off", "effect switched: enabled no",
         R"({"event":"effect switched","enabled":false})"},
        {"set 106 9", "parameter set: profile Dynamic, parameter ieq_amount, asked 9",
         R"("parameter":"ieq_amount","asked":[9]})"},
        {"set 106 9 --port 5",
         "parameter set: profile Dynamic, port usb, parameter ieq_amount, asked 9",
         R"("profile":"Dynamic","port":"usb")"},
        {"profiles select Music", "profile selected: profile Music", R"("profile":"Music")"},
        {"profiles reset Game", "profile reset: profile Game", R"("profile":"Game")"},
        {"devices select hdmi hdmi_soundbar", "device asked for: device hdmi_soundbar",
         R"({"event":"device asked for","device":"hdmi_soundbar"})"},
        {"reload", "tunings reloaded", R"({"event":"tunings reloaded"})"},
    };
    for (const auto& row : kRows) {
        EXPECT_EQ(ctl(row.arguments).exit, 0) << row.arguments;
        EXPECT_TRUE(waitFor([&] { return countIn(words, row.sentence) == 1; })) << row.sentence;
        EXPECT_TRUE(waitFor([&] { return countIn(objects, row.object) == 1; })) << row.object;
    }
    // A request that is no command reads like a device's name, and may hold anything.
    client()->call<int32_t>("SetSfxParam", host::Bytes{'A', 0x1b, '[', 0x7f, 0xc2, 0x9b});
    EXPECT_TRUE(waitFor([&] { return countIn(words, "A\\x1b[\\x7f\xc2\\x9b\n") == 1; }));
    daemon->signal(SIGSTOP);
    EXPECT_EQ(inWords.end(SIGINT), 0);  // not waiting for an answer for long
    daemon->signal(SIGCONT);
    std::istringstream lines(contentsOf(objects));
    for (std::string line; std::getline(lines, line);) {
        EXPECT_TRUE(json::parse(line).contains("event"));
    }
    daemon->end(SIGKILL);
    EXPECT_EQ(inJson.wait(), 3);  // the service has gone
}

TEST_F(ControlTest, HelpManualAndCompletionKnowEverySubcommand) {
    const std::string manual = contentsOf(sourceFile("data/man/veloractl.1"));
    for (const char* const group : {"", "profiles ", "devices "}) {
        const Outcome help = run(std::string("veloractl ") + group + "--help");
        EXPECT_EQ(help.exit, 0);
        std::istringstream lines(help.out.substr(help.out.find("Subcommands:") + 13));
        for (std::string line, name; std::getline(lines, line);) {
            if (!(std::istringstream(line) >> name)) continue;
            EXPECT_THAT(manual, HasSubstr("\n.B " + (group + name))) << group << name;
        }
    }
}

TEST_F(ControlTest, CompletionOffersWhatFits) {
    daemon->end(SIGTERM);
    ASSERT_EQ(run("sed -i '/<profile/s/\"Music\"/\"Big: $(one) Room\"/' " + root.path().string() +
                  "/odm/etc/velora/*.xml")
                  .exit,
              0);
    start();
    const struct {
        const char* line;
        const char* replies;  // what readline puts in the place of the last word
    } kRows[] = {
        {"veloractl --user prof", "profiles"},
        {"veloractl --user profiles sel", "select"},
        {"veloractl --address $BUS profiles select Mo", "Movie,Mobility"},
        {"veloractl --address=$BUS profiles select Mo", "Movie,Mobility"},
        {"veloractl --user profiles select B", "Big:\\ \\$\\(one\\)\\ Room"},
        {"veloractl --user profiles select \"Big: $(o", "Big: $(one) Room"},
        {"veloractl --user profiles select Big:\\ ", "\\ \\$\\(one\\)\\ Room"},
        {"veloractl --user get 106 --profile Big:\\ \\$\\(one\\)\\ Room --port=o", "other"},
        {"veloractl --user set ieq", "ieq_id,ieq_amount"},
        {"veloractl --user set 103 w", "warm"},
        {"veloractl --user set 104 ", "off,on"},
        {"veloractl --user devices select u", "usb"},
        {"veloractl --user devices select usb usb", "usb_dac"},
        {"veloractl --user get --po", "--port"},
        {"velorad --log-l", "--log-level"},
        {"velorad --log-level w", "warn"},
    };
    for (const auto& row : kRows) {
        const std::string line = root.write("line", row.line);
        const Outcome outcome =
            run("bash -c 'source \"$0\"; COMP_LINE=$(<\"$1\"); "
                "COMP_LINE=${COMP_LINE/\\$BUS/$DBUS_SESSION_BUS_ADDRESS}; "
                "COMP_POINT=${#COMP_LINE}; _velora \"${COMP_LINE%% *}\"; IFS=,; "
                "echo \"${COMPREPLY[*]}\"' " +
                sourceFile("data/bash-completion/veloractl") + " " + line);
        EXPECT_EQ(outcome.out, std::string(row.replies) + "\n") << row.line << outcome.err;
    }
}

}  // namespace
}  // namespace velora::test
