#pragma once

#include "model/ParameterValues.h"
#include "model/RecordText.h"

#include <cstdint>
#include <string>
#include <utility>

namespace velora {

/// Assigns a tuning, by its name, to a device that is connected to a port. The device's identifier
/// is any text that the tuning file uses, such as the name of a headphone.
///
/// The parser or the provider that created it owns it; a copy is independent. One thread at a time.
class DeviceTuning {
public:
    /// A record that isn't stored yet.
    DeviceTuning(std::string device, std::string port, std::string tuning)
        : DeviceTuning(-1, std::move(device), std::move(port), std::move(tuning)) {}
    /// A record that was read from row `id`. It starts dirty as well.
    DeviceTuning(int64_t id, std::string device, std::string port, std::string tuning)
        : mId(id), mDevice(std::move(device)), mPort(std::move(port)), mTuning(std::move(tuning)) {}

    /// The id of the record's row in the database; -1 if it was never saved.
    virtual int64_t getId() const { return mId; }
    void setId(int64_t id) { mId = id; }
    /// Part of the vendor's contract, without a caller here.
    virtual bool isDirty() const { return mDirty; }
    virtual void setDirty(bool dirty) { mDirty = dirty; }
    virtual ~DeviceTuning() = default;

    /// The identifier of the device, the name of its port, the name of its tuning.
    std::string getDevice() const { return mDevice; }
    std::string getPort() const { return mPort; }
    std::string getTuning() const { return mTuning; }

    /// One line per field; the last has no line feed.
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
