#pragma once

#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/Port.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"

#include <set>

namespace velora {

class SndContext;

/// Is notified of changes of the context, on the thread that made them, while the context is
/// unlocked: an observer may call back into the context, but not into its manager. The records are
/// owned by the provider and remain valid after the call.
class OnSndContextChange {
public:
    virtual ~OnSndContextChange() = default;

    /// The whole context was loaded, or the observer has just been registered.
    virtual void onLoad(SndContext& context) = 0;
    virtual void onSfxOnChanged(SndContext& context, bool on) = 0;
    /// Another profile is selected, or the selected one was replaced as a whole.
    virtual void onSelectedProfileChanged(SndContext& context) = 0;
    /// A parameter of the selected profile changed.
    virtual void onSelectedProfileParameterChanged(SndContext& context, Profile& profile) = 0;
    /// A parameter of the selected profile changed on the endpoint that serves `port`.
    virtual void onSelectedProfileEndpointChanged(SndContext& context, Port port,
                                                  ProfileEndpoint& endpoint) = 0;
    /// Another IEQ preset is in force on `port`.
    virtual void onSelectedProfileIeqChanged(SndContext& context, Port port, IeqPreset& preset) = 0;
    virtual void onSelectedProfileGeqChanged(SndContext& context, GeqPreset& preset) = 0;
    /// Another tuning is in force on `port`, or its values are new.
    virtual void onSelectedTuningChanged(SndContext& context, Port port, Tuning& tuning) = 0;
};

/// Forwards each notification to every registered observer, in ascending order of their addresses.
///
/// Owned by the context manager; does not own the observers, which must unregister before they are
/// destroyed. It has no lock: its callers serialise. During a notification, an observer may
/// register and unregister observers, itself included.
class SndContextChangeObservable : public OnSndContextChange {
public:
    /// An observer that is already registered is not added again.
    void registerObserver(OnSndContextChange* observer) { mObservers.insert(observer); }
    void unregisterObserver(OnSndContextChange* observer) { mObservers.erase(observer); }
    /// Part of the vendor's contract, without a caller here.
    void unregisterAll() { mObservers.clear(); }

    void onLoad(SndContext& context) override;
    void onSfxOnChanged(SndContext& context, bool on) override;
    void onSelectedProfileChanged(SndContext& context) override;
    void onSelectedProfileParameterChanged(SndContext& context, Profile& profile) override;
    void onSelectedProfileEndpointChanged(SndContext& context, Port port,
                                          ProfileEndpoint& endpoint) override;
    void onSelectedProfileIeqChanged(SndContext& context, Port port, IeqPreset& preset) override;
    void onSelectedProfileGeqChanged(SndContext& context, GeqPreset& preset) override;
    void onSelectedTuningChanged(SndContext& context, Port port, Tuning& tuning) override;

private:
    template <typename Notify>
    void forEach(Notify notify);

    std::set<OnSndContextChange*> mObservers;
};

}  // namespace velora
