#pragma once

#include "effect/SfxParameter.h"
#include "model/ParameterValues.h"
#include "model/Port.h"

#include <cstdint>
#include <initializer_list>
#include <vector>

namespace velora {

class SfxEffect;

/// The effect parameters of one sending pass, packed into one block (docs/effect-block.md).
///
/// Made, filled, executed once and dropped by the effect's controller. Nothing fails.
class SetParamCommand {
public:
    using Values = ParameterValues::Values;
    using Parts = std::initializer_list<const Values*>;

    /// `target`: the device that the block is for, or all of them (AUDIO_DEVICE_OUT_DEFAULT).
    explicit SetParamCommand(AndroidDevice target);
    /// Sends the block, if it has any entry. 0 if it has none, else what the effect answers.
    virtual int execute(SfxEffect& effect);
    virtual ~SetParamCommand() = default;

    /// The device of the entries that are added from now on; -1 before the first.
    void setDeviceId(AndroidDevice device) { mDevice = static_cast<int32_t>(device); }

    /// Each appends one entry: one value, a list of any length, lists one after another, or these
    /// after a first value.
    void add(SfxParameter parameter, int value);
    void add(SfxParameter parameter, const Values& values);
    void add(SfxParameter parameter, Parts parts);
    void add(SfxParameter parameter, int first, Parts parts);

private:
    void beginEntry(SfxParameter parameter, size_t count);
    void append(const Values& values) { mBlock.insert(mBlock.end(), values.begin(), values.end()); }

    int32_t mDevice = -1;
    int32_t mCount = 0;
    std::vector<int32_t> mBlock;
};

}  // namespace velora
