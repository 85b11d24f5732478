#pragma once

#include "model/ParameterValues.h"
#include "model/Port.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace velora {

/// The acoustic tuning of a device: a named set of parameters for one class of output. Device
/// tunings refer to it by its name.
class Tuning : public ParameterValues {
public:
    static constexpr ParameterSet kValidParams = ParameterSet::of(RecordKind::TUNING);
    static_assert(kValidParams.size() == 59);
    /// The parameters of a complete record: the parameter columns of its table.
    static constexpr ParameterSet kStoredParams = kValidParams;

    /// A record that isn't stored yet: read-only, dirty, without values.
    Tuning(std::string name, Endpoint endpoint, bool mono);
    /// A record that was read from row `id`: not dirty until its values are `set`.
    Tuning(int64_t id, std::string name, Endpoint endpoint, bool mono, bool readonly);

    int64_t getId() const override { return mId; }
    void setId(int64_t id) { mId = id; }
    const ParameterSet& getValidParams() const override { return kValidParams; }

    const std::string& getName() const { return mName; }
    Endpoint getEndpoint() const { return mEndpoint; }
    bool isMono() const { return mMono; }
    /// Whether clients must not change it. Part of the vendor's contract, without a caller here.
    bool isReadonly() const { return mReadonly; }

    /// Sets the endpoint of the port with this name; any other name has no effect. These setters
    /// don't mark the record dirty.
    void setEndpoint(std::string_view portName);
    void setEndpoint(Endpoint endpoint) { mEndpoint = endpoint; }
    void setMono(bool mono) { mMono = mono; }

    std::string toString() const;

private:
    int64_t mId;
    std::string mName;
    Endpoint mEndpoint;
    bool mMono;
    bool mReadonly;
};

}  // namespace velora
