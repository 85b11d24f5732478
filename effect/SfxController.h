#pragma once

#include "context/SndContextChangeObservable.h"
#include "effect/SfxContext.h"

#include <map>
#include <set>

namespace velora {

class SfxEffect;

/// Keeps the effect's parameters consistent with the settings: it observes the sound context
/// (SndContext) and after every change copies what changed into its own effect context
/// (SfxContext), whose translators then send the changed parameters to the effect as one block.
///
/// SndManager owns it, registers it as an observer of the sound context, and holds its lock during
/// every call, so that one thread at a time uses it. It owns the translators and the effect
/// context, but not the effect. No function reports an error: a port without an endpoint or a
/// tuning is logged and skipped, and a block that the effect refuses is logged by the effect's
/// handle.
class SfxController : public OnSndContextChange {
public:
    /// `effect` must remain valid as long as this is used, or until `setSfxEffect` replaces it.
    explicit SfxController(SfxEffect& effect);

    /// Applies and sends everything; called once when it is registered.
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
    /// in ascending order, the profile's parameters last. `target` is the output device that
    /// the block's header names, `kAllDevices` in general. Sends nothing if nothing has changed.
    ///
    /// A device is sent whole if its tuning has become another kind of output, because entries of
    /// other parameters, which don't become pending by that, contain what has changed.
    void sendParameters(AndroidDevice target);
    /// Replaces the effect, sends all parameters to the new one and switches it on or off. `effect`
    /// must remain valid as the constructor's.
    void setSfxEffect(SfxEffect& effect, SndContext& context);

private:
    /// What the entries of other parameters contain of a tuning: DOM its class, all of the first
    /// three, and AOBS, CEQT and RSSA the number of channels; BMDT and RSSA one of the enables.
    struct OutputKind {
        Endpoint endpoint;
        bool mono;
        int channels;
        int bassMbdrcEnable;
        int sibilanceSuppressEnable;
        bool operator==(const OutputKind&) const = default;
    };

    void updateProfile(SndContext& context);
    void updateTuning(Port port, Tuning& tuning);
    /// False if the port has no endpoint.
    bool updateEndpoint(SndContext& context, Port port);

    ParameterTranslators mTranslators;
    SfxContext mContext;  ///< refers to mTranslators
    SfxEffect* mEffect;
    std::map<AndroidDevice, OutputKind> mKinds;  ///< of the devices that have a tuning
    std::set<AndroidDevice> mToSendWhole;
};

}  // namespace velora
