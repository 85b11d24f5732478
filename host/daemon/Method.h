#pragma once

#include "host/SdBus.h"

#include <tuple>
#include <type_traits>

namespace velora::host {

/// Answers the method call `call`: reads the arguments of `operation` from it, runs the operation
/// on `object`, and sends its result as the reply. Returns the result of sd_bus_send; throws
/// BusError and std::system_error.
template <typename Object, typename Result, typename... Args>
int answerCall(sd_bus_message* call, Object& object, Result (Object::*operation)(Args...)) {
    std::tuple<std::decay_t<Args>...> arguments;
    readFrom(call, arguments);

    // The reply is made after the operation, which may send signals that must come first.
    const auto run = [&](auto&... argument) { return (object.*operation)(argument...); };
    const auto newReply = [&] {
        return create<Message>(
            [&](sd_bus_message** m) { return sd_bus_message_new_method_return(call, m); }, "reply");
    };
    if constexpr (std::is_void_v<Result>) {
        std::apply(run, arguments);
        return sd_bus_send(nullptr, newReply().get(), nullptr);
    } else {
        const Result result = std::apply(run, arguments);
        const Message reply = newReply();
        appendTo(reply.get(), result);
        return sd_bus_send(nullptr, reply.get(), nullptr);
    }
}

}  // namespace velora::host
