#pragma once

#include "context/SndContextManager.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "util/RootPrefix.h"

#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace velora::test {

/// The context of a fresh root directory with the sample tuning file, and the log.
class ContextFixture : public testing::Test {
protected:
    ContextFixture() {
        setRootPrefix(dir.path().string());
        manager().release();  // made on first use, it starts, and finds no file yet
        std::filesystem::create_directories(dir.path() / "data/vendor/velora");
        install(sample);
    }
    ~ContextFixture() override { manager().release(); }

    static SndContextManager& manager() { return SndContextManager::getInstance(); }

    void install(const std::string& xml) {
        dir.write("odm/etc/velora/multimedia_velora_kiv_default.xml", xml);
    }
    void installOem(const std::string& xml) { dir.write("data/vendor/velora/kiv-extra.xml", xml); }

    static std::string replaced(std::string text, std::string_view from, std::string_view to) {
        for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
            text.replace(at, from.size(), to);
        }
        return text;
    }

    /// As a new process: everything from the files again.
    SndContext& restart() {
        manager().release();
        manager().init();
        SndContext* const context = manager().getSndContext();
        EXPECT_NE(context, nullptr);
        return *context;
    }

    const std::string sample = contentsOf(sourceFile("data/multimedia_velora_kiv_default.xml"));
    const std::string extra = contentsOf(sourceFile("data/kiv-extra.xml"));
    LogCapture log;
    TempDir dir;
};

/// Keeps what it is told, in words.
class RecordingObserver : public OnSndContextChange {
public:
    std::vector<std::string> told;
    std::function<void()> onTold;

    std::vector<std::string> take() { return std::exchange(told, {}); }

    void onLoad(SndContext&) override { note("load"); }
    void onSfxOnChanged(SndContext&, bool on) override { note(on ? "on" : "off"); }
    void onSelectedProfileChanged(SndContext&) override { note("profile"); }
    void onSelectedProfileParameterChanged(SndContext&, Profile& profile) override {
        note("parameter " + profile.getName());
    }
    void onSelectedProfileEndpointChanged(SndContext&, Port port, ProfileEndpoint&) override {
        note("endpoint " + std::to_string(port));
    }
    void onSelectedProfileIeqChanged(SndContext&, Port port, IeqPreset& preset) override {
        note("ieq " + std::to_string(port) + " " + preset.getName());
    }
    void onSelectedProfileGeqChanged(SndContext&, GeqPreset&) override { note("geq"); }
    void onSelectedTuningChanged(SndContext&, Port port, Tuning& tuning) override {
        note("tuning " + std::to_string(port) + " " + tuning.getName());
    }

private:
    void note(std::string what) {
        told.push_back(std::move(what));
        if (onTold) onTold();
    }
};

}  // namespace velora::test
