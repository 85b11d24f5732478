#pragma once

#include <string>
#include <utility>

namespace android::hardware {

/// Whether the transport delivered a call, and the reason if it failed.
class Status {
public:
    static Status ok() { return Status(true, {}); }
    static Status transportError(std::string reason) { return Status(false, std::move(reason)); }

    bool isOk() const { return mOk; }
    const std::string& description() const { return mDescription; }

private:
    Status(bool ok, std::string description) : mOk(ok), mDescription(std::move(description)) {}

    bool mOk;
    std::string mDescription;
};

/// The result of a call to a remote object: its value, if the transport delivered it.
template <typename T>
class Return : public Status {
public:
    Return(T value) : Status(Status::ok()), mValue(value) {}
    Return(Status status) : Status(std::move(status)), mValue() {}

    /// The value; a default one when the call failed.
    T value() const { return mValue; }

private:
    T mValue;
};

template <>
class Return<void> : public Status {
public:
    Return() : Status(Status::ok()) {}
    Return(Status status) : Status(std::move(status)) {}
};

/// The result of a successful call that has no value.
inline Return<void> Void() { return {}; }

}  // namespace android::hardware
