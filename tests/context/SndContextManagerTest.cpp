#include "tests/context/ContextFixture.h"

#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

namespace velora::test {
namespace {

using Values = ParameterValues::Values;

class SndContextManagerTest : public ContextFixture {
protected:
    const std::string noExtra = "<r>\n<format_version major='3' minor='4' maintenance='0'/></r>";

    /// Everything that the context says of itself, rows left out.
    static std::string stateOf(SndContext& context) {
        std::ostringstream text;
        text << context.getSfxOn() << context.getSelectedProfile()->getName();
        for (int id = 0; id < context.getNumOfProfiles(); ++id) {
            text << context.isProfileModified(id) << context.getProfile(id)->valuesToString()
                 << context.getProfileGeq(id)->valuesToString();
            for (const Endpoint endpoint : kEndpoints) {
                const auto* const record = context.getProfileEndpoint(id, endpoint);
                text << record->getSelectedIeqPreset() << record->valuesToString();
            }
        }
        for (const Port port : SndContext::kSupportedPorts) {
            text << context.getSelectedTuningDevice(port)
                 << context.getSelectedTuning(port)->valuesToString();
        }
        return text.str();
    }

    /// Changes something of every kind, saves and leaves it. Returns the state.
    std::string changeEverything() {
        SndContext& context = restart();
        context.setSfxOn(false);
        context.setSelectedProfile(2);
        context.setProfileParameter(1, HEADPHONE_VIRTUALIZER_MODE, {3});
        context.setProfileParameter(1, Endpoint::OTHER, VOLMAX_BOOST, {42});
        context.setProfileParameter(1, Endpoint::SPEAKER, IEQ_ID, {3});
        context.setProfileGeqParameter(4, GEQ_GAIN, Values(20, -7));
        context.setSelectedTuning(PORT_USB, "usb_dac", false);
        EXPECT_TRUE(context.save());
        std::string state = stateOf(context);
        manager().release();
        return state;
    }

