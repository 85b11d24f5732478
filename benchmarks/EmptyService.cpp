#include "benchmarks/EmptyService.h"

#include "host/SdBus.h"

namespace velora::bench {

int serveNothing() {
    static const sd_bus_vtable kMethods[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD(
            "Nothing", "", "",
            [](sd_bus_message* call, void* /*unused*/, sd_bus_error* /*unused*/) {
                return sd_bus_reply_method_return(call, "");
            },
            SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END};
    const auto bus = host::create<host::Bus>(sd_bus_open_user, "connect");
    host::check(sd_bus_add_object_vtable(bus.get(), nullptr, "/", kEmptyService, kMethods, nullptr),
                "serve");
    host::check(sd_bus_request_name(bus.get(), kEmptyService, 0), "serve");
    while (true) {
        if (host::check(sd_bus_process(bus.get(), nullptr), "serve") == 0) {
            host::check(sd_bus_wait(bus.get(), UINT64_MAX), "serve");
        }
    }
}

}  // namespace velora::bench
