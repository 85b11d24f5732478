#pragma once

namespace velora::bench {

/// Name of a service on the user's bus, and of its interface, whose one method `Nothing` takes and
/// gives nothing: what any call must cost.
inline constexpr char kEmptyService[] = "velora.bench.Empty";

/// The argument with which the benchmarks' program is that service.
inline constexpr char kServeNothing[] = "--serve-nothing";

/// Serves until killed. The exit status if that fails.
int serveNothing();

}  // namespace velora::bench