    const std::string store = dir.path() / "data/vendor/velora/kiv_sqlite3.db";
};

TEST_F(SndContextManagerTest, AColdStartTakesTheStateOfTheFile) {
    install("<broken");
    manager().init();
    EXPECT_EQ(manager().getSndContext(), nullptr);
    install(sample);
    SndContext& context = restart();
    EXPECT_TRUE(context.getSfxOn() && context.isSelected(0) && !context.isProfileModified(4));
}

TEST_F(SndContextManagerTest, WhatIsSavedOrResetIsReadBack) {
    const std::string changed = changeEverything();
    SndContext& context = restart();
    EXPECT_EQ(stateOf(context), changed);
    context.resetProfileGeq(4);
    context.resetProfile(1);
    EXPECT_FALSE(context.isProfileModified(4) || context.isProfileModified(1));
    const std::string reset = stateOf(context);
    EXPECT_EQ(stateOf(restart()), reset);
}

TEST_F(SndContextManagerTest, AChangedFileOrLayoutPutsEverythingBack) {
    const std::string factory = stateOf(restart());
    EXPECT_NE(changeEverything(), factory);
    install(sample + "\n");
    EXPECT_EQ(stateOf(restart()), factory);
    for (const char* harm : {"UPDATE configuration SET value='2' WHERE key='database_version'",
                             "DROP TABLE geq_presets", "ALTER TABLE tunings ADD COLUMN more TEXT",
                             "DELETE FROM profiles", "DROP TABLE configuration"}) {
        SCOPED_TRACE(harm);
        changeEverything();
        EXPECT_EQ(DatabaseHelper("kiv_sqlite3.db").execSQL(harm), 0);
        EXPECT_EQ(stateOf(restart()), factory);
    }
}

TEST_F(SndContextManagerTest, ADamagedDatabaseIsBuiltAnewFromTheFile) {
    constexpr size_t kPage = 4096;
    const std::string factory = stateOf(restart());
    changeEverything();
    const std::string intact = contentsOf(store);
    size_t rebuilt = 0;
    for (size_t page = 0; page < intact.size(); page += kPage) {
        SCOPED_TRACE(page / kPage);
        std::string damaged = intact;
        damaged.replace(page, kPage, std::string(kPage, '\xa5'));
        std::filesystem::remove(store + ".damaged");
        dir.write("data/vendor/velora/kiv_sqlite3.db", damaged);
        const std::string state = stateOf(restart());
        if (!std::filesystem::exists(store + ".damaged")) continue;
        ++rebuilt;
        EXPECT_EQ(state, factory);
        EXPECT_EQ(contentsOf(store + ".damaged"), damaged);
    }
    EXPECT_GT(rebuilt, 3U);
}

// The file may be in use, or the disk slow to come: what can't be read now is not lost.
TEST_F(SndContextManagerTest, SettingsThatCannotBeReadAreLeftAloneUntilTheyCan) {
    const std::string changed = changeEverything();
    {
        DatabaseHelper other("kiv_sqlite3.db");
        other.beginTransaction();
        manager().init();
        EXPECT_EQ(manager().getSndContext(), nullptr);
    }
    manager().init();
    EXPECT_EQ(stateOf(*manager().getSndContext()), changed);
}

TEST_F(SndContextManagerTest, AFileThatCannotBeUsedReplacesNothing) {
    const std::string changed = changeEverything();
    const auto unstorable =
        replaced(contentsOf(sourceFile("data/minimal.xml")), "\"Dynamic\"", "\"Bob's\"");
    const auto noProfiles = contentsOf(sourceFile("tests/data/bad/profile-missing.xml"));
    for (const std::string& bad : {sample.substr(0, 5000), std::string(), noProfiles, unstorable}) {
        install(bad);
        EXPECT_EQ(stateOf(restart()), changed);
    }
    installOem(extra);
    EXPECT_NE(manager().loadOemTuning(), 0) << "the store has another default file";
    install(sample);
    EXPECT_EQ(manager().loadOemTuning(), 0);

    // Nor does one make a store of tables that are another's.
    manager().release();
    std::filesystem::remove(store);
    const char* const foreign = "CREATE TABLE geq_presets AS SELECT 1 AS a";
    EXPECT_EQ(DatabaseHelper("kiv_sqlite3.db").execSQL(foreign), 0);
    install("<a");
    manager().init();
    EXPECT_EQ(manager().getSndContext(), nullptr);
}

TEST_F(SndContextManagerTest, TheExtraFileAddsAndTheDefaultsWin) {
    installOem(extra);
    SndContext& context = restart();
    EXPECT_THAT(context.getAvailableTuningDevice(PORT_HEADPHONE),
                testing::ElementsAre("default_headphone", "studio_headphone", "sport_in_ear"));

    RecordingObserver observer;
    EXPECT_TRUE(context.setSelectedTuning(PORT_HEADPHONE, "sport_in_ear", false));
    context.registerObserver(&observer);
    observer.take();
    const auto merge = [&](const std::string& xml) {
        installOem(xml);
        return manager().loadOemTuning();
    };
    Tuning* const tuning = context.getSelectedTuning(PORT_HEADPHONE);
    EXPECT_EQ(merge(replaced(extra, "orientation=\"landscape\"", "orientation=\"9\"")), 0);
    EXPECT_EQ(observer.take().size(), 6U) << "every port";
    EXPECT_EQ(context.getSelectedTuning(PORT_HEADPHONE), tuning);
    EXPECT_EQ(tuning->get(ORIENTATION), Values{9});
    EXPECT_NE(merge(replaced(extra, "minor=\"4\"", "minor=\"3\"")), 0);
    EXPECT_NE(merge("<broken"), 0);
    EXPECT_EQ(observer.take().size(), 0U);
    EXPECT_EQ(merge(noExtra), 0);
    EXPECT_EQ(context.getSelectedTuningDevice(PORT_HEADPHONE), "default_headphone");
    context.unregisterObserver(&observer);
}

TEST_F(SndContextManagerTest, WhatIsStoredButGoneGivesWayToTheFirst) {
    installOem(extra);
    SndContext& context = restart();
    EXPECT_TRUE(context.setSelectedTuning(PORT_HEADPHONE, "sport_in_ear", false));
    EXPECT_TRUE(context.save());
    installOem(noExtra);
    EXPECT_EQ(manager().loadOemTuning(), 0);  // and nobody saves
    manager().release();
    DatabaseHelper("kiv_sqlite3.db").updateSelectedProfile("Profile", "5");
    DatabaseHelper("kiv_sqlite3.db").execSQL("DELETE FROM tunings WHERE name='headphone_studio'");
    SndContext& again = restart();
    EXPECT_FALSE(again.setSelectedTuning(PORT_HEADPHONE, "studio_headphone", false));
    EXPECT_EQ(again.getSelectedTuningDevice(PORT_HEADPHONE), "default_headphone");
    EXPECT_TRUE(again.isSelected(0));

    for (const char* name : {"my_usb", "usb"}) {  // the first that there is, the port's own
        install(replaced(sample, "default_usb", name));
        EXPECT_EQ(restart().getSelectedTuningDevice(PORT_USB), name);
    }
}

// A new default file and the extra file on top of it come together or not at all.
TEST_F(SndContextManagerTest, AKilledRebuildLeavesTheOldStoreOrTheNewOneWithTheExtraFile) {
    installOem(extra);
    restart();
    manager().release();
    useconds_t longest = 50'000;  // follows the machine, so that about half of them get done
    int rebuilt = 0;
    for (int kill = 0; kill < 60; ++kill) {
        const std::string before = Provider().getDefaultXmlSignature();
        install(sample + std::string(static_cast<size_t>(kill + 1), '\n'));
        const pid_t child = fork();
        if (child == 0) {
            manager().init();
            pause();
        }
        usleep(longest / 10 * static_cast<useconds_t>(kill % 10));
        ::kill(child, SIGKILL);
        ASSERT_EQ(waitpid(child, nullptr, 0), child);
        Provider provider;
        EXPECT_EQ(provider.init(), 0);
        const bool changed = provider.getDefaultXmlSignature() != before;
        rebuilt += changed ? 1 : 0;
        longest = changed ? longest * 15 / 16 : longest * 9 / 8;
        EXPECT_EQ(provider.loadDeviceTuningsForPort(PORT_BLUETOOTH).size(), 4U) << "one is extra";
    }
    EXPECT_GT(rebuilt, 6);
    EXPECT_LT(rebuilt, 60);
}

}  // namespace
}  // namespace velora::test
