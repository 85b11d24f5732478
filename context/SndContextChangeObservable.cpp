#include "context/SndContextChangeObservable.h"

#include <vector>

namespace velora {

// Iterates over a copy, because observers may change the set. One that was unregistered meanwhile
// may be destroyed and is skipped.
template <typename Notify>
void SndContextChangeObservable::forEach(Notify notify) {
    const std::vector<OnSndContextChange*> observers(mObservers.begin(), mObservers.end());
    for (OnSndContextChange* const observer : observers) {
        if (mObservers.contains(observer)) notify(*observer);
    }
}

void SndContextChangeObservable::onLoad(SndContext& context) {
    forEach([&](OnSndContextChange& o) { o.onLoad(context); });
}

void SndContextChangeObservable::onSfxOnChanged(SndContext& context, bool on) {
    forEach([&](OnSndContextChange& o) { o.onSfxOnChanged(context, on); });
}

void SndContextChangeObservable::onSelectedProfileChanged(SndContext& context) {
    forEach([&](OnSndContextChange& o) { o.onSelectedProfileChanged(context); });
}

void SndContextChangeObservable::onSelectedProfileParameterChanged(SndContext& context,
                                                                   Profile& profile) {
    forEach([&](OnSndContextChange& o) { o.onSelectedProfileParameterChanged(context, profile); });
}

void SndContextChangeObservable::onSelectedProfileEndpointChanged(SndContext& context, Port port,
                                                                  ProfileEndpoint& endpoint) {
    forEach([&](OnSndContextChange& o) {
        o.onSelectedProfileEndpointChanged(context, port, endpoint);
    });
}

void SndContextChangeObservable::onSelectedProfileIeqChanged(SndContext& context, Port port,
                                                             IeqPreset& preset) {
    forEach([&](OnSndContextChange& o) { o.onSelectedProfileIeqChanged(context, port, preset); });
}

void SndContextChangeObservable::onSelectedProfileGeqChanged(SndContext& context,
                                                             GeqPreset& preset) {
    forEach([&](OnSndContextChange& o) { o.onSelectedProfileGeqChanged(context, preset); });
}

void SndContextChangeObservable::onSelectedTuningChanged(SndContext& context, Port port,
                                                         Tuning& tuning) {
    forEach([&](OnSndContextChange& o) { o.onSelectedTuningChanged(context, port, tuning); });
}

}  // namespace velora
