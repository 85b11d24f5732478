#include "tests/context/ContextFixture.h"

#include <csignal>
#include <random>

#include <sys/wait.h>
#include <unistd.h>

namespace velora::test {
namespace {

using testing::Contains;
using Values = ParameterValues::Values;

/// What one process leaves behind is all that the next one knows.
class FreshProcessTest : public ContextFixture {
protected:
    /// Everything that the context says of itself, rows left out.
    static std::string stateOf(SndContext& context) {
        std::ostringstream text;
        const auto add = [&](const ParameterValues* values) {
            text << (values != nullptr ? values->valuesToString() : "none\n");
        };
        text << context.getSfxOn() << context.getSelectedProfile()->getName();
        for (int id = 0; id < context.getNumOfProfiles(); ++id) {
            add(context.getProfile(id));
            add(context.getProfileGeq(id));
            for (const Endpoint endpoint : kEndpoints) {
                const auto* const record = context.getProfileEndpoint(id, endpoint);
                add(record);
                text << record->getSelectedIeqPreset() << context.isProfileModified(id) << '\n';
            }
        }
        for (const Port port : SndContext::kSupportedPorts) {
            text << context.getSelectedTuningDevice(port) << '\n';
            add(context.getSelectedTuning(port));
            for (const auto& device : context.getAvailableTuningDevice(port)) text << device;
        }
        return text.str();
    }

    /// Runs `work` in a process of its own, which ends without any clearing up. Returns what it
    /// gave.
    template <typename Work>
    std::string inProcess(Work work) {
        manager().release();
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            const std::string text = work();
            size_t written = 0;
            while (written < text.size()) {
                const ssize_t n = write(ends[1], &text[written], text.size() - written);
                if (n <= 0) break;
                written += static_cast<size_t>(n);
            }
            _exit(0);
        }
        close(ends[1]);
        std::string text;
        char buffer[4096];
        for (ssize_t n = 0; (n = read(ends[0], buffer, sizeof buffer)) > 0;) {
            text.append(buffer, static_cast<size_t>(n));
        }
        close(ends[0]);
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status));
        return text;
    }
};

TEST_F(FreshProcessTest, ReadsBackTheStateThatTheOneBeforeSaved) {
    const auto headphone = Endpoint::HEADPHONE;
    const std::pair<const char*, std::function<void(SndContext&)>> changes[] = {
        {"switch", [](SndContext& c) { c.setSfxOn(false), c.saveSndState(); }},
        {"profile", [](SndContext& c) { c.setSelectedProfile(2), c.saveSndProfile(); }},
        {"profile parameter",
         [](SndContext& c) {
             c.setProfileParameter(1, CUSTOM_DRC_METADATA, {5, -6, 7});
             EXPECT_TRUE(c.saveSndProfileSettings());
         }},
        {"endpoint parameter",
         [&](SndContext& c) { c.setProfileParameter(1, headphone, PEAK_VALUE, {-9}), c.save(); }},
        {"IEQ preset",
         [&](SndContext& c) { c.setProfileParameter(2, headphone, IEQ_ID, {1}), c.save(); }},
        {"IEQ off",
         [&](SndContext& c) { c.setProfileParameter(3, headphone, IEQ_ID, {0}), c.save(); }},
        {"GEQ",
         [](SndContext& c) { c.setProfileGeqParameter(1, GEQ_GAIN, Values(20, -7)), c.save(); }},
        {"GEQ of another profile",
         [](SndContext& c) { c.setProfileGeqParameter(2, GEQ_GAIN, Values(20, 9)), c.save(); }},
        {"device",
         [](SndContext& c) { c.setSelectedTuning(PORT_USB, "usb_dac", false), c.save(); }},
        {"reset of the GEQ", [](SndContext& c) { c.resetProfileGeq(2); }},
        {"reset of a profile", [](SndContext& c) { c.resetProfile(1); }},
        {"extra file",
         [this](SndContext&) {
             installOem(contentsOf(sourceFile("data/kiv-extra.xml")));
             EXPECT_EQ(manager().loadOemTuning(), 0);
         }},
        {"device of the extra file",
         [](SndContext& c) {
             c.setSelectedTuning(PORT_HEADPHONE, "sport_in_ear", false);
             c.save();
         }},
    };
    std::string before = stateOf(restart());
    for (const auto& [what, change] : changes) {
        SCOPED_TRACE(what);
        const std::string left = inProcess([&, &change = change] {
            SndContext& context = restart();
            change(context);
            return stateOf(context);
        });
        const std::string found = stateOf(restart());
        EXPECT_TRUE(found == left);
        EXPECT_TRUE(found != before);
        before = found;
    }
}

// A new default file and the extra file on top of it come together or not at all.
TEST_F(FreshProcessTest, AKilledRebuildLeavesTheOldStoreOrTheNewOneWithTheExtraFile) {
    const std::string sample = contentsOf(sourceFile("data/multimedia_velora_kiv_default.xml"));
    installOem(contentsOf(sourceFile("data/kiv-extra.xml")));
    const auto start = std::chrono::steady_clock::now();
    restart();
    auto longest = static_cast<unsigned long>((std::chrono::steady_clock::now() - start) * 2 /
                                              std::chrono::microseconds(1));
    manager().release();
    std::minstd_rand dice(7);
    int rebuilt = 0;
    constexpr int kKills = 60;
    for (int kill = 0; kill < kKills; ++kill) {
        const std::string before = Provider().getDefaultXmlSignature();
        install(sample + std::string(static_cast<size_t>(kill + 1), '\n'));
        const pid_t child = fork();
        if (child == 0) {
            manager().init();
            pause();
        }
        usleep(static_cast<useconds_t>(dice() % (longest + 1)));
        ::kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
        Provider provider;
        EXPECT_EQ(provider.init(), 0);
        const bool changed = provider.getDefaultXmlSignature() != before;
        rebuilt += changed ? 1 : 0;
        longest = changed ? longest * 15 / 16 : longest * 9 / 8;  // however fast the machine is
        std::vector<std::string> devices;
        for (const auto* device : provider.loadDeviceTuningsForPort(PORT_BLUETOOTH)) {
            devices.push_back(device->getDevice());
        }
        EXPECT_THAT(devices, Contains("bluetooth_car_kit"));
    }
    EXPECT_GT(rebuilt, kKills / 10);
    EXPECT_LT(rebuilt, kKills);
}

}  // namespace
}  // namespace velora::test
