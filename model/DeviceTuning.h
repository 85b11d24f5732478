#pragma once

#include "model/ParameterValues.h"
#include "model/RecordText.h"

#include <cstdint>
#include <string>
#include <utility>

namespace velora {

/// Binds an output device, seen on a port, to the name of the tuning that is used for it.
/// Copied by value; one thread at a time.
class DeviceTuning {
public:
    /// A new record: no row.
    DeviceTuning(std::string device, std::string port, std::string tuning)
        : DeviceTuning(-1, std::move(device), std::move(port), std::move(tuning)) {}
    /// A record of row `id`. Both forms start dirty.
    DeviceTuning(int64_t id, std::string device, std::string port, std::string tuning)
        : mId(id), mDevice(std::move(device)), mPort(std::move(port)), mTuning(std::move(tuning)) {}

    /// Row in the database; -1 when it was never stored.
    virtual int64_t getId() const { return mId; }
    void setId(int64_t id) { mId = id; }
    virtual bool isDirty() const { return mDirty; }
    virtual void setDirty(bool dirty) { mDirty = dirty; }
    virtual ~DeviceTuning() = default;

    /// The device's identifier, the name of its port, the name of its tuning.
    std::string getDevice() const { return mDevice; }
    std::string getPort() const { return mPort; }
    std::string getTuning() const { return mTuning; }

    /// The last line has no line feed.
    std::string toString() const {
        return recordLine("id", mId) + recordLine("device", mDevice) + recordLine("port", mPort) +
               "tuning=" + mTuning;
    }

private:
    int64_t mId;
    std::string mDevice;
    std::string mPort;
    std::string mTuning;
    bool mDirty = true;
};

}  // namespace velora
