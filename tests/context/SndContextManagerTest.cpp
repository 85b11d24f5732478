#include "tests/context/ContextFixture.h"
#include "tests/faults/Disk.h"
#include "tests/support/Records.h"

#include <csignal>

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Values = ParameterValues::Values;

class SndContextManagerTest : public ContextFixture {
protected:
    /// Everything that can be read from the context, except row ids.
    static std::string stateOf(const SndContext& context) {
        std::ostringstream text;
        text << context.getSfxOn() << context.getSelectedProfile()->getName();
        for (int id = 0; id < context.getNumOfProfiles(); ++id) {
            text << context.isProfileModified(id);
        }
        for (const Port port : SndContext::kSupportedPorts) {
            text << context.getSelectedTuningDevice(port);
        }
        visitRecords(context, [&](const auto& record) { text << record.valuesToString(); });
        return text.str();
    }

    /// Changes settings of every kind, saves them and releases the context. Returns its state.
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
        EXPECT_FALSE(context.getProfile(1)->isDirty());
        std::string state = stateOf(context);
        manager().release();
        return state;
    }

    int merge(const std::string& xml) {
        installOem(xml);
        return manager().loadOemTuning();
    }

    void writeStore(const std::string& contents) {
        dir.write("data/vendor/velora/kiv_sqlite3.db", contents);
    }

    Disk& disk = useFreshDisk(dir.path());
    /// An extra file of the right version that contains nothing.
    const std::string noExtra = "<r>\n<format_version major='3' minor='4' maintenance='0'/></r>";
};

TEST_F(SndContextManagerTest, SavedAndResetSettingsAreReadBack) {
    const std::string changed = changeEverything();
    SndContext& context = restart();
    EXPECT_EQ(stateOf(context), changed);
    context.resetProfileGeq(4);
    EXPECT_FALSE(context.isProfileModified(4));
    context.resetProfile(1);
    EXPECT_FALSE(context.isProfileModified(1));
    const std::string reset = stateOf(context);
    EXPECT_EQ(stateOf(restart()), reset);
}

TEST_F(SndContextManagerTest, ANewTuningFileOrVersionOrADamagedFileRestoresTheFactorySettings) {
    const std::string factory = stateOf(restart());
    EXPECT_NE(changeEverything(), factory);
    install(sample + "\n");
    EXPECT_EQ(stateOf(restart()), factory);
    changeEverything();
    changeStore("UPDATE configuration SET value='2' WHERE key='database_version'");
    EXPECT_EQ(stateOf(restart()), factory);
    changeEverything();
    const std::string damaged = std::string(4096, '\xa5') + contentsOf(database).substr(4096);
    writeStore(damaged);
    EXPECT_EQ(stateOf(restart()), factory);
    EXPECT_EQ(contentsOf(database + ".damaged-1"), damaged);
}

TEST_F(SndContextManagerTest, AStoreWithOtherTablesIsRebuiltWithItsSettings) {
    for (const char* sql : {"DROP TABLE ieq_presets", "ALTER TABLE tunings ADD COLUMN more TEXT",
                            "ALTER TABLE profiles RENAME COLUMN volume_modeler_enable TO other",
                            "DELETE FROM profiles WHERE custom_name='default'"}) {
        SCOPED_TRACE(sql);
        const std::string changed = changeEverything();
        changeStore(sql);
        EXPECT_EQ(stateOf(restart()), changed);
        EXPECT_EQ(DatabaseHelper("kiv_sqlite3.db").hasLayout(), true);
    }
    changeStore("DROP TABLE ieq_presets");
    install(sample + "\n");
    const SndContext& context = restart();
    EXPECT_TRUE(context.getSfxOn()) << "another tuning file has its own settings";
    EXPECT_TRUE(context.isSelected(0));
    manager().release();
    std::filesystem::remove(database);
    EXPECT_TRUE(restart().getSfxOn()) << "a new store doesn't get what was carried over before";
}

TEST_F(SndContextManagerTest, OnlyADamagedRowGetsItsFactoryValuesOnceThereIsATuningFile) {
    changeEverything();
    const std::string damaged = replaced(contentsOf(database), "-7,-7,-7", "-7,-9,-7");
    writeStore(damaged);
    install("no tuning file");
    manager().init();
    EXPECT_EQ(manager().getSndContext(), nullptr);
    EXPECT_EQ(contentsOf(database), damaged);

    install(sample);
    log.clear();
    const SndContext& context = restart();
    EXPECT_EQ(log.count("E DatabaseHelper: a row of geq_presets is damaged: custom, 4, ..."), 3U)
        << "when it is found, when it is read again, and when it is left out";
    EXPECT_FALSE(context.isProfileGeqModified(4));
    EXPECT_FALSE(context.getSfxOn());
    EXPECT_EQ(context.getSelectedProfile()->getProfileId(), 2);
    EXPECT_EQ(context.getProfileParameter(1, Endpoint::OTHER, VOLMAX_BOOST), Values{42});
}

