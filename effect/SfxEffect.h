#pragma once

#include <cstdint>
#include <vector>

#include <utils/String16.h>

namespace velora {

/// The handle through which parameters reach the audio effect: it unpacks each block into the
/// process-wide parameter store, from which the effect takes them.
///
/// Made and owned by the facade. Has no state; any thread may call it. This handle can always
/// control the effect; others, which derive from it, may lose that.
class SfxEffect {
public:
    /// Session and name are those that the platform asks for; this handle doesn't need them.
    SfxEffect(int sessionId, const android::String16& name);
    virtual ~SfxEffect() = default;
    SfxEffect(const SfxEffect&) = delete;
    SfxEffect& operator=(const SfxEffect&) = delete;

    /// Delivers the packed block `data`. The answer, always -22, says nothing.
    virtual int send(int param, const std::vector<int32_t>& data);
    /// Asks the effect for a value: 0, `data` stays as it is.
    virtual int receive(int param, std::vector<int32_t>& data);
    /// False when this handle has been superseded and another one must be made.
    virtual bool hasControl() const { return true; }
    virtual int setEnabled(bool enabled);

    /// Writes the entries of the packed block of `size` bytes at `data` to the parameter store and
    /// commits them together. A block that isn't valid is logged, and nothing of it written.
    static void sendSharedStore(const void* data, uint32_t size);
};

}  // namespace velora
