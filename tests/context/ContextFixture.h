#pragma once

#include "context/SndContextManager.h"
#include "tests/support/RootFixture.h"

#include <functional>
#include <string>
#include <vector>

namespace velora::test {

/// A root directory with the sample tuning file, and the context manager, not started.
class ContextFixture : public RootFixture {
protected:
    ContextFixture() {
        manager().release();  // its first use constructs it, which fails without a tuning file
        install(sample);
    }
    ~ContextFixture() override { manager().release(); }

    static SndContextManager& manager() { return SndContextManager::getInstance(); }

    /// Starts from the files, like a new process.
    SndContext& restart() {
        manager().release();
        manager().init();
        SndContext* const context = manager().getSndContext();
        EXPECT_NE(context, nullptr);
        return *context;
    }
};

/// Records each notification in words.
class RecordingObserver : public OnSndContextChange {
public:
    std::vector<std::string> notifications;
    std::function<void()> onNotified;  ///< called after each

    /// The notifications since the last call.
    std::vector<std::string> drain() { return std::exchange(notifications, {}); }

    void onLoad(SndContext&) override { record("load"); }
    void onSfxOnChanged(SndContext&, bool on) override { record(on ? "on" : "off"); }
    void onSelectedProfileChanged(SndContext&) override { record("profile"); }
    void onSelectedProfileParameterChanged(SndContext&, Profile& profile) override {
        record("parameter " + profile.getName());
    }
    void onSelectedProfileEndpointChanged(SndContext&, Port port, ProfileEndpoint&) override {
        record("endpoint " + std::to_string(port));
    }
    void onSelectedProfileIeqChanged(SndContext&, Port port, IeqPreset& preset) override {
        record("ieq " + std::to_string(port) + " " + preset.getName());
    }
    void onSelectedProfileGeqChanged(SndContext&, GeqPreset&) override { record("geq"); }
    void onSelectedTuningChanged(SndContext&, Port port, Tuning& tuning) override {
        record("tuning " + std::to_string(port) + " " + tuning.getName());
    }

private:
    void record(std::string notification) {
        notifications.push_back(std::move(notification));
        if (onNotified) onNotified();
    }
};

}  // namespace velora::test
