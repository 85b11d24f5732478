#pragma once

#include "context/SndContextChangeObservable.h"
#include "effect/SfxContext.h"

namespace velora {

class SfxEffect;

/// Keeps the effect's parameters in step with the sound context: on every change it brings its own
/// context up to date and sends what that changed, as one block.
///
/// Made by the facade, which registers it with the sound context, and owned by it; used under the
/// facade's lock. Owns the translators and the effect's context, not the effect. Switching the
/// effect on or off is not done by parameters: nothing is sent for it.
class SfxController : public OnSndContextChange {
public:
    /// `effect` must stand as long as this, or until another takes its place.
    explicit SfxController(SfxEffect& effect);

    void onLoad(SndContext& context) override;
    void onSfxOnChanged(SndContext& context, bool on) override;
    void onSelectedProfileChanged(SndContext& context) override;
    void onSelectedProfileParameterChanged(SndContext& context, Profile& profile) override;
    void onSelectedProfileEndpointChanged(SndContext& context, Port port,
                                          ProfileEndpoint& endpoint) override;
    void onSelectedProfileIeqChanged(SndContext& context, Port port, IeqPreset& preset) override;
    void onSelectedProfileGeqChanged(SndContext& context, GeqPreset& preset) override;
    /// Also hands over the endpoint and the IEQ preset, if others are in force with this tuning.
    void onSelectedTuningChanged(SndContext& context, Port port, Tuning& tuning) override;

    /// Sends what changed since the last time, in a block for `target`: device by device in
    /// ascending order, the profile's parameters last. Nothing if nothing changed.
    void sendParameters(AndroidDevice target);
    /// Takes another effect, sends it everything and switches it on or off.
    void setSfxEffect(SfxEffect& effect, SndContext& context);

    SfxContext& getContext() { return mContext; }

private:
    void takeProfile(SndContext& context);
    /// False if the port has no endpoint.
    bool takeEndpoint(SndContext& context, Port port);

    ParameterTranslators mTranslators;
    SfxContext mContext;
    SfxEffect* mEffect;
};

}  // namespace velora