TEST_F(SndContextManagerTest, RowsThatWereNumberedAnewAreNotDamaged) {
    const std::string changed = changeEverything();
    changeStore("UPDATE profiles SET name='edited' WHERE profile_id='0' AND custom_name='custom'");
    changeStore("VACUUM");
    EXPECT_EQ(stateOf(restart()), changed);
    manager().getSndContext()->setProfileGeqParameter(3, GEQ_GAIN, Values(20, 5));
    EXPECT_TRUE(manager().getSndContext()->save());
    EXPECT_EQ(restart().getProfileGeqParameter(3, GEQ_GAIN), Values(20, 5));

    // Before the service starts, and while it runs, after a row has left a gap.
    for (const bool isRestarted : {true, false}) {
        SndContext& running = *manager().getSndContext();
        running.setProfileGeqParameter(3, GEQ_GAIN, Values(20, isRestarted ? 7 : 8));
        EXPECT_TRUE(running.save());
        changeStore("VACUUM");
        SndContext& context = isRestarted ? restart() : running;
        context.setProfileGeqParameter(isRestarted ? 1 : 4, GEQ_GAIN, Values(20, 6));
        EXPECT_TRUE(context.save());
        const std::string saved = stateOf(context);
        EXPECT_EQ(stateOf(restart()), saved);
    }
}

// Settings that can't be read must not be treated as missing.
TEST_F(SndContextManagerTest, SettingsThatCannotBeReadRemainUnchanged) {
    const std::string changed = changeEverything();
    const std::string signature = Provider().getDefaultXmlSignature();
    LogCapture::onMessage("getSignature(): XML file md5sum " + signature, [&] {
        changeStore("PRAGMA user_version=1");  // so that all is read again
        disk.failNext(DiskCall::PREAD);
        disk.error = ENOMEM;  // SQLite reports an EIO as damage
    });
    manager().init();
    EXPECT_EQ(disk.failures, 1U);
    EXPECT_EQ(stateOf(*manager().getSndContext()), changed);
}

TEST_F(SndContextManagerTest, APartlyReadContextIsNotUsed) {
    changeEverything();
    LogCapture::onMessage("Stored database version[1], expected database version[1]",
                          [&] { changeStore("DROP TABLE geq_presets"); });
    manager().init();
    EXPECT_EQ(manager().getSndContext(), nullptr);
}

TEST_F(SndContextManagerTest, AFileThatCannotBeUsedOrChangesWhileItIsReadReplacesNothing) {
    const std::string changed = changeEverything();
    const auto unstorable =
        replaced(contentsOf(sourceFile("data/minimal.xml")), "\"Dynamic\"", "\"Bob's\"");
    for (const std::string& bad : {sample.substr(0, 5000), std::string(), unstorable}) {
        install(bad);
        EXPECT_EQ(stateOf(restart()), changed);
    }
    install("<device_data/>");
    EXPECT_EQ(stateOf(restart()), changed);
    EXPECT_EQ(log.count("E SndContextManager: The tuning file has no profile, it is not used"), 1U);
    install(sample + "\n");
    LogCapture::onMessage("Tuning XML file has been updated", [&] { install(sample); });
    EXPECT_EQ(stateOf(restart()), changed);
}

TEST_F(SndContextManagerTest, TheExtraFileAddsDevicesAndTheStoredDefaultsWin) {
    const SndContext& context = restart();
    uninstall();
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(merge(extra), 0);
        EXPECT_THAT(context.getAvailableTuningDevice(PORT_HEADPHONE),
                    ElementsAre("default_headphone", "studio_headphone", "sport_in_ear"));
        EXPECT_THAT(context.getAvailableTuningDevice(PORT_USB),
                    ElementsAre("default_usb", "usb_dac"));
        EXPECT_EQ(merge(noExtra), 0);
        EXPECT_THAT(context.getAvailableTuningDevice(PORT_HEADPHONE),
                    ElementsAre("default_headphone", "studio_headphone"));
        EXPECT_EQ(DatabaseHelper("kiv_sqlite3.db").getRowCount(TableType::TUNINGS), 11);
    }
}

