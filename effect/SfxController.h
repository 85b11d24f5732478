#pragma once

#include "context/SndContextChangeObservable.h"
#include "effect/SfxContext.h"

namespace velora {

class SfxEffect;

/// Keeps the effect's parameters consistent with the sound context: after every change it updates
/// its effect context and sends the resulting changes as one block.
///
/// The facade owns it, registers it as an observer of the sound context and uses it under its own
/// lock. It owns the translators and the effect context, but not the effect. Nothing fails: a port
/// without an endpoint or a tuning is logged and skipped.
class SfxController : public OnSndContextChange {
public:
    /// `effect` must remain valid as long as this is used, or until `setSfxEffect` replaces it.
    explicit SfxController(SfxEffect& effect);

    void onLoad(SndContext& context) override;
    /// Sends nothing: the effect isn't switched on or off by its parameters.
    void onSfxOnChanged(SndContext& context, bool on) override;
    void onSelectedProfileChanged(SndContext& context) override;
    void onSelectedProfileParameterChanged(SndContext& context, Profile& profile) override;
    void onSelectedProfileEndpointChanged(SndContext& context, Port port,
                                          ProfileEndpoint& endpoint) override;
    void onSelectedProfileIeqChanged(SndContext& context, Port port, IeqPreset& preset) override;
    void onSelectedProfileGeqChanged(SndContext& context, GeqPreset& preset) override;
    /// If the tuning gives the port another endpoint or IEQ preset than before, applies those too.
    void onSelectedTuningChanged(SndContext& context, Port port, Tuning& tuning) override;

    /// Sends the pending changes of all output devices in one block for `target`: device by device
    /// in ascending order, the profile's parameters last. No block without changes.
    void sendParameters(AndroidDevice target);
    /// Replaces the effect, sends all parameters to the new one and switches it on or off.
    void setSfxEffect(SfxEffect& effect, SndContext& context);

private:
    void updateProfile(SndContext& context);
    /// False if the port has no endpoint.
    bool updateEndpoint(SndContext& context, Port port);

    ParameterTranslators mTranslators;
    SfxContext mContext;  ///< refers to mTranslators
    SfxEffect* mEffect;
};

}  // namespace velora
