// `vellsim run --detach`: the switch goes on in the background once clients can reach it.
#pragma once

#include <functional>

namespace sim {

// Runs `serve` in a child process of its own session, and returns once that has called `ready`,
// which it is given, with 0, or has ended before, with its exit code. The child inherits nothing but
// its standard streams; from `ready` on they lead nowhere, and its working directory is "/". In the
// child this does not return.
int run_detached(const std::function<int(const std::function<void()> &ready)> &serve);

} // namespace sim
