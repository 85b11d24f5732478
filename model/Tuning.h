#pragma once

#include "model/ParameterValues.h"
#include "model/Port.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace velora {

/// One named set of device-level parameters for one class of output: the acoustic tuning of an
/// output device. Device tunings refer to it by its name.
class Tuning : public ParameterValues {
public:
    static constexpr ParameterSet kValidParams = ParameterSet::of(RecordKind::TUNING);
    static_assert(kValidParams.size() == 59);
    /// What a complete record carries: the parameter columns of its table.
    static constexpr ParameterSet kStoredParams = kValidParams;

    /// A new record: no row, read-only, dirty, no values.
    Tuning(std::string name, Endpoint endpoint, bool mono);
    /// A record of row `id`: not dirty until its values are `set`.
    Tuning(int64_t id, std::string name, Endpoint endpoint, bool mono, bool readonly);

    int64_t getId() const override { return mId; }
    void setId(int64_t id) { mId = id; }
    const ParameterSet& getValidParams() const override { return kValidParams; }

    const std::string& getName() const { return mName; }
    Endpoint getEndpoint() const { return mEndpoint; }
    bool isMono() const { return mMono; }
    /// Clients may not change it.
    bool isReadonly() const { return mReadonly; }

    /// Takes the endpoint of a port's name; any other name changes nothing. Not a change to save.
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
