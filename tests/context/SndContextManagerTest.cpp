#include "context/SndContextManager.h"
#include "tests/context/ContextFixture.h"

namespace velora::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using Values = ParameterValues::Values;

class SndContextManagerTest : public ContextFixture {
protected:
    const std::string sample = contentsOf(sourceFile("data/multimedia_velora_kiv_default.xml"));
    const std::string extra = contentsOf(sourceFile("data/kiv-extra.xml"));

    static std::string replaced(std::string text, std::string_view from, std::string_view to) {
        for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
            text.replace(at, from.size(), to);
        }
        return text;
    }

    /// Changes something of every kind, saved.
    static void changeEverything(SndContext& context) {
        context.setSfxOn(false);
        context.setSelectedProfile(2);
        context.setProfileParameter(1, HEADPHONE_VIRTUALIZER_MODE, {3});
        context.setProfileParameter(1, Endpoint::OTHER, VOLMAX_BOOST, {42});
        context.setProfileParameter(1, Endpoint::SPEAKER, IEQ_ID, {3});
        context.setProfileGeqParameter(4, GEQ_GAIN, Values(20, -7));
        context.setSelectedTuning(PORT_USB, "usb_dac", false);
        EXPECT_TRUE(context.save());
    }
    static void expectChanged(SndContext& context, bool changed) {
        EXPECT_EQ(context.getSfxOn(), !changed);
        EXPECT_EQ(context.getSelectedProfile()->getProfileId(), changed ? 2 : 0);
        for (const int profile : {1, 4}) EXPECT_EQ(context.isProfileModified(profile), changed);
        EXPECT_EQ(context.getProfileParameter(1, Endpoint::OTHER, VOLMAX_BOOST) == Values{42},
                  changed);
        EXPECT_EQ(context.getProfileGeqParameter(4, GEQ_GAIN) == Values(20, -7), changed);
        EXPECT_EQ(context.getProfileEndpoint(1, Endpoint::SPEAKER)->getSelectedIeqPreset() == 3,
                  changed);
        EXPECT_EQ(context.getSelectedTuningDevice(PORT_USB), changed ? "usb_dac" : "default_usb");
    }
};

