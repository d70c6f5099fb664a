// The client state of the floors and the plain versions, reached as the library reaches its own.
#pragma once

#include <cstdint>

namespace bench {

[[gnu::visibility("hidden")]] extern std::uint8_t client_id;
[[gnu::visibility("hidden")]] extern std::uint32_t client_queue;
[[gnu::visibility("hidden")]] extern std::uint32_t client_uuid;

} // namespace bench
