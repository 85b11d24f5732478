#pragma once

#include "host/SdBus.h"
#include "host/daemon/CallQueue.h"

#include <map>
#include <numeric>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace velora::host {

/// Result of an operation that answers the call later.
struct Postponed {};

/// Number of bytes of a value in an answer, rounded up.
template <typename T>
size_t answerSize(const T& /*number*/) {
    static_assert(std::is_arithmetic_v<T>);
    return sizeof(int64_t);
}
inline size_t answerSize(const std::string& text) { return 2 * sizeof(uint32_t) + text.size(); }
template <typename T>
size_t answerSize(const std::vector<T>& items) {
    return 2 * sizeof(int64_t) + items.size() * sizeof(T);
}
template <typename T>
size_t answerSize(const std::map<uint32_t, T>& items) {
    return std::accumulate(items.begin(), items.end(), sizeof(int64_t),
                           [](size_t size, const auto& item) {
                               return size + sizeof(int64_t) + answerSize(item.second);
                           });
}
template <typename... T>
size_t answerSize(const std::tuple<T...>& values) {
    return std::apply([](const T&... value) { return (answerSize(value) + ...); }, values);
}

/// Answers the method call `call`: reads the arguments of `operation` from it, runs the operation
/// on `object`, and sends its result as the reply, if the caller wants one. Returns the size of the
/// reply in bytes, 0 if the operation has postponed it, or CallQueue::kNoRoom. Throws BusError and
/// std::system_error.
template <typename Object, typename Result, typename... Args>
int answerCall(sd_bus_message* call, const CallQueue& calls, Object& object,
               Result (Object::*operation)(Args...)) {
    std::tuple<std::decay_t<Args>...> arguments;
    readFrom(call, arguments);

    const auto run = [&](auto&... argument) { return (object.*operation)(argument...); };
    const auto send = [&](const auto&... result) {
        const auto reply = create<Message>(
            [&](sd_bus_message** m) { return sd_bus_message_new_method_return(call, m); }, "reply");
        (appendTo(reply.get(), result), ...);
        check(sd_bus_send(nullptr, reply.get(), nullptr), "reply");
    };
    if constexpr (std::is_same_v<Result, Postponed>) {
        std::apply(run, arguments);
        return 0;
    } else if constexpr (std::is_void_v<Result>) {
        std::apply(run, arguments);
        send();
        return 0;
    } else {
        const Result result = std::apply(run, arguments);
        if (sd_bus_message_get_expect_reply(call) == 0) return 0;

        const size_t size = answerSize(result);
        if (!calls.hasRoomForAnswer(size)) return CallQueue::kNoRoom;
        send(result);
        return static_cast<int>(size);
    }
}

}  // namespace velora::host