TEST_F(SndContextManagerTest, AReloadRefreshesTheSelectedTuningsAndARemovedOneRemainsValid) {
    installOem(extra);
    SndContext& context = restart();
    EXPECT_TRUE(context.setSelectedTuning(PORT_HEADPHONE, "sport_in_ear", false));
    Tuning* const tuning = context.getSelectedTuning(PORT_HEADPHONE);
    RecordingObserver observer;
    context.registerObserver(&observer);
    observer.drain();

    EXPECT_EQ(merge(replaced(extra, "orientation=\"landscape\"", "orientation=\"9\"")), 0);
    EXPECT_THAT(observer.drain(), SizeIs(6)) << "one for each port";
    EXPECT_EQ(context.getSelectedTuning(PORT_HEADPHONE), tuning);
    EXPECT_EQ(tuning->get(ORIENTATION), Values{9});

    EXPECT_NE(merge(replaced(extra, "minor=\"4\"", "minor=\"3\"")), 0);
    EXPECT_NE(merge("<broken"), 0);
    EXPECT_THAT(observer.drain(), IsEmpty());

    EXPECT_EQ(merge(noExtra), 0);
    EXPECT_EQ(context.getSelectedTuningDevice(PORT_HEADPHONE), "default_headphone");
    EXPECT_EQ(tuning->get(ORIENTATION), Values{9});
}

TEST_F(SndContextManagerTest, AnUnchangedExtraFileIsNotifiedButNeitherParsedNorStoredAgain) {
    installOem(extra);
    SndContext& context = restart();
    context.setSfxOn(false);
    EXPECT_TRUE(context.save()) << "so that what a start writes later is written";
    RecordingObserver observer;
    context.registerObserver(&observer);
    observer.drain();
    for (const bool isChanged : {false, true}) {
        log.clear();
        const uint64_t writes = disk.writes();
        EXPECT_EQ(merge(isChanged ? extra + "\n" : extra), 0);
        EXPECT_EQ(log.count("D SndContextManager: Try to load OEM ..."), isChanged ? 1U : 0U);
        EXPECT_EQ(disk.writes() > writes, isChanged);
        EXPECT_THAT(observer.drain(), SizeIs(6)) << "one for each port";
    }
}

TEST_F(SndContextManagerTest, AReloadThatCannotReadTheStoreFails) {
    restart();
    LogCapture::onMessage("Tell database to reload cached device tuning mappings.",
                          [] { changeStore("DROP TABLE device_tunings"); });
    EXPECT_NE(merge(extra), 0);
}

TEST_F(SndContextManagerTest, AStoredSelectionThatDoesNotExistIsReplaced) {
    changeEverything();
    changeStore("UPDATE configuration SET value='5' WHERE key='Profile'");
    changeStore("UPDATE configuration SET value='no_such' WHERE key='headphone'");
    changeStore("DELETE FROM tunings WHERE name='headphone_studio'");
    SndContext& context = restart();
    EXPECT_TRUE(context.isSelected(0));
    EXPECT_EQ(context.getSelectedTuningDevice(PORT_HEADPHONE), "default_headphone");
    EXPECT_FALSE(context.setSelectedTuning(PORT_HEADPHONE, "studio_headphone", false));
}

TEST_F(SndContextManagerTest, TheDefaultDeviceIsChosenByName) {
    const struct {
        const char *first, *second, *chosen;
    } cases[] = {
        {.first = "default_other", .second = "default_usb", .chosen = "default_usb"},
        {.first = "my_usb", .second = "default_other", .chosen = "default_other"},
        {.first = "my_usb", .second = "usb", .chosen = "usb"},
        {.first = "my_usb", .second = "your_usb", .chosen = "my_usb"},
    };
    for (const auto& [first, second, chosen] : cases) {
        install(replaced(replaced(sample, "default_usb", first), "usb_dac", second));
        EXPECT_EQ(restart().getSelectedTuningDevice(PORT_USB), chosen);
    }
}

// With the new signature stored, nobody would merge the extra file at the next start.
TEST_F(SndContextManagerTest, ACrashNeverLeavesTheNewFileWithoutTheExtraFile) {
    installOem(extra);
    changeEverything();
    const std::string before = Provider().getDefaultXmlSignature();
    install(sample + "\n");
    for (const char* text : {"Tuning XML file has been updated", "Num of parsed OEM tuning = 3",
                             "Load OEM tuning XML after default tuning XML is reloaded"}) {
        LogCapture::onMessage(text, [] { raise(SIGKILL); });
        EXPECT_EXIT(manager().init(), testing::KilledBySignal(SIGKILL), "");
        EXPECT_EQ(Provider().getDefaultXmlSignature(), before);
    }
}
}  // namespace
}  // namespace velora::test
