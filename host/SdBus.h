#pragma once

#include "host/Interface.h"

#include <cerrno>
#include <csignal>
#include <exception>
#include <memory>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <system_error>
#include <tuple>

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

// A thin C++ layer over sd-bus and sd-event: owning handles, errors as exceptions that never cross
// a C callback, and a reader and a writer for each type of the interface. As in sd-bus itself, a
// bus and everything made from it belong to one thread.

namespace velora::host {

/// Deleter of a std::unique_ptr that calls the C function `release`.
template <auto release>
struct Releaser {
    template <typename T>
    void operator()(T* object) const {
        release(object);
    }
};

using Bus = std::unique_ptr<sd_bus, Releaser<sd_bus_flush_close_unref>>;
using Message = std::unique_ptr<sd_bus_message, Releaser<sd_bus_message_unref>>;
using Slot = std::unique_ptr<sd_bus_slot, Releaser<sd_bus_slot_unref>>;
using Track = std::unique_ptr<sd_bus_track, Releaser<sd_bus_track_unref>>;
using Event = std::unique_ptr<sd_event, Releaser<sd_event_unref>>;
using EventSource = std::unique_ptr<sd_event_source, Releaser<sd_event_source_disable_unref>>;

/// A D-Bus error with its name and message. Thrown by a method, it becomes the reply to the call.
class BusError : public std::runtime_error {
public:
    BusError(const char* name, const std::string& message)
        : std::runtime_error(message), mName(name) {}
    const std::string& name() const { return mName; }

private:
    std::string mName;
};

/// Returns the result of an sd-bus or sd-event call. Throws std::system_error if it is negative;
/// `action` then says what failed.
inline int check(int result, const char* action) {
    if (result < 0) throw std::system_error(-result, std::generic_category(), action);
    return result;
}

/// Returns the result of a system call. Throws std::system_error with errno if it is negative;
/// `action` then says what failed.
inline int checkErrno(int result, const char* action) {
    return check(result < 0 ? -errno : result, action);
}

/// Calls `make(&raw)` and wraps raw. Throws std::system_error if the result is negative; `action`
/// then says what failed.
template <typename Handle, typename Make>
Handle create(Make make, const char* action) {
    typename Handle::pointer raw = nullptr;
    check(make(&raw), action);
    return Handle(raw);
}

/// Runs the body of an sd-bus callback and returns its result. An exception becomes a negative
/// result and, unless `error` is null, the D-Bus error.
template <typename Work>
int guarded(sd_bus_error* error, Work work) noexcept {
    try {
        return work();
    } catch (const BusError& e) {
        return sd_bus_error_set(error, e.name().c_str(), e.what());
    } catch (const std::system_error& e) {
        return sd_bus_error_set_errno(error, e.code().value());
    } catch (const std::bad_alloc&) {
        return sd_bus_error_set_errno(error, ENOMEM);
    } catch (const std::exception& e) {
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, e.what());
    }
}

/// Blocks signals for this thread and all threads that it starts later. sd-event requires this of
/// signals that it handles.
inline void blockSignals(std::span<const int> numbers) {
    sigset_t blocked;
    sigemptyset(&blocked);
    for (const int number : numbers) sigaddset(&blocked, number);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
}

// Readers and writers: readFrom(message, value) and appendTo(message, value) for one value each.
// They throw std::system_error if the message has another type or is full.

template <char type, typename Raw>
Raw readBasic(sd_bus_message* message) {
    Raw value{};
    // The result 0 means that the message ended early.
    if (check(sd_bus_message_read_basic(message, type, &value), "read") == 0) {
        throw std::system_error(EBADMSG, std::generic_category(), "read");
    }
    return value;
}

template <char type, typename T>
std::vector<T> readArray(sd_bus_message* message) {
    const void* items = nullptr;
    size_t size = 0;
    check(sd_bus_message_read_array(message, type, &items, &size), "read");
    const T* const first = static_cast<const T*>(items);
    return {first, first + size / sizeof(T)};
}