TEST_F(SndContextManagerTest, AColdStartTakesTheStateOfTheFile) {
    LogCapture::clear();
    SndContext& context = restart();
    EXPECT_EQ(log.count("E ..."), 0U);
    expectChanged(context, false);
    EXPECT_EQ(context.getNumOfProfiles(), 5);
    EXPECT_EQ(context.getNumOfIeqPresets(), 4);
    EXPECT_EQ(manager().getDefaultXmlFormatVersion(), "3.4.0");
    EXPECT_EQ(manager().getZenithGameSystemGain(), -24);
    for (const Port port : SndContext::kSupportedPorts) {
        EXPECT_NE(context.getSelectedTuning(port), nullptr) << port;
    }
    EXPECT_EQ(SndContextManager::getSignature(dir.write("abc", "abc")),
              "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(SndContextManager::getSignature(dir.write("nothing", "")),
              "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(SndContextManager::getSignature(dir.path() / "missing"), "");
}

TEST_F(SndContextManagerTest, AnUnchangedFileKeepsWhatTheUserSaved) {
    changeEverything(restart());
    expectChanged(restart(), true);
    SndContext& context = restart();
    context.resetProfile(1);  // saved by itself
    context.setSelectedProfile(3);
    context.saveSndProfile();
    context.setSfxOn(true);
    context.saveSndState();
    SndContext& again = restart();
    EXPECT_FALSE(again.isProfileModified(1));
    EXPECT_TRUE(again.isProfileModified(4));
    EXPECT_TRUE(again.isSelected(3));
    EXPECT_TRUE(again.getSfxOn());
}

TEST_F(SndContextManagerTest, AChangedByteOrLayoutPutsEverythingBack) {
    changeEverything(restart());
    install(sample + "\n");
    expectChanged(restart(), false);
    changeEverything(restart());
    {
        manager().release();
        DatabaseHelper database("kiv_sqlite3.db");
        EXPECT_EQ(
            database.execSQL("UPDATE configuration SET value='2' WHERE key='database_version'"), 0);
    }
    expectChanged(restart(), false);
    for (const char* harm : {"DROP TABLE geq_presets", "ALTER TABLE tunings ADD COLUMN more TEXT",
                             "DELETE FROM profiles", "DROP TABLE configuration"}) {
        SCOPED_TRACE(harm);
        changeEverything(restart());
        manager().release();
        EXPECT_EQ(DatabaseHelper("kiv_sqlite3.db").execSQL(harm), 0);
        expectChanged(restart(), false);
    }
}

// The file may be in use, or the disk slow to come: what can't be read now is not lost.
TEST_F(SndContextManagerTest, SettingsThatCannotBeReadAreLeftAloneUntilTheyCan) {
    changeEverything(restart());
    manager().release();
    {
        DatabaseHelper other("kiv_sqlite3.db");
        other.beginTransaction();
        manager().init();
        EXPECT_EQ(manager().getSndContext(), nullptr);
        EXPECT_EQ(
            log.count(
                "E SndContextManager: The stored settings couldn't be read, they stay as they are"),
            1U);
    }
    manager().init();
    ASSERT_NE(manager().getSndContext(), nullptr);
    expectChanged(*manager().getSndContext(), true);
}

TEST_F(SndContextManagerTest, AFileThatCannotBeUsedReplacesNothing) {
    changeEverything(restart());
    for (const char* bad : {"truncated", "profile-missing", "empty"}) {
        install(contentsOf(sourceFile("tests/data/bad/" + std::string(bad) + ".xml")));
        expectChanged(restart(), true);
    }
    EXPECT_EQ(log.count("E SndContextManager: XML parses error!!"), 2U);
}

TEST_F(SndContextManagerTest, WithoutAFileThereIsNoContextUntilItAppears) {
    const auto file = dir.path() / "odm/etc/velora/multimedia_velora_kiv_default.xml";
    std::filesystem::remove(file);
    LogCapture::clear();
    manager().init();
    EXPECT_EQ(manager().getSndContext(), nullptr);
    EXPECT_EQ(log.count("E SndContextManager: Default XML Tuning file doesn't exist!!"), 1U);
    EXPECT_EQ(manager().loadOemTuning(), -19);
    EXPECT_EQ(manager().getDefaultXmlFormatVersion(), "");
    install("<broken");
    manager().init();
    EXPECT_EQ(manager().getSndContext(), nullptr);
    install(sample);
    manager().init();
    SndContext* const context = manager().getSndContext();
    ASSERT_NE(context, nullptr);
    manager().init();
    EXPECT_EQ(manager().getSndContext(), context);
}

TEST_F(SndContextManagerTest, TheExtraFileAddsAndTheDefaultsWin) {
    installOem(extra);
    SndContext& context = restart();
    EXPECT_THAT(context.getAvailableTuningDevice(PORT_BLUETOOTH), Contains("bluetooth_car_kit"));
    EXPECT_THAT(context.getAvailableTuningDevice(PORT_HEADPHONE), Contains("sport_in_ear"));
    EXPECT_THAT(context.getAvailableTuningDevice(PORT_HEADPHONE),
                Not(Contains("studio_headphone_mk2")));
    EXPECT_THAT(context.getAvailableTuningDevice(PORT_USB), ElementsAre("default_usb", "usb_dac"));
    for (const char* line :
         {"Found OEM tuning [headphone_studio] already exists in the default tuning XML, drop it.",
          "Drop OEM Device Tuning with tuning.name [headphone_studio] (duplicate in default xml)",
          "Found OEM device ID [usb_dac] already exists in the default tuning XML, drop it."}) {
        EXPECT_EQ(log.count("I SndContextManager: " + std::string(line)), 1U) << line;
    }

    RecordingObserver observer;
    EXPECT_TRUE(context.setSelectedTuning(PORT_HEADPHONE, "sport_in_ear", false));
    context.registerObserver(&observer);
    observer.take();
    Tuning* const tuning = context.getSelectedTuning(PORT_HEADPHONE);
    installOem(replaced(extra, "orientation=\"landscape\"", "orientation=\"9\""));
    EXPECT_EQ(manager().loadOemTuning(), 0);
    EXPECT_EQ(observer.take().size(), 6U);  // every port
    EXPECT_EQ(context.getSelectedTuning(PORT_HEADPHONE), tuning);
    EXPECT_EQ(tuning->get(ORIENTATION), Values{9});

    installOem(replaced(extra, "minor=\"4\"", "minor=\"3\""));
    EXPECT_NE(manager().loadOemTuning(), 0);
    installOem("<broken");
    EXPECT_NE(manager().loadOemTuning(), 0);
    EXPECT_EQ(observer.take().size(), 0U);
    EXPECT_EQ(context.getSelectedTuningDevice(PORT_HEADPHONE), "sport_in_ear");

    installOem("<r>\n<format_version major='3' minor='4' maintenance='0'/></r>");
    EXPECT_EQ(manager().loadOemTuning(), 0);
    EXPECT_EQ(context.getSelectedTuningDevice(PORT_HEADPHONE), "default_headphone");
    EXPECT_EQ(
        log.count("W SndContext: Current selected tuning dev[sport_in_ear] is not available for "
                  "port[headphone], revert to use dev[default_headphone]."),
        1U);
    context.unregisterObserver(&observer);
}

TEST_F(SndContextManagerTest, AStoredProfileThatIsGoneGivesWayToTheFirst) {
    SndContext& context = restart();
    context.setSelectedProfile(4);
    context.save();
    {
        manager().release();
        DatabaseHelper database("kiv_sqlite3.db");
        database.updateSelectedProfile("Profile", "17");
    }
    EXPECT_TRUE(restart().isSelected(0));
    EXPECT_EQ(log.count("W SndContext: There is no profile 17, profile 0 is selected"), 1U);
}

TEST_F(SndContextManagerTest, ADamagedDatabaseIsBuiltAnewFromTheFile) {
    constexpr size_t kPage = 4096;
    changeEverything(restart());
    manager().release();
    const std::string file = dir.path() / "data/vendor/velora/kiv_sqlite3.db";
    const std::string intact = contentsOf(file);
    size_t rebuilt = 0;
    for (size_t page = 0; page < intact.size(); page += kPage) {
        SCOPED_TRACE(page / kPage);
        std::string damaged = intact;
        damaged.replace(page, kPage, std::string(kPage, '\xa5'));
        std::filesystem::remove(file + ".damaged");
        dir.write("data/vendor/velora/kiv_sqlite3.db", damaged);
        SndContext& context = restart();
        for (const Port port : SndContext::kSupportedPorts) {
            EXPECT_NE(context.getSelectedTuning(port), nullptr);
        }
        if (!std::filesystem::exists(file + ".damaged")) continue;
        ++rebuilt;
        expectChanged(context, false);
        EXPECT_EQ(contentsOf(file + ".damaged"), damaged);
    }
    EXPECT_GT(rebuilt, 3U);
}

TEST_F(SndContextManagerTest, WhatCannotBeStoredReplacesNothing) {
    changeEverything(restart());
    install(
        replaced(contentsOf(sourceFile("data/minimal.xml")), "name=\"Dynamic\"", "name=\"Bob's\""));
    expectChanged(restart(), true);  // no profile of that file can be stored
    // A default file that is replaced while the service runs isn't the one that the store knows.
    installOem(extra);
    EXPECT_NE(manager().loadOemTuning(), 0);
    install(sample);
    EXPECT_EQ(manager().loadOemTuning(), 0);
    std::filesystem::remove(dir.path() / "data/vendor/velora/kiv-extra.xml");
    EXPECT_NE(manager().loadOemTuning(), 0);
}

TEST_F(SndContextManagerTest, AStoredDeviceThatIsGoneGivesWayToTheDefaultOne) {
    installOem(extra);
    SndContext& context = restart();
    EXPECT_TRUE(context.setSelectedTuning(PORT_HEADPHONE, "sport_in_ear", false));
    EXPECT_TRUE(context.save());
    installOem("<r>\n<format_version major='3' minor='4' maintenance='0'/></r>");
    EXPECT_EQ(manager().loadOemTuning(), 0);  // and nobody saves
    SndContext& again = restart();
    EXPECT_EQ(again.getSelectedTuningDevice(PORT_HEADPHONE), "default_headphone");
    EXPECT_NE(again.getSelectedTuning(PORT_HEADPHONE), nullptr);

    installOem(extra);
    install(replaced(sample, "default_usb", "my_usb"));  // merged again with the new file
    SndContext& renamed = restart();
    EXPECT_EQ(renamed.getSelectedTuningDevice(PORT_USB), "my_usb");  // the first there is
    EXPECT_THAT(renamed.getAvailableTuningDevice(PORT_HEADPHONE), Contains("sport_in_ear"));
    install(replaced(sample, "default_usb", "usb"));
    EXPECT_EQ(restart().getSelectedTuningDevice(PORT_USB), "usb");
}

}  // namespace
}  // namespace velora::test
