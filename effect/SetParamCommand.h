#pragma once

#include "effect/SfxParameter.h"
#include "model/ParameterValues.h"
#include "model/Port.h"

#include <cstdint>
#include <initializer_list>
#include <vector>

namespace velora {

class SfxEffect;

/// The effect parameters of one transmission, packed into one block (docs/effect-block.md).
///
/// The effect's controller creates it, fills it, executes it once and destroys it. One thread.
/// Nothing fails.
class SetParamCommand {
public:
    using Values = ParameterValues::Values;
    using Parts = std::initializer_list<const Values*>;

    /// `target` is the output device for which the block is meant, AUDIO_DEVICE_OUT_DEFAULT for all
    /// of them.
    explicit SetParamCommand(AndroidDevice target);
    /// Sends the block to the effect and returns the effect's result. An empty block isn't sent: 0.
    virtual int execute(SfxEffect& effect);
    virtual ~SetParamCommand() = default;

    /// Sets the output device of the entries added afterwards. Without it their device is -1.
    void setDeviceId(AndroidDevice device) { mDevice = static_cast<int32_t>(device); }

    /// Each appends one entry, whose values are: one value; a list of any length; the concatenated
    /// lists `parts`; `first` followed by these.
    void add(SfxParameter parameter, int value);
    void add(SfxParameter parameter, const Values& values);
    void add(SfxParameter parameter, Parts parts);
    void add(SfxParameter parameter, int first, Parts parts);

private:
    void beginEntry(SfxParameter parameter, size_t count);
    void append(const Values& values) { mBlock.insert(mBlock.end(), values.begin(), values.end()); }

    int32_t mDevice = -1;
    int32_t mCount = 0;  ///< of entries
    std::vector<int32_t> mBlock;
};

}  // namespace velora
