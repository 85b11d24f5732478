#pragma once

#include <cstdint>
#include <vector>

#include <utils/String16.h>

namespace velora {

/// The handle through which parameters reach the audio effect: it unpacks each block into the
/// process-wide parameter store, from which the effect reads them.
///
/// The facade owns it. It has no state, so any thread may call it. It always has control of the
/// effect; a derived handle may lose it.
class SfxEffect {
public:
    /// The platform's handles need a session and a name; this one ignores both.
    SfxEffect(int sessionId, const android::String16& name);
    virtual ~SfxEffect() = default;
    SfxEffect(const SfxEffect&) = delete;
    SfxEffect& operator=(const SfxEffect&) = delete;

    /// Delivers the packed block `data`; `param` is ignored. Always BAD_VALUE, which callers must
    /// not take for a failure.
    virtual int send(int param, const std::vector<int32_t>& data);
    /// Reads a value from the effect. This handle can't: it returns 0 and leaves `data` unchanged.
    virtual int receive(int param, std::vector<int32_t>& data);
    /// False if another client controls the effect now, and the handle must be replaced.
    virtual bool hasControl() const { return true; }
    /// Switches the effect on or off. This handle can't, and returns 0.
    virtual int setEnabled(bool enabled);

    /// Writes the entries of the packed block of `size` bytes at `data` to the parameter store and
    /// commits them together. An invalid block is logged, and none of its entries is written.
    static void sendSharedStore(const void* data, uint32_t size);
};

}  // namespace velora