inline void readFrom(sd_bus_message* m, bool& value) { value = readBasic<'b', int>(m) != 0; }
inline void readFrom(sd_bus_message* m, int32_t& value) { value = readBasic<'i', int32_t>(m); }
inline void readFrom(sd_bus_message* m, uint32_t& value) { value = readBasic<'u', uint32_t>(m); }
inline void readFrom(sd_bus_message* m, int64_t& value) { value = readBasic<'x', int64_t>(m); }
inline void readFrom(sd_bus_message* m, std::string& value) {
    value = readBasic<'s', const char*>(m);
}
inline void readFrom(sd_bus_message* m, Bytes& value) { value = readArray<'y', uint8_t>(m); }
inline void readFrom(sd_bus_message* m, Integers& value) { value = readArray<'i', int32_t>(m); }

inline void appendTo(sd_bus_message* m, bool value) {
    const int raw = value ? 1 : 0;
    check(sd_bus_message_append_basic(m, 'b', &raw), "write");
}
inline void appendTo(sd_bus_message* m, int32_t value) {
    check(sd_bus_message_append_basic(m, 'i', &value), "write");
}
inline void appendTo(sd_bus_message* m, uint32_t value) {
    check(sd_bus_message_append_basic(m, 'u', &value), "write");
}
inline void appendTo(sd_bus_message* m, int64_t value) {
    check(sd_bus_message_append_basic(m, 'x', &value), "write");
}
inline void appendTo(sd_bus_message* m, const std::string& value) {
    check(sd_bus_message_append_basic(m, 's', value.c_str()), "write");
}
inline void appendTo(sd_bus_message* m, const Bytes& value) {
    check(sd_bus_message_append_array(m, 'y', value.data(), value.size()), "write");
}
inline void appendTo(sd_bus_message* m, const Integers& value) {
    check(sd_bus_message_append_array(m, 'i', value.data(), value.size() * sizeof(int32_t)),
          "write");
}

/// D-Bus signature of a type that a dictionary may hold.
template <typename T>
inline constexpr const char* kSignature = nullptr;
template <>
inline constexpr const char* kSignature<Integers> = "ai";
template <>
inline constexpr const char* kSignature<std::map<uint32_t, Integers>> = "a{uai}";

template <typename T>
void readFrom(sd_bus_message* m, std::map<uint32_t, T>& value) {
    const std::string entry = std::string("u") + kSignature<T>;
    check(sd_bus_message_enter_container(m, 'a', ("{" + entry + "}").c_str()), "read");

    // At the end of the array, entering the next entry returns 0.
    while (check(sd_bus_message_enter_container(m, 'e', entry.c_str()), "read") > 0) {
        uint32_t key = 0;
        readFrom(m, key);
        readFrom(m, value[key]);
        check(sd_bus_message_exit_container(m), "read");
    }

    check(sd_bus_message_exit_container(m), "read");
}

template <typename T>
void appendTo(sd_bus_message* m, const std::map<uint32_t, T>& value) {
    const std::string entry = std::string("u") + kSignature<T>;
    check(sd_bus_message_open_container(m, 'a', ("{" + entry + "}").c_str()), "write");

    for (const auto& [key, item] : value) {
        check(sd_bus_message_open_container(m, 'e', entry.c_str()), "write");
        appendTo(m, key);
        appendTo(m, item);
        check(sd_bus_message_close_container(m), "write");
    }

    check(sd_bus_message_close_container(m), "write");
}

/// A tuple is read and written as its members in order.
template <typename... T>
void readFrom(sd_bus_message* m, std::tuple<T...>& values) {
    std::apply([&](T&... value) { (readFrom(m, value), ...); }, values);
}
template <typename... T>
void appendTo(sd_bus_message* m, const std::tuple<T...>& values) {
    std::apply([&](const T&... value) { (appendTo(m, value), ...); }, values);
}

}  // namespace velora::host
